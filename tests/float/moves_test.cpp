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

void check_copy(CopyFloatKernel* run, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random), other(components, size, random);
    const FloatPicture& s = random(0, 3) == 0 ? d : other;
    const auto expected = s.all_bits();
    const auto outside = d.outside();
    ASSERT_EQ(run(d.data(), d.stride(), s.data(), s.stride(), components, size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(d.all_bits(), expected);
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_component(CopyFloatComponentKernel* run, Round round) {
    Random& random = round.random;
    const uint32_t dc = random(0, 1) ? 1 : random.components();
    const bool in_place = random(0, 3) == 0;
    const uint32_t few = random(1, 4), any = random.components();
    const uint32_t sc = in_place ? dc : random(0, 1) ? few : any;
    const Size size = random.size(std::max(dc, sc));
    const FloatPicture d(dc, size, random), other(sc, size, random);
    const FloatPicture& s = in_place ? d : other;
    const uint32_t i = random(0, dc - 1), j = random(0, sc - 1);
    auto expected = d.all_bits();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            expected[(size_t{y} * size.width + x) * dc + i] = s.bits(x * sc + j, y);
    const auto outside = d.outside();
    ASSERT_EQ(
        run(d.data(), dc, d.stride(), i, s.data(), sc, s.stride(), j, size.width, size.pixels),
        QM_OK);
    ASSERT_EQ(d.all_bits(), expected) << j << " of " << sc << " to " << i << " of " << dc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

// Bytes for 8 bits only; words for less and for 9 to 16.
void check_conversion(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(
        std::vector<uint32_t>{0, 1, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 24, 25, 31, 32});
    const uint32_t bits = bpc == 8 ? 8 : bpc <= 16 ? 16 : 32;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random);
    const GuardedPicture s({components, bits, bits}, size, random);
    Floats expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(static_cast<float>(static_cast<uint32_t>(s.get(i, y))));
    const auto outside = d.outside();
    ASSERT_EQ(Api::ConvertPictureToFloat(d.data(), d.stride(), s.data(), s.stride(), bpc,
                                         components, size.width, size.height),
              QM_OK);
    ASSERT_EQ(d.content(), expected) << bpc << " bits";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(comparable(expected));
}

int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }
int up_to_32_bits(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 32 ? QM_OK : QM_NO_KERNEL;
}
float* floats(void* p) { return static_cast<float*>(p); }
const float* floats(const void* p) { return static_cast<const float*>(p); }

const bool registered = add_cases(
    {{"copyfloat", [](Round round) { check_copy(copyfloat, round); }},
     {"CQmFloatPicMemAPI_Base::Copy", [](Round round) { check_copy(Api::Copy, round); }},
     {"copycomponent_Nxfloat_to_Nxfloat",
      [](Round round) { check_component(copycomponent_Nxfloat_to_Nxfloat, round); }, 96},
     {"CQmFloatPicMemAPI_Base::CopyComponent",
      [](Round round) { check_component(Api::CopyComponent, round); }},
     {"CQmFloatPicMemAPI_Base::ConvertPictureToFloat", check_conversion, 102}},
    {{"CQmFloatPicMemAPI_Base::Copy",
      [](const EntryCall& c) {
          return Api::Copy(floats(c.dst), c.stride, floats(c.src), c.stride, c.components, c.width,
                           c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::CopyComponent",
      [](const EntryCall& c) {
          return Api::CopyComponent(floats(c.dst), c.components, c.stride, 0, floats(c.src),
                                    c.components, c.stride, 0, c.width, c.size);
      },
      always},
     {"CQmFloatPicMemAPI_Base::ConvertPictureToFloat",
      [](const EntryCall& c) {
          return Api::ConvertPictureToFloat(floats(c.dst), c.stride, c.src, c.stride, c.bpc,
                                            c.components, c.width,
                                            static_cast<uint32_t>(c.size / kEntryWidth));
      },
      up_to_32_bits}});

TEST(ConvertPictureToFloat, NeverGivesNegativeNumbers) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        std::vector<uint32_t> s(40, 0xFFFFFFFF);
        s[1] = 0x80000000;
        s[2] = 16777217;  // between two floats: to the even one
        s[3] = 16777219;
        s[4] = 0xFFFFFF7F;  // just below the middle of the last two
        s[5] = 0xFFFFFF80;  // the middle
        Floats d(40);
        ASSERT_EQ(Api::ConvertPictureToFloat(d.data(), 160, s.data(), 160, 32, 1, 40, 1), QM_OK);
        EXPECT_EQ(d[0], 4294967296.0f);
        EXPECT_EQ(d[39], 4294967296.0f);
        EXPECT_EQ(d[1], 2147483648.0f);
        EXPECT_EQ(d[2], 16777216.0f);
        EXPECT_EQ(d[3], 16777220.0f);
        EXPECT_EQ(d[4], 4294967040.0f);
        EXPECT_EQ(d[5], 4294967296.0f);
    }
}

TEST(ConvertPictureToFloat, ReadsBytesAt8BitsOnlyAndWordsBelow) {
    const uint16_t s[2] = {0x0201, 0x0403};
    float d[2];
    ASSERT_EQ(Api::ConvertPictureToFloat(d, 8, s, 4, 8, 1, 2, 1), QM_OK);
    EXPECT_EQ(d[0], 1);
    EXPECT_EQ(d[1], 2);
    for (const uint32_t bpc : {0u, 1u, 7u, 9u, 16u}) {
        ASSERT_EQ(Api::ConvertPictureToFloat(d, 8, s, 4, bpc, 1, 2, 1), QM_OK);
        EXPECT_EQ(d[0], 0x0201) << bpc;
        EXPECT_EQ(d[1], 0x0403) << bpc;
    }
}

TEST(ConvertPictureToFloat, RefusesMoreThan32Bits) {
    const uint64_t s = 1;
    float d = 7;
    EXPECT_EQ(Api::ConvertPictureToFloat(&d, 4, &s, 8, 33, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Api::ConvertPictureToFloat(&d, 4, &s, 8, 64, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 7);
}

template <class Unit>
void check_overlap(uint32_t bpc, size_t to, size_t from) {
    constexpr size_t kCount = 100;
    std::vector<uint8_t> before(1000);
    for (size_t i = 0; i < before.size(); ++i) before[i] = static_cast<uint8_t>(i * 37 + i / 9);
    std::vector<uint8_t> expected = before, found = before;
    for (size_t i = 0; i < kCount; ++i) {
        Unit value;
        std::memcpy(&value, &expected[from + i * sizeof(Unit)], sizeof value);
        const float made = static_cast<float>(value);
        std::memcpy(&expected[to + 4 * i], &made, 4);
    }
    ASSERT_EQ(Api::ConvertPictureToFloat(reinterpret_cast<float*>(&found[to]), 4 * kCount,
                                         &found[from], sizeof(Unit) * kCount, bpc, 1, kCount, 1),
              QM_OK);
    EXPECT_EQ(found, expected) << bpc << " bits, from " << from << " to " << to;
}

TEST(ConvertPictureToFloat, WorksThroughOverlappingMemoryInAscendingOrder) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const size_t from : {0u, 1u, 3u, 16u, 64u, 200u, 300u, 301u, 396u, 399u, 400u})
            for (const size_t to : {0u, 1u, 4u, 16u, 60u, 64u, 128u, 396u}) {
                check_overlap<uint8_t>(8, to, from);
                check_overlap<uint16_t>(16, to, from);
                check_overlap<uint32_t>(32, to, from);
            }
    }
}

