#include "kiv/catalog.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "linalg/Sort.h"
#include "lines/Boltzmann.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

constexpr int kQuanta = 6;  // of a line

std::int32_t LevelOf(const std::int16_t* q) { return q[0] * q[0] + q[0] + q[1] - q[2]; }

const std::int16_t* LabelOf(const LineList& lines, std::int32_t line) {
    return &lines.label[static_cast<std::size_t>(line) * kQuanta];
}

// Sorts lines of equal frequency by their quantum numbers.
template <class Equal>
void SortTies(const LineList& lines, std::span<const std::int32_t> kept,
              std::span<const double> position, std::span<std::int32_t> order,
              const Equal& are_equal) {
    const auto by_quanta = [&](std::int32_t a, std::int32_t b) {
        const std::int16_t* const x = LabelOf(lines, kept[static_cast<std::size_t>(a)]);
        const std::int16_t* const y = LabelOf(lines, kept[static_cast<std::size_t>(b)]);
        return std::lexicographical_compare(x, x + kQuanta, y, y + kQuanta);
    };
    const auto at = [&](std::size_t place) {
        return place < order.size() ? position[static_cast<std::size_t>(order[place])] : 0.0;
    };
    double x = at(0), next = 0.0;
    for (std::size_t first = 0; first < order.size(); x = next) {
        std::size_t last = first + 1;
        for (next = at(last); last < order.size() && are_equal(x, next); next = at(last)) ++last;
        if (last - first > 1) {
            std::sort(order.begin() + static_cast<std::ptrdiff_t>(first),
                      order.begin() + static_cast<std::ptrdiff_t>(last), by_quanta);
        }
        first = last;
    }
}

}  // namespace

// Lines whose strength is 0 are those that a fit needs or that a search was told to keep, and those
// below the range of single precision.
Result<Catalog> Catalog::From(const CatalogSource& source, CatalogOrder order, double resolution,
                              Workspace& work) {
    const Memory& memory = work.memory();
    Catalog catalog(source);
    const LineList& lines = *source.lines;
    Array<double> position;
    Array<std::int32_t> kept;
    if (!position.Take(memory, lines.size)) return NoMemory(array_name::kSortedDoubles);
    if (!kept.Take(memory, lines.size) || !catalog.order_.Take(memory, lines.size)) {
        return NoMemory(array_name::kSortIndex);
    }
    std::size_t num = 0;
    for (std::int32_t line = 0; line < lines.size; ++line) {
        const auto n = static_cast<std::size_t>(line);
        const float strength = source.strength.empty() ? lines.intensity[n] : source.strength[n];
        if (strength == 0.0F) continue;
        const double x = lines.position[n];
        position[num] = order == CatalogOrder::Printed ? std::fabs(x) : x;
        kept[num++] = line;
    }
    const std::span<std::int32_t> sorted = catalog.order_.Part(0, num);
    SortIndex(position.Part(0, num), sorted, memory, &work.threads());
    const auto are_equal = [&](double a, double b) {
        if (order == CatalogOrder::Calculated) return a == b;
        return b - a < 2.0 * resolution &&
               std::nearbyint(a / resolution) == std::nearbyint(b / resolution);
    };
    SortTies(lines, kept.Part(0, num), position.Part(0, num), sorted, are_equal);
    for (std::int32_t& k : sorted) k = kept[static_cast<std::size_t>(k)];
    catalog.size_ = static_cast<std::int32_t>(num);
    return catalog;
}

void Catalog::Fetch(std::int32_t place) const {
    const LineList& lines = *source_.lines;
    const auto n = static_cast<std::size_t>(order_[static_cast<std::size_t>(place)]);
    __builtin_prefetch(&lines.position[n]);
    __builtin_prefetch(&lines.intensity[n]);
    __builtin_prefetch(&lines.label[n * kQuanta]);
    if (!source_.strength.empty()) __builtin_prefetch(&source_.strength[n]);
}

double Catalog::StrengthOf(std::size_t line, double lower_energy, double upper_energy) const {
    if (!source_.strength.empty()) return static_cast<double>(source_.strength[line]);
    const auto intensity = static_cast<double>(source_.lines->intensity[line]);
    if (!(source_.rules.temperature > 0.0)) return intensity;
    Boltzmann boltzmann(source_.rules, source_.one_state());
    boltzmann.SetLower(lower_energy);
    const double factor = boltzmann.Factor(upper_energy);
    return factor > 0.0 ? intensity / factor : 0.0;
}

char Catalog::BandOf(std::size_t line) const {
    const LineList& lines = *source_.lines;
    if (lines.band[line] != 'R') return static_cast<char>(lines.band[line] - 'A' + 'a');
    char band = 'a';
    double most = -1.0;
    for (std::size_t axis = 0; axis < source_.moment.size(); ++axis) {
        double part = 0.0;
        for (const Array<float>* amplitude : {&lines.amplitude_real, &lines.amplitude_imag}) {
            if (amplitude->is_null()) continue;
            const double x = source_.moment[axis] * (*amplitude)[3 * line + axis];
            part += x * x;
        }
        if (part <= most) continue;
        most = part;
        band = static_cast<char>('a' + axis);
    }
    return band;
}

CatalogLine Catalog::Line(std::int32_t place, const AbsoluteIntensity& absolute) const {
    CatalogLine row;
    row.line = order_[static_cast<std::size_t>(place)];
    const auto n = static_cast<std::size_t>(row.line);
    const std::int16_t* const q = LabelOf(*source_.lines, row.line);
    row.upper = {q[0], q[1], q[2]};
    row.lower = {q[3], q[4], q[5]};
    row.upper_level = LevelOf(q);
    row.lower_level = LevelOf(q + 3);
    row.band = BandOf(n);
    row.frequency = source_.lines->position[n];
    row.intensity = source_.lines->intensity[n];
    row.spin_weight = source_.rules.spin_weights[static_cast<std::size_t>(SpinClass(q[4], q[5]))];
    const double lower = source_.lower->energy[static_cast<std::size_t>(row.lower_level)];
    const double upper = source_.upper->energy[static_cast<std::size_t>(row.upper_level)];
    row.lower_energy = lower + source_.origin[kLower] - source_.zero;
    row.upper_energy = upper + source_.origin[kUpper] - source_.zero;
    const double strength = StrengthOf(n, lower, upper);
    row.strength = row.spin_weight != 0 ? strength / row.spin_weight : 0.0;
    row.lg = absolute.Lg(std::fabs(row.frequency), std::min(row.lower_energy, row.upper_energy),
                         strength);
    return row;
}

}  // namespace kiv
