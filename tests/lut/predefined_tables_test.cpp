#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "lut/predefined_lists.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PredefLuts.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/guarded_picture.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases(
    {}, {},
    {"SQmLut::CreatePredefLut", "SQmLut::CreatePredefLutEx", "SQmLut::CreatePredefLutFromLutParam",
     "SQmLut::CreatePredefSymmetricLutFromLutParam", "CQmPredefLUTs::CQmPredefLUTs",
     "CQmPredefLUTs::operator=", "CQmPredefLUTs::GetLUTEntryComp", "CQmPredefLUTs::GetLUTEntry",
     "CQmPredefLUTs::CreatePredefLUTTable", "CQmPredefLUTs::CreatePredefLUTTable2"});

using Luts = CQmPredefLUTs;

// ----- Sets as a user sees them ------------------------------------------------------------------

/// A set of colour shape, all its bytes 0x5A.
struct ColourSet : SQmLut {
    explicit ColourSet(uint32_t src_bits, uint32_t dst_bits = 8, uint32_t cells = 3,
                       uint32_t components = 1) {
        EXPECT_EQ(Alloc(*this, static_cast<uint8_t>(src_bits), static_cast<uint8_t>(components),
                        static_cast<uint8_t>(dst_bits), static_cast<uint8_t>(cells)),
                  QM_OK);
        std::memset(block(), 0x5A, bytes());
    }
    uint8_t* block() const {
        if (ucComponents == 1 && ucDstComponents == 1) return static_cast<uint8_t*>(pLuts);
        if (ucComponents == 1) return *static_cast<uint8_t**>(pLuts);
        return **static_cast<uint8_t***>(pLuts);
    }
    size_t bytes() const {
        return (size_t{ucComponents} * ucDstComponents * (ucDstBpc > 8 ? 2 : 1)) << ucSrcBpc;
    }
    uint32_t entries() const { return 1u << ucSrcBpc; }
    uint32_t cell(uint32_t i, uint32_t c) const {
        const uint8_t* const row = static_cast<uint8_t**>(pLuts)[i];
        return ucDstBpc > 8 ? row[2 * c] + 256u * row[2 * c + 1] : row[c];
    }
    bool is_untouched() const {
        return std::all_of(block(), block() + bytes(), [](int byte) { return byte == 0x5A; });
    }
    std::vector<uint8_t> content() const { return {block(), block() + bytes()}; }
};

/// A flat set of given values.
struct FlatSet : SQmLut {
    FlatSet(uint32_t src_bits, uint32_t dst_bits) {
        AllocSingle(*this, static_cast<uint8_t>(src_bits), static_cast<uint8_t>(dst_bits));
    }
    void set(uint32_t i, uint32_t value) {
        auto* const bytes = static_cast<uint8_t*>(pLuts);
        if (ucDstBpc <= 8) {
            bytes[i] = static_cast<uint8_t>(value);
        } else {
            bytes[2 * i] = static_cast<uint8_t>(value);
            bytes[2 * i + 1] = static_cast<uint8_t>(value >> 8);
        }
    }
    uint32_t byte(uint32_t i) const { return static_cast<uint8_t*>(pLuts)[i]; }
    uint32_t word(uint32_t i) const { return byte(2 * i) + 256 * byte(2 * i + 1); }
};

/// Puts a custom table in place whose entries tell their number, and puts back the old one.
struct Numbered {
    unsigned char old[768];
    Numbered() {
        Luts::GetCustomLUTs(old);
        unsigned char colors[768];
        for (int i = 0; i < 256; ++i) {
            colors[3 * i] = static_cast<unsigned char>(i);
            colors[3 * i + 1] = static_cast<unsigned char>(255 - i);
            colors[3 * i + 2] = static_cast<unsigned char>(i ^ 0x55);
        }
        SQmLut::SetCustomLut(colors);
    }
    ~Numbered() { SQmLut::SetCustomLut(old); }
};
constexpr int kCustom = 255;

/// A gradient in which neighbouring entries differ, as an extended table: index 46.
SQmGradientConfig many_nodes() {
    SQmGradientConfig config;
    for (size_t i = 0; i < 10; ++i)
        config.sNodes[i] = {static_cast<double>(i * i) * 1.2,
                            static_cast<uint32_t>(0x3060C1 * (i + 1) & 0xFFFFFF)};
    return config;
}

// ----- Single entries ----------------------------------------------------------------------------

