// The measured lines of a report as a table for other programs.
#include <initializer_list>

#include "commands/ReportText.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr char kHeader[] =
    "source,v_up,J_up,Ka_up,Kc_up,v_lo,J_lo,Ka_lo,Kc_lo,observed,calculated,omc,uncertainty,ratio,"
    "leverage,predicted_sd,used,reason\n";

// In quotes where it has a comma, a quote or a line end.
std::string Field(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string field = "\"";
    for (const char c : text) field += c == '"' ? "\"\"" : std::string(1, c);
    return field + "\"";
}

std::string LevelText(const LineLevel& level) {
    std::string text;
    for (const int number : {level.v, level.J, level.Ka, level.Kc}) {
        text += "," + std::to_string(number);
    }
    return text;
}

// What the rows of a feature share.
std::string FiguresText(const FeatureResidual& residual) {
    std::string calculated, omc, ratio, predicted;
    if (residual.calculated) {
        const double misfit = residual.observed - *residual.calculated;
        calculated = ShortestText(*residual.calculated);
        omc = ShortestText(misfit);
        if (residual.uncertainty > 0.0) ratio = ShortestText(misfit / residual.uncertainty);
        predicted = ShortestText(residual.predicted_sd);
    }
    std::string text;
    for (const std::string& field :
         {ShortestText(residual.observed), calculated, omc, ShortestText(residual.uncertainty),
          ratio, ShortestText(residual.leverage), predicted,
          std::string(residual.fate == FeatureFate::Used ? "true" : "false"),
          Field(residual.reason)}) {
        text += "," + field;
    }
    return text;
}

}  // namespace

std::string LinesCsv(const RunOutcome& outcome) {
    std::string text = kHeader;
    if (!outcome.calculation->fit) return text;
    const FeatureFit& fit = *outcome.calculation->fit;
    for (std::size_t i = 0; i < fit.residuals.size(); ++i) {
        const std::string figures = FiguresText(fit.residuals[i]);
        for (const LineTransition& line : outcome.calculation->features[i].transitions) {
            text += Field(outcome.job.lines->file + ":" + std::to_string(line.line));
            text += LevelText(line.upper) + LevelText(line.lower) + figures + "\n";
        }
    }
    return text;
}

}  // namespace kiv
