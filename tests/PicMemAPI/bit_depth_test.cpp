#include "qmpic/kernels/bit_depth.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "PicMemAPI/bit_depth_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/conversions.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- What the conversions promise, in the plainest words: one sample, in 64 bits

uint64_t low_bits(uint64_t value, uint32_t bits) { return value % (uint64_t{1} << bits); }

/// By a difference of depths; a loop, since counts may exceed any type.
uint64_t shifted(uint64_t value, uint32_t to, uint32_t from, uint32_t bits) {
    for (; from > to; --from) value /= 2;
    for (; to > from; --to) value = low_bits(value * 2, bits);
    return low_bits(value, bits);
}

uint64_t clipped(uint64_t value, uint32_t bpc) {
    const uint64_t max = (uint64_t{1} << bpc) - 1;
    return value > max ? max : value;
}

uint64_t linear(uint64_t value, const SQmBpcLinFunc& f, uint32_t bits, uint32_t bpc) {
    const uint64_t quotient = (value * f.ui64Mul - f.ui64Sub) / f.ui64Div;
    if (bits == 8) return (quotient % 256 + f.ui64Add % 256) % 256;
    return clipped((quotient + f.ui64Add) % 65536, bpc);
}

/// Applies a function of one sample to all components of a pixel.
template <class Function>
auto each_component(Function function) {
    return [=](Pixel& d, const Pixel& s) {
        for (size_t c = 0; c < s.size(); ++c) d[c] = function(s[c]);
    };
}

constexpr uint64_t kAnything = UINT64_MAX;

// ----- A case a kernel

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& kernel : kChangeBitDepth)
        all.push_back(
            {std::string(kernel.name), [=](Round round) {
                 const uint32_t components = kernel.source.components ? kernel.source.components
                                                                      : round.random.components();
                 const uint32_t bits = kernel.destination.bits,
                                bpc = round.number % 33;  // source, from 0 to 32
                 check_conversion(
                     round, {components, bits, bits}, format_of(components, bpc), kAnything,
                     [&](const GuardedPicture& d, const GuardedPicture& s) {
                         return kernel.run(d.data(), d.stride(), s.data(), s.stride(), bpc,
                                           components, s.size().width, s.size().pixels);
                     },
                     each_component([=](uint64_t v) { return low_bits(v, bits); }));
             }});
    for (const auto& kernel : kConvertToWords)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const uint32_t components = round.random.components(),
                                          bpc = round.in_turn(depths(16));
                           check_conversion(
                               round, {components, 16, bpc}, {components, 8, 8}, kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), bpc, d.stride(), s.data(),
                                                     s.stride(), components, s.size().width,
                                                     s.size().pixels);
                               },
                               each_component([=](uint64_t v) { return shifted(v, bpc, 8, 16); }));
                       }});
    for (const auto& kernel : kConvertToBytes)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const uint32_t components = round.random.components(),
                                          bpc = round.in_turn(depths(16));
                           const Format from{components, 16, bpc};
                           check_conversion(
                               round, {components, 8, 8}, from, from.max(),
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), d.stride(), s.data(), bpc,
                                                     s.stride(), components, s.size().width,
                                                     s.size().pixels);
                               },
                               each_component([=](uint64_t v) { return shifted(v, 8, bpc, 8); }));
                       }});
    for (const auto& kernel : kConvertWords)
        all.push_back(
            {std::string(kernel.name),
             [=](Round round) {
                 const uint32_t components = round.random.components(),
                                to = round.in_turn(depths(16)), from = 9 + round.number / 8 % 8;
                 check_conversion(
                     round, {components, 16, to}, {components, 16, from}, kAnything,
                     [&](const GuardedPicture& d, const GuardedPicture& s) {
                         return kernel.run(d.data(), to, d.stride(), s.data(), from, s.stride(),
                                           components, s.size().width, s.size().pixels);
                     },
                     each_component([=](uint64_t v) { return shifted(v, to, from, 16); }));
             },
             64});
    for (const auto& kernel : kShift)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           Random& random = round.random;
                           const uint32_t components = random.components();
                           const int shift = static_cast<int>(round.number % 41) - 20;
                           const Size size = random.size(components);
                           const GuardedPicture d({components, 16, 16}, size, random);
                           std::vector<uint64_t> expected = d.content();
                           for (uint64_t& v : expected)
                               v = shift < 0 ? shifted(v, static_cast<uint32_t>(-shift), 0, 16)
                                             : shifted(v, 0, static_cast<uint32_t>(shift), 16);
                           const auto outside = d.outside();
                           ASSERT_EQ(kernel.run(d.data(), components, d.stride(), shift, size.width,
                                                size.pixels),
                                     QM_OK);
                           ASSERT_EQ(d.content(), expected) << "by " << shift;
                           ASSERT_EQ(d.outside(), outside);
                           round.digest.add(expected);
                       }});
    for (const auto& kernel : kConvertComponent)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           Random& random = round.random;
                           const uint32_t to_bits = kernel.destination.bits,
                                          from_bits = kernel.source.bits;
                           const bool apart = random(0, 1);  // else counts that shuffle
                           const Format to{apart ? random.components() : 1, to_bits,
                                           to_bits == 8 ? random(1, 8) : random(9, 16)},
                               from{apart ? random.components() : random.one_of({1u, 3u, 4u}),
                                    from_bits, from_bits == 8 ? random(1, 8) : random(9, 16)};
                           const uint32_t at = random(0, to.components - 1),
                                          of = random(0, from.components - 1);
                           check_conversion(
                               round, to, from, kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   // In place the source is read where it was not written before.
                                   return kernel.run(d.data(), to.components, d.stride(), at,
                                                     to.bpc, s.data(), from.components, s.stride(),
                                                     of, from.bpc, s.size().width, s.size().pixels);
                               },
                               [&](Pixel& d, const Pixel& s) {
                                   // What is kept of a shift to the left is the storage of the
                                   // destination.
                                   d[at] = low_bits(shifted(s[of], to.bpc, from.bpc, 32), to_bits);
                               });
                       }});
    for (const auto& kernel : kLinFunc)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           Random& random = round.random;
                           const uint32_t components = kernel.source.components
                                                           ? kernel.source.components
                                                           : random.components();
                           const uint32_t bits = kernel.destination.bits,
                                          bpc = bits == 8 ? 8 : round.in_turn(depths(16));
                           std::vector<SQmBpcLinFunc> functions(components);
                           const auto number = [&]() -> uint64_t {
                               switch (random(0, 4)) {
                               case 0: return random(0, 3);
                               case 1: return random.any() % 65536;
                               case 2: return random.any();
                               case 3: return uint64_t{1} << random(0, 63);
                               default: return uint64_t{random.any()} << 32 | random.any();
                               }
                           };
                           for (auto& f : functions) {
                               f = {number(), number(), number(), number()};
                               if (f.ui64Div == 0) f.ui64Div = 1;
                           }
                           check_conversion(
                               round, {components, bits, bpc}, {components, 32, random(17, 32)},
                               kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), d.stride(), bpc, s.data(),
                                                     s.stride(), functions.data(), components,
                                                     s.size().width, s.size().pixels);
                               },
                               [&](Pixel& d, const Pixel& s) {
                                   for (size_t c = 0; c < s.size(); ++c)
                                       d[c] = linear(s[c], functions[c], bits, bpc);
                               });
                       }});
    return all;
}

