#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

// usage: qmpic_loader LIBRARY ROUNDS
//
// Loads the library, runs a call in parallel and unloads it, ROUNDS times, in a process that holds
// neither the library nor an OpenMP runtime of its own. Fails when a call fails, or when memory or
// threads become more after the first tenth of the rounds.

using CopyParallel = int(void*, uint32_t, const void*, uint32_t, uint32_t, uint32_t, uint32_t,
                         uint64_t, bool);
// int copyparallel(void*, unsigned, const void*, unsigned, unsigned, unsigned, unsigned,
//                  unsigned long, bool)
static const char kName[] = "_Z12copyparallelPvjPKvjjjjmb";

static long status(const char* field) {
    std::ifstream file("/proc/self/status");
    for (std::string word; file >> word;)
        if (long value; word == field && file >> value) return value;
    return -1;
}

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const int rounds = std::stoi(argv[2]);
    long memory = 0, threads = 0;
    for (int round = 0; round < rounds; ++round) {
        void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) return std::printf("%s\n", dlerror()), 3;
        auto* const copy = reinterpret_cast<CopyParallel*>(dlsym(library, kName));
        if (copy == nullptr) return std::printf("%s\n", dlerror()), 4;
        uint8_t from[64], to[64] = {};
        std::memset(from, round, sizeof from);
        if (copy(to, 8, from, 8, 1, 8, 8, 64, true) != 0 || std::memcmp(from, to, 64) != 0)
            return 5;
        if (dlclose(library) != 0) return 6;
        if (round == rounds / 10) memory = status("VmRSS:"), threads = status("Threads:");
    }
    const long more = status("VmRSS:") - memory;
    std::printf("%ld KiB and %ld threads more\n", more, status("Threads:") - threads);
    if (more > 1024) return 7;
    return status("Threads:") == threads ? 0 : 8;
}
