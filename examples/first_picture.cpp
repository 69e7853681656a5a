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

    // How it is shown: 10 % of the range is black already, and gamma 0.5 lifts what is dark.
    SQmLutParam shown;
    shown.SetMinSrcDbl(0.1);
    shown.SetGammaSrc(0.5);
    unsigned colors[] = {0x00FF00, 0x0000FF};  // red is the low byte
    SQmLut lut;
    if (SQmPicBufAPI_Base::CreateLutsMCH(&lut, &shown, 12, 2, colors, false, false, nullptr,
                                         nullptr, nullptr) != QM_OK)
        return 1;
    const int status = CQmPicMemAPI_Base::ConvertToTrueColor(
        screen.pData, screen.uiWidthBytes, picture.pData, picture.uiComponents, picture.uiBpc,
        picture.uiWidthBytes, picture.uiWidth, 4, &lut);

    const auto* pixel = static_cast<const std::uint8_t*>(screen.pData);
    for (int x = 0; x < 4; ++x, pixel += 3)
        std::printf("%02x%02x%02x ", pixel[2], pixel[1], pixel[0]);
    std::puts("are red, green, blue");  // 000000 00ff00 ff0000 ffaa00
    SQmPicBufAPI_Base::Free(&picture);
    SQmPicBufAPI_Base::Free(&screen);
    return status == QM_OK ? 0 : 1;
}