// ----- Codes of the entries

const SQmBpcLinFunc kIdentities[6] = {{1, 0, 1, 0}, {1, 0, 1, 0}, {1, 0, 1, 0},
                                      {1, 0, 1, 0}, {1, 0, 1, 0}, {1, 0, 1, 0}};

/// The entry with both depths made of the one that the generated test counts through.
EntryCase between(std::string name, ConvertBitDepthKernel* entry, uint32_t (*to)(uint32_t),
                  uint32_t (*from)(uint32_t), int (*documented)(uint32_t, uint32_t)) {
    return {std::move(name),
            [=](const EntryCall& c) {
                return entry(c.dst, to(c.bpc), c.stride, c.src, from(c.bpc), c.stride, c.components,
                             c.width, c.size);
            },
            documented};
}
EntryCase component_between(std::string name, uint32_t (*to)(uint32_t), uint32_t (*from)(uint32_t),
                            int (*documented)(uint32_t, uint32_t), bool guarded) {
    return {std::move(name),
            [=](const EntryCall& c) {
                return Api::ConvertComponentViaShifts(c.dst, c.components, to(c.bpc), c.stride, 0,
                                                      c.src, c.components, from(c.bpc), c.stride, 0,
                                                      c.width, c.size);
            },
            documented, guarded, guarded};
}
EntryCase lin_func_between(std::string name, uint32_t (*to)(uint32_t), uint32_t (*from)(uint32_t),
                           int (*documented)(uint32_t, uint32_t)) {
    return {std::move(name),
            [=](const EntryCall& c) {
                return Api::ConvertBitDepthViaLinFunc(c.dst, to(c.bpc), c.stride, c.src,
                                                      from(c.bpc), c.stride, kIdentities,
                                                      c.components, c.width, c.size);
            },
            documented};
}

template <uint32_t bpc>
uint32_t fixed(uint32_t) {
    return bpc;
}
uint32_t counted(uint32_t bpc) { return bpc; }

template <uint32_t low, uint32_t high>
int only(uint32_t, uint32_t bpc) {
    return bpc >= low && bpc <= high ? QM_OK : QM_NO_KERNEL;
}
int twelve_or_bytes(uint32_t, uint32_t bpc) { return bpc <= 8 || bpc == 12 ? QM_OK : QM_NO_KERNEL; }

