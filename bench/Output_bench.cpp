// The parts of writing a line set, against printf and std::stable_sort.
#include <algorithm>
#include <cstdio>
#include <numeric>
#include <span>
#include <vector>

#include "BenchRotor.h"
#include "kiv/files.h"
#include "linalg/Sort.h"
#include "system/WholeFile.h"

namespace kiv {
namespace {

std::span<const double> Positions(const LineList& lines) {
    return lines.position.Part(0, static_cast<std::size_t>(lines.size));
}

void Sort(benchmark::State& state, int max_J, int num_threads) {
    BenchPass pass(BenchRotor(max_J));
    pass.Run();
    Threads threads(num_threads);
    const std::span<const double> key = Positions(pass.room().lines);
    std::vector<std::int32_t> index(key.size());
    for (auto _ : state) {
        SortIndex(key, index, pass.work().memory(), &threads);
        benchmark::DoNotOptimize(index.data());
    }
    state.counters["items"] = static_cast<double>(key.size());
}

void SortKiv(benchmark::State& state, int max_J) { Sort(state, max_J, 1); }
void SortOnTwo(benchmark::State& state, int max_J) { Sort(state, max_J, 2); }

void SortStd(benchmark::State& state, int max_J) {
    BenchPass pass(BenchRotor(max_J));
    pass.Run();
    const std::span<const double> key = Positions(pass.room().lines);
    std::vector<std::int32_t> index(key.size());
    for (auto _ : state) {
        std::iota(index.begin(), index.end(), 0);
        std::stable_sort(index.begin(), index.end(),
                         [key](std::int32_t a, std::int32_t b) { return key[a] < key[b]; });
        benchmark::DoNotOptimize(index.data());
    }
}

// What the console writes files from.
class Files {
  public:
    explicit Files(int max_J) : pass_(BenchRotor(max_J)) {
        pass_.Run();
        InputFile file;
        file.temperatures[0] = 0.0;
        file.moment_percent = {100.0, 100.0, 0.0};
        header_ = HeaderOf(file, BenchRotor(max_J).model, pass_.room().lines, nullptr);
        lines_ = std::move(pass_.room().lines);
    }

    /// Writes the line set; the lines are sorted from then on.
    bool WriteSet() {
        WholeFile file;
        if (!file.Open("bench_set.QZS")) return false;
        Result<SortedLines> sorted =
            WriteLineSet(file, header_, std::move(lines_), {lower(), lower()}, memory());
        if (!sorted) return false;
        sorted_ = std::move(sorted).value();
        return file.Keep();
    }

    bool WriteList() {
        WholeFile file;
        if (!file.Open("bench_text.asc")) return false;
        WriteLineList(file, header_, sorted_, lower(), memory());
        return file.Keep();
    }

    /// Makes the lines ready for another set.
    void TakeBack() { lines_ = std::move(sorted_.lines); }

    const LineList& sorted() const { return sorted_.lines; }
    const Levels& lower() const { return pass_.room().lower(); }

  private:
    const Memory& memory() { return pass_.work().memory(); }

    BenchPass pass_;
    LineSetHeader header_;
    LineList lines_;
    SortedLines sorted_;
};

void TextKiv(benchmark::State& state, int max_J) {
    Files files(max_J);
    if (!files.WriteSet()) return state.SkipWithError("no line set");
    for (auto _ : state) {
        if (!files.WriteList()) return state.SkipWithError("no list");
    }
    state.counters["items"] = files.sorted().size;
}

// The same bytes with fprintf.
void TextPrintf(benchmark::State& state, int max_J) {
    Files files(max_J);
    if (!files.WriteSet()) return state.SkipWithError("no line set");
    const LineList& lines = files.sorted();
    for (auto _ : state) {
        std::FILE* file = std::fopen("bench_printf.asc", "w");
        if (!file) return state.SkipWithError("no file");
        for (int n = lines.size - 1; n >= 0; --n) {
            const std::int16_t* q = &lines.label[6 * n];
            std::fprintf(file, "%c %2hd %2hd %2hd %3hd %2hd %2hd %8.4f %11.4lf %11.4lf            ",
                         lines.band[n], q[0], q[1], q[2], q[3], q[4], q[5],
                         static_cast<double>(lines.intensity[n]), 0.0, lines.position[n]);
            const double energy = files.lower().energy[lines.lower_level[n]];
            std::fprintf(file, " %11.4lf\n", energy / 29979.2458);
        }
        std::fclose(file);
    }
}

void WholeLineSet(benchmark::State& state, int max_J) {
    Files files(max_J);
    for (auto _ : state) {
        if (!files.WriteSet() || !files.WriteList()) return state.SkipWithError("no line set");
        files.TakeBack();
    }
    files.WriteSet();
    state.counters["items"] = files.sorted().size;
}

}  // namespace

void AddOutputRows() {
    for (int max_J : {60, 100, 150}) {
        AddRow("sort lines, two threads", "kiv", max_J, SortOnTwo);
        AddRow("sort lines, two threads", "one thread", max_J, SortKiv);
    }
    for (int max_J : {35, 100}) {
        AddRow("sort lines", "kiv", max_J, SortKiv);
        AddRow("sort lines", "std::stable_sort", max_J, SortStd);
        AddRow("write the text list", "kiv", max_J, TextKiv);
        AddRow("write the text list", "fprintf", max_J, TextPrintf);
        AddRow("line set: sort, binary and text", "kiv", max_J, WholeLineSet);
    }
}

}  // namespace kiv
