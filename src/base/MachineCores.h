// How many cores a process can keep busy.
#pragma once

#include <limits>
#include <string>

namespace kiv {

/// No group limits the cores.
inline constexpr int kAnyCores = std::numeric_limits<int>::max();

/// The least share of processor time that the control groups of the process leave it, in whole
/// cores, rounded up; kAnyCores without a limit.
///
/// `root` stands before the names of the system's files, for tests.
int CoresOfGroups(const std::string& root = "");

}  // namespace kiv
