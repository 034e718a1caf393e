// Energies of a state, one J after the other, without eigenvectors.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "kiv/array.h"
#include "kiv/levels.h"
#include "kiv/model.h"
#include "kiv/workspace.h"
#include "levels/LevelScratch.h"
#include "linalg/Eigenpair.h"

namespace kiv {

class StateEnergies {
  public:
    /// `known`: levels of the state, whose energies are taken as they are; null: none are. Energies
    /// are ascending only when `sorted`.
    StateEnergies(const State& state, const Levels* known, bool sorted, Workspace& work);

    /// The 2J + 1 energies of J = 0, 1 .. in turn; they stay until the next call. NoMemory.
    Result<std::span<const double>> Of(int J);

    /// Highest J at which terms linear in P can still let the lowest level fall.
    double last_fall() const;

  private:
    static constexpr int kAtOnce = 4;  // J that a thread solves side by side

    // Of a part that a thread solves.
    struct Room {
        int max_J = -1;
        BlockScratch scratch;
        Array<double> matrix;             // of a block
        Array<double> lanes_d, lanes_e2;  // of the blocks of each J
    };

    double* EnergiesOf(int J);
    Status SolveFrom(int J);
    Status FitRooms(int parts, int last_J, int room_J);
    Status Fit(int max_J, Room& room);
    void SolveSome(int first_J, Room& room);
    void PutInLanes(Room& room, const LaneMatrices& set);
    double PutInLane(int b, Room& room, const LaneMatrices& set);
    void Reduce(int b, Room& room);

    TurnedState turned_;
    Hamiltonian H_;
    const Levels* known_;
    bool sorted_;
    Workspace& work_;
    std::vector<Room> rooms_;        // by part
    int first_J_ = 0, last_J_ = -1;  // of those solved last
    std::vector<double> energies_;   // theirs
};

}  // namespace kiv
