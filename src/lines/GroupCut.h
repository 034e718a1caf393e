// Which groups of pairs, one lower level with the levels of a class of J', a cut-off may leave
// lines of.
#pragma once

#include "lines/Amplitudes.h"
#include "lines/StrengthBound.h"
#include "lines/UpperMatrix.h"

namespace kiv {

class GroupCut {
  public:
    /// Starts on a task whose bounds are on. NoMemory.
    Status Begin(const Memory& memory, const LineTask& task);

    /// Makes J the lower J.
    void SetLowerJ(int J, const StrengthBound& bound);

    /// The levels of a class of the lower J, in ascending energy.
    struct LowerClass {
        int num;
        const std::int32_t* level;  // indices
        const double* energy;
        const double *x1, *x2;  // factors
    };
    LowerClass LevelsOf(int lower_class) const;
    const ClassLevels& lower_classes() const { return lower_.by_class(); }

    /// True when the cut-off may leave lines of any level of J'' with the J' of the branch, by what
    /// is known before their amplitudes.
    bool HasAny(const StrengthBound& bound) const;

    /// Marks the groups of the branch to J', which `sums` are at: all of them while few are
    /// dropped.
    void MarkBranch(int J_upper, const AmplitudeSums& sums, const StrengthBound& bound);

    /// The upper classes, bit c for class c, with whose levels pairs of lower level `rank` may
    /// exceed the cut-off.
    unsigned Leads(int rank) const { return leads_[static_cast<std::size_t>(rank)]; }

  private:
    StrengthBound::Factors FactorsOf(int rank) const;

    /// Marks the levels of a lower class. False when there is no bound for the pair of classes.
    bool MarkClass(int lower_class, int upper_class, const UpperMatrix& matrix,
                   const AmplitudeSums& sums, const StrengthBound& bound);

    const LineTask* task_ = nullptr;
    UpperLevels lower_;      // the levels of the lower J, component by component
    UpperMatrix matrix_[3];  // of three consecutive J', by J' modulo 3
    BlockScratch matrix_scratch_;
    Array<double> x1_, x2_;      // of the levels, class by class
    Array<long long> marks_;     // of the levels of a class
    Array<std::uint8_t> leads_;  // by energy rank
    int num_unmarked_ = 0;       // branches that are to be left unmarked
};

}  // namespace kiv
