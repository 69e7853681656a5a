#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qmpic/Gradient.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Config = SQmGradientConfig;
using Configs = SQmGradientConfigs;

const bool registered =
    add_cases({}, {},
              {"SQmGradientConfig::SQmGradientConfig", "SQmGradientConfig::~SQmGradientConfig",
               "SQmGradientConfig::operator=", "SQmGradientConfig::GetColorForValue",
               "SQmGradientConfig::GetTabColorsFromConfig", "SQmGradientConfigs::AddGradientConfig",
               "SQmGradientConfigs::DeleteGradientConfig", "SQmGradientConfigs::GetGradientConfig",
               "SQmGradientConfigs::GetCount", "SQmGradientConfigs::Free",
               "CQmPicMemAPI_Base::RecalculateGradientColors",
               "CQmPicMemAPI_Base::RecalculateGradientColorsNoInterpolate"});

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kBlue = 0x0000FF;  // of gradients
constexpr uint32_t kUntouched = 0x77777777;

using Table = std::vector<unsigned>;
using Map = std::map<double, unsigned>;

Config with_nodes(std::initializer_list<std::pair<double, uint32_t>> nodes,
                  bool interpolate = true) {
    Config config;
    size_t n = 0;
    for (const auto& [position, colour] : nodes) config.sNodes[n++] = {position, colour};
    config.m_bInterpolate = interpolate;
    return config;
}

Table table_of(Config config, double lo, double hi) {
    Table colours(257, kUntouched);
    Config::GetTabColorsFromConfig(&config, colours.data(), lo, hi);
    EXPECT_EQ(colours.back(), kUntouched);
    colours.pop_back();
    return colours;
}
Table blended(Map nodes, double lo, double hi, bool blend = true) {
    Table colours(257, kUntouched);
    EXPECT_EQ(Api::RecalculateGradientColors(colours.data(), nullptr, nodes, hi, lo, blend), QM_OK);
    EXPECT_EQ(colours.back(), kUntouched);
    colours.pop_back();
    return colours;
}
Table stepped(Map nodes, double lo, double hi) {
    Table colours(257, kUntouched);
    EXPECT_EQ(Api::RecalculateGradientColorsNoInterpolate(colours.data(), nodes, hi, lo), QM_OK);
    EXPECT_EQ(colours.back(), kUntouched);
    colours.pop_back();
    return colours;
}
void fill(Table& table, int first, int last, uint32_t colour) {
    for (int x = std::max(first, 0); x <= std::min(last, 255); ++x)
        table[static_cast<size_t>(x)] = colour;
}

// ----- References --------------------------------------------------------------------------------

int64_t limited(double value) {
    if (std::isnan(value)) return 0;
    return static_cast<int64_t>(std::max(-536870912.0, std::min(536870912.0, value)));
}
int64_t index_of(double position, double lo, double hi) {
    return limited((position - lo) / (hi - lo) * 255.0);
}

Table blended_reference(const Map& nodes, double lo, double hi, bool blend, Table table) {
    if (nodes.empty()) return table;
    int64_t a = index_of(nodes.begin()->first, lo, hi);
    unsigned colour = nodes.begin()->second;
    for (auto node = std::next(nodes.begin()); node != nodes.end(); ++node) {
        const int64_t b = std::max(index_of(node->first, lo, hi), a + 1);
        for (int64_t x = 0; x < 256; ++x)
            if (x >= a && x <= b)
                table[static_cast<size_t>(x)] =
                    blend ? Api::CalcColor(colour, node->second, static_cast<int>(b - a),
                                           static_cast<int>(x - a))
                          : colour;
        a = b;
        colour = node->second;
    }
    for (int64_t x = 0; x < 256; ++x)
        if (x >= a) table[static_cast<size_t>(x)] = colour;
    return table;
}

Table stepped_reference(const Map& nodes, double lo, double hi, Table table) {
    int64_t start = 0;
    for (auto node = nodes.begin(); node != nodes.end(); ++node) {
        const auto next = std::next(node);
        if (next == nodes.end()) break;
        const int64_t i = index_of(next->first, lo, hi);
        if (start > i) continue;
        for (int64_t x = start; x <= i && x < 256; ++x)
            table[static_cast<size_t>(x)] = node->second;
        start = i + 1;
    }
    return table;
}

