#pragma once

/// What the C library knows of the processor: CPU_FEATURE_ACTIVE.

#define _Bool bool  // the C library's header is C
#include <sys/platform/x86.h>
#undef _Bool
