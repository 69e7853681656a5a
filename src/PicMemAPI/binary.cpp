#include <cstring>

#include "PicMemAPI/binary_kernels.h"
#include "PicMemAPI/mask_bits.h"
#include "PicMemAPI/value_pixel.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Pixels to the bits of a mask by a comparison, and bits back to pixels.

namespace {

using namespace qmpic;

enum : uint32_t { kEqual, kDiffers, kGreater, kShares };

struct PackCall {
    MaskCall call;
    const void* reference;
    uint32_t compare;

    bool refuses(bool known) const { return !known || !is_merge(call.mask.merge); }
};

/// Equal to, or different from the reference in each of `count` units.
template <class T>
int compare_units(const PackCall& pack, uint32_t count) {
    if (pack.refuses(pack.compare <= kDiffers)) return QM_NO_KERNEL;
    write_in_range<T>(pack.call, count, pack.reference, pack.reference, pack.compare == kEqual);
    return QM_OK;
}

template <class T>
int share_bits(const PackCall& pack) {
    if (pack.refuses(true)) return QM_NO_KERNEL;
    write_mask(pack.call, Judge(SharesBit<T>(*static_cast<const Sample<T>*>(pack.reference))));
    return QM_OK;
}

int compare_bytes(const PackCall& pack, uint32_t count) {
    switch (pack.compare) {
    case kGreater: {  // outside of 0 to the reference
        if (pack.refuses(true)) return QM_NO_KERNEL;
        const uint8_t none = 0;
        write_in_range<uint8_t>(pack.call, count, &none, pack.reference, false);
        return QM_OK;
    }
    case kShares: return share_bits<uint8_t>(pack);
    default: return compare_units<uint8_t>(pack, count);
    }
}

int compare_words(const PackCall& pack, uint32_t count) {
    return pack.compare == kShares ? share_bits<uint16_t>(pack)
                                   : compare_units<uint16_t>(pack, count);
}

int compare_many_bytes(const PackCall& pack, uint32_t count) {
    if (pack.compare == kDiffers && !is_merge(pack.call.mask.merge)) return QM_OK;  // alone in this
    return compare_units<uint8_t>(pack, count);
}

}  // namespace

// One line an exported kernel: name, how pixels are compared, units of a pixel.
#define KERNEL(name, compare, count)                                                               \
    int name(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,              \
             uint32_t uiSrcWidthBytes, const void* pRefValue, uint32_t uiCompare,                  \
             uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge) {                        \
        return compare({{kCallingThread,                                                           \
                         {{pBin, uiBinWidthBytes}, uiBinX, uiMerge},                               \
                         {pSrc, uiSrcWidthBytes},                                                  \
                         Area::of_pixels(uiWidth, uiSizeInPixels)},                                \
                        pRefValue,                                                                 \
                        uiCompare},                                                                \
                       count);                                                                     \
    }

// clang-format off
KERNEL(pack_1x8_to_bin,  compare_bytes,           1)
KERNEL(pack_1x16_to_bin, compare_words,           1)
KERNEL(pack_3x8_to_bin,  compare_units<uint8_t>,  3)
KERNEL(pack_3x16_to_bin, compare_units<uint16_t>, 3)
KERNEL(pack_4x8_to_bin,  compare_units<uint32_t>, 1)  // whole pixels
KERNEL(pack_4x16_to_bin, compare_units<uint32_t>, 2)  // pairs of components
// clang-format on

#undef KERNEL

#define KERNEL(name, compare)                                                                      \
    int name(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,              \
             uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pRefValue,               \
             uint32_t uiCompare, uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge) {    \
        return compare({{kCallingThread,                                                           \
                         {{pBin, uiBinWidthBytes}, uiBinX, uiMerge},                               \
                         {pSrc, uiSrcWidthBytes},                                                  \
                         Area::of_pixels(uiWidth, uiSizeInPixels)},                                \
                        pRefValue,                                                                 \
                        uiCompare},                                                                \
                       uiComponents);                                                              \
    }

