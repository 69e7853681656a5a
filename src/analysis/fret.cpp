#include "qmpic/kernels/fret.h"

#include <cmath>
#include <optional>

#include "analysis/colour_scale.h"
#include "analysis/fret_channels.h"
#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/no_memory.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/byte_tables.h"
#include "render/lookup.h"

// The corrected signal of energy transfer, as a colour.

namespace {

using namespace qmpic;

/// Predefined table 1 between 0 and 1. Nothing when there is no memory for it.
std::optional<ColourScale> default_colours() {
    if (SQmLut::vecPredefLuts == nullptr) SQmLut::InitPredefLuts();
    SQmLut lut;
    SQmLutParam param;
    param.bFloat = true;
    param.SetCompMinSrcDbl(0, 0.0);
    param.SetCompMaxSrcDbl(0, 1.0);
    param.SetMinSrcDbl(0.0);
    param.SetMaxSrcDbl(255.0);
    param.SetGammaSrc(1.0);
    param.uiGradient = 1;
    if (SQmLut::AllocColor(lut, 8, 8) != QM_OK) return {};
    if (SQmLut::CreatePredefLutFromLutParam(lut, &param) != QM_OK) return {};
    return colour_scale(lut.pLuts);
}

/// Where a signal lies between two limits.
struct Range {
    double least, scale;
    Limits<double> limits{0, 255};
    Range(float min, float max) : least(min), scale(max - min > 0 ? 255.0f / (max - min) : 1.0f) {}
    double operator()(double signal) const { return limits((signal - least) * scale); }
};
/// Where it is its own colour.
struct AsItIs {
    Limits<double> limits{0, 255};
    double operator()(double signal) const { return limits(signal); }
};

/// index[i] = what `place` makes of the signal of pixel first + i.
template <class Less, class S, class Place>
void find_colours(const Signal<Less>& signal, const Planes<S, 3>& planes, uint64_t first,
                  uint64_t count, const Place& place, int32_t* index) {
    const Lights lights(signal, planes, count, first);
    const auto& [i1, i2, i3] = lights.values;
    alignas(64) double places[kBlock];
    for (uint64_t i = 0; i < count; ++i) places[i] = place(signal.correction(i1[i], i2[i], i3[i]));
    cut_places(places, count, index);
}

/// The same of integers in single precision: a colour from somewhat below the place and one from
/// somewhat above it. Where the two are the same that is the colour; else doubles tell.
class NearRange {
  public:
    NearRange(const Correction& c, const Range& range)
        : one_(static_cast<float>(range.scale)),
          two_(static_cast<float>((c.donor_in_acceptor * c.acceptor - c.donor) * range.scale)),
          three_(static_cast<float>((c.acceptor_in_donor * c.donor - c.acceptor) * range.scale)),
          offset_(static_cast<float>(range.least * range.scale)),
          terms_(std::fabs(double{one_}) + std::fabs(double{two_}) + std::fabs(double{three_})),
          terms_of_doubles_((1 + std::fabs(c.donor_in_acceptor * c.acceptor) + std::fabs(c.donor) +
                             std::fabs(c.acceptor_in_donor * c.donor) + std::fabs(c.acceptor)) *
                            range.scale) {}

    /// For samples up to `greatest`: six roundings, of the sum of all terms at most, and twenty of
    /// doubles, whose terms are others.
    float margin(double greatest) const {
        const double offset = std::fabs(double{offset_});
        return static_cast<float>((greatest * terms_ + offset) * 0x1p-24 * 6.5 +
                                  (greatest * terms_of_doubles_ + offset) * 0x1p-48);
    }
    /// Are the colours of a part from `first` on those?
    template <class Less, class S>
    bool find(const std::array<Less, 3>& less, const Planes<S, 3>& planes, uint64_t first,
              float margin, int32_t* index) const {
        constexpr uint64_t part = kPart<S>;
        alignas(64) float below[part], above[part];
        for (uint64_t i = 0; i < part; ++i) {
            const auto lights = [&](size_t c) {
                return static_cast<float>(less[c](planes.values[c][first + i]));
            };
            const float place = lights(0) * one_ + lights(1) * two_ + lights(2) * three_ - offset_;
            const float inside = limits_(place);
            below[i] = inside - margin;
            above[i] = inside + margin;
        }
        int32_t different = 0;
        for (uint64_t i = 0; i < part; ++i) {
            index[i] = static_cast<int32_t>(below[i]);
            different |= index[i] ^ static_cast<int32_t>(above[i]);
        }
        return different == 0;
    }
    /// Whole vectors of samples, and no more, since one pixel decides for all of a part.
    template <class S>
    static constexpr uint64_t kPart = 64;

