// Findings as JSON.
#pragma once

#include "named/Finding.h"
#include "named/Json.h"

namespace kiv {

/// A list of {file, line, column, severity, code, message}.
void PutFindings(const Findings& findings, JsonWriter& json);

}  // namespace kiv
