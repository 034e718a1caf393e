// A fit of eight constants to 300 lines: one cycle beyond the first, and what a scan step costs.
#include <chrono>

#include "BenchRotor.h"
#include "fit/LeastSquares.h"

namespace kiv {
namespace {

constexpr int kNumLines = 300;
constexpr int kMoreCycles = 5;

// A fit whose constants are a little wrong at the start.
class BenchFit {
  public:
    BenchFit(int max_J, bool is_complex) : run_(BenchRotor(max_J)) {
        if (is_complex) TiltAxes(run_.model);
        run_.settings.lines.delta_K = 2;
        run_.settings.fit.reject_above = 1e6;
        BenchPass pass(run_);
        pass.Run();
        auto assigned = Assignments::From(BenchLines(pass.room().lines), {}, work_.memory());
        if (!assigned) return;
        assignments_ = std::move(assigned).value();
        for (Term& term : run_.model.lower().terms.values) term.fit = term.on;
        for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
            run_.model.lower().terms[c].value *= 1.0 + 1e-6;
        }
        task_.is_complex = is_complex;
        task_.last = LineChoice::Assigned;
        is_ready_ =
            room_.Reserve(task_.Pass(run_.model, LineChoice::Assigned), work_.memory()).ok();
    }

    /// 0 when the fit fails.
    double Seconds(int cycles) {
        if (!is_ready_) return 0.0;
        run_.settings.fit.cycles = cycles;
        FitResult result;
        const auto begin = std::chrono::steady_clock::now();
        const Status fitted = RunFit(task_, work_, silent_, room_, result);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        return fitted ? taken.count() : 0.0;
    }

  private:
    BenchRun run_;
    Workspace work_;
    Report silent_;
    Assignments assignments_;
    FitTask task_{&run_.model, &run_.settings, &assignments_};
    PassRoom room_;
    bool is_ready_ = false;
};

void FitCycle(benchmark::State& state, int max_J, bool is_complex) {
    BenchFit fit(max_J, is_complex);
    for (auto _ : state) {
        const double one = fit.Seconds(1), all = fit.Seconds(1 + kMoreCycles);
        if (one == 0.0 || all == 0.0) return state.SkipWithError("the fit failed");
        state.SetIterationTime((all - one) / kMoreCycles);
    }
    state.counters["items"] = kNumLines;
}

void RealCycle(benchmark::State& state, int max_J) { FitCycle(state, max_J, false); }
void ComplexCycle(benchmark::State& state, int max_J) { FitCycle(state, max_J, true); }

void ScanStep(benchmark::State& state, int max_J) {
    BenchFit fit(max_J, false);
    for (auto _ : state) {
        const double one = fit.Seconds(1);
        if (one == 0.0) return state.SkipWithError("the fit failed");
        state.SetIterationTime(one);
    }
    state.counters["items"] = kNumLines;
}

}  // namespace

void AddFitRows() {
    for (int max_J : {20, 35, 60, 100}) {
        AddRow("fit cycle, 300 lines", "kiv", max_J, RealCycle)->UseManualTime();
        AddRow("fit of one cycle (scan step)", "kiv", max_J, ScanStep)->UseManualTime();
    }
    for (int max_J : {20, 35, 60}) {
        AddRow("complex fit cycle, 300 lines", "kiv", max_J, ComplexCycle, 3)->UseManualTime();
    }
}

}  // namespace kiv
