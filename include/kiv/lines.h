// Lines between the levels of two states, or within one.
#pragma once

#include <array>
#include <cstdint>

#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"

namespace kiv {

/// J, Ka, Kc of a level.
struct LevelLabel {
    int J = 0, Ka = 0, Kc = 0;
};

/// One line of a list.
struct LineView {
    double position = 0.0;
    double intensity = 0.0;
    char band = ' ';
    LevelLabel upper, lower;
};

/// Lines as parallel arrays, one entry a line, in the order of calculation (ascending key).
struct LineList {
    std::int32_t size = 0;
    std::int32_t capacity = 0;

    Array<double> position;           // origin + E' - E''
    Array<float> intensity;           // see LineRules
    Array<float> amplitude_real;      // a, b, c a line, times the roots of spin weight and
    Array<float> amplitude_imag;      //   Boltzmann factor; imaginary parts of complex states
    Array<char> band;                 // 'A', 'B', 'C'; 'R' for a line rejected by a fit
    Array<std::int16_t> label;        // J', Ka', Kc', J'', Ka'', Kc'' a line
    Array<std::int32_t> lower_level;  // level indices
    Array<std::int32_t> upper_level;  // of one-state lists only

    // The assignments that have a line: line and index of the assignment
    Array<std::int32_t> match_line, match_assignment;
    std::int32_t matched = 0;
    std::int32_t missing = 0;  // assignments of the set without a line

    /// Line n, 0 <= n < size.
    LineView Line(std::int32_t n) const;

    /// Takes room for `lines` lines. NoMemory names the array.
    Status Reserve(const Memory& memory, std::int32_t lines, bool is_complex, bool one_state);

    /// Makes room for `lines` lines, more than there is, and keeps those in the list. NoMemory
    /// names the array; the list is then good for nothing.
    Status Grow(const Memory& memory, std::int32_t lines);
};

/// All lines of a model, or the assigned ones alone (with positions but without intensities).
enum class LineChoice : std::uint8_t { All, Assigned };

/// Computes the lines between `lower` and `upper`, which have the same max_J and are both real or
/// both complex; the same object twice gives the lines within one state. `assignments` may be null.
///
/// NoLines when none is left; OutOfRange for an origin or temperature that is not finite or levels
/// that do not fit together; NoMemory; Cancelled.
Result<LineList> ComputeLines(const Model& model, const Levels& lower, const Levels& upper,
                              const LineRules& rules, const Assignments* assignments,
                              LineChoice choice, Workspace& work, Report& report);

/// Solves the states of `model` and computes all its lines.
Result<LineList> ComputeLines(const Model& model, const Settings& settings, Workspace& work);

}  // namespace kiv
