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
    for (size_t a = 0; a < 256; ++a)
        for (size_t b = a; b < 256; ++b)
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

/// One call; of the given number of pixels at least, if there is one.
void check(const Spec& spec, Round round, uint64_t least = 0) {
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
    if (least != 0) size = {509, static_cast<uint32_t>(least / 509 + 1)};
    GuardedPicture s({components, bits, bpc}, size, random);
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
            s.set(i, y, rare && edge && random(0, 200) != 0 ? 1 + random.any() % (top / 2) : value);
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

// ----- Named behaviour ---------------------------------------------------------------------------

TEST(Composition, PacksTablesOfEveryDepthForLargePictures) {
    Random random(3);
    Digest digest;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t number = 0; number < 8; ++number)
            for (const auto& kernel : {kMapComp.begin()[8], kMapComp.begin()[10],
                                       kMapCompMarks.begin()[9], kMapCompMarks.begin()[12]}) {
                ASSERT_EQ(kernel.source.bits, 16u);
                check(spec_of(kernel), {number, random, digest}, 1u << (number + 10));
                if (HasFatalFailure()) return;
            }
    }
}

TEST(Merge, IsTheTableForAllPairsOfBytes) {
    for (uint32_t a = 0; a < 256; ++a)
        for (uint32_t b = 0; b < 256; ++b)
            ASSERT_EQ(screen(static_cast<uint8_t>(a), static_cast<uint8_t>(b)), a + b - a * b / 255)
                << a << ", " << b;
    EXPECT_EQ(screen(200, 100), 222);
}

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;
constexpr uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kBlue = 0x0000FF;

/// Tables of three byte cells, black but where a test says otherwise. Colours read red, green,
/// blue.
class Colours {
  public:
    explicit Colours(uint32_t components, uint32_t bpc, uint32_t cells = 3)
        : entries_(1u << bpc), cells_(cells), bytes_(size_t{components} * entries_ * cells) {
        for (size_t i = 0; i < size_t{components} * entries_; ++i)
            rows_.push_back(bytes_.data() + cells * i);
        for (uint32_t c = 0; c < components; ++c) root_.push_back(rows_.data() + c * entries_);
    }
    Colours& set(uint32_t component, uint32_t value, uint32_t colour) {
        uint8_t* const row = bytes_.data() + (size_t{component} * entries_ + value) * cells_;
        for (int k = 0; k < 3; ++k) row[k] = static_cast<uint8_t>(colour >> (8 * k));
        return *this;
    }
    const void* all() const { return root_.data(); }
    const void* one() const { return root_[0]; }

  private:
    uint32_t entries_, cells_;
    Bytes bytes_;
    std::vector<const void*> rows_;
    std::vector<const void* const*> root_;
};

uint32_t colour_of(const Bytes& pixel) {
    return pixel[0] | uint32_t{pixel[1]} << 8 | uint32_t{pixel[2]} << 16;
}
const CQmRangeMask kAll(192, 0, 191, 1), kNone(192, 0, 0, 0);

TEST(Composition, MergesLikeLightsOnAScreen) {
    Colours colours(2, 8);
    colours.set(0, 1, 0x00C8FF).set(1, 1, 0x326407);
    const Bytes s{1, 1};
    Bytes d(3, 9);
    EXPECT_EQ(mapcomp_2x8_3x8(d.data(), 3, s.data(), 2, colours.all(), kAll, 1, 1), 0);
    EXPECT_EQ(d, (Bytes{255, 222, 0x32}));  // 255 stays; 200 and 100; 0 changes nothing
}

TEST(Composition, RedGreenAndBlueMakeWhite) {
    Colours colours(3, 8);
    colours.set(0, 255, kRed).set(1, 255, kGreen).set(2, 255, kBlue);
    const Bytes s{255, 255, 255};
    Bytes d(3, 9);
    mapcomp_3x8_3x8(d.data(), 3, s.data(), 3, colours.all(), kAll, 1, 1);
    EXPECT_EQ(d, (Bytes{255, 255, 255}));
}

