#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/reports.h"

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Bytes = std::vector<uint8_t>;

const bool registered = add_cases(
    {}, {},
    {"SQmPicBufAPI_Base::Init", "SQmPicBufAPI_Base::InitN", "SQmPicBufAPI_Base::Free",
     "SQmPicBufAPI_Base::FreeN", "SQmPicBufAPI_Base::Reinit", "SQmPicBufAPI_Base::ReinitN",
     "SQmPicBufAPI_Base::ReinitAndCopy", "SQmPicBufAPI_Base::GetDesc", "SQmPicBufAPI_Base::SetDesc",
     "SQmPicBufAPI_Base::CalcCompSize", "SQmPicBufAPI_Base::CalcWidthBytes",
     "SQmPicBufAPI_Base::Check", "SQmPicBufAPI_Base::Copy", "SQmPicBufAPI_Base::CopyComp",
     "SQmPicBufAPI_Base::CopyRect", "SQmPicBufAPI_Base::CopyViaBinaryUnpacked",
     "SQmPicBufAPI_Base::Swap"});

/// A picture that releases itself. Its bytes, gaps too, are 1, 2, 3 ... or all the same.
struct Picture : SQmPicBuf {
    Picture() { Api::Init(this); }
    Picture(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components, uint32_t stride = 0)
        : Picture() {
        EXPECT_EQ(Api::Reinit(this, width, height, stride, bpc, components, true), QM_OK);
    }
    ~Picture() { Api::Free(this); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    uint8_t* bytes() { return static_cast<uint8_t*>(pData); }
    uint8_t* row(uint32_t y) { return bytes() + uint64_t{y} * uiWidthBytes; }
    Picture& count_up() {
        std::iota(bytes(), bytes() + ui64Size, uint8_t{1});
        return *this;
    }
    Picture& fill(uint8_t value) {
        std::fill_n(bytes(), ui64Size, value);
        return *this;
    }
    Bytes content() { return {bytes(), bytes() + ui64Size}; }
};

bool same_record(const SQmPicBuf& a, const SQmPicBuf& b) {
    return a.uiWidth == b.uiWidth && a.uiHeight == b.uiHeight && a.uiWidthBytes == b.uiWidthBytes &&
           a.uiBpc == b.uiBpc && a.uiComponents == b.uiComponents && a.ui64Size == b.ui64Size &&
           a.pData == b.pData;
}

void expect_no_format(const SQmPicBuf& picture) {
    SQmPicBuf none{};
    none.pData = picture.pData;
    EXPECT_TRUE(same_record(picture, none));
}

TEST(PicBufRecords, HaveTheirLayout) {
    EXPECT_EQ(sizeof(SQmPicBufDesc), 32u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, uiWidth), 0u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, uiHeight), 4u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, uiWidthBytes), 8u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, uiBpc), 12u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, uiComponents), 16u);
    EXPECT_EQ(offsetof(SQmPicBufDesc, ui64Size), 24u);
    EXPECT_EQ(sizeof(SQmPicBuf), 40u);
    EXPECT_EQ(offsetof(SQmPicBuf, uiWidth), 0u);
    EXPECT_EQ(offsetof(SQmPicBuf, uiHeight), 4u);
    EXPECT_EQ(offsetof(SQmPicBuf, uiWidthBytes), 8u);
    EXPECT_EQ(offsetof(SQmPicBuf, uiBpc), 12u);
    EXPECT_EQ(offsetof(SQmPicBuf, uiComponents), 16u);
    EXPECT_EQ(offsetof(SQmPicBuf, ui64Size), 24u);
    EXPECT_EQ(offsetof(SQmPicBuf, pData), 32u);
    EXPECT_EQ(sizeof(SQmPicBuf::uiBpc), 1u);
    EXPECT_EQ(sizeof(Api::CheckOptions), 4u);
}

TEST(Init, MakesEveryByteZero) {
    SQmPicBuf a, b;
    std::memset(&a, 0xA5, sizeof a);
    std::memset(&b, 0xA5, sizeof b);
    Api::Init(&a);
    const Bytes zeros(sizeof a, 0);
    EXPECT_EQ(std::memcmp(&a, zeros.data(), sizeof a), 0);
    std::memset(&a, 0xA5, sizeof a);
    SQmPicBuf* both[] = {&a, &b};
    Api::InitN(both, 0);
    EXPECT_EQ(a.uiWidth, 0xA5A5A5A5u);
    Api::InitN(both, 2);
    EXPECT_EQ(std::memcmp(&a, zeros.data(), sizeof a), 0);
    EXPECT_EQ(std::memcmp(&b, zeros.data(), sizeof b), 0);
}

