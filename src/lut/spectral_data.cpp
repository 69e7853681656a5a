#include "lut/spectral_data.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "core/arithmetic.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"

using namespace qmpic;

// How the components of a spectral picture are shown together.

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;
using Values = double* SpectralData::*;
using Colors = std::uint32_t* SpectralData::*;

enum Mode : std::uint32_t { kTrueColour, kCustom, kGrouped, kGreyScale, kModes };

constexpr std::uint32_t kMost = SQmLutParam::MaxComponents;
constexpr std::uint32_t kWhite = 0xFFFFFF, kColorBits = 0xFFFFFF, kFlagBits = 0xFF000000;
constexpr std::uint32_t kStandardColors[] = {0xFF0000, 0x00FF00, 0x0000FF};
constexpr std::uint32_t kFirstGroups = 3;   // of a new record
constexpr std::uint32_t kEditedGroups = 8;  // that SetGroupCount makes at most
constexpr double kNoOffset = 0.0, kNoGain = 1.0;

/// The values of a mode; whose index is that of the mode, as the order of the fields is.
struct Kind {
    Values of_mode[kModes];
    double neutral;
};
constexpr Kind kOffsets{{&SpectralData::pdOffsetTrueColor, &SpectralData::pdOffsetCustom,
                         &SpectralData::pdOffsetGrouped, &SpectralData::pdOffsetGrayScale},
                        kNoOffset};
constexpr Kind kGains{{&SpectralData::pdGainTrueColor, &SpectralData::pdGainCustom,
                       &SpectralData::pdGainGrouped, &SpectralData::pdGainGrayScale},
                      kNoGain};
constexpr Kind kKinds[] = {kOffsets, kGains};
constexpr Mode kArrayModes[] = {kCustom, kGrouped};  // the others have one value
constexpr Colors kColors[] = {&SpectralData::puiColorCustom, &SpectralData::puiColorGroup};

bool has_one_value(std::uint32_t mode) { return mode == kTrueColour || mode == kGreyScale; }

// ----- Values that may be missing ----------------------------------------------------------------

/// Null for an array or an entry that is not there.
template <class T>
T* entry_of(T* values, std::uint32_t count, std::uint32_t index) {
    return values != nullptr && index < count ? values + index : nullptr;
}
template <class T>
T value_of(const T* entry, T missing) {
    return entry != nullptr ? *entry : missing;
}

/// The array of the present mode.
struct Array {
    double* values;
    std::uint32_t count;
};
Array array_of(const SpectralData& data, const Kind& kind) {
    const std::uint32_t mode = data.uiSpectralColorMode;
    if (mode >= kModes) return {nullptr, 0};
    double* const values = data.*kind.of_mode[mode];
    if (values == nullptr) return {nullptr, 0};
    return {values, has_one_value(mode) ? 1 : data.uiAllocated};
}
double* entry_of(const SpectralData& data, const Kind& kind, std::uint32_t index) {
    const Array array = array_of(data, kind);
    return entry_of(array.values, array.count, has_one_value(data.uiSpectralColorMode) ? 0 : index);
}
double get(const SpectralData& data, const Kind& kind, std::uint32_t index) {
    return value_of(entry_of(data, kind, index), kind.neutral);
}
void set(SpectralData& data, const Kind& kind, std::uint32_t index, double value) {
    if (double* const entry = entry_of(data, kind, index)) *entry = value;
}

std::uint32_t* entry_of(const SpectralData& data, Colors colors, std::uint32_t index) {
    return entry_of(data.*colors, data.uiAllocated, index);
}
std::uint32_t color_of(const SpectralData& data, Colors colors, std::uint32_t index) {
    return value_of(entry_of(data, colors, index), kWhite) & kColorBits;
}
void set_color(SpectralData& data, Colors colors, std::uint32_t index, std::uint32_t color) {
    if (std::uint32_t* const entry = entry_of(data, colors, index))
        *entry = (*entry & kFlagBits) | (color & kColorBits);
}
/// Whose colours the present mode shows; those of groups, where it shows neither.
Colors shown_colors(const SpectralData& data) {
    return data.uiSpectralColorMode == kCustom ? &SpectralData::puiColorCustom
                                               : &SpectralData::puiColorGroup;
}
bool is_enabled(const SpectralData& data, std::uint32_t group) {
    return group < data.uiGroupCount &&
           value_of(entry_of(data, shown_colors(data), group), kWhite) <= kColorBits;
}

