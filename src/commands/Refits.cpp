#include "commands/Refits.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "commands/TextParts.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

using Align = TextTable::Align;

// What a refit came to.
struct Ended {
    Refit refit;
    std::string failure;  // why there is no fit
    std::optional<FeatureFit> fit;
    std::optional<double> change;  // of wrms

    // Changes sort by size; what has none comes last.
    double effect() const { return change && std::isfinite(*change) ? std::fabs(*change) : -1.0; }
};

Error Wrong(const std::string& text) { return {ErrorCode::BadChoice, text, ""}; }

Result<JobConstant> Named(const std::string& name, const char* option, const Job& job) {
    std::vector<std::string> known;
    for (const JobConstant& constant : ConstantsOf(job)) {
        known.push_back(NameOf(job, constant));
        if (known.back() == name) return constant;
    }
    return Wrong(std::string(option) + ": " + job.file + " knows no constant " + Quoted(name) +
                 ", the nearest is " + std::string(Nearest(name, known)));
}

void Add(const Refit& refit, std::vector<Refit>& refits) {
    const bool is_there = std::any_of(refits.begin(), refits.end(), [&](const Refit& other) {
        return other.constant == refit.constant;
    });
    if (!is_there) refits.push_back(refit);
}

Status AddNamed(const std::string& name, bool is_added, const Job& job,
                std::vector<Refit>& refits) {
    const Result<JobConstant> constant = Named(name, is_added ? "--add" : "--omit", job);
    if (!constant) return constant.error();
    if (TermOf(job, constant.value()).fit == is_added) {
        return Wrong(is_added ? "--add: " + name + " is varied already"
                              : "--omit: " + name + " is not varied by this input");
    }
    Add({constant.value(), is_added}, refits);
    return {};
}

const FeatureParameter* ParameterOf(const FeatureFit& fit, const JobConstant& constant) {
    for (const FeatureParameter& varied : fit.parameters) {
        const FitParameter& parameter = varied.parameter;
        if (parameter.constant == constant.constant && parameter.state == constant.state) {
            return &varied;
        }
    }
    return nullptr;
}

Ended EndOf(const Refit& refit, const RunOutcome& outcome, Workspace& work, Report& report) {
    Ended ended;
    ended.refit = refit;
    const Job job = WithVaried(outcome.job, refit.constant, refit.is_added);
    Calculation calculation;
    const Status status = job.is_fit() ? FitAlone(job, work, report, calculation)
                                       : JudgeLines(job, work, report, calculation);
    if (!status) {
        ended.failure = status.error().text;
        return ended;
    }
    ended.fit = std::move(calculation.fit);
    if (outcome.status.ok() && ended.fit->converged) {
        ended.change = ended.fit->wrms - outcome.calculation->fit->wrms;
    }
    return ended;
}

std::string ValueText(const Ended& ended, const Job& job) {
    if (!ended.fit) return ended.failure;
    std::string text;
    if (!ended.fit->converged) text = "NOT converged; ";
    const FeatureParameter* const varied = ParameterOf(*ended.fit, ended.refit.constant);
    const JobConstant& constant = ended.refit.constant;
    if (!varied && job.input.relative && constant.state == kUpper && constant.constant) {
        return text + "follows the lower one";
    }
    if (!varied) return text + "held at " + ShortestText(TermOf(job, constant).value);
    if (!varied->determined) return text + "not determined by the lines";
    return text + WithUncertainty(varied->parameter.value,
                                  ended.fit->uniform ? varied->sd_scaled : varied->parameter.sd);
}

}  // namespace

Result<std::vector<Refit>> RefitsOf(const Request& request, const Job& job) {
    std::vector<Refit> refits;
    const bool is_asked = request.trials || !request.omit.empty() || !request.add.empty();
    const bool has_lines = job.lines && job.lines->is_there && job.input.fit.cycles > 0;
    if (is_asked && !has_lines) {
        return Wrong(job.file + " fits nothing, so that nothing can be omitted, added or tried");
    }
    for (const std::string& name : request.omit) KIV_TRY(AddNamed(name, false, job, refits));
    for (const std::string& name : request.add) KIV_TRY(AddNamed(name, true, job, refits));
    if (!request.trials) return refits;
    for (const JobConstant& constant : ConstantsOf(job)) {
        if (TermOf(job, constant).fit) Add({constant, false}, refits);
    }
    for (const JobConstant& constant : NextConstants(job)) Add({constant, true}, refits);
    return refits;
}

std::string RefitsText(const std::vector<Refit>& refits, const RunOutcome& outcome, Workspace& work,
                       Report& report) {
    if (refits.empty()) return "";
    std::vector<Ended> all;
    for (const Refit& refit : refits) all.push_back(EndOf(refit, outcome, work, report));
    std::stable_sort(all.begin(), all.end(),
                     [](const Ended& a, const Ended& b) { return a.effect() > b.effect(); });
    TextTable table({{"constant", Align::Left},
                     {"refit", Align::Left},
                     {"wrms"},
                     {"change"},
                     {"lines"},
                     {"value", Align::Left}});
    for (const Ended& ended : all) {
        table.Add(
            {NameOf(outcome.job, ended.refit.constant), ended.refit.is_added ? "added" : "omitted",
             ended.fit ? Format("%.6g", ended.fit->wrms) : "none",
             ended.change ? Format("%+.4g", *ended.change) : "",
             ended.fit ? std::to_string(ended.fit->used) : "", ValueText(ended, outcome.job)});
    }
    std::string text = "\nrefits with one constant more or less";
    if (outcome.status.ok())
        text += Format(", changes against wrms %.6g", outcome.calculation->fit->wrms);
    return text + "\n" + table.text();
}

}  // namespace kiv
