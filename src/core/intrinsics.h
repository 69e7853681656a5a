#pragma once

/// The processor's intrinsics.

#ifndef __clang__  // GCC 12's own header starts results from a variable that it leaves unset
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
