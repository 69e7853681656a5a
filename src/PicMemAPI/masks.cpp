#include <cstring>
#include <limits>
#include <type_traits>

#include "PicMemAPI/masks_kernels.h"
#include "PicMemAPI/pixel_bytes.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Copies under a mask: components, and pixels as blocks of bytes.

namespace {

using namespace qmpic;

/// Which pixels of an area are chosen.
template <class Unit>
struct Choice {
    Src mask;
    uint32_t value;
    bool inverted;

    bool is_constant() const { return value > std::numeric_limits<Unit>::max(); }
};

/// Steps of 0 are read from the pictures; others are constants, which lets vectors shuffle. The old
/// value is read and written back, so that there is no branch.
template <class T, class Unit, uint32_t to, uint32_t from>
void select_steps(Component<Dst> dst, Component<Src> src, Choice<Unit> choice, Area area) {
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {  // three pictures
        const uint64_t d_step = to != 0 ? to : dst.step, s_step = from != 0 ? from : src.step;
        const Unit value = static_cast<Unit>(choice.value);
        const bool inverted = choice.inverted;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* const d = dst.picture.row<T>(y) + dst.index;
            const Sample<T>* const s = src.picture.row<T>(y) + src.index;
            const Sample<Unit>* const mask = choice.mask.template row<Unit>(y);
            for (uint64_t x = 0; x < area.width; ++x) {
                const T old = d[x * d_step], now = s[x * s_step];
                // A flipped comparison would not be vectorised for AVX-512.
                const T where = inverted ? old : now, elsewhere = inverted ? now : old;
                d[x * d_step] = mask[x] == value ? where : elsewhere;
            }
        }
    });
}

template <class T, class Unit>
int select(Component<Dst> dst, Component<Src> src, Choice<Unit> choice, Area area) {
    if (choice.is_constant()) {
        if (choice.inverted) map<T, T>(kCallingThread, dst, src, area, Same{});
        return QM_OK;
    }
    area = joined(kCallingThread, area,
                  {{dst.picture.stride, dst.step * sizeof(T)},
                   {src.picture.stride, src.step * sizeof(T)},
                   {choice.mask.stride, sizeof(Unit)}});
    switch (dst.step == 1 ? src.step : 0) {
    case 1: select_steps<T, Unit, 1, 1>(dst, src, choice, area); break;
    case 3: select_steps<T, Unit, 1, 3>(dst, src, choice, area); break;
    case 4: select_steps<T, Unit, 1, 4>(dst, src, choice, area); break;
    default: select_steps<T, Unit, 0, 0>(dst, src, choice, area);
    }
    return QM_OK;
}

/// Pixels of 3 or 6 bytes where nothing shuffles them, without a branch; others (0), each a call.
template <class Unit, uint32_t known>
void select_blocks(Dst dst, Src src, uint64_t given, Choice<Unit> choice, Area area) {
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {  // three pictures
        const uint64_t bytes = known != 0 ? known : given;
        const Unit value = static_cast<Unit>(choice.value);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<Unit>* const mask = choice.mask.template row<Unit>(y);
            Sample<uint8_t>* d = dst.row<uint8_t>(y);
            const Sample<uint8_t>* s = src.row<uint8_t>(y);
            for (uint64_t x = 0; x < area.width; ++x, d += bytes, s += bytes) {
                const bool chosen = (mask[x] == value) != choice.inverted;
                if constexpr (known == 0) {
                    if (chosen) std::memmove(d, s, bytes);
                } else {
                    using Part = std::conditional_t<known % 2 == 0, uint16_t, uint8_t>;
                    auto* const to = reinterpret_cast<Sample<Part>*>(d);
                    const auto* const from = reinterpret_cast<const Sample<Part>*>(s);
                    for (uint32_t i = 0; i < known / sizeof(Part); ++i) {
                        const Part old = to[i], now = from[i];
                        to[i] = chosen ? now : old;
                    }
                }
            }
        }
    });
}

template <class Unit>
int select_pixels(Dst dst, Src src, uint32_t bytes, Choice<Unit> choice, Area area) {
    switch (bytes) {
    case 0: return QM_OK;
    case 1: return select<uint8_t>({dst}, {src}, choice, area);
    case 2: return select<uint16_t>({dst}, {src}, choice, area);
    case 4: return select<uint32_t>({dst}, {src}, choice, area);
    case 8: return select<uint64_t>({dst}, {src}, choice, area);
    }
    if (choice.is_constant()) {
        if (choice.inverted)
            copy_lines(kCallingThread, dst, src, uint64_t{bytes} * area.width, area.rows);
        return QM_OK;
    }
    area = joined(kCallingThread, area,
                  {{dst.stride, bytes}, {src.stride, bytes}, {choice.mask.stride, sizeof(Unit)}});
    if (bytes != 3 && bytes != 6) {
        select_blocks<Unit, 0>(dst, src, bytes, choice, area);
    } else if (shuffles(bytes)) {
        walk_rows(kCallingThread, area.rows, [=](RowRange rows) {  // three pictures
            for (uint64_t y = rows.first; y < rows.last; ++y)
                select_row_avx2<Unit>(dst.row<uint8_t>(y), src.row<uint8_t>(y),
                                      choice.mask.template row<uint8_t>(y), area.width, bytes,
                                      static_cast<Unit>(choice.value), choice.inverted);
        });
    } else if (bytes == 3) {
        select_blocks<Unit, 3>(dst, src, bytes, choice, area);
    } else {
        select_blocks<Unit, 6>(dst, src, bytes, choice, area);
    }
    return QM_OK;
}

