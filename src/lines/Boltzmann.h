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
          one_state_(one_state),
          weight2_(rules.weight2),
          terms_{rules.temperature2 > 0.0, rules.temperature * rules.energy_per_kelvin,
                 rules.temperature2 * rules.energy_per_kelvin} {}

    /// Makes `energy` that of the lower level.
    void SetLower(double energy) {
        terms_.lower = energy;
        negative_ = IsNegative(energy);
        if (!on_ || negative_) return;
        terms_.x1 = ExpFunc(-energy / terms_.kT1);
        terms_.x2 = terms_.two ? weight2_ * ExpFunc(-energy / terms_.kT2) : 0.0;
    }

    /// Factor of the line to the upper level of this energy.
    double Factor(double energy) const {
        if (!on_) return 1.0;
        if (negative_) return 0.0;
        const Terms& t = terms_;
        if (!one_state_) return t.two ? t.x1 + t.x2 : t.x1;
        if (energy < 0.0) return 0.0;
        const double dE = energy - t.lower;
        const double first = t.x1 * (1.0 - ExpFunc(-dE / t.kT1));
        const double sum = t.two ? t.x2 * (1.0 - ExpFunc(-dE / t.kT2)) + first : first;
        return (std::isfinite(sum) ? sum : Difference(energy)) * (dE * 0.0001);
    }

    /// True when `energy` as that of the lower level makes B 0.
    bool IsNegative(double energy) const { return on_ && energy < 0.0; }

    /// False when T1 <= 0: then intensities are pure line strengths.
    bool is_on() const { return on_; }

    bool one_state() const { return one_state_; }

    /// Of the lower level.
    struct Terms {
        bool two = false;  // temperatures
        double kT1 = 0.0, kT2 = 0.0;
        double lower = 0.0;         // E''
        double x1 = 1.0, x2 = 0.0;  // exp(-E''/kT1), weight2 exp(-E''/kT2)
    };
    const Terms& terms() const { return terms_; }

  private:
    double Difference(double energy) const {
        const Terms& t = terms_;
        const double first = ExpFunc(-t.lower / t.kT1) - ExpFunc(-energy / t.kT1);
        if (!t.two) return first;
        return weight2_ * (ExpFunc(-t.lower / t.kT2) - ExpFunc(-energy / t.kT2)) + first;
    }

    bool on_, one_state_;
    double weight2_;
    bool negative_ = false;
    Terms terms_;
};

}  // namespace kiv
