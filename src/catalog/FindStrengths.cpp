// Strengths of lines whose intensities do not tell them, and lines within one state of two.
#include <algorithm>
#include <limits>
#include <utility>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/LineKey.h"
#include "kiv/catalog.h"
#include "lines/Boltzmann.h"

namespace kiv {
namespace {

// Smaller ones have lost digits.
constexpr float kFaint = std::numeric_limits<float>::min();

// Place of a line in the order of calculation.
std::uint64_t KeyOf(const LineList& lines, std::size_t line) {
    const std::int16_t* const q = &lines.label[6 * line];
    return LineKey(q[3], q[0], q[3] + q[4] - q[5], q[0] + q[1] - q[2]);
}

LineRules WithoutTemperature(LineRules rules) {
    rules.temperature = 0.0;
    return rules;
}

// Moves entry `from` of the arrays of a list to `to`.
void MoveLine(LineList& lines, std::size_t from, std::size_t to) {
    lines.position[to] = lines.position[from];
    lines.intensity[to] = lines.intensity[from];
    lines.band[to] = lines.band[from];
    lines.lower_level[to] = lines.lower_level[from];
    lines.upper_level[to] = lines.upper_level[from];
    std::copy_n(&lines.label[6 * from], 6, &lines.label[6 * to]);
    std::copy_n(&lines.amplitude_real[3 * from], 3, &lines.amplitude_real[3 * to]);
    if (!lines.amplitude_imag.is_null()) {
        std::copy_n(&lines.amplitude_imag[3 * from], 3, &lines.amplitude_imag[3 * to]);
    }
}

using Range = std::optional<std::array<double, 2>>;

// Makes intensities of the strengths of a list; lines up to min_intensity and those outside the
// range are dropped.
void SetIntensities(const LineRules& rules, const Range& range, const Levels& levels,
                    LinesWithin& to) {
    LineList& lines = to.lines;
    Boltzmann boltzmann(rules, true);
    std::size_t kept = 0;
    for (std::size_t n = 0; n < static_cast<std::size_t>(lines.size); ++n) {
        const double position = lines.position[n];
        if (range && (position < (*range)[0] || position > (*range)[1])) continue;
        const auto energy = [&](const Array<std::int32_t>& level) {
            return levels.energy[static_cast<std::size_t>(level[n])];
        };
        boltzmann.SetLower(energy(lines.lower_level));
        const double intensity =
            static_cast<double>(to.strength[n]) * boltzmann.Factor(energy(lines.upper_level));
        if (boltzmann.is_on() && !(intensity > rules.min_intensity)) continue;
        MoveLine(lines, n, kept);
        lines.intensity[kept] = static_cast<float>(intensity);
        to.strength[kept] = to.strength[n];
        ++kept;
    }
    lines.size = static_cast<std::int32_t>(kept);
}

}  // namespace

double LowestEnergy(const Model& model, const Levels& lower, const Levels& upper) {
    const auto lowest = [](const Levels& levels) {
        return *std::min_element(levels.energy.data(), levels.energy.data() + levels.size());
    };
    if (model.one_state) return lowest(lower);
    return std::min(lowest(lower), model.origin.value + lowest(upper));
}

bool HasFaintLines(const CatalogSource& source) {
    if (!(source.rules.temperature > 0.0)) return false;
    const Array<float>& intensity = source.lines->intensity;
    return std::any_of(intensity.begin(), intensity.begin() + source.lines->size,
                       [](float x) { return x < kFaint; });
}

Result<Array<float>> FindStrengths(const Model& model, const CatalogSource& source, Workspace& work,
                                   Report& report) {
    const LineList& lines = *source.lines;
    Array<float> strength;
    if (!strength.Take(work.memory(), lines.size)) return NoMemory(array_name::kIntensities);
    const Result<LineList> found =
        ComputeLines(model, *source.lower, *source.upper, WithoutTemperature(source.rules), nullptr,
                     LineChoice::All, work, report);
    if (!found) return found.error();
    const auto num = static_cast<std::size_t>(found.value().size);
    std::size_t from = 0;
    for (std::size_t n = 0; n < static_cast<std::size_t>(lines.size); ++n) {
        const std::uint64_t key = KeyOf(lines, n);
        while (from < num && KeyOf(found.value(), from) < key) ++from;
        if (from == num) break;
        if (KeyOf(found.value(), from) == key) strength[n] = found.value().intensity[from];
    }
    return strength;
}

Result<LinesWithin> FindLinesWithin(const Model& model, StateIndex state, const Levels& levels,
                                    const LineRules& rules, const Range& range, Workspace& work,
                                    Report& report) {
    Model alone = model;
    alone.one_state = true;
    alone.origin.value = 0.0;
    if (state == kUpper) {
        std::swap(alone.lower(), alone.upper());
        alone.moment.frame = model.moment.frame == kLower ? kUpper : kLower;
    }
    Result<LineList> found = ComputeLines(alone, levels, levels, WithoutTemperature(rules), nullptr,
                                          LineChoice::All, work, report);
    if (!found) return found.error();
    LinesWithin within;
    within.lines = std::move(found).value();
    if (!within.strength.Take(work.memory(), within.lines.size)) {
        return NoMemory(array_name::kIntensities);
    }
    std::copy_n(within.lines.intensity.begin(), within.lines.size, within.strength.begin());
    SetIntensities(rules, range, levels, within);
    if (within.lines.size > 0) return within;
    return Error{ErrorCode::NoLines, "no line within the state is left by the rules", ""};
}

}  // namespace kiv
