#include <algorithm>

#include "core/arithmetic.h"
#include "core/scratch.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/system/RangeMask.h"
#include "render/byte_tables.h"
#include "render/lookup.h"
#include "render/luts_kernels.h"
#include "render/packed_table.h"
#include "render/signal_colour.h"

// Look-up tables that make several components of one value. What a value becomes in three
// components is a word, found by a functor: FlatColour, RowColour, Marked, Gained. Small pictures
// ask the functor for every pixel; for others it fills a table with a word a value.

namespace {

using namespace qmpic;

/// One cell for all three components.
struct FlatColour {
    FlatTable<uint8_t> table;
    explicit FlatColour(const void* luts) : table(luts) {}
    uint32_t operator()(uint32_t value) const { return table(value) * 0x010101u; }
};

/// A cell for each component.
template <class T>
struct RowColour {
    RowTable<T> table;
    explicit RowColour(const void* luts) : table(luts) {}
    Colour<T> operator()(uint32_t value) const { return colour_in(table.row(value)); }
};

using ByteColours = RowColour<uint8_t>;
using WordColours = RowColour<uint16_t>;

constexpr uint64_t kNoThreshold = UINT64_MAX;  // above every value

/// Over another colour: 0 takes the under colour, and what reaches the threshold the over colour,
/// also where the table has no such value any more.
template <class Plain>
struct Marked {
    Plain plain;
    bool marks_under;
    uint64_t threshold;
    uint32_t under, over;
    uint32_t operator()(uint32_t value) const {
        if (marks_under && value == 0) return under;
        return value >= threshold ? over : plain(value);
    }
    uint32_t beyond() const { return over; }
};
template <class ColourOf>
constexpr bool kReachesBeyond = requires(ColourOf colour) {
    colour.beyond();
};

/// Weighted by a gain in 255ths. The product wraps.
struct Gained {
    ByteColours plain;
    uint32_t gain;
    uint32_t cell(uint32_t value) const { return std::min(value * gain / 255, 255u); }
    uint32_t operator()(uint32_t value) const {
        const uint32_t word = plain(value);
        return cell(word & 255) | cell(word >> 8 & 255) << 8 | cell(word >> 16) << 16;
    }
};

/// A word a value, and one more for all that lie beyond.
template <class T>
struct WordsToEnd {
    const Colour<T>* words;
    uint32_t end;
    Colour<T> operator()(uint32_t value) const { return words[std::min(value, end)]; }
};

/// Three components of a value of which there are `values`.
template <class T, class S, class ColourOf>
int colour_pixels(Dst dst, Component<Src> src, Area area, uint32_t values, ColourOf colour) {
    const auto beyond = [&]() -> Colour<T> {
        if constexpr (kReachesBeyond<ColourOf>) return colour.beyond();
        return 0;
    };
    const auto fill = [&](Colour<T>* words, uint32_t count) {
        for (uint32_t v = 0; v < count; ++v) words[v] = v < values ? colour(v) : beyond();
    };
    if constexpr (sizeof(S) == 1) {
        if (pays(256, area)) {
            Colour<T> words[256];
            fill(words, 256);
            if (src.step == 1)
                look_up_colour_words(dst, src.picture, area, words);
            else
                look_up_colours<T, S>(dst, src, area, ColourWords<T>{words});
            return QM_OK;
        }
    } else if (pays(values, area)) {
        if (const Scratch<Colour<T>> words(size_t{values} + 1); words) {
            fill(words.get(), values + 1);
            if constexpr (kReachesBeyond<ColourOf>)
                look_up_colours<T, S>(dst, src, area, WordsToEnd<T>{words.get(), values});
            else
                look_up_colours<T, S>(dst, src, area, ColourWords<T>{words.get()});
            return QM_OK;
        }
    }
    look_up_colours<T, S>(dst, src, area, colour);
    return QM_OK;
}

uint32_t values_of(uint32_t bits) { return uint32_t{1} << bits; }

/// The component of a call of the `component_` kernels.
struct OneComponent {
    Dst dst;
    Component<Src> src;
    Area area;
    uint32_t bits;
};

template <class S>
int to_one(const OneComponent& call, const void* luts) {
    const FlatTable<uint8_t> table(luts);
    const Src src = call.src.picture;
    if (call.src.step != 1)
        look_up_value<uint8_t, S>(call.dst, Count<1>{}, call.src, call.area, table);
    else if constexpr (sizeof(S) == 1)
        look_up_bytes(kCallingThread, call.dst, src, call.area, table, call.bits);
    else
        look_up_samples<uint8_t, S>(kCallingThread, call.dst, src, call.area, table);
    return QM_OK;
}

template <class S, class ColourOf>
int to_three(const OneComponent& call, ColourOf colour) {
    return colour_pixels<uint8_t, S>(call.dst, call.src, call.area, values_of(call.bits), colour);
}

template <class S, class Table>
int to_any(const OneComponent& call, uint32_t count, Table table) {
    look_up_value<uint8_t, S>(call.dst, Count<0>{count}, call.src, call.area, table);
    return QM_OK;
}

/// The colour of an entry; flagged, it is the opposite of the table's last one.
template <class Plain>
uint32_t signal(const void* block, uint32_t entry, Plain plain, uint32_t bits) {
    if (block == nullptr) return 0;
    const SignalColour colour(block, entry);
    return colour.flag != 0 ? ~plain(max_value(bits)) & 0xFFFFFF : colour.word;
}

/// `entry`: whose colour it is. `threshold` counts only with an over colour.
template <class S, class Plain>
int to_three_marked(const OneComponent& call, Plain plain, const void* over, uint32_t threshold,
                    const void* under, uint32_t entry) {
    if (over == nullptr && under == nullptr) return to_three<S>(call, plain);
    return to_three<S>(
        call, Marked<Plain>{plain, under != nullptr, over != nullptr ? threshold : kNoThreshold,
                            signal(under, entry, plain, call.bits),
                            signal(over, entry, plain, call.bits)});
}

/// 0.5 is 128.
uint32_t gain_in_255ths(double gain) { return trunc_u32(gain * 255 + 0.5); }

template <class S>
int to_three_added(const OneComponent& call, const void* luts, double gain, const void* over,
                   uint32_t threshold, const CQmRangeMask& added) {
    const ByteColours plain(luts);
    const uint32_t comp = call.src.index;
    if (!added.Get(comp)) return to_three_marked<S>(call, plain, over, threshold, nullptr, comp);
    const Gained gained{plain, gain_in_255ths(gain)};
    if (over == nullptr) return to_three<S>(call, gained);
    return to_three<S>(
        call, Marked<Gained>{gained, false, threshold, 0, signal(over, comp, plain, call.bits)});
}

/// Where no pointer is given. Bytes take 255 whatever their depth.
template <class S>
uint32_t threshold_of(const uint32_t* given, uint32_t comp, uint32_t bits) {
    if (given != nullptr) return given[comp];
    return sizeof(S) == 1 ? 255 : max_value(bits);
}

}  // namespace

