#include "counts.h"

#include <algorithm>
#include <bit>
#include <string>

#include "failure.h"

namespace tool {

namespace {

void check(int status) {
    if (status != QM_OK) throw Failure("no histogram: status " + std::to_string(status));
}

/// Bins of 32 bits, all 0.
void make(SQmHisto& bins, SQmPicBufDesc desc) {
    CQmHistoAPI_Base::Init(&bins);
    check(CQmHistoAPI_Base::Reinit32(&bins, &desc));
    if (!bins.pData || !bins.ppCompData) {
        CQmHistoAPI_Base::Free(&bins);
        throw Failure("not enough memory for the histogram");
    }
    CQmHistoAPI_Base::ResetToZero(&bins);
}

const std::uint32_t* block(const SQmHisto& bins, std::uint32_t c) {
    return static_cast<const std::uint32_t*>(bins.ppCompData[c]);
}

/// A histogram of one component, released at the end.
struct Single {
    explicit Single(unsigned bits) {
        SQmPicBufDesc desc{};
        desc.uiBpc = static_cast<std::uint8_t>(bits);
        desc.uiComponents = 1;
        make(bins, desc);
    }
    ~Single() { CQmHistoAPI_Base::Free(&bins); }
    Single(const Single&) = delete;
    Single& operator=(const Single&) = delete;

    SQmHisto bins;
};

/// Bits of the histogram in which thresholds are searched: those of the maximum.
unsigned search_bits(std::uint32_t max) {
    return std::max(8U, static_cast<unsigned>(std::bit_width(max)));
}

}  // namespace

Counts::Counts(const SQmPicBuf& picture) {
    make(bins_, {picture.uiWidth, picture.uiHeight, picture.uiWidthBytes, picture.uiBpc,
                 picture.uiComponents, picture.ui64Size});
    try {
        check(CQmHistoAPI_Base::Calculate(&bins_, &picture, true));
        min_.resize(components());
        max_.resize(components());
        check(CQmHistoAPI_Base::GetLowHighAbs(&bins_, min_.data(), max_.data(), 1, 1));
    } catch (...) {
        CQmHistoAPI_Base::Free(&bins_);
        throw;
    }
}

std::uint64_t Counts::at(std::uint32_t c, std::uint32_t value) const {
    return value >> bins_.uiBits == 0 ? block(bins_, c)[value] : 0;
}

std::uint64_t Counts::between(std::uint32_t c, std::uint32_t low, std::uint32_t high) const {
    std::uint64_t sum = 0;
    for (std::uint64_t value = low; value <= std::min(high, max_[c]); ++value)
        sum += at(c, static_cast<std::uint32_t>(value));
    return sum;
}

std::uint32_t Counts::max() const { return *std::ranges::max_element(max_); }

double Counts::mean(std::uint32_t c) const {
    std::uint64_t sum = 0;  // below 2^16 * 2^32
    for (std::uint32_t value = min_[c]; value <= max_[c]; ++value) sum += value * at(c, value);
    return static_cast<double>(sum) / static_cast<double>(samples());
}

std::uint32_t Counts::percentile(std::uint32_t c, unsigned share) const {
    const std::uint64_t rank = std::max<std::uint64_t>((samples() * share + 999) / 1000, 1);
    std::uint32_t low = 0, high = 0;  // from the ends inwards: the first with more than rank - 1
    check(CQmHistoAPI_Base::GetSumLowHigh(&low, &high, c, static_cast<std::uint32_t>(rank - 1),
                                          &bins_));
    return low;
}

std::vector<Range> Counts::levels(const Percents& left_out, bool together) const {
    std::vector<Range> found, ends;
    for (std::uint32_t c = 0; c < components(); ++c) ends.push_back({min_[c], max_[c]});
    if (together) {
        ends.assign(components(),
                    {*std::ranges::min_element(min_), *std::ranges::max_element(max_)});
        SQmLutParam params;
        check(SQmPicBufAPI_Base::AutoContrast(&params, &bins_, true, true, false, 0, left_out.low,
                                              left_out.high));
        found.assign(components(),
                     {params.GetMinSrc(bins_.uiBits), params.GetMaxSrc(bins_.uiBits)});
    } else {
        const std::vector<unsigned> sizes(components(), 1);
        CQmLutParamMCH params(components(), components(), sizes.data(), bins_.uiBits);
        check(SQmPicBufAPI_Base::GetAutoContrastMCH(&params, &bins_, true, true, left_out.low,
                                                    left_out.high));
        for (std::uint32_t c = 0; c < components(); ++c)
            found.push_back({params.GetMin(c), params.GetMax(c)});
    }
    // Levels that met were pulled one step apart, or to the ends of the histogram. Fractions of
    // 65535 are cut, which may cost a step of 16 bits.
    for (std::uint32_t c = 0; c < components(); ++c) {
        const bool met = found[c].high <= found[c].low + 1;
        if (met || found[c].low + 1 < ends[c].low || found[c].high > ends[c].high)
            found[c] = ends[c];
        found[c].low = std::max(found[c].low, ends[c].low);
    }
    return found;
}

std::vector<std::uint32_t> Counts::otsu(std::uint32_t c, unsigned count) const {
    Single single(search_bits(max_[c]));
    std::copy_n(block(bins_, c), std::size_t{1} << single.bins.uiBits,
                static_cast<std::uint32_t*>(single.bins.pData));
    std::vector<std::uint32_t> thresholds(count);
    check(CQmHistoAPI_Base::GetOtsuThreshold(thresholds.data(), count, &single.bins));
    return thresholds;
}

}  // namespace tool
