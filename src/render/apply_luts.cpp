#include "core/arithmetic.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/byte_tables.h"
#include "render/lookup.h"
#include "render/luts_kernels.h"
#include "render/packed_table.h"
#include "render/signal_colour.h"

// Look-up tables, every component through its own cell: the same depth in and out, and another one.

namespace {

using namespace qmpic;

enum Shape { kFlat, kRows };
enum Index { kAsStored, kLowBits };  // which bits of a value count

/// Calls `use` with the table as the index wants it. The depth is looked at here, not at a pixel.
template <Index index, class Table, class Use>
void with_index(Table table, uint32_t bits, Use use) {
    if constexpr (index == kLowBits)
        if (bits < 16) return use(Masked<Table>{table, max_value(bits)});
    use(table);
}

template <class T, class S, Index index>
void flat(Team team, Dst dst, Src src, Area area, const void* luts, uint32_t bits) {
    if constexpr (sizeof(T) + sizeof(S) == 2)
        return look_up_bytes(team, dst, src, area, FlatTable<uint8_t>(luts), bits);
    with_index<index>(FlatTable<T>(luts), bits,
                      [&](auto table) { look_up_samples<T, S>(team, dst, src, area, table); });
}

template <class T, class S, uint32_t known, Index index>
void rows(Team team, Dst dst, Src src, Count<known> count, Area area, const void* luts,
          uint32_t bits) {
    // Two channels are as usual as three, but have no members of their own.
    if constexpr (known == 0)
        if (count() == 2) return rows<T, S, 2, index>(team, dst, src, Count<2>{}, area, luts, bits);
    const RowTable<T> table(luts);
    const bool whole = sizeof(S) == 2 || bits == kWholeByte;
    const bool prepares = whole && pays(uint64_t{1} << bits, area);
    if constexpr (sizeof(T) + sizeof(S) == 2 && known == 3)
        if (prepares) return look_up_triples(team, dst, src, area, table);
    if (prepares && is_block(table, count(), bits))
        return with_index<index>(BlockTable<T, known>{table.row(0), count}, bits, [&](auto block) {
            look_up_components<T, S>(team, dst, src, count, area, block);
        });
    with_index<index>(
        table, bits, [&](auto any) { look_up_components<T, S>(team, dst, src, count, area, any); });
}

template <class T, class S, Shape shape, uint32_t known, Index index>
int look_up(Team team, Dst dst, Src src, const void* luts, Count<known> count, uint32_t bits,
            uint32_t width, uint64_t size) {
    if constexpr (shape == kFlat)
        flat<T, S, index>(team, dst, src,
                          Area::of_samples(static_cast<uint32_t>(count()), width, size), luts,
                          bits);
    else
        rows<T, S, known, index>(team, dst, src, count, Area::of_pixels(width, size), luts, bits);
    return QM_OK;
}

}  // namespace

// One line an exported kernel: name, storage, shape of the table, components (0: any), threads.
#define APPLY(name, Storage, shape, components, team)                                              \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             const void* pLuts, uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,           \
             uint64_t uiSizeInPixels) {                                                            \
        constexpr Index index = sizeof(Storage) == 2 ? kLowBits : kAsStored;                       \
        return look_up<Storage, Storage, shape, components, index>(                                \
            team, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, pLuts,                   \
            Count<components>{uiComponents}, uiBpc, uiWidth, uiSizeInPixels);                      \
    }

// clang-format off
APPLY(applyluts_1x8,       uint8_t,  kFlat, 1, kTeam)
APPLY(applyluts_3x8_lut1,  uint8_t,  kFlat, 3, kCallingThread)
APPLY(applyluts_4x8_lut1,  uint8_t,  kFlat, 4, kCallingThread)
APPLY(applyluts_Nx8_lut1,  uint8_t,  kFlat, 0, kCallingThread)
APPLY(applyluts_3x8,       uint8_t,  kRows, 3, kTeam)
APPLY(applyluts_4x8,       uint8_t,  kRows, 4, kCallingThread)
APPLY(applyluts_Nx8,       uint8_t,  kRows, 0, kCallingThread)
APPLY(applyluts_1x16,      uint16_t, kFlat, 1, kCallingThread)
APPLY(applyluts_3x16_lut1, uint16_t, kFlat, 3, kCallingThread)
APPLY(applyluts_4x16_lut1, uint16_t, kFlat, 4, kCallingThread)
APPLY(applyluts_Nx16_lut1, uint16_t, kFlat, 0, kCallingThread)
APPLY(applyluts_3x16,      uint16_t, kRows, 3, kCallingThread)
APPLY(applyluts_4x16,      uint16_t, kRows, 4, kCallingThread)
APPLY(applyluts_Nx16,      uint16_t, kRows, 0, kCallingThread)
// clang-format on

