// What outlives a calculation: room of lists, workspaces, known solutions; and refused memory.

#include <cmath>
#include <functional>
#include <thread>

#include "base/ArrayName.h"
#include "lines/LineSearch.h"
#include "lines/LineStore.h"
#include "lines/LineTest.h"

namespace kiv {
namespace {

Bits BitsOf(const Result<LineList>& lines) {
    return lines ? BitsOf(lines.value()) : Bits{"error: " + lines.error().text};
}

Bits BitsOf(const Calculation& calculation, Workspace& work) {
    Report silent;
    return BitsOf(calculation.Run(work, silent));
}

Bits BitsOf(const Calculation& calculation) {
    Workspace fresh;
    return BitsOf(calculation, fresh);
}

// A list grows when it is full, without losing or changing a line; where it does not fit, the array
// is named.
TEST(LineList, GrowsWithoutLosingALine) {
    constexpr int kMaxJ = 20;
    for (const bool one_state : {false, true}) {
        Model model = one_state ? OneState() : TwoStates();
        model.lower().tilt = {20, 30, one_state ? 40.0 : 0.0};
        const LineRules rules = Strengths(0).lines;
        Workspace work;
        Report silent;
        const auto levels = [&](const State& state) {
            return SolveLevels(state, kMaxJ, true, work, silent).value();
        };
        const Levels lower = levels(model.lower()), upper = levels(model.upper());
        Cosines cosines;
        ASSERT_TRUE(cosines.Fill(work.memory(), kMaxJ).ok());
        const LineTask task{
            &lower, one_state ? &lower : &upper, &cosines, &rules, 100.0, {0.3, 0.4, 0.5}, {}};
        const auto search = [&](std::int32_t room, Workspace& of, Report& report, LineList& list) {
            const Status reserved = list.Reserve(of.memory(), room, true, one_state);
            return reserved.ok() ? SearchLines(task, of, report, list) : reserved;
        };
        LineList expected;
        ASSERT_TRUE(search(kFirstLines, work, silent, expected).ok());
        ASSERT_GT(expected.size, kMoreLines);
        for (const std::int32_t room : {expected.size + 1, expected.size, expected.size - 1, 1}) {
            LineList list;
            Listener listener;
            ASSERT_TRUE(search(room, work, listener, list).ok());
            EXPECT_EQ(list.capacity, room + kMoreLines * listener.grown);
            EXPECT_GT(list.capacity, list.size);
            const std::int32_t lacking = expected.size - room;
            EXPECT_EQ(listener.grown, lacking < 0 ? 0 : lacking / kMoreLines + 1);
            EXPECT_EQ(BitsOf(list), BitsOf(expected));
        }
        if (!one_state) continue;
        using namespace array_name;
        const std::set<std::string> names = {kMorePositions,       kMoreIntensities, kAmplitudes,
                                             kImaginaryAmplitudes, kBands,           kMatches,
                                             kLineLabels,          kLowerLevels,     kUpperLevels};
        const auto refused = RefuseInTurn([&](Workspace& other) {
            LineList list;
            return search(10, other, silent, list);
        });
        EXPECT_TRUE(std::includes(refused.begin(), refused.end(), names.begin(), names.end()));
    }
}

// The error of a refused request names the array, nothing is kept but the scratch, and the next
// calculation finds it sound. A calculation is cancelled wherever it asks.
TEST(Workspace, SurvivesEveryRefusal) {
    using namespace array_name;
    const std::set<std::string> of_lines = {
        kCosines,          kPositions,      kIntensities, kAmplitudes,  kBands,
        kMatches,          kLineLabels,     kLowerLevels, kFactors,     kWeights,
        kCouplings,        kPairAmplitudes, kUpperRows,   kUpperList,   kPairValues,
        kStoredAmplitudes, kPairLines,      kClassLevels, kClassVectors};
    for (const double chi : {0.0, 40.0}) {
        Calculation calculation;
        calculation.model.lower().Set(Constant::PX, 0.3);  // classes finer than common ones
        calculation.model.upper().tilt.chi = chi;
        const Bits expected = BitsOf(calculation);
        const auto names = RefuseInTurn([&](Workspace& work) {
            Report silent;
            auto lines = calculation.Run(work, silent);
            EXPECT_TRUE(!lines || BitsOf(lines) == expected);
            return lines;
        });
        EXPECT_TRUE(std::includes(names.begin(), names.end(), of_lines.begin(), of_lines.end()));
        EXPECT_EQ(names.contains(kImaginaryAmplitudes), chi != 0.0);
        EXPECT_FALSE(names.contains(""));
        Workspace work;
        EXPECT_GE(CancelInTurn([&](Report& report) { return calculation.Run(work, report); }),
                  5 + 2);  // once a J of the lines, once at least a state
    }
}

// Calculations of many models, among them such that end early or are of no numbers, give what each
// gives alone, and hold no more memory the longer they go on.
TEST(Workspace, KeepsNothingOfItsCalculations) {
    constexpr unsigned kModels = 50, kRounds = 20;
    std::vector<Calculation> calculations;
    std::vector<Bits> expected;
    for (unsigned i = 0; i < kModels; ++i) {
        calculations.push_back(RandomCalculation(i));
        if (i % 10 == 7) calculations.back().settings.lines.delta_K = -1;  // no lines
        expected.push_back(BitsOf(calculations.back()));
    }
    Workspace work;
    Memory memory = work.memory();
    std::int64_t held = 0;
    for (unsigned round = 0; round < kRounds; ++round) {
        for (unsigned k = 0; k < kModels; ++k) {
            const unsigned i = k * (2 * round + 1) % kModels;
            Listener canceller, silent;
            canceller.grants = static_cast<int>((round + k) % 7);
            (void)calculations[kModels - 1 - i].Run(work, canceller);
            memory.RefuseAfter(1 + (round * 7 + k) % 40);
            (void)calculations[(i + 1) % kModels].Run(work, silent);
            memory.RefuseAfter(-1);
            Model spoiled = calculations[(i + 2) % kModels].model;
            for (State& state : spoiled.states) state.Set(Constant::A, std::nan(""));
            const LineRules rules;
            const PassTask task{&spoiled, 9, &rules, nullptr, LineChoice::All, k % 2 == 0};
            PassRoom room;
            ASSERT_TRUE(room.Reserve(task, memory).ok());
            (void)RunPass(task, work, silent, room);
            EXPECT_EQ(BitsOf(calculations[i], work), expected[i]) << i << " " << round;
        }
        if (round == 0) held = memory.held();
        EXPECT_LT(memory.held(), held + held / 10) << round;  // it depends on the order
    }
}

// A room knows the solutions of its states: they are made anew when anything they depend on has
// changed, and only then, and the lines are those of a fresh room.
TEST(PassRoom, SolvesChangedStatesAlone) {
    Model model = TwoStates();
    for (State& state : model.states) state.Set(Constant::DK, 1e-3).tilt = {10, 20, 30};
    Settings settings = Strengths(9);
    Workspace work;
    Report silent;
    PassRoom room;
    PassTask task{&model, 9, &settings.lines, nullptr, LineChoice::All, true};
    ASSERT_TRUE(room.Reserve(task, work.memory()).ok());
    const auto solved = [&](bool wants_levels = false) {
        Listener listener;
        listener.wants_levels = wants_levels;
        EXPECT_TRUE(RunPass(task, work, listener, room).ok());
        PassRoom fresh;
        Workspace other;
        EXPECT_TRUE(fresh.Reserve(task, other.memory()).ok());
        EXPECT_TRUE(RunPass(task, other, silent, fresh).ok());
        // a room of two states has no place for the upper levels of a list of one
        if (task.within_lower) fresh.lines.upper_level.Clear();
        EXPECT_EQ(BitsOf(room.lines), BitsOf(fresh.lines));
        return listener.solved;
    };
    EXPECT_EQ(solved(), 2);
    EXPECT_EQ(solved(), 0);
    model.lower().terms[Constant::A].value *= 1.0000001;
    EXPECT_EQ(solved(), 1);
    model.upper().reduction = Reduction::S;
    EXPECT_EQ(solved(), 1);
    for (State& state : model.states) state.tilt.chi += 1e-9;
    EXPECT_EQ(solved(), 2);
    model.lower().terms[Constant::DK].on = false;
    EXPECT_EQ(solved(), 1);
    EXPECT_EQ(solved(true), 2);  // a listener wants to hear it
    model.origin.value = 7.0;
    model.moment = Moment::FromPercent({50, -20, 0});
    settings.lines.spin_weights = {1, 2, 3, 4};
    settings.lines.temperature = 1e-3;
    EXPECT_EQ(solved(), 0);
    task.within_lower = true;
    EXPECT_EQ(solved(), 0);
    model.lower().terms[Constant::C].value *= 1.01;
    model.upper().terms[Constant::C].value *= 1.01;
    EXPECT_EQ(solved(), 1);  // of the upper state not before it is needed
    task.within_lower = false;
    EXPECT_EQ(solved(), 1);
    // a solution that was broken off is none
    model.upper().terms[Constant::B].value *= 1.01;
    Listener canceller;
    canceller.grants = 2;
    EXPECT_FALSE(RunPass(task, work, canceller, room).ok());
    EXPECT_EQ(solved(), 1);
    // levels that are no numbers leave nothing to others of more symmetry
    for (const EulerAngles& tilt : {EulerAngles{}, {0, 40, 0}, {40, 0, 0}, {90, 40, 0}}) {
        const Model before = model;
        for (State& state : model.states) state.Set(Constant::DK, std::nan("")).tilt = {10, 20, 30};
        (void)RunPass(task, work, silent, room);
        model = before;
        for (State& state : model.states) state.tilt = tilt;
        EXPECT_EQ(solved(), 2);
    }
}

// Threads with a workspace each calculate what one thread calculates.
TEST(Threads, GiveTheBitsOfOneThread) {
    constexpr std::size_t kThreads = 8;
    constexpr unsigned kEach = 6;
    std::vector<Bits> expected(kThreads), found(kThreads);
    const auto calculate = [](std::size_t thread, Bits& bits) {
        Workspace work;
        for (unsigned i = 0; i < kEach; ++i) {
            const unsigned seed = static_cast<unsigned>(thread) * kEach + i;
            bits.bytes += BitsOf(RandomCalculation(seed), work).bytes;
        }
    };
    for (std::size_t t = 0; t < kThreads; ++t) calculate(t, expected[t]);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back(calculate, t, std::ref(found[t]));
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t t = 0; t < kThreads; ++t) EXPECT_EQ(found[t], expected[t]) << t;
}

}  // namespace
}  // namespace kiv
