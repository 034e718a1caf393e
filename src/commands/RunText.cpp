// Summaries of runs as texts.
#include <algorithm>
#include <cmath>
#include <utility>

#include "commands/RunOutcome.h"
#include "commands/TextParts.h"
#include "named/NamedConstants.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr std::size_t kWorst = 5;  // lines of a summary

std::string SourceOf(const RunOutcome& outcome, std::size_t feature) {
    const LineFeature& lines = outcome.calculation->features[feature];
    const int line = lines.transitions.empty() ? 0 : lines.transitions.front().line;
    return (outcome.job.lines ? outcome.job.lines->file : std::string()) + ":" +
           std::to_string(line);
}

// One measured line; the transitions of a blend stand below each other.
std::string ResidualText(const RunOutcome& outcome, std::size_t i, std::size_t source_width) {
    const LineFeature& feature = outcome.calculation->features[i];
    const FeatureResidual& residual = outcome.calculation->fit->residuals[i];
    const bool two_states = outcome.job.input.two_states;
    const int digits = DigitsOf(outcome.job);
    std::string text = "  " + Padded(SourceOf(outcome, i), source_width) + "  ";
    const std::size_t indent = text.size();
    const auto transition = [&](std::size_t k) {
        return TransitionText(feature.transitions[k], two_states);
    };
    text += Padded(transition(0), 26) + Format(" %16.*f", digits, residual.observed);
    if (residual.calculated) {
        const double misfit = residual.observed - *residual.calculated;
        text += Format(" %13.*f", digits, misfit);
        if (residual.uncertainty > 0.0) text += Format(" %9.2f", misfit / residual.uncertainty);
    }
    if (!residual.reason.empty()) text += "  " + residual.reason;
    text += '\n';
    for (std::size_t k = 1; k < feature.transitions.size(); ++k) {
        text += std::string(indent, ' ') + transition(k) + "\n";
    }
    return text;
}

std::string ResidualsHead(std::size_t source_width) {
    return Padded("  line", source_width + 4) + Padded("transition", 26) +
           "         observed           o-c    /uncert\n";
}

std::size_t SourceWidth(const RunOutcome& outcome, const std::vector<std::size_t>& features) {
    std::size_t width = 6;
    for (const std::size_t i : features) width = std::max(width, SourceOf(outcome, i).size());
    return width;
}

// Features that were used, the worst first.
std::vector<std::size_t> WorstOf(const FeatureFit& fit) {
    std::vector<std::size_t> worst;
    for (std::size_t i = 0; i < fit.residuals.size(); ++i) {
        if (fit.residuals[i].fate == FeatureFate::Used) worst.push_back(i);
    }
    const auto misfit = [&](std::size_t i) {
        const FeatureResidual& r = fit.residuals[i];
        const double weight = fit.uniform || r.uncertainty <= 0.0 ? 1.0 : r.uncertainty;
        return std::fabs(r.observed - r.calculated.value_or(r.observed)) / weight;
    };
    std::stable_sort(worst.begin(), worst.end(),
                     [&](std::size_t a, std::size_t b) { return misfit(a) > misfit(b); });
    worst.resize(std::min(worst.size(), kWorst));
    return worst;
}

std::string FitHead(const RunOutcome& outcome) {
    const FeatureFit& fit = *outcome.calculation->fit;
    std::string text = "fit of " +
                       Plural(static_cast<std::int64_t>(fit.parameters.size()), "constant") +
                       " to " + Plural(fit.used, "line") + ": ";
    const std::string cycles = Plural(fit.cycles, "cycle");
    text += fit.converged ? "converged in " + cycles : "NOT converged in " + cycles;
    text += "\n  " + std::to_string(fit.used) + " used, " + std::to_string(fit.rejected) +
            " rejected, " + std::to_string(fit.unmatched) + " unmatched";
    const char* unit = NameOf(outcome.job.input.unit);
    if (!fit.uniform) text += Format(", wrms %.5g", fit.wrms);
    return text + Format(", rms %.5g %s\n", fit.rms, unit);
}

std::string FitConstants(const RunOutcome& outcome) {
    const FeatureFit& fit = *outcome.calculation->fit;
    std::string text = Format("\n  %-12s %-26s  (%s)\n", "constant", NameOf(outcome.job.input.unit),
                              fit.uniform ? "standard errors from the scatter of the lines"
                                          : "standard errors from the given uncertainties");
    for (const std::size_t i : ListedOrder(fit)) {
        const FeatureParameter& varied = fit.parameters[i];
        const double sd = fit.uniform ? varied.sd_scaled : varied.parameter.sd;
        std::string line = Format("  %-12s ", varied.parameter.Name().c_str());
        line += Padded(WithUncertainty(varied.parameter.value, sd), 26);
        if (!varied.determined) {
            line += "  " + HeldText(varied);
        } else if (varied.relative) {
            line += "  (error of the difference to the lower state)";
        }
        while (line.ends_with(' ')) line.pop_back();
        text += line + "\n";
    }
    return text;
}

