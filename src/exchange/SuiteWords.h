// Records of the SPFIT/SPCAT suite in free format: numbers parted by blanks or single commas, ended
// by a slash or by words that are no numbers.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "named/LineRows.h"

namespace kiv {

/// The words of a line from byte `first` on; one between two commas is empty. What stands behind a
/// slash is a label. With `may_mistake` a word like 35092,5 stays whole, so that it is told.
std::vector<LineWord> FreeWords(std::string_view line, std::size_t first, bool may_mistake);

/// A number of a record.
struct SuiteField {
    const char* name;
    bool is_whole;
    double usual;  // when it is left out
};

struct SuiteNumber {
    double value = 0.0;
    Place place;  // of one that was left out: of the last word of the record
    bool is_given = false;

    /// A whole number, cut to those of an int.
    int whole() const { return static_cast<int>(std::clamp(value, -2e9, 2e9)); }
};

/// A number, also with a D exponent or, where it is whole, with a point behind it.
bool ReadSuiteNumber(std::string_view word, Place place, const SuiteField& field,
                     const LineReport& report, double& to);

/// The numbers of a record by its fields. False when one is wrong, which was told.
bool ReadSuiteRecord(const LineSplitter& line, std::span<const LineWord> words,
                     std::span<const SuiteField> fields, const LineReport& report,
                     std::vector<SuiteNumber>& to);

/// Goes to the next line that is not blank; false at the end of the text.
bool NextRecord(LineSplitter& lines);

/// A finding with another severity than that of its code.
void TellAs(Severity severity, FindingCode code, Place place, const std::string& message,
            const LineReport& report);

}  // namespace kiv
