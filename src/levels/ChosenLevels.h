// Some levels of one state, solved without the others.
//
// Where the blocks of a state are tridiagonal, a level is improved from a value near its energy,
// its vector with it: from the eigenvalues of its block at first, then from what the last vector
// makes of the new constants. Counts of the eigenvalues below it in all blocks of its J say whether
// it is the level of its label; where that is not certain, the J is solved as a whole.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kiv/levels.h"
#include "levels/OperatorBands.h"
#include "levels/Solution.h"
#include "linalg/Eigenpair.h"

namespace kiv {

class ChosenLevels {
  public:
    /// True for real Hamiltonians that keep all two-fold rotations and have tridiagonal blocks.
    static bool CanSolve(const Hamiltonian& H) { return OperatorBands::CanHold(H); }

    /// Chooses levels by their indices in Levels, up to J = max_J, and takes room for them.
    /// NoMemory.
    Status Choose(std::span<const std::size_t> levels, int max_J, const Memory& memory);

    /// Fills energies, labels, characters and derivatives of the chosen levels in `levels`, which
    /// Levels::ReserveFigures sized. NoMemory; Cancelled.
    Status Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels);

    /// The J at which labels follow the energy against their symmetry, ascending: there all levels
    /// are filled.
    const std::vector<int>& irregular() const { return irregular_; }

  private:
    // A level by its energy rank and the levels before it there.
    struct Chosen {
        int rank = 0;
        std::array<int, kMaxBlocks> before{};  // labels of each block with a lower rank
    };
    // Levels of a block in lanes; those that are left over repeat the first one.
    struct Group {
        int block = 0, num = 0;
        std::array<Chosen, kPairLanes> level{};
        LaneValues gap{};            // to the next level of the block, roughly
        std::ptrdiff_t vectors = 0;  // place in vectors_
    };
    enum class Start : std::uint8_t { Values, Vectors, Whole };
    struct ChosenJ {
        int J = 0;
        LevelBlocks blocks;
        std::size_t first_group = 0, end_group = 0;
        Start start = Start::Values;
    };
    // A level that is to be told from others: by the levels below it and those not above it, as
    // labels say and as they are counted.
    struct Open {
        double energy;
        LaneCounts before, above, below, not_above;
    };
    struct Bounds {
        double least = 0.0, most = 0.0;  // of the largest energy of a J in size
    };

    std::span<Group> GroupsOf(const ChosenJ& of_J) {
        return {groups_.data() + of_J.first_group, of_J.end_group - of_J.first_group};
    }
    Status Fit(const Memory& memory, std::ptrdiff_t numbers);
    TridiagonalMatrix BlockOf(const ChosenJ& of_J, int b) const;
    Bounds LayOut(const ChosenJ& of_J);
    void SetValues(const ChosenJ& of_J);
    bool Improve(const ChosenJ& of_J, Group& group, const Bounds& bounds, Levels& levels);
    bool AreThemselves(const ChosenJ& of_J, const Bounds& bounds, const Levels& levels);
    void CountAround(double distance);
    void KeepMisplaced();
    void FillLabels(const ChosenJ& of_J, Levels& levels);
    void Derive(const Hamiltonian& H, std::size_t place, Levels& levels);
    bool Follow(const Hamiltonian& H, std::size_t place, Levels& levels);
    void Take(const Hamiltonian& H, std::size_t place, const double* vectors, BlockScratch& s,
              Levels& levels);
    void SolveWhole(const Hamiltonian& H, std::span<const std::size_t> wanted,
                    LevelScratch& scratch, Levels& levels);

    std::vector<ChosenJ> chosen_;  // ascending J
    std::vector<Group> groups_;
    std::vector<int> list_of_J_;
    std::vector<int> irregular_;
    int max_J_ = 0;
    OperatorBands operators_;
    Array<double> vectors_;         // of the groups
    Array<double> all_[kTogether];  // all vectors of a J, where it is solved as a whole
    Array<double> d_, e_;           // the Hamiltonian of a J
    Array<double> lanes_d_, lanes_e2_, values_;  // its blocks side by side; all their eigenvalues
    Array<double> room_;
    LaneMatrices matrices_;
    std::vector<Open> open_;
    std::vector<double> shifts_;
    std::vector<LaneCounts> counts_;
};

}  // namespace kiv
