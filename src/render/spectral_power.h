#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "core/arithmetic.h"
#include "render/spectral_sums.h"

/// Results of 8 bits by a power. What the C library's power leads to is what counts; but it takes
/// one value at a time, and nearly always an estimate of vectors is cut to the same byte. Only next
/// to a whole number the estimate does not decide.

namespace qmpic {

class BytePower {
  public:
    /// Exponents for which the estimate is good enough.
    static bool takes(float gamma) { return gamma >= 0.1f && gamma <= 10.0f; }

    explicit BytePower(float gamma) : gamma_(gamma) {}

    /// trunc(value^gamma * 255), within 0 and 255 and 0 for what is not above 0.
    uint32_t exact(float value) const {
        if (!(value > 0)) return 0;
        const float result = std::pow(value, gamma_) * 255.0f;
        return static_cast<uint32_t>(static_cast<int32_t>(result < 255.0f ? result : 255.0f));
    }

    /// exact() of many values; `unsure` is room for as many, and counts are whole vectors.
    void convert(const float* values, uint32_t* results, uint32_t* unsure, uint64_t count) const {
        constexpr uint64_t vector = SpectralBlock::kVector;
        const Limits<float> limits(kLeast, 1.0f);
        for (uint64_t at = 0; at < count; at += vector) {
            uint32_t any = 0;
            for (uint64_t x = at; x < at + vector; ++x) {
                const float value = values[x], estimate = times_255(limits(value));
                const auto nearest = static_cast<float>(static_cast<int32_t>(estimate + 0.5f));
                const float off = estimate - nearest;
                const uint32_t is_near = off < kDoubt && off > -kDoubt ? 1 : 0;
                const uint32_t between = value > kLeast && value < 1.0f ? 1 : 0;
                unsure[x] = is_near & between;
                any |= unsure[x];
                const auto cut = static_cast<uint32_t>(static_cast<int32_t>(estimate));
                const uint32_t bright = value < 1.0f ? cut : 255;
                results[x] = value > kLeast ? bright : 0;
            }
            if (any == 0) continue;
            for (uint64_t x = at; x < at + vector; ++x)
                if (unsure[x] != 0) results[x] = exact(values[x]);
        }
    }

  private:
    // 255 times what is below it, to the power of 0.1, is less than 1.
    static constexpr float kLeast = 0x1p-100f;
    // The estimate is off by less than a fourth of it.
    static constexpr float kDoubt = 0.004f;

    /// 255 * value^gamma of a value from kLeast to 1: 2^(gamma * log2(value)).
    float times_255(float value) const {
        // value = m * 2^e with m from sqrt(1/2) to sqrt(2); log2(m) by a series of (m - 1)/(m + 1).
        constexpr uint32_t root = 0x3F3504F3;
        const uint32_t bits = std::bit_cast<uint32_t>(value) - root;
        const float m = std::bit_cast<float>((bits & 0x7FFFFF) + root);
        const auto e = static_cast<float>(static_cast<int32_t>(bits) >> 23);
        const float s = (m - 1.0f) / (m + 1.0f), q = s * s;
        const float log_m =
            s * (2.88539008f +
                 q * (0.961796694f + q * (0.577078016f + q * (0.412198583f + q * 0.320598898f))));
        const float exact_y = gamma_ * (e + log_m), y = exact_y > -100.0f ? exact_y : -100.0f;
        // 2^y = 2^n * 2^f with f from -1/2 to 1/2.
        const auto n = static_cast<int32_t>(y - 0.5f);
        const float f = y - static_cast<float>(n);
        const float part =
            1.0f +
            f * (0.693147181f +
                 f * (0.240226507f +
                      f * (0.0555041087f +
                           f * (0.00961812911f + f * (0.00133335581f + f * 0.000154035304f)))));
        return part * std::bit_cast<float>(static_cast<uint32_t>(n + 127) << 23) * 255.0f;
    }

    float gamma_;
};

}  // namespace qmpic
