#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "core/shapes.h"

/// Channels of a picture, taken apart a block of pixels at a time, and the correction of one of
/// them for the light of the others.

namespace qmpic {

/// Pixels that are worked on together.
inline constexpr uint64_t kBlock = 256;
/// Blocks that are not full are computed in whole vectors: what lies beyond their end is of no use
/// and does no harm.
inline uint64_t whole_vectors(uint64_t count) { return (count + 63) / 64 * 64; }

/// A component of the pixels in some memory, or none, which reads as zeros.
struct Taken {
    const void* first;
    int32_t index;
    bool is_there = true;
};

/// Samples of `count` components, each side by side.
template <class S, size_t count>
struct Planes {
    alignas(64) S values[count][kBlock] = {};
};

/// Loops whose step is known are made of shuffles.
template <class S>
void take(const Sample<S>* s, uint32_t step, uint64_t count, S* plane) {
    const auto with = [=](auto known) {
        for (uint64_t i = 0; i < count; ++i) plane[i] = s[i * known()];
    };
    switch (step) {
    case 1: return with(Count<1>{});
    case 2: return with(Count<2>{});
    case 3: return with(Count<3>{});
    case 4: return with(Count<4>{});
    default: return with(Count<0>{step});
    }
}

/// Memory of which all pictures of a call have the stride: bytes, or `unit` of them.
template <class S, uint32_t unit = 1>
struct Source {
    uint32_t components, stride;
    const Sample<S>* pixel(const void* first, uint64_t y, uint64_t x) const {
        return reinterpret_cast<const Sample<S>*>(static_cast<const std::byte*>(first) +
                                                  y * stride * unit) +
               x * components;
    }
    Stride pixel_stride() const { return {stride, components * (sizeof(S) / unit)}; }
};

/// body(first sample of the destination, planes, count) for each block of pixels, in the calling
/// thread. `cells` are the samples T of a pixel of the destination.
template <class T, class S, uint32_t unit, size_t n, class Body>
void each_block(Dst dst, uint32_t cells, Source<S, unit> source, std::array<Taken, n> taken,
                Area area, Body body) {
    area = joined(kCallingThread, area, {stride_of(dst, cells * sizeof(T)), source.pixel_stride()});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        Planes<S, n> planes;
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - x);
                for (size_t p = 0; p < n; ++p)
                    if (taken[p].is_there)
                        take(source.pixel(taken[p].first, y, x) + taken[p].index, source.components,
                             count, planes.values[p]);
                body(dst.row<T>(y) + x * cells, planes, count);
            }
    });
}

/// A sample less its background, which is 0 where the channel is absent.
template <class S>
struct LessUnsigned {
    S background;
    S operator()(S value) const { return static_cast<S>(value - std::min(value, background)); }
};
struct LessFloat {
    float background;
    float operator()(float value) const {
        const float difference = value - background;
        return difference > 0 ? difference : 0;  // 0 for NaN
    }
};
/// The same without a limit, of up to 16 bits, of 32, and of floats that are cut first.
template <class S>
struct LessSigned {
    int32_t background;
    int32_t operator()(S value) const { return value - background; }
};
template <>
struct LessSigned<uint32_t> {
    int32_t background;
    double operator()(uint32_t value) const { return static_cast<double>(value) - background; }
};
template <>
struct LessSigned<float> {
    int32_t background;
    int32_t operator()(float value) const { return wrap_sub(trunc_i32(value), background); }
};

/// The signal of one dye without the light of the others.
struct Correction {
    double donor, acceptor, donor_in_acceptor, acceptor_in_donor;
    double operator()(double i1, double i2, double i3) const {
        return i1 - (i3 - i2 * donor_in_acceptor) * acceptor -
               (i2 - i3 * acceptor_in_donor) * donor;
    }
};

/// FRET, donor and acceptor, and how they become the corrected signal.
template <class Less>
struct Signal {
    std::array<Less, 3> less;
    Correction correction;

    template <class S>
    double operator()(S i1, S i2, S i3) const {
        return correction(static_cast<double>(less[0](i1)), static_cast<double>(less[1](i2)),
                          static_cast<double>(less[2](i3)));
    }
};

/// What is asked for of the three.
struct Channels {
    std::array<int32_t, 3> index;
    template <class Less, class Background>
    std::array<Less, 3> less(std::array<Background, 3> background) const {
        std::array<Less, 3> less;
        for (size_t c = 0; c < 3; ++c)
            less[c].background = index[c] < 0 ? Background{} : background[c];
        return less;
    }
    std::array<Taken, 3> taken(const void* picture) const {
        std::array<Taken, 3> taken;
        for (size_t c = 0; c < 3; ++c) taken[c] = {picture, index[c], index[c] >= 0};
        return taken;
    }
};

/// Within 0 and `top` (NaN is 0), in a form that vectors have.
inline double limited(double value, double top) {
    const double not_below = value > 0 ? value : 0;
    return not_below > top ? top : not_below;
}

/// The arguments that entries and kernels share, by their names there.
#define FRET_CHANNELS                                                                              \
    qmpic::Channels {                                                                              \
        { iFretComp, iDonorComp, iAcceptorComp }                                                   \
    }
#define FRET_CORRECTION                                                                            \
    qmpic::Correction { dDonorBleed, dAcceptorBleed, dDonorInAcceptor, dAcceptorInDonor }

}  // namespace qmpic
