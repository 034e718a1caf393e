// Reads the records of an input file into the run record, in either way of finding them.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

#include "input/InputLayout.h"
#include "input/RecordFormat.h"
#include "input/TextScan.h"
#include "run/KivRecord.h"

/// Longest record: its words with one blank between each two.
constexpr std::size_t kMaxRecordText = 499;

/// The words gathered for one record; keeps its head when there are too many characters.
struct KivLine {
    char Text[kMaxRecordText + 1] = {};
    std::size_t Len = 0;
    bool Too_Long = false;

    void Clear();
    void Append(std::string_view text);
    std::string_view View() const { return {Text, Len}; }
};

/// Gathers the next `count` words that are not comments into `line`, one blank between each two.
/// A word that starts with '#' is a comment, together with the rest of its line. With `count` 0:
/// the next word and the rest of its line. Returns 1, 0 when the record is too long or holds a NUL
/// byte, or RD_EOF when the text ends first; `line` then holds what was gathered.
int KivReadLine(TextScan& text, KivLine& line, int count);

/// The records of one file, read in order. After a failure nothing more is read.
class RecordReader {
  public:
    /// How the values of a record are found: by gathering its words, comments skipped, or, in the
    /// oldest files, directly behind the record before, where nothing is a comment.
    enum class Mode { Words, Direct };

    RecordReader(KivRecord& kiv, TextScan& text, Mode mode) : Rec(kiv), Text(text), How(mode) {}

    /// The comment: a word and the rest of its line, ended by "\n"; 498 characters are kept.
    void ReadComment();

    void Read(const char* format, std::span<const Cell> cells);
    void Read(const char* format, std::initializer_list<Cell> cells) {
        Read(format, std::span(cells.begin(), cells.size()));
    }

    /// Reads the rows that a file of Rec.Inp_Version has and applies their rules.
    void ReadRows(std::span<const ParmRow> rows);

    /// Reads the Euler angles of `state` and its fit indicators for `group`, the first of a block.
    void ReadFrame(int state, const HamGroup& group);

    /// Reads groups of constants of `state` with status, values and fit indicators.
    void ReadGroups(int state, std::span<const HamGroup> groups);

    /// Reads the block of `state`: `groups`, the first of which has no status.
    void ReadBlock(int state, std::span<const HamGroup> groups);

    /// 1 so far, 0 after a record that is not acceptable, RD_EOF after a premature end (Mode::Words
    /// only; Rec.Last_Line then holds the words gathered).
    int Status() const { return State; }

    /// Ends the reading.
    void Fail() { State = 0; }

  private:
    bool Gather(int count);

    KivRecord& Rec;
    TextScan& Text;
    Mode How;
    int State = 1;
    KivLine Line;
};
