#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "stretch/stretch_reference.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/guarded_picture.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/touching_threads.h"
#ifndef QMPIC_SHIPPED
#include "stretch/contributions.h"
#include "stretch/filter.h"
#endif

namespace qmpic::test {
namespace {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;
Mode mode_of(const ReferenceWindow& w) {
    return w.spline ? CQmPicMemAPI_Base::StretchSpline : CQmPicMemAPI_Base::StretchLinear;
}

// ----- Calls: the filters themselves, or the entries of the shipped library ----------------------

/// A picture as it is handed over.
struct Memory {
    void* data;
    uint32_t stride;
};

#ifndef QMPIC_SHIPPED
StretchWindow window_of(const ReferenceWindow& w) {
    return {w.width, w.height,       w.virtual_width, w.virtual_height, w.left,
            w.top,   w.source_width, w.source_height, w.flip_x,         w.flip_y};
}
int stretch(Memory dst, Memory src, Format format, const ReferenceWindow& w) {
    return stretch_filtered(Dst{dst.data, dst.stride}, Src{src.data, src.stride}, format.components,
                            format.bits, window_of(w), mode_of(w));
}
int stretch_known(Memory dst, Memory src, Format format, const ReferenceWindow& w,
                  const ReferenceKnown& known, const void* background) {
    return stretch_filtered(
        Dst{dst.data, dst.stride}, Src{src.data, src.stride}, format.components, format.bits,
        window_of(w), {known.left, known.top, known.width, known.height, background}, mode_of(w));
}
int stretch_floats(float* dst, uint32_t dst_stride, const float* src, uint32_t src_stride,
                   uint32_t components, const ReferenceWindow& w) {
    return stretch_filtered(FloatDst{dst, dst_stride}, FloatSrc{src, src_stride}, components,
                            window_of(w), mode_of(w));
}
#else
int stretch(Memory dst, Memory src, Format format, const ReferenceWindow& w) {
    return CQmPicMemAPI_Base::StretchDisplay(
        dst.data, w.width, w.height, format.components, dst.stride, format.bpc, w.virtual_width,
        w.virtual_height, w.left, w.top, src.data, w.source_width, w.source_height, src.stride,
        mode_of(w), w.flip_x, w.flip_y);
}
int stretch_known(Memory dst, Memory src, Format format, const ReferenceWindow& w,
                  const ReferenceKnown& known, const void* background) {
    return CQmPicMemAPI_Base::StretchDisplayEx(
        dst.data, w.width, w.height, format.components, dst.stride, format.bpc, w.virtual_width,
        w.virtual_height, w.left, w.top, src.data, known.left, known.top, known.width, known.height,
        w.source_width, w.source_height, src.stride, mode_of(w), background);
}
int stretch_floats(float* dst, uint32_t dst_stride, const float* src, uint32_t src_stride,
                   uint32_t components, const ReferenceWindow& w) {
    return CQmFloatPicMemAPI_Base::StretchDisplay(dst, w.width, w.height, components, dst_stride,
                                                  32, w.virtual_width, w.virtual_height, w.left,
                                                  w.top, src, w.source_width, w.source_height,
                                                  src_stride, mode_of(w), w.flip_x, w.flip_y);
}
#endif

Memory memory_of(const GuardedPicture& picture) { return {picture.data(), picture.stride()}; }

// ----- What is drawn -----------------------------------------------------------------------------

/// Virtual size for a source size: enlargements, reductions, and nearly nothing of both; now and
/// then just as large.
uint32_t draw_virtual(Random& random, uint32_t size) {
    switch (random(0, 5)) {
    case 0: return size * random(1, 5) + random(0, 3);
    case 1: return std::max(1u, size / random(1, 5));
    case 2: return std::max(1u, size / random(1, 60));
    case 3: return size + random(0, 2);
    case 4: return std::max(1u, size - random(0, 2));
    default: return random(1, 2 * size);
    }
}
/// Where a window begins: at the first pixel, anywhere, at the last ones, and beyond.
uint32_t draw_start(Random& random, uint32_t virtual_size, uint32_t count) {
    switch (random(0, 3)) {
    case 0: return 0;
    case 1: return virtual_size > count ? virtual_size - count : 0;
    case 2: return random(0, virtual_size + 3);
    default: return random(0, virtual_size - 1);
    }
}
ReferenceWindow draw_window(Random& random, uint32_t components) {
    ReferenceWindow w{};
    const uint32_t widest = components < 10 ? 130 : std::max(3u, 400 / components);
    w.source_width = random(1, random(0, 3) == 0 ? 2 * widest : widest);
    w.source_height = random(1, 40);
    do {
        w.virtual_width = draw_virtual(random, w.source_width);
        w.virtual_height = draw_virtual(random, w.source_height);
    } while (w.virtual_width == w.source_width && w.virtual_height == w.source_height);
    w.width = random(1, widest);
    w.height = random(1, 12);
    w.left = draw_start(random, w.virtual_width, w.width);
    w.top = draw_start(random, w.virtual_height, w.height);
    w.flip_x = random(0, 2) == 0;
    w.flip_y = random(0, 2) == 0;
    w.spline = random(0, 1) == 1;
    return w;
}

std::string text_of(const ReferenceWindow& w) {
    std::string text;
    for (const uint32_t n : {w.width, w.height, w.virtual_width, w.virtual_height, w.left, w.top,
                             w.source_width, w.source_height})
        text += std::to_string(n) + ' ';
    return text + (w.flip_x ? "x" : "") + (w.flip_y ? "y" : "") + (w.spline ? "spline" : "linear");
}

std::vector<uint64_t> words_of(const std::vector<uint32_t>& values) {
    return {values.begin(), values.end()};
}

class StretchFilter : public testing::TestWithParam<Level> {
  protected:
    ForcedLevel level_{GetParam()};
    ~StretchFilter() override { omp_set_num_threads(omp_get_num_procs()); }
};
INSTANTIATE_TEST_SUITE_P(Levels, StretchFilter, testing::ValuesIn(levels()),
                         [](const auto& instance) { return std::string(name_of(instance.param)); });

Format draw_format(Random& random) {
    const uint32_t components =
        random(0, 2) != 0 ? random.one_of({1u, 3u})
                          : random.one_of({2u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 65u, 192u});
    const uint32_t bits = random.one_of({8u, 16u}), bpc = bits == 8 ? 8 : random(9, 16);
    return {components, bits, bpc};
}

// ----- Windows against the reference -------------------------------------------------------------

TEST_P(StretchFilter, GivesWhatTheListsSay) {
    Random random(901);
    for (uint32_t round = 0; round < 400; ++round) {
        const Format format = draw_format(random);
        const ReferenceWindow w = draw_window(random, format.components);
        SCOPED_TRACE(text_of(w) + " of " + std::to_string(format.components) + " x " +
                     std::to_string(format.bpc));
        omp_set_num_threads(random.one_of({1, 2, 3, 8}));
        const GuardedPicture src(format, {w.source_width, w.source_height}, random);
        const GuardedPicture dst(format, {w.width, w.height}, random);
        const auto outside = dst.outside();
        const auto before = dst.content();
        const int code = stretch(memory_of(dst), memory_of(src), format, w);
        const ReferenceBand band = reference_band(w);
        if (band.last <= band.first) {
            EXPECT_EQ(code, format.bits == 8 ? QM_REJECTED : QM_NO_MEMORY);
            EXPECT_EQ(dst.content(), before);
            continue;
        }
        ASSERT_EQ(code, QM_OK);
        const auto expected =
            reference_filter<uint32_t>(w, format.components, [&](int64_t x, int64_t y, uint32_t c) {
                return static_cast<uint32_t>(src.get(
                    static_cast<uint32_t>(x) * format.components + c, static_cast<uint32_t>(y)));
            });
        ASSERT_EQ(dst.content(), words_of(expected));
        ASSERT_EQ(dst.outside(), outside);
    }
}

/// The farther samples lie apart, the fewer of them a shuffle reaches.
TEST_P(StretchFilter, GivesWhatTheListsSayAtEveryReduction) {
    Random random(908);
    for (const uint32_t bits : {8u, 16u})
        for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
            for (uint32_t width = 12; width <= 240; width = width * 10 / 9 + 1) {
                const Format format{components, bits, bits};
                ReferenceWindow w{30, 2, width, 3, 0, 0, 240, 4};
                w.left = width > 30 ? random(0, width - 30) : 0;
                w.spline = random(0, 1) == 1;
                w.flip_x = random(0, 1) == 1;
                const GuardedPicture src(format, {240, 4}, random), dst(format, {30, 2}, random);
                ASSERT_EQ(stretch(memory_of(dst), memory_of(src), format, w), QM_OK);
                const auto expected = reference_filter<uint32_t>(
                    w, components, [&](int64_t x, int64_t y, uint32_t c) {
                        return static_cast<uint32_t>(src.get(
                            static_cast<uint32_t>(x) * components + c, static_cast<uint32_t>(y)));
                    });
                ASSERT_EQ(dst.content(), words_of(expected))
                    << text_of(w) << " of " << components << " x " << bits;
            }
}

TEST_P(StretchFilter, GivesWhatTheListsSayOfFloats) {
    Random random(902);
    for (uint32_t round = 0; round < 200; ++round) {
        const uint32_t components = random.one_of({1u, 1u, 3u, 3u, 2u, 4u, 7u, 17u});
        const ReferenceWindow w = draw_window(random, components);
        SCOPED_TRACE(text_of(w) + " of " + std::to_string(components));
        omp_set_num_threads(random.one_of({1, 2, 3, 8}));
        FloatPicture src(components, {w.source_width, w.source_height}, random);
        if (random(0, 2) != 0)  // plain numbers only: one NaN may hide all the rest
            for (uint32_t y = 0; y < w.source_height; ++y)
                for (uint32_t i = 0; i < src.samples(); ++i)
                    src.set(i, y, static_cast<float>(random(0, 100000)) / 7.0f);
        const FloatPicture dst(components, {w.width, w.height}, random);
        const auto outside = dst.outside();
        const auto before = dst.all_bits();
        const int code =
            stretch_floats(dst.data(), dst.stride(), src.data(), src.stride(), components, w);
        const ReferenceBand band = reference_band(w);
        if (band.last <= band.first) {
            EXPECT_EQ(code, QM_NO_MEMORY);
            EXPECT_EQ(dst.all_bits(), before);
            continue;
        }
        ASSERT_EQ(code, QM_OK);
        const auto expected =
            reference_filter<float>(w, components, [&](int64_t x, int64_t y, uint32_t c) {
                return src.get(static_cast<uint32_t>(x) * components + c, static_cast<uint32_t>(y));
            });
        ASSERT_EQ(comparable(dst.content()), comparable(expected));
        ASSERT_EQ(dst.outside(), outside);
    }
}

TEST_P(StretchFilter, ShowsBackgroundWhereNothingIsKnown) {
    Random random(903);
    for (uint32_t round = 0; round < 400; ++round) {
        const Format format = draw_format(random);
        ReferenceWindow w = draw_window(random, format.components);
        w.flip_x = w.flip_y = false;  // the entry has none
        ReferenceKnown known{};
        known.left = random(0, w.source_width - 1);
        known.top = random(0, w.source_height - 1);
        known.width = random(1, w.source_width - known.left);
        known.height = random(1, w.source_height - known.top);
        if (random(0, 3) == 0) known = {0, 0, w.source_width, w.source_height, {}};
        SCOPED_TRACE(text_of(w) + " of " + std::to_string(format.components) + " x " +
                     std::to_string(format.bpc) + ", known " + std::to_string(known.left) + ' ' +
                     std::to_string(known.top) + ' ' + std::to_string(known.width) + ' ' +
                     std::to_string(known.height));
        omp_set_num_threads(random.one_of({1, 2, 3, 8}));
        const GuardedPicture src(format, {known.width, known.height}, random);
        const GuardedPicture pixel(format, {1, 1}, random);
        for (uint32_t c = 0; c < format.components; ++c)
            known.background.push_back(static_cast<uint32_t>(pixel.get(c, 0)));
        const GuardedPicture dst(format, {w.width, w.height}, random);
        const auto outside = dst.outside();
        const int code =
            stretch_known(memory_of(dst), memory_of(src), format, w, known, pixel.data());
        const ReferenceBand band = reference_band(w);
        if (band.last <= band.first) {
            EXPECT_EQ(code, format.bits == 8 ? QM_REJECTED : QM_NO_MEMORY);
            continue;
        }
        ASSERT_EQ(code, QM_OK);
        const auto expected = reference_filter<uint32_t>(
            w, format.components,
            [&](int64_t x, int64_t y, uint32_t c) {
                return static_cast<uint32_t>(
                    src.get((static_cast<uint32_t>(x) - known.left) * format.components + c,
                            static_cast<uint32_t>(y) - known.top));
            },
            known);
        ASSERT_EQ(dst.content(), words_of(expected));
        ASSERT_EQ(dst.outside(), outside);
    }
}

// ----- What holds for all zooms ------------------------------------------------------------------

/// A picture without gaps.
template <class T>
struct Plain {
    uint32_t width, height, components;
    std::vector<T> samples;
    Plain(uint32_t w, uint32_t h, uint32_t n, T value = 0)
        : width(w), height(h), components(n), samples(size_t{w} * h * n, value) {}
    uint32_t stride() const { return static_cast<uint32_t>(width * components * sizeof(T)); }
    Memory memory() { return {samples.data(), stride()}; }
    Format format() const { return {components, 8 * sizeof(T), 8 * sizeof(T)}; }
    T at(uint32_t x, uint32_t y, uint32_t c = 0) const {
        return samples[(size_t{y} * width + x) * components + c];
    }
};

template <class T>
void expect_constants_to_stay(uint32_t value) {
    Random random(904);
    for (uint32_t round = 0; round < 60; ++round) {
        const uint32_t components = random.one_of({1u, 3u, 2u, 9u});
        ReferenceWindow w = draw_window(random, components);
        w.top = std::min(w.top, w.virtual_height - 1);
        Plain<T> src(w.source_width, w.source_height, components, static_cast<T>(value));
        Plain<T> dst(w.width, w.height, components, static_cast<T>(~value));
        ASSERT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
        ASSERT_EQ(dst.samples, std::vector<T>(dst.samples.size(), static_cast<T>(value)))
            << text_of(w);
    }
}

TEST_P(StretchFilter, KeepsAConstantPictureAtEveryZoom) {
    for (const uint32_t value : {0u, 1u, 127u, 255u}) expect_constants_to_stay<uint8_t>(value);
    for (const uint32_t value : {0u, 1u, 4095u, 32767u, 32768u, 65535u})
        expect_constants_to_stay<uint16_t>(value);
}

/// The scale of these is exact in binary, so that positions do not depend on where a window begins.
TEST_P(StretchFilter, GivesAPartOfTheWholeInEveryWindow) {
    Random random(905);
    for (uint32_t round = 0; round < 60; ++round) {
        const uint32_t components = random.one_of({1u, 3u, 2u}), size = 64;
        Plain<uint16_t> src(size, size, components);
        for (uint16_t& sample : src.samples) sample = static_cast<uint16_t>(random.any());
        const uint32_t scaled = random.one_of({16u, 32u, 128u, 256u});
        ReferenceWindow all{scaled, scaled, scaled, scaled, 0, 0, size, size};
        all.spline = random(0, 1) == 1;
        Plain<uint16_t> whole(scaled, scaled, components);
        ASSERT_EQ(stretch(whole.memory(), src.memory(), src.format(), all), QM_OK);
        ReferenceWindow w = all;
        w.left = random(0, scaled - 1), w.top = random(0, scaled - 1);
        w.width = random(1, scaled - w.left), w.height = random(1, scaled - w.top);
        w.flip_x = random(0, 1) == 1, w.flip_y = random(0, 1) == 1;
        Plain<uint16_t> part(w.width, w.height, components);
        ASSERT_EQ(stretch(part.memory(), src.memory(), src.format(), w), QM_OK);
        for (uint32_t y = 0; y < w.height; ++y)
            for (uint32_t x = 0; x < w.width; ++x)
                for (uint32_t c = 0; c < components; ++c)
                    ASSERT_EQ(
                        part.at(w.flip_x ? w.width - 1 - x : x, w.flip_y ? w.height - 1 - y : y, c),
                        whole.at(w.left + x, w.top + y, c))
                        << text_of(w);
    }
}

// ----- Numbers by hand ---------------------------------------------------------------------------

/// A line stretched on its axis, the other axis being one sample.
std::vector<uint16_t> stretched_line(std::vector<uint16_t> line, uint32_t to, bool spline,
                                     bool down) {
    const auto from = static_cast<uint32_t>(line.size());
    Plain<uint16_t> src(down ? 1 : from, down ? from : 1, 1), dst(down ? 1 : to, down ? to : 1, 1);
    src.samples = std::move(line);
    ReferenceWindow w{dst.width, dst.height, dst.width, dst.height, 0, 0, src.width, src.height};
    w.spline = spline;
    EXPECT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
    return dst.samples;
}
using Line = std::vector<uint16_t>;

TEST_P(StretchFilter, TriangleOfAHalvedLineHasWeights1331) {
    // Samples 1 to 4 around position 2.5 have 128, 384, 384, 128 of 1024; at the left end position
    // is 0.5, and what is left of sample 0 counts for it.
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({1000, 0, 0, 0, 0, 8000}, 3, false, down),
                  (Line{500, 0, 1000 + 3000}));
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({0, 800, 1600, 3200, 6400, 0}, 3, false, down)[1],
                  (800 * 128 + 1600 * 384 + 3200 * 384 + 6400 * 128) / 1024);
}

