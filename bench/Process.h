// The program as a process of its own.
#pragma once

#include <vector>

namespace kiv {

using Words = std::vector<const char*>;

/// Runs the program with these arguments as a user starts it, in the folder of the moment, saying
/// nothing. Returns its peak memory in MB, 0 when it did not run or its status is not 0.
double RunProcess(const Words& words);

}  // namespace kiv
