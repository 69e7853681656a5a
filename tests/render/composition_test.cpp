#include "qmpic/kernels/composition.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/composition_kernels.h"
#include "render/packed_table.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

// ----- The reference: what the kernels promise, one pixel in the plainest words ------------------

/// T[a][b]: two bytes in one light.
const auto kT = [] {
    auto table = std::make_unique<std::array<std::array<uint8_t, 256>, 256>>();
    for (int a = 0; a < 256; ++a)
        for (int b = a; b < 256; ++b)
            (*table)[a][b] = (*table)[b][a] = static_cast<uint8_t>(a + b - a * b / 255);
    return table;
}();
uint64_t screen_of_bytes(uint64_t a, uint64_t b, uint32_t /*bpc*/) { return (*kT)[a][b]; }

/// Top is that of the source; 32 signed bits, in which the product wraps.
uint64_t screen_of_words(uint64_t a, uint64_t b, uint32_t bpc) {
    const int64_t top = (int64_t{1} << bpc) - 1;
    int64_t product = static_cast<int64_t>(a * b);
    if (product >= int64_t{1} << 31) product -= int64_t{1} << 32;
    return static_cast<uint64_t>(static_cast<int64_t>(a) - product / top +
                                 static_cast<int64_t>(b)) &
           0xFFFF;
}

uint64_t geometric(uint64_t a, uint64_t b, uint32_t /*bpc*/) {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    return static_cast<uint64_t>(x + y - std::sqrt(x * y) + 0.5);
}

using Cells = std::array<uint64_t, 3>;
using MergeRule = uint64_t(uint64_t, uint64_t, uint32_t);

/// Colour tables for a call: `entries` rows a component, in no order and with bytes in between.
class Tables {
  public:
    /// Many components share tables, so that they stay small.
    Tables(uint32_t components, uint32_t entries, uint32_t cell_bytes, Random& random)
        : cell_bytes_(cell_bytes), entries_(entries) {
        const uint32_t distinct = std::max(1u, std::min(components, (1u << 18) / entries));
        const uint32_t row_bytes = 3 * cell_bytes, step = row_bytes + random(0, 2);
        bytes_.resize(size_t{step} * (entries - 1) + row_bytes);
        for (uint32_t t = 0; t < distinct; ++t) {
            memory_.push_back(bytes_);
            fill(memory_.back(), random);
            rows_.emplace_back(entries);
            const uint32_t odd = 2 * random(0, 1000) + 1, from = random(0, entries - 1);
            for (uint32_t v = 0; v < entries; ++v)
                rows_[t][v] =
                    memory_.back().data() + size_t{step} * ((v * odd + from) & (entries - 1));
        }
        for (uint32_t c = 0; c < components; ++c) root_.push_back(rows_[c % distinct].data());
    }
    const void* of_all() const { return root_.data(); }
    const void* of_one() const { return root_[0]; }
    uint64_t cell(uint32_t component, uint64_t value, uint32_t k) const {
        uint64_t cell = 0;
        std::memcpy(&cell, static_cast<const uint8_t*>(root_[component][value]) + k * cell_bytes_,
                    cell_bytes_);
        return cell;
    }
    Cells colour(uint32_t component, uint64_t value) const {
        return {cell(component, value, 0), cell(component, value, 1), cell(component, value, 2)};
    }
    uint32_t entries() const { return entries_; }
    void set(uint32_t component, uint32_t value, Cells colour) {
        for (uint32_t k = 0; k < 3; ++k)
            std::memcpy(const_cast<uint8_t*>(static_cast<const uint8_t*>(root_[component][value])) +
                            k * cell_bytes_,
                        &colour[k], cell_bytes_);
    }

  private:
    void fill(std::vector<uint8_t>& bytes, Random& random) {
        // Any bytes; or mostly black; or mostly ends of the range.
        const uint32_t kind = random(0, 2);
        uint32_t state = random.any();
        for (uint8_t& byte : bytes) {
            state = state * 1664525 + 1013904223;
            const auto drawn = static_cast<uint8_t>(state >> 24);
            byte = kind == 0   ? drawn
                   : kind == 1 ? (drawn < 200 ? 0 : drawn)
                               : static_cast<uint8_t>(drawn % 3 == 0   ? 255
                                                      : drawn % 3 == 1 ? 0
                                                                       : drawn);
        }
    }
    uint32_t cell_bytes_, entries_;
    std::vector<uint8_t> bytes_;
    std::vector<std::vector<uint8_t>> memory_;
    std::vector<std::vector<const void*>> rows_;
    std::vector<const void* const*> root_;
};

