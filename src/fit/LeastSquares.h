// Least-squares fit of the constants of both states to the assigned lines.
#pragma once

#include "kiv/fit.h"
#include "lines/Pass.h"

namespace kiv {

/// What is fitted. The cycles read the assigned lines alone, and all lines are wanted only by what
/// follows the fit.
struct FitTask {
    const Model* model;
    const Settings* settings;
    const Assignments* assignments;
    bool is_complex = false;
    LineChoice cycles = LineChoice::Assigned;
    LineChoice last = LineChoice::All;
    /// What becomes of the constants after each pass; null: they stay.
    void (*after_pass)(Model& model, const PassRoom& room) = nullptr;
    bool exchanges_axes = false;  // see Hamiltonian

    PassTask Pass(const Model& now, LineChoice choice, bool within_lower = false) const;
};

/// Runs the cycles of `task` and its last pass, whose lines stay in `room`, in which lines off by
/// the rejection level or more bear the letter R.
///
/// The fit is linear in the constants themselves: a line position is the sum of constant times
/// derivative, so that the solution of a cycle is the new set of constants. On failure `result`
/// holds what earlier cycles left; rms and scale keep what they had where a cycle finds no rows.
/// Errors as kiv::RunFit.
Status RunFit(const FitTask& task, Workspace& work, Report& report, PassRoom& room,
              FitResult& result);

}  // namespace kiv
