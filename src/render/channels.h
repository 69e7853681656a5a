#pragma once

#include <algorithm>
#include <cstdint>

#include "qmpic/system/RangeMask.h"
#include "render/packed_table.h"
#include "render/signal_colour.h"

/// The channels of a composition: which components take part, their tables, and the colours that
/// mark exposure.

namespace qmpic {

/// Exposure colours as a table set keeps them; a null block is no test.
struct Marks {
    const void* over = nullptr;
    const uint32_t* thresholds = nullptr;  // null: the greatest sample
    const void* under = nullptr;
};

constexpr uint32_t kColour = 0xFFFFFF;  // the three cells of a word, and white

/// The colour by which a block marks a component: the one stored, or with a flag the inverse of
/// what the component's table ends in.
inline uint32_t signal_colour(const void* block, uint32_t component, ColourRows rows,
                              uint32_t top) {
    const SignalColour colour(block, component);
    return colour.flag != 0 ? ~colour_of(rows[top]) & kColour : colour.word;
}

/// A selected component.
struct Channel {
    uint32_t index;      // among the components of a pixel
    ColourRows rows;     // its table
    uint32_t threshold;  // samples at or above are over-exposed
    uint32_t over, under;
    static constexpr uint32_t kNever = 0xFFFFFFFF;  // samples have 16 bits at most

    Channel() = default;
    Channel(uint32_t component, const void* table, uint32_t top, const Marks& marks)
        : index(component), rows(colour_rows(table)), threshold(kNever), over(0), under(0) {
        if (marks.over != nullptr) {
            threshold = marks.thresholds != nullptr ? marks.thresholds[component] : top;
            over = signal_colour(marks.over, component, rows, top);
        }
        if (marks.under != nullptr) under = signal_colour(marks.under, component, rows, top);
    }
};

/// The selected components, ascending.
struct Channels {
    uint32_t count = 0;
    bool over, under;  // what is tested
    Channel list[CQmRangeMask::MaxSize];

    /// One component: `table` is its own, and there is nothing to select.
    Channels(const void* table, uint32_t top, const Marks& marks)
        : count(1), over(marks.over != nullptr), under(marks.under != nullptr) {
        list[0] = {0, table, top, marks};
    }
    /// `tables` points to the tables of all components.
    Channels(const void* tables, uint32_t components, const CQmRangeMask& mask, uint32_t top,
             const Marks& marks)
        : over(marks.over != nullptr), under(marks.under != nullptr) {
        const uint32_t end = std::min(components, mask.GetSize());
        for (uint32_t c = 0; c < end; ++c)
            if (mask.Get(c)) list[count++] = {c, colour_rows(tables)[c], top, marks};
    }
};

}  // namespace qmpic
