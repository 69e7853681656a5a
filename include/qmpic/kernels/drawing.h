#pragma once

#include "qmpic/export.h"

/// The distance of a point from the segment of A to B: of the nearer end where its foot (by y if
/// |dy| is above 1e-10) lies outside, else |dx * (Py - Ay) - dy * (Px - Ax)| / length. Where A and
/// B are no more than 1e-10 apart it is the distance of the nearer one.
///
/// @param pdA, pdB, pdP  x and y of each, not tested for null
QM_API double GetDistOfPointFromLine(const double* pdA, const double* pdB, const double* pdP);
