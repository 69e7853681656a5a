#include "qmpic/kernels/spectral.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <optional>
#include <string>

#include "lut/predefined_lists.h"
#include "render/spectral_kernels.h"
#include "render/spectral_reference.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/processors.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Cells = std::array<uint64_t, 3>;

// ----- The reference -----------------------------------------------------------------------------

enum Form { kSse, kFloat, kFloatOver };

struct Spec {
    SpectralKernel* run;
    uint32_t src_bits, dst_bits;
    Form form;
};

uint32_t field(const std::vector<uint8_t>& block, size_t index, uint32_t bits) {
    uint32_t value = 0;
    std::memcpy(&value, block.data() + index * bits / 8, bits / 8);
    return value;
}

/// The colour by which an entry of a block marks a component.
Cells mark(const std::vector<uint8_t>& block, size_t c, const ParametricSet& set, const Spec& spec,
           uint32_t dst_bpc) {
    Cells cells{};
    const bool inverse = field(block, 4 * c + 3, spec.dst_bits) != 0;
    for (uint32_t k = 0; k < 3; ++k) {
        cells[k] = field(block, 4 * c + k, spec.dst_bits);
        if (!inverse) continue;
        const uint64_t byte = 255 - byte_of(set.params[c].uiColor, k);
        cells[k] = spec.dst_bits == 8 ? byte : byte * (uint64_t{1} << dst_bpc) / 256;
    }
    return cells;
}

std::optional<Cells> exposed(const std::vector<uint64_t>& pixel, const ParametricSet& set,
                             const Spec& spec, uint32_t src_bpc, uint32_t dst_bpc) {
    const uint64_t top = (uint64_t{1} << src_bpc) - 1;
    for (size_t c = 0; c < pixel.size(); ++c) {
        if (!set.selected(c)) continue;
        if (spec.form == kSse) {
            if (!set.under.empty() && pixel[c] == 0) return mark(set.under, c, set, spec, dst_bpc);
            const uint64_t threshold = set.thresholds.empty() ? top : set.thresholds[c];
            if (!set.over.empty() && pixel[c] == threshold % (1u << spec.src_bits))
                return mark(set.over, c, set, spec, dst_bpc);
        } else if (spec.form == kFloatOver && !set.over.empty() && pixel[c] == top) {
            return Cells{field(set.over, 0, spec.dst_bits), field(set.over, 1, spec.dst_bits),
                         field(set.over, 2, spec.dst_bits)};
        }
    }
    return std::nullopt;
}

Cells shown(const std::vector<uint64_t>& pixel, const ParametricSet& set, const Spec& spec,
            uint32_t src_bpc, uint32_t dst_bpc) {
    if (const auto signal = exposed(pixel, set, spec, src_bpc, dst_bpc)) return *signal;
    const Sums sums = sums_of(as_floats(pixel), set);
    const float part = 1.0f / static_cast<float>((uint64_t{1} << src_bpc) - 1);
    const float top = static_cast<float>((1u << dst_bpc) - 1);
    const float gamma = static_cast<float>(set.params[0].dGamma);
    Cells cells{};
    for (uint32_t k = 0; k < 3; ++k) {
        float value = sums[k] * part;
        if (spec.form == kSse && gamma != 1.0f && value > 0) value = std::pow(value, gamma);
        value = value * top;
        cells[k] = std::isnan(value) || value < 0 ? 0
                   : value > top                  ? static_cast<uint64_t>(top)
                                                  : static_cast<uint64_t>(value);
    }
    if (set.lut.iPredefLut < 0 || set.lut.iPredefLut >= 46) return cells;
    const unsigned char* colours = SQmLut::GetPredefLut(set.lut.iPredefLut, false)->pColors;
    const uint32_t shift = dst_bpc - 8;
    const auto colour = [&](uint64_t result, uint32_t position) {
        return uint64_t{colours[3 * (result >> shift) + position]} << shift;
    };
    return {colour(cells[0], 2), colour(cells[1], 1), colour(cells[2], 0)};
}

// ----- Cases -------------------------------------------------------------------------------------

std::vector<uint8_t> random_block(uint32_t components, uint32_t dst_bits, uint32_t dst_bpc,
                                  Random& random) {
    std::vector<uint8_t> block;
    for (uint32_t i = 0; i < 4 * components; ++i) {
        uint32_t value = random.any() & ((1u << dst_bpc) - 1);
        if (i % 4 == 3 && random(0, 1)) value = 0;
        block.push_back(static_cast<uint8_t>(value));
        if (dst_bits == 16) block.push_back(static_cast<uint8_t>(value >> 8));
    }
    return block;
}

