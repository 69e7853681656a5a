#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/system/RangeMask.h"
#include "render/luts_kernels.h"
#include "support/levels.h"
#include "support/regions.h"
#include "tables.h"

namespace qmpic::test {
namespace {

/// The random surroundings of a call of a `component_` kernel.
struct Extraction {
    uint32_t bits, bpc, source_components, comp;
    Extraction(uint32_t bits_, Round round)
        : bits(bits_),
          bpc(round.in_turn(depths(bits_))),
          source_components(round.random(0, 2) ? round.random(1, 5) : round.random.components()),
          comp(round.random(0, source_components - 1)) {}
    Format source() const { return {source_components, bits, bpc}; }
};

template <class Run, class Becomes>
void check_extraction(Round round, const Extraction& e, uint32_t count, Run run, Becomes becomes) {
    const Size size = size_for_table(round, std::max(count, e.source_components), e.bpc);
    check_pixels(
        round, {count, 8, 8}, e.source(), e.source().max(), size,
        [&](const GuardedPicture& d, const GuardedPicture& s, Size) { return run(d, s, size); },
        [&](const Pixel& pixel) { return becomes(pixel[e.comp]); });
}

Pixel row_of(const TestTable& table, uint64_t value, uint32_t count, bool flat) {
    Pixel pixel;
    for (uint32_t c = 0; c < count; ++c) pixel.push_back(table.at(value, flat ? 0 : c));
    return pixel;
}

void check_component(const NamedKernel<ComponentLutKernel>& kernel, bool flat, Round round) {
    const Extraction e(kernel.source.bits, round);
    const uint32_t count = kernel.destination.components;
    const TestTable table(e.bpc, flat ? 1 : count, 8, round.random);
    check_extraction(
        round, e, count,
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return kernel.run(d.data(), d.stride(), s.data(), e.source_components, e.bpc,
                              s.stride(), e.comp, flat ? table.flat() : table.rows(), size.width,
                              size.pixels);
        },
        [&](uint64_t value) { return row_of(table, value, count, flat); });
}

void check_component_to_n(const NamedKernel<ComponentLutToNKernel>& kernel, bool flat,
                          Round round) {
    const Extraction e(kernel.source.bits, round);
    const uint32_t count = round.random.components();
    const TestTable table(e.bpc, flat ? 1 : count, 8, round.random);
    check_extraction(
        round, e, count,
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return kernel.run(d.data(), count, d.stride(), s.data(), e.source_components, e.bpc,
                              s.stride(), e.comp, flat ? table.flat() : table.rows(), size.width,
                              size.pixels);
        },
        [&](uint64_t value) { return row_of(table, value, count, flat); });
}

/// The colour of an entry, as the documentation has it.
Pixel signal(const std::vector<uint8_t>& block, uint32_t entry, const TestTable& table, bool flat) {
    if (block[4 * entry + 3] == 0)
        return {block[4 * entry], block[4 * entry + 1], block[4 * entry + 2]};
    Pixel inverse;
    for (uint32_t c = 0; c < 3; ++c) inverse.push_back(255 - table.top(flat ? 0 : c));
    return inverse;
}

void check_exposed(const NamedKernel<ComponentLutExposedKernel>& kernel, bool flat, Round round) {
    Random& random = round.random;
    const Extraction e(kernel.source.bits, round);
    const TestTable table(e.bpc, flat ? 1 : 3, 8, random);
    auto over = random_colours(e.source_components, random);
    const auto under = random_colours(e.source_components, random);
    const bool from_colours = flat && e.bits == 8, given = random(0, 2) != 0;
    const uint32_t kinds = random(0, 3);
    const auto thresholds = random_thresholds(e.source_components, e.source().max(), random);
    if (from_colours && random(0, 1))  // a word that samples can reach
        for (uint32_t i = 1; i < 4; ++i) over[4 * e.comp + i] = 0;
    uint64_t threshold = given ? thresholds[e.comp] : e.bits == 8 ? 255 : e.source().max();
    if (from_colours) {
        threshold = 0;
        for (uint32_t i = 4; i-- > 0;) threshold = threshold * 256 + over[4 * e.comp + i];
    }
    check_extraction(
        round, e, 3,
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return kernel.run(d.data(), d.stride(), s.data(), e.source_components, e.bpc,
                              s.stride(), e.comp, flat ? table.flat() : table.rows(),
                              kinds & 1 ? over.data() : nullptr,
                              given ? thresholds.data() : nullptr,
                              kinds & 2 ? under.data() : nullptr, size.width, size.pixels);
        },
        [&](uint64_t value) {
            const uint32_t entry = flat ? 0 : e.comp;
            if (kinds & 2 && value == 0) return signal(under, entry, table, flat);
            if (kinds & 1 && value >= threshold) return signal(over, entry, table, flat);
            return row_of(table, value, 3, flat);
        });
}

