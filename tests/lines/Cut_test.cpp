// Cut-offs, ranges and threads: they choose among the lines of the full search and change none.
#include <algorithm>
#include <optional>
#include <random>

#include "lines/LineTest.h"

namespace kiv {
namespace {

// The bytes of the chosen lines of a list.
template <class Choose>
std::string Chosen(const LineList& list, const Choose& choose) {
    std::string bytes;
    for (std::int32_t n = 0; n < list.size; ++n) {
        if (choose(n)) bytes += BitsOf(list, n).bytes;
    }
    return bytes;
}

std::string All(const LineList& list) {
    return Chosen(list, [](std::int32_t) { return true; });
}

// A cut-off with the given share of the lines above it that is not close to the intensity of any.
std::optional<double> CutAbove(const LineList& list, double share) {
    std::vector<float> x(list.intensity.begin(), list.intensity.begin() + list.size);
    std::sort(x.begin(), x.end());
    auto k = static_cast<std::size_t>((1.0 - share) * static_cast<double>(x.size() - 1));
    for (; k + 1 < x.size(); ++k) {
        const double low = x[k], high = x[k + 1];
        if (low > 0.0 && high > low * (1.0 + 1e-5)) return 0.5 * (low + high);
    }
    return std::nullopt;
}

// The list of a calculation; empty when there are no lines.
LineList Lines(const Calculation& calculation, Workspace& work) {
    Report silent;
    Result<LineList> lines = calculation.Run(work, silent);
    if (lines) return std::move(lines).value();
    EXPECT_EQ(lines.error().code, ErrorCode::NoLines);
    return {};
}

// Temperatures, weights and a window at random; any may make intensities negative.
Calculation RandomThermal(unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](unsigned n) { return static_cast<int>(random() % n); };
    Calculation calculation = RandomCalculation(seed);
    LineRules& rules = calculation.settings.lines;
    constexpr double kTemperatures[] = {1e-4, 1e-3, 1e-2, 1.0};
    rules.temperature = kTemperatures[below(4)];
    if (below(3) == 0) {
        rules.temperature2 = kTemperatures[below(4)];
        rules.weight2 = below(2) == 0 ? 0.7 : -0.4;
    }
    for (std::int32_t& weight : rules.spin_weights) weight = below(4) - (seed % 11 == 0);
    if (calculation.model.one_state && below(3) == 0) calculation.model.origin.value = 5.0;
    if (below(5) == 0) rules.parity = ParityRule{below(2) == 0, below(2) == 0};
    return calculation;
}

// The near-prolate rotor of distorted states whose weakest lines change Ka by many units.
Calculation Prolate(int max_J) {
    Calculation calculation{.model = OneState(), .settings = Strengths(max_J)};
    State& state = calculation.model.lower();
    state = State::Rigid(60778.0, 10318.0, 8799.0);
    state.Set(Constant::DJ, 1e-2).Set(Constant::DJK, -1e-2).Set(Constant::DK, 0.5);
    state.Set(Constant::dJ, 1e-3).Set(Constant::dK, 1e-2);
    calculation.settings.lines.temperature = 300.0;
    return calculation;
}

void ExpectCut(Calculation calculation, Workspace& work, unsigned seed) {
    LineRules& rules = calculation.settings.lines;
    rules.min_intensity = 0.0;
    const LineList full = Lines(calculation, work);
    if (full.size == 0) return;
    std::mt19937 random(seed);
    for (const double share : {1e-4, 0.03, 0.3, 0.9, 0.999}) {
        const std::optional<double> cut = CutAbove(full, share);
        if (!cut) continue;
        rules.min_intensity = *cut;
        std::array<double, 2> range = {full.position[random() % full.size],
                                       full.position[random() % full.size]};
        std::sort(range.begin(), range.end());
        for (const bool is_ranged : {false, true}) {
            rules.range.reset();
            if (is_ranged) rules.range = range;
            const LineList list = Lines(calculation, work);
            const auto is_line = [&](std::int32_t n) {
                const double x = full.position[n];
                return static_cast<double>(full.intensity[n]) > *cut &&
                       (!is_ranged || (x >= range[0] && x <= range[1]));
            };
            ASSERT_EQ(All(list), Chosen(full, is_line)) << seed << " " << share << is_ranged;
        }
    }
}

TEST(Cut, LeavesTheLinesOfTheFullSearchAboveIt) {
    Workspace alone, shared(Memory(), 3);
    for (unsigned seed = 0; seed < 300; ++seed) {
        ExpectCut(RandomThermal(seed), seed % 3 == 0 ? shared : alone, seed);
    }
    for (const double kelvin : {5.0, 300.0}) {
        Calculation prolate = Prolate(22);
        prolate.settings.lines.temperature = kelvin;
        for (const auto& percent : {std::array{100.0, 0.0, 0.0},
                                    {0.0, 100.0, 0.0},
                                    {0.0, 0.0, 9.0},
                                    {30.0, 40.0, 30.0}}) {
            prolate.model.moment = Moment::FromPercent(percent);
            ExpectCut(prolate, alone, 1);
        }
        prolate.model.one_state = false;
        prolate.model.origin.value = 3e7;
        prolate.model.upper() = prolate.model.lower();
        prolate.model.upper().Set(Constant::A, 59000.0);
        ExpectCut(prolate, alone, 2);
    }
}

// Levels of other constants than those of the model are bounded by what holds for any levels.
TEST(Cut, TrustsNoMatrixThatIsNotThatOfTheLevels) {
    Calculation calculation = Prolate(15);
    Workspace work;
    Report silent;
    const Levels levels = SolveLevels(calculation.model.lower(), 15, work).value();
    calculation.model.lower() = State::Rigid(11000.0, 10318.0, 8799.0);
    LineRules& rules = calculation.settings.lines;
    const auto lines = [&] {
        return ComputeLines(calculation.model, levels, levels, rules, nullptr, LineChoice::All,
                            work, silent)
            .value();
    };
    const LineList full = lines();
    rules.min_intensity = *CutAbove(full, 0.02);
    EXPECT_EQ(All(lines()), Chosen(full, [&](std::int32_t n) {
                  return static_cast<double>(full.intensity[n]) > rules.min_intensity;
              }));
}

// Assigned lines stay below a cut-off but not outside of the range.
TEST(Cut, KeepsAssignedLines) {
    Calculation calculation = Prolate(12);
    Workspace work;
    const LineList full = Lines(calculation, work);
    Keys keys;
    for (std::int32_t n = 0; n < full.size; n += 97) keys.push_back(KeyOf(full, n));
    const Assignments assignments = Assign(keys);
    calculation.assignments = &assignments;
    LineRules& rules = calculation.settings.lines;
    rules.min_intensity = *CutAbove(full, 0.05);
    for (const bool is_ranged : {false, true}) {
        if (is_ranged) rules.range = {1e5, 1e6};
        const LineList list = Lines(calculation, work);
        const auto is_line = [&](std::int32_t n) {
            const bool stays =
                n % 97 == 0 || static_cast<double>(full.intensity[n]) > rules.min_intensity;
            return stays && (!is_ranged || (full.position[n] >= 1e5 && full.position[n] <= 1e6));
        };
        EXPECT_EQ(All(list), Chosen(full, is_line));
        EXPECT_EQ(list.missing, 0);
        std::int32_t matched = 0;
        for (std::int32_t n = 0; n < full.size; n += 97) matched += is_line(n);
        EXPECT_EQ(list.matched, matched);
        for (std::int32_t k = 0; k < list.matched; ++k) {
            EXPECT_EQ(KeyOf(list, list.match_line[k]), keys[list.match_assignment[k]]);
        }
    }
}

// Who needs no amplitudes gets the same lines without them, with a cut-off and on threads, too.
TEST(Lines, AreTheSameWithoutAmplitudes) {
    Workspace alone, shared(Memory(), 3);
    std::int64_t num = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        const Calculation calculation = RandomThermal(seed);
        const Model& model = calculation.model;
        LineRules rules = calculation.settings.lines;
        rules.min_intensity = seed % 2 == 0 ? 0.0 : 1e-3;
        PassTask task{&model, calculation.settings.max_J, &rules};
        task.is_complex = NeedsComplex(model);
        Workspace& work = seed % 3 == 0 ? shared : alone;
        Bits found[2];
        for (const bool has_amplitudes : {true, false}) {
            task.has_amplitudes = has_amplitudes;
            PassRoom room;
            Report silent;
            ASSERT_TRUE(room.Reserve(task, work.memory()).ok());
            (void)RunPass(task, work, silent, room);  // there may be no lines
            EXPECT_EQ(room.lines.amplitude_real.is_null(), !has_amplitudes);
            room.lines.amplitude_real.Clear();
            room.lines.amplitude_imag.Clear();
            found[has_amplitudes] = BitsOf(room.lines);
            num += room.lines.size;
        }
        EXPECT_EQ(found[0], found[1]) << seed;
    }
    EXPECT_GT(num, 10000);
}