void check(const Spec& spec, Round round) {
    make_predef_luts();
    Random& random = round.random;
    const uint32_t components = random(0, 9) == 0 ? 200 : random.components();
    const uint32_t bpc = round.in_turn(depths(spec.src_bits));
    const uint32_t dst_bpc = spec.dst_bits == 8 ? 8 : random(9, 16), top = (1u << bpc) - 1;
    const Size size = random.size(components);
    GuardedPicture s({components, spec.src_bits, bpc}, size, random);
    const GuardedPicture d({3, spec.dst_bits, dst_bpc}, size, random);
    // Badly exposed samples are rare in half of the pictures.
    if (random(0, 1))
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < s.samples(); ++i)
                if (random(0, 300) != 0 && (s.get(i, y) == 0 || s.get(i, y) >= top))
                    s.set(i, y, 1 + random.any() % std::max(top / 2, 1u));
    ParametricSet set(components, bpc, dst_bpc);
    draw_params(set, top, random);
    set.params[0].dGamma = random.one_of({1.0, 1.0, 1.0 + 1e-12, 0.45, 2.2});
    set.lut.rmComponents = random_selection(components, random);
    set.lut.iPredefLut = random.one_of({-1, -1, 0, 1, 13, 45, 46, 400});
    if (random(0, 2) != 0) set.over = random_block(components, spec.dst_bits, dst_bpc, random);
    if (random(0, 2) != 0) set.under = random_block(components, spec.dst_bits, dst_bpc, random);
    if (random(0, 2) != 0)
        for (uint32_t c = 0; c < components; ++c)
            set.thresholds.push_back(random.one_of({0u, top, top + 1, 300u, 65536u + 7u, ~0u}));

    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            for (const uint64_t cell : shown(pixel_of(s, x, y), set, spec, bpc, dst_bpc))
                expected.push_back(cell);
    const auto outside = d.outside();

    ASSERT_EQ(spec.run({d.data(), dst_bpc, d.stride(), s.data(), components, bpc, s.stride(),
                        set.get(), size.width, size.pixels}),
              QM_OK);

    const auto found = d.content();
    for (size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(found[i], expected[i])
            << "cell " << i % 3 << " of pixel " << i / 3 << "; " << size.width << " x "
            << size.height << " pixels of " << components << " x " << bpc << " to " << dst_bpc
            << ", table " << set.lut.iPredefLut << ", gamma " << set.params[0].dGamma << ", over "
            << !set.over.empty() << ", under " << !set.under.empty();
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Kernel>
Spec spec_of(const Kernel& kernel) {
    const std::string_view name = kernel.name;
    return {kernel.run, kernel.source.bits, kernel.destination.bits,
            name.find("_sse_") != name.npos      ? kSse
            : name.find("_overexp") != name.npos ? kFloatOver
                                                 : kFloat};
}

// ----- Offset and gain in place ------------------------------------------------------------------

/// What is stored of a sample; n is the window's length, rounded up to a multiple of 8.
uint64_t stored(uint64_t sample, const SQmLut::SQmParam& param, float n, uint32_t bpc,
                uint32_t bits) {
    float v = static_cast<float>(sample) + static_cast<float>(param.dOffset);
    if (!(v > 0)) v = 0;
    v = v * static_cast<float>(param.dGain);
    v = v * n;
    const float top = static_cast<float>((1u << bpc) - 1);
    if (std::isnan(v)) v = top;
    v = bits == 8 ? std::max(v, top) : std::min(v, top);
    const bool fits = v >= -2147483648.0f && v < 2147483648.0f;
    const uint32_t whole = fits ? static_cast<uint32_t>(static_cast<int64_t>(v)) : 0x80000000;
    return whole & (bits == 8 ? 0xFF : 0xFFFF);
}

template <class Call>
void check_apply(uint32_t bits, Call call, Round round) {
    Random& random = round.random;
    const uint32_t components = random(0, 9) == 0 ? 200 : random.components();
    const uint32_t bpc = round.in_turn(depths(bits));
    const Size size = random.size(components);
    const GuardedPicture s({components, bits, bpc}, size, random);
    ParametricSet set(components, bpc, 8);
    draw_params(set, (1u << bpc) - 1, random);
    set.lut.rmComponents = random_selection(components, random);
    uint32_t first = components, last = 0;
    for (uint32_t c = 0; c < components; ++c)
        if (set.selected(c)) first = std::min(first, c), last = c;
    const float n = first == components ? 0 : static_cast<float>((last - first + 8) / 8 * 8);
    std::vector<uint64_t> expected = s.content();
    for (size_t i = 0; i < expected.size(); ++i)
        if (const size_t c = i % components; set.selected(c))
            expected[i] = stored(expected[i], set.params[c], n, bpc, bits);
    const auto outside = s.outside();
    ASSERT_EQ(call(s.data(), components, bpc, s.stride(), set.get(), size.width, size.pixels), 0);
    ASSERT_EQ(s.content(), expected) << components << " x " << bpc << " of " << n;
    ASSERT_EQ(s.outside(), outside);
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add_list = [&](const auto& list) {
        for (const auto& kernel : list)
            all.push_back({std::string(kernel.name),
                           [spec = spec_of(kernel)](Round round) { check(spec, round); }, 32});
    };
    add_list(kSpectralSse);
    add_list(kSpectralFloat);
    add_list(kSpectralFloatOver);
    for (const auto& kernel : kSpectralApply)
        all.push_back({std::string(kernel.name), [kernel](Round round) {
                           check_apply(kernel.source.bits, kernel.run, round);
                       }});
    return all;
}

const bool registered = add_cases(
    kernel_cases(), {{"CQmPicMemAPI_Base::SpectralApplyLuts",
                      [](const EntryCall& c) {
                          ParametricSet set(std::max(c.components, 1u), c.bpc, 8);
                          return Api::SpectralApplyLuts(c.dst, c.components, c.bpc, c.stride,
                                                        set.get(), c.width, c.size);
                      },
                      [](uint32_t, uint32_t) { return 0; }, false}});

// ----- Named behaviour ---------------------------------------------------------------------------

using Words = std::vector<uint16_t>;
using Bytes = std::vector<uint8_t>;

/// A row of 16-bit samples through the form with exposure.
Bytes sse(ParametricSet& set, const Words& samples, uint32_t bpc = 12) {
    const auto n = static_cast<uint32_t>(set.params.size());
    const auto width = static_cast<uint32_t>(samples.size()) / n;
    Bytes d(3 * width, 77);
    EXPECT_EQ(spect_render_Nx16_3x8_sse_overexp_underexp(d.data(), 3 * width, samples.data(), bpc,
                                                         2 * n * width, n, set.get(), width, width),
              0);
    return d;
}
Bytes plain(ParametricSet& set, const Words& samples, uint32_t bpc = 12) {
    const auto n = static_cast<uint32_t>(set.params.size());
    const auto width = static_cast<uint32_t>(samples.size()) / n;
    Bytes d(3 * width, 77);
    EXPECT_EQ(spect_render_Nx16_3x8_float(d.data(), 3 * width, samples.data(), bpc, 2 * n * width,
                                          n, set.get(), width, width),
              0);
    return d;
}

TEST(SpectralRendering, AddsTheColoursOfItsBandsBlueFirst) {
    ParametricSet set(3, 12, 8);
    set.params = {band(0, 1, 1, 0x0000FF), band(0, 1, 1, 0x00FF00), band(0, 0.5, 1, 0xFF00FF)};
    // Red is the first band and half of the third: 4095 and 2048 of 4095.
    EXPECT_EQ(sse(set, {4095, 0, 0}), (Bytes{0, 0, 255}));
    EXPECT_EQ(sse(set, {0, 4095, 0}), (Bytes{0, 255, 0}));
    EXPECT_EQ(sse(set, {0, 0, 4095}), (Bytes{127, 0, 127}));     // 127.5
    EXPECT_EQ(sse(set, {2048, 0, 2048}), (Bytes{63, 0, 191}));   // 1024 -> 63.8; 3072 -> 191.3
    EXPECT_EQ(sse(set, {4095, 0, 4095}), (Bytes{127, 0, 255}));  // limited
}

TEST(SpectralRendering, LimitsNegativeSumsToBlack) {
    ParametricSet set(2, 12, 8);
    set.params = {band(-100, 1, 1, 0xFFFFFF), band(0, 1, 1, 0x0000FF)};
    EXPECT_EQ(sse(set, {0, 0}), (Bytes{0, 0, 0}));
    EXPECT_EQ(sse(set, {0, 200}), (Bytes{0, 0, 6}));  // 100 of 4095 is 6.2
}

TEST(SpectralRendering, RoundsAfterEachMultiplication) {
    // 257 / 65535 * 255 is 1 in numbers; in two single steps it is less.
    ParametricSet set(1, 16, 8);
    for (const uint16_t sample : Words{257, 514, 1028, 32896}) {
        const auto below = static_cast<uint8_t>(sample / 257 - 1);
        EXPECT_EQ(sse(set, {sample}, 16), (Bytes{below, below, below}));
        EXPECT_EQ(plain(set, {sample}, 16), (Bytes{below, below, below}));
    }
    EXPECT_EQ(sse(set, {771}, 16), (Bytes{3, 3, 3}));
}

TEST(SpectralRendering, CountsAnUnselectedBandOfTheWindowAsASampleOfZero) {
    ParametricSet set(5, 12, 8);
    set.params[2] = band(1024, 2, 1, 0x0000FF);
    set.params[0] = set.params[4] = band(1e6, 1, 1, 0xFFFFFF);  // outside of the window
    set.select({1, 3});
    // 2048 of red, whatever the sample is: 127.5.
    EXPECT_EQ(sse(set, {0, 0, 0, 0, 0}), (Bytes{0, 0, 127}));
    EXPECT_EQ(sse(set, {9, 0, 4095, 0, 9}), (Bytes{0, 0, 127}));
    EXPECT_EQ(plain(set, {9, 0, 4095, 0, 9}), (Bytes{0, 0, 127}));
    set.select({1});  // and now it is outside
    EXPECT_EQ(sse(set, {9, 0, 4095, 0, 9}), (Bytes{0, 0, 0}));
}

TEST(SpectralRendering, IsBlackWithoutASelectedBand) {
    ParametricSet set(2, 12, 8);
    set.params = {band(500, 1, 1, 0xFFFFFF), band(500, 1, 1, 0xFFFFFF)};
    set.select({});
    EXPECT_EQ(sse(set, {100, 100}), (Bytes{0, 0, 0}));
    set.lut.rmComponents = CQmRangeMask();
    EXPECT_EQ(plain(set, {100, 100}), (Bytes{0, 0, 0}));
    set.select({2, 191});  // none of the picture
    EXPECT_EQ(sse(set, {100, 100}), (Bytes{0, 0, 0}));
}

TEST(SpectralRendering, TakesThePowerOfTheFirstRecordInTheSseMembersAlone) {
    ParametricSet set(2, 12, 8);
    set.params = {band(0, 1, 2.0, 0x0000FF), band(0, 1, 5.0, 0x00FF00)};
    // 2048 / 4095 is 0.500122; its square is 0.250122: 63.8.
    EXPECT_EQ(sse(set, {2048, 2048}), (Bytes{0, 63, 63}));
    EXPECT_EQ(plain(set, {2048, 2048}), (Bytes{0, 127, 127}));
    // The first record counts also when its band does not.
    set.select({1});
    EXPECT_EQ(sse(set, {2048, 2048}), (Bytes{0, 63, 0}));
    set.params[0].dGamma = 1.0 + 1e-9;  // 1 in single precision
    EXPECT_EQ(sse(set, {2048, 2048}), plain(set, {2048, 2048}));
}

TEST(SpectralRendering, TakesNoPowerOfWhatIsNotAboveZero) {
    ParametricSet set(1, 12, 8);
    set.params = {band(-10, 1, 0.0, 0xFFFFFF)};  // to the power of 0 all else is 1
    EXPECT_EQ(sse(set, {0, 10, 11}), (Bytes{0, 0, 0, 0, 0, 0, 255, 255, 255}));
}

TEST(SpectralRendering, CutsWhatThePowerOfTheCLibraryIs) {
    // All words, by gains that make them any fraction, also beyond 1.
    Words samples(65536);
    for (uint32_t i = 0; i < 65536; ++i) samples[i] = static_cast<uint16_t>(i);
    const float part = 1.0f / 65535.0f;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const double gamma : {0.05, 0.1, 0.3, 0.45, 0.5, 0.999, 1.8, 2.2, 3.0, 10.0, 11.0})
            for (const double gain : {1.0, 1.0 / 255, 0.37, 1.1, 1e-30, 1e-43, -1.0}) {
                ParametricSet set(1, 16, 8);
                set.params[0] = band(0, gain, gamma, 0xFFFFFF);
                const Bytes found = sse(set, samples, 16);
                for (uint32_t i = 0; i < 65536; ++i) {
                    float value = static_cast<float>(i) * static_cast<float>(gain);
                    value = value * part;
                    if (value > 0) value = std::pow(value, static_cast<float>(gamma));
                    value = value * 255.0f;
                    const uint32_t expected = value > 255 ? 255
                                              : value > 0 ? static_cast<uint32_t>(value)
                                                          : 0;
                    ASSERT_EQ(found[3 * i + 1], expected) << i << " * " << gain << " ^ " << gamma;
                }
            }
    }
}