Table table_reference(const Config& config, double lo, double hi) {
    Table table(256, kUntouched);
    Map below, inside, above;
    for (const auto& node : config.sNodes) {
        double position = node.m_dNodeVal;
        if (std::isnan(position)) continue;
        if (position < lo) {
            below.insert({position, node.m_uiNodeColor});
        } else if (position > hi) {
            above.insert({position, node.m_uiNodeColor});
        } else {
            while (inside.contains(position) && position <= hi) position += 0.001;
            inside[position] = node.m_uiNodeColor;
        }
    }
    if (inside.empty()) return table;
    const std::pair<double, unsigned> first = *inside.begin(), last = *inside.rbegin();
    if (first.first != lo) {
        unsigned colour = first.second;
        if (config.m_bInterpolate && !below.empty()) {
            const auto& lower = *below.rbegin();
            colour = Api::CalcColorEx(
                lower.second, colour, 100,
                static_cast<int>(
                    limited(std::round((lo - lower.first) * 100 / (first.first - lower.first)))));
        }
        inside.insert({lo, colour});
    }
    if (last.first != hi) {
        unsigned colour = last.second;
        if (config.m_bInterpolate && !above.empty()) {
            const auto& upper = *above.begin();
            colour = Api::CalcColorEx(colour, upper.second, 100,
                                      static_cast<int>(limited(std::round(
                                          (hi - last.first) * 100 / (upper.first - last.first)))));
        }
        inside.insert({hi, colour});
    }
    return config.m_bInterpolate ? blended_reference(inside, lo, hi, true, table)
                                 : stepped_reference(inside, lo, hi, table);
}

uint32_t value_reference(const Config& config, double value, double lo, double hi) {
    const auto& nodes = config.sNodes;
    if (std::isnan(nodes[0].m_dNodeVal)) {
        uint32_t rainbow[256];
        QM_RGBRainbowColorTable(rainbow, 256);
        const double entry = lo == hi ? 0 : (value - lo) / (hi - lo) * 255.0;
        return rainbow[!(entry > 0) ? 0 : entry >= 255 ? 255 : static_cast<int>(entry)];
    }
    if (!config.m_bAbsolute) {
        if (lo == hi) return nodes[0].m_uiNodeColor;
        value = (value - lo) / (hi - lo) * 100.0;
    }
    int lower = -1, upper = -1;
    for (int n = 0; n < 10; ++n) {
        const double at = nodes[n].m_dNodeVal;
        if (std::isnan(at)) continue;
        if (at == value) {
            lower = upper = n;
            break;
        }
        if (at < value && (lower < 0 || value - at < value - nodes[lower].m_dNodeVal)) lower = n;
        if (at > value && (upper < 0 || at - value < nodes[upper].m_dNodeVal - value)) upper = n;
    }
    if (lower < 0 && upper < 0) return 0;
    if (lower < 0) return nodes[upper].m_uiNodeColor;
    if (upper < 0 || upper == lower || !config.m_bInterpolate) return nodes[lower].m_uiNodeColor;
    const double d = nodes[upper].m_dNodeVal - nodes[lower].m_dNodeVal;
    uint32_t colour = 0;
    for (int shift = 0; shift <= 16; shift += 8) {
        const int a = nodes[lower].m_uiNodeColor >> shift & 255,
                  b = nodes[upper].m_uiNodeColor >> shift & 255;
        const double c = (b - a) * (value - nodes[lower].m_dNodeVal) / d + a;
        colour |= static_cast<uint32_t>(std::lround(c)) << shift;
    }
    return colour;
}

// ----- Record ------------------------------------------------------------------------------------

TEST(GradientConfig, IsEmptyAtFirst) {
    const Config config;
    static_assert(std::extent_v<decltype(config.sNodes)> == 10);
    for (const auto& node : config.sNodes) {
        EXPECT_TRUE(std::isnan(node.m_dNodeVal));
        EXPECT_EQ(node.m_uiNodeColor, 0u);
    }
    EXPECT_TRUE(config.m_bInterpolate);
    EXPECT_FALSE(config.m_bAbsolute);
    EXPECT_FALSE(config.m_bSymmetric);
    EXPECT_EQ(config.m_dCenter, 0.0);
    EXPECT_TRUE(config.m_sName.IsEmpty());
}

TEST(GradientConfig, CopiesAllFields) {
    Config config = with_nodes({{10, kRed}, {20, kGreen}}, false);
    config.m_bAbsolute = config.m_bSymmetric = true;
    config.m_dCenter = 5;
    config.m_sName = L"a name that does not fit into the record itself";
    const Config constructed(config);
    Config assigned;
    EXPECT_EQ(&(assigned = config), &assigned);
    for (const Config& copy : {constructed, assigned}) {
        EXPECT_EQ(copy.sNodes[1].m_dNodeVal, 20);
        EXPECT_EQ(copy.sNodes[1].m_uiNodeColor, kGreen);
        EXPECT_TRUE(std::isnan(copy.sNodes[2].m_dNodeVal));
        EXPECT_FALSE(copy.m_bInterpolate);
        EXPECT_TRUE(copy.m_bAbsolute);
        EXPECT_TRUE(copy.m_bSymmetric);
        EXPECT_EQ(copy.m_dCenter, 5);
        EXPECT_EQ(copy.m_sName, config.m_sName);
    }
}

