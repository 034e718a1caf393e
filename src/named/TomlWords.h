// Words of a TOML text that are no TOML values, found before the parser stumbles over the first.
//
// A parser stops at its first complaint and can only say that a comma was not expected. Here the
// text is looked through for values that are none, so that each can be explained and the rest of
// the text still be read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "named/Finding.h"

namespace kiv {

enum class WrongKind : std::uint8_t {
    Value,    // a value that is none
    Missing,  // no value behind the equals sign
    Surplus   // something behind a complete value
};

struct WrongWord {
    WrongKind kind = WrongKind::Value;
    std::string path;  // of the value: "lower.A", "moment.mu[1]"
    Place value;       // where the value stands in the cleaned text
    Place place;       // of the word, of the key of a missing value
    std::string word;  // up to the next blank
    std::string rest;  // up to the end of the line or its comment, with the word
};

/// A text with placeholders for its wrong values and blanks for what is surplus: all characters
/// that stay keep their places.
struct CleanToml {
    std::string text;
    std::vector<WrongWord> wrong;
    std::optional<Place> bad_header;  // of a table, where its name should begin
};

CleanToml CleanUp(std::string_view text);

}  // namespace kiv