/// Exposure as a caller gives it; null pointers are empty vectors.
struct Exposure {
    std::vector<uint8_t> over, under;
    std::vector<uint32_t> thresholds;
    const void* over_data() const { return over.empty() ? nullptr : over.data(); }
    const void* under_data() const { return under.empty() ? nullptr : under.data(); }
    const uint32_t* threshold_data() const {
        return thresholds.empty() ? nullptr : thresholds.data();
    }
};

Cells signal(const std::vector<uint8_t>& block, const Tables& tables, uint32_t c, uint64_t top) {
    if (block[4 * c + 3] == 0) return {block[4 * c], block[4 * c + 1], block[4 * c + 2]};
    Cells inverse = tables.colour(c, top);
    for (uint64_t& cell : inverse) cell = 255 - cell;
    return inverse;
}

/// The colour of the first selected component that is badly exposed.
std::optional<Cells> exposed(const std::vector<uint64_t>& pixel,
                             const std::vector<uint32_t>& selected, const Tables& tables,
                             const Exposure& marks, uint64_t top) {
    for (const uint32_t c : selected) {
        if (!marks.under.empty() && pixel[c] == 0) return signal(marks.under, tables, c, top);
        const uint64_t threshold = marks.thresholds.empty() ? top : marks.thresholds[c];
        if (!marks.over.empty() && pixel[c] >= threshold) return signal(marks.over, tables, c, top);
    }
    return std::nullopt;
}

Cells merged(const std::vector<uint64_t>& pixel, const std::vector<uint32_t>& selected,
             const Tables& tables, MergeRule* rule, uint32_t bpc) {
    Cells cells = tables.colour(selected[0], pixel[selected[0]]);
    for (size_t i = 1; i < selected.size(); ++i)
        for (uint32_t k = 0; k < 3; ++k)
            cells[k] = rule(cells[k], tables.cell(selected[i], pixel[selected[i]], k), bpc);
    return cells;
}

/// The merge of a group: `before` is what the destination holds.
Cells added(const std::vector<uint64_t>& pixel, const std::vector<uint32_t>& selected,
            const CQmRangeMask& mask, double gain, const Tables& tables, Cells before) {
    std::vector<uint32_t> a, b;
    for (const uint32_t c : selected) (mask.Get(c) ? a : b).push_back(c);
    const auto g = static_cast<uint32_t>(static_cast<int64_t>(gain * 255 + 0.5));
    Cells cells{};
    for (uint32_t k = 0; k < 3; ++k) {
        uint32_t sum = 0;
        for (const uint32_t c : a) sum += static_cast<uint32_t>(tables.cell(c, pixel[c], k));
        const uint32_t mean =
            a.empty() ? 0
                      : std::min<uint32_t>(sum * g / static_cast<uint32_t>(a.size()) / 255, 255);
        if (b.empty()) {
            cells[k] = mean;
            continue;
        }
        const uint64_t parts = b.size() + 1;
        uint64_t cell = before[k];
        if (!a.empty()) cell = mean / parts + tables.cell(b[0], pixel[b[0]], k) / parts;
        for (size_t i = 1; i < b.size(); ++i)
            cell = (cell + tables.cell(b[i], pixel[b[i]], k) / parts) % 256;
        cells[k] = cell;
    }
    return cells;
}

// ----- Cases -------------------------------------------------------------------------------------

CQmRangeMask mask_of(uint32_t size, const std::vector<uint32_t>& bits) {
    CQmRangeMask mask(size, 0, 0, 0);
    for (const uint32_t bit : bits) mask.Set(bit);
    return mask;
}

CQmRangeMask random_mask(uint32_t components, Random& random) {
    switch (random(0, 7)) {
    case 0:
    case 1: return {192, 0, 191, 1};
    case 2: return {components, 0, 191, 1};
    case 3: return mask_of(192, {random(0, components - 1)});
    case 4: return mask_of(192, {191});  // beyond the count, or the last
    case 5: return random(0, 1) ? CQmRangeMask{} : CQmRangeMask(192, 0, 0, 0);
    default: {
        CQmRangeMask mask(random(0, 1) ? 192 : random(1, components), 0, 0, 0);
        const uint32_t odds = random(1, 4);
        for (uint32_t i = 0; i < 192; ++i) mask.Set(i, random(0, odds) != 0);
        return mask;
    }
    }
}

