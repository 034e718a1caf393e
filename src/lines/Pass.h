// One pass from the constants of a model to its lines.
#pragma once

#include <array>
#include <cstdint>

#include "kiv/assignments.h"
#include "kiv/lines.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "lines/Cosines.h"
#include "model/Frames.h"

namespace kiv {

struct PassTask {
    const Model* model;
    int max_J = 0;
    const LineRules* rules;
    const Assignments* assignments = nullptr;  // null: none
    LineChoice choice = LineChoice::All;
    bool is_complex = false;
    /// Lines within the lower state of a model of two states, for the second set of assignments;
    /// without the origin.
    bool within_lower = false;
    bool exchanges_axes = false;  // see Hamiltonian
    bool has_derivatives = true;  // of the levels, by the constants that are on
    bool has_amplitudes = true;   // of the lines; without them their arrays are null

    bool one_state() const { return model->one_state || within_lower; }
};

/// What a pass leaves and the next one starts from. A state that is bit for bit that of its last
/// solution is not solved again unless the listener wants to hear it done.
struct PassRoom {
    Levels levels[kNumStates];  // the upper one of a pass of one state stays as it was
    Cosines cosines;
    LineList lines;
    std::array<TurnedState, kNumStates> turned;  // as they were solved
    bool is_solved[kNumStates] = {};             // `levels` are those of `turned`
    bool one_state = false;                      // of the last pass

    const Levels& lower() const { return levels[kLower]; }
    const Levels& upper() const { return levels[one_state ? kLower : kUpper]; }

    /// Takes the arrays of a state, of the lines. NoMemory.
    Status ReserveLevels(const PassTask& task, const Memory& memory, StateIndex index);
    Status ReserveLines(const PassTask& task, const Memory& memory);
    Status Reserve(const PassTask& task, const Memory& memory);
};

/// Turns the constants of both states into the axes of the basis, solves the states and computes
/// the lines. `room` was reserved for a task of this max_J and is_complex, in which no fewer
/// constants were on. NoLines; NoMemory; Cancelled.
Status RunPass(const PassTask& task, Workspace& work, Report& report, PassRoom& room);

}  // namespace kiv
