#include "qmpic/kernels/frame.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <string>

#include "PicMemAPI/frame_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/regions.h"
#include "support/reports.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Bytes = std::vector<uint8_t>;

int sign_of(int64_t number) { return (number > 0) - (number < 0); }

// ----- Lines ----------------------------------------------------------------------------------
// A picture of lines is seen as bytes: what stands in a row, and how much of it is the line.

struct Lines {
    uint32_t components, bpc;
    uint64_t pixel_bytes;  // as stored
    Size size;
    Format bytes() const { return {static_cast<uint32_t>(pixel_bytes), 8, 8}; }
    uint64_t line() const { return uint64_t{(bpc + 7) / 8} * components * size.width; }
};

Lines random_lines(Round round) {
    const uint32_t components = round.random.components();
    const uint32_t bpc = round.in_turn(std::vector<uint32_t>{8, 7, 12, 16, 17, 24, 25, 32, 1, 9});
    const uint64_t bytes = bpc <= 8 ? 1 : bpc <= 16 ? 2 : 4;
    return {components, bpc, components * bytes,
            round.random.size(static_cast<uint32_t>(components * bytes))};
}

template <class Call>
void check_copy(Round round, Call call) {
    const Lines lines = random_lines(round);
    const GuardedPicture d(lines.bytes(), lines.size, round.random),
        other(lines.bytes(), lines.size, round.random);
    const GuardedPicture& s = round.random(0, 7) == 0 ? d : other;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < lines.size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(i < lines.line() ? s.get(i, y) : d.get(i, y));
    const auto outside = d.outside();

    ASSERT_EQ(call(d.data(), d.stride(), s.data(), s.stride(), lines.components, lines.bpc,
                   lines.size.width, lines.size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << lines.components << " x " << lines.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Call>
void check_set(Round round, Call call) {
    const Lines lines = random_lines(round);
    const GuardedPicture d(lines.bytes(), lines.size, round.random);
    const uint32_t value = round.random.any();
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < lines.size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(i < lines.line() ? value % 256 : d.get(i, y));
    const auto outside = d.outside();

    ASSERT_EQ(call(d.data(), d.stride(), value, lines.components, lines.bpc, lines.size.width,
                   lines.size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << lines.components << " x " << lines.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

// Two pictures that are equal but for no, one or two bytes, anywhere.
template <class Call>
void check_compare(Round round, Call call) {
    const Lines lines = random_lines(round);
    GuardedPicture a(lines.bytes(), lines.size, round.random),
        b(lines.bytes(), lines.size, round.random);
    for (uint32_t y = 0; y < lines.size.height; ++y)
        for (uint32_t i = 0; i < a.samples(); ++i) a.set(i, y, b.get(i, y));
    for (uint32_t changes = round.random(0, 2); changes > 0; --changes) {
        // One after the other: compilers draw arguments in orders of their own.
        const uint32_t i = round.random(0, a.samples() - 1);
        const uint32_t y = round.random(0, lines.size.height - 1);
        a.set(i, y, round.random(0, 255));
    }
    int expected = 0;
    for (uint32_t y = 0; y < lines.size.height && expected == 0; ++y)
        for (uint32_t i = 0; i < lines.line() && expected == 0; ++i)
            expected =
                sign_of(static_cast<int64_t>(a.get(i, y)) - static_cast<int64_t>(b.get(i, y)));

    const int found = call(a.data(), a.stride(), b.data(), b.stride(), lines.components, lines.bpc,
                           lines.size.width, lines.size.pixels);

    ASSERT_EQ(sign_of(found), expected) << lines.components << " x " << lines.bpc;
    round.digest.add(static_cast<uint64_t>(expected + 1));
}

// ----- Pixels ---------------------------------------------------------------------------------

using Pixel = std::vector<uint64_t>;

Pixel pixel_of(const GuardedPicture& picture, uint32_t x, uint32_t y) {
    Pixel pixel;
    for (uint32_t c = 0; c < picture.format().components; ++c)
        pixel.push_back(picture.get(x * picture.format().components + c, y));
    return pixel;
}

void set_pixel(GuardedPicture& picture, uint32_t x, uint32_t y, const Pixel& pixel) {
    for (uint32_t c = 0; c < pixel.size(); ++c)
        picture.set(x * picture.format().components + c, y, pixel[c]);
}

/// A pixel as an argument: by itself between unreadable pages, or in the picture itself.
const void* argument(const GuardedPicture& alone, const GuardedPicture& picture, Random& random,
                     Pixel& pixel) {
    if (random(0, 3) != 0) {
        pixel = pixel_of(alone, 0, 0);
        return alone.data();
    }
    const uint32_t x = random(0, picture.size().width - 1),
                   y = random(0, picture.size().height - 1);
    pixel = pixel_of(picture, x, y);
    return static_cast<const uint8_t*>(picture.data()) + uint64_t{y} * picture.stride() +
           uint64_t{x} * picture.format().components * picture.format().bytes();
}

Format random_format(Round round, uint32_t bits) {
    return {round.random.components(), bits, round.in_turn(depths(bits))};
}

/// Every other picture has few components in rows of many pixels, where kernels work in blocks.
bool in_blocks(Round round) { return round.number % 2 == 1; }

Format format_of_blocks(Round round, uint32_t bits) {
    return {round.random.one_of({1u, 2u, 3u, 3u, 3u, 4u}), bits, bits};
}

Size size_of_blocks(Random& random) {
    const uint32_t width = random(1, 700), height = random(1, 8);
    return {width, height, uint64_t{width} * height + random(0, width - 1)};
}

template <class Call>
void check_set_value(Round round, Format format, Call call) {
    Random& random = round.random;
    const Size size = random.size(format.components);
    const GuardedPicture d(format, size, random), alone(format, {1, 1}, random);
    Pixel value;
    const void* const given = argument(alone, d, random, value);
    std::vector<uint64_t> expected;
    for (uint64_t i = 0; i < uint64_t{size.width} * size.height; ++i)
        expected.insert(expected.end(), value.begin(), value.end());
    const auto outside = d.outside();

    ASSERT_EQ(call(d.data(), format.components, d.stride(), given, size.width, size.pixels), QM_OK);

    ASSERT_EQ(d.content(), expected) << format.components << " x " << format.bits;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Call>
void check_set_component(Round round, Format format, Call call) {
    Random& random = round.random;
    const Size size = random.size(format.components);
    const GuardedPicture d(format, size, random);
    const uint32_t index = random(0, format.components - 1);
    const auto value = static_cast<uint16_t>(random.any());
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(i % format.components != index ? d.get(i, y)
                               : format.bits == 8             ? value % 256
                                                              : value);
    const auto outside = d.outside();

    ASSERT_EQ(call(d.data(), format.components, d.stride(), index, value, size.width, size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << format.components << " x " << format.bits;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

// A third of the pixels are the old one, a third differ from it in one component.
template <class Call>
void check_change(Round round, Format format, Call call) {
    Random& random = round.random;
    const Size size = in_blocks(round) ? size_of_blocks(random) : random.size(format.components);
    GuardedPicture d(format, size, random);
    const GuardedPicture alone(format, {1, 1}, random), other(format, {1, 1}, random);
    const Pixel wanted = pixel_of(alone, 0, 0);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const uint32_t kind = random(0, 2);
            Pixel pixel = wanted;
            if (kind == 1) pixel[random(0, format.components - 1)] ^= 1 + random(0, 6);
            if (kind != 2) set_pixel(d, x, y, pixel);
        }
    Pixel old_value, new_value;
    const void* const given_old = argument(alone, d, random, old_value);
    const void* const given_new = argument(other, d, random, new_value);
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const Pixel there = pixel_of(d, x, y);
            const Pixel& becomes = there == old_value ? new_value : there;
            expected.insert(expected.end(), becomes.begin(), becomes.end());
        }
    const auto outside = d.outside();

    ASSERT_EQ(call(d.data(), format.components, d.stride(), given_new, given_old, size.width,
                   size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << format.components << " x " << format.bits;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Call>
void check_compare_component(Round round, uint32_t bits, uint32_t bpc, Call call) {
    Random& random = round.random;
    const Format f1{in_blocks(round) ? random.one_of({1u, 3u, 4u, 2u}) : random.components(), bits,
                    bpc};
    const Format f2{in_blocks(round) ? f1.components : random.components(), bits, bpc};
    const Size size = in_blocks(round) ? size_of_blocks(random)
                                       : random.size(std::max(f1.components, f2.components));
    GuardedPicture a(f1, size, random);
    const GuardedPicture b(f2, size, random);
    const uint32_t i1 = random(0, f1.components - 1), i2 = random(0, f2.components - 1);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            a.set(x * f1.components + i1, y, b.get(x * f2.components + i2, y));
    for (uint32_t changes = random(0, 2); changes > 0; --changes) {
        const uint32_t x = random(0, size.width - 1), y = random(0, size.height - 1);
        a.set(x * f1.components + i1, y, random.sample(f1));
    }
    int64_t expected = 0;
    for (uint32_t y = 0; y < size.height && expected == 0; ++y)
        for (uint32_t x = 0; x < size.width && expected == 0; ++x)
            expected = static_cast<int64_t>(a.get(x * f1.components + i1, y)) -
                       static_cast<int64_t>(b.get(x * f2.components + i2, y));

    ASSERT_EQ(call(a.data(), f1.components, a.stride(), i1, b.data(), f2.components, b.stride(), i2,
                   size.width, size.pixels),
              expected)
        << f1.components << " and " << f2.components << " x " << bits;
    round.digest.add(static_cast<uint64_t>(expected));
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    all.push_back({"copy", [](Round round) { check_copy(round, copy); }});
    all.push_back({"copyparallel", [](Round round) {
                       const bool parallel = round.random(0, 1) != 0;
                       check_copy(round, [=](auto... arguments) {
                           return copyparallel(arguments..., parallel);
                       });
                   }});
    all.push_back({"set", [](Round round) { check_set(round, set); }});
    all.push_back({"compare", [](Round round) { check_compare(round, compare); }});
    for (const auto& kernel : kSetValue)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           check_set_value(round, random_format(round, kernel.source.bits),
                                           kernel.run);
                       }});
    // Through the exported functions, whose values have the width of a sample.
    all.push_back({"setcomponent_Nx8", [](Round round) {
                       check_set_component(round, random_format(round, 8),
                                           [](void* d, uint32_t n, uint32_t stride, uint32_t index,
                                              uint16_t value, uint32_t width, uint64_t size) {
                                               return setcomponent_Nx8(d, n, stride, index,
                                                                       static_cast<uint8_t>(value),
                                                                       width, size);
                                           });
                   }});
    all.push_back({"setcomponent_Nx16", [](Round round) {
                       check_set_component(round, random_format(round, 16), setcomponent_Nx16);
                   }});
    for (const auto& kernel : kChangeValue)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const uint32_t bits = kernel.source.bits;
                           check_change(round,
                                        in_blocks(round) ? format_of_blocks(round, bits)
                                                         : random_format(round, bits),
                                        kernel.run);
                       }});
    for (const auto& kernel : kCompareComponent)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const uint32_t bits = kernel.source.bits;
                           check_compare_component(round, bits, round.in_turn(depths(bits)),
                                                   kernel.run);
                       }});
    return all;
}

// ----- Entries --------------------------------------------------------------------------------

using Entries = CQmPicMemAPI_Base;

int any_format(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }

std::vector<EntryCase> entry_cases() {
    static const uint16_t pixels[2][6] = {{1, 2, 3, 4, 5, 6}, {0xA5A5, 0xA5A5}};
    std::vector<EntryCase> all;
    all.push_back({"CQmPicMemAPI_Base::Copy",
                   [](const EntryCall& c) {
                       return Entries::Copy(c.dst, c.stride, c.src, c.stride, c.components, c.bpc,
                                            c.width, c.size);
                   },
                   any_format});
    all.push_back({"CQmPicMemAPI_Base::Set",
                   [](const EntryCall& c) {
                       return Entries::Set(c.dst, c.stride, 7, c.components, c.bpc, c.width,
                                           c.size);
                   },
                   any_format, false});
    all.push_back({"CQmPicMemAPI_Base::SetValue",
                   [](const EntryCall& c) {
                       return Entries::SetValue(c.dst, c.components, c.bpc, c.stride, pixels[0],
                                                c.width, c.size);
                   },
                   bytes_and_words, false});
    all.push_back({"CQmPicMemAPI_Base::SetComponentValue",
                   [](const EntryCall& c) {
                       return Entries::SetComponentValue(c.dst, c.components, c.bpc, c.stride, 0, 7,
                                                         c.width, c.size);
                   },
                   bytes_and_words, false});
    all.push_back({"CQmPicMemAPI_Base::ChangeValue",
                   [](const EntryCall& c) {
                       return Entries::ChangeValue(c.dst, c.components, c.bpc, c.stride, pixels[0],
                                                   pixels[1], c.width, c.size);
                   },
                   bytes_and_words, false});
    all.push_back({"CQmPicMemAPI_Base::SetColor",
                   [](const EntryCall& c) {
                       return Entries::SetColor(c.dst, 1, 1, c.components, c.bpc, c.stride, 7);
                   },
                   [](uint32_t components, uint32_t bpc) -> int {
                       if (bpc == 16) return components == 1 ? QM_OK : QM_NO_KERNEL;
                       return bpc == 8 && (components == 1 || components == 3 || components == 4)
                                  ? QM_OK
                                  : QM_NO_KERNEL;
                   },
                   false, false});
    all.push_back(
        {"CQmPicMemAPI_Base::GetColor",
         [](const EntryCall& c) {
             uint32_t color = 77;
             const int code = Entries::GetColor(c.src, 1, 1, c.components, c.bpc, c.stride, &color);
             EXPECT_EQ(color == 77, code != QM_OK);
             return code;
         },
         [](uint32_t components, uint32_t bpc) -> int {
             return bpc == 8 && (components == 1 || components == 3) ? QM_OK : QM_NO_KERNEL;
         },
         false, false});
    // The comparison is what is returned, and the destination's bytes are the greater ones.
    all.push_back(
        {"CQmPicMemAPI_Base::Compare",
         [](const EntryCall& c) {
             int result = 77;
             const int found = Entries::Compare(c.dst, c.stride, c.src, c.stride, c.bpc,
                                                c.components, c.width, c.size, &result);
             EXPECT_EQ(result, 0);
             return sign_of(found);
         },
         [](uint32_t components, uint32_t bpc) { return components == 0 || bpc == 0 ? 0 : 1; }});
    const auto compare_component = [](const EntryCall& c, int* result) {
        return Entries::CompareComponent(c.dst, c.components, c.stride, 0, c.src, c.components,
                                         c.stride, 0, c.bpc, c.width, c.size, result);
    };
    all.push_back({"CQmPicMemAPI_Base::CompareComponent",
                   [=](const EntryCall& c) { return compare_component(c, nullptr); },
                   [](uint32_t components, uint32_t bpc) {
                       if (components == 0 || bpc < 8 || bpc > 16) return 0;
                       return bpc == 8 ? 0xA5 - 1 : 0xA5A5 - 0x0101;
                   }});
    all.push_back({"CQmPicMemAPI_Base::CompareComponent result",
                   [=](const EntryCall& c) {
                       int result = 77;
                       compare_component(c, &result);
                       return result;
                   },
                   bytes_and_words});
    return all;
}

const bool registered = add_cases(kernel_cases(), entry_cases());

TEST(FrameEntries, TakeTheKernelsOfTheFormat) {
    Random random(7);
    Digest digest;
    for (uint32_t number = 0; number < 20; ++number) {
        const Round round{number, random, digest};
        check_copy(round, Entries::Copy);
        check_set(round, Entries::Set);
        check_compare(round, [](const void* p1, uint32_t s1, const void* p2, uint32_t s2,
                                uint32_t components, uint32_t bpc, uint32_t width, uint64_t size) {
            return Entries::Compare(p1, s1, p2, s2, bpc, components, width, size, nullptr);
        });
        if (HasFatalFailure()) return;
    }
    for (uint32_t bpc = 8; bpc <= 16; ++bpc)
        for (uint32_t components = 1; components <= 6; ++components) {
            const Format format{components, bpc == 8 ? 8u : 16u, bpc};
            const Round round{0, random, digest};
            check_set_value(round, format,
                            [=](void* d, uint32_t n, uint32_t stride, const void* value,
                                uint32_t width, uint64_t size) {
                                return Entries::SetValue(d, n, bpc, stride, value, width, size);
                            });
            check_set_component(round, format,
                                [=](void* d, uint32_t n, uint32_t stride, uint32_t index,
                                    uint16_t value, uint32_t width, uint64_t size) {
                                    return Entries::SetComponentValue(d, n, bpc, stride, index,
                                                                      value, width, size);
                                });
            check_change(round, format,
                         [=](void* d, uint32_t n, uint32_t stride, const void* new_value,
                             const void* old_value, uint32_t width, uint64_t size) {
                             return Entries::ChangeValue(d, n, bpc, stride, new_value, old_value,
                                                         width, size);
                         });
            check_compare_component(
                round, format.bits, bpc,
                [=](const void* p1, uint32_t n1, uint32_t s1, uint32_t i1, const void* p2,
                    uint32_t n2, uint32_t s2, uint32_t i2, uint32_t width, uint64_t size) {
                    int result = 77;
                    const int found = Entries::CompareComponent(p1, n1, s1, i1, p2, n2, s2, i2, bpc,
                                                                width, size, &result);
                    EXPECT_EQ(result, QM_OK);
                    return found;
                });
            if (HasFatalFailure()) return;
        }
}

// ----- Worked numbers -------------------------------------------------------------------------

TEST(Copy, IncompleteLastRowDoesNotCount) {
    const Bytes source(30, 1);
    Bytes d(30, 0), expected(30, 0);
    std::fill_n(expected.begin(), 20, uint8_t{1});
    EXPECT_EQ(Entries::Copy(d.data(), 10, source.data(), 10, 1, 8, 10, 25), QM_OK);
    EXPECT_EQ(d, expected);
    // Fewer pixels than a row are none at all.
    d.assign(30, 0);
    EXPECT_EQ(Entries::Copy(d.data(), 10, source.data(), 10, 1, 8, 10, 9), QM_OK);
    EXPECT_EQ(d, Bytes(30, 0));
}

TEST(Copy, CutsTheLineToTheStrideOfTheDestinationAndReportsOnceACall) {
    Bytes source(36);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i + 1);
    const Bytes expected{1,  2,  3,  4,  5,  6,  7,  8,  13, 14, 15, 16, 17, 18,
                         19, 20, 25, 26, 27, 28, 29, 30, 31, 32, 0,  0,  0,  0};
    const std::vector<std::wstring> report57{L"size > dwDestLineSize|null|PicMemAPI/converts|57"},
        report84{L"size > dwDestLineSize|null|PicMemAPI/converts|84"};
    Reports reports;
    Bytes d(28, 0);
    EXPECT_EQ(Entries::Copy(d.data(), 8, source.data(), 12, 3, 8, 4, 12), QM_OK);
    EXPECT_EQ(d, expected);
    EXPECT_EQ(reports.take(), report57);
    for (const bool parallel : {false, true}) {
        d.assign(28, 0);
        EXPECT_EQ(copyparallel(d.data(), 8, source.data(), 12, 3, 8, 4, 12, parallel), QM_OK);
        EXPECT_EQ(d, expected);
        EXPECT_EQ(reports.take(), report84);
    }
    // Also when no row is left to be copied; but not for nothing at all.
    EXPECT_EQ(Entries::Copy(d.data(), 8, source.data(), 12, 3, 8, 4, 3), QM_OK);
    EXPECT_EQ(reports.take(), report57);
    EXPECT_EQ(Entries::Copy(d.data(), 8, source.data(), 12, 3, 8, 4, 0), QM_OK);
    EXPECT_EQ(Entries::Copy(nullptr, 8, source.data(), 12, 3, 8, 4, 12), QM_OK);
    // A line that just fits is no misuse, and the stride of the source never is.
    EXPECT_EQ(Entries::Copy(d.data(), 12, source.data(), 4, 3, 8, 4, 8), QM_OK);
    EXPECT_TRUE(reports.take().empty());
}

TEST(Set, CutsTheLineToTheStrideAndReportsOnceACall) {
    Reports reports;
    Bytes d(20, 0), expected(20, 0);
    std::fill_n(expected.begin(), 16, uint8_t{9});
    EXPECT_EQ(Entries::Set(d.data(), 8, 9, 3, 8, 4, 8), QM_OK);
    EXPECT_EQ(d, expected);
    EXPECT_EQ(reports.take(),
              std::vector<std::wstring>{L"size > dwDestLineSize|null|PicMemAPI/converts|109"});
    EXPECT_EQ(Entries::Set(d.data(), 12, 9, 3, 8, 4, 4), QM_OK);
    EXPECT_TRUE(reports.take().empty());
}

TEST(Lines, Of17To24BitsAreThreeBytesAComponentAndOfOtherDepthsWholeUnits) {
    for (const auto& [bpc, bytes] : {std::pair{1u, 1u},
                                     {7u, 1u},
                                     {8u, 1u},
                                     {9u, 2u},
                                     {16u, 2u},
                                     {17u, 3u},
                                     {24u, 3u},
                                     {25u, 4u},
                                     {32u, 4u},
                                     {0u, 0u}}) {
        const Bytes source(40, 1);
        Bytes d(40, 0), expected(40, 0);
        std::fill_n(expected.begin(), 5 * bytes, uint8_t{1});
        EXPECT_EQ(Entries::Copy(d.data(), 40, source.data(), 40, 1, bpc, 5, 5), QM_OK);
        EXPECT_EQ(d, expected) << bpc;
        d.assign(40, 0);
        EXPECT_EQ(Entries::Set(d.data(), 40, 1, 1, bpc, 5, 5), QM_OK);
        EXPECT_EQ(d, expected) << bpc;
        int result = 77;
        EXPECT_EQ(Entries::Compare(d.data(), 40, source.data(), 40, bpc, 1, 5, 5, &result), 0);
        d[5 * bytes] = 2;  // behind the line
        EXPECT_EQ(Entries::Compare(d.data(), 40, source.data(), 40, bpc, 1, 5, 5, &result), 0);
        if (bytes != 0) {
            d[5 * bytes - 1] = 0;
            EXPECT_LT(Entries::Compare(d.data(), 40, source.data(), 40, bpc, 1, 5, 5, &result), 0);
        }
    }
}

// 2^31 pixels of 2 bytes make 2^32 bytes, which are 0 in 32 bits; 32 pixels more make 64.
TEST(Lines, AreCountedIn32BitsThatWrap) {
    constexpr uint32_t kPixels = 0x80000000;
    const Bytes source(256, 1);
    Bytes d(256, 0);
    Reports reports;
    EXPECT_EQ(Entries::Copy(d.data(), 64, source.data(), 64, 2, 8, kPixels, uint64_t{kPixels} * 3),
              QM_OK);
    EXPECT_EQ(
        copyparallel(d.data(), 64, source.data(), 64, 2, 8, kPixels, uint64_t{kPixels} * 3, true),
        QM_OK);
    EXPECT_EQ(Entries::Set(d.data(), 64, 1, 1, 16, kPixels, uint64_t{kPixels} * 3), QM_OK);
    EXPECT_EQ(Entries::Compare(d.data(), 64, source.data(), 64, 16, 1, kPixels,
                               uint64_t{kPixels} * 3, nullptr),
              0);
    EXPECT_EQ(d, Bytes(256, 0));

    constexpr uint32_t kMore = kPixels + 32;
    Bytes expected(256, 0);
    std::fill_n(expected.begin(), 64, uint8_t{1});
    std::fill_n(expected.begin() + 100, 64, uint8_t{1});
    EXPECT_EQ(Entries::Copy(d.data(), 100, source.data(), 70, 2, 8, kMore, uint64_t{kMore} * 2),
              QM_OK);
    EXPECT_EQ(d, expected);
    d.assign(256, 0);
    EXPECT_EQ(
        copyparallel(d.data(), 100, source.data(), 70, 2, 8, kMore, uint64_t{kMore} * 2, true),
        QM_OK);
    EXPECT_EQ(d, expected);
    d.assign(256, 0);
    EXPECT_EQ(Entries::Set(d.data(), 100, 1, 1, 16, kMore, uint64_t{kMore} * 2), QM_OK);
    EXPECT_EQ(d, expected);
    EXPECT_EQ(Entries::Compare(d.data(), 100, source.data(), 70, 16, 1, kMore, uint64_t{kMore} * 2,
                               nullptr),
              0);
    d[163] = 0;
    EXPECT_LT(Entries::Compare(d.data(), 100, source.data(), 70, 16, 1, kMore, uint64_t{kMore} * 2,
                               nullptr),
              0);
    EXPECT_TRUE(reports.take().empty());
}

// 2^60 rows of nothing: done at once.
TEST(Lines, OfNoBytesCostNothingHoweverManyThereAre) {
    uint8_t d = 5, s = 6;
    constexpr uint64_t kRows = uint64_t{1} << 60;
    EXPECT_EQ(Entries::Copy(&d, 0, &s, 0, 0, 8, 1, kRows), QM_OK);
    EXPECT_EQ(copyparallel(&d, 0, &s, 0, 1, 0, 1, kRows, true), QM_OK);
    EXPECT_EQ(Entries::Set(&d, 0, 1, 0, 8, 1, kRows), QM_OK);
    EXPECT_EQ(Entries::Compare(&d, 0, &s, 0, 8, 0, 1, kRows, nullptr), 0);
    EXPECT_EQ(Entries::SetValue(&d, 0, 8, 0, &s, 1, kRows), QM_OK);
    EXPECT_EQ(Entries::SetComponentValue(&d, 0, 8, 0, 0, 3, 1, kRows), QM_OK);
    EXPECT_EQ(Entries::ChangeValue(&d, 0, 8, 0, &s, &d, 1, kRows), QM_OK);
    EXPECT_EQ(Entries::CompareComponent(&d, 0, 0, 0, &s, 1, 0, 0, 8, 1, kRows, nullptr), 0);
    EXPECT_EQ(Entries::CompareComponent(&d, 1, 0, 0, &s, 0, 0, 0, 8, 1, kRows, nullptr), 0);
    EXPECT_EQ(d, 5);
}

TEST(Set, PutsTheLowByteIntoEveryByte) {
    std::vector<uint16_t> d(12, 0);
    EXPECT_EQ(Entries::Set(d.data(), 12, 0x1234, 2, 16, 3, 6), QM_OK);
    EXPECT_EQ(d, std::vector<uint16_t>(12, 0x3434));
    EXPECT_EQ(Entries::Set(d.data(), 12, 1, 2, 12, 3, 6), QM_OK);
    EXPECT_EQ(d, std::vector<uint16_t>(12, 0x0101));
}

TEST(SetValue, RefusesDepthsBelow8AndAbove16WhereCopyDoesNot) {
    const Bytes source(16, 1);
    for (const uint32_t bpc : {7u, 17u, 24u, 32u, 0u, 33u}) {
        Bytes d(64, 0);
        EXPECT_EQ(Entries::SetValue(d.data(), 1, bpc, 8, source.data(), 2, 2), QM_NO_KERNEL);
        EXPECT_EQ(Entries::SetComponentValue(d.data(), 1, bpc, 8, 0, 1, 2, 2), QM_NO_KERNEL);
        EXPECT_EQ(Entries::ChangeValue(d.data(), 1, bpc, 8, source.data(), d.data(), 2, 2),
                  QM_NO_KERNEL);
        EXPECT_EQ(d, Bytes(64, 0));
        EXPECT_EQ(Entries::Copy(d.data(), 16, source.data(), 16, 1, bpc, 2, 2), QM_OK);
        EXPECT_EQ(d[0], bpc == 0 ? 0 : 1);
    }
}

TEST(SetComponentValue, DoesNotCompareTheIndexWithTheComponents) {
    Bytes d(12, 0);
    EXPECT_EQ(Entries::SetComponentValue(d.data(), 2, 8, 6, 3, 0x1207, 2, 4), QM_OK);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 7, 0, 7, 0, 0, 0, 7, 0, 7}));
}

