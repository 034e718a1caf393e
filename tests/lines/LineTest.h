// Models, assignments and lists of the line tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "base/LineKey.h"
#include "base/Trace.h"
#include "kiv/lines.h"
#include "lines/Pass.h"
#include "support/Rotor.h"

namespace kiv {

using Label = std::array<int, 6>;  // J' Ka' Kc' J'' Ka'' Kc''
using Keys = std::vector<std::uint64_t>;

/// Label of the pair of energy ranks `u` of J' and `l` of J''.
inline Label LabelOf(int Jl, int Ju, int l, int u) {
    return {Ju, (u + 1) / 2, Ju - u / 2, Jl, (l + 1) / 2, Jl - l / 2};
}

/// Calls visit(J'', J', l, u) for all pairs of levels, in the order of calculation.
template <class Visit>
void ForEachPair(int max_J, const Visit& visit) {
    for (int Jl = 0; Jl <= max_J; ++Jl) {
        for (int Ju = Jl == 0 ? 1 : Jl - 1; Ju <= std::min(Jl + 1, max_J); ++Ju) {
            for (int i = 0; i < (2 * Jl + 1) * (2 * Ju + 1); ++i) {
                visit(Jl, Ju, i / (2 * Ju + 1), i % (2 * Ju + 1));
            }
        }
    }
}

struct Line {
    double position, intensity;
    char band;
};

/// Two rigid rotors, the band at 100.
inline Model TwoStates() {
    Model model;
    model.lower() = StdRotor();
    model.upper() = State::Rigid(9.3, 6.3, 4.1);
    model.origin.value = 100.0;
    model.moment = Moment::FromPercent({20, 30, 50});
    return model;
}

inline Model OneState() {
    Model model = TwoStates();
    model.one_state = true;
    model.origin.value = 0.0;
    return model;
}

/// All pairs of levels, line strengths.
inline Settings Strengths(int max_J) {
    Settings settings;
    settings.max_J = max_J;
    settings.lines.temperature = 0.0;
    return settings;
}

inline bool NeedsComplex(const Model& model) {
    return NeedsComplex(model.lower()) || (!model.one_state && NeedsComplex(model.upper()));
}

/// Assignments as given, which need not name levels nor be in order: frequency 1000 + k.
inline Assignments Assign(Keys first, const Keys& second = {}) {
    const Memory memory;
    Assignments assignments;
    assignments.split = static_cast<std::int32_t>(first.size());
    assignments.two_sets = !second.empty();
    first.insert(first.end(), second.begin(), second.end());
    assignments.size = static_cast<std::int32_t>(first.size());
    EXPECT_TRUE(assignments.key.Take(memory, assignments.size) &&
                assignments.frequency.Take(memory, assignments.size) &&
                assignments.uncertainty.Take(memory, assignments.size));
    std::copy(first.begin(), first.end(), assignments.key.begin());
    for (std::size_t k = 0; k < first.size(); ++k) {
        assignments.frequency[k] = 1000.0 + static_cast<double>(k);
        assignments.uncertainty[k] = 1.0;
    }
    return assignments;
}

/// Writes down what it is told and, on request, cancels.
class Listener : public Report, public Trace {
  public:
    bool wants_pairs = false, wants_levels = false;
    int grants = -1;  // questions that are answered with "go on"; negative: all
    int solved = 0, grown = 0, pairs = 0;
    std::vector<std::int32_t> missing;
    std::int64_t negative = 0;
    std::int32_t kept = 0;

    bool Cancelled() override { return grants == 0 || (grants--, false); }
    Trace* trace() override { return this; }
    bool WantsPairs() const override { return wants_pairs; }
    bool WantsLevels() const override { return wants_levels; }
    void Enter(Step step, StateIndex) override {
        solved += step == Step::SolveLevels;
        grown += step == Step::GrowStore;
    }
    void Pair(const PairView&) override { ++pairs; }
    void KeptPair(const LineList& list, const PairView&, double) override {
        EXPECT_EQ(list.size, ++kept);
    }
    void MissingLine(std::int32_t assignment, double frequency) override {
        EXPECT_EQ(frequency, 1000.0 + assignment);
        missing.push_back(assignment);
    }
    void LinesDone(const LineList&, std::int64_t num) override { negative = num; }
};

/// A calculation from the model on, through the public routines.
struct Calculation {
    Model model = TwoStates();
    Settings settings = Strengths(4);
    const Assignments* assignments = nullptr;
    LineChoice choice = LineChoice::All;
    bool force_complex = false;

    Result<LineList> Run(Workspace& work, Report& report) const {
        const bool is_complex = force_complex || NeedsComplex(model);
        const int J = settings.max_J;
        const auto lower = SolveLevels(model.lower(), J, is_complex, work, report);
        if (!lower) return lower.error();
        if (model.one_state) return Lines(lower.value(), lower.value(), work, report);
        const auto upper = SolveLevels(model.upper(), J, is_complex, work, report);
        if (!upper) return upper.error();
        return Lines(lower.value(), upper.value(), work, report);
    }

