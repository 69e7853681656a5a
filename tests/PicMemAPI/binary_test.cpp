#include "qmpic/kernels/binary.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "PicMemAPI/binary_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/mask_reference.h"
#include "support/regions.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- Packing -----------------------------------------------------------------------------------

/// What "differs" means for pixels of several components.
enum class Differs { InEach, InAny, InBothPairs };

struct PackTest {
    uint32_t components, bits;  // 0 components: any
    std::vector<uint32_t> compares;
    Differs differs;
};

PackTest pack_test(std::string_view name) {
    if (name == "pack_1x8_to_bin") return {1, 8, {0, 1, 2, 3}, Differs::InEach};
    if (name == "pack_1x16_to_bin") return {1, 16, {0, 1, 3}, Differs::InEach};
    if (name == "pack_3x8_to_bin") return {3, 8, {0, 1}, Differs::InEach};
    if (name == "pack_3x16_to_bin") return {3, 16, {0, 1}, Differs::InEach};
    if (name == "pack_4x8_to_bin") return {4, 8, {0, 1}, Differs::InAny};
    if (name == "pack_4x16_to_bin") return {4, 16, {0, 1}, Differs::InBothPairs};
    return {0, name == "pack_Nx8_to_bin" ? 8u : 16u, {0, 1}, Differs::InEach};
}

/// The bit of a pixel.
bool packed(const std::vector<uint64_t>& pixel, const std::vector<uint64_t>& reference,
            uint32_t compare, Differs differs) {
    if (compare == 2) return pixel[0] > reference[0];
    if (compare == 3) return (pixel[0] & reference[0]) != 0;
    std::vector<bool> differ;
    for (size_t c = 0; c < pixel.size(); ++c) differ.push_back(pixel[c] != reference[c]);
    const bool any = std::count(differ.begin(), differ.end(), true) != 0;
    if (compare == 0) return !any;
    if (differs == Differs::InAny) return any;
    if (differs == Differs::InBothPairs)
        return (differ[0] || differ[1]) && (differ[2] || differ[3]);
    return std::count(differ.begin(), differ.end(), false) == 0;
}

/// A pixel as it is stored.
std::vector<uint8_t> stored(const std::vector<uint64_t>& pixel, uint32_t bits) {
    std::vector<uint8_t> bytes;
    for (const uint64_t value : pixel)
        for (uint32_t i = 0; i < bits; i += 8) bytes.push_back(static_cast<uint8_t>(value >> i));
    return bytes;
}

using PackRun =
    std::function<int(void* mask, uint32_t first_bit, uint32_t mask_stride, const GuardedPicture& s,
                      const void* reference, uint32_t compare, uint32_t merge)>;

void check_pack(const PackTest& test, const PackRun& run, Round round) {
    Random& random = round.random;
    const uint32_t count = test.components != 0 ? test.components : random.components();
    const Format format{count, test.bits, round.in_turn(depths(test.bits))};
    const Size size = random.size(count);
    GuardedPicture s(format, size, random);
    std::vector<uint64_t> reference;
    for (uint32_t c = 0; c < count; ++c) reference.push_back(random.sample(format));
    const uint32_t one_in = random.one_of({2u, 3u, 20u});  // few samples differ in some rounds
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i)
            if (random(1, one_in) != 1) s.set(i, y, reference[i % count]);
    const uint32_t first_bit = random(0, 1) ? random(0, 7) : 0, merge = random(0, 2);
    const uint32_t compare =
        test.compares[random(0, static_cast<uint32_t>(test.compares.size()) - 1)];
    const Size mask_size{mask_bytes(first_bit, size.width), size.height};
    const GuardedPicture mask({1, 8, 8}, mask_size, random);
    const auto expected = merged_mask(mask, first_bit, size, merge, [&](uint32_t x, uint32_t y) {
        std::vector<uint64_t> pixel;
        for (uint32_t c = 0; c < count; ++c) pixel.push_back(s.get(x * count + c, y));
        return packed(pixel, reference, compare, test.differs);
    });
    const auto outside = mask.outside();

    ASSERT_EQ(run(mask.data(), first_bit, mask.stride(), s, stored(reference, test.bits).data(),
                  compare, merge),
              QM_OK);

    ASSERT_EQ(mask.content(), expected)
        << size.width << " x " << size.height << " pixels of " << count << " at " << first_bit
        << ", compare " << compare << ", merge " << merge;
    ASSERT_EQ(mask.outside(), outside);
    round.digest.add(expected);
}

// ----- Unpacking ---------------------------------------------------------------------------------

