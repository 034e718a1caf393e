// The constants of a report as journals print them.
#include <algorithm>
#include <charconv>
#include <string_view>

#include "commands/ReportText.h"
#include "commands/TextParts.h"
#include "job/Varied.h"
#include "named/NamedConstants.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

// Symbols of Watson's constants in both reductions; null: the name of the constant in the input.
struct Symbol {
    Constant constant;
    const char* of_A;
    const char* of_S;
};

constexpr Symbol kSymbols[] = {{Constant::A, "A", "A"},
                               {Constant::B, "B", "B"},
                               {Constant::C, "C", "C"},
                               {Constant::PXPY, "D_{bc}", "D_{bc}"},
                               {Constant::PXPZ, "D_{ab}", "D_{ab}"},
                               {Constant::PYPZ, "D_{ac}", "D_{ac}"},
                               {Constant::DJ, "\\Delta_J", "D_J"},
                               {Constant::DJK, "\\Delta_{JK}", "D_{JK}"},
                               {Constant::DK, "\\Delta_K", "D_K"},
                               {Constant::dJ, "\\delta_J", "d_1"},
                               {Constant::dK, "\\delta_K", "d_2"},
                               {Constant::HJ, "\\Phi_J", "H_J"},
                               {Constant::HJK, "\\Phi_{JK}", "H_{JK}"},
                               {Constant::HKJ, "\\Phi_{KJ}", "H_{KJ}"},
                               {Constant::HK, "\\Phi_K", "H_K"},
                               {Constant::hJ, "\\phi_J", "h_1"},
                               {Constant::hJK, "\\phi_{JK}", "h_2"},
                               {Constant::hK, "\\phi_K", "h_3"},
                               {Constant::LJ, "L_J", "L_J"},
                               {Constant::LJJK, "L_{JJK}", "L_{JJK}"},
                               {Constant::LJK, "L_{JK}", "L_{JK}"},
                               {Constant::LKKJ, "L_{KKJ}", "L_{KKJ}"},
                               {Constant::LK, "L_K", "L_K"},
                               {Constant::lJ, "l_J", "l_1"},
                               {Constant::lJK, "l_{JK}", "l_2"},
                               {Constant::lKJ, "l_{KJ}", "l_3"},
                               {Constant::lK, "l_K", "l_4"}};

// Units in which the constants of an order of distortion have few zeros: the input's times 10^-n.
struct ScaledUnit {
    int power;  // n
    const char* of_MHz;
    const char* of_wavenumber;
};

constexpr ScaledUnit kPlain{0, "MHz", "cm$^{-1}$"};
constexpr ScaledUnit kQuartic{3, "kHz", "$10^{-3}$ cm$^{-1}$"};
constexpr ScaledUnit kSextic{6, "Hz", "$10^{-6}$ cm$^{-1}$"};
constexpr ScaledUnit kOctic{9, "mHz", "$10^{-9}$ cm$^{-1}$"};

const ScaledUnit& UnitOf(const JobConstant& constant) {
    if (!constant.constant) return kPlain;
    const Constant c = *constant.constant;
    if (c >= Constant::LJ) return kOctic;
    if (c >= Constant::HJ) return kSextic;
    return c >= Constant::DK && c <= Constant::dJ ? kQuartic : kPlain;
}

std::string Escaped(std::string_view text) {
    static constexpr std::string_view kSpecial = "&%$#_{}";
    std::string escaped;
    for (const char c : Printable(text)) {
        if (c == '\\') {
            escaped += "\\textbackslash{}";
        } else if (c == '~') {
            escaped += "\\textasciitilde{}";
        } else if (c == '^') {
            escaped += "\\textasciicircum{}";
        } else if (c == '<' || c == '>' || c == '|') {  // other characters in text fonts
            escaped += std::string("$") + c + "$";
        } else {
            if (kSpecial.find(c) != std::string_view::npos) escaped += '\\';
            escaped += c;
        }
    }
    return escaped;
}

// value 10^power without a rounding of its own: the digits stay.
double Scaled(double value, int power) {
    char text[64];
    char* const end = std::to_chars(text, text + 40, value, std::chars_format::scientific).ptr;
    const std::string_view all(text, static_cast<std::size_t>(end - text));
    const std::size_t e = all.find('e');
    if (e == std::string_view::npos) return value;  // not finite
    const char* exponent = text + e + (text[e + 1] == '+' ? 2 : 1);
    int old = 0;
    std::from_chars(exponent, end, old);
    const std::string shifted = std::string(all.substr(0, e + 1)) + std::to_string(old + power);
    double scaled = value;
    std::from_chars(shifted.data(), shifted.data() + shifted.size(), scaled);
    return scaled;
}

// "1.2(3)e-7" as "1.2(3)\times 10^{-7}".
std::string InMath(const std::string& number) {
    const std::size_t e = number.find('e');
    if (e == std::string::npos) return "$" + number + "$";
    const std::size_t digits = number[e + 1] == '+' ? e + 2 : e + 1;
    return "$" + number.substr(0, e) + "\\times 10^{" + number.substr(digits) + "}$";
}

std::string SymbolOf(const Job& job, const JobConstant& constant) {
    if (!constant.constant) return "$\\nu_0$";
    const Reduction reduction = job.input.states[constant.state].reduction;
    for (const Symbol& symbol : kSymbols) {
        if (symbol.constant != *constant.constant) continue;
        return std::string("$") + (reduction == Reduction::A ? symbol.of_A : symbol.of_S) + "$";
    }
    return NameOf(*constant.constant, reduction);
}