TEST(PredefEntry, IsAByteOfAColour) {
    const PredefLuts luts;
    const unsigned char* const iron = SQmLut::GetPredefLut(2, true)->pColors;
    for (unsigned pos = 0; pos < 256; ++pos)
        for (unsigned comp = 0; comp < 3; ++comp)
            EXPECT_EQ(Luts::GetLUTEntryComp(2, pos, comp, 0, 0), iron[3 * pos + comp]);
    EXPECT_EQ(Luts::GetLUTEntryComp(2, 0, 0, 0, 0), 40);
    EXPECT_EQ(Luts::GetLUTEntryComp(2, 1, 0, 0, 0), 41);
    // Nothing is read beyond the table.
    EXPECT_EQ(Luts::GetLUTEntryComp(14, 256, 1, 0, 0), 255);
    EXPECT_EQ(Luts::GetLUTEntryComp(14, 0xFFFFFFFF, 1, 0, 0), 255);
    EXPECT_EQ(Luts::GetLUTEntryComp(14, 0, 3, 0, 0), 0);
    EXPECT_EQ(Luts::GetLUTEntryComp(14, 255, 0xFFFFFFFF, 0, 0), 0);
    // Beyond the tables there is "Default", before them nothing: greys.
    for (const int index : {0, 46, 1000, -1})
        for (unsigned comp = 0; comp < 3; ++comp)
            EXPECT_EQ(Luts::GetLUTEntryComp(index, 77, comp, 0, 0), 77);
    const NoPredefLuts none;
    for (const int index : {0, 2, 46})
        for (unsigned comp = 0; comp < 3; ++comp)
            EXPECT_EQ(Luts::GetLUTEntryComp(index, 77, comp, 0, 0), 77);
    EXPECT_EQ(Luts::GetLUTEntry(2, 128, 256, 0, 0), 0x808080u);
}

TEST(PredefEntry, FollowsTheCustomTableAtOnce) {
    const PredefLuts luts;
    EXPECT_EQ(Luts::GetLUTEntry(kCustom, 128, 256, 0.0, 0.0), 0x808080u);
    {
        const Numbered custom;
        for (unsigned v = 0; v < 256; ++v)
            EXPECT_EQ(Luts::GetLUTEntry(kCustom, v, 256, 0.0, 0.0),
                      v << 16 | (255 - v) << 8 | (v ^ 0x55));
        EXPECT_EQ(Luts::GetLUTEntryComp(kCustom, 3, 0, 0, 0), 3);
        EXPECT_EQ(Luts::GetLUTEntryComp(kCustom, 3, 1, 0, 0), 252);
        EXPECT_EQ(Luts::GetLUTEntryComp(kCustom, 3, 2, 0, 0), 0x56);
        // For all others 255 is an index beyond the tables.
        ColourSet set(8);
        EXPECT_EQ(SQmLut::CreatePredefLut(set, kCustom, 0, 0), QM_OK);
        EXPECT_EQ(set.cell(200, 1), 200u);
        const NoPredefLuts none;  // it needs no lists
        EXPECT_EQ(Luts::GetLUTEntry(kCustom, 1, 256, 0.0, 0.0), 0x01FE54u);
    }
    EXPECT_EQ(Luts::GetLUTEntry(kCustom, 128, 256, 0.0, 0.0), 0x808080u);
}

TEST(PredefEntry, StandsAtAPartOfTheRange) {
    const PredefLuts luts;
    const Numbered custom;
    const auto position = [](unsigned value, unsigned range) {
        return Luts::GetLUTEntry(kCustom, value, range, 0, 0) >> 16;
    };
    EXPECT_EQ(position(2048, 4096), 128u);
    EXPECT_EQ(position(4095, 4096), 255u);
    EXPECT_EQ(position(15, 4096), 0u);
    EXPECT_EQ(position(16, 4096), 1u);
    EXPECT_EQ(position(5, 7), 182u);        // 1280 / 7 = 182.86
    EXPECT_EQ(position(4096, 4096), 255u);  // 256 is no entry
    EXPECT_EQ(position(9000, 4096), 255u);
    EXPECT_EQ(position(9000, 0), 0u);
    EXPECT_EQ(position(0x01000000, 0x10000), 0u);  // the product has 32 bits
    EXPECT_EQ(position(0x01000080, 0x100), 128u);
}

TEST(PredefEntry, IsWidened) {
    const PredefLuts luts;
    const Numbered custom;
    for (unsigned v = 0; v < 4096; v += 5)
        for (const unsigned range : {512u, 4096u, 65536u, 1000u, 100u}) {
            const uint64_t p = v / 16;
            const auto wide = [=](uint64_t byte) { return byte * range >> 8; };
            ASSERT_EQ(Luts::GetLUTEntry(kCustom, v, 4096, range, 0.0, 0.0),
                      wide(p) << 32 | wide(255 - p) << 16 | wide(p ^ 0x55));
        }
    // 255 in 16 bits is 65280.
    EXPECT_EQ(Luts::GetLUTEntry(kCustom, 255, 256, 65536, 0.0, 0.0), 0xFF000000AA00u);
    // A range of 256 has the packing of bytes.
    EXPECT_EQ(Luts::GetLUTEntry(kCustom, 255, 256, 256, 0.0, 0.0), 0xFF00AAu);
    EXPECT_EQ(Luts::GetLUTEntry(kCustom, 0, 0, 256, 0.0, 0.0), 0x00FF55u);
    EXPECT_EQ(Luts::GetLUTEntry(-1, 128, 256, 4096, 0.0, 0.0), 0x080008000800u);  // greys, too
}

TEST(PredefEntry, OfAnExtendedTableIsScaled) {
    const PredefLuts luts;
    SQmGradientConfig config = two_nodes(0, 300, true);
    SQmLut::InsertExtenedLut(0, L"x", &config);
    // 0 to 100 holds the first node only; of 0 to 600 the second one is in the middle.
    EXPECT_EQ(Luts::GetLUTEntry(46, 255, 256, 0, 0), 0x102030u);
    EXPECT_EQ(Luts::GetLUTEntry(46, 255, 256, 0, 600), 0xFFEEDDu);
    EXPECT_EQ(Luts::GetLUTEntry(46, 127, 256, 0, 600), 0x102030u);
    EXPECT_EQ(Luts::GetLUTEntryComp(46, 128, 1, 0, 600), 0xEE);
    EXPECT_EQ(Luts::GetLUTEntry(46, 255, 256, 512, 0, 600), 0x01FE01DC01BAu);
}