const bool registered =
    add_cases(kernel_cases(),
              {
                  between("CQmPicMemAPI_Base::ChangeBitDepth to", Api::ChangeBitDepth, counted,
                          fixed<12>, only<8, 32>),
                  between("CQmPicMemAPI_Base::ChangeBitDepth from", Api::ChangeBitDepth, fixed<16>,
                          counted, only<0, 40>),
                  between("CQmPicMemAPI_Base::ChangeBitDepth to 7 from", Api::ChangeBitDepth,
                          fixed<7>, counted, only<99, 99>),
                  between("CQmPicMemAPI_Base::ExpandBits from 8 to", Api::ExpandBits, counted,
                          fixed<8>, only<1, 16>),
                  between("CQmPicMemAPI_Base::ExpandBits from 7 to", Api::ExpandBits, counted,
                          fixed<7>, only<1, 8>),
                  between("CQmPicMemAPI_Base::ExpandBits to 16 from", Api::ExpandBits, fixed<16>,
                          counted, only<8, 16>),
                  between("CQmPicMemAPI_Base::ExpandBits to 20 from", Api::ExpandBits, fixed<20>,
                          counted, only<17, 24>),
                  between("CQmPicMemAPI_Base::ExpandBits to 25 from", Api::ExpandBits, fixed<25>,
                          counted, only<25, 32>),
                  between("CQmPicMemAPI_Base::ExpandBits same", Api::ExpandBits, counted, counted,
                          only<0, 32>),
                  between("CQmPicMemAPI_Base::CollapseBits to 8 from", Api::CollapseBits, fixed<8>,
                          counted, only<8, 32>),
                  between("CQmPicMemAPI_Base::CollapseBits from 16 to", Api::CollapseBits, counted,
                          fixed<16>, only<0, 16>),
                  between("CQmPicMemAPI_Base::CollapseBits same", Api::CollapseBits, counted,
                          counted, only<0, 32>),
                  between("CQmPicMemAPI_Base::ConvertBitDepthViaShifts from 8 to",
                          Api::ConvertBitDepthViaShifts, counted, fixed<8>, only<8, 16>),
                  between("CQmPicMemAPI_Base::ConvertBitDepthViaShifts from 12 to",
                          Api::ConvertBitDepthViaShifts, counted, fixed<12>, only<8, 16>),
                  between("CQmPicMemAPI_Base::ConvertBitDepthViaShifts to 8 from",
                          Api::ConvertBitDepthViaShifts, fixed<8>, counted, only<8, 16>),
                  between("CQmPicMemAPI_Base::ConvertBitDepthViaShifts same",
                          Api::ConvertBitDepthViaShifts, counted, counted, only<0, 40>),
                  component_between("CQmPicMemAPI_Base::ConvertComponentViaShifts to 8 from",
                                    fixed<8>, counted, only<0, 16>, false),
                  component_between("CQmPicMemAPI_Base::ConvertComponentViaShifts from 12 to",
                                    counted, fixed<12>, twelve_or_bytes, false),
                  component_between(
                      "CQmPicMemAPI_Base::ConvertComponentViaShifts from 6 to", counted, fixed<6>,
                      [](uint32_t, uint32_t bpc) -> int {
                          // The same depth goes to a copy, which refuses it.
                          return bpc <= 16 && bpc != 6 ? QM_OK : QM_NO_KERNEL;
                      },
                      false),
                  component_between("CQmPicMemAPI_Base::ConvertComponentViaShifts same", counted,
                                    counted, only<8, 40>, false),
                  lin_func_between("CQmPicMemAPI_Base::ConvertBitDepthViaLinFunc to 8 from",
                                   fixed<8>, counted, only<17, 31>),
                  lin_func_between("CQmPicMemAPI_Base::ConvertBitDepthViaLinFunc from 24 to",
                                   counted, fixed<24>, only<8, 16>),
              });

// ----- The entries take the kernels of the format

using SampleFunction = uint64_t (*)(uint64_t value, uint32_t to, uint32_t from);

void check_entry(ConvertBitDepthKernel* entry, uint32_t components, uint32_t to, uint32_t from,
                 uint64_t top, SampleFunction function) {
    Random random(to * 64 + from);
    Digest digest;
    check_conversion(
        {0, random, digest}, format_of(components, to), format_of(components, from), top,
        [&](const GuardedPicture& d, const GuardedPicture& s) {
            return entry(d.data(), to, d.stride(), s.data(), from, s.stride(), components,
                         s.size().width, s.size().pixels);
        },
        each_component([=](uint64_t v) { return function(v, to, from); }));
}

