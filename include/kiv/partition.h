// Partition functions of one state or two, summed over their levels.
#pragma once

#include "kiv/error.h"
#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"

namespace kiv {

/// How far a sum is taken, and what is known already.
struct PartitionOptions {
    double negligible = 1e-9;  // of the sum: the terms of J below which it ends
    int last_J = 1000;         // it ends there at the latest
    /// Levels of the states of the model, whose energies are not calculated again; null: none.
    const Levels* levels[kNumStates] = {};
};

/// Q = sum of spin_weight (2J+1) exp(-(E - E0)/kT) over all levels, E0 the lowest of them.
struct Partition {
    double Q = 0.0;            // converged
    double up_to_max_J = 0.0;  // the part of the levels with J <= max_J
    int J_needed = 0;          // the least highest J that holds 0.999 Q
    int last_J = 0;            // of the sum
    /// The sum ended early: the lowest level of the next J lies below that of last_J (truncated
    /// distortion), or options.last_J was reached, while terms above 1e-7 Q were still to come.
    bool turned_over = false;
    bool cut_short = false;

    double complete() const { return Q > 0.0 ? up_to_max_J / Q : 1.0; }
};

/// Sums over both states of `model`, the upper one with its origin, or over the lower one alone.
/// Temperature, kT for each kelvin and spin weights are those of settings.lines; levels are
/// labelled by rank, as everywhere.
///
/// OutOfRange for a temperature that is not above 0, or constants, origin or max_J that cannot be
/// calculated with; NoMemory.
Result<Partition> SumPartition(const Model& model, const Settings& settings, Workspace& work,
                               const PartitionOptions& options = {});

/// The same from levels that are there, up to their highest J; what lies beyond is classical,
///
///     Q - up_to_max_J = t (1 - s(J)) / (s(J) - s(J - 2)),  t = terms of J - 1 and J,  J = max_J
///
/// where s is ClassicalShare of the constants of the state: within two hundredths of what lies
/// beyond. `upper` is not looked at in models of one state. Where few levels are there, or where
/// energies fall with J, it is SumPartition.
Result<Partition> PartitionOf(const Model& model, const Settings& settings, const Levels& lower,
                              const Levels& upper, Workspace& work);

/// The part of the classical partition function that levels up to `J` hold:
///
///     int_0^(J+1) (2R)^2 / (4 pi) int exp(-(A x^2 + B y^2 + C z^2) R^2 / kT) dOmega dR / Qcl,
///     Qcl = sqrt(pi (kT)^3 / (ABC))
///
/// A, B, C and kT are positive and share a unit.
double ClassicalShare(double A, double B, double C, double kT, double J);

/// Qcl, without spin weights.
double ClassicalPartition(double A, double B, double C, double kT);

}  // namespace kiv
