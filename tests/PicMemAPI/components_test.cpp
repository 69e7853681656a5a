#include "qmpic/kernels/components.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <string>
#include <vector>

#include "PicMemAPI/components_kernels.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/reports.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using List = std::vector<uint32_t>;

/// Where sample `i` of pixel (x, y) lies among the samples of a picture.
size_t at(const GuardedPicture& picture, uint32_t x, uint32_t y, uint32_t i) {
    return (size_t{y} * picture.size().width + x) * picture.format().components + i;
}

/// Now and then rows enough for every gate.
Size draw_size(uint32_t components, Round round) {
    const Size size = round.random.size(components);
    return round.number % 16 == 5 ? Size{2, 1030} : size;
}

void check_copy(CopyComponentKernel* run, uint32_t bits, Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(depths(bits));
    const Format from{random.components(), bits, bpc};
    const bool inside = random(0, 2) == 0;
    const Format to{inside ? from.components : random.components(), bits, bpc};
    const Size size = draw_size(std::max(from.components, to.components), round);
    const GuardedPicture other(from, size, random), d(to, size, random);
    const GuardedPicture& s = inside ? d : other;
    const uint32_t i = random(0, to.components - 1), j = random(0, from.components - 1);
    std::vector<uint64_t> expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            expected[at(d, x, y, i)] = s.get(x * from.components + j, y);
    const auto outside = d.outside();

    ASSERT_EQ(run(d.data(), to.components, d.stride(), i, s.data(), from.components, s.stride(), j,
                  size.width, size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << ": " << j << " of "
                                     << from.components << " to " << i << " of " << to.components;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

/// Indexes of a picture of so many components: all of them in some order, or any, repeated or not.
List draw_list(uint32_t components, uint32_t count, Random& random) {
    List list;
    if (random(0, 1) && count <= components) {
        for (uint32_t c = 0; c < components; ++c) list.push_back(c);
        for (uint32_t c = components; c-- > 1;) std::swap(list[c], list[random(0, c)]);
        list.resize(count);
    } else {
        for (uint32_t k = 0; k < count; ++k) list.push_back(random(0, components - 1));
    }
    return list;
}

/// Half of the pictures have the few components that pixels have most.
uint32_t draw_components(Random& random) {
    return random(0, 1) ? random(1, 4) : random.components();
}

struct Drawn {
    const GuardedPicture* picture;
    List to, from;
};

/// The moves of lists, one after the other within each pixel, then zeros for the `rest`.
std::vector<uint64_t> moved(const GuardedPicture& d, const std::vector<Drawn>& lists,
                            bool zero_rest) {
    std::vector<uint64_t> all = d.content();
    for (uint32_t y = 0; y < d.size().height; ++y)
        for (uint32_t x = 0; x < d.size().width; ++x) {
            for (const auto& [s, to, from] : lists)
                for (size_t k = 0; k < to.size(); ++k)
                    all[at(d, x, y, to[k])] = s == &d
                                                  ? all[at(d, x, y, from[k])]
                                                  : s->get(x * s->format().components + from[k], y);
            for (uint32_t c = 0; zero_rest && c < d.format().components; ++c)
                if (std::count(lists[0].to.begin(), lists[0].to.end(), c) == 0)
                    all[at(d, x, y, c)] = 0;
        }
    return all;
}

void check_list(CopyComponentsKernel* run, uint32_t bits, bool zero_rest, Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(depths(bits));
    const uint32_t dc = draw_components(random);
    const bool inside = random(0, 2) == 0;
    const uint32_t sc = inside ? dc : draw_components(random);
    const Size size = draw_size(std::max(dc, sc), round);
    const GuardedPicture d({dc, bits, bpc}, size, random), other({sc, bits, bpc}, size, random);
    const GuardedPicture& s = inside ? d : other;
    const uint32_t count = zero_rest ? random(0, dc - 1) : random(0, 3) ? dc : random(0, dc + 2);
    const Drawn list{&s, draw_list(dc, count, random), draw_list(sc, count, random)};
    const auto expected = moved(d, {list}, zero_rest);
    const auto outside = d.outside();

    ASSERT_EQ(
        run(d.data(), dc, list.to.data(), d.stride(), s.data(), sc, list.from.data(), s.stride(),
            size.width, static_cast<uint32_t>(size.pixels), count, random(0, 1) == 1),
        QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << ": " << sc << " to "
                                     << dc << ", " << count << " moves, inside: " << inside;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_merge(MergeComponentsKernel* run, uint32_t bits, Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(depths(bits));
    const uint32_t dc = draw_components(random);
    const bool inside1 = random(0, 3) == 0, inside2 = random(0, 3) == 0;
    const uint32_t sc1 = inside1 ? dc : draw_components(random);
    const uint32_t sc2 = inside2 ? dc : draw_components(random);
    const Size size = draw_size(std::max({dc, sc1, sc2}), round);
    const GuardedPicture d({dc, bits, bpc}, size, random), a({sc1, bits, bpc}, size, random),
        b({sc2, bits, bpc}, size, random);
    const GuardedPicture &s1 = inside1 ? d : a, &s2 = inside2 ? d : b;
    const List to = draw_list(dc, dc, random);  // mostly: all components between the two
    const uint32_t count1 = random(0, dc), count2 = random(0, 3) ? dc - count1 : random(0, dc);
    const Drawn first{&s1, List(to.begin(), to.begin() + count1), draw_list(sc1, count1, random)},
        second{&s2, List(to.end() - count2, to.end()), draw_list(sc2, count2, random)};
    const auto expected = moved(d, {first, second}, false);
    const auto outside = d.outside();

    ASSERT_EQ(run(d.data(), dc, first.to.data(), second.to.data(), d.stride(), s1.data(), sc1,
                  first.from.data(), count1, s1.stride(), s2.data(), sc2, second.from.data(),
                  count2, s2.stride(), size.width, static_cast<uint32_t>(size.pixels)),
              QM_OK);

    ASSERT_EQ(d.content(), expected)
        << size.width << " x " << size.height << ": " << sc1 << " and " << sc2 << " to " << dc
        << ", " << count1 << " and " << count2 << " moves, inside: " << inside1 << inside2;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kCopyComponent)
        all.push_back(
            {std::string(k.name), [=](Round round) { check_copy(k.run, k.source.bits, round); }});
    for (const auto& k : kCopyComponents)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_list(k.run, k.source.bits, false, round); }, 128});
    for (const auto& k : kCopyComponentsZeroRest)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_list(k.run, k.source.bits, true, round); }, 128});
    for (const auto& k : kMergeComponents)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_merge(k.run, k.source.bits, round); }, 128});
    return all;
}

