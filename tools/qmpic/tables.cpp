#include "tables.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "failure.h"

namespace tool {

void make_tables(SQmLut& lut, unsigned bits, std::uint32_t components,
                 const std::vector<Shown>& shown, const Marks& marks) {
    const auto check = [](int status) {
        if (status != QM_OK) throw Failure("no tables: status " + std::to_string(status));
    };
    check(SQmLut::Alloc(lut, static_cast<unsigned char>(bits),
                        static_cast<unsigned char>(components), 8, 3));
    lut.rmComponents.SetAll(false);
    for (const Shown& how : shown) {
        lut.rmComponents.Set(how.component);
        auto* const* rows = static_cast<unsigned char* const*>(lut.pLuts);
        if (components > 1)
            rows = static_cast<unsigned char* const* const*>(lut.pLuts)[how.component];
        const double low = how.levels.low, span = how.levels.high - low;
        for (std::uint32_t value = 0; value < (std::uint32_t{1} << bits); ++value) {
            const double part = std::pow(std::clamp((value - low) / span, 0.0, 1.0), how.gamma);
            for (unsigned cell = 0; cell < 3; ++cell) {  // blue, green, red
                const Colour full = how.colour >> (8 * (2 - cell)) & 0xFF;
                rows[value][cell] = static_cast<unsigned char>(std::lround(part * full));
            }
        }
    }
    std::array<unsigned, CQmRangeMask::MaxSize> colours;
    if (marks.over) {
        colours.fill(*marks.over);
        check(SQmLut::SetOverExpColor(lut, colours.data()));
    }
    if (marks.under) {
        colours.fill(*marks.under);
        check(SQmLut::SetUnderExpColor(lut, colours.data()));
    }
}

}  // namespace tool
