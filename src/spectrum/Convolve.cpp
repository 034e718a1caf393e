// Spectra on grids and at given points.
#include <algorithm>
#include <cmath>

#include "base/Failure.h"
#include "kiv/spectrum.h"
#include "spectrum/Curve.h"

namespace kiv {

Sticks SticksOf(const LineList& lines) {
    const auto num = static_cast<std::size_t>(lines.size);
    return {lines.position.Part(0, num), lines.intensity.Part(0, num)};
}

Result<Array<double>> ConvolveAt(const Sticks& sticks, const LineProfile& profile,
                                 std::span<const double> frequencies, const Memory& memory) {
    KIV_TRY(CheckFrequencies(frequencies));
    Array<double> values;
    const std::size_t num = frequencies.size();
    if (!values.Take(memory, static_cast<std::int64_t>(num))) return NoMemory("the spectrum");
    Curve::Range range;
    if (num > 0) range = {frequencies.front(), frequencies.back(), static_cast<double>(num)};
    const Result<Curve> curve = Curve::Of(sticks, profile, range, memory);
    if (!curve) return curve.error();
    curve.value().At(frequencies, 0.0, values.Part(0, num));
    return values;
}

Result<Array<double>> Convolve(const Sticks& sticks, const LineProfile& profile,
                               const FrequencyGrid& grid, const Memory& memory) {
    if (grid.size < 0 || !(grid.step > 0.0) || !std::isfinite(grid.step)) {
        return Error{ErrorCode::OutOfRange,
                     "the step of a grid of frequencies is a positive number", ""};
    }
    Array<double> frequencies;
    if (!frequencies.Take(memory, grid.size)) return NoMemory("the spectrum");
    for (std::size_t i = 0; i < frequencies.size(); ++i) frequencies[i] = grid[i];
    return ConvolveAt(sticks, profile, frequencies.Part(0, frequencies.size()), memory);
}

}  // namespace kiv
