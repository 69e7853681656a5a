#include "qmpic/system/Alloc.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// A block lies behind a header of its own alignment, in one allocation of the C heap. Zeroed blocks
// come from calloc, so that large ones cost nothing until they are touched.

namespace {

struct Header {
    void* raw;          // what the C heap gave
    std::size_t size;   // as requested
    std::size_t check;  // is this ours?
};
constexpr std::size_t kCheck = 0x716d7069634d656d;

constexpr std::size_t kLeastAlignment = 64;

Header& header_of(void* p) {
    return *reinterpret_cast<Header*>(static_cast<std::byte*>(p) - sizeof(Header));
}

std::size_t effective(std::size_t alignment) {
    const bool power_of_two = alignment != 0 && (alignment & (alignment - 1)) == 0;
    return std::max(power_of_two ? alignment : std::size_t{16}, kLeastAlignment);
}

}  // namespace

void* CQmAlloc::Alloc(std::uint32_t uiFlags, std::size_t uiSize, std::size_t uiAlignment) noexcept {
    const std::size_t alignment = effective(uiAlignment);
    const std::size_t extra = sizeof(Header) + alignment;
    if (uiSize == 0 || uiSize > SIZE_MAX - extra || alignment > SIZE_MAX / 4) return nullptr;
    void* const raw =
        (uiFlags & ZeroFill) != 0 ? std::calloc(1, uiSize + extra) : std::malloc(uiSize + extra);
    if (raw == nullptr) return nullptr;
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(raw) + sizeof(Header);
    const std::uintptr_t aligned = (first + alignment - 1) & ~(alignment - 1);
    void* const block = static_cast<std::byte*>(raw) + (aligned - (first - sizeof(Header)));
    header_of(block) = {raw, uiSize, kCheck};
    return block;
}

void* CQmAlloc::ReAlloc(void* pOld, std::size_t uiSize, std::uint32_t uiFlags,
                        std::size_t uiAlignment) noexcept {
    if (pOld == nullptr) return Alloc(uiFlags, uiSize, uiAlignment);
    if (uiSize == 0) {
        Free(pOld);
        return nullptr;
    }
    const std::size_t old_size = header_of(pOld).size;
    if (old_size == uiSize && reinterpret_cast<std::uintptr_t>(pOld) % effective(uiAlignment) == 0)
        return pOld;
    void* const block = Alloc(0, uiSize, uiAlignment);
    if (block == nullptr) return nullptr;
    const std::size_t kept = std::min(old_size, uiSize);
    std::memcpy(block, pOld, kept);
    if ((uiFlags & ZeroFill) != 0)
        std::memset(static_cast<std::byte*>(block) + kept, 0, uiSize - kept);
    Free(pOld);
    return block;
}

void CQmAlloc::Free(void* p) noexcept {
    if (p == nullptr) return;
    Header& header = header_of(p);
    if (header.check != kCheck) return;  // not ours: better a leak than a broken heap
    header.check = 0;
    std::free(header.raw);
}