int from_8_bits_on(uint32_t /*components*/, uint32_t bpc) {
    return bpc >= 8 ? QM_OK : QM_NO_KERNEL;
}
int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }

const uint32_t kUp[] = {0, 1, 2, 3, 4, 5}, kDown[] = {1, 0};

std::vector<EntryCase> entry_cases() {
    const auto list = [](auto* entry, const EntryCall& c, const uint32_t* to, const uint32_t* from,
                         uint32_t count) {
        return entry(c.dst, c.components, to, c.stride, c.src, c.components, from, c.stride, c.bpc,
                     c.width, static_cast<uint32_t>(c.size), count, false);
    };
    const auto merge = [](const EntryCall& c, uint32_t count1, uint32_t count2) {
        return Api::MergeComponents(c.dst, c.components, kUp, kUp + count1, c.stride, c.src,
                                    c.components, kUp, count1, c.stride, c.src, c.components, kUp,
                                    count2, c.stride, c.bpc, c.width,
                                    static_cast<uint32_t>(c.size));
    };
    // What a list of one gives: all is copied whole where there is nothing else.
    const auto of_one = [](uint32_t components, uint32_t bpc) {
        return components == 0   ? QM_REJECTED
               : components == 1 ? QM_OK
                                 : bytes_and_words(components, bpc);
    };
    const auto of_two = [](uint32_t components, uint32_t bpc) {
        return components < 2 ? QM_REJECTED : bytes_and_words(components, bpc);
    };
    return {
        {"CQmPicMemAPI_Base::CopyComponent",
         [](const EntryCall& c) {
             return Api::CopyComponent(c.dst, c.components, c.stride, 0, c.src, c.components,
                                       c.stride, 0, c.bpc, c.width, c.size);
         },
         from_8_bits_on},
        {"CQmPicMemAPI_Base::ExtractComponent",
         [](const EntryCall& c) {
             return Api::ExtractComponent(c.dst, c.stride, c.src, c.components, c.stride, 0, c.bpc,
                                          c.width, c.size);
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::StoreComponent",
         [](const EntryCall& c) {
             return Api::StoreComponent(c.dst, c.components, c.stride, 0, c.src, c.stride, c.bpc,
                                        c.width, c.size);
         },
         bytes_and_words},
        {"CQmPicMemAPI_Base::ExpandComponent",
         [](const EntryCall& c) {
             return Api::ExpandComponent(c.dst, c.components, c.stride, c.src, c.stride, c.bpc,
                                         c.width, c.size);
         },
         [](uint32_t components, uint32_t bpc) {
             return components == 1 ? QM_OK : bytes_and_words(components, bpc);
         }},
        {"CQmPicMemAPI_Base::ExtractComponentRange",
         [](const EntryCall& c) {
             return Api::ExtractComponentRange(c.dst, c.stride, c.components, 0, c.src,
                                               c.components, c.stride, 0, 0, c.bpc, c.width,
                                               c.size);
         },
         always},
        {"CQmPicMemAPI_Base::CopyComponents",
         [=](const EntryCall& c) { return list(Api::CopyComponents, c, kDown, kUp, 2); }, of_two},
        {"CQmPicMemAPI_Base::CopyComponents one",
         [=](const EntryCall& c) { return list(Api::CopyComponents, c, kUp, kUp, 1); }, of_one,
         true, true, [](uint32_t components, uint32_t bpc) { return components > 1 && bpc > 16; }},
        {"CQmPicMemAPI_Base::CopyComponents all in order",
         [=](const EntryCall& c) { return list(Api::CopyComponents, c, kUp, kUp, c.components); },
         always},
        {"CQmPicMemAPI_Base::CopyComponentsZeroRest",
         [=](const EntryCall& c) { return list(Api::CopyComponentsZeroRest, c, kUp, kUp, 1); },
         of_one},
        {"CQmPicMemAPI_Base::CopyComponentsZeroRest of none",
         [=](const EntryCall& c) { return list(Api::CopyComponentsZeroRest, c, kUp, kUp, 0); },
         [](uint32_t components, uint32_t bpc) {
             return components == 0 ? QM_OK : bytes_and_words(components, bpc);
         }},
        {"CQmPicMemAPI_Base::MergeComponents", [=](const EntryCall& c) { return merge(c, 1, 1); },
         of_two},
        {"CQmPicMemAPI_Base::MergeComponents of the second",
         [=](const EntryCall& c) { return merge(c, 0, 2); },
         [](uint32_t components, uint32_t bpc) {  // and both are all in order
             return components < 2    ? QM_REJECTED
                    : components == 2 ? QM_OK
                                      : bytes_and_words(components, bpc);
         }},
        {"CQmPicMemAPI_Base::MergeComponents of none",
         [=](const EntryCall& c) { return merge(c, 0, 0); }, always},
    };
}

const bool registered =
    add_cases(kernel_cases(), entry_cases(), {"SQmPicBufAPI_Base::CopyRectComp"});

// ----- Single components
// ---------------------------------------------------------------------------

TEST(CopyComponent, TakesEveryDepthAbove16AsDoubleWords) {
    for (uint32_t bpc = 0; bpc <= 65; ++bpc) {
        const uint32_t bytes = bpc < 8 ? 0 : bpc == 8 ? 1 : bpc <= 16 ? 2 : 4;
        const uint32_t source = 0x81828384;
        uint32_t d = 0;
        EXPECT_EQ(Api::CopyComponent(&d, 1, 4, 0, &source, 1, 4, 0, bpc, 1, 1),
                  bytes == 0 ? QM_NO_KERNEL : QM_OK);
        EXPECT_EQ(d, bytes == 0   ? 0
                     : bytes == 1 ? 0x84u
                     : bytes == 2 ? 0x8384u
                                  : 0x81828384u)
            << bpc;
    }
}

TEST(ExtractComponent, AndStoreComponentRefuse24BitsThatCopyComponentTakes) {
    const uint32_t s[2] = {5, 6};
    uint32_t d[2] = {1, 2};
    EXPECT_EQ(Api::ExtractComponent(d, 4, s, 2, 8, 1, 24, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Api::StoreComponent(d, 2, 8, 1, s, 4, 24, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d[0], 1u);
    EXPECT_EQ(d[1], 2u);
    EXPECT_EQ(Api::CopyComponent(d, 1, 4, 0, s, 2, 8, 1, 24, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 6u);
}

TEST(ExtractComponent, TakesOneOfMany) {
    const uint16_t s[6] = {1, 2, 3, 4, 5, 6};
    uint16_t d[2] = {};
    EXPECT_EQ(Api::ExtractComponent(d, 4, s, 3, 12, 2, 12, 2, 2), QM_OK);
    EXPECT_EQ(d[0], 3);
    EXPECT_EQ(d[1], 6);
}

TEST(StoreComponent, WritesOneOfMany) {
    const uint8_t s[2] = {8, 9};
    std::vector<uint8_t> d{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(Api::StoreComponent(d.data(), 3, 6, 1, s, 2, 8, 2, 2), QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{1, 8, 3, 4, 9, 6}));
}

TEST(CopyComponent, DoesNotCompareIndexesWithCounts) {  // 3 of one is the next but two
    const uint8_t s[4] = {1, 2, 3, 4};
    uint8_t d[2] = {};
    EXPECT_EQ(Api::CopyComponent(d, 1, 2, 1, s, 1, 4, 3, 8, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[1], 4);
}

TEST(CopyComponent, CountsRowsInSigned32Bits) {
    for (const auto& kernel : kCopyComponent) {
        const uint32_t source = 0x01010101;
        uint32_t d[2] = {};
        kernel.run(d, 1, 4, 0, &source, 1, 4, 0, 1, uint64_t{1} << 31);
        EXPECT_EQ(d[0], 0u) << kernel.name;
        kernel.run(d, 1, 4, 0, &source, 1, 4, 0, 1, (uint64_t{1} << 32) + 1);
        EXPECT_NE(d[0], 0u) << kernel.name;
        EXPECT_EQ(d[1], 0u) << kernel.name;
    }
}

// One row a page, so that the pages touched tell which thread had which row.
uint64_t threads_of(const std::function<void(void* d, uint32_t stride)>& call, uint32_t rows) {
    omp_set_num_threads(2);
    const TouchedPages pages(rows);
    call(pages.data(), TouchedPages::kPage);
    return pages.thread_count();
}

TEST(CopyComponent, ForksAlwaysButTheWordsFrom1024RowsOn) {
    const std::vector<uint8_t> source(TouchedPages::kPage * 1024);
    for (const auto& kernel : kCopyComponent)
        for (const uint32_t rows : {2u, 1023u, 1024u}) {
            const auto call = [&](void* d, uint32_t stride) {
                kernel.run(d, 1, stride, 0, source.data(), 1, stride, 0, 1, rows);
            };
            const bool words = kernel.name == "copycomponent_Nx16_to_Nx16";
            EXPECT_EQ(threads_of(call, rows), words && rows < 1024 ? 1u : 2u)
                << kernel.name << ", " << rows << " rows";
        }
}

TEST(CopyComponent, At12BitsStaysInTheCallingThreadBelow1024Rows) {
    const std::vector<uint8_t> source(TouchedPages::kPage * 1024);
    for (const uint32_t rows : {1023u, 1024u}) {
        const auto call = [&](void* d, uint32_t stride) {
            Api::CopyComponent(d, 1, stride, 0, source.data(), 1, stride, 0, 12, 1, rows);
        };
        EXPECT_EQ(threads_of(call, rows), rows < 1024 ? 1u : 2u);
    }
}

TEST(CopyComponent, ForksForASinglePixelToo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const auto& kernel : kCopyComponent) {
        const uint32_t s = 1;
        uint32_t d = 0;
        const WatchedRegions regions;
        kernel.run(&d, 1, 4, 0, &s, 1, 4, 0, 1, 1);
        EXPECT_EQ(regions.teams(), kernel.name == "copycomponent_Nx16_to_Nx16"
                                       ? std::vector<uint32_t>{}
                                       : std::vector<uint32_t>{0});
    }
}

// ----- One to many
// ---------------------------------------------------------------------------------

TEST(ExpandComponent, RepeatsTheValueInAllComponents) {
    for (uint32_t components = 1; components <= 6; ++components) {
        const uint8_t s[2] = {7, 9};
        std::vector<uint8_t> d(2 * components), expected(2 * components, 7);
        std::fill(expected.begin() + components, expected.end(), 9);
        EXPECT_EQ(Api::ExpandComponent(d.data(), components, 2 * components, s, 2, 8, 2, 2), QM_OK);
        EXPECT_EQ(d, expected) << components;  // the fourth of four, too
        const uint16_t words[2] = {0x107, 0x109};
        std::vector<uint16_t> w(2 * components), wanted(2 * components, 0x107);
        std::fill(wanted.begin() + components, wanted.end(), 0x109);
        EXPECT_EQ(Api::ExpandComponent(w.data(), components, 4 * components, words, 4, 12, 2, 2),
                  0);
        EXPECT_EQ(w, wanted) << components;
    }
}

TEST(ExpandComponent, ToOneCopiesLinesOfAnyDepth) {
    const uint32_t s[2] = {0x01020304, 0x05060708};
    for (const auto& [bpc, last] : {std::pair(32u, 0x05060708u), {24u, 0x0708u}, {7u, 0u}}) {
        uint32_t d[2] = {};  // 8, 6 and 2 bytes a line
        EXPECT_EQ(Api::ExpandComponent(d, 1, 8, s, 8, bpc, 2, 2), QM_OK);
        EXPECT_EQ(d[0], bpc == 7 ? 0x0304u : 0x01020304u);
        EXPECT_EQ(d[1], last) << bpc;
    }
    uint8_t d[2] = {};
    Reports reports;
    EXPECT_EQ(Api::ExpandComponent(d, 1, 1, s, 8, 8, 2, 2), QM_OK);  // cut to the stride
    EXPECT_EQ(reports.take(),
              std::vector<std::wstring>{L"size > dwDestLineSize|null|PicMemAPI/converts|57"});
    EXPECT_EQ(d[0], 4);
    EXPECT_EQ(d[1], 0);
}

// ----- Ranges
// --------------------------------------------------------------------------------------

/// A block a pixel, byte by byte, in memory that nobody guards.
TEST(ExtractComponentRange, MovesBlocksThatBeginAtBytes) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(11);
        for (uint32_t round = 0; round < 400; ++round) {
            const uint32_t bpc = random.one_of({1u, 8u, 12u, 16u, 24u, 32u, 40u, 64u});
            const uint32_t size = bpc <= 8 ? 1 : bpc <= 16 ? 2 : bpc <= 32 ? 4 : 8;
            const uint32_t dc = random(1, 6), sc = random(1, 6);
            const uint32_t count = random(0, std::min(dc, sc));
            const uint32_t d_first = random(0, (dc - count) * size);
            const uint32_t s_first = random(0, (sc - count) * size);
            const uint32_t width = random(1, 40), rows = random(1, 4);
            const Format bytes{1, 8, 8};
            const GuardedPicture d(bytes, {width * dc * size, rows}, random),
                s(bytes, {width * sc * size, rows}, random);
            auto expected = d.content();
            for (uint32_t y = 0; y < rows; ++y)
                for (uint32_t x = 0; x < width; ++x)
                    for (uint32_t i = 0; i < count * size; ++i)
                        expected[(y * width + x) * dc * size + d_first + i] =
                            s.get(x * sc * size + s_first + i, y);
            const auto outside = d.outside();
            ASSERT_EQ(Api::ExtractComponentRange(d.data(), d.stride(), dc, d_first, s.data(), sc,
                                                 s.stride(), s_first, s_first + count - 1, bpc,
                                                 width, uint64_t{width} * rows + width - 1),
                      QM_OK);
            ASSERT_EQ(d.content(), expected)
                << count << " of " << sc << " to " << dc << ", " << bpc;
            ASSERT_EQ(d.outside(), outside);
        }
    }
}

TEST(ExtractComponentRange, CountsFirstComponentsInBytes) {
    const uint16_t s[3] = {0x1122, 0x3344, 0x5566};
    uint16_t d[1] = {};
    // First 1 of 16 bits: the middle of the first component.
    EXPECT_EQ(Api::ExtractComponentRange(d, 2, 1, 0, s, 3, 6, 1, 1, 16, 1, 1), QM_OK);
    EXPECT_EQ(d[0], 0x4411);
    // First 2, last 3: components 1 and 2, of which the destination keeps both.
    uint16_t two[3] = {9, 9, 9};
    EXPECT_EQ(Api::ExtractComponentRange(two, 6, 3, 2, s, 3, 6, 2, 3, 16, 1, 1), QM_OK);
    EXPECT_EQ(two[0], 9);
    EXPECT_EQ(two[1], 0x3344);
    EXPECT_EQ(two[2], 0x5566);
}

TEST(ExtractComponentRange, MovesNothingWhenTheLastIsTheOneBeforeTheFirst) {
    uint8_t d = 7;
    const uint8_t s = 1;
    EXPECT_EQ(Api::ExtractComponentRange(&d, 1, 1, 0, &s, 1, 1, 0, UINT32_MAX, 8, 1, 1), QM_OK);
    EXPECT_EQ(d, 7);
    EXPECT_EQ(Api::ExtractComponentRange(&d, 1, 1, 0, &s, 1, 1, 0, 0, 0, 1, 1), QM_OK);  // 0 bits
    EXPECT_EQ(Api::ExtractComponentRange(&d, 1, 1, 0, &s, 1, 1, 0, 0, 65, 1, 1), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(ExtractComponentRange, GoesFromLeftToRightWithinOnePicture) {  // three made one, in place
    std::vector<uint8_t> row{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(Api::ExtractComponentRange(row.data(), 9, 1, 0, row.data(), 3, 9, 2, 2, 8, 3, 3), 0);
    EXPECT_EQ(row, (std::vector<uint8_t>{3, 6, 9, 4, 5, 6, 7, 8, 9}));
}

// ----- Lists
// ---------------------------------------------------------------------------------------

template <class T>
struct Row {
    std::vector<T> samples;
    uint32_t components;
    uint32_t stride() const { return static_cast<uint32_t>(samples.size() * sizeof(T)); }
    uint32_t width() const { return static_cast<uint32_t>(samples.size()) / components; }
};

template <class T>
int copy_list(Row<T>& d, const List& to, const Row<T>& s, const List& from, uint32_t bpc,
              bool parallel = false) {
    return Api::CopyComponents(d.samples.data(), d.components, to.data(), d.stride(),
                               s.samples.data(), s.components, from.data(), s.stride(), bpc,
                               d.width(), d.width(), static_cast<uint32_t>(to.size()), parallel);
}
template <class T>
int copy_list_zero_rest(Row<T>& d, const List& to, const Row<T>& s, const List& from,
                        uint32_t bpc) {
    return Api::CopyComponentsZeroRest(d.samples.data(), d.components, to.data(), d.stride(),
                                       s.samples.data(), s.components, from.data(), s.stride(), bpc,
                                       d.width(), d.width(), static_cast<uint32_t>(to.size()),
                                       false);
}

TEST(CopyComponents, SwapsTwoOfThree) {
    Row<uint8_t> d{{0, 0, 0, 0, 0, 0}, 3};
    const Row<uint8_t> s{{1, 2, 3, 4, 5, 6}, 3};
    EXPECT_EQ(copy_list(d, {0, 2, 1}, s, {0, 1, 2}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{1, 3, 2, 4, 6, 5}));
}

TEST(CopyComponents, MakesItsMovesOneAfterTheOtherWithinOnePicture) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Row<uint8_t> row{{}, 3};
        std::vector<uint8_t> expected;
        for (uint8_t x = 0; x < 80; ++x) {
            for (const int c : {1, 2, 3}) row.samples.push_back(static_cast<uint8_t>(3 * x + c));
            for (const int c : {3, 2, 3}) expected.push_back(static_cast<uint8_t>(3 * x + c));
        }
        // 0 from 2, then 2 from 0: no exchange.
        EXPECT_EQ(copy_list(row, {0, 1, 2}, row, {2, 1, 0}, 8), QM_OK);
        EXPECT_EQ(row.samples, expected);
    }
}

TEST(CopyComponents, GoesFromLeftToRightWhenThreeBecomeOneInPlace) {
    std::vector<uint8_t> row(90);
    for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint8_t>(i);
    const uint32_t to = 0, from = 2;
    EXPECT_EQ(copycomponents_Nx8_to_Nx8(row.data(), 1, &to, 90, row.data(), 3, &from, 90, 30, 30, 1,
                                        false),
              QM_OK);
    for (uint8_t x = 0; x < 30; ++x) EXPECT_EQ(row[x], 3 * x + 2);
    EXPECT_EQ(row[30], 30);
}

TEST(CopyComponents, LetsTheLaterMoveWin) {
    Row<uint16_t> d{{0, 0}, 2};
    const Row<uint16_t> s{{1, 2}, 2};
    EXPECT_EQ(copy_list(d, {1, 1}, s, {0, 1}, 12), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint16_t>{0, 2}));
}

TEST(CopyComponents, RefusesMoreMovesThanComponents) {
    Row<uint8_t> two{{1, 2}, 2}, three{{5, 6, 7}, 3};
    EXPECT_EQ(copy_list(two, {0, 1, 2}, three, {0, 1, 2}, 8), QM_REJECTED);
    EXPECT_EQ(two.samples, (std::vector<uint8_t>{1, 2}));
    const Row<uint8_t> one{{9}, 1};
    EXPECT_EQ(Api::CopyComponents(three.samples.data(), 3, kUp, 3, one.samples.data(), 1, kUp, 1, 8,
                                  1, 1, 2, false),
              QM_REJECTED);
    EXPECT_EQ(
        Api::CopyComponents(two.samples.data(), 2, kUp, 2, nullptr, 3, kUp, 3, 8, 1, 1, 3, false),
        QM_OK);  // nothing comes first
    EXPECT_EQ(copy_list(two, {}, three, {}, 24), QM_OK);
}

TEST(CopyComponents, CopiesLinesOfAnyDepthWhenListsNameAllInEqualOrder) {
    Row<uint32_t> d{{0, 0, 0}, 3};
    const Row<uint32_t> s{{1, 2, 3}, 3};
    EXPECT_EQ(copy_list(d, {0, 1, 2}, s, {0, 1, 2}, 32), QM_OK);
    EXPECT_EQ(d.samples, s.samples);
    EXPECT_EQ(copy_list(d, {2, 1, 0}, s, {2, 1, 0}, 40), QM_OK) << "equal, if not in order";
    EXPECT_EQ(copy_list(d, {0, 1, 2}, s, {0, 2, 1}, 32), QM_NO_KERNEL);
    // Even two equal lists that name a component twice.
    d.samples = {0, 0, 0};
    EXPECT_EQ(copy_list(d, {0, 0, 0}, s, {0, 0, 0}, 32), QM_OK);
    EXPECT_EQ(d.samples, s.samples);
    // A short stride is reported as copyparallel does.
    uint8_t bytes[3] = {}, from[3] = {1, 2, 3};
    Reports reports;
    EXPECT_EQ(Api::CopyComponents(bytes, 3, kUp, 2, from, 3, kUp, 3, 8, 1, 1, 3, false), QM_OK);
    EXPECT_EQ(reports.take(),
              std::vector<std::wstring>{L"size > dwDestLineSize|null|PicMemAPI/converts|84"});
    EXPECT_EQ(bytes[1], 2);
    EXPECT_EQ(bytes[2], 0);
}

TEST(CopyComponents, OfOneCopiesAndYetReturnsNoKernelAbove16Bits) {
    for (const uint32_t bpc : {17u, 24u, 32u, 33u}) {
        Row<uint32_t> d{{0, 0}, 2};
        const Row<uint32_t> s{{7, 0x01020304}, 2};
        EXPECT_EQ(copy_list(d, {0}, s, {1}, bpc), QM_NO_KERNEL);
        EXPECT_EQ(d.samples, (std::vector<uint32_t>{0x01020304, 0}));
        Row<uint32_t> one{{0}, 1};  // but for two pictures of one, which are lines
        EXPECT_EQ(copy_list(one, {0}, Row<uint32_t>{{0x01020304}, 1}, {0}, bpc), QM_OK);
        EXPECT_EQ(one.samples[0], 0x01020304u);
    }
    Row<uint8_t> d{{0, 0}, 2};
    EXPECT_EQ(copy_list(d, {1}, Row<uint8_t>{{8, 9}, 2}, {0}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{0, 8}));
    EXPECT_EQ(copy_list(d, {1}, Row<uint8_t>{{8, 9}, 2}, {1}, 7), QM_NO_KERNEL);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{0, 8}));
}