TEST(Composition, WithoutASelectionIsBlackButForTwoBytes) {
    const Colours bytes(3, 8), words(3, 9);
    const Bytes s(12, 1);
    Bytes d(6, 9);
    mapcomp_3x8_3x8(d.data(), 3, s.data(), 3, bytes.all(), kNone, 1, 1);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 9, 9, 9}));
    const Bytes before(6, 9), block(8, 77);
    d = before;
    mapcomp_2x8_3x8(d.data(), 3, s.data(), 2, bytes.all(), kNone, 1, 1);
    EXPECT_EQ(d, before);
    mapcomp_2x8_3x8_overexp(d.data(), 3, s.data(), 2, bytes.all(), kNone, block.data(), nullptr, 1,
                            1);
    EXPECT_EQ(d, before);
    mapcomp_2x8_3x8_overexp_underexp(d.data(), 3, s.data(), 2, bytes.all(), kNone, block.data(),
                                     nullptr, block.data(), 0, 1, 1);
    EXPECT_EQ(d, before);
    mapcomp_2x16_3x8(d.data(), 3, s.data(), 9, 4, words.all(), kNone, 1, 1);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 9, 9, 9}));
    d = before;
    mapcomp_2x16_3x8_overexp(d.data(), 3, s.data(), 9, 4, words.all(), kNone, block.data(), nullptr,
                             1, 1);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 9, 9, 9}));
    d = before;
    mapcomp_2x16_3x16(d.data(), 6, s.data(), 4, 9, words.all(), kNone, 1, 1);
    EXPECT_EQ(d, Bytes(6));
}

TEST(Composition, OneOfTwoOverwritesTheDestination) {
    Colours colours(2, 8);
    colours.set(1, 5, 0x102030).set(0, 7, 0xFFFFFF);
    const Bytes s{7, 5};
    Bytes d(3, 9);
    mapcomp_2x8_3x8(d.data(), 3, s.data(), 2, colours.all(), mask_of(192, {1}), 1, 1);
    EXPECT_EQ(colour_of(d), 0x102030u);
}

TEST(Composition, BitsBeyondTheCountMeanNothingAndBeyondTheSizeAreClear) {
    Colours colours(3, 8);
    colours.set(0, 1, kRed).set(1, 1, kGreen).set(2, 1, kBlue);
    const Bytes s{1, 1, 1};
    Bytes d(3, 9);
    mapcomp_3x8_3x8(d.data(), 3, s.data(), 3, colours.all(), mask_of(192, {0, 3, 64, 191}), 1, 1);
    EXPECT_EQ(colour_of(d), kRed);
    mapcomp_3x8_3x8(d.data(), 3, s.data(), 3, colours.all(), CQmRangeMask(2, 0, 191, 1), 1, 1);
    EXPECT_EQ(colour_of(d), kRed | kGreen);
}

/// What 16-bit cells of two components merge to.
uint16_t merge_words(uint16_t a, uint16_t b, uint32_t bpc, bool general = false) {
    const Words cells[7] = {{a, a, a}, {b, b, b}};
    std::vector<std::vector<const void*>> rows;
    std::vector<const void* const*> root;
    for (int c = 0; c < 7; ++c) rows.push_back(std::vector<const void*>(1, cells[c].data()));
    for (int c = 0; c < 7; ++c) root.push_back(rows[static_cast<size_t>(c)].data());
    const Words s(7);
    Words d(3, 9);
    if (general)
        mapcomp_Nx16_3x16(d.data(), 6, s.data(), 7, 14, bpc, root.data(), mask_of(192, {0, 1}), 1,
                          1);
    else
        mapcomp_2x16_3x16(d.data(), 6, s.data(), 4, bpc, root.data(), kAll, 1, 1);
    EXPECT_EQ(d, Words(3, d[0]));
    return d[0];
}

TEST(Composition, ProductsOfWordsWrapAtSixteenBits) {
    EXPECT_EQ(merge_words(65535, 65535, 16), 0);
    EXPECT_EQ(merge_words(65535, 32769, 16), 0);
    EXPECT_EQ(merge_words(65535, 32768, 16), 65535);
    EXPECT_EQ(merge_words(32767, 32767, 15), 32767);  // nothing can wrap
    EXPECT_EQ(merge_words(1000, 4095, 12), 4095);
    // 1000 - 1000 * 1000 / 1023 + 1000, where 977 is the quotient: top is that of the source.
    EXPECT_EQ(merge_words(1000, 1000, 10), 1023);
}

