// Text held in memory, read word by word and number by number.
//
// Nothing here depends on the locale and nothing is copied into a buffer of fixed size: a word may
// be of any length, a NUL byte is a character like any other, and an integer that does not fit is
// an error. Blanks are those of the C locale, so that CR LF line ends need no care.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kiv {

/// Outcome of reading a number.
enum class ScanEnd : std::uint8_t {
    None,  // the text goes on with something else
    Bad,   // a number, but one that is cut off, out of range or of a foreign notation
    Good
};

/// Line and column of a character, counted from 1; columns are bytes.
struct TextPlace {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// A position in a text. The text must outlive it.
class TextScan {
  public:
    TextScan() = default;
    explicit TextScan(std::string_view text) : text_(text) {}

    /// Takes the next word; false at the end of the text.
    bool Word(std::string_view& word);

    /// Takes what is left of the line, its line end included; empty at the end of the text.
    std::string_view RestOfLine();

    /// Takes a decimal integer within `low`..`high`: blanks, a sign, digits.
    ScanEnd Int(std::int64_t low, std::int64_t high, std::int64_t& value);

    /// Takes a floating-point number: decimal, hexadecimal (0x1.8p3), or the whole word nan, inf or
    /// infinity.
    ///
    /// A number that no double holds, a D exponent, a second exponent, an unfinished hexadecimal
    /// number and a decimal comma are Bad: read as far as they go, they would be other numbers. Any
    /// other text may follow: 45deg is 45. What is None is not passed over.
    ScanEnd Real(double& value);

    /// Where `part` begins, which came from this text. Places that ascend cost one pass over the
    /// text in all.
    TextPlace PlaceOf(std::string_view part);

    void Rewind() { next_ = 0; }

  private:
    void SkipBlanks();
    bool TakeSign();

    std::string_view text_;
    std::size_t next_ = 0;
    // What PlaceOf counted
    std::size_t counted_ = 0;  // characters
    std::size_t lines_ = 0;    // line ends among them
    std::size_t line_start_ = 0;
};

}  // namespace kiv
