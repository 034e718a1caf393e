// Scratch of a search for lines, kept between searches.
#pragma once

#include <cstdint>
#include <memory>

#include "kiv/array.h"
#include "lines/Amplitudes.h"
#include "lines/Boltzmann.h"
#include "lines/GroupCut.h"
#include "lines/LineStore.h"
#include "lines/LineTask.h"
#include "lines/PairRules.h"
#include "lines/PairSelection.h"
#include "lines/StrengthBound.h"

namespace kiv {

/// A lower level with its part of the intensities.
struct WeighedLevel {
    LowerLevel level;
    double x1, x2;    // see Boltzmann::Terms
    float spin_root;  // of the spin weight; 0 where that is negative
};

WeighedLevel WeighedOf(const LowerLevel& level, Boltzmann& weights);

/// What pairs have of their lower levels, one entry a pair.
struct LowerValues {
    const double *energy, *spin_weight, *x1, *x2;
    const float* spin_root;
};

/// The pairs of one lower level with upper levels of one J' that follow each other in a list.
struct PairsOfLevel {
    LowerLevel lower{};
    int J_upper = 0;
    const PartnerList* list = nullptr;
    int place = 0;  // of the first one
    int num = 0;
    Amplitudes amplitudes;
    // Of the lower level, pair after pair
    Array<double> energy, spin_weight, x1, x2;
    Array<float> spin_root;

    /// Sized for the levels of `max_J`. NoMemory.
    Status Begin(const Memory& memory, int max_J, bool is_complex);

    /// Makes `level` the lower level of `num_pairs` pairs.
    void SetLower(const WeighedLevel& level, int num_pairs);

    LowerValues of_lower() const {
        return {energy.data(), spin_weight.data(), x1.data(), x2.data(), spin_root.data()};
    }
};

/// A pair that a cut-off may leave.
struct Candidate {
    std::int32_t lower_rank;
    std::int32_t upper;  // level index
    double real[kNumBands];
};

/// Pairs that a cut-off may leave, of one lower level after the other, until they are looked at
/// together.
struct ChosenPairs {
    static constexpr int kMost = 256, kRoom = kMost + kLineGroup;

    int num = 0;
    double real[kNumBands][kRoom], imag[kNumBands][kRoom];  // amplitudes
    double upper_energy[kRoom], lower_energy[kRoom];
    double spin_weight[kRoom], x1[kRoom], x2[kRoom];
    float spin_root[kRoom];
    std::int32_t lower[kRoom], upper[kRoom];  // level indices
    std::int16_t label[6 * kRoom];            // J', Ka', Kc', J'', Ka'', Kc''

    LowerValues of_lower() const { return {lower_energy, spin_weight, x1, x2, spin_root}; }
};

struct LineScratch {
    AmplitudeSums sums;
    PairsOfLevel pairs;
    // What becomes of the pairs at hand
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
    Array<WeighedLevel> lowers;    // of J'', by energy rank
    Array<UpperRange> ranges;      // of the upper levels that are looked at, by lower rank
    Array<SelectedPair> selected;  // of a few lower levels
    Array<Candidate> candidates;   // of the branch
    Array<double> candidate_imag;  // three of each
    Array<std::int32_t> candidate_order, candidate_scratch;
    Array<std::int32_t> first_candidate;  // in that order, by lower rank
    std::unique_ptr<ChosenPairs> chosen;

    /// Sized and set up for `task`. NoMemory.
    Status Begin(const Memory& memory, const LineTask& task);

  private:
    /// What a cut-off needs beyond that; `n`: room for the pairs of a level.
    Status BeginCut(const Memory& memory, const LineTask& task, std::int64_t n);
};

}  // namespace kiv