TEST(ChangeValue, ChangesPixelsOfWhichAllComponentsAreEqual) {
    Bytes d{1, 2, 3, 1, 2, 4, 3, 1, 2, 1, 2, 3};
    const Bytes old_value{1, 2, 3}, new_value{9, 8, 7};
    EXPECT_EQ(Entries::ChangeValue(d.data(), 3, 8, 6, new_value.data(), old_value.data(), 2, 4),
              QM_OK);
    EXPECT_EQ(d, (Bytes{9, 8, 7, 1, 2, 4, 3, 1, 2, 9, 8, 7}));
    // In words both bytes count.
    std::vector<uint16_t> words{0x0102, 0x0202, 0x0103};
    const uint16_t old_word = 0x0102, new_word = 5;
    EXPECT_EQ(Entries::ChangeValue(words.data(), 1, 9, 6, &new_word, &old_word, 3, 3), QM_OK);
    EXPECT_EQ(words, (std::vector<uint16_t>{5, 0x0202, 0x0103}));
}

// More components than any format has: past the sizes for which there is room at hand.
TEST(Values, OfVeryManyComponentsAreSetAndChanged) {
    for (const uint32_t components : {193u, 4096u, 4097u, 10001u}) {
        std::vector<uint16_t> value(components), other, d(3 * components + 1, 7);
        for (uint32_t i = 0; i < components; ++i) value[i] = static_cast<uint16_t>(i * 5);
        other = value;
        other.back() ^= 1;
        EXPECT_EQ(Entries::SetValue(d.data(), components, 16, components * 4, value.data(), 1, 1),
                  QM_OK);
        EXPECT_EQ(Entries::SetValue(d.data() + components, components, 16, components * 4,
                                    other.data(), 2, 2),
                  QM_OK);
        std::vector<uint16_t> expected = value;
        expected.insert(expected.end(), other.begin(), other.end());
        expected.insert(expected.end(), other.begin(), other.end());
        expected.push_back(7);
        EXPECT_EQ(d, expected);
        const std::vector<uint16_t> changed(components, 9);
        EXPECT_EQ(Entries::ChangeValue(d.data(), components, 16, components * 6, changed.data(),
                                       value.data(), 3, 3),
                  QM_OK);
        std::copy(changed.begin(), changed.end(), expected.begin());
        EXPECT_EQ(d, expected);
    }
}

