#include <gtest/gtest.h>

#include <array>
#include <string>

#include "qmpic/PicMemAPI_Base.h"
#include "render/luts_kernels.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/touching_threads.h"
#include "tables.h"

namespace qmpic::test {
namespace {

uint32_t components_of(Layout layout, Random& random) {
    return layout.components ? layout.components : random.components();
}

// Component c of a pixel is cell c of its value's row; a flat table has the one cell.
PixelReference through(const TestTable& table, bool flat, uint64_t mask) {
    return [&table, flat, mask](const Pixel& source) {
        Pixel pixel;
        for (uint32_t c = 0; c < source.size(); ++c)
            pixel.push_back(table.at(source[c] & mask, flat ? 0 : c));
        return pixel;
    };
}

void check_apply(const NamedKernel<ApplyLutsKernel>& kernel, bool flat, Round round) {
    const uint32_t bits = kernel.source.bits, bpc = round.in_turn(depths(bits)),
                   components = components_of(kernel.source, round.random);
    const Format format{components, bits, bpc};
    const TestTable table(bpc, flat ? 1 : components, bits, round.random);
    // Words are masked, bytes are not.
    const uint64_t greatest = bits == 16 ? 65535 : format.max();
    check_pixels(
        round, format, format, greatest, size_for_table(round, components, bpc),
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return kernel.run(d.data(), d.stride(), s.data(), s.stride(),
                              flat ? table.flat() : table.rows(), components, bpc, size.width,
                              size.pixels);
        },
        through(table, flat, format.max()));
}

void check_convert(const NamedKernel<ConvertBitDepthViaLutsKernel>& kernel, bool flat,
                   Round round) {
    const uint32_t from = kernel.source.bits, to = kernel.destination.bits,
                   bpc = from == 8 ? 8 : round.in_turn(depths(16)),
                   components = components_of(kernel.source, round.random);
    const Format source{components, from, bpc}, destination{components, to, to};
    const TestTable table(bpc, flat ? 1 : components, to, round.random);
    check_pixels(
        round, destination, source, source.max(), size_for_table(round, components, bpc),
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return kernel.run(d.data(), to == 8 ? 8 : 12, d.stride(), s.data(), bpc, s.stride(),
                              flat ? table.flat() : table.rows(), components, size.width,
                              size.pixels);
        },
        through(table, flat, 0xFFFF));
}

// The exposure marks of three components, in plain words.
struct Marks {
    const std::vector<uint8_t>*over, *under;  // null: that test is left out
    std::vector<uint32_t> thresholds;
    uint64_t mask;
    bool equality;

    std::vector<uint32_t> order() const {
        if (mask % 8 == 7) return {2, 1, 0};
        if (mask == 3) return {1, 0};
        if (mask == 5) return {2, 0};
        if (mask == 6) return {2, 1};
        return {};
    }
    static Pixel colour(const std::vector<uint8_t>& block, uint32_t c) {
        if (block[4 * c + 3] == 0) return {block[4 * c], block[4 * c + 1], block[4 * c + 2]};
        Pixel secondary{255, 255, 255};
        secondary[c] = 0;
        return secondary;
    }
    Pixel apply(const Pixel& source, const TestTable& table) const {
        if (order().empty()) return {};
        for (const uint32_t c : order()) {
            if (under && source[c] == 0) return colour(*under, c);
            if (over && (equality ? source[c] == thresholds[c] : source[c] >= thresholds[c]))
                return colour(*over, c);
        }
        return {table.at(source[0], 0), table.at(source[1], 1), table.at(source[2], 2)};
    }
};

