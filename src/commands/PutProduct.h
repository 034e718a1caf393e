// The one product of a command, on standard output or in the file of -o.
#pragma once

#include <string>

#include "commands/Request.h"
#include "commands/Terminal.h"
#include "system/WholeFile.h"

namespace kiv {

/// Writes `text` and returns the exit status.
int PutProduct(const Request& request, const std::string& text, WholeFile::Kind how,
               Terminal& terminal);

/// False, with a message that names --force, when the new file `name` would replace another.
bool MayWrite(const Request& request, const std::string& name, Terminal& terminal);

}  // namespace kiv