TEST(Free, ReleasesThePixelsAndKeepsTheFormat) {
    Picture a(5, 4, 12, 3);
    SQmPicBuf expected = a;
    expected.pData = nullptr;
    Api::Free(&a);
    EXPECT_TRUE(same_record(a, expected));
    Api::Free(&a);  // nothing more to release
    EXPECT_TRUE(same_record(a, expected));
}

// The records are released themselves and nobody looks at what they hold.
TEST(FreeN, ReleasesTheRecordsAndLeavesTheirPixels) {
    SQmPicBuf* records[2];
    void* pixels[2];
    for (int i = 0; i < 2; ++i) {
        records[i] = static_cast<SQmPicBuf*>(CQmAlloc::Alloc(0, sizeof(SQmPicBuf), 16));
        Api::Init(records[i]);
        ASSERT_EQ(Api::Reinit(records[i], 4, 4, 0, 8, 1, true), QM_OK);
        pixels[i] = records[i]->pData;
    }
    Api::FreeN(records, 0);
    EXPECT_EQ(records[0]->uiWidth, 4u);
    Api::FreeN(records, 2);
    for (void* const block : pixels) {
        static_cast<uint8_t*>(block)[15] = 7;  // still ours
        CQmAlloc::Free(block);
    }
}

TEST(Reinit, ChoosesAStrideOfAMultipleOfFour) {
    Picture a(1, 1, 8, 1);
    EXPECT_EQ(a.uiWidthBytes, 4u);
    EXPECT_EQ(a.ui64Size, 4u);
    Picture b(5, 7, 8, 3);
    EXPECT_EQ(b.uiWidth, 5u);
    EXPECT_EQ(b.uiHeight, 7u);
    EXPECT_EQ(b.uiWidthBytes, 16u);
    EXPECT_EQ(b.uiBpc, 8u);
    EXPECT_EQ(b.uiComponents, 3u);
    EXPECT_EQ(b.ui64Size, 112u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b.pData) % 16, 0u);
    Picture c(5, 2, 24, 1);  // of 4 bytes, though raw lines count 3
    EXPECT_EQ(c.uiWidthBytes, 20u);
}

TEST(Reinit, TakesAGivenStrideAsItIs) {
    Picture a(5, 3, 8, 3, 7);
    EXPECT_EQ(a.uiWidthBytes, 7u);
    EXPECT_EQ(a.ui64Size, 21u);
    EXPECT_EQ(a.content(), Bytes(21, 0));
}

TEST(Reinit, ClearsGapsTooAndOnlyWhenAsked) {
    Picture a(5, 3, 8, 1);
    a.fill(7);
    EXPECT_EQ(Api::Reinit(&a, 5, 3, 0, 8, 1, false), QM_OK);
    EXPECT_EQ(a.content(), Bytes(24, 7));
    EXPECT_EQ(Api::Reinit(&a, 5, 2, 0, 8, 1, true), QM_OK);
    EXPECT_EQ(a.content(), Bytes(16, 0));
}

TEST(Reinit, KeepsTheBytesOfTheOldPictureWithoutClearing) {
    Picture a(4, 4, 8, 1);
    a.count_up();
    ASSERT_EQ(Api::Reinit(&a, 4, 40, 0, 8, 1, false), QM_OK);
    for (uint8_t i = 0; i < 16; ++i) EXPECT_EQ(a.bytes()[i], i + 1);
}

TEST(Reinit, KeepsTheLowByteOfTheDepthAndChoosesTheStrideByAllOfIt) {
    SQmPicBuf a;
    Api::Init(&a);
    ASSERT_EQ(Api::Reinit(&a, 5, 3, 20, 264, 1, false), QM_OK);
    EXPECT_EQ(a.uiBpc, 8u);
    // 264 bits are no size, so the row is empty.
    EXPECT_EQ(Api::Reinit(&a, 5, 3, 0, 264, 1, false), QM_NO_MEMORY);
    EXPECT_EQ(a.pData, nullptr);
    SQmPicBufDesc desc;
    EXPECT_EQ(Api::GetDesc(5, 3, 0x10C, 1, desc), QM_OK);
    EXPECT_EQ(desc.uiBpc, 12u);
    EXPECT_EQ(desc.uiWidthBytes, 0u);
}