template <class Run>
void check_exposed(bool words, Run run, Round round) {
    Random& random = round.random;
    const uint32_t bits = words ? 16 : 8, bpc = round.in_turn(depths(bits));
    const Format source{3, bits, bpc};
    const TestTable table(bpc, 3, 8, random);
    const auto over = random_colours(3, random), under = random_colours(3, random);
    const bool given = random(0, 3) != 0;
    const uint32_t kinds = random(1, 3);
    Marks marks{kinds & 1 ? &over : nullptr, kinds & 2 ? &under : nullptr,
                given ? random_thresholds(3, source.max(), random)
                      : std::vector<uint32_t>(3, static_cast<uint32_t>(source.max())),
                random.one_of({uint64_t{7}, ~uint64_t{0}, uint64_t{3}, uint64_t{5}, uint64_t{6},
                               uint64_t{0x10007}, uint64_t{2}, uint64_t{11}}),
                !words};
    check_pixels(
        round, {3, 8, 8}, source, source.max(), size_for_table(round, 3, bpc),
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return run(d, s, table, kinds & 1 ? over.data() : nullptr,
                       given ? marks.thresholds.data() : nullptr,
                       kinds & 2 ? under.data() : nullptr, bpc, size, marks.mask);
        },
        [&](const Pixel& pixel) { return marks.apply(pixel, table); });
}

void check_flat_overexposed(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(depths(16));
    const Format source{3, 16, bpc};
    const TestTable table(bpc, 1, 8, random);
    const auto over = random_colours(1, random);
    const bool given = random(0, 3) != 0;
    const auto thresholds = given ? random_thresholds(3, source.max(), random)
                                  : std::vector<uint32_t>(3, static_cast<uint32_t>(source.max()));
    check_pixels(
        round, {3, 8, 8}, source, source.max(), size_for_table(round, 3, bpc),
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return convertbitdepthvialuts_3x16_to_3x8_lut1_overexp(
                d.data(), 8, d.stride(), s.data(), bpc, s.stride(), table.flat(), over.data(),
                given ? thresholds.data() : nullptr, 3, size.width, size.pixels);
        },
        [&](const Pixel& pixel) -> Pixel {
            for (uint32_t c = 0; c < 3; ++c)
                if (pixel[c] >= thresholds[c]) return {over[0], over[1], over[2]};
            return {table.at(pixel[0], 0), table.at(pixel[1], 0), table.at(pixel[2], 0)};
        });
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add = [&](const auto& kernel, auto check) {
        all.push_back({std::string(kernel.name), check});
    };
    for (const auto& kernel : kApplyFlat)
        add(kernel, [=](Round round) { check_apply(kernel, true, round); });
    for (const auto& kernel : kApplyRows) {
        const bool flat = kernel.source.components == 1;
        add(kernel, [=](Round round) { check_apply(kernel, flat, round); });
    }
    for (const auto& kernel : kConvertFlat)
        add(kernel, [=](Round round) { check_convert(kernel, true, round); });
    for (const auto& kernel : kConvertRows)
        add(kernel, [=](Round round) { check_convert(kernel, false, round); });
    for (const auto& kernel : kApplyExposed)
        add(kernel, [=](Round round) {
            check_exposed(
                false,
                [&](const GuardedPicture& d, const GuardedPicture& s, const TestTable& table,
                    const void* over, const uint32_t* thresholds, const void* under, uint32_t bpc,
                    Size size, uint64_t mask) {
                    return kernel.run(d.data(), d.stride(), s.data(), s.stride(), table.rows(),
                                      over, thresholds, under, 3, bpc, size.width, size.pixels,
                                      mask);
                },
                round);
        });
    for (const auto& kernel : kConvertExposed)
        add(kernel, [=](Round round) {
            check_exposed(
                true,
                [&](const GuardedPicture& d, const GuardedPicture& s, const TestTable& table,
                    const void* over, const uint32_t* thresholds, const void* under, uint32_t bpc,
                    Size size, uint64_t mask) {
                    return kernel.run(d.data(), 8, d.stride(), s.data(), bpc, s.stride(),
                                      table.rows(), over, thresholds, under, 3, size.width,
                                      size.pixels, mask);
                },
                round);
        });
    for (const auto& kernel : kConvertFlatOverexposed) add(kernel, check_flat_overexposed);
    return all;
}

int entry_apply(const EntryCall& c, const SQmLut* set) {
    return CQmPicMemAPI_Base::ApplyLuts(c.dst, c.stride, c.src, c.stride, set, c.components, c.bpc,
                                        c.width, c.size);
}
int entry_convert(const EntryCall& c, uint32_t to, const SQmLut* set) {
    return CQmPicMemAPI_Base::ConvertBitDepthViaLuts(c.dst, to, c.stride, c.src, c.bpc, c.stride,
                                                     set, c.components, c.width, c.size);
}