// min(cell * g / 255, 255), the product in 32 bits.
uint64_t weighted(uint64_t cell, double gain) {
    const double scaled = gain * 255 + 0.5;
    uint64_t g = 0x8000000000000000;  // what the processor makes of all that does not fit
    if (scaled > -9.2e18 && scaled < 9.2e18)
        g = static_cast<uint64_t>(static_cast<int64_t>(scaled));
    const uint64_t product = cell * (g & 0xFFFFFFFF) & 0xFFFFFFFF;
    return std::min<uint64_t>(product / 255, 255);
}

template <class Run>
void check_added(uint32_t bits, bool overexposed, Run run, Round round) {
    Random& random = round.random;
    const Extraction e(bits, round);
    const TestTable table(e.bpc, 3, 8, random);
    const double gain =
        random.one_of({0.0, 1.0, 0.5, 2.0, -1.0, 1e30, -1e30, 1e10, std::nan(""), 0.37, 17.9});
    const bool is_added = random(0, 2) != 0, marks = overexposed && random(0, 3) != 0,
               given = random(0, 2) != 0;
    CQmRangeMask added(192, 0, 191, is_added ? 0 : 1);
    added.Set(e.comp, is_added);
    const auto over = random_colours(e.source_components, random);
    const auto thresholds = random_thresholds(e.source_components, e.source().max(), random);
    const uint64_t threshold = given ? thresholds[e.comp] : bits == 8 ? 255 : e.source().max();
    check_extraction(
        round, e, 3,
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return run(d, s, e, table.rows(), gain, marks ? over.data() : nullptr,
                       given ? thresholds.data() : nullptr, added, size);
        },
        [&](uint64_t value) {
            if (marks && value >= threshold) return signal(over, e.comp, table, false);
            Pixel pixel = row_of(table, value, 3, false);
            if (is_added)
                for (uint64_t& cell : pixel) cell = weighted(cell, gain);
            return pixel;
        });
}

template <class Kernel, class Run>
void check_map_via(const NamedKernel<Kernel>& kernel, uint32_t count, bool flat, Run run,
                   Round round) {
    const uint32_t from = kernel.source.bits, to = kernel.destination.bits,
                   bpc = from == 8 ? 8 : round.in_turn(depths(16));
    const Format source{1, from, bpc};
    const TestTable table(bpc, flat ? 1 : count, to, round.random);
    check_pixels(
        round, {count, to, to}, source, source.max(), size_for_table(round, count, bpc),
        [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
            return run(d, s, flat ? table.flat() : table.rows(), size);
        },
        [&](const Pixel& pixel) { return row_of(table, pixel[0], count, flat); });
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add = [&](const auto& kernel, auto check) {
        all.push_back({std::string(kernel.name), check});
    };
    for (const auto* list : {&kComponentLut1To1, &kComponentLut1To3})
        for (const auto& kernel : *list)
            add(kernel, [=](Round round) { check_component(kernel, true, round); });
    for (const auto& kernel : kComponentLut3To3)
        add(kernel, [=](Round round) { check_component(kernel, false, round); });
    for (const auto& kernel : kComponentLut1ToN)
        add(kernel, [=](Round round) { check_component_to_n(kernel, true, round); });
    for (const auto& kernel : kComponentLutNToN)
        add(kernel, [=](Round round) { check_component_to_n(kernel, false, round); });
    for (const auto& kernel : kComponentLut1Exposed)
        add(kernel, [=](Round round) { check_exposed(kernel, true, round); });
    for (const auto& kernel : kComponentLut3Exposed)
        add(kernel, [=](Round round) { check_exposed(kernel, false, round); });
    for (const auto& kernel : kComponentAdd)
        add(kernel, [=](Round round) {
            check_added(
                kernel.source.bits, false,
                [&](const GuardedPicture& d, const GuardedPicture& s, const Extraction& e,
                    const void* rows, double gain, const void*, const uint32_t*,
                    const CQmRangeMask& added, Size size) {
                    return kernel.run(d.data(), d.stride(), s.data(), e.source_components, e.bpc,
                                      s.stride(), e.comp, rows, gain, added, size.width,
                                      size.pixels);
                },
                round);
        });
    for (const auto& kernel : kComponentAddOverexposed)
        add(kernel, [=](Round round) {
            check_added(
                kernel.source.bits, true,
                [&](const GuardedPicture& d, const GuardedPicture& s, const Extraction& e,
                    const void* rows, double gain, const void* over, const uint32_t* thresholds,
                    const CQmRangeMask& added, Size size) {
                    return kernel.run(d.data(), d.stride(), s.data(), e.source_components, e.bpc,
                                      s.stride(), e.comp, rows, gain, over, thresholds, added,
                                      size.width, size.pixels);
                },
                round);
        });
    for (const auto& kernel : kMapVia)
        add(kernel, [=](Round round) {
            check_map_via(
                kernel, 3, kernel.name.ends_with("_lut1"),
                [&](const GuardedPicture& d, const GuardedPicture& s, const void* luts, Size size) {
                    return kernel.run(d.data(), d.stride(), s.data(), s.stride(), luts, size.width,
                                      size.pixels);
                },
                round);
        });
    for (const auto& kernel : kMapViaToN)
        add(kernel, [=](Round round) {
            const uint32_t count = round.random.components();
            check_map_via(
                kernel, count, false,
                [&](const GuardedPicture& d, const GuardedPicture& s, const void* luts, Size size) {
                    return kernel.run(d.data(), count, d.stride(), s.data(), s.stride(), luts,
                                      size.width, size.pixels);
                },
                round);
        });
    return all;
}

