#include <algorithm>

#include "PicMemAPI/bit_depth_kernels.h"
#include "core/arithmetic.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Bit depths. But for the moves of one component and the linear function a row is just so many
// samples.

namespace {

using namespace qmpic;

template <class T>
struct LowBits {
    template <class S>
    T operator()(S value) const {
        return static_cast<T>(value);
    }
};

template <class T>
struct AtMost {
    uint32_t max;
    template <class S>
    T operator()(S value) const {
        return static_cast<T>(std::min(value, static_cast<S>(max)));
    }
};

/// Shifts of 16-bit values by a count that is known to the call only, as products: shifts by a
/// variable widen to 32 bits, and a vector holds half as many samples. 16 and more give 0.
struct ShiftLeft {
    uint16_t factor;
    explicit ShiftLeft(uint32_t count)
        : factor(static_cast<uint16_t>(count < 16 ? 1u << count : 0)) {}
    uint16_t operator()(uint16_t value) const {
        return static_cast<uint16_t>(uint32_t{value} * factor);
    }
};

template <class T>
struct ShiftRight {
    uint16_t factor;
    explicit ShiftRight(uint32_t count)  // above 0
        : factor(static_cast<uint16_t>(count < 16 ? 0x10000u >> count : 0)) {}
    T operator()(uint16_t value) const { return static_cast<T>(uint32_t{value} * factor >> 16); }
};

/// Left, then right; one of the counts is 0.
template <class T>
struct ShiftBoth {
    uint32_t left, right;
    ShiftBoth(uint32_t to, uint32_t from)
        : left(to > from ? std::min(to - from, 31u) : 0),
          right(from > to ? std::min(from - to, 31u) : 0) {}
    T operator()(uint32_t value) const { return static_cast<T>(value << left >> right); }
};

/// The quotient of whole numbers. Below 2^53 that of doubles cannot reach the next whole number,
/// and takes a fraction of the time of a 64-bit division.
uint64_t quotient(uint64_t a, uint64_t b) {
    constexpr uint64_t kExact = uint64_t{1} << 53;
    if (a >= kExact || b >= kExact) return a / b;
    return static_cast<uint64_t>(trunc_i64(static_cast<double>(static_cast<int64_t>(a)) /
                                           static_cast<double>(static_cast<int64_t>(b))));
}

uint64_t linear(uint32_t value, const SQmBpcLinFunc& f) {
    return quotient(value * f.ui64Mul - f.ui64Sub, f.ui64Div) + f.ui64Add;
}

template <class T>
int change_bit_depth(Dst dst, Src src, uint32_t src_bpc, Area area) {
    if (src_bpc <= 8)
        map_samples<T, uint8_t>(kCallingThread, dst, src, area, LowBits<T>{});
    else if (src_bpc <= 16)
        map_samples<T, uint16_t>(kCallingThread, dst, src, area, LowBits<T>{});
    else if (src_bpc <= 32)
        map_samples<T, uint32_t>(kCallingThread, dst, src, area, LowBits<T>{});
    return QM_OK;
}

template <class T, uint32_t known>
int convert_via_lin_func(Dst dst, Src src, const SQmBpcLinFunc* functions, uint32_t max,
                         Count<known> count, Area area) {
    each_pixel<T, uint32_t>(kCallingThread, dst, count, src, count, area,
                            [=](Sample<T>* d, const Sample<uint32_t>* s) {
                                for (uint64_t c = 0; c < count(); ++c) {
                                    const auto low = static_cast<T>(linear(s[c], functions[c]));
                                    d[c] = std::min(low, static_cast<T>(max));
                                }
                            });
    return QM_OK;
}

}  // namespace

#define KERNEL(name, Storage, components, ...)                                                     \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             uint32_t uiSrcBpc __VA_OPT__(, ) __VA_ARGS__, uint32_t uiWidth,                       \
             uint64_t uiSizeInPixels) {                                                            \
        return change_bit_depth<Storage>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},   \
                                         uiSrcBpc,                                                 \
                                         Area::of_samples(components, uiWidth, uiSizeInPixels));   \
    }

