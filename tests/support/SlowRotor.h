// Independent slow calculation of a rotor: operators by matrix products, levels by Jacobi
// rotations of the full matrix, line strengths by 3j symbols. Nothing is shared with the program.
//
// Basis |J,K>, molecule-fixed commutators [Px, Py] = -i Pz, so <K+1|Px - iPy|K> = s1. The
// program's basis is its complex conjugate, which changes no energy and no strength.
#pragma once

#include <complex>
#include <vector>

#include "run/KivRecord.h"

using Complex = std::complex<double>;

/// Square complex matrix, row by row.
struct SlowMatrix {
    int N = 0;
    std::vector<Complex> El;

    explicit SlowMatrix(int n) : N(n), El(static_cast<std::size_t>(n) * n) {}
    Complex& operator()(int i, int j) { return El[static_cast<std::size_t>(i) * N + j]; }
    Complex operator()(int i, int j) const { return El[static_cast<std::size_t>(i) * N + j]; }
};

SlowMatrix operator*(const SlowMatrix& a, const SlowMatrix& b);
SlowMatrix operator+(const SlowMatrix& a, const SlowMatrix& b);
SlowMatrix operator*(Complex x, const SlowMatrix& a);

/// The operator that multiplies constant `prm`, in the A or the S reduction.
SlowMatrix SlowOperator(int J, int prm, bool a_reduction);

/// Levels of one J: energies ascending, vector r in column r.
struct SlowLevels {
    std::vector<double> Erg;
    SlowMatrix Vec{0};
};

/// Solves the sum of constant * operator over the constants of `state` that are switched on.
SlowLevels SlowSolve(int J, int state);

/// Eigenvalues and vectors of any Hermitian matrix.
SlowLevels SlowDiagonalise(const SlowMatrix& H);

/// Line strength times squared moment between two vectors for the moment (a, b, c):
/// (2J'+1)(2J''+1) |sum (-1)^K' mu_q (J'' 1 J'; K'' q -K') conj(c'_K') c''_K''|^2.
double SlowStrength(int J_lower, const std::vector<Complex>& lower, int J_upper,
                    const std::vector<Complex>& upper, const double moment[3]);

/// Column `r` of the vectors.
std::vector<Complex> SlowVector(const SlowLevels& levels, int r);
