#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <functional>
#include <optional>

#include "float/float_kernels.h"
#include "lut/predefined_lists.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/LutParam.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/parameters.h"
#include "support/processors.h"
#include "support/regions.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;
using Bytes = std::vector<uint8_t>;
using Ranges = std::vector<CQmRangeBase<float>>;
using Param = SQmLut::SQmParam;

/// A parametric set of `params`, all of which take part.
class ParametricSet : public SQmLut {
  public:
    explicit ParametricSet(const std::vector<Param>& params) {
        ucComponents = static_cast<uint8_t>(params.size());
        ucDstBpc = 8;
        ucDstComponents = 3;
        ReinitParametric(*this);
        std::copy(params.begin(), params.end(), pParams);
        rmComponents.SetSize(ucComponents);
        rmComponents.SetAll(true);
    }
};

Param param(double offset, double gain, double gamma, uint32_t red_green_blue) {
    Param made;
    made.dOffset = offset;
    made.dGain = gain;
    made.dGamma = gamma;
    made.uiColor = red_green_blue;
    return made;
}
constexpr uint32_t kWhite = 0xFFFFFF;

// ----- What a pixel looks like -------------------------------------------------------------------

/// Blue, green, red of one pixel within 0 and 255, before they are cut.
std::array<float, 3> merged(const Floats& samples, const SQmLut& lut, const Ranges& ranges) {
    const float lo = SQmLutParam::GetMinFromFloatRanges(ranges);
    const float hi = SQmLutParam::GetMaxFromFloatRanges(ranges);
    const float scale = 1.0f / (lo == 0.0f && hi == 0.0f ? 1.0f : hi - lo);
    bool with_gamma = false;
    for (uint32_t c = 0; c < samples.size(); ++c)
        if (lut.rmComponents.Get(c) && static_cast<float>(lut.pParams[c].dGamma) != 1.0f)
            with_gamma = true;
    std::array<float, 3> cells{};
    for (uint32_t c = 0; c < samples.size(); ++c) {
        if (!lut.rmComponents.Get(c)) continue;
        const Param& p = lut.pParams[c];
        float value = samples[c] + static_cast<float>(p.dOffset);
        value *= static_cast<float>(p.dGain);
        value *= scale;
        if (with_gamma && value > 0) value = std::pow(value, static_cast<float>(p.dGamma));
        for (uint32_t i = 0; i < 3; ++i) {
            const float colour = static_cast<float>(p.uiColor >> (16 - 8 * i) & 0xFF);
            const float added = value * colour;
            const float sum = cells[i] + added;
            const float product = cells[i] * added;
            cells[i] = sum - product * 0.003921569f;
        }
    }
    for (float& cell : cells) {
        if (std::isnan(cell) || cell < 0) cell = 0;
        if (cell > 255) cell = 255;
    }
    return cells;
}

/// The colours of the set's table, red, green, blue, or null.
const uint8_t* table_of(const SQmLut& lut) {
    if (lut.iPredefLut == -1) return nullptr;
    return SQmLut::GetPredefLut(lut.iPredefLut, false)->pColors;
}

std::array<uint8_t, 3> as_bytes(const std::array<float, 3>& cells, const SQmLut& lut) {
    const uint8_t* const table = table_of(lut);
    std::array<uint8_t, 3> bytes{};
    for (uint32_t i = 0; i < 3; ++i) {
        const auto cut = static_cast<uint8_t>(cells[i]);
        bytes[i] = table == nullptr ? cut : table[3 * cut + (2 - i)];
    }
    return bytes;
}

// ----- Random sets -------------------------------------------------------------------------------

uint32_t draw_colour(Random& random) {
    switch (random(0, 3)) {
    case 0: return random.one_of({0u, kWhite, 0x0000FFu, 0x00FF00u, 0xFF0000u, 0x808080u});
    case 1: return random.one_of({0x00FFFFu, 0xFFFF00u, 0xFF00FFu, 0x8000FFu});
    default: return random.any();  // the top byte is not used
    }
}

std::vector<Param> draw_params(uint32_t count, Random& random) {
    const bool with_gamma = random(0, 4) == 0;
    const uint32_t alike = draw_colour(random), style = random(0, 2);
    std::vector<Param> params;
    for (uint32_t c = 0; c < count; ++c) {
        const double offset = random(0, 2) == 0 ? 0.0 : random(0, 40) / 10.0 - 3;
        const double gain = random.one_of({1.0, 1.0, 0.7, 2.0, -1.0, 0.0, 1e30});
        const double gamma = with_gamma ? random.one_of({1.0, 0.45, 2.2, 1.0 + 1e-12}) : 1.0;
        params.push_back(param(offset, gain, gamma, style == 0 ? alike : draw_colour(random)));
    }
    return params;
}

