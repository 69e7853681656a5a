#include <algorithm>
#include <cstring>

#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "histogram/histogram2d_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Pairs of values. Rows are walked here and in no shape, since nothing is written but bins.

namespace {

using namespace qmpic;

/// The bin of a pair, and how many bins there are. Where the bits are known (or 0) no index can be
/// outside, and nothing is compared.
template <uint32_t known>
struct PairOfBytes {
    using Value = uint8_t;
    uint32_t given;
    uint32_t bits() const { return known != 0 ? known : given & 31; }
    uint64_t bins() const { return uint64_t{1} << 2 * bits(); }
    uint64_t operator()(uint32_t first, uint32_t second) const {
        return (uint64_t{first} << bits()) + second;
    }
};
/// Both bytes of a pixel of two components, loaded at once as the word that they are.
struct BothBytes {
    using Value = uint16_t;
    uint64_t bins() const { return 65536; }
    uint64_t operator()(uint32_t both, uint32_t) const { return (both & 255) << 8 | both >> 8; }
};
struct PairOfWords {
    using Value = uint16_t;
    uint32_t shift;
    uint64_t bins() const { return 65536; }
    uint64_t operator()(uint32_t first, uint32_t second) const {
        return (first >> shift << 8) + (second >> shift);
    }
};
struct PairOfFloats {
    using Value = float;
    float min, steps;
    uint64_t bins() const { return 65536; }
    /// Steps may be negative: 3 and -5 are bin 763.
    uint64_t operator()(float first, float second) const {
        return static_cast<uint64_t>(256 * step(first) + step(second));
    }
    int64_t step(float value) const { return trunc_i32((value - min) * steps); }
};

/// Which pixels of a row count.
struct All {
    static constexpr bool kEvery = true;
    struct Row {
        bool operator[](uint64_t) const { return true; }
    };
    Row row(uint64_t) const { return {}; }
};
struct Masked {
    static constexpr bool kEvery = false;
    Src mask;
    struct Row {
        const Sample<uint8_t>* bytes;
        bool operator[](uint64_t x) const { return bytes[x] != 0; }
    };
    Row row(uint64_t y) const { return {mask.row<uint8_t>(y)}; }
};

template <class Picture, class Pair, class Chosen>
struct Pairs {
    using Value = typename Pair::Value;
    static constexpr bool kEvery = Chosen::kEvery;
    Picture picture;
    uint32_t components, a, b;
    Area area;
    Pair pair;
    Chosen chosen;