TEST(CopyComponents, ForkWhenTheCallerSaysSo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const bool parallel : {false, true})
        for (const auto* lists : {&kCopyComponents, &kCopyComponentsZeroRest})
            for (const auto& kernel : *lists) {
                uint16_t d[6] = {};
                const uint16_t s[6] = {};
                for (const uint32_t components : {3u, 6u}) {
                    const WatchedRegions regions;
                    kernel.run(d, components, kDown, 12, s, 2, kUp, 12, 1, 1, 2, parallel);
                    EXPECT_EQ(regions.forks(), parallel ? 1u : 0u) << kernel.name;
                }
                const WatchedRegions regions;  // shuffled, where that is done
                if (lists == &kCopyComponents) {
                    kernel.run(d, 2, kDown, 12, s, 2, kUp, 12, 1, 1, 2, parallel);
                    EXPECT_EQ(regions.forks(), parallel ? 1u : 0u) << kernel.name;
                }
            }
    for (const bool parallel : {false, true}) {
        Row<uint8_t> d{{0, 0}, 2};
        const Row<uint8_t> s{{1, 2}, 2};
        {
            const WatchedRegions regions;  // whole lines
            copy_list(d, {0, 1}, s, {0, 1}, 8, parallel);
            EXPECT_EQ(regions.forks(), parallel ? 1u : 0u);
        }
        const WatchedRegions regions;  // a single one is copied by CopyComponent first
        copy_list(d, {0}, s, {1}, 8, parallel);
        EXPECT_EQ(regions.forks(), parallel ? 2u : 1u);
    }
}

