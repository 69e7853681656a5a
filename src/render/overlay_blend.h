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

/// How many 255ths of a cell stay, and how many come from the other.
struct OverlayWeights {
    uint16_t stays, comes;
    explicit OverlayWeights(uint32_t stays_)
        : stays(static_cast<uint16_t>(stays_)), comes(static_cast<uint16_t>(255 - stays_)) {}
};

/// Two cells are a word of 16 bits: the lower one is masked out and the upper one shifted down, so
/// that vectors need not be widened.
struct CompiledGroups {
    OverlayWeights weights;

    void operator()(Sample<uint8_t>* d, OverlayCells over, const uint8_t* bits,
                    uint32_t count) const {
        for (; count != 0; --count, d += kOverlayCells, over.first += over.step, bits += 8)
            if (*reinterpret_cast<const Sample<uint64_t>*>(bits) != 0) group(d, over.first, bits);
    }

  private:
    static constexpr uint32_t kPairs = kOverlayCells / 2;

    uint16_t mixed(uint16_t old, uint16_t other) const {
        return div_255_in_16_bits(
            static_cast<uint16_t>(old * weights.stays + other * weights.comes));
    }

    void group(Sample<uint8_t>* cells, const Sample<uint8_t>* others, const uint8_t* bits) const {
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
};

/// The same by AVX2, whose shuffles make flags of bits, in half the time.
struct Avx2Groups {
    OverlayWeights weights;
    [[QM_TARGET_AVX2]] void operator()(Sample<uint8_t>* d, OverlayCells over, const uint8_t* bits,
                                       uint32_t count) const;
};

/// Blocks below AVX-512, by groups. The last pixels are those at the end of a whole group, which
/// overlaps the one before and has no other bits; where there is none they are copied and back.
class GroupedOverlay {
  public:
    explicit GroupedOverlay(uint32_t stays)
        : weights_(stays), by_avx2_(active_isa() == Isa::Avx2) {}

    void block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
               uint32_t pixels) const {
        const uint32_t whole = pixels / kOverlayGroup, rest = pixels % kOverlayGroup;
        groups(d, over, mask.bytes, whole);
        if (rest == 0 || mask.group(whole) == 0) return;
        if (whole != 0) {
            const uint32_t before = 3 * (pixels - kOverlayGroup);
            const uint64_t bits = __builtin_bswap64(mask.group(whole)) >> (kOverlayGroup - rest);
            const Sample<uint64_t> last[1] = {{__builtin_bswap64(bits)}};
            if (over.step != 0) over.first += before;
            groups(d + before, over, reinterpret_cast<const uint8_t*>(last), 1);
        } else {
            Sample<uint8_t> own[kOverlayCells] = {}, others[kOverlayCells] = {};
            std::memcpy(own, d, 3 * rest);
            std::memcpy(others, over.first, 3 * rest);
            groups(own, {others, kOverlayCells}, mask.bytes, 1);
            std::memcpy(d, own, 3 * rest);
        }
    }

  private:
    void groups(Sample<uint8_t>* d, OverlayCells over, const uint8_t* bits, uint32_t count) const {
        if (by_avx2_)
            Avx2Groups{weights_}(d, over, bits, count);
        else
            CompiledGroups{weights_}(d, over, bits, count);
    }

    OverlayWeights weights_;
    bool by_avx2_;
};

/// Blocks by AVX-512, whose masks load and store the chosen cells and no other.
class Avx512Overlay {
  public:
    explicit Avx512Overlay(uint32_t stays) : weights_(stays) {}
    [[QM_TARGET_AVX512]] void block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
                                    uint32_t pixels) const;

  private:
    OverlayWeights weights_;
};

}  // namespace qmpic
