#include "PicMemAPI/colour_space.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "core/arithmetic.h"
#include "core/isa.h"
#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"

// Hue, saturation and intensity, wavelengths of hues, and single pixels.

namespace {

using namespace qmpic;

constexpr int kArcCosines = 10001;
alignas(64) double arc_cosines[kArcCosines];
// The same as shares of the circle, which saves a division a pixel.
alignas(64) double shares_of_circle[kArcCosines];

// Before any other code that runs when a program is loaded, which may call us.
[[gnu::constructor(101)]] void fill_arc_cosines() {
    for (int i = 0; i < kArcCosines; ++i) {
        arc_cosines[i] = std::acos(2.0 * i / 10000.0 - 1.0);
        shares_of_circle[i] = arc_cosines[i] / 6.2831853071796;
    }
}

/// Red, green and blue as numbers of any scale.
struct Components {
    double r, g, b;
    /// Half the sum of the squares of the three differences: 0 for greys and for nothing else.
    double chroma_squared() const { return (r - b) * (g - b) + (r - g) * (r - g); }
};

/// The hue as a share of the circle; 0 for greys. The scale of the components shows: it moves
/// roundings, and what is cut to an index of the table may move with them.
double share_of_circle(const Components& c, const double* shares) {
    const double square = c.chroma_squared();
    const bool grey = square == 0.0;
    const double root = std::sqrt(grey ? 1.0 : square);
    // The cosine is beyond -1 and 1 by roundings at most, which the cut drops.
    const double place = ((2 * c.r - c.g - c.b) * 0.5 / root + 1.0) * 10000.0 * 0.5;
    const double share = shares[static_cast<int32_t>(place)];
    const double hue = c.b > c.g ? 1.0 - share : share;
    return grey ? 0.0 : hue;
}

struct Hsi {
    int32_t h, s, i;
};

/// No branch: whole vectors of colours go through this.
template <class T>
Hsi hsi_of(const Components& c, const double* shares) {
    constexpr double full = std::numeric_limits<T>::max();
    const double sum = c.r + c.g + c.b, least = std::min(std::min(c.r, c.g), c.b);
    const double saturation = 1.0 - 3.0 * least / (sum == 0.0 ? 1.0 : sum);
    return {static_cast<int32_t>(share_of_circle(c, shares) * full + 0.5),
            static_cast<int32_t>((sum == 0.0 ? 0.0 : saturation) * full + 0.5),
            (static_cast<int32_t>(sum) + 1) / 3};  // a third, rounded
}

constexpr uint32_t kBlock = 64;
using Block = int32_t[kBlock];

template <class T>
void store(T* plane, uint64_t first, uint32_t n, const Block& values) {
    if (plane == nullptr) return;
    T narrow[kBlock];
    for (uint32_t x = 0; x < kBlock; ++x) narrow[x] = static_cast<T>(values[x]);
    std::copy_n(narrow, n, plane + first);
}

/// Pixels of blue, green and red, each plane or none.
template <class T>
void planes_of(T* i, T* s, T* h, const T* bgr, uint32_t count) {
    on_best_isa([=, shares = shares_of_circle] {
        Block red{}, green{}, blue{}, hue, saturation, intensity;
        for (uint64_t first = 0; first < count; first += kBlock) {
            const auto n = static_cast<uint32_t>(std::min<uint64_t>(kBlock, count - first));
            const T* const pixels = bgr + first * 3;
            for (uint32_t x = 0; x < n; ++x) {
                blue[x] = pixels[3 * x];
                green[x] = pixels[3 * x + 1];
                red[x] = pixels[3 * x + 2];
            }
            for (uint32_t x = 0; x < kBlock; ++x) {
                const Hsi hsi =
                    hsi_of<T>({double(red[x]), double(green[x]), double(blue[x])}, shares);
                hue[x] = hsi.h;
                saturation[x] = hsi.s;
                intensity[x] = hsi.i;
            }
            store(i, first, n, intensity);
            store(s, first, n, saturation);
            store(h, first, n, hue);
        }
    });
}

template <class T>
void colour_to_hsi(T& h, T& s, T& i, T r, T g, T b) {
    const Hsi hsi = hsi_of<T>({double(r), double(g), double(b)}, shares_of_circle);
    h = static_cast<T>(hsi.h);
    s = static_cast<T>(hsi.s);
    i = static_cast<T>(hsi.i);
}

template <class T>
void colour_from_hsi(T& r, T& g, T& b, T h, T s, T i) {
    constexpr uint32_t full = std::numeric_limits<T>::max();
    if (i == 0 || s == 0) {
        r = g = b = i;
        return;
    }
    constexpr double third = 2.0943951023932, sixth = 1.0471975511966;
    const double saturation = double(s) / full, brightness = i * 3.0;
    const auto store = [&](double share) {
        return static_cast<T>(trunc_clamp(share * brightness, full));
    };
    const auto peak = [&](double angle) {
        return (std::cos(angle) * saturation / std::cos(sixth - angle) + 1) / 3;
    };
    const double low = (1 - saturation) / 3, angle = 2.0 * h * 3.1415926535898 / full;
    if (angle <= third) {
        const double high = peak(angle);
        r = store(high), g = store(1 - high - low), b = store(low);
    } else if (angle <= 4.1887902047864) {
        const double high = peak(angle - third);
        r = store(low), g = store(high), b = store(1 - low - high);
    } else {
        const double high = peak(angle - 4.1887902047864);
        r = store(1 - low - high), g = store(low), b = store(high);
    }
}

// What light of a hue is called in nanometres, less 400. It turns back beyond violet, and ends in
// the red that closes the circle.
constexpr uint8_t kWavelengths[256] = {
    220, 215, 213, 210, 205, 203, 202, 200, 198, 197, 195, 194, 193, 191, 190, 189, 188, 188, 187,
    186, 185, 184, 184, 183, 182, 181, 181, 180, 179, 179, 178, 178, 177, 176, 176, 175, 175, 174,
    174, 173, 173, 172, 172, 171, 171, 170, 170, 169, 169, 168, 168, 167, 167, 166, 166, 165, 164,
    164, 163, 162, 161, 161, 160, 159, 158, 157, 156, 155, 154, 153, 151, 150, 149, 148, 146, 145,
    143, 142, 140, 138, 135, 133, 130, 128, 125, 123, 120, 115, 113, 110, 108, 105, 103, 100, 98,
    97,  95,  94,  93,  93,  92,  91,  90,  90,  89,  89,  88,  88,  87,  87,  86,  86,  85,  85,
    84,  84,  84,  84,  83,  83,  83,  83,  82,  82,  82,  82,  81,  81,  81,  81,  80,  80,  80,
    79,  79,  79,  79,  78,  78,  78,  78,  77,  77,  77,  77,  76,  76,  76,  76,  75,  75,  75,
    74,  74,  73,  73,  73,  72,  72,  72,  71,  71,  70,  70,  69,  69,  68,  68,  67,  66,  66,
    65,  64,  63,  62,  61,  60,  58,  55,  53,  50,  48,  45,  40,  35,  33,  30,  28,  25,  24,
    23,  21,  20,  19,  19,  18,  18,  17,  16,  16,  15,  15,  14,  14,  14,  13,  13,  13,  13,
    12,  12,  12,  11,  11,  11,  10,  10,  10,  10,  9,   9,   9,   9,   8,   8,   8,   8,   7,
    7,   7,   7,   6,   6,   6,   6,   5,   5,   5,   5,   4,   4,   4,   3,   3,   3,   3,   2,
    2,   2,   1,   1,   1,   0,   0,   230, 245};

bool is_coloured_light(uint32_t wavelength) { return wavelength >= 401 && wavelength <= 644; }
bool is_coloured_light(double wavelength) { return wavelength > 400.0 && wavelength < 645.0; }

/// Goes on until the colour is another, in at most five steps.
template <class Wavelength, class Next>
uint32_t next_colour(Wavelength wavelength, Next next) {
    uint32_t first = 0;
    if (QM_RGBFromWavelength(&first, wavelength) != QM_OK) return 0;
    uint32_t colour = first;
    for (int step = 0; step < 5 && colour == first && is_coloured_light(wavelength); ++step) {
        wavelength = next(wavelength);
        if (QM_RGBFromWavelength(&colour, wavelength) != QM_OK) break;
    }
    return colour;
}

/// Between values and the units of a pixel, which may lie at any address.
template <class T>
int store_components(void* pixel, const uint32_t* components, uint32_t count, bool reversed) {
    auto* const units = static_cast<Sample<T>*>(pixel);
    for (uint32_t k = 0; k < count; ++k)
        units[reversed ? count - 1 - k : k] = static_cast<T>(components[k]);
    return QM_OK;
}

int components_to_pixel(void* pixel, const uint32_t* components, uint32_t count, uint32_t bpc,
                        bool reversed) {
    if (count != 1 && count != 3 && count != 4) return QM_NO_KERNEL;
    if (bpc > 16) return QM_NO_KERNEL;
    return bpc == 8 ? store_components<uint8_t>(pixel, components, count, reversed)
                    : store_components<uint16_t>(pixel, components, count, reversed);
}

template <class T>
int load_components(uint32_t* components, const void* pixel, uint32_t count, bool reversed) {
    const auto* const units = static_cast<const Sample<T>*>(pixel);
    for (uint32_t k = 0; k < count; ++k) components[k] = units[reversed ? count - 1 - k : k];
    return QM_OK;
}

int pixel_to_components(uint32_t* components, const void* pixel, uint32_t count, uint32_t bpc,
                        bool reversed) {
    if (bpc > 16) return QM_NO_KERNEL;
    return bpc == 8 ? load_components<uint8_t>(components, pixel, count, reversed)
                    : load_components<uint16_t>(components, pixel, count, reversed);
}

}  // namespace