// ----- Components --------------------------------------------------------------------------------

/// Spectral components that the owner has room for.
std::uint32_t component_count(const SpectralData& data) {
    return data.pOwner != nullptr ? std::min(data.uiSpectralCompCount, kMost) : 0;
}
std::uint32_t& group_of(const SpectralData& data, std::uint32_t comp) {
    return data.pOwner->sCompLutParam[comp].uiGroup;
}

/// As even as neighbours can be shared: 12 in 4 groups are 3 each.
void share_out(SpectralData& data) {
    const std::uint32_t count = component_count(data);
    const double width = count / static_cast<double>(data.uiGroupCount);
    std::uint32_t group = 0;
    for (std::uint32_t c = 0; c < count; ++c) {
        if (c >= (group + 1) * width) ++group;
        group_of(data, c) = group;
    }
}

/// Runs of neighbours of one group; `ends`, which may be null, gets the last one of each.
std::uint32_t walk(const SpectralData& data, unsigned int* ends) {
    const std::uint32_t count = component_count(data);
    std::uint32_t found = 0;
    for (std::uint32_t c = 0; c < count; ++c) {
        if (c + 1 < count && group_of(data, c + 1) == group_of(data, c)) continue;
        if (ends != nullptr) ends[found] = c;
        ++found;
    }
    return found;
}

/// Part `index` of `count` parts of the spectrum, which goes from 400 to 645 nm.
std::uint32_t color_of_light(std::uint32_t index, std::uint32_t count) {
    std::uint32_t color = kWhite;
    QM_RGBFromWavelength(&color, 400 + 245 * (index + 0.5) / count);
    return color;
}

// ----- Arrays ------------------------------------------------------------------------------------

template <class T>
void replace(T*& array, std::unique_ptr<T[]>& by) {
    delete[] array;
    array = by.release();
}

/// The six arrays in a new size: made, where memory may run out, and put in place, where nothing
/// can.
class NewArrays {
  public:
    NewArrays(const SpectralData& old, std::uint32_t count) : count_(std::min(count, kMost)) {
        if (count_ == old.uiAllocated || count_ == 0) return;
        for (auto& of_kind : values_)
            for (auto& values : of_kind) values = std::make_unique<double[]>(count_);
        for (auto& colors : colors_) colors = std::make_unique<std::uint32_t[]>(count_);
    }
    void put_into(SpectralData& data) {
        if (count_ == data.uiAllocated) return;
        const std::uint32_t kept = std::min(count_, data.uiAllocated);
        for (std::size_t k = 0; k < 2; ++k)
            for (std::size_t m = 0; m < 2; ++m) {
                double*& values = data.*kKinds[k].of_mode[kArrayModes[m]];
                fill(values_[k][m].get(), values, kept, kKinds[k].neutral);
                replace(values, values_[k][m]);
            }
        for (std::size_t k = 0; k < 2; ++k) {
            fill(colors_[k].get(), data.*kColors[k], kept, kStandardColors[0]);
            if (data.uiAllocated == 0)
                std::copy_n(kStandardColors, std::min(count_, kFirstGroups), colors_[k].get());
            replace(data.*kColors[k], colors_[k]);
        }
        data.uiAllocated = count_;
    }

  private:
    template <class T>
    void fill(T* to, const T* old, std::uint32_t kept, T rest) {
        std::fill_n(to, count_, rest);
        if (old != nullptr) std::copy_n(old, kept, to);
    }

