// What a run shows of its calculations: phases, listings, traces, messages.
#pragma once

#include <array>
#include <cstdint>

#include "base/Trace.h"
#include "console/Console.h"
#include "kiv/error.h"
#include "kiv/lines.h"
#include "kiv/report.h"
#include "model/Frames.h"

namespace kiv {

class RunReport final : public Report, private Trace {
  public:
    RunReport(Console& console, const InputFile& file, const Model& model, bool is_complex)
        : console_(console), file_(file), model_(model), is_complex_(is_complex) {}

    Trace* trace() override { return this; }

    /// A state was turned outside a pass.
    void TellTurned(StateIndex index, const State& given, const TurnedState& turned) {
        Turned(index, given, turned);
    }

    /// Says why a pass or a fit failed, unless it was told while it went on.
    void SayFailed(const Error& error);

    /// Band types that contributed to the last lines.
    const std::array<bool, 3>& active_bands() const { return active_bands_; }

    /// Assignments that the last pass, or the last fit cycle that failed behind it, left out.
    std::int32_t num_missing() const { return num_missing_; }

  private:
    void Enter(Step step, StateIndex index) override;
    void Leave(Step step, StateIndex index) override;

    bool WantsLevels() const override;
    void LevelsOfJ(StateIndex index, const TurnedState& state, const Levels& levels,
                   int J) override;

    void Turned(StateIndex index, const State& given, const TurnedState& turned) override;
    void LevelsShared(const Levels& levels) override;
    void StateReady(StateIndex index, const TurnedState& turned) override;

    bool WantsPairs() const override { return console_.DebugIsOn(DebugPart::Lines); }
    void MomentTurned(const Moment& moment, const TurnedState& frame,
                      const std::array<double, 3>& projection) override;
    void LowerJ(int J) override;
    void Branch(int J_lower, int J_upper) override;
    void Pair(const PairView& pair) override;
    void KeptPair(const LineList& list, const PairView& pair, double origin) override;
    void MissingLine(std::int32_t assignment, double frequency) override;
    void LinesDone(const LineList& list, std::int64_t negative) override;

    void TooFewAssignments(std::int32_t assignments, int marked) override;
    void ConstantsCounted(int marked) override;
    void FitStarts(const FitList& list, const Model& model) override;
    void CycleStarts(int cycle) override;
    void RowRejected(const FitRowView& row) override;
    void FirstRow(bool between_states, std::int32_t accepted, std::int32_t split) override;
    void TooManyDifferences() override;
    void DifferencesFound(std::int32_t num) override;
    void DifferencesSelected() override;
    void DifferenceAccepted(std::int32_t number, const FitRowView& row, const FitList& list,
                            const double* values, const double* derivatives) override;
    void DifferencesAccepted(std::int32_t num) override;
    void RowsSelected(const FitStatistics& statistics) override;
    void TooFewRows(std::int32_t rows, int varied) override;
    bool WantsPredictions() const override { return console_.DebugIsOn(DebugPart::Fit); }
    void RowPredicted(std::int32_t row, double observed, const FitList& list, const double* values,
                      const double* derivatives) override;
    void CycleSolved(const FitCycleView& cycle, const FitStatistics& statistics) override;
    void CycleDone(const FitStatistics& statistics, bool dropped) override;
    void NegativeConstant(StateIndex index, Constant constant, double value) override;
    void FitDone(const FitList& list, const Model& model, const FitStatistics& statistics,
                 const Table<double>& covariance) override;

    const char* NameOf(Step step) const;
    void PutLevelAndAccepted(const FitStatistics& statistics);
    void PutDeviationAndRejected(const FitStatistics& statistics);
    double PositionFromDerivatives(const LineList& list, const PairView& pair, double origin) const;

    Console& console_;
    const InputFile& file_;
    const Model& model_;  // as it was read
    const bool is_complex_;
    bool warned_ = false;  // of cross terms that a rotation replaces; the first one alone warns
    bool shared_ = false;  // the upper state that comes next has the levels of the lower one
    std::array<TurnedState, kNumStates> turned_;
    double kappa_[kNumStates] = {};
    double inertial_defect_[kNumStates] = {};
    std::array<bool, 3> active_bands_{};
    std::int32_t num_missing_ = 0;
};

}  // namespace kiv
