#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "lut/stored_levels.h"
#include "qmpic/Gradient.h"

// How gradients are stored. Keys are what documents hold, and stay as they are.

using namespace qmpic;

namespace {

constexpr wchar_t kGradient[] = L"SQmGradientConfig";
constexpr wchar_t kGradients[] = L"CustomLUTs", kElements[] = L"m_pGradientConfigs";

template <class Config, class Level>
void visit_colours(Config& config, Level& visit) {
    for (std::uint32_t i = 0; i < std::size(config.sNodes); ++i)
        visit(indexed(L"m_uiNodeColor", i), config.sNodes[i].m_uiNodeColor);
}

template <class Config, class Level>
void visit_switches(Config& config, Level& visit) {
    visit(L"m_bInterpolate", config.m_bInterpolate);
    visit(L"m_bAbsolute", config.m_bAbsolute);
    visit(L"m_bSymmetric", config.m_bSymmetric);
    visit(L"m_dCenter", config.m_dCenter);
}

bool is_named(const CQmVariant& v, const wchar_t* name) { return v.GetName() == CQmStringW(name); }

}  // namespace

int SQmGradientConfig::SaveToVariant(CQmVariant* v) {
    if (v == nullptr) return QM_BAD_BUFFER;
    return save_to(*v, [&](SaveLevel& level) {
        v->SetName(kGradient);
        level(L"m_sName", m_sName);
        for (std::uint32_t i = 0; i < std::size(sNodes); ++i) {
            const double position = sNodes[i].m_dNodeVal;
            level(indexed(L"m_dNodeVal", i), position);
            level(indexed(L"m_bNodeValid", i), !std::isnan(position));
        }
        visit_colours(*this, level);
        visit_switches(*this, level);
    });
}

int SQmGradientConfig::LoadFromVariant(const CQmVariant* v) {
    if (v == nullptr) return QM_BAD_BUFFER;
    return or_no_memory([&] {
        if (!is_named(*v, kGradient)) return int{QM_BAD_BUFFER};
        const LoadLevel level(*v);
        level(L"m_sName", m_sName);
        for (std::uint32_t i = 0; i < std::size(sNodes); ++i) {
            bool valid = true;
            level(indexed(L"m_bNodeValid", i), valid);
            if (valid)
                level(indexed(L"m_dNodeVal", i), sNodes[i].m_dNodeVal);
            else
                sNodes[i].m_dNodeVal = std::numeric_limits<double>::quiet_NaN();
        }
        visit_colours(*this, level);
        visit_switches(*this, level);
        return int{QM_OK};
    });
}

int SQmGradientConfigs::SaveToVariant(CQmVariant* v) {
    if (v == nullptr) return QM_BAD_BUFFER;
    return save_to(*v, [&](SaveLevel& level) {
        v->SetName(kGradients);
        CQmVariant elements;
        elements.SetName(kElements);
        level.note(elements.SetRunType(L"CQmListVariant"));  // a list also when it is empty
        for (unsigned int i = 0; i < GetCount(); ++i) {
            CQmVariant element;
            level.note(GetGradientConfig(i)->SaveToVariant(&element));
            level.note(elements.Append(element));
        }
        level.append(elements);
    });
}

int SQmGradientConfigs::LoadFromVariant(const CQmVariant* v) {
    if (v == nullptr) return QM_BAD_BUFFER;
    return or_no_memory([&] {
        if (!is_named(*v, kGradients)) return int{QM_BAD_BUFFER};
        Free();
        const CQmVariant* const elements = v->SearchFixedOneLevel(kElements);
        if (elements == nullptr) return int{QM_OK};
        for (std::uint32_t i = 0; i < elements->GetCount(); ++i) {
            SQmGradientConfig config;
            const int code = config.LoadFromVariant(&(*elements)[i]);
            if (code == QM_BAD_BUFFER) break;  // something else ends the list
            if (code != QM_OK) return code;
            if (const int added = AddGradientConfig(&config); added != QM_OK) return added;
        }
        return int{QM_OK};
    });
}
