// Summaries of runs as JSON.
#include "commands/FindingsJson.h"
#include "commands/RunOutcome.h"
#include "kiv/files.h"
#include "named/Json.h"

namespace kiv {
namespace {

void PutLevels(const RunOutcome& outcome, JsonWriter& json) {
    json.Key("levels");
    if (!outcome.has_result()) {
        json.Null();
        return;
    }
    json.Object().Member("J_max", outcome.calculation->settings.max_J);
    if (outcome.partition) {
        json.Member("Q", outcome.partition->up_to_max_J);
        json.Member("Q_complete", outcome.partition->complete());
        json.Member("J_needed", outcome.partition->J_needed);
    }
    json.Member("temperature", outcome.temperature).End();
}

void PutParameters(const FeatureFit& fit, JsonWriter& json) {
    json.Key("parameters").Array();
    for (const FeatureParameter& varied : fit.parameters) {
        const FitParameter& parameter = varied.parameter;
        json.Object().Member("name", parameter.Name()).Member("start", parameter.start);
        json.Member("value", parameter.value);
        if (fit.uniform) {
            json.Key("sd").Null();
        } else {
            json.Member("sd", parameter.sd);
        }
        json.Member("sd_scaled", varied.sd_scaled);
        if (varied.relative) json.Member("relative", true);
        if (!varied.determined) json.Member("determined", false);
        json.End();
    }
    json.End().Key("correlation").Array();
    for (std::size_t i = 0; i < fit.parameters.size(); ++i) {
        json.Array();
        for (std::size_t k = 0; k < fit.parameters.size(); ++k) json.Value(fit.Correlation(i, k));
        json.End();
    }
    json.End();
}

void PutTransitions(const LineFeature& feature, JsonWriter& json) {
    json.Key("transitions").Array();
    for (const LineTransition& line : feature.transitions) {
        json.Array();
        for (const int number : {line.upper.J, line.upper.Ka, line.upper.Kc, line.lower.J,
                                 line.lower.Ka, line.lower.Kc}) {
            json.Value(number);
        }
        json.End();
    }
    json.End();
}

void PutResiduals(const RunOutcome& outcome, JsonWriter& json) {
    const FeatureFit& fit = *outcome.calculation->fit;
    json.Key("residuals").Array();
    for (std::size_t i = 0; i < fit.residuals.size(); ++i) {
        const FeatureResidual& residual = fit.residuals[i];
        const LineFeature& feature = outcome.calculation->features[i];
        json.Object().Member("source", outcome.job.lines->file + ":" +
                                           std::to_string(feature.transitions.front().line));
        json.Key("calculated");
        if (residual.calculated) {
            json.Value(*residual.calculated);
        } else {
            json.Null();
        }
        json.Member("observed", residual.observed).Member("uncertainty", residual.uncertainty);
        json.Key("omc");
        if (residual.calculated) {
            json.Value(residual.observed - *residual.calculated);
        } else {
            json.Null();
        }
        json.Member("used", residual.fate == FeatureFate::Used).Member("reason", residual.reason);
        json.Member("leverage", residual.leverage).Member("predicted_sd", residual.predicted_sd);
        PutTransitions(feature, json);
        json.End();
    }
    json.End();
}

void PutFit(const RunOutcome& outcome, JsonWriter& json) {
    json.Key("fit");
    const bool asked = outcome.calculation && outcome.job.is_fit();
    if (!asked) {
        json.Null();
        return;
    }
    json.Object();
    if (!outcome.calculation->fit) {
        json.Member("converged", false).End();
        return;
    }
    const FeatureFit& fit = *outcome.calculation->fit;
    json.Member("converged", fit.converged).Member("cycles", fit.cycles);
    json.Member("used", fit.used).Member("rejected", fit.rejected);
    json.Member("unmatched", fit.unmatched).Member("rms", fit.rms).Member("wrms", fit.wrms);
    PutParameters(fit, json);
    PutResiduals(outcome, json);
    json.End();
}

}  // namespace

std::string SummaryJson(const RunOutcome& outcome) {
    JsonWriter json;
    json.Object().Member("program", std::string("kiv ") + (kInputVersion + 1));
    json.Member("input", outcome.job.file).Member("unit", NameOf(outcome.job.input.unit));
    json.Key("lines");
    if (outcome.calculation) {
        json.Value(outcome.has_result() ? outcome.calculation->room.lines.size : 0);
    } else {
        json.Null();
    }
    PutLevels(outcome, json);
    PutFit(outcome, json);
    json.Key("findings");
    PutFindings(outcome.findings, json);
    json.Key("files").Array();
    for (const std::string& file : outcome.files) json.Value(file);
    json.End().End();
    return json.text() + "\n";
}

}  // namespace kiv
