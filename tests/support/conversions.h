#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "qmpic/status.h"
#include "support/cases.h"

namespace qmpic::test {

/// A pixel as numbers, a component each.
using Pixel = std::vector<uint64_t>;

/// One call of a conversion on random pictures of two formats, compared pixel by pixel.
/// `call(d, s)` returns the code; `reference(d, s)` turns the destination's old pixel into the new
/// one. `top` is the greatest sample that the conversion is defined for. Where both formats are
/// stored alike the source may be the destination.
template <class Call, class Reference>
void check_conversion(Round round, Format to, Format from, uint64_t top, Call call,
                      Reference reference) {
    Random& random = round.random;
    const Size size = random.size(std::max({to.components, from.components, 1u}));
    const GuardedPicture d(to, size, random);
    GuardedPicture other(from, size, random);
    if (top < (uint64_t{1} << from.bits) - 1) other.keep_below(top, random);
    const bool alike = to.components == from.components && to.bits == from.bits;
    const GuardedPicture& s = alike && random(0, 3) == 0 ? d : other;

    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            Pixel before(to.components), source(from.components);
            for (uint32_t c = 0; c < to.components; ++c)
                before[c] = d.get(x * to.components + c, y);
            for (uint32_t c = 0; c < from.components; ++c)
                source[c] = s.get(x * from.components + c, y);
            reference(before, source);
            expected.insert(expected.end(), before.begin(), before.end());
        }
    const auto outside = d.outside();

    ASSERT_EQ(call(d, s), QM_OK);

    ASSERT_EQ(d.content(), expected)
        << size.width << " x " << size.height << " pixels, " << from.components << " x " << from.bpc
        << " to " << to.components << " x " << to.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

/// A format of a depth, in the least storage that holds it.
inline Format format_of(uint32_t components, uint32_t bpc) {
    return {components, bpc <= 8 ? 8u : bpc <= 16 ? 16u : 32u, bpc};
}

}  // namespace qmpic::test
