#include "qmpic/RatioDesc.h"

#include "lut/stored_levels.h"
#include "qmpic/system/LiteVariant.h"

using namespace qmpic;

namespace {

constexpr wchar_t kLevel[] = L"RatioDesc";

/// What is stored, in this order: all but the reserved fields.
template <class Desc, class Level>
void visit_fields(Desc& desc, Level&& visit) {
    visit(L"uiNumer", desc.uiNumer);
    visit(L"uiDenom", desc.uiDenom);
    visit(L"uiNumOffset", desc.uiNumOffset);
    visit(L"uiDenOffset", desc.uiDenOffset);
    visit(L"dMin", desc.dMin);
    visit(L"dMax", desc.dMax);
}

}  // namespace

SQmRatioDesc::SQmRatioDesc()
    : uiNumer(0),
      uiDenom(0),
      uiNumOffset(0),
      uiDenOffset(0),
      bReserved(0),
      uiReserved(0),
      ui64Reserved1(0),
      ui64Reserved2(0),
      dMin(0.0),
      dMax(2.0) {}
SQmRatioDesc& SQmRatioDesc::operator=(const SQmRatioDesc& other) = default;
SQmRatioDesc& SQmRatioDesc::operator=(SQmRatioDesc&& other) noexcept = default;

int SQmRatioDesc::SaveToVariant(CQmVariant& v, const SQmRatioDesc& desc) {
    return save_to(v, [&](SaveLevel& level) { visit_fields(desc, level); });
}
int SQmRatioDesc::LoadFromVariant(SQmRatioDesc& desc, const CQmVariant& v) {
    return load_from(v, [&](const LoadLevel& level) { visit_fields(desc, level); });
}

int SQmRatioDesc::SaveToLiteVariant(CQmLiteVariantW& w, const SQmRatioDesc& desc) {
    return or_no_memory([&] {
        int code = w.LevelBegin(kLevel);
        if (code != QM_OK) return code;
        visit_fields(desc, [&](const CQmStringW& key, auto field) {
            const int set = [&] {
                if constexpr (std::is_floating_point_v<decltype(field)>)
                    return w.Set(key, field);
                else
                    return w.Set(key, static_cast<unsigned int>(field));
            }();
            if (code == QM_OK) code = set;
        });
        const int end = w.LevelEnd();
        return code == QM_OK ? end : code;
    });
}

int SQmRatioDesc::LoadFromLiteVariant(SQmRatioDesc& desc, CQmLiteVariantR& r) {
    return or_no_memory([&] {
        if (r.LevelBegin(kLevel) != QM_OK) return int{QM_BAD_BUFFER};
        const int code = or_no_memory([&] {
            visit_fields(desc, [&](const CQmStringW& key, auto& field) {
                using Field = std::remove_reference_t<decltype(field)>;
                // A ratio that is absent stays, an index or offset becomes 0.
                if constexpr (std::is_floating_point_v<Field>)
                    field = r.Get(key, field);
                else
                    field = static_cast<Field>(r.Get(key, 0u));
            });
            return int{QM_OK};
        });
        r.LevelEnd();
        return code;
    });
}