    std::uint32_t count_;
    std::unique_ptr<double[]> values_[2][2];  // of kKinds, of the modes with arrays
    std::unique_ptr<std::uint32_t[]> colors_[2];
};

/// `each(array, a field of what an entry is)` for those of the six arrays that are there.
template <class Data, class Entry, class Each>
void for_each_array(Data& data, Entry& entry, Each each) {
    for (std::size_t k = 0; k < 2; ++k)
        for (std::size_t m = 0; m < 2; ++m)
            if (auto* const values = data.*kKinds[k].of_mode[kArrayModes[m]])
                each(values, entry.values[k][m]);
    for (std::size_t i = 0; i < 2; ++i)
        if (auto* const colors = data.*kColors[i]) each(colors, entry.colors[i]);
}

/// What the six arrays hold of a group or node.
struct Entry {
    double values[2][2];
    std::uint32_t colors[2];
};
constexpr Entry neutral_entry(std::uint32_t color) {
    return {{{kNoOffset, kNoOffset}, {kNoGain, kNoGain}}, {color, color}};
}
Entry read_entry(SpectralData& data, std::uint32_t index) {
    Entry entry = neutral_entry(kWhite);
    if (index < data.uiAllocated)
        for_each_array(data, entry, [=](auto* from, auto& to) { to = from[index]; });
    return entry;
}
void write_entry(SpectralData& data, std::uint32_t index, const Entry& entry) {
    for_each_array(data, entry, [=](auto* to, auto from) { to[index] = from; });
}
/// The entries from `first` up to `end` move by one, up or down.
void move_up(SpectralData& data, std::uint32_t first, std::uint32_t end) {
    Entry none{};
    for_each_array(data, none, [=](auto* array, auto) {
        std::copy_backward(array + first, array + end, array + end + 1);
    });
}
void move_down(SpectralData& data, std::uint32_t first, std::uint32_t end) {
    Entry none{};
    for_each_array(data, none, [=](auto* array, auto) {
        std::copy(array + first, array + end, array + first - 1);
    });
}

// ----- Inserting and removing --------------------------------------------------------------------

/// Never more than components: with few of them an insertion makes groups less.
std::uint32_t groups_after_insertion(const SpectralData& data) {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(component_count(data), std::uint64_t{data.uiGroupCount} + 1));
}

// ----- Between nodes -----------------------------------------------------------------------------

/// At `x` on the line from `a` at `p` to `b` at `q`.
double between(double a, double b, std::uint32_t p, std::uint32_t q, std::uint32_t x) {
    return (x - p) * (1.0 / (q - p)) * (b - a) + a;
}

/// Where the nodes of mode 1 stand.
struct Nodes {
    std::uint32_t count, components;
    std::uint32_t positions[kMost];
    explicit Nodes(const SpectralData& data)
        : count(std::min(data.uiGroupCount, kMost)), components(component_count(data)) {
        for (std::uint32_t i = 0; i < count; ++i)
            positions[i] = count > 1 ? i * (components - 1) / (count - 1) : 0;
    }
};

/// The colour of a node or group, black when it is disabled.
std::uint32_t visible_color(const SpectralData& data, std::uint32_t index, bool ignore_enable) {
    if (!ignore_enable && !is_enabled(data, index)) return 0;
    return color_of(data, shown_colors(data), index);
}

std::uint32_t color_between_nodes(const SpectralData& data, std::uint32_t comp,
                                  bool ignore_enable) {
    const Nodes nodes(data);
    if (nodes.count == 0) return kWhite;
    const std::uint32_t* const end = nodes.positions + nodes.count;
    const std::uint32_t* const next = std::upper_bound(nodes.positions, end, comp);
    const auto index = static_cast<std::uint32_t>(next - nodes.positions) - 1;
    const std::uint32_t a = visible_color(data, index, ignore_enable);
    if (next == end) return a;
    const std::uint32_t b = visible_color(data, index + 1, ignore_enable);
    std::uint32_t color = 0;
    for (const std::uint32_t shift : {0u, 8u, 16u})
        color |=
            trunc_clamp(between(a >> shift & 255, b >> shift & 255, *(next - 1), *next, comp), 255)
            << shift;
    return color;
}