TEST(PredefEntry, ClassIsAssignedAndMoved) {
    Luts one, other;
    Luts& (Luts::*copy)(const Luts&) = &Luts::operator=;
    Luts& (Luts::*move)(Luts &&) = &Luts::operator=;
    EXPECT_EQ(&(one.*copy)(other), &one);
    EXPECT_EQ(&(one.*move)(std::move(other)), &one);
}

// ----- Sets filled evenly ------------------------------------------------------------------------

/// What each call of the four must do with a set of another shape.
template <class Create>
void expect_refusals(Create create) {
    struct {
        uint32_t src, dst, cells, components;
    } const shapes[] = {{8, 16, 3, 1}, {8, 12, 3, 1}, {8, 9, 3, 1}, {8, 7, 3, 1},
                        {8, 8, 1, 1},  {8, 8, 4, 1},  {8, 8, 2, 1}, {8, 8, 3, 2}};
    for (const auto& shape : shapes) {
        ColourSet set(shape.src, shape.dst, shape.cells, shape.components);
        EXPECT_EQ(create(set), QM_REJECTED) << shape.dst << " bits, " << shape.cells << " cells";
        EXPECT_TRUE(set.is_untouched());
    }
    SQmLut none;
    EXPECT_EQ(create(none), QM_REJECTED);
    none.ucDstComponents = 3;
    none.ucDstBpc = none.ucSrcBpc = 8;
    none.ucComponents = 1;
    EXPECT_EQ(create(none), QM_REJECTED);

    const NoPredefLuts no_lists;
    ColourSet set(8);
    EXPECT_EQ(create(set), QM_BAD_BUFFER);
    EXPECT_TRUE(set.is_untouched());
}