// clang-format off
KERNEL(pack_Nx8_to_bin,  compare_many_bytes)
KERNEL(pack_Nx16_to_bin, compare_units<uint16_t>)
// clang-format on

#undef KERNEL

namespace {

struct UnpackCall {
    Team team;
    Dst dst;
    Area area;
    const void* value;
    Src mask;
    uint32_t first_bit, merge;

    /// Rows without gaps in picture and mask are one.
    Area joined_area(uint64_t pixel_bytes) const {
        const bool dense = team.is_one_thread() && first_bit == 0 && area.width % 8 == 0 &&
                           dst.stride == area.width * pixel_bytes && mask.stride == area.width / 8;
        return dense ? Area{area.width * area.rows, 1} : area;
    }
};

template <class T>
T merged(T old, T made, uint32_t merge) {
    return static_cast<T>(merge == kReplace ? made : merge == kOr ? old | made : old & made);
}

/// Pixels one after the other: those of bits `first` to `end` of a row.
template <class T, class Value>
void paint_singly(Sample<T>* d, const Sample<uint8_t>* mask, uint64_t first, uint64_t end,
                  const Value* value, uint64_t count, uint32_t merge) {
    for (uint64_t x = first; x < end; ++x, d += count) {
        const bool is_set = (mask[x / 8] & 0x80 >> x % 8) != 0;
        const auto each = [=](uint32_t known) {  // each a loop of its own
            for (uint64_t c = 0; c < count; ++c)
                d[c] = merged<T>(d[c], is_set ? T{value[c]} : T{0}, known);
        };
        if (merge == kReplace)
            each(kReplace);
        else if (merge == kOr)
            each(kOr);
        else
            each(kAnd);
    }
}

/// A pixel of one or three units, repeated over a group.
template <class T, uint32_t count>
class Brush {
  public:
    explicit Brush(const void* value) {
        for (uint32_t i = 0; i < period; ++i)
            value_[i] = static_cast<const Sample<T>*>(value)[i % count];
    }

    /// A row of an area; `mask` is the byte of its first pixel.
    void paint_row(Sample<T>* d, const Sample<uint8_t>* mask, uint64_t width, uint32_t first_bit,
                   uint32_t merge) const {
        constexpr uint32_t many = 8;
        for (; width >= many * kGroup; width -= many * kGroup) {
            paint<many>(d, mask, first_bit, many * kGroup, merge);
            d += many * kGroup * count;
            mask += many * kGroup / 8;
        }
        for (; width >= kGroup; width -= kGroup) {
            paint<1>(d, mask, first_bit, kGroup, merge);
            d += kGroup * count;
            mask += kGroup / 8;
        }
        if (width * count <= 16)  // or none
            return paint_singly(d, mask, first_bit, first_bit + width, value_, count, merge);
        Sample<uint8_t> last[kGroup / 8 + 1] = {};
        std::memcpy(last, mask, (first_bit + width + 7) / 8);
        paint<1>(d, last, first_bit, static_cast<uint32_t>(width), merge);
    }

  private:
    static constexpr uint32_t period = count == 1 ? 1 : count * kGroup;

    /// `n` pixels: all of `groups`, or some of the only one.
    template <uint32_t groups>
    void paint(Sample<T>* d, const Sample<uint8_t>* mask, uint32_t first_bit, uint32_t n,
               uint32_t merge) const {
        alignas(64) uint8_t flags[groups * kGroup * count];
        spread<groups>(mask, first_bit, flags);
        switch (merge) {  // constants, so that each is a loop of its own
        case kReplace: return put<groups, kReplace>(d, flags, n);
        case kOr: return put<groups, kOr>(d, flags, n);
        default: return put<groups, kAnd>(d, flags, n);
        }
    }

