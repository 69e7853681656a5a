#include <cmath>
#include <limits>

#include "analysis/colour_scale.h"
#include "analysis/fret_channels.h"
#include "analysis/wrapped_histogram.h"
#include "core/arithmetic.h"
#include "core/frame.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/lookup.h"

// The efficiency of energy transfer in percent, as a colour that is shaded by the donor.

namespace {

using namespace qmpic;

// ----- From a ratio to a colour

/// An efficiency of E percent as a place in the scale: the two ways differ in the last bit.
struct ByteWay {
    static double place(double efficiency) { return efficiency * 255.0 / 100.0; }
};
struct WordWay {
    static double place(double efficiency) { return efficiency / 100.0 * 255.0; }
};

/// The percentages that get the first and the last colour.
struct Stretch {
    double least, greatest;
    bool is_one() const { return greatest > least; }
    double operator()(double efficiency) const {
        return (efficiency - least) / (greatest - least) * 100.0;
    }
};

template <class Way>
struct ExactColour {
    Stretch stretch;
    Limits<double> percents{0, 100};
    double operator()(double ratio) const {
        double efficiency = ratio * 100.0;
        if (stretch.is_one()) efficiency = stretch(efficiency);
        return Way::place(percents(efficiency));
    }
};

/// The same without quotients, which cost more than all the rest: a colour from somewhat below the
/// place and one from somewhat above it. Where the two are the same that is the colour: place and
/// exact place are each some roundings from the true one, of at most |least| and the span of the
/// stretch, and these make less than 255 * 2e4 * 8 * 2^-53 of a colour.
struct NearColour {
    double factor, offset;
    Limits<double> limits{0, 255};
    static constexpr double kMargin = 1e-7;

