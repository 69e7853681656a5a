#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "qmpic/Histo.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"
#ifndef QMPIC_SHIPPED
#include "PicMemAPI/shading.h"
#endif

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;
using Constants = std::vector<uint32_t>;

/// One sample, in 64 bits.
uint64_t divided(uint64_t s, uint64_t constant, uint64_t by, uint32_t bpc) {
    const uint64_t max = (uint64_t{1} << bpc) - 1, product = s * constant % (uint64_t{1} << 32);
    if (bpc == 8 && constant == 0) return s;
    if (by == 0) return max;
    return std::min(product / by, max);
}

/// The level of a component above which half a percent of it lies, by value and without those that
/// a single pixel has.
uint32_t reference_level(const GuardedPicture& shading, uint32_t component, uint32_t bpc) {
    std::vector<uint64_t> counts(size_t{1} << bpc);
    for (uint32_t y = 0; y < shading.size().height; ++y)
        for (uint32_t i = component; i < shading.samples(); i += shading.format().components)
            ++counts[shading.get(i, y) & shading.format().max()];
    uint64_t all = 0, above = 0;
    for (size_t i = 0; i < counts.size(); ++i) all += i * counts[i];
    for (size_t i = counts.size(); i-- > 0;) {
        if (counts[i] < 2) continue;
        above += i * counts[i];
        if (static_cast<double>(above) >= static_cast<double>(all) * (1 - 0.995))
            return static_cast<uint32_t>(i);
    }
    return 0;
}

