#include "exchange/IntensityFile.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "io/TextLines.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr SuiteField kHead[] = {{"FLAGS", true, 0.0}, {"TAG", true, 0.0},    {"QROT", false, 0.0},
                                {"FBGN", true, 0.0},  {"FEND", true, 0.0},   {"STR0", false, 0.0},
                                {"STR1", false, 0.0}, {"FQLIM", false, 0.0}, {"TEMP", false, 300.0},
                                {"MAXV", true, 999.0}};
constexpr SuiteField kDipole[] = {{"IDIP", true, 0.0}, {"DIPOLE", false, 0.0}};
constexpr int kMostJ = 32767;  // of a named input
constexpr double kMHzPerGHz = 1e3, kMostMHz = 1e300;
constexpr const char* kAxes[] = {"a", "b", "c"};

class IntensityReader {
  public:
    IntensityReader(std::string_view text, const LineReport& report)
        : lines_(WithoutMark(text)), report_(report) {}

    std::optional<IntensityFile> Read() {
        const bool has_title = lines_.Next();
        if (!has_title || !NextRecord(lines_)) {
            report_.Add(FindingCode::Truncated, {std::max(lines_.number(), 1), 1},
                        "the file ends before FLAGS, TAG, QROT, ...");
            return {};
        }
        if (!ReadHead()) return {};
        while (NextRecord(lines_)) ReadDipole();
        file_.last_line = lines_.number();
        return std::move(file_);
    }

  private:
    bool ReadHead() {
        const std::vector<LineWord> words = FreeWords(lines_.line(), 0, false);
        if (!ReadSuiteRecord(lines_, words, kHead, report_, file_.head)) return false;
        const SuiteNumber& J = file_.number(kFend);
        if (!J.is_given) {
            report_.Add(FindingCode::MissingValue, J.place, "FEND, the highest J, is missing");
            return false;
        }
        if (J.value >= 0.0 && J.value <= kMostJ) return true;
        report_.Add(
            FindingCode::OutOfRange, J.place,
            "FEND = " + ShortestText(J.value) + ": J is from 0 to " + std::to_string(kMostJ));
        return false;
    }

    void ReadDipole() {
        const std::vector<LineWord> words = FreeWords(lines_.line(), 0, true);
        if (words.empty()) return;
        std::vector<SuiteNumber> numbers;
        if (!ReadSuiteRecord(lines_, words, kDipole, report_, numbers)) return;
        if (!numbers[1].is_given) {
            report_.Add(FindingCode::MissingValue, numbers[1].place,
                        "the dipole in debye is missing behind this word");
            return;
        }
        file_.dipoles.push_back({numbers[0], numbers[1]});
    }

    LineSplitter lines_;
    const LineReport& report_;
    IntensityFile file_;
};

std::string Said(const char* name, const SuiteNumber& number) {
    return std::string(name) + " = " + ShortestText(number.value);
}

void TakeHead(const IntensityFile& from, const LineReport& report, NamedInput& to) {
    const auto left_out = [&](const SuiteNumber& at, const std::string& message) {
        report.Add(FindingCode::LeftOut, at.place, message);
    };
    const auto out_of_range = [&](const SuiteNumber& at, const std::string& message) {
        report.Add(FindingCode::OutOfRange, at.place, message);
    };
    const SuiteNumber &flags = from.number(kFlags), &first_J = from.number(kFbgn);
    const double unit = std::floor(flags.value / 1000.0);
    if (unit == 1.0) to.unit = EnergyUnit::Wavenumber;
    if (unit != 0.0 && unit != 1.0) {
        report.Add(FindingCode::BadChoice, flags.place,
                   Said("FLAGS", flags) +
                       ": the digit of thousands is 0 for constants in MHz and "
                       "1 for cm-1, and nothing stands before it");
    }
    to.spectrum.max_J = from.number(kFend).whole();
    if (first_J.value != 0.0) {
        left_out(first_J, Said("FBGN", first_J) + ": lines of lower J are there here");
    }
    const SuiteNumber &cut = from.number(kStr0), &slope = from.number(kStr1);
    if (cut.is_given || slope.is_given) {
        left_out(cut.is_given ? cut : slope,
                 Said("STR0", cut) + ", " + Said("STR1", slope) +
                     ": weaker lines are left out there, the more the higher the frequency; here "
                     "export cat --min-lgint " +
                     ShortestText(cut.value) + " leaves out those below it");
    }
    const SuiteNumber& limit = from.number(kFqlim);
    if (limit.is_given && !(limit.value > 0.0)) {
        out_of_range(limit, Said("FQLIM", limit) + " GHz leaves out every line");
    } else if (limit.is_given) {
        const double MHz = std::min(limit.value * kMHzPerGHz, kMostMHz);
        const bool is_MHz = to.unit == EnergyUnit::MHz;
        to.spectrum.range = {{0.0, is_MHz ? MHz : MHz / kMHzPerWavenumber}};
    }
    const SuiteNumber& temperature = from.number(kTemp);
    if (temperature.value > 0.0) {
        to.spectrum.rules.temperature = temperature.value;
    } else {
        out_of_range(temperature, Said("TEMP", temperature) + ": kelvin are positive");
    }
    const SuiteNumber& highest = from.number(kMaxv);
    if (highest.value < 1.0 && to.two_states) {
        left_out(highest, Said("MAXV", highest) + " leaves out the upper state, here it is there");
    }
}

