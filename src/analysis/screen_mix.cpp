#include <cmath>

#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"

namespace {

using namespace qmpic;

/// The greatest whole number that is not above, as an integer. Exponents below 0 make numbers of
/// any size, and of either sign.
int32_t floor_i32(double value) {
    const int32_t whole = trunc_i32(value);
    if (static_cast<double>(whole) <= value) return whole;
    return value > -2147483648.0 ? whole - 1 : INT32_MIN;  // also NaN
}

int32_t screen(double f, double d, double top) { return floor_i32((f + d - f * d) * top); }

/// Where the samples are: those of the destination and the first source that take part, and the
/// first of the second source.
struct Mixed {
    Dst dst;
    uint64_t dst_step, dst_index;
    Src a;
    uint64_t a_step, a_index;
    Src b;
    uint64_t b_step;
    Area area;

    /// result = mix(a, b)
    template <class T, class Mix>
    void each(const Mix& mix) const {
        for (uint64_t y = 0; y < area.rows; ++y) {
            Sample<T>* const d = dst.row<T>(y) + dst_index;
            const Sample<T>* const from_a = a.row<T>(y) + a_index;
            const Sample<T>* const from_b = b.row<T>(y);
            for (uint64_t x = 0; x < area.width; ++x)
                d[x * dst_step] = static_cast<T>(mix(T{from_a[x * a_step]}, T{from_b[x * b_step]}));
        }
    }
    uint64_t pixels() const { return area.width * area.rows; }
};

void mix_words(const Mixed& mixed, double exponent, uint32_t top, uint32_t top_a, uint32_t top_b) {
    const auto f_of = [=](uint32_t a) { return std::pow(double(a) / top_a, exponent); };
    const auto mix = [=](double f, uint32_t b) { return screen(f, double(b) / top_b, top); };
    if (mixed.pixels() >= 4ull * top_a)
        // Without memory for the powers each is computed again.
        if (const Scratch<double> powers(size_t{top_a} + 1); powers) {
            for (uint32_t a = 0; a <= top_a; ++a) powers[a] = f_of(a);
            return mixed.each<uint16_t>(
                [&](uint32_t a, uint32_t b) { return mix(a <= top_a ? powers[a] : f_of(a), b); });
        }
    mixed.each<uint16_t>([=](uint32_t a, uint32_t b) { return mix(f_of(a), b); });
}

void mix_bytes(const Mixed& mixed, const double (&f)[256], uint32_t shift) {
    const auto mix = [&](uint32_t a, uint32_t b) {
        return screen(f[a], (b >> shift) / 255.0, 255.0);
    };
    if (mixed.pixels() >= 2 * 256 * 256)
        if (const Scratch<uint8_t> table(256 * 256); table) {
            for (uint32_t i = 0; i < 256 * 256; ++i)
                table[i] = static_cast<uint8_t>(mix(i / 256, i % 256));
            return mixed.each<uint8_t>([&](uint32_t a, uint32_t b) { return table[a * 256 + b]; });
        }
    mixed.each<uint8_t>(mix);
}

bool is_word(uint32_t bpc) { return bpc >= 9 && bpc <= 16; }

}  // namespace

int CQmPicMemAPI_Base::MixDicAndFluo(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstComponents,
                                     uint32_t uiDstBpc, const void* pSrcA,
                                     uint32_t uiSrcAWidthBytes, uint32_t uiSrcAComponents,
                                     uint32_t uiSrcABpc, const void* pSrcB,
                                     uint32_t uiSrcBWidthBytes, uint32_t uiSrcBComponents,
                                     uint32_t uiSrcBBpc, uint32_t uiComponent, double dGamma,
                                     uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const bool words = uiDstBpc > 8;
    if (words && !(is_word(uiDstBpc) && is_word(uiSrcABpc) && is_word(uiSrcBBpc)))
        return QM_NO_KERNEL;
    if (pSrcB == nullptr || nothing_to_do(pDst, pSrcA, uiWidth, uiSizeInPixels)) return QM_OK;
    const Mixed mixed{{pDst, uiDstWidthBytes},
                      uiDstComponents,
                      uiComponent < uiDstComponents ? uiComponent : 0,
                      {pSrcA, uiSrcAWidthBytes},
                      uiSrcAComponents,
                      uiComponent,
                      {pSrcB, uiSrcBWidthBytes},
                      uiSrcBComponents,
                      Area::of_pixels(uiWidth, uiSizeInPixels)};
    const double exponent = 1.0 / dGamma;
    if (words) {
        mix_words(mixed, exponent, max_value(uiDstBpc), max_value(uiSrcABpc), max_value(uiSrcBBpc));
        return QM_OK;
    }
    double f[256] = {};
    const bool deeper = uiSrcABpc > 8 || uiSrcBBpc > 8;
    // The size of a deeper first picture's table has eight bits: from 8 bits on none is left.
    const uint32_t entries = !deeper ? 256 : uiSrcABpc < 8 ? 1u << uiSrcABpc : 0;
    const double top = deeper ? entries : 255.0;
    for (uint32_t a = 0; a < entries; ++a) {
        f[a] = std::pow(a / top, exponent);
        if (deeper) f[a] = static_cast<uint8_t>(floor_i32(f[a] * 255.0)) / 255.0;
    }
    mix_bytes(mixed, f, deeper ? (uiSrcBBpc - 8) & 31 : 0);
    return QM_OK;
}
