#include "qmpic/system/Color.h"

#include <algorithm>
#include <iterator>

#include "core/arithmetic.h"
#include "qmpic/status.h"
#include "system/rainbow.h"

namespace {

using namespace qmpic;

struct Anchor {
    double wavelength;
    double red, green, blue;
};

// The inverse of the table that makes wavelengths of hues, so that what is made here reads back as
// the wavelength that it was made of, within 4 nm. Below 415 that table turns to magenta, which is
// no colour of light; violet stays.
constexpr Anchor kSpectrum[] = {
    {415, 176, 0, 255}, {423, 121, 0, 255}, {433, 93, 0, 255},  {450, 65, 0, 255},
    {461, 34, 0, 255},  {466, 0, 0, 255},   {471, 0, 65, 255},  {475, 0, 126, 255},
    {478, 0, 187, 255}, {481, 0, 255, 255}, {484, 0, 255, 187}, {486, 0, 255, 148},
    {488, 0, 255, 126}, {492, 0, 255, 93},  {495, 0, 255, 71},  {505, 0, 255, 40},
    {513, 0, 255, 21},  {523, 0, 255, 0},   {530, 21, 255, 0},  {538, 40, 255, 0},
    {545, 65, 255, 0},  {558, 126, 255, 0}, {566, 187, 255, 0}, {571.5, 255, 255, 0},
    {577, 255, 187, 0}, {584, 255, 126, 0}, {595, 255, 65, 0},  {603, 255, 34, 0},
    {613, 255, 14, 0},  {620, 255, 0, 0},
};
constexpr double kViolet = 415, kRed = 620, kLowest = 380, kHighest = 780;

double brightness(double wavelength) {
    if (wavelength < kViolet) return 0.3 + 0.7 * (wavelength - kLowest) / (kViolet - kLowest);
    if (wavelength > kRed) return 0.3 + 0.7 * (kHighest - wavelength) / (kHighest - kRed);
    return 1.0;
}

}  // namespace

int QM_RGBFromWavelength(std::uint32_t* puiColor, double dWavelength) {
    if (puiColor == nullptr) return QM_BAD_BUFFER;
    if (!(dWavelength >= kLowest && dWavelength <= kHighest)) return QM_REJECTED;
    const double place = std::clamp(dWavelength, kViolet, kRed), f = brightness(dWavelength);
    const auto* const upper =
        std::upper_bound(std::begin(kSpectrum) + 1, std::end(kSpectrum) - 1, place,
                         [](double value, const Anchor& a) { return value < a.wavelength; });
    const Anchor &a = upper[-1], &b = *upper;
    const auto blend = [&](double from, double to) {
        const double value =
            from + (to - from) * (place - a.wavelength) / (b.wavelength - a.wavelength);
        return static_cast<std::uint8_t>(trunc_clamp(f * value + 0.5, 255));
    };
    *puiColor = SQmColor{blend(a.red, b.red), blend(a.green, b.green), blend(a.blue, b.blue), 0}
                    .ToColorRef();
    return QM_OK;
}

void QM_RGBRainbowColorTable(std::uint32_t* puiTable, std::uint32_t uiCount) {
    for (std::uint32_t i = 0; i < uiCount; ++i) puiTable[i] = rainbow_word(i, uiCount);
}
