#pragma once

#include <string>
#include <vector>

#include "core/isa.h"

namespace qmpic::test {

#ifdef QMPIC_SHIPPED
// The shipped library hides its level: it runs at the one that it chooses.
enum class Level { Shipped };
struct ForcedLevel {
    explicit ForcedLevel(Level) {}
};
inline std::vector<Level> levels() { return {Level::Shipped}; }
inline const char* name_of(Level) { return "shipped"; }
#else
using Level = Isa;
using ForcedLevel = ForcedIsa;
/// The levels that run here, lowest first. Tests are instantiated for these and no other; the
/// program prints them, and `--require=avx512` makes it fail where that level is missing.
inline std::vector<Level> levels() {
    std::vector<Level> found;
    for (const Isa isa : {Isa::Sse2, Isa::Avx2, Isa::Avx512})
        if (isa <= active_isa()) found.push_back(isa);
    return found;
}
#endif

}  // namespace qmpic::test
