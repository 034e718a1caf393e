// Derivatives of a line, from those of its levels.
#pragma once

#include <cstdint>

#include "kiv/levels.h"

namespace kiv {

/// Derivatives of the position of the line `label` (J', Ka', Kc', J'', Ka'', Kc'') with respect to
/// the constants: the negated ones of its lower level, then those of its upper level.
void LineDerivatives(const Levels& lower, const Levels& upper, const std::int16_t* label,
                     double* row);

/// Level index of a label J, Ka, Kc: labels follow the energy rank J + Ka - Kc.
inline std::size_t LevelIndex(const std::int16_t* label) {
    return Levels::Index(label[0], label[0] + label[1] - label[2]);
}

}  // namespace kiv
