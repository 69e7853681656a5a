#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <tuple>
#include <utility>
#include <vector>

#include "lut/colour_table.h"
#include "lut/predefined_data.h"
#include "qmpic/Lut.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"

// The lists of colour tables. Constant tables are referred to where they lie; what is computed is
// allocated once and lives to the end of the process.

namespace qmpic {

namespace {

constexpr ColourBytes grey_ramp() {
    ColourBytes greys{};
    for (std::size_t i = 0; i < greys.size(); ++i) greys[i] = static_cast<std::uint8_t>(i / 3);
    return greys;
}
constexpr ColourBytes kGreys = grey_ramp();

using List = std::vector<SQmLut::SQmPredefLut*>;
using ExtendedList = std::vector<SQmLut::SQmExtendedLut*>;
using Words = std::uint32_t[256];

constexpr std::size_t kBytes = std::tuple_size_v<ColourBytes>;

struct Release {
    void operator()(unsigned char* colors) const { CQmAlloc::Free(colors); }
};
using Colours = std::unique_ptr<unsigned char, Release>;

/// Throws, since all who call this catch what strings and lists throw, too.
Colours new_colours() {
    Colours colors(static_cast<unsigned char*>(CQmAlloc::Alloc(0, kBytes, 16)));
    if (!colors) throw std::bad_alloc();
    return colors;
}

void store(unsigned char* colors, const Words& words) {
    for (const std::uint32_t word : words)
        for (int shift = 16; shift >= 0; shift -= 8)
            *colors++ = static_cast<unsigned char>(word >> shift);
}

/// The colours of a gradient; black where it leaves entries as they are.
struct GradientWords {
    Words words{};
    GradientWords(SQmGradientConfig& config, double lo, double hi) {
        SQmGradientConfig::GetTabColorsFromConfig(&config, words, lo, hi);
    }
};

// ----- The predefined list -----------------------------------------------------------------------

Colours copy_of(const ColourBytes& bytes) {
    Colours colors = new_colours();
    std::memcpy(colors.get(), bytes.data(), kBytes);
    return colors;
}

/// "Rainbow", with a start that rises from black.
Colours rainbow_dark() {
    constexpr std::size_t kDark = 20;
    const ColourBytes& rainbow = *kPredefined[SQmLut::PredefLutRainbow].bytes;
    Colours colors = copy_of(rainbow);
    for (std::size_t i = 0; i < 3 * kDark; ++i)
        colors.get()[i] = static_cast<unsigned char>(rainbow[3 * kDark + i % 3] * (i / 3) / kDark);
    return colors;
}

Colours gradient_table(const std::array<std::uint32_t, 10>& words) {
    SQmGradientConfig config;
    for (std::size_t i = 0; i < words.size(); ++i)
        config.sNodes[i] = {10.0 * static_cast<double>(i + 1), words[i]};
    Colours colors = new_colours();
    store(colors.get(), GradientWords(config, 0.0, 100.0).words);
    return colors;
}

std::unique_ptr<SQmLut::SQmPredefLut> make_table(std::size_t index) {
    const PredefinedTable& row = kPredefined[index];
    auto table = std::make_unique<SQmLut::SQmPredefLut>();
    table->sName = CQmStringW(row.name);
    table->uiId = static_cast<std::uint32_t>(index);
    if (row.bytes != nullptr)
        table->pColors = const_cast<unsigned char*>(row.bytes->data());
    else if (index == SQmLut::PredefLutDefault)
        table->pColors = copy_of(kGreys).release();
    else if (index == SQmLut::PredefLutRainbowDark)
        table->pColors = rainbow_dark().release();
    else
        table->pColors = gradient_table(row.gradient).release();
    return table;
}

/// All tables or, by an exception, none.
void fill(List& list) {
    struct Made {
        std::vector<std::unique_ptr<SQmLut::SQmPredefLut>> tables;
        ~Made() {
            for (const auto& table : tables)
                if (table && kPredefined[table->uiId].bytes == nullptr)
                    CQmAlloc::Free(table->pColors);
        }
    } made;
    made.tables.reserve(kPredefinedTables);
    list.reserve(kPredefinedTables);
    for (std::size_t index = 0; index < kPredefinedTables; ++index)
        made.tables.push_back(make_table(index));
    for (auto& table : made.tables) list.push_back(table.release());
}

template <class Container>
void create(Container*& list) {
    if (list == nullptr) list = new Container;
}

/// The configuration and its table, or, by an exception, neither.
void set_gradient(SQmLut::SQmExtendedLut& table, const wchar_t* name, SQmGradientConfig& config) {
    const GradientWords colours(config, 0.0, 100.0);
    CQmStringW shown(name);
    SQmGradientConfig copy(config);
    CQmStringW own_name = std::exchange(copy.m_sName, {});
    if (table.pColors == nullptr) table.pColors = new_colours().release();
    store(table.pColors, colours.words);
    table.sName = std::move(shown);
    table.sConfig = copy;  // no name, and nothing to allocate
    table.sConfig.m_sName = std::move(own_name);
    table.dScaledLo = table.dScaledHi = 0.0;
}

void insert(std::size_t index, const wchar_t* name, SQmGradientConfig& config) {
    ExtendedList& list = *SQmLut::vecExtendedLuts;
    if (index < list.size()) {
        set_gradient(*list[index], name, config);
        return;
    }
    auto table = std::make_unique<SQmLut::SQmExtendedLut>();
    table->uiId = SQmLut::GetPredefLutsCount(false);
    set_gradient(*table, name, config);
    list.push_back(table.get());
    table.release();  // NOLINT(bugprone-unused-return-value): the list has it
}

}  // namespace

constinit ColourBytes custom_colours = kGreys;

}  // namespace qmpic