// ----- One value ---------------------------------------------------------------------------------

TEST(GetColorForValue, OfAnEmptyConfigurationIsOfTheRainbow) {
    Config config;
    EXPECT_EQ(config.GetColorForValue(0, 0, 255), 0x0000FFu);
    EXPECT_EQ(config.GetColorForValue(64, 0, 255), 0x00FFFEu);
    EXPECT_EQ(config.GetColorForValue(64.9, 0, 255), 0x00FFFEu);  // cut
    EXPECT_EQ(config.GetColorForValue(1, 0, 1), 0xFF0000u);
    EXPECT_EQ(config.GetColorForValue(2, 0, 1), 0xFF0000u);
    EXPECT_EQ(config.GetColorForValue(-2, 0, 1), 0x0000FFu);
    EXPECT_EQ(config.GetColorForValue(kInfinity, 0, 1), 0xFF0000u);
    EXPECT_EQ(config.GetColorForValue(kNaN, 0, 1), 0x0000FFu);
    EXPECT_EQ(config.GetColorForValue(7, 5, 5), 0x0000FFu);
    config.m_bAbsolute = true;
    EXPECT_EQ(config.GetColorForValue(7, 5, 5), 0x0000FFu);
    EXPECT_EQ(config.GetColorForValue(64, 0, 255), 0x00FFFEu);
}

TEST(GetColorForValue, AsksNodeZeroAloneWhetherThereAreNodes) {
    Config config = with_nodes({{kNaN, 1}, {50, kGreen}});
    EXPECT_EQ(config.GetColorForValue(0, 0, 1), 0x0000FFu);
    config.sNodes[0] = {60, kRed};
    EXPECT_EQ(config.GetColorForValue(0, 0, 1), kGreen);
}

TEST(GetColorForValue, OnANodeIsItsColour) {
    for (const bool interpolate : {true, false}) {
        Config config = with_nodes({{0, kRed}, {100, kBlue}, {25, 0xAB123456}}, interpolate);
        EXPECT_EQ(config.GetColorForValue(25, 0, 100), 0xAB123456u);
        EXPECT_EQ(config.GetColorForValue(0.5, 0, 2), 0xAB123456u);
        EXPECT_EQ(config.GetColorForValue(0, 0, 100), kRed);
        EXPECT_EQ(config.GetColorForValue(100, 0, 100), kBlue);
    }
    // The first of two that stand there ends the walk.
    Config twice = with_nodes({{0, kRed}, {50, 1}, {50, 2}});
    EXPECT_EQ(twice.GetColorForValue(50, 0, 100), 1u);
}

TEST(GetColorForValue, BlendsBytesAndRoundsHalvesUp) {
    Config config = with_nodes({{100, 0xFFFF8000}, {0, 0x11000001}});
    // (0xFF * 0.5), (0x80 * 0.5), 1 - 0.5: 127.5, 64, 0.5
    EXPECT_EQ(config.GetColorForValue(50, 0, 100), 0x00804001u);
    EXPECT_EQ(config.GetColorForValue(25, 0, 100), 0x00402001u);  // 63.75, 32, 0.75
    EXPECT_EQ(config.GetColorForValue(0.75, 0, 1), 0x00BF6000u);  // 191.25, 96, 0.25
}

TEST(GetColorForValue, WithoutInterpolationIsTheLowerNeighbours) {
    Config config = with_nodes({{100, kBlue}, {0, 0xAB00FF00}, {50, kRed}}, false);
    EXPECT_EQ(config.GetColorForValue(49.9, 0, 100), 0xAB00FF00u);
    EXPECT_EQ(config.GetColorForValue(50.1, 0, 100), kRed);
    EXPECT_EQ(config.GetColorForValue(99.9, 0, 100), kRed);
}

TEST(GetColorForValue, BeyondAllNodesIsTheNearestNodes) {
    for (const bool interpolate : {true, false}) {
        Config config = with_nodes({{60, kBlue}, {20, kGreen}, {40, kRed}}, interpolate);
        EXPECT_EQ(config.GetColorForValue(10, 0, 100), kGreen);
        EXPECT_EQ(config.GetColorForValue(-1e9, 0, 100), kGreen);
        EXPECT_EQ(config.GetColorForValue(70, 0, 100), kBlue);
    }
}

