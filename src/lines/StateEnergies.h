// Energies of a state, one J after the other, without eigenvectors, and sums over them.
#pragma once

#include <array>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "kiv/array.h"
#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/workspace.h"
#include "levels/LevelScratch.h"
#include "linalg/Eigenpair.h"
#include "lines/BlockRows.h"

namespace kiv {

/// Energies above which levels of a J need not come out: `highest` + kT ln(2J + 1)^2, rounded up.
struct EnergyLimit {
    double highest = std::numeric_limits<double>::infinity();
    double kT = 0.0;

    double Of(int J) const;
};

/// No less than ln(x), by no more than ln 2; the same on every machine.
double UpperLog(double x);

/// What is kept of a J.
struct EnergySum {
    double lowest = 0.0;
    double sum = 0.0;
};

class StateEnergies {
  public:
    /// What is summed up of the energies of a J, on any thread.
    using SumOf = std::function<double(int J, std::span<const double> energies)>;

    /// `known`: levels of the state, whose energies are taken as they are; null: none are. Energies
    /// are ascending only when `sorted`. Those that follow known ones may differ in their last bits
    /// from those of a state of which none are known.
    StateEnergies(const State& state, const Levels* known, bool sorted, SumOf sum_of,
                  Workspace& work);

    /// The sum over the 2J + 1 energies of J = 0, 1 .. in turn. NoMemory.
    ///
    /// With a limit there may be fewer: of those above it some are left out, and the others may
    /// stand too high. Those up to the limit, and the lowest one, are off by no more than 1e-15 kT
    /// times their number.
    Result<EnergySum> Of(int J);

    /// For the J beyond those of `known`; nothing otherwise.
    void Limit(const EnergyLimit& limit) { limit_ = limit; }

    /// Highest J at which terms linear in P can still let the lowest level fall.
    double last_fall() const;

  private:
    static constexpr int kAtOnce = 4;  // J that a thread solves side by side

    // Of a part that a thread solves.
    struct Room {
        int max_J = -1;
        BlockRows rows[kAtOnce];  // of tridiagonal blocks, which need no scratch
        BlockScratch scratch;
        Array<double> matrix;             // of a block
        Array<double> lanes_d, lanes_e2;  // of the blocks of each J
    };

    void SumKnown();
    Status SolveFrom(int J);
    void Sum(int J, std::span<const double> energies);
    void SumSolved(int J, std::size_t num);
    double* EnergiesOf(int J);
    Status FitRooms(int parts, int last_J, int room_J);
    Status Fit(int max_J, Room& room);
    void SolveSome(int first_J, Room& room);
    void SolveRows(int first_J, Room& room);
    void PutInLanes(Room& room, const LaneMatrices& set);
    double PutInLane(int b, Room& room, const LaneMatrices& set);
    void Reduce(int b, Room& room);

    TurnedState turned_;
    Hamiltonian H_;
    const Levels* known_;
    bool sorted_;
    SumOf sum_of_;
    bool has_rows_;  // the blocks are tridiagonal, and levels are known
    EnergyLimit limit_;
    Workspace& work_;
    std::vector<Room> rooms_;        // by part
    int first_J_ = 0, last_J_ = -1;  // of those summed last
    std::vector<double> energies_;   // theirs, unless they were known
    std::vector<EnergySum> sums_;
};

}  // namespace kiv
