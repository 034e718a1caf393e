// From constants that have moved to the chosen levels of one J.
//
// A level is improved from a value near its energy, its vector with it, and is known by its number
// in its block. Counts of the eigenvalues below it in the other blocks of its J say whether it has
// the energy rank of its label, too.
#pragma once

#include <span>
#include <vector>

#include "kiv/levels.h"
#include "levels/ChosenJ.h"
#include "levels/Derivatives.h"
#include "levels/OperatorBands.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// One J: its operators by its place in their list, its groups with the vectors of all groups, and
/// the levels that are filled.
struct FollowTask {
    const Hamiltonian* H = nullptr;
    const OperatorBands* operators = nullptr;
    const OperatorBands::Coefficients* coefficients = nullptr;
    std::size_t place = 0;
    ChosenJ* of_J = nullptr;
    std::span<ChosenGroup> groups;
    double* vectors = nullptr;
    Levels* levels = nullptr;
};

/// Follows one J after the other; each thread has its own.
class LevelFollower {
  public:
    /// Has room for J up to `max_J`. NoMemory.
    Status Fit(const Memory& memory, int max_J);

    /// Finds the eigenvalues of the blocks of up to kValuesTogether J, ascending, from which their
    /// levels start.
    static constexpr std::size_t kValuesTogether = 4;
    void FindValues(std::span<const FollowTask> tasks);

    /// Fills energies, labels, characters and derivatives of the levels that have the number of
    /// the chosen ones in their block. False when that is not certain, and the J is to be solved as
    /// a whole.
    bool Follow(const FollowTask& task);

    /// From constants that have changed by `change` since the levels were followed: fills the
    /// energies alone, by the vectors that are there. False when vectors or derivatives would
    /// change by more than some 1e-10.
    bool Shift(const FollowTask& task, const OperatorBands::Coefficients& change);

    /// True when it is certain that the levels, as they were followed, have the energy ranks of
    /// their labels.
    bool HaveTheirRanks(const FollowTask& task);

    /// Fills the derivatives alone, by the vectors that are there.
    void Derive(const FollowTask& task);

  private:
    // The levels of each block below a level and not above it, as its label says.
    struct Ranked {
        LaneCounts before, above;
    };
    // A level that does not lie on the side of others where its label puts it.
    struct Misplaced {
        std::size_t level;
        int side;  // on which others have to tie with it
    };
    struct Bounds {
        double least = 0.0, most = 0.0;  // of the largest energy of a J in size
    };

    ChosenJ& of_J() const { return *task_.of_J; }
    Levels& levels() const { return *task_.levels; }
    static double AboveAll(const Bounds& bounds);
    void FillUp(double value);
    Bounds LayOut(const OperatorBands::Coefficients& coefficients);
    void TakeValues(ChosenGroup& group, EigenpairSet& set) const;
    static bool HasSettled(const ChosenGroup& group, const EigenpairSet& set, const Bounds& bounds);
    bool Improve(const Bounds& bounds);
    void CountBelowShifts();
    static bool IsOff(const LaneCounts& count, const Ranked& level, int side);
    void FillEnergies(const ChosenGroup& group, const LaneValues& energy);
    void FillLabels();

    FollowTask task_;
    TridiagonalLanes matrices_;  // the Hamiltonian of the J, its blocks side by side
    Array<double> d_, e_, e2_;
    Array<double> values_;  // that were found last
    Array<double> room_;
    std::vector<EigenpairSet> sets_;  // of the groups
    std::vector<VectorLanes> lanes_;
    std::vector<Ranked> ranked_;
    std::vector<Misplaced> misplaced_;
    std::vector<double> shifts_, tied_;
    std::vector<LaneCounts> counts_;
};

}  // namespace kiv