/// Entries of blue, green, red, flag.
Bytes entries(std::initializer_list<Bytes> list) {
    Bytes block;
    for (const Bytes& one : list) block.insert(block.end(), one.begin(), one.end());
    return block;
}

TEST(SpectralExposure, ShowsTheFirstBandThatIsHitUnderBeforeOver) {
    ParametricSet set(3, 12, 8);
    set.under = entries({{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}});
    set.over = entries({{11, 12, 13, 0}, {14, 15, 16, 0}, {17, 18, 19, 0}});
    EXPECT_EQ(sse(set, {5, 0, 4095}), (Bytes{4, 5, 6}));
    EXPECT_EQ(sse(set, {5, 4095, 0}), (Bytes{14, 15, 16}));
    EXPECT_EQ(sse(set, {5, 5, 4095}), (Bytes{17, 18, 19}));
    set.thresholds = {0, 0, 0};  // both tests of one sample
    EXPECT_EQ(sse(set, {0, 5, 5}), (Bytes{1, 2, 3}));
    set.under.clear();
    EXPECT_EQ(sse(set, {0, 5, 5}), (Bytes{11, 12, 13}));
}

TEST(SpectralExposure, IsEqualityWithTheThreshold) {
    ParametricSet set(1, 12, 8);
    set.over = entries({{1, 2, 3, 0}});
    set.thresholds = {2048};
    EXPECT_EQ(sse(set, {2047, 2048, 2049, 4095}),
              (Bytes{127, 127, 127, 1, 2, 3, 127, 127, 127, 255, 255, 255}));
    set.thresholds.clear();
    EXPECT_EQ(sse(set, {4094, 4095, 4096}), (Bytes{254, 254, 254, 1, 2, 3, 255, 255, 255}));
}

