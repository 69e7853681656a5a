#pragma once

/// A pair of limits, lower then upper.
template <class T>
struct CQmRangeBase {
    T tLower{};
    T tUpper{};
};
