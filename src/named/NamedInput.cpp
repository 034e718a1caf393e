#include "named/NamedInput.h"

#include <cstddef>

namespace kiv {
namespace {

State StateOf(const NamedState& from) {
    State state;
    state.reduction = from.reduction;
    state.tilt = from.tilt;
    for (const Constant c : kListedConstants) {
        const NamedTerm& term = from.terms[c];
        state.terms[c].value = term.value;
        state.terms[c].fit = term.fit;
        state.terms[c].on = c <= Constant::C || term.value != 0.0 || term.fit;
    }
    return state;
}

// A constant that one state has is there in both.
void MatchTerms(Model& model) {
    for (int c = 0; c < kNumConstants; ++c) {
        Term &lower = model.lower().terms[c], &upper = model.upper().terms[c];
        lower.on = upper.on = lower.on || upper.on;
    }
}

Moment MomentOf(const NamedMoment& from) {
    Moment moment;
    const auto& values = from.values;
    if (from.form == MomentForm::Components) moment.component = values;
    if (from.form == MomentForm::Percent) moment = Moment::FromPercent(values);
    if (from.form == MomentForm::Angles) {
        moment = Moment::FromAngles(values[0] * values[0], values[1], values[2]);
    }
    moment.frame = from.frame;
    return moment;
}

FitData DataOf(const NamedInput& input) {
    if (!input.two_states) return FitData::OneState;
    if (input.fit.data == NamedData::LowerDifferences) return FitData::LowerDifferences;
    if (input.fit.data == NamedData::UpperDifferences) return FitData::UpperDifferences;
    return input.relative ? FitData::UpperAsDifference : FitData::TwoStates;
}

}  // namespace

Place Places::Of(std::string_view path) const {
    while (!path.empty()) {
        const auto found = places_.find(path);
        if (found != places_.end()) return found->second;
        const std::size_t end = path.find_last_of(".[");
        path = path.substr(0, end == std::string_view::npos ? 0 : end);
    }
    return {};
}

Model ModelOf(const NamedInput& input) {
    Model model;
    model.one_state = !input.two_states;
    model.lower() = StateOf(input.lower());
    if (input.two_states) {
        model.upper() = StateOf(input.upper());
        MatchTerms(model);
        model.origin.value = input.origin.value;
        model.origin.fit = input.origin.fit;
    }
    if (input.moment) model.moment = MomentOf(*input.moment);
    return model;
}

Settings SettingsOf(const NamedInput& input) {
    Settings settings;
    settings.max_J = input.spectrum.max_J;
    settings.lines = input.spectrum.rules;
    settings.lines.energy_per_kelvin =
        input.unit == EnergyUnit::MHz ? kMHzPerKelvin : kWavenumberPerKelvin;
    settings.fit.data = DataOf(input);
    settings.fit.weights = input.fit.weights;
    settings.fit.cycles = input.fit.cycles;
    if (input.fit.reject_above) settings.fit.reject_above = *input.fit.reject_above;
    return settings;
}

}  // namespace kiv
