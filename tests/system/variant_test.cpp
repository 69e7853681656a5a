#include "qmpic/system/Variant.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qmpic/status.h"
#include "qmpic/system/LiteVariant.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/stored.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases({}, {},
                                  {"CQmVariantRunType::CQmVariantRunType",
                                   "CQmVariant::CQmVariant",
                                   "CQmVariant::~CQmVariant",
                                   "CQmVariant::operator=",
                                   "CQmVariant::EnableTypeChange",
                                   "CQmVariant::MakeNull",
                                   "CQmVariant::SetRunType",
                                   "CQmVariant::SetName",
                                   "CQmVariant::GetName",
                                   "CQmVariant::Append",
                                   "CQmVariant::GetCount",
                                   "CQmVariant::operator[]",
                                   "CQmVariant::SearchFixedOneLevel",
                                   "CQmVariant::GetQm_uint32",
                                   "CQmVariant::GetDouble",
                                   "CQmVariant::GetBool",
                                   "CQmVariant::GetCQmStringW",
                                   "CQmVariant::GetCQmListVariant",
                                   "CQmVariant::Write",
                                   "CQmVariant::Read",
                                   "CQmListVariant::CQmListVariant",
                                   "CQmListVariant::~CQmListVariant",
                                   "CQmListVariant::operator=",
                                   "CQmListVariant::GetCount",
                                   "CQmListVariant::Append",
                                   "CQmListVariant::operator[]",
                                   "CQmLiteVariantW::CQmLiteVariantW",
                                   "CQmLiteVariantW::~CQmLiteVariantW",
                                   "CQmLiteVariantW::LevelBegin",
                                   "CQmLiteVariantW::LevelEnd",
                                   "CQmLiteVariantW::Set",
                                   "CQmLiteVariantW::GetBytes",
                                   "CQmLiteVariantR::CQmLiteVariantR",
                                   "CQmLiteVariantR::IsValid",
                                   "CQmLiteVariantR::LevelBegin",
                                   "CQmLiteVariantR::IsNextValue",
                                   "CQmLiteVariantR::CurrentLevelBegin",
                                   "CQmLiteVariantR::LevelEnd",
                                   "CQmLiteVariantR::NextValue",
                                   "CQmLiteVariantR::Get"});

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

CQmVariant named(const wchar_t* name) {
    CQmVariant variant;
    variant.SetName(name);
    return variant;
}
CQmVariant list_of(const CQmVariant& child) {
    CQmVariant variant;
    EXPECT_EQ(variant.Append(child), QM_OK);
    return variant;
}
std::wstring name_of(const CQmVariant& variant) { return variant.GetName().c_str(); }

/// Everything that a getter says.
struct Seen {
    bool is_uint, is_double, is_bool, is_text, is_list;
    unsigned int uint;
    double number;
    bool boolean;
    std::wstring text;
    uint32_t children;
    explicit Seen(const CQmVariant& v)
        : uint(v.GetQm_uint32(&is_uint)),
          number(v.GetDouble(&is_double)),
          boolean(v.GetBool(&is_bool)),
          text(v.GetCQmStringW(&is_text).c_str()),
          children(v.GetCQmListVariant(&is_list).GetCount()) {}
    /// u, d, b, t, l for what it may be taken as.
    std::string kinds() const {
        std::string all;
        for (const auto& [is, letter] : {std::pair{is_uint, 'u'},
                                         {is_double, 'd'},
                                         {is_bool, 'b'},
                                         {is_text, 't'},
                                         {is_list, 'l'}})
            if (is) all += letter;
        return all;
    }
};

// ----- Values ------------------------------------------------------------------------------------

TEST(Variant, IsNullWithoutANameAtFirst) {
    const CQmVariant variant;
    const Seen seen(variant);
    EXPECT_EQ(seen.kinds(), "");
    EXPECT_EQ(seen.uint, 0u);
    EXPECT_EQ(seen.number, 0.0);
    EXPECT_FALSE(seen.boolean);
    EXPECT_EQ(seen.text, L"");
    EXPECT_EQ(seen.children, 0u);
    EXPECT_EQ(variant.GetCount(), 0u);
    EXPECT_TRUE(variant.GetName().IsEmpty());
    EXPECT_EQ(variant.SearchFixedOneLevel(L""), nullptr);
}

TEST(Variant, HoldsAValueAndAName) {
    const unsigned int number = 4000000000u;
    const double fraction = 2.5;
    const bool yes = true;
    const CQmStringW word(L"word");
    CQmListVariant children;
    EXPECT_EQ(children.Append(CQmVariant(1u, L"x")), QM_OK);

    const CQmVariant u(number, L"u"), d(fraction, L"d"), b(yes, L"b"), s(word, L"s"),
        w(L"wide", L"w"), l(children, L"l");
    EXPECT_EQ(Seen(u).kinds(), "ud");
    EXPECT_EQ(Seen(u).uint, 4000000000u);
    EXPECT_EQ(Seen(u).number, 4000000000.0);
    EXPECT_EQ(Seen(d).kinds(), "d");
    EXPECT_EQ(Seen(d).number, 2.5);
    EXPECT_EQ(Seen(b).kinds(), "ub");
    EXPECT_EQ(Seen(b).uint, 1u);
    EXPECT_TRUE(Seen(b).boolean);
    EXPECT_EQ(Seen(s).kinds(), "t");
    EXPECT_EQ(Seen(s).text, L"word");
    EXPECT_EQ(Seen(w).text, L"wide");
    EXPECT_EQ(Seen(l).kinds(), "l");
    EXPECT_EQ(Seen(l).children, 1u);
    EXPECT_EQ(name_of(u) + name_of(d) + name_of(b) + name_of(s) + name_of(w) + name_of(l),
              L"udbswl");
    EXPECT_EQ(Seen(CQmVariant(0u, L"")).kinds(), "ud") << "no null pointer to a text";
    EXPECT_EQ(Seen(CQmVariant(L"wide", CQmStringW(L"w"))).kinds(), "t");
    EXPECT_EQ(u.GetQm_uint32(), 4000000000u);  // nobody need ask whether it is one
}

static_assert(!std::is_constructible_v<CQmVariant, const int*, CQmStringW>);
static_assert(std::is_nothrow_move_constructible_v<CQmVariant> &&
              std::is_nothrow_move_assignable_v<CQmVariant> &&
              std::is_nothrow_move_constructible_v<CQmListVariant> &&
              std::is_nothrow_move_assignable_v<CQmListVariant>);