int entry_extract(const EntryCall& c, uint32_t count, uint32_t to, const SQmLut* set) {
    return CQmPicMemAPI_Base::ExtractComponentViaLuts(
        c.dst, count, to, c.stride, c.src, c.components, c.bpc, c.stride, 0, set, c.width, c.size);
}
int entry_map(const EntryCall& c, uint32_t to, const SQmLut* set) {
    return CQmPicMemAPI_Base::MapValueToComponents(c.dst, c.components, to, c.stride, c.src, c.bpc,
                                                   c.stride, set, c.width, c.size);
}

std::vector<EntryCase> entry_cases() {
    const auto up_to_16 = [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; };
    const auto refuses = [](uint32_t, uint32_t) { return int{QM_REJECTED}; };
    std::vector<EntryCase> all;
    const auto extract = [&](const std::string& name, uint32_t count, uint32_t to, auto make,
                             auto documented) {
        all.push_back({"CQmPicMemAPI_Base::ExtractComponentViaLuts " + name,
                       [=](const EntryCall& c) {
                           const HandMadeSet set = make(c);
                           return entry_extract(c, count, to, &set);
                       },
                       documented});
    };
    const auto cells = [] { return EntryTables::get().cells.data(); };
    const auto rows = [] { return EntryTables::get().rows.data(); };
    const auto tables = [] { return EntryTables::get().tables.data(); };
    for (const uint32_t count : {1u, 2u, 3u, 5u}) {
        const std::string to = "_to_" + std::to_string(count);
        extract(
            "flat" + to, count, 8,
            [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 8, 1); }, up_to_16);
        if (count > 1)
            extract(
                "rows" + to, count, 6,
                [=](const EntryCall& c) { return HandMadeSet(rows(), c.bpc, 1, 6, count); },
                up_to_16);
        extract(
            "tables" + to, count, 8,
            [=](const EntryCall& c) { return HandMadeSet(tables(), c.bpc, 2, 8, count); },
            [](uint32_t components, uint32_t bpc) {
                if (bpc > 16) return int{QM_NO_KERNEL};
                return int{components == 2 ? QM_OK : QM_REJECTED};
            });
        extract(
            "wide_cells" + to, count, 9,
            [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 9, 1); },
            [](uint32_t, uint32_t) { return int{QM_NO_KERNEL}; });
        extract(
            "another_source_depth" + to, count, 8,
            [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc + 1, 1, 8, 1); }, refuses);
        extract(
            "another_destination_depth" + to, count, 8,
            [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 7, 1); }, refuses);
        extract(
            "another_count" + to, count, 8,
            [=](const EntryCall& c) { return HandMadeSet(rows(), c.bpc, 1, 8, count + 1); },
            [](uint32_t, uint32_t bpc) { return int{bpc <= 16 ? QM_REJECTED : QM_NO_KERNEL}; });
    }
    all.push_back({"CQmPicMemAPI_Base::ExtractComponentViaLuts no_set",
                   [](const EntryCall& c) { return entry_extract(c, 3, 8, nullptr); }, refuses});

    const auto map = [&](const std::string& name, uint32_t to, auto make, auto documented) {
        all.push_back({"CQmPicMemAPI_Base::MapValueToComponents " + name,
                       [=](const EntryCall& c) {
                           const HandMadeSet set = make(c);
                           return entry_map(c, to, &set);
                       },
                       documented});
    };
    map(
        "flat_to_8", 8, [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 8, 1); },
        [](uint32_t components, uint32_t bpc) {
            if (bpc == 8) return int{QM_OK};
            if (components == 3 && bpc >= 9 && bpc <= 16) return int{QM_REJECTED};
            return int{QM_NO_KERNEL};
        });
    map(
        "rows_to_8", 8,
        [=](const EntryCall& c) {
            return HandMadeSet(c.components == 1 ? static_cast<const void*>(cells()) : rows(),
                               c.bpc, 1, 8, c.components);
        },
        [](uint32_t components, uint32_t bpc) {
            if (bpc == 8) return int{QM_OK};
            return int{components == 3 && bpc >= 9 && bpc <= 16 ? QM_OK : QM_NO_KERNEL};
        });
    map(
        "flat_to_12", 12, [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 12, 1); },
        [](uint32_t components, uint32_t bpc) {
            if (bpc < 9 || bpc > 16) return int{QM_NO_KERNEL};
            return int{components == 3 ? QM_REJECTED : QM_OK};
        });
    map(
        "rows_to_12", 12,
        [=](const EntryCall& c) {
            return HandMadeSet(c.components == 1 ? static_cast<const void*>(cells()) : rows(),
                               c.bpc, 1, 12, c.components);
        },
        [](uint32_t, uint32_t bpc) { return int{bpc >= 9 && bpc <= 16 ? QM_OK : QM_NO_KERNEL}; });
    const auto refuses_depths = [](uint32_t components, uint32_t bpc) {
        const bool known = bpc == 8 || (bpc >= 9 && bpc <= 16 && components == 3);
        return int{known ? QM_REJECTED : QM_NO_KERNEL};
    };
    map(
        "another_source_depth", 8,
        [=](const EntryCall& c) { return HandMadeSet(rows(), c.bpc + 1, 1, 8, c.components); },
        refuses_depths);
    map(
        "another_destination_depth", 8,
        [=](const EntryCall& c) { return HandMadeSet(rows(), c.bpc, 1, 9, c.components); },
        refuses_depths);
    map(
        "table_a_component", 8,
        [=](const EntryCall& c) { return HandMadeSet(tables(), c.bpc, 3, 8, c.components); },
        refuses_depths);
    map(
        "another_count", 8,
        [=](const EntryCall& c) { return HandMadeSet(rows(), c.bpc, 1, 8, c.components + 2); },
        [=](uint32_t components, uint32_t bpc) { return refuses_depths(components, bpc); });
    map(
        "to_7", 7, [=](const EntryCall& c) { return HandMadeSet(cells(), c.bpc, 1, 7, 1); },
        [](uint32_t, uint32_t) { return int{QM_NO_KERNEL}; });
    all.push_back({"CQmPicMemAPI_Base::MapValueToComponents no_set",
                   [](const EntryCall& c) { return entry_map(c, 8, nullptr); }, refuses_depths});
    return all;
}

