#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "core/no_memory.h"
#include "qmpic/status.h"
#include "qmpic/system/Variant.h"

/// Records as levels of a tree. What a record stores is said once, as calls `visit(key, field)`;
/// a SaveLevel or a LoadLevel visits.

namespace qmpic {

/// "stem7", with `digits` at least, filled up with zeros.
inline CQmStringW indexed(const wchar_t* stem, std::uint32_t index, std::uint32_t digits = 1) {
    std::wstring number;
    for (; index > 0 || number.size() < digits; index /= 10)
        number.insert(number.begin(), static_cast<wchar_t>(L'0' + index % 10));
    return stem + number;
}

/// Appends fields to a variant.
class SaveLevel {
  public:
    static constexpr bool kSaves = true;
    explicit SaveLevel(CQmVariant& to) : to_(to) {}

    template <class Field>
    void operator()(const CQmStringW& key, const Field& field) {
        if constexpr (std::is_same_v<Field, bool> || std::is_same_v<Field, CQmStringW>)
            append(CQmVariant(field, key));
        else if constexpr (std::is_floating_point_v<Field>)
            append(CQmVariant(static_cast<double>(field), key));
        else
            append(CQmVariant(static_cast<unsigned int>(field), key));
    }
    /// `fill(level)` says what the level of this name holds.
    template <class Fill>
    void level(const CQmStringW& key, Fill fill) {
        CQmVariant child;
        child.SetName(key);
        SaveLevel inner(child);
        fill(inner);
        note(inner.code());
        append(child);
    }
    void append(const CQmVariant& child) { note(to_.Append(child)); }
    void note(int code) {
        if (code_ == QM_OK) code_ = code;
    }
    int code() const { return code_; }

  private:
    CQmVariant& to_;
    int code_ = QM_OK;
};

/// Reads fields from a variant. What is absent, or of another type, leaves its field alone.
class LoadLevel {
  public:
    static constexpr bool kSaves = false;
    explicit LoadLevel(const CQmVariant& from) : from_(from) {}

    template <class Field>
    void operator()(const CQmStringW& key, Field& field) const {
        const CQmVariant* const found = from_.SearchFixedOneLevel(key);
        if (found == nullptr) return;
        bool good = false;
        const auto take = [&](const auto& value) {
            if (good) field = static_cast<Field>(value);
        };
        if constexpr (std::is_same_v<Field, bool>)
            take(found->GetBool(&good));
        else if constexpr (std::is_same_v<Field, CQmStringW>)
            take(found->GetCQmStringW(&good));
        else if constexpr (std::is_floating_point_v<Field>)
            take(found->GetDouble(&good));
        else
            take(found->GetQm_uint32(&good));
    }
    /// `fill(level)` when there is one of this name.
    template <class Fill>
    void level(const CQmStringW& key, Fill fill) const {
        const CQmVariant* const found = from_.SearchFixedOneLevel(key);
        if (found != nullptr) fill(LoadLevel(*found));
    }

  private:
    const CQmVariant& from_;
};

/// Makes `variant` null and fills it by `fill(level)`. On failure it is null.
template <class Fill>
int save_to(CQmVariant& variant, Fill fill) {
    const int code = or_no_memory([&] {
        variant.MakeNull();
        SaveLevel level(variant);
        fill(level);
        return level.code();
    });
    if (code != QM_OK) variant.MakeNull();
    return code;
}

/// Reads by `fill(level)`.
template <class Fill>
int load_from(const CQmVariant& variant, Fill fill) {
    return or_no_memory([&] {
        fill(LoadLevel(variant));
        return QM_OK;
    });
}

}  // namespace qmpic
