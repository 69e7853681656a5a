#pragma once

/// @file
/// Everything.

#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/Gradient.h"
#include "qmpic/Histo.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/PredefLuts.h"
#include "qmpic/RatioDesc.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/kernels/golay.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "qmpic/system/Color.h"
#include "qmpic/system/Diag.h"
#include "qmpic/system/LiteVariant.h"
#include "qmpic/system/RangeBase.h"
#include "qmpic/system/RangeMask.h"
#include "qmpic/system/String.h"
#include "qmpic/system/Variant.h"
