// Turned states: a common turn of the states and of the moment changes nothing, however small the
// splitting of an asymmetry doublet is.

#include <cmath>

#include "lines/LineTest.h"

namespace kiv {
namespace {

constexpr EulerAngles kTurns[] = {{2, 5, 3},    {0, 5, 0},   {30, 0, 0},       {0, 90, 0},
                                  {90, 90, 90}, {90, 25, 0}, {-170, 200, 95},  {0, 0, -140},
                                  {0, 1e-3, 0}, {0, 40, 90}, {1e-4, 2e-4, 1.0}};

/// Rotors with unresolved doublets at high and at low Ka, and with levels that agree exactly.
std::vector<std::array<State, 2>> Rotors() {
    return {{State::Rigid(60778.5522, 10318.0722, 8799.7023), State::Rigid(58130, 10410, 8640)},
            {State::Rigid(3.0, 2.9, 1.5), State::Rigid(2.9, 2.85, 1.4)},
            {State::Rigid(5, 2, 2), State::Rigid(5.1, 1.9, 1.9)},
            {State::Rigid(5, 5, 2), State::Rigid(4.9, 4.8, 2)}};
}

void TurnAll(Calculation& calculation, const EulerAngles& turn) {
    for (State& state : calculation.model.states) state.tilt = turn;
}

// The lines of `turned` are those of `upright`; what it has more is dark.
void ExpectSameLines(const std::map<Label, Line>& upright, const std::map<Label, Line>& turned) {
    double strongest = 0.0;
    for (const auto& [label, line] : upright) strongest = std::max(strongest, line.intensity);
    for (const auto& [label, line] : upright) {
        if (line.intensity < 1e-12 * strongest) continue;  // below the rounding of the sums
        const auto found = turned.find(label);
        ASSERT_NE(found, turned.end()) << testing::PrintToString(label);
        EXPECT_NEAR(found->second.position, line.position, 1e-9 * std::fabs(line.position));
        EXPECT_NEAR(found->second.intensity, line.intensity,
                    2e-6 * line.intensity + 1e-15 * strongest)
            << testing::PrintToString(label);
    }
    for (const auto& [label, line] : turned) {
        if (upright.contains(label)) continue;
        EXPECT_LT(line.intensity, 1e-18 * strongest) << testing::PrintToString(label);
    }
}

TEST(TurnedLines, AreThoseOfTheUprightStates) {
    for (const auto& states : Rotors()) {
        for (const bool one_state : {false, true}) {
            Calculation calculation{.settings = Strengths(25)};
            calculation.settings.lines.delta_K = 8;
            calculation.model.states = {states[0], states[1]};
            calculation.model.one_state = one_state;
            calculation.model.origin.value = one_state ? 0.0 : 1e5;
            const auto upright = ByLabel(calculation.Run());
            for (const EulerAngles& turn : kTurns) {
                SCOPED_TRACE(testing::PrintToString(std::array{turn.phi, turn.theta, turn.chi}));
                TurnAll(calculation, turn);
                ExpectSameLines(upright, ByLabel(calculation.Run()));
            }
            TurnAll(calculation, {});
        }
    }
}

// What a workspace was used for before shows in no bit, and every array can be refused.
TEST(TurnedLines, DoNotDependOnTheWorkspace) {
    Workspace work;
    Report silent;
    for (const auto& [max_J, turn] : {std::pair(9, kTurns[0]),
                                      {4, kTurns[1]},
                                      {12, {}},
                                      {13, kTurns[2]},
                                      {9, kTurns[0]},
                                      {2, kTurns[3]}}) {
        Calculation calculation{.settings = Strengths(max_J)};
        TurnAll(calculation, turn);
        const Result<LineList> lines = calculation.Run(work, silent);
        ASSERT_TRUE(lines);
        EXPECT_EQ(BitsOf(lines.value()), BitsOf(calculation.Run()));
    }
    Calculation calculation{.settings = Strengths(3)};
    TurnAll(calculation, kTurns[0]);
    const auto names = RefuseInTurn([&](Workspace& of) { return calculation.Run(of, silent); });
    EXPECT_TRUE(names.contains("symmetry blocks"));
}

}  // namespace
}  // namespace kiv
