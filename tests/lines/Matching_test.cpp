// Matching of assigned lines, and that no listener or assignment changes which lines there are.

#include <random>
#include <set>

#include "lines/LineTest.h"

namespace kiv {
namespace {

/// `num` keys with a few repeated, possible and impossible, in the order of calculation.
Keys RandomKeys(std::mt19937& random, int max_J, int num) {
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    Keys keys;
    for (int k = 0; k < num; ++k) {
        const int Jl = below(max_J + 2), Ju = std::max(0, Jl - 1 + below(3));
        keys.push_back(LineKey(Jl, Ju, below(2 * Jl + 1), below(2 * Ju + 1)));
        if (k % 10 == 0) keys.push_back(keys.back());
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

Keys MatchedKeys(const LineList& list) {
    Keys keys;
    for (std::int32_t k = 0; k < list.matched; ++k) keys.push_back(KeyOf(list, list.match_line[k]));
    return keys;
}

TEST(Matching, PairsEachAssignmentWithItsOwnLine) {
    // impossible (0-0), good, good twice, J changes by two, good, and two beyond the last pair
    const Keys keys = {LineKey(0, 0, 0, 0), LineKey(1, 1, 0, 1), LineKey(2, 1, 0, 0),
                       LineKey(2, 1, 0, 0), LineKey(2, 4, 0, 0), LineKey(3, 3, 2, 3),
                       LineKey(9, 9, 0, 0), LineKey(9, 9, 0, 1)};
    const Assignments assignments = Assign(keys);
    Calculation calculation{.assignments = &assignments};
    calculation.settings.lines.temperature = 1e-4;
    calculation.settings.lines.min_intensity = 1e9;  // nothing but assigned lines
    Listener listener;
    const LineList list = calculation.Run(listener);
    EXPECT_EQ(list.size, 3);
    EXPECT_EQ(MatchedKeys(list), (Keys{keys[1], keys[2], keys[5]}));
    const std::int32_t matches[] = {1, 2, 5};
    for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(list.match_assignment[k], matches[k]);
    // those behind the last pair are counted without being told
    EXPECT_EQ(listener.missing, (std::vector<std::int32_t>{0, 3, 4}));
    EXPECT_EQ(list.missing, 5);
}

// A pass between the states sees the first set, one within the lower state the second, in which a
// pair that goes down in energy has no line.
TEST(Matching, KeepsTheSetsApart) {
    const Assignments assignments =
        Assign({LineKey(1, 1, 0, 1), LineKey(1, 2, 1, 1)},
               {LineKey(1, 2, 0, 0), LineKey(2, 2, 1, 0), LineKey(2, 3, 1, 2)});
    const Model model = TwoStates();
    const Settings settings = Strengths(4);
    Workspace work;
    Listener listener;
    PassRoom room;
    PassTask task{&model, 4, &settings.lines, &assignments};
    ASSERT_TRUE(room.Reserve(task, work.memory()).ok());
    ASSERT_TRUE(RunPass(task, work, listener, room).ok());
    ASSERT_EQ(room.lines.matched, 2);
    EXPECT_EQ(room.lines.missing, 0);
    EXPECT_EQ(room.lines.match_assignment[1], 1);
    task.within_lower = true;
    ASSERT_TRUE(RunPass(task, work, listener, room).ok());
    ASSERT_EQ(room.lines.matched, 2);
    EXPECT_EQ(room.lines.match_assignment[0], 2);
    EXPECT_EQ(room.lines.match_assignment[1], 4);
    EXPECT_EQ(listener.missing, (std::vector<std::int32_t>{3}));
    for (std::int32_t n = 0; n < room.lines.size; ++n) {
        const Label q = LabelOf(room.lines, n);
        EXPECT_EQ(room.lines.position[n],  // the band origin is none of it
                  room.lower().Energy(q[0], q[0] + q[1] - q[2]) -
                      room.lower().Energy(q[3], q[3] + q[4] - q[5]));
        EXPECT_GE(room.lines.position[n], 0.0);
    }
}

// With a temperature and a negative cut-off every pair is a line, also one that symmetry or a
// Boltzmann factor of 0 makes dark.
TEST(LineRules, KeepEveryPairAboveANegativeCutOff) {
    constexpr int kMaxJ = 5;
    for (const bool one_state : {false, true}) {
        for (const double DK : {0.0, 2.0}) {
            Calculation calculation{.model = one_state ? OneState() : TwoStates(),
                                    .settings = Strengths(kMaxJ)};
            for (State& state : calculation.model.states) state.Set(Constant::DK, DK);
            LineRules& rules = calculation.settings.lines;
            rules.temperature = 1e-3;
            rules.min_intensity = -1e-9;
            Workspace work;
            const Levels lower = SolveLevels(calculation.model.lower(), kMaxJ, work).value();
            std::int32_t pairs = 0;
            ForEachPair(kMaxJ, [&](int Jl, int Ju, int l, int u) {
                pairs += !one_state || lower.Energy(Ju, u) >= lower.Energy(Jl, l);
            });
            const LineList list = calculation.Run();
            EXPECT_EQ(list.size, pairs);
            EXPECT_GT(std::count(list.intensity.begin(), list.intensity.begin() + list.size, 0.0F),
                      list.size / 8);
            rules.temperature = 0.0;
            EXPECT_LT(calculation.Run().size, pairs - pairs / 8);  // no cut-off: none is dark
        }
    }
}

// For every combination of rules: a listener changes nothing, assignments add their own lines and
// change nothing else, and the lookup of the assigned lines tells, counts and finds what the search
// does.
void ExpectSameLinesForAll(Calculation calculation) {
    Listener silent, listening, quiet, loud, looking;
    listening.wants_pairs = loud.wants_pairs = true;
    const LineList plain = calculation.Run(silent);
    EXPECT_EQ(BitsOf(calculation.Run(listening)), BitsOf(plain));
    EXPECT_EQ(listening.kept, plain.size);
    EXPECT_GE(listening.pairs, plain.size);

    std::mt19937 random(3);
    const Keys keys = RandomKeys(random, calculation.settings.max_J, 200);
    const Assignments assignments = Assign(keys);
    calculation.assignments = &assignments;
    const LineList more = calculation.Run(quiet);
    EXPECT_EQ(BitsOf(calculation.Run(loud)), BitsOf(more));
    EXPECT_EQ(more.matched + more.missing, assignments.size);
    ASSERT_GT(more.matched, 5);
    std::int32_t of_plain = 0;
    for (std::int32_t n = 0; n < more.size; ++n) {
        if (of_plain < plain.size && KeyOf(plain, of_plain) == KeyOf(more, n)) {
            EXPECT_EQ(BitsOf(plain, of_plain++), BitsOf(more, n));
        } else {
            EXPECT_TRUE(std::binary_search(keys.begin(), keys.end(), KeyOf(more, n)));
        }
    }
    EXPECT_EQ(of_plain, plain.size);
    calculation.choice = LineChoice::Assigned;
    const LineList assigned = calculation.Run(looking);
    ASSERT_EQ(assigned.size, more.matched);
    for (std::int32_t n = 0; n < assigned.size; ++n) {
        const std::int32_t line = more.match_line[n];
        EXPECT_EQ(keys[static_cast<std::size_t>(more.match_assignment[n])], KeyOf(more, line));
        EXPECT_EQ(more.match_assignment[n], assigned.match_assignment[n]);
        EXPECT_EQ(assigned.match_line[n], n);
        EXPECT_EQ(KeyOf(assigned, n), KeyOf(more, line));
        EXPECT_EQ(assigned.position[n], more.position[line]);
        EXPECT_EQ(assigned.lower_level[n], more.lower_level[line]);
    }
    for (const Listener* other : {&listening, &quiet, &loud, &looking}) {
        EXPECT_EQ(other->negative, silent.negative);
        EXPECT_EQ(other->missing, other == &listening ? silent.missing : quiet.missing);
    }
}

class RuleGrid : public testing::TestWithParam<std::tuple<bool, EulerAngles>> {};

TEST_P(RuleGrid, LinesDependOnTheRulesAlone) {
    const auto& [one_state, tilt] = GetParam();
    Calculation calculation{.model = one_state ? OneState() : TwoStates()};
    calculation.model.moment.component[1] = 0.0;
    calculation.model.states[one_state ? kLower : kUpper].tilt = tilt;
    calculation.model.lower().Set(Constant::DK, 2.0);  // some energies are negative
    LineRules& rules = calculation.settings.lines;
    rules.spin_weights = {1, 0, 2, 1};
    for (int i = 0; i < 24; ++i) {
        SCOPED_TRACE(i);
        rules.min_intensity = i % 3 == 0 ? -1.0 : i % 3 == 1 ? 0.0 : 1e-6;
        rules.temperature = i / 3 % 2 == 0 ? 0.0 : 1e-3;
        rules.delta_K = i / 6 % 2 == 0 ? 1 : kAllDeltaK;
        rules.parity.reset();
        if (i / 12 != 0) rules.parity = ParityRule{false, true};
        ExpectSameLinesForAll(calculation);
    }
}

// Symmetric, with one rotation left, and without any, which is complex.
INSTANTIATE_TEST_SUITE_P(, RuleGrid,
                         testing::Combine(testing::Bool(),
                                          testing::Values(EulerAngles{}, EulerAngles{0, 40, 0},
                                                          EulerAngles{20, 30, -70})));

}  // namespace
}  // namespace kiv
