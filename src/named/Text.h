// Texts of users: characters and their places, words in messages, the nearest known word.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "named/Finding.h"

namespace kiv {

/// The first character of UTF-8 text that is not empty; a byte that belongs to none is one, too.
std::string_view FirstCharacter(std::string_view text);

int CountCharacters(std::string_view text);

/// Places of bytes whose lines ascend, in one pass over the text.
class PlaceCounter {
  public:
    explicit PlaceCounter(std::string_view text) : text_(text) {}

    Place At(std::size_t offset);

  private:
    std::string_view text_;
    std::size_t counted_ = 0, line_start_ = 0;
    int line_ = 1;
};

/// `text` with U+FFFD in place of what is no UTF-8.
std::string ValidUtf8(std::string_view text);

/// `text` as valid UTF-8 with '?' in place of control characters.
std::string Printable(std::string_view text);

/// `word` in double quotes; what is long is cut short.
std::string Quoted(std::string_view word);

/// Insertions, deletions and replacements of letters that make `a` of `b`, 2 each; 1 for the other
/// case of a letter.
int EditDistance(std::string_view a, std::string_view b);

/// The first word of least distance; empty without words.
std::string_view Nearest(std::string_view word, std::span<const std::string> known);

/// Without blanks at both ends.
std::string_view Trimmed(std::string_view text);

}  // namespace kiv