TEST_P(StretchFilter, TriangleOfADoubledLineHasQuarters) {
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({100, 501}, 4, false, down),
                  (Line{100, 100 * 3 / 4 + 501 / 4, 400, 501}));  // 200.25, 400.75: cut
}

TEST_P(StretchFilter, TriangleOfAThirdGivesWhatIsMissingToTheMiddle) {
    // 1/3, 2/9, 1/9 of 1024 are rounded to 341, 228, 114: 1025 in all. Scaled and cut they are 340,
    // 227 and 113, 4 less than 1024.
    for (const bool down : {false, true})
        for (uint32_t k = 0; k < 5; ++k) {
            Line line(9, 0);
            line[2 + k] = 1024;
            EXPECT_EQ(stretched_line(line, 3, false, down)[1], (Line{113, 227, 344, 227, 113})[k]);
        }
}

TEST_P(StretchFilter, SplineOfADoubledLine) {
    // Position 1.25: samples 0, 1 and 2 are 1.25, 0.25 and 0.75 away: 0.03125, 0.6875, 0.28125.
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({1024, 0, 0, 0}, 8, true, down)[3], 32);
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({0, 1024, 0, 0}, 8, true, down)[3], 704);
    for (const bool down : {false, true})
        EXPECT_EQ(stretched_line({0, 0, 1024, 0}, 8, true, down)[3], 288);
}

