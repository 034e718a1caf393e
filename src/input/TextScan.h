// Text held in memory, read word by word and number by number, and text files read line by line.
//
// Nothing here depends on the locale and nothing is copied into a buffer of fixed size: a word may
// be of any length, a NUL byte is a character like any other, and an integer that does not fit is
// an error. Blanks are those of the C locale, so that CR LF line ends need no care.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "run/KivArray.h"

/// Outcome of reading a number.
enum class ScanEnd {
    None,  // the text goes on with something else
    Bad,   // a number, but one that is cut off, out of range or of a foreign notation
    Good
};

/// A position in a text. The text must outlive it.
class TextScan {
  public:
    TextScan() = default;
    explicit TextScan(std::string_view text) : Text(text) {}

    /// Takes the next word; false at the end of the text.
    bool Word(std::string_view& word);

    /// Takes what is left of the line, its line end included; empty at the end of the text.
    std::string_view RestOfLine();

    /// Takes a decimal integer within `low`..`high`, as scanf does: blanks, a sign, digits.
    ScanEnd Int(std::int64_t low, std::int64_t high, std::int64_t& value);

    /// Takes a floating-point number: decimal, hexadecimal (0x1.8p3), nan or inf.
    ///
    /// A number that no double holds, one that ends within its exponent, one with a D exponent and
    /// one with a decimal comma are Bad: read as far as they go, they would be other numbers.
    ScanEnd Real(double& value);

    void Rewind() { Pos = 0; }

  private:
    void SkipBlanks();
    bool TakeSign();

    std::string_view Text;
    std::size_t Pos = 0;
};

/// Reads what is left of `file` into `block`, without a UTF-8 byte-order mark; a file that cannot
/// be read further, such as a directory, ends there and sets `broken`. Returns 1, or -1 when there
/// are `limit` (a power of two) or more bytes or there is not enough memory.
short LoadText(std::FILE* file, std::size_t limit, KivArray<char>& block, bool& broken);

/// Lines of a text file of any size, one pass after another.
///
/// A line holds at most 499 characters, its line end included; what is left of a longer one is the
/// next line. A UTF-8 byte-order mark at the start is skipped.
class TextLines {
  public:
    static constexpr std::size_t kMaxLine = 499;

    explicit TextLines(std::FILE* file) : File(file) {}

    /// Gives the next line, valid until the next call; false at the end of the file.
    bool Next(std::string_view& line);

    /// True when the file ended because it could not be read further.
    bool Broken() const { return std::ferror(File) != 0; }

    /// Starts again at the first line; a file that cannot be rewound stays at its end.
    void Rewind();

  private:
    void Fill();

    std::FILE* File;
    std::size_t Begin = 0;
    std::size_t End = 0;
    bool At_Start = true;
    bool At_End = false;
    char Buf[1 << 16];
};