const double* const g_AcosLUTs = arc_cosines;

namespace qmpic {

/// `from` and a part of the difference: the product wraps, the quotient is cut toward zero.
uint8_t ColourPath::Step::at(int32_t position, int32_t total) const {
    if (total == 0) return from;
    // In 64 bits, since the least number has no negative of 32.
    const int64_t part = int64_t{wrap_mul(difference, position)} / total;
    return static_cast<uint8_t>(from + part);
}

ColourPath::ColourPath(uint32_t first, uint32_t last, int32_t total) : total_(total) {
    const auto convert = [](uint32_t colour, uint8_t& h, uint8_t& s, uint8_t& i) {
        const SQmColor c = SQmColor::FromColorRef(colour);
        colour_to_hsi<uint8_t>(h, s, i, c.ucRed, c.ucGreen, c.ucBlue);
    };
    uint8_t h, s, i;
    convert(first, hue_.from, saturation_.from, intensity_.from);
    convert(last, h, s, i);
    saturation_.difference = s - saturation_.from;
    intensity_.difference = i - intensity_.from;
    const int32_t d = h - hue_.from;
    hue_.difference = d > -128 && d < 128 ? d : d < 0 ? d + 256 : d - 256;
}

uint32_t ColourPath::at(int32_t position) const {
    SQmColor c{};
    colour_from_hsi<uint8_t>(c.ucRed, c.ucGreen, c.ucBlue, hue_.at(position, total_),
                             saturation_.at(position, total_), intensity_.at(position, total_));
    return c.ToColorRef();
}

uint32_t ColourPath::brightest_at(int32_t position) const {
    SQmColor c = SQmColor::FromColorRef(at(position));
    const int largest = std::max({c.ucRed, c.ucGreen, c.ucBlue});
    if (largest == 0) return 0;
    for (uint8_t* const value : {&c.ucRed, &c.ucGreen, &c.ucBlue})
        *value = static_cast<uint8_t>(*value * 255 / largest);
    return c.ToColorRef();
}

}  // namespace qmpic