TEST(Composition, WordsScreenLikeTheDefinitionForMorePairs) {
    Random random(11);
    for (uint32_t bpc = 9; bpc <= 16; ++bpc)
        for (int i = 0; i < 4000; ++i) {
            const auto edge = static_cast<uint16_t>((1u << bpc) - random(1, 3));
            const auto a = random(0, 3) ? static_cast<uint16_t>(random.any()) : edge;
            const auto b = random(0, 3) ? static_cast<uint16_t>(random.any()) : edge;
            ASSERT_EQ(merge_words(a, b, bpc), screen_of_words(a, b, bpc)) << a << ", " << b;
        }
}

TEST(Composition, TheGeneralMergeOfWordsKeepsEqualValues) {
    for (const uint16_t value : Words{0, 1, 2, 255, 1000, 32767, 65535})
        EXPECT_EQ(merge_words(value, value, 16, true), value);
    EXPECT_EQ(merge_words(65535, 1, 16, true), 65280);
    EXPECT_EQ(merge_words(0, 777, 16, true), 777);
}

/// Two bytes through tables that are black but for pure green at 255, in the first component.
uint32_t marked(Bytes s, const Exposure& marks, const CQmRangeMask& mask = kAll) {
    Colours colours(2, 8);
    colours.set(0, 255, kGreen).set(0, 100, 0x010203).set(1, 100, 0x040506);
    Bytes d(3, 9);
    EXPECT_EQ(mapcomp_2x8_3x8_overexp_underexp(d.data(), 3, s.data(), 2, colours.all(), mask,
                                               marks.over_data(), marks.threshold_data(),
                                               marks.under_data(), 0, 1, 1),
              0);
    return colour_of(d);
}
const Bytes kOver{1, 0, 0, 0, 2, 0, 0, 0}, kUnder{3, 0, 0, 0, 4, 0, 0, 0};

TEST(Exposure, TheLowestComponentDecides) {
    EXPECT_EQ(marked({255, 0}, {kOver, kUnder, {}}), 1u);
    EXPECT_EQ(marked({0, 255}, {kOver, kUnder, {}}), 3u);
    EXPECT_EQ(marked({100, 0}, {kOver, kUnder, {}}), 4u);  // though the other has a signal
    EXPECT_EQ(marked({100, 255}, {kOver, kUnder, {}}), 2u);
}

TEST(Exposure, UnderComesBeforeOverAndOverIsAtOrAbove) {
    EXPECT_EQ(marked({0, 100}, {kOver, kUnder, {0, 200}}), 3u);
    EXPECT_EQ(marked({1, 100}, {kOver, kUnder, {0, 200}}), 1u);
    EXPECT_EQ(marked({100, 200}, {kOver, kUnder, {101, 200}}), 2u);
    EXPECT_EQ(marked({101, 100}, {kOver, kUnder, {101, 200}}), 1u);
    EXPECT_EQ(marked({100, 199}, {kOver, kUnder, {101, 200}}), 0x010203u);
    EXPECT_EQ(marked({255, 255}, {kOver, kUnder, {256, 0xFFFFFFFF}}), kGreen);
}

TEST(Exposure, ANullBlockSwitchesItsTestOff) {
    EXPECT_EQ(marked({0, 100}, {kOver, {}, {}}), 0x040506u);
    EXPECT_EQ(marked({255, 100}, {kOver, {}, {}}), 1u);
    EXPECT_EQ(marked({255, 100}, {{}, kUnder, {}}), 0x04FF06u);
    EXPECT_EQ(marked({0, 100}, {{}, kUnder, {}}), 3u);
    EXPECT_EQ(marked({0, 255}, {{}, {}, {}}), 0u);
}

TEST(Exposure, UnselectedComponentsAreNotTested) {
    EXPECT_EQ(marked({0, 100}, {kOver, kUnder, {}}, mask_of(192, {1})), 0x040506u);
    EXPECT_EQ(marked({100, 0}, {kOver, kUnder, {}}, mask_of(192, {0})), 0x010203u);
}