TEST(ChangeBitDepth, KeepsTheLowBitsBetweenAllDepths) {
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (uint32_t to = 8; to <= 32; ++to)
            for (uint32_t from = 0; from <= 32; ++from) {
                check_entry(Api::ChangeBitDepth, components, to, from, kAnything,
                            [](uint64_t v, uint32_t to_bpc, uint32_t) {
                                return low_bits(v, format_of(1, to_bpc).bits);
                            });
                if (HasFatalFailure()) return;
            }
}

TEST(CollapseBits, ClipsBetweenAllDepths) {
    for (const uint32_t components : {1u, 3u, 5u})
        for (uint32_t from = 0; from <= 32; ++from)
            for (uint32_t to = 0; to <= from; ++to) {
                check_entry(
                    Api::CollapseBits, components, to, from, kAnything,
                    [](uint64_t v, uint32_t to_bpc, uint32_t) { return clipped(v, to_bpc); });
                if (HasFatalFailure()) return;
            }
}

TEST(ConvertBitDepthViaShifts, ShiftsBetweenAllDepths) {
    for (const uint32_t components : {1u, 3u, 4u, 6u})
        for (uint32_t from = 8; from <= 16; ++from)
            for (uint32_t to = 8; to <= 16; ++to) {
                check_entry(Api::ConvertBitDepthViaShifts, components, to, from,
                            (uint64_t{1} << from) - 1, [](uint64_t v, uint32_t t, uint32_t f) {
                                return shifted(v, t, f, format_of(1, t).bits);
                            });
                if (HasFatalFailure()) return;
            }
}

TEST(ConvertBitDepthViaLinFunc, TakesARecordOfEachComponent) {
    const SQmBpcLinFunc functions[6] = {{1, 0, 256, 0}, {3, 7, 1000, 2},  {5, 1, 77, 250},
                                        {1, 0, 1, 0},   {9, 90, 4096, 1}, {2, 0, 65536, 9}};
    for (uint32_t components = 0; components <= 6; ++components)
        for (uint32_t from = 17; from <= 31; ++from)
            for (uint32_t to = 8; to <= 16; ++to) {
                Random random(to * 64 + from);
                Digest digest;
                check_conversion(
                    {0, random, digest}, format_of(components, to), format_of(components, from),
                    kAnything,
                    [&](const GuardedPicture& d, const GuardedPicture& s) {
                        return Api::ConvertBitDepthViaLinFunc(
                            d.data(), to, d.stride(), s.data(), from, s.stride(), functions,
                            components, s.size().width, s.size().pixels);
                    },
                    [&](Pixel& d, const Pixel& s) {
                        for (size_t c = 0; c < s.size(); ++c)
                            d[c] = linear(s[c], functions[c], format_of(1, to).bits, to);
                    });
                if (HasFatalFailure()) return;
            }
}

TEST(ConvertComponentViaShifts, ShiftsOneComponentBetweenAllDepths) {
    for (uint32_t from = 0; from <= 16; ++from)
        for (uint32_t to = 0; to <= 16; ++to) {
            if (from > 8 && to > 8 && from != to) continue;
            if (from == to && from < 8) continue;
            Random random(to * 64 + from);
            Digest digest;
            const Format d_format = format_of(3, to), s_format = format_of(4, from);
            check_conversion(
                {0, random, digest}, d_format, s_format, kAnything,
                [&](const GuardedPicture& d, const GuardedPicture& s) {
                    return Api::ConvertComponentViaShifts(d.data(), 3, to, d.stride(), 2, s.data(),
                                                          4, from, s.stride(), 1, s.size().width,
                                                          s.size().pixels);
                },
                [&](Pixel& d, const Pixel& s) {
                    d[2] = low_bits(shifted(s[1], to, from, 32), d_format.bits);
                });
            if (HasFatalFailure()) return;
        }
}

// ----- Values out of the documentation, one pixel each

template <class T, class S>
T on_one_pixel(ConvertBitDepthKernel* entry, uint32_t to, S value, uint32_t from) {
    T d = static_cast<T>(0x5A5A5A5A);
    EXPECT_EQ(entry(&d, to, sizeof d, &value, from, sizeof value, 1, 1, 1), QM_OK);
    return d;
}

TEST(ChangeBitDepth, NeitherScalesNorClips) {
    EXPECT_EQ((on_one_pixel<uint8_t, uint16_t>(Api::ChangeBitDepth, 8, 0x1234, 16)), 0x34);
    EXPECT_EQ((on_one_pixel<uint32_t, uint8_t>(Api::ChangeBitDepth, 32, 0xFF, 8)), 0xFFu);
    EXPECT_EQ((on_one_pixel<uint8_t, uint32_t>(Api::ChangeBitDepth, 8, 0x12345678, 32)), 0x78);
    EXPECT_EQ((on_one_pixel<uint16_t, uint16_t>(Api::ChangeBitDepth, 12, 0xFFFF, 16)), 0xFFFF);
}