    explicit NearColour(Stretch stretch)
        : factor(255.0 * 100.0 / (stretch.is_one() ? stretch.greatest - stretch.least : 100.0)),
          offset(stretch.is_one() ? stretch.least / 100.0 * factor : 0) {}
    static bool serves(Stretch stretch) {
        if (!stretch.is_one()) return true;
        const double span = stretch.greatest - stretch.least;
        return span > 1e-3 && span < 1e9 && std::fabs(stretch.least) < 1e4 * span;
    }
    double below(double ratio) const { return limits(ratio * factor - (offset + kMargin)); }
    double above(double ratio) const { return limits(ratio * factor - (offset - kMargin)); }
};

/// index[i] = colour of ratios[i]
template <class Way>
void find_colours(const double* ratios, uint64_t count, Stretch stretch, bool near_serves,
                  const NearColour& near, int32_t* index) {
    alignas(64) double places[kBlock], above[kBlock];
    if (near_serves) {
        for (uint64_t i = 0; i < count; ++i) {
            places[i] = near.below(ratios[i]);
            above[i] = near.above(ratios[i]);
        }
        cut_places(places, count, index);
        int32_t different = 0;
        for (uint64_t i = 0; i < count; ++i) different |= index[i] ^ static_cast<int32_t>(above[i]);
        if (different == 0) return;
    }
    const ExactColour<Way> exact{stretch};
    if (stretch.is_one())
        for (uint64_t i = 0; i < count; ++i) places[i] = exact(ratios[i]);
    else
        for (uint64_t i = 0; i < count; ++i) places[i] = exact(ratios[i]);
    cut_places(places, count, index);
}

/// F to I2 of a block, which is 0 where there is no donor: where it is below 1 or, of floats, not
/// above 0.
template <class Less>
struct ToDonor {
    Signal<Less> signal;
    template <class S>
    void operator()(const Planes<S, 3>& planes, uint64_t count, double* ratios) const {
        const Lights lights(signal, planes, count);
        const auto& [i1, i2, i3] = lights.values;
        const double zero = hidden(0.0);
        for (uint64_t i = 0; i < count; ++i) {
            const double part = signal.correction(i1[i], i2[i], i3[i]);
            const double ratio = (zero < part ? part : zero) / i2[i];
            ratios[i] = i2[i] > 0 ? ratio : 0.0;
        }
    }
};

// ----- Shade

/// What is known of the donor in all of a picture.
struct Levels {
    uint32_t least, most;  ///< what is taken off the shade, and where it ends
    /// Of a colour times the shade: with a table, and without.
    uint32_t with_table, without;
    uint32_t divisor(const void* luts) const { return luts != nullptr ? with_table : without; }
};

/// How bright the colour of a pixel is, of integers.
struct Shade {
    int32_t background, least, mask, most;
    template <class S>
    int32_t operator()(S donor) const {
        const int32_t shade = wrap_sub(donor - background, least);
        return shade < 1 ? 0 : std::min(shade & mask, most);
    }
};

/// colour * shade / divisor of bytes and words, toward zero, as products. With half of 1 added
/// quotients are 0.5 / divisor from every whole number; below 256 that is more than what roundings
/// of floats change, while the divisor is at most 8191.
template <class Real>
struct Shaded {
    Real inverse;
    explicit Shaded(uint32_t divisor) : inverse(Real{1} / static_cast<Real>(divisor)) {}
    static bool serves(uint32_t divisor) { return sizeof(Real) == 8 || divisor <= 8191; }
    uint32_t operator()(uint32_t colour, Real shade) const {
        const Real product = static_cast<Real>(static_cast<int32_t>(colour)) * shade;
        return static_cast<uint32_t>(static_cast<int32_t>((product + Real{0.5}) * inverse));
    }
};

/// The colours of a scale as words, cell 0 lowest.
struct ColourTable {
    uint32_t words[256];
    explicit ColourTable(const void* luts) {
        const ColourScale colours = colour_scale(luts);
        for (size_t k = 0; k < 256; ++k)
            words[k] = colours[k][0] | uint32_t{colours[k][1]} << 8 | uint32_t{colours[k][2]} << 16;
    }
};

/// Pixels of three bytes from words.
void write_words(Sample<uint8_t>* d, uint64_t count, const uint32_t* words) {
    uint64_t i = 0;
    for (; i + 4 <= count; i += 4)
        write_four(d + 3 * i, words[i], words[i + 1], words[i + 2], words[i + 3]);
    for (; i < count; ++i)
        for (uint64_t c = 0; c < 3; ++c) d[3 * i + c] = static_cast<uint8_t>(words[i] >> c * 8);
}

void look_up(const int32_t* index, uint64_t count, const ColourTable& colours, uint32_t* words) {
#pragma GCC unroll 4
    for (uint64_t i = 0; i < count; ++i) words[i] = colours.words[index[i]];
}

template <class Real, class S>
void shade_colours(const S* donor, uint64_t count, const Shade& shade, const Shaded<Real>& shaded,
                   uint32_t* words) {
    for (uint64_t i = 0; i < count; ++i) {
        const auto b = static_cast<Real>(shade(donor[i]));
        const uint32_t word = words[i];
        words[i] =
            shaded(word & 255, b) | shaded(word >> 8 & 255, b) << 8 | shaded(word >> 16, b) << 16;
    }
}

/// Draws with any ratio: `ratio(planes, count, ratios)`; plane `donor` is what shades.
template <class Way, class Real, class S, size_t n, class Ratio>
void draw_with(Dst dst, Source<S> source, std::array<Taken, n> taken, size_t donor,
               const Ratio& ratio, Stretch stretch, const Shade& shade, uint32_t divisor,
               const void* luts, Area area) {
    each_block<uint8_t>(dst, 3, source, taken, area,
                        [=, colours = ColourTable(luts), near = NearColour(stretch),
                         serves = NearColour::serves(stretch), shaded = Shaded<Real>(divisor)](
                            Sample<uint8_t>* d, const Planes<S, n>& planes, uint64_t count) {
                            alignas(64) double ratios[kBlock];
                            alignas(64) int32_t index[kBlock];
                            alignas(64) uint32_t words[kBlock];
                            const uint64_t whole = whole_vectors(count);
                            ratio(planes, whole, ratios);
                            find_colours<Way>(ratios, whole, stretch, serves, near, index);
                            look_up(index, whole, colours, words);
                            shade_colours(planes.values[donor], whole, shade, shaded, words);
                            write_words(d, count, words);
                        });
}

template <class Way, class S, size_t n, class Ratio>
int draw(Dst dst, Source<S> source, std::array<Taken, n> taken, size_t donor, const Ratio& ratio,
         Stretch stretch, const Shade& shade, uint32_t divisor, const void* luts, Area area) {
    const auto with = [&]<class Real>(Real) {
        draw_with<Way, Real>(dst, source, taken, donor, ratio, stretch, shade, divisor, luts, area);
        return QM_OK;
    };
    return Shaded<float>::serves(divisor) ? with(float{}) : with(double{});
}

// ----- Levels of the donor

/// Bytes: from the least to the greatest, less the background.
Levels levels_of_bytes(Source<uint8_t> source, Taken donor, uint8_t background, Area area) {
    area = joined(kCallingThread, area, {source.pixel_stride()});
    uint8_t least = 255, greatest = 0;
    walk_rows(kCallingThread, area.rows, [=, &least, &greatest](RowRange rows) {
        uint8_t low[kBlock], high[kBlock], plane[kBlock];
        std::fill_n(low, kBlock, uint8_t{255});
        std::fill_n(high, kBlock, uint8_t{0});
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - x);
                take(source.pixel(donor.first, y, x) + donor.index, source.components, count,
                     plane);
                for (uint64_t i = 0; i < count; ++i) {
                    low[i] = std::min(low[i], plane[i]);
                    high[i] = std::max(high[i], plane[i]);
                }
            }
        least = *std::min_element(low, low + kBlock);
        greatest = *std::max_element(high, high + kBlock);
    });
    const LessUnsigned<uint8_t> less{background};
    const uint32_t m = less(least), most = std::max<uint32_t>(less(greatest), 1);
    return {m, 255, 255, most != m ? most - m : 1};
}

