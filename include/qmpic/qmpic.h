#pragma once

/// @file
/// Everything.

#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/Histo.h"
#include "qmpic/Lut.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "qmpic/system/Diag.h"
#include "qmpic/system/RangeMask.h"