TEST(Variant, GivesDoublesAsIntegersWhenTheyAreThat) {
    for (const auto& [value, integer] :
         {std::pair{0.0, 0u}, {-0.0, 0u}, {7.0, 7u}, {4294967295.0, 4294967295u}}) {
        bool good = false;
        EXPECT_EQ(CQmVariant(value, L"").GetQm_uint32(&good), integer);
        EXPECT_TRUE(good) << value;
    }
    for (const double value : {7.5, -7.0, -1e-300, 4294967295.5, 4294967296.0, 1e300,
                               std::numeric_limits<double>::infinity(), kNan}) {
        bool good = true;
        EXPECT_EQ(CQmVariant(value, L"").GetQm_uint32(&good), 0u);
        EXPECT_FALSE(good) << value;
    }
}

TEST(Variant, KeepsEveryBitOfADouble) {
    for (const uint64_t bits : {uint64_t{0x7FF8000000000000}, 0xFFF1456789ABCDEFu,
                                0x8000000000000000u, uint64_t{1}, 0x7FF0000000000000u}) {
        const CQmVariant variant(std::bit_cast<double>(bits), L"n");
        const CQmVariant copy = tree(written(variant));
        EXPECT_EQ(std::bit_cast<uint64_t>(copy.GetDouble()), bits);
    }
}

// ----- Trees -------------------------------------------------------------------------------------

TEST(Variant, KeepsChildrenInOrderAndFindsTheFirstOfAName) {
    CQmVariant variant = named(L"top");
    EXPECT_EQ(variant.Append(CQmVariant(1u, L"a")), QM_OK);
    EXPECT_EQ(variant.Append(CQmVariant(2u, L"b")), QM_OK);
    EXPECT_EQ(variant.Append(CQmVariant(3u, L"a")), QM_OK);
    EXPECT_EQ(variant.Append(list_of(CQmVariant(4u, L"inner"))), QM_OK);
    ASSERT_EQ(variant.GetCount(), 4u);
    for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(variant[i].GetQm_uint32(), i + 1);
    EXPECT_EQ(variant.SearchFixedOneLevel(L"a"), &variant[0]);
    EXPECT_EQ(variant.SearchFixedOneLevel(L"b"), &variant[1]);
    EXPECT_EQ(variant.SearchFixedOneLevel(L"A"), nullptr);
    EXPECT_EQ(variant.SearchFixedOneLevel(L"inner"), nullptr) << "one level only";
    EXPECT_EQ(variant.SearchFixedOneLevel(L""), &variant[3]);
    EXPECT_EQ(Seen(variant[4]).kinds(), "");
    EXPECT_EQ(&variant[4], &variant[0xFFFFFFFF]) << "one for all";
    EXPECT_EQ(&variant[0][0], &CQmListVariant()[0]);
    EXPECT_EQ(name_of(variant), L"top");
}

TEST(Variant, IsAppendedToAsAListOnly) {
    CQmVariant value(5u, L"v");
    EXPECT_EQ(value.Append(CQmVariant()), QM_REJECTED);
    EXPECT_EQ(value.GetQm_uint32(), 5u);
    value.EnableTypeChange();
    EXPECT_EQ(value.Append(CQmVariant(6u, L"c")), QM_OK);
    EXPECT_EQ(Seen(value).kinds(), "l");
    EXPECT_EQ(Seen(value).uint, 0u);
    EXPECT_EQ(name_of(value), L"v");
    EXPECT_EQ(value[0].GetQm_uint32(), 6u);
    value.EnableTypeChange(false);
    EXPECT_EQ(value.Append(CQmVariant(7u, L"c")), QM_OK) << "of a list nothing changes";
    EXPECT_EQ(value.GetCount(), 2u);
}

TEST(Variant, MakesItselfNullAndAList) {
    CQmVariant text(L"value", L"name");
    EXPECT_EQ(text.SetRunType(L"CQmListVariant"), QM_REJECTED);
    EXPECT_EQ(text.SetRunType(L"no such type"), QM_REJECTED);
    EXPECT_EQ(Seen(text).text, L"value");
    text.EnableTypeChange();
    EXPECT_EQ(text.SetRunType(L"CQmListVariant"), QM_OK);
    EXPECT_EQ(Seen(text).kinds(), "l");
    EXPECT_EQ(Seen(text).text, L"");
    EXPECT_EQ(text.Append(CQmVariant(1u, L"")), QM_OK);
    EXPECT_EQ(text.SetRunType(L"CQmListVariant"), QM_OK);
    EXPECT_EQ(text.GetCount(), 1u) << "it was one";
    EXPECT_EQ(text.SetRunType(L"no such type"), QM_OK);
    EXPECT_EQ(Seen(text).kinds(), "");
    EXPECT_EQ(name_of(text), L"name");

    CQmVariant other(1u, L"other");
    other.EnableTypeChange();
    other.MakeNull();
    EXPECT_EQ(Seen(other).kinds(), "");
    EXPECT_EQ(name_of(other), L"other");
    EXPECT_EQ(other.SetRunType(L"CQmListVariant"), QM_OK);
    EXPECT_EQ(other.SetRunType(nullptr), QM_OK) << "changes of type stay enabled";
    CQmVariant fresh;
    EXPECT_EQ(fresh.SetRunType(L"CQmListVariant"), QM_OK) << "null has no type";
    EXPECT_EQ(CQmVariantRunType(L"CQmListVariant").GetName(), CQmStringW(L"CQmListVariant"));
    EXPECT_TRUE(CQmVariantRunType(L"CQmVariant").GetName().IsEmpty());
}

TEST(Variant, IsCopiedAsAWhole) {
    CQmVariant one = named(L"one");
    EXPECT_EQ(one.Append(list_of(CQmVariant(1u, L"x"))), QM_OK);
    CQmVariant copy = one;
    EXPECT_EQ(one.Append(CQmVariant(2u, L"y")), QM_OK);
    EXPECT_EQ(copy.GetCount(), 1u);
    EXPECT_EQ(copy[0][0].GetQm_uint32(), 1u);
    copy = one;
    EXPECT_EQ(written(copy), written(one));
    const Bytes bytes = written(one);
    CQmVariant moved = std::move(one);
    EXPECT_EQ(written(moved), bytes);
    EXPECT_EQ(Seen(one).kinds(), "");  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(name_of(one), L"");
    one = std::move(moved);
    EXPECT_EQ(written(one), bytes);

    CQmVariant open(1u, L"");
    open.EnableTypeChange();
    CQmVariant taught = open, assigned(2u, L"");
    assigned = open;
    EXPECT_EQ(taught.Append(CQmVariant()), QM_OK) << "the leave to change is copied";
    EXPECT_EQ(assigned.Append(CQmVariant()), QM_OK);
}

