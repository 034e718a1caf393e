#include "lines/BoltzmannFactors.h"

#include <algorithm>
#include <limits>

#include "base/ExpVec.h"

namespace kiv {
namespace {

KIV_INLINE bool AreAll(const Long4& mask) { return (mask[0] & mask[1] & mask[2] & mask[3]) != 0; }

// x (1 - exp(-dE/kT)); false in `usual` where that takes more than ExpVec.
KIV_INLINE void FillPart(const Vec4& dE, const Vec4& x, double kT, Vec4& part, Long4& usual) {
    const Vec4 argument = -dE / kT;
    Vec4 power;
    ExpVec(argument, power);
    part = x * (1.0 - power);
    usual &= (argument > -exp_func::kMaxArgument) & (argument < exp_func::kMaxArgument);
}

double FactorOf(const FactorRun& run, int pair) {
    Boltzmann weights = run.weights;
    weights.SetLower(run.lower[pair]);
    return weights.Factor(run.upper[pair]);
}

// Within one state.
template <class>
KIV_INLINE void FillWithinBody(const FactorRun& run) {
    constexpr int kWidth = 4;
    constexpr double kMost = std::numeric_limits<double>::max();
    const Boltzmann::Terms& terms = run.weights.terms();
    for (int i = 0; i < run.num; i += kWidth) {
        Vec4 upper, lower, x, sum;
        LoadVec(upper, run.upper + i);
        LoadVec(lower, run.lower + i);
        LoadVec(x, run.x1 + i);
        const Vec4 dE = upper - lower;
        Long4 usual = (upper >= 0.0) & (lower >= 0.0);
        FillPart(dE, x, terms.kT1, sum, usual);
        if (terms.two) {
            Vec4 second;
            LoadVec(x, run.x2 + i);
            FillPart(dE, x, terms.kT2, second, usual);
            sum = second + sum;
        }
        usual &= (sum >= -kMost) & (sum <= kMost);
        const Vec4 factor = sum * (dE * 0.0001);
        StoreVec(run.factor + i, factor);
        if (AreAll(usual)) continue;
        for (int k = i; k < std::min(i + kWidth, run.num); ++k) run.factor[k] = FactorOf(run, k);
    }
}

KIV_KERNEL(FillWithin, FactorRun)

}  // namespace

void FillFactors(const FactorRun& run) {
    if (run.weights.one_state()) return FillWithin(run);
    for (int i = 0; i < run.num; ++i) {
        run.factor[i] = run.lower[i] < 0.0        ? 0.0
                        : run.weights.terms().two ? run.x1[i] + run.x2[i]
                                                  : run.x1[i];
    }
}

}  // namespace kiv