using UnpackRun = std::function<int(const GuardedPicture& d, const void* value, const void* mask,
                                    uint32_t first_bit, uint32_t mask_stride, uint32_t merge)>;

void check_unpack(Layout layout, const UnpackRun& run, Round round) {
    Random& random = round.random;
    const uint32_t count = layout.components != 0 ? layout.components : random.components();
    const Format format{count, layout.bits, round.in_turn(depths(layout.bits))};
    const Size size = random.size(count);
    const GuardedPicture d(format, size, random);
    std::vector<uint64_t> value;
    for (uint32_t c = 0; c < count; ++c) value.push_back(random.sample(format));
    // An area that ends within its first byte, and does not begin with it, is for nobody.
    const uint32_t first_bit = random(0, 1) && size.width >= 8 ? random(0, 7) : 0;
    const uint32_t merge = random(0, 2);
    const Size mask_size{mask_bytes(first_bit, size.width), size.height};
    const GuardedPicture mask({1, 8, 8}, mask_size, random);
    auto expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            for (uint32_t c = 0; c < count; ++c) {
                const uint32_t at = first_bit + x;
                const bool is_set = (mask.get(at / 8, y) & 0x80u >> at % 8) != 0;
                uint64_t& sample = expected[(size_t{y} * size.width + x) * count + c];
                const uint64_t made = is_set ? value[c] : 0;
                sample = merge == 0 ? made : merge == 1 ? sample | made : sample & made;
            }
    const auto outside = d.outside();
    const auto bits = mask.content();

    ASSERT_EQ(
        run(d, stored(value, layout.bits).data(), mask.data(), first_bit, mask.stride(), merge),
        QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of " << count
                                     << " at " << first_bit << ", merge " << merge;
    ASSERT_EQ(d.outside(), outside);
    ASSERT_EQ(mask.content(), bits);
    round.digest.add(expected);
}

/// Calls in all threads of a region, as the kernels ask that share their rows among these; in a
/// nested region there is one. Any code that is not 0 is the result.
template <class Call>
int in_region(int threads, Call call) {
    std::atomic<int> code = QM_OK;
#pragma omp parallel num_threads(threads)
    {
        const int mine = call();
        if (mine != QM_OK) code = mine;
    }
    return code;
}

bool is_shared(std::string_view name) {
    return name.ends_with("_mt") && name != "unpack_bin_to_1x8_mt";
}

template <class Call>
int as_meant(std::string_view name, uint32_t threads, Call call) {
    return is_shared(name) ? in_region(static_cast<int>(threads), call) : call();
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kPack)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           check_pack(
                               pack_test(k.name),
                               [=](void* mask, uint32_t bit, uint32_t stride,
                                   const GuardedPicture& s, const void* reference, uint32_t compare,
                                   uint32_t merge) {
                                   return k.run(mask, bit, stride, s.data(), s.stride(), reference,
                                                compare, s.size().width, s.size().pixels, merge);
                               },
                               round);
                       },
                       144});
    for (const auto& k : kPackAny)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           check_pack(
                               pack_test(k.name),
                               [=](void* mask, uint32_t bit, uint32_t stride,
                                   const GuardedPicture& s, const void* reference, uint32_t compare,
                                   uint32_t merge) {
                                   return k.run(mask, bit, stride, s.data(), s.format().components,
                                                s.stride(), reference, compare, s.size().width,
                                                s.size().pixels, merge);
                               },
                               round);
                       },
                       144});
    for (const auto* list : {&kUnpack, &kUnpackMt})
        for (const auto& k : *list)
            all.push_back({std::string(k.name),
                           [=](Round round) {
                               const uint32_t threads = round.random(1, 4);
                               check_unpack(
                                   k.source,
                                   [=](const GuardedPicture& d, const void* value, const void* mask,
                                       uint32_t bit, uint32_t stride, uint32_t merge) {
                                       return as_meant(k.name, threads, [&] {
                                           return k.run(d.data(), value, d.stride(), mask, bit,
                                                        stride, d.size().width, d.size().pixels,
                                                        merge);
                                       });
                                   },
                                   round);
                           },
                           96});
    for (const auto* list : {&kUnpackAny, &kUnpackAnyMt})
        for (const auto& k : *list)
            all.push_back({std::string(k.name),
                           [=](Round round) {
                               const uint32_t threads = round.random(1, 4);
                               check_unpack(
                                   k.source,
                                   [=](const GuardedPicture& d, const void* value, const void* mask,
                                       uint32_t bit, uint32_t stride, uint32_t merge) {
                                       return as_meant(k.name, threads, [&] {
                                           return k.run(d.data(), d.format().components, value,
                                                        d.stride(), mask, bit, stride,
                                                        d.size().width, d.size().pixels, merge);
                                       });
                                   },
                                   round);
                           },
                           96});
    return all;
}