TEST_P(StretchFilter, CutsAfterEachPass) {
    // Halves of 1: cut to 0 along the rows, they are gone for good. Rows of 2 remain 1.
    Plain<uint8_t> src(2, 2, 1), dst(1, 1, 1);
    src.samples = {1, 0, 1, 0};
    const ReferenceWindow w{1, 1, 1, 1, 0, 0, 2, 2};
    ASSERT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
    EXPECT_EQ(dst.samples[0], 0);
    src.samples = {3, 0, 3, 0};
    ASSERT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
    EXPECT_EQ(dst.samples[0], 1);
}

TEST_P(StretchFilter, ReductionsWithoutAnyWeightTakeOneSample) {
    // 1 / 3000 is less than half a part of 1024. The list of 6000 begins at -1500.
    for (const bool down : {false, true}) {
        Line line(3000);
        std::iota(line.begin(), line.end(), uint16_t{7});
        EXPECT_EQ(stretched_line(line, 1, false, down), Line{1507});
    }
}

TEST_P(StretchFilter, WindowsBeyondTheRightEndShowTheLastColumn) {
    for (const bool spline : {false, true}) {
        Plain<uint8_t> src(20, 3, 1), dst(40, 2, 1, 9);
        for (uint32_t y = 0; y < 3; ++y) src.samples[size_t{y} * 20 + 19] = 77;
        ReferenceWindow w{40, 2, 10, 2, 4000000000u, 0, 20, 3};
        w.spline = spline;
        ASSERT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
        EXPECT_EQ(dst.samples, std::vector<uint8_t>(80, 77));
    }
}

