// One run, one table: medians of each stage, beside what it is compared with.
//
// Options of Google Benchmark apply, for instance --benchmark_filter='whole run'. Works in a
// temporary folder; console output is dropped.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace kiv {

void AddEigenRows();
void AddRunRows();
void AddCutRows();
void MeasurePeaks();
void AddOutputRows();
void AddFitRows();
void AddReportRows();
void AddSpectrumRows();

namespace {

struct Line {
    std::string what;
    int max_J = 0;
    double items = 0.0;
    double ms = 0.0;
    double peak_MB = 0.0;
    std::string other;
    double other_ms = 0.0;
};

class OneTable : public benchmark::BenchmarkReporter {
  public:
    explicit OneTable(std::FILE* out) : out_(out) {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") Note(run);
        }
    }

    void Finalize() override {
        std::fprintf(out_, "%-32s %5s %9s %11s %10s %8s  %-16s %11s %6s\n", "what", "max J",
                     "items", "kiv ms", "us/item", "peak MB", "compared with", "ms", "ratio");
        for (const Line& line : lines_) Put(line);
        std::fprintf(out_, "\ntime as J^x, J from %d up\n", kFirstJ);
        for (const Line& line : lines_) PutExponent(line);
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
            line.other = by;
            line.other_ms = ms;
            return;
        }
        line.ms = ms;
        line.items = Counter(run, "items");
        line.peak_MB = Counter(run, "peak MB");
    }

    static double Counter(const Run& run, const char* name) {
        const auto counter = run.counters.find(name);
        return counter != run.counters.end() ? counter->second.value : 0.0;
    }

    Line& Find(const std::string& what, int max_J) {
        for (Line& line : lines_) {
            if (line.what == what && line.max_J == max_J) return line;
        }
        lines_.push_back({what, max_J, 0.0, 0.0, 0.0, "", 0.0});
        return lines_.back();
    }

    void Put(const Line& line) {
        std::fprintf(out_, "%-32s %5d %9.0f %11.3f", line.what.c_str(), line.max_J, line.items,
                     line.ms);
        if (line.items > 0.0) std::fprintf(out_, " %10.3f", 1e3 * line.ms / line.items);
        if (line.peak_MB > 0.0) {
            std::fprintf(out_, " %8.0f", line.peak_MB);
        } else if (line.other_ms > 0.0) {
            std::fprintf(out_, " %8s", "");
        }
        if (line.other_ms > 0.0) {
            std::fprintf(out_, "  %-16s %11.3f %6.2f", line.other.c_str(), line.other_ms,
                         line.ms / line.other_ms);
        }
        std::fprintf(out_, "\n");
    }

    // Least-squares slope of log(time) against log(J), once a stage.
    void PutExponent(const Line& line) {
        if (line.max_J != kFirstJ) return;
        double n = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0;
        for (const Line& other : lines_) {
            if (other.what != line.what || other.max_J < kFirstJ) continue;
            const double lj = std::log(other.max_J), lt = std::log(other.ms);
            n += 1.0, x += lj, y += lt, xx += lj * lj, xy += lj * lt;
        }
        if (n < 2.0) return;
        std::fprintf(out_, "%-32s %5.1f\n", line.what.c_str(), (n * xy - x * y) / (n * xx - x * x));
    }

    static constexpr int kFirstJ = 35;
    std::FILE* out_;
    std::vector<Line> lines_;
};

}  // namespace
}  // namespace kiv

int main(int argc, char** argv) {
    const bool all = argc == 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    std::FILE* out = fdopen(dup(STDOUT_FILENO), "w");
    std::string folder = (std::filesystem::temp_directory_path() / "kiv_bench_XXXXXX").string();
    if (!out || !mkdtemp(folder.data()) || !std::freopen("/dev/null", "w", stdout)) return 1;
    std::filesystem::current_path(folder);

    // While the benchmark is small: a new process counts its memory, too.
    if (all) kiv::MeasurePeaks();
    kiv::AddEigenRows();
    kiv::AddRunRows();
    kiv::AddCutRows();
    kiv::AddOutputRows();
    kiv::AddFitRows();
    kiv::AddReportRows();
    kiv::AddSpectrumRows();
    kiv::OneTable table(out);
    benchmark::RunSpecifiedBenchmarks(&table);
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
    std::fclose(out);
    return 0;
}
