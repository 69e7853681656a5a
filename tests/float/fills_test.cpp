#include <gtest/gtest.h>

#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

uint32_t bits(float value) { return std::bit_cast<uint32_t>(value); }
float number(uint32_t bits) { return std::bit_cast<float>(bits); }

void check_fill(Round round, const FloatPicture& d, const std::vector<uint64_t>& expected,
                const std::vector<uint8_t>& outside) {
    ASSERT_EQ(d.all_bits(), expected)
        << d.size().width << " x " << d.size().height << " x " << d.components();
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_pixels(SetFloatValueKernel* run, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random);
    const bool all_alike = random(0, 3) == 0;
    Floats pixel;
    for (uint32_t c = 0; c < components; ++c)
        pixel.push_back(all_alike && c > 0 ? pixel[0] : draw_float(random));
    auto expected = d.all_bits();
    for (size_t i = 0; i < expected.size(); ++i) expected[i] = bits(pixel[i % components]);
    const auto outside = d.outside();
    ASSERT_EQ(run(d.data(), components, d.stride(), pixel.data(), size.width, size.pixels), QM_OK);
    check_fill(round, d, expected, outside);
}

void check_component(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random);
    const uint32_t index = random(0, components - 1);
    const float value = draw_float(random);
    auto expected = d.all_bits();
    for (size_t i = index; i < expected.size(); i += components) expected[i] = bits(value);
    const auto outside = d.outside();
    ASSERT_EQ(setcomponent_Nxfloat(d.data(), components, d.stride(), index, value, size.width,
                                   size.pixels),
              QM_OK);
    check_fill(round, d, expected, outside);
}

using RunMono = std::function<int(float* data, uint32_t width, uint32_t rows, float value)>;

void check_mono(const RunMono& run, Round round) {
    Random& random = round.random;
    const Size size = random.size(1);
    const FloatPicture d(1, size, random, FloatPicture::kPacked);
    const float value = draw_float(random);
    const std::vector<uint64_t> expected(size_t{size.width} * size.height, bits(value));
    const auto outside = d.outside();
    ASSERT_EQ(run(d.data(), size.width, size.height, value), QM_OK);
    check_fill(round, d, expected, outside);
}

int run_sse(float* data, uint32_t width, uint32_t rows, float value) {
    return set_mono_float_sse(reinterpret_cast<uint32_t*>(data), width, rows, value);
}

int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }
float* floats(void* p) { return static_cast<float*>(p); }

const bool registered = add_cases(
    {{"set_Nxfloat", [](Round round) { check_pixels(set_Nxfloat, round); }, 96},
     {"CQmFloatPicMemAPI_Base::SetValue", [](Round round) { check_pixels(Api::SetValue, round); }},
     {"set_mono_float", [](Round round) { check_mono(set_mono_float, round); }},
     {"set_mono_float_sse", [](Round round) { check_mono(run_sse, round); }},
     {"CQmFloatPicMemAPI_Base::SetMonoValue",
      [](Round round) { check_mono(Api::SetMonoValue, round); }},
     {"setcomponent_Nxfloat", check_component}},
    {{"CQmFloatPicMemAPI_Base::SetValue",
      [](const EntryCall& c) {
          static const float pixel[6] = {};
          return Api::SetValue(floats(c.dst), c.components, c.stride, pixel, c.width, c.size);
      },
      always, false},
     {"CQmFloatPicMemAPI_Base::SetComponentValue",
      [](const EntryCall& c) {
          return Api::SetComponentValue(floats(c.dst), c.components, c.stride, 0, 5.0f, c.width,
                                        c.size);
      },
      always, false},
     {"CQmFloatPicMemAPI_Base::SetMonoValue",
      [](const EntryCall& c) {
          return Api::SetMonoValue(floats(c.dst), c.width, static_cast<uint32_t>(c.size) / 5, 5.0f);
      },
      always, false}});

TEST(SetFloatComponentValue, KeepsTheLowByteOfTheTruncatedValue) {
    const auto stored = [](float value) {
        float d[3] = {-7, -7, -7};
        EXPECT_EQ(Api::SetComponentValue(d, 3, 12, 1, value, 1, 1), QM_OK);
        EXPECT_EQ(d[0], -7);
        EXPECT_EQ(d[2], -7);
        return d[1];
    };
    EXPECT_EQ(stored(300.7f), 44.0f);
    EXPECT_EQ(bits(stored(0.5f)), 0u);
    EXPECT_EQ(bits(stored(-0.5f)), 0u);
    EXPECT_EQ(bits(stored(256.0f)), 0u);
    EXPECT_EQ(stored(255.99f), 255.0f);
    EXPECT_EQ(stored(-1.5f), 255.0f);
    EXPECT_EQ(stored(1e10f), 0.0f);
    EXPECT_EQ(stored(-1e10f), 0.0f);
    EXPECT_EQ(stored(kNan), 0.0f);
    EXPECT_EQ(stored(2147483520.0f), 128.0f);  // 0x7FFFFF80, the greatest that an int holds
}

