// How many lines a calculation can have, counted without it.
#pragma once

#include <cstdint>

#include "kiv/model.h"
#include "kiv/settings.h"

namespace kiv {

/// Pairs of levels that the rules and the types of the moment allow; those whose lower level has
/// the spin weight 0 left out. Intensities are not looked at. Where turned axes or terms that are
/// no squares mix the types, all pairs count.
std::int64_t CountLines(const Model& model, const Settings& settings);

}  // namespace kiv
