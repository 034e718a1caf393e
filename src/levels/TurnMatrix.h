// Matrix of a turn about y over |J,K>, J after J.
#pragma once

#include <cstddef>

#include "kiv/array.h"
#include "kiv/error.h"

namespace kiv {

/// R(m,k) = <J,m| exp(i theta Py) |J,k> = d^J_mk(-theta), Wigner's reduced rotation matrix; real.
///
/// From J to J + 1 in two steps of 1/2, each of which couples the spin 1/2 to the angular momentum
/// before: sums of four products with Clebsch-Gordan coefficients, in which no error can grow,
/// whatever theta and J are. Source: T. Risbo, J. Geodesy 70, 383 (1996).
class TurnMatrix {
  public:
    /// Has room for J = 0..max_J. False: no memory.
    bool Fit(const Memory& memory, int max_J);

    /// Starts at J = 0 with the cosine and the sine of theta / 2.
    void Begin(double half_cos, double half_sin);

    /// Makes J, no lower than before, the one at hand.
    void Load(int J);

    /// R(-J,k), R(-J + 1,k), .. R(J,k).
    const double* Column(int k) const { return matrix_[0].data() + ColumnStart(k + J_); }

  private:
    std::ptrdiff_t ColumnStart(int b) const;
    void Raise(const Array<double>& from, Array<double>& to, int n);

    double cos_ = 1.0, sin_ = 0.0;  // of theta / 2
    int max_J_ = 0, J_ = 0;
    Array<double> matrix_[2];    // of J, of J + 1/2: columns amid zeros
    Array<double> root_, back_;  // sqrt(i); sqrt(n - i) of the step at hand
};

}  // namespace kiv
