#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "analysis/fret_kernels.h"
#include "analysis/fret_reference.h"
#include "lut/predefined_lists.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/tables.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- Random calls

double draw_bleed(Random& random) {
    switch (random(0, 5)) {
    case 0: return random.one_of({0.0, 1.0, -1.0, 0.5, 1e300, -1e300});
    case 1: return random.one_of({0.0, double{kNan}, double{kInfinity}, -double{kInfinity}});
    default: return random(0, 3000) / 1000.0 - 0.75;
    }
}

struct Drawn {
    std::array<int, 3> index;
    std::array<short, 3> background;
    short fourth;
    Bleeds bleeds;
    float min, max;
    double least, greatest;

    Drawn(uint32_t components, double scale, bool donor_is_there, Random& random) {
        const auto edge = static_cast<uint32_t>(scale / 4) + 1;
        for (size_t c = 0; c < 3; ++c) {
            const bool absent = random(0, 5) == 0 && !(donor_is_there && c == 1);
            index[c] = absent ? -static_cast<int>(random(1, 3))
                              : static_cast<int>(random(0, components - 1));
            background[c] = static_cast<short>(random(0, 3) == 0 ? random.any() : random(0, edge));
        }
        fourth = static_cast<short>(random.any());
        const bool plain = random(0, 1) == 0;
        for (double& bleed : bleeds) bleed = plain ? random(0, 400) / 1000.0 : draw_bleed(random);
        min = static_cast<float>(random(0, edge));
        max = random(0, 4) == 0
                  ? min - static_cast<float>(random(0, 20))
                  : min + static_cast<float>(scale) * 0.01f * static_cast<float>(random(1, 100));
        least = random.one_of({0.0, 0.0, 10.0, -50.0, 20.0, 1e7});
        greatest = random.one_of(
            {0.0, 100.0, 80.5, least + 1e-4, least + 30, 1e12, double{kNan}, double{kInfinity}});
    }
    template <class Background>
    Background narrow(size_t c) const {
        return static_cast<Background>(background[c]);
    }
};

const void* luts_of(const std::optional<TestTable>& table) {
    return table ? table->rows() : nullptr;
}

std::optional<TestTable> draw_table(Random& random) {
    std::optional<TestTable> table;
    if (random(0, 2) != 0) table.emplace(8, 3, 8, random);
    return table;
}
Cells row_of(const TestTable& table, uint32_t row) {
    Cells cells;
    for (uint32_t c = 0; c < 3; ++c) cells[c] = static_cast<uint32_t>(table.at(row, c));
    return cells;
}

/// Compares what a call leaves with what is expected of each pixel.
template <class Call, class Pixel>
void check(GuardedPicture& d, Call call, Pixel pixel, Round round) {
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < d.size().height; ++y)
        for (uint32_t x = 0; x < d.size().width; ++x)
            for (const uint32_t cell : pixel(x, y)) expected.push_back(cell);
    const auto outside = d.outside();
    ASSERT_EQ(call(), QM_OK);
    ASSERT_TRUE(d.content() == expected)
        << d.size().width << " x " << d.size().height << " of " << d.format().bits << " bits";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

Format format_of(Layout layout, Round round, uint32_t components) {
    if (layout.real) return {components, 32, 32};
    return {components, layout.bits, round.in_turn(depths(layout.bits))};
}
void fill_with_floats(GuardedPicture& picture, double scale, Random& random) {
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i) {
            const float value =
                random(0, 3) == 0
                    ? draw_float(random)
                    : static_cast<float>(scale) * static_cast<float>(random(0, 1000)) / 1000.0f;
            picture.set(i, y, std::bit_cast<uint32_t>(value));
        }
}
float float_at(const GuardedPicture& picture, uint32_t sample, uint32_t y) {
    return std::bit_cast<float>(static_cast<uint32_t>(picture.get(sample, y)));
}

