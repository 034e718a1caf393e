// The version of a positional input.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "named/Finding.h"

namespace kiv {

/// The version word of a text without byte-order mark, empty when its second line has none. None
/// after an unknown-version finding: it is no word of a known version, or the text is a named
/// input.
std::optional<std::string> CheckOldVersion(std::string_view text, const std::string& file,
                                           Findings& findings);

}  // namespace kiv
