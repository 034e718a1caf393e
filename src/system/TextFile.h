// Whole files read into memory.
#pragma once

#include <cstddef>
#include <string>

#include "kiv/error.h"

namespace kiv {

/// Name of standard input on the command line and in messages.
inline constexpr char kStandardInput[] = "-";
inline constexpr char kStandardInputName[] = "<stdin>";

/// The text of the file `name`, of standard input for "-".
///
/// CannotRead tells why: the system's reason, a folder, or more than `most` bytes.
Result<std::string> ReadTextFile(const std::string& name, std::size_t most);

/// True when writing to `name` would replace a file: devices and pipes are not replaced.
bool IsReplaced(const std::string& name);

/// True when both names lead to one file that is there.
bool IsSameFile(const std::string& a, const std::string& b);

/// What an errno means: "No space left on device".
std::string ReasonText(int error);

}  // namespace kiv
