#include "linalg/Svd.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

using Index = std::int64_t;

constexpr Index kRowBlock = 64;  // rows handled together, so that they stay in the cache

// Times that the misfits of a solution are fitted again. The columns differ by the powers of J that
// they grow with, and the rounding of the largest, times the size of the data, falls on the
// smallest: without this the constants of a spectrum to J = 100 err by tens of their deviations.
constexpr int kRefinements = 2;

double WithSign(double size, double sign) {
    return sign >= 0.0 ? std::fabs(size) : -std::fabs(size);
}

// sqrt(a^2 + b^2) without overflow.
double Pythag(double a, double b) {
    const double big = std::max(std::fabs(a), std::fabs(b));
    const double small = std::min(std::fabs(a), std::fabs(b));
    if (big == 0.0) return 0.0;
    const double ratio = small / big;
    return big * std::sqrt(1.0 + ratio * ratio);
}

// Four sums side by side: faster than one, and the same on every processor.
double Dot(const double* x, const double* y, Index first, Index last) {
    double sum[4] = {};
    Index i = first;
    for (; i + 3 <= last; i += 4) {
        for (int lane = 0; lane < 4; ++lane) sum[lane] += x[i + lane] * y[i + lane];
    }
    for (; i <= last; ++i) sum[0] += x[i] * y[i];
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

void AddMultiple(double* y, double factor, const double* x, Index first, Index last) {
    for (Index i = first; i <= last; ++i) y[i] += factor * x[i];
}

void Scale(double* x, double factor, Index first, Index last) {
    for (Index i = first; i <= last; ++i) x[i] *= factor;
}

// (x, y) becomes (x c + y s, y c - x s).
void Rotate(double* x, double* y, double c, double s, Index first, Index last) {
    for (Index i = first; i <= last; ++i) {
        const double xi = x[i], yi = y[i];
        x[i] = xi * c + yi * s;
        y[i] = yi * c - xi * s;
    }
}

// One decomposition: the published steps, each a member function.
struct Decomposition {
    SvdMat a;
    Index m;
    int n;
    double* w;  // diagonal, at last the singular values
    SvdMat v;
    double* rv1;  // superdiagonal: rv1[i] stands over w[i], rv1[1] = 0
    double Norm = 0.0;

    void Bidiagonalise();
    double ReflectColumn(int i);
    double ReflectRow(int i);
    void FormV();
    void FormU();
    bool Diagonalise();
    bool IsNegligible(double x) const { return std::fabs(x) + Norm == Norm; }
    int FindSplit(int k, bool& cancel) const;
    void Cancel(int l, int k);
    void Sweep(int l, int k);
};

void Decomposition::Bidiagonalise() {
    double over = 0.0;
    for (int i = 1; i <= n; ++i) {
        rv1[i] = over;
        w[i] = ReflectColumn(i);
        over = i < n ? ReflectRow(i) : 0.0;
        Norm = std::max(Norm, std::fabs(w[i]) + std::fabs(rv1[i]));
    }
}

// Householder reflection that clears column i below row i; returns the diagonal element. The
// vector of the reflection stays in the column.
double Decomposition::ReflectColumn(int i) {
    double* col = a.Col(i);
    double scale = 0.0;
    for (Index k = i; k <= m; ++k) scale += std::fabs(col[k]);
    if (scale == 0.0) return 0.0;
    for (Index k = i; k <= m; ++k) col[k] /= scale;
    const double s = Dot(col, col, i, m);
    const double f = col[i];
    const double g = -WithSign(std::sqrt(s), f);
    const double h = f * g - s;
    col[i] = f - g;
    for (int j = i + 1; j <= n; ++j) {
        AddMultiple(a.Col(j), Dot(col, a.Col(j), i, m) / h, col, i, m);
    }
    Scale(col, scale, i, m);
    return scale * g;
}

// The same for row i right of column i + 1; returns the superdiagonal element.
double Decomposition::ReflectRow(int i) {
    const int l = i + 1;
    double scale = 0.0;
    for (int k = l; k <= n; ++k) scale += std::fabs(a(i, k));
    if (scale == 0.0) return 0.0;
    double s = 0.0;
    for (int k = l; k <= n; ++k) {
        a(i, k) /= scale;
        s += a(i, k) * a(i, k);
    }
    const double f = a(i, l);
    const double g = -WithSign(std::sqrt(s), f);
    const double h = f * g - s;
    a(i, l) = f - g;
    for (int k = l; k <= n; ++k) rv1[k] = a(i, k) / h;
    for (Index first = l; first <= m; first += kRowBlock) {
        const Index rows = std::min(kRowBlock, m - first + 1);
        double sum[kRowBlock] = {};
        for (int k = l; k <= n; ++k) AddMultiple(sum, a(i, k), a.Col(k) + first, 0, rows - 1);
        for (int k = l; k <= n; ++k) AddMultiple(a.Col(k) + first, rv1[k], sum, 0, rows - 1);
    }
    for (int k = l; k <= n; ++k) a(i, k) *= scale;
    return scale * g;
}

// Accumulates the row reflections.
void Decomposition::FormV() {
    for (int i = n; i >= 1; --i) {
        const int l = i + 1;
        if (i < n) {
            const double g = rv1[l];
            if (g != 0.0) {
                for (int j = l; j <= n; ++j) v(j, i) = (a(i, j) / a(i, l)) / g;
                for (int j = l; j <= n; ++j) {
                    double s = 0.0;
                    for (int k = l; k <= n; ++k) s += a(i, k) * v(k, j);
                    AddMultiple(v.Col(j), s, v.Col(i), l, n);
                }
            }
            for (int j = l; j <= n; ++j) v(i, j) = v(j, i) = 0.0;
        }
        v(i, i) = 1.0;
    }
}

// Accumulates the column reflections, in place of their vectors.
void Decomposition::FormU() {
    for (int i = n; i >= 1; --i) {
        double* col = a.Col(i);
        for (int j = i + 1; j <= n; ++j) a(i, j) = 0.0;
        if (w[i] == 0.0) {
            for (Index k = i; k <= m; ++k) col[k] = 0.0;
        } else {
            const double g = 1.0 / w[i];
            for (int j = i + 1; j <= n; ++j) {
                const double f = Dot(col, a.Col(j), i + 1, m) / col[i] * g;
                AddMultiple(a.Col(j), f, col, i, m);
            }
            Scale(col, g, i, m);
        }
        col[i] += 1.0;
    }
}

// Largest l <= k at which the matrix splits: rv1[l] is negligible, or w[l-1] is (then `cancel`).
// rv1[1] is 0; it is not looked at, so that the search ends whatever the matrix holds.
int Decomposition::FindSplit(int k, bool& cancel) const {
    cancel = false;
    for (int l = k; l > 1; --l) {
        if (IsNegligible(rv1[l])) return l;
        cancel = IsNegligible(w[l - 1]);
        if (cancel) return l;
    }
    return 1;
}

// Rotates rv1[l] away when w[l-1] is negligible.
void Decomposition::Cancel(int l, int k) {
    double c = 0.0, s = 1.0;
    for (int i = l; i <= k; ++i) {
        const double f = s * rv1[i];
        rv1[i] *= c;
        if (IsNegligible(f)) return;
        const double g = w[i];
        const double h = Pythag(f, g);
        w[i] = h;
        c = g / h;
        s = -f / h;
        Rotate(a.Col(l - 1), a.Col(i), c, s, 1, m);
    }
}

// One QR sweep on rows l..k, shifted by the lower 2 x 2 minor.
void Decomposition::Sweep(int l, int k) {
    double x = w[l], y = w[k - 1], z = w[k], g = rv1[k - 1], h = rv1[k];
    double f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0 * h * y);
    g = Pythag(f, 1.0);
    f = ((x - z) * (x + z) + h * (y / (f + WithSign(g, f)) - h)) / x;
    double c = 1.0, s = 1.0;
    for (int j = l; j < k; ++j) {
        const int i = j + 1;
        g = rv1[i];
        y = w[i];
        h = s * g;
        g = c * g;
        z = Pythag(f, h);
        rv1[j] = z;
        c = f / z;
        s = h / z;
        f = x * c + g * s;
        g = g * c - x * s;
        h = y * s;
        y = y * c;
        Rotate(v.Col(j), v.Col(i), c, s, 1, n);
        z = Pythag(f, h);
        w[j] = z;
        if (z != 0.0) {  // any rotation will do when it is 0
            c = f / z;
            s = h / z;
        }
        f = c * g + s * y;
        x = c * y - s * g;
        Rotate(a.Col(j), a.Col(i), c, s, 1, m);
    }
    rv1[l] = 0.0;
    rv1[k] = f;
    w[k] = x;
}

