// The terms of the rotor Hamiltonian: one table that the matrices and the derivatives both read.
//
// Basis |J,K>, axes x = b, y = c, z = a, angular momentum in units of hbar. A row gives the
// element <J,K+dk|Op|J,K> as factor(J,K) * LadderRoot(J,K,dk). An imaginary row stands for
// +i * element at <K|Op|K+dk> and -i * element at <K+dk|Op|K>.
#pragma once

#include <cstdint>
#include <span>

#include "model/Frames.h"

namespace kiv {

/// Ladder root, the K-dependence shared by all elements <J,K+d|H|J,K>.
///
///     s_d(J,K) = sqrt( prod_{m=0}^{d-1} [J(J+1) - (K+m)(K+m+1)] )
///
/// d = 0..8, K = -J..J-d; dimensionless. s_0 = 1, s_1(J,-J) = sqrt(2J).
/// Source: G. W. King, R. M. Hainer, P. C. Cross, J. Chem. Phys. 11, 27 (1943).
double LadderRoot(int J, int K, int d);

/// The reductions in which a term exists.
enum class InReduction : std::uint8_t { Any, A, S };

struct HamTerm {
    Constant constant;                  // that multiplies the operator
    int dk;                             // step in K
    bool imaginary;                     // an imaginary element
    bool complex_only;                  // left out of real Hamiltonians
    InReduction reduction;              // only in this one
    std::uint8_t keeps;                 // two-fold rotations that leave the operator unchanged
    double (*factor)(double X, int K);  // X = J(J+1)
};

/// All terms but A, B, C, in the order of summation; the rows of one constant stand together.
/// Source: J. K. G. Watson, in Vibrational Spectra and Structure 6, ed. J. R. Durig (Elsevier,
/// 1977), for the quartic distortion; symmetrised products of P for the others.
std::span<const HamTerm> HamTerms();

/// The widest step in K of any term.
inline constexpr int kMaxDk = 8;

/// What is to be solved: a state with its constants in the axes of the basis, as a real or a
/// complex Hamiltonian. A real one leaves out PY, PXPY, PYPZ, PY3, PZ2PY and PY2PZ.
struct Hamiltonian {
    const TurnedState* state;
    bool is_complex = false;
    /// Derivatives by A, B, C of a turn that makes no cross term (by right angles) are those by the
    /// constants along the axes of the basis, as if the axes had been exchanged; that by a cross
    /// term of the state whose place the turn takes is that by the produced one instead of 0.
    bool exchanges_axes = false;

    double value(Constant c) const { return state->value[c]; }

    /// True when `term` enters the matrix.
    bool Uses(const HamTerm& term) const;

    /// The two-fold rotations that the matrix keeps. A term whose constant is exactly 0 leaves the
    /// matrix as it is and so breaks nothing.
    std::uint8_t KeptRotations() const;

    /// The element <J,K+dk|H|J,K>, dk = 0..8; of the real terms, or of the imaginary ones as they
    /// stand at <K|H|K+dk>.
    double Element(int J, int K, int dk, bool imaginary) const;
};

}  // namespace kiv
