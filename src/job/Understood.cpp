#include "job/Understood.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "job/LineCount.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr std::size_t kHead = 11;  // column of what is said

// Sections with their names in front, rows of tables in columns.
class Page {
  public:
    void Add(const std::string& name, const std::string& text) {
        text_ += Padded(name, kHead) + text + "\n";
    }

    /// Rows of one section; columns but the first are aligned to the right.
    void Add(const std::string& name, const std::vector<std::vector<std::string>>& rows) {
        std::vector<std::size_t> widths;
        for (const auto& row : rows) {
            widths.resize(std::max(widths.size(), row.size()));
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        for (const auto& row : rows) {
            std::string line;
            for (std::size_t i = 0; i < row.size(); ++i) {
                const std::string gap(widths[i] - row[i].size(), ' ');
                line += (i == 0 ? "" : "  ") + (i == 0 ? row[i] + gap : gap + row[i]);
            }
            line.erase(line.find_last_not_of(' ') + 1);
            Add(&row == &rows.front() ? name : "", line);
        }
    }

    const std::string& text() const { return text_; }

  private:
    static std::string Padded(std::string text, std::size_t width) {
        text.resize(std::max(text.size(), width), ' ');
        return text;
    }

    std::string text_;
};

std::string Plural(std::int64_t number, const char* word) {
    return std::to_string(number) + " " + word + (number == 1 ? "" : "s");
}

// Six digits, for what was converted.
std::string Rounded(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string Joined(const std::vector<std::string>& words, const char* between) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

class Describer {
  public:
    Describer(const Job& job, Page& page) : job_(job), input_(job.input), page_(page) {
        if (input_.two_states) states_.push_back(kUpper);
    }

    void DescribeAll(std::span<const std::string> files) {
        DescribeModel();
        page_.Add("",
                  "H = A Pz^2 + B Px^2 + C Py^2 - DJ P^4 - DJK P^2 Pz^2 - DK Pz^4 + HJ P^6 + ...");
        DescribeConstants();
        DescribeTilt();
        DescribeMoment();
        DescribeSpectrum();
        if (job_.usable()) DescribeExpected();
        DescribeLines();
        DescribeFit();
        if (job_.is_fit()) page_.Add("", Joined(FittedNames(), " "));
        const std::vector<std::string> names(files.begin(), files.end());
        if (!names.empty()) page_.Add("files", Joined(names, ", "));
    }

    void DescribeConventions() {
        DescribeModel();
        page_.Add("", "H = A Pz^2 + B Px^2 + C Py^2 - DJ P^4 - DJK P^2 Pz^2 - ... + HJ P^6 + ...");
        if (IsTilted()) DescribeTilt();
        DescribeLines();
        DescribeFit();
    }

  private:
    std::string Unit() const { return NameOf(input_.unit); }

    std::string With(double value) const { return ShortestText(value) + " " + Unit(); }

    void DescribeModel() {
        if (!input_.title.empty()) page_.Add("title", input_.title);
        page_.Add("model", input_.two_states ? "lines between two states, upper and lower"
                                             : "one state, rotational lines");
        std::string reduction = "Watson's ";
        const Reduction lower = input_.lower().reduction, upper = input_.upper().reduction;
        reduction += lower == Reduction::A ? "A" : "S";
        if (input_.two_states && lower != upper) {
            reduction +=
                std::string(" (lower) and ") + (upper == Reduction::A ? "A" : "S") + " (upper)";
        }
        page_.Add("", reduction + " reduction in representation I^r: x = b, y = c, z = a");
    }

    void DescribeConstants() {
        std::vector<std::vector<std::string>> rows;
        rows.push_back({Unit()});
        for (const StateIndex state : states_) {
            rows.back().push_back(state == kLower ? "lower" : "upper");
            rows.back().push_back("");
        }
        if (!input_.two_states) rows.clear();
        for (const Constant c : kListedConstants) AddConstant(c, rows);
        if (input_.two_states) {
            rows.push_back({"origin", "", "", ShortestText(input_.origin.value),
                            input_.origin.fit ? "fitted" : ""});
        }
        page_.Add("constants", rows);
        if (input_.two_states && input_.relative) {
            page_.Add("", "upper constants are fitted as differences to the lower ones");
        }
    }

    // Rows of the constants that take part; d1 of one state stands beside dJ of the other.
    void AddConstant(Constant c, std::vector<std::vector<std::string>>& rows) const {
        const bool is_there = std::any_of(states_.begin(), states_.end(), [&](StateIndex state) {
            const NamedTerm& term = input_.states[state].terms[c];
            return term.value != 0.0 || term.fit;
        });
        if (!is_there && c > Constant::C) return;
        std::string name = NameOf(c, input_.lower().reduction);
        if (input_.two_states && name != NameOf(c, input_.upper().reduction)) {
            name += std::string("/") + NameOf(c, input_.upper().reduction);
        }
        rows.push_back({name});
        for (const StateIndex state : states_) {
            const NamedTerm& term = input_.states[state].terms[c];
            rows.back().push_back(ShortestText(term.value) +
                                  (input_.two_states ? "" : " " + Unit()));
            rows.back().push_back(term.fit ? "fitted" : "");
        }
    }

    bool IsTilted() const {
        return std::any_of(states_.begin(), states_.end(),
                           [&](StateIndex state) { return !input_.states[state].tilt.IsZero(); });
    }

    void DescribeTilt() {
        std::vector<std::string> tilts;
        for (const StateIndex state : states_) {
            const EulerAngles& tilt = input_.states[state].tilt;
            if (tilt.IsZero()) continue;
            tilts.push_back(std::string(state == kLower ? "lower" : "upper") + " PHI " +
                            ShortestText(tilt.phi) + ", THETA " + ShortestText(tilt.theta) +
                            ", CHI " + ShortestText(tilt.chi) + " degrees");
        }
        page_.Add("tilt", tilts.empty() ? "none" : Joined(tilts, "; "));
    }

    void DescribeMoment() {
        if (!input_.moment) {
            page_.Add("moment", "none, all kinds of lines have the same");
            return;
        }
        const auto& mu = ModelOf(input_).moment.component;
        const char* const forms[] = {"", ", from percent", ", from magnitude and angles"};
        const bool is_exact = input_.moment->form == MomentForm::Components;
        const double largest = std::max({std::fabs(mu[0]), std::fabs(mu[1]), std::fabs(mu[2])});
        const auto text = [&](double x) {
            if (is_exact) return ShortestText(x);
            return std::fabs(x) < 1e-9 * largest ? std::string("0") : Rounded(x);
        };
        page_.Add("moment", "a " + text(mu[0]) + ", b " + text(mu[1]) + ", c " + text(mu[2]) +
                                " debye in the axes of " +
                                (input_.moment->frame == kLower ? "lower" : "upper") +
                                forms[static_cast<std::size_t>(input_.moment->form)]);
    }

    void DescribeSpectrum() {
        const NamedSpectrum& spectrum = input_.spectrum;
        const LineRules& rules = spectrum.rules;
        const bool all_K = rules.delta_K >= spectrum.max_J;
        page_.Add("spectrum",
                  "J up to " + std::to_string(spectrum.max_J) +
                      (all_K ? ", any change of Ka"
                             : ", Ka changes by " + std::to_string(rules.delta_K) + " at most"));
        std::string heat = rules.temperature > 0.0
                               ? "intensities at " + ShortestText(rules.temperature) + " K"
                               : "line strengths, no temperature";
        if (rules.temperature > 0.0 && rules.temperature2 > 0.0) {
            heat += " and " + ShortestText(rules.temperature2) + " K with weight " +
                    ShortestText(rules.weight2);
        }
        page_.Add("", heat + (rules.temperature > 0.0
                                  ? ", those above " + ShortestText(rules.min_intensity)
                                  : ""));
        const auto& w = rules.spin_weights;
        page_.Add("", "spin weights of Ka Kc: ee " + std::to_string(w[0]) + ", eo " +
                          std::to_string(w[1]) + ", oo " + std::to_string(w[2]) + ", oe " +
                          std::to_string(w[3]));
        page_.Add("", spectrum.range ? "frequencies from " + With((*spectrum.range)[0]) + " to " +
                                           With((*spectrum.range)[1])
                                     : std::string("all frequencies"));
        if (!rules.parity) {
            page_.Add("", "no selection by parity");
            return;
        }
        const auto parity = [](bool odd) { return odd ? "odd" : "even"; };
        page_.Add("", std::string("only lines with Ka' + Ka\" ") + parity(rules.parity->ka_odd) +
                          " and Kc' + Kc\" " + parity(rules.parity->kc_odd));
    }

    void DescribeExpected() {
        const std::int64_t J = input_.spectrum.max_J;
        const std::int64_t levels = (J + 1) * (J + 1);
        const std::int64_t lines = CountLines(ModelOf(input_), SettingsOf(input_));
        page_.Add("expected", Plural(levels, "level") +
                                  (input_.two_states ? " in each state" : "") + ", up to " +
                                  Plural(lines, "line"));
    }

    void DescribeFit() {
        const NamedFit& fit = input_.fit;
        if (fit.lines.empty()) {
            page_.Add("fit", "none, there are no measured lines");
            return;
        }
        const std::vector<std::string> names = FittedNames();
        if (!job_.is_fit()) {
            page_.Add("fit",
                      names.empty() ? "none, no constant is to be fitted" : "none, 0 cycles");
            return;
        }
        const char* const data[] = {"", ", combination differences of lower",
                                    ", combination differences of upper"};
        page_.Add("fit", Plural(static_cast<std::int64_t>(names.size()), "constant") + " in " +
                             (job_.form == InputForm::Old ? "" : "at most ") +
                             Plural(fit.cycles, "cycle") +
                             data[static_cast<std::size_t>(fit.data)]);
        const bool by_uncertainty = fit.weights == FitWeights::Uncertainties;
        std::string reject = "none";
        if (fit.reject) {
            reject = "beyond " + ShortestText(*fit.reject) +
                     (by_uncertainty ? " uncertainties" : " times the rms");
        }
        if (fit.reject_above) reject = "from " + With(*fit.reject_above) + " on";
        page_.Add("", std::string("weights: ") +
                          (by_uncertainty ? "1/uncertainty^2" : "the same for all lines") +
                          "; rejected lines: " + reject);
    }

    void DescribeLines() {
        if (input_.fit.lines.empty()) return;
        if (!job_.lines || !job_.lines->is_there) {
            page_.Add("measured", input_.fit.lines + " is not there");
            return;
        }
        std::int64_t transitions = 0, blends = 0;
        for (const LineFeature& feature : job_.lines->features) {
            transitions += static_cast<std::int64_t>(feature.transitions.size());
            if (feature.transitions.size() > 1) ++blends;
        }
        const auto features = static_cast<std::int64_t>(job_.lines->features.size());
        page_.Add("measured", Plural(features, "line") + " in " + job_.lines->file +
                                  (blends > 0 ? ", " + Plural(blends, "blend") + " among them, " +
                                                    Plural(transitions, "transition") + " in all"
                                              : ""));
    }

    std::vector<std::string> FittedNames() const {
        std::vector<std::string> names;
        for (const StateIndex state : states_) {
            const NamedState& of = input_.states[state];
            for (const Constant c : kListedConstants) {
                if (!of.terms[c].fit) continue;
                names.push_back(std::string(state == kLower ? "lower." : "upper.") +
                                NameOf(c, of.reduction));
            }
        }
        if (input_.two_states && input_.origin.fit) names.push_back("upper.origin");
        return names;
    }

    const Job& job_;
    const NamedInput& input_;
    Page& page_;
    std::vector<StateIndex> states_{kLower};
};

}  // namespace

std::string UnderstoodText(const Job& job, std::span<const std::string> files) {
    Page page;
    page.Add("input", job.file + (job.old ? ", version " + job.old->version : ""));
    const auto& lower = job.input.lower().terms;
    const bool is_read = job.usable() || lower[Constant::A].value != 0.0;
    if (is_read) Describer(job, page).DescribeAll(files);
    return page.text();
}

std::string ConventionsText(const Job& job) {
    Page page;
    page.Add("input", job.file + (job.old ? ", version " + job.old->version : ""));
    Describer(job, page).DescribeConventions();
    return page.text();
}

}  // namespace kiv