const bool registered = add_cases(kernel_cases(), entry_cases());

using Bytes = std::vector<uint8_t>;

TEST(ComponentEntries, TakeTheKernelsOfTheFormat) {
    Random random(21);
    Digest digest;
    uint32_t number = 1;
    for (const uint32_t bpc : {4u, 8u, 9u, 12u})
        for (uint32_t count = 1; count <= 5; ++count)
            for (const int shape : {0, 1, 2}) {  // flat, rows, a table a component
                if (shape == 1 && count == 1) continue;
                const uint32_t source_components = 4, comp = 2;
                const Format source{source_components, bpc < 9 ? 8u : 16u, bpc};
                const TestTable table(bpc, shape == 0 ? 1 : count, 8, random),
                    other(bpc, count, 8, random);
                const void* const tables[4] = {other.rows(), other.rows(), table.rows(),
                                               other.rows()};
                const HandMadeSet set(shape == 0   ? table.flat()
                                      : shape == 1 ? table.rows()
                                                   : tables,
                                      bpc, shape == 2 ? 4 : 1, 8, shape == 0 ? 1 : count);
                check_pixels(
                    {number++, random, digest}, {count, 8, 8}, source, source.max(), random.size(5),
                    [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
                        return CQmPicMemAPI_Base::ExtractComponentViaLuts(
                            d.data(), count, 8, d.stride(), s.data(), source_components, bpc,
                            s.stride(), comp, &set, size.width, size.pixels);
                    },
                    [&](const Pixel& pixel) {
                        return row_of(table, pixel[comp], count, shape == 0);
                    });
                if (HasFatalFailure()) return;
            }
}

TEST(MapValueToComponents, TakesTheKernelsOfTheFormat) {
    Random random(22);
    Digest digest;
    uint32_t number = 1;
    struct Depths {
        uint32_t from, to;
    };
    for (const Depths bpc : {Depths{8, 8}, {12, 8}, {9, 16}, {16, 12}, {16, 8}})
        for (uint32_t count = 2; count <= 5; ++count) {
            if (bpc.from != 8 && bpc.to == 8 && count != 3) continue;  // refused
            const Format source{1, bpc.from == 8 ? 8u : 16u, bpc.from},
                destination{count, bpc.to == 8 ? 8u : 16u, bpc.to};
            const TestTable table(bpc.from, count, destination.bits, random);
            const HandMadeSet set(table.rows(), bpc.from, 1, bpc.to, count);
            check_pixels(
                {number++, random, digest}, destination, source, source.max(), random.size(5),
                [&](const GuardedPicture& d, const GuardedPicture& s, Size size) {
                    return CQmPicMemAPI_Base::MapValueToComponents(
                        d.data(), count, bpc.to, d.stride(), s.data(), bpc.from, s.stride(), &set,
                        size.width, size.pixels);
                },
                [&](const Pixel& pixel) { return row_of(table, pixel[0], count, false); });
            if (HasFatalFailure()) return;
        }
}

