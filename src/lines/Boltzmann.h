// Boltzmann factors of a pair of levels.
#pragma once

#include <cmath>

#include "base/ExpFunc.h"
#include "kiv/settings.h"

namespace kiv {

/// Factor B of a line by the temperatures T1, T2 (kelvin) and the weight of T2.
///
/// T1 <= 0: B = 1. Otherwise, with kT in energy units and E'' the lower energy:
///   two states:   B = exp(-E''/kT1) [+ weight2 exp(-E''/kT2) when T2 > 0]
///   one state:    B = { [1 - exp(-dE/kT1)] exp(-E''/kT1) [+ weight2 the same with T2] } dE * 1e-4
/// B = 0 when E'' < 0, and for one state when E' < 0. Where the braces are not finite (a line far
/// down in energy, which an origin makes one of positive position), they are taken as the
/// differences of the exponentials, exp(-E''/kT) - exp(-E'/kT).
class Boltzmann {
  public:
    Boltzmann(const LineRules& rules, bool one_state)
        : on_(rules.temperature > 0.0),
          two_(rules.temperature2 > 0.0),
          one_state_(one_state),
          kT1_(rules.temperature * rules.energy_per_kelvin),
          kT2_(rules.temperature2 * rules.energy_per_kelvin),
          weight2_(rules.weight2) {}

    /// Makes `energy` that of the lower level.
    void SetLower(double energy) {
        lower_ = energy;
        negative_ = IsNegative(energy);
        if (!on_ || negative_) return;
        x1_ = ExpFunc(-energy / kT1_);
        x2_ = two_ ? weight2_ * ExpFunc(-energy / kT2_) : 0.0;
    }

    /// Factor of the line to the upper level of this energy.
    double Factor(double energy) const {
        if (!on_) return 1.0;
        if (negative_) return 0.0;
        if (!one_state_) return two_ ? x1_ + x2_ : x1_;
        if (energy < 0.0) return 0.0;
        const double dE = energy - lower_;
        const double first = x1_ * (1.0 - ExpFunc(-dE / kT1_));
        const double sum = two_ ? x2_ * (1.0 - ExpFunc(-dE / kT2_)) + first : first;
        return (std::isfinite(sum) ? sum : Difference(energy)) * (dE * 0.0001);
    }

    /// True when `energy` as that of the lower level makes B 0.
    bool IsNegative(double energy) const { return on_ && energy < 0.0; }

    /// False when T1 <= 0: then intensities are pure line strengths.
    bool is_on() const { return on_; }

  private:
    double Difference(double energy) const {
        const double first = ExpFunc(-lower_ / kT1_) - ExpFunc(-energy / kT1_);
        if (!two_) return first;
        return weight2_ * (ExpFunc(-lower_ / kT2_) - ExpFunc(-energy / kT2_)) + first;
    }

    bool on_, two_, one_state_;
    double kT1_, kT2_, weight2_;
    bool negative_ = false;
    double lower_ = 0.0;
    double x1_ = 1.0, x2_ = 0.0;  // exp(-E''/kT1), weight2 exp(-E''/kT2)
};

}  // namespace kiv
