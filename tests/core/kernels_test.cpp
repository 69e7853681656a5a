#include "core/kernels.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "kernel_lists.h"

namespace qmpic::test {
namespace {

static_assert(layouts_of("addandclip_3x16").source == Layout{3, 16});
static_assert(layouts_of("addandclip_3x16").destination == Layout{3, 16});
static_assert(layouts_of("convert_Nx8_to_Nx16").source == Layout{0, 8});
static_assert(layouts_of("convert_Nx8_to_Nx16").destination == Layout{0, 16});
static_assert(layouts_of("mapcomp_4x16_3x8").source == Layout{4, 16});
static_assert(layouts_of("mapcomp_4x16_3x8").destination == Layout{3, 8});
static_assert(layouts_of("component_lut3_Mx8_to_3x8").source == Layout{0, 8});
static_assert(layouts_of("copycomponentmask_8_Nx16_in").source == Layout{0, 16});
static_assert(layouts_of("changebitdepth_1xN_to_1x08").source == Layout{1, 0});
static_assert(layouts_of("changebitdepth_1xN_to_1x08").destination == Layout{1, 8});
static_assert(layouts_of("copycomponent_Nx16_to_Nxfloat_minmax").destination ==
              Layout{0, 32, true});

// Exact count before any count, whatever the order; and layouts that are stated by hand.
int exact() { return 1; }
int any() { return 2; }
constexpr auto kStated =
    kernels<int()>({{"any_8", any, {{0, 8}, {0, 16}}}, {"exact_8", exact, {{3, 8}, {3, 16}}}});
static_assert(kStated.find(3, 8) == exact && kStated.find(2, 8) == any);
static_assert(kStated.find(3, 16) == nullptr && kStated.find(3, 0) == nullptr);
static_assert(kStated.find_between(3, 8, 16) == exact && kStated.find_between(2, 8, 16) == any);
static_assert(kStated.find_between(3, 8, 8) == nullptr);

// What find() must give, worked out from the text of the names alone.
template <class List>
std::string name_to_find(const List& list, uint32_t components, uint32_t bpc) {
    const std::string bits = bpc == 8                 ? "8"
                             : bpc >= 9 && bpc <= 16  ? "16"
                             : bpc >= 17 && bpc <= 32 ? "32"
                                                      : "none";
    for (const std::string& count : {std::to_string(components), std::string("N")})
        for (const auto& kernel : list) {
            const std::string_view behind = kernel.name.substr(kernel.name.find('_') + 1);
            if (behind.substr(0, behind.find('_')) == count + "x" + bits)
                return std::string(kernel.name);
        }
    return "none";
}

TEST(KernelLists, AreSearchedByExactCountThenAnyCountWithinTheDepthClass) {
    const auto check = [](const auto& list) {
        for (uint32_t bpc = 0; bpc <= 40; ++bpc)
            for (const uint32_t components : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 64u, 192u}) {
                std::string found = "none";
                for (const auto& kernel : list)
                    if (kernel.run == list.find(components, bpc)) found = kernel.name;
                EXPECT_EQ(found, name_to_find(list, components, bpc)) << components << " x " << bpc;
            }
    };
    check(kAddAndClip);
    check(kSubAndClip);
}

TEST(KernelLists, HoldNoNameAndNoFunctionTwice) {
    std::set<std::string_view> names;
    for_each_kernel_list([&](const auto& list) {
        std::set<decltype(list.begin()->run)> functions;
        for (const auto& kernel : list) {
            EXPECT_TRUE(names.insert(kernel.name).second) << kernel.name;
            EXPECT_TRUE(functions.insert(kernel.run).second) << kernel.name;
        }
    });
}

}  // namespace
}  // namespace qmpic::test