TEST(GetColorForValue, KeepsTheEarlierOfEquallyNearNodes) {
    for (const bool interpolate : {true, false}) {
        Config config = with_nodes({{50, kRed}, {50, kGreen}}, interpolate);
        EXPECT_EQ(config.GetColorForValue(60, 0, 100), kRed);
        EXPECT_EQ(config.GetColorForValue(40, 0, 100), kRed);
        // To infinity all nodes are equally far.
        Config far = with_nodes({{10, kRed}, {50, kGreen}}, interpolate);
        EXPECT_EQ(far.GetColorForValue(kInfinity, 0, 100), kRed);
        EXPECT_EQ(far.GetColorForValue(-kInfinity, 0, 100), kRed);
    }
}

TEST(GetColorForValue, OfAnEmptyRangeIsNodeZerosUnlessAbsolute) {
    Config config = with_nodes({{10, kRed}, {0, kGreen}, {5, kBlue}});
    EXPECT_EQ(config.GetColorForValue(5, 7, 7), kRed);
    config.m_bAbsolute = true;
    EXPECT_EQ(config.GetColorForValue(5, 7, 7), kBlue);
    EXPECT_EQ(config.GetColorForValue(2.5, 7, 7), 0x008080u);
}

TEST(GetColorForValue, OfNothingComparableIsZero) {
    Config config = with_nodes({{10, kRed}, {0, kGreen}});
    EXPECT_EQ(config.GetColorForValue(kNaN, 0, 1), 0u);
    EXPECT_EQ(config.GetColorForValue(1, kNaN, 1), 0u);
}

TEST(GetColorForValue, AgreesWithTheReference) {
    Random random(11);
    for (int n = 0; n < 50000; ++n) {
        Config config;
        for (auto& node : config.sNodes)
            if (random(0, 3) != 0)
                node = {random(0, 60) * 2.5 - 20, random(0, 1) ? random.any() : kRed};
        config.m_bInterpolate = random(0, 1) != 0;
        config.m_bAbsolute = random(0, 1) != 0;
        const double lo = random(0, 4) * 10.0, hi = random(0, 8) * 10.0;
        const double value = random(0, 1) ? random(0, 40) * 5.0 - 50 : random(0, 1000) / 7.0;
        ASSERT_EQ(config.GetColorForValue(value, lo, hi), value_reference(config, value, lo, hi))
            << value << " of " << lo << " to " << hi;
    }
}

// ----- From node to node -------------------------------------------------------------------------

TEST(RecalculateGradientColors, WithoutNodesDoesNothing) {
    EXPECT_EQ(blended({}, 0, 1), Table(256, kUntouched));
    EXPECT_EQ(blended({}, 0, 1, false), Table(256, kUntouched));
    EXPECT_EQ(stepped({}, 0, 1), Table(256, kUntouched));
}

TEST(RecalculateGradientColors, BringsEveryBlendToFullBrightness) {
    const Table table = blended({{0, 0x000000}, {1, 0x808080}}, 0, 1);
    EXPECT_EQ(table[0], 0u);  // black has nothing to brighten
    EXPECT_EQ(table[1], 0u);  // 128 / 255 is cut to 0
    for (size_t x = 2; x < 255; ++x) EXPECT_EQ(table[x], 0xFFFFFFu) << x;
    EXPECT_EQ(table[255], 0x808080u);  // the last node as it stands
    // At a node between too, from either side.
    EXPECT_EQ(blended({{0, kRed}, {0.5, 0x400000}, {1, kRed}}, 0, 1)[127], kRed);
}

TEST(RecalculateGradientColors, HandsTheWordsOverAsTheyStand) {
    const Table table = blended({{0, 0x2040C0}, {1, 0x80FF10}}, 0, 1);
    for (int x = 0; x < 255; ++x)
        ASSERT_EQ(table[static_cast<size_t>(x)], Api::CalcColor(0x2040C0, 0x80FF10, 255, x));
    EXPECT_EQ(table[255], 0x80FF10u);
}

TEST(RecalculateGradientColors, LeavesWhatLiesBeforeTheFirstNode) {
    const Table table = blended({{0.5, kRed}, {0.75, kBlue}}, 0, 1);
    Table wanted(256, kUntouched);  // nodes at 127.5 and 191.25
    for (int x = 127; x <= 191; ++x)
        wanted[static_cast<size_t>(x)] = Api::CalcColor(kRed, kBlue, 64, x - 127);
    fill(wanted, 191, 255, kBlue);
    EXPECT_EQ(table, wanted);
}

