// Reading of the input file of a run, with what the console says and asks.
#pragma once

#include <string>

#include "console/Console.h"
#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/files.h"

namespace kiv {

/// Reads the file `name`, opens the debug log that it asks for and converts the assignment file of
/// a version 1 file in the old format. BadInput, with the message of the reason printed where there
/// is one; Truncated: `subject` holds the words of the record that the end cut off.
Result<InputFile> ReadInputOf(Console& console, const std::string& name, const Memory& memory);

}  // namespace kiv
