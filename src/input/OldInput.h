// Input parameter files older than v4: v3, 2.x and v1.
#pragma once

#include "input/RecordReader.h"
#include "run/KivRecord.h"

/// Reads `text`, a file of major version k (index of Version_Tbl), into `kiv`; what its layout
/// lacks is set to the defaults that those versions imply.
///
/// A v1 file asks on the console whether the output is to follow the old line-list layout; if so
/// its assignment file is converted (see AsnConvert.h). Returns 1, 0 or, except for v1, RD_EOF, as
/// KivReadInputParm does.
int KivReadOldInputParm(KivRecord& kiv, int k, TextScan& text);

/// What the ground block of a v1 file tells about the excited one.
struct OldBlock {
    bool Has_Tail = false;  // v1.2: each block ends with a (DJ, PZ3) group
    double Exc_A = 0.0;     // v1.1: excited A, which stands behind the ground block
};

/// Reads the block of `state` of a 2.x (k = 2) or v1 (k = 1) file. The ground state comes first;
/// for v1 its block decides between the forms 1.1 and 1.2, which is told on the console. Returns
/// the status of `in`.
int KivReadHamParm(KivRecord& kiv, int state, int k, RecordReader& in, OldBlock& old);