#define CALL                                                                                       \
    OneComponent {                                                                                 \
        Dst{pDst, uiDstWidthBytes}, {Src{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiComp},         \
            Area::of_pixels(uiWidth, uiSizeInPixels), uiSrcBpc                                     \
    }

// One line an exported kernel: name, and what is done with CALL, of which source storage.
#define COMPONENT(name, result)                                                                    \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,     \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,      \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return result;                                                                             \
    }

// clang-format off
COMPONENT(component_lut1_Nx8_to_1x8,  to_one<uint8_t>(CALL, pLuts))
COMPONENT(component_lut1_Nx16_to_1x8, to_one<uint16_t>(CALL, pLuts))
COMPONENT(component_lut1_Nx8_to_3x8,  to_three<uint8_t>(CALL, FlatColour(pLuts)))
COMPONENT(component_lut1_Nx16_to_3x8, to_three<uint16_t>(CALL, FlatColour(pLuts)))
COMPONENT(component_lut3_Mx8_to_3x8,  to_three<uint8_t>(CALL, ByteColours(pLuts)))
COMPONENT(component_lut3_Mx16_to_3x8, to_three<uint16_t>(CALL, ByteColours(pLuts)))
// clang-format on

#undef COMPONENT

#define COMPONENT_TO_N(name, Storage, Table)                                                       \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, const void* pSrc,     \
             uint32_t uiSrcComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,                \
             uint32_t uiComp, const void* pLuts, uint32_t uiWidth, uint64_t uiSizeInPixels) {      \
        return to_any<Storage>(CALL, uiDstComponents, Table(pLuts));                               \
    }

