#include "qmpic/kernels/masks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "PicMemAPI/masks_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

/// The value of a call, mostly one that masks of the unit can have, and a mask that has it often.
uint32_t draw_value(GuardedPicture& mask, Random& random) {
    const uint32_t all = mask.format().bits == 8 ? 0xFF : 0xFFFF;
    const uint32_t value = random.one_of({0u, 1u, 0x80u, all, all & random.any(), all});
    for (uint32_t y = 0; y < mask.size().height; ++y)
        for (uint32_t x = 0; x < mask.size().width; ++x)
            if (random(0, 1)) mask.set(x, y, value);
    return random(0, 7) == 0 ? value + all + 1 : value;  // the same low bits, and yet never equal
}

bool chosen(const GuardedPicture& mask, uint32_t x, uint32_t y, uint64_t value, bool inside) {
    return (mask.get(x, y) == value) == inside;
}

void check_component(CopyComponentMaskKernel* run, uint32_t bits, uint32_t mask_bits, bool inside,
                     Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(depths(bits));
    const uint32_t few = random(1, 4);  // one to one, three to one and four to one are loops apart
    const uint32_t dc = random(0, 1) ? 1 : random.components();
    const bool in_place = random(0, 3) == 0;
    const uint32_t sc = in_place ? dc : random(0, 1) ? few : random.components();
    const Size size = random.size(std::max(dc, sc));
    const GuardedPicture d({dc, bits, bpc}, size, random), other({sc, bits, bpc}, size, random);
    GuardedPicture mask({1, mask_bits, mask_bits}, size, random);
    const uint32_t value = draw_value(mask, random);
    const GuardedPicture& s = in_place ? d : other;
    const uint32_t i = random(0, dc - 1), j = random(0, sc - 1);
    auto expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if (chosen(mask, x, y, value, inside))
                expected[(size_t{y} * size.width + x) * dc + i] = s.get(x * sc + j, y);
    const auto outside = d.outside();

    ASSERT_EQ(run(d.data(), dc, d.stride(), i, s.data(), sc, s.stride(), j, mask.data(),
                  mask.stride(), size.width, size.pixels, value),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << ": " << j << " of "
                                     << sc << " to " << i << " of " << dc << ", value " << value;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

using PixelRun = std::function<int(const GuardedPicture& d, const GuardedPicture& s,
                                   const GuardedPicture& mask, uint32_t value)>;

void check_pixels(const PixelRun& run, Format format, uint32_t mask_bits, bool inside,
                  Round round) {
    Random& random = round.random;
    const uint32_t count = format.components;
    const Size size = random.size(count);
    const GuardedPicture d(format, size, random), other(format, size, random);
    GuardedPicture mask({1, mask_bits, mask_bits}, size, random);
    const uint32_t value = draw_value(mask, random);
    const GuardedPicture& s = random(0, 3) == 0 ? d : other;
    auto expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            for (uint32_t c = 0; c < count; ++c)
                if (chosen(mask, x, y, value, inside))
                    expected[(size_t{y} * size.width + x) * count + c] = s.get(x * count + c, y);
    const auto outside = d.outside();

    ASSERT_EQ(run(d, s, mask, value), QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << ": " << count << " x "
                                     << format.bpc << ", value " << value;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_any_pixels(CopyMaskKernel* run, uint32_t mask_bits, bool inside, Round round) {
    Random& random = round.random;
    const uint32_t bits = random.one_of({8u, 16u, 32u});
    // What is stored in 4 bytes counts 3 up to 24 bits: below.
    const uint32_t bpc = bits == 32 ? random(25, 32) : round.in_turn(depths(bits));
    const uint32_t components = random(0, 3) ? random(1, 8) : random.components();
    const PixelRun call = [=](const GuardedPicture& d, const GuardedPicture& s,
                              const GuardedPicture& mask, uint32_t value) {
        return run(d.data(), d.stride(), s.data(), s.stride(), components, bpc, mask.data(),
                   mask.stride(), d.size().width, d.size().pixels, value);
    };
    check_pixels(call, {components, bits, bpc}, mask_bits, inside, round);
}

void check_3x8(CopyMask3x8Kernel* run, bool inside, Round round) {
    const PixelRun call = [=](const GuardedPicture& d, const GuardedPicture& s,
                              const GuardedPicture& mask, uint32_t value) {
        return run(d.data(), d.stride(), s.data(), s.stride(), mask.data(), mask.stride(),
                   d.size().width, d.size().pixels, value);
    };
    check_pixels(call, {3, 8, 8}, 16, inside, round);
}

/// What a name says: its first number is the mask's unit.
uint32_t mask_bits(std::string_view name) { return name.find("_16_") != name.npos ? 16 : 8; }
uint32_t first_bits(std::string_view name) {
    const auto first = name.substr(name.find('_') + 1);
    return first.starts_with("16") ? 16 : 8;
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto* list : {&kCopyComponentMask8In, &kCopyComponentMask8Out,
                             &kCopyComponentMask16In, &kCopyComponentMask16Out})
        for (const auto& k : *list) {
            const bool inside = k.name.ends_with("_in");
            all.push_back({std::string(k.name), [=](Round round) {
                               check_component(k.run, k.source.bits, first_bits(k.name), inside,
                                               round);
                           }});
        }
    for (const auto* list : {&kCopyMaskIn, &kCopyMaskOut})
        for (const auto& k : *list)
            all.push_back({std::string(k.name),
                           [=](Round round) {
                               check_any_pixels(k.run, mask_bits(k.name), k.name.ends_with("_in"),
                                                round);
                           },
                           96});
    for (const auto& k : kCopyMask3x8)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_3x8(k.run, k.name.ends_with("_in"), round); }});
    return all;
}