// ----- Entries -----------------------------------------------------------------------------------

constexpr uint32_t kPixel[6] = {};

int by_value(uint32_t components, uint32_t bpc) {
    return components == 1 && bpc >= 17 && bpc <= 32 ? QM_OK : bytes_and_words(components, bpc);
}

std::vector<EntryCase> entry_cases() {
    return {
        {"CQmPicMemAPI_Base::PackToBinary pointer",
         [](const EntryCall& c) {
             return Api::PackToBinary(c.dst, 3, c.stride, c.src, c.components, c.bpc, c.stride,
                                      static_cast<const void*>(kPixel), 1, c.width, c.size, 0);
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::PackToBinary value",
         [](const EntryCall& c) {
             return Api::PackToBinary(c.dst, 3, c.stride, c.src, c.components, c.bpc, c.stride,
                                      uint64_t{0x0101}, 0, c.width, c.size, 1);
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::UnpackFromBinary pointer",
         [](const EntryCall& c) {
             return Api::UnpackFromBinary(c.dst, c.components, c.bpc,
                                          static_cast<const void*>(kPixel), c.stride, c.src, 12,
                                          c.stride, c.width, c.size, 0);
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::UnpackFromBinary value",
         [](const EntryCall& c) {
             return Api::UnpackFromBinary(c.dst, c.components, c.bpc, uint64_t{5}, c.stride, c.src,
                                          0, c.stride, c.width, c.size, 2);
         },
         by_value},
        {"CQmPicMemAPI_Base::UnpackFromBinaryMT pointer",
         [](const EntryCall& c) {
             return in_region(1, [&] {
                 return Api::UnpackFromBinaryMT(c.dst, c.components, c.bpc,
                                                static_cast<const void*>(kPixel), c.stride, c.src,
                                                12, c.stride, c.width, c.size, 0);
             });
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::UnpackFromBinaryMT value",
         [](const EntryCall& c) {
             return in_region(1, [&] {
                 return Api::UnpackFromBinaryMT(c.dst, c.components, c.bpc, uint64_t{5}, c.stride,
                                                c.src, 0, c.stride, c.width, c.size, 2);
             });
         },
         by_value},
    };
}

const bool registered = add_cases(kernel_cases(), entry_cases());

// ----- Worked numbers ----------------------------------------------------------------------------

using Bytes = std::vector<uint8_t>;

/// pack_1x8_to_bin of one row through the entry, into a mask of three bytes.
Bytes packed_row(Bytes mask, uint32_t x, const Bytes& pixels, uint8_t reference, uint32_t compare,
                 uint32_t merge) {
    const auto width = static_cast<uint32_t>(pixels.size());
    EXPECT_EQ(Api::PackToBinary(mask.data(), x, 3, pixels.data(), 1, 8, width, uint64_t{reference},
                                compare, width, width, merge),
              QM_OK);
    return mask;
}

TEST(PackToBinary, HasTheLeftmostPixelInTheTopBit) {
    EXPECT_EQ(packed_row({0, 0, 0}, 0, {5, 0, 0, 0, 0, 0, 0, 0}, 5, 0, 0), (Bytes{0x80, 0, 0}));
    EXPECT_EQ(packed_row({0, 0, 0}, 0, {0, 0, 0, 0, 0, 0, 0, 5}, 5, 0, 0), (Bytes{0x01, 0, 0}));
}

TEST(PackToBinary, BeginsInTheByteAndBitOfItsColumn) {
    EXPECT_EQ(packed_row({0, 0, 0}, 10, {5}, 5, 0, 1), (Bytes{0, 0x20, 0}));
    EXPECT_EQ(packed_row({0, 0, 0}, 8, {5, 5, 5, 5, 5, 5, 5, 5}, 5, 0, 0), (Bytes{0, 0xFF, 0}));
    EXPECT_EQ(packed_row({0xA5, 0, 0x5A}, 8, {5, 5, 5, 5, 5, 5, 5, 5}, 5, 0, 0),
              (Bytes{0xA5, 0xFF, 0x5A}));
}

TEST(PackToBinary, KeepsTheOldBitOfTheFirstPixelBehindABytesBegin) {
    EXPECT_EQ(packed_row({0xFF, 0, 0}, 3, {0, 0, 0, 0, 0}, 5, 0, 0), (Bytes{0xF0, 0, 0}));
    EXPECT_EQ(packed_row({0x00, 0, 0}, 3, {5, 0, 0, 0, 0}, 5, 0, 0), (Bytes{0x10, 0, 0}));
    // Under AND it becomes the old one, also where the new one is clear.
    EXPECT_EQ(packed_row({0xFF, 0, 0}, 3, {0, 5, 0, 5, 0}, 5, 0, 2), (Bytes{0xFA, 0, 0}));
    EXPECT_EQ(packed_row({0xE0, 0, 0}, 3, {5, 5, 5, 5, 5}, 5, 0, 2), (Bytes{0xE0, 0, 0}));
    EXPECT_EQ(packed_row({0xE0, 0, 0}, 3, {5, 0, 5, 0, 0}, 5, 0, 1), (Bytes{0xF4, 0, 0}));
}

TEST(PackToBinary, ClearsTheBitBehindTheLastPixel) {
    EXPECT_EQ(packed_row({0x00, 0, 0}, 0, {5, 5, 5}, 5, 0, 0), (Bytes{0xE0, 0, 0}));
    EXPECT_EQ(packed_row({0xFF, 0, 0}, 0, {5, 5, 5}, 5, 0, 0), (Bytes{0xEF, 0, 0}));
    EXPECT_EQ(packed_row({0xFF, 0, 0}, 0, {5, 0, 5}, 5, 0, 2), (Bytes{0xAF, 0, 0}));
    EXPECT_EQ(packed_row({0xFF, 0, 0}, 0, {0, 0, 0}, 5, 0, 1), (Bytes{0xFF, 0, 0}));
    // Seven pixels and the bit behind them: nothing of the byte remains.
    EXPECT_EQ(packed_row({0xFF, 0xFF, 0}, 0, {0, 0, 0, 0, 0, 0, 0}, 5, 0, 0), (Bytes{0, 0xFF, 0}));
}

TEST(PackToBinary, ClearsAllBehindAnAreaWithinOneByte) {
    // 2 pixels at bit 3: bits 7 to 5 and the first pixel's own are kept.
    EXPECT_EQ(packed_row({0xFF, 0xFF, 0}, 3, {0, 0}, 5, 0, 0), (Bytes{0xF0, 0xFF, 0}));
    EXPECT_EQ(packed_row({0xFF, 0xFF, 0}, 3, {0, 5}, 5, 0, 2), (Bytes{0xF8, 0xFF, 0}));
    EXPECT_EQ(packed_row({0xE7, 0xFF, 0}, 3, {5, 0}, 5, 0, 1), (Bytes{0xF7, 0xFF, 0}));
}

TEST(PackToBinary, ComparesBytesInFourWays) {
    const Bytes pixels{4, 5, 6, 0, 255, 2, 1, 5};
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 5, 0, 0)[0], 0b01000001);
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 5, 1, 0)[0], 0b10111110);
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 5, 2, 0)[0], 0b00101000);
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 5, 3, 0)[0], 0b11101011);
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 255, 2, 0)[0], 0);
    EXPECT_EQ(packed_row({0, 0, 0}, 0, pixels, 0, 3, 0)[0], 0);
}

