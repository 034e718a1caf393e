#include "linalg/Tridiagonal.h"

#include <algorithm>
#include <cmath>

#include "linalg/Eispack.h"

namespace kiv {
namespace {

constexpr double kZero = 1e-11;  // of the norm

double Norm(int n, const double* d, const double* e) {
    double norm = 0.0;
    for (int i = 0; i < n; ++i) {
        const double left = i > 0 ? std::fabs(e[i]) : 0.0;
        const double right = i + 1 < n ? std::fabs(e[i + 1]) : 0.0;
        norm = std::max(norm, std::fabs(d[i]) + left + right);
    }
    return norm;
}

// One QL step on rows l..m; e[i] is the square of the element between rows i and i + 1.
void Step(int l, int m, double* d, double* e) {
    const double root = std::sqrt(e[l]);
    const double half = (d[l + 1] - d[l]) / (2.0 * root);
    const double shift = d[l] - root / (half + SignTransfer(std::sqrt(half * half + 1.0), half));
    double c = 1.0, s = 0.0, gamma = d[m] - shift, p = gamma * gamma;
    for (int i = m - 1; i >= l; --i) {
        const double square = e[i], r = p + square;
        if (i != m - 1) e[i + 1] = s * r;
        const double old_c = c, old_gamma = gamma;
        c = p / r;
        s = square / r;
        gamma = c * (d[i] - shift) - s * old_gamma;
        d[i + 1] = old_gamma + (d[i] - gamma);
        p = c != 0.0 ? gamma * gamma / c : old_c * square;
    }
    e[l] = s * p;
    d[l] = shift + gamma;
}

}  // namespace

void TridiagonalValues(int n, double* d, double* e) {
    const double tolerance = kZero * Norm(n, d, e);
    for (int i = 0; i + 1 < n; ++i) e[i] = e[i + 1] * e[i + 1];
    for (int l = 0; l < n; ++l) {
        for (int iteration = 0; iteration < kQlMaxIterations; ++iteration) {
            int m = l;
            while (m + 1 < n && e[m] > tolerance * tolerance) ++m;
            if (m == l) break;
            Step(l, m, d, e);
        }
    }
}

}  // namespace kiv