std::uint32_t component_color(const SpectralData& data, std::uint32_t comp, bool ignore_enable) {
    const std::uint32_t count = component_count(data);
    if (comp >= count) return kWhite;
    switch (data.uiSpectralColorMode) {
    case kTrueColour: return color_of_light(comp, count);
    case kCustom: return color_between_nodes(data, comp, ignore_enable);
    case kGrouped: return visible_color(data, group_of(data, comp), ignore_enable);
    default: return kWhite;
    }
}

/// Offset or gain of each component.
void component_values(SpectralData& data, const Kind& kind, double* to) {
    const std::uint32_t count = component_count(data);
    if (to == nullptr || count == 0) return;
    if (data.uiSpectralColorMode != kCustom) {
        for (std::uint32_t c = 0; c < count; ++c) to[c] = get(data, kind, group_of(data, c));
        return;
    }
    Nodes nodes(data);
    double values[kMost];
    for (std::uint32_t i = 0; i < nodes.count; ++i) values[i] = get(data, kind, i);
    if (nodes.count > 1)
        data.InterpolateVals(values, to, nodes.count, nodes.positions);
    else
        std::fill_n(to, count, nodes.count == 1 ? values[0] : kind.neutral);
}

}  // namespace

// ----- Records -----------------------------------------------------------------------------------

SQmLutParam::SQmLUTDataSpectral::SQmLUTDataSpectral(SQmLutParam* owner)
    : pdOffsetTrueColor(nullptr),
      pdOffsetCustom(nullptr),
      pdOffsetGrouped(nullptr),
      pdOffsetGrayScale(nullptr),
      pdGainTrueColor(nullptr),
      pdGainCustom(nullptr),
      pdGainGrouped(nullptr),
      pdGainGrayScale(nullptr),
      puiColorCustom(nullptr),
      puiColorGroup(nullptr),
      uiAllocated(0),
      uiGroupCount(kFirstGroups),
      pOwner(owner),
      uiSpectralCompCount(0),
      uiSpectralColorMode(kTrueColour) {
    std::unique_ptr<double[]> made[2][2];
    for (std::size_t k = 0; k < 2; ++k)
        for (auto& value : made[k]) {
            value = std::make_unique<double[]>(1);
            value[0] = kKinds[k].neutral;
        }
    for (std::size_t k = 0; k < 2; ++k) {
        this->*kKinds[k].of_mode[kTrueColour] = made[k][0].release();
        this->*kKinds[k].of_mode[kGreyScale] = made[k][1].release();
    }
}

SQmLutParam::SQmLUTDataSpectral::~SQmLUTDataSpectral() {
    for (const Kind& kind : kKinds)
        for (const Values values : kind.of_mode) delete[](this->*values);
    for (const Colors colors : kColors) delete[](this->*colors);
}