using namespace qmpic;

constinit std::vector<SQmLut::SQmPredefLut*>* SQmLut::vecPredefLuts = nullptr;
constinit std::vector<SQmLut::SQmExtendedLut*>* SQmLut::vecExtendedLuts = nullptr;

// ----- Classes -----------------------------------------------------------------------------------

SQmLut::SQmPredefLut::SQmPredefLut() : uiId(0), pColors(nullptr), bSymmetric(false) {}
SQmLut::SQmPredefLut::SQmPredefLut(const SQmPredefLut& other) = default;
SQmLut::SQmPredefLut& SQmLut::SQmPredefLut::operator=(const SQmPredefLut& other) = default;
SQmLut::SQmPredefLut::~SQmPredefLut() = default;

unsigned char* SQmLut::SQmPredefLut::getLuts(double /*lo*/, double /*hi*/) { return pColors; }

bool SQmLut::SQmPredefLut::isAlreadyScaled() { return false; }

bool SQmLut::SQmPredefLut::isSymmetric(double* center) {
    if (center != nullptr) *center = 0.0;
    return bSymmetric;
}

SQmLut::SQmExtendedLut::SQmExtendedLut() : pScaled(nullptr), dScaledLo(0.0), dScaledHi(0.0) {}
SQmLut::SQmExtendedLut::SQmExtendedLut(const SQmExtendedLut& other) = default;
SQmLut::SQmExtendedLut& SQmLut::SQmExtendedLut::operator=(const SQmExtendedLut& other) = default;

SQmLut::SQmExtendedLut::~SQmExtendedLut() {
    CQmAlloc::Free(pColors);
    CQmAlloc::Free(pScaled);
}

unsigned char* SQmLut::SQmExtendedLut::getLuts(double lo, double hi) {
    if ((lo == 0.0 && hi == 0.0) || !isAlreadyScaled()) return SQmPredefLut::getLuts(lo, hi);
    // A range that is no number is near to any.
    const double tolerance = (hi - lo) / 1000.0;
    if (!(std::fabs(dScaledLo - lo) > tolerance) && !(std::fabs(dScaledHi - hi) > tolerance))
        return pScaled;
    try {
        const GradientWords colours(sConfig, lo, hi);
        if (pScaled == nullptr) pScaled = new_colours().release();
        store(pScaled, colours.words);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    dScaledLo = lo;
    dScaledHi = hi;
    return pScaled;
}

bool SQmLut::SQmExtendedLut::isAlreadyScaled() {
    return sConfig.m_bAbsolute || sConfig.m_bSymmetric;
}

bool SQmLut::SQmExtendedLut::isSymmetric(double* center) {
    if (sConfig.m_bSymmetric && center != nullptr) *center = sConfig.m_dCenter;
    return sConfig.m_bSymmetric;
}

// ----- Lists -------------------------------------------------------------------------------------

int SQmLut::InitPredefLuts() {
    try {
        create(vecPredefLuts);
        create(vecExtendedLuts);
        if (vecPredefLuts->empty()) fill(*vecPredefLuts);
    } catch (const std::bad_alloc&) {
        return QM_OK;  // the list is empty: the next call tries again
    }
    return QM_OK;
}

SQmLut::SQmPredefLut* SQmLut::GetPredefLut(int index, bool bFallback) {
    // Never destroyed: what is destroyed at the end of a process may still ask for it.
    alignas(SQmPredefLut) static std::byte memory[sizeof(SQmPredefLut)];
    static SQmPredefLut& empty = *new (memory) SQmPredefLut;
    if (vecPredefLuts == nullptr || vecExtendedLuts == nullptr || index < 0) return &empty;
    const std::size_t predefined = vecPredefLuts->size();
    const auto at = static_cast<std::size_t>(index);
    if (at < predefined) return (*vecPredefLuts)[at];
    if (at - predefined < vecExtendedLuts->size()) return (*vecExtendedLuts)[at - predefined];
    return bFallback && predefined != 0 ? (*vecPredefLuts)[0] : &empty;
}

unsigned int SQmLut::GetPredefLutsCount(bool bOnlyPredefined) {
    const std::size_t predefined = vecPredefLuts != nullptr ? vecPredefLuts->size() : 0;
    return static_cast<unsigned int>(predefined) + (bOnlyPredefined ? 0 : GetExtenedLutsCount());
}

int SQmLut::GetPredefLutDescr(CQmStringW& name, unsigned int index) {
    try {
        name = GetPredefLut(static_cast<int>(index), true)->sName;
    } catch (const std::bad_alloc&) {
        return QM_NO_MEMORY;
    }
    return QM_OK;
}

unsigned int SQmLut::GetExtenedLutsCount() {
    return vecExtendedLuts != nullptr ? static_cast<unsigned int>(vecExtendedLuts->size()) : 0;
}

int SQmLut::InsertExtenedLut(unsigned int index, const wchar_t* name, SQmGradientConfig* config) {
    InitPredefLuts();
    if (vecExtendedLuts == nullptr || name == nullptr || config == nullptr) return QM_OK;
    try {
        insert(index, name, *config);
    } catch (const std::bad_alloc&) {
        return QM_OK;  // all is as it was
    }
    return QM_OK;
}

int SQmLut::FreeExtenedLuts() {
    if (vecExtendedLuts == nullptr) return QM_OK;
    for (const SQmExtendedLut* const table : *vecExtendedLuts) delete table;
    vecExtendedLuts->clear();
    return QM_OK;
}

void SQmLut::SetCustomLut(unsigned char* colors) {
    if (colors != nullptr) std::memmove(custom_colours.data(), colors, kBytes);
}