// clang-format off
KERNEL(changebitdepth_1xN_to_1x08, uint8_t,  1)
KERNEL(changebitdepth_1xN_to_1x16, uint16_t, 1)
KERNEL(changebitdepth_1xN_to_1x32, uint32_t, 1)
KERNEL(changebitdepth_3xN_to_3x08, uint8_t,  3)
KERNEL(changebitdepth_3xN_to_3x16, uint16_t, 3)
KERNEL(changebitdepth_3xN_to_3x32, uint32_t, 3)
KERNEL(changebitdepth_NxM_to_Nx08, uint8_t,  uiComponents, uint32_t uiComponents)
KERNEL(changebitdepth_NxM_to_Nx16, uint16_t, uiComponents, uint32_t uiComponents)
KERNEL(changebitdepth_NxM_to_Nx32, uint32_t, uiComponents, uint32_t uiComponents)
// clang-format on

#undef KERNEL

int convert_Nx8_to_Nx16(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes, const void* pSrc,
                        uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiWidth,
                        uint64_t uiSizeInPixels) {
    map_samples<uint16_t, uint8_t>(
        kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},
        Area::of_samples(uiComponents, uiWidth, uiSizeInPixels), ShiftLeft{uiDstBpc - 8});
    return QM_OK;
}

int convert_Nx16_to_Nx8(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,
                        uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiWidth,
                        uint64_t uiSizeInPixels) {
    map_samples<uint8_t, uint16_t>(
        kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},
        Area::of_samples(uiComponents, uiWidth, uiSizeInPixels), ShiftRight<uint8_t>{uiSrcBpc - 8});
    return QM_OK;
}

int convert_Nx16_to_Nx16(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                         uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);
    if (uiDstBpc >= uiSrcBpc)
        map_samples<uint16_t, uint16_t>(kCallingThread, dst, src, area,
                                        ShiftLeft{uiDstBpc - uiSrcBpc});
    else
        map_samples<uint16_t, uint16_t>(kCallingThread, dst, src, area,
                                        ShiftRight<uint16_t>{uiSrcBpc - uiDstBpc});
    return QM_OK;
}

int _shift_Nx16_to_Nx16(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, int iShift,
                        uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (iShift == 0) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pDst, uiDstWidthBytes};
    const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);
    if (iShift < 0)  // the magnitude in unsigned arithmetic: there is none of INT_MIN in signed
        map_samples<uint16_t, uint16_t>(kCallingThread, dst, src, area,
                                        ShiftLeft{0 - static_cast<uint32_t>(iShift)});
    else
        map_samples<uint16_t, uint16_t>(kCallingThread, dst, src, area,
                                        ShiftRight<uint16_t>{static_cast<uint32_t>(iShift)});
    return QM_OK;
}