TEST(SetColor, StoresTheHighestByteFirst) {
    Bytes d(24, 0);
    EXPECT_EQ(Entries::SetColor(d.data(), 1, 1, 3, 8, 12, 0xAA112233), QM_OK);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 0,    0,    0,    0, 0, 0, 0, 0, 0,  //
                        0, 0, 0, 0x11, 0x22, 0x33, 0, 0, 0, 0, 0, 0}));
    d.assign(24, 0);
    EXPECT_EQ(Entries::SetColor(d.data(), 2, 0, 4, 8, 12, 0xAA112233), QM_OK);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0xAA, 0x11, 0x22, 0x33,  //
                        0, 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,    0}));
    d.assign(24, 0);
    EXPECT_EQ(Entries::SetColor(d.data(), 3, 1, 1, 8, 12, 0xAA112233), QM_OK);
    EXPECT_EQ(d[15], 0x33);
    EXPECT_EQ(Entries::SetColor(d.data(), 3, 0, 1, 16, 12, 0xAA112233), QM_OK);
    EXPECT_EQ(d[6], 0x33);
    EXPECT_EQ(d[7], 0x22);
}

TEST(GetColor, ReadsOneAndThreeBytesAndNothingElseThatSetColorStores) {
    const Bytes s{0, 0, 0, 0, 0, 0,  //
                  0, 1, 2, 3, 4, 5};
    uint32_t color = 0xFFFFFFFF;
    EXPECT_EQ(Entries::GetColor(s.data(), 1, 1, 3, 8, 6, &color), QM_OK);
    EXPECT_EQ(color, 0x00030405u);
    color = 0xFFFFFFFF;
    EXPECT_EQ(Entries::GetColor(s.data(), 4, 1, 1, 8, 6, &color), QM_OK);
    EXPECT_EQ(color, 4u);
    EXPECT_EQ(Entries::GetColor(s.data(), 0, 0, 4, 8, 6, &color), QM_NO_KERNEL);
    EXPECT_EQ(Entries::GetColor(s.data(), 0, 0, 1, 16, 6, &color), QM_NO_KERNEL);
    EXPECT_EQ(color, 4u);
}

