#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "qmpic/Gradient.h"
#include "qmpic/LutParam.h"
#include "qmpic/RatioDesc.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/stored.h"

// Bytes of any kind, read as a tree and as levels, and by every record. What begins like a block is
// taken as it is; anything else says how to build one, so that deeper things are reached than
// lengths that are wrong.

namespace qmpic::test {
namespace {

const char* const kKeys[] = {
#include "stored_keys.inc"
};

void expect(bool holds, int line = __builtin_LINE()) {
    if (holds) return;
    std::fprintf(stderr, "stored_form_fuzz.cpp:%d does not hold\n", line);
    std::abort();
}

// ----- Building ----------------------------------------------------------------------------------

class Builder {
  public:
    explicit Builder(std::span<const uint8_t> program) : program_(program) {}

    Bytes children(uint32_t depth, uint32_t& count) {
        Bytes all;
        for (count = 0; !program_.empty() && all.size() < 3000; ++count) {
            const uint8_t what = next();
            if (what % 9 == 8) break;  // the level ends
            const Bytes one = child(what, depth);
            all.insert(all.end(), one.begin(), one.end());
        }
        return all;
    }

  private:
    uint8_t next() {
        if (program_.empty()) return 0;
        const uint8_t byte = program_.front();
        program_ = program_.subspan(1);
        return byte;
    }
    Bytes name() {
        const uint8_t which = next();
        return which < std::size(kKeys) ? ascii(kKeys[which]) : Bytes{};
    }
    uint32_t number() {
        const uint8_t which = next();
        if (which < 250) return which;
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | next();
        return value;
    }
    Bytes child(uint8_t what, uint32_t depth) {
        const Bytes key = name();
        switch (what % 9) {
        case 0: return node(0, key, {});
        case 1: return node(1, key, little(number()));
        case 2: return node(2, key, little(std::bit_cast<uint64_t>(number() / 8.0 - 4)));
        case 3: return node(3, key, {static_cast<uint8_t>(number() & 1)});
        case 4: return node(4, key, little(uint32_t{3}) + ascii("abc"));
        case 5: return node(6, key, little(number()));
        case 6: return node(2, key, little(uint64_t{number()} << 32 | number()));
        default:
            if (depth >= 64) return node(0, key, {});
            uint32_t count = 0;
            const Bytes inner = children(depth + 1, count);
            return list(key, count, inner, what < 128 ? "" : "CQmListVariant");
        }
    }