int up_to_16_bits(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 16 ? QM_OK : QM_NO_KERNEL;
}
int never(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_NO_KERNEL; }
int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }
int rejected(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_REJECTED; }

EntryCase component_case(const std::string& suffix, uint32_t mask_bpc,
                         int (*documented)(uint32_t, uint32_t)) {
    return {"CQmPicMemAPI_Base::CopyComponentMask " + suffix,
            [=](const EntryCall& c) {
                return Api::CopyComponentMask(c.dst, c.components, c.stride, 0, c.src, c.components,
                                              c.stride, 0, c.bpc, c.src, c.stride, mask_bpc,
                                              c.width, c.size, 1, mask_bpc % 2 == 0);
            },
            documented};
}
EntryCase pixel_case(const std::string& suffix, uint32_t mask_bpc,
                     int (*documented)(uint32_t, uint32_t)) {
    return {"CQmPicMemAPI_Base::CopyMask " + suffix,
            [=](const EntryCall& c) {
                return Api::CopyMask(c.dst, c.stride, c.src, c.stride, c.components, c.bpc, c.src,
                                     mask_bpc, c.stride, c.width, c.size, 1, mask_bpc % 2 == 0);
            },
            documented};
}

const bool registered =
    add_cases(kernel_cases(),
              {component_case("8", 8, up_to_16_bits), component_case("1", 1, up_to_16_bits),
               component_case("0", 0, up_to_16_bits), component_case("9", 9, up_to_16_bits),
               component_case("16", 16, up_to_16_bits), component_case("17", 17, never),
               component_case("24", 24, never), pixel_case("0", 0, always),
               pixel_case("8", 8, always), pixel_case("9", 9, always), pixel_case("16", 16, always),
               pixel_case("17", 17, rejected), pixel_case("24", 24, rejected)});

// Every kernel does its own: sense, mask unit and component unit, seen from the entry.
TEST(CopyComponentMask, ChoosesByMaskAndComponents) {
    for (const uint32_t mask_bpc : {0u, 1u, 8u, 9u, 16u})
        for (const uint32_t bpc : {0u, 7u, 8u, 9u, 16u})
            for (const bool inside : {true, false}) {
                const uint8_t mask8[2] = {0x05, 0x06};
                const uint16_t mask16[2] = {0x0305, 0x0306};
                const bool wide = mask_bpc > 8;
                const void* const mask = wide ? static_cast<const void*>(mask16) : mask8;
                const uint16_t s[2] = {0x0102, 0x0304};
                uint16_t d[2] = {0x0A0A, 0x0B0B};
                ASSERT_EQ(Api::CopyComponentMask(d, 1, 4, 0, s, 1, 4, 0, bpc, mask, 4, mask_bpc, 2,
                                                 2, wide ? 0x0305 : 5, inside),
                          QM_OK);
                // Of bytes, the two are those of the first word.
                const uint16_t first = inside ? 0x0A02 : 0x010A;
                const uint16_t words[2] = {inside ? uint16_t{0x0102} : uint16_t{0x0A0A},
                                           inside ? uint16_t{0x0B0B} : uint16_t{0x0304}};
                EXPECT_EQ(d[0], bpc <= 8 ? first : words[0]) << mask_bpc << ", " << bpc;
                EXPECT_EQ(d[1], bpc <= 8 ? 0x0B0B : words[1]) << mask_bpc << ", " << bpc;
            }
}