std::string FitText(const RunOutcome& outcome) {
    std::string text = FitHead(outcome) + FitConstants(outcome);
    const std::vector<std::size_t> worst = WorstOf(*outcome.calculation->fit);
    if (worst.empty()) return text;
    const std::size_t width = SourceWidth(outcome, worst);
    text += "\nlargest deviations\n" + ResidualsHead(width);
    for (const std::size_t i : worst) text += ResidualText(outcome, i, width);
    return text;
}

std::string LevelText(const LevelLabel& level) {
    return Format("%d %d %d", level.J, level.Ka, level.Kc);
}

std::string LinesText(const RunOutcome& outcome) {
    const Calculation& calculation = *outcome.calculation;
    const LineList& lines = calculation.room.lines;
    const char* unit = NameOf(outcome.job.input.unit);
    const int digits = DigitsOf(outcome.job);
    const auto num = static_cast<std::size_t>(lines.size);
    const auto [low, high] =
        std::minmax_element(lines.position.begin(), lines.position.begin() + num);
    const auto strongest = std::max_element(lines.intensity.begin(), lines.intensity.begin() + num);
    const LineView line =
        lines.Line(static_cast<std::int32_t>(strongest - lines.intensity.begin()));
    std::string text = Plural(lines.size, "line") +
                       Format(" from %.*f to %.*f %s, the strongest at %.*f (", digits, *low,
                              digits, *high, unit, digits, line.position);
    return text + LevelText(line.upper) + " - " + LevelText(line.lower) + ")\n";
}

std::string PartitionText(const RunOutcome& outcome) {
    if (!outcome.partition) return "";
    const Partition& sum = *outcome.partition;
    const int max_J = outcome.calculation->settings.max_J;
    std::string text = Format("Q(%s K) = %.6g up to J = %d, which is %.4g %% of it",
                              ShortestText(outcome.temperature).c_str(), sum.up_to_max_J, max_J,
                              100.0 * sum.complete());
    if (sum.J_needed > max_J) text += Format("; 99.9 %% need J = %d", sum.J_needed);
    return text + "\n";
}

}  // namespace

std::string ResidualsText(const RunOutcome& outcome) {
    const FeatureFit& fit = *outcome.calculation->fit;
    std::vector<std::size_t> all(fit.residuals.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    const std::size_t width = SourceWidth(outcome, all);
    std::string text = ResidualsHead(width);
    for (const std::size_t i : all) text += ResidualText(outcome, i, width);
    return text;
}

std::string HeldText(const FeatureParameter& varied) {
    std::string text = "not determined by the lines, held";
    for (std::size_t k = 0; k < varied.tied_to.size(); ++k) {
        text += (k == 0 ? "; only together with " : ", ") + varied.tied_to[k];
    }
    return text;
}

std::vector<std::size_t> ListedOrder(const FeatureFit& fit) {
    std::vector<std::size_t> order(fit.parameters.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    const auto rank = [&](std::size_t i) {
        const FitParameter& parameter = fit.parameters[i].parameter;
        const auto* const at =
            parameter.constant
                ? std::find(kListedConstants.begin(), kListedConstants.end(), *parameter.constant)
                : kListedConstants.end();
        return std::make_pair(parameter.constant ? parameter.state : kNumStates,
                              at - kListedConstants.begin());
    };
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return rank(a) < rank(b); });
    return order;
}

std::string WhyNoResult(const RunOutcome& outcome) {
    if (!outcome.status) return outcome.status.error().text;
    const auto& fit = outcome.calculation->fit;
    if (fit && !fit->converged) {
        return "the fit did not converge in " + Plural(fit->cycles, "cycle") +
               "; look at the lines of largest deviation, fit fewer constants or start closer";
    }
    return "no line is left by the rules of the input";
}

std::string SummaryText(const RunOutcome& outcome) {
    std::string text = outcome.job.file;
    if (!outcome.job.input.title.empty()) text += ": " + outcome.job.input.title;
    text += "\n";
    if (outcome.calculation && outcome.calculation->fit) text += FitText(outcome) + "\n";
    if (outcome.has_result()) text += LinesText(outcome) + PartitionText(outcome);
    if (outcome.files.empty()) return text;
    text += "written:";
    for (const std::string& file : outcome.files) text += " " + file;
    return text + "\n";
}

}  // namespace kiv