void CQmPicMemAPI_Base::ConvertRGB8toHSI8(uint8_t* pbyI, uint8_t* pbyS, uint8_t* pbyH,
                                          const uint8_t* pbyBGR, uint32_t uiCount) {
    planes_of(pbyI, pbyS, pbyH, pbyBGR, uiCount);
}

void CQmPicMemAPI_Base::ConvertRGB16toHSI16(uint16_t* pwI, uint16_t* pwS, uint16_t* pwH,
                                            const uint16_t* pwBGR, uint32_t uiCount) {
    planes_of(pwI, pwS, pwH, pwBGR, uiCount);
}

void CQmPicMemAPI_Base::ConvertColorRGB8toHSI8(uint8_t& H, uint8_t& S, uint8_t& I, uint8_t R,
                                               uint8_t G, uint8_t B) {
    colour_to_hsi(H, S, I, R, G, B);
}

void CQmPicMemAPI_Base::ConvertColorRGB16toHSI16(uint16_t& H, uint16_t& S, uint16_t& I, uint16_t R,
                                                 uint16_t G, uint16_t B) {
    colour_to_hsi(H, S, I, R, G, B);
}

void CQmPicMemAPI_Base::ConvertColorHSI8toRGB8(uint8_t& R, uint8_t& G, uint8_t& B, uint8_t H,
                                               uint8_t S, uint8_t I) {
    colour_from_hsi(R, G, B, H, S, I);
}

