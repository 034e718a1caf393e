// Scratch of a search for lines, kept between searches.
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "lines/Amplitudes.h"
#include "lines/GroupCut.h"
#include "lines/LineTask.h"
#include "lines/StrengthBound.h"

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

/// A pair that a cut-off may leave: its upper level, and where its amplitudes are.
struct Candidate {
    std::int32_t upper;
    std::int32_t upper_class;
    std::int32_t place;  // in the list of the class
};

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
    // The energies of J' without their order: levels that agree have none. Of ranks 0..r, and of
    // r..2J' when the lines have a range
    Array<double> highest, lowest;
    // Those that a cut-off may leave
    StrengthBound bound;
    GroupCut groups;
    Array<Candidate> candidates;
    Array<std::int32_t> upper;
    Array<std::int16_t> label;
    Array<double> energy;

    /// Sized and set up for `task`. NoMemory.
    Status Begin(const Memory& memory, const LineTask& task);

  private:
    /// What a cut-off needs beyond that; `n`: pairs of a level and some.
    Status BeginCut(const Memory& memory, const LineTask& task, std::int64_t n);
};

}  // namespace kiv
