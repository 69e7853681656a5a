#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/levels.h"
#include "support/options.h"

// usage: qmpic_tests [--require=LEVEL] [--lowered-to=LEVEL] [--rounds=N] [--digests=FILE]
//                    [gtest options]
// --require      fail where LEVEL (sse2, avx2, avx512) is not the highest that runs
// --lowered-to   fail where a level above LEVEL runs; pass at once where even LEVEL is missing
// --rounds       N times as many random rounds
// --digests      write what every kernel gives to FILE, to be compared between compilers

namespace qmpic::test {
Options& options() {
    static Options all;
    return all;
}
}  // namespace qmpic::test

static int rank_of(const std::string& level) {
    return level == "avx512" ? 3 : level == "avx2" ? 2 : level == "sse2" ? 1 : 0;
}

int main(int argc, char** argv) {
    using namespace qmpic::test;
    testing::InitGoogleTest(&argc, argv);
    std::string highest;
    std::printf("levels:");
    for (const Level level : levels()) std::printf(" %s", (highest = name_of(level)).c_str());
    std::printf("\n");
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i], value = option.substr(option.find('=') + 1);
        if (option.starts_with("--require=") && value == highest) continue;
        if (option.starts_with("--lowered-to=") && rank_of(value) >= rank_of(highest)) {
            if (value == highest) continue;
            std::printf("no %s here\n", value.c_str());
            return 0;
        }
        if (option.starts_with("--rounds=")) {
            options().rounds = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
            continue;
        }
        if (option.starts_with("--digests=")) {
            options().digests = std::fopen(value.c_str(), "w");
            if (options().digests != nullptr) continue;
        }
        std::printf("%s: not here, or no option\n", argv[i]);
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    if (options().digests != nullptr) std::fclose(options().digests);
    return result;
}