TEST(ChangeBitDepth, WritesNothingFromMoreThan32BitsAndCallsThatDone) {
    EXPECT_EQ((on_one_pixel<uint16_t, uint64_t>(Api::ChangeBitDepth, 16, 1, 40)), 0x5A5A);
    EXPECT_EQ((on_one_pixel<uint32_t, uint64_t>(Api::ChangeBitDepth, 32, 1, 33)), 0x5A5A5A5Au);
}

TEST(ExpandBits, WidensBytesWithZeros) {
    EXPECT_EQ((on_one_pixel<uint16_t, uint8_t>(Api::ExpandBits, 12, 3, 8)), 3);
    EXPECT_EQ((on_one_pixel<uint16_t, uint8_t>(Api::ExpandBits, 16, 255, 8)), 255);
}

TEST(ExpandBits, CopiesTheSmallerStrideOfEveryRowGapsIncluded) {
    uint8_t src[3 * 32], dst[3 * 40];
    for (size_t i = 0; i < sizeof src; ++i) src[i] = static_cast<uint8_t>(i + 1);
    std::memset(dst, 0xEE, sizeof dst);
    // Rows of 5 words are 10 bytes; 32 of each are copied, and 8 stay.
    EXPECT_EQ(Api::ExpandBits(dst, 16, 40, src, 12, 32, 1, 5, 15), QM_OK);
    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(std::memcmp(dst + y * 40, src + y * 32, 32), 0) << y;
        for (int i = 32; i < 40; ++i) EXPECT_EQ(dst[y * 40 + i], 0xEE) << y << ", " << i;
    }
    // The other way round, and to fewer bits of the same size: values stay as they are.
    uint8_t narrow[3 * 32] = {};
    EXPECT_EQ(Api::ExpandBits(narrow, 9, 32, dst, 16, 40, 1, 5, 15), QM_OK);
    EXPECT_EQ(std::memcmp(narrow, src, sizeof src), 0);
}

TEST(ExpandBits, CopiesOntoAnOverlappingRow) {
    uint8_t memory[24];
    for (uint8_t i = 0; i < 24; ++i) memory[i] = i;
    EXPECT_EQ(Api::ExpandBits(memory + 4, 8, 20, memory, 8, 20, 1, 20, 20), QM_OK);
    for (uint8_t i = 0; i < 20; ++i) EXPECT_EQ(memory[4 + i], i);
}

