// Conversion of the assignment file of a version 1 input file to the present line layout.
#pragma once

#include <string>

#include "console/Console.h"
#include "kiv/array.h"

namespace kiv {

/// Asks for a factor and writes the assignment file `name` anew, its frequencies multiplied by it.
///
/// An old line holds a band word, six quantum numbers and a frequency; further fields are dropped.
/// The new file is made as "TEMP.TMP" in the working folder and takes the place of the old one in
/// one step, so that on every failure the old file is untouched; a TEMP.TMP that was begun is then
/// left behind. A second conversion scales again. True also when there is no such file (nothing is
/// asked then); false, with the message printed where there is one, when the answer is no usable
/// factor, a line is malformed or a file cannot be read, written or replaced.
bool ConvertAssignments(Console& console, const std::string& name, const Memory& memory);

}  // namespace kiv
