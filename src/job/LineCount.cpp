#include "job/LineCount.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "levels/Symmetry.h"
#include "levels/Terms.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

// Changes of the parities of Ka and Kc; the first three are the types a, b, c.
struct Change {
    bool ka, kc;
};

constexpr Change kChanges[] = {{false, true}, {true, true}, {true, false}, {false, false}};

constexpr double kZeroMoment = 1e-9;

// True when the states keep all two-fold rotations, so that each level has its parities.
bool KeepsTypes(const Model& model) {
    for (const StateIndex index : {kLower, kUpper}) {
        const State& state = model.states[index];
        if (index == kUpper && model.one_state) break;
        if (!state.tilt.IsZero()) return false;
        for (const HamTerm& term : HamTerms()) {
            const Term& constant = state.terms[term.constant];
            if (constant.on && constant.value != 0.0 && term.keeps != kAllC2) return false;
        }
    }
    return true;
}

// The types of lines that a moment allows; of its three components some are 0 but for rounding.
std::array<bool, 4> TypesOf(const Moment& moment) {
    const auto& mu = moment.component;
    const double largest = std::max({std::fabs(mu[0]), std::fabs(mu[1]), std::fabs(mu[2])});
    std::array<bool, 4> allowed{};
    for (std::size_t i = 0; i < 3; ++i) allowed[i] = std::fabs(mu[i]) > kZeroMoment * largest;
    return allowed;
}

// Levels of J with these parities and Ka from low to high.
std::int64_t CountLevels(int J, std::int64_t low, std::int64_t high, bool ka_odd, bool kc_odd) {
    const std::int64_t first = std::max<std::int64_t>(low, 1),
                       last = std::min<std::int64_t>(high, J);
    const auto up_to = [&](std::int64_t Ka) { return ka_odd ? (Ka + 1) / 2 : Ka / 2; };  // from 1
    std::int64_t count = last >= first ? up_to(last) - up_to(first - 1) : 0;
    if (low <= 0 && high >= 0 && !ka_odd && (J % 2 != 0) == kc_odd) ++count;
    return count;
}

}  // namespace

std::int64_t CountLines(const Model& model, const Settings& settings) {
    const LineRules& rules = settings.lines;
    const bool keeps_types = KeepsTypes(model);
    const std::array<bool, 4> allowed = TypesOf(model.moment);
    std::int64_t count = 0;
    for (int J = 0; J <= settings.max_J; ++J) {
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const int ka = (rank + 1) / 2, kc = J - rank / 2;
            if (rules.spin_weights[static_cast<std::size_t>(SpinClass(ka, kc))] <= 0) continue;
            const std::int64_t low = std::int64_t{ka} - rules.delta_K;
            const std::int64_t high = std::int64_t{ka} + rules.delta_K;
            for (std::size_t type = 0; type < 4; ++type) {
                const auto [change_ka, change_kc] = kChanges[type];
                if (keeps_types && !allowed[type]) continue;
                if (rules.parity &&
                    (change_ka != rules.parity->ka_odd || change_kc != rules.parity->kc_odd)) {
                    continue;
                }
                for (int other = std::max(J - 1, 0); other <= std::min(J + 1, settings.max_J);
                     ++other) {
                    if (J == 0 && other == 0) continue;
                    count += CountLevels(other, low, high, (ka % 2 != 0) != change_ka,
                                         (kc % 2 != 0) != change_kc);
                }
            }
        }
    }
    return model.one_state ? (count + 1) / 2 : count;
}

}  // namespace kiv