// A part of a tree may be put in the place of the whole, and the whole into itself.
TEST(Variant, TakesWhatLiesInItself) {
    CQmVariant variant = list_of(list_of(CQmVariant(1u, L"x")));
    EXPECT_EQ(variant.Append(variant), QM_OK);
    EXPECT_EQ(variant.GetCount(), 2u);
    EXPECT_EQ(variant[1][0][0].GetQm_uint32(), 1u);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(variant.Append(variant[0]), QM_OK);
    EXPECT_EQ(variant.GetCount(), 11u);
    const CQmVariant& same = variant;
    variant = same;
    EXPECT_EQ(variant.GetCount(), 11u);
    variant = variant[10];
    EXPECT_EQ(variant.GetCount(), 1u);
    EXPECT_EQ(variant[0].GetQm_uint32(), 1u);
    CQmVariant deep = list_of(list_of(CQmVariant(2u, L"y")));
    deep = CQmVariant(deep[0]);
    EXPECT_EQ(deep[0].GetQm_uint32(), 2u);
}

TEST(ListVariant, IsAnOrderedListByValue) {
    CQmListVariant list;
    EXPECT_EQ(list.GetCount(), 0u);
    EXPECT_EQ(Seen(list[0]).kinds(), "");
    EXPECT_EQ(list.Append(CQmVariant(1u, L"a")), QM_OK);
    EXPECT_EQ(list.Append(CQmVariant(2u, L"a")), QM_OK);
    CQmListVariant copy = list, moved = std::move(list);
    EXPECT_EQ(list.GetCount(), 0u);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(copy.Append(CQmVariant(3u, L"a")), QM_OK);
    EXPECT_EQ(moved.GetCount(), 2u);
    list = copy;
    EXPECT_EQ(list[2].GetQm_uint32(), 3u);
    EXPECT_EQ(list.Append(list[0]), QM_OK);
    list = std::move(moved);
    EXPECT_EQ(list.GetCount(), 2u);

    const CQmVariant variant(list, L"l");
    const CQmListVariant taken = variant.GetCQmListVariant();
    EXPECT_EQ(taken[1].GetQm_uint32(), 2u);
}

// ----- Limits ------------------------------------------------------------------------------------

/// Lists, one in another.
CQmVariant chain(uint32_t lists) {
    CQmVariant variant(9u, L"end");
    for (uint32_t i = 0; i < lists; ++i) variant = list_of(variant);
    return variant;
}

TEST(VariantLimits, AListStandsInAtMost64Others) {
    const CQmVariant most = chain(65);
    EXPECT_EQ(CQmVariant().Append(chain(64)), QM_OK);
    CQmVariant variant = named(L"target");
    EXPECT_EQ(variant.Append(most), QM_BAD_BUFFER);
    EXPECT_EQ(Seen(variant).kinds(), "") << "stays as it was";
    CQmListVariant list;
    EXPECT_EQ(list.Append(most), QM_BAD_BUFFER);
    EXPECT_EQ(list.GetCount(), 0u);
    EXPECT_EQ(list.Append(chain(64)), QM_OK);
    EXPECT_EQ(CQmVariant().Append(CQmVariant(list, L"")), QM_BAD_BUFFER);

    const Bytes bytes = written(most);
    EXPECT_EQ(written(tree(bytes)), bytes);
    CQmVariant inner = most;
    for (int i = 0; i < 65; ++i) inner = CQmVariant(inner[0]);
    EXPECT_EQ(inner.GetQm_uint32(), 9u);
}

TEST(VariantLimits, NamesAndTextsHaveAnEnd) {
    const auto text = [](size_t length, wchar_t c) { return CQmStringW(std::wstring(length, c)); };
    const wchar_t kEuro = 0x20AC;  // three bytes
    struct {
        CQmStringW name, value;
        int code;
    } const cases[] = {
        {text(1024, L'n'), {}, QM_OK},
        {text(1025, L'n'), {}, QM_BAD_BUFFER},
        {text(341, kEuro), {}, QM_OK},
        {text(342, kEuro), {}, QM_BAD_BUFFER},
        {{}, text(1 << 20, L'v'), QM_OK},
        {{}, text((1 << 20) + 1, L'v'), QM_BAD_BUFFER},
        {text(1, L'\0'), {}, QM_BAD_BUFFER},
        {{}, text(1, L'\0'), QM_BAD_BUFFER},
        {{}, text(1, static_cast<wchar_t>(0xD7FF)), QM_OK},
        {{}, text(1, static_cast<wchar_t>(0xD800)), QM_BAD_BUFFER},
        {{}, text(1, static_cast<wchar_t>(0xDFFF)), QM_BAD_BUFFER},
        {{}, text(1, static_cast<wchar_t>(0xE000)), QM_OK},
        {{}, text(1, static_cast<wchar_t>(0x10FFFF)), QM_OK},
        {{}, text(1, static_cast<wchar_t>(0x110000)), QM_BAD_BUFFER},
        {{}, text(1, static_cast<wchar_t>(-1)), QM_BAD_BUFFER},
    };
    for (const auto& [name, value, code] : cases) {
        const CQmVariant variant(value, name);
        Bytes bytes{1, 2, 3};
        EXPECT_EQ(variant.Write(bytes), code);
        EXPECT_EQ(bytes.size() > 3, code == QM_OK);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 3), (Bytes{1, 2, 3})) << "it appends";
        CQmVariant list;
        EXPECT_EQ(list.Append(variant), code);
        EXPECT_EQ(list.GetCount(), code == QM_OK);
        if (code != QM_OK) continue;
        const CQmVariant copy = tree(Bytes(bytes.begin() + 3, bytes.end()));
        EXPECT_EQ(copy.GetName(), name);
        EXPECT_EQ(copy.GetCQmStringW(), value);
    }
    CQmVariant list = list_of(CQmVariant(1u, L"x"));
    list.SetName(text(1025, L'n'));
    Bytes bytes;
    EXPECT_EQ(list.Write(bytes), QM_BAD_BUFFER);
    EXPECT_TRUE(bytes.empty());

    CQmLiteVariantW levels;
    EXPECT_EQ(levels.LevelBegin(text(1025, L'n')), QM_BAD_BUFFER);
    EXPECT_EQ(levels.Set(text(1025, L'n'), 1), QM_BAD_BUFFER);
    EXPECT_EQ(levels.Set(text(1025, L'n'), 1u), QM_BAD_BUFFER);
    EXPECT_EQ(levels.Set(text(1, L'\0'), 1.0), QM_BAD_BUFFER);
    EXPECT_EQ(levels.Set(text(1024, L'n'), 1), QM_OK);
    EXPECT_EQ(tree(written(levels)).GetCount(), 1u);
}