TEST(ExpandBits, HoldsDepthsOf17To24And25To32ForDifferentSizes) {
    EXPECT_EQ((on_one_pixel<uint32_t, uint32_t>(Api::ExpandBits, 24, 70000, 20)), 70000u);
    EXPECT_EQ((on_one_pixel<uint32_t, uint32_t>(Api::ExpandBits, 32, 70000, 25)), 70000u);
    uint32_t d = 7, s = 1;
    EXPECT_EQ(Api::ExpandBits(&d, 25, 4, &s, 24, 4, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Api::ExpandBits(&d, 32, 4, &s, 20, 4, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Api::ExpandBits(&d, 20, 4, &s, 10, 4, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 7u);
}

TEST(CollapseBits, SaturatesAndDoesNotShift) {
    EXPECT_EQ((on_one_pixel<uint8_t, uint16_t>(Api::CollapseBits, 8, 300, 16)), 255);
    EXPECT_EQ((on_one_pixel<uint8_t, uint16_t>(Api::CollapseBits, 8, 200, 16)), 200);
    EXPECT_EQ((on_one_pixel<uint8_t, uint8_t>(Api::CollapseBits, 6, 200, 8)), 63);
    EXPECT_EQ((on_one_pixel<uint16_t, uint32_t>(Api::CollapseBits, 12, 70000, 24)), 4095);
    uint16_t d = 7;
    const uint8_t s = 1;
    EXPECT_EQ(Api::CollapseBits(&d, 16, 2, &s, 8, 1, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 7);
}

TEST(CollapseBits, Of32To32BitsIsACopy) {
    EXPECT_EQ((on_one_pixel<uint32_t, uint32_t>(Api::CollapseBits, 32, 0xFFFFFFFF, 32)),
              0xFFFFFFFFu);
    EXPECT_EQ((on_one_pixel<uint32_t, uint32_t>(Api::CollapseBits, 31, 0xFFFFFFFF, 32)),
              0x7FFFFFFFu);
}

TEST(ConvertBitDepthViaShifts, BringsInZeros) {
    const auto entry = Api::ConvertBitDepthViaShifts;
    EXPECT_EQ((on_one_pixel<uint16_t, uint8_t>(entry, 16, 255, 8)), 65280);  // and not 65535
    EXPECT_EQ((on_one_pixel<uint8_t, uint16_t>(entry, 8, 65535, 16)), 255);
    EXPECT_EQ((on_one_pixel<uint8_t, uint16_t>(entry, 8, 511, 9)), 255);
    EXPECT_EQ((on_one_pixel<uint16_t, uint16_t>(entry, 16, 4095, 12)), 65520);
    EXPECT_EQ((on_one_pixel<uint16_t, uint16_t>(entry, 12, 65535, 16)), 4095);
    // Bits above the source's depth: 16 of the result are kept.
    EXPECT_EQ((on_one_pixel<uint16_t, uint16_t>(entry, 16, 0xF123, 12)), 0x1230);
}

TEST(ConvertBitDepthViaShifts, IsACopyBetweenEqualDepths) {
    const auto entry = Api::ConvertBitDepthViaShifts;
    EXPECT_EQ((on_one_pixel<uint8_t, uint8_t>(entry, 8, 77, 8)), 77);
    EXPECT_EQ((on_one_pixel<uint8_t, uint8_t>(entry, 7, 200, 7)), 200);
    // 24 bits are lines of three bytes a sample, as in every copy.
    EXPECT_EQ((on_one_pixel<uint32_t, uint32_t>(entry, 24, 0x11223344, 24)), 0x5A223344u);
}

TEST(ConvertBitDepthViaShifts, HasNothingFor24Bits) {
    uint32_t d = 7;
    const uint8_t s = 1;
    EXPECT_EQ(Api::ConvertBitDepthViaShifts(&d, 24, 4, &s, 8, 1, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 7u);
}

TEST(ConvertComponentViaShifts, RefusesTwoDepthsOfWordsAlthoughThereIsAKernel) {
    uint16_t d[2] = {1, 2};
    const uint16_t s[3] = {100, 200, 4095};
    EXPECT_EQ(Api::ConvertComponentViaShifts(d, 2, 16, 4, 1, s, 3, 12, 6, 2, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d[1], 2);
    EXPECT_EQ(Api::ConvertComponentViaShifts(d, 2, 12, 4, 1, s, 3, 12, 6, 2, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 1);
    EXPECT_EQ(d[1], 4095);
    EXPECT_EQ(convertcomponent_16_to_16(d, 2, 4, 1, 16, s, 3, 6, 2, 12, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 1);
    EXPECT_EQ(d[1], 65520);
}

TEST(ConvertComponentViaShifts, TakesDepthsUpTo8ForBytesUnlessTheyAreEqual) {
    uint8_t d = 7;
    const uint8_t s = 3;
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 8, 1, 0, &s, 1, 6, 1, 0, 1, 1), QM_OK);
    EXPECT_EQ(d, 12);
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 5, 1, 0, &s, 1, 6, 1, 0, 1, 1), QM_OK);
    EXPECT_EQ(d, 1);
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 6, 1, 0, &s, 1, 6, 1, 0, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 1);
}

TEST(ConvertComponentViaShifts, CopiesBetweenEqualDepthsAbove16BitsAndThenHasAGuard) {
    uint32_t d = 7;
    const uint32_t s = 70000;
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 24, 4, 0, &s, 1, 24, 4, 0, 1, 1), QM_OK);
    EXPECT_EQ(d, 70000u);
    EXPECT_EQ(Api::ConvertComponentViaShifts(nullptr, 1, 24, 4, 0, &s, 1, 24, 4, 0, 1, 1), QM_OK);
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 12, 4, 0, nullptr, 1, 12, 4, 0, 1, 1), QM_OK);
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 8, 4, 0, &s, 1, 8, 4, 0, 0, 0), QM_OK);
}

TEST(ConvertComponentViaShifts, DoesNothingOnNoWidth) {
    uint16_t d = 7;
    const uint8_t s = 3;
    EXPECT_EQ(Api::ConvertComponentViaShifts(&d, 1, 16, 2, 0, &s, 1, 8, 1, 0, 0, 0), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(Shift, GoesRightByPositiveAndLeftByNegativeCounts) {
    const auto shift = [](uint16_t value, int count) {
        uint16_t d = value;
        EXPECT_EQ(_shift_Nx16_to_Nx16(&d, 1, 2, count, 1, 1), QM_OK);
        return d;
    };
    EXPECT_EQ(shift(0x1234, 4), 0x0123);
    EXPECT_EQ(shift(0x1234, -4), 0x2340);
    EXPECT_EQ(shift(0x1234, 0), 0x1234);
    EXPECT_EQ(shift(0x8001, 15), 1);
    EXPECT_EQ(shift(0x8001, -15), 0x8000);
}

TEST(Shift, Of16AndMoreGives0) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const int count :
             {16, 17, 32, 33, 64, 1000, INT_MAX, -16, -17, -32, -33, -1000, INT_MIN, INT_MIN + 1})
            for (const uint32_t width : {1u, 31u, 32u, 100u}) {
                std::vector<uint16_t> row(width, 0xFFFF);
                EXPECT_EQ(_shift_Nx16_to_Nx16(row.data(), 1, 2 * width, count, width, width),
                          QM_OK);
                EXPECT_EQ(row, std::vector<uint16_t>(width, 0)) << count;
            }
    }
}

