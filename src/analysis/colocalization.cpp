#include <cmath>
#include <cstring>
#include <optional>
#include <tuple>

#include "analysis/pairs.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Colocalization of two components of whole numbers or floats, of all pixels or of those under a
// mask. Rows are walked here and in no shape, since nothing is written but sums, or packed values.

namespace {

using namespace qmpic;

/// What a sample is above a threshold.
template <class T>
struct Above {
    T threshold;
    explicit Above(uint32_t given) : threshold(static_cast<T>(given)) {
        if constexpr (!std::is_same_v<T, float>)
            threshold = static_cast<T>(std::min<uint32_t>(given, T(-1)));
    }
    Taken<T> operator()(T value) const {
        return static_cast<Taken<T>>((value > threshold ? value : threshold) - threshold);
    }
};

/// Every pixel, or those whose byte is not 0.
struct AllPixels {
    static constexpr bool kEvery = true;
};
struct MaskedPixels {
    static constexpr bool kEvery = false;
    Src mask;
};

template <class T, class Chosen>
struct Pair {
    Rows<T> a, b;
    uint32_t step;
    Area area;
    Chosen chosen;
    Above<T> above_a, above_b;

    /// Calls `use(block, count, mask)` for each block of pixels, their samples those above the
    /// thresholds. Without a mask that is null.
    template <class Use>
    void each_block(Use use) const {
        Area walked = area;
        const Stride first = stride_of(a, step * sizeof(T)),
                     second = stride_of(b, step * sizeof(T));
        if constexpr (Chosen::kEvery)
            walked = joined(kCallingThread, area, {first, second});
        else
            walked = joined(kCallingThread, area, {first, second, stride_of(chosen.mask, 1)});
        walk_rows(kCallingThread, walked.rows, [pair = *this, walked, use](RowRange rows) mutable {
            PairBlock<T> block;
            for (uint64_t y = rows.first; y < rows.last; ++y)
                for (uint64_t x = 0; x < walked.width; x += kPairs) {
                    const uint64_t count = std::min(kPairs, walked.width - x);
                    take(pair.a.template row<T>(y) + x * pair.step, pair.step, count, pair.above_a,
                         block.a);
                    take(pair.b.template row<T>(y) + x * pair.step, pair.step, count, pair.above_b,
                         block.b);
                    const Sample<uint8_t>* mask = nullptr;
                    if constexpr (!Chosen::kEvery)
                        mask = pair.chosen.mask.template row<uint8_t>(y) + x;
                    use(block, count, mask);
                }
        });
    }
};

/// The nine numbers, in the order of the results.
struct Numbers {
    double pearson = 0, overlap = 0, k1 = 0, k2 = 0, m1 = 0, m2 = 0, mean_a = 0, mean_b = 0,
           denominator = 0;

    Numbers() = default;
    template <class Sums>
    Numbers(const Sums& sum, uint32_t pixels) {
        const double n = pixels;
        mean_a = sum.a() / n;
        mean_b = sum.b() / n;
        denominator = std::sqrt((sum.aa() - sum.a() * mean_a) * (sum.bb() - mean_b * sum.b()));
        if (denominator != 0) pearson = (sum.ab() - n * mean_a * mean_b) / denominator;
        if (sum.aa() != 0 && sum.ab() != 0) {
            overlap = sum.ab() / std::sqrt(sum.aa() * sum.bb());
            k1 = sum.ab() / sum.aa();
            k2 = sum.ab() / sum.bb();
        }
        if (sum.a() != 0 && sum.b() != 0) {
            m1 = sum.a_with_b() / sum.a();
            m2 = sum.b_with_a() / sum.b();
        }
    }
    auto all() const {
        return std::tie(pearson, overlap, k1, k2, m1, m2, mean_a, mean_b, denominator);
    }
};

/// N is `pixels`, whatever was visited.
template <class T>
Numbers numbers_of(const Pair<T, AllPixels>& pair, uint32_t pixels) {
    PairSums<T, true> sums, *const to = &sums;
    pair.each_block([to](PairBlock<T>& block, uint64_t count, const Sample<uint8_t>*) {
        to->add(block, count);
    });
    return {sums, pixels};
}
/// Makes 0 of the pixels that do not count, which is as good as leaving them out, and tells how
/// many do. Arithmetic of words throughout, which vectorises everywhere.
template <class T>
uint32_t clear_others(PairBlock<T>& block, const Sample<uint8_t>* mask, uint64_t count) {
    uint16_t under = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const uint16_t byte = mask[i];
        const auto all = static_cast<uint16_t>(static_cast<int16_t>(-byte) >> 15);
        block.a[i] = static_cast<uint16_t>(block.a[i] & all);
        block.b[i] = static_cast<uint16_t>(block.b[i] & all);
        under = static_cast<uint16_t>(under - all);
    }
    return under;
}
/// Moves the pixels that count together, and tells how many they are.
uint32_t drop_others(PairBlock<float>& block, const Sample<uint8_t>* mask, uint64_t count) {
    uint32_t under = 0;
    for (uint64_t i = 0; i < count; ++i) {
        block.a[under] = block.a[i];
        block.b[under] = block.b[i];
        under += mask[i] != 0 ? 1 : 0;
    }
    return under;
}

