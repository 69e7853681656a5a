#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <new>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include "PicMemAPI/colour_space.h"
#include "core/arithmetic.h"
#include "qmpic/Gradient.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"
#include "system/rainbow.h"

// Colours of gradients. Tables are blended by hue, and the words go there as they stand, with red
// and blue the other way round than a colour reference has them. Single values are blended byte by
// byte.

namespace {

using namespace qmpic;

constexpr auto kRainbow = make_rainbow<256>();
constexpr int32_t kEntries = 256, kLastEntry = kEntries - 1;

struct Node {
    double first;  // named as in the maps of the public calls
    uint32_t second;
};

/// Nodes in rising order, no two at one position: a map that allocates nothing.
class Nodes {
  public:
    bool empty() const { return count_ == 0; }
    const Node* begin() const { return nodes_.data(); }
    const Node* end() const { return begin() + count_; }
    const Node& front() const { return *begin(); }
    const Node& back() const { return end()[-1]; }
    bool holds(double position) const {
        const Node* const at = place_of(position);
        return at != end() && !(position < at->first);
    }
    /// A node that stands there already stays.
    void add(double position, uint32_t colour) {
        if (!holds(position)) insert(position, colour);
    }
    /// A node that stands there already goes.
    void put(double position, uint32_t colour) {
        if (holds(position))
            nodes_[index_of(position)].second = colour;
        else
            insert(position, colour);
    }

  private:
    const Node* place_of(double position) const {
        return std::lower_bound(begin(), end(), position,
                                [](const Node& node, double p) { return node.first < p; });
    }
    size_t index_of(double position) const {
        return static_cast<size_t>(place_of(position) - begin());
    }
    void insert(double position, uint32_t colour) {
        auto* const at = nodes_.data() + index_of(position);
        std::move_backward(at, nodes_.data() + count_, nodes_.data() + count_ + 1);
        *at = {position, colour};
        ++count_;
    }

    std::array<Node, std::extent_v<decltype(SQmGradientConfig::sNodes)> + 2> nodes_{};  // two ends
    size_t count_ = 0;
};

/// Steps of 0.001 until a place is free or `hi` is passed. A number that such a step does not move
/// stays where it is.
void put_apart(Nodes& nodes, double position, uint32_t colour, double hi) {
    while (nodes.holds(position) && !(position > hi) && position + 0.001 != position)
        position += 0.001;
    nodes.put(position, colour);
}

/// Toward zero and so far from the least and the greatest number that differences fit; NaN is 0.
int32_t whole_number(double value) {
    constexpr double kFar = 1 << 29;
    return std::isnan(value) ? 0 : trunc_i32(std::clamp(value, -kFar, kFar));
}

/// May lie outside of the table.
int32_t entry_of(double position, double lo, double hi) {
    return whole_number((position - lo) / (hi - lo) * 255.0);
}

/// The blend of two nodes at `position`, which a node that was moved out of the range has behind
/// it.
uint32_t blend_at(double position, const Node& lower, const Node& upper) {
    const double part = (position - lower.first) * 100 / (upper.first - lower.first);
    return ColourPath(lower.second, upper.second, 100).at(whole_number(std::round(part)));
}

/// From node to node, and the last node's colour to the end. Entries outside do not exist.
template <class Range>
void fill_between(unsigned* colors, const Range& nodes, double lo, double hi, bool blended) {
    auto node = nodes.begin();
    if (node == nodes.end()) return;
    int32_t first = entry_of(node->first, lo, hi);
    uint32_t colour = node->second;
    for (++node; node != nodes.end(); ++node) {
        const int32_t last = std::max(entry_of(node->first, lo, hi), first + 1);
        const ColourPath path(colour, node->second, last - first);
        for (int32_t x = std::max(first, 0); x <= std::min(last, kLastEntry); ++x)
            colors[x] = blended ? path.brightest_at(x - first) : colour;
        first = last;
        colour = node->second;
    }
    for (int32_t x = std::max(first, 0); x < kEntries; ++x) colors[x] = colour;
}

/// Each node's colour up to the entry of the next node, so that the last node's is never seen.
template <class Range>
void fill_steps(unsigned* colors, const Range& nodes, double lo, double hi) {
    int32_t x = 0;
    auto node = nodes.begin();
    for (auto next = std::next(node); next != nodes.end(); node = next++)
        for (const int32_t last = entry_of(next->first, lo, hi); x <= std::min(last, kLastEntry);
             ++x)
            colors[x] = node->second;
}

/// A byte of a blend of single values.
uint8_t blend(uint8_t lower, uint8_t upper, double part, double distance) {
    return static_cast<uint8_t>(
        trunc_clamp(std::round((upper - lower) * part / distance + lower), 255));
}

using Configs = std::list<SQmGradientConfig>;

/// Never destroyed: what is destroyed at the end of a process may still ask for it.
Configs& configs() {
    alignas(Configs) static std::byte memory[sizeof(Configs)];
    static Configs& all = *new (memory) Configs;
    return all;
}

Configs::iterator find(unsigned index) {
    Configs& all = configs();
    return index < all.size() ? std::next(all.begin(), index) : all.end();
}

Configs::iterator find(const wchar_t* name) {
    const std::wstring_view wanted(name != nullptr ? name : L"");
    return std::find_if(configs().begin(), configs().end(), [&](const SQmGradientConfig& config) {
        return std::wstring_view(config.m_sName.c_str(), config.m_sName.GetLength()) == wanted;
    });
}

int remove(Configs::iterator found) {
    if (found == configs().end()) return QM_BAD_BUFFER;
    configs().erase(found);
    return QM_OK;
}

SQmGradientConfig* pointer_to(Configs::iterator found) {
    return found != configs().end() ? &*found : nullptr;
}

}  // namespace

