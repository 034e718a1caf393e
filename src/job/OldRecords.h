// The records of positional inputs as a list of what stands where, by version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kiv {

/// What a word must be.
enum class OldKind : std::uint8_t {
    Whole16,
    Whole32,
    State,
    Real,
    Name,
    Unit,
    YesNo,
    EvenOdd,
    BandType
};

inline constexpr std::size_t kNumOldKinds = 9;

struct OldCell {
    OldKind kind = OldKind::Real;
    std::string label;               // in messages
    std::vector<std::string> paths;  // under which its place is known
};

struct OldRecord {
    std::string name;                 // in messages
    std::vector<std::string> titles;  // comment lines that announce it, see TitleOf
    std::vector<OldCell> cells;
};

/// A comment line as titles are compared: one blank between words, none at the end.
std::string TitleOf(std::string_view line);

/// What follows the comment record in a file of this version, which has a known layout. Version 1
/// has two forms: with `has_tail` its blocks end with a group of DJ and PZ3.
std::vector<OldRecord> RecordsOf(const std::string& version, bool has_tail);

/// Place of the number by which the forms of version 1 differ among the words behind the comment.
inline constexpr std::size_t kFormWord = 32;

}  // namespace kiv
