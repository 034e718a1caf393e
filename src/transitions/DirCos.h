// Direction-cosine factors of the line amplitudes: they depend on J, the branch and K alone.
//
// J'' is the lower J; P, Q, R lead to J' = J''-1, J'', J''+1. Kiv.cg_vec holds, for J'' = 0, 1, ...
// Max_J, the P, Q and R part of each J'', in triples by ascending K (K' in P, K in Q, K'' in R):
// P 6J''-3, Q 6J''+1, R 6J''+3 numbers; J'' = 0 has the R part alone. The R part of Max_J is zero.
// Source: P. C. Cross, R. M. Hainer, G. W. King, J. Chem. Phys. 12, 210 (1944).
#pragma once

#include <cstdint>

#include "run/KivArray.h"

/// Fills Kiv.cg_vec for Kiv.Max_J. 1, or 0 when memory is exhausted (message in the log).
int CgMakeFile();

/// Numbers in Kiv.cg_vec for `max_J`: 3 + sum over J = 1..max_J of (18 J + 1).
constexpr std::int64_t CgLength(std::int64_t max_J) { return 3 + max_J * (9 * (max_J + 1) + 1); }

/// Place of the first number of J''.
constexpr std::int64_t CgOffset(std::int64_t J) { return J == 0 ? 0 : CgLength(J - 1); }

/// Copies the block of J'' into the nine vectors ap_cg_vec .. cr_cg_vec.
void CgUnpack(int J);

/// The factors of one branch by the upper component K' = k - J': Level couples K'' = K', Up
/// K'' = K' + 1, Down K'' = K' - 1; 0 where there is no such K''. The amplitude sums are
///
///     Sa = sum_K' Level c''(K') c'(K')
///     Sb = sum_K' [Up c''(K'+1) - Down c''(K'-1)] c'(K')
///     Sc = sum_K' [Up c''(K'+1) + Down c''(K'-1)] c'(K')
struct BranchFactors {
    KivArray<double> Level, Up, Down;
};

/// Fills `factors` (sized for 2 Max_J + 1) for J'' -> J' from the nine vectors of J''.
void FillBranch(int J_lower, int J_upper, BranchFactors& factors);
