#include "qmpic/system/RangeMask.h"

#include <algorithm>
#include <bit>

namespace {

/// The bits of word `word` that lie below `count`.
std::uint64_t below(std::uint32_t word, std::uint32_t count) {
    const std::uint32_t first = 64 * word;
    if (count <= first) return 0;
    return count - first >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << (count - first)) - 1;
}

}  // namespace

CQmRangeMask* CQmRangeMask::FULL_MASK = nullptr;

CQmRangeMask::CQmRangeMask(std::uint32_t uiSize, std::uint32_t uiFirst, std::uint32_t uiLast,
                           int iValue) noexcept
    : m_uiSize(std::min(uiSize, MaxSize)) {
    if (iValue == 0 || uiFirst > uiLast) return;
    const std::uint32_t end = std::min(std::min(uiLast, MaxSize - 1) + 1, m_uiSize);
    for (std::uint32_t word = 0; word < 3; ++word)
        m_auiWords[word] = below(word, end) & ~below(word, uiFirst);
}

void CQmRangeMask::Reset() noexcept { *this = {}; }

void CQmRangeMask::SetSize(std::uint32_t uiSize) noexcept {
    m_uiSize = std::min(uiSize, MaxSize);
    for (std::uint32_t word = 0; word < 3; ++word) m_auiWords[word] &= below(word, m_uiSize);
}

bool CQmRangeMask::Get(std::uint32_t uiIndex) const noexcept {
    return uiIndex < m_uiSize && (m_auiWords[uiIndex / 64] >> (uiIndex % 64) & 1) != 0;
}

void CQmRangeMask::Set(std::uint32_t uiIndex, bool bValue) noexcept {
    if (uiIndex >= m_uiSize) return;
    const std::uint64_t bit = std::uint64_t{1} << (uiIndex % 64);
    std::uint64_t& word = m_auiWords[uiIndex / 64];
    word = bValue ? word | bit : word & ~bit;
}

void CQmRangeMask::SetAll(bool bValue) noexcept {
    for (std::uint32_t word = 0; word < 3; ++word)
        m_auiWords[word] = bValue ? below(word, m_uiSize) : 0;
}

bool CQmRangeMask::GetFirst(std::uint32_t* puiIndex) const noexcept {
    for (std::uint32_t word = 0; word < 3; ++word)
        if (m_auiWords[word] != 0) {
            *puiIndex = 64 * word + static_cast<std::uint32_t>(std::countr_zero(m_auiWords[word]));
            return true;
        }
    return false;
}

std::uint32_t CQmRangeMask::GetCount(int iLimit) const noexcept {
    const std::uint32_t end = iLimit < 0 ? MaxSize : static_cast<std::uint32_t>(iLimit);
    std::uint32_t count = 0;
    for (std::uint32_t word = 0; word < 3; ++word)
        count += static_cast<std::uint32_t>(std::popcount(m_auiWords[word] & below(word, end)));
    return count;
}

bool CQmRangeMask::IsMaskFull(std::uint32_t uiCount) const noexcept {
    if (uiCount > m_uiSize) return false;
    for (std::uint32_t word = 0; word < 3; ++word)
        if (const std::uint64_t wanted = below(word, uiCount);
            (m_auiWords[word] & wanted) != wanted)
            return false;
    return true;
}

void CQmRangeMask::SetMask(std::uint64_t uiBits) noexcept {
    m_auiWords[0] = uiBits;
    m_auiWords[1] = m_auiWords[2] = 0;
    m_uiSize = std::max(m_uiSize, static_cast<std::uint32_t>(std::bit_width(uiBits)));
}
