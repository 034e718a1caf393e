// The words in which users know the failures of a run.
#pragma once

#include "console/Console.h"
#include "kiv/error.h"

namespace kiv {

/// Says why a call of the library failed, unless its listener has said so already.
void Say(Console& console, const Error& error);

/// "<what> - CORE ALLOCATION ERROR!" on the console.
void SayNoMemory(Console& console, const char* what);

}  // namespace kiv