#undef APPLY

// The same for two depths: storage of the destination and of the source.
#define CONVERT(name, DstStorage, SrcStorage, shape, components)                                   \
    int name(void* pDst, uint32_t /*uiDstBpc*/, uint32_t uiDstWidthBytes, const void* pSrc,        \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,                       \
             uint32_t uiComponents, uint32_t uiWidth, uint64_t uiSizeInPixels) {                   \
        return look_up<DstStorage, SrcStorage, shape, components, kAsStored>(                      \
            kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, pLuts,         \
            Count<components>{uiComponents}, uiSrcBpc, uiWidth, uiSizeInPixels);                   \
    }

// clang-format off
CONVERT(convertbitdepthvialuts_1x16_to_1x16,      uint16_t, uint16_t, kFlat, 1)
CONVERT(convertbitdepthvialuts_3x16_to_3x16_lut1, uint16_t, uint16_t, kFlat, 3)
CONVERT(convertbitdepthvialuts_4x16_to_4x16_lut1, uint16_t, uint16_t, kFlat, 4)
CONVERT(convertbitdepthvialuts_Nx16_to_Nx16_lut1, uint16_t, uint16_t, kFlat, 0)
CONVERT(convertbitdepthvialuts_3x16_to_3x16,      uint16_t, uint16_t, kRows, 3)
CONVERT(convertbitdepthvialuts_4x16_to_4x16,      uint16_t, uint16_t, kRows, 4)
CONVERT(convertbitdepthvialuts_Nx16_to_Nx16,      uint16_t, uint16_t, kRows, 0)
CONVERT(convertbitdepthvialuts_1x16_to_1x8,       uint8_t,  uint16_t, kFlat, 1)
CONVERT(convertbitdepthvialuts_3x16_to_3x8_lut1,  uint8_t,  uint16_t, kFlat, 3)
CONVERT(convertbitdepthvialuts_4x16_to_4x8_lut1,  uint8_t,  uint16_t, kFlat, 4)
CONVERT(convertbitdepthvialuts_Nx16_to_Nx8_lut1,  uint8_t,  uint16_t, kFlat, 0)
CONVERT(convertbitdepthvialuts_3x16_to_3x8,       uint8_t,  uint16_t, kRows, 3)
CONVERT(convertbitdepthvialuts_4x16_to_4x8,       uint8_t,  uint16_t, kRows, 4)
CONVERT(convertbitdepthvialuts_Nx16_to_Nx8,       uint8_t,  uint16_t, kRows, 0)
CONVERT(convertbitdepthvialuts_1x8_to_1x16,       uint16_t, uint8_t,  kFlat, 1)
CONVERT(convertbitdepthvialuts_3x8_to_3x16_lut1,  uint16_t, uint8_t,  kFlat, 3)
CONVERT(convertbitdepthvialuts_4x8_to_4x16_lut1,  uint16_t, uint8_t,  kFlat, 4)
CONVERT(convertbitdepthvialuts_Nx8_to_Nx16_lut1,  uint16_t, uint8_t,  kFlat, 0)
CONVERT(convertbitdepthvialuts_3x8_to_3x16,       uint16_t, uint8_t,  kRows, 3)
CONVERT(convertbitdepthvialuts_4x8_to_4x16,       uint16_t, uint8_t,  kRows, 4)
CONVERT(convertbitdepthvialuts_Nx8_to_Nx16,       uint16_t, uint8_t,  kRows, 0)
// clang-format on

#undef CONVERT