std::vector<EntryCase> entry_cases() {
    const auto up_to_16 = [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; };
    const auto is_depth = [](uint32_t, uint32_t bpc) {
        return bpc >= 8 && bpc <= 16 ? QM_OK : QM_NO_KERNEL;
    };
    const auto never = [](uint32_t, uint32_t) { return int{QM_NO_KERNEL}; };
    const auto flat = [](uint32_t cell_bits) {
        return HandMadeSet(EntryTables::get().cells.data(), 16, 1, cell_bits, 1);
    };
    const auto rows = [](uint32_t cells, uint32_t cell_bits) {
        return cells == 1 ? HandMadeSet(EntryTables::get().cells.data(), 16, 1, cell_bits, 1)
                          : HandMadeSet(EntryTables::get().rows.data(), 16, 1, cell_bits, cells);
    };
    return {
        {"CQmPicMemAPI_Base::ApplyLuts flat",
         [=](const EntryCall& c) {
             const auto set = flat(c.bpc);
             return entry_apply(c, &set);
         },
         up_to_16},
        {"CQmPicMemAPI_Base::ApplyLuts rows",
         [=](const EntryCall& c) {
             const auto set = rows(c.components, c.bpc);
             return entry_apply(c, &set);
         },
         up_to_16},
        {"CQmPicMemAPI_Base::ApplyLuts rows_of_two",
         [=](const EntryCall& c) {
             const auto set = rows(2, c.bpc);
             return entry_apply(c, &set);
         },
         [](uint32_t components, uint32_t bpc) {
             return components == 2 && bpc <= 16 ? QM_OK : QM_NO_KERNEL;
         }},
        {"CQmPicMemAPI_Base::ApplyLuts no_set",
         [](const EntryCall& c) { return entry_apply(c, nullptr); }, never},
        {"CQmPicMemAPI_Base::ApplyLuts table_a_component",
         [](const EntryCall& c) {
             const HandMadeSet set(EntryTables::get().tables.data(), 16, 3, c.bpc, 3);
             return entry_apply(c, &set);
         },
         never},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts flat_to_8",
         [=](const EntryCall& c) {
             const auto set = flat(8);
             return entry_convert(c, 8, &set);
         },
         is_depth},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts rows_to_8",
         [=](const EntryCall& c) {
             const auto set = rows(c.components, 8);
             return entry_convert(c, 8, &set);
         },
         is_depth},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts flat_to_12",
         [=](const EntryCall& c) {
             const auto set = flat(12);
             return entry_convert(c, 12, &set);
         },
         is_depth},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts rows_to_12",
         [=](const EntryCall& c) {
             const auto set = rows(c.components, 12);
             return entry_convert(c, 12, &set);
         },
         is_depth},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts to_7",
         [=](const EntryCall& c) {
             const auto set = flat(7);
             return entry_convert(c, 7, &set);
         },
         [](uint32_t, uint32_t bpc) { return bpc == 7 ? QM_OK : QM_NO_KERNEL; }},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts equal_depths",
         [=](const EntryCall& c) {
             const auto set = rows(c.components, c.bpc);
             return entry_convert(c, c.bpc, &set);
         },
         up_to_16},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts no_set",
         [](const EntryCall& c) { return entry_convert(c, 8, nullptr); }, never},
        {"CQmPicMemAPI_Base::ConvertBitDepthViaLuts table_a_component",
         [](const EntryCall& c) {
             const HandMadeSet set(EntryTables::get().tables.data(), 16, 3, 8, 3);
             return entry_convert(c, c.bpc == 8 ? 12 : 8, &set);
         },
         never},
    };
}

const bool registered = add_cases(kernel_cases(), entry_cases());