TEST(Reinit, OfAStrideThatDoesNotFitKeepsTheOldPixelsAndLosesTheFormat) {
    Picture a(4, 4, 8, 1);
    a.count_up();
    const Bytes before = a.content();
    void* const pixels = a.pData;
    EXPECT_EQ(Api::Reinit(&a, 0x40000000, 1, 0, 16, 2, true), QM_NO_MEMORY);
    expect_no_format(a);
    EXPECT_EQ(a.pData, pixels);
    EXPECT_EQ(Bytes(a.bytes(), a.bytes() + 16), before);
    // 0xFFFFFFFC bytes are the most, and then memory decides; 0xFFFFFFFD round up to none.
    EXPECT_EQ(Api::Reinit(&a, 0xFFFFFFFD, 1, 0, 8, 1, false), QM_NO_MEMORY);
    EXPECT_EQ(a.pData, pixels);
    EXPECT_EQ(Api::Reinit(&a, 0xFFFFFFFC, 0xFFFFFFFF, 0, 8, 1, false), QM_NO_MEMORY);
    expect_no_format(a);
    EXPECT_EQ(a.pData, nullptr);
}

TEST(Reinit, WithoutMemoryReleasesTheOldPixelsAndLosesTheFormat) {
    Picture a(4, 4, 8, 1);
    EXPECT_EQ(Api::Reinit(&a, 1, 0xFFFFFFFF, 0xFFFFFFFF, 8, 1, true), QM_NO_MEMORY);
    expect_no_format(a);
    EXPECT_EQ(a.pData, nullptr);
    Picture b;  // a record that has none yet
    EXPECT_EQ(Api::Reinit(&b, 1, 0xFFFFFFFF, 0xFFFFFFFF, 8, 1, true), QM_NO_MEMORY);
    expect_no_format(b);
    EXPECT_EQ(Api::Reinit(&b, 4, 4, 0, 8, 1, true), QM_OK);  // and the next call works
    EXPECT_EQ(b.content(), Bytes(16, 0));
}

