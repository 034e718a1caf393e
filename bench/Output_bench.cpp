// The parts of writing a line set, against printf and std::stable_sort.
#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

#include "BenchRotor.h"
#include "output/IndexSort.h"
#include "output/LineSet.h"
#include "run/KivRecord.h"
#include "transitions/Ham2Trs.h"

namespace {

void SetLines(int max_J) {
    SetBenchRotor(max_J);
    AllocBenchRotor();
    Ham2Trs();
}

void SortKiv(benchmark::State& state, int max_J) {
    SetLines(max_J);
    const int n = Kiv.Num_Trs;
    std::vector<std::int32_t> index(n);
    for (auto _ : state) {
        KivIndexSort(n, {Kiv.FI_Sim_Erg.Data()}, {index.data()});
        benchmark::DoNotOptimize(index.data());
    }
    state.counters["items"] = n;
}

void SortStd(benchmark::State& state, int max_J) {
    SetLines(max_J);
    const double* key = Kiv.FI_Sim_Erg.Data();
    std::vector<std::int32_t> index(Kiv.Num_Trs);
    for (auto _ : state) {
        std::iota(index.begin(), index.end(), 0);
        std::stable_sort(index.begin(), index.end(),
                         [key](std::int32_t a, std::int32_t b) { return key[a] < key[b]; });
        benchmark::DoNotOptimize(index.data());
    }
}

void TextKiv(benchmark::State& state, int max_J) {
    SetLines(max_J);
    TrsConvert("bench_text");
    const std::vector<double> obs(Kiv.Num_Trs, 0.0);
    for (auto _ : state) PrntTrsQZS("bench_text", obs.data());
    state.counters["items"] = Kiv.Num_Trs;
}

// The same bytes with fprintf.
void TextPrintf(benchmark::State& state, int max_J) {
    SetLines(max_J);
    TrsConvert("bench_text");
    for (auto _ : state) {
        std::FILE* file = std::fopen("bench_printf.asc", "w");
        if (!file) return state.SkipWithError("no file");
        for (int n = Kiv.Num_Trs - 1; n >= 0; --n) {
            const std::int16_t* q = &Kiv.FI_JKK_Lbl[6 * n];
            std::fprintf(file, "%c %2hd %2hd %2hd %3hd %2hd %2hd %8.4f %11.4lf %11.4lf            ",
                         Kiv.FI_BT_Lbl[n], q[0], q[1], q[2], q[3], q[4], q[5], Kiv.FI_Sim_Itn[n],
                         0.0, Kiv.FI_Sim_Erg[n]);
            const double erg = Kiv.HamErg_Vector[ST_GND][Kiv.FI_Erg_Idx[ST_GND][n]];
            std::fprintf(file, " %11.4lf\n", erg / 29979.2458);
        }
        std::fclose(file);
    }
}

void WholeLineSet(benchmark::State& state, int max_J) {
    SetLines(max_J);
    for (auto _ : state) TrsConvert("bench_set");
    state.counters["items"] = Kiv.Num_Trs;
}

}  // namespace

void AddOutputRows() {
    for (int max_J : {35, 100}) {
        AddRow("sort lines", "kiv", max_J, SortKiv);
        AddRow("sort lines", "std::stable_sort", max_J, SortStd);
        AddRow("write the text list", "kiv", max_J, TextKiv);
        AddRow("write the text list", "fprintf", max_J, TextPrintf);
        AddRow("line set: sort, binary and text", "kiv", max_J, WholeLineSet);
    }
}