Ranges draw_ranges(uint32_t count, Random& random) {
    Ranges ranges;
    switch (random(0, 5)) {
    case 0: return ranges;
    case 1: return {{0.0f, -1.0f}, {0.0f, 0.0f}};  // 0 and 0, which counts as 1
    case 2:
        for (uint32_t c = 0; c < count; ++c) ranges.push_back({-2.0f, 3.5f});
        return ranges;
    default:
        for (uint32_t c = 0; c < count; ++c)
            ranges.push_back({0.0f, static_cast<float>(random(0, 300)) / 64});
        return ranges;
    }
}

/// Samples that give all levels, and among them now and then any float.
float draw_sample(Random& random, bool wild) {
    if (wild && random(0, 9) == 0) return draw_float(random);
    return static_cast<float>(random(0, 70000)) / 16384 - 0.1f;
}

struct Drawn {
    uint32_t components;
    Size size;
    ParametricSet lut;
    Ranges ranges;

    explicit Drawn(Random& random)
        : components(draw_count(random)),
          size(random.size(components)),
          lut(draw_params(components, random)),
          ranges(draw_ranges(components, random)) {
        make_predef_luts();
        lut.bParallel = random(0, 1);
        lut.iPredefLut = random(0, 2) ? -1 : random.one_of({0, 1, 3, 31, 45, 60, -7});
        const uint32_t mask = random(0, 3);
        if (mask == 0) return;  // all
        lut.rmComponents.SetSize(random.one_of({1u, components, 192u}));
        lut.rmComponents.SetAll(false);
        const uint32_t one = random(0, components - 1);
        for (uint32_t c = 0; c < 192; ++c)
            lut.rmComponents.Set(c, mask == 1 ? c == one : random(0, 1) != 0);
    }
    static uint32_t draw_count(Random& random) {
        const uint32_t few = random(1, 4), any = random.components();
        return random(0, 1) ? few : any;
    }
    void fill(FloatPicture& s, Random& random) const {
        const bool wild = random(0, 1);
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < s.samples(); ++i) s.set(i, y, draw_sample(random, wild));
    }
    Floats samples(const FloatPicture& s, uint32_t x, uint32_t y) const {
        Floats pixel;
        for (uint32_t c = 0; c < components; ++c) pixel.push_back(s.get(x * components + c, y));
        return pixel;
    }
};

using RunRender = std::function<int(const Drawn&, void* d, uint32_t stride, const FloatPicture& s)>;

void check_bytes(const RunRender& run, Round round) {
    Random& random = round.random;
    const Drawn drawn(random);
    const GuardedPicture d({3, 8, 8}, drawn.size, random);
    FloatPicture s(drawn.components, drawn.size, random);
    drawn.fill(s, random);
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < drawn.size.height; ++y)
        for (uint32_t x = 0; x < drawn.size.width; ++x)
            for (const uint8_t byte :
                 as_bytes(merged(drawn.samples(s, x, y), drawn.lut, drawn.ranges), drawn.lut))
                expected.push_back(byte);
    const auto outside = d.outside();
    ASSERT_EQ(run(drawn, d.data(), d.stride(), s), QM_OK);
    ASSERT_EQ(d.content(), expected) << drawn.components << ", " << drawn.size.width << " wide";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_floats(Round round) {
    Random& random = round.random;
    const Drawn drawn(random);
    FloatPicture d(3, drawn.size, random), other(drawn.components, drawn.size, random);
    FloatPicture& s = drawn.components == 3 && random(0, 2) == 0 ? d : other;
    drawn.fill(s, random);
    Floats expected;
    for (uint32_t y = 0; y < drawn.size.height; ++y)
        for (uint32_t x = 0; x < drawn.size.width; ++x) {
            const auto cells = merged(drawn.samples(s, x, y), drawn.lut, drawn.ranges);
            const auto bytes = as_bytes(cells, drawn.lut);
            for (uint32_t i = 0; i < 3; ++i)
                expected.push_back(table_of(drawn.lut) ? bytes[i] : cells[i]);
        }
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::ConvertFloatToRGBFloat(d.data(), d.stride(), s.data(), drawn.components, s.stride(),
                                    &drawn.lut, drawn.size.width, drawn.size.pixels, drawn.ranges),
        QM_OK);
    ASSERT_EQ(comparable(d.content()), comparable(expected))
        << drawn.components << ", " << drawn.size.width << " wide";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(comparable(expected));
}