    /// A flag of 0 or 255 for each sample.
    template <uint32_t groups>
    static void spread(const Sample<uint8_t>* mask, uint32_t first_bit, uint8_t* flags) {
        alignas(64) Sample<uint8_t> moved[groups * 8 * count];
        if (first_bit == 0)
            std::memcpy(moved, mask, groups * 8);
        else
            for (uint32_t i = 0; i < groups * 8; ++i)
                moved[i] =
                    static_cast<uint8_t>(mask[i] << first_bit | mask[i + 1] >> (8 - first_bit));
        uint64_t places = bits::kFromLeft;
        if constexpr (count == 3) {
            uint64_t pixels[groups];
            std::memcpy(pixels, moved, sizeof pixels);
            uint64_t samples[groups][3];
            for (uint32_t i = 0; i < groups; ++i)
                bits::thrice(bits::reversed(pixels[i]), samples[i]);
            std::memcpy(moved, samples, sizeof samples);
            places = bits::kFromRight;
        }
        auto* const words = reinterpret_cast<Sample<uint64_t>*>(flags);
        for (uint32_t i = 0; i < groups * 8 * count; ++i) {
            uint64_t word = moved[i];
            word |= word << 8;
            word |= word << 16;
            word |= word << 32;
            words[i] = word & places;
        }
        for (uint32_t i = 0; i < groups * kGroup * count; ++i) flags[i] = flags[i] != 0 ? 255 : 0;
    }

    template <uint32_t groups, uint32_t merge>
    void put(Sample<T>* d, const uint8_t* flags, uint32_t n) const {
        constexpr uint32_t all = groups * kGroup * count, step = count == 1 ? all : period;
        const auto made = [&](uint32_t i, uint32_t at) {
            const auto mask = static_cast<T>(-static_cast<T>(flags[i] & 1));
            return static_cast<T>(mask & value_[count == 1 ? 0 : at]);
        };
        if (groups == 1 && n < kGroup) {
            alignas(64) Sample<T> group[kGroup * count];
            for (uint32_t i = 0; i < kGroup * count; ++i) group[i] = made(i, i);
            const auto op = [](T old, T now) { return merged<T>(old, now, merge); };
            detail::dense_row(d, n * count, op, static_cast<const Sample<T>*>(d),
                              static_cast<const Sample<T>*>(group));
            return;
        }
        for (uint32_t first = 0; first < all; first += step)
            for (uint32_t i = 0; i < step; ++i)
                d[first + i] = merged<T>(d[first + i], made(first + i, i), merge);
    }

    T value_[period];
};

template <class T, uint32_t count>
int unpack(UnpackCall call) {
    call.area = call.joined_area(count * sizeof(T));
    walk_rows(call.team, call.area.rows, [=, brush = Brush<T, count>(call.value)](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            brush.paint_row(call.dst.row<T>(y), call.mask.row<uint8_t>(y), call.area.width,
                            call.first_bit, call.merge);
    });
    return QM_OK;
}

/// Any number of components, one pixel after the other.
template <class T>
int unpack_any(UnpackCall call, uint32_t components) {
    walk_rows(call.team, call.area.rows, [=](RowRange rows) {
        const auto* const value = static_cast<const Sample<T>*>(call.value);
        for (uint64_t y = rows.first; y < rows.last; ++y)
            paint_singly(call.dst.row<T>(y), call.mask.row<uint8_t>(y), call.first_bit,
                         call.first_bit + call.area.width, value, components, call.merge);
    });
    return QM_OK;
}

/// Pixels of 2, 4 or 8 bytes are painted as one unit.
template <class T>
int unpack_pixels(const UnpackCall& call, uint32_t components) {
    if (!is_merge(call.merge)) return QM_NO_KERNEL;
    if (call.area.rows == 0) return QM_OK;  // and no region
    if (components == 3) return unpack<T, 3>(call);
    switch (uint64_t{components} * sizeof(T)) {
    case 1: return unpack<uint8_t, 1>(call);
    case 2: return unpack<uint16_t, 1>(call);
    case 4: return unpack<uint32_t, 1>(call);
    case 8: return unpack<uint64_t, 1>(call);
    }
    return unpack_any<T>(call, components);
}

/// Rows that are shared out are counted in 32 bits.
Area area_of(Team team, uint32_t width, uint64_t size) {
    const Area area = Area::of_pixels(width, size);
    return team.is_one_thread() ? area : area.rows_in_32_bits();
}

}  // namespace

