#pragma once

#include <memory>
#include <vector>

namespace qmpic::test {

/// Levels that tests run at. The shipped library hides its level and runs at the one that it
/// chooses: that is `Shipped`, and all that there is for it.
enum class Level { Sse2, Avx2, Avx512, Shipped };
const char* name_of(Level level);

/// The levels that run here, lowest first. Tests are instantiated for these and no other; the
/// program prints them, and `--require=avx512` makes it fail where that level is missing.
std::vector<Level> levels();

/// Lowers the level for a scope; one at a time.
class ForcedLevel {
  public:
    explicit ForcedLevel(Level level);

  private:
    std::shared_ptr<void> forced_;
};

}  // namespace qmpic::test
