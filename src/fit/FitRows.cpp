#include "fit/FitRows.h"

#include <algorithm>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "lines/LineDerivatives.h"

namespace kiv {
namespace {

// Tells where the two sets begin, before the first row of each.
class SetAnnouncer {
  public:
    SetAnnouncer(bool one_state, Trace* trace) : one_state_(one_state), trace_(trace) {}

    void Announce(const FitRows& rows, bool first_set) {
        const bool between = !one_state_ && first_set;
        bool& seen = between ? between_seen_ : within_seen_;
        if (!seen && trace_) trace_->FirstRow(between, rows.num, rows.split);
        seen = true;
    }

  private:
    bool one_state_;
    Trace* trace_;
    bool between_seen_ = false, within_seen_ = false;
};

}  // namespace

Status FitRows::Begin(const Memory& memory, const FitList& list, std::int64_t lines) {
    num_lines = num = split = 0;
    sum_sq = 0.0;
    width = list.num + 1;
    const std::int64_t n = lines + 1;
    if (!observed.Take(memory, n) || !calculated.Take(memory, n) || !assignment.Take(memory, n) ||
        !label.Take(memory, 6 * n)) {
        return NoMemory(array_name::kObserved);
    }
    if (!uncertainty.Take(memory, n)) return NoMemory(array_name::kUncertainties);
    if (!derivative.Take(memory, n * width)) return NoMemory(array_name::kFitDerivatives);
    if (!solver_room.Take(memory, n * (list.num_varied + 1))) {
        return NoMemory(array_name::kFitMatrix);
    }
    return {};
}

void FitRows::Accept(std::int64_t from, double misfit) {
    const std::int64_t to = ++num;
    sum_sq += misfit * misfit;
    if (to == from) return;
    observed[to] = observed[from];
    uncertainty[to] = uncertainty[from];
    std::copy_n(Derivatives(from), width, Derivatives(to));
}

DerivativeMap::DerivativeMap(const RowSource& source, const PassRoom& room, bool within_lower)
    : list_(*source.list), room_(room) {
    if (within_lower) {
        MapWithinLower();
    } else {
        MapBetweenStates(source.options->data);
    }
}

// The j-th constant of the lower state moves both levels.
void DerivativeMap::MapWithinLower() {
    const int of_lower = room_.lower().num_derivatives, of_upper = room_.upper().num_derivatives;
    int j = 0;
    for (int slot = 1; slot <= list_.num && list_.state[slot] == kLower; ++slot, ++j) {
        place_[slot].first = j;
        place_[slot].second = j < of_upper ? of_lower + j : -1;
    }
}

// As differences, an upper constant follows its lower partner.
void DerivativeMap::MapBetweenStates(FitData data) {
    int of_state[kNumStates][kNumConstants];  // place among the state's derivatives, -1: none
    for (int s = 0; s < kNumStates; ++s) {
        const Levels& levels = s == kLower ? room_.lower() : room_.upper();
        std::fill_n(of_state[s], kNumConstants, -1);
        for (int i = 0; i < levels.num_derivatives; ++i) {
            of_state[s][static_cast<int>(levels.derivative_of[static_cast<std::size_t>(i)])] = i;
        }
    }
    const int before_upper = room_.lower().num_derivatives;
    for (int slot = 1; slot <= list_.num; ++slot) {
        Place& place = place_[slot];
        const int c = list_.constant[slot];
        place.origin = c == kOrigin;
        if (place.origin) continue;
        const int upper = of_state[kUpper][c] >= 0 ? before_upper + of_state[kUpper][c] : -1;
        place.first = list_.state[slot] == kLower ? of_state[kLower][c] : upper;
        if (list_.state[slot] == kLower && data == FitData::UpperAsDifference) place.second = upper;
    }
}

void DerivativeMap::Fill(std::size_t line, double* row) const {
    double record[2 * kNumConstants];
    LineDerivatives(room_.lower(), room_.upper(), &room_.lines.label[6 * line], record);
    for (int slot = 1; slot <= list_.num; ++slot) {
        const Place& place = place_[slot];
        row[slot] = place.origin ? 1.0 : 0.0;
        if (place.first >= 0) row[slot] = record[place.first];
        if (place.second >= 0) row[slot] += record[place.second];
    }
}

void GatherLines(const RowSource& source, const PassRoom& room, bool within_lower, FitRows& rows) {
    const DerivativeMap map(source, room, within_lower);
    const Assignments& assignments = *source.assignments;
    const LineList& lines = room.lines;
    for (std::int32_t k = 0; k < lines.matched; ++k) {
        const auto line = static_cast<std::size_t>(lines.match_line[k]);
        const std::int32_t number = lines.match_assignment[k];
        const std::int32_t i = ++rows.num_lines;
        rows.calculated[i] = lines.position[line];
        rows.assignment[i] = number;
        std::copy_n(&lines.label[6 * line], 6, &rows.label[6 * static_cast<std::size_t>(i)]);
        rows.observed[i] = assignments.frequency[number];
        rows.uncertainty[i] = source.Uncertainty(number);
        map.Fill(line, rows.Derivatives(i));
        if (number < assignments.split) ++rows.split;
    }
}

void SelectLines(const RowSource& source, bool one_state, Trace* trace, FitRows& rows) {
    SetAnnouncer sets(one_state, trace);
    for (std::int32_t k = 1; k <= rows.num_lines; ++k) {
        const FitRowView row{&rows.label[6 * static_cast<std::size_t>(k)], nullptr,
                             rows.observed[k], rows.calculated[k]};
        const bool first_set = rows.assignment[k] < source.assignments->split;
        if (source.IsOutlier(row.misfit())) {
            if (trace) trace->RowRejected(row);
            if (first_set) --rows.split;
            continue;
        }
        sets.Announce(rows, first_set);
        rows.Accept(k, row.misfit());
    }
}

}  // namespace kiv