// One line an exported kernel: name, storage, components, in which threads.
#define KERNEL(name, T, count, team)                                                               \
    int name(void* pDst, const void* pValue, uint32_t uiDstWidthBytes, const void* pBin,           \
             uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, \
             uint32_t uiMerge) {                                                                   \
        return unpack_pixels<T>({team,                                                             \
                                 {pDst, uiDstWidthBytes},                                          \
                                 area_of(team, uiWidth, uiSizeInPixels),                           \
                                 pValue,                                                           \
                                 {pBin, uiBinWidthBytes},                                          \
                                 uiBinX,                                                           \
                                 uiMerge},                                                         \
                                count);                                                            \
    }

// clang-format off
KERNEL(unpack_bin_to_1x8,     uint8_t,  1, kCallingThread)
KERNEL(unpack_bin_to_1x16,    uint16_t, 1, kCallingThread)
KERNEL(unpack_bin_to_1x32,    uint32_t, 1, kCallingThread)
KERNEL(unpack_bin_to_3x8,     uint8_t,  3, kCallingThread)
KERNEL(unpack_bin_to_3x16,    uint16_t, 3, kCallingThread)
KERNEL(unpack_bin_to_4x8,     uint8_t,  4, kCallingThread)
KERNEL(unpack_bin_to_4x16,    uint16_t, 4, kCallingThread)
KERNEL(unpack_bin_to_1x8_mt,  uint8_t,  1, kTeam)  // alone in this
KERNEL(unpack_bin_to_1x16_mt, uint16_t, 1, kCallersTeam)
KERNEL(unpack_bin_to_1x32_mt, uint32_t, 1, kCallersTeam)
KERNEL(unpack_bin_to_3x8_mt,  uint8_t,  3, kCallersTeam)
KERNEL(unpack_bin_to_3x16_mt, uint16_t, 3, kCallersTeam)
KERNEL(unpack_bin_to_4x8_mt,  uint8_t,  4, kCallersTeam)
KERNEL(unpack_bin_to_4x16_mt, uint16_t, 4, kCallersTeam)
// clang-format on

#undef KERNEL

#define KERNEL(name, T, team)                                                                      \
    int name(void* pDst, uint32_t uiComponents, const void* pValue, uint32_t uiDstWidthBytes,      \
             const void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,        \
             uint64_t uiSizeInPixels, uint32_t uiMerge) {                                          \
        return unpack_pixels<T>({team,                                                             \
                                 {pDst, uiDstWidthBytes},                                          \
                                 area_of(team, uiWidth, uiSizeInPixels),                           \
                                 pValue,                                                           \
                                 {pBin, uiBinWidthBytes},                                          \
                                 uiBinX,                                                           \
                                 uiMerge},                                                         \
                                uiComponents);                                                     \
    }

// clang-format off
KERNEL(unpack_bin_to_Nx8,     uint8_t,  kCallingThread)
KERNEL(unpack_bin_to_Nx16,    uint16_t, kCallingThread)
KERNEL(unpack_bin_to_Nx8_mt,  uint8_t,  kCallersTeam)
KERNEL(unpack_bin_to_Nx16_mt, uint16_t, kCallersTeam)
// clang-format on

#undef KERNEL

