#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "stretch/window_reference.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/started_threads.h"

// What the entries refuse, in which order, and what is the same for all ways to stretch.

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using FloatApi = CQmFloatPicMemAPI_Base;
using Mode = Api::EQmPicStretchMode;
constexpr Mode kModes[] = {Api::StretchQuick, Api::StretchSpline, Api::StretchLinear,
                           static_cast<Mode>(1)};

const uint8_t kBackground[6 * 8] = {};
uint32_t height(const EntryCall& c) {
    return c.width == 0 ? kEntryRows : static_cast<uint32_t>(c.size / c.width);
}

/// A stretch to another size for each format.
template <int mode>
int stretch(const EntryCall& c) {
    return Api::StretchDisplay(c.dst, c.width, height(c), c.components, c.stride, c.bpc, 7, 2, 1, 0,
                               c.src, kEntryWidth, kEntryRows, c.stride, static_cast<Mode>(mode),
                               false, true);
}
template <int mode>
int stretch_known(const EntryCall& c) {
    return Api::StretchDisplayEx(c.dst, c.width, height(c), c.components, c.stride, c.bpc, 7, 2, 0,
                                 0, c.src, 0, 0, kEntryWidth, 1, kEntryWidth, kEntryRows, c.stride,
                                 static_cast<Mode>(mode), kBackground);
}

const bool registered = add_cases(
    {},
    {{"CQmPicMemAPI_Base::StretchDisplay", stretch<0>, bytes_and_words, false, false},
     {"CQmPicMemAPI_Base::StretchDisplay spline", stretch<2>, bytes_and_words, false, false},
     {"CQmPicMemAPI_Base::StretchDisplay linear", stretch<3>, bytes_and_words, false, false},
     {"CQmPicMemAPI_Base::StretchDisplayEx", stretch_known<0>, bytes_and_words, false, false},
     {"CQmPicMemAPI_Base::StretchDisplayEx spline", stretch_known<2>, bytes_and_words, false,
      false},
     {"CQmPicMemAPI_Base::StretchDisplayEx linear", stretch_known<3>, bytes_and_words, false,
      false}},
    {"CQmFloatPicMemAPI_Base::StretchDisplay"});

// ----- Refusals ----------------------------------------------------------------------------------

/// A call that is in order; tests spoil it.
struct Call {
    uint8_t pixels[64] = {}, memory[64] = {};
    void* dst = memory;
    const void* src = pixels;
    uint32_t to_width = 2, to_height = 2, components = 1, bpc = 8, width = 4, height = 4,
             from_width = 3, from_height = 3;
    Mode mode = Api::StretchQuick;

    int run() const {
        return Api::StretchDisplay(dst, to_width, to_height, components, 8, bpc, width, height, 0,
                                   0, src, from_width, from_height, 16, mode, false, false);
    }
    int run_known() const {
        return Api::StretchDisplayEx(dst, to_width, to_height, components, 8, bpc, width, height, 0,
                                     0, src, 0, 0, from_width, from_height, from_width, from_height,
                                     16, mode, kBackground);
    }
    int run_floats() const {
        return FloatApi::StretchDisplay(static_cast<float*>(dst), to_width, to_height, components,
                                        8, bpc, width, height, 0, 0, static_cast<const float*>(src),
                                        from_width, from_height, 16, mode, false, false);
    }
    bool wrote() const {
        return std::any_of(memory, memory + 64, [](uint8_t byte) { return byte != 0; });
    }
};