// Any number of threads gives the bits of one, assignments and small rooms included; a calculation
// that is cancelled or lacks memory ends and leaves its workspace sound.
TEST(Threads, ChangeNothing) {
    for (const int num : {2, 3, 7}) {
        Workspace shared(Memory(), num), alone;
        const auto expect_same = [&](Calculation calculation) {
            const LineList list = Lines(calculation, alone);
            Keys keys = {LineKey(1, 0, 2, 0)};
            for (std::int32_t n = 0; n < list.size; n += 7) keys.push_back(KeyOf(list, n));
            std::sort(keys.begin(), keys.end());
            keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
            const Assignments assignments = Assign(keys);
            calculation.assignments = &assignments;
            EXPECT_EQ(BitsOf(Lines(calculation, shared)), BitsOf(Lines(calculation, alone)));
        };
        for (unsigned seed = 0; seed < 60; ++seed) {
            SCOPED_TRACE(seed);
            Calculation calculation = RandomThermal(seed);
            if (seed % 2 == 0) calculation.settings.lines.temperature = 0.0;
            expect_same(calculation);
        }
        const Calculation large = Prolate(40);  // more lines than the first room
        expect_same(large);
        EXPECT_EQ(BitsOf(Lines(large, shared)), BitsOf(Lines(large, alone)));
        for (int granted = 0; granted < 60; granted += 3) {
            Report silent;
            Memory memory = shared.memory();
            memory.RefuseAfter(granted);
            const auto lines = RandomThermal(5).Run(shared, silent);
            memory.RefuseAfter(-1);
            EXPECT_TRUE(lines || lines.error().code == ErrorCode::NoMemory);
        }
        for (const int grants : {0, 1, 5}) {
            class Canceller : public Report {
              public:
                explicit Canceller(int num) : left_(num) {}
                bool Cancelled() override { return left_-- <= 0; }

              private:
                int left_;
            } canceller(grants);
            const auto lines = Prolate(20).Run(shared, canceller);
            EXPECT_TRUE(lines || lines.error().code == ErrorCode::Cancelled);
        }
        EXPECT_EQ(BitsOf(Lines(large, shared)), BitsOf(Lines(large, alone)));
    }
}

}  // namespace
}  // namespace kiv