/// A sample less an unsigned background, not below 0.
double less(uint64_t sample, uint32_t background) {
    return sample > background ? static_cast<double>(sample - background) : 0.0;
}
float less(float sample, float background) {
    const float difference = sample - background;
    return difference > 0 ? difference : 0.0f;
}

/// Channel c of a pixel, with the background that the type of the kernel's arguments leaves.
template <class Background>
double channel(const GuardedPicture& s, const Drawn& a, size_t c, uint32_t x, uint32_t y) {
    if (a.index[c] < 0) return 0.0;
    const uint32_t sample = x * s.format().components + static_cast<uint32_t>(a.index[c]);
    const auto background = static_cast<Background>(a.background[c]);
    if (s.format().bits == 32)
        return static_cast<double>(less(float_at(s, sample, y), static_cast<float>(background)));
    return less(s.get(sample, y), static_cast<uint32_t>(background));
}
template <class Background>
double signal_of(const GuardedPicture& s, const Drawn& a, uint32_t x, uint32_t y) {
    return corrected(channel<Background>(s, a, 0, x, y), channel<Background>(s, a, 1, x, y),
                     channel<Background>(s, a, 2, x, y), a.bleeds);
}

double scale_of(Format format) {
    return format.bits == 32 ? 1000.0 : static_cast<double>(format.max());
}

template <class Background>
void check_fret(const NamedKernel<FretKernel<Background>>& kernel, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Format format = format_of(kernel.source, round, components);
    const Drawn a(components, scale_of(format), false, random);
    const auto table = draw_table(random);
    const Size size = random.size(components);
    GuardedPicture d({3, kernel.destination.bits, kernel.destination.bits}, size, random);
    GuardedPicture s(format, size, random);
    if (kernel.source.real) fill_with_floats(s, 1000.0, random);
    make_predef_luts();
    const auto bg = [&](size_t c) { return a.narrow<Background>(c); };
    check(
        d,
        [&] {
            return kernel.run(d.data(), d.stride(), s.data(), components, s.stride(), size.width,
                              size.pixels, a.index[0], a.index[1], a.index[2], 77, bg(0), bg(1),
                              bg(2), static_cast<Background>(a.fourth), a.bleeds[0], a.bleeds[1],
                              a.bleeds[2], a.bleeds[3], luts_of(table), a.min, a.max);
        },
        [&](uint32_t x, uint32_t y) -> Cells {
            const double signal = signal_of<Background>(s, a, x, y);
            if (kernel.source.real && !table) {
                const uint32_t grey = cut(signal, 255);
                return {grey, grey, grey};
            }
            const uint32_t row = row_of_signal(signal, a.min, a.max);
            return table ? row_of(*table, row) : predefined(row);
        },
        round);
}

/// The samples of a component less a background, for the levels.
std::vector<uint32_t> donor_of(const GuardedPicture& s, int index, uint32_t background) {
    std::vector<uint32_t> donor;
    for (uint32_t y = 0; y < s.size().height; ++y)
        for (uint32_t x = 0; x < s.size().width; ++x)
            donor.push_back(static_cast<uint32_t>(less(
                s.get(x * s.format().components + static_cast<uint32_t>(index), y), background)));
    return donor;
}
DonorLevels levels_of(const GuardedPicture& s, int index, uint32_t background) {
    const auto donor = donor_of(s, index, background);
    return s.format().bits == 8 ? byte_levels(donor) : word_levels(donor, s.size().pixels);
}