// ----- Codes -------------------------------------------------------------------------------------

template <class T>
int code_of_top(uint32_t top) {
    Plain<T> src(8, 10, 1, 5), dst(4, 3, 1, 6);
    const ReferenceWindow w{4, 3, 16, 10, 0, top, 8, 10};
    const int code = stretch(dst.memory(), src.memory(), src.format(), w);
    EXPECT_EQ(dst.samples, std::vector<T>(12, code == QM_OK ? 5 : 6));
    return code;
}
TEST_P(StretchFilter, RefusesWindowsFarBelowThePicture) {
    // The margin of two rows reaches one row of the picture from row 11, and none from row 12.
    EXPECT_EQ(code_of_top<uint8_t>(9), QM_OK);
    EXPECT_EQ(code_of_top<uint8_t>(11), QM_OK);
    EXPECT_EQ(code_of_top<uint16_t>(11), QM_OK);
    for (const uint32_t top : {12u, 13u, 1000u, 4000000000u}) {
        EXPECT_EQ(code_of_top<uint8_t>(top), QM_REJECTED);
        EXPECT_EQ(code_of_top<uint16_t>(top), QM_NO_MEMORY);
    }
    float src[4] = {1, 2, 3, 4}, dst[1] = {9};
    const ReferenceWindow w{1, 1, 4, 2, 0, 4, 2, 2};
    EXPECT_EQ(stretch_floats(dst, 4, src, 8, 1, w), QM_NO_MEMORY);
    EXPECT_EQ(dst[0], 9);
}

