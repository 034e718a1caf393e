// Moment, spin weights, temperature and highest J.
#include <algorithm>
#include <cmath>

#include "base/MachineMemory.h"
#include "job/PhysicsChecks.h"
#include "kiv/levels.h"
#include "kiv/partition.h"
#include "levels/LevelVectors.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr double kComplete = 0.999;

// The classical partition function holds to some 1e-4 when many levels count. A sum over levels,
// which takes a few milliseconds for a hundred J, answers where few do and where it is close.
constexpr int kFewJ = 25;
constexpr double kClose = 5e-4;
constexpr int kMostSummedJ = 100;
constexpr int kMostWideJ = 60;  // more than tridiagonal
constexpr int kMostComplexJ = 25;

// Distortion that takes this part of the energy of the levels that count may turn them over.
constexpr double kStrongDistortion = 0.1;

constexpr std::int64_t kMostLevels = 2147483647;

// Bytes of the levels and eigenvectors of a state up to J; -1 when they cannot be counted.
double BytesOf(const State& state, double J) {
    const double levels = (J + 1.0) * (J + 1.0);
    if (levels > static_cast<double>(kMostLevels)) return -1.0;
    const auto derivatives = std::count_if(state.terms.values.begin(), state.terms.values.end(),
                                           [](const Term& term) { return term.on; });
    const double vectors = static_cast<double>(VecLength(static_cast<std::int64_t>(J))) *
                           (NeedsComplex(state) ? 2.0 : 1.0);
    return 8.0 * (vectors + levels * (2.0 + static_cast<double>(derivatives)));
}

double BytesOf(const PhysicsReport& report, double J) {
    double sum = 0.0;
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        const double bytes = BytesOf(report.model.states[state], J);
        if (bytes < 0.0) return -1.0;
        sum += bytes;
    }
    return sum;
}

// True when the levels find room.
bool CheckMemory(PhysicsReport& report) {
    const int max_J = report.settings.max_J;
    const auto is_within = [&](int J, std::int64_t available) {
        const double bytes = BytesOf(report, J);
        return bytes >= 0.0 && bytes < static_cast<double>(available);
    };
    if (max_J < 0 || is_within(max_J, kSureMemory)) return max_J >= 0;
    const std::int64_t available = AvailableMemory();
    const auto fits = [&](int J) { return is_within(J, available); };
    if (fits(max_J)) return true;
    int low = 0, high = max_J;  // low fits, high does not
    while (high - low > 1) (fits((low + high) / 2) ? low : high) = (low + high) / 2;
    report.Tell(FindingCode::OutOfRange, "spectrum.J_max",
                "J_max = " + std::to_string(max_J) +
                    ": the levels take more memory than is free, which is enough for J_max = " +
                    std::to_string(low));
    return false;
}

// The least J that holds enough of the classical partition function of the lower state.
int ClassicalJ(const State& state, double kT) {
    const double A = state.value(Constant::A), B = state.value(Constant::B),
                 C = state.value(Constant::C);
    const auto share = [&](double J) { return ClassicalShare(A, B, C, kT, J); };
    const auto holds = [&](int J) { return share(J) >= kComplete; };
    // Of a sphere it is the R with R^2 B/kT = 8.13, and what is missing falls as exp(-R^2 B/kT);
    // where this is far off, the steps grow.
    constexpr double kMost = kMostLevels / 4;
    const double of_sphere = std::min(std::sqrt(8.13 * kT / std::sqrt(B * C)), kMost);
    const double missing = std::max(1e-12, 1.0 - share(of_sphere - 1.0));
    const double guess = of_sphere * (1.0 + std::log(missing / (1.0 - kComplete)) / (2.0 * 8.13));
    int high = static_cast<int>(std::clamp(guess, 0.0, kMost));
    int step = 1;
    for (; !holds(high) && high < kMostLevels / 4; step *= 2) high += step;
    int low = high - step;
    for (; low >= 0 && holds(low); step *= 2) high = low, low -= step;
    low = std::max(low, -1);
    while (high - low > 1) (holds((low + high) / 2) ? high : low) = (low + high) / 2;
    return high;
}

bool IsWide(const State& state) {
    if (state.reduction == Reduction::S && state.terms[Constant::dK].on) return true;
    for (int c = static_cast<int>(Constant::PZ3); c < kNumConstants; ++c) {
        if (state.terms[c].on && state.terms[c].value != 0.0) return true;
    }
    return false;
}

