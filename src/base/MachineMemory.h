// How much memory a process can take without swapping or being ended.
#pragma once

#include <cstdint>
#include <string>

namespace kiv {

/// Bytes for which no machine is asked: to ask takes longer than to fill them.
inline constexpr std::int64_t kSureMemory = std::int64_t{1} << 24;

/// Bytes that the machine has to spare ("MemAvailable" of Linux) or that the control groups of the
/// process leave, whichever is less; the largest number where the system does not say.
///
/// `root` stands before the names of the system's files, for tests.
std::int64_t AvailableMemory(const std::string& root = "");

}  // namespace kiv