TEST_P(StretchFilter, DoesNothingForAnEmptyWindow) {
    Plain<uint8_t> src(8, 8, 1, 5), dst(4, 4, 1, 6);
    for (const ReferenceWindow& w :
         {ReferenceWindow{0, 4, 5, 5, 0, 0, 8, 8}, ReferenceWindow{4, 0, 5, 5, 0, 0, 8, 8}}) {
        EXPECT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
        EXPECT_EQ(stretch_floats(nullptr, 0, nullptr, 0, 1, w), QM_OK);
    }
    EXPECT_EQ(dst.samples, std::vector<uint8_t>(16, 6));
}

// ----- Memory and threads ------------------------------------------------------------------------

/// Rows of a page each, of which only the given ones can be read.
class RowsInPages {
  public:
    static constexpr uint32_t kPage = 4096;
    explicit RowsInPages(uint32_t rows) : rows_(rows) {
        first_ = static_cast<uint8_t*>(mmap(nullptr, size_t{rows} * kPage, PROT_READ | PROT_WRITE,
                                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    }
    ~RowsInPages() { munmap(first_, size_t{rows_} * kPage); }
    RowsInPages(const RowsInPages&) = delete;
    RowsInPages& operator=(const RowsInPages&) = delete;
    void allow(const ReferenceBand& band) const {
        for (uint32_t y = 0; y < rows_; ++y)
            mprotect(first_ + size_t{y} * kPage, kPage,
                     y >= band.first && y < band.last ? PROT_READ : PROT_NONE);
    }
    Memory memory() const { return {first_, kPage}; }

  private:
    uint32_t rows_;
    uint8_t* first_;
};

TEST_P(StretchFilter, ReadsNoRowOutsideOfTheBand) {
    Random random(906);
    for (uint32_t round = 0; round < 60; ++round) {
        const Format format{1, 8, 8};
        ReferenceWindow w = draw_window(random, 1);
        w.top = std::min(w.top, w.virtual_height - 1);
        const RowsInPages src(w.source_height);
        src.allow(reference_band(w));
        Plain<uint8_t> dst(w.width, w.height, 1, 1);
        ASSERT_EQ(stretch(dst.memory(), src.memory(), format, w), QM_OK);
        Plain<float> floats(w.width, w.height, 1, 1);
        ASSERT_EQ(
            stretch_floats(floats.samples.data(), floats.stride(),
                           static_cast<const float*>(src.memory().data), RowsInPages::kPage, 1, w),
            QM_OK);
        ASSERT_EQ(dst.samples[0], 0);
        ASSERT_EQ(floats.samples[0], 0);
    }
}

TEST_P(StretchFilter, SharesRowsInOneRegionOfTheDefaultTeam) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Plain<uint8_t> src(64, 64, 1), dst(100, 1, 1);
    Plain<float> floats(64, 64, 1), to(100, 1, 1);
    const ReferenceWindow w{100, 1, 100, 100, 0, 0, 64, 64};
    const WatchedRegions regions;
    ASSERT_EQ(stretch(dst.memory(), src.memory(), src.format(), w), QM_OK);
    EXPECT_EQ(regions.teams(), (std::vector<uint32_t>{0}));
    ASSERT_EQ(stretch_floats(to.samples.data(), to.stride(), floats.samples.data(), floats.stride(),
                             1, w),
              QM_OK);
    EXPECT_EQ(regions.teams(), (std::vector<uint32_t>{0, 0}));
}

TEST_P(StretchFilter, WritesRowsByAllThreads) {
    Plain<uint8_t> src(64, 64, 1);
    for (const int threads : {1, 2, 3}) {
        omp_set_num_threads(threads);
        const TouchedPages dst(12);
        const ReferenceWindow w{100, 12, 100, 12, 0, 0, 64, 64};
        ASSERT_EQ(stretch({dst.data(), TouchedPages::kPage}, src.memory(), src.format(), w), QM_OK);
        EXPECT_EQ(dst.thread_count(), static_cast<size_t>(threads));
    }
}

TEST_P(StretchFilter, WritesNothingWhenMemoryRunsOut) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const ReferenceWindow w{40, 20, 50, 50, 3, 4, 90, 70};
    omp_set_num_threads(2);
    for (const uint32_t components : {1u, 3u, 9u}) {
        Plain<uint16_t> src(90, 70, components, 5), dst(40, 20, components, 6);
        const auto before = dst.samples;
        stretch(dst.memory(), src.memory(), src.format(), w);  // makes the team, which allocates
        dst.samples = before;
        const auto check = [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code_or_throw(), n == 0 ? QM_OK : QM_NO_MEMORY) << n;
            EXPECT_EQ(outcome.live, 0) << n;
            EXPECT_EQ(dst.samples == before, n != 0) << n;
            dst.samples = before;
        };
        EXPECT_GE(each_failure([&] { return stretch(dst.memory(), src.memory(), src.format(), w); },
                               check),
                  5u);
        std::vector<uint32_t> background(components, 0);
        const ReferenceKnown known{10, 10, 80, 60, {}};
        each_failure(
            [&] {
                return stretch_known(dst.memory(), src.memory(), src.format(), w, known,
                                     background.data());
            },
            check);
    }
    Plain<float> src(90, 70, 3, 5), dst(40, 20, 3, 6);
    const auto before = dst.samples;
    EXPECT_GE(each_failure(
                  [&] {
                      return stretch_floats(dst.samples.data(), dst.stride(), src.samples.data(),
                                            src.stride(), 3, w);
                  },
                  [&](uint32_t n, const Outcome& outcome) {
                      EXPECT_EQ(outcome.code_or_throw(), n == 0 ? QM_OK : QM_NO_MEMORY) << n;
                      EXPECT_EQ(outcome.live, 0) << n;
                      EXPECT_EQ(dst.samples == before, n != 0) << n;
                      dst.samples = before;
                  }),
              4u);
}

