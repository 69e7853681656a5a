#include "qmpic/LutParam.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "core/arithmetic.h"
#include "lut/spectral_data.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"

using namespace qmpic;

// Levels: what a user reads is a fraction, what is held is a fraction of 65535.

namespace {

using Ranges = std::vector<CQmRangeBase<float>>;
using Lock = std::lock_guard<std::recursive_mutex>;

constexpr double kWhole = 65535.0;
constexpr double kGammaTolerance = 0.001;

double fraction(std::uint16_t level) { return level / kWhole; }

double clamp01(double x) {
    if (x < 0) return 0;
    return x > 1 ? 1 : x;
}

/// The levels of a component, `own`, within the global ones. Products of levels are exact.
double narrowed_min(std::uint16_t lo, std::uint16_t hi, std::uint16_t own) {
    return clamp01((double(hi - lo) * own / kWhole + lo) / kWhole);
}
double narrowed_max(std::uint16_t lo, std::uint16_t hi, std::uint16_t own) {
    return clamp01((hi - double(hi - lo) * (65535 - own) / kWhole) / kWhole);
}

double full(unsigned bpc) { return max_value(bpc); }

unsigned rounded(double value, double top) { return trunc_u32(value * top + 0.5); }

/// Wraps beyond 65535.
std::uint16_t cut(double value) { return static_cast<std::uint16_t>(trunc_i64(value)); }

bool differ(double gamma, double other) { return std::abs(gamma - other) > kGammaTolerance; }

// ----- Ranges of float pictures ------------------------------------------------------------------

bool any_negative(const Ranges& ranges) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [](const auto& r) { return r.tLower < 0 || r.tUpper < 0; });
}

// A NaN is neither less nor greater: what was there stays.
float lesser(float limit, float value) { return value < limit ? value : limit; }
float greater(float limit, float value) { return value > limit ? value : limit; }

float least_lower(const Ranges& ranges) {
    float least = FLT_MAX;
    for (const auto& r : ranges) least = lesser(least, r.tLower);
    return least;
}
float greatest_upper(const Ranges& ranges) {
    float greatest = -FLT_MAX;
    for (const auto& r : ranges) greatest = greater(greatest, r.tUpper);
    return greatest;
}

/// White of data that is not negative: 1, or the next power of two above the data.
float white(const Ranges& ranges) {
    const float u = greatest_upper(ranges);
    if (u < 1) return 1;
    const std::uint32_t exponent = std::bit_cast<std::uint32_t>(u) >> 23;
    return static_cast<float>(std::uint64_t{1} << ((exponent - 126) & 63));
}

// ----- Comparison --------------------------------------------------------------------------------

/// Levels of the picture or of a component, whatever the record.
template <class Levels>
bool is_unit(const Levels& p) {
    return p.uiMinSrc == 0 && p.uiMaxSrc == 65535 && p.uiMinDst == 0 && p.uiMaxDst == 65535 &&
           !differ(1.0, p.dGammaSrc);
}

template <class Levels>
bool same_levels(const Levels& a, const Levels& b, bool is_float) {
    const bool same_src = is_float ? a.fMinSrc == b.fMinSrc && a.fMaxSrc == b.fMaxSrc
                                   : a.uiMinSrc == b.uiMinSrc && a.uiMaxSrc == b.uiMaxSrc;
    return same_src && a.uiMinDst == b.uiMinDst && a.uiMaxDst == b.uiMaxDst &&
           !differ(a.dGammaSrc, b.dGammaSrc);
}

// ----- Masks of components and groups ------------------------------------------------------------

bool has_groups(const SpectralData& data) {
    return data.uiSpectralColorMode == 1 || data.uiSpectralColorMode == 2;
}

/// Spectral components among `count`.
std::uint32_t spectral_among(const SpectralData& data, std::uint32_t count) {
    return std::min({data.uiSpectralCompCount, count, SQmLutParam::MaxComponents});
}

int groups_of_components(CQmRangeMask& groups, CQmRangeMask comps, const SQmLutParam& param,
                         unsigned count) {
    const SpectralData& data = param.sLutDataSpectral;
    const Lock lock(data.mtx);
    if (!has_groups(data)) return QM_BAD_BUFFER;
    const std::uint32_t spectral = spectral_among(data, count);
    const bool others = data.uiSpectralCompCount < count;
    const std::uint32_t limited = std::min(data.uiGroupCount, CQmRangeMask::MaxSize);
    groups.Reset();
    groups.SetSize(limited + (others ? 1 : 0));
    for (std::uint32_t c = 0; c < spectral; ++c)
        if (comps.Get(c)) groups.Set(param.sCompLutParam[c].uiGroup);
    if (others) groups.Set(limited, comps.Get(count - 1));
    return QM_OK;
}

