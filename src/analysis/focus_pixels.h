#pragma once

#include <cstdint>
#include <type_traits>

#include "core/arithmetic.h"
#include "core/rows.h"

/// What a pixel's value is to a measure of focus: one component, or all of them together.

namespace qmpic {

inline constexpr int kAllComponents = -1;

/// A result that the caller may not want.
inline void give(double* result, double value) {
    if (result != nullptr) *result = value;
}

/// Rows of samples from an offset on, which need not lie in the picture.
struct RowsFrom {
    Src src;
    int64_t offset;
    template <class T>
    const Sample<T>* row(uint64_t y) const {
        const auto bytes = static_cast<uint64_t>(offset) * sizeof(T);  // wraps for those before it
        return reinterpret_cast<const Sample<T>*>(reinterpret_cast<uintptr_t>(src.row<T>(y)) +
                                                  bytes);
    }
};

/// One component, the pixels' samples `step` apart; 0 is a step that the call brings.
template <uint32_t step>
struct OneComponent {
    uint64_t given = step;
    uint64_t samples() const { return step != 0 ? step : given; }
    template <class Word, class T>
    Word sum(const Sample<T>* s, uint32_t mask) const {
        return static_cast<Word>(s[0] & mask);
    }
    template <class T>
    uint16_t mean(const Sample<T>* s, uint32_t mask) const {
        return static_cast<uint16_t>(s[0] & mask);
    }
};

/// All of them.
template <uint32_t count>
struct AllComponents {
    uint64_t given = count;
    uint64_t samples() const { return count != 0 ? count : given; }
    template <class Word, class T>
    Word sum(const Sample<T>* s, uint32_t mask) const {
        Word sum = 0;
        for (uint64_t k = 0; k < samples(); ++k) sum += static_cast<Word>(s[k] & mask);
        return sum;
    }
    template <class T>
    uint16_t mean(const Sample<T>* s, uint32_t mask) const {
        using Sum = std::conditional_t<count == 0, uint64_t, uint32_t>;
        return static_cast<uint16_t>(sum<Sum>(s, mask) / static_cast<Sum>(samples()));
    }
};

/// As many as need no division.
struct SomeComponents : AllComponents<0> {
    Reciprocal reciprocal;
    explicit SomeComponents(uint32_t count) : AllComponents<0>{count}, reciprocal(count) {}
    template <class T>
    uint16_t mean(const Sample<T>* s, uint32_t mask) const {
        return static_cast<uint16_t>(reciprocal.quotient(sum<uint32_t>(s, mask)));
    }
};

/// Calls `use` with how pixels are read.
template <class Use>
void with_pixels(bool together, uint32_t components, Use use) {
    if (components == 1) return use(OneComponent<1>{});
    if (!together)
        return components == 3 ? use(OneComponent<3>{}) : use(OneComponent<0>{components});
    if (components == 3) return use(AllComponents<3>{});
    if (Reciprocal::fits(components)) return use(SomeComponents(components));
    use(AllComponents<0>{components});
}

}  // namespace qmpic