TEST(SpectralExposure, CutsThresholdsToTheStorage) {
    ParametricSet set(1, 8, 8);
    set.over = entries({{1, 2, 3, 0}});
    set.thresholds = {300};  // 44
    const Bytes s{43, 44, 45};
    Bytes d(9);
    EXPECT_EQ(
        spect_render_Nx8_3x8_sse_overexp_underexp(d.data(), 9, s.data(), 8, 3, 1, set.get(), 3, 3),
        0);
    EXPECT_EQ(d, (Bytes{43, 43, 43, 1, 2, 3, 45, 45, 45}));
}

TEST(SpectralExposure, InvertsTheBandsColourByAFlag) {
    ParametricSet set(2, 12, 8);
    set.params[1].uiColor = 0x80102030;  // blue 0x10, green 0x20, red 0x30
    set.under = entries({{1, 2, 3, 0}, {4, 5, 6, 9}});
    EXPECT_EQ(sse(set, {5, 0}), (Bytes{0xEF, 0xDF, 0xCF}));
}

TEST(SpectralExposure, InvertsWordsAsExposureColoursAreScaled) {
    ParametricSet set(1, 12, 12);
    set.params[0].uiColor = 0x102030;
    const uint16_t block[4] = {1, 2, 3, 1};
    set.under.resize(sizeof block);
    std::memcpy(set.under.data(), block, sizeof block);
    const uint16_t s[1] = {0};
    uint16_t d[3] = {};
    EXPECT_EQ(spect_render_Nx16_3x16_sse_overexp_underexp(d, 6, s, 12, 2, 1, set.get(), 1, 1, 12),
              0);
    EXPECT_EQ(d[0], 0xEF0);
    EXPECT_EQ(d[1], 0xDF0);
    EXPECT_EQ(d[2], 0xCF0);
}

