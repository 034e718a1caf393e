// Switches and ranges of positional inputs.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "kiv/files.h"
#include "named/Finding.h"
#include "named/NamedInput.h"

namespace kiv {

/// Tells of switches outside their values and of numbers that cannot be meant. Values whose paths
/// are among `unknown` are not looked at. Indicators other than 0 and 1, which count as neither,
/// are warnings.
void CheckOldValues(const InputFile& document, const Places& places,
                    const std::set<std::string, std::less<>>& unknown, const std::string& file,
                    Findings& findings);

}  // namespace kiv
