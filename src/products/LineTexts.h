// The products of `kiv export` as texts: lines, levels, partition functions.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "kiv/assignments.h"
#include "kiv/catalog.h"
#include "kiv/feature_fit.h"
#include "kiv/sink.h"
#include "kiv/threads.h"

namespace kiv {

/// Lines with all that a row of them tells; what it refers to must outlive it.
struct LineTable {
    const Catalog& catalog;
    const AbsoluteIntensity& absolute;
    double MHz = 1.0;          // in the unit of the energies
    double wavenumbers = 1.0;  // cm-1 in the unit of the energies
    bool two_states = false;
    int v_upper = 0, v_lower = 0;
    bool has_moment = true;  // without one there are no strengths
    double min_lgint = -std::numeric_limits<double>::infinity();
    const Predictor* predictor = nullptr;  // null: no fit
    /// Observed values: by line of the list the index among the assignments and 1, or 0.
    const Assignments* assignments = nullptr;
    std::span<const std::int32_t> assignment_of{};
    int tag = 0;
    bool in_wavenumbers = false;  // of .cat files: frequencies in cm-1, see HasRoomInMHz
};

/// False when a frequency is too large for the column of .cat files in MHz; `MHz` is MHz in the
/// unit of the lines.
bool HasRoomInMHz(const LineList& lines, double MHz);

/// Step of the frequencies in .cat files, in the unit in which they stand there.
inline constexpr double kCatStep = 1e-4;

/// Writes a header and a row for each line, separated by commas. Numbers are such that they read
/// back as they are (lgint is rounded to 1e-7); fields without a value are empty. Returns the
/// number of lines. Threads, null for none, make the rows of many lines; the bytes are the same.
std::int32_t WriteCsvLines(Sink& sink, const LineTable& table, Threads* threads = nullptr);

/// Writes a row of fixed columns for each line: F13.4 frequency, F8.4 uncertainty, F8.4 lgint, I2
/// 3, F10.4 lower energy in cm-1, I3 weight w (2J' + 1), I7 tag, I4 303 or, with state numbers,
/// 1404, six I2 quanta of the upper and six of the lower level, a blank.
///
/// Frequency and uncertainty are in MHz, or in cm-1 with the uncertainty negative (not above
/// -0.0001). The upper level is that of higher energy. Lines of no intensity at the temperature are
/// left out. Returns the number of lines; threads as for WriteCsvLines.
std::int32_t WriteCatLines(Sink& sink, const LineTable& table, Threads* threads = nullptr);

/// Largest quantum number that WriteCatLines has a text for.
inline constexpr int kMostCatQuantum = 359;

/// Writes a row of fixed columns for each level: I6 block, I5 index in it, F18.6 energy in cm-1,
/// F18.6 uncertainty, F11.6 mixing (1), I5 w (2J + 1), a colon, I3 J, Ka, Kc and, with two states,
/// v. `predictor` may be null; `unit` is cm-1 in the unit of the energies.
void WriteEgyLevels(Sink& sink, const std::vector<ListedLevel>& levels, double unit,
                    bool two_states, const Predictor* predictor);

/// A partition function.
struct PartitionRow {
    double temperature = 0.0, Q = 0.0;
    int J = 0;  // the last one of the sum
};

/// Writes a header and the rows, separated by commas.
void WritePartitionTable(Sink& sink, std::span<const PartitionRow> rows);

}  // namespace kiv