#define KERNEL(name, To, From)                                                                     \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,                       \
             uint32_t uiDstComponentIndex, uint32_t uiDstBpc, const void* pSrc,                    \
             uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes, uint32_t uiSrcComponentIndex,     \
             uint32_t uiSrcBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {                       \
        map<To, From>(                                                                             \
            kCallingThread,                                                                        \
            Component<Dst>{{pDst, uiDstWidthBytes}, uiDstComponents, uiDstComponentIndex},         \
            Component<Src>{{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcComponentIndex},         \
            Area::of_pixels(uiWidth, uiSizeInPixels), ShiftBoth<To>{uiDstBpc, uiSrcBpc});          \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convertcomponent_8_to_8,   uint8_t,  uint8_t)
KERNEL(convertcomponent_8_to_16,  uint16_t, uint8_t)
KERNEL(convertcomponent_16_to_8,  uint8_t,  uint16_t)
KERNEL(convertcomponent_16_to_16, uint16_t, uint16_t)  // no entry reaches it
// clang-format on

#undef KERNEL

// DEPTH and COUNT are the arguments that only some have, each with its comma.
#define DEPTH uint32_t uiDstBpc,
#define COUNT uint32_t uiComponents,
#define KERNEL(name, Storage, max, count, depth, components)                                       \
    int name(void* pDst, uint32_t uiDstWidthBytes, depth const void* pSrc,                         \
             uint32_t uiSrcWidthBytes, const SQmBpcLinFunc* pLinFunc, components uint32_t uiWidth, \
             uint64_t uiSizeInPixels) {                                                            \
        return convert_via_lin_func<Storage>(Dst{pDst, uiDstWidthBytes},                           \
                                             Src{pSrc, uiSrcWidthBytes}, pLinFunc, max, count,     \
                                             Area::of_pixels(uiWidth, uiSizeInPixels));            \
    }

// clang-format off
KERNEL(convertbitdepthvialinfunc_1x32_to_1x8,  uint8_t,  255,                 Count<1>{}, , )
KERNEL(convertbitdepthvialinfunc_3x32_to_3x8,  uint8_t,  255,                 Count<3>{}, , )
KERNEL(convertbitdepthvialinfunc_Mx32_to_Mx8,  uint8_t,  255,                 Count<0>{uiComponents}, , COUNT)
KERNEL(convertbitdepthvialinfunc_1x32_to_1x16, uint16_t, max_value(uiDstBpc), Count<1>{}, DEPTH, )
KERNEL(convertbitdepthvialinfunc_3x32_to_3x16, uint16_t, max_value(uiDstBpc), Count<3>{}, DEPTH, )
KERNEL(convertbitdepthvialinfunc_Mx32_to_Mx16, uint16_t, max_value(uiDstBpc), Count<0>{uiComponents}, DEPTH, COUNT)
// clang-format on

#undef KERNEL
#undef COUNT
#undef DEPTH

// ----- Entries --------------------------------------------------------------------------------

namespace {

/// Bits in which a depth is stored, 0 to 7 bits and those between the classes with it.
uint32_t smallest_storage(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 32; }

template <class T, class S>
void clip(Dst dst, Src src, Area area, uint32_t max) {
    if constexpr (sizeof(T) <= sizeof(S))
        map_samples<T, S>(kCallingThread, dst, src, area, AtMost<T>{max});
}

template <class T>
void clip_from(uint32_t src_bits, Dst dst, Src src, Area area, uint32_t max) {
    switch (src_bits) {
    case 8: return clip<T, uint8_t>(dst, src, area, max);
    case 16: return clip<T, uint16_t>(dst, src, area, max);
    default: return clip<T, uint32_t>(dst, src, area, max);
    }
}

}  // namespace

int CQmPicMemAPI_Base::ChangeBitDepth(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                      const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                      uint32_t uiComponents, uint32_t uiWidth,
                                      uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    constexpr uint32_t kAnyBits = 0;
    const uint32_t bits = storage_bits(uiDstBpc);
    if (bits == 0) return QM_NO_KERNEL;
    return call(kChangeBitDepth.find_between(uiComponents, kAnyBits, bits), pDst, uiDstWidthBytes,
                pSrc, uiSrcWidthBytes, uiSrcBpc, uiComponents, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExpandBits(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                  const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                  uint32_t uiComponents, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    if (uiDstBpc > 32 || uiSrcBpc > 32) return QM_NO_KERNEL;
    if ((uiDstBpc + 7) / 8 == (uiSrcBpc + 7) / 8) {  // 24 and 25 bits differ here, 20 and 24 do not
        // What lies in the gaps goes along.
        copy_lines(kCallingThread, dst, src, std::min(uiDstWidthBytes, uiSrcWidthBytes),
                   Area::of_pixels(uiWidth, uiSizeInPixels).rows);
        return QM_OK;
    }
    if (storage_bits(uiSrcBpc) != 8 || storage_bits(uiDstBpc) != 16) return QM_NO_KERNEL;
    map_samples<uint16_t, uint8_t>(kCallingThread, dst, src,
                                   Area::of_samples(uiComponents, uiWidth, uiSizeInPixels),
                                   LowBits<uint16_t>{});
    return QM_OK;
}

int CQmPicMemAPI_Base::CollapseBits(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                    const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                    uint32_t uiComponents, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstBpc > uiSrcBpc || uiSrcBpc > 32) return QM_NO_KERNEL;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);
    const uint32_t from = smallest_storage(uiSrcBpc), max = max_value(uiDstBpc);
    switch (smallest_storage(uiDstBpc)) {
    case 8: clip_from<uint8_t>(from, dst, src, area, max); break;
    case 16: clip_from<uint16_t>(from, dst, src, area, max); break;
    default: clip_from<uint32_t>(from, dst, src, area, max); break;
    }
    return QM_OK;
}

int CQmPicMemAPI_Base::ConvertBitDepthViaShifts(void* pDst, uint32_t uiDstBpc,
                                                uint32_t uiDstWidthBytes, const void* pSrc,
                                                uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                                uint32_t uiComponents, uint32_t uiWidth,
                                                uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstBpc == uiSrcBpc)
        return copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiComponents, uiDstBpc, uiWidth,
                    uiSizeInPixels);
    const uint32_t from = storage_bits(uiSrcBpc), to = storage_bits(uiDstBpc);
    if (from == 8 && to == 16)
        return convert_Nx8_to_Nx16(pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcWidthBytes,
                                   uiComponents, uiWidth, uiSizeInPixels);
    if (from == 16 && to == 8)
        return convert_Nx16_to_Nx8(pDst, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes,
                                   uiComponents, uiWidth, uiSizeInPixels);
    if (from == 16 && to == 16)
        return convert_Nx16_to_Nx16(pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcBpc,
                                    uiSrcWidthBytes, uiComponents, uiWidth, uiSizeInPixels);
    return QM_NO_KERNEL;
}

