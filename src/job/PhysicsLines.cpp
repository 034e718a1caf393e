// Measured lines against the model: their unit, their band words.
#include <algorithm>
#include <cmath>
#include <vector>

#include "job/PhysicsChecks.h"
#include "kiv/levels.h"
#include "named/LineRows.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

// Measured lines of lowest J that are compared with calculated ones, and the highest J of levels
// that are calculated for that.
constexpr std::size_t kCompared = 12;
constexpr int kMostRealJ = 30;
constexpr int kMostComplexJ = 12;

// Factors between observed and calculated frequencies that tell of another unit, and how far off
// they may be: small factors are within what poor constants do.
struct UnitFactor {
    double factor;
    double tolerance;
};

constexpr UnitFactor kFactors[] = {
    {1000.0, 1.4}, {kMHzPerWavenumber, 1.4}, {1e-3 * kMHzPerWavenumber, 1.1}};

constexpr double kAgreement = 2.0;   // ratio of frequencies that agree
constexpr double kSmallPart = 0.02;  // of the energies, below which a difference is a small one

// Levels of both states up to a J.
struct Prediction {
    Levels of_state[kNumStates];
    double origin = 0.0;

    double Energy(const LineLevel& level) const {
        const int rank = level.J + level.Ka - level.Kc;
        return of_state[level.v].Energy(level.J, rank) + (level.v == kUpper ? origin : 0.0);
    }
};

bool Predict(const PhysicsReport& report, int max_J, Prediction& prediction) {
    Workspace work;
    prediction.origin = report.model.origin.value;
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        Result<Levels> levels = SolveEnergies(report.model.states[state], max_J, work);
        if (!levels) return false;
        prediction.of_state[state] = std::move(levels).value();
    }
    return true;
}

bool IsIn(const LineLevel& level, int max_J) {
    const int rank = level.J + level.Ka - level.Kc;
    return level.J >= 0 && level.J <= max_J && rank >= 0 && rank <= 2 * level.J;
}

// Median of |observed / calculated|; 0 without lines of low J.
double MedianRatio(const PhysicsReport& report, int max_J, const Prediction& prediction) {
    std::vector<double> ratios;
    for (const LineFeature& feature : report.job.lines->features) {
        const LineTransition& line = feature.transitions.front();
        if (!IsIn(line.upper, max_J) || !IsIn(line.lower, max_J)) continue;
        const double calculated = prediction.Energy(line.upper) - prediction.Energy(line.lower);
        if (calculated != 0.0) ratios.push_back(std::fabs(feature.frequency / calculated));
    }
    if (ratios.empty()) return 0.0;
    const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
    std::nth_element(ratios.begin(), middle, ratios.end());
    return *middle;
}

std::string TextOf(double factor) {
    char size[40];
    std::snprintf(size, sizeof size, "%.0f", factor);
    return size;
}

// The factor between units that a ratio comes near; 0 for none.
double FactorOf(double ratio) {
    if (!(ratio > 0.0) || !std::isfinite(ratio)) return 0.0;
    for (const UnitFactor& factor : kFactors) {
        const double large = std::max(ratio, 1.0 / ratio) / factor.factor;
        if (large <= factor.tolerance && large >= 1.0 / factor.tolerance) return factor.factor;
    }
    return 0.0;
}

// Single frequencies in another unit, where the others agree with the calculation. Small
// differences of large energies are left out, which poor constants may have wrong by any factor.
void CheckSingleUnits(PhysicsReport& report, int max_J, const Prediction& prediction) {
    for (const LineFeature& feature : report.job.lines->features) {
        const LineTransition& line = feature.transitions.front();
        if (!IsIn(line.upper, max_J) || !IsIn(line.lower, max_J)) continue;
        const double upper = prediction.Energy(line.upper), lower = prediction.Energy(line.lower);
        const double calculated = std::fabs(upper - lower);
        if (calculated < kSmallPart * std::max(std::fabs(upper), std::fabs(lower))) continue;
        const double ratio = std::fabs(feature.frequency) / calculated;
        const double factor = FactorOf(ratio);
        if (factor == 0.0) continue;
        report.TellLine(FindingCode::UnitMismatch, {line.line, 1},
                        "the frequency " + ShortestText(feature.frequency) + " is about " +
                            TextOf(factor) + " times " + (ratio > 1.0 ? "larger" : "smaller") +
                            " than the calculated one, unlike those of the other lines");
    }
}

void CheckUnit(PhysicsReport& report) {
    const auto& features = report.job.lines->features;
    const bool is_complex = std::any_of(report.model.states.begin(), report.model.states.end(),
                                        [](const State& state) { return NeedsComplex(state); });
    std::vector<int> highest_J;  // of the lines
    for (const LineFeature& feature : features) {
        const LineTransition& line = feature.transitions.front();
        highest_J.push_back(std::max(line.upper.J, line.lower.J));
    }
    std::sort(highest_J.begin(), highest_J.end());
    const int max_J = highest_J[std::min(kCompared, highest_J.size()) - 1];
    if (max_J > (is_complex ? kMostComplexJ : kMostRealJ)) return;
    Prediction prediction;
    if (!Predict(report, max_J, prediction)) return;
    const double ratio = MedianRatio(report, max_J, prediction);
    if (ratio > 1.0 / kAgreement && ratio < kAgreement) {
        return CheckSingleUnits(report, max_J, prediction);
    }
    const double factor = FactorOf(ratio);
    if (factor == 0.0) return;
    report.TellLine(FindingCode::UnitMismatch, {features.front().transitions.front().line, 1},
                    "the measured frequencies are about " + TextOf(factor) + " times " +
                        (ratio > 1.0 ? "larger" : "smaller") +
                        " than the calculated ones; the unit of both should be " +
                        NameOf(report.job.input.unit));
}

// The first words of an assignment file that are a type which the moment does not have. Turned axes
// mix the types.
void CheckBandWords(PhysicsReport& report) {
    const Job& job = report.job;
    if (job.lines->format != LineFormat::Asn || !job.input.moment) return;
    for (const StateIndex state : {kLower, kUpper}) {
        if (report.Uses(state) && !job.input.states[state].tilt.IsZero()) return;
    }
    const auto& moment = report.model.moment.component;
    const double largest =
        std::max({std::fabs(moment[0]), std::fabs(moment[1]), std::fabs(moment[2])});
    if (largest == 0.0) return;
    LineSplitter lines(job.lines->text);
    while (lines.Next()) {
        const std::vector<LineWord> words = WordsOf(lines.line());
        if (words.size() < 2 || words[0].text.size() != 1) continue;
        const std::size_t type = std::string_view("aAbBcC").find(words[0].text[0]) / 2;
        if (type > 2 || std::fabs(moment[type]) > 1e-6 * largest) continue;
        const char axis = "abc"[type];
        report.TellLine(FindingCode::BandWord, lines.At(words[0].offset),
                        std::string(words[0].text) + " says a line of type " + axis +
                            ", but the moment has no component on " + axis);
    }
}

}  // namespace

void CheckLines(PhysicsReport& report) {
    if (!report.job.lines) return;
    if (report.is_rotor && !report.job.lines->features.empty()) CheckUnit(report);
    CheckBandWords(report);
}

}  // namespace kiv
