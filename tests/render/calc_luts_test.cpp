#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "render/luts_kernels.h"
#include "tables.h"

namespace qmpic::test {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN(),
                 kInfinity = std::numeric_limits<double>::infinity();

// Cells in plain words.
uint64_t calculated(double value, const double* add, const double* mul, const double* pow,
                    uint64_t top) {
    if (add != nullptr) value += *add;
    if (mul != nullptr) value *= *mul;
    if (pow != nullptr) value = std::pow(value, *pow);
    value += 0.5;
    if (std::isnan(value) || value < 0) return 0;
    return value > static_cast<double>(top) ? top : static_cast<uint64_t>(value);
}

// Toward zero; what does not fit into 32 bits is 0x80000000.
uint64_t truncated(double value) {
    if (!(std::fabs(value) < 2147483648.0)) return 0x80000000;
    return static_cast<uint64_t>(static_cast<int64_t>(value));
}

uint64_t rotated(double value, double add, uint64_t top) {
    const double sum = value + add, greatest = static_cast<double>(top);
    return truncated(sum < 0 ? sum + greatest : sum > greatest ? sum - greatest : sum);
}

uint64_t limited(double value, double limit, bool lesser) {
    if (std::isnan(limit)) return static_cast<uint64_t>(value);
    const bool takes_limit = lesser ? limit < value : limit > value;
    return takes_limit ? truncated(limit) : static_cast<uint64_t>(value);
}

double random_constant(uint32_t bpc, Random& random) {
    const double top = static_cast<double>((1u << bpc) - 1);
    switch (random(0, 3)) {
    case 0:
        return random.one_of({0.0, 1.0, -1.0, 0.5, 2.0, kNan, kInfinity, -kInfinity, 1e300, -1e300,
                              2147483648.0, -2147483649.0, 0.49999999999999994});
    case 1: return random(0, 4000) / 1000.0 - 1;
    default: return top * (random(0, 4000) / 1000.0 - 2);
    }
}

struct Constants {
    std::vector<double> add, mul, pow;
    uint32_t kinds;
    Constants(uint32_t components, uint32_t bpc, Random& random) : kinds(random(0, 7)) {
        for (uint32_t c = 0; c < components; ++c) {
            add.push_back(random_constant(bpc, random));
            mul.push_back(random(0, 1) ? random(0, 4000) / 1000.0 : random_constant(bpc, random));
            pow.push_back(random(0, 1) ? random(0, 30) / 10.0 : random_constant(bpc, random));
        }
    }
    const double* given(uint32_t kind, const std::vector<double>& values) const {
        return kinds & kind ? values.data() : nullptr;
    }
    const double* adds() const { return given(1, add); }
    const double* muls() const { return given(2, mul); }
    const double* pows() const { return given(4, pow); }
    uint64_t cell(uint64_t value, uint32_t c, uint64_t top) const {
        return calculated(static_cast<double>(value), adds() ? &add[c] : nullptr,
                          muls() ? &mul[c] : nullptr, pows() ? &pow[c] : nullptr, top);
    }
};

/// A table that a generator fills: rows in any order at odd addresses, or flat when `components` is
/// 0. `written` is called for its own memory; `expected` is asked for every cell.
template <class Written, class Expected>
void check_table(Round round, uint32_t components, uint32_t bits, uint32_t bpc, bool writes,
                 Written written, Expected expected) {
    Random& random = round.random;
    const uint32_t values = 1u << bpc, cells = std::max(components, 1u), bytes = bits / 8,
                   row = cells * bytes;
    const bool flat = components == 0, apart = !flat && random(0, 1);
    const uint32_t slot = apart ? row + random(0, 3) : row;
    // A flat table of words has the alignment of its type.
    std::vector<uint16_t> memory((size_t{values} * slot + 3) / 2, 0xA5A5);
    auto* const first = reinterpret_cast<uint8_t*>(memory.data()) + (flat ? 0 : random(0, 1));
    std::vector<void*> rows;
    for (uint32_t v = 0; v < values; ++v)
        rows.push_back(first + size_t{apart ? values - 1 - v : v} * slot);
    ASSERT_EQ(written(flat ? first : static_cast<void*>(rows.data())), QM_OK);
    for (uint32_t v = 0; v < values; ++v)
        for (uint32_t c = 0; c < cells; ++c) {
            uint64_t cell = 0;
            std::memcpy(&cell, static_cast<uint8_t*>(rows[v]) + c * bytes, bytes);
            const uint64_t mask = bits == 8 ? 0xFF : 0xFFFF;
            ASSERT_EQ(cell, (writes ? expected(v, c) : 0xA5A5) & mask)
                << "value " << v << " of " << bpc << " bits, cell " << c;
            round.digest.add(cell);
        }
}

template <class Kernel>
void check_calc(const NamedKernel<Kernel>& kernel, Round round) {
    const uint32_t bits = kernel.source.bits, bpc = round.in_turn(depths(bits));
    const Constants k(1, bpc, round.random);
    using Cell = std::conditional_t<std::is_same_v<Kernel, CalcByteLutKernel>, uint8_t, uint16_t>;
    check_table(
        round, 0, bits, bpc, k.kinds != 0,
        [&](void* table) {
            return kernel.run(static_cast<Cell*>(table), k.adds(), k.muls(), k.pows(), bpc);
        },
        [&](uint64_t v, uint32_t) { return k.cell(v, 0, (1u << bpc) - 1); });
}

void check_calc_rows(const NamedKernel<CalcLutRowsKernel>& kernel, Round round) {
    const uint32_t bits = kernel.source.bits, bpc = round.in_turn(depths(bits)),
                   components = round.random(1, bpc > 12 ? 3 : 9);
    const Constants k(components, bpc, round.random);
    check_table(
        round, components, bits, bpc, k.kinds != 0,
        [&](void* rows) {
            return kernel.run(static_cast<void* const*>(rows), k.adds(), k.muls(), k.pows(),
                              components, bpc);
        },
        [&](uint64_t v, uint32_t c) { return k.cell(v, c, (1u << bpc) - 1); });
}

/// A kernel that takes one constant a component: cell(value, constant, top).
template <class Kernel, class Cell>
void check_one_constant(const Kernel& kernel, Round round, Cell cell) {
    const uint32_t bits = kernel.source.bits, bpc = round.in_turn(depths(bits)),
                   components = round.random(1, bpc > 12 ? 3 : 9);
    const Constants k(components, bpc, round.random);
    check_table(
        round, components, bits, bpc, true,
        [&](void* rows) {
            return kernel.run(static_cast<void* const*>(rows), k.add.data(), components, bpc);
        },
        [&](uint64_t v, uint32_t c) {
            return cell(static_cast<double>(v), k.add[c], (1u << bpc) - 1);
        });
}

void check_rotation(const NamedKernel<RotateLutRowsKernel>& kernel, Round round) {
    check_one_constant(kernel, round, rotated);
}

template <class Kernel>
void check_limit(const NamedKernel<Kernel>& kernel, Round round) {
    const uint32_t bits = kernel.source.bits, bpc = round.in_turn(depths(bits));
    const double limit = random_constant(bpc, round.random);
    using Cell = std::conditional_t<std::is_same_v<Kernel, LimitByteLutKernel>, uint8_t, uint16_t>;
    check_table(
        round, 0, bits, bpc, true,
        [&](void* table) { return kernel.run(static_cast<Cell*>(table), &limit, bpc); },
        [&](uint64_t v, uint32_t) {
            return limited(static_cast<double>(v), limit, kernel.name.starts_with("min"));
        });
}

void check_limit_rows(const NamedKernel<LimitLutRowsKernel>& kernel, Round round) {
    check_one_constant(kernel, round, [&](double value, double limit, uint32_t /*top*/) {
        return limited(value, limit, kernel.name.starts_with("min"));
    });
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add = [&](const auto& kernel, auto check) {
        all.push_back({std::string(kernel.name), [=](Round round) { check(kernel, round); }, 24});
    };
    for (const auto& kernel : kCalcByteLut) add(kernel, check_calc<CalcByteLutKernel>);
    for (const auto& kernel : kCalcWordLut) add(kernel, check_calc<CalcWordLutKernel>);
    for (const auto& kernel : kCalcLutRows) add(kernel, check_calc_rows);
    for (const auto& kernel : kRotateLutRows) add(kernel, check_rotation);
    for (const auto& kernel : kLimitByteLut) add(kernel, check_limit<LimitByteLutKernel>);
    for (const auto& kernel : kLimitWordLut) add(kernel, check_limit<LimitWordLutKernel>);
    for (const auto& kernel : kLimitLutRows) add(kernel, check_limit_rows);
    return all;
}

const bool registered = add_cases(kernel_cases());

std::vector<uint8_t> bytes_of(const double* add, const double* mul, const double* pow,
                              uint32_t bits = 8) {
    std::vector<uint8_t> table(256, 77);
    EXPECT_EQ(calcluts_1x8(table.data(), add, mul, pow, bits), QM_OK);
    return table;
}

TEST(CalcLuts, ClampAtZeroAndAtTheTop) {
    const double less = -5, more = 10;
    auto table = bytes_of(&less, nullptr, nullptr);
    EXPECT_EQ(table[3], 0);
    EXPECT_EQ(table[5], 0);
    EXPECT_EQ(table[6], 1);
    EXPECT_EQ(table[255], 250);
    table = bytes_of(&more, nullptr, nullptr);
    EXPECT_EQ(table[0], 10);
    EXPECT_EQ(table[245], 255);
    EXPECT_EQ(table[250], 255);
    table = bytes_of(&more, nullptr, nullptr, 4);
    EXPECT_EQ(table[4], 14);
    EXPECT_EQ(table[15], 15);
    EXPECT_EQ(table[16], 77);
}

TEST(CalcLuts, AddThenMultiplyThenRaiseAndRoundHalvesUp) {
    const double add = 1, mul = 0.5, pow = 2;
    auto table = bytes_of(nullptr, &mul, nullptr);
    EXPECT_EQ(table[3], 2);  // 1.5
    EXPECT_EQ(table[5], 3);  // 2.5
    table = bytes_of(&add, &mul, &pow);
    EXPECT_EQ(table[9], 25);  // ((9 + 1) * 0.5) ^ 2
    EXPECT_EQ(table[2], 2);   // 2.25
    table = bytes_of(&add, nullptr, &pow);
    EXPECT_EQ(table[2], 9);
}

TEST(CalcLuts, WithoutAnyConstantWriteNothing) {
    EXPECT_EQ(bytes_of(nullptr, nullptr, nullptr), std::vector<uint8_t>(256, 77));
    std::vector<uint16_t> words(512, 77);
    EXPECT_EQ(calcluts_1x16(words.data(), nullptr, nullptr, nullptr, 9), QM_OK);
    EXPECT_EQ(words, std::vector<uint16_t>(512, 77));
    uint8_t cell[2] = {77, 77};
    void* const rows[2] = {cell, cell + 1};
    EXPECT_EQ(calcluts_Nx8(rows, nullptr, nullptr, nullptr, 1, 1), QM_OK);
    EXPECT_EQ(cell[0], 77);
    EXPECT_EQ(cell[1], 77);
}

TEST(CalcLuts, WhatIsNotANumberIsZeroAndInfinityIsTheTop) {
    const double infinity = kInfinity, nan = kNan, less = -kInfinity;
    auto table = bytes_of(nullptr, &infinity, nullptr);  // 1 / 0
    EXPECT_EQ(table[0], 0);                              // 0 * infinity
    EXPECT_EQ(table[1], 255);
    EXPECT_EQ(table[255], 255);
    EXPECT_EQ(bytes_of(&nan, nullptr, nullptr), std::vector<uint8_t>(256, 0));
    EXPECT_EQ(bytes_of(&less, nullptr, nullptr), std::vector<uint8_t>(256, 0));
    const double root = 0.5, minus = -10;
    table = bytes_of(&minus, nullptr, &root);  // roots of negative numbers
    EXPECT_EQ(table[9], 0);
    EXPECT_EQ(table[19], 3);
}

TEST(CalcLuts, RowsTakeTheConstantsOfTheirCell) {
    std::vector<uint16_t> cells(2 * 4096);
    std::vector<void*> rows;
    for (size_t v = 0; v < 4096; ++v) rows.push_back(&cells[2 * v]);
    const double add[2] = {100, -100};
    EXPECT_EQ(calcluts_Nx16(rows.data(), add, nullptr, nullptr, 2, 12), QM_OK);
    EXPECT_EQ(cells[2 * 50], 150);
    EXPECT_EQ(cells[2 * 50 + 1], 0);
    EXPECT_EQ(cells[2 * 4050], 4095);
    EXPECT_EQ(cells[2 * 4050 + 1], 3950);
}

TEST(RotatedLuts, WrapByTheGreatestValueAndDoNotRound) {
    std::vector<uint8_t> cells(2 * 256);
    std::vector<void*> rows;
    for (size_t v = 0; v < 256; ++v) rows.push_back(&cells[2 * v]);
    const double add[2] = {10, -3.25};
    EXPECT_EQ(calcluts_Nx8_rotate(rows.data(), add, 2, 8), QM_OK);
    EXPECT_EQ(cells[2 * 250], 5);    // 260 - 255
    EXPECT_EQ(cells[2 * 245], 255);  // not above the greatest value
    EXPECT_EQ(cells[2 * 246], 1);
    EXPECT_EQ(cells[2 * 3 + 1], 254);  // -0.25 + 255, truncated
    EXPECT_EQ(cells[2 * 10 + 1], 6);   // 6.75
    const double far[2] = {1000, -1000};
    EXPECT_EQ(calcluts_Nx8_rotate(rows.data(), far, 2, 8), QM_OK);
    EXPECT_EQ(cells[0], (1000 - 255) & 255);  // once, and then the low bits
    EXPECT_EQ(cells[1], (-1000 + 255) & 255);
    const double none[2] = {kNan, kInfinity};
    EXPECT_EQ(calcluts_Nx8_rotate(rows.data(), none, 2, 8), QM_OK);
    EXPECT_EQ(cells[0], 0);  // the low bits of 0x80000000
    EXPECT_EQ(cells[1], 0);
}

TEST(LimitedLuts, TruncateTheConstantAndDoNotClampIt) {
    std::vector<uint8_t> table(256);
    const double half = 99.9, less = -1.5, more = 300;
    EXPECT_EQ(min_calcluts_1x8(table.data(), &half, 8), QM_OK);
    EXPECT_EQ(table[99], 99);
    EXPECT_EQ(table[100], 99);
    EXPECT_EQ(max_calcluts_1x8(table.data(), &half, 8), QM_OK);
    EXPECT_EQ(table[99], 99);
    EXPECT_EQ(table[100], 100);
    EXPECT_EQ(table[0], 99);
    EXPECT_EQ(min_calcluts_1x8(table.data(), &less, 8), QM_OK);
    EXPECT_EQ(table[7], 255);  // the low bits of -1
    EXPECT_EQ(max_calcluts_1x8(table.data(), &more, 8), QM_OK);
    EXPECT_EQ(table[7], 44);  // 300 - 256
    EXPECT_EQ(min_calcluts_1x8(table.data(), &more, 8), QM_OK);
    EXPECT_EQ(table[7], 7);
}

TEST(LimitedLuts, LeaveTheValueWhereTheConstantIsNotANumber) {
    std::vector<uint16_t> table(65536);
    const double nan = kNan, infinity = kInfinity;
    for (const auto run : {min_calcluts_1x16, max_calcluts_1x16}) {
        EXPECT_EQ(run(table.data(), &nan, 16), QM_OK);
        for (uint32_t v = 0; v < 65536; ++v) ASSERT_EQ(table[v], v);
    }
    EXPECT_EQ(min_calcluts_1x16(table.data(), &infinity, 16), QM_OK);
    EXPECT_EQ(table[65535], 65535);
    EXPECT_EQ(max_calcluts_1x16(table.data(), &infinity, 16), QM_OK);
    EXPECT_EQ(table[65535], 0);  // the low bits of 0x80000000
}

}  // namespace
}  // namespace qmpic::test