int components_of_groups(CQmRangeMask& comps, CQmRangeMask groups, const SQmLutParam& param,
                         unsigned count) {
    const SpectralData& data = param.sLutDataSpectral;
    const Lock lock(data.mtx);
    if (!has_groups(data)) return QM_BAD_BUFFER;
    const std::uint32_t spectral = spectral_among(data, count);
    comps.Reset();
    comps.SetSize(count);
    for (std::uint32_t c = 0; c < comps.GetSize(); ++c)
        comps.Set(c, groups.Get(c < spectral ? param.sCompLutParam[c].uiGroup : data.uiGroupCount));
    return QM_OK;
}

}  // namespace

// ----- Records -----------------------------------------------------------------------------------

SQmCompLutParam::SQmCompLutParam()
    : uiMinSrc(0),
      uiMaxSrc(65535),
      dGammaSrc(1.0),
      uiMinDst(0),
      uiMaxDst(65535),
      uiGroup(0),
      fMinSrc(0),
      fMaxSrc(1) {}
SQmCompLutParam& SQmCompLutParam::operator=(const SQmCompLutParam& other) = default;
SQmCompLutParam& SQmCompLutParam::operator=(SQmCompLutParam&& other) noexcept = default;

SQmLutParam::SQmLutParam() : sLutDataSpectral(this) {}

// The first constructor makes a whole record: its destructor runs when the copy throws.
SQmLutParam::SQmLutParam(const SQmLutParam& other) : SQmLutParam() { *this = other; }

SQmLutParam::~SQmLutParam() = default;

SQmLutParam& SQmLutParam::operator=(const SQmLutParam& other) {
    if (this == &other) return *this;
    const BothLocked locks(sLutDataSpectral, other.sLutDataSpectral);
    copy_spectral(sLutDataSpectral, other.sLutDataSpectral);  // nothing below fails
    uiGradient = other.uiGradient;
    uiGradientBrightField = other.uiGradientBrightField;
    uiMinSrc = other.uiMinSrc;
    uiMaxSrc = other.uiMaxSrc;
    dGammaSrc = other.dGammaSrc;
    uiMinDst = other.uiMinDst;
    uiMaxDst = other.uiMaxDst;
    bFloat = other.bFloat;
    fMinSrc = other.fMinSrc;
    fMaxSrc = other.fMaxSrc;
    for (std::uint32_t c = 0; c < MaxComponents; ++c)  // as 32 bytes, not field by field
        std::construct_at(sCompLutParam + c, other.sCompLutParam[c]);
    uiColorSpace = other.uiColorSpace;
    uiRepresentation = other.uiRepresentation;
    uiLutComponentCount = other.uiLutComponentCount;
    return *this;
}

// ----- Fractions ---------------------------------------------------------------------------------

double SQmLutParam::GetMinSrcDbl() const { return bFloat ? fMinSrc : fraction(uiMinSrc); }
double SQmLutParam::GetMaxSrcDbl() const { return bFloat ? fMaxSrc : fraction(uiMaxSrc); }

double SQmLutParam::GetMinSrcDbl(unsigned int comp) const {
    const SQmCompLutParam& c = sCompLutParam[comp];
    return bFloat ? clamp01(c.fMinSrc) : narrowed_min(uiMinSrc, uiMaxSrc, c.uiMinSrc);
}
double SQmLutParam::GetMaxSrcDbl(unsigned int comp) const {
    const SQmCompLutParam& c = sCompLutParam[comp];
    return bFloat ? clamp01(c.fMaxSrc) : narrowed_max(uiMinSrc, uiMaxSrc, c.uiMaxSrc);
}

double SQmLutParam::GetCompMinSrcDbl(unsigned int comp) const {
    const SQmCompLutParam& c = sCompLutParam[comp];
    return bFloat ? c.fMinSrc : fraction(c.uiMinSrc);
}
double SQmLutParam::GetCompMaxSrcDbl(unsigned int comp) const {
    const SQmCompLutParam& c = sCompLutParam[comp];
    return bFloat ? c.fMaxSrc : fraction(c.uiMaxSrc);
}