  private:
    float one_, two_, three_, offset_;
    // Half a colour above the last one, both ends are still there.
    Limits<float> limits_{0, 255.5f};
    double terms_, terms_of_doubles_;
};

/// How the colours of a block are found.
template <class S, class Less, class Place>
struct Finder {
    Signal<Less> signal;
    Place place;
    void operator()(const Planes<S, 3>& planes, uint64_t count, int32_t* index) const {
        find_colours(signal, planes, 0, count, place, index);
    }
};
template <class S>
struct Finder<S, LessUnsigned<S>, Range> {
    Signal<LessUnsigned<S>> signal;
    Range place;
    NearRange near{signal.correction, place};
    void operator()(const Planes<S, 3>& planes, uint64_t count, int32_t* index) const {
        S greatest = 0;
        const auto& [p1, p2, p3] = planes.values;
        for (uint64_t i = 0; i < count; ++i) greatest = std::max({greatest, p1[i], p2[i], p3[i]});
        const float margin = near.margin(greatest);
        constexpr uint64_t part = NearRange::kPart<S>;
        for (uint64_t i = 0; i < count; i += part)  // NaN serves no more than a wide one
            if (!(margin < 0.1f) || !near.find(signal.less, planes, i, margin, index + i))
                find_colours(signal, planes, i, part, place, index + i);
    }
};

/// Pixels of three cells T, found in a table of words.
template <class T>
class Writer {
  public:
    explicit Writer(const ColourScale& colours) {
        for (size_t k = 0; k < 256; ++k) {
            words_[k] = 0;
            for (size_t c = 0; c < 3; ++c)
                words_[k] |= Colour<T>{colours[k][c]} << c * 8 * sizeof(T);
        }
    }
    void operator()(Sample<T>* d, uint64_t count, const int32_t* index) const {
        uint64_t i = 0;
        for (; i + 4 <= count; i += 4)
            write_four(d + 3 * i, words_[index[i]], words_[index[i + 1]], words_[index[i + 2]],
                       words_[index[i + 3]]);
        for (; i < count; ++i)
            for (uint64_t c = 0; c < 3; ++c)
                d[3 * i + c] = static_cast<T>(words_[index[i]] >> c * 8 * sizeof(T));
    }

  private:
    Colour<T> words_[256];
};
/// The same of bytes, by byte permutes where there are any.
struct ByteWriter {
    Writer<uint8_t> words;
    TripleMapper* map = to_triple_mapper();
    uint8_t planes[3][256];
    explicit ByteWriter(const ColourScale& colours) : words(colours) {
        for (size_t c = 0; c < 3; ++c)
            for (size_t k = 0; k < 256; ++k) planes[c][k] = colours[k][c];
    }
    void operator()(Sample<uint8_t>* d, uint64_t count, const int32_t* index) const {
        if (map == nullptr) return words(d, count, index);
        uint8_t bytes[kBlock];
        for (uint64_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(index[i]);
        map(reinterpret_cast<uint8_t*>(d), bytes, count, planes);
    }
};
template <class T>
using WriterOf = std::conditional_t<sizeof(T) == 1, ByteWriter, Writer<T>>;

template <class T, class S, class Less, class Place>
int draw(Dst dst, Source<S> source, std::array<Taken, 3> taken, const Signal<Less>& signal,
         Place place, const ColourScale& colours, Area area) {
    each_block<T>(dst, 3, source, taken, area,
                  [find = Finder<S, Less, Place>{signal, place}, write = WriterOf<T>(colours)](
                      Sample<T>* d, const Planes<S, 3>& planes, uint64_t count) {
                      alignas(64) int32_t index[kBlock];
                      const uint64_t whole = whole_vectors(count);
                      find(planes, whole, index);
                      write(d, count, index);
                  });
    return QM_OK;
}

ColourScale grey_scale() {
    ColourScale greys{};
    for (size_t k = 0; k < greys.size(); ++k) greys[k].fill(static_cast<uint8_t>(k));
    return greys;
}

/// Integers, whose colours are made when there are none.
template <class T, class S, class Less>
int draw_in_colours(Dst dst, Source<S> source, std::array<Taken, 3> taken,
                    const Signal<Less>& signal, const void* luts, float min, float max, Area area) {
    return or_no_memory([&]() -> int {
        if (area.rows == 0) return QM_OK;
        const auto colours = luts != nullptr ? colour_scale(luts) : default_colours();
        if (!colours) return QM_NO_MEMORY;
        return draw<T>(dst, source, taken, signal, Range(min, max), *colours, area);
    });
}

}  // namespace

#define KERNEL(name, Background)                                                                   \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,        \
             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,   \
             int iDonorComp, int iAcceptorComp, int /*iFourthComp*/, Background fretBg,            \
             Background donorBg, Background acceptorBg, Background /*fourthBg*/,                   \
             double dDonorBleed, double dAcceptorBleed, double dDonorInAcceptor,                   \
             double dAcceptorInDonor, const void* pLuts, float fMin, float fMax)
