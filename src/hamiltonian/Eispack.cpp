#include "hamiltonian/Eispack.h"

#include <algorithm>
#include <cmath>

#include "run/Simd.h"

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

// Consecutive rotations of a QL sweep, from column M downward: rotation q turns columns M-1-q and
// M-q. A sweep longer than a stretch is applied in several.
constexpr int kStretch = 256;

struct Sweep {
    int M = 0;
    int Num = 0;
    double C[kStretch];
    double S[kStretch];
};

// Rows k..k+4*W-1 of z through the rotations; the column that the next rotation also needs stays
// in registers.
template <int W>
KIV_INLINE void SweepRows(const MatView& z, int k, const Sweep& sweep) {
    Vec4 carry[W];
    double* col = z.Col(sweep.M) + k;
    for (int w = 0; w < W; ++w) LoadVec(carry[w], col + 4 * w);
    for (int q = 0; q < sweep.Num; ++q) {
        const double c = sweep.C[q], s = sweep.S[q];
        double* above = col;
        col -= z.Ld;
        for (int w = 0; w < W; ++w) {
            Vec4 zi;
            LoadVec(zi, col + 4 * w);
            StoreVec(above + 4 * w, s * zi + c * carry[w]);
            carry[w] = c * zi - s * carry[w];
        }
    }
    for (int w = 0; w < W; ++w) StoreVec(col + 4 * w, carry[w]);
}

KIV_INLINE void SweepRow(const MatView& z, int k, const Sweep& sweep) {
    double* col = z.Col(sweep.M) + k;
    double carry = *col;
    for (int q = 0; q < sweep.Num; ++q) {
        const double c = sweep.C[q], s = sweep.S[q];
        double* above = col;
        col -= z.Ld;
        *above = s * *col + c * carry;
        carry = c * *col - s * carry;
    }
    *col = carry;
}

KIV_INLINE void ApplySweepBody(const MatView& z, int n, const Sweep& sweep) {
    int k = 0;
    for (; k + 16 <= n; k += 16) SweepRows<4>(z, k, sweep);
    for (; k + 4 <= n; k += 4) SweepRows<1>(z, k, sweep);
    for (; k < n; ++k) SweepRow(z, k, sweep);
}

void ApplySweepBase(const MatView& z, int n, const Sweep& sweep) { ApplySweepBody(z, n, sweep); }

#ifdef KIV_HAVE_AVX2
KIV_TARGET_AVX2 void ApplySweepAvx2(const MatView& z, int n, const Sweep& sweep) {
    ApplySweepBody(z, n, sweep);
}
#endif

void ApplySweep(const MatView& z, int n, const Sweep& sweep) {
#ifdef KIV_HAVE_AVX2
    if (CpuHasAvx2()) return ApplySweepAvx2(z, n, sweep);
#endif
    ApplySweepBase(z, n, sweep);
}

// One shifted QL transformation of rows l..m of (d, e) and of the columns of z. Returns the shift,
// which is already taken off d[l..n-1].
double QlStep(int l, int m, int n, double* d, double* e, const MatView& z, Sweep& sweep) {
    double g = d[l - 1];
    double p = (d[l] - g) / (2.0 * e[l - 1]);
    double r = std::sqrt(p * p + 1.0);
    d[l - 1] = e[l - 1] / (p + SignTransfer(r, p));
    double h = g - d[l - 1];
    const double shift = h;
    for (int i = l + 1; i <= n; ++i) d[i - 1] -= h;
    p = d[m - 1];
    double c = 1.0, s = 0.0;
    sweep.M = m;
    sweep.Num = 0;
    for (int i = m - 1; i >= l; --i) {
        const double ei = e[i - 1], di = d[i - 1];
        g = c * ei;
        h = c * p;
        if (std::fabs(p) >= std::fabs(ei)) {
            c = ei / p;
            r = std::sqrt(c * c + 1.0);
            e[i] = s * p * r;
            s = c / r;
            c = 1.0 / r;
        } else {
            c = p / ei;
            r = std::sqrt(c * c + 1.0);
            e[i] = s * ei * r;
            s = 1.0 / r;
            c = c * s;
        }
        p = c * di - s * g;
        d[i] = h + s * (c * g + s * di);
        sweep.C[sweep.Num] = c;
        sweep.S[sweep.Num] = s;
        if (++sweep.Num == kStretch) {
            ApplySweep(z, n, sweep);
            sweep.M = i;
            sweep.Num = 0;
        }
    }
    if (sweep.Num > 0) ApplySweep(z, n, sweep);
    e[l - 1] = s * p;
    d[l - 1] = c * p;
    return shift;
}

// Ascending order by straight selection: the first of equal values wins.
void SortEigen(const MatView& z, int n, double* d) {
    for (int i = 1; i < n; ++i) {
        int k = i;
        for (int j = i + 1; j <= n; ++j) {
            if (d[j - 1] < d[k - 1]) k = j;
        }
        if (k == i) continue;
        std::swap(d[i - 1], d[k - 1]);
        std::swap_ranges(z.Col(i), z.Col(i) + n, z.Col(k));
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

int tql2(int nm, int n, double* d, double* e, double* z_block, int* ierr) {
    *ierr = 0;
    if (n == 1) return 0;
    const MatView z{z_block, nm};
    Sweep sweep;
    for (int i = 2; i <= n; ++i) e[i - 2] = e[i - 1];
    e[n - 1] = 0.0;
    double f = 0.0, b = 0.0;
    for (int l = 1; l <= n; ++l) {
        const double h = kQlTolerance * (std::fabs(d[l - 1]) + std::fabs(e[l - 1]));
        if (b < h) b = h;
        int m = l;
        while (m < n && !(std::fabs(e[m - 1]) <= b)) ++m;
        if (m != l) {
            int iterations = 0;
            do {
                if (iterations == kQlMaxIterations) {
                    *ierr = l;
                    return 0;
                }
                ++iterations;
                f += QlStep(l, m, n, d, e, z, sweep);
            } while (std::fabs(e[l - 1]) > b);
        }
        d[l - 1] += f;
    }
    SortEigen(z, n, d);
    return 0;
}