TEST(CopyComponentsZeroRest, ClearsWhatTheListDoesNotName) {
    Row<uint8_t> d{{9, 9, 9, 9, 9, 9, 9, 9}, 4};
    const Row<uint8_t> s{{1, 2, 3, 4, 5, 6}, 3};
    EXPECT_EQ(copy_list_zero_rest(d, {0, 1, 2}, s, {0, 1, 2}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{1, 2, 3, 0, 4, 5, 6, 0}));
    Row<uint16_t> w{{9, 9, 9, 9}, 4};  // an index twice leaves three to clear
    EXPECT_EQ(copy_list_zero_rest(w, {2, 2, 2}, Row<uint16_t>{{1, 2, 3}, 3}, {0, 1, 2}, 12), QM_OK);
    EXPECT_EQ(w.samples, (std::vector<uint16_t>{0, 0, 3, 0}));
}

TEST(CopyComponentsZeroRest, ClearsAfterThePixelsMovesWithinOnePicture) {
    Row<uint8_t> d{{1, 2, 3}, 3};
    EXPECT_EQ(copy_list_zero_rest(d, {0}, d, {2}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{3, 0, 0}));
}

TEST(CopyComponentsZeroRest, ClearsEverythingForAnEmptyList) {
    Row<uint8_t> d{{1, 2, 3}, 3};
    EXPECT_EQ(copy_list_zero_rest(d, {}, Row<uint8_t>{{7}, 1}, {}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{0, 0, 0}));
    EXPECT_EQ(copy_list_zero_rest(d, {}, Row<uint8_t>{{7}, 1}, {}, 24), QM_NO_KERNEL);
}