TEST(Colors, LieAtRowsFarApart) {
    constexpr uint32_t kStride = 0xFFFFF000;
    const size_t bytes = size_t{kStride} * 2 + 4096;
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    uint32_t color = 0;
    EXPECT_EQ(Entries::SetColor(memory, 5, 2, 3, 8, kStride, 0x112233), QM_OK);
    EXPECT_EQ(Entries::GetColor(memory, 5, 2, 3, 8, kStride, &color), QM_OK);
    EXPECT_EQ(color, 0x112233u);
    EXPECT_EQ(static_cast<uint8_t*>(memory)[size_t{kStride} * 2 + 15], 0x11);
    munmap(memory, bytes);
}

TEST(Compare, HasTheSignOfTheFirstByteInMemoryOrder) {
    const uint16_t greater = 0x0200, less = 0x0101;
    EXPECT_LT(Entries::Compare(&greater, 2, &less, 2, 16, 1, 1, 1, nullptr), 0);
    EXPECT_GT(Entries::Compare(&less, 2, &greater, 2, 16, 1, 1, 1, nullptr), 0);
}

TEST(Compare, PutsNothingButZeroIntoItsLastArgument) {
    const Bytes a{1, 2, 3, 4}, b{1, 2, 0, 9};
    int result = 77;
    EXPECT_EQ(Entries::Compare(a.data(), 4, a.data(), 4, 8, 1, 4, 4, &result), 0);
    EXPECT_EQ(result, 0);
    result = 77;
    EXPECT_GT(Entries::Compare(a.data(), 4, b.data(), 4, 8, 1, 4, 4, &result), 0);
    EXPECT_EQ(result, 0);
    result = 77;
    EXPECT_EQ(Entries::Compare(nullptr, 4, b.data(), 4, 8, 1, 4, 4, &result), 0);
    EXPECT_EQ(result, 0);
    // Gaps do not count.
    EXPECT_EQ(Entries::Compare(a.data(), 4, b.data(), 4, 8, 1, 2, 2, nullptr), 0);
}