TEST(SpectralExposure, TestsSelectedBandsAlone) {
    ParametricSet set(4, 12, 8);
    set.select({1, 3});
    set.under = entries({{1, 1, 1, 0}, {2, 2, 2, 0}, {3, 3, 3, 0}, {4, 4, 4, 0}});
    set.over = set.under;
    EXPECT_EQ(sse(set, {0, 2048, 0, 1}), (Bytes{127, 127, 127}));  // 2049 of 4095
    EXPECT_EQ(sse(set, {4095, 2048, 4095, 1}), (Bytes{127, 127, 127}));
    EXPECT_EQ(sse(set, {0, 2048, 0, 0}), (Bytes{4, 4, 4}));
    set.thresholds = {0, 7, 0x10000, 7};  // a masked sample is 0, and so are these
    set.under.clear();
    EXPECT_EQ(sse(set, {0, 2048, 0, 1}), (Bytes{127, 127, 127}));
}

TEST(SpectralExposure, OfTheFloatMembersKnowsOneColourAndOneThreshold) {
    ParametricSet set(3, 12, 8);
    set.over = entries({{1, 2, 3, 255}, {4, 5, 6, 0}, {7, 8, 9, 0}});  // a flag is not looked at
    set.under = entries({{9, 9, 9, 0}, {9, 9, 9, 0}, {9, 9, 9, 0}});
    set.thresholds = {5, 5, 5};
    const Words s{0, 5, 4095, 0, 5, 4094, 0, 0, 0};
    Bytes d(9);
    const auto run = [&] {
        EXPECT_EQ(
            spect_render_Nx16_3x8_float_overexp(d.data(), 9, s.data(), 12, 18, 3, set.get(), 3, 3),
            0);
        return d;
    };
    EXPECT_EQ(run(), (Bytes{1, 2, 3, 255, 255, 255, 0, 0, 0}));
    set.select({0, 1});
    EXPECT_EQ(run(), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0}));  // 5 of 4095 is 0.3
    set.select({0, 1, 2});
    set.over.clear();  // and no colour is none
    EXPECT_EQ(run(), (Bytes{255, 255, 255, 255, 255, 255, 0, 0, 0}));
}

TEST(SpectralExposure, SkipsTheTable) {
    const PredefLuts lists;
    ParametricSet set(1, 12, 8);
    set.lut.iPredefLut = SQmLut::PredefLutRainbow;
    set.under = entries({{1, 2, 3, 0}});
    EXPECT_EQ(sse(set, {0}), (Bytes{1, 2, 3}));
}

TEST(SpectralTables, ColourEachCellByItsOwnResult) {
    const PredefLuts lists;
    ParametricSet set(3, 12, 8);
    set.params = {band(0, 1, 1, 0xFF0000), band(0, 1, 1, 0x00FF00), band(0, 1, 1, 0x0000FF)};
    set.lut.iPredefLut = SQmLut::PredefLutRainbow;
    const uint8_t* const c = SQmLut::GetPredefLut(SQmLut::PredefLutRainbow, false)->pColors;
    // 1606, 3212 and 4095 of 4095 are 100, 200 and 255.
    EXPECT_EQ(sse(set, {1607, 3213, 4095}), (Bytes{c[302], c[601], c[765]}));
    set.lut.iPredefLut = 0;  // greys are what they are
    EXPECT_EQ(sse(set, {1607, 3213, 4095}), (Bytes{100, 200, 255}));
}

TEST(SpectralTables, AreLeftOutWhereThereIsNone) {
    ParametricSet set(1, 12, 8);
    for (const int index : {-2, 46, 1000}) {
        const PredefLuts lists;
        set.lut.iPredefLut = index;
        EXPECT_EQ(sse(set, {1607}), (Bytes{100, 100, 100})) << index;
    }
    const NoPredefLuts none;
    set.lut.iPredefLut = SQmLut::PredefLutRainbow;
    EXPECT_EQ(sse(set, {1607}), (Bytes{100, 100, 100}));
}

TEST(SpectralTables, OfApplicationsAreMadeForTheRangeOfTheFirstRecord) {
    const PredefLuts lists;
    SQmGradientConfig config = two_nodes(1000.0, 2000.0, true);  // of values
    SQmLut::InsertExtenedLut(0, L"levels", &config);
    ParametricSet set(2, 12, 8);
    set.params = {band(-96, 2, 1, 0), band(0, 1, 1, 0xFFFFFF)};
    set.lut.iPredefLut = 46;
    sse(set, {0, 0});
    const auto& made = (*SQmLut::vecExtendedLuts)[0];
    EXPECT_EQ(made->dScaledLo, 96.0);
    EXPECT_EQ(made->dScaledHi, 2144.0);  // 4096 / 2 + 96
}

TEST(SpectralTables, OfWordsAreLookedUpByTheUpperByte) {
    const PredefLuts lists;
    ParametricSet set(1, 12, 12);
    set.lut.iPredefLut = SQmLut::PredefLutRainbow;
    const uint8_t* const c = SQmLut::GetPredefLut(SQmLut::PredefLutRainbow, false)->pColors;
    const uint16_t s[1] = {0x647};
    uint16_t d[3] = {};
    EXPECT_EQ(spect_render_Nx16_3x16_float(d, 6, s, 12, 2, 1, set.get(), 1, 1, 12), 0);
    EXPECT_EQ(d[0], c[3 * 0x64 + 2] << 4);
    EXPECT_EQ(d[1], c[3 * 0x64 + 1] << 4);
    EXPECT_EQ(d[2], c[3 * 0x64] << 4);
}