bool Decomposition::Diagonalise() {
    for (int k = n; k >= 1; --k) {
        for (int iteration = 1;; ++iteration) {
            bool cancel = false;
            const int l = FindSplit(k, cancel);
            if (cancel) Cancel(l, k);
            if (l == k) break;
            if (iteration == kSvdMaxIterations) return false;
            Sweep(l, k);
        }
        if (w[k] < 0.0) {
            w[k] = -w[k];
            Scale(v.Col(k), -1.0, 1, n);
        }
    }
    return true;
}

// Weights the design matrix and what the fixed parameters leave of the data.
void WeightRows(const double* y, Index ndata, const double* a, int ma, const int* ia, int mfit,
                SvdMat u, double* b, const double* D, const double* sig) {
    const Index stride = ma + 1;
    for (Index first = 1; first <= ndata; first += kRowBlock) {
        const Index last = std::min(first + kRowBlock - 1, ndata);
        for (Index i = first; i <= last; ++i) {
            double rest = y[i];
            for (int j = mfit + 1; j <= ma; ++j) rest -= a[ia[j]] * D[stride * i + ia[j]];
            b[i] = rest * (1.0 / sig[i]);
        }
        for (int j = 1; j <= mfit; ++j) {
            double* col = u.Col(j);
            for (Index i = first; i <= last; ++i) col[i] = D[stride * i + ia[j]] * (1.0 / sig[i]);
        }
    }
}

