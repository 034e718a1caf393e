#include "lines/Pass.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "base/Failure.h"
#include "base/Trace.h"
#include "levels/Solution.h"
#include "lines/AssignedLines.h"
#include "lines/LineSearch.h"
#include "lines/LineStore.h"
#include "lines/LineTask.h"

namespace kiv {
namespace {

constexpr StateIndex kBothStates[] = {kLower, kUpper};

// A pass of two states looks for the first set; a pass of one state for the second when there are
// two.
AssignedSet SetOf(const Assignments* assignments, bool one_state) {
    if (!assignments) return {};
    const bool second = one_state && assignments->two_sets;
    const std::int32_t first = second ? assignments->split : 0;
    const std::int32_t last =
        second || !assignments->two_sets ? assignments->size : assignments->split;
    const auto begin = static_cast<std::size_t>(first),
               num = static_cast<std::size_t>(last - first);
    if (num == 0) return {{}, {}, first};
    return {assignments->key.Part(begin, num), assignments->frequency.Part(begin, num), first};
}

class Pass {
  public:
    Pass(const PassTask& task, Workspace& work, Report& report, PassRoom& room)
        : task_(task), work_(work), report_(report), trace_(report.trace()), room_(room) {}

    Status Run();

  private:
    void TurnStates();
    Status SolveState(StateIndex index);
    Status FindLines();