TEST(StretchDisplay, RefusesInOrder) {
    for (const Mode mode : kModes) {
        Call call;
        std::fill(call.pixels, call.pixels + 64, uint8_t{9});
        call.mode = mode;
        call.width = 0;
        call.to_width = 0;
        call.bpc = 7;
        call.from_width = 0;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no virtual width";
        call.width = 4, call.height = 0;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no virtual height";
        call.height = 4, call.src = nullptr;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no source";
        call.src = call.pixels, call.dst = nullptr;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no destination";
        call.dst = call.memory;
        EXPECT_EQ(call.run(), QM_OK) << "no destination width";
        call.to_width = 2, call.to_height = 0;
        EXPECT_EQ(call.run(), QM_OK) << "no destination height";
        call.to_height = 2;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no source width";
        call.from_width = 3, call.from_height = 0;
        EXPECT_EQ(call.run(), QM_BAD_BUFFER) << "no source height";
        call.from_height = 3;
        EXPECT_EQ(call.run(), QM_NO_KERNEL) << "a depth of 7";
        call.width = call.height = 3;
        EXPECT_EQ(call.run(), QM_NO_KERNEL) << "without a stretch";
        EXPECT_FALSE(call.wrote());
        call.bpc = 8;
        EXPECT_EQ(call.run(), QM_OK);
        EXPECT_TRUE(call.wrote());
    }
}

TEST(StretchDisplay, ExRefusesInOrder) {
    for (const Mode mode : kModes) {
        Call call;
        std::fill(call.pixels, call.pixels + 64, uint8_t{9});
        call.mode = mode;
        call.width = call.to_width = call.from_width = 0;
        call.bpc = 17;
        EXPECT_EQ(call.run_known(), QM_BAD_BUFFER);
        call.width = 4, call.height = 0;
        EXPECT_EQ(call.run_known(), QM_BAD_BUFFER);
        call.height = 4;
        EXPECT_EQ(call.run_known(), QM_OK);
        call.to_width = 2;
        EXPECT_EQ(call.run_known(), QM_BAD_BUFFER);
        call.from_width = 3;
        EXPECT_EQ(call.run_known(), QM_NO_KERNEL);
        EXPECT_FALSE(call.wrote());
        call.bpc = 16;
        EXPECT_EQ(call.run_known(), QM_OK);
        EXPECT_TRUE(call.wrote());
    }
}

TEST(StretchDisplay, OfFloatsRefusesInOrderAndReadsNoDepth) {
    for (const Mode mode : kModes) {
        Call call;
        std::fill(call.pixels, call.pixels + 64, uint8_t{64});
        call.mode = mode;
        call.dst = nullptr, call.src = nullptr;
        call.bpc = 7;
        call.width = call.to_width = call.from_width = 0;
        EXPECT_EQ(call.run_floats(), QM_BAD_BUFFER);
        call.width = 4, call.height = 0;
        EXPECT_EQ(call.run_floats(), QM_BAD_BUFFER);
        call.height = 4;
        EXPECT_EQ(call.run_floats(), QM_OK);
        call.to_width = 2;
        EXPECT_EQ(call.run_floats(), QM_BAD_BUFFER);
        call.dst = call.memory, call.src = call.pixels;
        call.from_width = 3;
        EXPECT_EQ(call.run_floats(), QM_OK);
        EXPECT_TRUE(call.wrote());
    }
}

TEST(StretchDisplay, RefusesDepthsInBlocks) {
    const std::vector<uint8_t> s(1000 * 1000 * 2);
    uint8_t d[4] = {1, 2, 3, 4};
    for (const uint32_t bpc : {0u, 1u, 7u, 17u, 24u, 32u, 33u})
        EXPECT_EQ(Api::StretchDisplay(d, 2, 1, 1, 4, bpc, 300, 300, 0, 0, s.data(), 1000, 1000,
                                      2000, Api::StretchLinear, false, false),
                  QM_NO_KERNEL);
    EXPECT_EQ(d[0], 1);
    for (uint32_t bpc = 9; bpc <= 16; ++bpc)
        EXPECT_EQ(Api::StretchDisplay(d, 2, 1, 1, 4, bpc, 300, 300, 0, 0, s.data(), 1000, 1000,
                                      2000, Api::StretchLinear, false, false),
                  QM_OK);
    EXPECT_EQ(d[0], 0);
}

