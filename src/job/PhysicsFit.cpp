// What a fit varies.
#include <cstdint>

#include "job/PhysicsChecks.h"
#include "levels/Symmetry.h"
#include "levels/Terms.h"
#include "model/Frames.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

// How an operator changes under two-fold rotations (mask of those that leave it as it is) and
// under reversal of time, where odd powers of P change their sign.
struct Symmetry {
    std::uint8_t keeps = kAllC2;
    bool odd_in_time = false;
};

Symmetry SymmetryOf(Constant constant) {
    constexpr Constant kOddInTime[] = {Constant::PX,    Constant::PY,    Constant::PZ,
                                       Constant::PZ3,   Constant::PX3,   Constant::PY3,
                                       Constant::PZ2PX, Constant::PZ2PY, Constant::PX2PZ,
                                       Constant::PY2PZ, Constant::PZ5};
    Symmetry symmetry;
    for (const HamTerm& term : HamTerms()) {
        if (term.constant == constant) symmetry.keeps = term.keeps;
    }
    for (const Constant odd : kOddInTime) symmetry.odd_in_time |= odd == constant;
    return symmetry;
}

// Operations under which a Hamiltonian may stay as it is: a two-fold rotation or none, with or
// without reversal of time.
struct Operation {
    std::uint8_t rotation;
    bool reverses_time;
};

constexpr Operation kOperations[] = {{kC2a, false}, {kC2b, false}, {kC2c, false}, {0, true},
                                     {kC2a, true},  {kC2b, true},  {kC2c, true}};

bool Flips(const Operation& operation, const Symmetry& symmetry) {
    const bool rotated = operation.rotation != 0 && (symmetry.keeps & operation.rotation) == 0;
    return rotated != (operation.reverses_time && symmetry.odd_in_time);
}

// True when no level changes in first order with the constant, because the Hamiltonian stays as it
// is under an operation that changes the sign of its operator, or because turned axes put a cross
// term in its place.
bool HasNoSlope(const State& state, Constant constant) {
    const TurnedState turned = Turn(state);
    if (turned.from_turn[constant]) return true;
    const Symmetry symmetry = SymmetryOf(constant);
    for (const Operation& operation : kOperations) {
        bool is_kept = true;
        for (int c = 0; c < kNumConstants; ++c) {
            const auto other = static_cast<Constant>(c);
            if (!turned.Acts(other) || turned.value[other] == 0.0) continue;
            is_kept = is_kept && !Flips(operation, SymmetryOf(other));
        }
        if (is_kept && Flips(operation, symmetry)) return true;
    }
    return false;
}

// The place of a fit indicator, or of the list of fitted names, or of the constant.
std::string FitPath(const NamedInput& input, StateIndex state, const std::string& name) {
    const std::string list = std::string(TableOf(state)) + ".fit";
    for (const std::string& path : {list + "." + name, list}) {
        if (input.places.Has(path)) return path;
    }
    return std::string(TableOf(state)) + "." + name;
}

void CheckStarts(PhysicsReport& report) {
    const NamedInput& input = report.job.input;
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        for (int c = 0; c < kNumConstants; ++c) {
            const auto constant = static_cast<Constant>(c);
            const NamedTerm& term = input.states[state].terms[constant];
            if (!term.fit || term.value != 0.0) continue;
            if (!HasNoSlope(report.model.states[state], constant)) continue;
            const std::string path = PathOf(input, state, constant);
            report.Tell(FindingCode::ZeroStart,
                        input.places.Has(path) ? path : FitPath(input, state, NameOf(constant)),
                        path +
                            " is to be fitted and starts at 0, where no line depends on it in "
                            "first order; start it at an estimate");
        }
    }
}

void CheckOff(PhysicsReport& report) {
    if (!report.job.old) return;
    const InputFile& old = *report.job.old;
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        for (int c = 3; c < kNumFileConstants; ++c) {
            if (old.states[state].fit[c] != 1 || old.states[state].status[c] == 1) continue;
            const std::string name = NameOf(static_cast<Constant>(c));
            const std::string table = TableOf(state);
            report.Tell(FindingCode::FitButOff, table + ".fit." + name,
                        table + "." + name +
                            " is to be fitted but its status is off, so that it stays out of the "
                            "fit; set its status to 1");
        }
    }
}

void CheckOrigin(PhysicsReport& report) {
    if (!report.job.old || !report.job.old->one_state()) return;
    const InputFile& old = *report.job.old;
    if (old.origin != 0.0) {
        report.Tell(FindingCode::OriginUnused, "upper.origin",
                    "origin = " + ShortestText(old.origin) +
                        ": an input of one state has no origin, this one shifts every line; "
                        "write 0");
    }
    if (old.origin_fit == 1) {
        report.Tell(FindingCode::OriginUnused, "upper.fit.origin",
                    "the origin is to be fitted, which an input of one state does not have");
    }
}

bool HasFitted(const NamedInput& input) {
    bool has_fitted = input.two_states && input.origin.fit;
    for (const StateIndex state : {kLower, kUpper}) {
        if (state == kUpper && !input.two_states) continue;
        for (const NamedTerm& term : input.states[state].terms.values) has_fitted |= term.fit;
    }
    return has_fitted;
}

void CheckPurpose(PhysicsReport& report) {
    const Job& job = report.job;
    const NamedInput& input = job.input;
    if (input.fit.cycles <= 0) return;
    const bool has_fitted = HasFitted(input);
    const bool names_lines = !input.fit.lines.empty();
    const bool has_lines = names_lines && job.lines && !job.lines->features.empty();
    // the default of the cycles asks for nothing
    const bool wants_fit =
        job.form == InputForm::Old || names_lines || has_fitted || input.places.Has("fit.cycles");
    if (!wants_fit) return;
    const std::string path = input.places.Has("fit.cycles") ? "fit.cycles"
                             : names_lines                  ? "fit.lines"
                                                            : "lower.fit";
    const std::string cycles = std::to_string(input.fit.cycles) + " fit cycles";
    if (!has_fitted) {
        report.Tell(FindingCode::NothingToFit, path,
                    cycles + ", but no constant is to be fitted; " +
                        (job.form == InputForm::Old
                             ? "set fit indicators, or cycles to 0"
                             : "name some in fit = [...] of their state, or write cycles = 0"));
    } else if (!names_lines ||
               (job.lines && job.lines->is_there && !has_lines && !job.findings.has_errors())) {
        report.Tell(
            FindingCode::NothingToFit, path,
            cycles + ", but there are no measured lines" +
                (names_lines ? " in " + job.lines->file : "; name their file in fit.lines"));
    }
}

}  // namespace

void CheckFit(PhysicsReport& report) {
    CheckOff(report);
    if (report.is_rotor) CheckStarts(report);
    CheckOrigin(report);
    CheckPurpose(report);
}

}  // namespace kiv
