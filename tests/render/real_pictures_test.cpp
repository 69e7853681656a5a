#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/screen_reference.h"
#include "support/levels.h"

// Pictures of a microscope (and one of a satellite) on the screen, as a viewer would show them: the
// levels between the darkest and the brightest sample, a colour a channel, marks. Random pictures
// visit every value and every corner; these visit what is common: smooth rows, long dark stretches,
// a few saturated spots.

namespace qmpic::test {
namespace {

struct Statistics {
    uint32_t least, greatest;
    double mean;
};

/// A picture of the folder `data`: one block of samples from `offset` on, and what is known of it.
struct File {
    const char* name;
    size_t offset;
    uint32_t width, height, bpc;
    std::vector<Statistics> channels;
    uint32_t components() const { return static_cast<uint32_t>(channels.size()); }
    size_t samples() const { return size_t{width} * height * components(); }
};

const File kFiles[] = {
    {"nuclei_1ch_8bit_512x512.tif", 176, 512, 512, 8, {{7, 255, 17.294}}},
    {"plant_1ch_12bit_512x512.tif", 176, 512, 512, 12, {{9, 4095, 635.394}}},
    {"golgi_2ch_12bit_204x220.tif", 208, 204, 220, 12, {{28, 2106, 159.809}, {30, 3828, 72.133}}},
    {"cells_3ch_12bit_695x395.tif",
     208,
     695,
     395,
     12,
     {{135, 1473, 188.838}, {180, 1794, 286.501}, {155, 4095, 265.886}}},
    {"cytoskeleton_3ch_13bit_350x350.tif",
     208,
     350,
     350,
     13,
     {{105, 476, 131.556}, {110, 698, 170.025}, {115, 5055, 939.040}}},
    {"cells_3ch_16bit_512x512.tif",
     208,
     512,
     512,
     16,
     {{372, 65535, 1996.843}, {450, 56064, 5727.360}, {424, 39513, 3811.478}}},
    {"landsat_6band_8bit_349x352.tif",
     224,
     349,
     352,
     8,
     {{47, 255, 79.148},
      {32, 255, 67.575},
      {21, 255, 64.359},
      {9, 255, 59.235},
      {1, 255, 83.183},
      {1, 255, 59.975}}},
};

struct Shown {
    const File* file;
    std::vector<uint8_t> bytes;  // as they are stored

