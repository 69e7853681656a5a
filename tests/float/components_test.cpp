#include <gtest/gtest.h>
#include <omp.h>

#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

// ----- Integers to one component -----------------------------------------------------------------

/// What a pair of held extremes becomes, sample by sample.
struct Held {
    float min, max;
    void take(float value) {
        if (min > value) min = value;
        if (value > max) max = value;
    }
};

/// `run` also gets the extremes, which only some kernels know.
template <class Run>
void check_from_integers(Round round, uint32_t bits, uint32_t bpc, bool extremes, Run run) {
    Random& random = round.random;
    const uint32_t dc = random(0, 1) ? 1 : random.components();
    const uint32_t few = random(1, 4), any = random.components();
    const uint32_t sc = random(0, 1) ? few : any;
    const Size size = random.size(std::max(dc, sc));
    const FloatPicture d(dc, size, random);
    GuardedPicture s({sc, bits, bits}, size, random);
    if (random(0, 1)) s.keep_below(random(0, 200), random);
    const uint32_t i = random(0, dc - 1), j = random(0, sc - 1);
    Held held = random.one_of({Held{FLT_MAX, -FLT_MAX}, Held{0, 0}, Held{100, 50}, Held{-1, 1e6f},
                               Held{kNan, kNan}, Held{kInfinity, -kInfinity}});
    float least = held.min, greatest = held.max;
    auto expected = d.all_bits();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const auto value = static_cast<float>(s.get(x * sc + j, y));
            expected[(size_t{y} * size.width + x) * dc + i] = std::bit_cast<uint32_t>(value);
            if (extremes) held.take(value);
        }
    const auto outside = d.outside();
    ASSERT_EQ(run(d.data(), &least, &greatest, dc, d.stride(), i, s.data(), sc, s.stride(), j, bpc,
                  size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(d.all_bits(), expected) << j << " of " << sc << " to " << i << " of " << dc;
    ASSERT_EQ(comparable({least, greatest}), comparable({held.min, held.max}));
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
    round.digest.add(comparable({least, greatest}));
}

void check_plain(CopyToFloatComponentKernel* kernel, uint32_t bits, Round round) {
    check_from_integers(round, bits, round.random(0, 40), false,
                        [=](float* d, float*, float*, auto... rest) { return kernel(d, rest...); });
}
void check_min_max(CopyToFloatComponentMinMaxKernel* kernel, uint32_t bits, Round round) {
    check_from_integers(round, bits, round.random(0, 40), true,
                        [=](float* d, float* min, float* max, auto... rest) {
                            return kernel(d, rest..., min, max);
                        });
}

const std::vector<uint32_t> kDepths{0, 1, 7, 8, 9, 12, 15, 16};
uint32_t stored_bits(uint32_t bpc) { return bpc <= 8 ? 8 : 16; }

void check_entry(Round round) {
    const uint32_t bpc = round.in_turn(kDepths);
    check_from_integers(
        round, stored_bits(bpc), bpc, false,
        [](float* d, float*, float*, auto... rest) { return Api::CopyComponent(d, rest...); });
}
// The extremes are those of the destination's component.
void check_min_max_entry(Round round) {
    const uint32_t bpc = round.in_turn(kDepths);
    check_from_integers(round, stored_bits(bpc), bpc, true,
                        [](float* d, float* min, float* max, uint32_t dc, uint32_t stride,
                           uint32_t i, auto... rest) {
                            Floats mins(dc, 7.0f), maxs(dc, 8.0f);
                            mins[i] = *min, maxs[i] = *max;
                            const int code = Api::CopyComponent(d, mins.data(), maxs.data(), dc,
                                                                stride, i, rest...);
                            *min = mins[i], *max = maxs[i];
                            mins[i] = 7.0f, maxs[i] = 8.0f;
                            EXPECT_EQ(mins, Floats(dc, 7.0f));
                            EXPECT_EQ(maxs, Floats(dc, 8.0f));
                            return code;
                        });
}

// ----- Floats to floats --------------------------------------------------------------------------

using FloatPixel = std::vector<uint32_t>;  // bits

/// One call on two pictures, of which the destination may be the source where `alike` allows;
/// `reference` changes a pixel of the destination.
template <class Call, class Reference>
void check_pixels(Round round, uint32_t dc, uint32_t sc, bool alike, Call call,
                  Reference reference) {
    Random& random = round.random;
    const Size size = random.size(std::max(dc, sc));
    const FloatPicture d(dc, size, random), other(sc, size, random);
    const FloatPicture& s = alike && dc == sc && random(0, 2) == 0 ? d : other;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            FloatPixel before, source;
            for (uint32_t c = 0; c < dc; ++c) before.push_back(d.bits(x * dc + c, y));
            for (uint32_t c = 0; c < sc; ++c) source.push_back(s.bits(x * sc + c, y));
            reference(before, source);
            expected.insert(expected.end(), before.begin(), before.end());
        }
    const auto outside = d.outside();
    ASSERT_EQ(call(d, s, size), QM_OK);
    ASSERT_EQ(d.all_bits(), expected) << sc << " to " << dc << ", " << size.width << " wide";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

uint32_t count_for(Random& random) {
    const uint32_t few = random(1, 5), any = random.components();
    return random(0, 2) ? few : any;
}

void check_extract(Round round) {
    const uint32_t sc = count_for(round.random), j = round.random(0, sc - 1);
    check_pixels(
        round, 1, sc, true,
        [=](const FloatPicture& d, const FloatPicture& s, Size size) {
            return Api::ExtractComponent(d.data(), d.stride(), s.data(), s.stride(), sc, j,
                                         size.width, size.pixels);
        },
        [=](FloatPixel& d, const FloatPixel& s) { d[0] = s[j]; });
}

void check_store(Round round) {
    const uint32_t dc = count_for(round.random), i = round.random(0, dc - 1);
    check_pixels(
        round, dc, 1, true,
        [=](const FloatPicture& d, const FloatPicture& s, Size size) {
            return Api::StoreComponent(d.data(), dc, d.stride(), i, s.data(), s.stride(),
                                       size.width, size.pixels);
        },
        [=](FloatPixel& d, const FloatPixel& s) { d[i] = s[0]; });
}

void check_range(Round round) {
    Random& random = round.random;
    const uint32_t dc = count_for(random), other = count_for(random);
    const uint32_t sc = random(0, 1) ? dc : other;
    const uint32_t count = random(1, std::min(dc, sc));
    const uint32_t i = random(0, dc - count), j = random(0, sc - count);
    check_pixels(
        round, dc, sc, true,
        [=](const FloatPicture& d, const FloatPicture& s, Size size) {
            return Api::ExtractComponentRange(d.data(), d.stride(), dc, i, s.data(), sc, s.stride(),
                                              j, j + count - 1, size.width, size.pixels);
        },
        [=](FloatPixel& d, const FloatPixel& s) {
            for (uint32_t c = 0; c < count; ++c) d[i + c] = s[j + c];
        });
}

void check_expand(Round round) {
    const uint32_t dc = count_for(round.random);
    check_pixels(
        round, dc, 1, true,
        [=](const FloatPicture& d, const FloatPicture& s, Size size) {
            return Api::ExpandComponent(d.data(), dc, d.stride(), s.data(), s.stride(), size.width,
                                        size.pixels);
        },
        [=](FloatPixel& d, const FloatPixel& s) { d.assign(dc, s[0]); });
}

void check_collapse(Round round) {
    Random& random = round.random;
    const uint32_t sc = count_for(random);
    const bool weighted = random(0, 1);
    std::vector<double> weights(sc);
    for (double& w : weights)
        w = random.one_of({0.0, 0.5, 1.0, 1.0 / 3, -2.7, 1e-30, 0.1 * random(0, 20)});
    const Size size = random.size(sc);
    const FloatPicture d(1, size, random), s(sc, size, random);
    Floats expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            float sum = 0.0f;
            for (uint32_t c = 0; c < sc; ++c) {
                const float sample = s.get(x * sc + c, y);
                if (weighted)
                    sum += static_cast<float>(static_cast<double>(sample) * weights[c]);
                else
                    sum += sample;
            }
            expected.push_back(weighted ? sum : sum / static_cast<float>(sc));
        }
    const auto outside = d.outside();
    ASSERT_EQ(Api::CollapseComponents(d.data(), d.stride(), s.data(), sc, s.stride(),
                                      weighted ? weights.data() : nullptr, size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(comparable(d.content()), comparable(expected)) << sc << ", weighted " << weighted;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(comparable(expected));
}

// ----- Cases -------------------------------------------------------------------------------------

int always(uint32_t, uint32_t) { return QM_OK; }
int up_to_16_bits(uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; }
float* floats(void* p) { return static_cast<float*>(p); }
const float* floats(const void* p) { return static_cast<const float*>(p); }

const bool registered = add_cases(
    {{"copycomponent_Nx8_to_Nxfloat",
      [](Round r) { check_plain(copycomponent_Nx8_to_Nxfloat, 8, r); }, 64},
     {"copycomponent_Nx16_to_Nxfloat",
      [](Round r) { check_plain(copycomponent_Nx16_to_Nxfloat, 16, r); }, 64},
     {"copycomponent_Nx8_to_Nxfloat_minmax",
      [](Round r) { check_min_max(copycomponent_Nx8_to_Nxfloat_minmax, 8, r); }, 64},
     {"copycomponent_Nx16_to_Nxfloat_minmax",
      [](Round r) { check_min_max(copycomponent_Nx16_to_Nxfloat_minmax, 16, r); }, 64},
     {"CQmFloatPicMemAPI_Base::CopyComponent of integers", check_entry, 64},
     {"CQmFloatPicMemAPI_Base::CopyComponent with extremes", check_min_max_entry, 64},
     {"CQmFloatPicMemAPI_Base::ExtractComponent", check_extract},
     {"CQmFloatPicMemAPI_Base::StoreComponent", check_store},
     {"CQmFloatPicMemAPI_Base::ExtractComponentRange", check_range, 96},
     {"CQmFloatPicMemAPI_Base::ExpandComponent", check_expand, 64},
     {"CQmFloatPicMemAPI_Base::CollapseComponents", check_collapse, 96}},
    {{"CQmFloatPicMemAPI_Base::CopyComponent of integers",
      [](const EntryCall& c) {
          return Api::CopyComponent(floats(c.dst), c.components, c.stride, 0, c.src, c.components,
                                    c.stride, 0, c.bpc, c.width, c.size);
      },
      up_to_16_bits},
     {"CQmFloatPicMemAPI_Base::CopyComponent with extremes",
      [](const EntryCall& c) {
          float min = 0, max = 0;
          return Api::CopyComponent(floats(c.dst), &min, &max, c.components, c.stride, 0, c.src,
                                    c.components, c.stride, 0, c.bpc, c.width, c.size);
      },
      up_to_16_bits},
     {"CQmFloatPicMemAPI_Base::ExtractComponent",
      [](const EntryCall& c) {
          return Api::ExtractComponent(floats(c.dst), c.stride, floats(c.src), c.stride,
                                       c.components, 0, c.width, c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::StoreComponent",
      [](const EntryCall& c) {
          return Api::StoreComponent(floats(c.dst), c.components, c.stride, 0, floats(c.src),
                                     c.stride, c.width, c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::ExtractComponentRange",
      [](const EntryCall& c) {
          return Api::ExtractComponentRange(floats(c.dst), c.stride, c.components, 0, floats(c.src),
                                            c.components, c.stride, 0,
                                            std::max(c.components, 1u) - 1, c.width, c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::ExpandComponent",
      [](const EntryCall& c) {
          return Api::ExpandComponent(floats(c.dst), c.components, c.stride, floats(c.src),
                                      c.stride, c.width, c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::CollapseComponents",
      [](const EntryCall& c) {
          return Api::CollapseComponents(floats(c.dst), c.stride, floats(c.src), c.components,
                                         c.stride, nullptr, c.width, c.size);
      },
      always}});

// ----- Worked numbers ----------------------------------------------------------------------------

TEST(CopyComponentToFloat, ReadsBytesUpTo8BitsAndWordsUpTo16) {
    const uint8_t s[] = {1, 2, 3, 4};
    for (const uint32_t bpc : {0u, 1u, 7u, 8u}) {
        Floats d(2);
        EXPECT_EQ(Api::CopyComponent(d.data(), 1, 8, 0, s, 2, 4, 1, bpc, 2, 2), QM_OK);
        EXPECT_EQ(d, (Floats{2, 4})) << bpc;
    }
    for (const uint32_t bpc : {9u, 16u}) {
        Floats d(2);
        EXPECT_EQ(Api::CopyComponent(d.data(), 1, 8, 0, s, 1, 4, 0, bpc, 2, 2), QM_OK);
        EXPECT_EQ(d, (Floats{0x0201, 0x0403})) << bpc;
    }
}

TEST(CopyComponentToFloat, MergesExtremesWithWhatTheCallerHolds) {
    const uint16_t s[] = {500, 7, 9, 60000, 12};
    Floats d(5), mins{1, 8, 3}, maxs{1, 70000, 3};
    // One row a thread.
    EXPECT_EQ(Api::CopyComponent(d.data(), mins.data(), maxs.data(), 1, 4, 0, s, 1, 2, 0, 16, 1, 5),
              QM_OK);
    EXPECT_EQ(mins, (Floats{1, 8, 3}));
    EXPECT_EQ(maxs, (Floats{60000, 70000, 3}));
    Floats wide(15);
    EXPECT_EQ(
        Api::CopyComponent(wide.data(), mins.data(), maxs.data(), 3, 12, 1, s, 1, 2, 0, 16, 1, 5),
        QM_OK);
    EXPECT_EQ(mins, (Floats{1, 7, 3}));
    EXPECT_EQ(maxs, (Floats{60000, 70000, 3}));
}

TEST(CopyComponentToFloat, KeepsExtremesWhereNothingIsDone) {
    const uint8_t s = 5;
    float d = 1, min = FLT_MAX, max = -FLT_MAX;
    EXPECT_EQ(Api::CopyComponent(&d, &min, &max, 1, 4, 0, &s, 1, 1, 0, 17, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Api::CopyComponent(&d, &min, &max, 1, 4, 0, &s, 1, 1, 0, 8, 2, 1), QM_OK);  // no row
    EXPECT_EQ(Api::CopyComponent(&d, &min, &max, 1, 4, 0, &s, 1, 1, 0, 8, 0, 1), QM_OK);
    EXPECT_EQ(d, 1);
    EXPECT_EQ(min, FLT_MAX);
    EXPECT_EQ(max, -FLT_MAX);
}

TEST(CopyComponentToFloat, FindsTheExtremesOfManyThreads) {
    constexpr uint32_t kRows = 1000;
    for (const int threads : {1, 2, 3, 8}) {
        omp_set_num_threads(threads);
        std::vector<uint16_t> s(kRows, 300);
        s[kRows - 1] = 2;
        s[kRows / 2] = 65535;
        Floats d(kRows);
        float min = 299, max = 301;
        EXPECT_EQ(copycomponent_Nx16_to_Nxfloat_minmax(d.data(), 1, 4, 0, s.data(), 1, 2, 0, 16, 1,
                                                       kRows, &min, &max),
                  QM_OK);
        EXPECT_EQ(min, 2);
        EXPECT_EQ(max, 65535);
    }
}

TEST(FloatComponentRange, CountsComponentsAndNotBytes) {
    const Floats s{1, 2, 3, 4, 5, 6};
    Floats d(8, 0.0f);
    EXPECT_EQ(Api::ExtractComponentRange(d.data(), 16, 4, 2, s.data(), 3, 12, 1, 2, 1, 2), QM_OK);
    EXPECT_EQ(d, (Floats{0, 0, 2, 3, 0, 0, 5, 6}));
}

TEST(FloatComponentRange, OfNoComponentsIsNothing) {
    const Floats s{1, 2, 3};
    Floats d(3, 0.0f);
    EXPECT_EQ(Api::ExtractComponentRange(d.data(), 12, 3, 0, s.data(), 3, 12, 2, 1, 1, 1), QM_OK);
    EXPECT_EQ(Api::ExtractComponentRange(d.data(), 12, 3, 0, s.data(), 3, 12, 2, 0, 1, 1), QM_OK);
    EXPECT_EQ(d, (Floats{0, 0, 0}));
}

// The blocks of a pixel may overlap.
TEST(FloatComponentRange, MovesWithinAPixel) {
    for (const uint32_t count : {2u, 3u, 4u, 5u, 9u}) {
        Floats d(2 * (count + 1)), expected;
        for (size_t i = 0; i < d.size(); ++i) d[i] = static_cast<float>(i);
        expected = d;
        for (size_t x = 0; x < 2; ++x)
            for (uint32_t c = count; c > 0; --c)
                expected[x * (count + 1) + c] = expected[x * (count + 1) + c - 1];
        EXPECT_EQ(Api::ExtractComponentRange(d.data(), 8 * (count + 1), count + 1, 1, d.data(),
                                             count + 1, 8 * (count + 1), 0, count - 1, 2, 2),
                  QM_OK);
        EXPECT_EQ(d, expected) << count;
    }
}

TEST(CollapseFloats, WithHalvesIsTheMean) {
    const Floats s{1, 2, 10, -3};
    const double halves[] = {0.5, 0.5};
    Floats mean(2), weighted(2);
    EXPECT_EQ(Api::CollapseComponents(mean.data(), 8, s.data(), 2, 16, nullptr, 2, 2), QM_OK);
    EXPECT_EQ(Api::CollapseComponents(weighted.data(), 8, s.data(), 2, 16, halves, 2, 2), QM_OK);
    EXPECT_EQ(mean, (Floats{1.5f, 3.5f}));
    EXPECT_EQ(weighted, mean);
}

TEST(CollapseFloats, AddsInOrderInSinglePrecision) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t pixels : {1u, 40u}) {
            Floats s, d(pixels);
            for (uint32_t x = 0; x < pixels; ++x)
                s.insert(s.end(), {16777216.0f, 1, 1, -16777216.0f});
            EXPECT_EQ(Api::CollapseComponents(d.data(), 4 * pixels, s.data(), 4, 16 * pixels,
                                              nullptr, pixels, pixels),
                      QM_OK);
            EXPECT_EQ(d, Floats(pixels, 0.0f));  // each 1 is lost; 0.5 in any wider sum
        }
    }
}

TEST(CollapseFloats, MakesProductsInDouble) {
    float d = 0;
    // As a float the weight is 1 + 2^-23, and three times that is in the middle of two floats.
    const double more[] = {1.0 + 0x1p-23 - 0x1p-40, 0.0};
    const Floats t{3.0f, 0.0f};
    EXPECT_EQ(Api::CollapseComponents(&d, 4, t.data(), 2, 8, more, 1, 1), QM_OK);
    EXPECT_EQ(d, 3.00000023841857910156f);  // 3 + 2^-22, and not 3 + 2^-21
}

TEST(CollapseFloats, OfNoComponentsIsNotANumberAndWithWeights0) {
    const float s = 1;
    const double weight = 1;
    float d = 1;
    EXPECT_EQ(Api::CollapseComponents(&d, 4, &s, 0, 4, nullptr, 1, 1), QM_OK);
    EXPECT_TRUE(std::isnan(d));
    EXPECT_EQ(Api::CollapseComponents(&d, 4, &s, 0, 4, &weight, 1, 1), QM_OK);
    EXPECT_EQ(d, 0);
}

TEST(CollapseFloats, TakesWeightsAtAnyAddress) {
    const Floats s{1, 2, 3, 4, 5};
    std::vector<uint8_t> memory(8 * 5 + 1);
    for (const size_t offset : {0u, 1u}) {
        const std::vector<double> weights(5, 2.0);
        std::memcpy(&memory[offset], weights.data(), 40);
        for (const uint32_t components : {3u, 5u}) {
            float d = 0;
            EXPECT_EQ(
                Api::CollapseComponents(&d, 4, s.data(), components, 20,
                                        reinterpret_cast<const double*>(&memory[offset]), 1, 1),
                QM_OK);
            EXPECT_EQ(d, components == 3 ? 12 : 30);
        }
    }
}

TEST(FloatComponents, FindRowsIn32Bits) {
    const Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9};  // stride 10: floats 0, 2, 5, 7
    Floats d(4);
    const Floats firsts{1, 3, 6, 8};
    EXPECT_EQ(Api::ExtractComponent(d.data(), 4, s.data(), 10, 2, 0, 1, 4), QM_OK);
    EXPECT_EQ(d, firsts);
    EXPECT_EQ(Api::ExtractComponentRange(d.data(), 4, 1, 0, s.data(), 2, 10, 0, 0, 1, 4), QM_OK);
    EXPECT_EQ(d, firsts);
    d.assign(4, 0.0f);
    EXPECT_EQ(Api::ExpandComponent(d.data(), 1, 4, s.data(), 10, 1, 4), QM_OK);
    EXPECT_EQ(d, firsts);
    Floats wide(8);
    EXPECT_EQ(Api::ExpandComponent(wide.data(), 2, 8, s.data(), 10, 1, 4), QM_OK);
    EXPECT_EQ(wide, (Floats{1, 1, 3, 3, 6, 6, 8, 8}));
    EXPECT_EQ(Api::CollapseComponents(d.data(), 4, s.data(), 2, 10, nullptr, 1, 4), QM_OK);
    EXPECT_EQ(d, (Floats{1.5f, 3.5f, 6.5f, 8.5f}));
    wide.assign(8, 0.0f);
    EXPECT_EQ(Api::StoreComponent(wide.data(), 2, 8, 1, s.data(), 10, 1, 4), QM_OK);
    EXPECT_EQ(wide, (Floats{0, 1, 0, 3, 0, 6, 0, 8}));
    Floats strided(9, 0.0f);
    const uint8_t bytes[] = {4, 3, 2, 1};
    EXPECT_EQ(Api::CopyComponent(strided.data(), 1, 10, 0, bytes, 1, 1, 0, 8, 1, 4), QM_OK);
    EXPECT_EQ(strided, (Floats{4, 0, 3, 0, 0, 2, 0, 1, 0}));
}

TEST(FloatComponents, WrapAt4GiB) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    memory.row(0)[0] = 5;
    memory.row(1)[0] = 6;
    constexpr uint32_t kStride = WrappedRows::kStride;
    const Floats rows{5, 6, 5};
    Floats d(3);
    EXPECT_EQ(Api::ExtractComponent(d.data(), 4, memory.row(0), kStride, 1, 0, 1, 3), QM_OK);
    EXPECT_EQ(d, rows);
    d.assign(3, 0.0f);
    EXPECT_EQ(Api::ExtractComponentRange(d.data(), 4, 1, 0, memory.row(0), 1, kStride, 0, 0, 1, 3),
              QM_OK);
    EXPECT_EQ(d, rows);
    d.assign(3, 0.0f);
    EXPECT_EQ(Api::CollapseComponents(d.data(), 4, memory.row(0), 1, kStride, nullptr, 1, 3),
              QM_OK);
    EXPECT_EQ(d, rows);
}

TEST(FloatComponents, AloneForkAndBlocksDoNot) {
    omp_set_num_threads(2);
    constexpr uint32_t kRows = 16;
    const Floats s(2 * kRows);
    const auto threads_of = [](auto call) {
        const TouchedPages pages(kRows);
        call(reinterpret_cast<float*>(pages.data()), static_cast<uint32_t>(TouchedPages::kPage));
        return pages.thread_count();
    };
    float min = 0, max = 0;
    for (const uint32_t bpc : {8u, 16u}) {
        EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                      Api::CopyComponent(d, 1, stride, 0, static_cast<const void*>(s.data()), 1, 4,
                                         0, bpc, 1, kRows);
                  }),
                  2u);
        EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                      Api::CopyComponent(d, &min, &max, 1, stride, 0, s.data(), 1, 4, 0, bpc, 1,
                                         kRows);
                  }),
                  2u);
    }
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::ExtractComponent(d, stride, s.data(), 8, 2, 1, 1, kRows);
              }),
              2u);
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::StoreComponent(d, 2, stride, 1, s.data(), 4, 1, kRows);
              }),
              2u);
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::ExtractComponentRange(d, stride, 2, 0, s.data(), 2, 8, 0, 1, 1, kRows);
              }),
              1u);
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::ExpandComponent(d, 3, stride, s.data(), 4, 1, kRows);
              }),
              1u);
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::CollapseComponents(d, stride, s.data(), 2, 8, nullptr, 1, kRows);
              }),
              1u);
}

