#include "job/Convert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "io/AssignmentFile.h"
#include "io/InputFile.h"
#include "io/TextLines.h"
#include "io/TextScan.h"
#include "job/OldForm.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::size_t kMostName = 199;         // characters of a name in a positional input
constexpr std::string_view kResults = "_out";  // behind the stem: `kiv FILE` must not replace FILE

void Append(Conversion& to, Losses losses) {
    std::move(losses.notes.begin(), losses.notes.end(), std::back_inserter(to.notes));
    std::move(losses.refusals.begin(), losses.refusals.end(), std::back_inserter(to.refusals));
}

std::string Counted(std::size_t num, const char* what) {
    return std::to_string(num) + " line" + (num == 1 ? "" : "s") + what;
}

// --------------------------------------------------------------- lines of a positional input

// Ka and Kc of a level of an assignment file: positional inputs look at J + Ka - Kc alone.
LineLevel LevelOf(int v, int J, int Ka, int Kc) {
    const int rank = J + Ka - Kc;
    return {v, J, (rank + 1) / 2, J - rank / 2};
}

bool IsBranch(const LineTransition& line) {
    const int J_upper = line.upper.J, J_lower = line.lower.J;
    return std::abs(J_upper - J_lower) <= 1 && J_upper + J_lower > 0 && line.upper != line.lower;
}

// The rows of an assignment file as its reader stores them, in the order of the file.
class RowCollector : public AssignmentListener {
  public:
    void Malformed(const char*, bool) override { ++left_out; }
    void BeyondLimits(const char*) override { ++left_out; }
    void NotSeparated() override { has_more_sets = true; }
    void Stored(const char* row, const SetCount&) override { sets.back().push_back(RowOf(row)); }
    void SetStored() override { sets.emplace_back(); }

    std::vector<std::vector<LineFeature>> sets{1};  // one more than there are
    std::size_t left_out = 0;
    std::size_t renamed = 0;  // levels
    bool has_more_sets = false;

  private:
    // A row that was accepted.
    LineFeature RowOf(std::string_view text) {
        TextScan scan(text);
        std::string_view band;
        scan.Word(band);
        std::array<std::int64_t, 6> quantum{};
        constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
        for (std::int64_t& number : quantum) scan.Int(-kMost, kMost, number);
        LineFeature feature;
        scan.Real(feature.frequency);
        scan.Real(feature.uncertainty);
        feature.uncertainty = std::fabs(feature.uncertainty);  // its sign does not matter
        LineTransition line;
        line.upper = Named(quantum[0], quantum[1], quantum[2]);
        line.lower = Named(quantum[3], quantum[4], quantum[5]);
        line.comment = Printable(Trimmed(scan.RestOfLine()));
        feature.transitions = {line};
        return feature;
    }

    LineLevel Named(std::int64_t J, std::int64_t Ka, std::int64_t Kc) {
        const LineLevel level =
            LevelOf(0, static_cast<int>(J), static_cast<int>(Ka), static_cast<int>(Kc));
        if (level.Ka != Ka || level.Kc != Kc) ++renamed;
        return level;
    }
};

// The lines that a calculation can use: of those of a set that are named twice, the first.
struct UsedLines {
    std::vector<LineFeature> lines;
    std::size_t repeated = 0, forbidden = 0;  // left out

    void Take(const std::vector<LineFeature>& set, int v_upper) {
        std::set<std::pair<LineLevel, LineLevel>> known;
        for (LineFeature feature : set) {
            LineTransition& line = feature.transitions.front();
            line.upper.v = v_upper;
            if (!IsBranch(line)) {
                ++forbidden;
            } else if (!known.emplace(line.upper, line.lower).second) {
                ++repeated;
            } else {
                lines.push_back(std::move(feature));
            }
        }
    }
};

// The lines that a positional input uses: a calculation of one state those of the second set, when
// there is one. `uniform` becomes 1 when no line has an uncertainty.
std::vector<LineFeature> LinesOf(const InputFile& file, std::string_view text,
                                 std::int16_t& uniform, Conversion& to) {
    MemorySource source(text);
    TextLines rows(source);
    RowCollector collector;
    const auto reading =
        ReadAssignments(rows, {LimitsOf(file), 1.0, file.uniform}, Memory(), collector);
    if (!reading) {
        to.refusals.push_back(file.assignment_file + ": " + reading.error().text);
        return {};
    }
    uniform = reading.value().uniform;
    const bool two_sets = reading.value().assignments.two_sets;
    const bool skips_first = file.one_state() && two_sets;
    UsedLines used;
    if (!skips_first) used.Take(collector.sets[0], file.one_state() ? 0 : 1);
    if (two_sets) used.Take(collector.sets[1], 0);
    const auto note = [&](std::size_t num, const char* what) {
        if (num > 0) to.notes.push_back(file.assignment_file + ": " + Counted(num, what));
    };
    note(collector.left_out, " malformed or beyond the highest J, left out");
    note(used.forbidden, " that no calculation has, left out");
    note(used.repeated, " named a second time, left out");
    note(collector.renamed,
         " with a level that does not exist: named like the one of its J + Ka - "
         "Kc, which was used");
    note(skips_first ? collector.sets[0].size() : 0,
         " of the first of two sets, left out: one state uses the second");
    if (collector.has_more_sets) {
        to.notes.push_back(file.assignment_file + ": sets behind the second, left out");
    }
    return used.lines;
}

