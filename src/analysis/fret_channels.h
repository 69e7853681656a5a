#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/arithmetic.h"
#include "core/prefetch.h"
#include "core/rows.h"
#include "core/shapes.h"

/// Channels of a picture, taken apart a block of pixels at a time, and the correction of one of
/// them for the light of the others.

namespace qmpic {

/// Pixels that are worked on together.
inline constexpr uint64_t kBlock = 256;
/// Blocks that are not full are computed in whole vectors: what lies beyond their end is of no use
/// and does no harm.
inline uint64_t whole_vectors(uint64_t count) {
    const uint64_t whole = (count + 63) / 64 * 64;
    if (whole < count) __builtin_unreachable();  // which clang-tidy does not see by itself
    return whole;
}

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

/// Of three components all at once, which is as quick as one alone.
template <class S, size_t n>
void take_three(const Sample<S>* s, const std::array<Taken, n>& taken, uint64_t count,
                Planes<S, n>& planes) {
    alignas(64) S spare[3][kBlock];
    S* to[] = {spare[0], spare[1], spare[2]};
    for (size_t p = 0; p < n; ++p)
        if (taken[p].is_there) to[taken[p].index] = planes.values[p];
    for (uint64_t i = 0; i < count; ++i) {
        to[0][i] = s[3 * i];
        to[1][i] = s[3 * i + 1];
        to[2][i] = s[3 * i + 2];
    }
    for (size_t p = 0; p < n; ++p) {
        const S* const taken_by = taken[p].is_there ? to[taken[p].index] : planes.values[p];
        if (taken_by != planes.values[p]) std::copy_n(taken_by, count, planes.values[p]);
    }
}
/// Is that what is asked for?
template <size_t n>
bool are_of_three(uint32_t components, const std::array<Taken, n>& taken) {
    return components == 3 && std::all_of(taken.begin(), taken.end(), [&](const Taken& one) {
               return one.first == taken[0].first &&
                      (!one.is_there || (one.index >= 0 && one.index < 3));
           });
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
    const bool three = are_of_three(source.components, taken);
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        Planes<S, n> planes;
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - x);
                fetch_ahead(source.pixel(taken[0].first, y, x),
                            count * source.components * sizeof(S));
                fetch_ahead_to_write(dst.row<T>(y) + x * cells, count * cells * sizeof(T));
                if (three) take_three(source.pixel(taken[0].first, y, x), taken, count, planes);
                for (size_t p = 0; p < n; ++p)
                    if (!three && taken[p].is_there)
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
};

/// What the channels of a block hold in doubles, which loops of them alone are quickest with.
struct Lights {
    alignas(64) double values[3][kBlock];

    template <class Less, class S>
    Lights(const Signal<Less>& signal, const Planes<S, 3>& planes, uint64_t count,
           uint64_t first = 0) {
        for (size_t c = 0; c < 3; ++c)
            for (uint64_t i = 0; i < count; ++i)
                values[c][i] = static_cast<double>(signal.less[c](planes.values[c][first + i]));
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

/// Places in a scale of 256 colours, from 0 to 255, in a loop apart from the one that limits them:
/// together, GCC chooses among integers what it has compared as doubles, with twice the shuffles.
inline void cut_places(const double* places, uint64_t count, int32_t* index) {
    for (uint64_t i = 0; i < count; ++i) index[i] = static_cast<int32_t>(places[i]);
}

/// The arguments that entries and kernels share, by their names there.
#define FRET_CHANNELS                                                                              \
    qmpic::Channels {                                                                              \
        { iFretComp, iDonorComp, iAcceptorComp }                                                   \
    }
#define FRET_CORRECTION                                                                            \
    qmpic::Correction { dDonorBleed, dAcceptorBleed, dDonorInAcceptor, dAcceptorInDonor }

}  // namespace qmpic