template <class Background>
void check_efficiency(const NamedKernel<FretEffKernel<Background>>& kernel, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Format format = format_of(kernel.source, round, components);
    const bool words = format.bits == 16;
    const Drawn a(components, scale_of(format), true, random);
    const auto table = draw_table(random);
    const Size size = random.size(components);
    GuardedPicture d({3, 8, 8}, size, random), s(format, size, random);
    const auto bg = [&](size_t c) { return a.narrow<Background>(c); };
    const DonorLevels levels = levels_of(s, a.index[1], bg(1));
    check(
        d,
        [&] {
            return kernel.run(d.data(), d.stride(), s.data(), components, s.stride(), size.width,
                              size.pixels, a.index[0], a.index[1], a.index[2], 77, bg(0), bg(1),
                              bg(2), static_cast<Background>(a.fourth), a.bleeds[0], a.bleeds[1],
                              a.bleeds[2], a.bleeds[3], a.least, a.greatest, luts_of(table));
        },
        [&](uint32_t x, uint32_t y) {
            const double donor = channel<Background>(s, a, 1, x, y);
            const double signal = signal_of<Background>(s, a, x, y);
            const double percent = donor < 1 ? 0.0 : (signal > 0 ? signal : 0.0) / donor * 100.0;
            const uint32_t row = row_of_efficiency(percent, a.least, a.greatest, words);
            const auto sample =
                static_cast<uint32_t>(s.get(x * components + static_cast<uint32_t>(a.index[1]), y));
            return shaded(table ? row_of(*table, row) : rainbow(row), sample, bg(1), levels, words,
                          table.has_value());
        },
        round);
}

uint32_t low_byte_of(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return 0;
    return static_cast<uint32_t>(static_cast<int32_t>(value)) & 255;
}

void check_float_efficiency(const NamedKernel<decltype(fret_eff_float)>& kernel, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Drawn a(components, 1000.0, true, random);
    const auto table = draw_table(random);
    const Size size = random.size(components);
    GuardedPicture d({3, 8, 8}, size, random), s({components, 32, 32}, size, random);
    fill_with_floats(s, 1000.0, random);
    const auto donor_at = [&](uint32_t x, uint32_t y) {
        return float_at(s, x * components + static_cast<uint32_t>(a.index[1]), y);
    };
    const float background = a.background[1];
    float least = a.min, greatest = a.max;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const float value = less(donor_at(x, y), background);
            if (value < least) least = value;
            if (value > greatest) greatest = value;
        }
    check(
        d,
        [&] {
            return kernel.run(d.data(), d.stride(), s.data(), components, s.stride(), size.width,
                              size.pixels, a.index[0], a.index[1], a.index[2], 77, a.background[0],
                              a.background[1], a.background[2], a.fourth, a.bleeds[0], a.bleeds[1],
                              a.bleeds[2], a.bleeds[3], a.least, a.greatest, luts_of(table), a.min,
                              a.max);
        },
        [&](uint32_t x, uint32_t y) {
            const double donor = channel<short>(s, a, 1, x, y);
            const double signal = signal_of<short>(s, a, x, y);
            const double percent = donor > 0 ? (signal > 0 ? signal : 0.0) / donor * 100.0 : 0.0;
            const uint32_t row = row_of_efficiency(percent, a.least, a.greatest, false);
            const float difference = donor_at(x, y) - background - least;
            double shade = 0;
            if (difference >= 1 && difference < 2147483648.0f)
                shade = std::floor(static_cast<double>(difference));
            const double divisor = table
                                       ? static_cast<double>(greatest)
                                       : static_cast<double>(greatest) - static_cast<double>(least);
            Cells cells = table ? row_of(*table, row) : rainbow(row);
            for (uint32_t& cell : cells) cell = low_byte_of(cell * shade / divisor);
            return cells;
        },
        round);
}

uint32_t normalised(uint64_t sample, uint32_t background, uint32_t reference) {
    const auto value = static_cast<uint32_t>(less(sample, background));
    if (reference == 0 || reference < background + 2) return value;
    return value / (reference - background);
}