double SQmLutParam::GetMinDstDbl() const { return fraction(uiMinDst); }
double SQmLutParam::GetMaxDstDbl() const { return fraction(uiMaxDst); }
double SQmLutParam::GetMinDstDbl(unsigned int comp) const {
    return narrowed_min(uiMinDst, uiMaxDst, sCompLutParam[comp].uiMinDst);
}
double SQmLutParam::GetMaxDstDbl(unsigned int comp) const {
    return narrowed_max(uiMinDst, uiMaxDst, sCompLutParam[comp].uiMaxDst);
}
double SQmLutParam::GetCompMinDstDbl(unsigned int comp) const {
    return fraction(sCompLutParam[comp].uiMinDst);
}
double SQmLutParam::GetCompMaxDstDbl(unsigned int comp) const {
    return fraction(sCompLutParam[comp].uiMaxDst);
}

double SQmLutParam::GetGammaSrc() const { return dGammaSrc; }
double SQmLutParam::GetGammaSrc(unsigned int comp) const {
    return sCompLutParam[comp].dGammaSrc * dGammaSrc;
}
double SQmLutParam::GetCompGammaSrc(unsigned int comp) const {
    return sCompLutParam[comp].dGammaSrc;
}

// ----- Sample units ------------------------------------------------------------------------------

unsigned int SQmLutParam::GetMinSrc(unsigned int bpc) const {
    return bFloat ? trunc_u32(fMinSrc) : rounded(GetMinSrcDbl(), full(bpc));
}
unsigned int SQmLutParam::GetMaxSrc(unsigned int bpc) const {
    return bFloat ? trunc_u32(fMaxSrc) : rounded(GetMaxSrcDbl(), full(bpc));
}

// The white level is what fractions of a float picture are of, whether lower or upper ones.
unsigned int SQmLutParam::GetMinSrc(unsigned int comp, unsigned int bpc) const {
    return rounded(GetMinSrcDbl(comp), bFloat ? fMaxSrc : full(bpc));
}
unsigned int SQmLutParam::GetMaxSrc(unsigned int comp, unsigned int bpc) const {
    return rounded(GetMaxSrcDbl(comp), bFloat ? fMaxSrc : full(bpc));
}
unsigned int SQmLutParam::GetCompMinSrc(unsigned int comp, unsigned int bpc) const {
    return rounded(GetCompMinSrcDbl(comp), bFloat ? fMaxSrc : full(bpc));
}
unsigned int SQmLutParam::GetCompMaxSrc(unsigned int comp, unsigned int bpc) const {
    return rounded(GetCompMaxSrcDbl(comp), bFloat ? fMaxSrc : full(bpc));
}

unsigned int SQmLutParam::GetMinDst(unsigned int bpc) const {
    return rounded(GetMinDstDbl(), full(bpc));
}
unsigned int SQmLutParam::GetMaxDst(unsigned int bpc) const {
    return rounded(GetMaxDstDbl(), full(bpc));
}
unsigned int SQmLutParam::GetMinDst(unsigned int comp, unsigned int bpc) const {
    return rounded(GetMinDstDbl(comp), full(bpc));
}
unsigned int SQmLutParam::GetMaxDst(unsigned int comp, unsigned int bpc) const {
    return rounded(GetMaxDstDbl(comp), full(bpc));
}
unsigned int SQmLutParam::GetCompMinDst(unsigned int comp, unsigned int bpc) {
    return rounded(GetCompMinDstDbl(comp), full(bpc));
}
unsigned int SQmLutParam::GetCompMaxDst(unsigned int comp, unsigned int bpc) {
    return rounded(GetCompMaxDstDbl(comp), full(bpc));
}

float SQmLutParam::GetMinSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const {
    const double level = GetMinSrcDbl(comp);
    return bFloat ? float(level) * (hi - lo) + lo : float(level * full(bpc));
}
float SQmLutParam::GetMaxSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const {
    const double level = GetMaxSrcDbl(comp);
    return bFloat ? float(level) * (hi - lo) + lo : float(level * full(bpc));
}

// ----- Setters -----------------------------------------------------------------------------------