// Every format of the entries, with content.
TEST(LutEntries, TakeTheKernelsOfTheFormat) {
    Random random(11);
    Digest digest;
    uint32_t number = 1;
    for (const uint32_t from : {8u, 9u, 12u, 16u})
        for (const uint32_t to : {8u, 9u, 12u, 16u})
            for (uint32_t components = 1; components <= 6; ++components)
                for (const bool flat : {false, true}) {
                    if (!flat && components == 1) continue;  // the same set
                    const Format source{components, from == 8 ? 8u : 16u, from},
                        destination{components, to == 8 ? 8u : 16u, to};
                    const TestTable table(from, flat ? 1 : components, destination.bits, random);
                    const HandMadeSet set(flat ? table.flat() : table.rows(), from, 1, to,
                                          flat ? 1 : components);
                    check_pixels(
                        {number++, random, digest}, destination, source, source.max(),
                        random.size(components),
                        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
                            return CQmPicMemAPI_Base::ConvertBitDepthViaLuts(
                                d.data(), to, d.stride(), s.data(), from, s.stride(), &set,
                                components, size.width, size.pixels);
                        },
                        through(table, flat, source.max()));
                    if (HasFatalFailure()) return;
                }
}

// All values of a depth, in a picture that is large for the table and in rows of odd lengths.
TEST(LutKernels, MapEveryValueOfADepth) {
    Random random(12);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        SCOPED_TRACE(name_of(level));
        const auto all_values = [&](Layout source, Layout destination, uint32_t bpc, bool flat,
                                    const auto& run) {
            const uint32_t components = source.components ? source.components : 2,
                           from = source.bits / 8, to = destination.bits / 8;
            const TestTable table(bpc, flat ? 1 : components, destination.bits, random);
            // Four runs through all values in each component, the components out of step.
            const uint32_t width = (4u << bpc) / 16 + 1, height = 16;
            std::vector<uint8_t> s(size_t{width} * height * components * from),
                d(size_t{width} * height * components * to);
            const auto value = [&](uint64_t pixel, uint32_t c) {
                return (pixel * 7 + c * 3) & ((1u << bpc) - 1);
            };
            for (uint64_t i = 0; i < uint64_t{width} * height; ++i)
                for (uint32_t c = 0; c < components; ++c) {
                    const uint64_t v = value(i, c);
                    std::memcpy(&s[(i * components + c) * from], &v, from);
                }
            run(d.data(), width * components * to, s.data(), width * components * from,
                flat ? table.flat() : table.rows(), components, bpc, width,
                uint64_t{width} * height);
            for (uint64_t i = 0; i < uint64_t{width} * height; ++i)
                for (uint32_t c = 0; c < components; ++c) {
                    uint64_t found = 0;
                    std::memcpy(&found, &d[(i * components + c) * to], to);
                    ASSERT_EQ(found, table.at(value(i, c), flat ? 0 : c)) << value(i, c);
                }
        };
        const auto apply = [&](const auto& kernel, bool flat) {
            for (const uint32_t bpc : kernel.source.bits == 8 ? std::vector<uint32_t>{5, 8}
                                                              : std::vector<uint32_t>{9, 12, 16}) {
                SCOPED_TRACE(std::string(kernel.name));
                all_values(kernel.source, kernel.destination, bpc, flat, kernel.run);
            }
        };
        const auto convert = [&](const auto& kernel, bool flat) {
            const uint32_t to = kernel.destination.bits;
            for (const uint32_t bpc : kernel.source.bits == 8 ? std::vector<uint32_t>{8}
                                                              : std::vector<uint32_t>{9, 12, 16}) {
                SCOPED_TRACE(std::string(kernel.name));
                all_values(kernel.source, kernel.destination, bpc, flat,
                           [&](void* d, uint32_t d_stride, const void* s, uint32_t s_stride,
                               const void* luts, uint32_t components, uint32_t bits, uint32_t width,
                               uint64_t size) {
                               kernel.run(d, to, d_stride, s, bits, s_stride, luts, components,
                                          width, size);
                           });
            }
        };
        for (const auto& kernel : kApplyFlat) apply(kernel, true);
        for (const auto& kernel : kApplyRows) apply(kernel, kernel.source.components == 1);
        for (const auto& kernel : kConvertFlat) convert(kernel, true);
        for (const auto& kernel : kConvertRows) convert(kernel, false);
        if (HasFatalFailure()) return;
    }
}