TEST(StretchDisplay, OfNoComponentsDoesNothing) {
    for (const Mode mode : kModes) {
        Call call;
        std::fill(call.pixels, call.pixels + 64, uint8_t{9});
        call.mode = mode;
        call.components = 0;
        EXPECT_EQ(call.run(), QM_OK);
        EXPECT_EQ(call.run_known(), QM_OK);
        EXPECT_EQ(call.run_floats(), QM_OK);
        EXPECT_FALSE(call.wrote());
    }
}

// ----- Whatever the way --------------------------------------------------------------------------

TEST(StretchDisplay, KeepsConstantPicturesAtAnyZoom) {
    Random random(41);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t round = 0; round < 60; ++round) {
            const uint32_t components = random(1, 5), bits = random.one_of({8u, 16u});
            const Size size{random(1, 80), random(1, 50)};
            const WindowAxis x = draw_axis(random, size.width, 90),
                             y = draw_axis(random, size.height, 40);
            const uint64_t constant =
                random.one_of({0u, 1u, 127u, 254u, 255u, 4095u, 32768u, 65535u}) &
                ((1u << bits) - 1);
            const Format format{components, bits, bits};
            GuardedPicture s(format, size, random);
            for (uint32_t j = 0; j < size.height; ++j)
                for (uint32_t i = 0; i < s.samples(); ++i) s.set(i, j, constant);
            const auto u = [](uint64_t value) { return static_cast<uint32_t>(value); };
            // A band of the filters has rows for windows of the picture only.
            const uint32_t top = std::min(u(y.start), u(y.whole) - 1);
            const uint32_t count = std::min(u(y.count), u(y.whole) - top);
            const GuardedPicture d(format, {u(x.count), count}, random);
            for (const Mode mode : kModes) {
                ASSERT_EQ(
                    Api::StretchDisplay(d.data(), u(x.count), count, components, d.stride(), bits,
                                        u(x.whole), u(y.whole), u(x.start), top, s.data(),
                                        size.width, size.height, s.stride(), mode, x.flip, y.flip),
                    QM_OK);
                for (const uint64_t value : d.content()) ASSERT_EQ(value, constant) << mode;
            }
        }
    }
}

TEST(StretchDisplay, KeepsConstantPicturesInBlocks) {
    for (const uint32_t bits : {8u, 16u}) {
        const uint32_t constant = bits == 8 ? 0xFF : 0xFFFF;
        const std::vector<uint8_t> s(1100 * 1000 * bits / 8, 0xFF);
        for (uint32_t to = 1; to < 500; to += to < 30 ? 1 : 47) {
            std::vector<uint8_t> d(size_t{to} * bits / 8 * 4);
            const uint32_t rows = std::min(to, 4u);
            ASSERT_EQ(Api::StretchDisplay(d.data(), to, rows, 1, to * bits / 8, bits, to, to, 0,
                                          to - rows, s.data(), 1100, 1000, 1100 * bits / 8,
                                          Api::StretchLinear, false, false),
                      QM_OK);
            for (size_t i = 0; i < size_t{to} * rows * bits / 8; ++i)
                ASSERT_EQ(d[i], constant & 0xFF) << to;
        }
    }
}

