#include "named/Finding.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "named/Text.h"

namespace kiv {
namespace {

struct CodeRow {
    FindingCode code;
    const char* name;
    Severity severity;
};

// clang-format off
constexpr CodeRow kCodes[] = {
    {FindingCode::DecimalComma,        "decimal-comma",        Severity::Error},
    {FindingCode::DExponent,           "d-exponent",           Severity::Error},
    {FindingCode::NotANumber,          "not-a-number",         Severity::Error},
    {FindingCode::LetterForDigit,      "letter-for-digit",     Severity::Error},
    {FindingCode::MissingValue,        "missing-value",        Severity::Error},
    {FindingCode::SurplusValue,        "surplus-value",        Severity::Error},
    {FindingCode::BadToml,             "bad-toml",             Severity::Error},
    {FindingCode::UnknownVersion,      "unknown-version",      Severity::Error},
    {FindingCode::BadUnit,             "bad-unit",             Severity::Error},
    {FindingCode::BadChoice,           "bad-choice",           Severity::Error},
    {FindingCode::OutOfRange,          "out-of-range",         Severity::Error},
    {FindingCode::UnknownKey,          "unknown-key",          Severity::Error},
    {FindingCode::WrongType,           "wrong-type",           Severity::Error},
    {FindingCode::MissingKey,          "missing-key",          Severity::Error},
    {FindingCode::WrongReduction,      "wrong-reduction",      Severity::Error},
    {FindingCode::NoSuchFile,          "no-such-file",         Severity::Error},
    {FindingCode::Truncated,           "truncated",            Severity::Error},
    {FindingCode::ImpossibleLevel,     "impossible-level",     Severity::Error},
    {FindingCode::BadLineRow,          "bad-line-row",         Severity::Error},
    {FindingCode::LooksLike,           "looks-like",           Severity::Error},
    {FindingCode::ForbiddenTransition, "forbidden-transition", Severity::Error},
    {FindingCode::OverwritesInput,     "overwrites-input",     Severity::Warning},
    {FindingCode::NotAbcOrder,         "not-abc-order",        Severity::Warning},
    {FindingCode::UnitMismatch,        "unit-mismatch",        Severity::Warning},
    {FindingCode::SuspiciousConstant,  "suspicious-constant",  Severity::Warning},
    {FindingCode::FitButOff,           "fit-but-off",          Severity::Warning},
    {FindingCode::NothingToFit,        "nothing-to-fit",       Severity::Warning},
    {FindingCode::ZeroStart,           "zero-start",           Severity::Warning},
    {FindingCode::OriginUnused,        "origin-unused",        Severity::Warning},
    {FindingCode::ZeroWeights,         "zero-weights",         Severity::Warning},
    {FindingCode::NoMoment,            "no-moment",            Severity::Warning},
    {FindingCode::BandWord,            "band-word",            Severity::Warning},
    {FindingCode::DuplicateLine,       "duplicate-line",       Severity::Warning},
    {FindingCode::BeyondJMax,          "beyond-J-max",         Severity::Warning},
    {FindingCode::NoUncertainty,       "no-uncertainty",       Severity::Warning},
    {FindingCode::DeltaKLimit,         "delta-K-limit",        Severity::Warning},
    {FindingCode::BlendUncertainty,    "blend-uncertainty",    Severity::Warning},
    {FindingCode::APriori,             "a-priori",             Severity::Warning},
    {FindingCode::NotConverged,        "not-converged",        Severity::Warning},
    {FindingCode::IncompleteQ,         "incomplete-Q",         Severity::Warning},
    {FindingCode::NoCounterpart,       "no-counterpart",       Severity::Error},
    {FindingCode::ShiftedColumns,      "shifted-columns",      Severity::Error},
    {FindingCode::LinkedConstant,      "linked-constant",      Severity::Error},
    {FindingCode::DoubledConstant,     "doubled-constant",     Severity::Warning},
    {FindingCode::CountMismatch,       "count-mismatch",       Severity::Warning},
    {FindingCode::CutBasis,            "cut-basis",            Severity::Warning},
    {FindingCode::RejectLevel,         "reject-level",         Severity::Warning},
    {FindingCode::LeftOut,             "left-out",             Severity::Warning},
};
// clang-format on
static_assert(std::size(kCodes) == kNumFindingCodes);

constexpr bool IsInOrder() {
    for (std::size_t i = 0; i < std::size(kCodes); ++i) {
        if (static_cast<std::size_t>(kCodes[i].code) != i) return false;
    }
    return true;
}
static_assert(IsInOrder());

const CodeRow& RowOf(FindingCode code) { return kCodes[static_cast<std::size_t>(code)]; }

}  // namespace

const char* NameOf(Severity severity) { return severity == Severity::Error ? "error" : "warning"; }

const char* NameOf(FindingCode code) { return RowOf(code).name; }

Severity SeverityOf(FindingCode code) { return RowOf(code).severity; }

std::string TextOf(const Finding& finding) {
    return finding.file + ":" + std::to_string(finding.line) + ":" +
           std::to_string(finding.column) + ": " + NameOf(finding.severity) + ": " +
           finding.message + " [" + NameOf(finding.code) + "]";
}

void Findings::Add(Finding finding) {
    finding.message = Printable(finding.message);
    all_.push_back(std::move(finding));
}

void Findings::Add(FindingCode code, const std::string& file, Place place, std::string message) {
    Add({file, place.line, place.column, SeverityOf(code), code, std::move(message)});
}

void Findings::Append(const Findings& other) {
    all_.insert(all_.end(), other.begin(), other.end());
}

void Findings::Sort() {
    std::stable_sort(all_.begin(), all_.end(), [](const Finding& a, const Finding& b) {
        return std::tie(a.file, a.line, a.column) < std::tie(b.file, b.line, b.column);
    });
}

bool Findings::has_errors() const {
    return std::any_of(all_.begin(), all_.end(),
                       [](const Finding& finding) { return finding.severity == Severity::Error; });
}

}  // namespace kiv