// ----- Levels ------------------------------------------------------------------------------------

TEST(LiteVariant, ReadsNamesInAnyOrderAndListsInTheirs) {
    CQmLiteVariantW w;
    EXPECT_EQ(w.LevelBegin(L"Class"), QM_OK);
    EXPECT_EQ(w.Set(L"version", 1), QM_OK);
    const auto list = [&](const wchar_t* key, std::initializer_list<unsigned int> values) {
        for (const unsigned int value : values) {
            EXPECT_EQ(w.LevelBegin(L""), QM_OK);
            EXPECT_EQ(w.Set(key, value), QM_OK);
            EXPECT_EQ(w.LevelEnd(), QM_OK);
        }
    };
    list(L"size", {2, 3});
    EXPECT_EQ(w.Set(L"depth", 12u), QM_OK);
    EXPECT_EQ(w.LevelBegin(L"named"), QM_OK);
    EXPECT_EQ(w.Set(L"depth", 5u), QM_OK);
    EXPECT_EQ(w.LevelEnd(), QM_OK);
    list(L"color", {7, 8, 9});
    EXPECT_EQ(w.LevelEnd(), QM_OK);
    const Bytes bytes = written(w);

    CQmLiteVariantR r(bytes.data(), bytes.size());
    EXPECT_TRUE(r.IsValid());
    EXPECT_FALSE(r.IsNextValue()) << "the outermost level has no list";
    EXPECT_EQ(r.CurrentLevelBegin(), QM_BAD_BUFFER);
    EXPECT_EQ(r.LevelBegin(L"class"), QM_BAD_BUFFER);
    EXPECT_EQ(r.LevelBegin(L""), QM_BAD_BUFFER);
    EXPECT_EQ(r.LevelEnd(), QM_REJECTED);
    EXPECT_EQ(r.LevelBegin(L"Class"), QM_OK);
    EXPECT_EQ(r.LevelBegin(L""), QM_BAD_BUFFER) << "unnamed ones are for the cursor";
    EXPECT_EQ(r.Get(L"depth", 0u), 12u) << "not the one within the named level";
    EXPECT_EQ(r.Get(L"version", 0), 1);
    EXPECT_EQ(r.Get(L"size", 77u), 77u) << "of another level";
    std::vector<unsigned int> seen;
    const auto take = [&](const wchar_t* key) {
        ASSERT_TRUE(r.IsNextValue());
        EXPECT_EQ(r.CurrentLevelBegin(), QM_OK);
        seen.push_back(r.Get(key, 0u));
        EXPECT_EQ(r.LevelEnd(), QM_OK);
    };
    take(L"size");
    take(L"size");  // the cursor stays
    EXPECT_EQ(r.LevelBegin(L"named"), QM_OK);
    EXPECT_FALSE(r.IsNextValue());
    EXPECT_EQ(r.NextValue(), QM_BAD_BUFFER);
    EXPECT_EQ(r.Get(L"depth", 0u), 5u);
    EXPECT_EQ(r.LevelEnd(), QM_OK);
    EXPECT_EQ(r.NextValue(), QM_OK);
    take(L"size");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(r.NextValue(), QM_OK);
        take(L"color");
    }
    EXPECT_EQ(r.NextValue(), QM_BAD_BUFFER);
    EXPECT_FALSE(r.IsNextValue());
    EXPECT_EQ(r.CurrentLevelBegin(), QM_BAD_BUFFER);
    EXPECT_EQ(seen, (std::vector<unsigned int>{2, 2, 3, 7, 8, 9}));
    EXPECT_EQ(r.LevelEnd(), QM_OK);
    EXPECT_EQ(r.LevelBegin(L"Class"), QM_OK);
    EXPECT_TRUE(r.IsNextValue()) << "opened again, its cursor is at the front";
}

TEST(LiteVariant, GivesNumbersOfOtherKindsWhenTheyAreExact) {
    CQmLiteVariantW w;
    for (const auto& [name, value] : {std::pair{L"i7", 7}, {L"i-7", -7}})
        EXPECT_EQ(w.Set(name, value), QM_OK);
    EXPECT_EQ(w.Set(L"u", 4000000000u), QM_OK);
    for (const auto& [name, value] : {std::pair{L"d7", 7.0},
                                      {L"d-7", -7.0},
                                      {L"d7.5", 7.5},
                                      {L"nan", kNan},
                                      {L"d2^31", 2147483648.0},
                                      {L"d-2^31", -2147483648.0},
                                      {L"d2^32", 4294967296.0}})
        EXPECT_EQ(w.Set(name, value), QM_OK);
    const Bytes bytes = written(w);
    const CQmLiteVariantR r(bytes.data(), bytes.size());
    const int i = 55;
    const unsigned int u = 66;
    const double d = 88.5;
    struct {
        const wchar_t* name;
        int as_int;
        unsigned int as_unsigned;
        double as_double;
    } const cases[] = {{L"i7", 7, 7, 7.0},
                       {L"i-7", -7, u, -7.0},
                       {L"u", i, 4000000000u, 4000000000.0},
                       {L"d7", 7, 7, 7.0},
                       {L"d-7", -7, u, -7.0},
                       {L"d7.5", i, u, 7.5},
                       {L"d2^31", i, 2147483648u, 2147483648.0},
                       {L"d-2^31", INT32_MIN, u, -2147483648.0},
                       {L"d2^32", i, u, 4294967296.0},
                       {L"none", i, u, d}};
    for (const auto& [name, as_int, as_unsigned, as_double] : cases) {
        EXPECT_EQ(r.Get(name, i), as_int) << name;
        EXPECT_EQ(r.Get(name, u), as_unsigned) << name;
        EXPECT_EQ(r.Get(name, d), as_double) << name;
    }
    EXPECT_EQ(r.Get(L"nan", i), i);
    EXPECT_EQ(r.Get(L"nan", u), u);
    EXPECT_TRUE(std::isnan(r.Get(L"nan", d)));
}

