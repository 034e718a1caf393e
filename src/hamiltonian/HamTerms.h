// The terms of the rotor Hamiltonian: one table that the matrices and the derivatives both read.
//
// Basis |J,K>, axes x = b, y = c, z = a, angular momentum in units of hbar. A row gives the
// element <J,K+Dk|Op|J,K> as Factor(J,K) * LadderRoot(J,K,Dk). An imaginary row stands for
// +i * element at <K|Op|K+Dk> and -i * element at <K+Dk|Op|K>.
#pragma once

#include <cstdint>
#include <span>

/// Ladder root, the K-dependence shared by all elements <J,K+d|H|J,K>.
///
///     s_d(J,K) = sqrt( prod_{m=0}^{d-1} [J(J+1) - (K+m)(K+m+1)] )
///
/// d = 0..4, K = -J..J-d; dimensionless. s_0 = 1, s_1(J,-J) = sqrt(2J).
/// Source: G. W. King, R. M. Hainer, P. C. Cross, J. Chem. Phys. 11, 27 (1943).
double LadderRoot(int J, int K, int d);

enum class Reduction : std::uint8_t { Any, A, S };

struct HamTerm {
    int Prm;                            // constant that multiplies the operator
    int Dk;                             // step in K
    bool Imag;                          // an imaginary element
    bool Complex_Only;                  // left out of the real variant
    Reduction Red;                      // only in this reduction
    std::uint8_t Keeps;                 // two-fold rotations that leave the operator unchanged
    double (*Factor)(double X, int K);  // X = J(J+1)
};

/// All terms but A, B, C, in the order of summation; the rows of one constant stand together.
/// Source: J. K. G. Watson, in Vibrational Spectra and Structure 6, ed. J. R. Durig (Elsevier,
/// 1977), for the quartic distortion; symmetrised products of P for the others.
std::span<const HamTerm> HamTerms();

/// The widest step in K of any term.
constexpr int kMaxDk = 4;

/// True when the terms of `prm` take part in the matrix of `state`: switched on, or a cross term
/// that the Euler rotation produced.
bool IsTermOn(int state, int prm);

/// True when `term` enters the matrix of `state` in the variant of this run.
bool IsTermUsed(int state, const HamTerm& term);

/// The two-fold rotations kept by the Hamiltonian of `state`. A term whose constant is exactly 0
/// leaves the matrix as it is and so breaks nothing.
std::uint8_t KeptRotations(int state);