// Exposure marks on three components.
namespace {

enum OverTest { kEquals, kReaches };  // a value against its threshold

/// Which of the components 0 to 2 take part: not every selection is drawn.
uint32_t taking_part(uint64_t mask) {
    if ((mask & 7) == 7) return 7;
    return mask == 3 || mask == 5 || mask == 6 ? static_cast<uint32_t>(mask) : 0;
}

/// What makes a pixel take a signal colour instead of its own.
template <OverTest test>
struct ExposureMarks {
    static constexpr uint32_t kNone = UINT32_MAX;  // above every sample
    uint32_t under_value[3], over_value[3];
    uint32_t under_colour[3], over_colour[3];

    ExposureMarks(const void* over, const uint32_t* thresholds, const void* under, uint32_t bits,
                  uint32_t components) {
        for (uint32_t c = 0; c < 3; ++c) {
            const bool counts = components >> c & 1;
            const bool marks_under = counts && under != nullptr,
                       marks_over = counts && over != nullptr;
            under_value[c] = marks_under ? 0 : kNone;
            over_value[c] = !marks_over             ? kNone
                            : thresholds != nullptr ? thresholds[c]
                                                    : max_value(bits);
            // A block may end with the last component that takes part.
            under_colour[c] = marks_under ? signal(under, c) : 0;
            over_colour[c] = marks_over ? signal(over, c) : 0;
        }
    }

    /// A flag takes the place of the colour by a fixed one, whatever the table says.
    static uint32_t signal(const void* block, uint32_t c) {
        constexpr uint32_t kFlagged[3] = {0xFFFF00, 0xFF00FF, 0x00FFFF};
        const SignalColour colour(block, c);
        return colour.flag != 0 ? kFlagged[c] : colour.word;
    }

    /// The colour of the first component that is hit, from the highest to the lowest.
    template <class S>
    bool hit(const Sample<S>* s, uint32_t& colour) const {
        for (int c = 2; c >= 0; --c) {
            const uint32_t value = s[c];
            if (value == under_value[c]) return colour = under_colour[c], true;
            if (test == kEquals ? value == over_value[c] : value >= over_value[c])
                return colour = over_colour[c], true;
        }
        return false;
    }
};

template <OverTest test, class S, class Table>
void mark_exposed(Dst dst, Src src, Area area, Table table, ExposureMarks<test> marks) {
    each_pixel<uint8_t, S>(kCallingThread, dst, Count<3>{}, src, Count<3>{}, area,
                           [=](Sample<uint8_t>* d, const Sample<S>* s) {
                               uint32_t colour;
                               if (marks.hit(s, colour)) return write_pixel(d, colour);
                               for (uint64_t c = 0; c < 3; ++c) d[c] = table(s[c], c);
                           });
}

/// For bytes: cell c of a value where it belongs in the colour, above it in six bits which tests it
/// hits. So a pixel is three loads and no branch that pictures could make hard to guess.
struct MarkedBytes {
    uint32_t cells[3][256];
    uint32_t colours[64];  // by the hits of all three components