TEST(CreatePredefLut, SpreadsTheColoursOverTheEntries) {
    const PredefLuts luts;
    SQmGradientConfig config = many_nodes();
    SQmLut::InsertExtenedLut(0, L"x", &config);
    for (const uint32_t bits : {0u, 1u, 5u, 7u, 8u, 10u, 12u, 16u})
        for (const uint32_t index : {0u, 1u, 2u, 12u, 31u, 46u, 47u}) {
            ColourSet set(bits);
            ASSERT_EQ(SQmLut::CreatePredefLut(set, index, 0.0, 0.0), QM_OK);
            const unsigned char* const colors =
                SQmLut::GetPredefLut(static_cast<int>(index), true)->pColors;
            for (uint32_t i = 0; i < set.entries(); ++i)
                for (uint32_t c = 0; c < 3; ++c)
                    ASSERT_EQ(set.cell(i, c), colors[3 * (i * 256 / set.entries()) + 2 - c])
                        << bits << " bits, entry " << i;
        }
    expect_refusals([](SQmLut& set) { return SQmLut::CreatePredefLut(set, 2, 0, 0); });
    ColourSet set(8);
    for (const uint32_t index : {0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(SQmLut::CreatePredefLut(set, index, 0, 0), QM_BAD_BUFFER);
        EXPECT_TRUE(set.is_untouched());
    }
}

TEST(CreatePredefLut, AsksForTheRange) {
    const PredefLuts luts;
    SQmGradientConfig config = two_nodes(0, 300, true);
    SQmLut::InsertExtenedLut(0, L"x", &config);
    ColourSet set(8);
    EXPECT_EQ(SQmLut::CreatePredefLut(set, 46, 0, 600), QM_OK);
    EXPECT_EQ(set.cell(127, 0), 0x30u);
    EXPECT_EQ(set.cell(128, 0), 0xDDu);
    EXPECT_EQ(set.cell(128, 2), 0xFFu);
    EXPECT_EQ(SQmLut::CreatePredefLut(set, 46, 0, 0), QM_OK);
    EXPECT_EQ(set.cell(128, 0), 0x30u);
    // A range that is no number, before any other: no table.
    SQmLut::FreeExtenedLuts();
    SQmLut::InsertExtenedLut(0, L"x", &config);
    const auto before = set.content();
    EXPECT_EQ(SQmLut::CreatePredefLut(set, 46, 0, INFINITY), QM_BAD_BUFFER);
    EXPECT_EQ(set.content(), before);
}

TEST(CreatePredefLutEx, FindsThePredefinedTableByItsNumber) {
    const PredefLuts luts;
    SQmGradientConfig config = two_nodes(0, 50);
    SQmLut::InsertExtenedLut(0, L"x", &config);
    const auto id = [](uint32_t number) { return static_cast<SQmLut::EQmPredefLut>(number); };
    for (const uint32_t number : {0u, 12u, 18u, 45u}) {
        ColourSet set(10), same(10);
        EXPECT_EQ(SQmLut::CreatePredefLutEx(set, id(number), 0, 0, 5), QM_OK);
        EXPECT_EQ(SQmLut::CreatePredefLut(same, number, 0, 0), QM_OK);
        EXPECT_EQ(set.content(), same.content());
    }
    ColourSet set(8);
    EXPECT_EQ(SQmLut::CreatePredefLutEx(set, id(46), 0, 0, 0), QM_BAD_BUFFER);  // not extended ones
    EXPECT_EQ(SQmLut::CreatePredefLutEx(set, id(kCustom), 0, 0, 0), QM_BAD_BUFFER);
    EXPECT_TRUE(set.is_untouched());
    expect_refusals([&](SQmLut& lut) { return SQmLut::CreatePredefLutEx(lut, id(2), 0, 0, 0); });

    // The number counts, not the place, and colours must be there.
    auto& list = *SQmLut::vecPredefLuts;
    std::swap(list[2], list[3]);
    ColourSet same(8);
    EXPECT_EQ(SQmLut::CreatePredefLutEx(set, SQmLut::PredefLutIron, 0, 0, 0), QM_OK);
    std::swap(list[2], list[3]);
    EXPECT_EQ(SQmLut::CreatePredefLut(same, 2, 0, 0), QM_OK);
    EXPECT_EQ(set.content(), same.content());
    unsigned char* const colors = std::exchange(list[2]->pColors, nullptr);
    EXPECT_EQ(SQmLut::CreatePredefLutEx(set, SQmLut::PredefLutIron, 0, 0, 0), QM_BAD_BUFFER);
    EXPECT_EQ(set.content(), same.content());
    list[2]->pColors = colors;
}

// ----- Sets filled by levels ---------------------------------------------------------------------

/// A table whose colours tell their number and which notes what it is asked for.
struct Asked : SQmLut::SQmExtendedLut {
    unsigned char colors[768];
    std::vector<std::pair<double, double>> ranges;
    bool symmetric;
    double centre;
    Asked(bool symmetric_, double centre_) : symmetric(symmetric_), centre(centre_) {
        for (int i = 0; i < 768; ++i) colors[i] = static_cast<unsigned char>(i / 3 ^ i % 3 * 85);
    }
    unsigned char* getLuts(double lo, double hi) override {
        ranges.emplace_back(lo, hi);
        return colors;
    }
    bool isSymmetric(double* center) override {
        if (symmetric && center != nullptr) *center = centre;
        return symmetric;
    }
    /// Puts it at index 46; FreeExtenedLuts takes it away again.
    static Asked& put(bool symmetric, double centre) {
        SQmLut::FreeExtenedLuts();
        auto* const table = new Asked(symmetric, centre);
        SQmLut::vecExtendedLuts->push_back(table);
        return *table;
    }
};

/// Which colours stand in a set.
std::vector<int> colours_in(const ColourSet& set) {
    std::vector<int> numbers;
    for (uint32_t i = 0; i < set.entries(); ++i) {
        const uint32_t number = set.cell(i, 2);
        EXPECT_EQ(set.cell(i, 1), number ^ 85);
        EXPECT_EQ(set.cell(i, 0), number ^ 170);
        numbers.push_back(static_cast<int>(number));
    }
    return numbers;
}

std::unique_ptr<SQmLutParam> levels(uint32_t low, uint32_t high, double gamma) {
    auto param = std::make_unique<SQmLutParam>();
    param->uiMinSrc = static_cast<uint16_t>(low);
    param->uiMaxSrc = static_cast<uint16_t>(high);
    param->dGammaSrc = gamma;
    param->uiGradient = 46;
    return param;
}

double limited(double value, double top) {
    if (std::isnan(value) || value < 0) return 0;
    return value > top ? top : value;
}

/// The plain form, from its description.
std::vector<int> expected_between(const SQmLutParam& p, uint32_t bits) {
    const double m = std::pow(2, bits);
    const double s = p.GetMinSrcDbl(0) * m, w = (p.GetMaxSrcDbl(0) - p.GetMinSrcDbl(0)) * m;
    std::vector<int> expected;
    for (int i = 0; i < 1 << bits; ++i) {
        if (p.GetGammaSrc(0) == 1.0)
            expected.push_back(static_cast<int>(limited((i - s) / w * 256, 255)));
        else if (i < std::floor(s))
            expected.push_back(0);
        else if (i > std::floor(p.GetMaxSrcDbl(0) * m))
            expected.push_back(255);
        else
            expected.push_back(
                static_cast<int>(limited(std::pow((i - s) / w, p.GetGammaSrc(0)) * 256, 255)));
    }
    return expected;
}

/// The symmetric form, from its description.
std::vector<int> expected_around(const SQmLutParam& p, uint32_t bits, double c) {
    const int n = 1 << bits;
    const double m = n, h = std::max(n / 2 - 1, 0), gamma = p.GetGammaSrc(0);
    const double g0 = p.GetMinSrcDbl(), g1 = p.GetMaxSrcDbl();
    const double f = (c - g0) / (g1 - g0), a = p.GetMinSrcDbl(0), b = p.GetMaxSrcDbl(0);
    const double d = (f - a + b - f) * 0.5;
    const double l0 = std::min(f, f - d), l1 = std::min(f, f + d);
    const double u0 = std::max(f, f - d), u1 = std::max(f, f + d);
    const double e = limited(m * l1, m);
    const double s = std::floor(limited(m * u0, m)), v = std::floor(limited(m * u1, m));
    std::vector<int> expected;
    for (int i = 0; i < n; ++i) {
        int k = 0;
        if (i < std::floor(e)) {
            k = static_cast<int>(
                limited(std::pow((i - m * l0) / ((l1 - l0) * m), 1 / gamma) * m * 0.5, h));
        } else if (i > v) {
            k = n - 1;
        } else if (i >= s) {
            k = static_cast<int>(n / 2 +
                                 limited(std::pow((i - s) / ((u1 - u0) * m), gamma) * m * 0.5, h));
        }
        expected.push_back(static_cast<int>(int64_t{k} * 256 / n));
    }
    return expected;
}

TEST(CreatePredefLutFromLutParam, LaysTheColoursBetweenTheLevels) {
    const PredefLuts luts;
    Asked::put(false, 0);
    ColourSet set(8);
    // 64 and 192 of 256, but for the fraction of 65535.
    const auto param = levels(16384, 49152, 1.0);
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    const auto linear = colours_in(set);
    EXPECT_EQ(linear[0], 0);
    EXPECT_EQ(linear[64], 0);
    EXPECT_EQ(linear[65], 1);
    EXPECT_EQ(linear[128], 127);
    EXPECT_EQ(linear[191], 253);
    EXPECT_EQ(linear[193], 255);
    EXPECT_EQ(linear[255], 255);
    EXPECT_EQ(linear, expected_between(*param, 8));
    // Nearly 1 is not 1: entries below the level's and above it have their own rule.
    param->dGammaSrc = 2.0;
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    const auto squared = colours_in(set);
    EXPECT_EQ(squared[64], 0);
    EXPECT_EQ(squared[128], 63);  // (63.999 / 128)^2 x 256
    EXPECT_EQ(squared[193], 255);
    EXPECT_EQ(squared, expected_between(*param, 8));
}

TEST(CreatePredefLutFromLutParam, TakesTheLinearPathForAGammaOfExactlyOne) {
    const PredefLuts luts;
    Asked::put(false, 0);
    ColourSet set(4);
    // The levels fall, 12 to 4: on the linear path the colours fall with them; else entries below
    // 12 have the first colour.
    const auto param = levels(49151, 16384, 1.0);
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(colours_in(set)[0], 255);
    EXPECT_EQ(colours_in(set)[8], 128);  // (8 - 11.99994) / -7.99988 is a half
    EXPECT_EQ(colours_in(set)[15], 0);
    EXPECT_EQ(colours_in(set), expected_between(*param, 4));
    param->dGammaSrc = std::nextafter(1.0, 2.0);
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(colours_in(set)[0], 0);
    EXPECT_EQ(colours_in(set)[8], 0);
    EXPECT_EQ(colours_in(set)[15], 255);
    EXPECT_EQ(colours_in(set), expected_between(*param, 4));
    // A component's gamma counts, multiplied with the global one.
    param->dGammaSrc = 2.0;
    param->sCompLutParam[0].dGammaSrc = 0.5;
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(colours_in(set)[0], 255);
}

TEST(CreatePredefLutFromLutParam, HasStepsForEqualLevels) {
    const PredefLuts luts;
    Asked::put(false, 0);
    ColourSet set(8);
    const auto param = levels(0, 0, 1.0);
    for (const double gamma : {1.0, 0.5}) {
        param->dGammaSrc = gamma;
        ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
        EXPECT_EQ(colours_in(set)[0], 0);  // 0 / 0
        EXPECT_EQ(colours_in(set)[1], 255);
        EXPECT_EQ(colours_in(set)[255], 255);
    }
}

TEST(CreatePredefLutFromLutParam, AsksForTheLevelsInTheGlobalRange) {
    const PredefLuts luts;
    Asked& table = Asked::put(false, 0);
    ColourSet set(8);
    const auto param = levels(13107, 52428, 1.0);  // a fifth and four fifths of 65535
    param->sCompLutParam[0].uiMinSrc = 13107;
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    ASSERT_EQ(table.ranges.size(), 1u);
    // A level of 0.2 + 0.6 x 0.2 = 0.32 lies at 0.32 x 0.6 + 0.2 once more.
    EXPECT_NEAR(table.ranges[0].first, 0.392, 1e-12);
    EXPECT_NEAR(table.ranges[0].second, 0.68, 1e-12);
    // In sample units for float pictures.
    param->bFloat = true;
    param->fMinSrc = -10;
    param->fMaxSrc = 30;
    param->sCompLutParam[0].fMinSrc = 0.25f;
    param->sCompLutParam[0].fMaxSrc = 0.5f;
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(table.ranges[1], (std::pair<double, double>{0, 10}));
}

TEST(CreatePredefLutFromLutParam, IsTheDescription) {
    const PredefLuts luts;
    Asked::put(false, 0);
    Random random(1);
    for (int round = 0; round < 300; ++round) {
        const uint32_t bits = random(0, 11) == 0 ? 16 : random(0, 12);
        const auto param =
            levels(random(0, 65535), random(0, 65535), random.one_of({1.0, 0.45, 2.2, 0.1, 3.0}));
        if (random(0, 1) != 0) {
            param->sCompLutParam[0].uiMinSrc = static_cast<uint16_t>(random(0, 65535));
            param->sCompLutParam[0].uiMaxSrc = static_cast<uint16_t>(random(0, 65535));
            param->sCompLutParam[0].dGammaSrc = random.one_of({1.0, 0.7});
        }
        ColourSet set(bits);
        ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
        ASSERT_EQ(colours_in(set), expected_between(*param, bits)) << "round " << round;
    }
    const auto param = levels(0, 65535, 1.0);
    const auto of_null = [](SQmLut& lut) {
        return SQmLut::CreatePredefLutFromLutParam(lut, nullptr);
    };
    expect_refusals(
        [&](SQmLut& lut) { return SQmLut::CreatePredefLutFromLutParam(lut, param.get()); });
    expect_refusals(of_null);
    ColourSet set(8);
    EXPECT_EQ(of_null(set), QM_BAD_BUFFER);
    param->uiGradient = 0xFFFFFFFF;
    EXPECT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_BAD_BUFFER);
    EXPECT_TRUE(set.is_untouched());
    param->uiGradient = 2;
    EXPECT_EQ(SQmLut::CreatePredefLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(set.cell(1, 2), 41u);
}

TEST(CreatePredefSymmetricLut, MirrorsGammaAtTheCentre) {
    const PredefLuts luts;
    Asked& table = Asked::put(true, 0.5);
    ColourSet set(8);
    const auto param = levels(0, 65535, 1.0);
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    auto colours = colours_in(set);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(colours[static_cast<size_t>(i)], i);
    ASSERT_EQ(table.ranges.size(), 1u);
    EXPECT_EQ(table.ranges[0], (std::pair<double, double>{0.0, 100.0}));
    // Gamma 2: above the centre (x / 128)^2 x 128, below it the square root of x / 128 x 128.
    param->dGammaSrc = 2.0;
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    colours = colours_in(set);
    EXPECT_EQ(colours[32], 64);
    EXPECT_EQ(colours[128], 128);
    EXPECT_EQ(colours[192], 128 + 32);
    EXPECT_EQ(colours[255], 128 + 126);  // 127^2 / 128 = 126.008
    param->dGammaSrc = 0.5;
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    colours = colours_in(set);
    EXPECT_EQ(colours[64], 32);
    EXPECT_EQ(colours[160], 128 + 64);
}

TEST(CreatePredefSymmetricLut, IsWhatSymmetricTablesGetFromTheOtherCall) {
    const PredefLuts luts;
    Asked& table = Asked::put(true, 0.4);
    ColourSet set(10), same(10);
    const auto param = levels(1000, 60000, 1.7);
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(same, param.get()), QM_OK);
    EXPECT_EQ(set.content(), same.content());
    EXPECT_EQ(table.ranges[1], (std::pair<double, double>{0.0, 100.0}));
    table.symmetric = false;  // asked for it all the same: about 0.0
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    EXPECT_EQ(colours_in(set), expected_around(*param, 10, 0.0));
    ASSERT_EQ(SQmLut::CreatePredefLutFromLutParam(same, param.get()), QM_OK);
    EXPECT_EQ(colours_in(same), expected_between(*param, 10));
}