TEST(PackToBinary, ComparesWordsWhole) {
    const uint16_t pixels[8] = {0x1005, 5, 0x1000, 0, 0xF005, 5, 0, 0};
    uint8_t mask = 0;
    const auto pack = [&](uint64_t reference, uint32_t compare) {
        return Api::PackToBinary(&mask, 0, 1, pixels, 1, 12, 16, reference, compare, 8, 8, 0);
    };
    EXPECT_EQ(pack(5, 0), QM_OK);
    EXPECT_EQ(mask, 0b01000100);  // bits above the depth count
    EXPECT_EQ(pack(5, 1), QM_OK);
    EXPECT_EQ(mask, 0b10111011);
    EXPECT_EQ(pack(0x1000, 3), QM_OK);
    EXPECT_EQ(mask, 0b10101000);
}

// "Differs" on pixels that have 0, 1, 2, ... of their components changed.
template <class T>
uint8_t differing(uint32_t components, const std::vector<std::vector<T>>& pixels,
                  const std::vector<T>& reference, bool any_kernel = false) {
    std::vector<T> row;
    for (const auto& pixel : pixels) row.insert(row.end(), pixel.begin(), pixel.end());
    row.resize(8 * components, 0);
    uint8_t mask = 0xFF;
    const auto stride = static_cast<uint32_t>(row.size() * sizeof(T));
    const uint32_t bpc = 8 * sizeof(T);
    if (any_kernel)
        EXPECT_EQ((sizeof(T) == 1 ? pack_Nx8_to_bin : pack_Nx16_to_bin)(
                      &mask, 0, 1, row.data(), components, stride, reference.data(), 1, 8, 8, 0),
                  QM_OK);
    else
        EXPECT_EQ(Api::PackToBinary(&mask, 0, 1, row.data(), components, bpc, stride,
                                    static_cast<const void*>(reference.data()), 1, 8, 8, 0),
                  QM_OK);
    return mask;
}

