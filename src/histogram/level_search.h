#pragma once

#include <cstdint>
#include <optional>

#include "qmpic/Histo.h"

/// The levels between which a histogram lies: the search that automatic contrast rests on.

namespace qmpic {

/// Shares of the pixels that are cut off at both ends.
struct Percents {
    double low, high;
};

struct FoundLevels {
    static constexpr uint32_t kNone = UINT32_MAX;
    uint32_t low, high, mid;
    uint32_t low_component = kNone, high_component = kNone;  ///< which reached their targets
    uint32_t found_low = 0, found_high = 0;  ///< as they were before they were mended

    bool is_flat() const { return found_low == found_high; }
};

enum class Mend : bool { kNo, kYes };  ///< is low to be below high, whatever is found?

/// The search in components `first` to `end` - 1, at least in `first`. See
/// SQmPicBufAPI_Base::GetHistoRange. Nothing for a histogram without bins or such components.
std::optional<FoundLevels> find_levels(const SQmHisto* histo, uint32_t first, uint32_t end,
                                       Percents percents, Mend mend, bool with_mid);

}  // namespace qmpic