TEST(CompareComponent, GivesTheDifferenceOfTheFirstUnequalPair) {
    const Bytes a{1, 3, 5, 7}, b{0, 0, 3, 0, 0, 10};
    EXPECT_EQ(Entries::CompareComponent(a.data(), 2, 4, 1, b.data(), 3, 6, 2, 8, 2, 2, nullptr),
              7 - 10);
    EXPECT_EQ(Entries::CompareComponent(b.data(), 3, 6, 2, a.data(), 2, 4, 1, 8, 2, 2, nullptr),
              10 - 7);
    const uint16_t most = 65535, none = 0;
    EXPECT_EQ(Entries::CompareComponent(&none, 1, 2, 0, &most, 1, 2, 0, 16, 1, 1, nullptr), -65535);
}

TEST(CompareComponent, TellsAnUnsupportedDepthThroughItsLastArgumentAlone) {
    const Bytes a(16, 1), b(16, 2);
    int result = 77;
    EXPECT_EQ(Entries::CompareComponent(a.data(), 1, 4, 0, b.data(), 1, 4, 0, 24, 1, 1, &result),
              0);
    EXPECT_EQ(result, QM_NO_KERNEL);
    EXPECT_EQ(Entries::CompareComponent(a.data(), 1, 4, 0, b.data(), 1, 4, 0, 24, 1, 1, nullptr),
              0);
    EXPECT_EQ(Entries::CompareComponent(a.data(), 1, 4, 0, nullptr, 1, 4, 0, 24, 1, 1, &result), 0);
    EXPECT_EQ(result, QM_OK);
}