// Every value of a depth, in pictures that are large for the table.
TEST(ColourKernels, MapEveryValueOfADepth) {
    Random random(23);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        SCOPED_TRACE(name_of(level));
        for (const uint32_t bpc : {3u, 8u, 9u, 12u, 14u, 16u}) {
            const uint32_t from = bpc < 9 ? 1 : 2, width = (4u << bpc) / 8 + 40, height = 9;
            const TestTable rows(bpc, 3, 8, random), words(bpc, 3, 16, random),
                flat(bpc, 1, 8, random);
            for (const uint32_t step : {1u, 2u, 3u, 4u}) {
                const uint64_t size = uint64_t{width} * height;
                std::vector<uint8_t> s(size * step * from), d(size * 6 + 1);
                const auto value = [&](uint64_t pixel) { return (pixel * 5) & ((1u << bpc) - 1); };
                for (uint64_t i = 0; i < size; ++i) {
                    const uint64_t v = value(i);
                    std::memcpy(&s[(i * step + step - 1) * from], &v, from);
                }
                const auto expect = [&](const TestTable& table, bool is_flat, uint32_t to,
                                        const char* name) {
                    for (uint64_t i = 0; i < size; ++i)
                        for (uint32_t c = 0; c < 3; ++c) {
                            uint64_t found = 0;
                            std::memcpy(&found, &d[1 + (i * 3 + c) * to], to);
                            ASSERT_EQ(found, table.at(value(i), is_flat ? 0 : c))
                                << name << ", depth " << bpc << ", step " << step;
                        }
                };
                const uint32_t bits = 8 * from;
                kComponentLut3To3.find_stored(step, bits)(d.data() + 1, width * 3, s.data(), step,
                                                          bpc, width * step * from, step - 1,
                                                          rows.rows(), width, size);
                expect(rows, false, 1, "lut3");
                kComponentLut1To3.find_stored(step, bits)(d.data() + 1, width * 3, s.data(), step,
                                                          bpc, width * step * from, step - 1,
                                                          flat.flat(), width, size);
                expect(flat, true, 1, "lut1");
                if (step != 1 || (from == 1 && bpc != 8)) continue;
                const uint32_t stride = width * 3;
                if (from == 1) {
                    mapvialuts_val8_to_3x8_lut3(d.data() + 1, stride, s.data(), width, rows.rows(),
                                                width, size);
                    expect(rows, false, 1, "val8 lut3");
                    mapvialuts_val8_to_3x8_lut1(d.data() + 1, stride, s.data(), width, flat.flat(),
                                                width, size);
                    expect(flat, true, 1, "val8 lut1");
                } else {
                    mapvialuts_val16_to_3x8(d.data() + 1, stride, s.data(), width * 2, rows.rows(),
                                            width, size);
                    expect(rows, false, 1, "val16 to 3x8");
                    mapvialuts_val16_to_3x16(d.data() + 1, stride * 2, s.data(), width * 2,
                                             words.rows(), width, size);
                    expect(words, false, 2, "val16 to 3x16");
                }
                if (HasFatalFailure()) return;
            }
        }
    }
}

// One pixel of one component to three.
template <class T>
Bytes extracted(const SQmLut& set, uint32_t bpc, T value, uint32_t comp = 0) {
    Bytes d(3, 77);
    std::vector<T> pixel(4, T{1});
    pixel[comp] = value;
    EXPECT_EQ(CQmPicMemAPI_Base::ExtractComponentViaLuts(d.data(), 3, 8, 3, pixel.data(), 4, bpc,
                                                         4 * sizeof(T), comp, &set, 1, 1),
              QM_OK);
    return d;
}

// A table of rows (v, v / 2, 255 - v) of the top 8 bits of the value, ending in (255, 127, 0).
struct Ramp {
    std::vector<std::array<uint8_t, 3>> cells;
    std::vector<const void*> rows;
    Bytes flat;
    explicit Ramp(uint32_t bits) : cells(1u << bits) {
        for (uint32_t v = 0; v < cells.size(); ++v) {
            const auto top = static_cast<uint8_t>(bits < 8 ? v : v >> (bits - 8));
            cells[v] = {top, static_cast<uint8_t>(top / 2), static_cast<uint8_t>(255 - top)};
            flat.push_back(top);
        }
        for (auto& row : cells) rows.push_back(row.data());
    }
};

TEST(ExtractComponentViaLuts, AFlagGivesTheInverseOfTheTablesTopRow) {
    const Ramp bytes(8), words(12);
    const uint8_t flagged[16] = {1, 2, 3, 1, 1, 2, 3, 0, 1, 2, 3, 9, 1, 2, 3, 1};
    HandMadeSet three(bytes.rows.data(), 8, 1, 8, 3);
    three.mark(flagged, nullptr, flagged);
    EXPECT_EQ(extracted<uint8_t>(three, 8, 255, 2), (Bytes{0, 128, 255}));
    EXPECT_EQ(extracted<uint8_t>(three, 8, 0, 2), (Bytes{0, 128, 255}));
    EXPECT_EQ(extracted<uint8_t>(three, 8, 255, 1), (Bytes{1, 2, 3}));
    EXPECT_EQ(extracted<uint8_t>(three, 8, 254, 2), (Bytes{254, 127, 1}));
    HandMadeSet wide(words.rows.data(), 12, 1, 8, 3);
    wide.mark(flagged, nullptr, nullptr);
    EXPECT_EQ(extracted<uint16_t>(wide, 12, 4095, 0), (Bytes{0, 128, 255}));
    EXPECT_EQ(extracted<uint16_t>(wide, 12, 0, 0), (Bytes{0, 0, 255}));
    // A flat table: the inverse of its last cell in all three.
    Bytes flat = words.flat;
    flat[4095] = 200;
    HandMadeSet one(flat.data(), 12, 1, 8, 1);
    one.mark(flagged, nullptr, flagged);
    EXPECT_EQ(extracted<uint16_t>(one, 12, 4095, 1), (Bytes{55, 55, 55}));  // entry 0 is flagged
    EXPECT_EQ(extracted<uint16_t>(one, 12, 0, 1), (Bytes{55, 55, 55}));
}