class ConstantTable {
  public:
    explicit ConstantTable(const RunOutcome& outcome)
        : outcome_(outcome), job_(outcome.job), two_states_(job_.input.two_states) {}

    std::string Text() const;

  private:
    std::string ValueOf(const JobConstant& constant) const;
    void AddRow(const std::string& symbol, const ScaledUnit& unit, const std::string& lower,
                const std::string& upper, std::string& text) const;
    std::string Rows() const;
    std::string FitRow() const;
    std::string Caption() const;
    const FeatureFit* fit() const {
        const Calculation* const calculation = outcome_.calculation;
        return calculation && calculation->fit ? &*calculation->fit : nullptr;
    }

    const RunOutcome& outcome_;
    const Job& job_;
    const bool two_states_;
};

// Empty for a constant that takes no part.
std::string ConstantTable::ValueOf(const JobConstant& constant) const {
    const Term& term =
        constant.constant
            ? outcome_.calculation->model.states[constant.state].terms[*constant.constant]
            : outcome_.calculation->model.origin;
    double sd = 0.0;
    bool is_varied = false;
    if (fit()) {
        for (const FeatureParameter& varied : fit()->parameters) {
            const FitParameter& parameter = varied.parameter;
            if (parameter.constant != constant.constant || parameter.state != constant.state) {
                continue;
            }
            sd = fit()->uniform ? varied.sd_scaled : parameter.sd;
            is_varied = true;
        }
    }
    const bool is_rotational = constant.constant && *constant.constant <= Constant::C;
    if (!is_varied && term.value == 0.0 && !is_rotational) return "";
    const int power = UnitOf(constant).power;
    return InMath(WithUncertainty(Scaled(term.value, power), Scaled(sd, power)));
}

void ConstantTable::AddRow(const std::string& symbol, const ScaledUnit& unit,
                           const std::string& lower, const std::string& upper,
                           std::string& text) const {
    if (lower.empty() && upper.empty()) return;
    text += symbol + " & " +
            (job_.input.unit == EnergyUnit::MHz ? unit.of_MHz : unit.of_wavenumber) + " & " + lower;
    if (two_states_) text += " & " + upper;
    text += " \\\\\n";
}

// Constants of both states beside each other where they have the same symbol.
std::string ConstantTable::Rows() const {
    std::string text;
    for (const Constant c : kListedConstants) {
        const JobConstant lower{kLower, c}, upper{kUpper, c};
        const ScaledUnit& unit = UnitOf(lower);
        if (!two_states_) {
            AddRow(SymbolOf(job_, lower), unit, ValueOf(lower), "", text);
        } else if (SymbolOf(job_, lower) == SymbolOf(job_, upper)) {
            AddRow(SymbolOf(job_, lower), unit, ValueOf(lower), ValueOf(upper), text);
        } else {
            AddRow(SymbolOf(job_, lower), unit, ValueOf(lower), "", text);
            AddRow(SymbolOf(job_, upper), unit, "", ValueOf(upper), text);
        }
    }
    const JobConstant origin{kUpper, {}};
    if (two_states_) AddRow(SymbolOf(job_, origin), kPlain, "", ValueOf(origin), text);
    return text;
}

std::string ConstantTable::FitRow() const {
    if (!fit() || fit()->used == 0) return "";
    const std::string empty = two_states_ ? " & " : "";
    std::string text = "\\hline\n";
    if (!fit()->uniform)
        text += "wrms & & " + InMath(Format("%.4g", fit()->wrms)) + empty + " \\\\\n";
    text += std::string("rms & ") +
            (job_.input.unit == EnergyUnit::MHz ? kPlain.of_MHz : kPlain.of_wavenumber) + " & " +
            InMath(Format("%.4g", fit()->rms)) + empty + " \\\\\n";
    return text + "lines & & $" + std::to_string(fit()->used) + "$" + empty + " \\\\\n";
}

std::string ConstantTable::Caption() const {
    std::string text = job_.input.title.empty() ? "Constants" : Escaped(job_.input.title);
    const Reduction lower = job_.input.lower().reduction, upper = job_.input.upper().reduction;
    const auto letter = [](Reduction r) { return r == Reduction::A ? "$A$" : "$S$"; };
    text += std::string(" (Watson's ") + letter(lower);
    if (two_states_ && upper != lower) text += std::string(" and ") + letter(upper);
    text += " reduction, representation I$^r$).";
    if (!fit() || fit()->parameters.empty()) return text;
    text += " Standard errors in parentheses are in units of the last digits, from the ";
    text += fit()->uniform ? "scatter" : "uncertainties";
    text += " of the lines";
    const bool is_relative =
        std::any_of(fit()->parameters.begin(), fit()->parameters.end(),
                    [](const FeatureParameter& varied) { return varied.relative; });
    if (is_relative) text += "; those of upper constants are of the differences to the lower ones";
    return text + ".";
}

std::string ConstantTable::Text() const {
    std::string text =
        "\\begin{table}\n\\centering\n\\caption{" + Caption() + "}\n\\medskip\n\\begin{tabular}{ll";
    text += two_states_ ? "rr}\n\\hline\nConstant & Unit & Lower & Upper \\\\\n\\hline\n"
                        : "r}\n\\hline\nConstant & Unit & Value \\\\\n\\hline\n";
    return text + Rows() + FitRow() + "\\hline\n\\end{tabular}\n\\end{table}\n";
}

}  // namespace

std::string ConstantsLatex(const RunOutcome& outcome) { return ConstantTable(outcome).Text(); }

}  // namespace kiv