// ----- Both ways of the processor ----------------------------------------------------------------

struct Drawn {
    GuardedPicture src;
    ParametricSet set;
    uint32_t components, bpc, dst_bpc;
    Drawn(uint32_t components_, uint32_t bpc_, uint32_t dst_bpc_, Size size, Random& random)
        : src({components_, bpc_ <= 8 ? 8u : 16u, bpc_}, size, random),
          set(components_, bpc_, dst_bpc_),
          components(components_),
          bpc(bpc_),
          dst_bpc(dst_bpc_) {
        draw_params(set, (1u << bpc) - 1, random);
        set.params[0].dGamma = 1.0;
    }
    /// The picture by MapComponentsMToN.
    std::vector<uint64_t> mapped(Random& random) {
        const GuardedPicture d({3, dst_bpc == 8 ? 8u : 16u, dst_bpc}, src.size(), random);
        EXPECT_EQ(
            Api::MapComponentsMToN(d.data(), 3, dst_bpc, d.stride(), src.data(), components, bpc,
                                   src.stride(), set.get(), src.size().width, src.size().pixels),
            0);
        return d.content();
    }
};

class SpectralLevels : public testing::TestWithParam<Level> {
  protected:
    const ForcedLevel forced{GetParam()};
};

TEST_P(SpectralLevels, AgreeWithAndWithoutSse2AndForAnyProcessors) {
    Random random(5);
    for (const uint32_t bpc : {8u, 7u, 9u, 12u, 16u})
        for (const uint32_t dst_bpc : {8u, 12u, 16u})
            for (const uint32_t components : {1u, 2u, 7u, 32u, 33u, 65u, 192u}) {
                const Size size{random(1, 150), random(1, 9)};
                Drawn drawn(components, bpc, dst_bpc, size, random);
                drawn.set.lut.rmComponents = random_selection(components, random);
                const auto with = drawn.mapped(random);
                const int processors = static_cast<int>(random.one_of({1u, 2u, 3u, 8u}));
                const Processors stated(processors);
                ASSERT_EQ(drawn.mapped(random), with) << processors;
                const NoSse2 none;
                ASSERT_EQ(drawn.mapped(random), with)
                    << components << " x " << bpc << " to " << dst_bpc;
            }
}

TEST_P(SpectralLevels, AgreeForEveryWindow) {
    Random random(6);
    const Processors stated(1);
    Drawn drawn(20, 12, 8, {40, 2}, random);
    for (auto& param : drawn.set.params) param.dOffset = -3, param.dGain = 0.07;
    const Spec spec{nullptr, 16, 8, kSse};
    for (uint32_t first = 0; first < 20; ++first)
        for (uint32_t last = first; last < 20; ++last) {
            drawn.set.select({first, last, (first + last) / 2});
            std::vector<uint64_t> expected;
            for (uint32_t y = 0; y < 2; ++y)
                for (uint32_t x = 0; x < 40; ++x)
                    for (const uint64_t cell :
                         shown(pixel_of(drawn.src, x, y), drawn.set, spec, 12, 8))
                        expected.push_back(cell);
            ASSERT_EQ(drawn.mapped(random), expected) << first << " to " << last;
        }
}

INSTANTIATE_TEST_SUITE_P(All, SpectralLevels, testing::ValuesIn(levels()),
                         [](const auto& given) { return name_of(given.param); });

TEST(SpectralDispatch, MarksWithoutSse2AtBytesAlone) {
    ParametricSet set(2, 12, 8);
    set.over = entries({{1, 2, 3, 0}, {4, 5, 6, 0}});
    const uint16_t s[2] = {100, 4095};
    uint8_t d[3];
    const auto map = [&] {
        return Api::MapComponentsMToN(d, 3, 8, 3, s, 2, 12, 4, set.get(), 1, 1);
    };
    EXPECT_EQ(map(), 0);
    EXPECT_EQ(d[0], 4);
    const NoSse2 none;
    EXPECT_EQ(map(), 0);
    EXPECT_EQ(d[0], 1);
    set.under = set.over;
    set.over.clear();  // an under colour alone leads to a form that does not look at it
    EXPECT_EQ(map(), 0);
    EXPECT_EQ(d[0], 255);
    set.lut.ucDstBpc = 16;
    set.over.assign(16, 1);
    uint16_t words[3];
    EXPECT_EQ(Api::MapComponentsMToN(words, 3, 16, 6, s, 2, 12, 4, set.get(), 1, 1), 0);
    EXPECT_EQ(words[0], 65535);
}

TEST(SpectralDispatch, KnowsTheGammaWithSse2Alone) {
    ParametricSet set(1, 12, 8);
    set.params[0].dGamma = 2.0;
    const uint16_t s[1] = {2048};
    uint8_t d[3];
    const auto mapped = [&] {
        EXPECT_EQ(Api::MapComponentsMToN(d, 3, 8, 3, s, 1, 12, 2, set.get(), 1, 1), 0);
        return d[0];
    };
    EXPECT_EQ(mapped(), 63);
    const NoSse2 none;
    EXPECT_EQ(mapped(), 127);
}