// Zooms by which positions are exact, so that they do not depend on where a window begins.
TEST(StretchDisplay, WindowsArePartsOfTheWholeInAllModes) {
    Random random(42);
    const Format format{3, 8, 8};
    const Size size{64, 48};
    const GuardedPicture s(format, size, random);
    for (const Mode mode : kModes)
        for (const auto& [width, height] :
             {std::pair(128u, 96u), {32u, 24u}, {16u, 96u}, {256u, 12u}, {128u, 48u}, {64u, 48u}})
            for (uint32_t round = 0; round < 4; ++round) {
                const GuardedPicture whole(format, {width, height}, random);
                ASSERT_EQ(Api::StretchDisplay(whole.data(), width, height, 3, whole.stride(), 8,
                                              width, height, 0, 0, s.data(), size.width,
                                              size.height, s.stride(), mode, false, false),
                          QM_OK);
                const uint32_t w = random(1, width), h = random(1, height),
                               left = random.one_of({0u, width - w, random(0, width - w)}),
                               top = random.one_of({0u, height - h, random(0, height - h)});
                const bool flip_x = random(0, 1) == 1, flip_y = random(0, 1) == 1;
                const GuardedPicture part(format, {w, h}, random);
                ASSERT_EQ(Api::StretchDisplay(part.data(), w, h, 3, part.stride(), 8, width, height,
                                              left, top, s.data(), size.width, size.height,
                                              s.stride(), mode, flip_x, flip_y),
                          QM_OK);
                for (uint32_t y = 0; y < h; ++y)
                    for (uint32_t x = 0; x < w; ++x)
                        for (uint32_t c = 0; c < 3; ++c)
                            ASSERT_EQ(part.get(3 * x + c, y),
                                      whole.get(3 * (left + (flip_x ? w - 1 - x : x)) + c,
                                                top + (flip_y ? h - 1 - y : y)))
                                << mode << ": " << width << " x " << height;
            }
}

TEST(StretchDisplay, AWindowBelowWhatIsKnownIsBackgroundInAllModes) {
    const std::vector<uint16_t> s(40 * 10 * 3, 500);
    const uint16_t background[3] = {7, 8, 65535};
    for (const Mode mode : kModes) {
        std::vector<uint16_t> d(20 * 8 * 3);
        ASSERT_EQ(Api::StretchDisplayEx(d.data(), 20, 8, 3, 120, 16, 80, 80, 10, 60, s.data(), 0, 0,
                                        40, 10, 40, 40, 240, mode, background),
                  QM_OK);
        for (size_t i = 0; i < d.size(); ++i) ASSERT_EQ(d[i], background[i % 3]) << mode;
    }
}

TEST(StretchDisplay, ExOfAWholePictureIsTheStretchOfIt) {
    Random random(43);
    for (uint32_t round = 0; round < 40; ++round) {
        const uint32_t components = random(1, 4), bits = random.one_of({8u, 16u});
        const Format format{components, bits, bits};
        const Size size{random(1, 60), random(1, 40)};
        const GuardedPicture s(format, size, random), background(format, {1, 1}, random);
        const uint32_t width = random(1, 150), height = random(1, 100), w = random(1, width),
                       h = random(1, height), left = random(0, width - w),
                       top = random(0, height - h);
        const GuardedPicture d(format, {w, h}, random), known(format, {w, h}, random);
        for (const Mode mode : kModes) {
            ASSERT_EQ(Api::StretchDisplay(d.data(), w, h, components, d.stride(), bits, width,
                                          height, left, top, s.data(), size.width, size.height,
                                          s.stride(), mode, false, false),
                      QM_OK);
            ASSERT_EQ(
                Api::StretchDisplayEx(known.data(), w, h, components, known.stride(), bits, width,
                                      height, left, top, s.data(), 0, 0, size.width, size.height,
                                      size.width, size.height, s.stride(), mode, background.data()),
                QM_OK);
            ASSERT_EQ(known.content(), d.content()) << mode;
        }
    }
}

// Where pictures of whole numbers are copied, or averaged in blocks.
TEST(StretchDisplay, OfFloatsFiltersWithoutAStretch) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const std::vector<float> s(1100 * 1000, 3);
    for (const Mode mode : kModes)
        for (const uint32_t to : {1100u, 300u}) {
            float d[4] = {};
            const WatchedRegions regions;
            const StartedThreads threads;
            ASSERT_EQ(FloatApi::StretchDisplay(d, 2, 2, 1, 8, 32, to, to * 10 / 11, 0, 0, s.data(),
                                               1100, 1000, 4400, mode, false, false),
                      QM_OK);
            EXPECT_EQ(!regions.teams().empty(),
                      mode == Api::StretchSpline || mode == Api::StretchLinear);
            for (const float value : d) EXPECT_EQ(value, 3);
        }
}

}  // namespace
}  // namespace qmpic::test
