// Words that should be numbers: what they are, or what is wrong with them and what was meant.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "named/Finding.h"

namespace kiv {

enum class WordFault : std::uint8_t {
    None,
    DecimalComma,    // 60839,33
    DExponent,       // 1.5D-3
    LetterForDigit,  // 6O839.33
    NotANumber,      // abc
    TooLarge         // 1e999: no double holds it
};

struct NumberWord {
    WordFault fault = WordFault::None;
    double value = 0.0;   // without a fault
    std::string correct;  // what was meant, when that can be told
};

/// Reads a decimal number that is the whole word: sign, digits with or without a point, exponent.
NumberWord ReadNumberWord(std::string_view word);

/// A whole number of at most nine digits that is the whole word.
std::optional<int> ReadWholeWord(std::string_view word);

/// The code of a fault.
FindingCode CodeOf(WordFault fault);

/// What is wrong: "60839,33" has a decimal comma, write 60839.33
std::string Explain(std::string_view word, const NumberWord& number);

}  // namespace kiv