TEST(SpectralDispatch, RefusesOtherDepths) {
    alignas(4) uint8_t s[64] = {1, 2, 3, 4}, d[64] = {};
    const auto code = [&](uint32_t src_bpc, uint32_t dst_bpc) {
        ParametricSet set(2, src_bpc, dst_bpc);
        return Api::MapComponentsMToN(d, 3, dst_bpc, 6, s, 2, src_bpc, 4, set.get(), 1, 1);
    };
    EXPECT_EQ(code(17, 8), -2);
    EXPECT_EQ(code(32, 8), -2);
    EXPECT_EQ(code(8, 17), -2);
    EXPECT_EQ(code(8, 7), -2);
    EXPECT_EQ(d[0], 0);
    for (const uint32_t src_bpc : {1u, 7u, 8u, 9u, 16u})
        for (const uint32_t dst_bpc : {8u, 9u, 16u}) EXPECT_EQ(code(src_bpc, dst_bpc), 0);
}

TEST(SpectralDispatch, ReadsBytesAtDepthsAboveWordsForWords) {
    ParametricSet set(2, 17, 16);
    set.params = {band(0, 256, 1, 0x0000FF), band(0, 512, 1, 0x00FF00)};
    const uint8_t s[2] = {255, 100};
    uint16_t d[3] = {};
    EXPECT_EQ(Api::MapComponentsMToN(d, 3, 16, 6, s, 2, 17, 2, set.get(), 1, 1), 0);
    // 65280 and 51200 of 131071.
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[1], 25599);
    EXPECT_EQ(d[2], 32639);
}

TEST(SpectralDispatch, RefusesASetOfAnotherFormatFirst) {
    ParametricSet set(2, 12, 8);
    uint16_t s[4] = {};
    uint8_t d[6] = {9};
    const auto code = [&](uint32_t dst_components, uint32_t dst_bpc, uint32_t components,
                          uint32_t bpc, uint32_t width, uint64_t size) {
        return Api::MapComponentsMToN(d, dst_components, dst_bpc, 3, s, components, bpc, 4,
                                      set.get(), width, size);
    };
    EXPECT_EQ(code(3, 8, 2, 11, 1, 1), -4);
    EXPECT_EQ(code(3, 8, 1, 12, 1, 1), -4);
    EXPECT_EQ(code(4, 8, 2, 12, 1, 1), -4);
    EXPECT_EQ(code(3, 9, 2, 12, 1, 1), -4);
    EXPECT_EQ(code(3, 8, 2, 12, 1, 0), -4);
    set.lut.ucDstComponents = 4;
    EXPECT_EQ(code(4, 8, 2, 12, 1, 1), -2);
    EXPECT_EQ(d[0], 9);
}

TEST(SpectralDispatch, OfConvertToTrueColor) {
    ParametricSet set(3, 12, 8);
    const uint16_t s[3] = {1607, 1607, 1607};
    uint8_t d[3] = {9, 9, 9};
    const auto code = [&](uint32_t components) {
        return Api::ConvertToTrueColor(d, 3, s, components, 12, 6, 1, 1, set.get());
    };
    set.select({1});  // one component, and yet a sum
    EXPECT_EQ(code(3), 0);
    EXPECT_EQ(d[0], 100);
    set.select({0, 1});
    EXPECT_EQ(code(3), 0);
    EXPECT_EQ(d[0], 200);
    EXPECT_EQ(code(2), -4);
    set.select({});
    EXPECT_EQ(code(3), 0);
    EXPECT_EQ(d[0], 0);
    set.lut.ucDstBpc = 16;
    EXPECT_EQ(code(3), -4);
    ParametricSet one(1, 12, 8);  // tables are asked for, and there are none
    EXPECT_EQ(Api::ConvertToTrueColor(d, 3, s, 1, 12, 2, 1, 1, one.get()), -4);
}

// ----- Memory and threads ------------------------------------------------------------------------

TEST(SpectralRendering, ReadsNothingBehindTheLastRow) {
    // The last pixel ends at a page that may not be read, whatever the window is.
    Random random(8);
    for (const uint32_t bpc : {8u, 12u})
        for (uint32_t components = 1; components < 40; ++components)
            for (uint32_t round = 0; round < 6; ++round) {
                Drawn drawn(components, bpc, 8, {random(1, 20), random(1, 3)}, random);
                drawn.set.lut.rmComponents = random_selection(components, random);
                if (random(0, 1)) drawn.set.under = random_block(components, 8, 8, random);
                drawn.mapped(random);
            }
}

TEST(SpectralRendering, DrawsInPlace) {
    Random random(9);
    for (const uint32_t components : {3u, 4u, 31u}) {
        Drawn drawn(components, 8, 8, {300, 2}, random);
        const auto expected = drawn.mapped(random);
        EXPECT_EQ(
            Api::MapComponentsMToN(drawn.src.data(), 3, 8, drawn.src.stride(), drawn.src.data(),
                                   components, 8, drawn.src.stride(), drawn.set.get(), 300, 600),
            0);
        for (uint32_t y = 0; y < 2; ++y)
            for (uint32_t i = 0; i < 900; ++i)
                ASSERT_EQ(drawn.src.get(i, y), expected[900 * y + i]) << components;
    }
}

TEST(SpectralRendering, AsksForAThreadAProcessorInTheSseMembersAlone) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    ParametricSet set(2, 12, 8);
    const Words s(2 * 16, 5);
    for (const int processors : {2, 3, 8}) {
        const Processors stated(processors);
        const WatchedRegions regions;
        sse(set, s);
        EXPECT_EQ(regions.teams(), (std::vector<uint32_t>{static_cast<uint32_t>(processors)}));
        plain(set, s);
        EXPECT_EQ(regions.teams().size(), 1u);
    }
    const Processors stated(1);
    const WatchedRegions regions;
    sse(set, s);
    EXPECT_EQ(regions.forks(), 0u);
}