    std::span<const uint8_t> program_;
};

// ----- Reading -----------------------------------------------------------------------------------

/// Without a copy of what it holds.
bool is_list(const CQmVariant& v) {
    bool is = v.GetCount() > 0;
    if (!is) v.GetCQmListVariant(&is);
    return is;
}

/// Everything that can be asked of a tree, and of levels of the same bytes.
void walk(const CQmVariant& v, CQmLiteVariantR* levels) {
    v.GetBool();
    v.GetCQmStringW();
    for (uint32_t i = 0; i < v.GetCount(); ++i) {
        const CQmVariant& child = v[i];
        const CQmStringW& name = child.GetName();
        const CQmVariant* const first = v.SearchFixedOneLevel(name);
        expect(first != nullptr && first->GetName() == name);
        const bool child_is_list = is_list(child);
        if (child_is_list && name.IsEmpty()) {
            expect(levels->IsNextValue() && levels->CurrentLevelBegin() == QM_OK);
            walk(child, levels);
            expect(levels->LevelEnd() == QM_OK);
            levels->NextValue();
        } else if (first != &child) {
            continue;  // levels show the first
        } else if (child_is_list) {
            expect(levels->LevelBegin(name) == QM_OK);
            walk(child, levels);
            expect(levels->LevelEnd() == QM_OK);
        } else {
            bool is_uint = false, is_double = false;
            const unsigned int number = child.GetQm_uint32(&is_uint);
            const double value = child.GetDouble(&is_double);
            expect(levels->Get(name, 12345u) == (is_uint ? number : 12345u));
            expect(std::bit_cast<uint64_t>(levels->Get(name, 0.1)) ==
                   std::bit_cast<uint64_t>(is_double ? value : 0.1));
            levels->Get(name, -1);
        }
    }
    expect(!levels->IsNextValue());
}

void load_trees(const CQmVariant& v) {
    SQmLutParam param;
    expect(SQmLutParam::LoadFromVariant(param, v) == QM_OK);
    auto& s = param.sLutDataSpectral;
    expect(s.uiAllocated <= 192 && s.uiGroupCount <= 192);
    // Modes, groups and colours are whatever was stored.
    for (const unsigned int index : {0u, 2u, 191u, 0xFFFFFFFFu}) {
        s.GetGain(index);
        s.GetOffset(index);
        s.GetGroupColor(index);
        s.GetCompColor(index, false);
    }
    CQmVariant saved, again;
    if (v.GetCount() % 4 == 1) {  // as for 13 keys; saving takes longer than all the rest
        s.uiSpectralCompCount = 2;
        s.uiGroupCount %= 4;
        s.Realloc(s.uiGroupCount);
        expect(SQmLutParam::SaveToVariant(saved, param) == QM_OK);
        expect(SQmLutParam::LoadFromVariant(param, saved) == QM_OK);
        expect(SQmLutParam::SaveToVariant(again, param) == QM_OK);
        expect(written(saved) == written(again));
    }

    SQmGradientConfig config;
    if (config.LoadFromVariant(&v) == QM_OK) {
        // Nodes that are not in use become one kind of NaN when they are loaded.
        for (int i = 0; i < 2; ++i)
            expect(config.SaveToVariant(&saved) == QM_OK &&
                   config.LoadFromVariant(&saved) == QM_OK);
        expect(config.SaveToVariant(&again) == QM_OK && written(saved) == written(again));
    }
    if (SQmGradientConfigs::LoadFromVariant(&v) == QM_OK)
        expect(SQmGradientConfigs::SaveToVariant(&saved) == QM_OK && !written(saved).empty());
    SQmGradientConfigs::Free();
    SQmRatioDesc desc;
    expect(SQmRatioDesc::LoadFromVariant(desc, v) == QM_OK);
}

/// A record may refuse levels, but not break, nor leave them open.
template <class Record>
void load_levels(const Bytes& bytes) {
    CQmLiteVariantR r(bytes.data(), bytes.size());
    Record record;
    const int code = record.LoadFromLiteVariant(r);
    expect(code == QM_OK || code == QM_BAD_BUFFER);
    expect(r.LevelEnd() == QM_REJECTED);
    CQmLiteVariantW w;
    expect(record.SaveToLiteVariant(w) == QM_OK && !written(w).empty());
}

/// True when they were taken.
bool read(const Bytes& bytes) {
    CQmVariant v(77u, L"old");
    const int code = CQmVariant::Read(v, bytes.data(), bytes.size());
    CQmLiteVariantR levels(bytes.data(), bytes.size());
    if (code != QM_OK) {
        expect(code == QM_REJECTED && v.GetQm_uint32() == 77 && !levels.IsValid());
        return false;
    }
    expect(written(v) == bytes);
    expect(levels.IsValid() == is_list(v));
    if (is_list(v)) walk(v, &levels);
    load_trees(v);
    load_levels<CQmLutParamMCH>(bytes);
    load_levels<CQmLutParamRGB>(bytes);
    load_levels<CQmLutParamSpectralTrueColor>(bytes);
    load_levels<CQmLutParamSpectralCustomColor>(bytes);
    load_levels<CQmLutParamSpectralGrouped>(bytes);
    SQmRatioDesc desc;
    CQmLiteVariantR r(bytes.data(), bytes.size());
    SQmRatioDesc::LoadFromLiteVariant(desc, r);
    expect(r.LevelEnd() == QM_REJECTED);
    return true;
}

}  // namespace
}  // namespace qmpic::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qmpic::test;
    if (size == 0 || data[0] == 'Q') {
        read(Bytes(data, data + size));
        return 0;
    }
    uint32_t count = 0;
    const Bytes name = data[0] < std::size(kKeys) ? ascii(kKeys[data[0]]) : Bytes{};
    const Bytes children = Builder({data + 1, size - 1}).children(0, count);
    expect(read(block(list(name, count, children, size % 2 == 0 ? "" : "CQmListVariant"))));
    return 0;
}