TEST(Exposure, AFlagTakesTheInverseOfTheOwnTopColour) {
    const Bytes flagged{1, 2, 3, 1, 4, 5, 6, 255};
    EXPECT_EQ(marked({0, 100}, {{}, flagged, {}}), 0xFF00FFu);  // green ends in magenta
    EXPECT_EQ(marked({255, 100}, {flagged, {}, {}}), 0xFF00FFu);
    EXPECT_EQ(marked({100, 0}, {{}, flagged, {}}), 0xFFFFFFu);  // and black in white
    // Of 16-bit sources it is the row of the depth's greatest value.
    Colours colours(1, 16);
    colours.set(0, 1023, kGreen).set(0, 65535, kRed);
    const Words s{0};
    Bytes d(3, 9);
    mapcomp_1x16_3x8_overexp_underexp(d.data(), 3, s.data(), 10, 2, colours.one(), nullptr, nullptr,
                                      flagged.data(), 0, 1, 1);
    EXPECT_EQ(colour_of(d), 0xFF00FFu);
}

TEST(Composition, ToOtherCountsDoesNotExist) {
    const Colours colours(3, 8);
    const Bytes s(3);
    Bytes d(3, 9);
    EXPECT_EQ(mapcomp_Nx8_Mx8(d.data(), 3, s.data(), 3, 3, colours.all(), kAll, 1, 1), -2);
    EXPECT_EQ(d, Bytes(3, 9));
    EXPECT_EQ(mapcomp_Nx8_Mx8(nullptr, 0, nullptr, 0, 0, nullptr, kAll, 0, 0), -2);
}

TEST(Composition, OfNoComponentsLeavesTheDestination) {
    const Colours colours(1, 9);
    Bytes d(6, 9);
    mapcomp_Nx8_3x8(d.data(), 3, d.data(), 0, 0, colours.all(), kAll, 1, 1);
    mapcomp_Nx16_3x8(d.data(), 3, d.data(), 0, 9, 0, colours.all(), kAll, 1, 1);
    mapcomp_Nx16_3x16(d.data(), 6, d.data(), 0, 0, 9, colours.all(), kAll, 1, 1);
    EXPECT_EQ(d, Bytes(6, 9));
}

TEST(Composition, OneMoreChannelIsMergedWhateverTheMaskSays) {
    Colours colours(1, 8);
    colours.set(0, 7, 0x00FF64);
    const Bytes s{7};
    Bytes d{200, 100, 50};
    EXPECT_EQ(mapcomp_Iter1x8_3x8(d.data(), 3, s.data(), 9, 1, colours.one(), kNone, 1, 1), 0);
    EXPECT_EQ(d, (Bytes{222, 255, 50}));
}

TEST(Composition, SamplesAboveTheDepthReadTheRowsThere) {
    Colours colours(2, 16);
    colours.set(0, 5000, 0x010203).set(1, 65535, 0x040506);
    std::vector<uint16_t> s(2 * 8192);  // enough for packed tables of 10 bits
    s[100] = 5000, s[9001] = 65535;
    Bytes d(3 * 8192, 9);
    mapcomp_2x16_3x8(d.data(), 3 * 8192, s.data(), 10, 4 * 8192, colours.all(), kAll, 8192, 8192);
    Bytes expected(3 * 8192);
    expected[150] = 3, expected[151] = 2, expected[152] = 1;
    expected[13500] = 6, expected[13501] = 5, expected[13502] = 4;
    EXPECT_EQ(d, expected);
}

TEST(Composition, ReadsNoByteBesideARowOfTheTables) {
    Random random(5);
    for (int round = 0; round < 40; ++round) {
        const GuardedPicture cells({3, 8, 8}, {1, 256}, random);
        std::vector<const void*> rows;
        for (uint32_t v = 0; v < 256; ++v)
            rows.push_back(static_cast<const uint8_t*>(cells.data()) + size_t{v} * cells.stride());
        Bytes s(1024), d(3 * 1024);
        for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<uint8_t>(i);
        for (const uint32_t width : {16u, 1024u}) {
            mapcomp_1x8_3x8(d.data(), 3 * width, s.data(), width, rows.data(), width, width);
            for (uint32_t i = 0; i < 3 * width; ++i) ASSERT_EQ(d[i], cells.get(i % 3, i / 3 % 256));
            mapcomp_Iter1x8_3x8(d.data(), 3 * width, s.data(), 1, width, rows.data(), kAll, width,
                                width);
        }
    }
}