    LineList Run(Report& report) const {
        Workspace work;
        Result<LineList> lines = Run(work, report);
        if (lines) return std::move(lines).value();
        ADD_FAILURE() << lines.error().text;
        return {};
    }

    LineList Run() const {
        Report silent;
        return Run(silent);
    }

    /// The error, which there must be.
    ErrorCode Code() const {
        Workspace work;
        Report silent;
        const auto lines = Run(work, silent);
        return lines ? ErrorCode::BadInput : lines.error().code;
    }

  private:
    Result<LineList> Lines(const Levels& lower, const Levels& upper, Workspace& work,
                           Report& report) const {
        return ComputeLines(model, lower, upper, settings.lines, assignments, choice, work, report);
    }
};

/// Real and complex models of one and two states of any symmetry.
inline Calculation RandomCalculation(unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](unsigned n) { return static_cast<int>(random() % n); };
    Calculation calculation{.model = below(3) == 0 ? OneState() : TwoStates(),
                            .settings = Strengths(1 + below(9))};
    for (State& state : calculation.model.states) {
        state.reduction = below(2) == 0 ? Reduction::A : Reduction::S;
        for (int i = below(3); i > 0; --i) {
            state.Set(static_cast<Constant>(3 + below(kNumConstants - 3)), 0.01 * below(20));
        }
        if (below(4) == 0) state.tilt.theta = below(90);
        if (below(8) == 0) state.tilt.chi = below(90);
    }
    for (double& component : calculation.model.moment.component) component *= below(4);
    calculation.model.moment.component[2] += 0.5;
    LineRules& rules = calculation.settings.lines;
    rules.temperature = below(2) * 1e-3;
    rules.delta_K = below(3) == 0 ? 2 : kAllDeltaK;
    return calculation;
}

inline Label LabelOf(const LineList& list, int line) {
    Label label;
    std::copy_n(&list.label[static_cast<std::size_t>(6 * line)], 6, label.begin());
    return label;
}

inline std::uint64_t KeyOf(const Label& q) {
    return LineKey(q[3], q[0], q[3] + q[4] - q[5], q[0] + q[1] - q[2]);
}

inline std::uint64_t KeyOf(const LineList& list, int line) { return KeyOf(LabelOf(list, line)); }

inline std::map<Label, Line> ByLabel(const LineList& list) {
    std::map<Label, Line> lines;
    for (std::int32_t n = 0; n < list.size; ++n) {
        lines[LabelOf(list, n)] = {list.position[n], list.intensity[n], list.band[n]};
    }
    return lines;
}

/// Bytes that are compared, but shown as their number alone.
struct Bits {
    std::string bytes;

    bool operator==(const Bits&) const = default;
    friend void PrintTo(const Bits& bits, std::ostream* out) {
        *out << bits.bytes.size() << " bytes";
    }
};

/// All that is stored of line `n`.
inline Bits BitsOf(const LineList& list, std::int32_t n) {
    Bits bits;
    const auto put = [&](const auto& array, std::size_t width) {
        if (array.is_null()) return;
        bits.bytes.append(
            reinterpret_cast<const char*>(&array[width * static_cast<std::size_t>(n)]),
            width * sizeof array[0]);
    };
    put(list.position, 1);
    put(list.intensity, 1);
    put(list.amplitude_real, 3);
    put(list.amplitude_imag, 3);
    put(list.band, 1);
    put(list.label, 6);
    put(list.lower_level, 1);
    put(list.upper_level, 1);
    return bits;
}

/// All that a list holds but its room.
inline Bits BitsOf(const LineList& list) {
    Bits bits;
    for (std::int32_t n = 0; n < list.size; ++n) bits.bytes += BitsOf(list, n).bytes;
    for (std::int32_t k = 0; k < list.matched; ++k) {
        bits.bytes += std::to_string(list.match_line[k]) + " " +
                      std::to_string(list.match_assignment[k]) + "\n";
    }
    bits.bytes += std::to_string(list.missing);
    return bits;
}

/// Refuses every request of call(workspace) in turn and lets it go on in the same workspace then.
/// The names of the arrays.
template <class Call>
std::set<std::string> RefuseInTurn(const Call& call) {
    std::set<std::string> names;
    for (int granted = 0; granted < 1000; ++granted) {
        Memory memory;
        {
            Workspace work(memory);
            memory.RefuseAfter(granted);
            const auto result = call(work);
            memory.RefuseAfter(-1);
            if (result.ok()) return names;
            EXPECT_EQ(result.error().code, ErrorCode::NoMemory);
            names.insert(result.error().subject);
            EXPECT_TRUE(call(work).ok());
        }
        EXPECT_EQ(memory.held(), 0);
    }
    ADD_FAILURE() << "refused for ever";
    return names;
}

/// Cancels call(report) wherever it asks. How often it does.
template <class Call>
int CancelInTurn(const Call& call) {
    for (int grants = 0; grants < 1000; ++grants) {
        Listener canceller;
        canceller.grants = grants;
        const auto result = call(canceller);
        if (result.ok()) return grants;
        EXPECT_EQ(result.error().code, ErrorCode::Cancelled);
    }
    ADD_FAILURE() << "cancelled for ever";
    return 0;
}

}  // namespace kiv
