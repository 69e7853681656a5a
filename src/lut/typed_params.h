#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <tuple>

#include "core/arithmetic.h"
#include "lut/stored_levels.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "qmpic/system/LiteVariant.h"

/// What the typed display parameters share: how a level becomes one of another depth, arrays that
/// are made before anything is released, and lists in the stored form.

namespace qmpic::typed {

constexpr std::uint32_t kLeastBpc = 8, kMostComponents = 192, kWhite = 0xFFFFFF;

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
void put(T*& field, Owned<T> made) {
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

// ----- Stored form -------------------------------------------------------------------------------

/// An open level of a writer or reader, closed at the end.
template <class Variant>
class Level {
  public:
    Level(Variant& variant, int opened) : variant_(opened == QM_OK ? &variant : nullptr) {}
    ~Level() {
        if (variant_ != nullptr) variant_->LevelEnd();
    }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    explicit operator bool() const { return variant_ != nullptr; }

  private:
    Variant* variant_;
};

/// A record that is being written within a level of its own. The first code that is not 0 stays.
class Writing {
  public:
    Writing(CQmLiteVariantW& w, const wchar_t* name)
        : w_(w), code_(w.LevelBegin(name)), level_(w, code_) {
        set(L"version", 1);
    }
    template <class T>
    void set(const wchar_t* name, T value) {
        if (code_ == QM_OK) code_ = w_.Set(name, value);
    }
    /// `write(i)` within an unnamed level, for each i.
    template <class Write>
    void list(std::uint32_t count, Write write) {
        for (std::uint32_t i = 0; i < count && code_ == QM_OK; ++i) {
            code_ = w_.LevelBegin(L"");
            const Level element(w_, code_);
            write(i);
        }
    }
    /// Zeros past the values.
    void numbers(const wchar_t* name, std::span<const std::uint32_t> values, std::uint32_t count) {
        list(count, [&](std::uint32_t i) { set(name, i < values.size() ? values[i] : 0u); });
    }
    int code() const { return code_; }

  private:
    CQmLiteVariantW& w_;
    int code_;
    Level<CQmLiteVariantW> level_;
};

/// Writes by `write(writing)`.
template <class Write>
int save(CQmLiteVariantW& w, const wchar_t* name, Write write) {
    return or_no_memory([&] {
        Writing writing(w, name);
        write(writing);
        return writing.code();
    });
}

using Sizes = std::array<std::uint32_t, kMostComponents>;

/// A record that is being read from a level of its own.
class Reading {
  public:
    Reading(CQmLiteVariantR& r, const wchar_t* name) : r_(r), level_(r, r.LevelBegin(name)) {}
    explicit operator bool() const { return static_cast<bool>(level_); }
    template <class T>
    T get(const wchar_t* name, T otherwise) const {
        return r_.Get(name, otherwise);
    }
    std::uint32_t number(const wchar_t* name) const { return get(name, 0u); }
    /// `read(i)` within the next unnamed levels, as many as there are, up to `count`.
    template <class Read>
    void list(std::uint32_t count, Read read) {
        for (std::uint32_t i = 0; i < count && r_.IsNextValue(); ++i) {
            {
                const Level element(r_, r_.CurrentLevelBegin());
                read(i);
            }
            r_.NextValue();
        }
    }
    /// Zeros where there are none. `count` is at most 192.
    Sizes numbers(const wchar_t* name, std::uint32_t count) {
        Sizes values{};
        list(count, [&](std::uint32_t i) { values[i] = number(name); });
        return values;
    }

  private:
    CQmLiteVariantR& r_;
    Level<CQmLiteVariantR> level_;
};

/// The components of each channel; none where the array is missing.
template <class Params>
std::span<const std::uint32_t> sizes_of(const Params& p) {
    if (p.puiComp == nullptr) return {};
    return {p.puiComp, p.m_uiChannelCount};
}

// The levels of one channel.

inline bool is_unit(std::uint32_t min, std::uint32_t max, double gamma, std::uint32_t bpc) {
    return min == 0 && max == max_value(bpc) && gamma == 1.0;
}

inline void write_levels(Writing& writing, std::uint32_t min, std::uint32_t max, double gamma) {
    writing.set(L"uiMin", min);
    writing.set(L"uiMax", max);
    writing.set(L"dGamma", gamma);
}

inline void read_levels(const Reading& reading, std::uint32_t& min, std::uint32_t& max,
                        double& gamma) {
    min = reading.number(L"uiMin");
    max = reading.get(L"uiMax", max);
    gamma = reading.get(L"dGamma", 1.0);
}

/// Sizes that were read: no picture has more components.
inline bool plausible(const Sizes& sizes) {
    return sum(sizes.data(), kMostComponents) <= kMostComponents;
}

/// `read(record, reading)` into a copy, which takes the record's place when that gives 0.
template <class Params, class Exchange, class Read>
int load(Params& into, CQmLiteVariantR& r, const wchar_t* name, Exchange exchange, Read read) {
    return or_no_memory([&] {
        Reading reading(r, name);
        if (!reading) return int{QM_BAD_BUFFER};
        Params loaded(into);
        const int code = read(loaded, reading);
        if (code == QM_OK) exchange(into, loaded);
        return code;
    });
}

}  // namespace qmpic::typed
