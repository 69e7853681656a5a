#include <algorithm>
#include <cstring>

#include "PicMemAPI/grey_kernels.h"
#include "PicMemAPI/pixel_bytes.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Mirrors and colour orders. There are no kernels behind these entries but those that add or drop a
// fourth component.

namespace {

using namespace qmpic;

// Pixels that are as large as a sample: the compiler shuffles these. In place that takes six tenths
// of the time of tables (512 x 512 x 4 bytes), since nothing has to be blended.
template <class T>
struct Mirror {
    using Pixel = T;
    uint64_t pixels;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        for (uint64_t x = 0; x < pixels; ++x) d[x] = s[pixels - 1 - x].value;
    }
};
template <class T>
struct Exchange {
    using Pixel = T;
    uint64_t pixels;
    void operator()(Sample<T>* row, const Sample<T>*) const {
        Sample<T>* const end = row + pixels - 1;
        for (uint64_t x = 0; x < pixels / 2; ++x) {
            const T left = row[x], right = *(end - x);
            row[x] = right;
            *(end - x) = left;
        }
    }
};

// Pixels that are shuffled by tables. Between two memories that takes two thirds of the time of the
// compiler's loops.
struct MirrorInVectors {
    using Pixel = uint8_t;
    static constexpr bool kAlways = true;
    uint64_t pixels;
    Reversal reversal;
    void operator()(Sample<uint8_t>* d, const Sample<uint8_t>* s) const {
        mirror_row_avx2(d, s, pixels, reversal);
    }
};
struct ExchangeInVectors {
    using Pixel = uint8_t;
    static constexpr bool kAlways = false;  // not where pixels are as large as a sample
    uint64_t pixels;
    Reversal reversal;
    void operator()(Sample<uint8_t>* row, const Sample<uint8_t>*) const {
        mirror_row_in_place_avx2(row, pixels, reversal);
    }
};

// And others where nothing is: so many bytes, a constant or (0) given.
template <uint32_t known>
struct MirrorBlocks {
    using Pixel = uint8_t;
    uint64_t pixels, given;
    void operator()(Sample<uint8_t>* d, const Sample<uint8_t>* s) const {
        const uint64_t bytes = known != 0 ? known : given;
        for (uint64_t x = 0; x < pixels; ++x)
            std::memmove(d + x * bytes, s + (pixels - 1 - x) * bytes, bytes);
    }
};
template <uint32_t known>
struct ExchangeBlocks {
    using Pixel = uint8_t;
    uint64_t pixels, given;
    void operator()(Sample<uint8_t>* row, const Sample<uint8_t>*) const {
        const uint64_t bytes = known != 0 ? known : given;
        for (uint64_t x = 0; x < pixels / 2; ++x)
            std::swap_ranges(row + x * bytes, row + (x + 1) * bytes,
                             row + (pixels - 1 - x) * bytes);
    }
};

template <class Op>
void in_rows(Dst dst, Src src, Area area, Op op) {
    using Pixel = typename Op::Pixel;
    each_row<Pixel, Pixel>(kCallingThread, dst, src, area, op);
}

template <template <class> class Samples, class InVectors, template <uint32_t> class Blocks>
void mirror(Dst dst, Src src, uint32_t bytes, Area area) {
    const bool like_a_sample = bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8;
    if (shuffles(bytes) && (InVectors::kAlways || !like_a_sample))
        return in_rows(dst, src, area, InVectors{area.width, Reversal(bytes)});
    switch (bytes) {
    case 0: return;
    case 1: return in_rows(dst, src, area, Samples<uint8_t>{area.width});
    case 2: return in_rows(dst, src, area, Samples<uint16_t>{area.width});
    case 4: return in_rows(dst, src, area, Samples<uint32_t>{area.width});
    case 8: return in_rows(dst, src, area, Samples<uint64_t>{area.width});
    case 3: return in_rows(dst, src, area, Blocks<3>{area.width, bytes});
    case 6: return in_rows(dst, src, area, Blocks<6>{area.width, bytes});
    default: return in_rows(dst, src, area, Blocks<0>{area.width, bytes});
    }
}

// First and third component of a pixel change places.
template <class T>
struct Swap {
    void operator()(Sample<T>* d, const Sample<T>*) const {
        const T first = d[0];
        d[0] = d[2].value;
        d[2] = first;
    }
};

struct SwapInVectors {
    using Pixel = uint8_t;
    uint64_t pixels;
    BlockShuffle shuffle;
    void operator()(Sample<uint8_t>* row, const Sample<uint8_t>*) const {
        rearrange_row_avx2(row, row, pixels, shuffle);
    }
};

