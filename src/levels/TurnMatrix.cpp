#include "levels/TurnMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "levels/LevelVectors.h"

namespace kiv {
namespace {

// Distance of the columns: one number before and one behind the elements is zero.
std::ptrdiff_t ColumnLd(int max_J) { return VecLd(2 * max_J + 3); }

// A column of zeros before and one behind those of the matrix.
std::ptrdiff_t Length(int max_J) { return (2 * max_J + 3) * ColumnLd(max_J); }

}  // namespace

bool TurnMatrix::Fit(const Memory& memory, int max_J) {
    max_J_ = max_J;
    const std::int64_t n = 2 * std::int64_t{max_J} + 1;
    for (Array<double>& matrix : matrix_) {
        if (!matrix.Fit(memory, Length(max_J))) return false;
    }
    return root_.Fit(memory, n) && back_.Fit(memory, n);
}

void TurnMatrix::Begin(double half_cos, double half_sin) {
    cos_ = half_cos;
    sin_ = half_sin;
    for (Array<double>& matrix : matrix_) std::fill_n(matrix.data(), Length(max_J_), 0.0);
    for (int i = 0; i <= 2 * max_J_; ++i) root_[static_cast<std::size_t>(i)] = std::sqrt(i);
    J_ = 0;
    matrix_[0].data()[ColumnStart(0)] = 1.0;
}

void TurnMatrix::Load(int J) {
    for (; J_ < J; ++J_) {
        Raise(matrix_[0], matrix_[1], 2 * J_ + 1);
        Raise(matrix_[1], matrix_[0], 2 * J_ + 2);
    }
}

std::ptrdiff_t TurnMatrix::ColumnStart(int b) const { return (b + 1) * ColumnLd(max_J_) + 1; }

// From the angular momentum (n - 1)/2 to n/2; the elements a, b = 0..n of the new matrix belong to
// m, k = a - n/2, b - n/2.
void TurnMatrix::Raise(const Array<double>& from, Array<double>& to, int n) {
    const double* const root = root_.data();
    double* const back = back_.data();
    for (int a = 0; a <= n; ++a) back[a] = root[n - a];
    for (int b = 0; b <= n; ++b) {
        const double* const left = from.data() + ColumnStart(b - 1);  // spin up in the column
        const double* const here = from.data() + ColumnStart(b);      // spin down
        const double up_up = cos_ * root[b] / n, up_down = sin_ * back[b] / n;
        const double down_down = cos_ * back[b] / n, down_up = -sin_ * root[b] / n;
        double* const out = to.data() + ColumnStart(b);
        for (int a = 0; a <= n; ++a) {
            out[a] = root[a] * (up_up * left[a - 1] + up_down * here[a - 1]) +
                     back[a] * (down_down * here[a] + down_up * left[a]);
        }
    }
}

}  // namespace kiv
