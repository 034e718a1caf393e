// Finds the tilt of an upper state from a measured spectrum in which no line was assigned.
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "kiv/lines.h"
#include "kiv/spectrum.h"

namespace {

constexpr kiv::LineProfile kProfile{kiv::LineShape::Voigt, 60.0, 30.0};  // full widths, MHz

// The S1 - S0 band of 7-azaindole, constants in MHz, with the upper axes turned by theta degrees.
kiv::Result<kiv::LineList> Band(double theta, kiv::Workspace& work) {
    kiv::Model model;
    model.lower() = kiv::State::Rigid(3921.885, 1701.922, 1190.176);
    model.upper() = kiv::State::Rigid(3737.812, 1701.382, 1172.488);
    model.upper().tilt.theta = theta;
    model.moment = kiv::Moment::FromAngles(1.0, 21.0, 0.0);
    kiv::Settings settings;
    settings.max_J = 20;
    settings.lines.temperature = 4.0;  // kelvin
    return kiv::ComputeLines(model, settings, work);
}

struct Measured {
    std::vector<double> frequency, value;
};

// What a spectrometer would record of a tilt of 4.3 degrees: counts over a background, noise of a
// fiftieth of the strongest point, a frequency scale that is 25 MHz off.
kiv::Result<Measured> Recorded(kiv::Workspace& work) {
    const auto lines = Band(4.3, work);
    if (!lines) return lines.error();
    const kiv::FrequencyGrid grid{-40000.0, 15.0, 5334};
    const auto spectrum = Convolve(SticksOf(lines.value()), kProfile, grid, work.memory());
    if (!spectrum) return spectrum.error();
    double most = 0.0;
    for (const double value : spectrum.value()) most = std::fmax(most, value);
    Measured measured;
    std::uint32_t bits = 1;
    for (std::size_t i = 0; i < spectrum.value().size(); ++i) {
        double noise = 0.0;  // nearly normal: the sum of twelve numbers from -1/2 to 1/2
        for (int k = 0; k < 12; ++k) {
            bits = bits * 1664525U + 1013904223U;
            noise += bits / 4294967296.0 - 0.5;
        }
        measured.frequency.push_back(grid[i] + 25.0);
        measured.value.push_back(200.0 + 5000.0 * (spectrum.value()[i] / most + 0.02 * noise));
    }
    return measured;
}

// How well a tilt explains it, with the best scale, background and shift of frequencies.
kiv::Result<kiv::Comparison> Explained(double theta, const Measured& measured,
                                       kiv::Workspace& work) {
    const auto lines = Band(theta, work);
    if (!lines) return lines.error();
    return CompareSpectrum(SticksOf(lines.value()), kProfile, {measured.frequency, measured.value},
                           WidthOf(kProfile), work.memory());
}

}  // namespace

int main() {
    kiv::Workspace work;
    const auto measured = Recorded(work);
    if (!measured) return 1;
    constexpr std::size_t kTilts = 9;  // 0, 1, ... degrees
    std::array<double, kTilts> rms{};
    std::size_t best = 1;
    for (std::size_t i = 0; i < kTilts; ++i) {
        const auto compared = Explained(static_cast<double>(i), measured.value(), work);
        if (!compared) {
            std::fprintf(stderr, "tilt: %s\n", compared.error().text.c_str());
            return 1;
        }
        const kiv::Comparison& found = compared.value();
        rms[i] = found.residual_rms;
        std::printf("theta %zu: correlation %.4f, residual rms %5.1f, shift %5.2f MHz\n", i,
                    found.correlation, rms[i], found.shift);
        if (i + 1 < kTilts && rms[i] < rms[best]) best = i;
    }
    // The mean square is least at the vertex of the parabola through the best three.
    const auto square = [&](std::size_t i) { return rms[i] * rms[i]; };
    const double left = square(best - 1), middle = square(best), right = square(best + 1);
    const double vertex = 0.5 * (left - right) / (left - 2.0 * middle + right);
    std::printf("best tilt: %.1f degrees\n", static_cast<double>(best) + vertex);
    return 0;
}