namespace qmpic {

void copy_spectral(SpectralData& dst, const SpectralData& src) {
    std::unique_ptr<double[]> values[2][kModes];
    std::unique_ptr<std::uint32_t[]> colors[2];
    const auto each = [&](auto step) {
        for (std::size_t k = 0; k < 2; ++k)
            for (std::uint32_t mode = 0; mode < kModes; ++mode) {
                const bool one = has_one_value(mode);
                step(kKinds[k].of_mode[mode], values[k][mode], one ? 1 : src.uiAllocated,
                     one || dst.uiAllocated == src.uiAllocated);
            }
        for (std::size_t i = 0; i < 2; ++i)
            step(kColors[i], colors[i], src.uiAllocated, dst.uiAllocated == src.uiAllocated);
    };
    each([&](auto array, auto& made, std::uint32_t count, bool fits) {
        if (src.*array != nullptr && (dst.*array == nullptr || !fits))
            made = std::make_unique<std::remove_cvref_t<decltype(made[0])>[]>(count);
    });
    each([&](auto array, auto& made, std::uint32_t count, bool) {
        if (made != nullptr || src.*array == nullptr) replace(dst.*array, made);
        if (src.*array != nullptr) std::copy_n(src.*array, count, dst.*array);
    });
    dst.uiAllocated = src.uiAllocated;
    dst.uiGroupCount = src.uiGroupCount;
    dst.uiSpectralColorMode = src.uiSpectralColorMode;
    set_spectral_count(dst, src.uiSpectralCompCount);
}

bool same_gains(const SpectralData& a, const SpectralData& b) {
    if (array_of(a, kGains).values == nullptr || array_of(b, kGains).values == nullptr) return true;
    return std::all_of(kKinds, kKinds + 2, [&](const Kind& kind) {
        const Array one = array_of(a, kind), two = array_of(b, kind);
        const std::uint32_t in_force = has_one_value(a.uiSpectralColorMode) ? 1 : a.uiGroupCount;
        return std::equal(one.values, one.values + std::min({one.count, two.count, in_force}),
                          two.values);
    });
}

void set_spectral_count(SpectralData& data, std::uint32_t count) {
    std::atomic_ref(data.uiSpectralCompCount).store(count, std::memory_order_relaxed);
}

}  // namespace qmpic

// ----- Groups ------------------------------------------------------------------------------------

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetMode() const {
    const Lock lock(mtx);
    return uiSpectralColorMode;
}

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetSpectralGroupCount() {
    CQmRangeMask enabled;
    GetEnabledGroupMask(enabled);
    return enabled.GetCount();
}

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetNonTransmittedComponentCount() {
    return std::atomic_ref(uiSpectralCompCount).load(std::memory_order_relaxed);
}

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetAllGroupCount(unsigned int* ends, bool bFix) {
    const Lock lock(mtx);
    const std::uint32_t count = component_count(*this);
    if (bFix && count != 0 && walk(*this, nullptr) != uiGroupCount) {
        const std::uint32_t groups = std::min(count, kFirstGroups);
        Realloc(groups);
        uiGroupCount = groups;
        for (const Colors colors : kColors)
            if (this->*colors != nullptr) std::copy_n(kStandardColors, groups, this->*colors);
        share_out(*this);
    }
    if (ends != nullptr) walk(*this, ends);
    return uiGroupCount;
}

int SQmLutParam::SQmLUTDataSpectral::SetGroupCount(int count) {
    const Lock lock(mtx);
    const auto groups = [this] { return std::int64_t{uiGroupCount}; };
    if (groups() == count) return count;
    unsigned int reached = 0;
    while (groups() > count && RemoveGroup(uiGroupCount - 1, &reached) == QM_OK) {
    }
    // With less components than groups it is the first insertion that removes some.
    while (groups() < count && uiGroupCount < kEditedGroups &&
           InsertGroup(uiGroupCount, &reached) == QM_OK) {
    }
    return static_cast<int>(reached);
}

void SQmLutParam::SQmLUTDataSpectral::Realloc(unsigned int count) {
    const Lock lock(mtx);
    NewArrays(*this, count).put_into(*this);
}

bool SQmLutParam::SQmLUTDataSpectral::IsAbleToInsertGroup(unsigned int index) {
    const Lock lock(mtx);
    return groups_after_insertion(*this) != uiGroupCount && index <= uiGroupCount;
}

bool SQmLutParam::SQmLUTDataSpectral::IsAbleToRemoveGroup(unsigned int index) {
    const Lock lock(mtx);
    return uiGroupCount > 1 && index < uiGroupCount;
}

int SQmLutParam::SQmLUTDataSpectral::InsertGroup(unsigned int index, unsigned int* newCount) {
    const Lock lock(mtx);
    if (!IsAbleToInsertGroup(index)) return QM_BAD_BUFFER;
    const std::uint32_t count = groups_after_insertion(*this);
    Realloc(count);  // nothing below fails
    if (index < count) {
        move_up(*this, index, count - 1);
        write_entry(*this, index, neutral_entry(color_of_light(index, count)));
    }
    uiGroupCount = count;
    share_out(*this);
    if (newCount != nullptr) *newCount = count;
    return QM_OK;
}