TEST(CopyComponentsZeroRest, WithoutARestIsCopyComponents) {
    Row<uint8_t> d{{9, 9}, 2};
    EXPECT_EQ(copy_list_zero_rest(d, {1, 0}, Row<uint8_t>{{1, 2, 3}, 3}, {1, 2}, 8), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{3, 2}));
    // A single one of two: copied, and -2.
    Row<uint32_t> one{{9}, 1};
    EXPECT_EQ(copy_list_zero_rest(one, {0}, Row<uint32_t>{{1, 2}, 2}, {1}, 32), QM_NO_KERNEL);
    EXPECT_EQ(one.samples[0], 2u);
    // Of one component and equal lists there are only lines left, of 3 bytes at 24 bits.
    one.samples = {0x99999999};
    EXPECT_EQ(copy_list_zero_rest(one, {0}, Row<uint32_t>{{0x01020304}, 1}, {0}, 24), QM_OK);
    EXPECT_EQ(one.samples[0], 0x99020304u);
    EXPECT_EQ(copy_list(one, {0}, Row<uint32_t>{{0x01020304}, 1}, {0}, 24), QM_OK);
    EXPECT_EQ(one.samples[0], 0x01020304u);
}

TEST(CopyComponentsZeroRest, RefusesMoreMovesThanComponents) {
    Row<uint8_t> two{{1, 2}, 2};
    EXPECT_EQ(copy_list_zero_rest(two, {0, 1, 0}, Row<uint8_t>{{1, 2, 3}, 3}, {0, 1, 2}, 8),
              QM_REJECTED);
    EXPECT_EQ(copy_list_zero_rest(two, {0, 1}, Row<uint8_t>{{1, 2}, 1}, {0, 0}, 8), QM_REJECTED);
    // The kernel, as many moves as there are components: it has no rest to clear.
    for (const auto& kernel : kCopyComponentsZeroRest) {
        uint16_t d[2] = {1, 2};
        const uint16_t s[2] = {3, 4};
        EXPECT_EQ(kernel.run(d, 2, kUp, 4, s, 2, kUp, 4, 1, 1, 2, false), QM_REJECTED);
        EXPECT_EQ(d[0], 1);
    }
}

