// How many cores a process can keep busy.
#pragma once

#include <limits>
#include <string>
#include <thread>

namespace kiv {

/// No group limits the cores.
inline constexpr int kAnyCores = std::numeric_limits<int>::max();

/// The least share of processor time that the control groups of the process leave it, in whole
/// cores, rounded up; kAnyCores without a limit.
///
/// `root` stands before the names of the system's files, for tests.
int CoresOfGroups(const std::string& root = "");

/// Moves a thread that was just started to another core than the caller's, where the process may
/// use one; from there it may go to all of them. The system lets some wait behind the caller for
/// several milliseconds while other cores are idle.
void BeginElsewhere(std::thread& thread);

}  // namespace kiv