// A colour set of bytes with row v = (v, v + 1, v + 2), modulo 256.
struct StaircaseSet {
    SQmLut lut;
    explicit StaircaseSet(uint8_t source_bits = 8) {
        EXPECT_EQ(SQmLut::AllocColor(lut, source_bits, 8), 0);
        for (uint32_t v = 0; v < 1u << source_bits; ++v)
            for (uint32_t c = 0; c < 3; ++c)
                static_cast<uint8_t**>(lut.pLuts)[v][c] = static_cast<uint8_t>(v + c);
    }
    ~StaircaseSet() { SQmLut::Free(lut); }
};

using Bytes = std::vector<uint8_t>;

// One pixel of three components.
template <class T>
Bytes converted(const SQmLut& set, uint32_t bpc, std::array<T, 3> pixel) {
    Bytes d(3, 77);
    EXPECT_EQ(CQmPicMemAPI_Base::ConvertBitDepthViaLuts(d.data(), 8, 3, pixel.data(), bpc,
                                                        3 * sizeof(T), &set, 3, 1, 1),
              QM_OK);
    return d;
}

TEST(ApplyLuts, TakesNoTableAComponent) {
    SQmLut set;
    ASSERT_EQ(SQmLut::Alloc(set, 8, 3, 8, 3), 0);
    Bytes d(3, 77);
    const Bytes s{1, 2, 3};
    EXPECT_EQ(CQmPicMemAPI_Base::ApplyLuts(d.data(), 3, s.data(), 3, &set, 3, 8, 1, 1),
              QM_NO_KERNEL);
    EXPECT_EQ(
        CQmPicMemAPI_Base::ConvertBitDepthViaLuts(d.data(), 8, 3, s.data(), 8, 3, &set, 3, 1, 1),
        QM_NO_KERNEL);
    EXPECT_EQ(d, (Bytes{77, 77, 77}));
    SQmLut::Free(set);
}

TEST(ApplyLuts, WithOneMarkedComponentLeavesThePictureAsItWas) {
    StaircaseSet set;
    uint32_t colours[192] = {0xFF};
    ASSERT_EQ(SQmLut::SetOverExpColor(set.lut, colours), 0);
    set.lut.rmComponents = CQmRangeMask(192, 1, 1, 1);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {255, 255, 255}), (Bytes{77, 77, 77}));
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {1, 2, 3}), (Bytes{77, 77, 77}));
    set.lut.rmComponents.SetMask(11);  // 0, 1 and 3: not all of the low three
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {1, 2, 3}), (Bytes{77, 77, 77}));
    set.lut.rmComponents.SetMask(15);  // all of the low three, and one more
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {1, 2, 3}), (Bytes{1, 3, 5}));
}

TEST(ApplyLuts, MarksWhatEqualsTheThresholdAndTheConversionWhatReachesIt) {
    uint32_t colours[192], thresholds[192];
    std::fill(std::begin(colours), std::end(colours), 0x00030201u);  // red 1, green 2, blue 3
    std::fill(std::begin(thresholds), std::end(thresholds), 200u);
    StaircaseSet bytes(8), words(12);
    for (SQmLut* set : {&bytes.lut, &words.lut}) {
        ASSERT_EQ(SQmLut::SetOverExpColor(*set, colours), 0);
        ASSERT_EQ(SQmLut::SetOverExpValue(*set, thresholds), 0);
    }
    EXPECT_EQ(converted<uint8_t>(bytes.lut, 8, {10, 200, 10}), (Bytes{3, 2, 1}));
    EXPECT_EQ(converted<uint8_t>(bytes.lut, 8, {10, 201, 10}), (Bytes{10, 202, 12}));
    EXPECT_EQ(converted<uint16_t>(words.lut, 12, {10, 200, 10}), (Bytes{3, 2, 1}));
    EXPECT_EQ(converted<uint16_t>(words.lut, 12, {10, 201, 10}), (Bytes{3, 2, 1}));
    EXPECT_EQ(converted<uint16_t>(words.lut, 12, {10, 199, 10}), (Bytes{10, 200, 12}));
}