/// `run(d, s, by, constants)` calls; the destination may be one of the pictures.
template <class Run, class MakeConstants>
void check(Round round, Format format, const Run& run, const MakeConstants& make_constants) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    const GuardedPicture d(format, size, random), first(format, size, random);
    GuardedPicture second(format, size, random);
    if (random(0, 1))  // as a picture of light is
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < second.samples(); ++i)
                second.set(i, y, format.max() - random(0, 9));
    const uint32_t same = random(0, 5);
    const GuardedPicture& s = same == 1 || same == 3 ? d : first;
    const GuardedPicture& by = same == 2 || same == 3 ? d : second;
    const Constants constants = make_constants(by);
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(
                divided(s.get(i, y), constants[i % format.components], by.get(i, y), format.bpc));
    const auto outside = d.outside();

    ASSERT_EQ(run(d, s, by, constants.data()), QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of "
                                     << format.components << " x " << format.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

uint32_t draw_constant(uint32_t kind, uint64_t max, Random& random) {
    if (kind == 0) return static_cast<uint32_t>(max - random(0, 60));
    if (kind == 1) return random(0, 2) == 0 ? 0 : static_cast<uint32_t>(random.any() & max);
    return random.one_of({0u, 1u, 255u, 256u, 65535u, 65793u, 65794u, 0x01010101u, 0x01010102u,
                          33554432u, 0xFFFFFFFFu, random.any(), random.any() & 0xFFFFF});
}

template <class Function>
void check_constants(Round round, Function* function, Format format) {
    check(
        round, format,
        [=](const GuardedPicture& d, const GuardedPicture& s, const GuardedPicture& by,
            const uint32_t* constants) {
            return function(d.data(), d.stride(), s.data(), s.stride(), by.data(), by.stride(),
                            constants, format.components, format.bpc, d.size().width,
                            d.size().pixels);
        },
        [=](const GuardedPicture&) {
            const uint32_t kind = round.random(0, 2);
            Constants constants;
            for (uint32_t c = 0; c < format.components; ++c)
                constants.push_back(draw_constant(kind, format.max(), round.random));
            return constants;
        });
}

void check_shading(Round round, Format format) {
    check(
        round, format,
        [=](const GuardedPicture& d, const GuardedPicture& s, const GuardedPicture& by,
            const uint32_t*) {
            return Entries::ApplyMultShading(d.data(), d.stride(), s.data(), s.stride(), by.data(),
                                             by.stride(), format.components, format.bpc,
                                             d.size().width, d.size().pixels);
        },
        [=](const GuardedPicture& by) {
            Constants constants;
            for (uint32_t c = 0; c < format.components; ++c)
                constants.push_back(reference_level(by, c, format.bpc));
            return constants;
        });
}

Format any_format(Round round) {
    const uint32_t bpc =
        round.in_turn(std::vector<uint32_t>{8, 9, 10, 8, 11, 12, 8, 13, 14, 15, 16});
    const uint32_t components = round.random(0, 1) ? round.random(1, 4) : round.random.components();
    return {components, bpc == 8 ? 8u : 16u, bpc};
}

const bool registered = add_cases(
    {{"CQmPicMemAPI_Base::MulConstDiv",
      [](Round round) { check_constants(round, Entries::MulConstDiv, any_format(round)); }, 220},
     {"CQmPicMemAPI_Base::ApplyMultShading",
      [](Round round) {
          Format format = any_format(round);
          if (format.components > 9) format.components = format.components % 9 + 1;  // many bins
          check_shading(round, format);
      },
      66}},
    {{"CQmPicMemAPI_Base::MulConstDiv",
      [](const EntryCall& c) {
          const uint32_t constants[] = {1, 2, 3, 4, 5, 0};
          return Entries::MulConstDiv(c.dst, c.stride, c.src, c.stride, c.src, c.stride, constants,
                                      c.components, c.bpc, c.width, c.size);
      },
      bytes_and_words},
     {"CQmPicMemAPI_Base::ApplyMultShading",
      [](const EntryCall& c) {
          return Entries::ApplyMultShading(c.dst, c.stride, c.src, c.stride, c.src, c.stride,
                                           c.components, c.bpc, c.width, c.size);
      },
      bytes_and_words}});

TEST(MulConstDivEntry, IsRightForEveryFormat) {
    Random random(3);
    Digest digest;
    for (uint32_t bpc = 8; bpc <= 16; ++bpc)
        for (const uint32_t components :
             {0u, 1u, 2u, 3u, 4u, 5u, 7u, 8u, 192u, 255u, 256u, 257u, 600u}) {
            const Format format{components, bpc == 8 ? 8u : 16u, bpc};
            check_constants({0, random, digest}, Entries::MulConstDiv, format);
            if (HasFatalFailure()) return;
        }
}

TEST(ShadingEntry, IsRightForEveryFormat) {
    Random random(4);
    Digest digest;
    for (uint32_t bpc = 8; bpc <= 16; ++bpc)
        for (uint32_t components = 0; components <= 6; ++components) {
            check_shading({0, random, digest}, {components, bpc == 8 ? 8u : 16u, bpc});
            if (HasFatalFailure()) return;
        }
}

/// All bytes by all bytes with constants at which ways change.
TEST(MulConstDiv, IsRightForEveryPairOfBytes) {
    std::vector<uint8_t> s(65536), by(65536), d(65536);
    for (size_t i = 0; i < 65536; ++i)
        s[i] = static_cast<uint8_t>(i / 256), by[i] = static_cast<uint8_t>(i % 256);
    for (const uint32_t constant :
         {0u,     1u,     2u,     3u,     7u,        100u,      127u,      128u,
          199u,   200u,   250u,   254u,   255u,      256u,      1000u,     65025u,
          65535u, 65792u, 65793u, 65794u, 16843009u, 16843010u, 33554432u, 0xFFFFFFFFu})
        for (const Level level : levels()) {
            SCOPED_TRACE(std::string(name_of(level)) + ", " + std::to_string(constant));
            const ForcedLevel forced(level);
            EXPECT_EQ(Entries::MulConstDiv(d.data(), 0, s.data(), 0, by.data(), 0, &constant, 1, 8,
                                           65536, 65536),
                      QM_OK);
            for (size_t i = 0; i < 65536; ++i)
                ASSERT_EQ(d[i], divided(s[i], constant, by[i], 8))
                    << int{s[i]} << ", " << int{by[i]};
        }
}

TEST(MulConstDiv, IsRightForWordsBesideWholeQuotients) {
    std::vector<uint16_t> s, by, d;
    Random random(9);
    const uint32_t constants[] = {1, 3, 4095, 40000, 65535, 65536, 0xFFFFFFFF};
    for (const uint32_t constant : constants)
        for (const uint32_t bpc : {9u, 12u, 16u}) {
            s.clear(), by.clear();
            for (int i = 0; i < 3000; ++i) {  // divisors at which the quotient changes
                const uint32_t source = random(1, 65535), quotient = random(1, 65535);
                const uint64_t nearest = uint64_t{source} * constant / quotient;
                s.push_back(static_cast<uint16_t>(source));
                by.push_back(
                    static_cast<uint16_t>(std::min<uint64_t>(nearest + random(0, 2), 65535)));
            }
            for (const Level level : levels()) {
                const ForcedLevel forced(level);
                d.assign(s.size(), 0);
                EXPECT_EQ(Entries::MulConstDiv(d.data(), 0, s.data(), 0, by.data(), 0, &constant, 1,
                                               bpc, 3000, 3000),
                          QM_OK);
                for (size_t i = 0; i < s.size(); ++i)
                    ASSERT_EQ(d[i], divided(s[i], constant, by[i], bpc))
                        << name_of(level) << ", " << s[i] << " * " << constant << " / " << by[i];
            }
        }
}

template <class T>
T of_one_pixel(T s, uint32_t constant, T by, uint32_t bpc) {
    T d = 77;
    EXPECT_EQ(
        Entries::MulConstDiv(&d, sizeof d, &s, sizeof s, &by, sizeof by, &constant, 1, bpc, 1, 1),
        QM_OK);
    return d;
}

TEST(MulConstDiv, IsCutAndClipped) {
    EXPECT_EQ(of_one_pixel<uint8_t>(100, 200, 50, 8), 255);  // 400
    EXPECT_EQ(of_one_pixel<uint8_t>(100, 200, 160, 8), 125);
    EXPECT_EQ(of_one_pixel<uint8_t>(5, 1, 3, 8), 1);
    EXPECT_EQ(of_one_pixel<uint16_t>(100, 4000, 50, 12), 4095);
    EXPECT_EQ(of_one_pixel<uint16_t>(5, 1, 3, 12), 1);
}

TEST(MulConstDiv, KeepsBytesAndBlanksWordsWhereTheConstantIs0) {
    EXPECT_EQ(of_one_pixel<uint8_t>(100, 0, 50, 8), 100);
    EXPECT_EQ(of_one_pixel<uint8_t>(100, 0, 0, 8), 100);
    EXPECT_EQ(of_one_pixel<uint16_t>(100, 0, 50, 12), 0);
    EXPECT_EQ(of_one_pixel<uint16_t>(100, 0, 0, 12), 4095);
}

TEST(MulConstDiv, GivesTheGreatestValueForADivisorOf0) {
    EXPECT_EQ(of_one_pixel<uint8_t>(100, 7, 0, 8), 255);
    EXPECT_EQ(of_one_pixel<uint8_t>(0, 7, 0, 8), 255);
    EXPECT_EQ(of_one_pixel<uint16_t>(0, 7, 0, 12), 4095);
    EXPECT_EQ(of_one_pixel<uint16_t>(100, 7, 0, 16), 65535);
}

TEST(MulConstDiv, HasProductsThatWrapAt32Bits) {
    EXPECT_EQ(of_one_pixel<uint8_t>(128, 33554432, 1, 8), 0);           // 2^32
    EXPECT_EQ(of_one_pixel<uint8_t>(129, 33554432, 255, 8), 255);       // 2^25 / 255
    EXPECT_EQ(of_one_pixel<uint16_t>(65535, 65538, 2, 16), 32767);      // 2^32 + 65534
    EXPECT_EQ(of_one_pixel<uint16_t>(65535, 65537, 65535, 16), 65535);  // 2^32 - 1, by 65535
}

TEST(Shading, OfAFlatPictureChangesNothing) {
    std::vector<uint8_t> s(64), light(64, 200), d(64);
    for (size_t i = 0; i < 64; ++i) s[i] = static_cast<uint8_t>(4 * i);
    EXPECT_EQ(Entries::ApplyMultShading(d.data(), 8, s.data(), 8, light.data(), 8, 1, 8, 8, 64),
              QM_OK);
    EXPECT_EQ(d, s);
    std::vector<uint16_t> words(64, 100), bright(64, 3000), result(64);
    EXPECT_EQ(Entries::ApplyMultShading(result.data(), 16, words.data(), 16, bright.data(), 16, 1,
                                        12, 8, 64),
              QM_OK);
    EXPECT_EQ(result, words);
}

TEST(Shading, IsTheGreatestValueWhereTheLightIs0) {
    std::vector<uint8_t> s(64, 9), light(64, 200), d(64);
    light[5] = 0;
    EXPECT_EQ(Entries::ApplyMultShading(d.data(), 8, s.data(), 8, light.data(), 8, 1, 8, 8, 64),
              QM_OK);
    EXPECT_EQ(d[5], 255);
    EXPECT_EQ(d[6], 9);
    std::vector<uint16_t> words(64, 9), bright(64, 200), result(64);
    bright[5] = 0;
    EXPECT_EQ(Entries::ApplyMultShading(result.data(), 16, words.data(), 16, bright.data(), 16, 1,
                                        12, 8, 64),
              QM_OK);
    EXPECT_EQ(result[5], 4095);
    EXPECT_EQ(result[6], 9);
}

// 1000 pixels: 996 of 100, 4 of 250 (1000 of 100600, near 1 percent), or 2 of 250, below half of
// it.
TEST(Shading, TakesNoNoticeOfTheBrightestHalfPercent) {
    std::vector<uint8_t> s(1000, 50), light(1000, 100), d(1000);
    const auto apply = [&] {
        EXPECT_EQ(Entries::ApplyMultShading(d.data(), 100, s.data(), 100, light.data(), 100, 1, 8,
                                            100, 1000),
                  QM_OK);
        return d[999];
    };
    std::fill_n(light.begin(), 2, uint8_t{250});  // 500 of 100300, and a half percent is 501.5
    EXPECT_EQ(apply(), 50);
    std::fill_n(light.begin(), 4, uint8_t{250});  // 1000 of 100600
    EXPECT_EQ(apply(), 125);
}

TEST(Shading, HasALevelForEachComponent) {
    const uint8_t light[] = {100, 50, 200, 100, 50, 200, 50, 50, 200, 100, 25, 200};
    const uint8_t s[] = {10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10};
    uint8_t d[12] = {};
    EXPECT_EQ(Entries::ApplyMultShading(d, 6, s, 6, light, 6, 3, 8, 2, 4), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 12),
              (std::vector<uint8_t>{10, 10, 10, 10, 10, 10, 20, 10, 10, 10, 20, 10}));
}