TEST(PackToBinary, DiffersInEachComponentOfThree) {
    using P = std::vector<uint8_t>;
    EXPECT_EQ(differing<uint8_t>(3, {P{1, 2, 3}, P{9, 2, 3}, P{9, 9, 3}, P{9, 9, 9}}, {1, 2, 3}),
              0b00011111);  // the rest of the row is 0
    using Q = std::vector<uint16_t>;
    EXPECT_EQ(differing<uint16_t>(3, {Q{1, 2, 3}, Q{9, 2, 3}, Q{9, 9, 3}, Q{9, 9, 9}}, {1, 2, 3}),
              0b00011111);
}

TEST(PackToBinary, DiffersInAnyComponentOfFourBytes) {
    using P = std::vector<uint8_t>;
    const std::vector<P> pixels{P{1, 2, 3, 4}, P{9, 2, 3, 4}, P{1, 2, 3, 9}, P{9, 9, 9, 9}};
    EXPECT_EQ(differing<uint8_t>(4, pixels, {1, 2, 3, 4}), 0b01111111);
    EXPECT_EQ(differing<uint8_t>(4, pixels, {1, 2, 3, 4}, true),
              0b00011111);  // but not the N kernel
}

TEST(PackToBinary, DiffersInBothPairsOfFourWords) {
    using P = std::vector<uint16_t>;
    const std::vector<P> pixels{P{1, 2, 3, 4}, P{9, 9, 3, 4}, P{1, 2, 9, 9},
                                P{9, 2, 3, 9}, P{1, 9, 9, 4}, P{9, 9, 9, 9}};
    EXPECT_EQ(differing<uint16_t>(4, pixels, {1, 2, 3, 4}), 0b00011111);
    EXPECT_EQ(differing<uint16_t>(4, pixels, {1, 2, 3, 4}, true), 0b00000111);
}

TEST(PackToBinary, RefusesComparisonsThatAKernelDoesNotHave) {
    const uint64_t pixels[4] = {};
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 16u})
            for (const uint32_t compare : {0u, 1u, 2u, 3u, 4u, 0x80000000u})
                for (const uint32_t merge : {0u, 3u}) {
                    uint8_t mask = 0xA5;
                    const bool has = compare <= 1 || (components == 1 && compare <= 3 &&
                                                      (bpc == 8 || compare == 3));
                    // An unknown merge is refused, but by one kernel, which does nothing instead.
                    const bool quiet = (components == 2 || components == 5) && bpc == 8 &&
                                       compare == 1 && merge == 3;
                    EXPECT_EQ(
                        Api::PackToBinary(&mask, 0, 1, pixels, components, bpc, 32,
                                          static_cast<const void*>(pixels), compare, 1, 1, merge),
                        (has && merge == 0) || quiet ? QM_OK : QM_NO_KERNEL)
                        << components << " x " << bpc << ", " << compare << ", " << merge;
                    if (!has || merge == 3) {
                        EXPECT_EQ(mask, 0xA5);
                    }
                }
}

TEST(PackToBinary, OfNoComponentsSetsEveryBit) {
    for (const uint32_t bpc : {8u, 16u})
        for (const uint32_t compare : {0u, 1u}) {
            Bytes mask(3, 0);
            EXPECT_EQ(Api::PackToBinary(mask.data(), 0, 3, mask.data(), 0, bpc, 0, uint64_t{0},
                                        compare, 24, 24, 0),
                      QM_OK);
            EXPECT_EQ(mask, Bytes(3, 0xFF));
        }
}

