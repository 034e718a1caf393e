// Reads the records of an input file into a document, in either way of finding them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "io/InputFile.h"
#include "io/InputLayout.h"
#include "io/TextScan.h"
#include "kiv/error.h"

namespace kiv {

/// Longest record: its words with one blank between each two.
inline constexpr std::size_t kMaxRecord = 499;

/// Tells the listener, and makes the error to return.
Error RefuseInput(InputListener& listener, InputFault fault, const std::string& word);

/// The records of one file, read in order. After a failure nothing more is read.
class RecordReader {
  public:
    /// How the values of a record are found: by gathering its words, comments skipped (a word that
    /// starts with '#' and the rest of its line), or, in the oldest files, directly behind the
    /// record before, where nothing is a comment.
    enum class Mode { Words, Direct };

    RecordReader(InputFile& file, TextScan text, Mode mode, InputListener& listener)
        : file_(file), text_(text), mode_(mode), listener_(listener) {}

    /// The comment: a word and the rest of its line, ended by "\n"; 498 characters are kept.
    void ReadComment();

    /// Reads one record. It fails when a value is missing, malformed, out of range, or a word that
    /// starts with '#' (which could not be written back) or is too long. What follows the last
    /// value, in its word, is left alone.
    void Read(const Cells& cells);

    /// Reads the rows that a file of this version has and applies their rules.
    void ReadRows(std::span<const InputRow> rows);

    /// Reads the Euler angles of `state` and its fit indicators for `group`, the first of a block.
    void ReadFrame(InputState& state, const ConstantGroup& group);

    /// Reads groups of constants with status, values and fit indicators.
    void ReadGroups(InputState& state, std::span<const ConstantGroup> groups);

    /// Reads the block of a state: `groups`, the first of which has no status.
    void ReadBlock(InputState& state, std::span<const ConstantGroup> groups);

    bool ok() const { return !error_; }

    /// Why not.
    const Error& error() const { return *error_; }

    /// Ends the reading.
    void Refuse(InputFault fault, const std::string& word = "");

  private:
    bool Gather(std::size_t count);
    void Append(std::string_view text);
    void EndEarly();

    InputFile& file_;
    TextScan text_;
    Mode mode_;
    InputListener& listener_;
    std::optional<Error> error_;
    std::string line_;  // the words gathered for a record, or their head
    bool too_long_ = false;
};

/// The values, the status and the fit indicators of a group.
template <class T>
Cells CellsOf(PerConstant<T>& values, const ConstantGroup& group) {
    Cells cells;
    for (std::size_t i = 0; i < group.size; ++i) cells[i] = &values[group.constants[i]];
    return cells;
}

/// The Euler angles of a state.
inline Cells CellsOf(EulerAngles& angles) { return {&angles.phi, &angles.theta, &angles.chi}; }

}  // namespace kiv
