#include "hamiltonian/Levels.h"

#include <algorithm>
#include <cmath>

#include "output/Listings.h"

namespace {

constexpr double kInertia = 505379.0765;  // amu A^2 MHz: h / (8 pi^2), as used with these constants

std::size_t LevelCount() {
    return static_cast<std::size_t>(Kiv.Max_J + 1) * static_cast<std::size_t>(Kiv.Max_J + 1);
}

template <class T>
void CopyPart(KivArray<T> (&arr)[2], std::size_t num) {
    std::copy_n(arr[ST_GND].Data(), num, arr[ST_EXC].Data());
}

int KaOfRank(int r) { return (r + 1) / 2; }
int KcOfRank(int J, int r) { return J - r / 2; }

// The block whose lowest remaining level comes next: the lowest energy, but of levels that agree
// in energy the one whose characters are those of the label `odd`.
int NextBlock(const HamScratch& s, const int* next, std::uint8_t odd, double tie) {
    int lowest = -1;
    const auto head = [&](int b) { return s.Erg_Vec[s.First[b] + next[b]]; };
    for (int b = 0; b < s.Blocks.Num; ++b) {
        if (next[b] < s.Blocks.Block[b].N && (lowest < 0 || head(b) < head(lowest))) lowest = b;
    }
    for (int b = 0; b < s.Blocks.Num; ++b) {
        if (next[b] < s.Blocks.Block[b].N && s.Blocks.Block[b].Odd == odd &&
            head(b) <= head(lowest) + tie) {
            return b;
        }
    }
    return lowest;
}

}  // namespace

int CopyGroundState() {
    CopyPart(Kiv.HamErg_Vector, LevelCount());
    CopyPart(Kiv.Ka_Vector, LevelCount());
    CopyPart(Kiv.Kc_Vector, LevelCount());
    CopyPart(Kiv.Sym_Vector, LevelCount());
    if (Kiv.Dev_On == 1) {
        CopyPart(Kiv.HamDev_Vector, LevelCount() * static_cast<std::size_t>(Kiv.Num_Dev[ST_GND]));
    }
    Kiv.Sym_Kept[ST_EXC] = Kiv.Sym_Kept[ST_GND];
    return 1;
}

void SetAsymmetry(int state) {
    const double A = Kiv.Prm_Val[state][PRM_A];
    const double B = Kiv.Prm_Val[state][PRM_B];
    const double C = Kiv.Prm_Val[state][PRM_C];
    Kiv.Kappa[state] = A == C ? 0.0 : (2 * B - A - C) / (A - C);
    const bool any_zero = A == 0.0 || B == 0.0 || C == 0.0;
    Kiv.Inertial_Defect[state] = any_zero ? 0.0 : kInertia * (1 / C - 1 / B - 1 / A);
}

void RankLevels(int state, int J, HamScratch& s) {
    const int n = 2 * J + 1;
    const std::size_t level = static_cast<std::size_t>(J) * J;
    const std::uint8_t kept = KeptRotations(state);
    Kiv.Sym_Kept[state] = kept;
    double largest = 0.0;
    for (int q = 0; q < n; ++q) largest = std::max(largest, std::fabs(s.Erg_Vec[q]));
    int next[kMaxBlocks] = {};
    for (int r = 0; r < n; ++r) {
        const int ka = KaOfRank(r), kc = KcOfRank(J, r);
        const int b = NextBlock(s, next, LabelOdd(kept, ka, kc), kLevelTie * largest);
        const int place = s.First[b] + next[b]++;
        s.Rank_Vec[r] = place;
        Kiv.HamErg_Vector[state][level + r] = s.Erg_Vec[place];
        Kiv.Ka_Vector[state][level + r] = static_cast<std::int16_t>(ka);
        Kiv.Kc_Vector[state][level + r] = static_cast<std::int16_t>(kc);
        Kiv.Sym_Vector[state][level + r] = s.Blocks.Block[b].Odd;
    }
}

void ListEnergies(int state, int J) {
    if (J < Kiv.Erg_Print_J_Min || J > Kiv.Erg_Print_J_Max) return;
    const std::size_t level = static_cast<std::size_t>(J) * J;
    PrntEigErg(J, &Kiv.Ka_Vector[state][level], &Kiv.Kc_Vector[state][level],
               &Kiv.HamErg_Vector[state][level]);
}