// Without parameters: levels between the limits of all ranges.
void check_levels(Round round) {
    Random& random = round.random;
    const uint32_t components = random(0, 1) ? 1 : 3;
    const Size size = random.size(components);
    const GuardedPicture d({3, 8, 8}, size, random);
    FloatPicture s(components, size, random);
    const float lo = random.one_of({0.0f, -3.0f, 10.0f}),
                span = random.one_of({1.0f, 100.0f, 255.0f, 256.0f, 1000.0f, 65535.0f});
    const Ranges ranges{{lo + span / 2, lo + span}, {lo, lo + span / 3}};
    const float scale = lo + span - lo > 255.0f ? 255.0f / (lo + span - lo) : 1.0f;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) {
            const float sample = random(0, 5) == 0
                                     ? draw_float(random)
                                     : lo + static_cast<float>(random(0, 3000)) * (span / 2500);
            s.set(i, y, sample);
            const float moved = sample - lo;
            const float scaled = moved * scale;
            const double rounded = static_cast<double>(scaled) + 0.5;
            const double limited = std::isnan(rounded) ? 0 : std::clamp(rounded, 0.0, 255.0);
            for (uint32_t k = 0; k < 3 / components; ++k)
                expected.push_back(static_cast<uint64_t>(limited));
        }
    SQmLut without_params;
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::ConvertToTrueColor(d.data(), d.stride(), s.data(), components, s.stride(), size.width,
                                size.pixels, random(0, 1) ? nullptr : &without_params, ranges),
        QM_OK);
    ASSERT_EQ(d.content(), expected) << components << ", from " << lo << " by " << span;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_true_colour(Round round) {
    if (round.number % 2 != 0) return check_levels(round);
    check_bytes(
        [](const Drawn& drawn, void* d, uint32_t stride, const FloatPicture& s) {
            // An empty mask is black here and not looked up.
            if (drawn.lut.rmComponents.GetCount() == 0) {
                return Api::MapComponentsMToNToUint(d, 3, 8, stride, s.data(), drawn.components,
                                                    s.stride(), &drawn.lut, drawn.size.width,
                                                    drawn.size.pixels, drawn.ranges);
            }
            return Api::ConvertToTrueColor(d, stride, s.data(), drawn.components, s.stride(),
                                           drawn.size.width, drawn.size.pixels, &drawn.lut,
                                           drawn.ranges);
        },
        round);
}

// ----- Cases -------------------------------------------------------------------------------------

const float* floats(const void* p) { return static_cast<const float*>(p); }
const Ranges kUnit{{0.0f, 0.5f}};  // shown from 0 to 1

/// A set for entries of any number of components up to 6.
const SQmLut& six_bands() {
    static const ParametricSet lut(std::vector<Param>(6, param(0, 1, 1, 0x0080FF)));
    return lut;
}

int always(uint32_t, uint32_t) { return QM_OK; }

const bool registered = add_cases(
    {{"nonspect_render_NxFloat_3x8_float",
      [](Round round) {
          check_bytes(
              [](const Drawn& drawn, void* d, uint32_t stride, const FloatPicture& s) {
                  return nonspect_render_NxFloat_3x8_float(
                      d, stride, s.data(), s.stride(), drawn.components, &drawn.lut,
                      drawn.size.width, drawn.size.pixels, drawn.ranges);
              },
              round);
      },
      160},
     {"CQmFloatPicMemAPI_Base::MapComponentsMToNToUint",
      [](Round round) {
          const uint32_t cells = round.random.any(), bpc = round.random.any();  // not read
          check_bytes(
              [=](const Drawn& drawn, void* d, uint32_t stride, const FloatPicture& s) {
                  return Api::MapComponentsMToNToUint(
                      d, cells, bpc, stride, s.data(), drawn.components, s.stride(), &drawn.lut,
                      drawn.size.width, drawn.size.pixels, drawn.ranges);
              },
              round);
      }},
     {"CQmFloatPicMemAPI_Base::ConvertFloatToRGBFloat", check_floats, 120},
     {"CQmFloatPicMemAPI_Base::ConvertToTrueColor", check_true_colour, 96}},
    {{"CQmFloatPicMemAPI_Base::MapComponentsMToNToUint",
      [](const EntryCall& c) {
          return Api::MapComponentsMToNToUint(c.dst, 3, 8, c.stride, floats(c.src), c.components,
                                              c.stride, &six_bands(), c.width, c.size, kUnit);
      },
      always},
     {"CQmFloatPicMemAPI_Base::ConvertFloatToRGBFloat",
      [](const EntryCall& c) {
          return Api::ConvertFloatToRGBFloat(static_cast<float*>(c.dst), c.stride, floats(c.src),
                                             c.components, c.stride, &six_bands(), c.width, c.size,
                                             kUnit);
      },
      always},
     {"CQmFloatPicMemAPI_Base::ConvertToTrueColor",
      [](const EntryCall& c) {
          return Api::ConvertToTrueColor(c.dst, c.stride, floats(c.src), c.components, c.stride,
                                         c.width, c.size, nullptr, kUnit);
      },
      [](uint32_t components, uint32_t) {
          return components == 1 || components == 3 ? QM_OK : QM_REJECTED;
      }},
     {"CQmFloatPicMemAPI_Base::ConvertToTrueColor of parameters",
      [](const EntryCall& c) {
          return Api::ConvertToTrueColor(c.dst, c.stride, floats(c.src), c.components, c.stride,
                                         c.width, c.size, &six_bands(), kUnit);
      },
      always}});

