// The search for lines: positions and intensities of the pairs of levels that the rules let
// through.
#pragma once

#include <cstdint>

#include "kiv/report.h"
#include "lines/Amplitudes.h"
#include "lines/LineStore.h"
#include "lines/LineTask.h"
#include "lines/PairValues.h"

namespace kiv {

/// The pairs of one lower level with upper levels of one J' that follow each other in a list.
struct PairsOfLevel {
    LowerLevel lower{};
    int J_upper = 0;
    const PartnerList* list = nullptr;
    int place = 0;  // of the first one
    int num = 0;
    Amplitudes amplitudes;
};

/// Scratch of a search, kept between searches.
struct LineScratch {
    AmplitudeSums sums;
    PairsOfLevel pairs;
    // The pairs of the level at hand and what becomes of them
    Array<double> position, raw, strength, factor;
    Array<float> intensity;
    Array<float> amplitude_real, amplitude_imag;
    Array<char> band;
    Array<std::int32_t> lines;  // pairs that are lines
    Array<long long> dropped;
    Array<double> highest;  // highest energy up to each rank: levels that agree have no order

    /// Sized and set up for `task`. NoMemory.
    Status Begin(const Memory& memory, const LineTask& task);
};

/// Fills `list`, which LineList::Reserve sized, with the lines of `task`, and matches the
/// assignments on the way.
///
/// Levels pair up within the window of delta_K around the lower Ka and with the parities asked for.
/// Raw intensity of real states (Pa + Pb)^2 + Pc^2 with P = projection * amplitude, of complex
/// ones |Pa + Pb + i Pc|^2, all three coherent; intensity = raw * spin weight * Boltzmann factor;
/// position = origin + E' - E''. Which lines there are depends on the task alone, neither on the
/// assignments, which only add theirs, nor on the listener. NoLines; NoMemory; Cancelled.
Status SearchLines(const LineTask& task, Workspace& work, Report& report, LineList& list);

}  // namespace kiv
