// Models with lines computed by the slow independent rotor, and fits of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
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
    for (int Jl = 0; Jl <= max_J; ++Jl) {
        for (int Ju = Jl == 0 ? 1 : Jl - 1; Ju <= std::min(max_J, Jl + 1); ++Ju) {
            for (int i = 0; i < (2 * Jl + 1) * (2 * Ju + 1); ++i) {
                const int l = i / (2 * Ju + 1), u = i % (2 * Ju + 1);
                const double position = origin + above[Ju][u] - below[Jl][l];
                if (position <= least || random() % take != 0) continue;
                lines.push_back({Ju, (u + 1) / 2, Ju - u / 2, Jl, (l + 1) / 2, Jl - l / 2, position,
                                 0.5 + 0.1 * (i % 7)});
            }
        }
    }
    return lines;
}

/// All matches i < j of `keys` that share the level that FitData asks for, by comparing all, with
/// room for one less than `room`; `too_many` counts those that were given up.
inline std::vector<std::pair<int, int>> SlowPairs(const Keys& keys, FitData data, int room,
                                                  int& too_many) {
    const bool of_lower = data == FitData::LowerDifferences;
    std::vector<std::pair<int, int>> pairs;
    const int num = static_cast<int>(keys.size());
    too_many = 0;
    for (int i = 0; i < num; ++i) {
        for (int j = i + 1; j < num; ++j) {
            const std::uint64_t a = keys[i], b = keys[j];
            const bool same_upper =
                KeyJUpper(a) == KeyJUpper(b) && KeyTauUpper(a) == KeyTauUpper(b);
            const bool same_lower =
                KeyJLower(a) == KeyJLower(b) && KeyTauLower(a) == KeyTauLower(b);
            if (!(of_lower ? same_upper : same_lower)) continue;
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
    Model model;
    Settings settings;
    Assignments assignments;
    Model truth;  // when the lines were set
    Workspace work;
    Report silent;

    /// Two different rotors with quartic constants, all to be varied.
    FitTest() {
        constexpr Constant kQuartic[] = {Constant::DK, Constant::DJK, Constant::DJ, Constant::dK,
                                         Constant::dJ};
        constexpr double kValues[] = {2e-3, 4e-4, 6e-4, 2e-4, 1e-4};
        model = TwoStates();
        for (int i = 0; i < 5; ++i) {
            model.lower().Set(kQuartic[i], kValues[i]);
            model.upper().Set(kQuartic[i], 1.2 * kValues[i]);
        }
        model.origin.value = 1000.0;
        VaryPresent();
        settings.max_J = 6;
        settings.lines.temperature = 0.0;
        settings.fit.reject_above = 1e6;
        settings.fit.cycles = 6;
    }

    Term& At(int state, int c) {
        return c == kNumConstants ? model.origin : model.states[state].terms[c];
    }
    void VaryPresent() {
        model.origin.fit = true;
        for (State& state : model.states) {
            for (Term& term : state.terms.values) term.fit = term.on;
        }
    }
    void VaryNothing() {
        model.origin.fit = false;
        for (State& state : model.states) {
            for (Term& term : state.terms.values) term.fit = false;
        }
    }

    /// Multiplies the varied constants by numbers between 1 - size and 1 + size.
    void Disturb(double size) {
        for (int i = 0; i < 2 * (kNumConstants + 1); ++i) {
            if (i == kNumConstants) continue;  // the lower state has no origin
            Term& term = At(i / (kNumConstants + 1), i % (kNumConstants + 1));
            if (term.fit) term.value *= 1.0 + size * std::cos(2 * i);
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

    Result<FitResult> Run() { return RunFit(model, settings, assignments, work); }

    /// The result of a fit that must not fail.
    FitResult Fitted() {
        auto result = Run();
        if (result) return std::move(result).value();
        ADD_FAILURE() << result.error().text;
        return {};
    }

    /// Every constant as in `truth`; A, B, C and the origin are known better than the small ones.
    /// Positions of 1e3 are good to 1e-9 at best.
    void ExpectTruth(const Model& found, double tolerance = 2e-5) const {
        const auto expect = [&](const Term& is, const Term& was, double scale) {
            EXPECT_NEAR(is.value, was.value, tolerance * std::fabs(was.value) * scale);
            EXPECT_TRUE(was.value != 0.0 || is.sd == 0.0);
        };
        expect(found.origin, truth.origin, 1e-4);
        for (int i = 0; i < 2 * kNumConstants; ++i) {
            SCOPED_TRACE(i);
            const int state = i / kNumConstants, c = i % kNumConstants;
            expect(found.states[state].terms[c], truth.states[state].terms[c], c < 3 ? 1e-4 : 1.0);
        }
    }
};

}  // namespace kiv
