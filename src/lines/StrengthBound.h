// Bounds on the intensities of groups of pairs, so that groups which a cut-off leaves nothing of
// need not be looked at.
#pragma once

#include "lines/Boltzmann.h"
#include "lines/LineTask.h"

namespace kiv {

inline constexpr double kBoundMargin = 1.0 + 1e-6;  // vectors are of unit length but for rounding
inline constexpr double kExpRounding = 1e-15;       // of 1 - exp(-x), whose value may be as small
inline constexpr double kFactorPerEnergy = 0.0001;  // see Boltzmann

/// For each lower level and J': no pair of the group has a larger intensity than the bound.
///
/// The amplitudes of a unit vector with an orthonormal set are at most the norm of the operator:
/// for one direction of the moment |S|^2 <= max(J', J'') in P and R, J (2J + 1) / (J + 1) in Q (the
/// largest Hoenl-London factor). So raw <= (sum over types of |projection|)^2 times that, and
///
///     intensity <= raw |spin weight| B,   B <= [x1 min(1, dE/kT1) + x2 min(1, dE/kT2)] dE 1e-4
///
/// in one state, B = x1 + x2 between two, with x = exp(-E''/kT), times |weight2| for the second
/// temperature, and dE up to the highest level of J'. A bound has a margin for the rounding of what
/// it bounds. Source of the factors: H. Hoenl, F. London, Z. Phys. 33, 803 (1925).
class StrengthBound {
  public:
    /// A bound means nothing without temperatures and a positive cut-off, for energies that are not
    /// those of orthonormal vectors (infinite or nearly so), or where an origin makes lines of the
    /// pairs that go down in energy within one state: then it is off.
    StrengthBound() = default;
    explicit StrengthBound(const LineTask& task);

    bool is_on() const { return on_; }

    /// Makes J'' -> J' the branch of the next levels, `highest` being the highest energy of J'.
    void SetBranch(int J_lower, int J_upper, double highest);

    /// Of a lower level: |weight| exp(-E''/kT) for both temperatures, with the margin; not
    /// negative, 0 without a second temperature.
    struct Factors {
        double x1, x2;
    };
    Factors FactorsOf(const LowerLevel& lower) const;

    /// False when the cut-off leaves none of the pairs of a level with J'.
    bool Leaves(double lower_energy, const Factors& factors) const {
        return parts_.raw * FactorAt(factors, parts_.highest - lower_energy) > parts_.cutoff;
    }

    /// Bounds of single pairs: intensity <= raw * factor with the factor of B above, from the x of
    /// the lower level (FactorsOf) and these.
    struct Parts {
        bool one_state;
        double per_energy1, per_energy2;  // 1/kT
        double cutoff;
        double raw, highest;  // of the branch: largest raw intensity and energy
    };
    const Parts& parts() const { return parts_; }

  private:
    double FactorAt(const Factors& factors, double dE) const;

    bool on_ = false;
    double moment_ = 0.0;  // (sum of |projection|)^2
    double kT1_ = 0.0, kT2_ = 0.0, weight2_ = 0.0;
    Parts parts_{};
};

}  // namespace kiv
