#include <algorithm>
#include <cstdint>

#include "typed_params.h"

using namespace qmpic::typed;
using qmpic::max_value;

namespace {

constexpr wchar_t kName[] = L"CQmLutParamRGB";
constexpr std::uint32_t kColours = 3;

void assign(CQmLutParamRGB& p, const CQmLutParamRGB& other) { p = other; }

}  // namespace

CQmLutParamRGB::CQmLutParamRGB() { Init(); }
CQmLutParamRGB::CQmLutParamRGB(const CQmLutParamRGB& other) = default;
CQmLutParamRGB::CQmLutParamRGB(unsigned int bpc) {
    Init();
    Reinit(bpc);
}
CQmLutParamRGB& CQmLutParamRGB::operator=(const CQmLutParamRGB& other) = default;
CQmLutParamRGB::~CQmLutParamRGB() { Free(); }

void CQmLutParamRGB::Init() {
    m_uiBpc = 0;
    std::fill_n(uiMin, kColours, 0u);
    std::fill_n(uiMax, kColours, 0u);
    std::fill_n(uiMaxDst, kColours, 0u);
    std::fill_n(dGamma, kColours, 0.0);
}

void CQmLutParamRGB::Free() { Init(); }

int CQmLutParamRGB::Reinit(unsigned int bpc) {
    if (bpc < kLeastBpc) return QM_BAD_BUFFER;
    const std::uint32_t old_bpc = m_uiBpc;
    m_uiBpc = bpc;
    if (old_bpc == 0) {
        SetUnit();
    } else if (bpc != old_bpc) {
        for (std::uint32_t c = 0; c < kColours; ++c) {
            uiMin[c] = rescaled(uiMin[c], old_bpc, bpc);
            uiMax[c] = uiMin[c];  // the old black, and not the old white
            uiMaxDst[c] = rescaled(uiMaxDst[c], old_bpc, bpc);
        }
    }
    return QM_OK;
}

void CQmLutParamRGB::SetUnit() {
    std::fill_n(uiMin, kColours, 0u);
    std::fill_n(uiMax, kColours, max_value(m_uiBpc));
    std::fill_n(uiMaxDst, kColours, max_value(m_uiBpc));
    std::fill_n(dGamma, kColours, 1.0);
}

bool CQmLutParamRGB::IsUnit() const {
    for (std::uint32_t c = 0; c < kColours; ++c)
        if (!is_unit(uiMin[c], uiMax[c], dGamma[c], m_uiBpc) || uiMaxDst[c] != max_value(m_uiBpc))
            return false;
    return true;
}

bool CQmLutParamRGB::CompareWith(const CQmLutParamRGB& other) const {
    const auto equal = [](const auto& one, const auto& two) {
        return std::equal(one, one + kColours, two);
    };
    // The highest outputs are held against the other's white levels.
    return m_uiBpc == other.m_uiBpc && equal(uiMin, other.uiMin) && equal(uiMax, other.uiMax) &&
           equal(uiMaxDst, other.uiMax) && equal(dGamma, other.dGamma);
}

int CQmLutParamRGB::SaveToLiteVariant(CQmLiteVariantW& w) const {
    return save(w, kName, [&](Writing& writing) {
        writing.set(L"m_uiBpc", m_uiBpc);
        writing.list(kColours, [&](std::uint32_t c) {
            write_levels(writing, uiMin[c], uiMax[c], dGamma[c]);
        });
    });
}

int CQmLutParamRGB::LoadFromLiteVariant(CQmLiteVariantR& r) {
    return load(*this, r, kName, assign, [](CQmLutParamRGB& p, Reading& reading) {
        const int code = p.Reinit(reading.number(L"m_uiBpc"));
        if (code != QM_OK) return code;
        reading.list(kColours, [&](std::uint32_t c) {
            read_levels(reading, p.uiMin[c], p.uiMax[c], p.dGamma[c]);
        });
        return int{QM_OK};
    });
}

unsigned int CQmLutParamRGB::GetBpc() const { return m_uiBpc; }
unsigned int CQmLutParamRGB::GetMin(unsigned int c) const { return c < kColours ? uiMin[c] : 0; }
unsigned int CQmLutParamRGB::GetMax(unsigned int c) const {
    return c < kColours ? uiMax[c] : max_value(m_uiBpc);
}
double CQmLutParamRGB::GetGamma(unsigned int c) const { return c < kColours ? dGamma[c] : 1.0; }
void CQmLutParamRGB::SetMin(unsigned int c, unsigned int v) {
    if (c < kColours) uiMin[c] = v;
}
void CQmLutParamRGB::SetMax(unsigned int c, unsigned int v) {
    if (c < kColours) uiMax[c] = v;
}
void CQmLutParamRGB::SetGamma(unsigned int c, double d) {
    if (c < kColours) dGamma[c] = d;
}

unsigned int CQmLutParamRGB::GetMaxDst(unsigned int c) const {
    return c < kColours ? uiMaxDst[c] : max_value(m_uiBpc);
}
unsigned int CQmLutParamRGB::GetMaxDst(unsigned int c, unsigned int bpc) const {
    return c < kColours ? rescaled(uiMaxDst[c], m_uiBpc, bpc) : max_value(bpc);
}
void CQmLutParamRGB::SetMaxDst(unsigned int c, unsigned int v) {
    if (c < kColours) uiMaxDst[c] = v;
}
