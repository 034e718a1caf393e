// One pass (levels, derivatives, lines, nothing written), library calls, and whole processes, files
// included.
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "BenchRotor.h"
#include "Process.h"
#include "kiv/files.h"

namespace kiv {
namespace {

void Pass(benchmark::State& state, const BenchRun& run) {
    BenchPass pass(run);
    pass.Run();  // the store has its size
    for (auto _ : state) pass.RunAnew();
    state.counters["items"] = pass.room().lines.size;
}

const Words kFile{kBenchInput}, kRun{"run", kBenchInput}, kCheck{"check", kBenchInput},
    kVersion{"--version"}, kCat{"export", "cat", kBenchInput, "-o", "bench_run.cat"},
    kCsv{"export", "csv", kBenchInput, "-o", "bench_run.csv"},
    kRunOnOne{"run", kBenchInput, "-j", "1"}, kRunOnTwo{"run", kBenchInput, "-j", "2"},
    kCatOnOne{"export", "cat", kBenchInput, "-o", "bench_run.cat", "-j", "1"},
    kCatOnTwo{"export", "cat", kBenchInput, "-o", "bench_run.cat", "-j", "2"};

std::map<int, double> peaks;  // MB, by max_J

// The old results are there from the time before.
void Process(benchmark::State& state, const BenchRun& run, const Words& words) {
    WriteBenchInput(run);
    {
        BenchPass pass(run);
        pass.Run();
        state.counters["items"] = pass.room().lines.size;
    }
    for (auto _ : state) {
        if (RunProcess(words) == 0.0) return state.SkipWithError("the program did not run");
    }
}

void OnePass(benchmark::State& state, int max_J) { Pass(state, BenchRotor(max_J)); }

void WholeProcess(benchmark::State& state, int max_J) {
    Process(state, BenchRotor(max_J), kFile);
    state.counters["peak MB"] = peaks[max_J];
}

void TwoStatePass(benchmark::State& state, int max_J) { Pass(state, BenchBand(max_J)); }
void TwoStateProcess(benchmark::State& state, int max_J) {
    Process(state, BenchBand(max_J), kFile);
}

void RunCommand(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kRun); }
void RunOnOne(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kRunOnOne); }
void RunOnTwo(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kRunOnTwo); }
void CatOnOne(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kCatOnOne); }
void CatOnTwo(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kCatOnTwo); }
void CheckCommand(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kCheck); }
void ExportCat(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kCat); }
void ExportCsv(benchmark::State& state, int max_J) { Process(state, BenchRotor(max_J), kCsv); }
void VersionOption(benchmark::State& state, int max_J) {
    Process(state, BenchRotor(max_J), kVersion);
}

// What a caller of the library asks for; returns the number of lines, 0 when a call fails.
std::int32_t SolveAndCompute(const BenchRun& run, Workspace& work) {
    Report silent;
    const Result<Levels> levels = SolveLevels(run.model.lower(), run.settings.max_J, work);
    if (!levels) return 0;
    const Result<LineList> lines =
        ComputeLines(run.model, levels.value(), levels.value(), run.settings.lines, nullptr,
                     LineChoice::All, work, silent);
    return lines ? lines.value().size : 0;
}

void Calls(benchmark::State& state, int max_J, bool keep) {
    const BenchRun run = BenchRotor(max_J);
    std::optional<Workspace> work;
    for (auto _ : state) {
        if (!keep || !work) work.emplace();
        const std::int32_t lines = SolveAndCompute(run, *work);
        if (lines == 0) return state.SkipWithError("a call failed");
        state.counters["items"] = lines;
    }
}

void KeptWorkspace(benchmark::State& state, int max_J) { Calls(state, max_J, true); }
void NewWorkspace(benchmark::State& state, int max_J) { Calls(state, max_J, false); }

constexpr int kMaxJs[] = {20, 35, 60, 100, 150, 200};

}  // namespace

void MeasurePeaks() {
    for (int max_J : kMaxJs) {
        WriteBenchInput(BenchRotor(max_J));
        peaks[max_J] = RunProcess(kFile);
    }
}

void AddRunRows() {
    for (int max_J : kMaxJs) {
        AddRow("one pass, nothing written", "kiv", max_J, OnePass, max_J > 100 ? 3 : 5);
        AddRow("whole process, all written", "kiv", max_J, WholeProcess);
    }
    for (int max_J : {20, 60, 100}) {
        AddRow("whole process of kiv run", "kiv", max_J, RunCommand);
        AddRow("whole process of kiv run", "kiv FILE", max_J, WholeProcess);
        AddRow("whole process of kiv check", "kiv", max_J, CheckCommand);
        AddRow("whole process of kiv check", "--version", max_J, VersionOption);
    }
    for (int max_J : {60, 100, 200}) {
        AddRow("whole process of kiv export cat", "kiv", max_J, ExportCat);
        AddRow("whole process of kiv export cat", "kiv FILE", max_J, WholeProcess);
        AddRow("whole process of kiv export csv", "kiv", max_J, ExportCsv);
        AddRow("whole process of kiv export csv", "kiv FILE", max_J, WholeProcess);
    }
    for (int max_J : {60, 100}) {
        AddRow("kiv run, two threads", "kiv", max_J, RunOnTwo, 15);
        AddRow("kiv run, two threads", "one thread", max_J, RunOnOne, 15);
        AddRow("kiv export cat, two threads", "kiv", max_J, CatOnTwo, 15);
        AddRow("kiv export cat, two threads", "one thread", max_J, CatOnOne, 15);
    }
    AddRow("kiv --version", "kiv", 0, VersionOption, 15);
    AddRow("two states, one pass", "kiv", 35, TwoStatePass);
    AddRow("two states, whole process", "kiv", 35, TwoStateProcess);
    for (int max_J : {5, 35}) {
        AddRow("library, a workspace kept", "kiv", max_J, KeptWorkspace);
        AddRow("library, a workspace kept", "a new one", max_J, NewWorkspace);
    }
}

}  // namespace kiv