TEST(ExtractComponentViaLuts, TheTopRowOfATableOfFewBitsIsItsLast) {
    const Ramp ramp(4);  // ends in (15, 7, 240)
    const uint8_t flagged[4] = {1, 2, 3, 1};
    HandMadeSet set(ramp.rows.data(), 4, 1, 8, 3);
    set.mark(flagged, nullptr, flagged);
    EXPECT_EQ(extracted<uint8_t>(set, 4, 0), (Bytes{240, 248, 15}));
    // Without thresholds bytes are over-exposed from 255 on, whatever their depth.
    EXPECT_EQ(extracted<uint8_t>(set, 4, 15), (Bytes{15, 7, 240}));
}

TEST(ExtractComponentViaLuts, ColoursAreOfEntryZeroThroughOneCellAndOfTheComponentThroughThree) {
    const Ramp ramp(12);
    const uint8_t colours[8] = {1, 2, 3, 0, 4, 5, 6, 0};
    const uint32_t thresholds[2] = {4000, 1000};
    HandMadeSet rows(ramp.rows.data(), 12, 1, 8, 3), flat(ramp.flat.data(), 12, 1, 8, 1);
    rows.mark(colours, thresholds, nullptr);
    flat.mark(colours, thresholds, nullptr);
    EXPECT_EQ(extracted<uint16_t>(rows, 12, 1000, 1), (Bytes{4, 5, 6}));
    EXPECT_EQ(extracted<uint16_t>(flat, 12, 1000, 1), (Bytes{1, 2, 3}));
    EXPECT_EQ(extracted<uint16_t>(flat, 12, 999, 1), (Bytes{62, 62, 62}));
    EXPECT_EQ(extracted<uint16_t>(rows, 12, 999, 1), (Bytes{62, 31, 193}));
}

TEST(ExtractComponentViaLuts, BytesThroughOneCellTakeTheThresholdFromTheColour) {
    Bytes flat(256);
    for (uint32_t v = 0; v < 256; ++v) flat[v] = static_cast<uint8_t>(v);
    const uint32_t thresholds[2] = {10, 10};
    HandMadeSet set(flat.data(), 8, 1, 8, 1);
    const uint8_t low_word[8] = {9, 9, 9, 0, 100, 0, 0, 0};  // the word at 1 is 100
    set.mark(low_word, thresholds, nullptr);
    EXPECT_EQ(extracted<uint8_t>(set, 8, 99, 1), (Bytes{99, 99, 99}));
    EXPECT_EQ(extracted<uint8_t>(set, 8, 100, 1), (Bytes{9, 9, 9}));  // the colour is entry 0's
    EXPECT_EQ(extracted<uint8_t>(set, 8, 255, 0), (Bytes{255, 255, 255}));  // 0x090909 is far away
    const uint8_t flag_alone[4] = {0, 0, 0, 1};
    set.mark(flag_alone, thresholds, nullptr);
    EXPECT_EQ(extracted<uint8_t>(set, 8, 255, 0), (Bytes{255, 255, 255}));
}

TEST(ExtractComponentViaLuts, ZeroIsUnderExposedAlsoWhereTheThresholdIsZero) {
    const Ramp ramp(8);
    const uint8_t over[4] = {1, 1, 1, 0}, under[4] = {2, 2, 2, 0};
    const uint32_t zero[1] = {0};
    HandMadeSet set(ramp.rows.data(), 8, 1, 8, 3);
    set.mark(over, zero, under);
    EXPECT_EQ(extracted<uint8_t>(set, 8, 0), (Bytes{2, 2, 2}));
    EXPECT_EQ(extracted<uint8_t>(set, 8, 1), (Bytes{1, 1, 1}));
    set.mark(over, zero, nullptr);
    EXPECT_EQ(extracted<uint8_t>(set, 8, 0), (Bytes{1, 1, 1}));
}

