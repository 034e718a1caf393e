// Measured features as observed values of single lines.
#pragma once

#include <vector>

#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/features.h"

namespace kiv {

/// The measured lines between the states, or within the only one, each once: of a line that was
/// measured several times the weighted mean, of a blend the value of the feature. NoMemory.
Result<Assignments> ObservedLines(const std::vector<LineFeature>& features, bool one_state,
                                  const Memory& memory);

}  // namespace kiv