/// Words: up to where the brightest hundredth begins. False when there is no memory.
bool levels_of_words(Source<uint16_t> source, Taken donor, uint16_t background, uint64_t size,
                     Area area, Levels* levels) {
    area = joined(kCallingThread, area, {source.pixel_stride()});
    const LessUnsigned<uint16_t> less{background};
    SignalLevels found;
    const auto values = [=](uint16_t* to, uint64_t y, uint64_t x, uint64_t n) {
        take(source.pixel(donor.first, y, x) + donor.index, source.components, n, to);
        for (uint64_t i = 0; i < n; ++i) to[i] = less(to[i]);
    };
    if (!find_signal_levels(area, size, values, &found)) return false;
    if (found.upper <= found.lower) ++found.upper;
    const uint32_t width = found.upper - found.lower;  // it wraps where there is no lower level
    *levels = {found.lower, found.upper, found.upper, width != 0 ? width : 1};
    return true;
}

// ----- What the kernels of a storage have in common

struct Bytes {
    using Sample = uint8_t;
    using Way = ByteWay;
    static bool find(Source<uint8_t> source, Taken donor, uint32_t background, uint64_t /*size*/,
                     Area area, Levels* levels) {
        *levels =
            levels_of_bytes(source, donor, static_cast<uint8_t>(std::min(background, 255u)), area);
        return true;
    }
};
struct Words {
    using Sample = uint16_t;
    using Way = WordWay;
    static bool find(Source<uint16_t> source, Taken donor, uint32_t background, uint64_t size,
                     Area area, Levels* levels) {
        return levels_of_words(source, donor, static_cast<uint16_t>(background), size, area,
                               levels);
    }
};