TEST(CreatePredefSymmetricLut, MirrorsWhatLiesBelowTheStretchForAnEvenExponent) {
    const PredefLuts luts;
    Asked::put(true, 0.5);
    ColourSet set(8);
    const auto param = levels(0, 65535, 0.5);  // the exponent below is 2
    param->sCompLutParam[0].uiMaxSrc = 32768;  // a reach of a quarter: entries 64 to 192
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    auto colours = colours_in(set);
    EXPECT_EQ(colours[64], 0);
    EXPECT_EQ(colours[96], 32);
    EXPECT_EQ(colours[32], 31);  // (-31.999 / 64.001)^2 x 128
    EXPECT_EQ(colours[0], 127);
    EXPECT_EQ(colours[193], 255);
    param->dGammaSrc = 1.0;
    ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
    colours = colours_in(set);
    EXPECT_EQ(colours[0], 0);
    EXPECT_EQ(colours[32], 0);
}

TEST(CreatePredefSymmetricLut, IsTheDescription) {
    const PredefLuts luts;
    Random random(2);
    for (int round = 0; round < 400; ++round) {
        const uint32_t bits = random(0, 11) == 0 ? 16 : random(0, 12);
        const double centre = random.one_of({0.5, 0.0, 1.0, -0.3, 1.4, 0.2, 1e300, double(NAN)});
        Asked::put(true, centre);
        const auto param = levels(random(0, 65535), random(0, 65535),
                                  random.one_of({1.0, 0.45, 2.2, 0.5, 0.1, 3.0, 0.0}));
        if (random(0, 9) == 0) param->uiMaxSrc = param->uiMinSrc;
        if (random(0, 1) != 0) {
            param->sCompLutParam[0].uiMinSrc = static_cast<uint16_t>(random(0, 65535));
            param->sCompLutParam[0].uiMaxSrc = static_cast<uint16_t>(random(0, 65535));
        }
        if (random(0, 7) == 0) {
            param->bFloat = true;
            param->fMinSrc = -5;
            param->fMaxSrc = 7;
        }
        ColourSet set(bits);
        ASSERT_EQ(SQmLut::CreatePredefSymmetricLutFromLutParam(set, param.get()), QM_OK);
        ASSERT_EQ(colours_in(set), expected_around(*param, bits, centre)) << "round " << round;
    }
    const auto param = levels(0, 65535, 1.0);
    const auto of_null = [](SQmLut& lut) {
        return SQmLut::CreatePredefSymmetricLutFromLutParam(lut, nullptr);
    };
    expect_refusals([&](SQmLut& lut) {
        return SQmLut::CreatePredefSymmetricLutFromLutParam(lut, param.get());
    });
    expect_refusals(of_null);
    ColourSet set(8);
    EXPECT_EQ(of_null(set), QM_BAD_BUFFER);
    EXPECT_TRUE(set.is_untouched());
}