// ----- Worked pixels: a range up to 3 is shown from 0 to 4 ---------------------------------------

const Ranges kFour{{0.0f, 3.0f}};

Bytes rendered(const Floats& pixel, const SQmLut& lut, const Ranges& ranges = kFour) {
    Bytes d(3, 99);
    EXPECT_EQ(
        nonspect_render_NxFloat_3x8_float(d.data(), 3, pixel.data(), 4000,
                                          static_cast<uint32_t>(pixel.size()), &lut, 1, 1, ranges),
        QM_OK);
    return d;
}
Floats rendered_floats(const Floats& pixel, const SQmLut& lut, const Ranges& ranges = kFour) {
    Floats d(3, 99.0f);
    EXPECT_EQ(
        Api::ConvertFloatToRGBFloat(d.data(), 12, pixel.data(), static_cast<uint32_t>(pixel.size()),
                                    4000, &lut, 1, 1, ranges),
        QM_OK);
    return d;
}

TEST(FloatRendering, ShowsRedOfTheLowByteLast) {
    const ParametricSet lut({param(0, 1, 1, 0x0080FF20)});  // blue 128, green 255, red 32
    EXPECT_EQ(rendered({4.0f}, lut), (Bytes{128, 255, 32}));
    EXPECT_EQ(rendered({2.0f}, lut), (Bytes{64, 127, 16}));
}

TEST(FloatRendering, CutsBytesAndNotFloats) {
    const ParametricSet lut({param(0, 1, 1, kWhite)});
    EXPECT_EQ(rendered({2.0f}, lut), (Bytes{127, 127, 127}));
    EXPECT_EQ(rendered_floats({2.0f}, lut), (Floats{127.5f, 127.5f, 127.5f}));
    EXPECT_EQ(rendered_floats({5.0f}, lut), (Floats{255, 255, 255}));
    EXPECT_EQ(rendered_floats({-1.0f}, lut), (Floats{0, 0, 0}));
    EXPECT_EQ(rendered_floats({kNan}, lut), (Floats{0, 0, 0}));
}

TEST(FloatRendering, AppliesOffsetThenGainThenRange) {
    const ParametricSet lut({param(-1, 2, 1, kWhite)});
    EXPECT_EQ(rendered({2.0f}, lut), (Bytes{127, 127, 127}));  // (2 - 1) * 2 / 4
    EXPECT_EQ(rendered({0.5f}, lut), (Bytes{0, 0, 0}));
}

TEST(FloatRendering, MergesChannelsInsteadOfAddingThem) {
    const ParametricSet lut({param(0, 1, 1, kWhite), param(0, 1, 1, kWhite)});
    // 127.5 + 127.5 - 127.5 * 127.5 / 255
    EXPECT_EQ(rendered({2.0f, 2.0f}, lut), (Bytes{191, 191, 191}));
    EXPECT_EQ(rendered({4.0f, 4.0f}, lut)[0], 254);  // 0.003921569 is a little more than 1 / 255
    EXPECT_EQ(rendered({4.0f, 0.0f}, lut), (Bytes{255, 255, 255}));
}

TEST(FloatRendering, LeavesOutWhatIsNotSelected) {
    ParametricSet lut({param(0, 1, 1, 0x0000FF), param(4, 1, 1, kWhite), param(0, 1, 1, 0xFF0000)});
    lut.rmComponents.Set(1, false);  // between two that are, with an offset
    EXPECT_EQ(rendered({4.0f, 4.0f, 2.0f}, lut), (Bytes{127, 0, 255}));
    lut.rmComponents.SetSize(1);  // what is beyond the mask is not selected either
    EXPECT_EQ(rendered({4.0f, 4.0f, 2.0f}, lut), (Bytes{0, 0, 255}));
}

