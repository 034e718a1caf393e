// Lines convolved with line shapes, and measured spectra read from text.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "BenchRotor.h"
#include "exchange/MeasuredSpectrum.h"
#include "kiv/spectrum.h"

namespace kiv {
namespace {

constexpr std::size_t kNumLines = 1000000;
constexpr std::int64_t kNumPoints = 1000000;
constexpr int kReadPoints = 10000000;

void ConvolveLines(benchmark::State& state, LineShape shape) {
    const FrequencyGrid grid{0.0, 0.1, kNumPoints};
    const double extent = grid.step * static_cast<double>(grid.size);
    std::vector<double> position(kNumLines);
    std::vector<float> intensity(kNumLines);
    std::uint64_t bits = 1;
    const auto random = [&] {
        bits = bits * 6364136223846793005U + 1442695040888963407U;
        return static_cast<double>(bits >> 11) * 0x1p-53;
    };
    for (std::size_t n = 0; n < kNumLines; ++n) {
        position[n] = extent * random();
        intensity[n] = static_cast<float>(std::pow(10.0, -6.0 * random()));
    }
    const Memory memory;
    for (auto _ : state) {
        const auto made = Convolve({position, intensity}, {shape, 1.0, 1.0}, grid, memory);
        if (!made) return state.SkipWithError("no spectrum");
        benchmark::DoNotOptimize(made.value().data());
    }
    state.counters["items"] = static_cast<double>(kNumLines);
}

void Gauss(benchmark::State& state, int) { ConvolveLines(state, LineShape::Gauss); }
void Lorentz(benchmark::State& state, int) { ConvolveLines(state, LineShape::Lorentz); }
void Voigt(benchmark::State& state, int) { ConvolveLines(state, LineShape::Voigt); }

void ReadMeasured(benchmark::State& state, int) {
    std::string text;
    for (int i = 0; i < kReadPoints; ++i) {
        text += std::to_string(8000 + i / 10) + "." + std::to_string(i % 10) + "\t" +
                std::to_string(i % 9973) + ".25\n";
    }
    for (auto _ : state) {
        Findings findings;
        const auto spectrum = ReadMeasuredSpectrum(text, EnergyUnit::MHz, "m", findings);
        if (spectrum.value.size() != kReadPoints) return state.SkipWithError("points are missing");
    }
    state.counters["items"] = kReadPoints;
}

}  // namespace

// The column of J is 0: the lines are at random.
void AddSpectrumRows() {
    AddRow("1e6 points of Gauss shapes", "kiv", 0, Gauss);
    AddRow("1e6 points of Lorentz shapes", "kiv", 0, Lorentz);
    AddRow("1e6 points of Voigt shapes", "kiv", 0, Voigt);
    AddRow("measured spectrum as text", "kiv", 0, ReadMeasured, 3);
}

}  // namespace kiv
