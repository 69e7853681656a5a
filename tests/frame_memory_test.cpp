#include <gtest/gtest.h>
#include <omp.h>

#include <vector>

#include "qmpic/qmpic.h"
#include "support/failing_alloc.h"
#include "support/processors.h"

// What a viewer's frame takes from the heap beside its pictures and tables.

namespace qmpic::test {
namespace {

constexpr uint32_t kEdge = 2048, kChannels = 4, kBits = 12;
constexpr uint64_t kMegabyte = 1024 * 1024;

/// The picture rendered through the set, then stretched to a window of `width` x `height`.
void show(const std::vector<uint16_t>& picture, const SQmLut& lut, std::vector<uint8_t>& rendered,
          std::vector<uint8_t>& window, uint32_t width, uint32_t height) {
    ASSERT_EQ(CQmPicMemAPI_Base::ConvertToTrueColor(rendered.data(), kEdge * 3, picture.data(),
                                                    kChannels, kBits, kEdge * kChannels * 2, kEdge,
                                                    uint64_t{kEdge} * kEdge, &lut),
              QM_OK);
    ASSERT_EQ(
        CQmPicMemAPI_Base::StretchDisplay(window.data(), width, height, 3, width * 3, 8, width,
                                          height, 0, 0, rendered.data(), kEdge, kEdge, kEdge * 3,
                                          CQmPicMemAPI_Base::StretchLinear, false, false),
        QM_OK);
}

TEST(Frame, TakesAMegabyteBesideItsPicturesAndTables) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Processors two(2);
    const int team = omp_get_max_threads();
    omp_set_num_threads(2);
    const std::vector<uint16_t> picture(size_t{kEdge} * kEdge * kChannels, 1000);
    std::vector<uint8_t> rendered(size_t{kEdge} * kEdge * 3);
    CQmLutParamMCH levels(kChannels, kChannels, std::vector<uint32_t>(kChannels, 1).data(), kBits);
    uint32_t colours[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    SQmLut lut;
    ASSERT_EQ(SQmPicBufAPI_Base::CreateLutsMCH(&lut, &levels, colours), QM_OK);
    const struct {
        uint32_t width, height;
    } windows[] = {{1024, 1024}, {1000, 1000}, {1920, 1080}, {2048, 300}};
    for (const auto [width, height] : windows) {
        std::vector<uint8_t> window(size_t{width} * height * 3);
        show(picture, lut, rendered, window, width, height);  // threads are there from here on
        const PeakMemory memory;
        show(picture, lut, rendered, window, width, height);
        EXPECT_LE(memory.bytes(), kMegabyte) << width << " x " << height;
    }
    omp_set_num_threads(team);
}

}  // namespace
}  // namespace qmpic::test
