// What is chosen of the levels of one J.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "levels/LevelVectors.h"
#include "linalg/Eigenpair.h"

namespace kiv {

/// A level by its energy rank and the levels before it there.
struct ChosenLevel {
    int rank = -1;        // -1: none
    LaneCounts before{};  // labels of each block with a lower rank
};

/// A level of each block, as far as there is one.
struct ChosenGroup {
    std::array<ChosenLevel, kPairLanes> level{};
    LaneValues energy{};         // of the constants that the vectors are of
    LaneValues gap{};            // to the next level of the block, roughly
    std::ptrdiff_t vectors = 0;  // place of their vectors among those of all groups
};

/// What a J is solved from: the eigenvalues of its blocks, the last vectors, or as a whole.
enum class ChosenStart : std::uint8_t { Values, Vectors, Whole };

struct ChosenJ {
    int J = 0;
    LevelBlocks blocks;
    std::size_t first_group = 0, end_group = 0;
    ChosenStart start = ChosenStart::Values;
    double* values = nullptr;         // of the blocks in lanes, when it starts from them
    bool has_ranks = false;           // its levels are known to have the ranks of their labels
    bool vectors_have_ranks = false;  // so they are at the constants that the vectors are of
    double tie = 0.0;                 // within which levels have no order of their own there
};

inline int KaOfRank(int rank) { return (rank + 1) / 2; }
inline int KcOfRank(int J, int rank) { return J - rank / 2; }

}  // namespace kiv