TEST(Reinit, ToNoBytesReleasesThePixelsAndFails) {
    for (const auto& [width, height, components] :
         {std::array{0u, 4u, 1u}, {4u, 0u, 1u}, {4u, 4u, 0u}}) {
        Picture a(4, 4, 8, 1);
        EXPECT_EQ(Api::Reinit(&a, width, height, 0, 8, components, true), QM_NO_MEMORY);
        expect_no_format(a);
        EXPECT_EQ(a.pData, nullptr);
    }
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

// With room for the new block but not for old and new at once: the old contents are given up.
TEST(Reinit, TriesOnceMoreWithoutTheOldPixels) {
    if (kSanitized) return;  // which take address space of their own
    constexpr uint32_t kMega = 1 << 20;
    Picture a(kMega, 1024, 8, 1, kMega);
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit tight = before;
    tight.rlim_cur = pages * 4096 + uint64_t{512} * kMega;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const int more = Api::Reinit(&a, kMega, 1280, kMega, 8, 1, false);
    const bool got = a.pData != nullptr;
    const int too_much = Api::Reinit(&a, kMega, 4096, kMega, 8, 1, false);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(more, QM_OK);
    EXPECT_TRUE(got);
    EXPECT_EQ(too_much, QM_NO_MEMORY);
    expect_no_format(a);
    EXPECT_EQ(a.pData, nullptr);
}

TEST(ReinitN, EndsAtTheFirstThatFails) {
    Picture a, b, c;
    SQmPicBuf* all[] = {&a, &b, &c};
    EXPECT_EQ(Api::ReinitN(all, 0, 0, 0, 0, 8, 1, true), QM_OK);
    EXPECT_EQ(a.pData, nullptr);
    EXPECT_EQ(Api::ReinitN(all, 3, 5, 4, 0, 8, 1, true), QM_OK);
    for (SQmPicBuf* const one : all) EXPECT_EQ(one->ui64Size, 32u);
    EXPECT_EQ(Api::ReinitN(all, 3, 5, 0, 0, 8, 1, true), QM_NO_MEMORY);
    EXPECT_EQ(a.pData, nullptr);
    EXPECT_NE(b.pData, nullptr);
    EXPECT_EQ(b.ui64Size, 32u);
}

TEST(ReinitAndCopy, TakesFormatStrideAndPixels) {
    Picture s(5, 3, 12, 2, 23), d(9, 9, 8, 1);
    s.count_up();
    EXPECT_EQ(Api::ReinitAndCopy(&d, &s), QM_OK);
    EXPECT_EQ(d.uiWidthBytes, 23u);
    EXPECT_TRUE(Api::Check(&d, &s, Api::CheckSizeBpcComponents));
    EXPECT_EQ(d.content(), s.content());
    EXPECT_NE(d.pData, s.pData);
}

TEST(ReinitAndCopy, OfAFormatWithoutPixelsAllocatesAndThenFails) {
    SQmPicBuf s;
    Api::Init(&s);
    SQmPicBufDesc desc;
    Api::GetDesc(5, 3, 8, 1, desc);
    ASSERT_EQ(Api::SetDesc(&s, desc), QM_OK);
    Picture d;
    Reports reports;
    EXPECT_EQ(Api::ReinitAndCopy(&d, &s), QM_BAD_BUFFER);
    EXPECT_EQ(d.ui64Size, 24u);
    EXPECT_NE(d.pData, nullptr);
    // A stride of 0 is chosen anew; a failure of Reinit comes back.
    s.uiWidthBytes = 0;
    EXPECT_EQ(Api::ReinitAndCopy(&d, &s), QM_BAD_BUFFER);
    EXPECT_EQ(d.uiWidthBytes, 8u);
    s.uiHeight = 0;
    EXPECT_EQ(Api::ReinitAndCopy(&d, &s), QM_NO_MEMORY);
    EXPECT_TRUE(reports.take().empty());
}

TEST(GetDesc, RoundsRowsUpToFourOrToTheAlignment) {
    SQmPicBufDesc desc;
    std::memset(&desc, 0xA5, sizeof desc);
    EXPECT_EQ(Api::GetDesc(5, 7, 12, 3, desc), QM_OK);
    EXPECT_EQ(desc.uiWidth, 5u);
    EXPECT_EQ(desc.uiHeight, 7u);
    EXPECT_EQ(desc.uiWidthBytes, 32u);
    EXPECT_EQ(desc.uiBpc, 12u);
    EXPECT_EQ(desc.uiComponents, 3u);
    EXPECT_EQ(desc.ui64Size, 224u);
    EXPECT_EQ(Api::GetDesc(5, 7, 12, 3, 64, desc), QM_OK);
    EXPECT_EQ(desc.uiWidthBytes, 64u);
    EXPECT_EQ(Api::GetDesc(5, 7, 12, 3, 1, desc), QM_OK);
    EXPECT_EQ(desc.uiWidthBytes, 30u);
    EXPECT_EQ(Api::GetDesc(0x40000000, 0xFFFFFFFF, 8, 3, desc), QM_OK);
    EXPECT_EQ(desc.ui64Size, 0xC0000000 * uint64_t{0xFFFFFFFF});
    // The row wraps silently here.
    EXPECT_EQ(Api::GetDesc(0x40000001, 10, 16, 2, desc), QM_OK);
    EXPECT_EQ(desc.uiWidthBytes, 4u);
    EXPECT_EQ(desc.ui64Size, 40u);
}

TEST(SetDesc, RefusesARecordThatHoldsPixels) {
    SQmPicBufDesc desc;
    Api::GetDesc(5, 3, 8, 1, desc);
    EXPECT_EQ(Api::SetDesc(nullptr, desc), QM_BAD_BUFFER);
    Picture a(4, 4, 16, 2);
    const SQmPicBuf before = a;
    EXPECT_EQ(Api::SetDesc(&a, desc), QM_BAD_BUFFER);
    EXPECT_TRUE(same_record(a, before));
    Api::Free(&a);
    EXPECT_EQ(Api::SetDesc(&a, desc), QM_OK);
    EXPECT_TRUE(same_record(a, {5, 3, 8, 8, 1, 24, nullptr}));
}

TEST(Sizes, AreThoseOfRawMemory) {
    EXPECT_EQ(Api::CalcCompSize(24), 4u);
    EXPECT_EQ(Api::CalcCompSize(0), 0u);
    EXPECT_EQ(Api::CalcCompSize(64), 8u);
    EXPECT_EQ(Api::CalcWidthBytes(5, 8, 3, 4), 16u);
    EXPECT_EQ(Api::CalcWidthBytes(0x40000000, 16, 2, 4), 0u);
}

TEST(Check, ComparesWhatTheOptionNames) {
    // Which of width, height, depth and components an option compares.
    const struct {
        Api::CheckOptions option;
        uint32_t value;
        bool width, height, bpc, components;
    } table[] = {{Api::CheckSize, 0, true, true, false, false},
                 {Api::CheckSizeBpc, 1, true, true, true, false},
                 {Api::CheckSizeBpcComponents, 2, true, true, true, true},
                 {Api::CheckSizeComponents, 3, true, true, false, true},
                 {Api::CheckComponents, 4, false, false, false, true},
                 {Api::CheckBpc, 5, false, false, true, false},
                 {Api::CheckBpcComponents, 6, false, false, true, true}};
    const SQmPicBuf a{5, 6, 32, 12, 3, 192, nullptr};
    for (const auto& line : table) {
        EXPECT_EQ(line.option, line.value);
        EXPECT_TRUE(Api::Check(&a, &a, line.option));
        EXPECT_FALSE(Api::Check(&a, nullptr, line.option));
        EXPECT_FALSE(Api::Check(nullptr, &a, line.option));
        EXPECT_FALSE(Api::Check(nullptr, nullptr, line.option));
        SQmPicBuf b = a;
        b.uiWidthBytes = 40;  // never compared
        b.ui64Size = 240;
        EXPECT_TRUE(Api::Check(&a, &b, line.option));
        b = a, b.uiWidth = 4;
        EXPECT_EQ(Api::Check(&a, &b, line.option), !line.width);
        b = a, b.uiHeight = 4;
        EXPECT_EQ(Api::Check(&a, &b, line.option), !line.height);
        b = a, b.uiBpc = 8;
        EXPECT_EQ(Api::Check(&a, &b, line.option), !line.bpc);
        b = a, b.uiComponents = 4;
        EXPECT_EQ(Api::Check(&a, &b, line.option), !line.components);
    }
    EXPECT_FALSE(Api::Check(&a, &a, static_cast<Api::CheckOptions>(7)));
    EXPECT_FALSE(Api::Check(&a, &a, static_cast<Api::CheckOptions>(0xFFFFFFFF)));
}

TEST(PicBufCopy, TakesTheCommonCorner) {
    Picture d(100, 100, 8, 1), s(50, 200, 8, 1);
    d.fill(9);
    s.fill(4);
    EXPECT_EQ(Api::Copy(&d, &s), QM_OK);
    for (uint32_t y = 0; y < 100; ++y)
        for (uint32_t x = 0; x < 100; ++x) ASSERT_EQ(d.row(y)[x], x < 50 ? 4 : 9);
    Picture wide(50, 200, 24, 2), narrow(10, 3, 24, 2);  // 8 bytes a pixel
    wide.fill(9);
    narrow.fill(4);
    EXPECT_EQ(Api::Copy(&wide, &narrow), QM_OK);
    for (uint32_t y = 0; y < 200; ++y)
        for (uint32_t x = 0; x < 400; ++x) ASSERT_EQ(wide.row(y)[x], y < 3 && x < 80 ? 4 : 9);
}

TEST(PicBufCopy, OfTheSameSizeAndStrideTakesGapsTooAndOtherwiseLeavesThem) {
    Picture s(5, 3, 8, 1), d(5, 3, 8, 1), other(5, 3, 8, 1, 11), taller(5, 4, 8, 1);
    s.count_up();
    EXPECT_EQ(Api::Copy(&d, &s), QM_OK);
    EXPECT_EQ(d.content(), s.content());
    other.fill(9);
    EXPECT_EQ(Api::Copy(&other, &s), QM_OK);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 11; ++x)
            EXPECT_EQ(other.row(y)[x], x < 5 ? s.row(y)[x] : 9) << x << ", " << y;
    taller.fill(9);
    EXPECT_EQ(Api::Copy(&taller, &s), QM_OK);
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 8; ++x)
            EXPECT_EQ(taller.row(y)[x], y < 3 && x < 5 ? s.row(y)[x] : 9) << x << ", " << y;
}

