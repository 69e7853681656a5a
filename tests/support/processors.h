#pragma once

namespace qmpic::test {

/// While this lives the OpenMP runtime reports so many processors, seen from outside by standing
/// before the runtime's own function. One at a time.
class Processors {
  public:
    explicit Processors(int count);
    ~Processors();
    Processors(const Processors&) = delete;
    Processors& operator=(const Processors&) = delete;
};

}  // namespace qmpic::test
