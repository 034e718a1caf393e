// One pass from the constants to the lines.
#pragma once

#include "transitions/TrsCalc.h"  // LineChoice

/// Rotates the constants of each tilted state, solves both Hamiltonians, computes the transitions
/// and puts back the constants of the planes in which the rotation produced a cross term (and only
/// those: a rotation without cross terms leaves its rotated constants, on purpose). 1, or 0 when a
/// solver or the transition calculation failed; the constants are then left rotated.
///
/// A state whose constants, flags and frame are bit for bit those of its last solution is not
/// solved again, unless a listing or trace wants to see it done.
int Ham2Trs(LineChoice choice = LineChoice::All);