TEST(PackToBinary, TakesAReferenceByItsBytesAndZerosBehind) {
    // 10 components of a byte: the last two are compared with 0.
    Bytes row{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0, 1};
    uint8_t mask = 0;
    EXPECT_EQ(Api::PackToBinary(&mask, 0, 1, row.data(), 10, 8, 20, uint64_t{0x0807060504030201}, 0,
                                2, 2, 0),
              QM_OK);
    EXPECT_EQ(mask, 0x80);
    const uint16_t words[5] = {0x0201, 0x0403, 0x0605, 0x0807, 0};
    EXPECT_EQ(
        Api::PackToBinary(&mask, 0, 1, words, 5, 16, 10, uint64_t{0x0807060504030201}, 0, 1, 1, 0),
        QM_OK);
    EXPECT_EQ(mask, 0x80);
    // More components than there are elsewhere.
    Bytes many(300, 0);
    many[0] = 7;
    mask = 0;
    EXPECT_EQ(Api::PackToBinary(&mask, 0, 1, many.data(), 300, 8, 300, uint64_t{7}, 0, 1, 1, 0),
              QM_OK);
    EXPECT_EQ(mask, 0x80);
}

TEST(PackToBinary, ReadsNoReferenceForNothing) {
    uint8_t mask = 0xA5;
    const void* const none = nullptr;
    EXPECT_EQ(Api::PackToBinary(&mask, 0, 1, nullptr, 1, 8, 1, none, 0, 1, 1, 0), QM_OK);
    EXPECT_EQ(Api::PackToBinary(nullptr, 0, 1, &mask, 1, 8, 1, none, 0, 1, 1, 0), QM_OK);
    EXPECT_EQ(Api::PackToBinary(&mask, 0, 1, &mask, 1, 24, 1, none, 0, 1, 1, 0), QM_NO_KERNEL);
    EXPECT_EQ(mask, 0xA5);
}

TEST(PackToBinary, DoesNotProcessAnIncompleteRow) {
    Bytes mask(3, 0x55);
    const Bytes pixels(25, 5);
    EXPECT_EQ(
        Api::PackToBinary(mask.data(), 0, 1, pixels.data(), 1, 8, 8, uint64_t{5}, 0, 8, 23, 0),
        QM_OK);
    EXPECT_EQ(mask, (Bytes{0xFF, 0xFF, 0x55}));
}

// ----- Unpacking ---------------------------------------------------------------------------------

TEST(UnpackFromBinary, PaintsWhereTheMaskIsSet) {
    const uint8_t mask[2] = {0x01, 0x80};  // pixels 7 and 8
    Bytes d(4, 9);
    EXPECT_EQ(Api::UnpackFromBinary(d.data(), 1, 8, uint64_t{0x1FF}, 4, mask, 6, 2, 4, 4, 0),
              QM_OK);
    EXPECT_EQ(d, (Bytes{0, 255, 255, 0}));
}

TEST(UnpackFromBinary, OrsAndAndsTheComponents) {
    const uint8_t mask = 0x80, value[3] = {1, 2, 4};
    Bytes d{8, 8, 8, 8, 8, 8};
    EXPECT_EQ(Api::UnpackFromBinary(d.data(), 3, 8, static_cast<const void*>(value), 6, &mask, 0, 1,
                                    2, 2, 1),
              QM_OK);
    EXPECT_EQ(d, (Bytes{9, 10, 12, 8, 8, 8}));
    d = {3, 3, 3, 3, 3, 3};
    EXPECT_EQ(Api::UnpackFromBinary(d.data(), 3, 8, static_cast<const void*>(value), 6, &mask, 0, 1,
                                    2, 2, 2),
              QM_OK);
    EXPECT_EQ(d, (Bytes{1, 2, 0, 0, 0, 0}));
}

TEST(UnpackFromBinary, ClipsNothing) {
    const uint8_t mask = 0x80;
    uint16_t d = 0;
    EXPECT_EQ(Api::UnpackFromBinary(&d, 1, 9, uint64_t{0xABCD}, 2, &mask, 0, 1, 1, 1, 0), QM_OK);
    EXPECT_EQ(d, 0xABCD);
}

TEST(UnpackFromBinary, Takes32BitsByValueOnly) {
    const uint8_t mask = 0x80;
    const uint32_t value = 0x89ABCDEF;
    for (const uint32_t bpc : {17u, 24u, 32u}) {
        uint32_t d = 7;
        const void* const pixel = &value;
        EXPECT_EQ(Api::UnpackFromBinary(&d, 1, bpc, pixel, 4, &mask, 0, 1, 1, 1, 0), QM_NO_KERNEL);
        EXPECT_EQ(Api::UnpackFromBinaryMT(&d, 1, bpc, pixel, 4, &mask, 0, 1, 1, 1, 0),
                  QM_NO_KERNEL);
        EXPECT_EQ(d, 7u);
        EXPECT_EQ(Api::UnpackFromBinary(&d, 1, bpc, uint64_t{value}, 4, &mask, 0, 1, 1, 1, 0),
                  QM_OK);
        EXPECT_EQ(d, value);
        d = 7;
        EXPECT_EQ(Api::UnpackFromBinaryMT(&d, 1, bpc, uint64_t{value}, 4, &mask, 0, 1, 1, 1, 0),
                  QM_OK);
        EXPECT_EQ(d, value);
    }
}