// ----- Groups that are averaged and amplified ----------------------------------------------------

/// Three components at 1, of colours 100, 50 and 200 in all cells, over a destination of 250.
uint32_t added_cell(double gain, const std::vector<uint32_t>& selected,
                    const std::vector<uint32_t>& others, Bytes over = {}) {
    Colours colours(3, 8);
    colours.set(0, 1, 0x646464).set(1, 1, 0x323232).set(2, 1, 0xC8C8C8);
    const Bytes s{1, 1, 1};
    const std::vector<uint32_t> thresholds{9, 1, 1};
    Bytes d(3, 250);
    const int code =
        over.empty() ? mapcomp_Nx8_3x8_add(d.data(), 3, s.data(), 3, 3, colours.all(),
                                           mask_of(192, selected), gain, mask_of(192, others), 1, 1)
                     : mapcomp_Nx8_3x8_add_overexp(
                           d.data(), 3, s.data(), 3, 3, colours.all(), mask_of(192, selected), gain,
                           mask_of(192, others), over.data(), thresholds.data(), 1, 1);
    EXPECT_EQ(code, 0);
    if (over.empty()) {
        EXPECT_EQ(d, Bytes(3, d[0]));
    }
    return d[0];
}

TEST(AddedComposition, AveragesAndAmplifies) {
    EXPECT_EQ(added_cell(2, {0, 1}, {0, 1}), 150u);  // 150 * 510 / 2 / 255
    EXPECT_EQ(added_cell(1, {0, 1, 2}, {0, 1, 2}), 116u);
    EXPECT_EQ(added_cell(10, {0, 1, 2}, {0, 1, 2}), 255u);
}

TEST(AddedComposition, CountsTheGroupAsOneMoreOfTheOthers) {
    EXPECT_EQ(added_cell(2, {0, 1, 2}, {0, 1}), 175u);  // 150 / 2 + 200 / 2
    EXPECT_EQ(added_cell(2, {0, 1, 2}, {0}), 148u);     // 200 / 3 + 50 / 3 + 200 / 3
}

TEST(AddedComposition, WithoutAGroupLeavesTheFirstOutAndAddsToTheDestination) {
    EXPECT_EQ(added_cell(2, {0, 1, 2}, {}), (250u + 12 + 50) % 256);  // quarters of 50 and 200
    EXPECT_EQ(added_cell(2, {2}, {}), 250u);
}

TEST(AddedComposition, OfNothingWritesNothing) {
    EXPECT_EQ(added_cell(2, {}, {0, 1, 2}), 250u);
    EXPECT_EQ(added_cell(2, {}, {0, 1, 2}, Bytes(12, 7)), 250u);
}

TEST(AddedComposition, ShowsTheLowestOverExposedBeforeAllMerging) {
    const Bytes over{1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0};
    EXPECT_EQ(added_cell(2, {0, 1, 2}, {0, 1}, over), 2u);
    EXPECT_EQ(added_cell(2, {0, 2}, {0}, over), 3u);
    EXPECT_EQ(added_cell(2, {0}, {0}, over), 200u);
}

// ----- Threads and memory ------------------------------------------------------------------------

TEST(CompositionThreads, OnlyWordsToBytesForkAndOnlyWithAllSelected) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const std::vector<uint8_t> black(256), block(4 * 9), pixels(9 * 2 * 64 * 8);
    const std::vector<const void*> rows(65536, black.data());
    const std::vector<const void*> root(9, rows.data());
    const auto forks = [&](const auto& kernel, const CQmRangeMask& mask) {
        const uint32_t components = kernel.source.components ? kernel.source.components : 9;
        const void* const tables =
            kernel.source.components == 1 ? static_cast<const void*>(rows.data()) : root.data();
        Bytes d(6 * 64 * 8);
        const WatchedRegions regions;
        kernel.run({d.data(), 6 * 64, pixels.data(), components, kernel.source.bits, 9 * 2 * 64,
                    tables, mask, block.data(), nullptr, block.data(), 64, 64 * 8});
        return regions.forks();
    };
    const auto each = [&](const auto& list, bool adds) {
        for (const auto& kernel : list) {
            const bool words_to_bytes =
                kernel.source.bits == 16 && kernel.destination.bits == 8 && !adds;
            EXPECT_EQ(forks(kernel, kAll), words_to_bytes ? 1u : 0u) << kernel.name;
            const bool unmasked = words_to_bytes && kernel.source.components == 1;
            EXPECT_EQ(forks(kernel, mask_of(192, {0})), unmasked ? 1u : 0u) << kernel.name;
            EXPECT_EQ(forks(kernel, kNone), unmasked ? 1u : 0u) << kernel.name;
        }
    };
    each(kMapComp, false);
    each(kMapCompMarks, false);
    each(kMapCompOver, false);
    each(kMapCompAdd, true);
    each(kMapCompOthers, false);
}