TEST(LiteVariant, ReadsTreesToo) {
    CQmVariant top = list_of(CQmVariant(L"text", L"same"));
    EXPECT_EQ(top.Append(list_of(CQmVariant(1u, L"x"))), QM_OK);
    CQmVariant same = list_of(CQmVariant(true, L"b"));
    same.SetName(L"same");
    EXPECT_EQ(top.Append(same), QM_OK);
    EXPECT_EQ(top.Append(CQmVariant(3u, L"same")), QM_OK);
    const Bytes bytes = written(top);
    CQmLiteVariantR r(bytes.data(), bytes.size());
    EXPECT_EQ(r.Get(L"same", 9u), 9u) << "the first value of the name, which is no number";
    EXPECT_TRUE(r.IsNextValue());
    EXPECT_EQ(r.LevelBegin(L"same"), QM_OK) << "the first level of the name";
    EXPECT_EQ(r.Get(L"b", 0u), 1u);
    EXPECT_EQ(r.Get(L"b", 0), 1);
    EXPECT_EQ(r.Get(L"b", 8.5), 8.5);

    const Bytes value = written(CQmVariant(1u, L"x"));
    CQmLiteVariantR none(value.data(), value.size());
    EXPECT_FALSE(none.IsValid()) << "there is no level";
    EXPECT_EQ(none.Get(L"x", 5u), 5u);
    EXPECT_EQ(none.LevelBegin(L"x"), QM_BAD_BUFFER);
    EXPECT_EQ(none.NextValue(), QM_BAD_BUFFER);
    EXPECT_FALSE(none.IsNextValue());
}

TEST(LiteVariant, WritesWhatIsClosed) {
    CQmLiteVariantW w;
    EXPECT_EQ(written(w), block(list({}, 0, {}, "")));
    EXPECT_EQ(w.LevelEnd(), QM_REJECTED);
    EXPECT_EQ(w.LevelBegin(L"a"), QM_OK);
    Bytes bytes{1, 2};
    EXPECT_EQ(w.GetBytes(bytes), QM_REJECTED);
    EXPECT_EQ(bytes, (Bytes{1, 2}));
    EXPECT_EQ(w.LevelEnd(), QM_OK);
    EXPECT_EQ(w.GetBytes(bytes), QM_OK);
    EXPECT_EQ(bytes, block(list({}, 1, list(ascii("a"), 0, {}, ""), "")));
    EXPECT_EQ(w.Set(L"more", 1u), QM_OK) << "it goes on";
    EXPECT_EQ(tree(written(w)).GetCount(), 2u);
}

TEST(LiteVariant, Has64Levels) {
    CQmLiteVariantW w;
    for (int i = 0; i < 64; ++i) ASSERT_EQ(w.LevelBegin(i % 2 == 0 ? L"" : L"n"), QM_OK);
    EXPECT_EQ(w.LevelBegin(L"n"), QM_BAD_BUFFER);
    EXPECT_EQ(w.Set(L"x", 5), QM_OK);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(w.LevelEnd(), QM_OK);
    EXPECT_EQ(w.LevelEnd(), QM_REJECTED);
    const Bytes bytes = written(w);
    CQmLiteVariantR r(bytes.data(), bytes.size());
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(i % 2 == 0 ? r.CurrentLevelBegin() : r.LevelBegin(L"n"), QM_OK);
    EXPECT_EQ(r.Get(L"x", 0), 5);
    EXPECT_EQ(r.CurrentLevelBegin(), QM_BAD_BUFFER);
    EXPECT_EQ(written(tree(bytes)), bytes);
}

// ----- The stored form ---------------------------------------------------------------------------

TEST(StoredForm, OfOneNumberIsThatOfTheDocumentation) {
    CQmLiteVariantW w;
    EXPECT_EQ(w.Set(L"a", 5u), QM_OK);
    EXPECT_EQ(written(w), (Bytes{0x51, 0x4D, 0x56, 0x54, 1, 0, 0, 0, 27,  0, 0, 0, 0, 0, 0,
                                 0,    5,    0,    0,    0, 0, 0, 1, 0,   0, 0, 9, 0, 0, 0,
                                 0,    0,    0,    0,    1, 0, 1, 0, 'a', 5, 0, 0, 0}));
}

TEST(StoredForm, OfATreeIsThatOfTheDocumentation) {
    CQmVariant top = named(L"top"), none, inner = named(L"most"), in = named(L"in");
    const auto add = [&](const CQmVariant& child) { EXPECT_EQ(top.Append(child), QM_OK); };
    add({});
    add(named(L"nothing"));
    add({0xFFFFFFFFu, L"most"});
    add({std::bit_cast<double>(0xFFF1456789ABCDEFu), L"nan"});
    add({-0.0, L""});
    add({false, L"no"});
    add({true, L"yes"});
    add({L"\u00E4\U0010FFFF", L"\u00E9\u20AC\U0001F600"});
    add({L"", L""});
    none.SetName(L"none");
    EXPECT_EQ(none.SetRunType(L"CQmListVariant"), QM_OK);
    add(none);
    EXPECT_EQ(inner.Append(CQmVariant(1u, L"most")), QM_OK);
    EXPECT_EQ(in.Append(inner), QM_OK);
    add(in);
    const Bytes expected = golden("kinds");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(written(top), expected);

    const CQmVariant read = tree(expected);
    ASSERT_EQ(read.GetCount(), 11u);
    const char* const kinds[] = {"", "", "ud", "d", "ud", "ub", "ub", "t", "t", "l", "l"};
    for (uint32_t i = 0; i < 11; ++i) {
        EXPECT_EQ(Seen(read[i]).kinds(), kinds[i]) << i;
        EXPECT_EQ(read[i].GetName(), top[i].GetName()) << i;
    }
    EXPECT_EQ(read[7].GetCQmStringW(), CQmStringW(L"\u00E4\U0010FFFF"));
    EXPECT_EQ(read[10][0][0].GetQm_uint32(), 1u);
}