TEST(RecalculateGradientColors, OfOneNodeFillsUpToTheEnd) {
    Table wanted(256, kUntouched);
    fill(wanted, 127, 255, 0xAB123456);
    EXPECT_EQ(blended({{0.5, 0xAB123456}}, 0, 1), wanted);
    EXPECT_EQ(blended({{-3, 0xAB123456}}, 0, 1), Table(256, 0xAB123456));
    EXPECT_EQ(blended({{1.1, 0xAB123456}}, 0, 1), Table(256, kUntouched));
    EXPECT_EQ(stepped({{0.5, 0xAB123456}}, 0, 1), Table(256, kUntouched));  // it is the last
}

TEST(RecalculateGradientColors, MovesCrowdedNodesApart) {
    const Table table = blended({{0, 1}, {0.001, 2}, {0.002, 3}, {1, 4}}, 0, 1, false);
    Table wanted(256, 0);
    fill(wanted, 0, 0, 1);  // entries 0, 1, 2 and 255, each up to the next
    fill(wanted, 1, 1, 2);
    fill(wanted, 2, 254, 3);
    fill(wanted, 255, 255, 4);
    EXPECT_EQ(table, wanted);
    // At the end they run out of the table.
    EXPECT_EQ(blended({{0, 1}, {1, 2}, {1.0001, 3}, {1.0002, 4}}, 0, 1, false)[255], 2u);
}

TEST(RecalculateGradientColors, WithoutBlendIsTheLowerNodesColour) {
    Table wanted(256, 0);
    fill(wanted, 0, 126, 0xAB000001);
    fill(wanted, 127, 254, 0xAB000002);
    fill(wanted, 255, 255, 0xAB000003);
    EXPECT_EQ(blended({{0, 0xAB000001}, {0.5, 0xAB000002}, {1, 0xAB000003}}, 0, 1, false), wanted);
}

TEST(RecalculateGradientColors, TakesNodesOutsideForWhatIsInside) {
    const Table table = blended({{-1, kRed}, {2, kBlue}}, 0, 1);
    for (int x = 0; x < 256; ++x)
        ASSERT_EQ(table[static_cast<size_t>(x)], Api::CalcColor(kRed, kBlue, 765, x + 255));
    // Nearly as far as numbers go, and further.
    EXPECT_EQ(blended({{-1e300, kRed}, {1e300, kRed}}, 0, 1), Table(256, kRed));
    EXPECT_EQ(blended({{-kInfinity, kRed}, {kInfinity, kRed}}, 0, 1), Table(256, kRed));
}

TEST(RecalculateGradientColors, OfAnEmptyRangeStandsAtTheFirstEntries) {
    EXPECT_EQ(blended({{5, kRed}}, 5, 5), Table(256, kRed));  // 0 / 0
    EXPECT_EQ(blended({{6, kRed}}, 5, 5), Table(256, kUntouched));
}

TEST(RecalculateGradientColors, AgreesWithTheReference) {
    Random random(12);
    for (int n = 0; n < 3000; ++n) {
        Map nodes;
        for (uint32_t count = random(0, 12); count > 0; --count)
            nodes[random(0, 1) ? random(0, 60) * 2.5 - 20 : random(0, 100000) / 1000.0] =
                random.any();
        const double lo = random(0, 4) * 10.0, hi = lo + random(0, 8) * 10.0 - 10;
        const Table before(256, kUntouched);
        for (const bool blend : {true, false})
            ASSERT_EQ(blended(nodes, lo, hi, blend),
                      blended_reference(nodes, lo, hi, blend, before))
                << n;
        ASSERT_EQ(stepped(nodes, lo, hi), stepped_reference(nodes, lo, hi, before)) << n;
    }
}

// ----- In steps ----------------------------------------------------------------------------------

TEST(RecalculateGradientColorsNoInterpolate, NeverShowsTheLastNodesColour) {
    EXPECT_EQ(stepped({{0, 1}, {1, 2}}, 0, 1), Table(256, 1));
    Table wanted(256, 1);
    fill(wanted, 128, 255, 2);  // the entry of the second node, 127, is still the first's
    EXPECT_EQ(stepped({{0, 1}, {0.5, 2}, {1, 3}}, 0, 1), wanted);
}

TEST(RecalculateGradientColorsNoInterpolate, BeginsAtEntryZeroAndEndsAtTheLastNode) {
    Table wanted(256, kUntouched);
    fill(wanted, 0, 191, 1);
    EXPECT_EQ(stepped({{0.5, 1}, {0.75, 2}}, 0, 1), wanted);
}

TEST(RecalculateGradientColorsNoInterpolate, SkipsNodesThatHaveNoEntryLeft) {
    Table wanted(256, 1);
    fill(wanted, 26, 255, 4);
    EXPECT_EQ(stepped({{0, 1}, {0.1, 2}, {0.1001, 3}, {0.1002, 4}, {1, 5}}, 0, 1), wanted);
    EXPECT_EQ(stepped({{-3, 1}, {-2, 2}, {1, 3}}, 0, 1), Table(256, 2));
}

