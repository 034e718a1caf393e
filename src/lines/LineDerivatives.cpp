#include "lines/LineDerivatives.h"

#include <cstddef>

namespace kiv {

void LineDerivatives(const Levels& lower, const Levels& upper, const std::int16_t* label,
                     double* row) {
    const auto d0 = static_cast<std::size_t>(lower.num_derivatives);
    const auto d1 = static_cast<std::size_t>(upper.num_derivatives);
    const double* const of_lower = &lower.derivative[d0 * LevelIndex(label + 3)];
    const double* const of_upper = &upper.derivative[d1 * LevelIndex(label)];
    for (std::size_t i = 0; i < d0; ++i) row[i] = -of_lower[i];
    for (std::size_t i = 0; i < d1; ++i) row[d0 + i] = of_upper[i];
}

}  // namespace kiv