TEST(StoredForm, OfLevelsIsThatOfTheDocumentation) {
    CQmLiteVariantW w;
    const auto level = [&](const wchar_t* name, auto fill) {
        EXPECT_EQ(w.LevelBegin(name), QM_OK);
        fill();
        EXPECT_EQ(w.LevelEnd(), QM_OK);
    };
    const auto number = [&](int value) {
        return [&w, value] { EXPECT_EQ(w.Set(L"i", value), QM_OK); };
    };
    level(L"A", [&] {
        number(INT32_MIN)();
        EXPECT_EQ(w.Set(L"u", 0xFFFFFFFFu), QM_OK);
        EXPECT_EQ(w.Set(L"d", 0.1), QM_OK);
    });
    level(L"", number(1));
    level(L"B", [&] {
        level(L"", number(2));
        number(3)();
    });
    level(L"", number(4));
    level(L"C", [] {});
    const Bytes expected = golden("levels");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(written(w), expected);

    CQmLiteVariantR r(expected.data(), expected.size());
    for (const int value : {1, 4}) {
        EXPECT_EQ(r.CurrentLevelBegin(), QM_OK);
        EXPECT_EQ(r.Get(L"i", 0), value);
        EXPECT_EQ(r.LevelEnd(), QM_OK);
        r.NextValue();
    }
    EXPECT_FALSE(r.IsNextValue());
    EXPECT_EQ(r.LevelBegin(L"B"), QM_OK);
    EXPECT_EQ(r.Get(L"i", 0), 3);
}

/// Every number that levels hold, and a tree made of the same bytes, in the order of the bytes.
void expect_same(CQmLiteVariantR& levels, const CQmVariant& list) {
    for (uint32_t i = 0; i < list.GetCount(); ++i) {
        const CQmVariant& child = list[i];
        bool is_list = false, is_uint = false, is_double = false;
        child.GetCQmListVariant(&is_list);
        if (is_list) {
            const bool unnamed = child.GetName().IsEmpty();
            ASSERT_EQ(unnamed ? levels.CurrentLevelBegin() : levels.LevelBegin(child.GetName()),
                      QM_OK);
            expect_same(levels, child);
            EXPECT_EQ(levels.LevelEnd(), QM_OK);
            if (unnamed) levels.NextValue();
            continue;
        }
        const unsigned int uint = child.GetQm_uint32(&is_uint);
        const double number = child.GetDouble(&is_double);
        EXPECT_EQ(levels.Get(child.GetName(), 1234567u), is_uint ? uint : 1234567u);
        const double same = levels.Get(child.GetName(), 0.25);
        EXPECT_EQ(std::bit_cast<uint64_t>(same),
                  std::bit_cast<uint64_t>(is_double ? number : 0.25));
    }
    EXPECT_FALSE(levels.IsNextValue());
}

TEST(StoredForm, ShowsTheSameAsLevelsAndAsATree) {
    Random random(5);
    for (int round = 0; round < 300; ++round) {
        CQmLiteVariantW w;
        uint32_t depth = 0, names = 0;
        for (int step = 0; step < 60; ++step) {
            const std::wstring name = L"n" + std::to_wstring(names++);
            switch (random(0, 5)) {
            case 0: EXPECT_EQ(w.Set(name, static_cast<int>(random.any())), QM_OK); break;
            case 1: EXPECT_EQ(w.Set(name, random.any()), QM_OK); break;
            case 2:
                EXPECT_EQ(
                    w.Set(name, std::bit_cast<double>(uint64_t{random.any()} << 32 | random.any())),
                    QM_OK);
                break;
            case 3: EXPECT_EQ(w.Set(name, static_cast<double>(random(0, 8)) - 4), QM_OK); break;
            case 4:
                if (depth == 64) break;
                EXPECT_EQ(w.LevelBegin(random(0, 1) == 0 ? std::wstring() : name), QM_OK);
                ++depth;
                break;
            default:
                if (depth == 0) break;
                EXPECT_EQ(w.LevelEnd(), QM_OK);
                --depth;
            }
        }
        for (; depth > 0; --depth) EXPECT_EQ(w.LevelEnd(), QM_OK);
        const Bytes bytes = written(w);
        CQmLiteVariantR r(bytes.data(), bytes.size());
        const CQmVariant whole = tree(bytes);
        expect_same(r, whole);
        EXPECT_EQ(written(whole), bytes);
    }
}

// ----- Bytes that are not to be believed ---------------------------------------------------------

/// Both readers have the same opinion; the target of a failure stays as it was.
testing::AssertionResult refused(const Bytes& bytes) {
    CQmVariant target(77u, L"old");
    const int code = CQmVariant::Read(target, bytes.data(), bytes.size());
    if (code == QM_OK) return testing::AssertionFailure() << "taken";
    if (code != QM_REJECTED) return testing::AssertionFailure() << code;
    if (target.GetQm_uint32() != 77 || name_of(target) != L"old")
        return testing::AssertionFailure() << "the target changed";
    if (CQmLiteVariantR(bytes.data(), bytes.size()).IsValid())
        return testing::AssertionFailure() << "valid levels";
    return testing::AssertionSuccess();
}
testing::AssertionResult refused_node(const Bytes& child) {
    return refused(block(list({}, 1, child)));
}
/// As the only child of a list; what is taken must be written again.
testing::AssertionResult taken_node(const Bytes& child) {
    const Bytes bytes = block(list({}, 1, child));
    CQmVariant target;
    if (const int code = CQmVariant::Read(target, bytes.data(), bytes.size()); code != QM_OK)
        return testing::AssertionFailure() << code;
    if (written(target) != bytes) return testing::AssertionFailure() << "written otherwise";
    if (!CQmLiteVariantR(bytes.data(), bytes.size()).IsValid())
        return testing::AssertionFailure() << "no valid levels";
    return testing::AssertionSuccess();
}

const Bytes kOne = node(1, ascii("a"), little(uint32_t{7}));

TEST(StoredFormReader, WantsItsOwnHead) {
    EXPECT_TRUE(taken_node(kOne));
    const Bytes fine = block(list({}, 1, kOne));
    for (size_t i = 0; i < 8; ++i) {  // magic, version 1, flags 0
        Bytes other = fine;
        other[i] ^= 2;
        EXPECT_TRUE(refused(other)) << i;
    }
    EXPECT_TRUE(refused({}));
    EXPECT_TRUE(refused(ascii("QMVT") + Bytes{1, 0, 0, 0} + little(uint64_t{0}))) << "no node";
    CQmVariant target;
    EXPECT_EQ(CQmVariant::Read(target, nullptr, 0), QM_REJECTED);
    EXPECT_EQ(CQmVariant::Read(target, nullptr, 100), QM_REJECTED);
    EXPECT_FALSE(CQmLiteVariantR(nullptr, 100).IsValid());
}

