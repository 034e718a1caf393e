// Models with lines computed by the slow independent rotor, and fits of them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "kiv/fit.h"
#include "lines/LineTest.h"
#include "support/SlowRotor.h"

namespace kiv {

using MeasuredLines = std::vector<MeasuredLine>;

/// Every `take`-th pair of levels on average, with positions above `least`.
inline MeasuredLines SlowLines(const State& lower, const State& upper, double origin, int max_J,
                               unsigned take, double least) {
    std::vector<std::vector<double>> below, above;
    for (int J = 0; J <= max_J; ++J) {
        below.push_back(SlowSolve(J, lower).energy);
        above.push_back(SlowSolve(J, upper).energy);
    }
    std::mt19937 random(5);
    MeasuredLines lines;
    ForEachPair(max_J, [&](int Jl, int Ju, int l, int u) {
        const double position = origin + above[Ju][u] - below[Jl][l];
        if (position <= least || random() % take != 0) return;
        const Label q = LabelOf(Jl, Ju, l, u);
        lines.push_back({q[0], q[1], q[2], q[3], q[4], q[5], position, 0.5 + 0.1 * (u % 7)});
    });
    return lines;
}

/// All matches i < j of `keys` that share the level that `data` asks for, by comparing all, with
/// room for one less than `room`; `too_many` counts those that were given up.
inline std::vector<std::pair<int, int>> SlowPairs(const Keys& keys, FitData data, int room,
                                                  int& too_many) {
    const bool of_lower = data == FitData::LowerDifferences;
    const auto level = [&](std::size_t i) {
        const std::uint64_t k = keys[i];
        return of_lower ? std::pair(KeyJUpper(k), KeyTauUpper(k))
                        : std::pair(KeyJLower(k), KeyTauLower(k));
    };
    std::vector<std::pair<int, int>> pairs;
    too_many = 0;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        for (std::size_t j = i + 1; j < keys.size(); ++j) {
            if (level(i) != level(j)) continue;
            pairs.emplace_back(of_lower ? j : i, of_lower ? i : j);
            if (static_cast<int>(pairs.size()) < room) continue;
            ++too_many;
            pairs.pop_back();
            break;
        }
    }
    return pairs;
}

class FitTest : public testing::Test {
  protected:
    Model model, truth;  // truth: when the lines were set
    Settings settings = Strengths(6);
    Assignments assignments;
    Workspace work;
    Report silent;

    /// Two different rotors with quartic constants, all to be varied.
    FitTest() {
        constexpr double kValues[] = {2e-3, 4e-4, 6e-4, 2e-4, 1e-4};  // DK DJK DJ dK dJ
        model = TwoStates();
        for (int i = 0; i < 5; ++i) {
            const auto c = static_cast<Constant>(static_cast<int>(Constant::DK) + i);
            model.lower().Set(c, kValues[i]);
            model.upper().Set(c, 1.2 * kValues[i]);
        }
        model.origin.value = 1000.0;
        VaryPresent();
        settings.fit.reject_above = 1e6;
        settings.fit.cycles = 6;
    }

    /// Every constant of a model by number, the origin last.
    static constexpr int kTerms = 2 * kNumConstants + 1;
    static Term& TermOf(Model& of, int i) {
        if (i == 2 * kNumConstants) return of.origin;
        return of.states[i / kNumConstants].terms[i % kNumConstants];
    }
    void VaryPresent(bool fit = true) {
        for (int i = 0; i < kTerms; ++i) TermOf(model, i).fit = fit && TermOf(model, i).on;
    }

    /// Multiplies the varied constants by numbers between 1 - size and 1 + size.
    void Disturb(double size) {
        for (int i = 0; i < kTerms; ++i) {
            if (TermOf(model, i).fit) TermOf(model, i).value *= 1.0 + size * std::cos(2 * i);
        }
    }

    void Assign(const MeasuredLines& first, const MeasuredLines& second = {}) {
        auto lines = Assignments::From(first, second, work.memory());
        ASSERT_TRUE(lines) << lines.error().text;
        assignments = std::move(lines).value();
        truth = model;
    }
    MeasuredLines SlowBand(unsigned take) const {
        return SlowLines(model.lower(), model.upper(), model.origin.value, settings.max_J, take,
                         -1e30);
    }
    MeasuredLines SlowRotation(unsigned take) const {
        return SlowLines(model.lower(), model.lower(), 0.0, settings.max_J, take, 1e-3);
    }

    /// The result of a fit that must not fail.
    FitResult Fitted(Report& report, LineChoice last = LineChoice::All) {
        auto result = RunFit(model, settings, assignments, last, work, report);
        if (result) return std::move(result).value();
        ADD_FAILURE() << result.error().text;
        return {};
    }
    FitResult Fitted() { return Fitted(silent); }

    /// Every constant as in `truth`; A, B, C and the origin are known better than the small ones.
    /// Positions of 1e3 are good to 1e-9 at best.
    void ExpectTruth(Model found, double tolerance = 2e-5) {
        for (int i = 0; i < kTerms; ++i) {
            const double was = TermOf(truth, i).value;
            const bool large = i % kNumConstants < 3 || i == kTerms - 1;
            EXPECT_NEAR(TermOf(found, i).value, was,
                        tolerance * std::fabs(was) * (large ? 1e-4 : 1.0))
                << i;
            EXPECT_TRUE(was != 0.0 || TermOf(found, i).sd == 0.0) << i;
        }
    }
};

}  // namespace kiv
