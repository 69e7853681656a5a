// Two channels of 12 bits, the first shown in green, the second in red.
#include <qmpic/qmpic.h>

#include <cstdio>
#include <cstring>

int main() {
    SQmPicBuf picture, screen;
    SQmPicBufAPI_Base::Init(&picture);
    SQmPicBufAPI_Base::Init(&screen);
    if (SQmPicBufAPI_Base::Reinit(&picture, 4, 1, 0, 12, 2, true) != QM_OK) return 1;
    if (SQmPicBufAPI_Base::Reinit(&screen, 4, 1, 0, 8, 3, true) != QM_OK) return 1;
    const std::uint16_t samples[] = {0, 0, 4095, 0, 0, 4095, 2048, 4095};  // four pixels
    std::memcpy(picture.pData, samples, sizeof samples);

    // A table of colours for each channel: cell 0 is blue, 1 green, 2 red.
    SQmLut lut;
    if (SQmLut::Alloc(lut, 12, 2, 8, 3) != QM_OK) return 1;
    const auto tables = static_cast<std::uint8_t***>(lut.pLuts);
    for (unsigned value = 0; value < 4096; ++value) {
        tables[0][value][1] = static_cast<std::uint8_t>(value >> 4);
        tables[1][value][2] = static_cast<std::uint8_t>(value >> 4);
    }
    const int status = CQmPicMemAPI_Base::ConvertToTrueColor(
        screen.pData, screen.uiWidthBytes, picture.pData, picture.uiComponents, picture.uiBpc,
        picture.uiWidthBytes, picture.uiWidth, 4, &lut);

    const auto* pixel = static_cast<const std::uint8_t*>(screen.pData);
    for (int x = 0; x < 4; ++x, pixel += 3)
        std::printf("%02x%02x%02x ", pixel[2], pixel[1], pixel[0]);
    std::puts("are red, green, blue");  // 000000 00ff00 ff0000 ff8000
    SQmPicBufAPI_Base::Free(&picture);
    SQmPicBufAPI_Base::Free(&screen);
    return status == QM_OK ? 0 : 1;
}
