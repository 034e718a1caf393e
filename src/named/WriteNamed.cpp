// Writing of named inputs.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "named/NamedInput.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr std::size_t kCommentColumn = 36;

constexpr const char* kDataWords[] = {"lines", "lower differences", "upper differences"};

bool IsDefault(double value) { return value == 0.0 && !std::signbit(value); }

template <class T, class Text>
std::string ListText(const T& items, Text text) {
    std::string list;
    for (const auto& item : items) list += (list.empty() ? "" : ", ") + text(item);
    return "[" + list + "]";
}

// The lines of a table.
class Section {
  public:
    void Put(const std::string& key, const std::string& value, const char* comment = "") {
        std::string line = key + " = " + value;
        if (*comment != '\0') {
            line.resize(std::max(line.size() + 2, kCommentColumn), ' ');
            line += std::string("# ") + comment;
        }
        text_ += line + "\n";
    }

    void Put(const std::string& key, double value, const char* comment = "") {
        Put(key, RealText(value), comment);
    }

    // Only when it is not the default.
    template <class T>
    void PutOther(const std::string& key, T value, T usual, const char* comment = "") {
        if (value != usual) Put(key, value, comment);
    }
    void PutOther(const std::string& key, int value, int usual, const char* comment = "") {
        if (value != usual) Put(key, std::to_string(value), comment);
    }

    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

std::string RealsText(std::span<const double> values) {
    return ListText(values, [](double value) { return RealText(value); });
}

Section HeadOf(const NamedInput& input) {
    Section head;
    head.Put("kiv", "1", "format of this file");
    if (!input.title.empty()) head.Put("title", TomlString(input.title));
    head.Put("unit", TomlString(NameOf(input.unit)), "of constants, frequencies, uncertainties");
    return head;
}

Section StateOf(const NamedInput& input, StateIndex index) {
    const NamedState& state = input.states[index];
    Section lines;
    if (state.reduction == Reduction::S) lines.Put("reduction", TomlString("S"));
    std::vector<std::string> fitted;
    for (const Constant c : kListedConstants) {
        const NamedTerm& term = state.terms[c];
        const char* const name = NameOf(c, state.reduction);
        if (c <= Constant::C || !IsDefault(term.value)) lines.Put(name, term.value);
        if (term.fit) fitted.push_back(name);
    }
    const EulerAngles& tilt = state.tilt;
    const double angles[] = {tilt.phi, tilt.theta, tilt.chi};
    const bool is_straight = std::all_of(std::begin(angles), std::end(angles), IsDefault);
    if (!is_straight) lines.Put("tilt", RealsText(angles), "phi, theta, chi of the axes, degrees");
    if (index == kUpper) {
        if (!IsDefault(input.origin.value)) lines.Put("origin", input.origin.value);
        if (input.relative) {
            lines.Put("relative", "true", "fitted constants are varied as differences to [lower]");
        }
        if (input.origin.fit) fitted.push_back("origin");
    }
    if (!fitted.empty()) lines.Put("fit", ListText(fitted, TomlString));
    return lines;
}

Section MomentLines(const NamedMoment& moment) {
    Section lines;
    const auto& values = moment.values;
    switch (moment.form) {
        case MomentForm::Components:
            lines.Put("mu", RealsText(values), "on a, b, c, debye");
            break;
        case MomentForm::Percent:
            lines.Put("percent", RealsText(values), "of the intensity on a, b, c");
            break;
        case MomentForm::Angles:
            lines.Put("magnitude", values[0], "debye");
            lines.Put("theta", values[1], "from a, degrees");
            lines.Put("chi", values[2], "from b towards c, degrees");
            break;
    }
    if (moment.frame == kUpper) lines.Put("frame", TomlString("upper"));
    return lines;
}

Section SpectrumLines(const NamedSpectrum& spectrum) {
    const NamedSpectrum usual;
    const LineRules &rules = spectrum.rules, &standard = usual.rules;
    Section lines;
    lines.PutOther("J_max", spectrum.max_J, usual.max_J);
    lines.PutOther("delta_K", rules.delta_K, standard.delta_K, "largest change of Ka");
    lines.PutOther("temperature", rules.temperature, standard.temperature, "kelvin");
    lines.PutOther("temperature2", rules.temperature2, standard.temperature2, "kelvin");
    lines.PutOther("weight2", rules.weight2, standard.weight2);
    lines.PutOther("min_intensity", rules.min_intensity, standard.min_intensity);
    if (spectrum.range) lines.Put("range", RealsText(*spectrum.range), "of frequencies");
    if (rules.spin_weights != standard.spin_weights) {
        const auto text = [](int weight) { return std::to_string(weight); };
        lines.Put("spin_weights", ListText(rules.spin_weights, text),
                  "Ka Kc even-even, even-odd, odd-odd, odd-even");
    }
    if (rules.parity) {
        const auto word = [](bool is_odd) { return std::string(is_odd ? "\"O\"" : "\"E\""); };
        lines.Put("parity", "{ lower = " + word(rules.parity->ka_odd) +
                                ", upper = " + word(rules.parity->kc_odd) + " }");
    }
    return lines;
}

Section FitLines(const NamedFit& fit) {
    Section lines;
    if (!fit.lines.empty()) lines.Put("lines", TomlString(fit.lines), "measured lines");
    if (fit.data != NamedData::Lines) {
        lines.Put("data", TomlString(kDataWords[static_cast<std::size_t>(fit.data)]));
    }
    lines.PutOther("cycles", fit.cycles, NamedFit{}.cycles, "at most");
    if (fit.reject) lines.Put("reject", *fit.reject, "uncertainties");
    if (fit.reject_above) lines.Put("reject_above", *fit.reject_above);
    if (fit.weights != FitWeights::Uncertainties) lines.Put("weights", TomlString("uniform"));
    return lines;
}

std::string Headed(const char* header, const Section& section) {
    return "\n[" + std::string(header) + "]\n" + section.text();
}

// A table that may be left out.
std::string Optional(const char* header, const Section& section) {
    return section.text().empty() ? "" : Headed(header, section);
}

}  // namespace

std::string TomlString(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(c));
            quoted += code;
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

std::string WriteNamed(const NamedInput& input) {
    std::string text = HeadOf(input).text();
    text += Headed("lower", StateOf(input, kLower));
    if (input.two_states) text += Headed("upper", StateOf(input, kUpper));
    if (input.moment) text += Headed("moment", MomentLines(*input.moment));
    text += Optional("spectrum", SpectrumLines(input.spectrum));
    text += Optional("fit", FitLines(input.fit));
    return text;
}

}  // namespace kiv
