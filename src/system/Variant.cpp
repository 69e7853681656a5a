#include "qmpic/system/Variant.h"

#include <algorithm>
#include <new>
#include <utility>

#include "core/no_memory.h"
#include "qmpic/status.h"
#include "system/stored_form.h"

// Every list knows how many lists lie below it, one in another, and none takes a child with which
// these would be too many. So copies, the destructor, writing and reading may call themselves.

namespace {

using namespace qmpic;
using namespace qmpic::stored;

constexpr wchar_t kListName[] = L"CQmListVariant";

/// One that is there when other objects are made and destroyed.
template <class T>
const T& shared_empty() noexcept {
    alignas(T) static std::byte place[sizeof(T)];
    static const T* const empty = new (place) T;
    return *empty;
}

void report(bool* ok, bool value) {
    if (ok != nullptr) *ok = value;
}

template <class Value>
Value or_zero(const std::optional<Value>& value, bool* ok) {
    report(ok, value.has_value());
    return value.value_or(Value{});
}

}  // namespace

struct CQmVariant::Content {
    Number number;       // whose kind is that of the variant
    bool light = false;  // a list that was stored without a type name
    CQmStringW name, text;
    CQmListVariant list;

    Kind kind() const { return number.kind; }
    bool fits() const { return fits_name(name) && fits_text(text); }
    std::uint32_t height() const { return kind() == Kind::kList ? list.m_uiHeight + 1 : 0; }

    static std::unique_ptr<Content> make(Number number, const CQmStringW& name) {
        auto content = std::make_unique<Content>();
        content->number = number;
        content->name = name;
        return content;
    }

    static void write(Writer& writer, const CQmVariant& variant) {
        if (variant.m_pContent)
            variant.m_pContent->write(writer);
        else
            writer.number({}, {});
    }
    void write(Writer& writer) const {
        switch (kind()) {
        case Kind::kText: writer.text(name, text); return;
        case Kind::kList: {
            const size_t begin = writer.begin_list(name, light);
            for (const CQmVariant& child : list.m_vecChildren) write(writer, child);
            writer.end_list(begin, list.GetCount());
            return;
        }
        default: writer.number(name, number); return;
        }
    }

    static CQmVariant read(const Node& node) {
        CQmVariant variant;
        if (node.kind() == Kind::kNull && node.name.empty()) return variant;
        variant.m_pContent = make(node.number, CQmStringW(to_wide(node.name)));
        Content& content = *variant.m_pContent;
        if (node.kind() == Kind::kText) content.text = CQmStringW(to_wide(node.content));
        if (node.kind() != Kind::kList) return variant;
        content.light = node.light;
        content.list.m_vecChildren.reserve(node.count);
        const std::uint8_t* at = node.content.data();
        for (std::uint32_t i = 0; i < node.count; ++i) {
            const Node child = node_at(at, at + (node.next - at));
            content.list.m_vecChildren.push_back(read(child));
            content.list.m_uiHeight =
                std::max(content.list.m_uiHeight, height_of(content.list.m_vecChildren.back()));
            at = child.next;
        }
        return variant;
    }

    static std::uint32_t height_of(const CQmVariant& variant) {
        return variant.m_pContent ? variant.m_pContent->height() : 0;
    }
};

// ----- CQmVariantRunType -------------------------------------------------------------------------

CQmVariantRunType::CQmVariantRunType(const wchar_t* pszName) : m_sName(pszName) {
    if (!(m_sName == CQmStringW(kListName))) m_sName = {};
}

// ----- CQmVariant --------------------------------------------------------------------------------

CQmVariant::CQmVariant() noexcept = default;
CQmVariant::CQmVariant(const unsigned int& uiValue, const CQmStringW& sName)
    : m_pContent(Content::make(Number::of(uiValue), sName)) {}
CQmVariant::CQmVariant(const double& dValue, const CQmStringW& sName)
    : m_pContent(Content::make(Number::of(dValue), sName)) {}
CQmVariant::CQmVariant(const bool& bValue, const CQmStringW& sName)
    : m_pContent(Content::make(Number::of(bValue), sName)) {}
CQmVariant::CQmVariant(const CQmStringW& sValue, const CQmStringW& sName)
    : m_pContent(Content::make({Kind::kText}, sName)) {
    m_pContent->text = sValue;
}
CQmVariant::CQmVariant(const CQmListVariant& list, const CQmStringW& sName)
    : m_pContent(Content::make({Kind::kList}, sName)) {
    m_pContent->list = list;
}

CQmVariant::CQmVariant(const CQmVariant& other)
    : m_pContent(other.m_pContent ? std::make_unique<Content>(*other.m_pContent) : nullptr),
      m_bTypeChange(other.m_bTypeChange) {}
CQmVariant::CQmVariant(CQmVariant&& other) noexcept = default;
CQmVariant& CQmVariant::operator=(const CQmVariant& other) {
    return *this = CQmVariant(other);  // which may lie in this one
}
CQmVariant& CQmVariant::operator=(CQmVariant&& other) noexcept {
    CQmVariant taken(std::move(other));
    m_pContent.swap(taken.m_pContent);
    m_bTypeChange = taken.m_bTypeChange;
    return *this;
}
CQmVariant::~CQmVariant() = default;

CQmVariant::Content& CQmVariant::content() {
    if (!m_pContent) m_pContent = std::make_unique<Content>();
    return *m_pContent;
}

void CQmVariant::EnableTypeChange(bool bEnable) noexcept { m_bTypeChange = bEnable; }

void CQmVariant::MakeNull() noexcept {
    if (!m_pContent) return;
    m_pContent->number = {};
    m_pContent->light = false;
    m_pContent->text = {};
    m_pContent->list = {};
}

