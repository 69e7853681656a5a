#pragma once

#include <cstdint>
#include <cstdio>

namespace qmpic::test {

/// What the command line says: see tests/main.cpp.
struct Options {
    uint32_t rounds = 1;      ///< times the rounds of every case
    FILE* digests = nullptr;  ///< where the digest of every kernel is written
};
Options& options();

}  // namespace qmpic::test