// -------------------------------------------------------------------------------- both ways

void TellErrors(const Findings& findings, Conversion& to) {
    for (const Finding& finding : findings) {
        if (finding.severity == Severity::Error) to.refusals.push_back(finding.message);
    }
}

LineContext ContextOf(const NamedInput& input) {
    return {input.two_states, input.unit, std::nullopt, std::nullopt};
}

// Writes lines beside the input; what is written reads back as the same.
void PutLines(const std::vector<LineFeature>& lines, LineFormat format, const NamedInput& input,
              const std::string& name, Conversion& to) {
    const LineContext context = ContextOf(input);
    const Result<std::string> text = WriteLineFile(lines, format, context);
    if (!text) {
        to.refusals.push_back(text.error().text);
        return;
    }
    to.line_file = name;
    to.lines = text.value();
    Findings findings;
    ReadLineFile(to.lines, format, context, name, findings);
    TellErrors(findings, to);
}

bool HasLines(const Job& job, Conversion& to) {
    if (job.lines && job.lines->is_there) return true;
    if (job.lines) to.notes.push_back("there is no line file " + Quoted(job.lines->file));
    return false;
}

// ------------------------------------------------------------------------ positional to named

Conversion ToNamed(const Job& job, const std::string& stem) {
    Conversion to;
    const InputFile& file = *job.old;
    NamedInput input = NamedOf(file);
    Append(to, LossesOf(file));
    if (MajorVersion(file.version) == 1) {
        to.notes.push_back(
            "version 1 leaves the layout of its line file open: taken for the present one");
    }
    input.fit.lines.clear();
    if (!HasLines(job, to)) {
        if (input.fit.cycles == 0) input.fit.cycles = NamedFit{}.cycles;  // no fit either way
    } else {
        std::int16_t uniform = file.uniform;
        const std::vector<LineFeature> lines = LinesOf(file, job.lines->text, uniform, to);
        if (uniform != file.uniform) input.fit.weights = FitWeights::Uniform;
        if (!to.ok()) return to;
        input.fit.lines = stem + ".csv";
        PutLines(lines, LineFormat::Csv, input, input.fit.lines, to);
    }
    to.input = WriteNamed(input);
    Findings findings;
    if (to.ok()) ReadNamed(to.input, stem + ".toml", findings);
    TellErrors(findings, to);
    return to;
}

// ------------------------------------------------------------------------ named to positional

// The second of two measurements of a line, which positional inputs would not use.
void TellRepeated(const std::vector<LineFeature>& lines, Conversion& to) {
    std::set<std::pair<LineLevel, LineLevel>> known;
    for (const LineFeature& feature : lines) {
        for (const LineTransition& line : feature.transitions) {
            if (known.emplace(line.upper, line.lower).second) continue;
            const auto text = [](const LineLevel& level) {
                return std::to_string(level.J) + " " + std::to_string(level.Ka) + " " +
                       std::to_string(level.Kc);
            };
            to.refusals.push_back("the line " + text(line.upper) + " - " + text(line.lower) +
                                  " is measured more than once, positional inputs use the first "
                                  "alone");
        }
    }
}

bool IsName(const std::string& name) {
    return !name.empty() && name.size() <= kMostName && name.front() != '#' &&
           name.find_first_of(std::string_view(" \t\n\v\f\r\0", 7)) == std::string::npos;
}

Conversion ToOld(const Job& job, const std::string& stem) {
    Conversion to;
    NamedInput input = job.input;
    if (!HasLines(job, to)) input.fit.lines.clear();
    InputFile file = OldOf(input);
    Append(to, LossesOf(input));
    file.out_base = stem + std::string(kResults);
    file.assignment_file = stem + ".asn";
    file.next_input = file.out_base + ".in";
    if (!IsName(file.out_base)) {
        to.refusals.push_back(Quoted(stem) + " is no name for a positional input: at most " +
                              std::to_string(kMostName - kResults.size()) +
                              " characters, no blanks, no # at the start");
    }
    if (!input.fit.lines.empty()) {
        const std::vector<LineFeature>& lines = job.lines->features;
        TellRepeated(lines, to);
        PutLines(lines, LineFormat::Asn, input, file.assignment_file, to);
        const auto reading = ReadAssignmentFile(to.lines, LimitsOf(file), Memory());
        if (to.ok() && !reading) {
            to.refusals.push_back(job.lines->file + ": " + reading.error().text);
        }
    }
    StringSink text;
    WriteInputFile(text, file, InputDigits::Whole);
    to.input = text.text();
    const Result<Input> again = ReadInput(to.input);
    if (to.ok() && !again) to.refusals.push_back(again.error().text);
    return to;
}

}  // namespace

Conversion ConvertJob(const Job& job, InputForm form, const std::string& stem) {
    if (job.form != form) return form == InputForm::Named ? ToNamed(job, stem) : ToOld(job, stem);
    Conversion none;
    none.refusals.push_back(job.file + " is " +
                            (form == InputForm::Named ? "a named input" : "a positional input") +
                            " already");
    return none;
}

}  // namespace kiv