// Weighted misfit of every row; returns the sum of squares.
double WeightMisfits(const double* y, Index ndata, const double* a, int ma, double* b,
                     const double* D, const double* sig) {
    double chisq = 0.0;
    for (Index i = 1; i <= ndata; ++i) {
        const double* row = D + (ma + 1) * i;
        double sum = 0.0;
        for (int j = 1; j <= ma; ++j) sum += a[j] * row[j];
        b[i] = (y[i] - sum) / sig[i];
        chisq += b[i] * b[i];
    }
    return chisq;
}

bool IsZeroColumn(const double* col, Index m) {
    return std::all_of(col + 1, col + m + 1, [](double x) { return x == 0.0; });
}

// Moves the columns of u that carry information of their own to the front and returns their
// number. group[j] becomes the place of column j there, 0 for a zero column; the r-th of them
// stands for all its repeats and is multiplied by share[r], the root of their number.
int PackColumns(SvdMat u, Index m, int n, int* group, double* share) {
    int packed = 0;
    for (int j = 1; j <= n; ++j) {
        const double* col = u.Col(j);
        group[j] = 0;
        if (IsZeroColumn(col, m)) continue;
        for (int r = 1; r <= packed && group[j] == 0; ++r) {
            if (std::equal(col + 1, col + m + 1, u.Col(r) + 1)) group[j] = r;
        }
        if (group[j] == 0) {
            group[j] = ++packed;
            share[packed] = 0.0;
            if (packed < j) std::copy(col + 1, col + m + 1, u.Col(packed) + 1);
        }
        share[group[j]] += 1.0;
    }
    for (int r = 1; r <= packed; ++r) {
        share[r] = std::sqrt(share[r]);
        if (share[r] != 1.0) Scale(u.Col(r), share[r], 1, m);
    }
    return packed;
}

// Undoes PackColumns for the decomposition: row j of v belongs to column j again, and the
// directions that the data do not touch follow with w = 0 (nothing reads their vectors).
void UnpackDecomposition(SvdMat u, Index m, int n, int packed, const int* group,
                         const double* share, double* w, SvdMat v) {
    for (int j = n; j >= 1; --j) {  // from the end: a row of v is read before it is overwritten
        for (int k = 1; k <= packed; ++k) {
            v(j, k) = group[j] == 0 ? 0.0 : v(group[j], k) / share[group[j]];
        }
    }
    for (int k = packed + 1; k <= n; ++k) {
        w[k] = 0.0;
        std::fill_n(v.Col(k) + 1, n, 0.0);
        std::fill_n(u.Col(k) + 1, m, 0.0);
    }
}

