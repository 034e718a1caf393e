// The pairs of levels of one lower J that the rules let through.
#pragma once

#include <cstdint>

#include "kiv/report.h"
#include "lines/Boltzmann.h"
#include "lines/LineMatch.h"
#include "lines/LineScratch.h"
#include "lines/LineStore.h"
#include "lines/LineTask.h"
#include "lines/PairChooser.h"
#include "lines/PairValues.h"

namespace kiv {

/// Searches the pairs of one lower J after the other, ascending, for lines.
class PairSearch {
  public:
    /// `assigned`: the assignments of these J.
    PairSearch(const LineTask& task, const AssignedSet& assigned, LineScratch& scratch,
               const Memory& memory, Trace* trace, LineList& list);

    /// Appends the lines of a lower J to the list. NoMemory.
    Status Run(int J_lower);

    /// Counts the assignments that are left. Pairs whose lower level has a negative energy are
    /// counted where pairs are looked at one by one.
    void Finish() { match_.Finish(); }
    std::int64_t num_negative() const { return num_negative_; }

  private:
    /// Upper levels of one lower level, and whether each is looked at.
    struct Window : UpperRange {
        bool one_by_one;
    };

    void SetValues();
    Status RunBranch(int J_lower, int J_upper);
    Status ChoosePairs(int J_lower, int J_upper);
    UpperRange RangeOf(const LowerLevel& lower, int J_upper);
    bool IsWanted(int J_lower, int J_upper, int rank) const;
    Status RunLevel(const LowerLevel& lower, int J_upper);
    Status RunAll(const LowerLevel& lower, int J_upper, const Window& window);
    Status KeepBefore(int rank);
    void PrepareSums(int J_lower, int J_upper);
    void FillBounds(int J_upper);
    int FirstUpward(const LowerLevel& lower, int J_upper);
    void KeepInRange(const LowerLevel& lower, UpperRange& range) const;
    void PassDownward(const LowerLevel& lower, int J_upper, int first, int last);
    void SetLevel(const LowerLevel& lower, const double* energy, int num);
    void EvaluatePairs(int num, const LowerValues& lower);
    Status KeepLines();
    Status KeepChosen();
    Status KeepOneByOne();
    bool HasParityOf(const LowerLevel& lower, std::int32_t upper) const;
    bool IsWeak(int pair) const;
    bool IsOutOfRange(double position) const {
        return position < values_.lowest || position > values_.highest;
    }
    PairView View(int pair) const;

    const LineTask& task_;
    const LineRules& rules_;
    LineScratch& s_;
    Trace* const trace_;
    const bool listening_;  // every pair is told
    LineList& list_;
    Boltzmann weights_;
    PairChooser chooser_;
    const bool keep_dark_;  // pairs without intensity are lines, too
    LineMatch match_;
    LineStore store_;
    bool sums_are_ready_ = false;  // for the branch at hand
    int upward_ = 0;               // one state: the first upper level that lies above the lower one
    LineBatch batch_;
    PairRun values_{};
    LineValues scratch_values_;
    bool any_dropped_ = false;
    std::int64_t num_negative_ = 0;
};

}  // namespace kiv
