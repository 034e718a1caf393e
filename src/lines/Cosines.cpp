#include "lines/Cosines.h"

#include <algorithm>
#include <cmath>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

double Root(double product) { return std::sqrt(product); }

// Each returns the end of what it wrote at `out`.

double* FillP(double* out, int J_lower) {
    const double J = J_lower;
    for (int K = 1 - J_lower; K < J_lower; ++K) {
        *out++ = 0.5 * Root((J - K) * (J - K + 1) / J);  // K'' = K' - 1
        *out++ = -Root((J - K) * (J + K) / J);           // K'' = K'
        *out++ = 0.5 * Root((J + K) * (J + K + 1) / J);  // K'' = K' + 1
    }
    return out;
}

double* FillQ(double* out, int J_lower) {
    const double J = J_lower;
    const double q = Root((2 * J + 1) / (J * (J + 1)));
    for (int K = -J_lower; K < J_lower; ++K) {
        const double step = 0.5 * Root((J + K + 1) * (J - K) * (2 * J + 1) / (J * (J + 1)));
        *out++ = K * q;  // K'' = K' = K
        *out++ = -step;  // K'' = K, K' = K + 1
        *out++ = step;   // K'' = K + 1, K' = K
    }
    *out++ = J * q;
    return out;
}

double* FillR(double* out, int J_lower) {
    const double J = J_lower;
    for (int K = -J_lower; K <= J_lower; ++K) {
        *out++ = 0.5 * Root((J - K + 1) * (J - K + 2) / (J + 1));  // K' = K'' - 1
        *out++ = Root((J + 1 - K) * (J + 1 + K) / (J + 1));        // K' = K''
        *out++ = 0.5 * Root((J + K + 1) * (J + K + 2) / (J + 1));  // K' = K'' + 1
    }
    return out;
}

}  // namespace

Status Cosines::Fill(const Memory& memory, int highest_J, Threads* threads) {
    if (max_J == highest_J) return {};
    max_J = -1;
    if (!factor.Take(memory, CosineLength(highest_J))) return NoMemory(array_name::kCosines);
    const auto fill = [&](int J) {
        double* out = factor.data() + CosineOffset(J);
        if (J > 0) out = FillQ(FillP(out, J), J);
        if (J < highest_J) FillR(out, J);
    };
    constexpr int kTogether = 8;  // J
    const auto fill_some = [&](int part, int) {
        const int first = part * kTogether, last = std::min(first + kTogether - 1, highest_J);
        for (int J = first; J <= last; ++J) fill(J);
    };
    Threads alone;
    (threads ? *threads : alone).Share(highest_J / kTogether + 1, fill_some);
    max_J = highest_J;
    return {};
}

std::int64_t Cosines::BranchOffset(int J_lower, int J_upper) {
    const std::int64_t J = J_lower;
    const std::int64_t base = CosineOffset(J);
    if (J == 0 || J_upper < J_lower) return base;
    return J_upper == J_lower ? base + 6 * J - 3 : base + 12 * J - 2;
}

double Cosines::At(int Jl, int Kl, int Ju, int Ku) const {
    const int step = Kl - Ku;
    if (step < -1 || step > 1) return 0.0;
    const double* const branch = factor.data() + BranchOffset(Jl, Ju);
    if (Ju < Jl) return branch[3 * (Ku + Ju) + 1 + step];
    if (Ju > Jl) return branch[3 * (Kl + Jl) + 1 - step];
    if (step == 0) return branch[3 * (Kl + Jl)];
    return step < 0 ? branch[3 * (Kl + Jl) + 1] : branch[3 * (Ku + Ju) + 2];
}

void BranchFactors::Fill(const Cosines& cosines, int Jl, int Ju) {
    const int n = 2 * Ju + 1;
    const double* const branch = cosines.factor.data() + Cosines::BranchOffset(Jl, Ju);
    for (Array<double>* array : {&level, &up, &down}) std::fill_n(array->data(), n, 0.0);
    if (Ju < Jl) {  // triples by K'
        for (int k = 0; k < n; ++k) {
            down[k] = branch[3 * k];
            level[k] = branch[3 * k + 1];
            up[k] = branch[3 * k + 2];
        }
    } else if (Ju == Jl) {  // triples by K, the last one without steps
        for (int k = 0; k < n; ++k) level[k] = branch[3 * k];
        for (int k = 0; k + 1 < n; ++k) {
            down[k + 1] = branch[3 * k + 1];
            up[k] = branch[3 * k + 2];
        }
    } else {  // triples by K'' = K' + 1, K', K' - 1
        for (int i = 0; i + 2 < n; ++i) {
            up[i] = branch[3 * i];
            level[i + 1] = branch[3 * i + 1];
            down[i + 2] = branch[3 * i + 2];
        }
    }
}

}  // namespace kiv