TEST(CopyComponentsZeroRest, SaysWhenThereIsNoMemoryForTheList) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Row<uint8_t> d{{1, 2}, 2};
    const Row<uint8_t> s{{3}, 1};
    const List to{0}, from{0};
    const auto call = [&] { return copy_list_zero_rest(d, to, s, from, 8); };
    const uint32_t allocations = each_failure(call, [&](uint32_t n, const Outcome& outcome) {
        EXPECT_EQ(outcome.code, n == 0 ? QM_OK : QM_NO_MEMORY);
        EXPECT_EQ(outcome.live, 0);
        EXPECT_EQ(d.samples, n == 0 ? (std::vector<uint8_t>{3, 0}) : (std::vector<uint8_t>{1, 2}));
        d.samples = {1, 2};
    });
    EXPECT_EQ(allocations, 1u);
}

// ----- Two pictures to one
// ------------------------------------------------------------------------

int merge(Row<uint8_t>& d, const List& to1, const Row<uint8_t>& s1, const List& from1,
          const List& to2, const Row<uint8_t>& s2, const List& from2, uint32_t bpc = 8) {
    return Api::MergeComponents(d.samples.data(), d.components, to1.data(), to2.data(), d.stride(),
                                s1.samples.data(), s1.components, from1.data(),
                                static_cast<uint32_t>(from1.size()), s1.stride(), s2.samples.data(),
                                s2.components, from2.data(), static_cast<uint32_t>(from2.size()),
                                s2.stride(), bpc, 1, 1);
}

