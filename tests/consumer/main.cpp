// A user of the installed library: 3000 + 3000 is 4095 at 12 bits.
#include <qmpic/qmpic.h>

int main() {
    const std::uint16_t samples[] = {1, 3000};
    std::uint16_t sums[2] = {};
    const int status = CQmPicMemAPI_Base::AddAndClip(sums, 4, samples, 4, samples, 4, 1, 12, 2, 2);
    return status == QM_OK && sums[0] == 2 && sums[1] == 4095 ? 0 : 1;
}
