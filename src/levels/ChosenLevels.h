// Some levels of one state, solved without the others.
//
// Where the blocks of a state are tridiagonal, the first solution is that of all levels; from then
// on the eigenvectors of the chosen ones are followed as the constants change, each improved from
// the last one by itself. Counts of the eigenvalues below it in all blocks of its J say whether it
// is the level of its label; where that is not certain, the J is solved as a whole.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kiv/levels.h"
#include "levels/Solution.h"
#include "linalg/Eigenpair.h"

namespace kiv {

class ChosenLevels {
  public:
    /// True for real Hamiltonians that keep all two-fold rotations and have tridiagonal blocks.
    static bool CanSolve(const Hamiltonian& H);

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
    // A level by its energy rank, its block and the levels before it there, and its vector.
    struct Chosen {
        int rank = 0, block = 0;
        std::array<int, kMaxBlocks> before{};  // labels of each block with a lower rank
        std::int64_t vector = 0;               // place in vectors_
    };
    struct ChosenJ {
        int J = 0;
        std::vector<Chosen> levels;
        bool has_vectors = false;
    };
    struct Bounds {
        double least = 0.0, most = 0.0;  // of the largest energy of a J in size
    };

    Status Fit(const Memory& memory, std::int64_t numbers);
    Bounds LayOut(const BlockScratch& s);
    bool IsItself(const Chosen& level, double energy, const Bounds& bounds) const;
    bool Follow(const Hamiltonian& H, const ChosenJ& of_J, BlockScratch& s, Levels& levels);
    void Take(const Hamiltonian& H, const double* vectors, BlockScratch& s, ChosenJ& of_J,
              Levels& levels);
    void SolveWhole(const Hamiltonian& H, std::span<ChosenJ* const> wanted, LevelScratch& scratch,
                    Levels& levels);

    std::vector<ChosenJ> chosen_;  // ascending J
    std::vector<int> irregular_;
    int max_J_ = 0;
    Array<double> vectors_;            // of the chosen levels
    Array<double> all_[kTogether];     // all vectors of a J
    Array<double> diagonal_, square_;  // of the blocks, see CountedMatrices
    Array<double> pivots_;
    CountedMatrices counted_;
};

}  // namespace kiv