// ----- Threads --------------------------------------------------------------------------------

size_t threads_of(bool (*run)(uint8_t* d, const uint8_t* s, uint32_t stride, uint32_t rows)) {
    constexpr uint32_t kRows = 64;
    const Bytes source(TouchedPages::kPage * kRows, 1);
    TouchedPages pages(kRows);
    EXPECT_TRUE(run(pages.data(), source.data(), TouchedPages::kPage, kRows));
    return pages.thread_count();
}

TEST(CopyParallel, ForksWhenItsCallerSaysSoHoweverFewRowsAndCopyNever) {
    omp_set_num_threads(2);
    Bytes d(8, 0);
    const Bytes s(8, 1);
    if (WatchedRegions::kWorks) {
        WatchedRegions regions;
        copyparallel(d.data(), 4, s.data(), 4, 1, 8, 4, 8, false);
        Entries::Copy(d.data(), 4, s.data(), 4, 1, 8, 4, 8);
        Entries::Set(d.data(), 4, 1, 1, 8, 4, 8);
        Entries::SetValue(d.data(), 1, 8, 4, s.data(), 4, 8);
        Entries::SetComponentValue(d.data(), 1, 8, 4, 0, 1, 4, 8);
        Entries::ChangeValue(d.data(), 1, 8, 4, s.data(), s.data(), 4, 8);
        Entries::Compare(d.data(), 4, s.data(), 4, 8, 1, 4, 8, nullptr);
        Entries::CompareComponent(d.data(), 1, 4, 0, s.data(), 1, 4, 0, 8, 4, 8, nullptr);
        EXPECT_EQ(regions.forks(), 0u);
        copyparallel(d.data(), 4, s.data(), 4, 1, 8, 4, 8, true);
        EXPECT_EQ(regions.teams(), std::vector<uint32_t>{0});  // the runtime's default size
    }
    EXPECT_EQ(threads_of([](uint8_t* to, const uint8_t* from, uint32_t stride, uint32_t rows) {
                  return copyparallel(to, stride, from, stride, 1, 8, stride / 2,
                                      uint64_t{stride} / 2 * rows, true) == QM_OK;
              }),
              2u);
    EXPECT_EQ(threads_of([](uint8_t* to, const uint8_t* from, uint32_t stride, uint32_t rows) {
                  return copyparallel(to, stride, from, stride, 1, 8, stride / 2,
                                      uint64_t{stride} / 2 * rows, false) == QM_OK;
              }),
              1u);
}

}  // namespace
}  // namespace qmpic::test
