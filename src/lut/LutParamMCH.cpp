#include <algorithm>
#include <cstdint>
#include <tuple>
#include <utility>

#include "typed_params.h"

using namespace qmpic::typed;
using qmpic::max_value;

namespace {

constexpr wchar_t kName[] = L"CQmLutParamMCH";

void exchange(CQmLutParamMCH& p, CQmLutParamMCH& other) {
    const auto fields = [](CQmLutParamMCH& of) {
        return std::tie(of.m_uiBpc, of.m_uiChannelCount, of.m_uiCompCount, of.puiComp, of.puiMin,
                        of.puiMax, of.pdGamma, of.iGradient);
    };
    swap_fields(fields(p), fields(other));
}

/// The levels of each channel.
struct Levels {
    Owned<std::uint32_t> min, max;
    Owned<double> gamma;

    Levels(std::uint32_t channels, std::uint32_t bpc)
        : min(filled(channels, 0u)),
          max(filled(channels, max_value(bpc))),
          gamma(filled(channels, 1.0)) {}
    void hand_over(CQmLutParamMCH& to) {
        put(to.puiMin, std::move(min));
        put(to.puiMax, std::move(max));
        put(to.pdGamma, std::move(gamma));
    }
};

void copy_levels(CQmLutParamMCH& to, const CQmLutParamMCH& from) {
    if (from.puiMin == nullptr) return;
    std::copy_n(from.puiMin, from.m_uiChannelCount, to.puiMin);
    std::copy_n(from.puiMax, from.m_uiChannelCount, to.puiMax);
    std::copy_n(from.pdGamma, from.m_uiChannelCount, to.pdGamma);
}

}  // namespace

CQmLutParamMCH::CQmLutParamMCH() { Init(); }

CQmLutParamMCH::CQmLutParamMCH(const CQmLutParamMCH& other) : CQmLutParamMCH() {
    *this = other;
    puiComp = copied(other.puiComp, other.m_uiChannelCount).release();
    m_uiCompCount = other.m_uiCompCount;
}

CQmLutParamMCH::CQmLutParamMCH(unsigned int channels, unsigned int comps, const unsigned int* sizes,
                               unsigned int bpc)
    : CQmLutParamMCH() {
    Reinit(channels, comps, sizes, bpc);
}

CQmLutParamMCH& CQmLutParamMCH::operator=(const CQmLutParamMCH& other) {
    if (this == &other) return *this;
    if (m_uiChannelCount != other.m_uiChannelCount) {
        Owned<std::uint32_t> sizes;
        const bool longer = puiComp != nullptr && other.m_uiChannelCount > m_uiChannelCount;
        if (longer) {  // what it says stays, but there must be a size for each channel
            sizes = filled(other.m_uiChannelCount, 0u);
            std::copy_n(puiComp, m_uiChannelCount, sizes.get());
        }
        Levels(other.m_uiChannelCount, other.m_uiBpc).hand_over(*this);
        if (longer) put(puiComp, std::move(sizes));
        m_uiChannelCount = other.m_uiChannelCount;
    }
    copy_levels(*this, other);
    m_uiBpc = other.m_uiBpc;
    iGradient = other.iGradient;
    return *this;
}

CQmLutParamMCH::~CQmLutParamMCH() { Free(); }

void CQmLutParamMCH::Init() {
    m_uiBpc = m_uiChannelCount = m_uiCompCount = 0;
    puiComp = puiMin = puiMax = nullptr;
    pdGamma = nullptr;
    iGradient = 0;
}

void CQmLutParamMCH::Free() {
    delete[] puiComp;
    delete[] puiMin;
    delete[] puiMax;
    delete[] pdGamma;
    Init();
}

int CQmLutParamMCH::Reinit(unsigned int channels, unsigned int comps, const unsigned int* sizes,
                           unsigned int bpc) {
    if (!can_be(bpc, sizes, channels, comps)) return QM_BAD_BUFFER;
    Levels levels(channels, bpc);
    for (std::uint32_t c = 0; c < std::min(channels, m_uiChannelCount); ++c) {
        levels.min[c] = rescaled(puiMin[c], m_uiBpc, bpc);
        levels.max[c] = levels.min[c];  // the old black, and not the old white
        levels.gamma[c] = pdGamma[c];
    }
    if (puiComp == nullptr || comps != m_uiCompCount || channels != m_uiChannelCount) {
        put(puiComp, copied(sizes, channels, 0u));
    } else if (sizes != nullptr && sizes != puiComp) {
        std::copy_n(sizes, channels, puiComp);
    }
    levels.hand_over(*this);
    m_uiBpc = bpc;
    m_uiChannelCount = channels;
    m_uiCompCount = comps;
    return QM_OK;
}

