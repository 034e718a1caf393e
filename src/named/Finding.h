// What is wrong or doubtful about a file, each with its place and a stable code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kiv {

/// Line and column of a character, both from 1; columns count characters, not bytes.
struct Place {
    int line = 1;
    int column = 1;

    auto operator<=>(const Place&) const = default;
};

enum class Severity : std::uint8_t { Error, Warning };

const char* NameOf(Severity severity);

/// What a finding is about; NameOf gives the word that users and scripts see.
enum class FindingCode : std::uint8_t {
    // A word that should be a number
    DecimalComma,
    DExponent,
    NotANumber,
    LetterForDigit,
    // Input files
    MissingValue,
    SurplusValue,
    BadToml,
    UnknownVersion,
    BadUnit,
    BadChoice,
    OutOfRange,
    UnknownKey,
    WrongType,
    MissingKey,
    WrongReduction,
    NoSuchFile,
    Truncated,
    // Line files
    ImpossibleLevel,
    BadLineRow,
    LooksLike,
    ForbiddenTransition,
    // Doubtful
    OverwritesInput,
    NotAbcOrder,
    UnitMismatch,
    SuspiciousConstant,
    FitButOff,
    NothingToFit,
    ZeroStart,
    OriginUnused,
    ZeroWeights,
    NoMoment,
    BandWord,
    DuplicateLine,
    BeyondJMax,
    NoUncertainty,
    DeltaKLimit,
    BlendUncertainty,
    APriori,
    NotConverged,
    IncompleteQ,
    // Files of the SPFIT/SPCAT suite
    NoCounterpart,
    ShiftedColumns,
    LinkedConstant,
    DoubledConstant,
    CountMismatch,
    CutBasis,
    RejectLevel,
    LeftOut
};

inline constexpr int kNumFindingCodes = static_cast<int>(FindingCode::LeftOut) + 1;

/// The word in brackets, "decimal-comma".
const char* NameOf(FindingCode code);

/// How grave a finding of this code is, unless it says otherwise itself.
Severity SeverityOf(FindingCode code);

struct Finding {
    std::string file;
    int line = 1;
    int column = 1;
    Severity severity = Severity::Error;
    FindingCode code = FindingCode::BadToml;
    std::string message;  // one line
};

/// "so2.in:13:3: error: A: "60839,33" has a decimal comma, write 60839.33 [decimal-comma]", without
/// a line end.
std::string TextOf(const Finding& finding);

/// Findings in the order in which they were made, until they are sorted.
class Findings {
  public:
    /// Its message becomes valid UTF-8 without control characters.
    void Add(Finding finding);

    /// With the severity of its code.
    void Add(FindingCode code, const std::string& file, Place place, std::string message);

    void Append(const Findings& other);

    /// By file, line and column; those of one place keep their order.
    void Sort();

    bool has_errors() const;
    bool empty() const { return all_.empty(); }
    std::size_t size() const { return all_.size(); }
    const Finding& operator[](std::size_t i) const { return all_[i]; }
    auto begin() const { return all_.begin(); }
    auto end() const { return all_.end(); }

  private:
    std::vector<Finding> all_;
};

}  // namespace kiv
