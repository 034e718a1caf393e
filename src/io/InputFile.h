// Reading of input files, with what their reader tells and asks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kiv/error.h"
#include "kiv/files.h"

namespace kiv {

/// What is wrong with an input file.
enum class InputFault : std::uint8_t {
    Version,   // no version number
    Layout,    // of a version that is not known
    Unit,      // of the energies
    BandType,  // of a version 1 file
    Record     // a number or word that is missing, malformed or out of range
};

/// Hears of an input file while it is read.
class InputListener {
  public:
    virtual ~InputListener() = default;

    virtual void VersionFound(const std::string& /*version*/) {}

    /// "1.1" or "1.2", by the form of a version 1 file.
    virtual void SubVersionFound(const char* /*version*/) {}

    /// True when assignments and output follow the old line-list layout; asked for version 1 files.
    virtual bool AskOldFormat() { return false; }

    /// The file is not acceptable; `word` is the one at fault, empty for a record. The error is
    /// returned afterwards.
    virtual void Refused(InputFault, const std::string& /*word*/) {}
};

/// Reads an input file. Its version, the seventh word of its second line ("v1.0" without one),
/// decides on the layout; values that the layout lacks are the defaults of InputFile, but for those
/// that old versions imply.
///
/// Afterwards a constant that is on in one state is on in both, except in calculations of one
/// state, where A, B and C of the upper one are off. BadInput, after Refused; Truncated when the
/// text ends within a record: `subject` holds its words, each complete one with a blank.
Result<InputFile> ReadInputFile(std::string_view text, InputListener& listener);

/// How numbers are written: as the columns of the layout have them, or with as many digits as it
/// takes to read back the same number.
enum class InputDigits : std::uint8_t { Layout, Whole };

/// Writes a document as an input file of the current version.
void WriteInputFile(Sink& sink, const InputFile& file, InputDigits digits);

/// Major version, 1..5; 0 when it is not known.
int MajorVersion(std::string_view version);

}  // namespace kiv
