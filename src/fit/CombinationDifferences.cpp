#include "fit/CombinationDifferences.h"

#include <algorithm>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/LineKey.h"
#include "lines/LineDerivatives.h"

namespace kiv {
namespace {

// Matches in the order of the level they share, so that partners stand side by side.
class LevelOrder {
  public:
    LevelOrder(const RowSource& source, const LineList& lines)
        : keys_(source.assignments->key),
          lines_(lines),
          mask_(source.options->data == FitData::LowerDifferences ? kUpperLevelMask
                                                                  : kLowerLevelMask) {}

    bool Sort(const Memory& memory) {
        const std::int32_t n = lines_.matched;
        if (!match_.Take(memory, n) || !place_.Take(memory, n)) return false;
        for (std::int32_t k = 0; k < n; ++k) match_[k] = k;
        std::sort(match_.begin(), match_.end(), [&](std::int32_t a, std::int32_t b) {
            const std::uint64_t la = Level(a), lb = Level(b);
            return la != lb ? la < lb : a < b;
        });
        for (std::int32_t p = 0; p < n; ++p) place_[match_[p]] = p;
        return true;
    }

    std::uint64_t Level(std::int32_t k) const {
        return keys_[static_cast<std::size_t>(lines_.match_assignment[k])] & mask_;
    }
    std::int32_t Match(std::int32_t place) const { return match_[place]; }
    std::int32_t PlaceOf(std::int32_t match) const { return place_[match]; }

  private:
    const Array<std::uint64_t>& keys_;
    const LineList& lines_;
    std::uint64_t mask_;
    Array<std::int32_t> match_;  // sorted by level, then by match
    Array<std::int32_t> place_;  // place of each match in match_
};

// One difference: matches of its lines, their entries in the list and what it compares.
struct Difference {
    std::int32_t first, second;  // matches
    std::size_t line_a, line_b;  // of the list
    FitRowView row;
};

// The differences of one pass.
class Differences {
  public:
    Differences(const RowSource& source, const PassRoom& room) : source_(source), room_(room) {}

    Difference Make(const DifferencePairs& pairs, std::int32_t d) const;

    // The shared level cancels; the derivatives of the other state remain.
    void FillRow(const Difference& difference, double* row) const;

    std::int32_t Assignment(std::int32_t match) const {
        return room_.lines.match_assignment[match];
    }

  private:
    const RowSource& source_;
    const PassRoom& room_;
};

Difference Differences::Make(const DifferencePairs& pairs, std::int32_t d) const {
    const LineList& lines = room_.lines;
    const auto at = static_cast<std::size_t>(d);
    Difference cd{};
    cd.first = pairs.match(0, at);
    cd.second = pairs.match(1, at);
    cd.line_a = static_cast<std::size_t>(lines.match_line[cd.first]);
    cd.line_b = static_cast<std::size_t>(lines.match_line[cd.second]);
    const Array<double>& frequency = source_.assignments->frequency;
    cd.row = {&lines.label[6 * cd.line_a], &lines.label[6 * cd.line_b],
              frequency[Assignment(cd.second)] - frequency[Assignment(cd.first)],
              lines.position[cd.line_b] - lines.position[cd.line_a]};
    return cd;
}

void Differences::FillRow(const Difference& cd, double* row) const {
    const bool of_lower = source_.options->data == FitData::LowerDifferences;
    const int offset = of_lower ? 0 : room_.lower().num_derivatives;
    const Array<std::int16_t>& label = room_.lines.label;
    double a[2 * kNumConstants], b[2 * kNumConstants];
    LineDerivatives(room_.lower(), room_.upper(), &label[6 * cd.line_a], a);
    LineDerivatives(room_.lower(), room_.upper(), &label[6 * cd.line_b], b);
    for (int slot = 1; slot <= source_.list->num; ++slot) {
        row[slot] = b[offset + slot - 1] - a[offset + slot - 1];
    }
}

// Accepts or tells every difference; the accepted pairs move to the front.
void Select(const RowSource& source, const Differences& differences, Trace* trace,
            DifferencePairs& pairs, FitRows& rows) {
    const std::int32_t found = pairs.num;
    rows.split = source.assignments->split;
    for (std::int32_t d = 0; d < found; ++d) {
        const Difference cd = differences.Make(pairs, d);
        if (source.IsOutlier(cd.row.misfit())) {
            if (trace) trace->RowRejected(cd.row);
            continue;
        }
        for (const bool between : {true, false}) {
            if (rows.num == 0 && trace) trace->FirstRow(between, rows.num, rows.split);
        }
        const std::int32_t row = rows.num + 1;
        const auto at = static_cast<std::size_t>(rows.num);
        pairs.match(0, at) = cd.first;
        pairs.match(1, at) = cd.second;
        rows.observed[row] = cd.row.observed;
        rows.uncertainty[row] = source.Uncertainty(differences.Assignment(cd.first));
        differences.FillRow(cd, rows.Derivatives(row));
        rows.Accept(row, cd.row.misfit());
    }
    pairs.num = rows.num;
}

}  // namespace

Status FindDifferences(const RowSource& source, const LineList& lines, const Memory& memory,
                       Trace* trace, DifferencePairs& pairs) {
    LevelOrder order(source, lines);
    const std::int32_t room = source.assignments->size;
    if (!pairs.match.Take(memory, 2, room) || !order.Sort(memory)) {
        return NoMemory(array_name::kDifferences);
    }
    const bool of_lower = source.options->data == FitData::LowerDifferences;
    pairs.num = 0;
    for (std::int32_t i = 0; i < lines.matched; ++i) {
        for (std::int32_t p = order.PlaceOf(i) + 1; p < lines.matched; ++p) {
            const std::int32_t j = order.Match(p);
            if (order.Level(j) != order.Level(i)) break;
            const auto at = static_cast<std::size_t>(pairs.num);
            pairs.match(0, at) = of_lower ? j : i;
            pairs.match(1, at) = of_lower ? i : j;
            if (++pairs.num != room) continue;
            if (trace) trace->TooManyDifferences();
            --pairs.num;
            break;
        }
    }
    return {};
}

Result<std::int32_t> SelectDifferences(const RowSource& source, const PassRoom& room,
                                       const double* values, const Memory& memory, Trace* trace,
                                       FitRows& rows) {
    DifferencePairs pairs;
    KIV_TRY(FindDifferences(source, room.lines, memory, trace, pairs));
    if (pairs.num == 0) {
        return Error{ErrorCode::NoDifferences, "no two assigned lines share a level", ""};
    }
    const std::int32_t found = pairs.num;
    if (trace) trace->DifferencesFound(found);
    const Differences differences(source, room);
    Select(source, differences, trace, pairs, rows);
    if (trace) trace->DifferencesSelected();
    for (std::int32_t d = 0; trace && d < pairs.num; ++d) {
        trace->DifferenceAccepted(d + 1, differences.Make(pairs, d).row, *source.list, values,
                                  rows.Derivatives(d + 1));
    }
    if (trace) trace->DifferencesAccepted(rows.num);
    return found;
}

}  // namespace kiv
