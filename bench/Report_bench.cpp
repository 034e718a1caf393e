// Fits to measured features: the whole process of a report, and many fits in one process.
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "BenchRotor.h"
#include "Process.h"
#include "kiv/feature_fit.h"

namespace kiv {
namespace {

constexpr char kInputName[] = "bench_report.toml";
constexpr char kLinesName[] = "bench_report.csv";
constexpr double kUncertainty = 0.05;
constexpr int kFits = 100;

struct NamedStart {
    Constant constant;
    double off;  // by which the start is wrong, as a fraction
};
constexpr NamedStart kVaried[] = {{Constant::A, 2e-5}, {Constant::B, -2e-5}, {Constant::C, 2e-5},
                                  {Constant::DJ, 0.1}, {Constant::DJK, 0.1}, {Constant::DK, 0.1},
                                  {Constant::dJ, 0.1}, {Constant::dK, 0.1}};

// Spread evenly over +-1.7 uncertainties, so that their mean square is 1; the same every time.
double Scatter(std::size_t i) {
    return kUncertainty * 3.4 * (static_cast<double>(i * 7919 % 300) / 299.0 - 0.5);
}

// 300 lines of the rotor with scatter, eight constants to fit that are wrong at the start.
struct ReportFit {
    explicit ReportFit(int max_J) : run(BenchRotor(max_J)) {
        run.settings.lines.delta_K = 2;
        BenchPass pass(run);
        pass.Run();
        for (const MeasuredLine& line : BenchLines(pass.room().lines)) {
            LineFeature& feature = features.emplace_back();
            feature.frequency = line.frequency + Scatter(features.size());
            feature.uncertainty = kUncertainty;
            feature.transitions.push_back({{0, line.J_upper, line.Ka_upper, line.Kc_upper},
                                           {0, line.J_lower, line.Ka_lower, line.Kc_lower},
                                           std::nullopt,
                                           "",
                                           0});
        }
        for (const auto& [constant, off] : kVaried) {
            Term& term = run.model.lower().terms[constant];
            term.value *= 1.0 + off;
            term.fit = true;
        }
    }

    BenchRun run;
    std::vector<LineFeature> features;
};

void WriteFiles(const ReportFit& fit) {
    std::ofstream input(kInputName);
    input.precision(17);
    input << "kiv = 1\n[lower]\n";
    std::string names;
    for (const auto& [constant, off] : kVaried) {
        input << NameOf(constant) << " = " << std::fixed << fit.run.model.lower().value(constant)
              << "\n";
        names += (names.empty() ? "\"" : ", \"") + std::string(NameOf(constant)) + "\"";
    }
    input << "fit = [" << names << "]\n[moment]\npercent = [100.0, 100.0, 0.0]\n"
          << "[spectrum]\nJ_max = " << fit.run.settings.max_J << "\n"
          << "[fit]\nlines = \"" << kLinesName << "\"\n";
    std::ofstream lines(kLinesName);
    lines.precision(4);
    lines << "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n" << std::fixed;
    for (const LineFeature& feature : fit.features) {
        const LineLevel &up = feature.transitions[0].upper, &lo = feature.transitions[0].lower;
        lines << up.J << ',' << up.Ka << ',' << up.Kc << ',' << lo.J << ',' << lo.Ka << ',' << lo.Kc
              << ',' << feature.frequency << ',' << feature.uncertainty << '\n';
    }
}

void ReportProcess(benchmark::State& state, int max_J) {
    WriteFiles(ReportFit(max_J));
    for (auto _ : state) {
        if (RunProcess({"report", kInputName}) == 0.0) {
            return state.SkipWithError("the program did not run");
        }
    }
}

void VersionProcess(benchmark::State& state, int) {
    for (auto _ : state) RunProcess({"--version"});
}

// False when the fit does not converge.
bool Fit(const ReportFit& fit, Workspace& work, int& cycles) {
    Report silent;
    const Result<FeatureFit> fitted =
        FitFeatures(fit.run.model, fit.run.settings, fit.features, {}, work, silent);
    cycles = fitted ? fitted.value().cycles : 0;
    return fitted && fitted.value().converged;
}

void LibraryFit(benchmark::State& state, int max_J) {
    const ReportFit fit(max_J);
    Workspace work;
    int cycles = 0;
    for (auto _ : state) {
        if (!Fit(fit, work, cycles)) return state.SkipWithError("the fit did not converge");
    }
    state.counters["items"] = cycles;
}

void ManyFits(const ReportFit& fit, int num) {
    Workspace work;
    int cycles = 0;
    for (int i = 0; i < num; ++i) Fit(fit, work, cycles);
}

void OneThread(benchmark::State& state, int max_J) {
    const ReportFit fit(max_J);
    for (auto _ : state) ManyFits(fit, kFits);
    state.counters["items"] = kFits;
}

void TwoThreads(benchmark::State& state, int max_J) {
    const ReportFit fit(max_J);
    for (auto _ : state) {
        std::thread other(ManyFits, fit, kFits / 2);
        ManyFits(fit, kFits / 2);
        other.join();
    }
}

}  // namespace

void AddReportRows() {
    for (int max_J : {35, 60, 100}) {
        AddRow("report of a fit, whole process", "kiv", max_J, ReportProcess);
        AddRow("report of a fit, whole process", "dsteqr", max_J, SolverDsteqr);
        AddRow("fit of 300 lines in the library", "kiv", max_J, LibraryFit);
        AddRow("fit of 300 lines in the library", "dsteqr", max_J, SolverDsteqr);
    }
    AddRow("report, against the start", "kiv", 35, ReportProcess);
    AddRow("report, against the start", "--version", 35, VersionProcess);
    AddRow("100 fits", "kiv", 35, OneThread)->UseRealTime();
    AddRow("100 fits", "two threads", 35, TwoThreads)->UseRealTime();
}

}  // namespace kiv
