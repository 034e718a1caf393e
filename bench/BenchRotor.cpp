#include "BenchRotor.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "kiv/files.h"

namespace kiv {
namespace {

struct NamedValue {
    Constant constant;
    double value;
};
constexpr NamedValue kRotor[] = {
    {Constant::A, 60778.0}, {Constant::B, 10318.0}, {Constant::C, 8799.0}, {Constant::DJ, 1e-4},
    {Constant::DJK, -1e-3}, {Constant::DK, 1e-2},   {Constant::dJ, 1e-5},  {Constant::dK, 1e-4}};

struct DeltaKRow {
    int max_J, delta_K;
};
constexpr DeltaKRow kDeltaK[] = {{20, 20}, {35, 22}, {60, 21}, {100, 23}, {150, 27}, {200, 32}};

void Check(const Status& status) {
    if (status) return;
    std::fprintf(stderr, "kiv_bench: %s\n", status.error().text.c_str());
    std::exit(1);
}

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

BenchRun BenchRotor(int max_J) {
    BenchRun run;
    run.model.one_state = true;
    run.model.moment = Moment::FromPercent({100.0, 100.0, 0.0});
    for (const auto& [constant, value] : kRotor) run.model.lower().Set(constant, value);
    run.settings.max_J = max_J;
    run.settings.fit.data = FitData::OneState;
    run.settings.lines.delta_K = BenchDeltaK(max_J);
    run.settings.lines.temperature = 0.0;
    return run;
}

BenchRun BenchCut(int max_J, double share) {
    BenchRun run = BenchRotor(max_J);
    run.settings.lines.delta_K = kAllDeltaK;
    run.settings.lines.temperature = 300.0;
    run.settings.lines.min_intensity = 0.0;
    if (share >= 1.0) return run;
    BenchPass all(run);
    all.Run();
    const LineList& lines = all.room().lines;
    std::vector<float> intensity(lines.intensity.begin(), lines.intensity.begin() + lines.size);
    const auto kept = static_cast<std::ptrdiff_t>(share * lines.size);
    std::nth_element(intensity.begin(), intensity.begin() + kept, intensity.end(),
                     std::greater<>());
    run.settings.lines.min_intensity = intensity[static_cast<std::size_t>(kept)];
    return run;
}

BenchRun BenchBand(int max_J) {
    BenchRun run = BenchRotor(max_J);
    run.model.one_state = false;
    run.settings.fit.data = FitData::TwoStates;
    for (const auto& [constant, value] : kRotor) run.model.upper().Set(constant, 0.98 * value);
    run.model.origin.value = 1e9;
    return run;
}

void TiltAxes(Model& model) {
    for (State& state : model.states) state.tilt = {33.0, 21.0, -12.0};
}

std::vector<MeasuredLine> BenchLines(const LineList& lines) {
    constexpr int kNumLines = 300;
    constexpr double kLowestPosition = 1000.0;
    std::vector<MeasuredLine> measured;
    for (int i = 0; i < kNumLines; ++i) {
        auto n = static_cast<std::int64_t>(i) * lines.size / kNumLines;
        // A line near 0 could change its sign, and with it disappear, as the constants move.
        while (n + 1 < lines.size && lines.position[n] < kLowestPosition) ++n;
        const std::int16_t* q = &lines.label[6 * n];
        measured.push_back({q[0], q[1], q[2], q[3], q[4], q[5], lines.position[n], 0.01});
    }
    return measured;
}

int BenchDeltaK(int max_J) {
    for (const auto& row : kDeltaK) {
        if (row.max_J >= max_J) return row.delta_K;
    }
    return max_J;
}

void WriteBenchInput(const BenchRun& run) {
    InputFile file;
    file.out_base = "bench_run";
    file.assignment_file = "none.asn";
    for (const StateIndex index : {kLower, kUpper}) {
        for (int c = 0; c < kNumConstants; ++c) {
            file.states[index].status[c] = run.model.states[index].terms[c].on ? 1 : 0;
        }
    }
    PutConstants(file, run.model);
    file.fit_status = static_cast<std::int16_t>(run.settings.fit.data);
    file.max_J = run.settings.max_J;
    file.delta_K = run.settings.lines.delta_K;
    file.min_intensity = run.settings.lines.min_intensity;
    file.moment_percent = {100.0, 100.0, 0.0};
    file.temperatures[0] = run.settings.lines.temperature;
    file.cycles = 0;
    StringSink text;
    WriteInputFile(text, file);
    std::ofstream(kBenchInput, std::ios::binary) << text.text();
}

BenchPass::BenchPass(const BenchRun& run, int threads, bool has_derivatives)
    : run_(run),
      task_{&run_.model, run_.settings.max_J, &run_.settings.lines},
      work_(Memory(), threads) {
    task_.has_derivatives = has_derivatives;
    task_.is_complex = NeedsComplex(run_.model.lower());
    Check(room_.Reserve(task_, work_.memory()));
}

void BenchPass::Run() { Check(RunPass(task_, work_, silent_, room_)); }

void BenchPass::RunAnew() {
    for (bool& solved : room_.is_solved) solved = false;
    Run();
}

}  // namespace kiv