TEST(CompositionMemory, IsNotNeeded) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Random random(9);
    Colours colours(4, 8);
    for (uint32_t c = 0; c < 4; ++c)
        for (uint32_t v = 0; v < 256; ++v) colours.set(c, v, random.any() & 0xFFFFFF);
    Bytes s(4 * 64 * 64), d(3 * 64 * 64), block(16, 5);
    for (uint8_t& sample : s) sample = static_cast<uint8_t>(random.any());
    const auto call = [&] {
        return mapcomp_4x8_3x8_overexp_underexp(d.data(), 3 * 64, s.data(), 4 * 64, colours.all(),
                                                kAll, block.data(), nullptr, block.data(), 0, 64,
                                                64 * 64);
    };
    Bytes expected;
    EXPECT_EQ(each_failure(call,
                           [&](uint32_t nth, const Outcome& outcome) {
                               EXPECT_EQ(outcome.code, 0);
                               EXPECT_EQ(outcome.live, 0);
                               if (nth == 0) expected = d;
                               EXPECT_EQ(d, expected);
                           }),
              1u);
}

TEST(CompositionMemory, SmallPicturesTakeNone) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Colours bytes(4, 8), words(4, 12);
    const Bytes s(4 * 2 * 64 * 64);
    Bytes d(3 * 64 * 64);
    const CQmRangeMask three = mask_of(192, {0, 1, 2});
    const auto seen = [&](auto call) { return with_failing(0, FailingAlloc::kOnce, call).seen; };
    EXPECT_EQ(seen([&] {
                  return mapcomp_4x8_3x8(d.data(), 3 * 16, s.data(), 4 * 16, bytes.all(), kAll, 16,
                                         16 * 16);
              }),
              0u);
    EXPECT_EQ(seen([&] {
                  return mapcomp_4x16_3x8(d.data(), 3 * 64, s.data(), 12, 8 * 64, words.all(),
                                          three, 64, 64 * 64);
              }),
              0u);
}

// ----- Entries -----------------------------------------------------------------------------------

int many_to_three(const SQmLut& lut, uint32_t dst_components, uint32_t dst_bpc,
                  uint32_t src_components, uint32_t src_bpc, void* d, const void* s,
                  uint32_t width = 1, uint64_t size = 1) {
    return CQmPicMemAPI_Base::MapComponentsMToN(d, dst_components, dst_bpc, 64, s, src_components,
                                                src_bpc, 64, &lut, width, size);
}

TEST(MapComponentsMToN, RefusesWhatIsNotTheSets) {
    AnySet set(2, 12, 3, 8);
    Bytes d(64, 9), s(64);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, d.data(), s.data()), 0);
    d.assign(64, 9);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 8, d.data(), s.data()), -4);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 3, 12, d.data(), s.data()), -4);
    EXPECT_EQ(many_to_three(set.lut, 3, 12, 2, 12, d.data(), s.data()), -4);
    EXPECT_EQ(many_to_three(set.lut, 4, 8, 2, 12, d.data(), s.data()), -4);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, d.data(), s.data(), 1, 0), -4);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, d.data(), s.data(), 0, 1), -4);
    AnySet four(2, 12, 4, 8);
    EXPECT_EQ(many_to_three(four.lut, 4, 8, 2, 12, d.data(), s.data()), -2);
    set.lut.pLuts = nullptr;
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, d.data(), s.data()), -4);
    EXPECT_EQ(d, Bytes(64, 9));
}

