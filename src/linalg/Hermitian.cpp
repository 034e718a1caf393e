#include "linalg/Hermitian.h"

#include <algorithm>
#include <cmath>

namespace kiv {
namespace {

// Work view of one Hermitian matrix: row i (1-based) of the lower triangle, contiguous in k.
struct RowView {
    double* P;
    int Ld;
    double* Row(int i) const { return P + static_cast<long>(i - 1) * Ld; }
};

void LowerToRows(const RowView& a, int n) {
    for (int i = 2; i <= n; ++i) {
        for (int j = 1; j < i; ++j) a.Row(i)[j - 1] = a.Row(j)[i - 1];
    }
}

// p = A u / h for the leading l x l block, u = conj(row i); p goes to e + i pi.
void ApplyBlock(const RowView& re, const RowView& im, int l, const double* ur, const double* ui,
                double h, double* e, double* pi) {
    std::fill_n(e, l, 0.0);
    std::fill_n(pi, l, 0.0);
    for (int j = 0; j < l; ++j) {
        const double* rr = re.Row(j + 1);
        const double* ri = im.Row(j + 1);
        const double urj = ur[j], uij = ui[j];
        double g = 0.0, gi = 0.0;
        for (int k = 0; k < j; ++k) {
            g += rr[k] * ur[k] + ri[k] * ui[k];
            gi += ri[k] * ur[k] - rr[k] * ui[k];
            e[k] += rr[k] * urj - ri[k] * uij;
            pi[k] -= rr[k] * uij + ri[k] * urj;
        }
        e[j] += g + rr[j] * urj;
        pi[j] += gi - rr[j] * uij;
    }
    for (int j = 0; j < l; ++j) {
        e[j] /= h;
        pi[j] /= h;
    }
}

// A := A - u q^H - q u^H on the leading block, with q = p - hh u; q replaces p (its imaginary part
// with the sign that the update needs).
void ReduceBlock(const RowView& re, const RowView& im, int l, const double* ur, const double* ui,
                 double hh, double* e, double* qi) {
    for (int j = 0; j < l; ++j) {
        const double f = ur[j], fi = -ui[j];
        const double g = e[j] - hh * f;
        const double gi = qi[j] - hh * fi;
        e[j] = g;
        qi[j] = -gi;
        double* rr = re.Row(j + 1);
        double* ri = im.Row(j + 1);
        for (int k = 0; k <= j; ++k) {
            rr[k] += fi * qi[k] + gi * ui[k] - f * e[k] - g * ur[k];
            ri[k] -= f * qi[k] + g * ui[k] + fi * e[k] + gi * ur[k];
        }
    }
}

}  // namespace

double pythag(double a, double b) {
    const double p = std::max(std::fabs(a), std::fabs(b));
    const double q = std::min(std::fabs(a), std::fabs(b));
    if (p + q == p) return p;
    const double ratio = q / p;
    return p * std::sqrt(1.0 + ratio * ratio);
}

void htridi(int nm, int n, double* ar, double* ai, double* d, double* e, double* e2, double* tau) {
    const RowView re{ar, nm}, im{ai, nm};
    LowerToRows(re, n);
    LowerToRows(im, n);
    double* tau_re = tau;
    double* tau_im = tau + n;  // also holds the imaginary part of p, below index l
    tau_re[n - 1] = 1.0;
    tau_im[n - 1] = 0.0;
    for (int i = 0; i < n; ++i) d[i] = re.Row(i + 1)[i];
    for (int i = n; i >= 1; --i) {
        const int l = i - 1;
        double* ur = re.Row(i);
        double* ui = im.Row(i);
        double h = 0.0, scale = 0.0;
        for (int k = 0; k < l; ++k) scale += std::fabs(ur[k]) + std::fabs(ui[k]);
        if (l < 1 || scale == 0.0) {
            if (l >= 1) {
                tau_re[l - 1] = 1.0;
                tau_im[l - 1] = 0.0;
            }
            e[i - 1] = e2[i - 1] = 0.0;
        } else {
            for (int k = 0; k < l; ++k) {
                ur[k] /= scale;
                ui[k] /= scale;
                h += ur[k] * ur[k] + ui[k] * ui[k];
            }
            e2[i - 1] = scale * scale * h;
            double g = std::sqrt(h);
            e[i - 1] = scale * g;
            double f = pythag(ur[l - 1], ui[l - 1]);
            double si = 0.0;
            if (f != 0.0) {
                tau_re[l - 1] = (ui[l - 1] * tau_im[i - 1] - ur[l - 1] * tau_re[i - 1]) / f;
                si = (ur[l - 1] * tau_im[i - 1] + ui[l - 1] * tau_re[i - 1]) / f;
                h += f * g;
                g = 1.0 + g / f;
                ur[l - 1] *= g;
                ui[l - 1] *= g;
            } else {
                tau_re[l - 1] = -tau_re[i - 1];
                si = tau_im[i - 1];
                ur[l - 1] = g;
            }
            if (f == 0.0 || l > 1) {
                ApplyBlock(re, im, l, ur, ui, h, e, tau_im);
                f = 0.0;
                for (int j = 0; j < l; ++j) f += e[j] * ur[j] - tau_im[j] * ui[j];
                ReduceBlock(re, im, l, ur, ui, f / (h + h), e, tau_im);
            }
            for (int k = 0; k < l; ++k) {
                ur[k] *= scale;
                ui[k] *= scale;
            }
            tau_im[l - 1] = -si;
        }
        const double diagonal = d[i - 1];
        d[i - 1] = ur[i - 1];
        ur[i - 1] = diagonal;
        ui[i - 1] = scale * std::sqrt(h);
    }
}

void htribk(int nm, int n, const double* ar, const double* ai, const double* tau, int m, double* zr,
            double* zi) {
    const double* tau_re = tau;
    const double* tau_im = tau + n;
    for (int j = 0; j < m; ++j) {
        double* vr = zr + static_cast<long>(j) * nm;
        double* vi = zi + static_cast<long>(j) * nm;
        for (int k = 0; k < n; ++k) {
            vi[k] = -vr[k] * tau_im[k];
            vr[k] *= tau_re[k];
        }
        for (int i = 1; i < n; ++i) {
            const double* ur = ar + static_cast<long>(i) * nm;
            const double* ui = ai + static_cast<long>(i) * nm;
            const double h = ui[i];
            if (h == 0.0) continue;
            double s = 0.0, si = 0.0;
            for (int k = 0; k < i; ++k) {
                s += ur[k] * vr[k] - ui[k] * vi[k];
                si += ur[k] * vi[k] + ui[k] * vr[k];
            }
            s = s / h / h;
            si = si / h / h;
            for (int k = 0; k < i; ++k) {
                vr[k] -= s * ur[k] + si * ui[k];
                vi[k] += s * ui[k] - si * ur[k];
            }
        }
    }
}

}  // namespace kiv