TEST(CopyComponentMask, MovesAComponentBetweenDifferentPictures) {
    std::vector<uint8_t> d{1, 2, 3, 4, 5, 6};
    const uint8_t s[8] = {11, 12, 13, 14, 15, 16, 17, 18}, mask[2] = {255, 0};
    EXPECT_EQ(Api::CopyComponentMask(d.data(), 3, 6, 1, s, 4, 8, 3, 8, mask, 2, 8, 2, 2, 0, true),
              QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{1, 2, 3, 4, 18, 6}));
}

TEST(CopyMask, ComparesTheValueWhole) {  // 0x105 is no byte, 0x10005 no word
    for (const bool inside : {true, false}) {
        const uint16_t mask[3] = {0x0505, 0x0505, 0x0505};
        for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
            for (const auto& [mask_bpc, value] : {std::pair(8u, 0x105u), {16u, 0x10505u}}) {
                std::vector<uint8_t> d(components, 7);
                const std::vector<uint8_t> s(components, 9);
                const uint32_t stride = components;
                EXPECT_EQ(Api::CopyMask(d.data(), stride, s.data(), stride, components, 8, mask,
                                        mask_bpc, 6, 1, 1, value, inside),
                          QM_OK);
                EXPECT_EQ(d, std::vector<uint8_t>(components, inside ? 7 : 9)) << components;
            }
        uint8_t d = 7;
        const uint8_t s = 9;
        EXPECT_EQ(
            Api::CopyComponentMask(&d, 1, 1, 0, &s, 1, 1, 0, 8, mask, 6, 8, 1, 1, 0x105, inside),
            QM_OK);
        EXPECT_EQ(d, inside ? 7 : 9);
    }
}

TEST(CopyMask, OfMoreThan16BitsIsRejectedAndNotUnknown) {
    uint8_t d = 7;
    const uint8_t s = 9;
    const uint32_t mask = 1;
    EXPECT_EQ(Api::CopyMask(&d, 1, &s, 1, 1, 8, &mask, 24, 4, 1, 1, 1, true), QM_REJECTED);
    EXPECT_EQ(Api::CopyComponentMask(&d, 1, 1, 0, &s, 1, 1, 0, 8, &mask, 4, 24, 1, 1, 1, true),
              QM_NO_KERNEL);
    EXPECT_EQ(Api::CopyMask(&d, 1, nullptr, 1, 1, 8, &mask, 24, 4, 1, 1, 1, true), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(CopyMask, Takes3BytesAComponentFrom17To24Bits) {
    std::vector<uint8_t> d(8, 0);
    const std::vector<uint8_t> s{1, 2, 3, 4, 5, 6, 7, 8};
    const uint8_t mask[2] = {0, 1};
    EXPECT_EQ(Api::CopyMask(d.data(), 8, s.data(), 8, 1, 24, mask, 8, 2, 2, 2, 1, true), QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{0, 0, 0, 4, 5, 6, 0, 0}));
}

TEST(CopyMask, OfWordsHasPixelsOfThreeBytesAtEveryDepthUpTo8) {
    for (const uint32_t bpc : {0u, 1u, 8u}) {
        uint8_t d[3] = {7, 7, 7};
        const uint8_t s[3] = {1, 2, 3};
        const uint16_t mask = 0x0101;
        EXPECT_EQ(Api::CopyMask(d, 3, s, 3, 3, bpc, &mask, 16, 2, 1, 1, 0x0101, true), QM_OK);
        EXPECT_EQ(d[2], 3) << bpc;
        // A mask of bytes counts none for a depth of 0.
        d[2] = 7;
        EXPECT_EQ(Api::CopyMask(d, 3, s, 3, 3, bpc, &mask, 8, 2, 1, 1, 1, true), QM_OK);
        EXPECT_EQ(d[2], bpc == 0 ? 7 : 3) << bpc;
    }
}

TEST(CopyMask, MayBeGovernedByThePictureThatItChanges) {  // 5 becomes what the other has there
    std::vector<uint8_t> d(100, 5), expected(100, 9);
    for (size_t i = 0; i < 100; i += 3) d[i] = expected[i] = 6;
    const std::vector<uint8_t> s(100, 9);
    EXPECT_EQ(
        Api::CopyMask(d.data(), 100, s.data(), 100, 1, 8, d.data(), 8, 100, 100, 100, 5, true),
        QM_OK);
    EXPECT_EQ(d, expected);
}

}  // namespace
}  // namespace qmpic::test