    MarkedBytes(RowTable<uint8_t> table, const ExposureMarks<kEquals>& marks) : colours{} {
        for (uint32_t c = 0; c < 3; ++c)
            for (uint32_t v = 0; v < 256; ++v) {
                const uint32_t hit = v == marks.under_value[c]  ? 1u
                                     : v == marks.over_value[c] ? 2u
                                                                : 0u;
                cells[c][v] = uint32_t{table(v, c)} << 8 * c | hit << (24 + 2 * c);
            }
        for (uint32_t hits = 1; hits < 64; ++hits)
            for (uint32_t c = 0; c < 3; ++c)  // the highest component is the last to speak
                if (const uint32_t hit = hits >> 2 * c & 3; hit != 0)
                    colours[hits] = hit == 1 ? marks.under_colour[c] : marks.over_colour[c];
    }
};

template <class S>
void mark_bytes(Dst dst, Src src, Area area, const MarkedBytes* marked) {
    each_pixel<uint8_t, S>(kCallingThread, dst, Count<3>{}, src, Count<3>{}, area,
                           [=](Sample<uint8_t>* d, const Sample<S>* s) {
                               const uint32_t word = marked->cells[0][s[0]] |
                                                     marked->cells[1][s[1]] |
                                                     marked->cells[2][s[2]];
                               const uint32_t signal = marked->colours[word >> 24];
                               write_pixel(d, word >> 24 != 0 ? signal : word);
                           });
}

template <OverTest test, class S>
int exposed(Dst dst, Src src, const void* luts, const void* over, const uint32_t* thresholds,
            const void* under, uint32_t bits, uint32_t width, uint64_t size, uint64_t mask) {
    const uint32_t components = taking_part(mask);
    if (components == 0) return QM_OK;  // and the picture stays as it is
    const ExposureMarks<test> marks(over, thresholds, under, bits, components);
    const Area area = Area::of_pixels(width, size);
    const RowTable<uint8_t> table(luts);
    if constexpr (test == kEquals)
        if (bits == kWholeByte && pays(256, area)) {
            const MarkedBytes marked(table, marks);
            mark_bytes<S>(dst, src, area, &marked);
            return QM_OK;
        }
    if (sizeof(S) == 2 && pays(uint64_t{1} << bits, area) && is_block(table, 3, bits))
        mark_exposed<test, S>(dst, src, area, BlockTable<uint8_t, 3>{table.row(0), {}}, marks);
    else
        mark_exposed<test, S>(dst, src, area, table, marks);
    return QM_OK;
}

}  // namespace

int applyluts_3x8_overexp_underexp(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                   uint32_t uiSrcWidthBytes, const void* pLuts,
                                   const void* pOverExpColor, const uint32_t* pOverExpValue,
                                   const void* pUnderExpColor, uint32_t uiComponents,
                                   uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                   uint64_t ui64Mask) {
    if (pOverExpColor == nullptr && pUnderExpColor == nullptr)
        return applyluts_3x8(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLuts, uiComponents,
                             uiBpc, uiWidth, uiSizeInPixels);
    return exposed<kEquals, uint8_t>(  // alone of all exposure tests: equality with the threshold
        Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, pLuts, pOverExpColor, pOverExpValue,
        pUnderExpColor, uiBpc, uiWidth, uiSizeInPixels, ui64Mask);
}

int convertbitdepthvialuts_3x16_to_3x8_overexp_underexp(
    void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,
    uint32_t uiSrcWidthBytes, const void* pLuts, const void* pOverExpColor,
    const uint32_t* pOverExpValue, const void* pUnderExpColor, uint32_t uiComponents,
    uint32_t uiWidth, uint64_t uiSizeInPixels, uint64_t ui64Mask) {
    if (pOverExpColor == nullptr && pUnderExpColor == nullptr)
        return convertbitdepthvialuts_3x16_to_3x8(pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcBpc,
                                                  uiSrcWidthBytes, pLuts, uiComponents, uiWidth,
                                                  uiSizeInPixels);
    return exposed<kReaches, uint16_t>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},
                                       pLuts, pOverExpColor, pOverExpValue, pUnderExpColor,
                                       uiSrcBpc, uiWidth, uiSizeInPixels, ui64Mask);
}

namespace {

// In a template, so that the body has a name that tools can read.
template <class S>
void mark_any_reached(Dst dst, Src src, Area area, FlatTable<uint8_t> table, uint32_t t0,
                      uint32_t t1, uint32_t t2, uint32_t colour) {
    each_pixel<uint8_t, S>(kCallingThread, dst, Count<3>{}, src, Count<3>{}, area,
                           [=](Sample<uint8_t>* d, const Sample<S>* s) {
                               if (s[0] >= t0 || s[1] >= t1 || s[2] >= t2)
                                   return write_pixel(d, colour);
                               for (uint64_t c = 0; c < 3; ++c) d[c] = table(s[c]);
                           });
}

}  // namespace

