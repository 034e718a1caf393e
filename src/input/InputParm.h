// Input parameter file: read into the run record, whatever its version.
#pragma once

#include "run/KivRecord.h"

/// Result of a reader that met the end of the file within a record.
constexpr int RD_EOF = -1;

/// Reads the file Inp_Flnm. Its version, the seventh word of its second line (v1.0 without one),
/// decides on the layout: v4 and v5 are read here, older ones by KivReadOldInputParm.
///
/// Afterwards a constant that is on in one state is on in both, except in ground-only runs, where
/// the excited A, B and C are off; Start holds a copy of the values read. Returns 1; 0 when the
/// file is not acceptable (not every case has a message of its own); RD_EOF when it ends too early
/// (see LastReadLine).
int KivReadInputParm(KivRecord& kiv);

/// The words of the record that the end of the file cut off, each complete one with a blank.
const char* LastReadLine();

/// Makes the two descriptions of a transition moment agree; axes in the order a, b, c.
///
/// ang = (MAG, THETA, CHI): squared magnitude, angle from the a axis, angle from b towards c, in
/// degrees. pct: percent intensities, signed. With method 0 the angles are given:
///     pct_i = 100 u_i^2 / (u.u),  u = (cos THETA, sin THETA cos CHI, sin THETA sin CHI)
/// otherwise the percentages, with s = sum |p_i|:
///     MAG = s / 100,  cos_i = sign(p_i) sqrt(|p_i| / s),  THETA = acos(cos_a),
///     CHI = atan2(cos_c, cos_b)
/// and s = 0 gives 0, 0, 0. (100, 100, 100) percent are (3, 54.7356, 45).
void TMConvert(int method, double ang[3], double pct[3]);