SQmGradientConfig::SQmGradientConfig() = default;
SQmGradientConfig::SQmGradientConfig(const SQmGradientConfig& other) = default;
SQmGradientConfig::~SQmGradientConfig() = default;
SQmGradientConfig& SQmGradientConfig::operator=(const SQmGradientConfig& other) = default;

std::uint32_t SQmGradientConfig::GetColorForValue(double value, double lo, double hi) {
    if (std::isnan(sNodes[0].m_dNodeVal))
        return kRainbow[lo == hi ? 0 : trunc_clamp((value - lo) / (hi - lo) * 255.0, 255)];
    if (!m_bAbsolute) {
        if (lo == hi) return sNodes[0].m_uiNodeColor;
        value = (value - lo) / (hi - lo) * 100.0;
    }
    const SNode *lower = nullptr, *upper = nullptr;
    for (const SNode& node : sNodes) {  // positions of NaN are neither equal nor on a side
        const double position = node.m_dNodeVal;
        if (position == value) return node.m_uiNodeColor;
        if (position < value && (lower == nullptr || value - position < value - lower->m_dNodeVal))
            lower = &node;
        if (position > value && (upper == nullptr || position - value < upper->m_dNodeVal - value))
            upper = &node;
    }
    if (lower == nullptr) return upper != nullptr ? upper->m_uiNodeColor : 0;
    if (upper == nullptr || !m_bInterpolate) return lower->m_uiNodeColor;
    const double part = value - lower->m_dNodeVal;
    const double distance = upper->m_dNodeVal - lower->m_dNodeVal;
    const SQmColor a = SQmColor::FromGradientWord(lower->m_uiNodeColor);
    const SQmColor b = SQmColor::FromGradientWord(upper->m_uiNodeColor);
    return SQmColor{blend(a.ucRed, b.ucRed, part, distance),
                    blend(a.ucGreen, b.ucGreen, part, distance),
                    blend(a.ucBlue, b.ucBlue, part, distance), 0}
        .ToGradientWord();
}

void SQmGradientConfig::GetTabColorsFromConfig(SQmGradientConfig* config, unsigned int* colors,
                                               double lo, double hi) {
    Nodes below, inside, above;
    for (const SNode& node : config->sNodes) {
        const double position = node.m_dNodeVal;
        if (std::isnan(position)) continue;
        if (position < lo)
            below.add(position, node.m_uiNodeColor);
        else if (position > hi)
            above.add(position, node.m_uiNodeColor);
        else
            put_apart(inside, position, node.m_uiNodeColor, hi);
    }
    if (inside.empty()) return;
    const Node first = inside.front(), last = inside.back();
    if (first.first != lo)
        inside.add(lo, config->m_bInterpolate && !below.empty() ? blend_at(lo, below.back(), first)
                                                                : first.second);
    if (last.first != hi)
        inside.add(hi, config->m_bInterpolate && !above.empty() ? blend_at(hi, last, above.front())
                                                                : last.second);
    if (config->m_bInterpolate)
        fill_between(colors, inside, lo, hi, true);
    else
        fill_steps(colors, inside, lo, hi);
}

int SQmGradientConfigs::AddGradientConfig(SQmGradientConfig* config) {
    if (config == nullptr) return QM_BAD_BUFFER;
    Configs& all = configs();
    if (all.size() >= all.max_size()) throw std::length_error("list too long");
    all.push_back(*config);
    return QM_OK;
}

int SQmGradientConfigs::DeleteGradientConfig(unsigned int index) { return remove(find(index)); }
int SQmGradientConfigs::DeleteGradientConfig(wchar_t* name) { return remove(find(name)); }

SQmGradientConfig* SQmGradientConfigs::GetGradientConfig(unsigned int index) {
    return pointer_to(find(index));
}
SQmGradientConfig* SQmGradientConfigs::GetGradientConfig(const wchar_t* name) {
    return pointer_to(find(name));
}

unsigned int SQmGradientConfigs::GetCount() { return static_cast<unsigned>(configs().size()); }
void SQmGradientConfigs::Free() { configs().clear(); }

int CQmPicMemAPI_Base::RecalculateGradientColors(unsigned int* colors, unsigned int*,
                                                 std::map<double, unsigned int>& nodes, double hi,
                                                 double lo, bool bBlend) {
    fill_between(colors, nodes, lo, hi, bBlend);
    return QM_OK;
}

int CQmPicMemAPI_Base::RecalculateGradientColorsNoInterpolate(unsigned int* colors,
                                                              std::map<double, unsigned int>& nodes,
                                                              double hi, double lo) {
    if (nodes.empty()) return RecalculateGradientColors(colors, nullptr, nodes, hi, lo, true);
    fill_steps(colors, nodes, lo, hi);
    return QM_OK;
}