TEST(CopyFloat, KeepsEveryBitOfANan) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        const std::vector<uint32_t> s{0x7F812345, 0xFF800001, 0x80000000, 0x7FC00001};
        std::vector<uint32_t> d(4);
        Api::Copy(reinterpret_cast<float*>(d.data()), 16, reinterpret_cast<const float*>(s.data()),
                  16, 1, 4, 4);
        EXPECT_EQ(d, s);
        d.assign(4, 0);
        Api::CopyComponent(reinterpret_cast<float*>(d.data()), 1, 16, 0,
                           reinterpret_cast<const float*>(s.data()), 1, 16, 0, 4, 4);
        EXPECT_EQ(d, s);
    }
}

TEST(CopyFloat, LeavesAnIncompleteRow) {
    const Floats s{1, 2, 3, 4, 5, 6};
    Floats d(6, 0.0f);
    EXPECT_EQ(Api::Copy(d.data(), 8, s.data(), 8, 1, 2, 5), QM_OK);
    EXPECT_EQ(d, (Floats{1, 2, 3, 4, 0, 0}));
}

TEST(CopyFloat, FindsItsRowsIn32Bits) {
    const Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9};
    Floats d(8, 0.0f);
    EXPECT_EQ(Api::Copy(d.data(), 8, s.data(), 10, 1, 2, 8), QM_OK);  // floats 0, 2, 5, 7
    EXPECT_EQ(d, (Floats{1, 2, 3, 4, 6, 7, 8, 9}));
    d.assign(8, 0.0f);
    EXPECT_EQ(Api::CopyComponent(d.data(), 2, 8, 1, s.data(), 1, 10, 0, 1, 4), QM_OK);
    EXPECT_EQ(d, (Floats{0, 1, 0, 3, 0, 6, 0, 8}));
    d.assign(9, 0.0f);
    const uint8_t bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(Api::ConvertPictureToFloat(d.data(), 10, bytes, 2, 8, 1, 2, 4), QM_OK);
    EXPECT_EQ(d, (Floats{1, 2, 3, 4, 0, 5, 6, 7, 8}));
}