TEST(MapComponentsMToN, LeavesNullPicturesAlone) {
    const AnySet set(2, 12, 3, 8);
    Bytes d(64, 9), s(64);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, nullptr, s.data()), 0);
    EXPECT_EQ(many_to_three(set.lut, 3, 8, 2, 12, d.data(), nullptr), 0);
    EXPECT_EQ(d, Bytes(64, 9));
}

/// The kernel of a format, called by hand, writes what the entry writes.
void same_as(CompositionKernel* kernel, uint32_t components, uint32_t src_bpc, uint32_t dst_bpc,
             bool over, bool under) {
    Random random(components * 100 + src_bpc);
    const uint32_t cell_bytes = dst_bpc == 8 ? 1 : 2;
    const Tables tables(components, 1u << src_bpc, cell_bytes, random);
    const Size size{7, 3};
    GuardedPicture s({components, src_bpc == 8 ? 8u : 16u, src_bpc}, size, random);
    s.keep_below((1u << src_bpc) - 1, random);
    const GuardedPicture one({3, 8 * cell_bytes, dst_bpc}, size, random),
        two({3, 8 * cell_bytes, dst_bpc}, size, random);
    AnySet set(components, src_bpc, 3, dst_bpc);
    set.lut.pLuts = const_cast<void*>(components == 1 ? tables.of_one() : tables.of_all());
    set.lut.rmComponents = mask_of(192, {0, 2, 3, 100});
    Bytes over_block = random_block(components, random), under_block = over_block;
    auto thresholds = random_thresholds(components, (1u << src_bpc) / 2, random);
    set.lut.pOverExpColor = over ? over_block.data() : nullptr;
    set.lut.pUnderExpColor = under ? under_block.data() : nullptr;
    set.lut.pOverExpValue = thresholds.data();
    ASSERT_EQ(CQmPicMemAPI_Base::MapComponentsMToN(one.data(), 3, dst_bpc, one.stride(), s.data(),
                                                   components, src_bpc, s.stride(), &set.lut,
                                                   size.width, size.pixels),
              0);
    kernel({two.data(), two.stride(), s.data(), components, src_bpc, s.stride(), set.lut.pLuts,
            set.lut.rmComponents, set.lut.pOverExpColor, set.lut.pOverExpValue,
            set.lut.pUnderExpColor, size.width, size.pixels});
    EXPECT_EQ(one.content(), two.content()) << components << " x " << src_bpc << " to " << dst_bpc;
}

TEST(MapComponentsMToN, ChoosesByFormatAndMarksOnlyBytes) {
    const auto of = [](CompositionKernel* known[7], uint32_t n) {
        return known[n > 6 ? 6 : n - 1];
    };
    CompositionKernel* plain_8[] = {one_8<mapcomp_1x8_3x8>,  some_8<mapcomp_2x8_3x8>,
                                    some_8<mapcomp_3x8_3x8>, some_8<mapcomp_4x8_3x8>,
                                    some_8<mapcomp_5x8_3x8>, some_8<mapcomp_6x8_3x8>,
                                    any_8<mapcomp_Nx8_3x8>};
    CompositionKernel* plain_16[] = {one_16<mapcomp_1x16_3x8>,  some_16<mapcomp_2x16_3x8>,
                                     some_16<mapcomp_3x16_3x8>, some_16<mapcomp_4x16_3x8>,
                                     some_16<mapcomp_5x16_3x8>, some_16<mapcomp_6x16_3x8>,
                                     any_16<mapcomp_Nx16_3x8>};
    CompositionKernel* words[] = {
        one_16_to_16<mapcomp_1x16_3x16>,  some_16_to_16<mapcomp_2x16_3x16>,
        some_16_to_16<mapcomp_3x16_3x16>, some_16_to_16<mapcomp_4x16_3x16>,
        some_16_to_16<mapcomp_5x16_3x16>, some_16_to_16<mapcomp_6x16_3x16>,
        any_16_to_16<mapcomp_Nx16_3x16>};
    CompositionKernel* marks_8[] = {one_8_marks<mapcomp_1x8_3x8_overexp_underexp>,
                                    some_8_marks<mapcomp_2x8_3x8_overexp_underexp>,
                                    some_8_marks<mapcomp_3x8_3x8_overexp_underexp>,
                                    some_8_marks<mapcomp_4x8_3x8_overexp_underexp>,
                                    some_8_marks<mapcomp_5x8_3x8_overexp_underexp>,
                                    some_8_marks<mapcomp_6x8_3x8_overexp_underexp>,
                                    any_8_marks<mapcomp_Nx8_3x8_overexp_underexp>};
    CompositionKernel* marks_16[] = {one_16_marks<mapcomp_1x16_3x8_overexp_underexp>,
                                     some_16_marks<mapcomp_2x16_3x8_overexp_underexp>,
                                     some_16_marks<mapcomp_3x16_3x8_overexp_underexp>,
                                     some_16_marks<mapcomp_4x16_3x8_overexp_underexp>,
                                     some_16_marks<mapcomp_5x16_3x8_overexp_underexp>,
                                     some_16_marks<mapcomp_6x16_3x8_overexp_underexp>,
                                     any_16_marks<mapcomp_Nx16_3x8_overexp_underexp>};
    for (const uint32_t n : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u}) {
        same_as(of(plain_8, n), n, 8, 8, false, false);
        same_as(of(plain_16, n), n, 12, 8, false, false);
        for (const bool over : {true, false}) {
            same_as(of(marks_8, n), n, 8, 8, over, true);
            same_as(of(marks_16, n), n, 12, 8, over, true);
            same_as(of(marks_16, n), n, 9, 8, true, over);
            same_as(of(words, n), n, 12, 16, over, true);
        }
        same_as(of(words, n), n, 16, 9, false, false);
    }
}

