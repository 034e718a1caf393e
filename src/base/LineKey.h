// Quantum-number key of a line: one integer whose order is the order of calculation.
#pragma once

#include <cstdint>

namespace kiv {

/// Key of the line (J', tau') <- (J'', tau''), tau = J + Ka - Kc of each level.
///
/// Four fields of 16 bits: J'' (bits 48-63), J' (32-47), tau'' (16-31), tau' (0-15), so that
/// ascending keys run through J'', J', lower level and upper level as the transition loops do.
/// All arguments must lie in 0..65535.
constexpr std::uint64_t LineKey(int Jl, int Ju, int tau_l, int tau_u) {
    return static_cast<std::uint64_t>(Jl) << 48 | static_cast<std::uint64_t>(Ju) << 32 |
           static_cast<std::uint64_t>(tau_l) << 16 | static_cast<std::uint64_t>(tau_u);
}

constexpr int KeyJLower(std::uint64_t key) { return static_cast<int>(key >> 48); }
constexpr int KeyJUpper(std::uint64_t key) { return static_cast<int>(key >> 32 & 0xFFFF); }
constexpr int KeyTauLower(std::uint64_t key) { return static_cast<int>(key >> 16 & 0xFFFF); }
constexpr int KeyTauUpper(std::uint64_t key) { return static_cast<int>(key & 0xFFFF); }

/// Keeps J' and tau' (both lines end in the same upper level).
constexpr std::uint64_t kUpperLevelMask = 0x0000FFFF0000FFFF;
/// Keeps J'' and tau'' (both lines start from the same lower level).
constexpr std::uint64_t kLowerLevelMask = 0xFFFF0000FFFF0000;

}  // namespace kiv