void check_photobleach(const NamedKernel<FretPhotobleachKernel>& kernel, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Format format = format_of(kernel.source, round, components);
    const bool words = format.bits == 16;
    const auto edge = static_cast<uint32_t>(scale_of(format) / 4);
    const Drawn a(components, scale_of(format), true, random);
    std::array<uint16_t, 4> v;  // backgrounds and references, before and after
    for (size_t i = 0; i < 4; ++i)
        v[i] = static_cast<uint16_t>(random(0, 3) == 0       ? random.any()
                                     : i > 1 && random(0, 1) ? v[i - 2] + random(0, 9)
                                                             : random(0, edge));
    const Size size = random.size(components);
    // Of one stride, so that both stand in one picture, one above the other.
    const Size both{size.width, 2 * size.height};
    GuardedPicture d({3, 8, 8}, size, random), s(format, both, random);
    const auto* const post = static_cast<const uint8_t*>(s.data());
    const uint8_t* const pre = post + uint64_t{s.stride()} * size.height;
    const auto sample = [&](uint32_t x, uint32_t y) {
        return s.get(x * components + static_cast<uint32_t>(a.index[1]), y);
    };
    std::vector<uint32_t> donor = donor_of(s, a.index[1], v[1]);
    donor.resize(size_t{size.width} * size.height);
    const DonorLevels levels = words ? word_levels(donor, size.pixels) : byte_levels(donor);
    check(
        d,
        [&] {
            return kernel.run(d.data(), d.stride(), post, pre, components, s.stride(), size.width,
                              size.pixels, a.index[1], a.least, a.greatest, v[0], v[1], v[2], v[3]);
        },
        [&](uint32_t x, uint32_t y) {
            const auto p = static_cast<int32_t>(normalised(sample(x, y), v[1], v[3]));
            const auto q = static_cast<int32_t>(normalised(sample(x, y + size.height), v[0], v[2]));
            const double percent = static_cast<double>(p - q) / p * 100.0;
            const uint32_t row = row_of_efficiency(percent, a.least, a.greatest, words);
            return shaded(rainbow(row), static_cast<uint32_t>(sample(x, y)), v[1], levels, words,
                          false);
        },
        round);
}

/// The float forms of FRETImageMono have no kernel of a name: the entry is compared.
void check_mono(Format format, bool is_float, Round round) {
    Random& random = round.random;
    const uint32_t components = format.components;
    Drawn a(components, is_float ? 1000.0 : static_cast<double>(format.max()), false, random);
    const Size size = random.size(components);
    const uint32_t bits = is_float ? 8 : format.bits;
    GuardedPicture d({1, bits, bits}, size, random), s(format, size, random, is_float ? 4 : 1);
    if (is_float) fill_with_floats(s, 1000.0, random);
    const uint32_t top = format.bpc >= 32 ? 0 : (1u << format.bpc) - 1;
    const auto value = [&](size_t c, uint32_t x, uint32_t y) {
        if (a.index[c] < 0) return 0.0;
        const uint32_t i = x * components + static_cast<uint32_t>(a.index[c]);
        if (!is_float) return static_cast<double>(s.get(i, y)) - a.background[c];
        const double sample = float_at(s, i, y);
        const bool fits = sample > -2147483649.0 && sample < 2147483648.0;
        const int64_t whole = fits ? static_cast<int64_t>(sample) : INT32_MIN;
        return static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(whole) -
                                                        static_cast<uint32_t>(a.background[c])));
    };
    check(
        d,
        [&] {
            return Api::FRETImageMono(d.data(), d.stride(), s.data(), components, format.bpc,
                                      is_float ? s.stride() / 4 : s.stride(), size.width,
                                      size.pixels, a.index[0], a.index[1], a.index[2], 77,
                                      a.background[0], a.background[1], a.background[2], a.fourth,
                                      a.bleeds[0], a.bleeds[1], a.bleeds[2], a.bleeds[3], is_float,
                                      a.min, a.max);
        },
        [&](uint32_t x, uint32_t y) {
            const double signal =
                corrected(value(0, x, y), value(1, x, y), value(2, x, y), a.bleeds);
            if (!is_float) return std::array{cut(signal, top)};
            double limited = signal > 0 ? signal : 0.0;
            if (limited > a.max) limited = a.max;
            return std::array{low_byte_of(limited)};
        },
        round);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add = [&](const auto& list, auto compare) {
        for (const auto& kernel : list)
            all.push_back({std::string(kernel.name), [=](Round r) { compare(kernel, r); }});
    };
    add(kFretBytes, check_fret<unsigned char>);
    add(kFretWords, check_fret<unsigned short>);
    add(kFretEffBytes, check_efficiency<unsigned char>);
    add(kFretEffWords, check_efficiency<unsigned short>);
    add(kFretEffFloats, check_float_efficiency);
    add(kFretPhotobleach, check_photobleach);
    all.push_back({"CQmPicMemAPI_Base::FRETImageMono of integers", [](Round round) {
                       const uint32_t bpc = round.in_turn(std::vector<uint32_t>{
                           8, 12, 16, 17, 7, 24, 31, 32, 9, 10, 11, 13, 14, 15, 1, 30});
                       const uint32_t bits = bpc == 8 ? 8 : bpc <= 16 ? 16 : 32;
                       check_mono({round.random.components(), bits, bpc}, false, round);
                   }});
    all.push_back({"CQmPicMemAPI_Base::FRETImageMono of floats", [](Round round) {
                       check_mono({round.random.components(), 32, 32}, true, round);
                   }});
    return all;
}

