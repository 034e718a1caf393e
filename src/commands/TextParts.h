// Parts of the texts that people read: words, numbers, tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "job/Job.h"
#include "kiv/features.h"

namespace kiv {

/// As printf; at most 400 characters.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// A number with so many digits behind the point, as %.*f.
std::string Fixed(double value, int digits);

/// "1 line", "2 lines".
std::string Plural(std::int64_t number, const char* word);

/// With blanks behind it up to `width` characters.
std::string Padded(std::string text, std::size_t width);

/// Digits behind the point of frequencies: 1e-4 MHz, 1e-8 cm-1.
int DigitsOf(const Job& job);

/// "1 1 1 - 2 0 2", with v where a model has two states and a line is not between them; every
/// number takes `width` characters at least.
std::string TransitionText(const LineTransition& line, bool two_states, int width = 1);

/// Rows in columns that are as wide as their widest cell, two blanks apart, or one where the
/// table is wider than a page of 80 characters.
class TextTable {
  public:
    enum class Align : std::uint8_t { Left, Right };
    struct Column {
        std::string heading;
        Align align = Align::Right;
    };

    explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// Cells from the first column on; those that are missing are empty.
    void Add(const std::vector<std::string>& row) {
        for (const std::string& cell : row) Put(cell);
        EndRow();
    }

    /// The next cell of a row, and the end of it.
    void Put(std::string_view cell) {
        cells_ += cell;
        ends_.push_back(cells_.size());
    }
    void EndRow() { rows_.push_back(ends_.size()); }
    bool empty() const { return rows_.empty(); }

    /// Headings and rows, indented by two blanks, without blanks at the ends of lines.
    std::string text() const;

  private:
    std::size_t StartOf(std::size_t cell) const { return cell == 0 ? 0 : ends_[cell - 1]; }
    std::string_view Cell(std::size_t cell) const {
        return std::string_view(cells_).substr(StartOf(cell), ends_[cell] - StartOf(cell));
    }

    std::vector<Column> columns_;
    std::string cells_;
    std::vector<std::size_t> ends_;  // of each cell among them
    std::vector<std::size_t> rows_;  // for each row the number of cells up to its end
};

}  // namespace kiv