// What they have in common: destination, source, channels taken, signal, and the area at the end.
#define CALL(S, Less)                                                                              \
    Dst{pDst, uiDstWidthBytes}, Source<S>{uiComponents, uiSrcWidthBytes},                          \
        FRET_CHANNELS.taken(pSrc), Signal<Less> {                                                  \
        FRET_CHANNELS.less<Less>(std::array{fretBg, donorBg, acceptorBg}), FRET_CORRECTION         \
    }
#define AREA Area::of_pixels(uiWidth, uiSizeInPixels)

KERNEL(fret_8, unsigned char)
{ return draw_in_colours<uint8_t>(CALL(uint8_t, LessUnsigned<uint8_t>), pLuts, fMin, fMax, AREA); }
KERNEL(fret_16, unsigned short)
{
    return draw_in_colours<uint8_t>(CALL(uint16_t, LessUnsigned<uint16_t>), pLuts, fMin, fMax,
                                    AREA);
}
KERNEL(fret_16_to_16, unsigned short)
{
    return draw_in_colours<uint16_t>(CALL(uint16_t, LessUnsigned<uint16_t>), pLuts, fMin, fMax,
                                     AREA);
}
KERNEL(fret_float, unsigned char)
{
    if (pLuts == nullptr)  // the range is for colours alone
        return draw<uint8_t>(CALL(float, LessFloat), AsItIs{}, grey_scale(), AREA);
    return draw<uint8_t>(CALL(float, LessFloat), Range(fMin, fMax), colour_scale(pLuts), AREA);
}

#undef KERNEL
#undef CALL
#undef AREA

int CQmPicMemAPI_Base::FRETImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,
                                 int iDonorComp, int iAcceptorComp, int iFourthComp, short sFretBg,
                                 short sDonorBg, short sAcceptorBg, short sFourthBg,
                                 double dDonorBleed, double dAcceptorBleed, double dDonorInAcceptor,
                                 double dAcceptorInDonor, const SQmLut* pLut, bool bFloat,
                                 float fMin, float fMax, bool b16To16) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const auto run = [&]<class Background>(FretKernel<Background>* kernel) {
        const auto narrow = [](short background) { return static_cast<Background>(background); };
        return kernel(pDst, uiDstWidthBytes, pSrc, uiComponents, uiSrcWidthBytes, uiWidth,
                      uiSizeInPixels, iFretComp, iDonorComp, iAcceptorComp, iFourthComp,
                      narrow(sFretBg), narrow(sDonorBg), narrow(sAcceptorBg), narrow(sFourthBg),
                      dDonorBleed, dAcceptorBleed, dDonorInAcceptor, dAcceptorInDonor,
                      pLut != nullptr ? pLut->pLuts : nullptr, fMin, fMax);
    };
    if (bFloat) return run(fret_float);
    if (uiBpc <= 8) return run(fret_8);
    if (uiBpc <= 16) return run(b16To16 ? fret_16_to_16 : fret_16);
    return QM_NO_KERNEL;
}