TEST(ExtractComponentViaLuts, AValueBeyondTheTableThatReachesTheThresholdIsMarked) {
    const Ramp ramp(9);
    const uint8_t over[4] = {1, 2, 3, 0};
    for (const uint32_t threshold : {511u, 5000u}) {
        HandMadeSet set(ramp.rows.data(), 9, 1, 8, 3);
        set.mark(over, &threshold, nullptr);
        EXPECT_EQ(extracted<uint16_t>(set, 9, 60000), (Bytes{1, 2, 3}));
        // Also in a picture that is large for the table.
        std::vector<uint16_t> s(64 * 64, 60000);
        Bytes d(64 * 64 * 3);
        EXPECT_EQ(CQmPicMemAPI_Base::ExtractComponentViaLuts(d.data(), 3, 8, 192, s.data(), 1, 9,
                                                             128, 0, &set, 64, 64 * 64),
                  QM_OK);
        EXPECT_EQ(Bytes(d.end() - 3, d.end()), (Bytes{1, 2, 3}));
    }
}

TEST(ExtractComponentViaLuts, EqualDepthsAndCountsAreAskedForBeforeTheFormat) {
    const Bytes flat(256);
    const HandMadeSet set(flat.data(), 8, 1, 9, 1);
    Bytes d(3), s(3);
    const auto extract = [&](uint32_t to) {
        return CQmPicMemAPI_Base::ExtractComponentViaLuts(d.data(), 1, to, 3, s.data(), 1, 8, 3, 0,
                                                          &set, 1, 1);
    };
    EXPECT_EQ(extract(9), QM_NO_KERNEL);
    EXPECT_EQ(extract(10), QM_REJECTED);
    const HandMadeSet empty(nullptr, 8, 1, 8, 1);
    EXPECT_EQ(CQmPicMemAPI_Base::ExtractComponentViaLuts(d.data(), 1, 8, 3, s.data(), 1, 8, 3, 0,
                                                         &empty, 1, 1),
              QM_REJECTED);
}

TEST(MapValueToComponents, AFlatTableOfBytesGivesThreeEqualComponentsAndOfFourOnlyOne) {
    Bytes flat(256);
    for (uint32_t v = 0; v < 256; ++v) flat[v] = static_cast<uint8_t>(255 - v);
    const HandMadeSet set(flat.data(), 8, 1, 8, 1);
    const Bytes s{10, 20};
    Bytes d(8, 77);
    EXPECT_EQ(
        CQmPicMemAPI_Base::MapValueToComponents(d.data(), 3, 8, 6, s.data(), 8, 2, &set, 2, 2),
        QM_OK);
    EXPECT_EQ(d, (Bytes{245, 245, 245, 235, 235, 235, 77, 77}));
    d.assign(8, 77);
    EXPECT_EQ(
        CQmPicMemAPI_Base::MapValueToComponents(d.data(), 4, 8, 8, s.data(), 8, 2, &set, 2, 2),
        QM_OK);
    EXPECT_EQ(d, (Bytes{245, 235, 77, 77, 77, 77, 77, 77}));
}

TEST(MapValueToComponents, AFlatTableOfWordsIsNotMasked) {
    std::vector<uint16_t> flat(65536);
    for (uint32_t v = 0; v < 65536; ++v) flat[v] = static_cast<uint16_t>(v ^ 0xFFFF);
    const HandMadeSet set(flat.data(), 12, 1, 12, 1);
    const uint16_t s = 0xF005;
    uint16_t d[2] = {77, 77};
    EXPECT_EQ(CQmPicMemAPI_Base::MapValueToComponents(d, 2, 12, 4, &s, 12, 2, &set, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 0x0FFA);
    EXPECT_EQ(d[1], 77);
}

TEST(MapValueToComponents, ForksForAFlatTableOfBytesAndForNothingElse) {
    if (!WatchedRegions::kWorks) return;
    const EntryTables& tables = EntryTables::get();
    std::vector<uint8_t> d(64 * 64 * 10), s(64 * 64 * 2);
    for (const uint32_t bpc : {8u, 12u})
        for (uint32_t count = 1; count <= 5; ++count)
            for (const bool flat : {false, true}) {
                if (!flat && count == 1) continue;
                const HandMadeSet set(
                    flat ? static_cast<const void*>(tables.cells.data()) : tables.rows.data(), bpc,
                    1, bpc, flat ? 1 : count);
                const WatchedRegions regions;
                CQmPicMemAPI_Base::MapValueToComponents(d.data(), count, bpc, 64 * 10, s.data(),
                                                        bpc, 128, &set, 64, 64 * 64);
                EXPECT_EQ(regions.teams().size(), bpc == 8 && flat && count != 3 ? 1u : 0u);
            }
}

TEST(ComponentKernels, NeverFork) {
    if (!WatchedRegions::kWorks) return;
    const EntryTables& tables = EntryTables::get();
    std::vector<uint8_t> d(300 * 300 * 3), s(300 * 300 * 2);
    const std::vector<uint8_t> colours(12, 1);
    const uint64_t size = 300 * 300;
    const CQmRangeMask added(3, 0, 2, 1);
    const WatchedRegions regions;
    for (const uint32_t bits : {8u, 16u}) {
        kComponentLut1To1.find_stored(1, bits)(d.data(), 300, s.data(), 1, bits, 600, 0,
                                               tables.cells.data(), 300, size);
        kComponentLut1To3.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                               tables.cells.data(), 300, size);
        kComponentLut3To3.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                               tables.rows.data(), 300, size);
        kComponentLut1ToN.find_stored(1, bits)(d.data(), 2, 900, s.data(), 1, bits, 600, 0,
                                               tables.cells.data(), 300, size);
        kComponentLutNToN.find_stored(1, bits)(d.data(), 2, 900, s.data(), 1, bits, 600, 0,
                                               tables.rows.data(), 300, size);
        kComponentLut1Exposed.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                                   tables.cells.data(), colours.data(), nullptr,
                                                   nullptr, 300, size);
        kComponentLut3Exposed.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                                   tables.rows.data(), colours.data(), nullptr,
                                                   nullptr, 300, size);
        kComponentAdd.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                           tables.rows.data(), 1.5, added, 300, size);
        kComponentAddOverexposed.find_stored(1, bits)(d.data(), 900, s.data(), 1, bits, 600, 0,
                                                      tables.rows.data(), 1.5, colours.data(),
                                                      nullptr, added, 300, size);
    }
    EXPECT_TRUE(regions.teams().empty());
}

