// Brings the arrays of a list of lines into the order of its files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "kiv/array.h"
#include "kiv/assignments.h"
#include "kiv/error.h"
#include "kiv/files.h"
#include "kiv/lines.h"
#include "kiv/threads.h"
#include "linalg/Sort.h"

namespace kiv {

/// Sorts a list column by column, each when it is first asked for.
class LineSorter {
  public:
    enum class Column : std::uint8_t {
        Positions,
        Observed,
        Uncertainties,  // of the observed frequencies; not a part of the result
        Intensities,
        Amplitudes,
        Bands,
        Labels,
        LowerLevels,
        UpperLevels,
        Count
    };

    /// `threads` share the work; null: none do.
    LineSorter(LineList lines, const Assignments* assignments, const Memory& memory,
               Threads* threads = nullptr)
        : assignments_(assignments),
          memory_(memory),
          threads_(threads),
          num_(static_cast<std::size_t>(lines.size)) {
        sorted_.lines = std::move(lines);
    }

    const LineList& lines() const { return sorted_.lines; }
    const Array<double>& observed() const { return sorted_.observed; }
    const Array<float>& uncertainties() const { return uncertainties_; }
    std::size_t num() const { return num_; }

    /// Makes a column and sorts it, unless it is. The positions come first. NoMemory names the
    /// array.
    Status Sort(Column column);

    /// All columns of the result.
    Status SortAll();

    void DropUncertainties() { uncertainties_.Clear(); }

    SortedLines Take() && { return std::move(sorted_); }

  private:
    Status Do(Column column);
    Status SortPositions();
    Status FillObserved();
    Status FillUncertainties();

    template <std::size_t Width = 1, class T>
    Status Order(Array<T>& array, const char* copy);

    SortedLines sorted_;
    Array<float> uncertainties_;
    const Assignments* assignments_;
    const Memory& memory_;
    Threads* threads_;
    std::size_t num_;            // lines
    Array<std::int32_t> index_;  // ascending order of the frequencies
    std::array<bool, static_cast<std::size_t>(Column::Count)> is_sorted_{};
};

}  // namespace kiv
