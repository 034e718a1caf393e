// How a spectrum is calculated and fitted.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace kiv {

/// k/h in MHz/K and k/(hc) in cm-1/K: kT in the unit of the constants for each kelvin (SI 2019).
inline constexpr double kMHzPerKelvin = 20836.61912;
inline constexpr double kWavenumberPerKelvin = 0.6950348004;

/// Change of Ka that leaves out no line.
inline constexpr int kAllDeltaK = 1000000;

/// Selection by products of parities: lines whose Ka' + Ka'' and Kc' + Kc'' are even, or odd where
/// it is said.
struct ParityRule {
    bool ka_odd = false;
    bool kc_odd = false;
};

/// Which pairs of levels are lines, and how intense.
///
/// A pair is looked at when J' - J'' = -1, 0, 1 (not 0 to 0) and the upper level lies within
/// `delta_K` of the lower Ka. Strength S mu^2 is the squared amplitude; intensity is strength times
/// spin weight times Boltzmann factor B with kT = T energy_per_kelvin:
///
///     two states:  B = exp(-E''/kT1) [+ weight2 exp(-E''/kT2) when T2 > 0]
///     one state:   B = { exp(-E''/kT1) - exp(-E'/kT1) [+ weight2 the same with T2] } dE 1e-4
///     T1 <= 0:     B = 1, and min_intensity has no effect: intensities are strengths
struct LineRules {
    int delta_K = kAllDeltaK;
    double min_intensity = 0.0;  // lines up to it are left out; assigned ones stay
    double temperature = 300.0;  // kelvin
    double temperature2 = 0.0;
    double weight2 = 0.0;
    double energy_per_kelvin = kMHzPerKelvin;
    std::array<std::int32_t, 4> spin_weights{1, 1, 1, 1};  // of Ka Kc even-even, eo, oo, oe
    std::optional<ParityRule> parity;
    /// Lowest and highest frequency; lines outside are left out, assigned ones, too.
    std::optional<std::array<double, 2>> range;
};

/// What the measured lines of a fit are and which constants they can determine.
enum class FitData : std::int16_t {
    OneState = 0,           // rotational lines of the lower state
    TwoStates = 1,          // lines between the states
    UpperAsDifference = 2,  // the same, the upper constants varied as differences to the lower ones
    LowerDifferences =
        3,  // combination differences of the lower state: lines to the same upper level
    UpperDifferences = 4  // of the upper state: lines from the same lower level
};

enum class FitWeights : std::uint8_t {
    Uncertainties,  // 1/uncertainty^2
    Uniform,        // 1; standard deviations are scaled by the deviation of the fit
    Unscaled        // 1; standard deviations are not scaled
};

struct FitOptions {
    FitData data = FitData::TwoStates;
    FitWeights weights = FitWeights::Uniform;
    int cycles = 20;             // each with exact energies
    double reject_above = 1e30;  // lines with |obs - calc| of this or more are rejected
};

struct Settings {
    int max_J = 35;
    LineRules lines;
    FitOptions fit;
};

}  // namespace kiv
