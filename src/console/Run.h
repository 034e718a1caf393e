// `kiv FILE`: one run from an input file to its results, as users know it.
#pragma once

#include <string>

#include "console/Console.h"
#include "kiv/array.h"

namespace kiv {

/// Runs the input file `name`: reads it and the assignments, calculates, fits or scans, writes line
/// set, text list and next input file. What it says and where it waits is part of its contract.
///
/// Returns the exit status: 1 when the input file could not be used, else 0, failed runs included.
int RunInputFile(const std::string& name, const Surroundings& surroundings, const Memory& memory);

/// What `kiv` without an argument says, and its exit status.
int SayUsage(const Surroundings& surroundings);

}  // namespace kiv
