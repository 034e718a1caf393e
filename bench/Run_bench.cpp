// One pass (levels, derivatives, lines, nothing written) and whole processes, files included.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstring>
#include <map>

#include "BenchRotor.h"
#include "input/NextInput.h"
#include "run/KivCore.h"
#include "run/KivRecord.h"
#include "transitions/Ham2Trs.h"

namespace {

void SolveAnew() {
    for (KivSolved& solved : Kiv.Solved) solved = KivSolved{};
    Ham2Trs();
}

void Pass(benchmark::State& state) {
    AllocBenchRotor();
    Ham2Trs();  // the store has its size
    for (auto _ : state) SolveAnew();
    state.counters["items"] = Kiv.Num_Trs;
}

// A process of its own on the input of the run record, as a user starts it. Returns its peak memory
// in MB, 0 when it did not run.
double RunProcess() {
    char program[] = KIV_PROGRAM, input[] = "bench_run.in";
    char* argv[] = {program, input, nullptr};
    char* no_environment[] = {nullptr};
    pid_t pid = 0;
    int status = 0;
    rusage usage{};
    const bool ran = posix_spawn(&pid, program, nullptr, nullptr, argv, no_environment) == 0 &&
                     wait4(pid, &status, 0, &usage) == pid && status == 0;
    return ran ? static_cast<double>(usage.ru_maxrss) / 1024.0 : 0.0;
}

void WriteInput() {
    std::strcpy(Kiv.Out_Base, "bench_run");
    std::strcpy(Kiv.Asn_Flnm, "none.asn");
    KivWriteInputParm(Kiv);
}

std::map<int, double> Peaks;  // MB, by Max_J

// The old results are there from the time before.
void Process(benchmark::State& state) {
    WriteInput();
    AllocBenchRotor();
    Ham2Trs();
    state.counters["items"] = Kiv.Num_Trs;
    KivCoreFree();
    for (auto _ : state) {
        if (RunProcess() == 0.0) return state.SkipWithError("the program did not run");
    }
}

void OnePass(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    Pass(state);
}

void WholeProcess(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    Process(state);
    state.counters["peak MB"] = Peaks[max_J];
}

void TwoStatePass(benchmark::State& state, int max_J) {
    SetBenchBand(max_J);
    Pass(state);
}

void TwoStateProcess(benchmark::State& state, int max_J) {
    SetBenchBand(max_J);
    Process(state);
}

constexpr int kMaxJs[] = {20, 35, 60, 100, 150, 200};

}  // namespace

void MeasurePeaks() {
    for (int max_J : kMaxJs) {
        SetBenchRotor(max_J);
        WriteInput();
        Peaks[max_J] = RunProcess();
    }
}

void AddRunRows() {
    for (int max_J : kMaxJs) {
        AddRow("one pass, nothing written", "kiv", max_J, OnePass, max_J > 100 ? 3 : 5);
        AddRow("whole process, all written", "kiv", max_J, WholeProcess);
    }
    AddRow("two states, one pass", "kiv", 35, TwoStatePass);
    AddRow("two states, whole process", "kiv", 35, TwoStateProcess);
}
