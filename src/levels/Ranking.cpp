#include "levels/Ranking.h"

#include <algorithm>
#include <cmath>

namespace kiv {
namespace {

int KaOfRank(int r) { return (r + 1) / 2; }
int KcOfRank(int J, int r) { return J - r / 2; }

// The block whose lowest remaining level comes next: the lowest energy, but of levels that agree
// in energy the one whose characters are those of the label `odd`.
int NextBlock(const BlockScratch& s, const int* next, std::uint8_t odd, double tie) {
    int lowest = -1;
    const auto head = [&](int b) { return s.energies[s.first[b] + next[b]]; };
    for (int b = 0; b < s.blocks.num; ++b) {
        if (next[b] < s.blocks.block[b].N && (lowest < 0 || head(b) < head(lowest))) lowest = b;
    }
    for (int b = 0; b < s.blocks.num; ++b) {
        if (next[b] < s.blocks.block[b].N && s.blocks.block[b].odd == odd &&
            head(b) <= head(lowest) + tie) {
            return b;
        }
    }
    return lowest;
}

}  // namespace

void SetSymmetry(const Hamiltonian& H, Levels& levels) {
    levels.kept = H.KeptRotations();
    levels.own_rotation = {kC2a, kC2b, kC2c};
}

void RankLevels(const Hamiltonian& H, int J, BlockScratch& s, Levels& levels) {
    const int n = 2 * J + 1;
    const std::size_t level = Levels::Index(J, 0);
    const std::uint8_t kept = H.KeptRotations();
    double largest = 0.0;
    for (int q = 0; q < n; ++q) largest = std::max(largest, std::fabs(s.energies[q]));
    int next[kMaxBlocks] = {};
    for (int r = 0; r < n; ++r) {
        const int ka = KaOfRank(r), kc = KcOfRank(J, r);
        const int b = NextBlock(s, next, LabelOdd(kept, ka, kc), kLevelTie * largest);
        const int place = s.first[b] + next[b]++;
        s.rank_place[r] = place;
        levels.energy[level + r] = s.energies[place];
        levels.ka[level + r] = static_cast<std::int16_t>(ka);
        levels.kc[level + r] = static_cast<std::int16_t>(kc);
        levels.odd[level + r] = s.blocks.block[b].odd;
    }
}

}  // namespace kiv