// clang-format off
COMPONENT_TO_N(component_lut1_Nx8_to_Nx8,  uint8_t,  FlatTable<uint8_t>)
COMPONENT_TO_N(component_lut1_Nx16_to_Nx8, uint16_t, FlatTable<uint8_t>)
COMPONENT_TO_N(component_lutN_Mx8_to_Nx8,  uint8_t,  RowTable<uint8_t>)
COMPONENT_TO_N(component_lutN_Mx16_to_Nx8, uint16_t, RowTable<uint8_t>)
// clang-format on

#undef COMPONENT_TO_N

#define FROM_VALUES(Storage) threshold_of<Storage>(pOverExpValue, uiComp, uiSrcBpc)
#define FROM_COLOURS(Storage) static_cast<const Sample<uint32_t>*>(pOverExpColor)[uiComp].value

// Name, source storage, what a value becomes, whose colour it is, where the threshold comes from:
// in the first, alone of the four, from the colours themselves.
#define EXPOSED(name, Storage, Plain, entry, threshold)                                            \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,     \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,      \
             const void* pOverExpColor, [[maybe_unused]] const uint32_t* pOverExpValue,            \
             const void* pUnderExpColor, uint32_t uiWidth, uint64_t uiSizeInPixels) {              \
        return to_three_marked<Storage>(CALL, Plain(pLuts), pOverExpColor,                         \
                                        pOverExpColor != nullptr ? threshold(Storage) : 0,         \
                                        pUnderExpColor, entry);                                    \
    }

// clang-format off
EXPOSED(component_lut1_Nx8_to_3x8_overexp_underexp,  uint8_t,  FlatColour,  0,      FROM_COLOURS)
EXPOSED(component_lut1_Nx16_to_3x8_overexp_underexp, uint16_t, FlatColour,  0,      FROM_VALUES)
EXPOSED(component_lut3_Mx8_to_3x8_overexp_underexp,  uint8_t,  ByteColours, uiComp, FROM_VALUES)
EXPOSED(component_lut3_Mx16_to_3x8_overexp_underexp, uint16_t, ByteColours, uiComp, FROM_VALUES)
// clang-format on

#undef FROM_COLOURS
#undef EXPOSED

#define ADD(name, Storage)                                                                         \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,     \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,      \
             double dGain, const CQmRangeMask& rmAdd, uint32_t uiWidth, uint64_t uiSizeInPixels) { \
        return to_three_added<Storage>(CALL, pLuts, dGain, nullptr, 0, rmAdd);                     \
    }
#define ADD_OVEREXPOSED(name, Storage)                                                             \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,     \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,      \
             double dGain, const void* pOverExpColor, const uint32_t* pOverExpValue,               \
             const CQmRangeMask& rmAdd, uint32_t uiWidth, uint64_t uiSizeInPixels) {               \
        return to_three_added<Storage>(CALL, pLuts, dGain, pOverExpColor, FROM_VALUES(Storage),    \
                                       rmAdd);                                                     \
    }

ADD(component_lut3_Mx8_to_3x8_add, uint8_t)
ADD(component_lut3_Mx16_to_3x8_add, uint16_t)
ADD_OVEREXPOSED(component_lut3_Mx8_to_3x8_add_overexp, uint8_t)
ADD_OVEREXPOSED(component_lut3_Mx16_to_3x8_add_overexp, uint16_t)

#undef FROM_VALUES
#undef ADD_OVEREXPOSED
#undef ADD
#undef CALL