    const PassTask& task_;
    Workspace& work_;
    Report& report_;
    Trace* const trace_;
    PassRoom& room_;
};

// A known solution is that of the constants that were turned before.
void Pass::TurnStates() {
    for (const StateIndex index : kBothStates) {
        const State& given = task_.model->states[index];
        const TurnedState turned = Turn(given);
        if (!SameBits(turned, room_.turned[index])) room_.is_solved[index] = false;
        room_.turned[index] = turned;
        if (trace_) trace_->Turned(index, given, turned);
    }
}

Status Pass::SolveState(StateIndex index) {
    const bool wanted = trace_ && trace_->WantsLevels();
    const TurnedState& turned = room_.turned[index];
    if (index == kUpper && task_.one_state()) {
        if (trace_) trace_->LevelsShared(room_.levels[kLower]);
    } else if (wanted || !room_.is_solved[index]) {
        room_.is_solved[index] = false;
        const LevelTask task{{&turned, task_.is_complex, task_.exchanges_axes}, task_.max_J, index};
        KIV_TRY(Solve(task, work_, report_, room_.levels[index]));
        room_.is_solved[index] = true;
    }
    if (trace_) trace_->StateReady(index, turned);
    return {};
}

Status Pass::FindLines() {
    const Model& model = *task_.model;
    const TurnedState& frame = room_.turned[model.moment.frame];
    LineTask lines{};
    lines.lower = &room_.lower();
    lines.upper = &room_.upper();
    lines.cosines = &room_.cosines;
    lines.rules = task_.rules;
    const StateIndex upper = task_.one_state() ? kLower : kUpper;
    lines.H_upper = {&room_.turned[upper], task_.is_complex, task_.exchanges_axes};
    lines.origin = task_.within_lower ? 0.0 : model.origin.value;
    lines.projection = TurnedMoment(model.moment, frame);
    lines.assigned = SetOf(task_.assignments, task_.one_state());
    if (trace_) trace_->Enter(Step::ComputeLines);
    if (trace_) trace_->MomentTurned(model.moment, frame, lines.projection);
    bool found = false;
    if (task_.choice == LineChoice::Assigned) {
        const Result<bool> assigned = FindAssigned(lines, work_.memory(), report_, room_.lines);
        if (!assigned) return assigned.error();
        found = assigned.value();
    }
    if (!found) {
        KIV_TRY(room_.cosines.Fill(work_.memory(), task_.max_J, &work_.threads()));
        KIV_TRY(SearchLines(lines, work_, report_, room_.lines));
    }
    if (trace_) trace_->Leave(Step::ComputeLines);
    return {};
}

Status Pass::Run() {
    if (trace_) trace_->Enter(Step::Pass);
    room_.one_state = task_.one_state();
    TurnStates();
    for (const StateIndex index : kBothStates) KIV_TRY(SolveState(index));
    KIV_TRY(FindLines());
    if (trace_) trace_->Leave(Step::Pass);
    return {};
}

}  // namespace

namespace {

// All pairs of levels that a search can visit, and some room behind them, unless that is more than
// lists begin with.
std::int32_t FirstRoom(std::int64_t max_J) {
    std::int64_t pairs = 1 + kLineGroup;
    for (std::int64_t J = 0; J <= max_J && pairs < kFirstLines; ++J) {
        pairs += (2 * J + 1) * (6 * J + 3);
    }
    return static_cast<std::int32_t>(std::min<std::int64_t>(pairs, kFirstLines));
}

Status CheckRules(const Model& model, const LineRules& rules) {
    const auto refuse = [](const char* what) {
        return Error{ErrorCode::OutOfRange, std::string(what) + " is not a finite number", what};
    };
    if (!std::isfinite(model.origin.value)) return refuse("origin");
    if (!std::isfinite(rules.temperature)) return refuse("temperature");
    if (!std::isfinite(rules.temperature2)) return refuse("temperature2");
    if (rules.temperature > 0.0 && !(rules.energy_per_kelvin > 0.0)) {
        return Error{ErrorCode::OutOfRange, "energy_per_kelvin is not positive",
                     "energy_per_kelvin"};
    }
    return {};
}

}  // namespace

Status PassRoom::ReserveLevels(const PassTask& task, const Memory& memory, StateIndex index) {
    const TurnedState state = Turn(task.model->states[index]);
    is_solved[index] = false;
    return levels[index].Reserve(memory, task.max_J, task.is_complex,
                                 task.has_derivatives ? state.NumOn() : 0);
}

Status PassRoom::ReserveLines(const PassTask& task, const Memory& memory) {
    one_state = task.one_state();
    KIV_TRY(lines.Reserve(memory, kFirstLines, task.is_complex, task.one_state()));
    if (task.has_amplitudes) return {};
    lines.amplitude_real.Clear();
    lines.amplitude_imag.Clear();
    return {};
}

Status PassRoom::Reserve(const PassTask& task, const Memory& memory) {
    KIV_TRY(ReserveLevels(task, memory, kLower));
    if (!task.model->one_state) KIV_TRY(ReserveLevels(task, memory, kUpper));
    return ReserveLines(task, memory);
}

Status RunPass(const PassTask& task, Workspace& work, Report& report, PassRoom& room) {
    return Pass(task, work, report, room).Run();
}

Result<LineList> ComputeLines(const Model& model, const Levels& lower, const Levels& upper,
                              const LineRules& rules, const Assignments* assignments,
                              LineChoice choice, Workspace& work, Report& report) try {
    if (lower.max_J != upper.max_J || lower.is_complex != upper.is_complex) {
        return Error{ErrorCode::OutOfRange, "the levels of the two states do not fit together", ""};
    }
    KIV_TRY(CheckRules(model, rules));
    const bool one_state = &lower == &upper;
    auto& cosines = work.Part<Cosines>(Workspace::Slot::Pass);
    KIV_TRY(cosines.Fill(work.memory(), lower.max_J, &work.threads()));
    LineList list;
    KIV_TRY(list.Reserve(work.memory(), FirstRoom(lower.max_J), lower.is_complex, one_state));
    LineTask task{};
    task.lower = &lower;
    task.upper = &upper;
    task.cosines = &cosines;
    task.rules = &rules;
    const TurnedState turned = Turn(model.states[one_state ? kLower : kUpper]);
    task.H_upper = {&turned, lower.is_complex};
    task.origin = model.origin.value;
    task.projection = TurnedMoment(model.moment, Turn(model.states[model.moment.frame]));
    task.assigned = SetOf(assignments, one_state);
    if (choice == LineChoice::Assigned) {
        const Result<bool> found = FindAssigned(task, work.memory(), report, list);
        if (!found) return found.error();
        if (found.value()) return list;
    }
    KIV_TRY(SearchLines(task, work, report, list));
    return list;
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

Result<LineList> ComputeLines(const Model& model, const Settings& settings, Workspace& work) {
    Report silent;
    const bool is_complex =
        NeedsComplex(model.lower()) || (!model.one_state && NeedsComplex(model.upper()));
    Result<Levels> lower = SolveLevels(model.lower(), settings.max_J, is_complex, work, silent);
    if (!lower) return lower.error();
    if (model.one_state) {
        return ComputeLines(model, lower.value(), lower.value(), settings.lines, nullptr,
                            LineChoice::All, work, silent);
    }
    Result<Levels> upper = SolveLevels(model.upper(), settings.max_J, is_complex, work, silent);
    if (!upper) return upper.error();
    return ComputeLines(model, lower.value(), upper.value(), settings.lines, nullptr,
                        LineChoice::All, work, silent);
}

}  // namespace kiv
