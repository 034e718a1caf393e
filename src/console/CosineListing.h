// The direction cosines in the log.
#pragma once

#include "console/Console.h"
#include "lines/Cosines.h"

namespace kiv {

/// Lists every branch: the matrix of |J'',K''> and |J',K'>, then the factors as they are kept.
void ListCosines(Console& console, const Cosines& cosines);

}  // namespace kiv
