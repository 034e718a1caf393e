// Numbers in the fields of product files, without the cost of printf.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "io/NumText.h"
#include "kiv/sink.h"

namespace kiv {

/// Most characters that PutShortest can need.
inline constexpr std::size_t kShortestRoom = 32;

/// The fewest digits that read back as the same number; from 1e-4 to 1e15 without an exponent.
/// Returns the end of the text, as all of these do.
char* PutShortest(char* out, double value);
char* PutShortest(char* out, float value);

/// A number with seven digits behind the point; nothing when it is not finite.
char* PutFixed7(char* out, double value);

/// `value` as "%<width>.4f"; what is too large for the field has fewer digits behind the point.
/// As many characters as kFixed4Room of io/NumText.h may be overwritten.
char* PutField4(char* out, double value, int width);

/// The same for a width that is known.
template <int Width>
char* PutField4(char* out, double value) {
    const std::int64_t units = UnitsOf(value);
    const bool is_negative = std::signbit(value);
    return FitUnits<Width>(units, is_negative) ? PutUnits<Width>(out, units, is_negative)
                                               : PutField4(out, value, Width);
}

/// A whole number that is not negative in `width` columns, 2 or 3. What is too large has a letter
/// in place of its first two digits: 99, A0 = 100, A1, ... Z9 = 359; 999, A00 = 1000, ... Z99 =
/// 3599; stars beyond.
char* PutLettered(char* out, int value, int width);

/// Takes rows and passes them on in blocks.
class RowBlock {
  public:
    explicit RowBlock(Sink& sink) : sink_(sink) {}
    RowBlock(const RowBlock&) = delete;
    RowBlock& operator=(const RowBlock&) = delete;

    /// Where the next row goes; there is room for kMostRow characters.
    char* next() { return end_; }

    /// Ends a row.
    void Add(char* end) {
        end_ = end;
        if (end_ > chars_ + kBlock) Flush();
    }

    void Flush() {
        sink_.Put(chars_, static_cast<std::size_t>(end_ - chars_));
        end_ = chars_;
    }

    static constexpr std::size_t kMostRow = 2048;

  private:
    static constexpr std::size_t kBlock = std::size_t{1} << 17;

    Sink& sink_;
    char chars_[kBlock + kMostRow];
    char* end_ = chars_;
};

}  // namespace kiv