// ----- Tables of a configuration -----------------------------------------------------------------

TEST(GetTabColorsFromConfig, WithoutNodesInsideLeavesTheTable) {
    EXPECT_EQ(table_of(Config(), 0, 100), Table(256, kUntouched));
    EXPECT_EQ(table_of(with_nodes({{-1, kRed}, {101, kBlue}}), 0, 100), Table(256, kUntouched));
    EXPECT_EQ(table_of(with_nodes({{50, kRed}}), 100, 0), Table(256, kUntouched));
}

TEST(GetTabColorsFromConfig, AddsNodesOfTheNearestColourAtTheEnds) {
    Config config;
    for (int n = 0; n < 10; ++n)
        config.sNodes[n] = {10.0 * (n + 1), 0x010203u * static_cast<unsigned>(n + 1)};
    const Table table = table_of(config, 0, 100);
    EXPECT_EQ(table[0], Api::CalcColor(0x010203, 0x010203, 25, 0));
    EXPECT_EQ(table, blended({{0, 0x010203},
                              {10, 0x010203},
                              {20, 0x020406},
                              {30, 0x030609},
                              {40, 0x04080C},
                              {50, 0x050A0F},
                              {60, 0x060C12},
                              {70, 0x070E15},
                              {80, 0x081018},
                              {90, 0x09121B},
                              {100, 0x0A141E}},
                             0, 100));
    EXPECT_EQ(table[255], 0x0A141Eu);
    // A node at one end alone.
    EXPECT_EQ(table_of(with_nodes({{0, kRed}}), 0, 100), blended({{0, kRed}, {100, kRed}}, 0, 100));
    EXPECT_EQ(table_of(with_nodes({{30, kRed}}), 0, 100), Table(256, kRed));
}

TEST(GetTabColorsFromConfig, BlendsTheEndsWithNodesOutsideWithoutNormalising) {
    // From -50 and from 150, of two each the nearest: 50 of 75 and of 100 parts.
    const Config config = with_nodes(
        {{25, 0x400000}, {-50, 0x000040}, {-80, 1}, {50, 0x404040}, {150, 0x200000}, {180, 2}});
    const uint32_t low = Api::CalcColorEx(0x000040, 0x400000, 100, 67),
                   high = Api::CalcColorEx(0x404040, 0x200000, 100, 50);
    const Table table = table_of(config, 0, 100);
    EXPECT_EQ(table, blended({{0, low}, {25, 0x400000}, {50, 0x404040}, {100, high}}, 0, 100));
    EXPECT_EQ(table[255], high);
    EXPECT_LT(high & 255, 0x80u);  // as dark as its nodes
}

TEST(GetTabColorsFromConfig, WithoutInterpolationEndsHaveTheNearestColourInside) {
    const Config config = with_nodes({{25, 1}, {-50, 7}, {50, 2}, {150, 9}}, false);
    EXPECT_EQ(table_of(config, 0, 100), stepped({{0, 1}, {25, 1}, {50, 2}, {100, 2}}, 0, 100));
    // The added node is the last, so that the last node inside is seen.
    EXPECT_EQ(table_of(config, 0, 100)[255], 2u);
    EXPECT_EQ(table_of(with_nodes({{0, 1}, {50, 2}, {100, 3}}, false), 0, 100)[255], 2u);
}

TEST(GetTabColorsFromConfig, MovesTheLaterOfTwoNodesUp) {
    const Config config = with_nodes({{0, 1}, {50, 2}, {50, 3}, {50, 4}, {100, 5}});
    EXPECT_EQ(
        table_of(config, 0, 100),
        blended({{0, 1}, {50, 2}, {50 + 0.001, 3}, {50 + 0.001 + 0.001, 4}, {100, 5}}, 0, 100));
    const Config steps = with_nodes({{0, 1}, {50, 2}, {50, 3}, {50, 4}, {100, 5}}, false);
    EXPECT_EQ(table_of(steps, 0, 100)[128], 4u);
    // In fine ranges it is seen: 0.001 of 0.01 is 25 entries.
    EXPECT_EQ(table_of(with_nodes({{0, 1}, {0, 2}, {0.01, 3}}, false), 0, 0.01),
              stepped({{0, 1}, {0.001, 2}, {0.01, 3}}, 0, 0.01));
}