int convertbitdepthvialuts_3x16_to_3x8_lut1_overexp(void* pDst, uint32_t uiDstBpc,
                                                    uint32_t uiDstWidthBytes, const void* pSrc,
                                                    uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                                    const void* pLuts, const void* pOverExpColor,
                                                    const uint32_t* pOverExpValue,
                                                    uint32_t uiComponents, uint32_t uiWidth,
                                                    uint64_t uiSizeInPixels) {
    if (pOverExpColor == nullptr)
        return convertbitdepthvialuts_3x16_to_3x8_lut1(pDst, uiDstBpc, uiDstWidthBytes, pSrc,
                                                       uiSrcBpc, uiSrcWidthBytes, pLuts,
                                                       uiComponents, uiWidth, uiSizeInPixels);
    const uint32_t top = max_value(uiSrcBpc);
    const uint32_t* const given = pOverExpValue;
    mark_any_reached<uint16_t>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},
                               Area::of_pixels(uiWidth, uiSizeInPixels), FlatTable<uint8_t>(pLuts),
                               given ? given[0] : top, given ? given[1] : top,
                               given ? given[2] : top,
                               SignalColour(pOverExpColor, 0).word);  // and its flag does not count
    return QM_OK;
}

namespace {

// 0 to 8 bits are bytes here, unlike elsewhere.
uint32_t table_storage(uint32_t bpc) { return bpc < 9 ? 8 : bpc <= 16 ? 16 : 0; }

// One table for all source components: these entries take nothing else.
bool is_one_table(const SQmLut* lut) {
    return lut != nullptr && lut->pLuts != nullptr && lut->ucComponents == 1;
}

bool has_marks(const SQmLut* lut) {
    return lut->pOverExpColor != nullptr || lut->pUnderExpColor != nullptr;
}

}  // namespace

int CQmPicMemAPI_Base::ApplyLuts(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcWidthBytes, const SQmLut* pLut,
                                 uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (!is_one_table(pLut)) return QM_NO_KERNEL;
    const uint32_t bits = table_storage(uiBpc);
    const bool flat = pLut->ucDstComponents == 1;
    if (!flat && pLut->ucDstComponents != uiComponents) return QM_NO_KERNEL;
    if (!flat && uiComponents == 3 && bits == 8 && has_marks(pLut))
        return applyluts_3x8_overexp_underexp(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,
                                              pLut->pLuts, pLut->pOverExpColor, pLut->pOverExpValue,
                                              pLut->pUnderExpColor, uiComponents, uiBpc, uiWidth,
                                              uiSizeInPixels, pLut->rmComponents.GetMask()[0]);
    return call(flat ? kApplyFlat.find_stored(uiComponents, bits)
                     : kApplyRows.find_stored(uiComponents, bits),
                pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLut->pLuts, uiComponents, uiBpc,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ConvertBitDepthViaLuts(void* pDst, uint32_t uiDstBpc,
                                              uint32_t uiDstWidthBytes, const void* pSrc,
                                              uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                              const SQmLut* pLut, uint32_t uiComponents,
                                              uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstBpc == uiSrcBpc)
        return ApplyLuts(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pLut, uiComponents, uiDstBpc,
                         uiWidth, uiSizeInPixels);
    if (!is_one_table(pLut)) return QM_NO_KERNEL;
    const uint32_t from = storage_bits(uiSrcBpc), to = storage_bits(uiDstBpc);
    const bool flat = pLut->ucDstComponents == 1;
    if (!flat && pLut->ucDstComponents != uiComponents) return QM_NO_KERNEL;
    if (uiComponents == 3 && from == 16 && to == 8) {
        if (flat && pLut->pOverExpColor != nullptr)  // the under colour is not asked for
            return convertbitdepthvialuts_3x16_to_3x8_lut1_overexp(
                pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes, pLut->pLuts,
                pLut->pOverExpColor, pLut->pOverExpValue, uiComponents, uiWidth, uiSizeInPixels);
        if (!flat && has_marks(pLut))
            return convertbitdepthvialuts_3x16_to_3x8_overexp_underexp(
                pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes, pLut->pLuts,
                pLut->pOverExpColor, pLut->pOverExpValue, pLut->pUnderExpColor, uiComponents,
                uiWidth, uiSizeInPixels, pLut->rmComponents.GetMask()[0]);
    }
    return call(flat ? kConvertFlat.find_between(uiComponents, from, to)
                     : kConvertRows.find_between(uiComponents, from, to),
                pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes, pLut->pLuts,
                uiComponents, uiWidth, uiSizeInPixels);
}