namespace {

/// The greatest value of a picture. Walks the rows itself: the result is one number.
template <class S>
uint32_t greatest(Src src, Area area) {
    area = joined(kCallingThread, area, {{src.stride, sizeof(S)}});
    S found = 0;
    S* const result = &found;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        S greatest = 0;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<S>* const s = src.row<S>(y);
            for (uint64_t x = 0; x < area.width; ++x) greatest = std::max(greatest, S{s[x]});
        }
        *result = greatest;
    });
    return found;
}

/// A picture of one component, with all bits of its storage.
template <class T, class S, class ColourOf>
int value_to_three(Dst dst, Src src, Area area, ColourOf colour) {
    // A table of words may have 65536 values or 4096: nothing says so but the picture.
    constexpr uint64_t kUsual = 4096;
    const uint32_t values = sizeof(S) == 1       ? 256
                            : pays(kUsual, area) ? greatest<S>(src, area) + 1
                                                 : 65536;
    return colour_pixels<T, S>(dst, {src}, area, values, colour);
}

template <class T, class S>
int value_to_any(Dst dst, uint32_t count, Src src, Area area, RowTable<T> table) {
    look_up_value<T, S>(dst, Count<0>{count}, {src}, area, table);
    return QM_OK;
}

}  // namespace

#define PICTURES                                                                                   \
    Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, Area::of_pixels(uiWidth, uiSizeInPixels)

#define MAP_VIA(name, DstStorage, SrcStorage, ColourOf)                                            \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             const void* pLuts, uint32_t uiWidth, uint64_t uiSizeInPixels) {                       \
        return value_to_three<DstStorage, SrcStorage>(PICTURES, ColourOf(pLuts));                  \
    }
#define MAP_VIA_TO_N(name, DstStorage, SrcStorage)                                                 \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, const void* pSrc,     \
             uint32_t uiSrcWidthBytes, const void* pLuts, uint32_t uiWidth,                        \
             uint64_t uiSizeInPixels) {                                                            \
        return value_to_any<DstStorage, SrcStorage>(                                               \
            Dst{pDst, uiDstWidthBytes}, uiDstComponents, Src{pSrc, uiSrcWidthBytes},               \
            Area::of_pixels(uiWidth, uiSizeInPixels), RowTable<DstStorage>(pLuts));                \
    }

// clang-format off
MAP_VIA(mapvialuts_val8_to_3x8_lut1, uint8_t,  uint8_t,  FlatColour)
MAP_VIA(mapvialuts_val8_to_3x8_lut3, uint8_t,  uint8_t,  ByteColours)
MAP_VIA(mapvialuts_val16_to_3x8,     uint8_t,  uint16_t, ByteColours)
MAP_VIA(mapvialuts_val16_to_3x16,    uint16_t, uint16_t, WordColours)
MAP_VIA_TO_N(mapvialuts_val8_to_Nx8,   uint8_t,  uint8_t)
MAP_VIA_TO_N(mapvialuts_val16_to_Nx16, uint16_t, uint16_t)
// clang-format on

#undef MAP_VIA_TO_N
#undef MAP_VIA
#undef PICTURES

