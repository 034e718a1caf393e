#include "run/LineDev.h"

#include <cstdint>

#include "run/KivRecord.h"

namespace {

// The level J, Ka, Kc: labels follow the energy rank J + Ka - Kc.
std::size_t LevelIndex(const std::int16_t* label) {
    const int J = label[0];
    return static_cast<std::size_t>(J * J + J + label[1] - label[2]);
}

}  // namespace

void LineDerivatives(std::size_t line, double* row) {
    const std::int16_t* label = &Kiv.FI_JKK_Lbl[6 * line];
    const auto d0 = static_cast<std::size_t>(Kiv.Num_Dev[ST_GND]);
    const auto d1 = static_cast<std::size_t>(Kiv.Num_Dev[ST_EXC]);
    const double* lower = &Kiv.HamDev_Vector[ST_GND][d0 * LevelIndex(label + 3)];
    const double* upper = &Kiv.HamDev_Vector[ST_EXC][d1 * LevelIndex(label)];
    for (std::size_t i = 0; i < d0; ++i) row[i] = -lower[i];
    for (std::size_t i = 0; i < d1; ++i) row[d0 + i] = upper[i];
}
