#include "kiv/catalog.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "base/ArrayName.h"
#include "base/BitCast.h"
#include "base/Failure.h"
#include "linalg/WordSort.h"
#include "lines/Boltzmann.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

constexpr int kQuanta = 6;  // of a line

constexpr double kWholeFrom = 0x1p52;  // from here to twice that doubles are the whole numbers

std::int32_t LevelOf(const std::int16_t* q) { return q[0] * q[0] + q[0] + q[1] - q[2]; }

const std::int16_t* LabelOf(const LineList& lines, std::size_t line) {
    return &lines.label[line * kQuanta];
}

// A number in the order of J, Ka, Kc.
std::uint64_t LevelKey(const std::int16_t* q) {
    return static_cast<std::uint64_t>(q[0]) << 32 | static_cast<std::uint64_t>(q[1]) << 16 |
           static_cast<std::uint64_t>(q[2]);
}

// x as a whole number in the way of nearbyint, which is a call on some processors; x >= 0.
double Whole(double x) { return x < kWholeFrom ? (x + kWholeFrom) - kWholeFrom : x; }

// Lines that have a strength: how many, and the limits of their frequencies.
struct Choice {
    std::size_t num = 0;
    double least = std::numeric_limits<double>::infinity(), most = -least;

    void Add(const Choice& other) {
        num += other.num;
        least = std::min(least, other.least);
        most = std::max(most, other.most);
    }
};

// The lines of a list that have a strength, by printed frequencies (without signs) or by exact
// ones.
template <CatalogOrder Order>
class SortedLines {
  public:
    SortedLines(const LineList& lines, std::span<const float> strength, double resolution,
                Threads& threads)
        : lines_(lines), strength_(strength), resolution_(resolution) {
        std::vector<Choice> parts(static_cast<std::size_t>(threads.num()));
        ShareRange(strength.size(), &threads,
                   [&](std::size_t range, std::size_t first, std::size_t last) {
                       Choice part;
                       for (std::size_t line = first; line < last; ++line) {
                           if (Has(line)) part.Add({1, FrequencyOf(line), FrequencyOf(line)});
                       }
                       parts[range] = part;
                   });
        for (const Choice& part : parts) choice_.Add(part);
        if (!(choice_.least <= choice_.most)) choice_.least = choice_.most = 0.0;
        per_unit_ = kSteps / (choice_.most - choice_.least);
        words_tell_frequency_ =
            kIsPrinted && choice_.most / resolution_ < kWholeFrom && Form().has_whole_steps();
    }

    std::size_t num() const { return choice_.num; }

    WordForm Form() const {
        return {StepAt(choice_.least), StepAt(choice_.most), strength_.size()};
    }

    bool Has(std::size_t line) const { return strength_[line] != 0.0F; }

    std::uint64_t StepOf(std::size_t line) const { return StepAt(FrequencyOf(line)); }

    bool ComesBefore(std::size_t a, std::size_t b) const {
        if (!words_tell_frequency_) {
            const double x = KeyOf(a), y = KeyOf(b);
            if (x != y) return x < y;
        }
        const std::int16_t *const p = LabelOf(lines_, a), *const q = LabelOf(lines_, b);
        const std::uint64_t upper = LevelKey(p), other = LevelKey(q);
        return upper != other ? upper < other : LevelKey(p + 3) < LevelKey(q + 3);
    }

  private:
    static constexpr bool kIsPrinted = Order == CatalogOrder::Printed;
    static constexpr double kSteps = 0x1p40;  // between exact frequencies

    double FrequencyOf(std::size_t line) const {
        return kIsPrinted ? std::fabs(lines_.position[line]) : lines_.position[line];
    }

    // Equal where the frequencies are.
    double KeyOf(std::size_t line) const {
        return kIsPrinted ? Whole(FrequencyOf(line) / resolution_) : FrequencyOf(line);
    }

    // Bits of a double among whole numbers, which the sum rounds to; above these it ascends, too.
    std::uint64_t StepAt(double frequency) const {
        const double steps =
            kIsPrinted ? frequency / resolution_ : (frequency - choice_.least) * per_unit_;
        return BitCast<std::uint64_t>(steps + kWholeFrom);
    }

    const LineList& lines_;
    std::span<const float> strength_;
    double resolution_;
    Choice choice_;
    double per_unit_ = 0.0;  // steps
    bool words_tell_frequency_ = false;
};

// Words of lines in their order.
struct Sorted {
    Array<std::uint64_t> word;
    WordForm form;
};

template <CatalogOrder Order>
Result<Sorted> Sort(const LineList& list, std::span<const float> strength, double resolution,
                    Workspace& work) {
    const SortedLines<Order> lines(list, strength, resolution, work.threads());
    Sorted sorted;
    sorted.form = lines.Form();
    if (!sorted.word.TakeUnset(work.memory(), static_cast<std::int64_t>(lines.num()))) {
        return NoMemory(array_name::kSortIndex);
    }
    const std::span<std::uint64_t> words = sorted.word.Part(0, lines.num());
    WordSort(lines, strength.size(), sorted.form, words, work.threads()).Go();
    return sorted;
}

}  // namespace

// Lines whose strength is 0 are those that a fit needs or that a search was told to keep, and those
// below the range of single precision.
Result<Catalog> Catalog::From(const CatalogSource& source, CatalogOrder order, double resolution,
                              Workspace& work) {
    Catalog catalog(source);
    const auto size = static_cast<std::size_t>(source.lines->size);
    const std::span<const float> strength = source.strength.empty()
                                                ? source.lines->intensity.Part(0, size)
                                                : source.strength.first(size);
    Result<Sorted> sorted =
        order == CatalogOrder::Printed
            ? Sort<CatalogOrder::Printed>(*source.lines, strength, resolution, work)
            : Sort<CatalogOrder::Calculated>(*source.lines, strength, resolution, work);
    if (!sorted) return sorted.error();
    catalog.size_ = static_cast<std::int32_t>(sorted.value().word.size());
    catalog.line_mask_ = sorted.value().form.line_mask();
    catalog.word_ = std::move(sorted.value().word);
    return catalog;
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
    row.line = IndexOf(place);
    const auto n = static_cast<std::size_t>(row.line);
    const std::int16_t* const q = LabelOf(*source_.lines, n);
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
