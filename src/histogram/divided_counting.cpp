#include <algorithm>
#include <cstddef>

#include "core/shapes.h"
#include "histogram/counting_kernels.h"
#include "qmpic/PicMemAPI_Base.h"

// Counting of many values in few bins, and sums of bins.

namespace {

using namespace qmpic;

/// The pixels of a call by the words of the picture: where rows begin, how many words of a row are
/// walked, and behind which byte there is no picture.
struct Walk {
    Src src;
    uint64_t components, step_x, step_y, rows, row_words, end;
    bool halves;  ///< rows begin at half the bytes that they should
    uint64_t begin(uint64_t y) const {
        return halves ? y * src.stride / 4 * sizeof(uint16_t) : y * src.stride;
    }
};

/// A value's bin in a block of 2^histo_bits.
struct Divided {
    uint32_t shift;
    uint64_t last;  ///< bin of the block
    Divided(uint32_t bpc, uint32_t bits)
        : shift((bpc - bits) & 63), last(bits >= 32 ? UINT64_MAX : (uint64_t{1} << bits) - 1) {}
    uint64_t bin(uint64_t value) const { return value >> shift; }
};

/// `visit(c, value)` for every component of every pixel.
template <class T, uint32_t known, class Visit>
void each_value(const Walk& walk, Visit visit) {
    const uint64_t n = known != 0 ? known : walk.components;
    for (uint64_t y = 0; y < walk.rows; y += walk.step_y) {
        const uint64_t begin = walk.begin(y), there = (walk.end - begin) / sizeof(T);
        // A pixel is counted where its first word is one of the row's and its last the picture's.
        const uint64_t whole = there >= n ? there - n + 1 : 0;
        const uint64_t words = std::min(walk.row_words, whole);
        const auto* const s = reinterpret_cast<const Sample<T>*>(
            static_cast<const std::byte*>(walk.src.first) + begin);
        for (uint64_t i = 0; i < words; i += n * walk.step_x)
            for (uint64_t c = 0; c < n; ++c) visit(c, uint64_t{s[i + c]});
    }
}

template <class T, class Bin, uint32_t known>
void count_divided(void* const* components, const Walk& walk, Divided divided) {
    each_value<T, known>(walk, [=](uint64_t c, uint64_t value) {
        const uint64_t index = divided.bin(value);
        if (index > divided.last) return;
        Sample<Bin>& bin = static_cast<Sample<Bin>*>(components[c])[index];
        bin = static_cast<Bin>(bin + 1);
    });
}

/// What the forms for any number do with bins of 8 bytes.
template <class T>
void step_pointers(void** components, const Walk& walk, Divided divided) {
    each_value<T, 0>(walk, [=](uint64_t c, uint64_t value) {
        components[0] = components[c];
        const uint64_t index = divided.bin(value);
        if (index < walk.components)
            components[index] = reinterpret_cast<void*>(
                reinterpret_cast<uintptr_t>(components[index]) + sizeof(uint64_t));
    });
}

struct Request {
    uint32_t bin_bytes, histo_bits;
    Src src;
    uint32_t step_x, step_y, bpc;
    uint32_t width;
    uint64_t size;
};

constexpr bool kFindsRows = false, kHalvesRows = true;

template <class T, uint32_t known>
int divide(void** components, Count<known> count, bool halves, const Request& r) {
    const Area area = Area::of_pixels(r.width, r.size);
    if (area.rows == 0) return QM_OK;
    if (r.bin_bytes != 4 && r.bin_bytes != 8) return QM_NO_KERNEL;
    if (components == nullptr || count() == 0) return QM_OK;
    const Walk walk{r.src,
                    count(),
                    std::max(r.step_x, 1u),
                    std::max(r.step_y, 1u),
                    area.rows,
                    (known == 1 ? 1 : 3) * area.width,  // any number: as if it were three
                    (area.rows - 1) * r.src.stride + area.width * count() * sizeof(T),
                    halves};
    const Divided divided(r.bpc, r.histo_bits);
    if (r.bin_bytes == 4)
        count_divided<T, uint32_t, known>(components, walk, divided);
    else if constexpr (known != 0)
        count_divided<T, uint64_t, known>(components, walk, divided);
    else
        step_pointers<T>(components, walk, divided);
    return QM_OK;
}

template <class Bin>
void add_block(const void* src, void* dst, uint64_t bins) {
    if (src == nullptr || dst == nullptr) return;
    const Area area{bins, 1};
    combine<Bin>(kCallingThread, Dst{dst, 0}, Src{dst, 0}, Src{src, 0}, area,
                 [](Bin a, Bin b) { return static_cast<Bin>(a + b); });
}

template <class Bin>
void add_blocks(const void* src, void* const* src_components, void* dst,
                void* const* dst_components, uint64_t bins, uint32_t components) {
    add_block<Bin>(src, dst, bins);
    if (src_components == nullptr || dst_components == nullptr) return;
    if (components == 0 || src_components[0] == src) return;  // counted above
    for (uint32_t c = 0; c < components; ++c)
        add_block<Bin>(src_components[c], dst_components[c], bins);
}

}  // namespace