    explicit Shown(const File& of) : file(&of), bytes(of.samples() * (of.bpc == 8 ? 1 : 2)) {
        std::ifstream stream(std::string(QMPIC_DATA) + of.name, std::ios::binary);
        stream.seekg(static_cast<std::streamoff>(of.offset));
        stream.read(reinterpret_cast<char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
        EXPECT_TRUE(stream) << of.name;
    }
    uint32_t sample(size_t i) const {
        if (file->bpc == 8) return bytes[i];
        return bytes[2 * i] + 256u * bytes[2 * i + 1];
    }
    std::vector<uint8_t> reference(const SQmLut* lut) const {
        std::vector<uint8_t> pixels;
        std::vector<uint32_t> samples(file->components());
        for (size_t i = 0; i < file->samples(); i += samples.size()) {
            for (size_t c = 0; c < samples.size(); ++c) samples[c] = sample(i + c);
            const Bgr pixel = on_screen(samples, file->bpc, lut).value();
            pixels.insert(pixels.end(), pixel.begin(), pixel.end());
        }
        return pixels;
    }
    /// At every level and for some teams the pixels are those of the reference, which are returned.
    std::vector<uint8_t> expect_right(const SQmLut* lut) const {
        const std::vector<uint8_t> expected = reference(lut);
        const uint32_t stride = static_cast<uint32_t>(bytes.size()) / file->height;
        for (const Level level : levels())
            for (const int threads : {1, 3}) {
                const ForcedLevel forced(level);
                omp_set_num_threads(threads);
                std::vector<uint8_t> pixels(expected.size(), 0xA5);
                EXPECT_EQ(
                    CQmPicMemAPI_Base::ConvertToTrueColor(
                        pixels.data(), file->width * 3, bytes.data(), file->components(), file->bpc,
                        stride, file->width, uint64_t{file->width} * file->height, lut),
                    0);
                EXPECT_TRUE(pixels == expected)
                    << file->name << ", " << name_of(level) << ", " << threads << " threads";
            }
        return expected;
    }
};

/// What a viewer makes: each channel from black at its least sample to a colour at its greatest.
void make_tables(SQmLut& lut, const File& file, uint32_t tables) {
    const Bgr colors[6] = {{255, 0, 0},   {0, 255, 0},   {0, 0, 255},
                           {0, 255, 255}, {200, 0, 255}, {255, 128, 64}};
    ASSERT_EQ(
        SQmLut::Alloc(lut, static_cast<uint8_t>(file.bpc), static_cast<uint8_t>(tables), 8, 3), 0);
    for (uint32_t t = 0; t < tables; ++t) {
        const auto [least, greatest, mean] = file.channels[t];
        for (uint32_t v = 0; v < 1u << file.bpc; ++v) {
            const uint32_t inside = std::clamp(v, least, greatest) - least;
            for (size_t i = 0; i < 3; ++i) {
                const uint32_t cell = colors[t][i] * inside / (greatest - least);
                uint8_t* const row = tables > 1 ? static_cast<uint8_t***>(lut.pLuts)[t][v]
                                                : static_cast<uint8_t**>(lut.pLuts)[v];
                row[i] = static_cast<uint8_t>(cell);
            }
        }
    }
}

class RealPictures : public testing::TestWithParam<File> {};

TEST_P(RealPictures, AreWhatTheFolderSays) {
    const File& file = GetParam();
    const Shown picture(file);
    for (uint32_t c = 0; c < file.components(); ++c) {
        uint32_t least = 65536, greatest = 0;
        double sum = 0;
        for (size_t i = c; i < file.samples(); i += file.components()) {
            least = std::min(least, picture.sample(i));
            greatest = std::max(greatest, picture.sample(i));
            sum += picture.sample(i);
        }
        EXPECT_EQ(least, file.channels[c].least);
        EXPECT_EQ(greatest, file.channels[c].greatest);
        EXPECT_NEAR(sum / (double{1} * file.width * file.height), file.channels[c].mean, 0.0006);
    }
}

TEST_P(RealPictures, AreShownWithoutASet) {
    const uint32_t components = GetParam().components();
    if (components == 1 || components == 3) Shown(GetParam()).expect_right(nullptr);
}

TEST_P(RealPictures, AreShownThroughOneTable) {
    const uint32_t components = GetParam().components();
    if (components != 1 && components != 3) return;
    SQmLut lut;
    make_tables(lut, GetParam(), 1);
    const Shown picture(GetParam());
    picture.expect_right(&lut);
    const std::vector<unsigned> over(192, 0x000000FF), under(192, 0x01FF0000);
    SQmLut::SetOverExpColor(lut, over.data());
    SQmLut::SetUnderExpColor(lut, under.data());
    picture.expect_right(&lut);
}

TEST_P(RealPictures, AreShownInTheColoursOfTheirChannels) {
    const File& file = GetParam();
    if (file.components() == 1) return;
    SQmLut lut;
    make_tables(lut, file, file.components());
    const Shown picture(file);
    picture.expect_right(&lut);
    // Marks: the inverse of a channel's own colour, from one half of the way to its top on.
    const std::vector<unsigned> marks(192, 0x01000000);
    std::vector<unsigned> limits(192, 0);
    for (uint32_t c = 0; c < file.components(); ++c) limits[c] = file.channels[c].greatest / 2;
    SQmLut::SetOverExpColor(lut, marks.data());
    SQmLut::SetOverExpValue(lut, limits.data());
    picture.expect_right(&lut);
    SQmLut::SetUnderExpColor(lut, marks.data());
    picture.expect_right(&lut);
    // Without the first channel, with marks and without.
    if (file.components() > 2) {
        lut.rmComponents.Set(0, false);
        picture.expect_right(&lut);
        SQmLut::SetOverExpColor(lut, nullptr);
        SQmLut::SetUnderExpColor(lut, nullptr);
        picture.expect_right(&lut);
    }
}

TEST_P(RealPictures, AreShownAChannelAtATime) {
    const File& file = GetParam();
    SQmLut lut;
    make_tables(lut, file, file.components());
    const Shown picture(file);
    const std::vector<unsigned> marks(192, 0x01000000);
    for (uint32_t c = 0; c < file.components(); ++c) {
        lut.rmComponents.SetAll(false);
        lut.rmComponents.Set(c);
        SQmLut::SetOverExpColor(lut, c % 2 == 0 ? marks.data() : nullptr);
        picture.expect_right(&lut);
    }
}

INSTANTIATE_TEST_SUITE_P(All, RealPictures, testing::ValuesIn(kFiles), [](const auto& info) {
    std::string name = info.param.name;
    for (char& c : name)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

// How many samples are saturated was counted by others.
TEST(RealPictures, ShowTheirSaturatedPixels) {
    const struct {
        const File& file;
        uint32_t component;
        size_t saturated;
    } known[] = {{kFiles[1], 0, 2355}, {kFiles[3], 2, 545}, {kFiles[5], 0, 11}};
    for (const auto& [file, component, saturated] : known) {
        SQmLut lut;
        make_tables(lut, file, file.components());
        lut.rmComponents.SetAll(false);
        lut.rmComponents.Set(component);
        const std::vector<unsigned> mark(192, 0x00123456);  // in no table
        SQmLut::SetOverExpColor(lut, mark.data());
        const auto pixels = Shown(file).expect_right(&lut);
        size_t found = 0;
        for (size_t i = 0; i < pixels.size(); i += 3)
            found += pixels[i] == 0x12 && pixels[i + 1] == 0x34 && pixels[i + 2] == 0x56;
        EXPECT_EQ(found, saturated) << file.name;
    }
}

}  // namespace
}  // namespace qmpic::test