// Components of the moment between the states, or within each.
class Dipoles {
  public:
    Dipoles(const LineReport& report, NamedInput& to) : report_(report), to_(to) {}

    void Take(const SuiteDipole& dipole) {
        const int code = std::abs(dipole.code.whole());
        const int axis = code % 10, lower = code / 10 % 10, upper = code / 100;
        const bool is_plain = dipole.code.value > 0.0 && axis >= 1 && axis <= 3 && upper <= 9;
        const int num_states = to_.two_states ? 2 : 1;
        const std::string name = "dipole " + ShortestText(dipole.code.value);
        if (!is_plain || std::max(lower, upper) >= num_states) {
            const std::string what =
                is_plain ? " is one of a state that NVIB = " + std::to_string(num_states) +
                               " does not declare"
                         : " is no plain component (1, 2, 3 for a, b, c behind the digits of both "
                           "states); corrections have no counterpart";
            if (dipole.value.value == 0.0) {
                report_.Add(FindingCode::LeftOut, dipole.code.place, name + " is 0, left out");
            } else {
                report_.Add(FindingCode::NoCounterpart, dipole.code.place, name + what);
            }
            return;
        }
        Group& group = upper != lower ? between_ : within_[upper];
        Part& part = group[static_cast<std::size_t>(axis - 1)];
        if (part.place) {
            TellAs(Severity::Error, FindingCode::DoubledConstant, dipole.code.place,
                   name + ": the " + kAxes[axis - 1] + " component stands in line " +
                       std::to_string(part.place->line) + ", too; write it once",
                   report_);
            return;
        }
        part = {dipole.value.value, dipole.code.place};
    }

    // A named input has one moment: that between the states when there is one.
    void Finish(int last_line) {
        const bool has_lower = IsThere(within_[kLower]), has_upper = IsThere(within_[kUpper]);
        const Group& within = within_[has_lower ? kLower : kUpper];
        const Group& chosen = IsThere(between_) ? between_ : within;
        if (!IsThere(chosen)) {
            report_.Add(FindingCode::NoMoment, {last_line, 1},
                        "the file has no dipole, so that there are no lines");
        } else if (IsThere(between_)) {
            for (const Group& group : within_) TellLeftOut(group);
        } else if (to_.two_states) {
            TellWithin(within);
            if (has_lower && has_upper) TellOther();
        }
        NamedMoment moment;
        for (std::size_t i = 0; i < 3; ++i) moment.values[i] = chosen[i].value;
        to_.moment = moment;
    }

  private:
    struct Part {
        double value = 0.0;
        std::optional<Place> place;
    };
    using Group = std::array<Part, 3>;

    static bool IsThere(const Group& group) {
        return std::any_of(group.begin(), group.end(), [](const Part& p) { return p.place; });
    }

    void TellLeftOut(const Group& group) const {
        for (const Part& part : group) {
            if (!part.place || part.value == 0.0) continue;
            report_.Add(FindingCode::LeftOut, *part.place,
                        "this dipole within a state is left out: a named input has one moment, "
                        "that between the states");
        }
    }

    // Lines within the states alone: the moment serves them, but makes band lines, too.
    void TellWithin(const Group& group) const {
        const auto first =
            std::find_if(group.begin(), group.end(), [](const Part& part) { return part.place; });
        report_.Add(FindingCode::LeftOut, *first->place,
                    "there are no dipoles between the states: take the lines within them by "
                    "export --v 0-0 and --v 1-1, and leave those between them alone");
    }

    void TellOther() const {
        for (std::size_t i = 0; i < 3; ++i) {
            const Part &lower = within_[kLower][i], &upper = within_[kUpper][i];
            if (upper.value == lower.value) continue;
            report_.Add(FindingCode::NoCounterpart, upper.place ? *upper.place : *lower.place,
                        std::string("the states differ in their dipole along ") + kAxes[i] +
                            ", a named input has one moment; import the states one by one");
        }
    }

    const LineReport& report_;
    NamedInput& to_;
    Group between_;
    std::array<Group, kNumStates> within_;
};

}  // namespace

std::optional<IntensityFile> ReadIntensityFile(std::string_view text, const LineReport& report) {
    return IntensityReader(text, report).Read();
}

void TakeIntensities(const IntensityFile& from, const LineReport& report, NamedInput& to) {
    TakeHead(from, report, to);
    Dipoles dipoles(report, to);
    for (const SuiteDipole& dipole : from.dipoles) dipoles.Take(dipole);
    dipoles.Finish(from.last_line);
}

std::string CatalogueOptions(const IntensityFile& from) {
    std::string options;
    if (from.number(kTag).value != 0.0)
        options += " --tag " + ShortestText(from.number(kTag).value);
    if (from.number(kStr0).is_given) {
        options += " --min-lgint " + ShortestText(from.number(kStr0).value);
    }
    return options;
}

}  // namespace kiv
