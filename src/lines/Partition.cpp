#include "kiv/partition.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "base/ExpFunc.h"
#include "base/Failure.h"
#include "base/Trig.h"
#include "levels/Solution.h"
#include "lines/PairRules.h"
#include "lines/StateEnergies.h"

namespace kiv {
namespace {

constexpr double kNeededShare = 0.999;
constexpr double kOpen = 1e-7;      // of the sum: terms that are missed at its end
constexpr double kColdest = 690.0;  // kT above which a level counts nothing
// Beyond levels that are there, those of a J of which each holds less than this part of the sum,
// divided by (2J+1)^2, may be missing: all of them, up to J 1000, make 1e-13 of Q at most.
constexpr double kLost = 1e-16;

// Sums over the levels of both states, J by J.
class Summation {
  public:
    Summation(const LineRules& rules, const PartitionOptions& options)
        : rules_(rules),
          options_(options),
          kT_(rules.temperature * rules.energy_per_kelvin),
          equal_(std::all_of(rules.spin_weights.begin(), rules.spin_weights.end(),
                             [&](std::int32_t w) { return w == rules.spin_weights[0]; })) {}

    /// Adds the levels of a state at origin + E, counted from `zero`.
    Status Add(const Model& model, StateIndex index, double zero, Workspace& work) {
        const State& state = model.states[index];
        const double origin = index == kUpper ? model.origin.value : 0.0;
        KIV_TRY(CheckFinite(state));
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
            if (state.value(c) > 0.0) continue;
            return Error{ErrorCode::OutOfRange, "a rotational constant is not positive", NameOf(c)};
        }
        const auto term_of = [&](int J, std::span<const double> energies) {
            return Term(J, energies, origin - zero);
        };
        StateEnergies energies_of(state, options_.levels[index], !equal_, term_of, work);
        double below = std::numeric_limits<double>::infinity();  // lowest level of J - 1
        double last = 0.0, before_last = 0.0;                    // terms
        const Levels* const known = options_.levels[index];
        for (int J = 0;; ++J) {
            if (known && J == known->max_J + 1) LimitEnergies(zero - origin, energies_of);
            const Result<EnergySum> solved = energies_of.Of(J);
            if (!solved) return solved.error();
            const double lowest = solved.value().lowest;
            const bool is_open = std::max(last, before_last) >= kOpen * sum_;
            if (J > energies_of.last_fall() && lowest < below) {
                result_.turned_over |= is_open;
                return {};
            }
            if (J > options_.last_J) {
                result_.cut_short |= is_open;
                return {};
            }
            below = lowest;
            lowest_ = std::min(lowest_, origin + lowest);
            before_last = last;
            last = solved.value().sum;
            Count(J, last);
            const bool is_cold = origin - zero + lowest > kColdest * kT_;
            const bool falls = last <= before_last || last < 1e-9 * options_.negligible * sum_;
            if (is_cold || (IsNegligible(last) && IsNegligible(before_last) && falls && J > 0)) {
                return {};
            }
        }
    }

    Partition Finish(int max_J, double zero) {
        const double shift = ExpFunc(std::clamp((lowest_ - zero) / kT_, -kColdest, kColdest));
        double sum = 0.0;
        bool is_enough = false;
        for (int J = 0; J <= result_.last_J; ++J) {
            sum += terms_[static_cast<std::size_t>(J)];
            if (J <= max_J) result_.up_to_max_J = shift * sum;
            if (!is_enough) result_.J_needed = J;
            is_enough |= sum >= kNeededShare * sum_;
        }
        result_.Q = shift * sum;
        return std::move(result_);
    }

  private:
    bool IsNegligible(double term) const { return term < options_.negligible * sum_; }

    void LimitEnergies(double zero, StateEnergies& energies_of) const {
        const auto& weights = rules_.spin_weights;
        const double weight = *std::max_element(weights.begin(), weights.end());
        if (sum_ > 0.0) energies_of.Limit({zero + kT_ * UpperLog(weight / (kLost * sum_)), kT_});
    }

    double Term(int J, std::span<const double> energies, double origin) const {
        double sum = 0.0;
        std::array<double, 4> weights{};  // return every four ranks
        for (int rank = 0; rank < 4; ++rank) {
            const int spin = SpinClass((rank + 1) / 2, J + 2 - rank / 2);
            weights[static_cast<std::size_t>(rank)] =
                rules_.spin_weights[static_cast<std::size_t>(spin)];
        }
        for (std::size_t rank = 0; rank < energies.size(); ++rank) {
            const double x = (origin + energies[rank]) / kT_;
            if (x < kColdest) sum += weights[rank % 4] * ExpFunc(-x);
        }
        return (2 * J + 1) * sum;
    }