TEST(GetTabColorsFromConfig, MovesANodeOutOfTheRangeButNeverReplacesIt) {
    // To 1.001, behind which none is added at 1, where one stands.
    EXPECT_EQ(table_of(with_nodes({{0, kRed}, {1, kGreen}, {1, kBlue}}), 0, 1),
              blended({{0, kRed}, {1, kGreen}, {1.001, kBlue}}, 0, 1));
    EXPECT_EQ(table_of(with_nodes({{0, kRed}, {1, kGreen}, {1, kBlue}}, false), 0, 1),
              stepped({{0, kRed}, {1, kGreen}, {1.001, kBlue}}, 0, 1));
    // One is added at 0.0005, between the two.
    EXPECT_EQ(table_of(with_nodes({{0, kRed}, {0, kBlue}}), 0, 0.0005),
              blended({{0, kRed}, {0.0005, kBlue}, {0.001, kBlue}}, 0, 0.0005));
    // The third finds the place behind the range taken, and takes it.
    EXPECT_EQ(table_of(with_nodes({{0, kRed}, {0, kBlue}, {0, kGreen}}), 0, 0.0005),
              blended({{0, kRed}, {0.0005, kGreen}, {0.001, kGreen}}, 0, 0.0005));
}

TEST(GetTabColorsFromConfig, BlendsBackwardsFromANodeThatWasMovedOut) {
    // The second node comes to 0.0013, and (1 - 1.3) / (11.3 - 1.3) is -3 percent.
    const Config config = with_nodes({{0.0003, kRed}, {0.0003, 0x204060}, {0.0113, 0xC0A020}});
    const uint32_t end = Api::CalcColorEx(0x204060, 0xC0A020, 100, -3);
    EXPECT_EQ(
        table_of(config, 0, 0.001),
        blended({{0, kRed}, {0.0003, kRed}, {0.001, end}, {0.0003 + 0.001, 0x204060}}, 0, 0.001));
}

TEST(GetTabColorsFromConfig, ComesToAnEndWhereStepsAreTooSmall) {
    EXPECT_EQ(table_of(with_nodes({{1e17, kRed}, {1e17, kBlue}}), 1e17, 2e17),
              blended({{1e17, kBlue}, {2e17, kBlue}}, 1e17, 2e17));
    EXPECT_EQ(table_of(with_nodes({{kInfinity, kRed}, {kInfinity, kBlue}}), 0, kInfinity)[0],
              kBlue);
}

TEST(GetTabColorsFromConfig, KeepsTheEarlierOfTwoNodesOutside) {
    const Config config = with_nodes({{-10, kRed}, {-10, kBlue}, {10, kGreen}});
    EXPECT_EQ(table_of(config, 0, 10),
              blended({{0, Api::CalcColorEx(kRed, kGreen, 100, 50)}, {10, kGreen}}, 0, 10));
    const Config upper = with_nodes({{0, kGreen}, {20, kRed}, {20, kBlue}});
    EXPECT_EQ(table_of(upper, 0, 10),
              blended({{0, kGreen}, {10, Api::CalcColorEx(kGreen, kRed, 100, 50)}}, 0, 10));
}

TEST(GetTabColorsFromConfig, ComparesPositionsAsTheyStand) {
    Config config = with_nodes({{10, kRed}, {20, kBlue}});
    const Table table = table_of(config, 10, 20);
    config.m_bAbsolute = config.m_bSymmetric = true;
    config.m_dCenter = 15;
    EXPECT_EQ(table_of(config, 10, 20), table);
}

TEST(GetTabColorsFromConfig, AgreesWithTheReference) {
    Random random(13);
    for (int n = 0; n < 4000; ++n) {
        Config config;
        const uint32_t kind = random(0, 2);
        for (auto& node : config.sNodes)
            if (random(0, 3) != 0)
                node = {kind == 0   ? random(0, 60) * 2.5 - 20
                        : kind == 1 ? random(0, 8) * 0.0005
                                    : random(0, 140000) / 1000.0 - 20,
                        random.any()};
        config.m_bInterpolate = random(0, 1) != 0;
        const double unit = kind == 1 ? 0.001 : 10;
        const double lo = random(0, 4) * unit, hi = lo + random(0, 8) * unit;
        ASSERT_EQ(table_of(config, lo, hi), table_reference(config, lo, hi)) << n;
    }
}

TEST(GetTabColorsFromConfig, AllocatesNothing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Config config;
    for (int n = 0; n < 10; ++n) config.sNodes[n] = {10.0 * (n + 1), 0x123456u};
    Table colours(256);
    const FailingAlloc memory(1, FailingAlloc::kFromThenOn);
    Config::GetTabColorsFromConfig(&config, colours.data(), 15, 85);
    config.GetColorForValue(5, 0, 10);
    EXPECT_EQ(memory.seen(), 0u);
}

// ----- List --------------------------------------------------------------------------------------