// ----- Entries by format

std::vector<EntryCase> entry_cases() {
    const auto up_to = [](uint32_t most) {
        return [=](uint32_t, uint32_t bpc) { return bpc <= most ? QM_OK : QM_NO_KERNEL; };
    };
    const auto always = [](uint32_t, uint32_t) { return int{QM_OK}; };
    const auto image = [](bool is_float, bool to16) {
        return [=](const EntryCall& c) {
            make_predef_luts();
            return Api::FRETImage(c.dst, c.stride, c.src, c.components, c.bpc, c.stride, c.width,
                                  c.size, 0, 1, 2, 3, 0, 0, 0, 0, 0.1, 0.1, 0, 0, nullptr, is_float,
                                  0, 1, to16);
        };
    };
    const auto mono = [](bool is_float) {
        return [=](const EntryCall& c) {
            return Api::FRETImageMono(c.dst, c.stride, c.src, c.components, c.bpc,
                                      is_float ? c.stride / 4 : c.stride, c.width, c.size, 0, 1, 2,
                                      3, 0, 0, 0, 0, 0.1, 0.1, 0, 0, is_float, 0, 1);
        };
    };
    const auto efficiency = [](bool is_float) {
        return [=](const EntryCall& c) {
            return Api::FRET_EffImage(c.dst, c.stride, c.src, c.components, c.bpc, c.stride,
                                      c.width, c.size, 0, 1, 2, 3, 0, 0, 0, 0, 0.1, 0.1, 0, 0, 0,
                                      100, nullptr, is_float, 0, 1);
        };
    };
    const auto bleach = [](const EntryCall& c) {
        return Api::FRET_PhotoBleachEffImage(c.dst, c.stride, c.src, c.src, c.components, c.bpc,
                                             c.stride, c.width, c.size, 0, 0, 100, 0, 0, 0, 0);
    };
    return {{"CQmPicMemAPI_Base::FRETImage", image(false, false), up_to(16)},
            {"CQmPicMemAPI_Base::FRETImage to_words", image(false, true), up_to(16)},
            {"CQmPicMemAPI_Base::FRETImage of_floats", image(true, true), always},
            {"CQmPicMemAPI_Base::FRETImageMono", mono(false), up_to(32)},
            {"CQmPicMemAPI_Base::FRETImageMono of_floats", mono(true), always},
            {"CQmPicMemAPI_Base::FRET_EffImage", efficiency(false), up_to(16)},
            {"CQmPicMemAPI_Base::FRET_EffImage of_floats", efficiency(true), always},
            {"CQmPicMemAPI_Base::FRET_PhotoBleachEffImage", bleach, up_to(16)}};
}

const bool registered = add_cases(kernel_cases(), entry_cases());

}  // namespace
}  // namespace qmpic::test
