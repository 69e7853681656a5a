#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <tuple>

#include "core/arithmetic.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"

/// What the typed display parameters share: how a level becomes one of another depth, and arrays
/// that are made before anything is released.

namespace qmpic::typed {

constexpr std::uint32_t kLeastBpc = 8, kWhite = 0xFFFFFF;

/// A level of `from` bits as one of `to` bits, rounded.
constexpr std::uint32_t rescaled(std::uint32_t value, std::uint32_t from, std::uint32_t to) {
    return trunc_u32(static_cast<double>(value) / max_value(from) * max_value(to) + 0.5);
}

// ----- Arrays ------------------------------------------------------------------------------------

template <class T>
using Owned = std::unique_ptr<T[]>;

template <class T>
Owned<T> filled(std::uint64_t count, T value) {
    Owned<T> made(new T[count]);
    std::fill_n(made.get(), count, value);
    return made;
}

/// A copy, of null `value` everywhere.
template <class T>
Owned<T> copied(const T* from, std::uint64_t count, T value) {
    if (from == nullptr) return filled(count, value);
    Owned<T> made(new T[count]);
    std::copy_n(from, count, made.get());
    return made;
}

/// A copy, of null null.
template <class T>
Owned<T> copied(const T* from, std::uint64_t count) {
    return from != nullptr ? copied(from, count, T{}) : nullptr;
}

template <class T>
void put(T*& field, Owned<T>& made) {
    delete[] field;
    field = made.release();
}

template <class... Field>
void swap_fields(std::tuple<Field&...> one, std::tuple<Field&...> two) {
    one.swap(two);
}

inline std::uint64_t sum(const std::uint32_t* sizes, std::uint32_t count) {
    return std::accumulate(sizes, sizes + count, std::uint64_t{0});
}

/// Is a new shape one that a record can take? Sizes are only held against a count that is known.
inline bool can_be(std::uint32_t bpc, const std::uint32_t* sizes, std::uint32_t channels,
                   std::uint32_t comps) {
    return bpc >= kLeastBpc && (comps == 0 || sizes == nullptr || sum(sizes, channels) == comps);
}

inline int hand_out(std::uint32_t* array, unsigned int** place) {
    if (place == nullptr) return QM_BAD_BUFFER;
    *place = array;
    return QM_OK;
}

/// The components of each channel; none where the array is missing.
template <class Params>
std::span<const std::uint32_t> sizes_of(const Params& p) {
    if (p.puiComp == nullptr) return {};
    return {p.puiComp, p.m_uiChannelCount};
}

inline bool is_unit(std::uint32_t min, std::uint32_t max, double gamma, std::uint32_t bpc) {
    return min == 0 && max == max_value(bpc) && gamma == 1.0;
}

}  // namespace qmpic::typed