/// N is how many pixels are under the mask, fewer than 2^32.
template <class T>
Numbers numbers_of(const Pair<T, MaskedPixels>& pair, uint32_t /*pixels*/) {
    PairSums<T, true> sums, *const to = &sums;
    uint32_t n = 0, *const to_n = &n;
    pair.each_block([to, to_n](PairBlock<T>& block, uint64_t count, const Sample<uint8_t>* mask) {
        if constexpr (std::is_same_v<T, float>) {
            const uint32_t under = drop_others(block, mask, count);
            *to_n += under;
            to->add(block, under);
        } else {
            *to_n += clear_others(block, mask, count);
            to->add(block, count);
        }
    });
    return n == 0 ? Numbers() : Numbers(sums, n);
}

/// Writes the values of the pixels that are chosen one behind the other, and tells how many.
template <class T, class Chosen>
uint32_t write_map(const Pair<T, Chosen>& pair, uint32_t pixels, double* map) {
    const Numbers given = numbers_of(pair, pixels);
    auto* next = reinterpret_cast<Sample<double>*>(map);
    auto** const to = &next;
    pair.each_block([to, given](const PairBlock<T>& block, uint64_t count,
                                [[maybe_unused]] const Sample<uint8_t>* mask) {
        Sample<double>* const map_here = *to;
        double values[kPairs];
        for (uint64_t i = 0; i < count; ++i)
            values[i] = std::fabs((block.b[i] - given.mean_b) * (block.a[i] - given.mean_a) /
                                  given.denominator);
        uint64_t written = count;
        if constexpr (!Chosen::kEvery) {
            written = 0;
            for (uint64_t i = 0; i < count; ++i)
                if (mask[i] != 0) values[written++] = values[i];
        }
        std::memcpy(map_here, values, written * sizeof(double));
        *to = map_here + written;
    });
    return static_cast<uint32_t>(next - reinterpret_cast<Sample<double>*>(map));
}

/// What the entries have in common.
struct Call {
    const void* a;
    uint32_t stride_a;
    const void* b;
    uint32_t stride_b, components, width, size, threshold_a, threshold_b;

    template <class T, class Chosen>
    Pair<T, Chosen> pair(Chosen chosen) const {
        return {{a, stride_a},
                {b, stride_b},
                components,
                Area::of_pixels(width, size),
                chosen,
                Above<T>(threshold_a),
                Above<T>(threshold_b)};
    }
    bool is_null() const { return a == nullptr || b == nullptr; }

    /// Of the depths up to 8 bits, which are bytes, and those from 9 to 16.
    template <class Chosen>
    Numbers numbers(uint32_t bpc, Chosen chosen) const {
        return bpc <= 8 ? numbers_of(pair<uint8_t>(chosen), size)
                        : numbers_of(pair<uint16_t>(chosen), size);
    }
    template <class Chosen>
    uint32_t map(uint32_t bpc, Chosen chosen, double* to) const {
        return bpc <= 8 ? write_map(pair<uint8_t>(chosen), size, to)
                        : write_map(pair<uint16_t>(chosen), size, to);
    }
};
constexpr uint32_t kMostBits = 16;

}  // namespace

int CQmPicMemAPI_Base::Colocalization(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                      uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                                      uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
                                      uint32_t uiThresholdB, double& dPearson, double& dOverlap,
                                      double& dK1, double& dK2, double& dM1, double& dM2,
                                      double& dMeanA, double& dMeanB, double& dDenominator) {
    if (uiSize == 0) return QM_REJECTED;
    if (uiBpc > kMostBits) return QM_NO_KERNEL;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null()) return QM_OK;
    std::tie(dPearson, dOverlap, dK1, dK2, dM1, dM2, dMeanA, dMeanB, dDenominator) =
        call.numbers(uiBpc, AllPixels{}).all();
    return QM_OK;
}

int CQmPicMemAPI_Base::Colocalization(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                      uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                                      const void* pMask, uint32_t uiMaskWidthBytes,
                                      uint32_t /*uiMaskReserved*/, uint32_t uiWidth,
                                      uint32_t uiSize, uint32_t uiThresholdA, uint32_t uiThresholdB,
                                      double& dPearson, double& dOverlap, double& dK1, double& dK2,
                                      double& dM1, double& dM2, double& dMeanA, double& dMeanB,
                                      double& dDenominator) {
    if (uiBpc > kMostBits) return QM_NO_KERNEL;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pMask == nullptr) return QM_OK;
    std::tie(dPearson, dOverlap, dK1, dK2, dM1, dM2, dMeanA, dMeanB, dDenominator) =
        call.numbers(uiBpc, MaskedPixels{{pMask, uiMaskWidthBytes}}).all();
    return QM_OK;
}

