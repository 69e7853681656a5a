#pragma once

#include <utility>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/system/Alloc.h"

namespace qmpic::test {

/// No lists, as in a process that has not made them; puts back those that were there.
class NoPredefLuts {
  public:
    NoPredefLuts()
        : predefined_(std::exchange(SQmLut::vecPredefLuts, nullptr)),
          extended_(std::exchange(SQmLut::vecExtendedLuts, nullptr)) {}
    ~NoPredefLuts() {
        if (SQmLut::vecPredefLuts != nullptr) release(*SQmLut::vecPredefLuts);
        delete SQmLut::vecPredefLuts;
        SQmLut::FreeExtenedLuts();
        delete SQmLut::vecExtendedLuts;
        SQmLut::vecPredefLuts = predefined_;
        SQmLut::vecExtendedLuts = extended_;
    }
    /// What the library never does: destroys predefined tables, and what was allocated for them.
    static void release(const std::vector<SQmLut::SQmPredefLut*>& tables) {
        for (SQmLut::SQmPredefLut* const table : tables) {
            const bool constant = table->uiId != 0 && table->uiId != 12 && table->uiId < 19;
            if (!constant) CQmAlloc::Free(table->pColors);
            delete table;
        }
    }
    NoPredefLuts(const NoPredefLuts&) = delete;
    NoPredefLuts& operator=(const NoPredefLuts&) = delete;

  private:
    std::vector<SQmLut::SQmPredefLut*>* predefined_;
    std::vector<SQmLut::SQmExtendedLut*>* extended_;
};

/// The lists are there, whichever thread asks first: the library leaves it to its callers that only
/// one makes them.
inline void make_predef_luts() {
    static const int made = SQmLut::InitPredefLuts();
    static_cast<void>(made);
}

/// The lists, and no extended tables before and after.
struct PredefLuts {
    PredefLuts() {
        SQmLut::InitPredefLuts();
        SQmLut::FreeExtenedLuts();
    }
    ~PredefLuts() { SQmLut::FreeExtenedLuts(); }
    PredefLuts(const PredefLuts&) = delete;
    PredefLuts& operator=(const PredefLuts&) = delete;
};

/// Black at `first`, white at `last`, without a blend: black up to the entry of `last`.
inline SQmGradientConfig two_nodes(double first, double last, bool absolute = false,
                                   bool symmetric = false) {
    SQmGradientConfig config;
    config.sNodes[0] = {first, 0x102030};
    config.sNodes[1] = {last, 0xFFEEDD};
    config.m_bInterpolate = false;
    config.m_bAbsolute = absolute;
    config.m_bSymmetric = symmetric;
    return config;
}

}  // namespace qmpic::test