TEST(Shift, ByNothingReturnsAtOnce) {
    EXPECT_EQ(_shift_Nx16_to_Nx16(nullptr, 1, 2, 0, 1, 1), QM_OK);  // or it would fault
}

TEST(LinFunc, RefusesADepthOf32) {
    uint8_t d = 7;
    const uint32_t s = 1;
    const SQmBpcLinFunc f{1, 0, 1, 0};
    EXPECT_EQ(Api::ConvertBitDepthViaLinFunc(&d, 8, 1, &s, 32, 4, &f, 1, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 7);
    EXPECT_EQ(Api::ConvertBitDepthViaLinFunc(&d, 8, 1, &s, 31, 4, &f, 1, 1, 1), QM_OK);
    EXPECT_EQ(d, 1);
}

uint32_t lin_func(uint32_t value, uint32_t bpc, SQmBpcLinFunc f) {
    uint16_t d = 0;
    EXPECT_EQ(Api::ConvertBitDepthViaLinFunc(&d, bpc, 2, &value, 31, 4, &f, 1, 1, 1), QM_OK);
    return d;
}

TEST(LinFunc, KeepsTheLowByteAndDoesNotClip) {
    EXPECT_EQ(lin_func(0x1FF00, 8, {1, 0, 256, 0}), 0xFFu);
    EXPECT_EQ(lin_func(0x2FF00, 8, {1, 0, 256, 0}), 0xFFu);
    EXPECT_EQ(lin_func(0x100, 8, {1, 0, 1, 5}), 5u);
    EXPECT_EQ(lin_func(0xFF, 8, {1, 0, 1, 2}), 1u);
}

TEST(LinFunc, ClipsTheLow16BitsToTheDepth) {
    EXPECT_EQ(lin_func(5000, 12, {1, 0, 1, 0}), 4095u);
    EXPECT_EQ(lin_func(0x10005, 12, {1, 0, 1, 0}), 5u);  // 16 bits first, then the clip
    EXPECT_EQ(lin_func(0xFFFF, 16, {1, 0, 1, 2}), 1u);
}

TEST(LinFunc, WrapsWhenItSubtractsTooMuch) {
    // 1 - 2 is 2^64 - 1; divided by 2^48 it is 0xFFFF.
    EXPECT_EQ(lin_func(1, 16, {1, 2, uint64_t{1} << 48, 0}), 0xFFFFu);
    EXPECT_EQ(lin_func(1, 9, {1, 2, uint64_t{1} << 48, 3}), 2u);
}

TEST(LinFunc, DividesExactlyAroundTheGreatestDoubles) {
    // value * 2^31 - sub near 2^53, where a rounded quotient would be one too high.
    for (const uint64_t div : {uint64_t{3}, uint64_t{7}, uint64_t{0xFFFF}, uint64_t{0x7FFFFFFF},
                               (uint64_t{1} << 53) - 1, (uint64_t{1} << 53) + 1})
        for (uint64_t sub = 0; sub < 300; ++sub)
            for (const uint32_t value : {uint32_t{1} << 22, (uint32_t{1} << 22) + 1, 0x7FFFFFFFu}) {
                const uint64_t dividend = (uint64_t{value} << 31) - sub;
                EXPECT_EQ(lin_func(value, 16, {uint64_t{1} << 31, sub, div, 0}),
                          dividend / div % 65536);
            }
}

// ----- Every value, every depth

TEST(Shifts, AreRightForEveryValueBetweenAllDepths) {
    std::vector<uint16_t> every(65536), words(65536);
    std::vector<uint8_t> bytes(65536);
    for (uint32_t v = 0; v < 65536; ++v) every[v] = static_cast<uint16_t>(v);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t from = 9; from <= 16; ++from) {
            const uint32_t count = 1u << from;
            ASSERT_EQ(convert_Nx16_to_Nx8(bytes.data(), count, every.data(), from, 2 * count, 1,
                                          count, count),
                      QM_OK);
            for (uint32_t v = 0; v < count; ++v)
                ASSERT_EQ(bytes[v], v / (1u << (from - 8))) << from << " bits";
            for (uint32_t to = 9; to <= 16; ++to) {
                ASSERT_EQ(convert_Nx16_to_Nx16(words.data(), to, 131072, every.data(), from, 131072,
                                               1, 65536, 65536),
                          QM_OK);
                for (uint32_t v = 0; v < 65536; ++v)
                    ASSERT_EQ(words[v], to >= from ? v * (1u << (to - from)) % 65536
                                                   : v / (1u << (from - to)))
                        << from << " to " << to << " bits";
            }
        }
        for (uint32_t v = 0; v < 256; ++v) bytes[v] = static_cast<uint8_t>(v);
        for (uint32_t to = 9; to <= 16; ++to) {
            ASSERT_EQ(convert_Nx8_to_Nx16(words.data(), to, 512, bytes.data(), 256, 1, 256, 256),
                      QM_OK);
            for (uint32_t v = 0; v < 256; ++v) ASSERT_EQ(words[v], v * (1u << (to - 8)));
        }
    }
}