// One line an exported kernel: name, storage, and (of several components) how rows are found.
#define REQUEST                                                                                    \
    Request {                                                                                      \
        uiBinBytes, uiHistoBits, {pSrc, uiWidthBytes}, uiStepX, uiStepY, uiBpc, uiWidth,           \
            uiSizeInPixels                                                                         \
    }

#define KERNEL(name, T)                                                                            \
    int name(void* pBins, uint32_t uiBinBytes, uint32_t uiHistoBits, const void* pSrc,             \
             uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc,            \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return divide<T>(pBins != nullptr ? &pBins : nullptr, Count<1>{}, kFindsRows, REQUEST);    \
    }
KERNEL(gethistogramdiv_1x16, uint16_t)
KERNEL(gethistogramdiv_1x32, uint32_t)
#undef KERNEL

#define KERNEL(name, T, rows)                                                                      \
    int name(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits, const void* pSrc,           \
             uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc,            \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return divide<T>(ppComp, Count<3>{}, rows, REQUEST);                                       \
    }
KERNEL(gethistogramdiv_3x16, uint16_t, kHalvesRows)
KERNEL(gethistogramdiv_3x32, uint32_t, kFindsRows)
#undef KERNEL

#define KERNEL(name, T, rows)                                                                      \
    int name(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits, const void* pSrc,           \
             uint32_t uiComponents, uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,     \
             uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {                          \
        return divide<T>(ppComp, Count<0>{uiComponents}, rows, REQUEST);                           \
    }
KERNEL(gethistogramdiv_Nx16, uint16_t, kHalvesRows)
KERNEL(gethistogramdiv_Nx32, uint32_t, kFindsRows)
#undef KERNEL
#undef REQUEST

int histo_add(const void* pSrcIntensity, void** ppSrcComp, void* pDstIntensity, void** ppDstComp,
              uint32_t uiBits, uint32_t uiComponents, uint32_t uiBinBytes) {
    const uint64_t bins = uint64_t{1} << (uiBits & 63);
    switch (uiBinBytes) {
    case 4:
        add_blocks<uint32_t>(pSrcIntensity, ppSrcComp, pDstIntensity, ppDstComp, bins,
                             uiComponents);
        break;
    case 8:
        add_blocks<uint64_t>(pSrcIntensity, ppSrcComp, pDstIntensity, ppDstComp, bins,
                             uiComponents);
        break;
    }
    return QM_OK;
}

int CQmPicMemAPI_Base::GetHistogramDiv(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits,
                                       const void* pSrc, uint32_t uiWidthBytes,
                                       uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels) {
    if (nothing_to_do(pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kHistogramDiv.find(uiComponents, uiBpc), ppComp, uiBinBytes, uiHistoBits, pSrc,
                uiWidthBytes, uiComponents, uiBpc, 1u, 1u, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::AddHisto(const void* pSrcIntensity, void** ppSrcComp, void* pDstIntensity,
                                void** ppDstComp, uint32_t uiBits, uint32_t uiComponents,
                                uint32_t uiBinBytes) {
    return histo_add(pSrcIntensity, ppSrcComp, pDstIntensity, ppDstComp, uiBits, uiComponents,
                     uiBinBytes);
}