// ----- Sets behind a flat one --------------------------------------------------------------------

/// The cells of a colour, by the single look-ups.
void expect_row(const ColourSet& set, uint32_t i, int index, uint32_t value, uint32_t range,
                double lo, double hi) {
    uint64_t e;
    if (set.ucDstBpc == 8)
        e = Luts::GetLUTEntry(index, value, range, lo, hi);
    else
        e = Luts::GetLUTEntry(index, value, range, 1u << set.ucDstBpc, lo, hi);
    const uint32_t bits = set.ucDstBpc == 8 ? 8 : 16;
    for (uint32_t c = 0; c < 3; ++c, e >>= bits)
        ASSERT_EQ(set.cell(i, c), e & ((1u << bits) - 1)) << "entry " << i << ", cell " << c;
}

TEST(CreatePredefLUTTable, SendsValuesThroughAColourTable) {
    const PredefLuts luts;
    const Numbered custom;
    // 12 bits to bytes: values of 10 bits.
    ColourSet set(12);
    FlatSet src(12, 10);
    for (uint32_t i = 0; i < 4096; ++i) src.set(i, i / 4);
    Luts::CreatePredefLUTTable(set, src, kCustom, 0, 0);
    for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(set.cell(i, 2), i / 16);
    EXPECT_EQ(set.cell(4095, 1), 0u);
    EXPECT_EQ(set.cell(4095, 0), 255u ^ 0x55);
    // 12 bits to 12: values of 12 bits, cells are the bytes times 16.
    ColourSet wide(12, 12);
    FlatSet words(12, 12);
    for (uint32_t i = 0; i < 4096; ++i) words.set(i, i);
    Luts::CreatePredefLUTTable(wide, words, kCustom, 0, 0);
    for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(wide.cell(i, 2), i / 16 * 16);
}