    struct Row {
        const Sample<Value>*first, *second;
        uint64_t step;
        typename Chosen::Row chosen;
        Pair pair;
        const Sample<Value>* start;
        uint64_t bin(uint64_t x) const { return pair(first[x * step], second[x * step]); }
        /// Have `count` pixels the same bytes? What is compared is a word and its like a pixel on.
        bool is_flat(uint64_t x, uint32_t count) const {
            const auto* const bytes = reinterpret_cast<const std::byte*>(start + x * step);
            const uint64_t pixel = step * sizeof(Value), last = (count - 1) * pixel - 8;
            uint64_t differ = 0;
            for (uint64_t i = 0; i < last && differ == 0; i += 8)
                differ = word(bytes + i) ^ word(bytes + i + pixel);
            return (differ | (word(bytes + last) ^ word(bytes + last + pixel))) == 0;
        }
        static uint64_t word(const std::byte* bytes) {
            uint64_t value;
            std::memcpy(&value, bytes, sizeof value);
            return value;
        }
    };
    Row row(uint64_t y) const {
        const auto* const start = picture.template row<Value>(y);
        return {start + a, start + b, components, chosen.row(y), pair, start};
    }
};

template <class Bin, class Pairs>
void count_at_once(Sample<Bin>* bins, const Pairs& pairs) {
    const uint64_t count = pairs.pair.bins();
    for (uint64_t y = 0; y < pairs.area.rows; ++y) {
        const auto row = pairs.row(y);
        for (uint64_t x = 0; x < pairs.area.width; ++x) {
            const uint64_t i = row.bin(x);
            if (i < count && row.chosen[x]) bins[i] = static_cast<Bin>(bins[i] + 1);
        }
    }
}

/// Tables of bytes for 65536 bins: what a bin's byte cannot hold goes on into the bin. They fit
/// where the processor counts fastest, which bins do not, and there is no branch but one that is
/// hardly ever taken.
constexpr uint64_t kBytes = 65536;
/// Pixels from which clearing and adding the tables pays.
constexpr uint64_t kLongCall = 1 << 17;

/// Do neighbours often have the same pair? Looked up in 256 places.
template <class Pairs>
bool repeats(const Pairs& pairs) {
    const Area area = pairs.area;
    uint32_t same = 0;
    for (uint64_t i = 0; i < 16; ++i) {
        const auto row = pairs.row(area.rows * i / 16);
        for (uint64_t k = 0; k < 16 && area.width >= 32; ++k) {
            const uint64_t x = area.width * k / 16;
            same += row.bin(x) == row.bin(x + 1);
        }
    }
    return same > 32;
}

template <class Bin, class Pairs>
void count_in_bytes(Sample<Bin>* bins, uint8_t* bytes, const Pairs& pairs) {
    // A byte that has just been written takes time to be read again: neighbours in a flat area are
    // counted at once, or go to two tables. Where there are few of those, one table stays closer at
    // hand.
    constexpr uint64_t kRun = 16;
    const bool flat = repeats(pairs);
    const uint32_t tables = flat ? 2 : 1;
    uint8_t *const even = bytes, *const odd = bytes + (tables - 1) * kBytes;
    std::memset(bytes, 0, tables * kBytes);
    const uint64_t count = pairs.pair.bins();
    for (uint64_t y = 0; y < pairs.area.rows; ++y) {
        const auto row = pairs.row(y);
        const auto add_times = [=](uint8_t* table, uint64_t x, uint8_t times) {
            const uint64_t i = row.bin(x);
            if (i >= count) [[unlikely]]
                return;
            if (__builtin_add_overflow(table[i], times, &table[i])) [[unlikely]]
                bins[i] = static_cast<Bin>(bins[i] + 256);
        };
        const auto add = [=](uint8_t* table, uint64_t x) { add_times(table, x, row.chosen[x]); };
        const auto add_four = [=](uint64_t x) {
            add(even, x), add(odd, x + 1), add(even, x + 2), add(odd, x + 3);
        };
        uint64_t x = 0;
        if (Pairs::kEvery && flat)
            for (; x + kRun <= pairs.area.width; x += kRun) {
                if (row.is_flat(x, kRun)) {
                    add_times(even, x, kRun);
                } else {
                    for (uint64_t i = 0; i < kRun; i += 4) add_four(x + i);
                }
            }
        for (; x + 4 <= pairs.area.width; x += 4) add_four(x);
        for (; x < pairs.area.width; ++x) add(even, x);
    }
    const uint64_t used = std::min(count, kBytes);
    for (uint32_t table = 0; table < tables; ++table)
        for (uint64_t i = 0; i < used; ++i)
            bins[i] = static_cast<Bin>(bins[i] + bytes[table * kBytes + i]);
}

/// A histogram, and the pixels that it is made of.
struct Call {
    void* bins;
    uint32_t bin_bytes, components, a, b;
    Area area;
};

template <class Bin, class Pairs>
void count(Sample<Bin>* bins, Pairs pairs) {
    const bool is_long = pairs.area.width * pairs.area.rows >= kLongCall;
    on_best_isa([=] {
        if (is_long && pairs.pair.bins() <= kBytes)
            if (const Scratch<uint8_t> bytes(2 * kBytes); bytes)
                return count_in_bytes(bins, bytes.get(), pairs);
        count_at_once(bins, pairs);
    });
}

template <class Picture, class Pair, class Chosen>
int count(const Call& call, Picture picture, Pair pair, Chosen chosen) {
    const Pairs<Picture, Pair, Chosen> pairs{picture, call.components, call.a, call.b, call.area,
                                             pair,    chosen};
    if (call.bin_bytes == 4) count(static_cast<Sample<uint32_t>*>(call.bins), pairs);
    if (call.bin_bytes == 8) count(static_cast<Sample<uint64_t>*>(call.bins), pairs);
    return QM_OK;
}

template <class Chosen>
int count_bytes(const Call& call, Src picture, uint32_t bpc, Chosen chosen) {
    if (bpc == 8 && call.components == 2 && call.a == 0 && call.b == 1)
        return count(Call{call.bins, call.bin_bytes, 1, 0, 0, call.area}, picture, BothBytes{},
                     chosen);
    if (bpc == 8) return count(call, picture, PairOfBytes<8>{}, chosen);
    return count(call, picture, PairOfBytes<0>{bpc}, chosen);
}

template <class Chosen>
int count_words(const Call& call, Src picture, uint32_t bpc, Chosen chosen) {
    return count(call, picture, PairOfWords{(bpc - 8) & 31}, chosen);
}

template <class Chosen>
int count_floats(const Call& call, FloatSrc picture, float min, float max, Chosen chosen) {
    return count(call, picture, PairOfFloats{min, 255 / (max - min)}, chosen);
}

bool is_rejected(const void* bins, const void* src, uint32_t components, uint32_t a, uint32_t b,
                 uint32_t width, uint64_t size) {
    return bins == nullptr || nothing_to_do(src, width, size) || a >= components || b >= components;
}

/// Depths below 8 are bytes here.
uint32_t bits_of(uint32_t bpc) { return bpc < 9 ? 8 : bpc <= 16 ? 16 : 0; }

}  // namespace

#define KERNEL(name, count_values)                                                                 \
    int name(void* pBins, uint32_t uiBinBytes, const void* pSrc, uint32_t uiSrcWidthBytes,         \
             uint32_t uiComponents, uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB, uint32_t,  \
             uint32_t, uint32_t uiWidth, uint64_t uiSizeInPixels) {                                \
        return count_values(Call{pBins, uiBinBytes, uiComponents, uiCompA, uiCompB,                \
                                 Area::of_pixels(uiWidth, uiSizeInPixels)},                        \
                            Src{pSrc, uiSrcWidthBytes}, uiBpc, All{});                             \
    }