/// Draws the ratio of pixels whose plane `donor`, of that background, is the donor.
template <class Storage, size_t n, class Ratio>
int draw_shaded(Dst dst, Source<typename Storage::Sample> source, std::array<Taken, n> taken,
                size_t donor, uint32_t background, const Ratio& ratio, Stretch stretch,
                const void* luts, uint32_t width, uint64_t size) {
    const Area area = Area::of_pixels(width, size);
    if (area.rows == 0) return QM_OK;
    taken[donor].is_there = true;  // whatever its index is
    Levels levels;
    if (!Storage::find(source, taken[donor], background, size, area, &levels)) return QM_NO_MEMORY;
    const Shade shade{static_cast<int32_t>(background), static_cast<int32_t>(levels.least),
                      std::numeric_limits<typename Storage::Sample>::max(),
                      static_cast<int32_t>(levels.most)};
    return draw<typename Storage::Way>(dst, source, taken, donor, ratio, stretch, shade,
                                       levels.divisor(luts), luts, area);
}

template <class Storage>
int draw_efficiency(Dst dst, Source<typename Storage::Sample> source, const void* picture,
                    Channels channels, std::array<typename Storage::Sample, 3> backgrounds,
                    Correction correction, Stretch stretch, const void* luts, uint32_t width,
                    uint64_t size) {
    using S = typename Storage::Sample;
    Signal<LessUnsigned<S>> signal{channels.less<LessUnsigned<S>>(backgrounds), correction};
    // A donor that is absent counts as 0, yet it shades.
    if (channels.index[1] < 0) signal.less[1].background = std::numeric_limits<S>::max();
    return draw_shaded<Storage>(dst, source, channels.taken(picture), 1, backgrounds[1],
                                ToDonor<LessUnsigned<S>>{signal}, stretch, luts, width, size);
}

/// What is measured in one of two pictures, in whole numbers.
template <class S>
struct Normalised {
    LessUnsigned<S> less;
    double inverse;  ///< of what is divided by, and so little more that whole quotients are reached
    Normalised(uint32_t background, uint32_t reference)
        : less{static_cast<S>(std::min<uint32_t>(background, std::numeric_limits<S>::max()))},
          inverse(1) {
        const int32_t difference =
            static_cast<int32_t>(reference) - static_cast<int32_t>(background);
        if (reference != 0 && difference >= 2) inverse = (1 + 0x1p-40) / difference;
    }
    void find(const S* plane, uint64_t count, double* values) const {
        for (uint64_t i = 0; i < count; ++i)
            values[i] = static_cast<int32_t>(less(plane[i]) * inverse);
    }
};

template <class Storage>
int draw_photobleach(Dst dst, Source<typename Storage::Sample> source, const void* post_bleach,
                     const void* pre_bleach, int32_t index, Stretch stretch, uint32_t pre_bg,
                     uint32_t post_bg, uint32_t pre_reference, uint32_t post_reference,
                     uint32_t width, uint64_t size) {
    using S = typename Storage::Sample;
    Normalised<S> post(post_bg, post_reference), pre(pre_bg, pre_reference);
    // Absent, it counts as 0 in both, yet it shades.
    if (index < 0) post.less.background = pre.less.background = std::numeric_limits<S>::max();
    const auto ratio = [=](const Planes<S, 2>& planes, uint64_t count, double* ratios) {
        alignas(64) double p[kBlock], q[kBlock];
        post.find(planes.values[0], count, p);
        pre.find(planes.values[1], count, q);
        for (uint64_t i = 0; i < count; ++i) ratios[i] = (p[i] - q[i]) / p[i];
    };
    const std::array<Taken, 2> taken{{{post_bleach, index}, {pre_bleach, index, index >= 0}}};
    return draw_shaded<Storage>(dst, source, taken, 0, post_bg, ratio, stretch, nullptr, width,
                                size);
}

// ----- Floats

struct FloatLevels {
    float least, greatest;
};

FloatLevels levels_of_floats(Source<float> source, Taken donor, LessFloat less, FloatLevels start,
                             Area area) {
    area = joined(kCallingThread, area, {source.pixel_stride()});
    FloatLevels found = start;
    walk_rows(kCallingThread, area.rows, [=, &found](RowRange rows) {
        float low[kBlock], high[kBlock], plane[kBlock];
        std::fill_n(low, kBlock, start.least);
        std::fill_n(high, kBlock, start.greatest);
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - x);
                take(source.pixel(donor.first, y, x) + donor.index, source.components, count,
                     plane);
                for (uint64_t i = 0; i < count; ++i) {
                    const float value = less(plane[i]);
                    low[i] = value < low[i] ? value : low[i];
                    high[i] = value > high[i] ? value : high[i];
                }
            }
        for (uint64_t i = 0; i < kBlock; ++i) {
            found.least = low[i] < found.least ? low[i] : found.least;
            found.greatest = high[i] > found.greatest ? high[i] : found.greatest;
        }
    });
    return found;
}