void DropSmall(double* w, int n) {
    double largest = 0.0;
    for (int j = 1; j <= n; ++j) largest = std::max(largest, w[j]);
    for (int j = 1; j <= n; ++j) {
        if (w[j] < kSvdTolerance * largest) w[j] = 0.0;
    }
}

}  // namespace

Status svdfit(const double* y, std::int64_t ndata, double* a, int ma, const int* ia, int mfit,
              SvdMat u, SvdMat v, double* w, double* chisq, const double* D, const double* sig,
              const Memory& memory) {
    Array<double> b, step, share;
    Array<int> group;
    if (!b.Take(memory, ndata + 1) || !step.Take(memory, ma + 1) || !share.Take(memory, mfit + 1) ||
        !group.Take(memory, mfit + 1)) {
        return NoMemory(array_name::kSvdRightSide);
    }
    WeightRows(y, ndata, a, ma, ia, mfit, u, b.data(), D, sig);
    // The reflections would spread a zero or repeated column over the others by rounding, and its
    // singular value would come out as 1e-16 instead of 0.
    const int packed =
        ndata < mfit ? mfit : PackColumns(u, ndata, mfit, group.data(), share.data());
    KIV_TRY(svdcmp(u, ndata, packed, w, v, memory));
    UnpackDecomposition(u, ndata, mfit, packed, group.data(), share.data(), w, v);
    DropSmall(w, mfit);
    KIV_TRY(svbksb(u, w, v, ndata, mfit, b.data(), a, ia, memory));
    *chisq = WeightMisfits(y, ndata, a, ma, b.data(), D, sig);
    for (int round = 0; round < kRefinements; ++round) {
        KIV_TRY(svbksb(u, w, v, ndata, mfit, b.data(), step.data(), ia, memory));
        for (int j = 1; j <= mfit; ++j) a[ia[j]] += step[ia[j]];
        *chisq = WeightMisfits(y, ndata, a, ma, b.data(), D, sig);
    }
    return {};
}

Status svdcmp(SvdMat a, std::int64_t m, int n, double* w, SvdMat v, const Memory& memory) {
    if (m < n) {
        return Error{
            ErrorCode::TooFewLines,
            "a fit of " + std::to_string(n) + " constants to " + std::to_string(m) + " values", ""};
    }
    Array<double> rv1;
    if (!rv1.Take(memory, n + 1)) return NoMemory(array_name::kSvdSuperdiagonal);
    Decomposition svd{a, m, n, w, v, rv1.data()};
    svd.Bidiagonalise();
    svd.FormV();
    svd.FormU();
    if (svd.Diagonalise()) return {};
    return Error{ErrorCode::NotConverged,
                 "no convergence of a singular value within 30 sweeps: the derivatives of the "
                 "lines are not all finite",
                 ""};
}

Status svbksb(SvdMat u, const double* w, SvdMat v, std::int64_t m, int n, const double* b,
              double* x, const int* ia, const Memory& memory) {
    Array<double> tmp;
    if (!tmp.Take(memory, n + 1)) return NoMemory(array_name::kSvdProduct);
    for (int j = 1; j <= n; ++j) tmp[j] = w[j] == 0.0 ? 0.0 : Dot(u.Col(j), b, 1, m) / w[j];
    for (int j = 1; j <= n; ++j) {
        double sum = 0.0;
        for (int k = 1; k <= n; ++k) sum += v(j, k) * tmp[k];
        x[ia[j]] = sum;
    }
    return {};
}

Status svdvar(SvdMat v, int n, const double* w, SvdMat cvm, const Memory& memory) {
    Array<double> wti;
    if (!wti.Take(memory, n + 1)) return NoMemory(array_name::kSvdWeights);
    for (int j = 1; j <= n; ++j) wti[j] = w[j] == 0.0 ? 0.0 : 1.0 / (w[j] * w[j]);
    for (int i = 1; i <= n; ++i) {
        for (int k = 1; k <= i; ++k) {
            double sum = 0.0;
            for (int j = 1; j <= n; ++j) sum += v(i, j) * v(k, j) * wti[j];
            cvm(i, k) = cvm(k, i) = sum;
        }
    }
    return {};
}

}  // namespace kiv