void SQmLutParam::SetMinSrcDbl(double v) {
    if (bFloat)
        fMinSrc = static_cast<float>(v);
    else
        uiMinSrc = cut(v * kWhole);
}
void SQmLutParam::SetMaxSrcDbl(double v) {
    if (bFloat)
        fMaxSrc = static_cast<float>(v);
    else
        uiMaxSrc = cut(v * kWhole + 0.5);  // alone of all
}
void SQmLutParam::SetMinDstDbl(double v) { uiMinDst = cut(v * kWhole); }
void SQmLutParam::SetMaxDstDbl(double v) { uiMaxDst = cut(v * kWhole); }
void SQmLutParam::SetGammaSrc(double v) { dGammaSrc = v; }

void SQmLutParam::SetCompMinSrcDbl(unsigned int comp, double v) {
    if (bFloat)
        sCompLutParam[comp].fMinSrc = static_cast<float>(v);
    else
        sCompLutParam[comp].uiMinSrc = cut(v * kWhole);
}
void SQmLutParam::SetCompMaxSrcDbl(unsigned int comp, double v) {
    if (bFloat)
        sCompLutParam[comp].fMaxSrc = static_cast<float>(v);
    else
        sCompLutParam[comp].uiMaxSrc = cut(v * kWhole);
}
void SQmLutParam::SetCompMinDstDbl(unsigned int comp, double v) {
    sCompLutParam[comp].uiMinDst = cut(v * kWhole);
}
void SQmLutParam::SetCompMaxDstDbl(unsigned int comp, double v) {
    sCompLutParam[comp].uiMaxDst = cut(v * kWhole);
}
void SQmLutParam::SetCompGammaSrc(unsigned int comp, double v) {
    sCompLutParam[comp].dGammaSrc = v;
}

double SQmLutParam::GetDblFromAbsValue(double value, unsigned int bpc) { return value / full(bpc); }

// ----- Ranges of float pictures ------------------------------------------------------------------

float SQmLutParam::GetMinFromFloatRanges(const Ranges& ranges) {
    return any_negative(ranges) ? least_lower(ranges) : 0;
}
float SQmLutParam::GetMaxFromFloatRanges(const Ranges& ranges) {
    return any_negative(ranges) ? greatest_upper(ranges) : white(ranges);
}
float SQmLutParam::GetCompMinFromFloatRanges(unsigned int comp, const Ranges& ranges) {
    if (comp >= ranges.size()) return FLT_MAX;
    return any_negative(ranges) ? ranges[comp].tLower : 0;
}
float SQmLutParam::GetCompMaxFromFloatRanges(unsigned int comp, const Ranges& ranges) {
    if (comp >= ranges.size()) return -FLT_MAX;
    return any_negative(ranges) ? ranges[comp].tUpper : white(ranges);
}
float SQmLutParam::GetCompMinFromFloatRangesSimple(unsigned int comp, const Ranges& ranges) {
    return comp < ranges.size() ? lesser(FLT_MAX, ranges[comp].tLower) : FLT_MAX;
}
float SQmLutParam::GetCompMaxFromFloatRangesSimple(unsigned int comp, const Ranges& ranges) {
    return comp < ranges.size() ? greater(-FLT_MAX, ranges[comp].tUpper) : -FLT_MAX;
}

// ----- The whole record --------------------------------------------------------------------------

void SQmLutParam::Init(unsigned int colorSpace, bool bFloat_, unsigned int representation,
                       unsigned int lutComponents, unsigned int spectralComponents) {
    const Lock lock(sLutDataSpectral.mtx);
    const bool single = colorSpace == 1;
    bFloat = bFloat_;
    uiColorSpace = colorSpace;
    uiRepresentation = representation;
    uiLutComponentCount = single ? 1 : lutComponents;
    set_spectral_count(sLutDataSpectral, single ? 1 : spectralComponents);
}

void SQmLutParam::SetUnit() {
    const Lock lock(sLutDataSpectral.mtx);
    sLutDataSpectral.Reset();
    uiMinSrc = 0;
    uiMaxSrc = 65535;
    dGammaSrc = 1.0;
    uiMinDst = 0;
    uiMaxDst = 65535;
    fMinSrc = FLT_MAX;
    fMaxSrc = -FLT_MAX;
    for (SQmCompLutParam& c : sCompLutParam) {
        const std::uint32_t group = c.uiGroup;
        c = SQmCompLutParam();
        c.uiGroup = group;
    }
}

bool SQmLutParam::IsUnit() const {
    if (bFloat) return fMinSrc > fMaxSrc;
    return is_unit(*this) &&
           std::all_of(sCompLutParam, sCompLutParam + MaxComponents, is_unit<SQmCompLutParam>);
}

