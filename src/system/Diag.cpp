#include "qmpic/system/Diag.h"

#include <atomic>

namespace {
constinit std::atomic<QmDiagHandler> handler{nullptr};
}

void DiagAssertW(bool bCondition, const wchar_t* pwszCondition, const wchar_t* pwszMessage,
                 const wchar_t* pwszSource, unsigned uiLine) noexcept {
    const QmDiagHandler report = handler.load(std::memory_order_acquire);
    if (!bCondition && report != nullptr) report(pwszCondition, pwszMessage, pwszSource, uiLine);
}

QmDiagHandler QM_SetDiagHandler(QmDiagHandler pHandler) noexcept {
    return handler.exchange(pHandler, std::memory_order_acq_rel);
}
