#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/kernels.h"
#include "support/guarded_picture.h"

/// What every family gives to the generated tests: a case for each kernel and for each entry.

namespace qmpic::test {

/// What calls left behind, folded into one number. It must be the same at every level, for every
/// team and from every compiler.
class Digest {
  public:
    void add(uint64_t word) { value_ = (value_ ^ word) * 0x9E3779B97F4A7C15 + (value_ >> 29); }
    void add(const std::vector<uint64_t>& words) {
        for (const uint64_t word : words) add(word);
    }
    uint64_t value() const { return value_; }

  private:
    uint64_t value_ = 0x6A09E667F3BCC908;
};

/// One random call: its number (so that a case can visit every depth in turn), where its choices
/// come from, and where it reports what it left.
struct Round {
    uint32_t number;
    Random& random;
    Digest& digest;

    /// Visits the values in turn, the whole list every `values.size()` rounds.
    template <class List>
    auto in_turn(const List& values) const {
        return values[number % values.size()];
    }
};

/// One random call of an exported kernel, compared with its naive reference, all of it in guarded
/// pictures. `check` asserts with gtest, hands what was written to the digest, and is called at
/// every level and for several team sizes with the same seed; it may be called in many threads at
/// once. It must not set level or team size.
struct KernelCase {
    std::string name;
    std::function<void(Round)> check;
    uint32_t rounds = 48;
};

/// What an entry is called with in the generated tests: small pictures of one format. An entry with
/// two sources, tables, masks or lists brings its own for the rest. The stride fits 6 components of
/// 8 bytes.
struct EntryCall {
    void* dst;
    const void* src;
    uint32_t stride, components, bpc, width;
    uint64_t size;
};
inline constexpr uint32_t kEntryWidth = 5, kEntryRows = 3, kEntryStride = kEntryWidth * 6 * 8;

/// An entry that takes formats. `documented` is the code that a format must give, worked out from
/// the documentation and not from the kernel lists; with a code other than 0 nothing may be written
/// (but where `writes_and_refuses` says otherwise).
struct EntryCase {
    std::string name;
    std::function<int(const EntryCall&)> call;
    std::function<int(uint32_t components, uint32_t bpc)> documented;
    bool guards_source = true;  ///< null for `src` is a no-op that gives 0
    bool guarded = true;        ///< null, width 0 and size 0 are no-ops that give 0
    std::function<bool(uint32_t components, uint32_t bpc)> writes_and_refuses = {};
};

struct Cases {
    static std::vector<KernelCase>& kernels();
    static std::vector<EntryCase>& entries();
    /// Names that are exported and tested by hand.
    static std::vector<std::string>& others();
};

/// `const bool registered = add_cases(cases(), entries());` at namespace scope of a test file.
/// `others` names exported functions and data that have tests of their own in that file.
bool add_cases(std::vector<KernelCase> kernels, std::vector<EntryCase> entries = {},
               std::vector<std::string> others = {});

/// The code of an entry whose kernels are for 8 bits and for 9 to 16, and no other depth.
inline int bytes_and_words(uint32_t /*components*/, uint32_t bpc) {
    return bpc >= 8 && bpc <= 16 ? QM_OK : QM_NO_KERNEL;
}

}  // namespace qmpic::test
