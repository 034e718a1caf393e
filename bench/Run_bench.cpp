// One pass (levels, derivatives, lines, nothing written) and the whole program, files included.
#include <cstring>

#include "BenchRotor.h"
#include "input/NextInput.h"
#include "run/KivCore.h"
#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "transitions/Ham2Trs.h"

namespace {

void OnePass(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    AllocBenchRotor();
    Ham2Trs();  // the store has its size
    for (auto _ : state) {
        for (KivSolved& solved : Kiv.Solved) solved = KivSolved{};  // levels anew in every pass
        Ham2Trs();
    }
    state.counters["items"] = Kiv.Num_Trs;
}

// Starts from an input file, as a user does.
void WholeRun(benchmark::State& state, int max_J) {
    SetBenchRotor(max_J);
    std::strcpy(Kiv.Out_Base, "bench_run");
    std::strcpy(Kiv.Asn_Flnm, "none.asn");
    KivWriteInputParm(Kiv);
    char program[] = "kiv", input[] = "bench_run.in";
    char* argv[] = {program, input, nullptr};
    for (auto _ : state) {
        Kiv = KivRecord{};
        KivMain(2, argv);
    }
    state.counters["items"] = Kiv.Num_Trs;
}

}  // namespace

void AddRunRows() {
    for (int max_J : {20, 35, 60, 100, 150, 200}) {
        AddRow("one pass, nothing written", "kiv", max_J, OnePass, max_J > 100 ? 3 : 5);
        AddRow("whole run, all lines written", "kiv", max_J, WholeRun, max_J > 100 ? 3 : 5);
    }
}