int SQmLutParam::SQmLUTDataSpectral::RemoveGroup(unsigned int index, unsigned int* newCount) {
    const Lock lock(mtx);
    if (!IsAbleToRemoveGroup(index)) return QM_BAD_BUFFER;
    const std::uint32_t count = uiGroupCount - 1;
    NewArrays arrays(*this, count);  // nothing below fails
    if (index < uiAllocated) move_down(*this, index + 1, std::min(uiGroupCount, uiAllocated));
    arrays.put_into(*this);
    uiGroupCount = count;
    share_out(*this);
    if (newCount != nullptr) *newCount = count;
    return QM_OK;
}

void SQmLutParam::SQmLUTDataSpectral::EnableGroup(unsigned int group, bool bEnable) {
    const Lock lock(mtx);
    if (group >= uiGroupCount) return;
    for (const Colors colors : kColors)
        if (std::uint32_t* const color = entry_of(*this, colors, group))
            *color = (*color & kColorBits) | (bEnable ? 0 : kFlagBits);
}

bool SQmLutParam::SQmLUTDataSpectral::IsGroupEnabled(unsigned int group) {
    const Lock lock(mtx);
    return is_enabled(*this, group);
}

void SQmLutParam::SQmLUTDataSpectral::GetEnabledGroupMask(CQmRangeMask& mask) {
    const Lock lock(mtx);
    mask.Reset();
    mask.SetSize(uiGroupCount);
    for (std::uint32_t g = 0; g < mask.GetSize(); ++g) mask.Set(g, is_enabled(*this, g));
}

void SQmLutParam::SQmLUTDataSpectral::GetComponentEnabledGroupMask(CQmRangeMask& mask) {
    const Lock lock(mtx);
    mask.Reset();
    mask.SetSize(component_count(*this));
    for (std::uint32_t c = 0; c < mask.GetSize(); ++c)
        mask.Set(c, is_enabled(*this, group_of(*this, c)));
}

// ----- Gains and offsets -------------------------------------------------------------------------

double SQmLutParam::SQmLUTDataSpectral::GetGain(unsigned int index) {
    const Lock lock(mtx);
    return get(*this, kGains, index);
}
double SQmLutParam::SQmLUTDataSpectral::GetOffset(unsigned int index) {
    const Lock lock(mtx);
    return get(*this, kOffsets, index);
}
void SQmLutParam::SQmLUTDataSpectral::SetGain(unsigned int index, double value) {
    const Lock lock(mtx);
    set(*this, kGains, index, value);
}
void SQmLutParam::SQmLUTDataSpectral::SetOffset(unsigned int index, double value) {
    const Lock lock(mtx);
    set(*this, kOffsets, index, value);
}

void SQmLutParam::SQmLUTDataSpectral::GetCompOffsetAndGains(double* offsets, double* gains) {
    const Lock lock(mtx);
    component_values(*this, kOffsets, offsets);
    component_values(*this, kGains, gains);
}

void SQmLutParam::SQmLUTDataSpectral::InterpolateVals(double* nodes, double* dst,
                                                      unsigned int count, unsigned int* positions) {
    const Lock lock(mtx);
    if (count == 0) return;
    dst[0] = nodes[0];
    if (count == 1) return;
    for (std::uint32_t i = 0; i + 1 < count; ++i)
        for (std::uint32_t p = positions[i], q = positions[i + 1], x = p; x < q; ++x)
            dst[x] = between(nodes[i], nodes[i + 1], p, q, x);
    dst[positions[count - 1]] = nodes[count - 1];
}