TEST(FloatRendering, IsBlackWithoutASelectedComponent) {
    ParametricSet lut({param(4, 1, 1, kWhite)});
    lut.rmComponents.SetAll(false);
    EXPECT_EQ(rendered({4.0f}, lut), (Bytes{0, 0, 0}));
    EXPECT_EQ(rendered_floats({4.0f}, lut), (Floats{0, 0, 0}));
}

TEST(FloatRendering, RaisesEachValueToItsOwnGammaBeforeTheMerge) {
    const ParametricSet lut(
        {param(0, 1, 2, 0x0000FF), param(0, 1, 1, 0x00FF00), param(0, 1, 0.5, 0xFF0000)});
    // 0.5^2, 0.5, 0.25^0.5; at the right the low byte
    EXPECT_EQ(rendered({2.0f, 2.0f, 1.0f}, lut), (Bytes{127, 127, 63}));
    EXPECT_EQ(rendered({4.0f, 4.0f, 4.0f}, lut), (Bytes{255, 255, 255}));
    // Values below 0 have no power.
    const ParametricSet two({param(0, 1, 0.5, kWhite), param(0, 1, 1, kWhite)});
    EXPECT_EQ(rendered_floats({-4.0f, 4.0f}, two)[0], 255.0f);  // -255 + 255 + 255 * 255 / 255
}

TEST(FloatRendering, TakesAGammaThatIsOneAsAFloatForOne) {
    const ParametricSet lut({param(0, 1, 1.0 + 1e-10, kWhite)});
    EXPECT_EQ(rendered_floats({2.5f}, lut), (Floats{159.375f, 159.375f, 159.375f}));
}

TEST(FloatRendering, CountsARangeOf0To0AsOne) {
    const ParametricSet lut({param(0, 1, 1, kWhite)});
    const Ranges none{{0.0f, -1.0f}, {0.0f, 0.0f}};  // negative data without extent
    ASSERT_EQ(SQmLutParam::GetMinFromFloatRanges(none), 0);
    ASSERT_EQ(SQmLutParam::GetMaxFromFloatRanges(none), 0);
    EXPECT_EQ(rendered_floats({0.5f}, lut, none), (Floats{127.5f, 127.5f, 127.5f}));
    const Ranges negative{{-1.0f, 3.0f}};  // 4, and the lower limit is not subtracted
    EXPECT_EQ(rendered_floats({1.0f}, lut, negative), (Floats{63.75f, 63.75f, 63.75f}));
}

TEST(FloatRendering, LooksResultsUpCellByCell) {
    const PredefLuts lists;
    ParametricSet lut({param(0, 1, 1, 0x4080FF)});  // red 255, green 128, blue 64
    lut.iPredefLut = SQmLut::PredefLutRainbow;
    const uint8_t* const table = SQmLut::GetPredefLut(SQmLut::PredefLutRainbow, false)->pColors;
    const Bytes expected{table[3 * 64 + 2], table[3 * 128 + 1], table[3 * 255]};
    EXPECT_EQ(rendered({4.0f}, lut), expected);
    EXPECT_EQ(rendered_floats({4.0f}, lut), Floats(expected.begin(), expected.end()));
}

TEST(FloatRendering, LooksNothingUpWithoutATable) {
    ParametricSet lut({param(0, 1, 1, 0x4080FF)});
    const Bytes plain{64, 128, 255};
    {
        const PredefLuts lists;
        for (const int index : {-1, -2, 46, 1000}) {
            lut.iPredefLut = index;
            EXPECT_EQ(rendered({4.0f}, lut), plain) << index;
        }
    }
    const NoPredefLuts none;
    lut.iPredefLut = 3;
    EXPECT_EQ(rendered({4.0f}, lut), plain);
}

/// A table that notes what range it is asked for.
struct AskedTable : SQmLut::SQmPredefLut {
    uint8_t colours[768] = {};
    double lo = 0, hi = 0;
    unsigned char* getLuts(double from, double to) override {
        lo = from, hi = to;
        return colours;
    }
};

TEST(FloatRendering, AsksTheTableForWhatTheFirstComponentShows) {
    const PredefLuts lists;
    AskedTable asked;
    auto& slot = (*SQmLut::vecPredefLuts)[5];
    SQmLut::SQmPredefLut* const before = std::exchange(slot, &asked);
    ParametricSet lut({param(-1.5, 2, 1, kWhite), param(7, 7, 1, kWhite)});
    lut.iPredefLut = 5;
    rendered({1.0f, 1.0f}, lut);
    slot = before;
    EXPECT_EQ(asked.lo, 1.5);
    EXPECT_EQ(asked.hi, 3.5);  // 4 / 2 + 1.5
}

