// Partition functions from levels that are there.
#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "base/ExpFunc.h"
#include "kiv/partition.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

constexpr int kFewJ = 20;           // the classical tail needs more
constexpr double kColdest = 700.0;  // kT, above which levels are empty
constexpr double kNeededShare = 0.999;
constexpr int kFarJ = 1 << 20;

// The levels of one state and what lies beyond them.
class StateSum {
  public:
    StateSum(const State& state, const Levels& levels, const LineRules& rules, double origin)
        : state_(state), levels_(levels), rules_(rules), origin_(origin) {}

    // False where energies fall with J.
    bool SetLowest() {
        lowest_ = std::numeric_limits<double>::infinity();
        double below = -lowest_;
        for (int J = 0; J <= levels_.max_J; ++J) {
            const double energy = levels_.Energy(J, 0);
            if (energy < below) return false;
            below = energy;
            lowest_ = std::min(lowest_, origin_ + energy);
        }
        return true;
    }

    double lowest() const { return lowest_; }

    void Sum(double zero) {
        terms_.clear();
        const double kT = rules_.temperature * rules_.energy_per_kelvin;
        for (int J = 0; J <= levels_.max_J; ++J) {
            double sum = 0.0;
            for (int rank = 0; rank <= 2 * J; ++rank) {
                const std::size_t n = Levels::Index(J, rank);
                const int spin = SpinClass(levels_.ka[n], levels_.kc[n]);
                const double weight = rules_.spin_weights[static_cast<std::size_t>(spin)];
                const double x = (origin_ + levels_.energy[n] - zero) / kT;
                if (x < kColdest) sum += weight * ExpFunc(-x);
            }
            terms_.push_back((2 * J + 1) * sum);
        }
        const std::size_t J = terms_.size() - 1;
        const double within = Share(levels_.max_J) - Share(levels_.max_J - 2);
        scale_ = within > 0.0 ? (terms_[J] + terms_[J - 1]) / within : 0.0;
    }

    std::span<const double> terms() const { return terms_; }

    // What lies beyond J, which is not below max_J.
    double Beyond(int J) const { return scale_ * std::max(0.0, 1.0 - Share(J)); }

  private:
    double Share(int J) const {
        return ClassicalShare(state_.value(Constant::A), state_.value(Constant::B),
                              state_.value(Constant::C),
                              rules_.temperature * rules_.energy_per_kelvin, J);
    }

    const State& state_;
    const Levels& levels_;
    const LineRules& rules_;
    double origin_;
    double lowest_ = 0.0;
    double scale_ = 0.0;
    std::vector<double> terms_;
};

double Beyond(const std::vector<StateSum>& states, int J) {
    double sum = 0.0;
    for (const StateSum& state : states) sum += state.Beyond(J);
    return sum;
}

// The least J above max_J that leaves no more than so much.
int LeastJ(const std::vector<StateSum>& states, int max_J, double most) {
    int low = max_J, high = 2 * max_J;
    while (Beyond(states, high) > most && high < kFarJ) low = high, high *= 2;
    while (high - low > 1) {
        const int middle = (low + high) / 2;
        (Beyond(states, middle) > most ? low : high) = middle;
    }
    return high;
}

bool HasPositiveConstants(const State& state) {
    return state.value(Constant::A) > 0.0 && state.value(Constant::B) > 0.0 &&
           state.value(Constant::C) > 0.0;
}

}  // namespace

Result<Partition> PartitionOf(const Model& model, const Settings& settings, const Levels& lower,
                              const Levels& upper, Workspace& work) {
    const LineRules& rules = settings.lines;
    const double kT = rules.temperature * rules.energy_per_kelvin;
    const bool two_states = !model.one_state;
    bool is_fit = lower.max_J > kFewJ && kT > 0.0 && std::isfinite(kT) &&
                  HasPositiveConstants(model.lower()) &&
                  (!two_states || HasPositiveConstants(model.upper()));
    std::vector<StateSum> states;
    if (is_fit) {
        states.emplace_back(model.lower(), lower, rules, 0.0);
        if (two_states) states.emplace_back(model.upper(), upper, rules, model.origin.value);
    }
    double zero = std::numeric_limits<double>::infinity();
    for (StateSum& state : states) {
        is_fit = state.SetLowest() && is_fit;
        zero = std::min(zero, state.lowest());
    }
    if (!is_fit) return SumPartition(model, settings, work);
    Partition result;
    result.last_J = lower.max_J;
    for (StateSum& state : states) state.Sum(zero);
    const auto sum_to = [&](int J) {
        double sum = 0.0;
        for (const StateSum& state : states) {
            for (int j = 0; j <= J; ++j) sum += state.terms()[static_cast<std::size_t>(j)];
        }
        return sum;
    };
    result.up_to_max_J = sum_to(lower.max_J);
    result.Q = result.up_to_max_J + Beyond(states, lower.max_J);
    const double needed = kNeededShare * result.Q;
    if (result.up_to_max_J < needed) {
        result.J_needed = LeastJ(states, lower.max_J, result.Q - needed);
        return result;
    }
    while (sum_to(result.J_needed) < needed) ++result.J_needed;
    return result;
}

}  // namespace kiv