TEST(StoredFormReader, WantsLengthsToTheByte) {
    const Bytes outermost = list({}, 1, kOne), head = ascii("QMVT") + Bytes{1, 0, 0, 0};
    for (const uint64_t wrong :
         {uint64_t{0}, outermost.size() - 1, outermost.size() + 1, uint64_t{1} << 40, UINT64_MAX})
        EXPECT_TRUE(refused(head + little(wrong) + outermost)) << wrong;
    EXPECT_TRUE(refused(block(outermost) + Bytes{0}));
    EXPECT_TRUE(refused(block(outermost + Bytes{0}))) << "behind the outermost node";

    // Children that end before or behind the list's end.
    const auto sized = [](uint32_t count, uint64_t size, const Bytes& children) {
        return node(5, {}, little(uint16_t{0}) + little(count) + little(size) + children);
    };
    EXPECT_TRUE(taken_node(sized(1, kOne.size(), kOne)));
    for (const uint64_t wrong : {uint64_t{0}, kOne.size() - 1, kOne.size() + 1, UINT64_MAX})
        EXPECT_TRUE(refused_node(sized(1, wrong, kOne))) << wrong;
    EXPECT_TRUE(refused_node(sized(0, kOne.size(), kOne)));
    EXPECT_TRUE(refused_node(sized(2, kOne.size(), kOne)));
    EXPECT_TRUE(refused_node(sized(UINT32_MAX, kOne.size(), kOne)));
    EXPECT_TRUE(refused_node(sized(1, 0, {})));
    EXPECT_TRUE(refused(block(list({}, 2, sized(1, kOne.size() + kOne.size(), kOne) + kOne))));
    EXPECT_TRUE(refused(block(sized(3, 11, Bytes(11))))) << "a node has at least four bytes";
    EXPECT_TRUE(taken_node(sized(3, 12, Bytes(12))));
}

TEST(StoredFormReader, WantsKindsThatItKnows) {
    EXPECT_TRUE(taken_node(node(0, {}, {})));
    EXPECT_TRUE(taken_node(node(6, ascii("s"), little(uint32_t{0x80000000}))));
    for (int kind = 7; kind < 256; ++kind)
        EXPECT_TRUE(refused_node(node(static_cast<uint8_t>(kind), {}, {}))) << kind;
    for (const uint8_t zero : Bytes{1, 128}) {
        Bytes other = kOne;
        other[1] = zero;
        EXPECT_TRUE(refused_node(other));
    }
    for (const uint8_t value : Bytes{0, 1}) EXPECT_TRUE(taken_node(node(3, {}, {value})));
    for (const uint8_t value : Bytes{2, 255}) EXPECT_TRUE(refused_node(node(3, {}, {value})));
    for (const char* const type : {"", "CQmListVariant"})
        EXPECT_TRUE(taken_node(list({}, 1, kOne, type)));
    for (const char* const type : {"CQmListVarianT", "CQmListVarian", "CQmListVariant2", "C"})
        EXPECT_TRUE(refused_node(list({}, 1, kOne, type))) << type;
}

TEST(StoredFormReader, WantsPayloadsInFull) {
    for (const auto& [kind, size] : {std::pair{1, 4}, {2, 8}, {3, 1}, {4, 4}, {5, 14}, {6, 4}})
        for (int left = 0; left < size; ++left)
            EXPECT_TRUE(refused(
                block(node(static_cast<uint8_t>(kind), {}, Bytes(static_cast<size_t>(left))))))
                << kind << " of " << left;
}

TEST(StoredFormReader, HasTheLimitsOfTheWriter) {
    const auto name = [](size_t size) { return Bytes(size, 'n'); };
    const auto text = [](size_t size) {
        return node(4, {}, little(static_cast<uint32_t>(size)) + Bytes(size, 't'));
    };
    EXPECT_TRUE(taken_node(node(0, name(1024), {})));
    EXPECT_TRUE(refused_node(node(0, name(1025), {})));
    EXPECT_TRUE(taken_node(text(1 << 20)));
    EXPECT_TRUE(refused_node(text((1 << 20) + 1)));
    for (const uint32_t wrong : {4u, 6u, 0xFFFFFFFFu})
        EXPECT_TRUE(refused_node(node(4, {}, little(wrong) + Bytes(5, 't')))) << wrong;
    for (const uint16_t wrong : {uint16_t{2}, uint16_t{0xFFFF}}) {
        Bytes other = kOne;
        other[2] = static_cast<uint8_t>(wrong);
        other[3] = static_cast<uint8_t>(wrong >> 8);
        EXPECT_TRUE(refused_node(other)) << wrong;
    }
    Bytes nested = kOne;
    for (int i = 0; i < 65; ++i) nested = list({}, 1, nested, i % 2 == 0 ? "" : "CQmListVariant");
    EXPECT_EQ(written(tree(block(nested))), block(nested));
    EXPECT_TRUE(refused(block(list({}, 1, nested))));
    for (int i = 0; i < 2000; ++i) nested = list({}, 1, nested, "");
    EXPECT_TRUE(refused(block(nested)));
}

TEST(StoredFormReader, WantsTextInItsShortestForm) {
    for (const Bytes& text :
         {Bytes{0x7F}, Bytes{0xC2, 0x80}, Bytes{0xDF, 0xBF}, Bytes{0xE0, 0xA0, 0x80},
          Bytes{0xED, 0x9F, 0xBF}, Bytes{0xEE, 0x80, 0x80}, Bytes{0xF0, 0x90, 0x80, 0x80},
          Bytes{0xF4, 0x8F, 0xBF, 0xBF}}) {
        EXPECT_TRUE(taken_node(node(0, text, {})));
        EXPECT_TRUE(taken_node(node(4, {}, little(static_cast<uint32_t>(text.size())) + text)));
    }
    for (const Bytes& text : {Bytes{0},
                              Bytes{'a', 0, 'b'},
                              Bytes{0x80},
                              Bytes{0xBF},
                              Bytes{0xC0, 0x80},
                              Bytes{0xC1, 0xBF},
                              Bytes{0xC2},
                              Bytes{0xC2, 'a'},
                              Bytes{0xC2, 0xC0},
                              Bytes{0xE0, 0x80, 0x80},
                              Bytes{0xE0, 0x9F, 0xBF},
                              Bytes{0xE2, 0x82},
                              Bytes{0xE2, 0x82, 'a'},
                              Bytes{0xED, 0xA0, 0x80},
                              Bytes{0xED, 0xBF, 0xBF},
                              Bytes{0xF0, 0x80, 0x80, 0x80},
                              Bytes{0xF0, 0x8F, 0xBF, 0xBF},
                              Bytes{0xF4, 0x90, 0x80, 0x80},
                              Bytes{0xF5, 0x80, 0x80, 0x80},
                              Bytes{0xF0, 0x9F, 0x98},
                              Bytes{0xF8, 0x88, 0x80, 0x80, 0x80},
                              Bytes{0xFE},
                              Bytes{0xFF}}) {
        EXPECT_TRUE(refused_node(node(0, text, {})));
        EXPECT_TRUE(refused_node(node(4, {}, little(static_cast<uint32_t>(text.size())) + text)));
    }
}