TEST(FloatRendering, RefusesSetsWithoutParameters) {
    const Floats s{1, 1, 1};
    Bytes d(3, 99);
    Floats f(3, 99.0f);
    const SQmLut lut;
    for (const SQmLut* const set : {&lut, static_cast<const SQmLut*>(nullptr)}) {
        EXPECT_EQ(
            Api::MapComponentsMToNToUint(d.data(), 3, 8, 3, s.data(), 3, 12, set, 1, 1, kFour),
            QM_REJECTED);
        EXPECT_EQ(Api::ConvertFloatToRGBFloat(f.data(), 12, s.data(), 3, 12, set, 1, 1, kFour),
                  QM_REJECTED);
    }
    EXPECT_EQ(d, Bytes(3, 99));
    EXPECT_EQ(f, Floats(3, 99.0f));
}

// ----- ConvertToTrueColor ------------------------------------------------------------------------

int true_colour(Bytes& d, const Floats& s, uint32_t components, const Ranges& ranges,
                const SQmLut* lut = nullptr) {
    const auto width = static_cast<uint32_t>(s.size()) / components;
    return Api::ConvertToTrueColor(d.data(), 3 * width, s.data(), components, 4000, width, width,
                                   lut, ranges);
}

TEST(FloatsToTrueColour, ScaleOnlyRangesOfMoreThan255) {
    Bytes d(3);
    const auto shown = [&](float value, const Ranges& ranges) {
        EXPECT_EQ(true_colour(d, {value}, 1, ranges), QM_OK);
        EXPECT_EQ(d[1], d[0]);
        EXPECT_EQ(d[2], d[0]);
        return d[0];
    };
    EXPECT_EQ(shown(100.0f, {{0, 100}}), 100);
    EXPECT_EQ(shown(100.0f, {{0, 1000}}), 26);
    EXPECT_EQ(shown(1000.0f, {{0, 1000}}), 255);
    EXPECT_EQ(shown(100.0f, {{0, 255}}), 100);
    EXPECT_EQ(shown(128.0f, {{0, 256}}), 128);  // 127.5 and a half
    EXPECT_EQ(shown(127.0f, {{0, 510}}), 64);   // 63.5 and a half
    EXPECT_EQ(shown(15.0f, {{10, 20}}), 5);
    EXPECT_EQ(shown(25.0f, {{10, 20}}), 15);  // beyond the range, not beyond 255
    EXPECT_EQ(shown(0.0f, {{10, 20}, {-5, 12}}), 5);
    EXPECT_EQ(shown(0.0f, {{10, 20}, {-5, 300}}), 4);  // 5 * 255 / 305
}

TEST(FloatsToTrueColour, AreBlackWithoutRanges) {
    Bytes d(9, 99);
    EXPECT_EQ(true_colour(d, {0, 255, FLT_MAX}, 1, {}), QM_OK);
    EXPECT_EQ(d, Bytes(9, 0));
}

TEST(FloatsToTrueColour, KeepThreeComponentsInTheirOrder) {
    Bytes d(6);
    EXPECT_EQ(true_colour(d, {1, 2, 3, 100, 200, 300}, 3, {{0, 10}, {0, 20}, {0, 30}}), QM_OK);
    EXPECT_EQ(d, (Bytes{1, 2, 3, 100, 200, 255}));
}

TEST(FloatsToTrueColour, OfOtherNumbersOfComponentsAreRefused) {
    for (const uint32_t components : {2u, 4u, 5u}) {
        Bytes d(6, 99);
        EXPECT_EQ(true_colour(d, Floats(20), components, kUnit), QM_REJECTED);
        EXPECT_EQ(d, Bytes(6, 99));
    }
}

TEST(FloatsToTrueColour, IgnoreASetOfTables) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 12), QM_OK);  // no depth of the screen either
    Bytes d(3);
    EXPECT_EQ(true_colour(d, {7}, 1, {{0, 10}}, &lut), QM_OK);
    EXPECT_EQ(d, (Bytes{7, 7, 7}));
}

TEST(FloatsToTrueColour, OfParametersNeedCellsOf8Bits) {
    ParametricSet lut({param(0, 1, 1, kWhite)});
    Bytes d(3, 99);
    for (const uint8_t bits : {uint8_t{0}, uint8_t{7}, uint8_t{9}, uint8_t{16}}) {
        lut.ucDstBpc = bits;
        EXPECT_EQ(true_colour(d, {4}, 1, kFour, &lut), QM_REJECTED);
        EXPECT_EQ(d, Bytes(3, 99));
    }
    lut.ucDstBpc = 8;
    EXPECT_EQ(true_colour(d, {4}, 1, kFour, &lut), QM_OK);
    EXPECT_EQ(d, Bytes(3, 255));
}