int CQmPicMemAPI_Base::ConvertComponentViaShifts(void* pDst, uint32_t uiDstComponents,
                                                 uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                                 uint32_t uiDstComponentIndex, const void* pSrc,
                                                 uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                                 uint32_t uiSrcWidthBytes,
                                                 uint32_t uiSrcComponentIndex, uint32_t uiWidth,
                                                 uint64_t uiSizeInPixels) {
    if (uiDstBpc == uiSrcBpc)
        return CopyComponent(pDst, uiDstComponents, uiDstWidthBytes, uiDstComponentIndex, pSrc,
                             uiSrcComponents, uiSrcWidthBytes, uiSrcComponentIndex, uiDstBpc,
                             uiWidth, uiSizeInPixels);
    const uint32_t from = smallest_storage(uiSrcBpc), to = smallest_storage(uiDstBpc);
    if (from == 32 || to == 32) return QM_NO_KERNEL;
    if (from == 16 && to == 16) return QM_NO_KERNEL;  // although there is a kernel
    return call(kConvertComponent.find_between(uiSrcComponents, from, to), pDst, uiDstComponents,
                uiDstWidthBytes, uiDstComponentIndex, uiDstBpc, pSrc, uiSrcComponents,
                uiSrcWidthBytes, uiSrcComponentIndex, uiSrcBpc, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ConvertBitDepthViaLinFunc(void* pDst, uint32_t uiDstBpc,
                                                 uint32_t uiDstWidthBytes, const void* pSrc,
                                                 uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                                 const SQmBpcLinFunc* pLinFunc,
                                                 uint32_t uiComponents, uint32_t uiWidth,
                                                 uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiSrcBpc == 32) return QM_NO_KERNEL;  // although it is stored like the others
    const uint32_t from = storage_bits(uiSrcBpc), to = storage_bits(uiDstBpc);
    if (from != 32) return QM_NO_KERNEL;
    return call(kLinFunc.find_between(uiComponents, from, to), pDst, uiDstWidthBytes, uiDstBpc,
                pSrc, uiSrcWidthBytes, pLinFunc, uiComponents, uiWidth, uiSizeInPixels);
}
