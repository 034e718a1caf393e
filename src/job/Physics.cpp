#include "job/Physics.h"

#include <cmath>
#include <filesystem>

#include "job/PhysicsChecks.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

constexpr double kLargestQuartic = 1e-2;  // of B
constexpr double kSmallestMHz = 100.0;    // B of molecules
constexpr double kLargestWavenumber = 60.0;

constexpr Constant kQuartic[] = {Constant::DJ, Constant::DJK, Constant::DK, Constant::dJ,
                                 Constant::dK};

void CheckOrder(PhysicsReport& report, StateIndex state) {
    const NamedInput& input = report.job.input;
    const auto& terms = input.states[state].terms;
    const double A = terms[Constant::A].value, B = terms[Constant::B].value,
                 C = terms[Constant::C].value;
    const std::string table = TableOf(state);
    const auto tell = [&](const char* high, double first, const char* low, double second) {
        report.Tell(FindingCode::NotAbcOrder, table + "." + low,
                    table + "." + low + " = " + ShortestText(second) + " is above " + high + " = " +
                        ShortestText(first) + "; A >= B >= C is the order of the labels Ka and Kc");
    };
    if (B > A) tell("A", A, "B", B);
    if (C > B) tell("B", B, "C", C);
}

void CheckUnit(PhysicsReport& report, StateIndex state) {
    const double B = report.job.input.states[state].terms[Constant::B].value;
    const std::string path = std::string(TableOf(state)) + ".B";
    const bool is_MHz = report.job.input.unit == EnergyUnit::MHz;
    if (is_MHz ? B >= kSmallestMHz : B <= kLargestWavenumber) return;
    report.Tell(FindingCode::UnitMismatch, path,
                path + " = " + report.WithUnit(B) +
                    (is_MHz ? " is uncommonly small; are the constants in cm-1 or GHz?"
                            : " is uncommonly large; are the constants in MHz?"));
    report.has_foreign_unit = true;
}

void CheckDistortion(PhysicsReport& report, StateIndex state) {
    const auto& terms = report.job.input.states[state].terms;
    const double B = terms[Constant::B].value;
    for (const Constant c : kQuartic) {
        const double value = terms[c].value;
        const std::string path = PathOf(report.job.input, state, c);
        const std::string is = path + " = " + ShortestText(value);
        if (std::fabs(value) > kLargestQuartic * B) {
            report.Tell(FindingCode::SuspiciousConstant, path,
                        is + " is above a hundredth of B = " + ShortestText(B) +
                            "; check its size and unit");
        } else if (c == Constant::DJ && value < 0.0) {
            report.Tell(FindingCode::SuspiciousConstant, path,
                        is + " is negative; the Hamiltonian has -DJ P^4, for which DJ is positive");
        }
    }
}

// `kiv FILE` writes its next input in the folder in which it is started.
void CheckOverwriting(PhysicsReport& report) {
    const Job& job = report.job;
    if (!job.old) return;
    const fs::path file = fs::path(job.file).lexically_normal();
    const fs::path next = fs::path(job.old->out_base + ".in").lexically_normal();
    const fs::path beside = (file.parent_path() / next).lexically_normal();
    if (file != next && file != beside) return;
    report.Tell(FindingCode::OverwritesInput, "out",
                "`kiv FILE` would replace this very file by its next input; give the output "
                "another name than " +
                    job.old->out_base);
}

bool IsRotor(const Job& job) {
    for (const StateIndex state : {kLower, kUpper}) {
        if (state == kUpper && !job.input.two_states) break;
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
            const double value = job.input.states[state].terms[c].value;
            if (!(value > 0.0) || !std::isfinite(value)) return false;
        }
    }
    return true;
}

}  // namespace

PhysicsReport::PhysicsReport(Job& of)
    : job(of), model(ModelOf(of.input)), settings(SettingsOf(of.input)), is_rotor(IsRotor(of)) {
    for (const Finding& finding : job.findings) {
        if (finding.severity == Severity::Error && finding.file == job.file) {
            wrong_.insert({finding.line, finding.column});
        }
    }
}

bool PhysicsReport::IsGood(const std::string& path) const {
    return !wrong_.contains(job.input.places.Of(path));
}

void PhysicsReport::Tell(FindingCode code, const std::string& path, const std::string& message) {
    if (IsGood(path)) job.findings.Add(code, job.file, job.input.places.Of(path), message);
}

void PhysicsReport::TellLine(FindingCode code, Place place, const std::string& message) {
    job.findings.Add(code, job.lines->file, place, message);
}

std::string PhysicsReport::WithUnit(double value) const {
    return ShortestText(value) + " " + NameOf(job.input.unit);
}

const char* TableOf(StateIndex state) { return state == kLower ? "lower" : "upper"; }

std::string PathOf(const NamedInput& input, StateIndex state, Constant constant) {
    return std::string(TableOf(state)) + "." + NameOf(constant, input.states[state].reduction);
}

void CheckConstants(PhysicsReport& report) {
    for (const StateIndex state : {kLower, kUpper}) {
        if (!report.Uses(state)) continue;
        CheckOrder(report, state);
        if (report.IsSound() && !report.has_foreign_unit) CheckUnit(report, state);
        CheckDistortion(report, state);
    }
}

void CheckPhysics(Job& job) {
    PhysicsReport report(job);
    CheckOverwriting(report);
    if (report.is_rotor) CheckConstants(report);
    if (!report.IsSound()) return;  // the rest would tell of defaults in the place of wrong words
    CheckFit(report);
    CheckLines(report);
    CheckSpectrum(report);
}

}  // namespace kiv