/// Cut to 32 bits, of which those below 0 and what does not fit are 0.
double float_shade(float difference) {
    const bool fits = difference > 0 && difference < 2147483648.0f;
    return static_cast<int32_t>(fits ? difference : 0);
}
/// The low byte of what is cut to 32 bits; that of what does not fit is 0.
uint32_t low_byte(double value) {
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return static_cast<uint32_t>(static_cast<int32_t>(fits ? value : 0)) & 255;
}

}  // namespace

#define COMMON                                                                                     \
    void *pDst, uint32_t uiDstWidthBytes, const void *pSrc, uint32_t uiComponents,                 \
        uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,        \
        int iDonorComp, int iAcceptorComp, int /*iFourthComp*/

#define KERNEL(name, Background, Storage)                                                          \
    int name(COMMON, Background fretBg, Background donorBg, Background acceptorBg,                 \
             Background /*fourthBg*/, double dDonorBleed, double dAcceptorBleed,                   \
             double dDonorInAcceptor, double dAcceptorInDonor, double dEffMin, double dEffMax,     \
             const void* pLuts) {                                                                  \
        return draw_efficiency<Storage>(                                                           \
            Dst{pDst, uiDstWidthBytes}, {uiComponents, uiSrcWidthBytes}, pSrc, FRET_CHANNELS,      \
            {fretBg, donorBg, acceptorBg}, FRET_CORRECTION, Stretch{dEffMin, dEffMax}, pLuts,      \
            uiWidth, uiSizeInPixels);                                                              \
    }
KERNEL(fret_eff_8, unsigned char, Bytes)
KERNEL(fret_eff_16, unsigned short, Words)
#undef KERNEL

int fret_eff_float(COMMON, short sFretBg, short sDonorBg, short sAcceptorBg, short /*sFourthBg*/,
                   double dDonorBleed, double dAcceptorBleed, double dDonorInAcceptor,
                   double dAcceptorInDonor, double dEffMin, double dEffMax, const void* pLuts,
                   float fMin, float fMax) {
    const Source<float> source{uiComponents, uiSrcWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    const Channels channels = FRET_CHANNELS;
    const float donor_bg = sDonorBg;
    std::array<Taken, 3> taken = channels.taken(pSrc);
    taken[1].is_there = true;
    const FloatLevels levels =
        levels_of_floats(source, taken[1], LessFloat{donor_bg}, {fMin, fMax}, area);
    Signal<LessFloat> signal{
        channels.less<LessFloat>(std::array<short, 3>{sFretBg, sDonorBg, sAcceptorBg}),
        FRET_CORRECTION};
    if (iDonorComp < 0) signal.less[1].background = std::numeric_limits<float>::infinity();
    const double divisor =
        pLuts != nullptr ? levels.greatest : double{levels.greatest} - levels.least;
    const Stretch stretch{dEffMin, dEffMax};
    each_block<uint8_t>(
        Dst{pDst, uiDstWidthBytes}, 3, source, taken, area,
        [=, colours = ColourTable(pLuts), near = NearColour(stretch),
         serves = NearColour::serves(stretch)](Sample<uint8_t>* d, const Planes<float, 3>& planes,
                                               uint64_t count) {
            alignas(64) double ratios[kBlock];
            alignas(64) int32_t index[kBlock];
            alignas(64) uint32_t words[kBlock];
            const uint64_t whole = whole_vectors(count);
            const auto& donor = planes.values[1];
            ToDonor<LessFloat>{signal}(planes, whole, ratios);
            find_colours<ByteWay>(ratios, whole, stretch, serves, near, index);
            look_up(index, whole, colours, words);
            for (uint64_t i = 0; i < whole; ++i) {
                const double b = float_shade(donor[i] - donor_bg - levels.least);
                const auto cell = [=](uint32_t colour) { return low_byte(colour * b / divisor); };
                const uint32_t word = words[i];
                words[i] = cell(word & 255) | cell(word >> 8 & 255) << 8 | cell(word >> 16) << 16;
            }
            write_words(d, count, words);
        });
    return QM_OK;
}

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pPostBleach,                        \
             const void* pPreBleach, uint32_t uiComponents, uint32_t uiSrcWidthBytes,              \
             uint32_t uiWidth, uint64_t uiSizeInPixels, int iComp, double dEffMin, double dEffMax, \
             unsigned short usPreBg, unsigned short usPostBg, unsigned short usPreReference,       \
             unsigned short usPostReference) {                                                     \
        return draw_photobleach<Storage>(                                                          \
            Dst{pDst, uiDstWidthBytes}, {uiComponents, uiSrcWidthBytes}, pPostBleach, pPreBleach,  \
            iComp, Stretch{dEffMin, dEffMax}, usPreBg, usPostBg, usPreReference, usPostReference,  \
            uiWidth, uiSizeInPixels);                                                              \
    }