TEST(SetFloatComponentValue, OfTheKernelIsNotNarrowed) {
    float d[2] = {1, 2};
    EXPECT_EQ(setcomponent_Nxfloat(d, 2, 8, 1, 300.7f, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 1);
    EXPECT_EQ(d[1], 300.7f);
}

TEST(SetFloatValue, KeepsEveryBitOfANan) {
    Floats d(12, 1.0f);
    const float pixel[3] = {number(0x7F812345), number(0xFFF00001), -0.0f};  // the first signals
    EXPECT_EQ(Api::SetValue(d.data(), 3, 24, pixel, 2, 4), QM_OK);
    for (size_t i = 0; i < 12; ++i) EXPECT_EQ(bits(d[i]), bits(pixel[i % 3]));
}

TEST(SetMonoValue, KeepsTheSignOfAZero) {
    Floats d(100, 1.0f);
    EXPECT_EQ(Api::SetMonoValue(d.data(), 10, 9, -0.0f), QM_OK);
    EXPECT_EQ(bits(d[0]), 0x80000000u);
    EXPECT_EQ(bits(d[89]), 0x80000000u);
    EXPECT_EQ(d[90], 1.0f);
    EXPECT_EQ(Api::SetMonoValue(d.data(), 10, 9, 0.0f), QM_OK);
    EXPECT_EQ(bits(d[89]), 0u);
    EXPECT_EQ(d[90], 1.0f);
}

TEST(SetMonoValue, DoesNothingForNothing) {
    float d = 7;
    EXPECT_EQ(Api::SetMonoValue(nullptr, 10, 9, 1.0f), QM_OK);
    EXPECT_EQ(Api::SetMonoValue(&d, 0, 9, 1.0f), QM_OK);
    EXPECT_EQ(Api::SetMonoValue(&d, 10, 0, 1.0f), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(SetMonoFloatSse, CountsIn32Bits) {
    uint32_t d[4] = {7, 7, 7, 7};
    EXPECT_EQ(set_mono_float_sse(d, 65536, 65536, 1.0f), QM_OK);
    EXPECT_EQ(d[0], 7u);
    EXPECT_EQ(set_mono_float_sse(d, 0x80000001, 2, 1.0f), QM_OK);
    EXPECT_EQ(d[1], bits(1.0f));
    EXPECT_EQ(d[2], 7u);
}

TEST(FloatFills, FindTheirRowsIn32Bits) {
    Floats d(9, 0.0f);
    const float pixel[2] = {1, 2};
    EXPECT_EQ(Api::SetValue(d.data(), 2, 10, pixel, 1, 4), QM_OK);  // floats 0, 2, 5, 7
    EXPECT_EQ(d, (Floats{1, 2, 1, 2, 0, 1, 2, 1, 2}));
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    EXPECT_EQ(Api::SetValue(memory.row(0), 2, WrappedRows::kStride, pixel, 3, 9), QM_OK);
    EXPECT_EQ(memory.row(0)[5], 2.0f);
    EXPECT_EQ(memory.row(1)[5], 2.0f);
    EXPECT_EQ(memory.row(1)[6], 0.0f);
    EXPECT_EQ(Api::SetComponentValue(memory.row(0), 2, WrappedRows::kStride, 1, 9, 3, 9), QM_OK);
    EXPECT_EQ(memory.row(1)[5], 9.0f);
    EXPECT_EQ(memory.row(1)[4], 1.0f);
}

// Rows without gaps, which are otherwise walked as one: the third still is the first.
TEST(FloatFills, OfRowsWithoutGapsWrapToo) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        EXPECT_EQ(Api::SetComponentValue(memory.row(0), WrappedRows::kStride / 4,
                                         WrappedRows::kStride, 3, 9, 1, 3),
                  QM_OK);
        EXPECT_EQ(memory.row(0)[3], 9.0f);
        EXPECT_EQ(memory.row(1)[3], 9.0f);
    }
}

TEST(FloatFills, RunInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Floats d(4096);
    const float pixel = 1;
    const WatchedRegions regions;
    Api::SetValue(d.data(), 1, 4, &pixel, 1, 4096);
    Api::SetMonoValue(d.data(), 1, 4096, 1);
    Api::SetComponentValue(d.data(), 1, 4, 0, 1, 1, 4096);
    set_mono_float_sse(reinterpret_cast<uint32_t*>(d.data()), 1, 4096, 1);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