TEST(StoredFormReader, RefusesEveryFrontOfAFile) {
    for (const char* const name : kGolden) {
        const Bytes whole = golden(name);
        ASSERT_FALSE(whole.empty()) << name;
        EXPECT_EQ(written(tree(whole)), whole) << name;
        for (size_t size = 0; size < whole.size(); ++size) {
            const Bytes front(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
            ASSERT_TRUE(refused(front)) << name << " " << size;
        }
    }
}

TEST(StoredFormReader, RefusesOrWritesAgainWhateverBitFlips) {
    for (const char* const name : kGolden) {
        const Bytes whole = golden(name);
        for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
            Bytes flipped = whole;
            flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
            CQmVariant target(77u, L"old");
            const int code = CQmVariant::Read(target, flipped.data(), flipped.size());
            if (code == QM_OK)
                ASSERT_EQ(written(target), flipped) << name << " " << bit;
            else
                ASSERT_TRUE(refused(flipped)) << name << " " << bit;
        }
    }
}

// ----- Memory ------------------------------------------------------------------------------------

/// What is asked for in all while a block is read.
uint64_t bytes_for(const Bytes& bytes) {
    CQmVariant target;
    const FailingAlloc memory(0);
    EXPECT_TRUE(CQmVariant::Read(target, bytes.data(), bytes.size()) != QM_NO_MEMORY);
    return memory.bytes();
}

TEST(StoredFormReader, TakesAtMost64BytesForAByte) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const auto repeated = [](const Bytes& child, uint32_t count) {
        Bytes all;
        for (uint32_t i = 0; i < count; ++i) all.insert(all.end(), child.begin(), child.end());
        return block(list({}, count, all));
    };
    Bytes nested = kOne;
    for (int i = 0; i < 63; ++i) nested = list({}, 1, nested, "");
    // Each list says that it holds as many nodes as it could.
    Bytes boasting(4000);
    for (int i = 0; i < 64; ++i)
        boasting = list({}, static_cast<uint32_t>(boasting.size() / 4), boasting, "");
    for (const Bytes& bytes :
         {repeated(node(0, {}, {}), 100000), repeated(node(0, ascii("n"), {}), 100000),
          repeated(node(0, ascii("name"), {}), 100000), repeated(node(3, {}, {1}), 100000),
          repeated(node(4, {}, Bytes(4)), 100000), repeated(list({}, 0, {}, ""), 100000),
          repeated(node(4, {}, little(uint32_t{1000000}) + Bytes(1000000, 'x')), 3),
          repeated(nested, 1000), block(boasting), golden("SQmLutParam"), golden("kinds")}) {
        EXPECT_LE(bytes_for(bytes), 64 * bytes.size() + 65536);
        const FailingAlloc memory(0);
        const CQmLiteVariantR levels(bytes.data(), bytes.size());
        EXPECT_EQ(memory.seen(), 0u) << "levels are walked where they lie";
    }
    EXPECT_EQ(bytes_for(block(boasting)), 0u) << "refused before anything is made";
}

TEST(StoredFormMemory, IsMissingWithoutHarm) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Bytes bytes = golden("kinds");
    CQmVariant target(77u, L"old");
    each_failure(
        [&] {
            const int code = CQmVariant::Read(target, bytes.data(), bytes.size());
            if (code == QM_OK) target = CQmVariant();
            return code;
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, outcome.failed == 0 ? QM_OK : QM_NO_MEMORY) << n;
            EXPECT_FALSE(outcome.threw);
            if (n == 0)
                target = CQmVariant(77u, L"old");
            else
                EXPECT_EQ(outcome.live, 0) << n;
            EXPECT_EQ(target.GetQm_uint32(), 77u);
        });

    const CQmVariant kinds = tree(bytes);
    each_failure(
        [&] {
            Bytes local;
            const int code = kinds.Write(local);
            if (code == QM_OK ? local != bytes : !local.empty()) return 1;
            return code;
        },
        [&](uint32_t, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, outcome.failed == 0 ? QM_OK : QM_NO_MEMORY);
            EXPECT_EQ(outcome.live, 0);
        });

    for (const bool is_list : {true, false}) {
        CQmVariant list = named(L"l");
        if (is_list) {
            EXPECT_EQ(list.Append(kinds), QM_OK);
        }
        const Bytes before = written(list);
        each_failure([&] { return CQmVariant(list).Append(kinds); },
                     [&](uint32_t, const Outcome& outcome) {
                         EXPECT_EQ(outcome.code, outcome.threw         ? 0
                                                 : outcome.failed == 0 ? QM_OK
                                                                       : QM_NO_MEMORY);
                         EXPECT_EQ(outcome.live, 0);
                         EXPECT_EQ(written(list), before);
                     });
    }
    each_failure(
        [] {
            const CQmVariantRunType type(L"CQmListVariant");
            return CQmVariant().SetRunType(type);
        },
        [](uint32_t, const Outcome& outcome) {
            EXPECT_TRUE(outcome.threw ||
                        outcome.code == (outcome.failed == 0 ? QM_OK : QM_NO_MEMORY));
            EXPECT_EQ(outcome.live, 0);
        });
}

TEST(StoredFormMemory, ThatFailedOnceSpoilsWrittenLevels) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const CQmStringW level(L"level"), key(L"key");
    uint32_t refusals = 0;
    each_failure(
        [&] {
            CQmLiteVariantW w;
            const int codes[] = {w.LevelBegin(level), w.Set(key, 1),    w.Set(key, 1u),
                                 w.Set(key, 1.0),     w.LevelBegin({}), w.LevelEnd(),
                                 w.LevelEnd()};
            bool failed = false;
            for (const int code : codes) {
                EXPECT_EQ(code, failed || code != QM_OK ? QM_NO_MEMORY : QM_OK);
                failed = code != QM_OK;
            }
            refusals += failed;
            Bytes bytes;
            return w.GetBytes(bytes);
        },
        [](uint32_t, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, outcome.failed == 0 ? QM_OK : QM_NO_MEMORY);
            EXPECT_FALSE(outcome.threw);
            EXPECT_EQ(outcome.live, 0);
        });
    EXPECT_GT(refusals, 2u);
}

}  // namespace
}  // namespace qmpic::test
