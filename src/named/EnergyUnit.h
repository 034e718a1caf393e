// The unit of constants, frequencies, uncertainties and energies of a calculation.
#pragma once

#include <cstdint>

namespace kiv {

enum class EnergyUnit : std::uint8_t { MHz, Wavenumber };

/// MHz in 1 cm-1: the speed of light in 10^4 m/s (SI).
inline constexpr double kMHzPerWavenumber = 29979.2458;

/// "MHz" or "cm-1".
inline const char* NameOf(EnergyUnit unit) { return unit == EnergyUnit::MHz ? "MHz" : "cm-1"; }

}  // namespace kiv