int CQmPicMemAPI_Base::ExtractComponentViaLuts(void* pDst, uint32_t uiDstComponents,
                                               uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                               const void* pSrc, uint32_t uiSrcComponents,
                                               uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                               uint32_t uiComp, const SQmLut* pLut,
                                               uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (pLut == nullptr || pLut->pLuts == nullptr) return QM_REJECTED;
    if (pLut->ucSrcBpc != uiSrcBpc || pLut->ucDstBpc != uiDstBpc) return QM_REJECTED;
    if (uiDstBpc > 8 || uiSrcBpc > 16) return QM_NO_KERNEL;
    const uint32_t bits = uiSrcBpc < 9 ? 8 : 16;
    const bool one_table = pLut->ucComponents == 1;
    const bool flat = one_table && pLut->ucDstComponents == 1;
    if (!flat && pLut->ucDstComponents != uiDstComponents) return QM_REJECTED;
    if (!one_table && pLut->ucComponents != uiSrcComponents) return QM_REJECTED;
    const void* const luts =
        one_table ? pLut->pLuts : static_cast<const void* const*>(pLut->pLuts)[uiComp];

    if (uiDstComponents == 3 && (pLut->pOverExpColor != nullptr || pLut->pUnderExpColor != nullptr))
        return call(flat ? kComponentLut1Exposed.find_stored(uiSrcComponents, bits)
                         : kComponentLut3Exposed.find_stored(uiSrcComponents, bits),
                    pDst, uiDstWidthBytes, pSrc, uiSrcComponents, uiSrcBpc, uiSrcWidthBytes, uiComp,
                    luts, pLut->pOverExpColor, pLut->pOverExpValue, pLut->pUnderExpColor, uiWidth,
                    uiSizeInPixels);
    if (uiDstComponents == 3 || (flat && uiDstComponents == 1))
        return call(uiDstComponents == 1 ? kComponentLut1To1.find_stored(uiSrcComponents, bits)
                    : flat               ? kComponentLut1To3.find_stored(uiSrcComponents, bits)
                                         : kComponentLut3To3.find_stored(uiSrcComponents, bits),
                    pDst, uiDstWidthBytes, pSrc, uiSrcComponents, uiSrcBpc, uiSrcWidthBytes, uiComp,
                    luts, uiWidth, uiSizeInPixels);
    return call(flat ? kComponentLut1ToN.find_stored(uiSrcComponents, bits)
                     : kComponentLutNToN.find_stored(uiSrcComponents, bits),
                pDst, uiDstComponents, uiDstWidthBytes, pSrc, uiSrcComponents, uiSrcBpc,
                uiSrcWidthBytes, uiComp, luts, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::MapValueToComponents(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                            uint32_t uiDstWidthBytes, const void* pSrc,
                                            uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                            const SQmLut* pLut, uint32_t uiWidth,
                                            uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const bool bytes = uiSrcBpc == 8 && uiDstBpc == 8, from_words = uiSrcBpc >= 9 && uiSrcBpc <= 16,
               words = from_words && uiDstBpc >= 9 && uiDstBpc <= 16,
               narrows = from_words && uiDstBpc == 8 && uiDstComponents == 3;
    if (!bytes && !words && !narrows) return QM_NO_KERNEL;
    if (pLut == nullptr || pLut->pLuts == nullptr || pLut->ucComponents != 1 ||
        pLut->ucSrcBpc != uiSrcBpc || pLut->ucDstBpc != uiDstBpc)
        return QM_REJECTED;

    const uint32_t cells = pLut->ucDstComponents;
    const auto to_three = [&](MapViaLutsKernel* kernel) {
        return kernel(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLut->pLuts, uiWidth,
                      uiSizeInPixels);
    };
    // The number of destination components does not count here: one is written.
    const auto to_one = [&](ApplyLutsKernel* kernel, uint32_t bits) {
        return kernel(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLut->pLuts, 1, bits, uiWidth,
                      uiSizeInPixels);
    };
    const auto to_any = [&](MapViaLutsToNKernel* kernel) {
        return kernel(pDst, uiDstComponents, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLut->pLuts,
                      uiWidth, uiSizeInPixels);
    };
    if (uiDstComponents == 3) {
        if (cells == 3)
            return to_three(bytes     ? mapvialuts_val8_to_3x8_lut3
                            : narrows ? mapvialuts_val16_to_3x8
                                      : mapvialuts_val16_to_3x16);
        return bytes && cells == 1 ? to_three(mapvialuts_val8_to_3x8_lut1) : QM_REJECTED;
    }
    if (cells == 1)  // words as if they had 16 bits: nothing is masked
        return bytes ? to_one(applyluts_1x8, 8) : to_one(applyluts_1x16, 16);
    if (cells != uiDstComponents) return QM_REJECTED;
    return to_any(bytes ? mapvialuts_val8_to_Nx8 : mapvialuts_val16_to_Nx16);
}
