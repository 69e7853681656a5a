#include "qmpic/kernels/two_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "PicMemAPI/two_picture_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

// What the kernels promise, in the plainest words: one sample, in 64 bits.
uint64_t add_and_clip(uint64_t a, uint64_t b, uint64_t max) { return std::min(a + b, max); }
uint64_t sub_and_clip(uint64_t a, uint64_t b, uint64_t /*max*/) { return a > b ? a - b : 0; }

using Reference = uint64_t(uint64_t a, uint64_t b, uint64_t max);

/// One call on random pictures; the destination may be a source, or both of them.
void check(TwoPictureKernel* run, Reference* reference, Format format, uint64_t max, Round round) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    const GuardedPicture d(format, size, random), first(format, size, random),
        second(format, size, random);
    const uint32_t same = random(0, 3);
    const GuardedPicture& a = same & 1 ? d : first;
    const GuardedPicture& b = same & 2 ? d : second;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(reference(a.get(i, y), b.get(i, y), max));
    const auto outside = d.outside();

    ASSERT_EQ(run(d.data(), d.stride(), a.data(), a.stride(), b.data(), b.stride(),
                  format.components, format.bpc, size.width, size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of "
                                     << format.components << " x " << format.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

template <class List>
void add_list(std::vector<KernelCase>& all, const List& list, Reference* reference) {
    for (const auto& kernel : list)
        all.push_back(
            {std::string(kernel.name), [=](Round round) {
                 const Layout layout = kernel.source;
                 const uint32_t components =
                     layout.components ? layout.components : round.random.components();
                 const Format format{components, layout.bits, round.in_turn(depths(layout.bits))};
                 // The byte kernels of three and four components do not look at the depth.
                 const bool fixed = kernel.name.ends_with("_3x8") || kernel.name.ends_with("_4x8");
                 check(kernel.run, reference, format, fixed ? 255 : format.max(), round);
             }});
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    add_list(all, kAddAndClip, add_and_clip);
    add_list(all, kSubAndClip, sub_and_clip);
    return all;
}

int three_classes(uint32_t /*components*/, uint32_t bpc) {
    return bpc >= 8 && bpc <= 32 ? QM_OK : QM_NO_KERNEL;
}

EntryCase entry_case(std::string name, TwoPictureKernel* entry,
                     int (*documented)(uint32_t, uint32_t)) {
    return {name,
            [=](const EntryCall& c) {
                return entry(c.dst, c.stride, c.src, c.stride, c.src, c.stride, c.components, c.bpc,
                             c.width, c.size);
            },
            documented};
}

const bool registered = add_cases(
    kernel_cases(),
    {entry_case("CQmPicMemAPI_Base::AddAndClip", CQmPicMemAPI_Base::AddAndClip, three_classes),
     entry_case("CQmPicMemAPI_Base::SubAndClip", CQmPicMemAPI_Base::SubAndClip, three_classes)});

TEST(TwoPictureEntries, TakeTheKernelsOfTheFormat) {
    Random random(7);
    Digest digest;
    for (uint32_t bpc = 8; bpc <= 32; ++bpc)
        for (uint32_t components = 0; components <= 6; ++components) {
            const Format format{components, bpc <= 8 ? 8u : bpc <= 16 ? 16u : 32u, bpc};
            const Round round{0, random, digest};
            check(CQmPicMemAPI_Base::AddAndClip, add_and_clip, format, format.max(), round);
            check(CQmPicMemAPI_Base::SubAndClip, sub_and_clip, format, format.max(), round);
            if (HasFatalFailure()) return;
        }
}

// Values out of the documentation, one pixel each.
template <class T>
int on_one_pixel(TwoPictureKernel* entry, T& d, T a, T b, uint32_t bpc) {
    return entry(&d, sizeof d, &a, sizeof a, &b, sizeof b, 1, bpc, 1, 1);
}

TEST(AddAndClip, ClipsAtTheGreatestValueOfTheDepth) {
    uint16_t d = 0;
    EXPECT_EQ(on_one_pixel<uint16_t>(CQmPicMemAPI_Base::AddAndClip, d, 3000, 3000, 12), QM_OK);
    EXPECT_EQ(d, 4095);
    EXPECT_EQ(on_one_pixel<uint16_t>(CQmPicMemAPI_Base::AddAndClip, d, 3000, 3000, 16), QM_OK);
    EXPECT_EQ(d, 6000);
    uint32_t wide = 0;
    EXPECT_EQ(on_one_pixel<uint32_t>(CQmPicMemAPI_Base::AddAndClip, wide, 0xFFFFFFFF, 1, 32), 0);
    EXPECT_EQ(wide, 0xFFFFFFFFu);
    EXPECT_EQ(on_one_pixel<uint32_t>(CQmPicMemAPI_Base::AddAndClip, wide, 0xFFFFFFFF, 1, 24), 0);
    EXPECT_EQ(wide, 0xFFFFFFu);
}

TEST(SubAndClip, HasNoUpperClip) {
    uint16_t d = 0;
    EXPECT_EQ(on_one_pixel<uint16_t>(CQmPicMemAPI_Base::SubAndClip, d, 5000, 0, 12), QM_OK);
    EXPECT_EQ(d, 5000);
    EXPECT_EQ(on_one_pixel<uint16_t>(CQmPicMemAPI_Base::SubAndClip, d, 5, 7, 12), QM_OK);
    EXPECT_EQ(d, 0);
}

}  // namespace
}  // namespace qmpic::test
