#include "BenchRotor.h"

#include <cstdio>
#include <cstdlib>

#include "run/KivCore.h"
#include "run/KivRecord.h"

namespace {

struct PrmValue {
    int Prm;
    double Val;
};
constexpr PrmValue kRotor[] = {{PRM_A, 60778.0}, {PRM_B, 10318.0}, {PRM_C, 8799.0}, {PRM_DJ, 1e-4},
                               {PRM_DJK, -1e-3}, {PRM_DK, 1e-2},   {PRM_dJ, 1e-5},  {PRM_dK, 1e-4}};

struct DeltaKRow {
    int Max_J, Delta_K;
};
constexpr DeltaKRow kDeltaK[] = {{20, 20}, {35, 22}, {60, 21}, {100, 23}, {150, 27}, {200, 32}};

}  // namespace

benchmark::internal::Benchmark* AddRow(const std::string& what, const std::string& by, int max_J,
                                       void (*body)(benchmark::State&, int), int repetitions) {
    const std::string name = what + "|" + by + "|" + std::to_string(max_J);
    return benchmark::RegisterBenchmark(name.c_str(),
                                        [=](benchmark::State& state) { body(state, max_J); })
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.05)
        ->Repetitions(repetitions)
        ->ReportAggregatesOnly(true);
}

void SetBenchRotor(int max_J) {
    KivCoreFree();
    Kiv = KivRecord{};
    Kiv.Max_J = max_J;
    Kiv.Delta_K_Order = BenchDeltaK(max_J);
    Kiv.Fit_Stat = 0;
    Kiv.Gnd_Only = 1;
    Kiv.LS_Cycles = 0;
    Kiv.Temp[0] = 0.0;
    Kiv.TM_Pct[0] = Kiv.TM_Pct[1] = 100.0;
    Kiv.TM_Pct[2] = 0.0;
    for (int prm : {PRM_A, PRM_B, PRM_C}) Kiv.Prm_Stat[ST_EXC][prm] = 0;
    for (const auto& [prm, val] : kRotor) {
        Kiv.Prm_Stat[ST_GND][prm] = 1;
        Kiv.Prm_Val[ST_GND][prm] = val;
    }
}

void SetBenchBand(int max_J) {
    SetBenchRotor(max_J);
    Kiv.Gnd_Only = 0;
    Kiv.Fit_Stat = 1;
    for (const auto& [prm, val] : kRotor) {
        Kiv.Prm_Stat[ST_EXC][prm] = 1;
        Kiv.Prm_Val[ST_EXC][prm] = 0.98 * val;
    }
    Kiv.Prm_Val[ST_EXC][PRM_ORI] = 1e9;
}

void TiltBenchRotor() {
    for (int state : {ST_GND, ST_EXC}) {
        Kiv.Euler_Phi[state] = 33.0;
        Kiv.Euler_Theta[state] = 21.0;
        Kiv.Euler_Chi[state] = -12.0;
    }
}

int BenchDeltaK(int max_J) {
    for (const auto& row : kDeltaK) {
        if (row.Max_J >= max_J) return row.Delta_K;
    }
    return max_J;
}

void AllocBenchRotor() {
    if (KivCoreAlloc()) return;
    std::fprintf(stderr, "kiv_bench: no memory for Max_J %d\n", Kiv.Max_J);
    std::exit(1);
}