TEST(UnpackFromBinary, RefusesUnknownMerges) {
    const uint8_t mask = 0xFF;
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 12u})
            for (const uint32_t merge : {3u, 0xFFFFFFFFu}) {
                Bytes d(10, 7);
                EXPECT_EQ(Api::UnpackFromBinary(d.data(), components, bpc, uint64_t{1}, 10, &mask,
                                                0, 1, 1, 1, merge),
                          QM_NO_KERNEL);
                EXPECT_EQ(Api::UnpackFromBinaryMT(d.data(), components, bpc, uint64_t{1}, 10, &mask,
                                                  0, 1, 1, 1, merge),
                          QM_NO_KERNEL);
                EXPECT_EQ(d, Bytes(10, 7));
            }
    uint32_t d = 7;
    EXPECT_EQ(Api::UnpackFromBinary(&d, 1, 24, uint64_t{1}, 4, &mask, 0, 1, 1, 1, 3), QM_NO_KERNEL);
    EXPECT_EQ(d, 7u);
}

TEST(UnpackFromBinary, TakesAValueByItsBytesAndZerosBehind) {
    const uint8_t mask = 0x80;
    Bytes d(10, 9);
    EXPECT_EQ(Api::UnpackFromBinary(d.data(), 10, 8, uint64_t{0x0807060504030201}, 10, &mask, 0, 1,
                                    1, 1, 0),
              QM_OK);
    EXPECT_EQ(d, (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 0}));
    Bytes many(300, 9), expected(300, 0);
    expected[0] = 3;
    EXPECT_EQ(Api::UnpackFromBinary(many.data(), 300, 8, uint64_t{3}, 300, &mask, 0, 1, 1, 1, 0),
              QM_OK);
    EXPECT_EQ(many, expected);
}

TEST(UnpackFromBinary, UndoesPacking) {
    Bytes pixels(1000, 0);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = i * i % 7 < 3 ? 200 : 0;
    for (const uint32_t x : {0u, 5u, 8u, 13u}) {
        Bytes mask(130, 0xA5), d(1000, 1);
        EXPECT_EQ(Api::PackToBinary(mask.data(), x, 130, pixels.data(), 1, 8, 1000, uint64_t{200},
                                    0, 1000, 1000, 0),
                  QM_OK);
        EXPECT_EQ(Api::UnpackFromBinary(d.data(), 1, 8, uint64_t{200}, 1000, mask.data(), x, 130,
                                        1000, 1000, 0),
                  QM_OK);
        // The first bit may be the old one.
        d[0] = pixels[0];
        EXPECT_EQ(d, pixels) << x;
    }
}

// ----- Threads -----------------------------------------------------------------------------------

TEST(UnpackFromBinaryMT, ForksForBytesOfOneComponentAlone) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const uint8_t mask[8] = {};
    uint64_t d[8] = {};
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 12u, 24u}) {
            if (bpc == 24 && components != 1) continue;
            const WatchedRegions regions;
            EXPECT_EQ(
                Api::UnpackFromBinaryMT(d, components, bpc, uint64_t{1}, 16, mask, 0, 1, 1, 2, 0),
                QM_OK);
            EXPECT_EQ(regions.forks(), components == 1 && bpc == 8 ? 1u : 0u)
                << components << " x " << bpc;
        }
    const WatchedRegions regions;
    EXPECT_EQ(Api::UnpackFromBinary(d, 1, 8, uint64_t{1}, 16, mask, 0, 1, 1, 2, 0), QM_OK);
    EXPECT_EQ(Api::PackToBinary(d, 0, 16, mask, 1, 8, 1, uint64_t{1}, 0, 1, 2, 0), QM_OK);
    EXPECT_EQ(regions.teams().size(), 0u);
}

// From ordinary code, all rows in the calling thread.
TEST(UnpackFromBinaryMT, OfOthersRunsInTheCallingThreadFromOrdinaryCode) {
    omp_set_num_threads(4);
    for (const auto& k : kUnpackMt) {
        constexpr uint32_t rows = 16;
        TouchedPages pages(rows);
        const Bytes mask(rows, 0xFF);
        const uint64_t value = 0x0102030405060708;
        ASSERT_EQ(
            k.run(pages.data(), &value, TouchedPages::kPage, mask.data(), 0, 1, 8, rows * 8, 0),
            QM_OK);
        EXPECT_EQ(pages.thread_count(), is_shared(k.name) ? 1u : 4u) << k.name;
        for (uint32_t y = 0; y < rows; ++y) EXPECT_EQ(pages.data()[y * TouchedPages::kPage], 8);
    }
}

