// One run, one table: medians of each stage, beside what it is compared with.
//
// Options of Google Benchmark apply, for instance --benchmark_filter='whole run'. Works in a
// temporary folder; the program's own console output is dropped.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "run/KivServices.h"

void AddEigenRows();
void AddRunRows();
void MeasurePeaks();
void AddOutputRows();
void AddFitRows();

namespace {

struct Line {
    std::string What;
    int Max_J = 0;
    double Items = 0.0;
    double Ms = 0.0;
    double Peak_MB = 0.0;
    std::string Other;
    double Other_Ms = 0.0;
};

class OneTable : public benchmark::BenchmarkReporter {
  public:
    explicit OneTable(std::FILE* out) : Out(out) {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") Note(run);
        }
    }

    void Finalize() override {
        std::fprintf(Out, "%-32s %5s %9s %11s %10s %8s  %-16s %11s %6s\n", "what", "max J", "items",
                     "kiv ms", "us/item", "peak MB", "compared with", "ms", "ratio");
        for (const Line& line : Lines) Put(line);
        std::fprintf(Out, "\ntime as J^x, J from %d up\n", kFirstJ);
        for (const Line& line : Lines) PutExponent(line);
    }

  private:
    void Note(const Run& run) {
        const std::string name = run.run_name.function_name;
        const std::size_t one = name.find('|'), two = name.find('|', one + 1);
        const std::string what = name.substr(0, one), by = name.substr(one + 1, two - one - 1);
        const int max_J = std::atoi(name.c_str() + two + 1);
        Line& line = Find(what, max_J);
        const double ms = run.GetAdjustedRealTime();
        if (by != "kiv") {
            line.Other = by;
            line.Other_Ms = ms;
            return;
        }
        line.Ms = ms;
        line.Items = Counter(run, "items");
        line.Peak_MB = Counter(run, "peak MB");
    }

    static double Counter(const Run& run, const char* name) {
        const auto counter = run.counters.find(name);
        return counter != run.counters.end() ? counter->second.value : 0.0;
    }

    Line& Find(const std::string& what, int max_J) {
        for (Line& line : Lines) {
            if (line.What == what && line.Max_J == max_J) return line;
        }
        Lines.push_back({what, max_J, 0.0, 0.0, 0.0, "", 0.0});
        return Lines.back();
    }

    void Put(const Line& line) {
        std::fprintf(Out, "%-32s %5d %9.0f %11.3f", line.What.c_str(), line.Max_J, line.Items,
                     line.Ms);
        if (line.Items > 0.0) std::fprintf(Out, " %10.3f", 1e3 * line.Ms / line.Items);
        if (line.Peak_MB > 0.0) {
            std::fprintf(Out, " %8.0f", line.Peak_MB);
        } else if (line.Other_Ms > 0.0) {
            std::fprintf(Out, " %8s", "");
        }
        if (line.Other_Ms > 0.0) {
            std::fprintf(Out, "  %-16s %11.3f %6.2f", line.Other.c_str(), line.Other_Ms,
                         line.Ms / line.Other_Ms);
        }
        std::fprintf(Out, "\n");
    }

    // Least-squares slope of log(time) against log(J), once a stage.
    void PutExponent(const Line& line) {
        if (line.Max_J != kFirstJ) return;
        double n = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0;
        for (const Line& other : Lines) {
            if (other.What != line.What || other.Max_J < kFirstJ) continue;
            const double lj = std::log(other.Max_J), lt = std::log(other.Ms);
            n += 1.0, x += lj, y += lt, xx += lj * lj, xy += lj * lt;
        }
        if (n < 2.0) return;
        std::fprintf(Out, "%-32s %5.1f\n", line.What.c_str(), (n * xy - x * y) / (n * xx - x * x));
    }

    static constexpr int kFirstJ = 35;
    std::FILE* Out;
    std::vector<Line> Lines;
};

void NoWait(int) {}
int NoChar() { return EOF; }
bool NoNumber(double&) { return false; }

}  // namespace

int main(int argc, char** argv) {
    const bool all = argc == 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    std::FILE* out = fdopen(dup(STDOUT_FILENO), "w");
    std::string folder = (std::filesystem::temp_directory_path() / "kiv_bench_XXXXXX").string();
    if (!out || !mkdtemp(folder.data()) || !std::freopen("/dev/null", "w", stdout)) return 1;
    std::filesystem::current_path(folder);
    Services = {NoWait, NoChar, NoNumber};

    if (all) MeasurePeaks();  // while the benchmark is small: a new process counts its memory, too
    AddEigenRows();
    AddRunRows();
    AddOutputRows();
    AddFitRows();
    OneTable table(out);
    benchmark::RunSpecifiedBenchmarks(&table);
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
    std::fclose(out);
    return 0;
}
