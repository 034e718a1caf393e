// Files that are of another kind than their name says.
#pragma once

#include <cstdint>
#include <string_view>

#include "named/LineRows.h"

namespace kiv {

enum class SuiteKind : std::uint8_t { Parameters, Intensities, Lines };

/// Tells that a text looks like a file of another kind, or is empty; false when it does not.
bool TellForeign(std::string_view text, SuiteKind kind, const LineReport& report);

}  // namespace kiv