void CQmPicMemAPI_Base::ConvertColorHSI16toRGB16(uint16_t& R, uint16_t& G, uint16_t& B, uint16_t H,
                                                 uint16_t S, uint16_t I) {
    colour_from_hsi(R, G, B, H, S, I);
}

uint32_t CQmPicMemAPI_Base::CalcColor(uint32_t uiColor1, uint32_t uiColor2, int iTotal,
                                      int iPosition) {
    return ColourPath(uiColor1, uiColor2, iTotal).brightest_at(iPosition);
}

uint32_t CQmPicMemAPI_Base::CalcColorEx(uint32_t uiColor1, uint32_t uiColor2, int iTotal,
                                        int iPosition) {
    return ColourPath(uiColor1, uiColor2, iTotal).at(iPosition);
}

uint32_t CQmPicMemAPI_Base::RGBChangeHue(uint32_t uiColor, int iDelta) {
    SQmColor c = SQmColor::FromGradientWord(uiColor);  // red and blue the other way round
    uint8_t h, s, i;
    colour_to_hsi(h, s, i, c.ucRed, c.ucGreen, c.ucBlue);
    h = static_cast<uint8_t>(h + static_cast<uint32_t>(iDelta));
    colour_from_hsi(c.ucRed, c.ucGreen, c.ucBlue, h, s, i);
    return c.ToGradientWord();
}

uint32_t CQmPicMemAPI_Base::HueValueToWavelength(uint8_t ucHue) {
    return 400u + kWavelengths[ucHue];
}

// Not by ConvertColorRGB8toHSI8: components of 0 to 1 have other roundings.
uint32_t CQmPicMemAPI_Base::RGBToWavelength(uint32_t uiColor) {
    const SQmColor colour = SQmColor::FromColorRef(uiColor);
    const Components c{colour.ucRed / 255.0, colour.ucGreen / 255.0, colour.ucBlue / 255.0};
    const double hue = share_of_circle(c, shares_of_circle) * 255 + 0.5;
    return HueValueToWavelength(static_cast<uint8_t>(std::min(hue, 255.0)));
}

uint32_t CQmPicMemAPI_Base::RGBChangeWavelength(uint32_t uiColor, int iDelta) {
    return next_colour(RGBToWavelength(uiColor), [=](uint32_t wavelength) {
        return wavelength + static_cast<uint32_t>(iDelta);
    });
}

uint32_t CQmPicMemAPI_Base::RGBChangeWavelength(double dWavelength, int iDelta) {
    return next_colour(dWavelength, [=](double wavelength) { return wavelength + iDelta; });
}

int CQmPicMemAPI_Base::ConvertComponentsToPixel(void* pPixel, const uint32_t* puiComponents,
                                                uint32_t uiComponents, uint32_t uiBpc) {
    return components_to_pixel(pPixel, puiComponents, uiComponents, uiBpc, false);
}

int CQmPicMemAPI_Base::ConvertComponentsToPixelRGB(void* pPixel, const uint32_t* puiComponents,
                                                   uint32_t uiComponents, uint32_t uiBpc) {
    return components_to_pixel(pPixel, puiComponents, uiComponents, uiBpc, true);
}

int CQmPicMemAPI_Base::ConvertPixelToComponents(uint32_t* puiComponents, const void* pPixel,
                                                uint32_t uiComponents, uint32_t uiBpc) {
    return pixel_to_components(puiComponents, pPixel, uiComponents, uiBpc, false);
}

// Alone of the two RGB forms it leaves four components as they lie.
int CQmPicMemAPI_Base::ConvertPixelToComponentsRGB(uint32_t* puiComponents, const void* pPixel,
                                                   uint32_t uiComponents, uint32_t uiBpc) {
    return pixel_to_components(puiComponents, pPixel, uiComponents, uiBpc, uiComponents == 3);
}