TEST(CopyFloat, WrapsAt4GiB) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    memory.row(0)[0] = 5;
    memory.row(1)[0] = 6;
    Floats d(3);
    EXPECT_EQ(Api::Copy(d.data(), 4, memory.row(0), WrappedRows::kStride, 1, 1, 3), QM_OK);
    EXPECT_EQ(d, (Floats{5, 6, 5}));
    d.assign(3, 0.0f);
    EXPECT_EQ(
        Api::CopyComponent(d.data(), 1, 4, 0, memory.row(0), 1, WrappedRows::kStride, 0, 1, 3),
        QM_OK);
    EXPECT_EQ(d, (Floats{5, 6, 5}));
    const uint16_t words[] = {7, 8, 9};
    EXPECT_EQ(
        Api::ConvertPictureToFloat(memory.row(0), WrappedRows::kStride, words, 2, 16, 1, 1, 3),
        QM_OK);
    EXPECT_EQ(memory.row(0)[0], 9);
    EXPECT_EQ(memory.row(1)[0], 8);
}

TEST(FloatMoves, ForkForComponentsAlone) {
    omp_set_num_threads(2);
    constexpr uint32_t kRows = 16;
    const Floats s(kRows);
    const std::vector<uint8_t> bytes(4 * kRows);
    const auto threads_of = [](auto call) {
        const TouchedPages pages(kRows);
        call(reinterpret_cast<float*>(pages.data()), static_cast<uint32_t>(TouchedPages::kPage));
        return pages.thread_count();
    };
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::Copy(d, stride, s.data(), 4, 1, 1, kRows);
              }),
              1u);
    EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                  Api::CopyComponent(d, 1, stride, 0, s.data(), 1, 4, 0, 1, kRows);
              }),
              2u);
    for (const uint32_t bpc : {8u, 16u, 32u})
        EXPECT_EQ(threads_of([&](float* d, uint32_t stride) {
                      Api::ConvertPictureToFloat(d, stride, bytes.data(), 4, bpc, 1, 1, kRows);
                  }),
                  1u);
}

TEST(FloatMoves, OfAComponentForkForASinglePixelToo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const float s = 1;
    float d = 0;
    const WatchedRegions regions;
    Api::Copy(&d, 4, &s, 4, 1, 1, 1);
    EXPECT_TRUE(regions.teams().empty());
    Api::CopyComponent(&d, 1, 4, 0, &s, 1, 4, 0, 1, 1);
    EXPECT_EQ(regions.teams(), std::vector<uint32_t>{0});
}

}  // namespace
}  // namespace qmpic::test
