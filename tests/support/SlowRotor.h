// Independent slow calculation of a rotor: operators by matrix products, levels by Jacobi
// rotations of the full matrix, line strengths by 3j symbols. Nothing is shared with the program.
//
// Basis |J,K>, molecule-fixed commutators [Px, Py] = -i Pz, so <K+1|Px - iPy|K> = s1. The
// program's basis is its complex conjugate, which changes no energy and no strength.
#pragma once

#include <array>
#include <complex>
#include <vector>

#include "kiv/model.h"

namespace kiv {

using Complex = std::complex<double>;

/// Square complex matrix, row by row.
struct SlowMatrix {
    int n = 0;
    std::vector<Complex> elements;

    explicit SlowMatrix(int size) : n(size), elements(static_cast<std::size_t>(size) * size) {}
    Complex& operator()(int i, int j) { return elements[static_cast<std::size_t>(i) * n + j]; }
    Complex operator()(int i, int j) const { return elements[static_cast<std::size_t>(i) * n + j]; }
};

SlowMatrix operator*(const SlowMatrix& a, const SlowMatrix& b);
SlowMatrix operator+(const SlowMatrix& a, const SlowMatrix& b);
SlowMatrix operator*(Complex x, const SlowMatrix& a);

/// The operator that multiplies the constant.
SlowMatrix SlowOperator(int J, Constant constant, Reduction reduction);

/// Levels of one J: energies ascending, vector r in column r.
struct SlowLevels {
    std::vector<double> energy;
    SlowMatrix vectors{0};
};

/// Direction cosines of turned axes, rows x, y, z, as a product of three elementary rotations.
std::array<std::array<double, 3>, 3> SlowAxes(const EulerAngles& angles);

/// The state with its A, B, C and cross terms in the axes of the basis, no tilt left.
State SlowTurn(const State& state);

/// Solves the sum of constant * operator over A, B, C and the constants that are switched on, in
/// the axes of the basis.
SlowLevels SlowSolve(int J, const State& state);

/// Eigenvalues and vectors of any Hermitian matrix.
SlowLevels SlowDiagonalise(const SlowMatrix& H);

/// Line strength times squared moment between two vectors for the moment (a, b, c) on the axes of
/// the basis: (2J'+1)(2J''+1) |sum (-1)^K' mu_q (J'' 1 J'; K'' q -K') conj(c'_K') c''_K''|^2.
double SlowStrength(int J_lower, const std::vector<Complex>& lower, int J_upper,
                    const std::vector<Complex>& upper, const std::array<double, 3>& moment);

/// Column `r` of the vectors.
std::vector<Complex> SlowVector(const SlowLevels& levels, int r);

}  // namespace kiv
