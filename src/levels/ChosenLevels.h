// Some levels of one state, solved without the others.
//
// Where the blocks of a state are tridiagonal, a level follows its constants: from the eigenvalues
// of its block at first, then from what the last vector makes of the new constants. It is known by
// its symmetry; whether it has the energy rank of its label is asked for when that matters. Where
// it is not certain which level it is, its J is solved as a whole.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kiv/levels.h"
#include "levels/ChosenJ.h"
#include "levels/LevelFollower.h"
#include "levels/OperatorBands.h"
#include "levels/Solution.h"

namespace kiv {

class ChosenLevels {
  public:
    /// True for real Hamiltonians that keep all two-fold rotations and have tridiagonal blocks.
    static bool CanSolve(const Hamiltonian& H) { return OperatorBands::CanHold(H); }

    /// Chooses levels by their indices in Levels, up to J = max_J, and takes room for them.
    /// NoMemory.
    Status Choose(std::span<const std::size_t> levels, int max_J, const Memory& memory);

    /// Fills energies, labels, characters and derivatives of the chosen levels in `levels`, which
    /// Levels::ReserveFigures sized: of each the level that has its number among those of the
    /// symmetry of its label. False when the derivatives are still those of the last solution, of
    /// constants that are the same to rounding. NoMemory; Cancelled.
    Result<bool> Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels);

    /// Makes them the levels that have the energy ranks of their labels, by the same task. True
    /// when they were not known to be, and a J was solved again as a whole. NoMemory.
    Result<bool> ConfirmRanks(const LevelTask& task, Workspace& work, Levels& levels);

    /// The J, in no order, at which labels are known to follow the energy against their symmetry:
    /// there all levels are filled.
    const std::vector<int>& irregular() const { return irregular_; }

  private:
    std::span<ChosenGroup> GroupsOf(const ChosenJ& of_J) {
        return {groups_.data() + of_J.first_group, of_J.end_group - of_J.first_group};
    }
    FollowTask TaskOf(const Hamiltonian& H, std::size_t place, Levels& levels);
    void Take(const Hamiltonian& H, std::size_t place, const double* vectors, BlockScratch& s,
              Levels& levels);
    void SolveWhole(const Hamiltonian& H, std::span<const std::size_t> wanted,
                    LevelScratch& scratch, Levels& levels);
    std::size_t FindValues(const Hamiltonian& H, std::size_t place, Levels& levels);
    bool ShiftAll(const Hamiltonian& H, Levels& levels);
    Status SolveAllWhole(const Hamiltonian& H, std::span<const std::size_t> wanted, Workspace& work,
                         Levels& levels);

    std::vector<ChosenJ> chosen_;  // ascending J
    std::vector<ChosenGroup> groups_;
    std::vector<int> list_of_J_;
    std::vector<int> irregular_;
    int max_J_ = 0;
    OperatorBands operators_;
    OperatorBands::Coefficients coefficients_;         // of the last Hamiltonian
    std::optional<OperatorBands::Coefficients> last_;  // of that which the vectors are of
    bool is_shifted_ = false;                          // the last Hamiltonian is another one
    Array<double> vectors_;                            // of the groups
    Array<double> all_[kTogether];  // all vectors of a J, where it is solved as a whole
    LevelFollower follower_;
};

}  // namespace kiv