int CQmPicMemAPI_Base::PackToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                    const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                    uint32_t uiSrcWidthBytes, const void* pRefValue,
                                    uint32_t uiCompare, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                    uint32_t uiMerge) {
    if (nothing_to_do(pBin, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    void* const first = static_cast<std::byte*>(pBin) + uiBinX / 8;
    if (auto* const kernel = kPack.find(uiComponents, uiBpc))
        return kernel(first, uiBinX % 8, uiBinWidthBytes, pSrc, uiSrcWidthBytes, pRefValue,
                      uiCompare, uiWidth, uiSizeInPixels, uiMerge);
    return call(kPackAny.find(uiComponents, uiBpc), first, uiBinX % 8, uiBinWidthBytes, pSrc,
                uiComponents, uiSrcWidthBytes, pRefValue, uiCompare, uiWidth, uiSizeInPixels,
                uiMerge);
}

int CQmPicMemAPI_Base::PackToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                    const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                    uint32_t uiSrcWidthBytes, uint64_t ui64RefValue,
                                    uint32_t uiCompare, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                    uint32_t uiMerge) {
    return with_value_pixel(ui64RefValue, uiComponents, [&](const void* pixel) {
        return PackToBinary(pBin, uiBinX, uiBinWidthBytes, pSrc, uiComponents, uiBpc,
                            uiSrcWidthBytes, pixel, uiCompare, uiWidth, uiSizeInPixels, uiMerge);
    });
}

namespace {

/// All four entries: kernels of fixed and of any component counts, and the greatest depth.
template <class Fixed, class Any>
int unpack_by(const Fixed& fixed, const Any& any, uint32_t most_bits, void* pDst,
              uint32_t uiComponents, uint32_t uiBpc, const void* pValue, uint32_t uiDstWidthBytes,
              const void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
              uint64_t uiSizeInPixels, uint32_t uiMerge) {
    if (nothing_to_do(pDst, pBin, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > most_bits) return QM_NO_KERNEL;
    const void* const first = static_cast<const std::byte*>(pBin) + uiBinX / 8;
    if (auto* const kernel = fixed.find(uiComponents, uiBpc))
        return kernel(pDst, pValue, uiDstWidthBytes, first, uiBinX % 8, uiBinWidthBytes, uiWidth,
                      uiSizeInPixels, uiMerge);
    return call(any.find(uiComponents, uiBpc), pDst, uiComponents, pValue, uiDstWidthBytes, first,
                uiBinX % 8, uiBinWidthBytes, uiWidth, uiSizeInPixels, uiMerge);
}

}  // namespace

// One line an entry: name, kernels.
#define ENTRY(name, fixed, any)                                                                    \
    int CQmPicMemAPI_Base::name(void* pDst, uint32_t uiComponents, uint32_t uiBpc,                 \
                                const void* pValue, uint32_t uiDstWidthBytes, const void* pBin,    \
                                uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,       \
                                uint64_t uiSizeInPixels, uint32_t uiMerge) {                       \
        return unpack_by(fixed, any, 16, pDst, uiComponents, uiBpc, pValue, uiDstWidthBytes, pBin, \
                         uiBinX, uiBinWidthBytes, uiWidth, uiSizeInPixels, uiMerge);               \
    }                                                                                              \
    int CQmPicMemAPI_Base::name(void* pDst, uint32_t uiComponents, uint32_t uiBpc,                 \
                                uint64_t ui64Value, uint32_t uiDstWidthBytes, const void* pBin,    \
                                uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,       \
                                uint64_t uiSizeInPixels, uint32_t uiMerge) {                       \
        return with_value_pixel(ui64Value, uiComponents, [&](const void* pixel) {                  \
            return unpack_by(fixed, any, 32, pDst, uiComponents, uiBpc, pixel, uiDstWidthBytes,    \
                             pBin, uiBinX, uiBinWidthBytes, uiWidth, uiSizeInPixels, uiMerge);     \
        });                                                                                        \
    }

ENTRY(UnpackFromBinary, kUnpack, kUnpackAny)
ENTRY(UnpackFromBinaryMT, kUnpackMt, kUnpackAnyMt)

#undef ENTRY
