// The words of positional inputs and what is wrong with each of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "job/OldRecords.h"
#include "named/Finding.h"

namespace kiv {

/// A comment line in front of a word.
struct OldComment {
    std::string title;  // see TitleOf
    Place place;
};

struct OldWord {
    std::string_view text;
    Place place;
    bool begins_line = false;
    std::vector<OldComment> comments;  // between it and the word before
};

/// All words of a file.
struct OldText {
    std::string_view comment;  // the comment record
    std::vector<OldWord> words;
    std::vector<OldComment> last_comments;   // behind the last word
    std::vector<OldComment> first_comments;  // in front of the comment record
    Place comment_place;
    Place last;                 // last word or comment of the file
    bool ends_in_word = false;  // nothing stands behind the last word
};

/// Parts a text without byte-order mark into words. With `has_comments` a word that begins with '#'
/// makes the rest of its line a comment.
OldText SplitOld(std::string_view text, bool has_comments);

/// What is wrong with a word in its place.
struct OldFault {
    bool is_wrong = false;
    bool is_near = false;  // seems to be meant for this place all the same
    FindingCode code = FindingCode::NotANumber;
    std::string message;
    std::string mended;  // the word, or what could stand there
};

/// Looks at `word` as the value of `cell`; the last word of a record may have a comment behind its
/// number, "0.01#cut-off", where `has_tail` says so.
OldFault CheckWord(std::string_view word, const OldCell& cell, bool has_tail);

/// What could stand in a cell without a word.
std::string DefaultWord(const OldCell& cell);

}  // namespace kiv
