// What was understood of an input, as a text to read.
#pragma once

#include <span>
#include <string>

#include "job/Job.h"

namespace kiv {

/// Constants with units and conventions, moment, rules of the spectrum, fit, levels and lines to
/// expect and the files that would be written, defaults included.
std::string UnderstoodText(const Job& job, std::span<const std::string> files);

/// Title, model, conventions, tilted axes, measured lines and how they are fitted, without the
/// constants.
std::string ConventionsText(const Job& job);

}  // namespace kiv
