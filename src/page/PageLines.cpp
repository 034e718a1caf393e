#include "page/PageLines.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace kiv {
namespace {

// Points this many spacings off a uniform grid are told in single precision to 1e-3 of a spacing.
constexpr double kMostRest = 1e4;
constexpr double kNoRest = 1e-9;  // of a step

// The intensity from which on lines are taken, and how many of exactly this intensity.
struct Threshold {
    float intensity = -std::numeric_limits<float>::infinity();
    std::int64_t equal = std::numeric_limits<std::int64_t>::max();

    bool Takes(float value) { return value > intensity || (value == intensity && equal-- > 0); }
};

Threshold ThresholdFor(const LineTable& table, std::int64_t most) {
    const std::int32_t size = table.catalog.size();
    if (size <= most) return {};
    std::vector<float> intensity;
    intensity.reserve(static_cast<std::size_t>(size));
    for (std::int32_t i = 0; i < size; ++i) {
        intensity.push_back(table.catalog.Line(i, table.absolute).intensity);
    }
    const auto last = intensity.begin() + static_cast<std::ptrdiff_t>(most - 1);
    std::nth_element(intensity.begin(), last, intensity.end(), std::greater<>());
    return {*last, most - std::count_if(intensity.begin(), last,
                                        [&](float value) { return value > *last; })};
}

// The type of a line whose levels tell it, as those of rotors without mixed components do.
char BandByLabels(const LevelLabel& upper, const LevelLabel& lower) {
    const bool ka_odd = (upper.Ka - lower.Ka) % 2 != 0, kc_odd = (upper.Kc - lower.Kc) % 2 != 0;
    if (ka_odd) return kc_odd ? 'b' : 'c';
    return 'a';
}

}  // namespace

PageLines TakeLines(const LineTable& table, double origin, std::int64_t most) {
    const CatalogSource& source = table.catalog.source();
    Threshold threshold = ThresholdFor(table, most);
    PageLines lines;
    lines.all = table.catalog.size();
    bool is_exact = true, is_plain = true;
    for (std::int32_t i = 0; i < table.catalog.size(); ++i) {
        const CatalogLine line = table.catalog.Line(i, table.absolute);
        if (!threshold.Takes(line.intensity)) continue;
        const auto lower = static_cast<std::size_t>(line.lower_level),
                   upper = static_cast<std::size_t>(line.upper_level);
        lines.lower.push_back(static_cast<std::uint32_t>(lower));
        lines.upper.push_back(static_cast<std::uint32_t>(upper));
        lines.strength.push_back(static_cast<float>(line.strength));
        lines.intensity.push_back(line.intensity);
        lines.band.push_back(static_cast<std::uint8_t>(line.band - 'a'));
        lines.position.push_back(line.frequency);
        if (line.band != BandByLabels(line.upper, line.lower)) is_plain = false;
        if (origin + source.upper->energy[upper] - source.lower->energy[lower] != line.frequency) {
            is_exact = false;
        }
        if (!table.predictor) continue;
        lines.sd.push_back(static_cast<float>(
            table.predictor->Sd({table.v_upper, line.upper.J, line.upper.Ka, line.upper.Kc},
                                {table.v_lower, line.lower.J, line.lower.Ka, line.lower.Kc})));
    }
    if (is_exact) lines.position.clear();
    if (is_plain) lines.band.clear();
    return lines;
}

PageSpectrum TakeSpectrum(const MeasuredSpectrum& spectrum) {
    PageSpectrum page;
    const std::vector<double>& x = spectrum.frequency;
    page.size = x.size();
    if (x.empty()) return page;
    page.first = x.front();
    page.step = x.size() > 1 ? (x.back() - x.front()) / static_cast<double>(x.size() - 1) : 1.0;
    double most = 0.0, least_spacing = page.step;
    page.rest.reserve(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double rest = x[i] - (page.first + static_cast<double>(i) * page.step);
        page.rest.push_back(static_cast<float>(rest));
        most = std::max(most, std::fabs(rest));
        if (i > 0 && x[i] > x[i - 1]) least_spacing = std::min(least_spacing, x[i] - x[i - 1]);
    }
    if (!(most <= kMostRest * least_spacing)) page.position = x;
    if (!page.position.empty() || most <= kNoRest * page.step) page.rest.clear();
    double highest = 0.0;
    for (const double value : spectrum.value) highest = std::max(highest, std::fabs(value));
    if (highest > 0.0) page.factor = highest;
    page.value.reserve(x.size());
    for (const double value : spectrum.value) {
        page.value.push_back(static_cast<float>(value / page.factor));
    }
    return page;
}

}  // namespace kiv
