// The rotors that are measured, and how a measurement is named.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "kiv/assignments.h"
#include "kiv/lines.h"
#include "kiv/model.h"
#include "kiv/report.h"
#include "kiv/settings.h"
#include "kiv/workspace.h"
#include "lines/Pass.h"

namespace kiv {

/// Registers `body` as a row of the table: what is done, by whom ("kiv" or what it is compared
/// with), for which max_J. Rows of one `what` and `max_J` share a line.
///
/// The table shows the median of `repetitions` runs. A body may set the counters "items", the
/// number of lines or levels it made, and "peak MB", its memory.
benchmark::internal::Benchmark* AddRow(const std::string& what, const std::string& by, int max_J,
                                       void (*body)(benchmark::State&, int max_J),
                                       int repetitions = 5);

/// What is calculated.
struct BenchRun {
    Model model;
    Settings settings;
};

/// A near-prolate rotor: A reduction with all quartic constants, a and b type, line strengths, one
/// state, every line of |dKa| <= BenchDeltaK(max_J).
BenchRun BenchRotor(int max_J);

/// The same rotor at 300 K without a window of Ka, with a cut-off that keeps this share of its
/// lines, the most intense ones.
BenchRun BenchCut(int max_J, double share);

/// The same rotor with an upper state of its own: all P, Q and R lines between the two.
BenchRun BenchBand(int max_J);

/// The input file of whole processes, in the folder of the benchmark.
inline constexpr char kBenchInput[] = "bench_run.in";
void WriteBenchInput(const BenchRun& run);

/// Tilts the axes of both states by three angles, so that no symmetry is left: complex matrices of
/// the full size.
void TiltAxes(Model& model);

/// The whole state solved by LAPACK: one dsteqr with vectors of every symmetry block.
void SolverDsteqr(benchmark::State& state, int max_J);

/// 300 calculated lines, spread evenly over a list.
std::vector<MeasuredLine> BenchLines(const LineList& lines);

/// Window of Ka of the measured rotor. It lets 43,000 lines through at J 35, 163,000 at J 60,
/// 560,000 at J 100, 1.5 million at J 150 and 3.2 million at J 200.
int BenchDeltaK(int max_J);

/// Passes of a run, with their memory; ends the program when that is refused.
class BenchPass {
  public:
    explicit BenchPass(const BenchRun& run, int threads = 1, bool has_derivatives = true);

    /// Runs a pass. A state that is solved is not solved again, as in a fit.
    void Run();

    /// Runs a pass as if nothing were known.
    void RunAnew();

    const PassRoom& room() const { return room_; }
    PassRoom& room() { return room_; }
    Workspace& work() { return work_; }

  private:
    BenchRun run_;
    PassTask task_;
    Workspace work_;
    Report silent_;
    PassRoom room_;
};

}  // namespace kiv
