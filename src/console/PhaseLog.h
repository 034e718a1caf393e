// The log: opened, written in numbered phases, closed. Phase titles also go to the console.
#pragma once

#include <array>
#include <cstdint>

#include "console/Console.h"
#include "kiv/model.h"
#include "model/Frames.h"

namespace kiv {

/// Creates the debug log when a switch asks for it. A message tells when it cannot be created.
void OpenDebugLog(Console& console);

/// Phase 0: what was read. Opens the log of the run unless the debug log is open. False when there
/// is no log; the message is then already printed.
bool ReportInput(Console& console, const InputFile& file, const Model& model);

/// The frames of turned states and the constants in them.
void ReportFrames(Console& console, const Model& model,
                  const std::array<TurnedState, kNumStates>& turned);

/// A state as it was solved.
struct SolvedState {
    StateIndex index;
    const TurnedState* turned;
    double kappa, inertial_defect;
    bool is_complex;
};

/// Phase I.
void ReportState(Console& console, const SolvedState& state);

/// Phase II: the title, the moment as it is given, the moment turned with its frame.
void ReportLines(Console& console);
void ReportMoment(Console& console, const InputFile& file, const Moment& moment);
void ReportTurnedMoment(Console& console, StateIndex index, const EulerAngles& angles,
                        const std::array<double, 3>& projection);

/// Phase III.
struct LineSetReport {
    std::int32_t calculated, assigned, missing;
    std::array<bool, 3> is_active;  // band types
};
void ReportLineSet(Console& console, const InputFile& file, const LineSetReport& report);

/// Phase IV: the title, a cycle, and a fit with too few lines.
void ReportFit(Console& console);
void ReportFitCycle(Console& console, int cycle);
void ReportTooFewLines(Console& console, std::int32_t assigned, int marked);

/// Phase X: closes the log. A log that could not be written to its end, on a full disk for one,
/// costs nothing but itself.
void CloseLog(Console& console, const InputFile& file);

/// Ruled lines of the log.
void PutDashes(Console& console);
void PutEquals(Console& console);

}  // namespace kiv