TEST_P(StretchFilter, KeepsItsMemoryBelowAMegabyteForAScreenOfALargePicture) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    omp_set_num_threads(2);
    for (const uint32_t components : {1u, 3u}) {
        Plain<uint16_t> src(2048, 2048, components);
        for (const uint32_t width : {1000u, 1920u}) {
            Plain<uint16_t> dst(width, 1080, components);
            const ReferenceWindow w{width, 1080, width, 1080, 0, 0, 2048, 2048};
            uint64_t bytes = 0;
            {
                const FailingAlloc memory(0);
                stretch(dst.memory(), src.memory(), src.format(), w);
                bytes = memory.bytes();
            }
            EXPECT_LT(bytes, 1u << 20) << components << " components, " << width;
        }
    }
}

TEST(StretchFilterThreads, AllocateNothing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    omp_set_num_threads(3);
    Plain<uint8_t> src(64, 64, 3), dst(100, 12, 3);
    Plain<float> floats(64, 64, 1), to(100, 12, 1);
    const ReferenceWindow w{100, 12, 100, 12, 0, 0, 64, 64};
    stretch(dst.memory(), src.memory(), src.format(), w);  // the team itself is made once
    const WatchedThreads threads;
    stretch(dst.memory(), src.memory(), src.format(), w);
    stretch_floats(to.samples.data(), to.stride(), floats.samples.data(), floats.stride(), 1, w);
    EXPECT_EQ(threads.allocations(), 0u);
    omp_set_num_threads(omp_get_num_procs());
}