TEST(CreatePredefLUTTable, ReadsTheSourceByItsEntriesForWideCells) {
    const PredefLuts luts;
    const Numbered custom;
    // 8 source bits: the words of the flat set are read as bytes, of a range of 256.
    ColourSet wide(8, 12);
    FlatSet words(8, 12);
    for (uint32_t i = 0; i < 256; ++i) words.set(i, 0x0A00 + i);
    Luts::CreatePredefLUTTable(wide, words, kCustom, 0, 0);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(wide.cell(i, 2), (i % 2 ? 0x0Au : i / 2) * 16);
    // The same set with cells of 8 bits: words of a range of 4096.
    ColourSet set(8);
    Luts::CreatePredefLUTTable(set, words, kCustom, 0, 0);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(set.cell(i, 2), (0x0A00 + i) / 16);
    // The range of wide cells is that of the entries: 10 bits of 12 reach a quarter of the colours.
    ColourSet larger(12, 12);
    FlatSet ten(12, 10);
    for (uint32_t i = 0; i < 4096; ++i) ten.set(i, i / 4);
    Luts::CreatePredefLUTTable(larger, ten, kCustom, 0, 0);
    EXPECT_EQ(larger.cell(4095, 2), 63u * 16);
}

TEST(CreatePredefLUTTable, IsTheDescription) {
    const PredefLuts luts;
    const Numbered custom;
    SQmGradientConfig config = many_nodes();
    config.m_bAbsolute = true;
    SQmLut::InsertExtenedLut(0, L"x", &config);
    Random random(3);
    for (int round = 0; round < 150; ++round) {
        const uint32_t bits = random(0, 14) == 0 ? 16 : random(0, 12);
        const uint32_t src_bits = random(0, 3) == 0 ? bits : random(1, 16);
        ColourSet set(bits, random(8, 16));
        FlatSet src(bits, std::max(src_bits, 1u));
        for (uint32_t i = 0; i < set.entries(); ++i)
            src.set(i, random.any() & ((1u << src.ucDstBpc) - 1));
        const int index = random.one_of({0, 2, 13, 31, 46, 47, kCustom, -1});
        const double hi = random.one_of({0.0, 50.0, 77.0});
        Luts::CreatePredefLUTTable(set, src, index, 0.0, hi);
        const bool bytes = set.ucDstBpc == 8;
        const bool wide = (bytes ? src.ucDstBpc : set.ucSrcBpc) > 8;
        if (wide && src.ucDstBpc <= 8) {  // words that are not there
            ASSERT_TRUE(set.is_untouched());
            continue;
        }
        for (uint32_t i = 0; i < set.entries(); ++i)
            ASSERT_NO_FATAL_FAILURE(expect_row(set, i, index, wide ? src.word(i) : src.byte(i),
                                               1u << (bytes ? src.ucDstBpc : set.ucSrcBpc), 0.0,
                                               hi))
                << bits << " bits over " << int{src.ucDstBpc} << " to " << int{set.ucDstBpc};
    }
}

