// The pairs of levels that a cut-off may leave, chosen by their amplitudes.
#pragma once

#include <cstdint>
#include <span>

#include "kiv/error.h"
#include "lines/Boltzmann.h"
#include "lines/LineScratch.h"
#include "lines/LineTask.h"
#include "lines/PairRules.h"
#include "lines/PairSelection.h"
#include "lines/StrengthBound.h"

namespace kiv {

/// Chooses the pairs of a branch, a few lower levels of a class with the upper levels of another at
/// once, and hands them out level by level. Off without a bound, see StrengthBound.
class PairChooser {
  public:
    PairChooser(const LineTask& task, LineScratch& scratch, const Memory& memory);

    bool is_on() const { return bound_.is_on(); }

    /// Makes J the lower J.
    void SetLowerJ(int J);

    /// Makes J'' -> J' the branch, `highest` being the highest energy of J'. False when the cut-off
    /// leaves nothing of it.
    bool SetBranch(int J_lower, int J_upper, double highest);

    /// Finds the lower levels that may lead to lines. The sums of the scratch are at the branch.
    void MarkGroups() { s_.groups.MarkBranch(J_upper_, s_.sums, bound_); }

    /// False when the cut-off leaves nothing of lower level `rank`.
    bool Leads(int rank) const { return s_.groups.Leads(rank) != 0; }

    /// Chooses the pairs that may be lines of the levels that lead to some, each with upper levels
    /// within its range of energy ranks; ranges are by lower rank. NoMemory.
    Status Choose(std::span<const UpperRange> ranges);

    /// Moves the next of them to the chosen pairs of the scratch, in the order of their levels, up
    /// to those of lower level `end`. True when these are full.
    bool TakeBefore(int end);

    /// Leaves those of a lower level out.
    void PassOver(int rank) { num_taken_ = s_.first_candidate[rank + 1]; }

  private:
    Status ChooseFew(int lower_class, int index, int upper_class,
                     std::span<const UpperRange> ranges);
    void AddCandidates(std::span<const SelectedPair> pairs, const std::int32_t* rank,
                       std::span<const UpperRange> ranges, const ClassSums* sums,
                       const std::int32_t* level);
    Status MakeRoom(std::int64_t more);
    void Sort();
    template <class BinOf>
    void CountingSort(int bins, const BinOf& bin_of, std::span<const std::int32_t> from,
                      std::span<std::int32_t> to);

    const LineTask& task_;
    LineScratch& s_;
    const Memory& memory_;
    StrengthBound bound_;
    Boltzmann weights_;
    int J_lower_ = 0, J_upper_ = 0;
    std::int32_t num_ = 0, num_taken_ = 0;  // candidates of the branch
};

}  // namespace kiv
