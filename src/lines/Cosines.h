// Direction-cosine factors of the line amplitudes: they depend on J, the branch and K alone.
//
// J'' is the lower J; P, Q, R lead to J' = J''-1, J'', J''+1. The factors stand, for J'' = 0, 1,
// ... max_J, as the P, Q and R part of each J'', in triples by ascending K (K' in P, K in Q, K'' in
// R): P 6J''-3, Q 6J''+1, R 6J''+3 numbers; J'' = 0 has the R part alone. The R part of max_J is
// zero. Source: P. C. Cross, R. M. Hainer, G. W. King, J. Chem. Phys. 12, 210 (1944).
#pragma once

#include <cstdint>

#include "kiv/array.h"
#include "kiv/error.h"
#include "kiv/threads.h"

namespace kiv {

/// Numbers for `max_J`: 3 + sum over J = 1..max_J of (18 J + 1).
constexpr std::int64_t CosineLength(std::int64_t max_J) {
    return 3 + max_J * (9 * (max_J + 1) + 1);
}

/// Place of the first number of J''.
constexpr std::int64_t CosineOffset(std::int64_t J) { return J == 0 ? 0 : CosineLength(J - 1); }

struct Cosines {
    int max_J = -1;
    Array<double> factor;

    /// Fills the factors for `highest_J` unless they are there, on threads where there are some.
    /// NoMemory.
    Status Fill(const Memory& memory, int highest_J, Threads* threads = nullptr);

    /// Place of the first number of a branch.
    static std::int64_t BranchOffset(int J_lower, int J_upper);

    /// The factor of |J'',K''> with |J',K'|, K'' - K' = -1, 0, 1; 0 for any other pair.
    double At(int J_lower, int K_lower, int J_upper, int K_upper) const;
};

/// The factors of one branch by the upper component K' = k - J': `level` couples K'' = K', `up`
/// K'' = K' + 1, `down` K'' = K' - 1; 0 where there is no such K''. The amplitude sums are
///
///     Sa = sum_K' level c''(K') c'(K')
///     Sb = sum_K' [up c''(K'+1) - down c''(K'-1)] c'(K')
///     Sc = sum_K' [up c''(K'+1) + down c''(K'-1)] c'(K')
struct BranchFactors {
    Array<double> level, up, down;

    /// Fills the factors, whose arrays have room for 2J'+1 numbers, for J'' -> J'.
    void Fill(const Cosines& cosines, int J_lower, int J_upper);
};

}  // namespace kiv
