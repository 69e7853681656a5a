#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qmpic/system/Diag.h"

namespace qmpic::test {

/// What is reported to DiagAssertW while this lives: "condition|message|source|line" each, a null
/// message as "null". One at a time, for calls of one thread.
class Reports {
  public:
    Reports() : before_(QM_SetDiagHandler(note)) { texts_.clear(); }
    ~Reports() { QM_SetDiagHandler(before_); }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    /// Those since the last time.
    std::vector<std::wstring> take() { return std::exchange(texts_, {}); }

  private:
    static void note(const wchar_t* condition, const wchar_t* message, const wchar_t* source,
                     unsigned line) {
        texts_.push_back(std::wstring(condition) + L"|" + (message ? message : L"null") + L"|" +
                         source + L"|" + std::to_wstring(line));
    }
    static inline std::vector<std::wstring> texts_;
    QmDiagHandler before_;
};

}  // namespace qmpic::test