TEST(ApplyLuts, FlaggedEntriesGivePureSecondaryColours) {
    uint32_t colours[192];
    std::fill(std::begin(colours), std::end(colours), 0x01030201u);  // flag 1
    StaircaseSet bytes(8), words(12);
    for (SQmLut* set : {&bytes.lut, &words.lut}) {
        ASSERT_EQ(SQmLut::SetUnderExpColor(*set, colours), 0);
    }
    EXPECT_EQ(converted<uint8_t>(bytes.lut, 8, {0, 9, 9}), (Bytes{0, 255, 255}));
    EXPECT_EQ(converted<uint8_t>(bytes.lut, 8, {9, 0, 9}), (Bytes{255, 0, 255}));
    EXPECT_EQ(converted<uint8_t>(bytes.lut, 8, {9, 9, 0}), (Bytes{255, 255, 0}));
    EXPECT_EQ(converted<uint16_t>(words.lut, 12, {0, 9, 9}), (Bytes{0, 255, 255}));
    EXPECT_EQ(converted<uint16_t>(words.lut, 12, {9, 9, 0}), (Bytes{255, 255, 0}));
}

TEST(ApplyLuts, TheHighestComponentThatTakesPartDecides) {
    uint32_t over[192] = {0x000001, 0x000002, 0x000003},
             under[192] = {0x000011, 0x000012, 0x000013};
    StaircaseSet set;
    ASSERT_EQ(SQmLut::SetOverExpColor(set.lut, over), 0);
    ASSERT_EQ(SQmLut::SetUnderExpColor(set.lut, under), 0);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {255, 0, 255}), (Bytes{0, 0, 3}));
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {255, 0, 9}), (Bytes{0, 0, 0x12}));
    set.lut.rmComponents.SetMask(3);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {255, 9, 255}), (Bytes{0, 0, 1}));
    set.lut.rmComponents.SetMask(5);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {9, 0, 9}), (Bytes{9, 1, 11}));
    set.lut.rmComponents.SetMask(6);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {0, 9, 9}), (Bytes{0, 10, 11}));
}

TEST(ApplyLuts, ReadsNoColourOfAComponentThatTakesNoPart) {
    StaircaseSet set;
    set.lut.rmComponents = CQmRangeMask(2, 0, 1, 1);  // blocks end with the second entry
    uint32_t over[2] = {0x000001, 0x000002}, thresholds[2] = {100, 200};
    ASSERT_EQ(SQmLut::SetOverExpColor(set.lut, over), 0);
    ASSERT_EQ(SQmLut::SetOverExpValue(set.lut, thresholds), 0);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {100, 200, 255}), (Bytes{0, 0, 2}));
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {100, 9, 255}), (Bytes{0, 0, 1}));
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {9, 9, 255}), (Bytes{9, 10, 1}));
}

TEST(ApplyLuts, UnderComesBeforeOver) {
    uint32_t over[192] = {0x000001, 0x000001, 0x000001}, under[192] = {0x000002, 2, 2};
    uint32_t thresholds[192] = {};  // 0: also over-exposed
    StaircaseSet set;
    ASSERT_EQ(SQmLut::SetOverExpColor(set.lut, over), 0);
    ASSERT_EQ(SQmLut::SetUnderExpColor(set.lut, under), 0);
    ASSERT_EQ(SQmLut::SetOverExpValue(set.lut, thresholds), 0);
    EXPECT_EQ(converted<uint8_t>(set.lut, 8, {9, 9, 0}), (Bytes{0, 0, 2}));
}

