#pragma once

#include <bit>
#include <cstdint>
#include <vector>

#include "qmpic/LutParam.h"
#include "support/guarded_picture.h"

/// Display parameters whose levels are compared bit by bit.

namespace qmpic::test {

/// All that automatic contrast could change, and the whole of it.
inline std::vector<uint64_t> levels_of(const SQmLutParam& p) {
    std::vector<uint64_t> all{p.uiMinSrc,
                              p.uiMaxSrc,
                              std::bit_cast<uint64_t>(p.dGammaSrc),
                              p.uiMinDst,
                              p.uiMaxDst,
                              std::bit_cast<uint32_t>(p.fMinSrc),
                              std::bit_cast<uint32_t>(p.fMaxSrc),
                              p.bFloat,
                              p.uiGradient};
    for (const SQmCompLutParam& c : p.sCompLutParam)
        all.insert(all.end(), {c.uiMinSrc, c.uiMaxSrc, std::bit_cast<uint64_t>(c.dGammaSrc),
                               c.uiMinDst, c.uiMaxDst, std::bit_cast<uint32_t>(c.fMinSrc),
                               std::bit_cast<uint32_t>(c.fMaxSrc), c.uiGroup});
    return all;
}

inline double draw_fraction(Random& random) { return static_cast<double>(random(0, 1000)) / 1000; }

/// Any levels of the picture and of the first components.
inline void draw_levels(Random& random, SQmLutParam& p) {
    p.bFloat = random(0, 1);
    p.SetMinSrcDbl(draw_fraction(random));
    p.SetMaxSrcDbl(random(0, 3) == 0 ? 2000.0 : draw_fraction(random));
    p.SetGammaSrc(random.one_of({0.3, 0.5, 1.0, 1.7, 3.0}));
    for (uint32_t c = 0; c < 8; ++c) {
        p.SetCompMinSrcDbl(c, draw_fraction(random));
        p.SetCompMaxSrcDbl(c, random(0, 3) == 0 ? 0.0 : draw_fraction(random));
        p.SetCompGammaSrc(c, random.one_of({0.3, 0.5, 1.0, 1.7, 3.0}));
    }
}

}  // namespace qmpic::test