void CQmLutParamMCH::SetUnit() {
    std::fill_n(puiMin, m_uiChannelCount, 0u);
    std::fill_n(puiMax, m_uiChannelCount, max_value(m_uiBpc));
    std::fill_n(pdGamma, m_uiChannelCount, 1.0);
}

bool CQmLutParamMCH::IsUnit() const {
    if (puiMin == nullptr) return true;
    for (std::uint32_t c = 0; c < m_uiChannelCount; ++c)
        if (!is_unit(puiMin[c], puiMax[c], pdGamma[c], m_uiBpc)) return false;
    return true;
}

bool CQmLutParamMCH::CompareWith(const CQmLutParamMCH& other) const {
    const auto equal = [&](const auto* one, const auto* two) {
        return std::equal(one, one + m_uiChannelCount, two);
    };
    return m_uiChannelCount == other.m_uiChannelCount && m_uiBpc == other.m_uiBpc &&
           m_uiCompCount == other.m_uiCompCount && iGradient == other.iGradient &&
           equal(puiMin, other.puiMin) && equal(puiMax, other.puiMax) &&
           equal(pdGamma, other.pdGamma) &&
           (puiComp == nullptr || other.puiComp == nullptr || equal(puiComp, other.puiComp));
}

int CQmLutParamMCH::SaveToLiteVariant(CQmLiteVariantW& w) const {
    return save(w, kName, [&](Writing& writing) {
        writing.set(L"m_uiChannelCount", m_uiChannelCount);
        writing.set(L"m_uiCompCount", m_uiCompCount);
        writing.numbers(L"puiComp", sizes_of(*this), m_uiChannelCount);
        writing.set(L"m_uiBpc", m_uiBpc);
        writing.list(m_uiChannelCount, [&](std::uint32_t c) {
            write_levels(writing, puiMin[c], puiMax[c], pdGamma[c]);
        });
    });
}

int CQmLutParamMCH::LoadFromLiteVariant(CQmLiteVariantR& r) {
    return load(*this, r, kName, exchange, [](CQmLutParamMCH& p, Reading& reading) {
        const std::uint32_t channels = reading.number(L"m_uiChannelCount");
        const std::uint32_t bpc = reading.number(L"m_uiBpc");
        const std::uint32_t comps = reading.number(L"m_uiComponentCount");  // not what is written
        if (channels > kMostComponents || comps > kMostComponents) return int{QM_BAD_BUFFER};
        const Sizes sizes = reading.numbers(L"puiComp", channels);
        if (!plausible(sizes)) return int{QM_BAD_BUFFER};
        const int code = p.Reinit(channels, comps, sizes.data(), bpc);
        if (code != QM_OK) return code;
        reading.list(channels, [&](std::uint32_t c) {
            read_levels(reading, p.puiMin[c], p.puiMax[c], p.pdGamma[c]);
        });
        return int{QM_OK};
    });
}

unsigned int CQmLutParamMCH::GetBpc() const { return m_uiBpc; }
unsigned int CQmLutParamMCH::GetChannelCount() const { return m_uiChannelCount; }
unsigned int CQmLutParamMCH::GetComponentCount() const { return m_uiCompCount; }
int CQmLutParamMCH::GetComponentSizes(unsigned int** sizes) const {
    return hand_out(puiComp, sizes);
}

unsigned int CQmLutParamMCH::GetMin(unsigned int c) const {
    return c < m_uiChannelCount ? puiMin[c] : 0;
}
unsigned int CQmLutParamMCH::GetMax(unsigned int c) const {
    return c < m_uiChannelCount ? puiMax[c] : max_value(m_uiBpc);
}
double CQmLutParamMCH::GetGamma(unsigned int c) const {
    return c < m_uiChannelCount ? pdGamma[c] : 1.0;
}
void CQmLutParamMCH::SetMin(unsigned int c, unsigned int v) {
    if (c < m_uiChannelCount) puiMin[c] = v;
}
void CQmLutParamMCH::SetMax(unsigned int c, unsigned int v) {
    if (c < m_uiChannelCount) puiMax[c] = v;
}
void CQmLutParamMCH::SetGamma(unsigned int c, double d) {
    if (c < m_uiChannelCount) pdGamma[c] = d;
}

int CQmLutParamMCH::GetGradient() const { return iGradient; }
void CQmLutParamMCH::SetGradient(int gradient) { iGradient = gradient; }
