#include "job/OldWords.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "io/InputLayout.h"
#include "io/TextScan.h"
#include "named/NumberWord.h"
#include "named/Text.h"

namespace kiv {
namespace {

// Words of which there are only a few; the first one stands in for one that is missing.
struct Choice {
    OldKind kind;
    FindingCode code;
    std::size_t size;
    std::string_view words[6];
};

constexpr Choice kChoices[] = {
    {OldKind::Unit, FindingCode::BadUnit, 2, {"MHz", "CM-1"}},
    {OldKind::YesNo, FindingCode::BadChoice, 2, {"N", "Y"}},
    {OldKind::EvenOdd, FindingCode::BadChoice, 2, {"E", "O"}},
    {OldKind::BandType, FindingCode::BadChoice, 6, {"A", "B", "C", "B/A", "C/A", "C/B"}},
};

const Choice* ChoiceOf(OldKind kind) {
    const auto* const found = std::find_if(std::begin(kChoices), std::end(kChoices),
                                           [kind](const Choice& c) { return c.kind == kind; });
    return found == std::end(kChoices) ? nullptr : found;
}

bool LooksLikeNumber(std::string_view word) {
    return word.find_first_of("0123456789") != word.npos &&
           word.find_first_not_of("0123456789+-.,eEdD") == word.npos;
}

OldFault Wrong(FindingCode code, std::string message, std::string mended, bool is_near) {
    return {true, is_near, code, std::move(message), std::move(mended)};
}

OldFault CheckChoice(std::string_view word, const OldCell& cell, const Choice& choice) {
    std::string known;
    for (std::size_t i = 0; i < choice.size; ++i) {
        if (choice.words[i] == word) return {false, false, choice.code, "", std::string(word)};
        known += (i > 0 ? ", " : "") + std::string(choice.words[i]);
    }
    return Wrong(choice.code, cell.label + ": " + Quoted(word) + " is none of " + known,
                 std::string(choice.words[0]), !LooksLikeNumber(word));
}

OldFault CheckName(std::string_view word, const OldCell& cell) {
    if (word[0] == '#') {
        return Wrong(FindingCode::BadChoice, cell.label + ": a name cannot begin with #", "none",
                     false);
    }
    if (word.find('\0') != word.npos) {
        return Wrong(FindingCode::BadChoice, cell.label + ": the name holds a NUL byte", "none",
                     true);
    }
    if (word.size() > kMaxName) {
        return Wrong(
            FindingCode::OutOfRange,
            cell.label + ": the name is longer than " + std::to_string(kMaxName) + " characters",
            "none", true);
    }
    return {false, false, FindingCode::BadChoice, "", std::string(word)};
}

// What follows a number in its word; a comment is allowed behind the last one of a record.
bool IsWhole(std::string_view rest, bool has_tail) {
    return rest.empty() || (has_tail && rest[0] == '#' && rest.find('\0') == rest.npos);
}

OldFault NoNumber(std::string_view word, const OldCell& cell) {
    const NumberWord number = ReadNumberWord(word);
    const bool is_whole = cell.kind != OldKind::Real;
    if (number.fault == WordFault::None) {
        return Wrong(FindingCode::NotANumber,
                     cell.label + ": " + Quoted(word) +
                         (is_whole ? " is not a whole number" : " is not a number"),
                     is_whole ? "0" : std::string(word), false);
    }
    std::string mended = number.correct;
    std::int64_t wide = 0;
    TextScan scan(mended);
    if (mended.empty() || (is_whole && (scan.Int(-9999, 9999, wide) != ScanEnd::Good ||
                                        !scan.RestOfLine().empty()))) {
        mended = "0";
    }
    const bool is_near = number.fault != WordFault::NotANumber || LooksLikeNumber(word) ||
                         word.find_first_of("0123456789") == 0;
    return Wrong(CodeOf(number.fault), cell.label + ": " + Explain(word, number), mended, is_near);
}

OldFault CheckWhole(std::string_view word, const OldCell& cell, bool has_tail) {
    const bool is_short = cell.kind != OldKind::Whole32;
    const std::int64_t high = is_short ? std::numeric_limits<std::int16_t>::max()
                                       : std::numeric_limits<std::int32_t>::max();
    TextScan scan(word);
    std::int64_t value = 0;
    const ScanEnd end = scan.Int(-high - 1, high, value);
    const std::string_view rest = scan.RestOfLine();
    if (end == ScanEnd::None || !IsWhole(rest, has_tail)) return NoNumber(word, cell);
    const std::string number(word.substr(0, word.size() - rest.size()));
    if (end == ScanEnd::Good && cell.kind == OldKind::State && value != kLower && value != kUpper) {
        return Wrong(FindingCode::BadChoice,
                     cell.label + ": " + number + " is neither 0 (ground) nor 1 (excited)", "0",
                     true);
    }
    if (end == ScanEnd::Good) return {false, false, FindingCode::NotANumber, "", number};
    return Wrong(FindingCode::OutOfRange,
                 cell.label + ": " + Quoted(number) + " is beyond " + std::to_string(high), "0",
                 true);
}

OldFault CheckReal(std::string_view word, const OldCell& cell, bool has_tail) {
    TextScan scan(word);
    double value = 0.0;
    const ScanEnd end = scan.Real(value);
    const std::string_view rest = scan.RestOfLine();
    if (end != ScanEnd::Good || !IsWhole(rest, has_tail)) return NoNumber(word, cell);
    const bool may_be_infinite = cell.label == "rejection level";
    if (std::isnan(value) || (std::isinf(value) && !may_be_infinite)) {
        return Wrong(FindingCode::OutOfRange,
                     cell.label + ": " + Quoted(word) + " is not a finite number", "0", true);
    }
    return {false, false, FindingCode::NotANumber, "",
            std::string(word.substr(0, word.size() - rest.size()))};
}

}  // namespace

OldText SplitOld(std::string_view text, bool has_comments) {
    OldText split;
    TextScan scan(text);
    PlaceCounter places(text);
    std::vector<OldComment> comments;
    bool has_comment = false;
    const auto at = [&](std::string_view part) {
        return static_cast<std::size_t>(part.data() - text.data());
    };
    for (std::string_view word; scan.Word(word);) {
        const Place place = places.At(at(word));
        split.last = place;
        split.ends_in_word = false;
        if (word[0] == '#' && has_comments) {
            const std::size_t size = word.size() + scan.RestOfLine().size();
            comments.push_back({TitleOf(text.substr(at(word), size)), place});
            continue;
        }
        if (!has_comment) {
            const std::string_view rest = scan.RestOfLine();
            split.comment = text.substr(at(word), word.size() + rest.size());
            split.comment_place = place;
            split.first_comments = std::move(comments);
            comments.clear();
            has_comment = true;
            continue;
        }
        const std::size_t last_blank = text.find_last_not_of(" \t\r\v\f", at(word) - 1);
        const bool begins_line = last_blank == text.npos || text[last_blank] == '\n';
        split.words.push_back({word, place, begins_line, std::move(comments)});
        comments.clear();
        split.ends_in_word = at(word) + word.size() == text.size();
    }
    split.last_comments = std::move(comments);
    return split;
}

OldFault CheckWord(std::string_view word, const OldCell& cell, bool has_tail) {
    if (cell.kind == OldKind::Real) return CheckReal(word, cell, has_tail);
    if (cell.kind == OldKind::Name) return CheckName(word, cell);
    if (const Choice* const choice = ChoiceOf(cell.kind)) return CheckChoice(word, cell, *choice);
    return CheckWhole(word, cell, has_tail);
}

std::string DefaultWord(const OldCell& cell) {
    if (cell.kind == OldKind::Name) return "none";
    const Choice* const choice = ChoiceOf(cell.kind);
    return choice ? std::string(choice->words[0]) : "0";
}

}  // namespace kiv