template <class T>
void swap_colours(Dst dst, uint32_t components, Area area) {
    const uint64_t bytes = uint64_t{components} * sizeof(T);
    const Src src{dst.first, dst.stride};
    if (!shuffles(bytes))
        return each_pixel<T, T>(kCallingThread, dst, Count<0>{components}, src,
                                Count<0>{components}, area, Swap<T>{});
    const auto size = static_cast<uint32_t>(bytes);
    BlockShuffle shuffle{16 / size, size, size, {}};
    for (uint32_t i = 0; i < 16; ++i) {
        const auto component = static_cast<uint32_t>(i % size / sizeof(T));
        const bool counts = i < shuffle.pixels * size;
        constexpr auto across = static_cast<uint32_t>(2 * sizeof(T));
        shuffle.bytes[i] = static_cast<uint8_t>(counts && component == 0   ? i + across
                                                : counts && component == 2 ? i - across
                                                                           : i);
    }
    area = joined(kCallingThread, area, {{dst.stride, bytes}});
    in_rows(dst, src, area, SwapInVectors{area.width, shuffle});
}

}  // namespace

int CQmPicMemAPI_Base::FlipHor(void* pDst, const void* pSrc, uint32_t uiBpc, uint32_t uiComponents,
                               uint32_t uiWidthBytes, uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    const Dst dst{pDst, uiWidthBytes};
    const Src src{pSrc, uiWidthBytes};
    const Area area{uiWidth, uiHeight};
    if (pDst == pSrc) {
        mirror<Exchange, ExchangeInVectors, ExchangeBlocks>(dst, src,
                                                            (uiBpc + 7) / 8 * uiComponents, area);
    } else {
        // Bytes also above 16 bits: not a mirror then, but for what is in place.
        const uint32_t bytes = uiBpc >= 9 && uiBpc <= 16 ? 2 : 1;
        mirror<Mirror, MirrorInVectors, MirrorBlocks>(dst, src, bytes * uiComponents, area);
    }
    return QM_OK;
}

int CQmPicMemAPI_Base::FlipVert(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const uint64_t bytes = std::min(uiDstWidthBytes, uiSrcWidthBytes);  // padding and all
    const uint64_t rows = bytes == 0 ? 0 : Area::of_pixels(uiWidth, uiSizeInPixels).rows;
    // No pixel is looked at: blocks for the C library, the source's upwards.
    for (uint64_t y = 0; y < rows; ++y)
        std::memmove(dst.row<uint8_t>(y), src.row<uint8_t>(rows - 1 - y), bytes);
    return QM_OK;
}

int CQmPicMemAPI_Base::FlipVert(void* pDst, uint32_t uiWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    const Dst dst{pDst, uiWidthBytes};
    const uint64_t rows = uiWidthBytes == 0 ? 0 : Area::of_pixels(uiWidth, uiSizeInPixels).rows;
    walk_rows(kCallingThread, rows / 2, [=](RowRange upper) {  // two rows at a time
        for (uint64_t y = upper.first; y < upper.last; ++y) {
            Sample<uint8_t>* const a = dst.row<uint8_t>(y);
            Sample<uint8_t>* const b = dst.row<uint8_t>(rows - 1 - y);
            for (uint64_t i = 0; i < uiWidthBytes; ++i) {
                const uint8_t byte = a[i];
                a[i] = b[i].value;
                b[i] = byte;
            }
        }
    });
    return QM_OK;
}

int CQmPicMemAPI_Base::FlipVertExtractComp(uint32_t uiSrcIndex, void* pDst,
                                           uint32_t uiDstWidthBytes, const void* pSrc,
                                           uint32_t uiSrcWidthBytes, uint32_t uiSrcComponents,
                                           uint32_t uiBpc, uint32_t uiWidth,
                                           uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const uint32_t bytes = uiBpc <= 8 ? 1 : 2;
    const Area row{uiDstWidthBytes / bytes, 1};  // as far as the stride goes, and not the width
    const uint64_t rows = row.width == 0 ? 0 : Area::of_pixels(uiWidth, uiSizeInPixels).rows;
    for (uint64_t y = 0; y < rows; ++y) {  // one by one: a shape has its rows in the same order
        const Component<Dst> d{{dst.row<uint8_t>(y), 0}};
        const Component<Src> s{{src.row<uint8_t>(rows - 1 - y), 0}, uiSrcComponents, uiSrcIndex};
        if (bytes == 1)
            map<uint8_t, uint8_t>(kCallingThread, d, s, row, Same{});
        else
            map<uint16_t, uint16_t>(kCallingThread, d, s, row, Same{});
    }
    return QM_OK;
}

int CQmPicMemAPI_Base::CollapseRGBAtoRGB(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                         uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kDropFourth.find(4, uiBpc), pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiWidth,
                uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExpandRGBtoRGBA(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiAlpha, uint32_t uiBpc,
                                       uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kAddFourth.find(3, uiBpc), pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,
                static_cast<uint16_t>(uiAlpha), uiWidth, uiSizeInPixels);
}

void CQmPicMemAPI_Base::ConvertBGRtoRGB(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                        uint32_t uiWidthBytes, uint32_t uiWidth,
                                        uint32_t uiHeight) {
    if (uiComponents < 3) return;
    const Dst dst{pDst, uiWidthBytes};
    const Area area{uiWidth, uiHeight};
    switch (storage_bits(uiBpc)) {
    case 8: swap_colours<uint8_t>(dst, uiComponents, area); break;
    case 16: swap_colours<uint16_t>(dst, uiComponents, area); break;
    }
}