TEST(UnpackFromBinaryMT, SharesTheRowsAmongTheCallersThreads) {
    constexpr uint32_t rows = 16;
    const Bytes mask(rows, 0xFF);
    const uint64_t value = 0x0102030405060708;
    const auto check = [&](std::string_view name, const auto& run) {
        TouchedPages pages(rows);
        EXPECT_EQ(in_region(4, [&] { return run(pages.data()); }), QM_OK);
        EXPECT_EQ(pages.thread_count(), 4u) << name;
        for (uint32_t y = 0; y < rows; ++y)
            EXPECT_EQ(pages.data()[y * TouchedPages::kPage], 8) << name << ", " << y;
    };
    for (const auto& k : kUnpackMt)
        if (is_shared(k.name))
            check(k.name, [&](void* d) {
                return k.run(d, &value, TouchedPages::kPage, mask.data(), 0, 1, 8, rows * 8, 0);
            });
    for (const auto& k : kUnpackAnyMt)
        check(k.name, [&](void* d) {
            return k.run(d, 2, &value, TouchedPages::kPage, mask.data(), 0, 1, 8, rows * 8, 0);
        });
}

// They leave it together: behind the call, each thread sees the rows of all others.
TEST(UnpackFromBinaryMT, LeavesTheCallTogether) {
    const uint32_t rows = 64;
    const Bytes mask(rows, 0x80);
    for (int round = 0; round < 50; ++round) {
        std::vector<uint16_t> d(rows, 0);
        std::atomic<uint32_t> unseen = 0;
#pragma omp parallel num_threads(4)
        {
            unpack_bin_to_1x16_mt(d.data(), "\7", 2, mask.data(), 0, 1, 1, rows, 0);
            unseen += static_cast<uint32_t>(std::count(d.begin(), d.end(), uint16_t{0}));
        }
        ASSERT_EQ(unseen, 0u);
    }
}

TEST(UnpackFromBinaryMT, RefusesUnknownMergesInEveryThread) {
    const uint8_t mask = 0xFF;
    const uint64_t value = 1;
    uint64_t d[2] = {7, 7};
    const auto refusals = [&](const auto& run) {
        std::atomic<int> count = 0;
#pragma omp parallel num_threads(4)
        if (run() == QM_NO_KERNEL) ++count;
        return count.load();
    };
    for (const auto& k : kUnpackMt)
        EXPECT_EQ(refusals([&] { return k.run(d, &value, 8, &mask, 0, 1, 1, 2, 3); }), 4) << k.name;
    for (const auto& k : kUnpackAnyMt)
        EXPECT_EQ(refusals([&] { return k.run(d, 2, &value, 8, &mask, 0, 1, 1, 2, 3); }), 4)
            << k.name;
    EXPECT_EQ(d[0], 7u);
    EXPECT_EQ(d[1], 7u);
}

TEST(UnpackFromBinaryMT, CountsRowsInASignedNumberOf32Bits) {
    const Bytes mask(8, 0x80);
    const uint64_t value = 1;
    for (const auto& k : kUnpackMt) {
        uint64_t d[5] = {};
        const uint64_t four_billion = uint64_t{1} << 32;
        ASSERT_EQ(k.run(d, &value, 8, mask.data(), 0, 1, 1, four_billion + 3, 0), QM_OK);
        EXPECT_EQ(d[2], 1u) << k.name;
        EXPECT_EQ(d[3], 0u) << k.name;
        d[0] = 0;
        ASSERT_EQ(k.run(d, &value, 8, mask.data(), 0, 1, 1, four_billion / 2, 0), QM_OK);
        EXPECT_EQ(d[0], 0u) << k.name;
    }
}

TEST(UnpackFromBinaryMT, OpensNoRegionForNoRows) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const uint8_t mask = 0xFF, value = 1;
    uint8_t d = 7;
    const WatchedRegions regions;
    EXPECT_EQ(unpack_bin_to_1x8_mt(&d, &value, 1, &mask, 0, 1, 2, 1, 0), QM_OK);
    EXPECT_EQ(unpack_bin_to_1x8_mt(&d, &value, 1, &mask, 0, 1, 2, 1, 3), QM_NO_KERNEL);
    EXPECT_EQ(regions.teams().size(), 0u);
    EXPECT_EQ(d, 7);
}

}  // namespace
}  // namespace qmpic::test