KERNEL(fret_photobleach_eff_8, Bytes)
KERNEL(fret_photobleach_eff_16, Words)
#undef KERNEL

int CQmPicMemAPI_Base::FRET_EffImage(
    void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
    uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,
    int iDonorComp, int iAcceptorComp, int iFourthComp, short sFretBg, short sDonorBg,
    short sAcceptorBg, short sFourthBg, double dDonorBleed, double dAcceptorBleed,
    double dDonorInAcceptor, double dAcceptorInDonor, double dEffMin, double dEffMax,
    const SQmLut* pLut, bool bFloat, float fMin, float fMax) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const auto run = [&]<class Background>(auto kernel, Background, auto... range) {
        const auto narrow = [](short background) { return static_cast<Background>(background); };
        return kernel(pDst, uiDstWidthBytes, pSrc, uiComponents, uiSrcWidthBytes, uiWidth,
                      uiSizeInPixels, iFretComp, iDonorComp, iAcceptorComp, iFourthComp,
                      narrow(sFretBg), narrow(sDonorBg), narrow(sAcceptorBg), narrow(sFourthBg),
                      dDonorBleed, dAcceptorBleed, dDonorInAcceptor, dAcceptorInDonor, dEffMin,
                      dEffMax, pLut != nullptr ? pLut->pLuts : nullptr, range...);
    };
    if (bFloat) return run(fret_eff_float, short{}, fMin, fMax);
    if (uiBpc <= 8) return run(fret_eff_8, static_cast<unsigned char>(0));
    if (uiBpc <= 16) return run(fret_eff_16, static_cast<unsigned short>(0));
    return QM_NO_KERNEL;
}

int CQmPicMemAPI_Base::FRET_PhotoBleachEffImage(void* pDst, uint32_t uiDstWidthBytes,
                                                const void* pPostBleach, const void* pPreBleach,
                                                uint32_t uiComponents, uint32_t uiBpc,
                                                uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                                uint64_t uiSizeInPixels, int iComp, double dEffMin,
                                                double dEffMax, short sPreBg, short sPostBg,
                                                short sPreReference, short sPostReference) {
    if (nothing_to_do(pDst, pPostBleach, uiWidth, uiSizeInPixels) || pPreBleach == nullptr)
        return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;
    const auto word = [](short value) { return static_cast<unsigned short>(value); };
    return (uiBpc <= 8 ? fret_photobleach_eff_8 : fret_photobleach_eff_16)(
        pDst, uiDstWidthBytes, pPostBleach, pPreBleach, uiComponents, uiSrcWidthBytes, uiWidth,
        uiSizeInPixels, iComp, dEffMin, dEffMax, word(sPreBg), word(sPostBg), word(sPreReference),
        word(sPostReference));
}