#ifndef QMPIC_SHIPPED
// ----- The lists themselves ----------------------------------------------------------------------

TEST(StretchLists, AreThoseOfTheDefinition) {
    Random random(907);
    for (uint32_t round = 0; round < 4000; ++round) {
        const bool validity = random(0, 1) == 1;
        const uint32_t size = random(1, 300);
        ReferenceAxis axis{.scale = static_cast<double>(size) / draw_virtual(random, size),
                           .count = random(1, 40),
                           .start = validity ? 0 : random(0, 400),
                           .flip = random(0, 1) == 1,
                           .spline = random(0, 1) == 1,
                           .lowest = validity ? -int64_t{random(0, 9)} : 0,
                           .highest = int64_t{size} - 1};
        if (random(0, 3) == 0) {
            axis.known_first = random(0, size - 1);
            axis.known_last = random(0, size - 1);
        }
        const WeightRule rule = validity ? kValidityWeights : kPictureWeights;
        axis.one = rule.one, axis.rounding = rule.rounding;
        const Contributions lists(
            {.scale = axis.scale,
             .count = axis.count,
             .start = axis.start,
             .flip = axis.flip,
             .line = {axis.lowest, axis.highest + 1},
             .known = {axis.known_first, axis.known_last + 1}},
            axis.spline ? CQmPicMemAPI_Base::StretchSpline : CQmPicMemAPI_Base::StretchLinear,
            rule);
        ASSERT_TRUE(lists);
        for (uint32_t i = 0; i < axis.count; ++i) {
            const Contributions::List list = lists[i];
            TapList taps;
            int64_t sum = 0;
            for (uint32_t k = 0; k < list.count; ++k) {
                taps.push_back({lists.sample(list.first + k), list.weights[k]});
                sum += list.weights[k];
            }
            ASSERT_EQ(taps, reference_list(axis, i)) << "list " << i << ", scale " << axis.scale;
            ASSERT_TRUE(taps.empty() || sum == rule.one);
            ASSERT_LE(list.count, lists.longest());
        }
    }
}

TEST(StretchLists, FarBeyondTheLineAreOfItsLastSample) {
    const Contributions lists(
        {.scale = 100000.0, .count = 3, .start = 4294967295u, .line = {0, 10}, .known = {0, 10}},
        CQmPicMemAPI_Base::StretchLinear, kPictureWeights);
    ASSERT_TRUE(lists);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(lists.sample(lists[i].first), 9);
}
#endif

}  // namespace
}  // namespace qmpic::test
