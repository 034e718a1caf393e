// Predictions with a cut-off and on threads: passes, and whole processes.
#include <string>

#include "BenchRotor.h"
#include "Process.h"

namespace kiv {
namespace {

struct Share {
    double kept;
    const char* what;
};
constexpr Share kShares[] = {{1.0, "pass at 300 K, all kept"},
                             {0.05, "pass at 300 K, 5 % kept"},
                             {1e-4, "pass at 300 K, 1e-4 kept"}};

void Pass(benchmark::State& state, const BenchRun& run, int threads) {
    BenchPass pass(run, threads, false);
    pass.Run();  // the store has its size
    for (auto _ : state) pass.RunAnew();
    state.counters["items"] = pass.room().lines.size;
}

template <int Which, int Threads>
void CutPass(benchmark::State& state, int max_J) {
    Pass(state, BenchCut(max_J, kShares[Which].kept), Threads);
}

// The pass that every prediction was before: every pair, with derivatives.
void WholePass(benchmark::State& state, int max_J) {
    BenchPass pass(BenchCut(max_J, 1.0));
    pass.Run();
    for (auto _ : state) pass.RunAnew();
}

template <int Which>
void AddCutRows() {
    for (const int max_J : {35, 60, 100, 150}) {
        const int repetitions = max_J > 60 ? 5 : 9;
        const std::string what = kShares[Which].what;
        AddRow(what, "kiv", max_J, CutPass<Which, 1>, repetitions);
        AddRow(what, "every pair", max_J, WholePass, repetitions);
        AddRow(what + ", 2 threads", "kiv", max_J, CutPass<Which, 2>, repetitions);
        AddRow(what + ", 2 threads", "one thread", max_J, CutPass<Which, 1>, repetitions);
    }
}

const Words kFile{kBenchInput}, kRun{"run", kBenchInput},
    kCat{"export", "cat", kBenchInput, "-o", "bench_run.cat"};

void Process(benchmark::State& state, int max_J, const Words& words) {
    const BenchRun run = BenchCut(max_J, 0.05);
    WriteBenchInput(run);
    for (auto _ : state) {
        if (RunProcess(words) == 0.0) return state.SkipWithError("the program did not run");
    }
}

void FileProcess(benchmark::State& state, int max_J) { Process(state, max_J, kFile); }
void RunCommand(benchmark::State& state, int max_J) { Process(state, max_J, kRun); }
void CatCommand(benchmark::State& state, int max_J) { Process(state, max_J, kCat); }

}  // namespace

void AddCutRows() {
    AddCutRows<0>();
    AddCutRows<1>();
    AddCutRows<2>();
    for (const int max_J : {60, 100}) {
        AddRow("kiv run, 5 % kept", "kiv", max_J, RunCommand);
        AddRow("kiv run, 5 % kept", "kiv FILE", max_J, FileProcess);
        AddRow("kiv export cat, 5 % kept", "kiv", max_J, CatCommand);
        AddRow("kiv export cat, 5 % kept", "kiv FILE", max_J, FileProcess);
    }
}

}  // namespace kiv
