// Rows of line files: their words, the reading of a field, the checks of a row.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "named/LineFile.h"

namespace kiv {

/// Columns as the header of a .csv file names them; the first eight are required.
enum class LineColumn : std::uint8_t {
    JUp,
    KaUp,
    KcUp,
    JLo,
    KaLo,
    KcLo,
    Frequency,
    Uncertainty,
    VUp,
    VLo,
    Weight,
    Comment
};

inline constexpr int kNumLineColumns = 12;
inline constexpr int kNumRequiredColumns = 8;
inline constexpr std::array<LineColumn, 6> kQuantumColumns = {LineColumn::JUp,  LineColumn::KaUp,
                                                              LineColumn::KcUp, LineColumn::JLo,
                                                              LineColumn::KaLo, LineColumn::KcLo};

/// "J_up".
const char* NameOf(LineColumn column);

/// A row with the places of its words.
struct LineRow {
    LineTransition transition;
    double frequency = 0.0;
    double uncertainty = 0.0;
    std::array<Place, kNumLineColumns> places{};  // of a missing word: where the row begins

    LineRow(int line, Place start, const LineContext& context);

    Place& place(LineColumn column) { return places[static_cast<std::size_t>(column)]; }
    Place place(LineColumn column) const { return places[static_cast<std::size_t>(column)]; }

    /// A quantum number, v included.
    int& quantum(LineColumn column);
};

/// Lines of a text without their ends.
class LineSplitter {
  public:
    explicit LineSplitter(std::string_view text) : text_(text) {}

    bool Next();

    std::string_view line() const { return line_; }
    int number() const { return number_; }

    /// The place of a byte of the line.
    Place At(std::size_t offset) const;

  private:
    std::string_view text_, line_;
    int number_ = 0;
    // a place of the line up to which characters were counted, behind an ASCII one
    mutable std::size_t counted_ = 0;
    mutable int characters_ = 0;
};

/// A word of a line and where it begins.
struct LineWord {
    std::string_view text;
    std::size_t offset = 0;
};

/// The words of a line, parted by blanks.
std::vector<LineWord> WordsOf(std::string_view line);

/// Where findings of a file go.
struct LineReport {
    const std::string& file;
    Findings& findings;

    void Add(FindingCode code, Place place, std::string message) const {
        findings.Add(code, file, place, std::move(message));
    }
};

/// Reads a field; a word that is none is told under the name of its column.
bool ReadField(std::string_view word, Place place, LineColumn column, const LineReport& report,
               double& to);
bool ReadField(std::string_view word, Place place, LineColumn column, const LineReport& report,
               int& to);

/// The format that a row of a file seems to be of.
std::optional<LineFormat> Resembled(std::string_view row);

/// Tells that a row seems to be of another format than that of its file; false when it does not.
bool TellResembled(std::string_view row, LineFormat format, Place place, const LineReport& report);

/// Which neighbouring rows are one feature.
enum class BlendRule : std::uint8_t { None, Frequency, FrequencyAndUncertainty };

/// Upper and lower level of a transition.
using LinePair = std::pair<LineLevel, LineLevel>;

struct LinePairHash {
    std::size_t operator()(const LinePair& pair) const;
};

/// Puts rows into features and tells what is wrong or doubtful about them.
class LineCollector {
  public:
    LineCollector(BlendRule blends, const LineContext& context, const LineReport& report)
        : blends_(blends), context_(context), report_(report) {}

    /// Takes a row; one with an error is left out.
    void Take(const LineRow& row);

    std::vector<LineFeature> Finish();

  private:
    bool CheckState(const LineRow& row, LineColumn column, int v) const;
    bool CheckLevel(const LineLevel& level, Place place) const;
    bool CheckJumps(const LineRow& row) const;
    bool Joins(const LineRow& row) const;
    void TellDoubts(const LineRow& row, bool joins);
    void CloseFeature();

    BlendRule blends_;
    const LineContext& context_;
    const LineReport& report_;
    std::vector<LineFeature> features_;
    double last_uncertainty_ = 0.0;                          // of the last row
    Place weight_place_;                                     // of its weight
    std::unordered_map<LinePair, int, LinePairHash> lines_;  // where each transition stood first
};

// The rows of each format.
void ReadCsv(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines);
void ReadAsn(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines);
void ReadLin(std::string_view text, const LineContext& context, const LineReport& report,
             LineCollector& lines);

}  // namespace kiv