TEST(FloatsToTrueColour, WithAnEmptyMaskAreBlackWhateverTheTable) {
    const PredefLuts lists;
    ParametricSet lut({param(0, 1, 1, kWhite), param(0, 1, 1, kWhite)});
    lut.iPredefLut = SQmLut::PredefLutInvertMono;
    lut.rmComponents.SetAll(false);
    Bytes d(6, 99);  // two components would be refused without the set
    EXPECT_EQ(true_colour(d, {4, 4, 4, 4}, 2, kFour, &lut), QM_OK);
    EXPECT_EQ(d, Bytes(6, 0));
    lut.rmComponents.SetSize(4);
    lut.rmComponents.Set(3);  // one that the picture lacks: black is looked up
    EXPECT_EQ(true_colour(d, {4, 4, 4, 4}, 2, kFour, &lut), QM_OK);
    const uint8_t* const table = table_of(lut);
    EXPECT_EQ(d, (Bytes{table[2], table[1], table[0], table[2], table[1], table[0]}));
}

TEST(FloatsToTrueColour, MayReplaceTheirSource) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 3u})
            for (const uint32_t width : {1u, 7u, 64u, 3000u}) {
                Floats s(2 * width * components);
                Bytes expected, found;
                for (size_t i = 0; i < s.size(); ++i) {
                    s[i] = static_cast<float>(i * 7 % 256);
                    expected.insert(expected.end(), 3 / components,
                                    static_cast<uint8_t>(i * 7 % 256));
                }
                const uint32_t stride = 4 * width * components;
                ASSERT_EQ(Api::ConvertToTrueColor(s.data(), stride, s.data(), components, stride,
                                                  width, 2 * width, nullptr, {{0, 200}}),
                          QM_OK);
                const auto* const bytes = reinterpret_cast<const uint8_t*>(s.data());
                for (uint32_t y = 0; y < 2; ++y)
                    found.insert(found.end(), bytes + y * stride, bytes + y * stride + 3 * width);
                ASSERT_EQ(found, expected) << components << ", " << width;
            }
    }
}

TEST(FloatsToTrueColour, FindRowsIn32Bits) {
    const Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9};  // stride 10: floats 0, 2, 5, 7
    Bytes d(12);
    const Bytes expected{1, 1, 1, 3, 3, 3, 6, 6, 6, 8, 8, 8};
    EXPECT_EQ(Api::ConvertToTrueColor(d.data(), 3, s.data(), 1, 10, 1, 4, nullptr, {{0, 9}}),
              QM_OK);
    EXPECT_EQ(d, expected);
    const ParametricSet lut({param(0, 1, 1, kWhite)});
    d.assign(12, 0);
    const Ranges ranges{{-1.0f, 254.0f}};
    for (const float x : {1.0f, 3.0f, 6.0f, 8.0f})
        ASSERT_EQ(rendered({x + 0.5f}, lut, ranges)[0], static_cast<uint8_t>(x));
    Floats half = s;
    for (float& x : half) x += 0.5f;
    EXPECT_EQ(
        Api::MapComponentsMToNToUint(d.data(), 3, 8, 3, half.data(), 1, 10, &lut, 1, 4, ranges),
        QM_OK);
    EXPECT_EQ(d, expected);
    if (kThreadSanitizer) return;  // its tables would cover the distance
    const WrappedRows memory;
    memory.row(0)[0] = 1.5f;
    memory.row(1)[0] = 3.5f;
    d.assign(9, 0);
    EXPECT_EQ(Api::MapComponentsMToNToUint(d.data(), 3, 8, 3, memory.row(0), 1,
                                           WrappedRows::kStride, &lut, 1, 3, ranges),
              QM_OK);
    EXPECT_EQ(d, (Bytes{1, 1, 1, 3, 3, 3, 1, 1, 1}));
}

// ----- Memory and threads ------------------------------------------------------------------------

