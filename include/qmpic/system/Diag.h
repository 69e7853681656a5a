#pragma once

#include "qmpic/export.h"

/// Takes a report: condition, message (or null), source name, line.
using QmDiagHandler = void (*)(const wchar_t* pwszCondition, const wchar_t* pwszMessage,
                               const wchar_t* pwszSource, unsigned uiLine);

/// Reports a misuse to the handler, if there is one and `bCondition` is false, and returns. The
/// library itself prints nothing.
QM_API void DiagAssertW(bool bCondition, const wchar_t* pwszCondition, const wchar_t* pwszMessage,
                        const wchar_t* pwszSource, unsigned uiLine) noexcept;

/// Sets the handler of the process (null: none) and returns the one before. The handler may be
/// called in any thread that calls the library, and must not throw.
QM_API QmDiagHandler QM_SetDiagHandler(QmDiagHandler pHandler) noexcept;