void SQmLutParam::SQmLUTDataSpectral::Reset() {
    const Lock lock(mtx);
    const std::uint32_t count =
        std::max(array_of(*this, kOffsets).count, array_of(*this, kGains).count);
    for (std::uint32_t i = 0; i < count; ++i) Reset(i);
}
void SQmLutParam::SQmLUTDataSpectral::Reset(unsigned int index) {
    const Lock lock(mtx);
    SetOffset(index, kNoOffset);
    SetGain(index, kNoGain);
}

bool SQmLutParam::SQmLUTDataSpectral::IsReset() {
    const Lock lock(mtx);
    return std::all_of(kKinds, kKinds + 2, [this](const Kind& kind) {
        const Array array = array_of(*this, kind);
        return std::all_of(array.values, array.values + array.count,
                           [&](double value) { return value == kind.neutral; });
    });
}

// ----- Colours -----------------------------------------------------------------------------------

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetGroupColor(unsigned int index) {
    const Lock lock(mtx);
    return color_of(*this, &SQmLUTDataSpectral::puiColorGroup, index);
}
std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetCustomColor(unsigned int index) {
    const Lock lock(mtx);
    return color_of(*this, &SQmLUTDataSpectral::puiColorCustom, index);
}
void SQmLutParam::SQmLUTDataSpectral::SetGroupColor(unsigned int index, unsigned int color) {
    const Lock lock(mtx);
    set_color(*this, &SQmLUTDataSpectral::puiColorGroup, index, color);
}
void SQmLutParam::SQmLUTDataSpectral::SetCustomColor(unsigned int index, unsigned int color) {
    const Lock lock(mtx);
    set_color(*this, &SQmLUTDataSpectral::puiColorCustom, index, color);
}
void SQmLutParam::SQmLUTDataSpectral::SetColor(unsigned int index, unsigned int color) {
    const Lock lock(mtx);
    if (uiSpectralColorMode == kCustom || uiSpectralColorMode == kGrouped)
        set_color(*this, shown_colors(*this), index, color);
}

std::uint32_t SQmLutParam::SQmLUTDataSpectral::GetCompColor(unsigned int comp, bool bIgnoreEnable) {
    const Lock lock(mtx);
    return component_color(*this, comp, bIgnoreEnable);
}

void SQmLutParam::SQmLUTDataSpectral::GetCompColors(unsigned int* colors, bool bIgnoreEnable,
                                                    bool /*bReserved*/) {
    const Lock lock(mtx);
    const std::uint32_t count = colors != nullptr ? component_count(*this) : 0;
    for (std::uint32_t c = 0; c < count; ++c) colors[c] = component_color(*this, c, bIgnoreEnable);
}

// ----- Parts of records --------------------------------------------------------------------------

void SQmLutParam::SQmLUTDataSpectral::ExtractGroups(SQmLUTDataSpectral& dst,
                                                    SQmLUTDataSpectral& src,
                                                    const CQmRangeMask& comps) {
    const BothLocked locks(dst, src);
    std::uint32_t groups[kMost], components[kMost] = {};
    std::uint32_t group_count = 0, component = 0;
    for (std::uint32_t c = 0; c < kMost; ++c) {
        if (!comps.Get(c)) continue;
        const std::uint32_t* const known =
            std::find(groups, groups + group_count, group_of(src, c));
        if (known == groups + group_count) groups[group_count++] = group_of(src, c);
        components[component++] = static_cast<std::uint32_t>(known - groups);
    }
    Entry entries[kMost];
    for (std::uint32_t g = 0; g < group_count; ++g) entries[g] = read_entry(src, groups[g]);

    NewArrays(dst, group_count).put_into(dst);  // nothing below fails
    for (std::uint32_t g = 0; g < group_count; ++g) write_entry(dst, g, entries[g]);
    dst.uiGroupCount = group_count;
    for (std::uint32_t c = 0; c < kMost; ++c) group_of(dst, c) = components[c];
    for (const Kind& kind : kKinds)
        for (const Mode mode : {kTrueColour, kGreyScale})
            if (const Values value = kind.of_mode[mode];
                dst.*value != nullptr && src.*value != nullptr)
                *(dst.*value) = *(src.*value);
}