TEST(ApplyLuts, MarksAreOfThreeComponentsOfBytesOnly) {
    uint32_t colours[192] = {1, 1, 1};
    SQmLut set;
    ASSERT_EQ(SQmLut::AllocColor(set, 12, 12), 0);
    ASSERT_EQ(SQmLut::SetUnderExpColor(set, colours), 0);
    const uint16_t s[3] = {0, 0, 0};
    uint16_t d[3] = {77, 77, 77};
    EXPECT_EQ(CQmPicMemAPI_Base::ApplyLuts(d, 6, s, 6, &set, 3, 12, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[2], 0);
    SQmLut::Free(set);
}

TEST(ApplyLuts, WithNeitherColourIsThePlainKernelWhateverTheMask) {
    StaircaseSet set;
    const Bytes s{1, 2, 3};
    Bytes d(3, 77);
    EXPECT_EQ(applyluts_3x8_overexp_underexp(d.data(), 3, s.data(), 3, set.lut.pLuts, nullptr,
                                             nullptr, nullptr, 3, 8, 1, 1, 2),
              QM_OK);
    EXPECT_EQ(d, (Bytes{1, 3, 5}));
    const uint16_t words[3] = {4, 5, 6};
    EXPECT_EQ(
        convertbitdepthvialuts_3x16_to_3x8_overexp_underexp(
            d.data(), 8, 3, words, 12, 6, set.lut.pLuts, nullptr, nullptr, nullptr, 3, 1, 1, 2),
        QM_OK);
    EXPECT_EQ(d, (Bytes{4, 6, 8}));
    const Bytes flat{10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(convertbitdepthvialuts_3x16_to_3x8_lut1_overexp(
                  d.data(), 8, 3, words, 12, 6, flat.data(), nullptr, nullptr, 3, 1, 1),
              QM_OK);
    EXPECT_EQ(d, (Bytes{14, 15, 16}));
}

TEST(ConvertBitDepthViaLuts, AFlatTableMarksAnyOfThreeInTheFirstColourAndNothingUnder) {
    std::vector<uint8_t> table(4096);
    for (uint32_t v = 0; v < 4096; ++v) table[v] = static_cast<uint8_t>(v >> 4);
    HandMadeSet set(table.data(), 12, 1, 8, 1);
    const uint8_t over[12] = {1, 2, 3, 255, 4, 5, 6, 0, 7, 8, 9, 0};  // the first is flagged
    const uint32_t thresholds[3] = {4000, 3000, 2000};
    set.mark(over, thresholds, over + 4);
    set.rmComponents = CQmRangeMask(192, 1, 1, 1);  // does not count
    EXPECT_EQ(converted<uint16_t>(set, 12, {3999, 2999, 1999}), (Bytes{249, 187, 124}));
    EXPECT_EQ(converted<uint16_t>(set, 12, {0, 0, 2000}), (Bytes{1, 2, 3}));
    EXPECT_EQ(converted<uint16_t>(set, 12, {0, 3500, 0}), (Bytes{1, 2, 3}));
    EXPECT_EQ(converted<uint16_t>(set, 12, {0, 0, 0}), (Bytes{0, 0, 0}));
    set.mark(over, nullptr, nullptr);
    EXPECT_EQ(converted<uint16_t>(set, 12, {4095, 0, 0}), (Bytes{1, 2, 3}));
    EXPECT_EQ(converted<uint16_t>(set, 12, {4094, 0, 0}), (Bytes{255, 0, 0}));
    set.mark(nullptr, nullptr, over);
    EXPECT_EQ(converted<uint16_t>(set, 12, {0, 16, 32}), (Bytes{0, 1, 2}));
}

TEST(ConvertBitDepthViaLuts, AValueBeyondTheTableThatReachesTheThresholdIsMarked) {
    StaircaseSet set(12);
    uint32_t colours[192] = {1, 1, 1};
    ASSERT_EQ(SQmLut::SetOverExpColor(set.lut, colours), 0);
    EXPECT_EQ(converted<uint16_t>(set.lut, 12, {5, 65535, 5}), (Bytes{0, 0, 1}));
}

TEST(ConvertBitDepthViaLuts, DoesNotCompareTheDepthsOfTheSet) {
    std::vector<uint8_t> table(1024, 9);
    HandMadeSet set(table.data(), 3, 1, 5, 1);
    EXPECT_EQ(converted<uint16_t>(set, 10, {1023, 0, 1}), (Bytes{9, 9, 9}));
}

TEST(ApplyLuts, WordsAreMaskedAndBytesAreNot) {
    std::vector<uint16_t> words(4096);
    for (uint32_t v = 0; v < 4096; ++v) words[v] = static_cast<uint16_t>(v + 1);
    uint16_t s = 0xF005, d = 0;
    EXPECT_EQ(applyluts_1x16(&d, 2, &s, 2, words.data(), 1, 12, 1, 1), QM_OK);
    EXPECT_EQ(d, 6);
    Bytes bytes(256);
    for (uint32_t v = 0; v < 256; ++v) bytes[v] = static_cast<uint8_t>(255 - v);
    const uint8_t high = 200;
    uint8_t out = 0;
    const HandMadeSet set(bytes.data(), 7, 1, 7, 1);  // a table that has more than it needs
    EXPECT_EQ(CQmPicMemAPI_Base::ApplyLuts(&out, 1, &high, 1, &set, 1, 7, 1, 1), QM_OK);
    EXPECT_EQ(out, 55);
}

TEST(ApplyLuts, OneComponentOfAFlatSetStaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) return;
    const Bytes table(256, 1), s(64 * 64);
    Bytes d(64 * 64);
    const HandMadeSet set(table.data(), 8, 1, 8, 1);
    const WatchedRegions regions;
    EXPECT_EQ(CQmPicMemAPI_Base::ApplyLuts(d.data(), 64, s.data(), 64, &set, 1, 8, 64, 64 * 64),
              QM_OK);
    EXPECT_TRUE(regions.teams().empty());
    EXPECT_EQ(d, Bytes(64 * 64, 1));
}

// applyluts_1x8 and applyluts_3x8 always fork, and nothing else ever does.
TEST(LutKernels, TwoForkWhateverTheSizeAndNoOther) {
    if (!WatchedRegions::kWorks) return;
    const EntryTables& tables = EntryTables::get();
    for (const uint32_t edge : {1u, 300u}) {
        const uint64_t size = uint64_t{edge} * edge;
        std::vector<uint8_t> d(size * 10), s(size * 10);
        const auto forks = [&](const auto& list, auto run) {
            for (const auto& kernel : list) {
                const uint32_t stride = edge * 10;
                const WatchedRegions regions;
                run(kernel.run, stride);
                const bool both = kernel.name == "applyluts_1x8" || kernel.name == "applyluts_3x8";
                EXPECT_EQ(regions.teams(),
                          both ? std::vector<uint32_t>{0} : std::vector<uint32_t>{})
                    << kernel.name << " at " << edge;
            }
        };
        const auto apply = [&](const void* luts) {
            return [&, luts](ApplyLutsKernel* run, uint32_t stride) {
                run(d.data(), stride, s.data(), stride, luts, 5, 8, edge, size);
            };
        };
        const auto convert = [&](const void* luts) {
            return [&, luts](ConvertBitDepthViaLutsKernel* run, uint32_t stride) {
                run(d.data(), 8, stride, s.data(), 8, stride, luts, 5, edge, size);
            };
        };
        forks(kApplyFlat, apply(tables.cells.data()));
        forks(kConvertFlat, convert(tables.cells.data()));
        forks(kConvertRows, convert(tables.rows.data()));
        for (const auto& kernel : kApplyRows) {
            const bool flat = kernel.source.components == 1;
            forks(std::array{kernel},
                  apply(flat ? static_cast<const void*>(tables.cells.data()) : tables.rows.data()));
        }
        const std::vector<uint8_t> colours(12, 1);
        forks(kApplyExposed, [&](ApplyLutsExposedKernel* run, uint32_t stride) {
            run(d.data(), stride, s.data(), stride, tables.rows.data(), colours.data(), nullptr,
                nullptr, 3, 8, edge, size, 7);
        });
        forks(kConvertExposed, [&](ConvertBitDepthViaLutsExposedKernel* run, uint32_t stride) {
            run(d.data(), 8, stride, s.data(), 10, stride, tables.rows.data(), colours.data(),
                nullptr, nullptr, 3, edge, size, 7);
        });
        forks(kConvertFlatOverexposed,
              [&](ConvertBitDepthViaLutsOverexposedKernel* run, uint32_t stride) {
                  run(d.data(), 8, stride, s.data(), 10, stride, tables.cells.data(),
                      colours.data(), nullptr, 3, edge, size);
              });
    }
}

}  // namespace
}  // namespace qmpic::test
