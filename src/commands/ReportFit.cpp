// What a report says of constants and of the fit as a whole.
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "commands/ReportText.h"
#include "commands/TextParts.h"
#include "job/Varied.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

using Align = TextTable::Align;

constexpr double kShownCorrelation = 0.95;
constexpr std::size_t kLongestStart = 14;    // of a number with all its digits
constexpr std::size_t kTriangleColumns = 8;  // of correlations side by side
constexpr std::size_t kHead = 11;            // column of what is said, as in kiv check

std::string Row(const std::string& name, const std::string& text) {
    return Padded(name, kHead) + text + "\n";
}

std::string StartText(double value) {
    std::string text = ShortestText(value);
    return text.size() <= kLongestStart ? text : Format("%.10g", value);
}

// ------------------------------------------------------------------------------- constants

class Constants {
  public:
    explicit Constants(const RunOutcome& outcome)
        : job_(outcome.job), fit_(*outcome.calculation->fit), model_(outcome.calculation->model) {}

    std::string Text();

  private:
    std::optional<std::size_t> PlaceOf(const JobConstant& constant) const;
    void AddVaried(const std::string& name, const FeatureParameter& varied);
    void AddFixed(const std::string& name, const JobConstant& constant);
    std::vector<TextTable::Column> Columns() const;

    const Job& job_;
    const FeatureFit& fit_;
    const Model& model_;
    TextTable table_{Columns()};
    std::string notes_;
};

std::vector<TextTable::Column> Constants::Columns() const {
    std::vector<TextTable::Column> columns{{"constant", Align::Left},
                                           {NameOf(job_.input.unit), Align::Left}};
    if (fit_.parameters.empty()) return columns;
    if (!fit_.uniform) columns.push_back({"scaled"});
    columns.push_back({"start"});
    columns.push_back({"change"});
    return columns;
}

std::optional<std::size_t> Constants::PlaceOf(const JobConstant& constant) const {
    for (std::size_t i = 0; i < fit_.parameters.size(); ++i) {
        const FitParameter& parameter = fit_.parameters[i].parameter;
        const bool is_same = parameter.constant == constant.constant &&
                             (!parameter.constant || parameter.state == constant.state);
        if (is_same) return i;
    }
    return {};
}

void Constants::AddVaried(const std::string& name, const FeatureParameter& varied) {
    const FitParameter& parameter = varied.parameter;
    const double sd = fit_.uniform ? varied.sd_scaled : parameter.sd;
    std::vector<std::string> row{name, WithUncertainty(parameter.value, sd)};
    if (!fit_.uniform) {
        row.push_back(varied.determined ? Format("%.3g", varied.sd_scaled) : "held");
    }
    row.push_back(StartText(parameter.start));
    row.push_back(Format("%+.5g", parameter.value - parameter.start));
    table_.Add(row);
    if (!varied.determined) notes_ += "  " + name + ": " + HeldText(varied) + "\n";
}

void Constants::AddFixed(const std::string& name, const JobConstant& constant) {
    const Term& term =
        constant.constant ? model_.states[constant.state].terms[*constant.constant] : model_.origin;
    const bool is_rotational = constant.constant && *constant.constant <= Constant::C;
    if (term.value == 0.0 && !is_rotational) return;
    const bool follows = job_.input.relative && constant.state == kUpper && constant.constant &&
                         PlaceOf({kLower, constant.constant});
    std::vector<std::string> row{name, StartText(term.value)};
    if (fit_.parameters.empty()) return table_.Add(row);
    if (!fit_.uniform) row.emplace_back();
    row.emplace_back(follows ? "follows lower" : "fixed");
    table_.Add(row);
}

std::string Constants::Text() {
    bool has_relative = false;
    for (const JobConstant& constant : ConstantsOf(job_)) {
        const std::string name = NameOf(job_, constant);
        if (const auto i = PlaceOf(constant)) {
            AddVaried(name, fit_.parameters[*i]);
            has_relative = has_relative || fit_.parameters[*i].relative;
        } else {
            AddFixed(name, constant);
        }
    }
    std::string text = "constants\n" + table_.text() + notes_;
    if (fit_.parameters.empty()) return text;
    text += fit_.uniform
                ? "  Standard errors in parentheses are from the scatter of the lines.\n"
                : "  Standard errors in parentheses are those of the given uncertainties; scaled:\n"
                  "  times the root of the reduced chi-square.\n";
    if (has_relative) {
        text +=
            "  Those of upper constants, the origin apart, are of the differences to the lower "
            "ones.\n";
    }
    return text;
}

// --------------------------------------------------------------------------------- figures