/// Both calls leave a set alone when one of the two does not fit.
template <class Create>
void expect_nothing(Create create) {
    const auto refuses = [&](ColourSet& set, SQmLut& src) {
        create(set, src);
        EXPECT_TRUE(set.is_untouched());
    };
    FlatSet src(8, 8);
    ColourSet one_cell(8, 8, 1), four_cells(8, 8, 4), two(8, 8, 3, 2), narrow(8, 7), longer(9),
        broad(8, 17);
    for (ColourSet* set : {&one_cell, &four_cells, &two, &narrow, &longer}) refuses(*set, src);
    create(broad, src);
    ColourSet set(8);
    ColourSet colours(8), many(8, 8, 1, 3);
    FlatSet short_one(7, 8);
    SQmLut none;
    for (SQmLut* other : std::initializer_list<SQmLut*>{&colours, &many, &short_one, &none})
        refuses(set, *other);
    none.ucSrcBpc = none.ucDstBpc = 8;
    none.ucComponents = none.ucDstComponents = 1;
    refuses(set, none);
    create(none, src);  // no tables: nothing to write to
    none.ucDstComponents = 3;
    create(none, src);
    FlatSet longer_one(9, 8);
    create(set, longer_one);
    EXPECT_FALSE(set.is_untouched());
}

TEST(CreatePredefLUTTable, LeavesOtherSetsAlone) {
    const PredefLuts luts;
    expect_nothing([](SQmLut& set, SQmLut& src) { Luts::CreatePredefLUTTable(set, src, 2, 0, 0); });
    ColourSet set(8);
    FlatSet deep(8, 17);
    Luts::CreatePredefLUTTable(set, deep, 2, 0, 0);
    EXPECT_TRUE(set.is_untouched());
}

TEST(CreatePredefLUTTable2, IsGreyOutsideOfTheInterval) {
    const PredefLuts luts;
    const Numbered custom;
    for (const uint32_t bits : {8u, 12u}) {
        ColourSet set(10, bits);
        FlatSet src(10, 10);
        for (uint32_t i = 0; i < 1024; ++i) src.set(i, i);
        Luts::CreatePredefLUTTable2(set, src, kCustom, 100, 900, 512, 1024);
        const uint32_t scale = bits == 8 ? 1 : 16;
        for (const uint32_t i : {0u, 99u, 901u, 1023u})
            for (uint32_t c = 0; c < 3; ++c) EXPECT_EQ(set.cell(i, c), i * 256 * scale / 1024);
        // 100 of 1024 in 512 to 1024 is 562.5, colour 140.
        EXPECT_EQ(set.cell(100, 2), 140 * scale);
        EXPECT_EQ(set.cell(100, 1), 115 * scale);
        EXPECT_EQ(set.cell(900, 2), 240 * scale);  // 962.5 x 256 / 1024 = 240.6
    }
}

TEST(CreatePredefLUTTable2, IsTheDescription) {
    const PredefLuts luts;
    const Numbered custom;
    SQmGradientConfig config = many_nodes();
    SQmLut::InsertExtenedLut(0, L"x", &config);
    Random random(4);
    for (int round = 0; round < 150; ++round) {
        const uint32_t bits = random(0, 14) == 0 ? 16 : random(0, 12), n = 1u << bits;
        ColourSet set(bits, random(8, 16));
        FlatSet src(bits, random(1, 16));
        for (uint32_t i = 0; i < n; ++i) src.set(i, random.any() & ((1u << src.ucDstBpc) - 1));
        const int index = random.one_of({0, 2, 13, 46, kCustom, -1});
        const uint32_t src_lo = random(0, n - 1), src_hi = random(0, 3) ? random(0, n) : ~0u;
        const uint32_t dst_lo = random(0, n), dst_hi = random(0, n);
        Luts::CreatePredefLUTTable2(set, src, index, src_lo, src_hi, dst_lo, dst_hi);
        if (bits > 8 && src.ucDstBpc <= 8) {  // words that are not there
            ASSERT_TRUE(set.is_untouched());
            continue;
        }
        for (uint32_t i = 0; i < n; ++i) {
            if (i < src_lo || i > src_hi) {
                for (uint32_t c = 0; c < 3; ++c)
                    ASSERT_EQ(set.cell(i, c), (uint64_t{i} << set.ucDstBpc) / n);
                continue;
            }
            const double value = bits > 8 ? src.word(i) : src.byte(i);
            const double span = double(dst_hi) - double(dst_lo);
            const double p = std::trunc(span * value / n + dst_lo + 0.5);
            const auto position = static_cast<uint32_t>(static_cast<int64_t>(p));
            ASSERT_NO_FATAL_FAILURE(expect_row(set, i, index, position, n, 0.0, 0.0));
        }
    }
}

TEST(CreatePredefLUTTable2, LeavesOtherSetsAlone) {
    const PredefLuts luts;
    expect_nothing([](SQmLut& set, SQmLut& src) {
        Luts::CreatePredefLUTTable2(set, src, 2, 0, 1000, 0, 256);
    });
}

}  // namespace
}  // namespace qmpic::test
