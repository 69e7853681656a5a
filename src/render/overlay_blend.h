#pragma once

#include <cstdint>
#include <cstring>

#include "core/arithmetic.h"
#include "core/rows.h"

/// Pixels of three bytes laid over others where a mask has bits, in blocks of up to 512. A cell
/// becomes (stays * cell + (255 - stays) * other cell) / 255, cut.

namespace qmpic {

/// A block of pixels and its parts, those of a word of the mask.
inline constexpr uint32_t kOverlayBlock = 512, kOverlayGroup = 64;
inline constexpr uint32_t kOverlayCells = 3 * kOverlayGroup;

/// The mask of a block, the leftmost pixel in bit 7 of byte 0. No bits are set behind the block.
struct alignas(64) OverlayMask {
    uint8_t bytes[kOverlayBlock / 8];

    uint64_t group(uint32_t index) const {
        return reinterpret_cast<const Sample<uint64_t>*>(bytes)[index];
    }
    bool is_empty() const {
        uint64_t any = 0;
        for (uint32_t i = 0; i < kOverlayBlock / kOverlayGroup; ++i) any |= group(i);
        return any == 0;
    }
    void clear_behind(uint32_t pixels) {
        if (pixels == kOverlayBlock) return;
        uint32_t first = pixels / 8;
        if (pixels % 8 != 0) bytes[first++] &= static_cast<uint8_t>(0xFF00u >> pixels % 8);
        std::memset(bytes + first, 0, sizeof bytes - first);
    }
};

/// What is laid over a block: its first pixel, and bytes from one group to the next, 0 where all of
/// them are alike.
struct OverlayCells {
    const Sample<uint8_t>* first;
    uint32_t step;
};

namespace detail {
/// 0 or 255 for each cell of eight pixels, for every byte of a mask.
struct CellFlags {
    uint64_t of[256][3];
    constexpr CellFlags() : of() {
        for (uint32_t byte = 0; byte < 256; ++byte)
            for (uint32_t cell = 0; cell < 24; ++cell)
                if ((byte & 0x80u >> cell / 3) != 0)
                    of[byte][cell / 8] |= uint64_t{0xFF} << cell % 8 * 8;
    }
};
inline constexpr CellFlags kCellFlags;
}  // namespace detail

/// Two cells are a word of 16 bits: the lower one is masked out and the upper one shifted down, so
/// that vectors need not be widened.
class CompiledOverlay {
  public:
    explicit CompiledOverlay(uint32_t stays)
        : stays_(static_cast<uint16_t>(stays)), comes_(static_cast<uint16_t>(255 - stays)) {}

    void block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
               uint32_t pixels) const {
        uint32_t group = 0;
        for (; group < pixels / kOverlayGroup; ++group)
            if (mask.group(group) != 0)
                whole(d + group * kOverlayCells, over.first + group * over.step,
                      mask.bytes + group * 8);
        if (pixels % kOverlayGroup == 0 || mask.group(group) == 0) return;
        const uint32_t rest = pixels % kOverlayGroup * 3;
        Sample<uint8_t> own[kOverlayCells] = {}, others[kOverlayCells] = {};
        std::memcpy(own, d + group * kOverlayCells, rest);
        std::memcpy(others, over.first + group * over.step, rest);
        whole(own, others, mask.bytes + group * 8);
        std::memcpy(d + group * kOverlayCells, own, rest);
    }

  private:
    static constexpr uint32_t kPairs = kOverlayCells / 2;

    uint16_t mixed(uint16_t old, uint16_t other) const {
        return div_255_in_16_bits(static_cast<uint16_t>(old * stays_ + other * comes_));
    }

    void whole(Sample<uint8_t>* cells, const Sample<uint8_t>* others, const uint8_t* bits) const {
        alignas(64) uint64_t flags[kOverlayCells / 8];
        for (uint32_t i = 0; i < 8; ++i)
            for (uint32_t j = 0; j < 3; ++j) flags[3 * i + j] = detail::kCellFlags.of[bits[i]][j];
        const auto* const chosen = reinterpret_cast<const Sample<uint16_t>*>(flags);
        const auto* const s = reinterpret_cast<const Sample<uint16_t>*>(others);
        auto* const d = reinterpret_cast<Sample<uint16_t>*>(cells);
        alignas(64) uint16_t made[kPairs];  // whole before it is stored: d may be s
        for (uint32_t i = 0; i < kPairs; ++i) {
            const uint16_t old = d[i], other = s[i], flag = chosen[i];
            const uint16_t low = mixed(old & 0xFF, other & 0xFF);
            const uint16_t high = mixed(old >> 8, other >> 8);
            const auto both = static_cast<uint16_t>(low | high << 8);
            made[i] = static_cast<uint16_t>(old ^ ((old ^ both) & flag));
        }
        std::memcpy(d, made, sizeof made);
    }

    uint16_t stays_, comes_;
};

/// The same by AVX-512, whose masks load and store the chosen cells and no other. To be used where
/// that level runs.
class Avx512Overlay {
  public:
    explicit Avx512Overlay(uint32_t stays) : stays_(stays) {}
    [[QM_TARGET_AVX512]] void block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
                                    uint32_t pixels) const;

  private:
    uint32_t stays_;
};

}  // namespace qmpic