int CQmVariant::SetRunType(const CQmVariantRunType& type) {
    const Kind wanted = type.GetName().IsEmpty() ? Kind::kNull : Kind::kList;
    const Kind present = m_pContent ? m_pContent->kind() : Kind::kNull;
    if (wanted == present) return QM_OK;
    if (present != Kind::kNull && !m_bTypeChange) return QM_REJECTED;
    return or_no_memory([&] {
        Content& made = content();
        MakeNull();
        made.number.kind = wanted;
        return QM_OK;
    });
}

void CQmVariant::SetName(const CQmStringW& sName) { content().name = sName; }
const CQmStringW& CQmVariant::GetName() const noexcept {
    return m_pContent ? m_pContent->name : shared_empty<CQmStringW>();
}

int CQmVariant::Append(const CQmVariant& child) {
    const Kind present = m_pContent ? m_pContent->kind() : Kind::kNull;
    if (present == Kind::kList) return m_pContent->list.Append(child);
    if (present != Kind::kNull && !m_bTypeChange) return QM_REJECTED;
    CQmListVariant list;
    if (const int code = list.Append(child); code != QM_OK) return code;
    return or_no_memory([&] {
        Content& made = content();
        MakeNull();
        made.number.kind = Kind::kList;
        made.list = std::move(list);
        return QM_OK;
    });
}

std::uint32_t CQmVariant::GetCount() const noexcept {
    return m_pContent ? m_pContent->list.GetCount() : 0;
}

const CQmVariant& CQmVariant::operator[](std::uint32_t uiIndex) const noexcept {
    return m_pContent ? m_pContent->list[uiIndex] : shared_empty<CQmVariant>();
}

const CQmVariant* CQmVariant::SearchFixedOneLevel(const CQmStringW& sName) const noexcept {
    if (!m_pContent) return nullptr;
    for (const CQmVariant& child : m_pContent->list.m_vecChildren)
        if (child.GetName() == sName) return &child;
    return nullptr;
}

unsigned int CQmVariant::GetQm_uint32(bool* pbOk) const noexcept {
    return or_zero(m_pContent ? m_pContent->number.as_unsigned() : std::nullopt, pbOk);
}
double CQmVariant::GetDouble(bool* pbOk) const noexcept {
    return or_zero(m_pContent ? m_pContent->number.as_double() : std::nullopt, pbOk);
}
bool CQmVariant::GetBool(bool* pbOk) const noexcept {
    return or_zero(m_pContent ? m_pContent->number.as_bool() : std::nullopt, pbOk);
}

CQmStringW CQmVariant::GetCQmStringW(bool* pbOk) const {
    report(pbOk, m_pContent && m_pContent->kind() == Kind::kText);
    return m_pContent ? m_pContent->text : CQmStringW();
}
CQmListVariant CQmVariant::GetCQmListVariant(bool* pbOk) const {
    report(pbOk, m_pContent && m_pContent->kind() == Kind::kList);
    return m_pContent ? m_pContent->list : CQmListVariant();
}

int CQmVariant::Write(std::vector<std::uint8_t>& vecBytes) const {
    if (m_pContent && !m_pContent->fits()) return QM_BAD_BUFFER;
    const size_t before = vecBytes.size();
    const int code = or_no_memory([&] {
        Writer writer(vecBytes);
        const size_t begin = writer.begin_block();
        Content::write(writer, *this);
        writer.end_block(begin);
        return QM_OK;
    });
    if (code != QM_OK) vecBytes.resize(before);
    return code;
}

int CQmVariant::Read(CQmVariant& variant, const void* pBytes, std::size_t uiSize) noexcept {
    const std::optional<Node> outermost = read_block(pBytes, uiSize);
    if (!outermost) return QM_REJECTED;
    return or_no_memory([&] {
        variant.m_pContent = std::move(Content::read(*outermost).m_pContent);
        return QM_OK;
    });
}

// ----- CQmListVariant ----------------------------------------------------------------------------

CQmListVariant::CQmListVariant() noexcept = default;
CQmListVariant::CQmListVariant(const CQmListVariant& other) = default;
CQmListVariant::CQmListVariant(CQmListVariant&& other) noexcept
    : m_vecChildren(std::move(other.m_vecChildren)),
      m_uiHeight(std::exchange(other.m_uiHeight, 0)) {}
CQmListVariant& CQmListVariant::operator=(const CQmListVariant& other) {
    return *this = CQmListVariant(other);
}
CQmListVariant& CQmListVariant::operator=(CQmListVariant&& other) noexcept {
    CQmListVariant taken(std::move(other));
    m_vecChildren.swap(taken.m_vecChildren);
    m_uiHeight = taken.m_uiHeight;
    return *this;
}
CQmListVariant::~CQmListVariant() = default;

std::uint32_t CQmListVariant::GetCount() const noexcept {
    return static_cast<std::uint32_t>(m_vecChildren.size());
}

int CQmListVariant::Append(const CQmVariant& child) {
    const std::uint32_t height = CQmVariant::Content::height_of(child);
    if (height > kDepthLimit || GetCount() == UINT32_MAX) return QM_BAD_BUFFER;
    if (child.m_pContent && !child.m_pContent->fits()) return QM_BAD_BUFFER;
    return or_no_memory([&] {
        m_vecChildren.push_back(CQmVariant(child));  // a copy, for it may be one of the children
        m_uiHeight = std::max(m_uiHeight, height);
        return QM_OK;
    });
}

const CQmVariant& CQmListVariant::operator[](std::uint32_t uiIndex) const noexcept {
    return uiIndex < m_vecChildren.size() ? m_vecChildren[uiIndex] : shared_empty<CQmVariant>();
}