std::string CountsText(const RunOutcome& outcome) {
    const FeatureFit& fit = *outcome.calculation->fit;
    std::int64_t transitions = 0;
    for (const LineFeature& feature : outcome.calculation->features) {
        transitions += static_cast<std::int64_t>(feature.transitions.size());
    }
    const auto features = static_cast<std::int64_t>(fit.residuals.size());
    std::string text = Plural(features, "line");
    if (transitions != features) text += " of " + Plural(transitions, "transition");
    return text +
           Format(": %d used, %d rejected, %d unmatched", fit.used, fit.rejected, fit.unmatched);
}

std::string FreedomText(const FeatureFit& fit) {
    const bool is_of_differences =
        fit.data == FitData::LowerDifferences || fit.data == FitData::UpperDifferences;
    return Plural(fit.equations, is_of_differences ? "difference" : "equation") + ", " +
           Plural(fit.varied, "constant") + " determined, " +
           Plural(fit.equations - fit.varied, "degree") + " of freedom";
}

std::string FiguresText(const RunOutcome& outcome) {
    const FeatureFit& fit = *outcome.calculation->fit;
    const bool is_fit = outcome.status.ok() && !fit.parameters.empty();
    std::string text;
    if (is_fit) {
        text += Row("fit", (fit.converged ? "converged in " : "NOT converged in ") +
                               Plural(fit.cycles, "cycle"));
    }
    text += Row("lines", CountsText(outcome));
    if (is_fit) text += Row("", FreedomText(fit));
    if (fit.equations == 0) return text;
    text +=
        Row("wrms", Format("%.6g", fit.wrms) + (fit.uniform ? " with all uncertainties 1" : ""));
    text += Row("rms", Format("%.6g %s", fit.rms, NameOf(outcome.job.input.unit)));
    if (!is_fit) return text;
    text += Row("reduced",
                fit.equations > fit.varied
                    ? Format("chi-square %.6g, its root %.6g", fit.reduced_chi_squared, fit.scale)
                    : "chi-square is not defined: there are no more lines than constants");
    return text +
           Row("condition", Format("%.4g, of derivatives scaled to equal length", fit.condition));
}

// ---------------------------------------------------------------------------- correlations

// Name and whether the data determine the constant, in listed order.
std::vector<std::size_t> Determined(const FeatureFit& fit) {
    std::vector<std::size_t> order = ListedOrder(fit);
    std::erase_if(order, [&](std::size_t i) { return !fit.parameters[i].determined; });
    return order;
}

std::string HighCorrelations(const FeatureFit& fit, const std::vector<std::size_t>& order) {
    std::vector<std::pair<std::size_t, std::size_t>> high;
    for (std::size_t a = 0; a < order.size(); ++a) {
        for (std::size_t b = 0; b < a; ++b) {
            const double r = std::fabs(fit.Correlation(order[a], order[b]));
            if (r > kShownCorrelation) high.emplace_back(order[b], order[a]);
        }
    }
    const auto size = [&](const auto& pair) {
        return std::fabs(fit.Correlation(pair.first, pair.second));
    };
    std::stable_sort(high.begin(), high.end(),
                     [&](const auto& a, const auto& b) { return size(a) > size(b); });
    if (high.empty()) return "correlations: none above 0.95\n";
    TextTable table({{"constant", Align::Left}, {"constant", Align::Left}, {"correlation"}});
    for (const auto& [i, k] : high) {
        table.Add({fit.parameters[i].parameter.Name(), fit.parameters[k].parameter.Name(),
                   Format("%.6f", fit.Correlation(i, k))});
    }
    return "correlations above 0.95\n" + table.text();
}

// The lower triangle, some columns at a time.
std::string Triangle(const FeatureFit& fit, const std::vector<std::size_t>& order) {
    std::string text = "correlations\n";
    for (std::size_t first = 0; first < order.size(); first += kTriangleColumns) {
        const std::size_t last = std::min(first + kTriangleColumns, order.size());
        std::vector<TextTable::Column> columns{{"", Align::Right}, {"constant", Align::Left}};
        for (std::size_t k = first; k < last; ++k) columns.push_back({std::to_string(k + 1)});
        TextTable table(std::move(columns));
        for (std::size_t i = first; i < order.size(); ++i) {
            std::vector<std::string> row{std::to_string(i + 1),
                                         fit.parameters[order[i]].parameter.Name()};
            for (std::size_t k = first; k < std::min(last, i + 1); ++k) {
                row.push_back(Format("%.4f", fit.Correlation(order[i], order[k])));
            }
            table.Add(row);
        }
        text += (first == 0 ? "" : "\n") + table.text();
    }
    return text;
}

}  // namespace

std::string FitReportText(const RunOutcome& outcome, bool all_correlations) {
    const FeatureFit& fit = *outcome.calculation->fit;
    std::string text = Constants(outcome).Text();
    if (!fit.residuals.empty()) text += "\n" + FiguresText(outcome);
    const std::vector<std::size_t> order = Determined(fit);
    if (order.size() < 2) return text;
    return text + "\n" + (all_correlations ? Triangle(fit, order) : HighCorrelations(fit, order));
}

}  // namespace kiv