    void Count(int J, double term) {
        if (static_cast<std::size_t>(J) == terms_.size()) terms_.push_back(0.0);
        terms_[static_cast<std::size_t>(J)] += term;
        sum_ += term;
        result_.last_J = std::max(result_.last_J, J);
    }

    const LineRules& rules_;
    const PartitionOptions& options_;
    double kT_;
    bool equal_;  // spin weights
    double lowest_ = std::numeric_limits<double>::infinity();
    double sum_ = 0.0;
    std::vector<double> terms_;
    Partition result_;
};

Status CheckSettings(const Model& model, const Settings& settings) {
    const auto refuse = [](const char* text, const char* subject) {
        return Error{ErrorCode::OutOfRange, text, subject};
    };
    const LineRules& rules = settings.lines;
    const double kT = rules.temperature * rules.energy_per_kelvin;
    if (!(kT > 0.0) || !std::isfinite(kT)) {
        return refuse("a partition function needs a temperature above 0", "temperature");
    }
    if (!std::isfinite(model.origin.value)) {
        return refuse("the origin is not a finite number", "origin");
    }
    if (settings.max_J < 0) return refuse("the highest J is negative", "max_J");
    for (const std::int32_t weight : rules.spin_weights) {
        if (weight < 0) return refuse("a spin weight is negative", "spin_weights");
    }
    return {};
}

// (4 / sqrt(pi)) int_0^sqrt(x) t^2 exp(-t^2) dt by its power series.
double InsideSphere(double x) {
    constexpr double kGamma = 1.3293403881791370205;  // Gamma(5/2)
    constexpr double kAll = 60.0;
    if (x > kAll) return 1.0;
    double term = 1.0, sum = 1.0;
    for (double a = 2.5; term > 1e-12 * sum; a += 1.0) {
        term *= x / a;
        sum += term;
    }
    return x * std::sqrt(x) * ExpFunc(-x) / kGamma * sum;
}

}  // namespace

Result<Partition> SumPartition(const Model& model, const Settings& settings, Workspace& work,
                               const PartitionOptions& options) try {
    KIV_TRY(CheckSettings(model, settings));
    const auto& weights = settings.lines.spin_weights;
    if (std::all_of(weights.begin(), weights.end(), [](std::int32_t w) { return w == 0; })) {
        return Partition{};
    }
    Summation summation(settings.lines, options);
    const double zero = model.one_state ? 0.0 : std::min(model.origin.value, 0.0);
    KIV_TRY(summation.Add(model, kLower, zero, work));
    if (!model.one_state) KIV_TRY(summation.Add(model, kUpper, zero, work));
    return summation.Finish(settings.max_J, zero);
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

double ClassicalPartition(double A, double B, double C, double kT) {
    return std::sqrt(3.14159265358979323846 * kT / A * (kT / B) * (kT / C));
}

// With x = cos(theta) from the a axis and C' = B cos^2(phi) + C sin^2(phi) the share inside the
// sphere is that of its directions, weighted by (C' + (A - C') x^2)^(-3/2). In
// v = x sqrt(A / (C' + (A - C') x^2)) this weight is a constant, 1 / (C' sqrt(A)).
double ClassicalShare(double A, double B, double C, double kT, double J) {
    constexpr int kAngles = 8;  // phi from 0 to pi/2, by the midpoint rule
    // Gauss and Legendre's nodes for v from -1 to 1, of which v from 0 to 1 has the positive ones
    constexpr double kNode[] = {0.0950125098376374, 0.2816035507792589, 0.4580167776572274,
                                0.6178762444026438, 0.7554044083550030, 0.8656312023878318,
                                0.9445750230732326, 0.9894009349916499};
    constexpr double kWeight[] = {0.1894506104550685, 0.1826034150449236, 0.1691565193950025,
                                  0.1495959888165767, 0.1246289712555339, 0.0951585116824928,
                                  0.0622535239386479, 0.0271524594117541};
    const double R = J + 1.0;
    double share = 0.0, whole = 0.0;
    for (int i = 0; i < kAngles; ++i) {
        const double cosine = Cos(1.57079632679489661923 * (i + 0.5) / kAngles);
        const double across = C + (B - C) * cosine * cosine;
        double sum = 0.0;
        for (int k = 0; k < 8; ++k) {
            const double q = A * across / (A - (A - across) * kNode[k] * kNode[k]);
            sum += kWeight[k] * InsideSphere(R * R * q / kT);
        }
        share += sum / across;
        whole += 1.0 / across;
    }
    return share / whole;
}

}  // namespace kiv
