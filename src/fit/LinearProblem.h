// The linear least-squares problem of one cycle of a fit.
//
// Rows are derivatives over uncertainties, the right side misfits over uncertainties. Columns are
// scaled to unit length, so that singular values say how well the constants can be told apart,
// whatever their units. They are those of the triangle R of A = Q R, which is as small as the
// number of constants.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "kiv/array.h"
#include "kiv/error.h"
#include "linalg/Qr.h"

namespace kiv {

class LinearProblem {
  public:
    /// Begins one of `rows` rows, all of which are to be set, and `parameters` columns. NoMemory.
    Status Begin(const Memory& memory, std::size_t rows, std::size_t parameters);

    /// Row i: derivatives and the sizes of what they are sums of.
    void SetRow(std::size_t i, const double* derivatives, const double* sizes, double uncertainty);

    /// Its right side: obs - calc.
    void SetMisfit(std::size_t i, double misfit, double uncertainty) {
        right_[i] = misfit / uncertainty;
    }

    /// Decomposes the matrix and holds the parameters that it leaves undetermined: of each null
    /// vector the one with a large component that comes first in `to_hold`, which holds the numbers
    /// of all parameters. NoMemory; NotConverged when the rows are not finite.
    Status Decompose(std::span<const std::size_t> to_hold, const Memory& memory);

    /// Projects the right sides on what was decomposed.
    void Project();

    struct Held {
        std::size_t parameter;
        std::vector<std::size_t> tied_to;  // the others of its null vector
    };
    const std::vector<Held>& held() const { return held_; }
    std::size_t rank() const { return active_.size(); }

    /// Largest over smallest singular value; 1 when everything is held.
    double condition() const { return condition_; }

    /// A step and what the linear problem makes of it.
    struct Step {
        std::vector<double> change;  // of each parameter, 0 for those held
        bool is_whole = true;        // the solution
        double length = 0.0;         // in the scaled parameters
        double decrease = 0.0;       // of chi-square
        double effect = 0.0;         // root of the squared changes of the rows
    };

    /// The solution, or the best step of `radius` when it is longer: s = V w c / (w^2 + lambda),
    /// c = (Q U)^T b. Source: J. J. More, in Numerical Analysis, Lecture Notes in Mathematics 630
    /// (Springer, 1978).
    Step Solve(double radius) const;

    /// F with C = F F^T, C being the covariance: element of a parameter and of a singular value.
    double Root(std::size_t parameter, std::size_t value) const;

    /// Diagonal of the hat matrix, row by row.
    std::vector<double> Leverages() const;

  private:
    Status DecomposeActive(const Memory& memory);
    void HoldNullVector(std::size_t value, std::span<const std::size_t> to_hold);
    double Tolerance() const;
    double V(std::size_t place, std::size_t value) const {
        return v_[(value + 1) * (active_.size() + 1) + place + 1];
    }

    std::size_t rows_ = 0;  // as many as there are columns at least, rows of 0 at the end
    std::size_t parameters_ = 0;
    Array<double> matrix_;      // column by column
    std::vector<double> size_;  // squared, of what the columns are sums of
    std::vector<double> length_;
    std::vector<double> right_;
    std::vector<std::size_t> active_;  // parameters that are not held
    std::vector<Held> held_;
    QrFactors factors_;          // of the active columns
    Array<double> u_, v_, w_;    // R = U diag(w) V^T; the published routines count from 1
    std::vector<double> along_;  // (Q U)^T b
    double condition_ = 1.0;
};

}  // namespace kiv