int CQmPicMemAPI_Base::GetColocalizationMap(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                            uint32_t uiWidthBytesB, uint32_t uiComponents,
                                            uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSize,
                                            uint32_t uiThresholdA, uint32_t uiThresholdB,
                                            double* pdMap) {
    if (uiSize == 0) return QM_REJECTED;
    if (uiBpc > kMostBits) return QM_BAD_BUFFER;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pdMap == nullptr) return QM_OK;
    call.map(uiBpc, AllPixels{}, pdMap);
    return QM_OK;
}

int CQmPicMemAPI_Base::GetColocalizationMap(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                            uint32_t uiWidthBytesB, uint32_t uiComponents,
                                            uint32_t uiBpc, const void* pMask,
                                            uint32_t uiMaskWidthBytes, uint32_t /*uiMaskReserved*/,
                                            uint32_t uiWidth, uint32_t uiSize,
                                            uint32_t uiThresholdA, uint32_t uiThresholdB,
                                            double* pdMap, uint32_t& uiMapCount) {
    uiMapCount = 0;
    if (uiSize == 0) return QM_REJECTED;
    if (uiBpc > kMostBits) return QM_BAD_BUFFER;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pMask == nullptr || pdMap == nullptr) return QM_OK;
    uiMapCount = call.map(uiBpc, MaskedPixels{{pMask, uiMaskWidthBytes}}, pdMap);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Colocalization(const float* pA, uint32_t uiWidthBytesA, const float* pB,
                                           uint32_t uiWidthBytesB, uint32_t uiComponents,
                                           uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
                                           uint32_t uiThresholdB, double& dPearson,
                                           double& dOverlap, double& dK1, double& dK2, double& dM1,
                                           double& dM2, double& dMeanA, double& dMeanB,
                                           double& dDenominator) {
    if (uiSize == 0) return QM_REJECTED;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null()) return QM_OK;
    std::tie(dPearson, dOverlap, dK1, dK2, dM1, dM2, dMeanA, dMeanB, dDenominator) =
        numbers_of(call.pair<float>(AllPixels{}), uiSize).all();
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Colocalization(
    const float* pA, uint32_t uiWidthBytesA, const float* pB, uint32_t uiWidthBytesB,
    uint32_t uiComponents, const void* pMask, uint32_t uiMaskWidthBytes,
    uint32_t /*uiMaskReserved*/, uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
    uint32_t uiThresholdB, double& dPearson, double& dOverlap, double& dK1, double& dK2,
    double& dM1, double& dM2, double& dMeanA, double& dMeanB, double& dDenominator) {
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pMask == nullptr) return QM_OK;
    std::tie(dPearson, dOverlap, dK1, dK2, dM1, dM2, dMeanA, dMeanB, dDenominator) =
        numbers_of(call.pair<float>(MaskedPixels{{pMask, uiMaskWidthBytes}}), uiSize).all();
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::GetColocalizationMap(const float* pA, uint32_t uiWidthBytesA,
                                                 const float* pB, uint32_t uiWidthBytesB,
                                                 uint32_t uiComponents, uint32_t uiWidth,
                                                 uint32_t uiSize, uint32_t uiThresholdA,
                                                 uint32_t uiThresholdB, double* pdMap) {
    if (uiSize == 0) return QM_REJECTED;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pdMap == nullptr) return QM_OK;
    write_map(call.pair<float>(AllPixels{}), uiSize, pdMap);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::GetColocalizationMap(
    const float* pA, uint32_t uiWidthBytesA, const float* pB, uint32_t uiWidthBytesB,
    uint32_t uiComponents, const void* pMask, uint32_t uiMaskWidthBytes,
    uint32_t /*uiMaskReserved*/, uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
    uint32_t uiThresholdB, double* pdMap, uint32_t& uiMapCount) {
    uiMapCount = 0;
    if (uiSize == 0) return QM_REJECTED;
    const Call call{pA,      uiWidthBytesA, pB,           uiWidthBytesB, uiComponents,
                    uiWidth, uiSize,        uiThresholdA, uiThresholdB};
    if (call.is_null() || pMask == nullptr || pdMap == nullptr) return QM_OK;
    uiMapCount =
        write_map(call.pair<float>(MaskedPixels{{pMask, uiMaskWidthBytes}}), uiSize, pdMap);
    return QM_OK;
}