TEST(MergeComponents, TakesFromBothAndLeavesTheOthers) {
    Row<uint8_t> d{{9, 9, 9, 9}, 4};
    EXPECT_EQ(merge(d, {0, 3}, {{1, 2}, 2}, {1, 0}, {1}, {{5, 6, 7}, 3}, {2}), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{2, 7, 9, 1}));
}

TEST(MergeComponents, LetsTheSecondListWin) {
    Row<uint8_t> d{{9, 9}, 2};
    EXPECT_EQ(merge(d, {0}, {{1}, 1}, {0}, {0}, {{5}, 1}, {0}), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{5, 9}));
}

TEST(MergeComponents, SeesWhatTheFirstListMadeWhenTheSecondSourceIsTheDestination) {
    Row<uint8_t> d{{1, 2}, 2};
    EXPECT_EQ(merge(d, {0}, {{7}, 1}, {0}, {1}, d, {0}), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{7, 7}));
}

TEST(MergeComponents, RefusesMoreMovesThanComponents) {
    Row<uint8_t> d{{9, 9}, 2};
    const Row<uint8_t> s{{1, 2, 3}, 3}, one{{4}, 1};
    EXPECT_EQ(merge(d, {0, 1}, s, {0, 1}, {0}, s, {0}), QM_REJECTED) << "three into two";
    EXPECT_EQ(merge(d, {0, 1}, one, {0, 0}, {}, s, {}), QM_REJECTED) << "two of one, first";
    EXPECT_EQ(merge(d, {}, s, {}, {0, 1}, one, {0, 0}), QM_REJECTED) << "two of one, second";
    // The sum does not wrap: 2^32 - 1 and 2 are not 1.
    EXPECT_EQ(Api::MergeComponents(d.samples.data(), 2, kUp, kUp, 2, s.samples.data(), UINT32_MAX,
                                   kUp, UINT32_MAX, 3, s.samples.data(), 3, kUp, 2, 3, 8, 1, 1),
              QM_REJECTED);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{9, 9}));
}

