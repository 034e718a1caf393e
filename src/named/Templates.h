// Inputs to start from: complete, commented, and running as they are.
#pragma once

#include <string_view>

namespace kiv {

/// A pure rotational spectrum.
std::string_view RotorTemplate();

/// A band between two states.
std::string_view BandTemplate();

}  // namespace kiv
