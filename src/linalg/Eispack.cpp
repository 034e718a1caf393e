#include "linalg/Eispack.h"

#include <cmath>

namespace kiv {
namespace {

// Column-major matrix with the 1-based indices of the published algorithms.
struct MatView {
    double* P;
    int Ld;
    double& operator()(int i, int j) const { return P[static_cast<long>(j - 1) * Ld + (i - 1)]; }
    double* Col(int j) const { return &(*this)(1, j); }
};

// One Householder step on row i of the reduction: eliminates z(i,1..i-2), leaving u/h in column i
// and the rank-two update done on the leading block. Returns h.
double HouseholderStep(const MatView& z, int i, double* d, double* e) {
    const int l = i - 1;
    double scale = 0.0;
    if (l >= 2) {
        for (int k = 1; k <= l; ++k) scale += std::fabs(z(i, k));
    }
    if (l < 2 || scale == 0.0) {
        e[i - 1] = z(i, l);
        return 0.0;
    }
    double h = 0.0;
    double* u = d;  // d[0..l-1] is free until the transformations are accumulated
    for (int k = 1; k <= l; ++k) {
        u[k - 1] = z(i, k) / scale;
        h += u[k - 1] * u[k - 1];
    }
    double f = u[l - 1];
    const double g = -SignTransfer(std::sqrt(h), f);
    e[i - 1] = scale * g;
    h -= f * g;
    u[l - 1] = f - g;
    // p = A u, by columns of the lower triangle
    for (int j = 0; j < l; ++j) e[j] = 0.0;
    for (int j = 1; j <= l; ++j) {
        const double* col = z.Col(j);
        const double uj = u[j - 1];
        double sum = e[j - 1] + col[j - 1] * uj;
        for (int k = j + 1; k <= l; ++k) {
            sum += col[k - 1] * u[k - 1];
            e[k - 1] += col[k - 1] * uj;
        }
        e[j - 1] = sum;
    }
    f = 0.0;
    for (int j = 0; j < l; ++j) {
        e[j] /= h;
        f += e[j] * u[j];
    }
    const double hh = f / (h + h);
    for (int j = 0; j < l; ++j) e[j] -= hh * u[j];
    for (int k = 1; k <= l; ++k) {
        double* col = z.Col(k);
        const double uk = u[k - 1], ek = e[k - 1];
        for (int j = k; j <= l; ++j) col[j - 1] -= u[j - 1] * ek + e[j - 1] * uk;
    }
    for (int k = 1; k <= l; ++k) z(k, i) = u[k - 1] / h;
    return h;
}

// Applies the stored Householder vector of step i (u/h in column i) to columns 1..i-1.
void AccumulateStep(const MatView& z, int i, double h) {
    const int l = i - 1;
    const double* scaled = z.Col(i);
    for (int j = 1; j <= l; ++j) {
        double* col = z.Col(j);
        double g = 0.0;
        for (int k = 1; k <= l; ++k) g += scaled[k - 1] * col[k - 1];
        g *= h;
        for (int k = 1; k <= l; ++k) col[k - 1] -= g * scaled[k - 1];
    }
}

}  // namespace

void tred2(int nm, int n, const double* a, double* d, double* e, double* z_block) {
    const MatView z{z_block, nm};
    if (a != z_block) {
        for (int j = 0; j < n; ++j) {
            for (int i = j; i < n; ++i)
                z_block[static_cast<long>(j) * nm + i] = a[static_cast<long>(j) * nm + i];
        }
    }
    for (int i = n; i >= 2; --i) {
        const double h = HouseholderStep(z, i, d, e);
        d[i - 1] = h;
    }
    d[0] = 0.0;
    e[0] = 0.0;
    for (int i = 1; i <= n; ++i) {
        if (d[i - 1] != 0.0) AccumulateStep(z, i, d[i - 1]);
        d[i - 1] = z(i, i);
        z(i, i) = 1.0;
        for (int j = 1; j < i; ++j) z(i, j) = z(j, i) = 0.0;
    }
}

}  // namespace kiv