int one_more(const SQmLut& lut, uint32_t dst_components, uint32_t dst_bpc, uint32_t src_components,
             uint32_t src_bpc, void* d, const void* s, uint32_t width = 1, uint64_t size = 1) {
    return CQmPicMemAPI_Base::MapComponentsIterNToN(d, dst_components, dst_bpc, 64, s,
                                                    src_components, src_bpc, 64, &lut, width, size);
}

TEST(MapComponentsIterNToN, MergesIntoThreeCellsWhateverTheSetHas) {
    for (const uint32_t cells : {3u, 4u}) {
        Colours colours(1, 8, cells);
        colours.set(0, 7, 0x00FF64);
        AnySet set(1, 8, cells, 8);
        set.lut.pLuts = const_cast<void*>(colours.one());
        set.lut.rmComponents = kNone;
        const Bytes s{7};
        Bytes d{200, 100, 50, 9};
        EXPECT_EQ(one_more(set.lut, cells, 8, 1, 8, d.data(), s.data()), 0);
        EXPECT_EQ(d, (Bytes{222, 255, 50, 9}));
    }
}

TEST(MapComponentsIterNToN, RefusesOtherFormats) {
    AnySet set(1, 8, 3, 8);
    Bytes d(64, 9), s(64);
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 12, d.data(), s.data()), -4);
    EXPECT_EQ(one_more(set.lut, 3, 8, 2, 8, d.data(), s.data()), -4);
    EXPECT_EQ(one_more(set.lut, 3, 12, 1, 8, d.data(), s.data()), -4);
    EXPECT_EQ(one_more(set.lut, 1, 8, 1, 8, d.data(), s.data()), -4);
    const AnySet wide(1, 8, 3, 12), two(2, 8, 3, 8), flat(1, 8, 1, 8), words(1, 12, 3, 8);
    EXPECT_EQ(one_more(wide.lut, 3, 12, 1, 8, d.data(), s.data()), -2);
    EXPECT_EQ(one_more(two.lut, 3, 8, 2, 8, d.data(), s.data()), -2);
    EXPECT_EQ(one_more(flat.lut, 1, 8, 1, 8, d.data(), s.data()), -2);
    EXPECT_EQ(one_more(words.lut, 3, 8, 1, 12, d.data(), s.data()), -2);
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 8, nullptr, s.data()), 0);
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 8, d.data(), nullptr), 0);
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 8, d.data(), s.data(), 0), 0);
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 8, d.data(), s.data(), 1, 0), 0);
    set.lut.pLuts = nullptr;
    EXPECT_EQ(one_more(set.lut, 3, 8, 1, 8, d.data(), s.data()), -2);
    EXPECT_EQ(d, Bytes(64, 9));
}

}  // namespace
}  // namespace qmpic::test
