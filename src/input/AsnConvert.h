// Conversion of the assignment file of a v1 input file to the present line layout.
#pragma once

/// Asks for a factor and writes the assignment file `name` anew, its frequencies multiplied by it.
///
/// An old line holds a band word, six quantum numbers and a frequency; further fields are dropped.
/// The new file is made as "TEMP.TMP" in the working folder and takes the place of the old one in
/// one step, so that on every failure the old file is untouched; a TEMP.TMP that was begun is then
/// left behind. A second conversion scales again. Returns 1, also when there is no such file
/// (nothing is asked then); 0 when the answer is no usable factor, a line is malformed or a file
/// cannot be read, written or replaced.
int AsnConvert(const char* name);
