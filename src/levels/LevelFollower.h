// From constants that have moved to the chosen levels of one J.
//
// A level is improved from a value near its energy, its vector with it. Counts of the eigenvalues
// below it in all blocks of its J say whether it is the level of its label.
#pragma once

#include <span>
#include <vector>

#include "kiv/levels.h"
#include "levels/ChosenJ.h"
#include "levels/OperatorBands.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// One J: its operators by its place in their list, its groups with the vectors of all groups, and
/// the levels that are filled.
struct FollowTask {
    const Hamiltonian* H = nullptr;
    const OperatorBands* operators = nullptr;
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

    /// Fills energies, labels, characters and derivatives of the chosen levels. False when the
    /// levels are not certain, and the J is to be solved as a whole.
    bool Follow(const FollowTask& task);

    /// Fills the derivatives alone, by the vectors that are there.
    void Derive(const FollowTask& task);

  private:
    // A level that is to be told from others: by the levels below it and those not above it, as
    // labels say and as they are counted.
    struct Open {
        double energy;
        LaneCounts before, above, below, not_above;
    };
    struct Bounds {
        double least = 0.0, most = 0.0;  // of the largest energy of a J in size
    };

    ChosenJ& of_J() const { return *task_.of_J; }
    Levels& levels() const { return *task_.levels; }
    TridiagonalMatrix BlockOf(int b) const;
    Bounds LayOut();
    void SetValues();
    bool Improve(ChosenGroup& group, const Bounds& bounds);
    bool AreThemselves(const Bounds& bounds);
    void CountAround(double distance);
    void KeepMisplaced();
    void FillLabels();

    FollowTask task_;
    Array<double> d_, e_;                        // the Hamiltonian of the J
    Array<double> lanes_d_, lanes_e2_, values_;  // its blocks side by side; all their eigenvalues
    Array<double> room_;
    LaneMatrices matrices_;
    std::vector<Open> open_;
    std::vector<double> shifts_;
    std::vector<LaneCounts> counts_;
};

}  // namespace kiv
