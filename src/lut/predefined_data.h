#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The predefined tables as they are written down: names, and what each table is made of.

namespace qmpic {

/// 256 entries of red, green, blue.
using ColourBytes = std::array<std::uint8_t, 768>;

/// A colour at an entry of a table.
struct Anchor {
    int entry, red, green, blue;
};

/// Straight lines from anchor to anchor, of which the first is at entry 0 and the last at 255;
/// halves are rounded up. Made by the compiler.
template <std::size_t count>
constexpr ColourBytes table_through(const std::array<Anchor, count>& anchors) {
    ColourBytes table{};
    for (std::size_t a = 0; a + 1 < count; ++a) {
        const Anchor &from = anchors[a], &to = anchors[a + 1];
        const int length = to.entry - from.entry;
        const auto on_line = [&](int first, int last, int x) {
            return static_cast<std::uint8_t>((2 * (first * (length - x) + last * x) + length) /
                                             (2 * length));
        };
        for (int x = 0; x <= length; ++x) {
            const std::size_t at = 3 * static_cast<std::size_t>(from.entry + x);
            table[at] = on_line(from.red, to.red, x);
            table[at + 1] = on_line(from.green, to.green, x);
            table[at + 2] = on_line(from.blue, to.blue, x);
        }
    }
    return table;
}

// Where a name promises heat or one hue no channel ever falls, so that lightness does not, either.
// In "Green Fire Blue" blue falls, slowly enough for the green that rises.

inline constexpr std::array kRainbow{Anchor{0, 120, 0, 220},   Anchor{40, 0, 0, 255},
                                     Anchor{88, 0, 255, 255},  Anchor{128, 0, 255, 0},
                                     Anchor{176, 255, 255, 0}, Anchor{216, 255, 128, 0},
                                     Anchor{255, 255, 0, 0}};
/// Metal that is heated: a dark glow, red, orange, yellow, white.
inline constexpr std::array kIron{Anchor{0, 40, 0, 0},       Anchor{1, 41, 0, 0},
                                  Anchor{72, 148, 0, 0},     Anchor{120, 220, 40, 0},
                                  Anchor{176, 255, 140, 0},  Anchor{224, 255, 225, 90},
                                  Anchor{255, 255, 255, 255}};
inline constexpr std::array kGreenFire{Anchor{0, 0, 0, 0}, Anchor{96, 0, 120, 0},
                                       Anchor{152, 30, 215, 0}, Anchor{208, 190, 255, 20},
                                       Anchor{255, 255, 255, 225}};
/// Green fire that rises from a blue ground.
inline constexpr std::array kGreenFireBlue{Anchor{0, 0, 0, 0},        Anchor{56, 0, 0, 150},
                                           Anchor{96, 0, 70, 150},    Anchor{152, 0, 170, 60},
                                           Anchor{192, 80, 235, 30},  Anchor{224, 220, 255, 70},
                                           Anchor{255, 255, 255, 230}};
/// Flames: red, orange, and a yellow tip.
inline constexpr std::array kRedFire{Anchor{0, 0, 0, 0}, Anchor{104, 200, 0, 0},
                                     Anchor{152, 255, 60, 0}, Anchor{208, 255, 180, 0},
                                     Anchor{255, 255, 255, 80}};
inline constexpr std::array kRedHot{Anchor{0, 0, 0, 0}, Anchor{144, 255, 0, 0},
                                    Anchor{208, 255, 140, 90}, Anchor{255, 255, 255, 255}};
inline constexpr std::array kMagentaHot{Anchor{0, 0, 0, 0}, Anchor{144, 255, 0, 255},
                                        Anchor{255, 255, 255, 255}};
inline constexpr std::array kBrown{Anchor{0, 0, 0, 0}, Anchor{96, 92, 48, 16},
                                   Anchor{176, 172, 108, 56}, Anchor{255, 250, 228, 196}};
inline constexpr std::array kLemonHot{Anchor{0, 0, 0, 0}, Anchor{144, 215, 235, 0},
                                      Anchor{192, 255, 250, 60}, Anchor{255, 255, 255, 255}};
inline constexpr std::array kYellowPale{Anchor{0, 0, 0, 0}, Anchor{112, 130, 118, 40},
                                        Anchor{192, 225, 212, 110}, Anchor{255, 255, 250, 200}};
/// Eight hues, each from dark to full: neighbouring values within a hue, and hues where they meet,
/// are told apart.
inline constexpr std::array kRainbowContrast{
    Anchor{0, 40, 0, 60},      Anchor{31, 170, 60, 255},  Anchor{32, 0, 0, 70},
    Anchor{63, 60, 100, 255},  Anchor{64, 0, 50, 70},     Anchor{95, 40, 220, 255},
    Anchor{96, 0, 60, 40},     Anchor{127, 40, 255, 170}, Anchor{128, 0, 70, 0},
    Anchor{159, 100, 255, 50}, Anchor{160, 80, 70, 0},    Anchor{191, 255, 240, 40},
    Anchor{192, 90, 40, 0},    Anchor{223, 255, 160, 40}, Anchor{224, 80, 0, 0},
    Anchor{255, 255, 40, 40}};
/// The farther from the middle, the brighter.
inline constexpr std::array kRedBelowGreenAbove{Anchor{0, 255, 0, 0}, Anchor{127, 70, 0, 0},
                                                Anchor{128, 0, 70, 0}, Anchor{255, 0, 255, 0}};
inline constexpr std::array kRedOrGreen{Anchor{0, 255, 0, 0}, Anchor{127, 255, 0, 0},
                                        Anchor{128, 0, 255, 0}, Anchor{255, 0, 255, 0}};
/// As on maps: deep and shallow sea, shore, lowland, hills, mountains, snow.
inline constexpr std::array kAltitude{
    Anchor{0, 8, 24, 88},      Anchor{56, 30, 100, 190},  Anchor{84, 150, 210, 240},
    Anchor{100, 50, 140, 70},  Anchor{136, 140, 190, 80}, Anchor{168, 235, 220, 140},
    Anchor{204, 170, 110, 60}, Anchor{228, 140, 100, 90}, Anchor{255, 255, 255, 255}};
inline constexpr std::array kMagentaHotter{Anchor{0, 0, 0, 0}, Anchor{80, 255, 0, 255},
                                           Anchor{255, 255, 255, 255}};
inline constexpr std::array kRedHotter{Anchor{0, 0, 0, 0}, Anchor{80, 255, 0, 0},
                                       Anchor{144, 255, 130, 80}, Anchor{208, 255, 255, 190},
                                       Anchor{255, 255, 255, 255}};
/// Blue sky, lighter toward the horizon, and the sun.
inline constexpr std::array kSunnyDay{Anchor{0, 10, 40, 120},     Anchor{80, 40, 130, 230},
                                      Anchor{152, 150, 215, 245}, Anchor{192, 245, 235, 170},
                                      Anchor{224, 255, 215, 50},  Anchor{255, 255, 245, 180}};

/// How one table of the list is made: from constant bytes, from the words of a gradient with nodes
/// at 10, 20 ... 100 percent, or, without either, by the code.
struct PredefinedTable {
    const wchar_t* name;
    const ColourBytes* bytes = nullptr;
    std::array<std::uint32_t, 10> gradient{};  ///< red in bits 16 to 23
};

inline constexpr std::size_t kPredefinedTables = 46, kFirstGradient = 19;
extern const std::array<PredefinedTable, kPredefinedTables> kPredefined;

}  // namespace qmpic