KERNEL(gethistogram2d_8, count_bytes)
KERNEL(gethistogram2d_16, count_words)

#undef KERNEL

#define KERNEL(name, count_values)                                                                 \
    int name(void* pBins, uint32_t uiBinBytes, const void* pSrc, uint32_t uiSrcWidthBytes,         \
             uint32_t uiComponents, uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,            \
             const unsigned char* pMask, uint32_t uiMaskWidthBytes, uint32_t, uint32_t,            \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        if (pMask == nullptr) return QM_OK;                                                        \
        return count_values(Call{pBins, uiBinBytes, uiComponents, uiCompA, uiCompB,                \
                                 Area::of_pixels(uiWidth, uiSizeInPixels)},                        \
                            Src{pSrc, uiSrcWidthBytes}, uiBpc, Masked{{pMask, uiMaskWidthBytes}}); \
    }

KERNEL(gethistogram2d_8_under_mask, count_bytes)
KERNEL(gethistogram2d_16_under_mask, count_words)

#undef KERNEL

int CQmPicMemAPI_Base::GetHistogram2DEx(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                        uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                        uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,
                                        uint32_t uiReservedX, uint32_t uiReservedY,
                                        uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_rejected(pBins, pSrc, uiComponents, uiCompA, uiCompB, uiWidth, uiSizeInPixels))
        return QM_REJECTED;
    return call(kHistogram2D.find_stored(uiComponents, bits_of(uiBpc)), pBins, uiBinBytes, pSrc,
                uiSrcWidthBytes, uiComponents, uiBpc, uiCompA, uiCompB, uiReservedX, uiReservedY,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::GetHistogram2DUnderMask(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                               uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                               uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,
                                               const unsigned char* pMask,
                                               uint32_t uiMaskWidthBytes, uint32_t uiReservedX,
                                               uint32_t uiReservedY, uint32_t uiWidth,
                                               uint64_t uiSizeInPixels) {
    if (is_rejected(pBins, pSrc, uiComponents, uiCompA, uiCompB, uiWidth, uiSizeInPixels))
        return QM_REJECTED;
    return call(kHistogram2DUnderMask.find_stored(uiComponents, bits_of(uiBpc)), pBins, uiBinBytes,
                pSrc, uiSrcWidthBytes, uiComponents, uiBpc, uiCompA, uiCompB, pMask,
                uiMaskWidthBytes, uiReservedX, uiReservedY, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::GetHistogram2DUnderBinary(void*, uint32_t, const void*, uint32_t, uint32_t,
                                                 uint32_t, uint32_t, uint32_t, const unsigned char*,
                                                 uint32_t, uint32_t, uint32_t, uint32_t, uint64_t) {
    return QM_NO_KERNEL;
}

int CQmFloatPicMemAPI_Base::GetHistogram2DEx(void* pBins, uint32_t uiBinBytes, const float* pSrc,
                                             uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                             float fMin, float fMax, uint32_t uiCompA,
                                             uint32_t uiCompB, uint32_t, uint32_t, uint32_t uiWidth,
                                             uint64_t uiSizeInPixels) {
    if (is_rejected(pBins, pSrc, uiComponents, uiCompA, uiCompB, uiWidth, uiSizeInPixels))
        return QM_REJECTED;
    return count_floats(Call{pBins, uiBinBytes, uiComponents, uiCompA, uiCompB,
                             Area::of_pixels(uiWidth, uiSizeInPixels)},
                        FloatSrc{pSrc, uiSrcWidthBytes}, fMin, fMax, All{});
}

int CQmFloatPicMemAPI_Base::GetHistogram2DUnderMask(void* pBins, uint32_t uiBinBytes,
                                                    const float* pSrc, uint32_t uiSrcWidthBytes,
                                                    uint32_t uiComponents, float fMin, float fMax,
                                                    uint32_t uiCompA, uint32_t uiCompB,
                                                    const unsigned char* pMask,
                                                    uint32_t uiMaskWidthBytes, uint32_t, uint32_t,
                                                    uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_rejected(pBins, pSrc, uiComponents, uiCompA, uiCompB, uiWidth, uiSizeInPixels))
        return QM_REJECTED;
    if (pMask == nullptr) return QM_OK;
    return count_floats(Call{pBins, uiBinBytes, uiComponents, uiCompA, uiCompB,
                             Area::of_pixels(uiWidth, uiSizeInPixels)},
                        FloatSrc{pSrc, uiSrcWidthBytes}, fMin, fMax,
                        Masked{{pMask, uiMaskWidthBytes}});
}

int CQmFloatPicMemAPI_Base::GetHistogram2DUnderBinary(void*, uint32_t, const float*, uint32_t,
                                                      uint32_t, float, float, uint32_t, uint32_t,
                                                      const unsigned char*, uint32_t, uint32_t,
                                                      uint32_t, uint32_t, uint64_t) {
    return QM_NO_KERNEL;
}
