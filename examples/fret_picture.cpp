// A picture whose energy transfer is known, region by region, and its efficiency as it is found.
// usage: fret_picture [OUT.ppm]      component 0 is FRET, 1 the donor, 2 the acceptor
#include <qmpic/qmpic.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr unsigned kRegions = 4, kEdge = 96, kWidth = kRegions * kEdge;
constexpr double kEfficiencies[kRegions] = {0, 20, 45, 70};  // percent of the donor's light
constexpr double kDonorBleed = 0.30, kAcceptorBleed = 0.15;
constexpr short kBackground = 6;

/// A round cell in the middle of each region, brighter towards its middle.
double donor_at(unsigned x, unsigned y) {
    const double u = (x % kEdge + 0.5) / kEdge * 2 - 1, v = (y + 0.5) / kEdge * 2 - 1;
    const double inside = 1 - (u * u + v * v) / 0.8;
    return inside > 0 ? 40 + 80 * inside : 0;
}

}  // namespace

int main(int count, char** arguments) {
    std::vector<unsigned char> picture, shown(3 * kWidth * kEdge);
    for (unsigned y = 0; y < kEdge; ++y)
        for (unsigned x = 0; x < kWidth; ++x) {
            const double donor = donor_at(x, y), acceptor = donor > 0 ? 60 : 0;
            const double transfer = kEfficiencies[x / kEdge] / 100 * donor;
            const double fret = transfer + kDonorBleed * donor + kAcceptorBleed * acceptor;
            for (const double light : {fret, donor, acceptor})
                picture.push_back(static_cast<unsigned char>(std::lround(light + kBackground)));
        }
    if (count > 1) {
        std::FILE* const file = std::fopen(arguments[1], "wb");
        if (file == nullptr) return 1;
        std::fprintf(file, "P6\n%u %u\n255\n", kWidth, kEdge);
        std::fwrite(picture.data(), 1, picture.size(), file);
        if (std::fclose(file) != 0) return 1;
    }

    // All rows of this table say their own number, and white is a table's 255: so what is drawn
    // over the shade is the colour's place in the scale.
    SQmLut numbers;
    if (SQmLut::AllocColor(numbers, 8, 8) != QM_OK) return 1;
    auto* const rows = static_cast<unsigned char**>(numbers.pLuts);
    for (unsigned k = 0; k < 256; ++k) {
        rows[k][0] = static_cast<unsigned char>(k);
        rows[k][1] = rows[k][2] = 255;
    }
    if (CQmPicMemAPI_Base::FRET_EffImage(shown.data(), 3 * kWidth, picture.data(), 3, 8, 3 * kWidth,
                                         kWidth, kWidth * kEdge, 0, 1, 2, -1, kBackground,
                                         kBackground, kBackground, 0, kDonorBleed, kAcceptorBleed,
                                         0, 0, 0, 100, &numbers, false, 0, 0) != QM_OK)
        return 1;
    for (unsigned region = 0; region < kRegions; ++region) {
        double sum = 0;
        unsigned pixels = 0;
        for (unsigned y = 0; y < kEdge; ++y)
            for (unsigned x = region * kEdge; x < (region + 1) * kEdge; ++x) {
                const unsigned char* const pixel = shown.data() + 3 * (y * kWidth + x);
                if (pixel[1] == 0) continue;  // no donor
                sum += 100.0 * pixel[0] / pixel[1];
                ++pixels;
            }
        std::printf("%.0f ", sum / pixels);
    }
    std::puts("%, each cut twice, of 0 20 45 70 %");
    return 0;
}
