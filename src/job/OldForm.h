// Named inputs and positional ones in each other's terms.
#pragma once

#include <string>
#include <vector>

#include "kiv/files.h"
#include "named/NamedInput.h"

namespace kiv {

/// What a positional input says, in the terms of a named one; without places. The upper state of a
/// calculation of one state is left out, constants that are off or have no effect are 0, and fit
/// indicators of constants that cannot be varied are dropped. An angle scan has 0 cycles. What
/// named inputs have no words for is left out; LossesOf names it.
NamedInput NamedOf(const InputFile& file);

/// What a conversion cannot carry over; one sentence each.
struct Losses {
    std::vector<std::string> notes;     // dropped, results do not change
    std::vector<std::string> refusals;  // would change results
};

/// What NamedOf leaves out, and what a named input must not say.
Losses LossesOf(const InputFile& file);

/// A named input as a positional document of the current version; its names are not set. It has
/// cycles when there are lines and something to vary. PY is switched on at 0 where PY3 or PY2PZ
/// need it: they act in complex calculations only. Moments by component become percent intensities,
/// 100 mu^2 with the sign of mu.
InputFile OldOf(const NamedInput& input);

/// What OldOf leaves out, and what a positional input must not say.
Losses LossesOf(const NamedInput& input);

/// True when PY3 and PY2PZ act in the calculation of a positional input: it is complex by turned
/// axes or by PY, PXPY, PYPZ or PZ2PY.
bool IsComplexInput(const Model& model);

}  // namespace kiv
