// What a listener can hear of the inside of a calculation, beside the Report of its caller.
//
// The library tells; what of it becomes text, and which, is the listener's matter. All methods do
// nothing by default. Arguments are valid during the call alone.
#pragma once

#include <array>
#include <cstdint>

#include "kiv/array.h"
#include "kiv/model.h"

namespace kiv {

struct FitList;
struct Levels;
struct LineList;
struct TurnedState;

/// Calls that begin and, unless they fail, end.
enum class Step : std::uint8_t {
    Pass,          // from the constants to the lines
    SolveLevels,   // of one state
    LevelScratch,  // memory for that
    ComputeLines,  // between solved states
    GrowStore,     // room for more lines
    Fit
};

/// A pair of levels and what was calculated for it.
struct PairView {
    int J_lower, rank_lower;
    int J_upper, rank_upper;
    const Levels* lower;
    const Levels* upper;
    std::array<double, 3> amplitude_real, amplitude_imag;  // a, b, c
    std::array<double, 3> projection;                      // of the moment
    double strength;                                       // its intensity
};

/// A measured line or difference that a fit looks at.
struct FitRowView {
    const std::int16_t* label;         // J', Ka', Kc', J'', Ka'', Kc''
    const std::int16_t* second_label;  // of the second line of a difference, else null
    double observed;
    double calculated;

    double misfit() const { return observed - calculated; }
};

/// The numbers of a fit cycle by slot of its list, see fit/FitList.h.
struct FitCycleView {
    const FitList* list;
    int cycle;  // rejection cycle
    const double* old_values;
    const double* new_values;
    const double* deviations;
};

struct FitStatistics {
    double rms = 0.0;           // of the rows used
    double scale = 1.0;         // of the deviations
    std::int32_t used = 0;      // rows
    std::int32_t rejected = 0;  // the rest
};

class Trace {
  public:
    virtual ~Trace() = default;

    virtual void Enter(Step, StateIndex = kLower) {}
    virtual void Leave(Step, StateIndex = kLower) {}

    // --- levels

    /// True when LevelsOfJ is to be told: a state is then solved even if its solution is known.
    virtual bool WantsLevels() const { return false; }
    virtual void LevelsOfJ(StateIndex, const TurnedState&, const Levels&, int /*J*/) {}

    // --- a pass

    virtual void Turned(StateIndex, const State& /*given*/, const TurnedState&) {}
    /// Lines within the lower state: its levels serve as those of the upper one.
    virtual void LevelsShared(const Levels&) {}
    virtual void StateReady(StateIndex, const TurnedState&) {}

    // --- lines

    /// True when Pair, KeptPair, LowerJ and Branch are to be told; every pair is then looked at.
    virtual bool WantsPairs() const { return false; }
    virtual void MomentTurned(const Moment&, const TurnedState& /*its frame*/,
                              const std::array<double, 3>& /*projection*/) {}
    virtual void LowerJ(int /*J*/) {}
    virtual void Branch(int /*J_lower*/, int /*J_upper*/) {}
    virtual void Pair(const PairView&) {}
    /// The pair just told became the last line of the list.
    virtual void KeptPair(const LineList&, const PairView&, double /*origin*/) {}
    virtual void MissingLine(std::int32_t /*assignment*/, double /*frequency*/) {}
    /// `negative`: pairs whose lower level has a negative energy.
    virtual void LinesDone(const LineList&, std::int64_t /*negative*/) {}

    // --- fits

    /// Fewer assignments than constants marked for the fit; the fit ends.
    virtual void TooFewAssignments(std::int32_t /*assignments*/, int /*marked*/) {}
    virtual void ConstantsCounted(int /*marked*/) {}
    virtual void FitStarts(const FitList&, const Model&) {}
    virtual void CycleStarts(int /*cycle*/) {}
    virtual void RowRejected(const FitRowView&) {}
    /// The first row of a set is about to be accepted: of lines between the states, or of the rest.
    virtual void FirstRow(bool /*between_states*/, std::int32_t /*accepted*/,
                          std::int32_t /*split*/) {}
    virtual void TooManyDifferences() {}
    virtual void DifferencesFound(std::int32_t /*num*/) {}
    virtual void DifferencesSelected() {}
    /// `values` and `derivatives` by slot of the list.
    virtual void DifferenceAccepted(std::int32_t /*row*/, const FitRowView&, const FitList&,
                                    const double* /*values*/, const double* /*derivatives*/) {}
    virtual void DifferencesAccepted(std::int32_t /*num*/) {}
    virtual void RowsSelected(const FitStatistics&) {}
    /// Fewer rows than varied constants; the fit ends.
    virtual void TooFewRows(std::int32_t /*rows*/, int /*varied*/) {}
    /// True when RowPredicted is to be told.
    virtual bool WantsPredictions() const { return false; }
    virtual void RowPredicted(std::int32_t /*row*/, double /*observed*/, const FitList&,
                              const double* /*values*/, const double* /*derivatives*/) {}
    virtual void CycleSolved(const FitCycleView&, const FitStatistics&) {}
    /// `dropped`: the rejection cycle dropped rows.
    virtual void CycleDone(const FitStatistics&, bool /*dropped*/) {}
    virtual void NegativeConstant(StateIndex, Constant, double /*value*/) {}
    /// The scaled covariance, rows and columns counted from 1.
    virtual void FitDone(const FitList&, const Model&, const FitStatistics&,
                         const Table<double>& /*covariance*/) {}
};

}  // namespace kiv
