// A fit of eight constants to 300 lines: one cycle beyond the first, and what a scan step costs.
#include <chrono>
#include <cstdio>
#include <cstring>

#include "BenchRotor.h"
#include "fit/LsfTrs.h"
#include "input/AsnLines.h"
#include "run/KivRecord.h"
#include "transitions/Ham2Trs.h"

namespace {

constexpr int kNumLines = 300;
constexpr int kMoreCycles = 5;
constexpr double kLowestErg = 1000.0;

// Assigns 300 calculated lines, spread evenly, and makes the constants a little wrong.
void SetFit(int max_J, bool is_complex) {
    SetBenchRotor(max_J);
    if (is_complex) TiltBenchRotor();
    Kiv.Delta_K_Order = 2;
    AllocBenchRotor();
    Ham2Trs();
    std::strcpy(Kiv.Asn_Flnm, "bench.asn");
    std::FILE* file = std::fopen(Kiv.Asn_Flnm, "w");
    if (!file) return;
    for (int i = 0; i < kNumLines; ++i) {
        auto n = static_cast<std::int64_t>(i) * Kiv.Num_Trs / kNumLines;
        // A line near 0 could change its sign, and with it disappear, as the constants move.
        while (n + 1 < Kiv.Num_Trs && Kiv.FI_Sim_Erg[n] < kLowestErg) ++n;
        const std::int16_t* q = &Kiv.FI_JKK_Lbl[6 * n];
        std::fprintf(file, "A %d %d %d %d %d %d %.6f 0.01\n", q[0], q[1], q[2], q[3], q[4], q[5],
                     Kiv.FI_Sim_Erg[n]);
    }
    std::fclose(file);
    RdAsnLines();
    Kiv.Rej_Level = 1e6;
    for (int prm = 0; prm < NUM_HAM_PRM; ++prm) {
        Kiv.Prm_Fit[ST_GND][prm] = Kiv.Prm_Stat[ST_GND][prm];
    }
    for (int prm : {PRM_A, PRM_B, PRM_C}) Kiv.Prm_Val[ST_GND][prm] *= 1.0 + 1e-6;
}

double SecondsOfFit(int cycles) {
    double start[2][NUM_PRM];
    std::memcpy(start, Kiv.Prm_Val, sizeof start);
    Kiv.LS_Cycles = static_cast<std::int16_t>(cycles);
    const auto begin = std::chrono::steady_clock::now();
    LsfTrs();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::memcpy(Kiv.Prm_Val, start, sizeof start);
    return taken.count();
}

void FitCycle(benchmark::State& state, int max_J, bool is_complex) {
    SetFit(max_J, is_complex);
    for (auto _ : state) {
        const double one = SecondsOfFit(1);
        state.SetIterationTime((SecondsOfFit(1 + kMoreCycles) - one) / kMoreCycles);
    }
    state.counters["items"] = Kiv.Num_Asn;
}

void RealCycle(benchmark::State& state, int max_J) { FitCycle(state, max_J, false); }
void ComplexCycle(benchmark::State& state, int max_J) { FitCycle(state, max_J, true); }

void ScanStep(benchmark::State& state, int max_J) {
    SetFit(max_J, false);
    for (auto _ : state) state.SetIterationTime(SecondsOfFit(1));
    state.counters["items"] = Kiv.Num_Asn;
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