TEST(Shading, OfOnePixelHasAReferenceOf0) {
    uint8_t d = 77;
    const uint8_t s = 9, light = 200;
    EXPECT_EQ(Entries::ApplyMultShading(&d, 1, &s, 1, &light, 1, 1, 8, 1, 1), QM_OK);
    EXPECT_EQ(d, 9);
    uint16_t wide = 77;
    const uint16_t word = 9;
    uint16_t bright = 200;
    EXPECT_EQ(Entries::ApplyMultShading(&wide, 2, &word, 2, &bright, 2, 1, 12, 1, 1), QM_OK);
    EXPECT_EQ(wide, 0);
    bright = 0;
    EXPECT_EQ(Entries::ApplyMultShading(&wide, 2, &word, 2, &bright, 2, 1, 12, 1, 1), QM_OK);
    EXPECT_EQ(wide, 4095);
}

TEST(Shading, GuardsItsTwoPicturesAndNotTheLight) {
    uint8_t d = 77;
    const uint8_t s = 9;
    EXPECT_EQ(Entries::ApplyMultShading(nullptr, 1, &s, 1, nullptr, 1, 1, 8, 1, 1), QM_OK);
    EXPECT_EQ(Entries::ApplyMultShading(&d, 1, nullptr, 1, nullptr, 1, 1, 8, 1, 1), QM_OK);
    EXPECT_EQ(Entries::MulConstDiv(&d, 1, nullptr, 1, nullptr, 1, nullptr, 1, 24, 1, 1), QM_OK);
    EXPECT_EQ(Entries::MulConstDiv(&d, 1, &s, 1, nullptr, 1, nullptr, 1, 7, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 77);
}

TEST(MulConstDiv, RunsInTheCallingThreadAndAllocatesNothing) {
    std::vector<uint8_t> d(20 * 2048), s = d;
    const uint32_t constants[] = {1, 0, 3, 0xFFFFFFFF};
    for (const uint32_t bpc : {8u, 12u})
        for (uint32_t components = 1; components <= 4; ++components) {
            const WatchedRegions watched;
            const Outcome outcome = with_failing(0, FailingAlloc::kOnce, [&] {
                return Entries::MulConstDiv(d.data(), 20, s.data(), 20, s.data(), 20, constants,
                                            components, bpc, 1, 2048);
            });
            EXPECT_EQ(outcome.seen, 0u);
            EXPECT_TRUE(watched.teams().empty());
        }
}

#ifndef QMPIC_SHIPPED
TEST(Shading, HasTheGreatestSamplesForReferencesWithoutAHistogram) {
    const uint16_t words[] = {7, 5000, 9, 65535, 8, 3, 2, 2, 65535, 65535};
    uint32_t references[2] = {1, 1};
    const Src shading{words, 8};
    for (uint32_t bpc = 9; bpc <= 16; ++bpc) {
        references_by_maximum(references, shading, 2, bpc, {2, 2});
        EXPECT_EQ(references[0], 9u);
        EXPECT_EQ(references[1], 65535u);
    }
    const uint8_t bytes[] = {7, 50, 9, 99, 8, 200, 255, 255};
    for (uint32_t bpc = 1; bpc <= 8; ++bpc) {
        references_by_maximum(references, Src{bytes, 4}, 2, bpc, {1, 2});
        EXPECT_EQ(references[0], 8u);
        EXPECT_EQ(references[1], 200u);
    }
    for (const uint32_t bpc : {17u, 24u, 32u}) {
        references_by_maximum(references, shading, 2, bpc, {2, 2});
        EXPECT_EQ(references[0], 0u);
        EXPECT_EQ(references[1], 0u);
    }
}

TEST(MulConstDiv, IsThatOfItsKernels) {
    Random random(5);
    Digest digest;
    for (int round = 0; round < 8; ++round)
        for (const auto& kernel : kMulConstDiv) {
            const Layout layout = kernel.source;
            const uint32_t components = layout.components ? layout.components : random.components();
            check_constants({0, random, digest}, kernel.run,
                            {components, layout.bits, layout.bits == 8 ? 8 : random(9, 16)});
            if (HasFatalFailure()) return;
        }
}
#endif

}  // namespace
}  // namespace qmpic::test