TEST(MergeComponents, OfOneListIsCopyComponentsOfIt) {
    const Row<uint8_t> s{{1, 2, 3}, 3};
    Row<uint8_t> d{{9, 9}, 2};
    EXPECT_EQ(merge(d, {1, 0}, s, {0, 1}, {}, s, {}), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{2, 1}));
    EXPECT_EQ(merge(d, {}, s, {}, {1}, s, {2}), QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{2, 3}));
    EXPECT_EQ(merge(d, {}, s, {}, {}, s, {}, 24), QM_OK) << "nothing at all";
    // Null pictures: a second one that nothing is taken from, or that is alone.
    EXPECT_EQ(Api::MergeComponents(d.samples.data(), 2, kUp, nullptr, 2, s.samples.data(), 3, kUp,
                                   2, 3, nullptr, 0, nullptr, 0, 0, 8, 1, 1),
              QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(Api::MergeComponents(d.samples.data(), 2, nullptr, kUp, 2, s.samples.data(), 3,
                                   nullptr, 0, 3, nullptr, 3, kUp, 2, 3, 8, 1, 1),
              QM_OK);
    // A null first picture makes it a no-op, also when nothing is taken from it.
    EXPECT_EQ(Api::MergeComponents(d.samples.data(), 2, nullptr, kDown, 2, nullptr, 3, nullptr, 0,
                                   3, s.samples.data(), 3, kUp, 2, 3, 8, 1, 1),
              QM_OK);
    EXPECT_EQ(d.samples, (std::vector<uint8_t>{1, 2}));
}

TEST(MergeComponents, ForksAlways) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const auto& kernel : kMergeComponents)
        for (const uint32_t components : {2u, 3u}) {  // two are shuffled, where that is done
            uint16_t d[3] = {};
            const uint16_t s[2] = {};
            const WatchedRegions regions;
            kernel.run(d, components, kUp, kUp + 1, 6, s, 2, kUp, 1, 4, s, 2, kUp, 1, 4, 1, 1);
            EXPECT_EQ(regions.teams(), std::vector<uint32_t>{0}) << kernel.name;
        }
    Row<uint8_t> d{{9, 9, 9}, 3};
    const WatchedRegions regions;  // with one list as well
    merge(d, {1, 0}, {{1, 2, 3}, 3}, {0, 1}, {}, d, {});
    EXPECT_EQ(regions.forks(), 1u);
}

// ----- Picture buffers
// -----------------------------------------------------------------------------

SQmPicBuf buffer(void* data, uint32_t width, uint32_t height, uint32_t stride, uint8_t bpc,
                 uint32_t components) {
    return {width, height, stride, bpc, components, uint64_t{stride} * height, data};
}

TEST(CopyRectComp, CopiesOneComponentOfARectangle) {
    std::vector<uint16_t> d(4 * 3 * 2), s(5 * 4 * 3), expected(d);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<uint16_t>(i + 1);
    SQmPicBuf dst = buffer(d.data(), 4, 3, 16, 12, 2);
    const SQmPicBuf src = buffer(s.data(), 5, 4, 30, 12, 3);
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(2, 1, 2, 2, 1, &dst, 3, 2, 0, &src), QM_OK);
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 2; ++x)
            expected[((y + 1) * 4 + x + 2) * 2 + 1] = s[((y + 2) * 5 + x + 3) * 3];
    EXPECT_EQ(d, expected);
}

TEST(CopyRectComp, RefusesDifferentDepthsAndReportsIt) {
    uint16_t d = 7, s = 9;
    SQmPicBuf dst = buffer(&d, 1, 1, 2, 12, 1);
    const SQmPicBuf src = buffer(&s, 1, 1, 2, 13, 1);
    Reports reports;
    const std::vector<std::wstring> expected{
        L"true|SQmPicBufAPI_Base::CopyRectComp, sour and dest must have the same "
        L"format|PicBufAPI_Base|336"};
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(0, 0, 1, 1, 0, &dst, 0, 0, 0, &src), QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), expected);
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(0, 0, 1, 1, 0, nullptr, 0, 0, 0, &src),
              QM_BAD_BUFFER);
    EXPECT_EQ(reports.take(), expected);
    EXPECT_EQ(d, 7);
}

TEST(CopyRectComp, RefusesADestinationWithoutPixelsButNotSuchASource) {
    uint8_t pixels[4] = {1, 2, 3, 4};
    SQmPicBuf empty = buffer(nullptr, 2, 2, 2, 8, 1), full = buffer(pixels, 2, 2, 2, 8, 1);
    Reports reports;
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(1, 1, 1, 1, 0, &empty, 0, 0, 0, &full),
              QM_BAD_BUFFER);
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(0, 0, 1, 1, 0, &full, 1, 1, 0, &empty), QM_OK);
    EXPECT_EQ(pixels[0], 1);
    EXPECT_TRUE(reports.take().empty());
    full.uiBpc = empty.uiBpc = 7;
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(0, 0, 1, 1, 0, &full, 1, 1, 0, &full), QM_NO_KERNEL);
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(0, 0, 1, 0, 0, &full, 1, 1, 0, &full), QM_OK);
}

TEST(CopyRectComp, FindsPixelsOf24BitsEvery3BytesAndMoves4) {
    std::vector<uint8_t> d(8, 0), s{1, 2, 3, 4, 5, 6, 7, 8};
    SQmPicBuf dst = buffer(d.data(), 2, 1, 8, 24, 1);
    const SQmPicBuf src = buffer(s.data(), 2, 1, 8, 24, 1);
    EXPECT_EQ(SQmPicBufAPI_Base::CopyRectComp(1, 0, 1, 1, 0, &dst, 1, 0, 0, &src), QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{0, 0, 0, 4, 5, 6, 7, 0}));
}

}  // namespace
}  // namespace qmpic::test
