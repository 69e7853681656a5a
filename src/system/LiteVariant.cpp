#include "qmpic/system/LiteVariant.h"

#include <algorithm>
#include <new>

#include "qmpic/status.h"
#include "system/stored_form.h"

using namespace qmpic::stored;

// ----- Writing -----------------------------------------------------------------------------------

CQmLiteVariantW::CQmLiteVariantW() noexcept = default;
CQmLiteVariantW::~CQmLiteVariantW() = default;

/// `work(writer)` adds one node to the open level.
template <class Work>
int CQmLiteVariantW::add(const CQmStringW& sName, Work work) {
    if (m_bFailed) return QM_NO_MEMORY;
    Level& level = m_aLevels[m_uiDepth];
    if (!fits_name(sName) || level.uiCount == UINT32_MAX) return QM_BAD_BUFFER;
    try {
        work(Writer(m_vecBytes));
        ++level.uiCount;
        return QM_OK;
    } catch (const std::bad_alloc&) {
        m_bFailed = true;
        return QM_NO_MEMORY;
    }
}

int CQmLiteVariantW::LevelBegin(const CQmStringW& sName) {
    if (m_uiDepth == MaxDepth && !m_bFailed) return QM_BAD_BUFFER;
    return add(sName, [&](Writer writer) {
        const size_t begin = writer.begin_list(sName, true);
        m_aLevels[++m_uiDepth] = {begin, 0};
    });
}

int CQmLiteVariantW::LevelEnd() {
    if (m_bFailed) return QM_NO_MEMORY;
    if (m_uiDepth == 0) return QM_REJECTED;
    const Level& level = m_aLevels[m_uiDepth--];
    Writer(m_vecBytes).end_list(level.uiBegin, level.uiCount);
    return QM_OK;
}

template <class Value>
int CQmLiteVariantW::set(const CQmStringW& sName, Value value) {
    return add(sName, [&](Writer writer) { writer.number(sName, Number::of(value)); });
}
int CQmLiteVariantW::Set(const CQmStringW& sName, int iValue) { return set(sName, iValue); }
int CQmLiteVariantW::Set(const CQmStringW& sName, unsigned int uiValue) {
    return set(sName, uiValue);
}
int CQmLiteVariantW::Set(const CQmStringW& sName, double dValue) { return set(sName, dValue); }

int CQmLiteVariantW::GetBytes(std::vector<std::uint8_t>& vecBytes) const {
    if (m_bFailed) return QM_NO_MEMORY;
    if (m_uiDepth != 0) return QM_REJECTED;
    try {
        std::vector<std::uint8_t> bytes;
        Writer writer(bytes);
        const size_t block = writer.begin_block(), list = writer.begin_list({}, true);
        bytes.insert(bytes.end(), m_vecBytes.begin(), m_vecBytes.end());
        writer.end_list(list, m_aLevels[0].uiCount);
        writer.end_block(block);
        vecBytes.swap(bytes);
        return QM_OK;
    } catch (const std::bad_alloc&) {
        return QM_NO_MEMORY;
    }
}

// ----- Reading -----------------------------------------------------------------------------------

namespace {

/// The first node from `at` on that is wanted, and where it is, or `end`.
template <class Wanted>
const std::uint8_t* find(const std::uint8_t* at, const std::uint8_t* end, Node& node,
                         Wanted wanted) {
    for (; at != end; at = node.next) {
        node = node_at(at, end);
        if (wanted(node)) break;
    }
    return at;
}

bool is_level(const Node& node) { return node.kind() == Kind::kList; }

const std::uint8_t* find_unnamed(const std::uint8_t* at, const std::uint8_t* end) {
    Node node;
    return find(at, end, node, [](const Node& n) { return is_level(n) && n.name.empty(); });
}

template <class Level>
Level level_of(const Node& list) {
    const std::uint8_t* const begin = list.content.data();
    const std::uint8_t* const end = begin + list.content.size();
    return {begin, end, find_unnamed(begin, end)};
}

/// The first value of this name; null when there is none.
template <class Level>
Number value_of(const Level& level, const CQmStringW& name) {
    Node node;
    const auto* const at = find(level.pBegin, level.pEnd, node,
                                [&](const Node& n) { return !is_level(n) && equal(n.name, name); });
    return at == level.pEnd ? Number{} : node.number;
}

}  // namespace

CQmLiteVariantR::CQmLiteVariantR(const void* pBytes, std::size_t uiSize) noexcept {
    const std::optional<Node> outermost = read_block(pBytes, uiSize);
    m_bValid = outermost && is_level(*outermost);
    if (m_bValid) m_aLevels[0] = level_of<Level>(*outermost);
}

bool CQmLiteVariantR::IsValid() const noexcept { return m_bValid; }

int CQmLiteVariantR::LevelBegin(const CQmStringW& sName) noexcept {
    const Level& level = m_aLevels[m_uiDepth];
    Node node;
    const auto* const at = find(level.pBegin, level.pEnd, node,
                                [&](const Node& n) { return is_level(n) && equal(n.name, sName); });
    if (at == level.pEnd || sName.IsEmpty()) return QM_BAD_BUFFER;
    m_aLevels[++m_uiDepth] = level_of<Level>(node);
    return QM_OK;
}

bool CQmLiteVariantR::IsNextValue() const noexcept {
    const Level& level = m_aLevels[m_uiDepth];
    return level.pCursor != level.pEnd;
}

int CQmLiteVariantR::CurrentLevelBegin() noexcept {
    if (!IsNextValue()) return QM_BAD_BUFFER;
    const Level& level = m_aLevels[m_uiDepth];
    m_aLevels[++m_uiDepth] = level_of<Level>(node_at(level.pCursor, level.pEnd));
    return QM_OK;
}

int CQmLiteVariantR::LevelEnd() noexcept {
    if (m_uiDepth == 0) return QM_REJECTED;
    --m_uiDepth;
    return QM_OK;
}

int CQmLiteVariantR::NextValue() noexcept {
    if (!IsNextValue()) return QM_BAD_BUFFER;
    Level& level = m_aLevels[m_uiDepth];
    level.pCursor = find_unnamed(node_at(level.pCursor, level.pEnd).next, level.pEnd);
    return IsNextValue() ? QM_OK : QM_BAD_BUFFER;
}

int CQmLiteVariantR::Get(const CQmStringW& sName, int iDefault) const noexcept {
    return value_of(m_aLevels[m_uiDepth], sName).as_signed().value_or(iDefault);
}
unsigned int CQmLiteVariantR::Get(const CQmStringW& sName, unsigned int uiDefault) const noexcept {
    return value_of(m_aLevels[m_uiDepth], sName).as_unsigned().value_or(uiDefault);
}
double CQmLiteVariantR::Get(const CQmStringW& sName, double dDefault) const noexcept {
    return value_of(m_aLevels[m_uiDepth], sName).as_double().value_or(dDefault);
}
