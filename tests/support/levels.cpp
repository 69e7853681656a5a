#include "support/levels.h"

#include "core/isa.h"

namespace qmpic::test {

static constexpr Isa isa_of(Level level) { return static_cast<Isa>(level); }
static_assert(isa_of(Level::Sse2) == Isa::Sse2 && isa_of(Level::Avx2) == Isa::Avx2 &&
              isa_of(Level::Avx512) == Isa::Avx512);

const char* name_of(Level level) { return qmpic::name_of(isa_of(level)); }

std::vector<Level> levels() {
    std::vector<Level> found;
    for (const Level level : {Level::Sse2, Level::Avx2, Level::Avx512})
        if (isa_of(level) <= active_isa()) found.push_back(level);
    return found;
}

ForcedLevel::ForcedLevel(Level level) : forced_(std::make_shared<ForcedIsa>(isa_of(level))) {}

}  // namespace qmpic::test
