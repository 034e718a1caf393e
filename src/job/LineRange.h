// Lists of lines cut to a range of frequencies.
#pragma once

#include <array>

#include "kiv/lines.h"

namespace kiv {

/// Drops the lines outside `range`, lowest and highest frequency, and the matches of assignments
/// with them.
void CutToRange(const std::array<double, 2>& range, LineList& lines);

}  // namespace kiv