class GradientList : public testing::Test {
  protected:
    GradientList() { Configs::Free(); }
    ~GradientList() override { Configs::Free(); }
    static void add(const wchar_t* name, double center = 0) {
        Config config;
        config.m_sName = name;
        config.m_dCenter = center;
        EXPECT_EQ(Configs::AddGradientConfig(&config), QM_OK);
    }
    static std::wstring names() {
        std::wstring all;
        for (unsigned i = 0; i < Configs::GetCount(); ++i)
            all += std::wstring(Configs::GetGradientConfig(i)->m_sName.c_str()) + L' ';
        return all;
    }
};

TEST_F(GradientList, IsEmptyAtFirst) {
    EXPECT_EQ(Configs::GetCount(), 0u);
    EXPECT_EQ(Configs::GetGradientConfig(0u), nullptr);
    EXPECT_EQ(Configs::GetGradientConfig(L"a"), nullptr);
    EXPECT_EQ(Configs::DeleteGradientConfig(0u), QM_BAD_BUFFER);
    Configs::Free();
}

TEST_F(GradientList, KeepsCopiesInOrder) {
    Config config = with_nodes({{10, kRed}});
    config.m_sName = L"first of all, with a name of some length";
    EXPECT_EQ(Configs::AddGradientConfig(&config), QM_OK);
    config.m_sName = L"second";
    config.sNodes[0].m_uiNodeColor = kBlue;
    EXPECT_EQ(Configs::AddGradientConfig(&config), QM_OK);
    ASSERT_EQ(Configs::GetCount(), 2u);
    const Config* const first = Configs::GetGradientConfig(0u);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->sNodes[0].m_uiNodeColor, kRed);
    EXPECT_EQ(first, Configs::GetGradientConfig(L"first of all, with a name of some length"));
    EXPECT_EQ(Configs::GetGradientConfig(1u), Configs::GetGradientConfig(L"second"));
    EXPECT_EQ(Configs::GetGradientConfig(2u), nullptr);
    EXPECT_EQ(Configs::AddGradientConfig(Configs::GetGradientConfig(0u)), QM_OK);  // its own
    EXPECT_EQ(first, Configs::GetGradientConfig(0u));
    EXPECT_EQ(Configs::GetCount(), 3u);
}

TEST_F(GradientList, RefusesNull) {
    EXPECT_EQ(Configs::AddGradientConfig(nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(Configs::GetCount(), 0u);
}

TEST_F(GradientList, DeletesByIndexAndTheFirstOfAName) {
    for (const wchar_t* name : {L"a", L"b", L"a", L"c"}) add(name, Configs::GetCount());
    EXPECT_EQ(Configs::GetGradientConfig(L"a")->m_dCenter, 0);
    wchar_t a[] = L"a", none[] = L"A";
    EXPECT_EQ(Configs::DeleteGradientConfig(none), QM_BAD_BUFFER);
    EXPECT_EQ(Configs::DeleteGradientConfig(a), QM_OK);
    EXPECT_EQ(names(), L"b a c ");
    EXPECT_EQ(Configs::GetGradientConfig(L"a")->m_dCenter, 2);
    EXPECT_EQ(Configs::DeleteGradientConfig(3u), QM_BAD_BUFFER);
    EXPECT_EQ(Configs::DeleteGradientConfig(2u), QM_OK);
    EXPECT_EQ(names(), L"b a ");
    EXPECT_EQ(Configs::DeleteGradientConfig(0u), QM_OK);
    EXPECT_EQ(Configs::DeleteGradientConfig(a), QM_OK);
    EXPECT_EQ(Configs::DeleteGradientConfig(a), QM_BAD_BUFFER);
    EXPECT_EQ(Configs::GetCount(), 0u);
}

TEST_F(GradientList, TakesNullForTheEmptyName) {
    add(L"a");
    EXPECT_EQ(Configs::GetGradientConfig(static_cast<const wchar_t*>(nullptr)), nullptr);
    add(L"");
    EXPECT_EQ(Configs::GetGradientConfig(static_cast<const wchar_t*>(nullptr)),
              Configs::GetGradientConfig(1u));
    EXPECT_EQ(Configs::DeleteGradientConfig(static_cast<wchar_t*>(nullptr)), QM_OK);
    EXPECT_EQ(names(), L"a ");
}

TEST_F(GradientList, IsSearchedWithoutMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const wchar_t* const name = L"a name that does not fit into the record itself";
    add(L"a");
    add(name);
    const FailingAlloc memory(1, FailingAlloc::kFromThenOn);
    const Config* const found = Configs::GetGradientConfig(name);
    EXPECT_EQ(memory.seen(), 0u);
    EXPECT_EQ(found, Configs::GetGradientConfig(1u));
}

}  // namespace
}  // namespace qmpic::test