bool SQmLutParam::CompareWith(const SQmLutParam& other) const {
    const SpectralData &a = sLutDataSpectral, &b = other.sLutDataSpectral;
    const BothLocked locks(a, b);
    if (bFloat != other.bFloat || !same_levels(*this, other, bFloat)) return false;
    if (uiGradient != other.uiGradient || uiGradientBrightField != other.uiGradientBrightField ||
        a.uiGroupCount != b.uiGroupCount || a.uiSpectralColorMode != b.uiSpectralColorMode)
        return false;
    for (std::uint32_t c = 0; c < MaxComponents; ++c) {
        const SQmCompLutParam &one = sCompLutParam[c], &two = other.sCompLutParam[c];
        if (!same_levels(one, two, bFloat) || one.uiGroup != two.uiGroup) return false;
    }
    return same_gains(a, b);
}

int SQmLutParam::CompatibleCopy(const SQmLutParam& other) {
    SpectralData& data = sLutDataSpectral;
    {
        const BothLocked locks(data, other.sLutDataSpectral);
        if (uiColorSpace == other.uiColorSpace && uiRepresentation == other.uiRepresentation &&
            uiLutComponentCount == other.uiLutComponentCount &&
            data.uiSpectralCompCount == other.sLutDataSpectral.uiSpectralCompCount &&
            bFloat == other.bFloat)
            *this = other;
    }
    data.GetAllGroupCount(nullptr, true);
    return QM_OK;
}

void SQmLutParam::PartialCopyIndependendOnEnable(const SQmLutParam& other) {
    uiGradient = other.uiGradient;
    uiGradientBrightField = other.uiGradientBrightField;
    fMinSrc = other.fMinSrc;
    fMaxSrc = other.fMaxSrc;
}

void SQmLutParam::GlobalParamToComponent() {
    for (std::uint32_t comp = 0; comp < MaxComponents; ++comp) {
        SQmCompLutParam& c = sCompLutParam[comp];
        c.uiMinSrc = cut(GetMinSrcDbl(comp) * kWhole);
        c.uiMaxSrc = cut(GetMaxSrcDbl(comp) * kWhole);
        c.uiMinDst = cut(GetMinDstDbl(comp) * kWhole);
        c.uiMaxDst = cut(GetMaxDstDbl(comp) * kWhole);
        c.dGammaSrc = GetGammaSrc(comp);
        // Of what is narrowed already: in an integer picture these are narrowed twice.
        c.fMinSrc = static_cast<float>(GetMinSrcDbl(comp));
        c.fMaxSrc = static_cast<float>(GetMaxSrcDbl(comp));
    }
    dGammaSrc = 1.0;
    uiMinDst = 0;
    uiMaxDst = 65535;
    uiMinSrc = 0;
    uiMaxSrc = 65535;
}

bool SQmLutParam::IsGroupMask(const CQmRangeMask& mask, unsigned int* firstComp) const {
    const Lock lock(sLutDataSpectral.mtx);
    std::uint32_t first = 0;
    if (sLutDataSpectral.uiGroupCount == 0 || sLutDataSpectral.uiSpectralColorMode != 2 ||
        !mask.GetFirst(&first))
        return false;
    const std::uint32_t group = sCompLutParam[first].uiGroup;
    std::uint32_t c = first;
    while (mask.Get(c) && sCompLutParam[c].uiGroup == group) ++c;
    if (firstComp != nullptr) *firstComp = first;
    return !mask.Get(c);
}

int SQmLutParam::ComponentMaskToSpectralGroupMask(CQmRangeMask& groups, const CQmRangeMask& comps,
                                                  unsigned int compCount) {
    return groups_of_components(groups, comps, *this, compCount);
}

int SQmPicBufAPI_Base::ComponentMaskToSpectralGroupMask(CQmRangeMask& groups,
                                                        const CQmRangeMask& comps,
                                                        const SQmLutParam& param,
                                                        unsigned int compCount) {
    return groups_of_components(groups, comps, param, compCount);
}
int SQmPicBufAPI_Base::SpectralGroupMaskToComponentMask(CQmRangeMask& comps,
                                                        const CQmRangeMask& groups,
                                                        const SQmLutParam& param,
                                                        unsigned int compCount) {
    return components_of_groups(comps, groups, param, compCount);
}
