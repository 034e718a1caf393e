#include "io/LineSorter.h"

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

// Calls place(line, assignment) for every assignment that has a calculated line.
template <class Place>
void ForEachMatch(const LineList& lines, const Assignments* assignments, Place place) {
    if (!assignments) return;
    for (std::size_t k = 0; k < static_cast<std::size_t>(lines.matched); ++k) {
        const std::int32_t line = lines.match_line[k], assignment = lines.match_assignment[k];
        if (line < 0 || line >= lines.size) continue;
        if (assignment < 0 || assignment >= assignments->size) continue;
        place(static_cast<std::size_t>(line), static_cast<std::size_t>(assignment));
    }
}

}  // namespace

Status LineSorter::Sort(Column column) {
    bool& is_sorted = is_sorted_[static_cast<std::size_t>(column)];
    if (!is_sorted) KIV_TRY(Do(column));
    is_sorted = true;
    return {};
}

Status LineSorter::SortAll() {
    for (std::size_t i = 0; i < is_sorted_.size(); ++i) {
        const auto column = static_cast<Column>(i);
        if (column != Column::Uncertainties) KIV_TRY(Sort(column));
    }
    return {};
}

Status LineSorter::Do(Column column) {
    LineList& lines = sorted_.lines;
    switch (column) {
        case Column::Positions:
            return SortPositions();
        case Column::Observed:
            return FillObserved();
        case Column::Uncertainties:
            return FillUncertainties();
        case Column::Intensities:
            return Order(lines.intensity, array_name::kSortedFloats);
        case Column::Amplitudes:
            KIV_TRY(Order<3>(lines.amplitude_real, array_name::kSortedFloats));
            return Order<3>(lines.amplitude_imag, array_name::kSortedFloats);
        case Column::Bands:
            return Order(lines.band, array_name::kSortedChars);
        case Column::Labels:
            return Order<6>(lines.label, array_name::kSortedShorts);
        case Column::LowerLevels:
            return Order(lines.lower_level, array_name::kSortedLongs);
        case Column::UpperLevels:
            return Order(lines.upper_level, array_name::kSortedLongs);
        case Column::Count:
            break;
    }
    return {};
}

Status LineSorter::SortPositions() {
    Array<double>& position = sorted_.lines.position;
    if (!index_.Take(memory_, lines().size)) return NoMemory(array_name::kSortIndex);
    SortIndex(position.Part(0, num_), index_.Part(0, num_), memory_, threads_);
    return Order(position, array_name::kSortedDoubles);
}

Status LineSorter::FillObserved() {
    Array<double>& column = sorted_.observed;
    if (!column.Take(memory_, lines().size)) return NoMemory(array_name::kObservedColumn);
    ForEachMatch(lines(), assignments_, [&](std::size_t line, std::size_t assignment) {
        column[line] = assignments_->frequency[assignment];
    });
    return lines().matched == 0 ? Status() : Order(column, array_name::kSortedDoubles);
}

Status LineSorter::FillUncertainties() {
    Array<float>& column = uncertainties_;
    if (!column.Take(memory_, lines().size)) return NoMemory(array_name::kUncertaintyColumn);
    ForEachMatch(lines(), assignments_, [&](std::size_t line, std::size_t assignment) {
        column[line] = static_cast<float>(assignments_->uncertainty[assignment]);
    });
    return lines().matched == 0 ? Status() : Order(column, array_name::kSortedFloats);
}

template <std::size_t Width, class T>
Status LineSorter::Order(Array<T>& array, const char* copy) {
    if (array.is_null()) return {};
    const bool is_sorted = Permute<Width>(index_.Part(0, num_), Direction::Descending,
                                          array.Part(0, num_ * Width), memory_, threads_);
    return is_sorted ? Status() : NoMemory(copy);
}

}  // namespace kiv