int MostSummedJ(const PhysicsReport& report) {
    int most = kMostSummedJ;
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        const State& of = report.model.states[state];
        if (IsWide(of)) most = std::min(most, kMostWideJ);
        if (NeedsComplex(of)) most = std::min(most, kMostComplexJ);
    }
    return most;
}

// A percentage cut, not rounded: 99.89, never 100 for less.
std::string Percent(double share) { return ShortestText(std::floor(share * 1e4) / 100.0) + " %"; }

void TellIncomplete(PhysicsReport& report, double share, int J_needed, const char* about) {
    const std::string path =
        report.job.input.places.Has("spectrum.J_max") ? "spectrum.J_max" : "spectrum";
    report.Tell(FindingCode::IncompleteQ, path,
                "levels up to J = " + std::to_string(report.settings.max_J) + " hold " + about +
                    Percent(share) + " of the partition function at " +
                    ShortestText(report.settings.lines.temperature) +
                    " K; J_max = " + std::to_string(J_needed) + " holds " + about + "99.9 %");
}

// True when the energies of the lowest levels might fall with J among those that count.
bool MayTurnOver(const State& state, int J) {
    const double square = (J + 1.0) * (J + 1.0);
    const double quartic =
        std::fabs(state.value(Constant::DJ)) +
        2.0 * (std::fabs(state.value(Constant::dJ)) + std::fabs(state.value(Constant::dK)));
    const double sextic =
        std::fabs(state.value(Constant::HJ)) +
        2.0 * (std::fabs(state.value(Constant::hJ)) + std::fabs(state.value(Constant::hK)));
    return (quartic + sextic * square) * square > kStrongDistortion * state.value(Constant::C);
}

void CheckPartition(PhysicsReport& report) {
    const LineRules& rules = report.settings.lines;
    const double kT = rules.temperature * rules.energy_per_kelvin;
    if (!(kT > 0.0) || !std::isfinite(kT)) return;
    for (const std::int32_t weight : rules.spin_weights) {
        if (weight < 0) return;
    }
    const State& lower = report.model.lower();
    const int max_J = report.settings.max_J, J = ClassicalJ(lower, kT);
    const int most = MostSummedJ(report);
    const double share = ClassicalShare(lower.value(Constant::A), lower.value(Constant::B),
                                        lower.value(Constant::C), kT, max_J);
    const bool is_clear = std::fabs(share - kComplete) > kClose && !MayTurnOver(lower, J);
    if (J > most || (J > kFewJ && is_clear)) {
        if (share < kComplete) TellIncomplete(report, share, J, "about ");
        return;
    }
    Workspace work;
    const PartitionOptions options{1e-5, 2 * most};
    const Result<Partition> sum = SumPartition(report.model, report.settings, work, options);
    if (!sum) return;
    const Partition& Q = sum.value();
    if (Q.turned_over) {
        report.Tell(FindingCode::IncompleteQ, "spectrum.J_max",
                    "the partition function at " + ShortestText(rules.temperature) +
                        " K is incomplete: with this distortion the levels fall from J = " +
                        std::to_string(Q.last_J + 1) + " on, where they still count");
    } else if (Q.complete() < kComplete) {
        TellIncomplete(report, Q.complete(), Q.J_needed, "");
    }
}

void CheckMoment(PhysicsReport& report) {
    if (!report.job.input.moment) return;
    const auto& moment = report.model.moment.component;
    if (std::any_of(moment.begin(), moment.end(), [](double m) { return m != 0.0; })) return;
    const Places& places = report.job.input.places;
    std::string path = "moment";
    for (const char* words : {"moment.mu[0]", "moment.percent[0]", "moment.magnitude"}) {
        if (places.Has(words)) path = words;
    }
    report.Tell(FindingCode::NoMoment, path,
                "all components of the moment are 0, so that there are no lines");
}

void CheckWeights(PhysicsReport& report) {
    const auto& weights = report.settings.lines.spin_weights;
    if (std::any_of(weights.begin(), weights.end(), [](std::int32_t w) { return w != 0; })) return;
    report.Tell(FindingCode::ZeroWeights, "spectrum.spin_weights[0]",
                "all spin weights are 0, so that every line has the intensity 0");
}

}  // namespace

void CheckSpectrum(PhysicsReport& report) {
    CheckMoment(report);
    CheckWeights(report);
    if (!report.is_rotor || !report.IsGood("spectrum.J_max")) return;
    if (CheckMemory(report) && !report.has_foreign_unit) CheckPartition(report);
}

}  // namespace kiv