constexpr bool kIn = false, kOut = true;

}  // namespace

// One line an exported kernel: name, storage of the component, unit of the mask, sense.
#define KERNEL(name, Storage, Unit, sense)                                                         \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, uint32_t uiDstIndex,  \
             const void* pSrc, uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,                 \
             uint32_t uiSrcIndex, const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiWidth,  \
             uint64_t uiSizeInPixels, uint32_t uiMaskValue) {                                      \
        return select<Storage>(                                                                    \
            Component<Dst>{{pDst, uiDstWidthBytes}, uiDstComponents, uiDstIndex},                  \
            Component<Src>{{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcIndex},                  \
            Choice<Unit>{{pMask, uiMaskWidthBytes}, uiMaskValue, sense},                           \
            Area::of_pixels(uiWidth, uiSizeInPixels));                                             \
    }

// clang-format off
KERNEL(copycomponentmask_8_Nx8_in,    uint8_t,  uint8_t,  kIn)
KERNEL(copycomponentmask_8_Nx8_out,   uint8_t,  uint8_t,  kOut)
KERNEL(copycomponentmask_8_Nx16_in,   uint16_t, uint8_t,  kIn)
KERNEL(copycomponentmask_8_Nx16_out,  uint16_t, uint8_t,  kOut)
KERNEL(copycomponentmask_16_Nx8_in,   uint8_t,  uint16_t, kIn)
KERNEL(copycomponentmask_16_Nx8_out,  uint8_t,  uint16_t, kOut)
KERNEL(copycomponentmask_16_Nx16_in,  uint16_t, uint16_t, kIn)
KERNEL(copycomponentmask_16_Nx16_out, uint16_t, uint16_t, kOut)
// clang-format on

#undef KERNEL

#define KERNEL(name, Unit, sense)                                                                  \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             uint32_t uiComponents, uint32_t uiBpc, const void* pMask, uint32_t uiMaskWidthBytes,  \
             uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMaskValue) {                    \
        return select_pixels(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},               \
                             (uiBpc + 7) / 8 * uiComponents,                                       \
                             Choice<Unit>{{pMask, uiMaskWidthBytes}, uiMaskValue, sense},          \
                             Area::of_pixels(uiWidth, uiSizeInPixels));                            \
    }

// clang-format off
KERNEL(copymask_8_in,   uint8_t,  kIn)
KERNEL(copymask_8_out,  uint8_t,  kOut)
KERNEL(copymask_16_in,  uint16_t, kIn)
KERNEL(copymask_16_out, uint16_t, kOut)
// clang-format on

#undef KERNEL

#define KERNEL(name, Unit, sense)                                                                  \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiWidth,                       \
             uint64_t uiSizeInPixels, uint32_t uiMaskValue) {                                      \
        return select_pixels(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, 3,            \
                             Choice<Unit>{{pMask, uiMaskWidthBytes}, uiMaskValue, sense},          \
                             Area::of_pixels(uiWidth, uiSizeInPixels));                            \
    }

// clang-format off
KERNEL(copymask_16_3x8_in,  uint16_t, kIn)
KERNEL(copymask_16_3x8_out, uint16_t, kOut)
// clang-format on

#undef KERNEL

// Depths below 8 are bytes here, those of masks and those of components.
static uint32_t bits_of(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 0; }

int CQmPicMemAPI_Base::CopyComponentMask(
    void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, uint32_t uiDstIndex,
    const void* pSrc, uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex,
    uint32_t uiBpc, const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiMaskBpc,
    uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMaskValue, bool bInside) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const uint32_t bits = bits_of(uiBpc);
    CopyComponentMaskKernel* kernel = nullptr;
    switch (bits_of(uiMaskBpc)) {
    case 8:
        kernel = bInside ? kCopyComponentMask8In.find_stored(uiSrcComponents, bits)
                         : kCopyComponentMask8Out.find_stored(uiSrcComponents, bits);
        break;
    case 16:
        kernel = bInside ? kCopyComponentMask16In.find_stored(uiSrcComponents, bits)
                         : kCopyComponentMask16Out.find_stored(uiSrcComponents, bits);
    }
    return call(kernel, pDst, uiDstComponents, uiDstWidthBytes, uiDstIndex, pSrc, uiSrcComponents,
                uiSrcWidthBytes, uiSrcIndex, pMask, uiMaskWidthBytes, uiWidth, uiSizeInPixels,
                uiMaskValue);
}

int CQmPicMemAPI_Base::CopyMask(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                const void* pMask, uint32_t uiMaskBpc, uint32_t uiMaskWidthBytes,
                                uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMaskValue,
                                bool bInside) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const uint32_t mask_bits = bits_of(uiMaskBpc);
    if (mask_bits == 0) return QM_REJECTED;                  // and not the -2 of CopyComponentMask
    if (mask_bits == 16 && uiComponents == 3 && uiBpc <= 8)  // three bytes also for a depth of 0
        return (bInside ? copymask_16_3x8_in : copymask_16_3x8_out)(
            pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pMask, uiMaskWidthBytes, uiWidth,
            uiSizeInPixels, uiMaskValue);
    return call((bInside ? kCopyMaskIn : kCopyMaskOut).find_stored(uiComponents, mask_bits), pDst,
                uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiComponents, uiBpc, pMask,
                uiMaskWidthBytes, uiWidth, uiSizeInPixels, uiMaskValue);
}
