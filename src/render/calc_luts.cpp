#include <cmath>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "render/luts_kernels.h"

// Tables for arithmetic with constants. No pixels here: at most 65536 values a component.

namespace {

using namespace qmpic;

/// Calls `write(value)` for each of the 2^bits values.
template <class Write>
int for_values(uint32_t bits, Write write) {
    for (uint64_t value = 0; value < uint64_t{1} << bits; ++value)
        write(static_cast<uint32_t>(value));
    return QM_OK;
}

/// row[c] = cell(value, c) for each row.
template <class T, class Cell>
int for_rows(void* const* rows, uint32_t components, uint32_t bits, Cell cell) {
    return for_values(bits, [&](uint32_t value) {
        auto* const row = static_cast<Sample<T>*>(rows[value]);
        for (uint32_t c = 0; c < components; ++c) row[c] = static_cast<T>(cell(value, c));
    });
}

/// ((value + add) * mul) ^ pow, each left out without an array.
struct Expression {
    const double *add, *mul, *pow;
    uint32_t top;
    Expression(const double* add_, const double* mul_, const double* pow_, uint32_t bits)
        : add(add_), mul(mul_), pow(pow_), top(max_value(bits)) {}
    bool is_empty() const { return add == nullptr && mul == nullptr && pow == nullptr; }
    uint32_t operator()(uint32_t value, uint32_t c) const {
        double t = value;
        if (add != nullptr) t = t + add[c];
        if (mul != nullptr) t = t * mul[c];
        if (pow != nullptr) t = std::pow(t, pow[c]);
        return trunc_clamp(t + 0.5, top);
    }
};

template <class T>
int calculate(T* table, Expression expression, uint32_t bits) {
    if (expression.is_empty()) return QM_OK;
    return for_values(bits,
                      [=](uint32_t value) { table[value] = static_cast<T>(expression(value, 0)); });
}

template <class T>
int calculate_rows(void* const* rows, uint32_t components, Expression expression, uint32_t bits) {
    if (expression.is_empty()) return QM_OK;
    return for_rows<T>(rows, components, bits, expression);
}

/// value + add, brought back once by the greatest value, not by the number of values. Nothing is
/// rounded.
struct Rotation {
    const double* add;
    double top;
    uint32_t operator()(uint32_t value, uint32_t c) const {
        double t = value + add[c];
        if (t < 0)
            t = t + top;
        else if (t > top)
            t = t - top;
        return static_cast<uint32_t>(trunc_i32(t));
    }
};

// The constant is not clamped; comparisons with what is not a number leave the value.
uint32_t lesser(uint32_t value, double limit) {
    return value > limit ? static_cast<uint32_t>(trunc_i32(limit)) : value;
}
uint32_t greater(uint32_t value, double limit) {
    return limit > value ? static_cast<uint32_t>(trunc_i32(limit)) : value;
}

}  // namespace

// One line an exported function: name, cell, what it does.
#define CALC(name, Cell)                                                                           \
    int name(Cell* pTable, const double* pdAdd, const double* pdMul, const double* pdPow,          \
             uint32_t uiBits) {                                                                    \
        return calculate(pTable, Expression(pdAdd, pdMul, pdPow, uiBits), uiBits);                 \
    }
#define CALC_ROWS(name, Cell)                                                                      \
    int name(void* const* ppRows, const double* pdAdd, const double* pdMul, const double* pdPow,   \
             uint32_t uiComponents, uint32_t uiBits) {                                             \
        return calculate_rows<Cell>(ppRows, uiComponents, Expression(pdAdd, pdMul, pdPow, uiBits), \
                                    uiBits);                                                       \
    }
#define ROTATE_ROWS(name, Cell)                                                                    \
    int name(void* const* ppRows, const double* pdAdd, uint32_t uiComponents, uint32_t uiBits) {   \
        return for_rows<Cell>(ppRows, uiComponents, uiBits,                                        \
                              Rotation{pdAdd, static_cast<double>(max_value(uiBits))});            \
    }
#define LIMIT(name, Cell, chosen)                                                                  \
    int name(Cell* pTable, const double* pdConst, uint32_t uiBits) {                               \
        return for_values(uiBits, [=](uint32_t value) {                                            \
            pTable[value] = static_cast<Cell>(chosen(value, *pdConst));                            \
        });                                                                                        \
    }
#define LIMIT_ROWS(name, Cell, chosen)                                                             \
    int name(void* const* ppRows, const double* pdConst, uint32_t uiComponents, uint32_t uiBits) { \
        return for_rows<Cell>(ppRows, uiComponents, uiBits, [=](uint32_t value, uint32_t c) {      \
            return chosen(value, pdConst[c]);                                                      \
        });                                                                                        \
    }

// clang-format off
CALC(calcluts_1x8,               uint8_t)
CALC(calcluts_1x16,              uint16_t)
CALC_ROWS(calcluts_Nx8,          uint8_t)
CALC_ROWS(calcluts_Nx16,         uint16_t)
ROTATE_ROWS(calcluts_Nx8_rotate,  uint8_t)
ROTATE_ROWS(calcluts_Nx16_rotate, uint16_t)
LIMIT(min_calcluts_1x8,       uint8_t,  lesser)
LIMIT(max_calcluts_1x8,       uint8_t,  greater)
LIMIT(min_calcluts_1x16,      uint16_t, lesser)
LIMIT(max_calcluts_1x16,      uint16_t, greater)
LIMIT_ROWS(min_calcluts_Nx8,  uint8_t,  lesser)
LIMIT_ROWS(max_calcluts_Nx8,  uint8_t,  greater)
LIMIT_ROWS(min_calcluts_Nx16, uint16_t, lesser)
LIMIT_ROWS(max_calcluts_Nx16, uint16_t, greater)
// clang-format on

#undef LIMIT_ROWS
#undef LIMIT
#undef ROTATE_ROWS
#undef CALC_ROWS
#undef CALC