std::vector<uint8_t> random_block(uint32_t components, Random& random) {
    std::vector<uint8_t> block(4 * components);
    for (uint8_t& byte : block) byte = static_cast<uint8_t>(random.any());
    for (uint32_t c = 0; c < components; ++c)
        if (random(0, 1)) block[4 * c + 3] = 0;
    return block;
}

std::vector<uint32_t> random_thresholds(uint32_t components, uint32_t top, Random& random) {
    std::vector<uint32_t> thresholds;
    const bool low = random(0, 3) == 0;
    for (uint32_t c = 0; c < components; ++c)
        thresholds.push_back(
            low ? random.one_of({0u, 1u, top / 2})
                : random.one_of({top, top - 1, top + 1, top - top / 16, 0xFFFFFFFFu, 65536u}));
    return thresholds;
}

struct Spec {
    CompositionKernel* run;
    Layouts layouts;
    bool over, under, adds, iterates, keeps;
    MergeRule* rule;
};

void check(const Spec& spec, Round round) {
    Random& random = round.random;
    const uint32_t bits = spec.layouts.source.bits;
    const uint32_t components =
        spec.layouts.source.components != 0
            ? spec.layouts.source.components
            : random.one_of({1u, 3u, 5u, 7u, 7u, 8u, 9u, 12u, 16u, 63u, 64u, 65u, 145u, 192u});
    const uint32_t bpc = bits == 8 ? 8 : round.in_turn(depths(16));
    const uint32_t top = (1u << bpc) - 1;
    Size size = random.size(components);
    if (components < 10 && random(0, 3) == 0) {
        size = {random(60, 300), random(4, 12)};  // enough pixels for packed tables
        size.pixels += random(0, size.width - 1);
    }
    const GuardedPicture s({components, bits, bpc}, size, random);
    const GuardedPicture d({3, spec.layouts.destination.bits, spec.layouts.destination.bits}, size,
                           random);
    // Now and then tables that go on above the depth, and samples there.
    const uint32_t entries = bits == 16 && random(0, 5) == 0 ? 65536 : top + 1;
    // Badly exposed samples are rare in half of the pictures.
    const bool rare = random(0, 1) == 0;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) {
            const uint64_t value = s.get(i, y) % entries;
            const bool edge = value == 0 || value >= top - 1;
            const_cast<GuardedPicture&>(s).set(
                i, y, rare && edge && random(0, 200) != 0 ? 1 + random.any() % (top / 2) : value);
        }
    const Tables tables(components, entries, spec.layouts.destination.bits / 8, random);
    const CQmRangeMask mask = random_mask(components, random);
    Exposure marks;
    if (spec.over && random(0, 3) != 0) marks.over = random_block(components, random);
    if (spec.under && random(0, 3) != 0) marks.under = random_block(components, random);
    if (random(0, 2) != 0) marks.thresholds = random_thresholds(components, top, random);
    const CQmRangeMask others = random_mask(components, random);
    const double gain = random.one_of({0.0, 0.5, 1.0, 1.7, 2.0, 100.0});

    std::vector<uint32_t> selected;
    for (uint32_t c = 0; c < components; ++c)
        if (components == 1 && spec.layouts.source.components == 1 ? true : mask.Get(c))
            selected.push_back(c);
    std::vector<uint64_t> expected = d.content();
    size_t at = 0;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x, at += 3) {
            std::vector<uint64_t> pixel;
            for (uint32_t c = 0; c < components; ++c) pixel.push_back(s.get(x * components + c, y));
            const Cells before{expected[at], expected[at + 1], expected[at + 2]};
            Cells after{};  // black
            if (spec.iterates)
                for (uint32_t k = 0; k < 3; ++k)
                    after[k] = (*kT)[before[k]][tables.cell(0, pixel[0], k)];
            else if (selected.empty()) {
                if (spec.keeps) after = before;
            } else if (const auto shown = exposed(pixel, selected, tables, marks, top))
                after = *shown;
            else if (spec.adds)
                after = added(pixel, selected, others, gain, tables, before);
            else
                after = merged(pixel, selected, tables, spec.rule, bpc);
            for (uint32_t k = 0; k < 3; ++k) expected[at + k] = after[k];
        }
    const auto outside = d.outside();

    ASSERT_EQ(spec.run({d.data(), d.stride(), s.data(), components, bpc, s.stride(),
                        spec.layouts.source.components == 1 ? tables.of_one() : tables.of_all(),
                        mask, marks.over_data(), marks.threshold_data(), marks.under_data(),
                        size.width, size.pixels, gain, others}),
              QM_OK);

    const auto found = d.content();
    for (size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(found[i], expected[i])
            << "cell " << i % 3 << " of pixel " << i / 3 << "; " << size.width << " x "
            << size.height << " pixels of " << components << " x " << bpc << ", " << selected.size()
            << " selected, over " << !marks.over.empty() << ", under " << !marks.under.empty();
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class Kernel>
Spec spec_of(const Kernel& kernel) {
    const std::string_view name = kernel.name;
    Spec spec{};
    spec.run = kernel.run;
    spec.layouts = {kernel.source, kernel.destination};
    spec.over = name.find("_overexp") != name.npos;
    spec.under = name.ends_with("_underexp");
    spec.adds = name.find("_add") != name.npos;
    spec.iterates = name.find("Iter") != name.npos;
    // Alone of all, two bytes are left as they are when neither is selected; and so is the
    // destination of a group without members.
    spec.keeps = name.starts_with("mapcomp_2x8") || spec.adds;
    spec.rule = kernel.destination.bits == 8  ? screen_of_bytes
                : name == "mapcomp_Nx16_3x16" ? geometric
                                              : screen_of_words;
    return spec;
}

template <class List>
void add_list(std::vector<KernelCase>& all, const List& list) {
    for (const auto& kernel : list) {
        if (kernel.name == "mapcomp_Nx8_Mx8") continue;
        const Spec spec = spec_of(kernel);
        all.push_back({std::string(kernel.name), [=](Round round) { check(spec, round); }});
    }
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    add_list(all, kMapComp);
    add_list(all, kMapCompMarks);
    add_list(all, kMapCompOver);
    add_list(all, kMapCompAdd);
    add_list(all, kMapCompOthers);
    return all;
}

// ----- Entries -----------------------------------------------------------------------------------

/// A set made by hand, of any format: black tables of 2^16 rows, shared by all components.
struct AnySet {
    SQmLut lut;
    AnySet(uint32_t src_components, uint32_t src_bpc, uint32_t dst_components, uint32_t dst_bpc) {
        static const std::vector<uint8_t> black(256);
        static const std::vector<const void*> rows(65536, black.data());
        static const std::vector<const void*> root(192, rows.data());
        lut.pLuts = const_cast<void*>(src_components == 1 ? static_cast<const void*>(rows.data())
                                                          : root.data());
        lut.ucComponents = static_cast<uint8_t>(src_components);
        lut.ucSrcBpc = static_cast<uint8_t>(src_bpc);
        lut.ucDstComponents = static_cast<uint8_t>(dst_components);
        lut.ucDstBpc = static_cast<uint8_t>(dst_bpc);
        lut.rmComponents = CQmRangeMask(192, 0, 191, 1);
    }
    ~AnySet() {  // nothing here is the set's own
        lut.pLuts = nullptr;
        lut.pOverExpColor = lut.pUnderExpColor = nullptr;
        lut.pOverExpValue = nullptr;
        lut.pParams = nullptr;
    }
};

EntryCase many_to_three(uint32_t dst_bpc) {
    return {"CQmPicMemAPI_Base::MapComponentsMToN to " + std::to_string(dst_bpc),
            [=](const EntryCall& c) {
                const AnySet set(c.components, c.bpc, 3, dst_bpc);
                return CQmPicMemAPI_Base::MapComponentsMToN(c.dst, 3, dst_bpc, c.stride, c.src,
                                                            c.components, c.bpc, c.stride, &set.lut,
                                                            c.width, c.size);
            },
            [=](uint32_t, uint32_t bpc) {
                const bool words = bpc >= 9 && bpc <= 16;
                return dst_bpc == 8                    ? (bpc == 8 || words ? 0 : -2)
                       : dst_bpc >= 9 && dst_bpc <= 16 ? (words ? 0 : -2)
                                                       : -2;
            },
            true, false};
}

const bool registered = add_cases(
    kernel_cases(),
    {many_to_three(8),
     many_to_three(9),
     many_to_three(16),
     many_to_three(7),
     many_to_three(17),
     {"CQmPicMemAPI_Base::MapComponentsIterNToN",
      [](const EntryCall& c) {
          const AnySet set(c.components, c.bpc, 3, 8);
          return CQmPicMemAPI_Base::MapComponentsIterNToN(c.dst, 3, 8, c.stride, c.src,
                                                          c.components, c.bpc, c.stride, &set.lut,
                                                          c.width, c.size);
      },
      [](uint32_t components, uint32_t bpc) { return components == 1 && bpc == 8 ? 0 : -2; }, true,
      false}},
    {"mapcomp_Nx8_Mx8"});

}  // namespace
}  // namespace qmpic::test