TEST(PicBufCopy, ToItselfIsAllowed) {
    Picture a(5, 3, 8, 1);
    const Bytes before = a.count_up().content();
    EXPECT_EQ(Api::Copy(&a, &a), QM_OK);
    EXPECT_EQ(a.content(), before);
}

TEST(PicBufCopy, OfNoCommonRowsIsDone) {
    Picture a(5, 3, 8, 1);
    const Bytes before = a.count_up().content();
    SQmPicBuf none = a;
    none.uiHeight = 0;
    none.ui64Size = 0;
    EXPECT_EQ(Api::Copy(&a, &none), QM_OK);
    EXPECT_EQ(a.content(), before);
}

TEST(PicBufCopy, ReportsOtherFormatsAndDoesNotReportMissingPixels) {
    const std::vector<std::wstring> report{
        L"true|SQmPicBufAPI_Base::Copy, sour and dest must have the same format|PicBufAPI_Base|"
        L"227"};
    Picture d(5, 3, 8, 1), depth(5, 3, 7, 1), components(5, 3, 8, 2);
    const Bytes before = d.count_up().content();
    Reports reports;
    EXPECT_EQ(Api::Copy(&d, &depth), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    EXPECT_EQ(Api::Copy(&d, &components), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    EXPECT_EQ(Api::Copy(&d, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    EXPECT_EQ(Api::Copy(nullptr, &d), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    SQmPicBuf bare = d;
    bare.pData = nullptr;
    EXPECT_EQ(Api::Copy(&d, &bare), QM_BAD_BUFFER);
    EXPECT_TRUE(reports.take().empty());
    EXPECT_EQ(d.content(), before);
}

TEST(CopyComp, ZeroesComponentsThatTheSourceLacksAndDropsThoseOfTheDestination) {
    Picture one(2, 2, 8, 1), three(3, 1, 8, 3);
    one.count_up();
    three.fill(9);
    EXPECT_EQ(Api::CopyComp(&three, &one), QM_OK);
    EXPECT_EQ(three.content(), (Bytes{1, 0, 0, 2, 0, 0, 9, 9, 9, 9, 9, 9}));
    Picture d(4, 4, 8, 1);
    d.fill(7);
    three.count_up();
    EXPECT_EQ(Api::CopyComp(&d, &three), QM_OK);
    EXPECT_EQ(d.content(), (Bytes{1, 4, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7}));
}

// All pairs of counts and all sizes of a component, byte by byte.
TEST(CopyComp, IsRightForEveryNumberOfComponentsAndEverySize) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t bpc : {8u, 12u, 24u, 32u, 64u})
            for (uint32_t to = 0; to <= 6; ++to)
                for (uint32_t from = 0; from <= 6; ++from)
                    for (const uint32_t width : {1u, 67u}) {
                        const uint32_t size = Api::CalcCompSize(bpc);
                        Picture d(width + 2, 5, bpc, to, (width + 2) * to * size + 3);
                        Picture s(width, 6, bpc, from, width * from * size + 5);
                        d.fill(0xA5);
                        s.count_up();
                        Bytes expected = d.content();
                        for (uint32_t y = 0; y < 5; ++y)
                            for (uint32_t x = 0; x < width; ++x)
                                for (uint32_t b = 0; b < to * size; ++b)
                                    expected[y * d.uiWidthBytes + x * to * size + b] =
                                        to == from        ? s.row(y)[x * from * size + b]
                                        : b < from * size ? s.row(y)[x * from * size + b]
                                                          : 0;
                        ASSERT_EQ(Api::CopyComp(&d, &s), QM_OK);
                        ASSERT_EQ(d.content(), expected)
                            << to << " of " << from << " x " << bpc << ", " << name_of(level);
                    }
    }
}

TEST(CopyComp, ReportsOtherDepthsUnderTheNameOfCopy) {
    Picture d(5, 3, 8, 1), depth(5, 3, 9, 3), three(5, 3, 8, 3);
    const Bytes before = d.count_up().content();
    const std::vector<std::wstring> report{
        L"true|SQmPicBufAPI_Base::Copy, sour and dest must have same bpc|PicBufAPI_Base|281"};
    Reports reports;
    EXPECT_EQ(Api::CopyComp(&d, &depth), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    EXPECT_EQ(Api::CopyComp(&d, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    SQmPicBuf bare = three;
    bare.pData = nullptr;
    EXPECT_EQ(Api::CopyComp(&d, &bare), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CopyComp(&d, &d), QM_OK);
    EXPECT_TRUE(reports.take().empty());
    EXPECT_EQ(d.content(), before);
}

TEST(CopyRect, PutsARectangleAnywhere) {
    for (const auto& [bpc, pixel] : {std::pair{8u, 3u}, {12u, 6u}, {32u, 12u}}) {
        Picture d(10, 9, bpc, 3), s(8, 7, bpc, 3);
        d.fill(0xA5);
        s.count_up();
        Bytes expected = d.content();
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t b = 0; b < 3 * pixel; ++b)
                expected[(2 + y) * d.uiWidthBytes + 6 * pixel + b] = s.row(3 + y)[5 * pixel + b];
        EXPECT_EQ(Api::CopyRect(6, 2, 3, 4, &d, 5, 3, &s), QM_OK);
        EXPECT_EQ(d.content(), expected) << bpc;
        EXPECT_EQ(Api::CopyRect(6, 2, 0, 4, &d, 0, 0, &s), QM_OK);
        EXPECT_EQ(Api::CopyRect(6, 2, 3, 0, &d, 0, 0, &s), QM_OK);
        EXPECT_EQ(Api::CopyRect(0, 2, 10, 0, &d, 0, 0, &s), QM_OK);
        EXPECT_EQ(d.content(), expected) << bpc;
    }
}

TEST(CopyRect, OfFullRowsAndEqualStridesTakesGapsToo) {
    Picture d(5, 6, 8, 1), s(5, 9, 8, 1);
    d.fill(0xA5);
    s.count_up();
    Bytes expected = d.content();
    std::copy(s.row(4), s.row(7), expected.begin() + 16);
    EXPECT_EQ(Api::CopyRect(0, 2, 5, 3, &d, 0, 4, &s), QM_OK);
    EXPECT_EQ(d.content(), expected);
    // Not when the rows are part of wider ones, and not with other strides.
    Picture wider(6, 9, 8, 1), longer(5, 9, 8, 1, 9);
    wider.count_up();
    longer.count_up();
    for (Picture* const from : {&wider, &longer}) {
        d.fill(0xA5);
        expected = d.content();
        for (uint32_t y = 0; y < 3; ++y)
            std::copy(from->row(4 + y), from->row(4 + y) + 5, expected.begin() + 16 + y * 8);
        EXPECT_EQ(Api::CopyRect(0, 2, 5, 3, &d, 0, 4, from), QM_OK);
        EXPECT_EQ(d.content(), expected);
    }
}

// Pixels of 24 bits lie 4 bytes apart, but rectangles count 3.
TEST(CopyRect, CountsThreeBytesForComponentsOf17To24Bits) {
    Picture d(8, 4, 24, 1), s(8, 4, 24, 1);
    d.fill(0xA5);
    s.count_up();
    Bytes expected = d.content();
    for (uint32_t y = 0; y < 2; ++y)
        std::copy(s.row(y) + 3, s.row(y) + 12, expected.begin() + (1 + y) * 32 + 6);
    EXPECT_EQ(Api::CopyRect(2, 1, 3, 2, &d, 1, 0, &s), QM_OK);
    EXPECT_EQ(d.content(), expected);
    // With its full width it is one block, and right.
    EXPECT_EQ(Api::CopyRect(0, 0, 8, 4, &d, 0, 0, &s), QM_OK);
    EXPECT_EQ(d.content(), s.content());
}

TEST(CopyRect, ReportsOtherFormatsAndCopiesNothingWithoutPixels) {
    const std::vector<std::wstring> report{
        L"true|SQmPicBufAPI_Base::CopyRect, sour and dest must have the same format|"
        L"PicBufAPI_Base|260"};
    Picture d(5, 3, 8, 1), depth(5, 3, 7, 1);
    const Bytes before = d.count_up().content();
    Reports reports;
    EXPECT_EQ(Api::CopyRect(0, 0, 5, 3, &d, 0, 0, &depth), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    EXPECT_EQ(Api::CopyRect(0, 0, 5, 3, nullptr, 0, 0, &d), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), report);
    SQmPicBuf bare = d;
    bare.pData = nullptr;
    EXPECT_EQ(Api::CopyRect(0, 0, 5, 3, &d, 0, 0, &bare), QM_OK);
    EXPECT_EQ(Api::CopyRect(1, 1, 2, 2, &d, 1, 1, &bare), QM_OK);
    EXPECT_EQ(Api::CopyRect(1, 1, 2, 2, &bare, 1, 1, &d), QM_OK);
    EXPECT_TRUE(reports.take().empty());
    EXPECT_EQ(d.content(), before);
    // A stride too short for the rectangle is reported by the copy of raw lines.
    Picture tight(5, 3, 8, 1, 3), s(5, 3, 8, 1);
    EXPECT_EQ(Api::CopyRect(0, 0, 5, 3, &tight, 0, 0, &s), QM_OK);
    EXPECT_EQ(reports.take(),
              std::vector<std::wstring>{L"size > dwDestLineSize|null|PicMemAPI/converts|57"});
}

// Rows that lie 3 GiB apart: positions have 64 bits.
TEST(CopyRect, ReachesBeyond4GiB) {
    constexpr uint32_t kStride = 3u << 30;
    constexpr size_t kBytes = size_t{kStride} * 3;
    void* const memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    SQmPicBuf big{kStride, 3, kStride, 8, 1, kBytes, memory};
    Picture s(4, 4, 8, 1);
    s.count_up();
    EXPECT_EQ(Api::CopyRect(kStride - 2, 1, 2, 2, &big, 1, 1, &s), QM_OK);
    const auto* const bytes = static_cast<uint8_t*>(memory);
    for (size_t y = 0; y < 2; ++y) {
        EXPECT_EQ(bytes[(2 + y) * kStride - 2], s.row(1 + static_cast<uint32_t>(y))[1]);
        EXPECT_EQ(bytes[(2 + y) * kStride - 1], s.row(1 + static_cast<uint32_t>(y))[2]);
    }
    Picture back(4, 4, 8, 1);
    EXPECT_EQ(Api::CopyRect(1, 1, 2, 2, &back, kStride - 2, 1, &big), QM_OK);
    EXPECT_EQ(back.row(2)[2], s.row(2)[2]);
    EXPECT_EQ(Api::Copy(&back, &big), QM_OK);
    munmap(memory, kBytes);
}

// ----- Masks ----------------------------------------------------------------------------------

TEST(CopyViaBinaryUnpacked, CopiesPixelsWhoseMaskIsFullScaleOrZeroInverted) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t bpc : {7u, 8u, 9u, 16u})
            for (const uint32_t components : {0u, 1u, 2u, 3u, 4u, 5u})
                for (const uint32_t mask_bpc : {1u, 8u, 12u})
                    for (const uint32_t mask_components : {1u, 3u})
                        for (const bool inverted : {false, true})
                            for (const uint32_t width : {3u, 70u}) {
                                const uint32_t pixel = components * (bpc <= 8 ? 1 : 2);
                                Picture d(width, 5, bpc, components, width * pixel + 3),
                                    s(width, 5, bpc, components, width * pixel + 1),
                                    m(width, 5, mask_bpc, mask_components, width * 6 + 2);
                                d.fill(0xA5);
                                s.count_up();
                                for (uint64_t i = 0; i < m.ui64Size; ++i)
                                    m.bytes()[i] =
                                        std::array<uint8_t, 5>{0, 255, 1, 128, 254}[i * 7 % 11 % 5];
                                Bytes expected = d.content();
                                const uint32_t wanted = inverted        ? 0
                                                        : mask_bpc == 1 ? 1
                                                        : mask_bpc == 8 ? 255
                                                                        : 4095;
                                for (uint32_t y = 0; y < 5; ++y)
                                    for (uint32_t x = 0; x < width; ++x)
                                        if (m.row(y)[x * mask_components] == wanted)
                                            std::copy_n(
                                                s.row(y) + x * pixel, pixel,
                                                expected.begin() + y * d.uiWidthBytes + x * pixel);
                                ASSERT_EQ(Api::CopyViaBinaryUnpacked(&d, &s, &m, inverted), QM_OK);
                                ASSERT_EQ(d.content(), expected)
                                    << components << " x " << bpc << ", mask " << mask_components
                                    << " x " << mask_bpc << ", " << name_of(level);
                            }
    }
}

TEST(CopyViaBinaryUnpacked, ReachesTheFirstHalfOfPixelsAbove16Bits) {
    Picture d(2, 1, 32, 2), s(2, 1, 32, 2), m(2, 1, 8, 1);
    d.fill(0xA5);
    s.count_up();
    m.bytes()[1] = 255;
    EXPECT_EQ(Api::CopyViaBinaryUnpacked(&d, &s, &m, false), QM_OK);
    Bytes expected(16, 0xA5);
    std::copy_n(s.bytes() + 8, 4, expected.begin() + 8);
    EXPECT_EQ(d.content(), expected);
}

TEST(CopyViaBinaryUnpacked, RefusesWithoutAReport) {
    Picture d(5, 3, 8, 1), s(5, 3, 8, 1), m(5, 3, 8, 1), depth(5, 3, 9, 1), three(5, 3, 8, 3),
        small(5, 2, 8, 1);
    const Bytes before = d.count_up().content();
    m.fill(255);
    Reports reports;
    const auto refused = [&](SQmPicBuf* to, SQmPicBuf* from, SQmPicBuf* mask) {
        EXPECT_EQ(Api::CopyViaBinaryUnpacked(to, from, mask, false), QM_BAD_BUFFER);
        EXPECT_EQ(Api::CopyViaBinaryUnpacked(to, from, mask, true), QM_BAD_BUFFER);
    };
    refused(&d, &s, nullptr);
    refused(&d, nullptr, &m);
    refused(nullptr, &s, &m);
    refused(&d, &depth, &m);
    refused(&d, &three, &m);
    refused(&d, &small, &m);
    refused(&d, &s, &small);
    for (int which = 0; which < 3; ++which) {
        SQmPicBuf a = d, b = s, c = m;
        (which == 0 ? a : which == 1 ? b : c).pData = nullptr;
        refused(&a, &b, &c);
    }
    EXPECT_EQ(d.content(), before);
    EXPECT_TRUE(reports.take().empty());
}

TEST(Swap, ExchangesRecordsWhole) {
    Picture a(5, 3, 8, 1), b(9, 2, 12, 3);
    const SQmPicBuf before_a = a, before_b = b;
    EXPECT_EQ(Api::Swap(&a, &b), QM_OK);
    EXPECT_TRUE(same_record(a, before_b));
    EXPECT_TRUE(same_record(b, before_a));
    EXPECT_EQ(Api::Swap(&a, &a), QM_OK);
    EXPECT_TRUE(same_record(a, before_b));
}

TEST(PicBufs, AreWorkedOnInTheCallingThread) {
    if (!WatchedRegions::kWorks) return;
    Picture d(64, 64, 8, 1), s(64, 64, 8, 1), three(64, 64, 8, 3), m(64, 64, 8, 1);
    WatchedRegions regions;
    Api::Copy(&d, &s);
    Api::CopyComp(&three, &s);
    Api::CopyRect(1, 1, 9, 9, &d, 0, 0, &s);
    Api::CopyViaBinaryUnpacked(&d, &s, &m, true);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
