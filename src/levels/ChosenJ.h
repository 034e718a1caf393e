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
    int rank = 0;
    std::array<int, kMaxBlocks> before{};  // labels of each block with a lower rank
};

/// Levels of one block in lanes; those that are left over repeat the first one.
struct ChosenGroup {
    int block = 0, num = 0;
    std::array<ChosenLevel, kPairLanes> level{};
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
};

inline int KaOfRank(int rank) { return (rank + 1) / 2; }
inline int KcOfRank(int J, int rank) { return J - rank / 2; }

}  // namespace kiv