TEST(FloatsToTrueColour, NeedAByteAPixelForGreys) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Floats s(1000, 7.0f);
    Bytes d(3000, 99);
    uint64_t bytes = 0;
    {
        const FailingAlloc memory(0);
        Api::ConvertToTrueColor(d.data(), 300, s.data(), 1, 400, 100, 1000, nullptr, kUnit);
        bytes = memory.bytes();
    }
    EXPECT_EQ(bytes, 1000u);
    d.assign(3000, 99);
    const Outcome outcome = with_failing(1, FailingAlloc::kOnce, [&] {
        return Api::ConvertToTrueColor(d.data(), 300, s.data(), 1, 400, 100, 1000, nullptr, kUnit);
    });
    EXPECT_EQ(outcome.code_or_throw(), QM_NO_MEMORY);
    EXPECT_EQ(outcome.live, 0);
    EXPECT_EQ(d, Bytes(3000, 99));
    // Nothing of it is needed for colours.
    EXPECT_EQ(with_failing(0, FailingAlloc::kOnce,
                           [&] {
                               return Api::ConvertToTrueColor(d.data(), 300, s.data(), 3, 1200, 100,
                                                              300, nullptr, kUnit);
                           })
                  .seen,
              0u);
}

TEST(FloatRendering, HasATeamOfAllProcessorsWhenTheSetSaysSo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    ParametricSet lut({param(0, 1, 1, kWhite)});
    const Floats s{1, 1, 1};
    Bytes d(9);
    Floats f(9);
    for (const int processors : {1, 2, 3, 8})
        for (const bool parallel : {false, true}) {
            lut.bParallel = parallel;
            const Processors stated(processors);
            const WatchedRegions regions;
            nonspect_render_NxFloat_3x8_float(d.data(), 3, s.data(), 4, 1, &lut, 1, 3, kFour);
            Api::MapComponentsMToNToUint(d.data(), 3, 8, 3, s.data(), 1, 4, &lut, 1, 3, kFour);
            Api::ConvertFloatToRGBFloat(f.data(), 12, s.data(), 1, 4, &lut, 1, 3, kFour);
            Api::ConvertToTrueColor(d.data(), 3, s.data(), 1, 4, 1, 3, &lut, kFour);
            const auto team = static_cast<uint32_t>(processors);
            EXPECT_EQ(regions.teams(),
                      parallel ? std::vector<uint32_t>(4, team) : std::vector<uint32_t>());
        }
    const WatchedRegions regions;
    Api::ConvertToTrueColor(d.data(), 3, s.data(), 1, 4, 1, 3, nullptr, kFour);
    Api::ConvertToTrueColor(d.data(), 3, s.data(), 3, 12, 1, 1, nullptr, kFour);
    EXPECT_TRUE(regions.teams().empty());
}

TEST(FloatRendering, GivesTheSamePictureToAnyNumberOfProcessors) {
    Random random(7);
    ParametricSet lut({param(0, 1, 1, 0x4080FF), param(0.5, 1, 1, 0x2000FF)});
    const Size size{33, 13};
    const FloatPicture s(2, size, random);
    const auto render = [&](bool parallel) {
        lut.bParallel = parallel;
        Bytes d(size.pixels * 3, 99);
        EXPECT_EQ(nonspect_render_NxFloat_3x8_float(d.data(), 3 * size.width, s.data(), s.stride(),
                                                    2, &lut, size.width, size.pixels, kFour),
                  QM_OK);
        return d;
    };
    const Bytes expected = render(false);
    for (const int processors : {1, 2, 3, 8, 40}) {  // also more than rows
        const Processors stated(processors);
        EXPECT_EQ(render(true), expected) << processors;
    }
    // A team inside of a caller's region is smaller than was asked for.
    const Processors stated(3);
    Bytes found[2];
#pragma omp parallel num_threads(2)
    {
        ParametricSet own({param(0, 1, 1, 0x4080FF), param(0.5, 1, 1, 0x2000FF)});
        own.bParallel = true;
        Bytes& d = found[omp_get_thread_num()];
        d.assign(size.pixels * 3, 99);
        nonspect_render_NxFloat_3x8_float(d.data(), 3 * size.width, s.data(), s.stride(), 2, &own,
                                          size.width, size.pixels, kFour);
    }
    EXPECT_EQ(found[0], expected);
}

TEST(FloatRendering, SharesItsRowsAmongTheTeam) {
    ParametricSet lut({param(0, 1, 1, kWhite)});
    constexpr uint32_t kRows = 12;
    const Floats s(kRows);
    for (const bool parallel : {false, true}) {
        lut.bParallel = parallel;
        const Processors stated(3);
        const TouchedPages pages(kRows);
        nonspect_render_NxFloat_3x8_float(pages.data(), TouchedPages::kPage, s.data(), 4, 1, &lut,
                                          1, kRows, kFour);
        EXPECT_EQ(pages.thread_count(), parallel ? 3u : 1u);
    }
}

}  // namespace
}  // namespace qmpic::test