// ----- Rows that overlap have the result of a plain loop from left to right

template <class T, class S, class Convert>
void check_overlap(const char* what, Convert convert, uint64_t (*one)(uint64_t)) {
    constexpr size_t kWidth = 70, kBytes = 400, kMiddle = 120;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (size_t place = 0; place <= 2 * kMiddle; ++place) {
            Random random(place);
            std::vector<uint8_t> found(kBytes);
            for (uint8_t& byte : found) byte = static_cast<uint8_t>(random.any());
            std::vector<uint8_t> expected = found;
            for (size_t x = 0; x < kWidth; ++x) {
                S s;
                std::memcpy(&s, &expected[kMiddle + sizeof s * x], sizeof s);
                const T d = static_cast<T>(one(s));
                std::memcpy(&expected[place + sizeof d * x], &d, sizeof d);
            }
            ASSERT_EQ(convert(&found[place], &found[kMiddle], kWidth), QM_OK);
            ASSERT_EQ(found, expected) << what << " from " << kMiddle << " to " << place;
        }
    }
}

TEST(Shifts, OfOverlappingRowsGoFromLeftToRight) {
    check_overlap<uint16_t, uint8_t>(
        "8 to 12",
        [](uint8_t* d, uint8_t* s, uint32_t width) {
            return convert_Nx8_to_Nx16(d, 12, 2 * width, s, width, 1, width, width);
        },
        [](uint64_t v) { return v << 4; });
    check_overlap<uint8_t, uint16_t>(
        "16 to 8",
        [](uint8_t* d, uint8_t* s, uint32_t width) {
            return convert_Nx16_to_Nx8(d, width, s, 16, 2 * width, 1, width, width);
        },
        [](uint64_t v) { return v >> 8; });
    check_overlap<uint16_t, uint16_t>(
        "12 to 14",
        [](uint8_t* d, uint8_t* s, uint32_t width) {
            return convert_Nx16_to_Nx16(d, 14, 2 * width, s, 12, 2 * width, 1, width, width);
        },
        [](uint64_t v) { return v << 2; });
    check_overlap<uint16_t, uint16_t>(
        "16 to 11",
        [](uint8_t* d, uint8_t* s, uint32_t width) {
            return convert_Nx16_to_Nx16(d, 11, 2 * width, s, 16, 2 * width, 1, width, width);
        },
        [](uint64_t v) { return v >> 5; });
}

// ----- Threads

TEST(BitDepth, StaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) return;
    constexpr uint32_t kRows = 2000, kStride = 16;
    std::vector<uint8_t> d(kRows * kStride), s(kRows * kStride);
    const SQmBpcLinFunc f[3] = {{1, 0, 1, 0}, {1, 0, 1, 0}, {1, 0, 1, 0}};
    const WatchedRegions watched;
    for (const auto& kernel : kChangeBitDepth)
        kernel.run(d.data(), kStride, s.data(), kStride, 16, 3, 1, kRows);
    for (const auto& kernel : kLinFunc)
        kernel.run(d.data(), kStride, 12, s.data(), kStride, f, 3, 1, kRows);
    for (const auto& kernel : kConvertComponent)
        kernel.run(d.data(), 1, kStride, 0, 8, s.data(), 1, kStride, 0, 16, 1, kRows);
    convert_Nx8_to_Nx16(d.data(), 12, kStride, s.data(), kStride, 3, 1, kRows);
    convert_Nx16_to_Nx8(d.data(), kStride, s.data(), 12, kStride, 3, 1, kRows);
    convert_Nx16_to_Nx16(d.data(), 9, kStride, s.data(), 12, kStride, 3, 1, kRows);
    _shift_Nx16_to_Nx16(d.data(), 3, kStride, -3, 1, kRows);
    Api::ExpandBits(d.data(), 16, kStride, s.data(), 8, kStride, 3, 1, kRows);
    Api::ExpandBits(d.data(), 16, kStride, s.data(), 12, kStride, 3, 1, kRows);
    Api::CollapseBits(d.data(), 8, kStride, s.data(), 12, kStride, 3, 1, kRows);
    Api::ConvertBitDepthViaShifts(d.data(), 8, kStride, s.data(), 8, kStride, 3, 1, kRows);
    EXPECT_EQ(watched.forks(), 0u);
}

}  // namespace
}  // namespace qmpic::test