TEST(FloatComponents, OpenOneRegionForASinglePixelToo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const uint16_t word = 1;
    const float s = 1;
    float d[2] = {}, min = 0, max = 0;
    const std::vector<uint32_t> one{0};
    const auto regions_of = [](auto call) {
        const WatchedRegions regions;
        call();
        return regions.teams();
    };
    for (const uint32_t bpc : {8u, 16u}) {
        EXPECT_EQ(regions_of([&] { Api::CopyComponent(d, 1, 4, 0, &word, 1, 2, 0, bpc, 1, 1); }),
                  one);
        EXPECT_EQ(regions_of([&] {
                      Api::CopyComponent(d, &min, &max, 1, 4, 0, &word, 1, 2, 0, bpc, 1, 1);
                  }),
                  one);
    }
    EXPECT_EQ(regions_of([&] { Api::ExtractComponent(d, 4, &s, 4, 1, 0, 1, 1); }), one);
    EXPECT_EQ(regions_of([&] { Api::StoreComponent(d, 1, 4, 0, &s, 4, 1, 1); }), one);
    EXPECT_TRUE(regions_of([&] {
                    Api::ExtractComponentRange(d, 4, 1, 0, &s, 1, 4, 0, 0, 1, 1);
                    Api::ExpandComponent(d, 2, 8, &s, 4, 1, 1);
                    Api::CollapseComponents(d, 4, &s, 1, 4, nullptr, 1, 1);
                }).empty());
}

}  // namespace
}  // namespace qmpic::test