// One pixel of value `value` through rows (cell, cell, cell) with a gain.
Bytes added(uint8_t cell, double gain, bool is_added = true) {
    const std::array<uint8_t, 3> row{cell, cell, 0};
    const std::vector<const void*> rows(256, row.data());
    const uint8_t s = 5;
    Bytes d(3, 77);
    EXPECT_EQ(component_lut3_Mx8_to_3x8_add(d.data(), 3, &s, 1, 8, 1, 0, rows.data(), gain,
                                            CQmRangeMask(1, 0, 0, is_added), 1, 1),
              QM_OK);
    return d;
}

TEST(AddedComponents, AreWeightedIn255ths) {
    EXPECT_EQ(added(200, 0.5), (Bytes{100, 100, 0}));  // g is 128: 25600 / 255
    EXPECT_EQ(added(200, 1.0), (Bytes{200, 200, 0}));
    EXPECT_EQ(added(200, 2.0), (Bytes{255, 255, 0}));
    EXPECT_EQ(added(100, 0.0), (Bytes{0, 0, 0}));
    EXPECT_EQ(added(100, 0.001), (Bytes{0, 0, 0}));  // 0.755 is truncated
    EXPECT_EQ(added(100, 0.002), (Bytes{0, 0, 0}));  // g is 1, 100 / 255
    EXPECT_EQ(added(255, 0.002), (Bytes{1, 1, 0}));
    EXPECT_EQ(added(100, 3.0, false), (Bytes{100, 100, 0}));  // not among the components
}

TEST(AddedComponents, WrapAt32Bits) {
    EXPECT_EQ(added(1, -1), (Bytes{255, 255, 0}));  // g is 2^32 - 254
    EXPECT_EQ(added(200, -1), (Bytes{255, 255, 0}));
    EXPECT_EQ(added(200, std::nan("")), (Bytes{0, 0, 0}));  // g is the low half of 2^63
    EXPECT_EQ(added(200, 1e300), (Bytes{0, 0, 0}));
    EXPECT_EQ(added(2, 16843009.0), (Bytes{255, 255, 0}));      // g is 2^32 - 1
    EXPECT_EQ(added(2, 2147483648.0 / 255), (Bytes{0, 0, 0}));  // twice 2^31
}

TEST(AddedComponents, TakeTheOverColourUnweighted) {
    const Ramp ramp(8);
    const uint8_t over[4] = {10, 20, 30, 0}, flagged[4] = {10, 20, 30, 1};
    const uint32_t threshold = 200, above = 256;
    const CQmRangeMask all(1, 0, 0, 1), none(1, 0, 0, 0);
    const auto run = [&](uint8_t value, const void* colours, const uint32_t* thresholds,
                         const CQmRangeMask& mask) {
        Bytes d(3, 77);
        EXPECT_EQ(
            component_lut3_Mx8_to_3x8_add_overexp(d.data(), 3, &value, 1, 8, 1, 0, ramp.rows.data(),
                                                  0.5, colours, thresholds, mask, 1, 1),
            QM_OK);
        return d;
    };
    EXPECT_EQ(run(200, over, &threshold, all), (Bytes{10, 20, 30}));
    EXPECT_EQ(run(199, over, &threshold, all), (Bytes{99, 49, 28}));
    EXPECT_EQ(run(255, flagged, nullptr, all), (Bytes{0, 128, 255}));  // of (255, 127, 0)
    EXPECT_EQ(run(255, over, &above, all), (Bytes{128, 63, 0}));
    EXPECT_EQ(run(0, over, nullptr, all), (Bytes{0, 0, 128}));  // 0 is not looked for
    EXPECT_EQ(run(255, nullptr, &threshold, all), (Bytes{128, 63, 0}));
    EXPECT_EQ(run(200, over, &threshold, none), (Bytes{10, 20, 30}));
    EXPECT_EQ(run(199, over, &threshold, none), (Bytes{199, 99, 56}));
}

}  // namespace
}  // namespace qmpic::test