TEST(SpectralRendering, WorksInsideACallersRegion) {
    Random random(10);
    Drawn drawn(7, 12, 8, {31, 5}, random);
    const auto expected = drawn.mapped(random);
    bool same[3] = {};
#pragma omp parallel num_threads(3)
    {
        Random own(11);
        const GuardedPicture d({3, 8, 8}, {31, 5}, own);
        const SQmLut* const lut = &drawn.set.lut;
        const int code = Api::MapComponentsMToN(d.data(), 3, 8, d.stride(), drawn.src.data(), 7, 12,
                                                drawn.src.stride(), lut, 31, 155);
        if (code == 0 && d.content() == expected) same[omp_get_thread_num()] = true;
    }
    EXPECT_TRUE(same[0] && same[1] && same[2]);
}

TEST(SpectralRendering, WithoutMemoryWritesNothing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    ParametricSet set(3, 12, 8);
    set.under = entries({{1, 2, 3, 0}, {4, 5, 6, 0}, {7, 8, 9, 0}});
    const SQmLut* const lut = set.get();
    uint16_t s[9] = {1, 2, 3, 4};
    for (const auto& list : {kSpectralSse, kSpectralFloat}) {
        for (const auto& kernel : list) {
            uint16_t d[9] = {};
            const SpectralCall call{d, 8 * (kernel.destination.bits / 8), 18, s, 3, 12, 18, lut, 3,
                                    3};
            kernel.run(call);  // the runtime's own memory
            const uint32_t seen = each_failure(
                [&] {
                    std::fill_n(d, 9, uint16_t{777});
                    return kernel.run(call);
                },
                [&](uint32_t n, const Outcome& outcome) {
                    EXPECT_EQ(outcome.code, n == 0 ? 0 : -3) << kernel.name;
                    EXPECT_EQ(outcome.live, 0);
                    if (n != 0) {
                        EXPECT_EQ(d[0], 777);
                        EXPECT_EQ(d[8], 777);
                    }
                });
            EXPECT_EQ(seen, 1u);
        }
    }
    uint16_t d[9];
    each_failure(
        [&] {
            std::fill_n(d, 9, uint16_t{777});
            return Api::SpectralApplyLuts(d, 3, 12, 18, lut, 3, 3);
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, n == 0 ? 0 : -3);
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(d[0] == 777, n != 0);
        });
}

// ----- Offset and gain in place ------------------------------------------------------------------

TEST(SpectralApplyLuts, MultipliesByTheLengthOfTheWindow) {
    ParametricSet set(10, 12, 8);
    set.params[3] = band(-10, 2, 1, 0);
    set.select({3});  // one component among ten: a window of 8
    Words s(10, 20);
    EXPECT_EQ(Api::SpectralApplyLuts(s.data(), 10, 12, 20, set.get(), 1, 1), 0);
    Words expected(10, 20);
    expected[3] = 160;  // (20 - 10) * 2 * 8
    EXPECT_EQ(s, expected);
    set.params[0] = band(0, 1, 1, 0);
    set.select({0, 8});  // 9 components: 16
    s.assign(10, 20);
    EXPECT_EQ(Api::SpectralApplyLuts(s.data(), 10, 12, 20, set.get(), 1, 1), 0);
    expected.assign(10, 20);
    expected[0] = expected[8] = 320;
    EXPECT_EQ(s, expected);
}

TEST(SpectralApplyLuts, KeepsWordsAtTopAndBytesAboveIt) {
    ParametricSet set(1, 12, 8);
    Words words{0, 100, 600, 4095};
    EXPECT_EQ(Api::SpectralApplyLuts(words.data(), 1, 12, 8, set.get(), 4, 4), 0);
    EXPECT_EQ(words, (Words{0, 800, 4095, 4095}));
    // A dark byte becomes top; 8 * 32 is 256, which wraps, and 8 * 100 is 3 * 256 + 32.
    Bytes bytes{0, 1, 31, 32, 100};
    EXPECT_EQ(Api::SpectralApplyLuts(bytes.data(), 1, 8, 5, set.get(), 5, 5), 0);
    EXPECT_EQ(bytes, (Bytes{255, 255, 255, 0, 32}));
    bytes = {0, 20, 100};
    EXPECT_EQ(Api::SpectralApplyLuts(bytes.data(), 1, 7, 3, set.get(), 3, 3), 0);
    EXPECT_EQ(bytes, (Bytes{127, 160, 32}));
}

TEST(SpectralApplyLuts, TakesOtherDepthsAsWords) {
    ParametricSet set(1, 12, 8);
    Words words{1, 60000};
    EXPECT_EQ(Api::SpectralApplyLuts(words.data(), 1, 20, 4, set.get(), 2, 2), 0);
    EXPECT_EQ(words, (Words{8, static_cast<uint16_t>(480000)}));  // below the top of 20 bits
}

TEST(SpectralApplyLuts, StoresTheLowBitsOfNegativeWords) {
    ParametricSet set(1, 12, 8);
    set.params[0] = band(0, -1, 1, 0);
    Words words{1, 3};
    EXPECT_EQ(Api::SpectralApplyLuts(words.data(), 1, 12, 4, set.get(), 2, 2), 0);
    EXPECT_EQ(words, (Words{0xFFF8, 0xFFE8}));
}

}  // namespace
}  // namespace qmpic::test
