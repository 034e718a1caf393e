#include "job/OldForm.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "named/Text.h"

namespace kiv {
namespace {

constexpr std::string_view kNoComment = "NO COMMENT";
constexpr std::int16_t kAngles = 0, kPercent = 1;  // methods of the moment
constexpr const char* kUnits[] = {"MHz", "CM-1"};  // by EnergyUnit

// Without effect in calculations that nothing else makes complex.
constexpr bool IsComplexOnly(Constant c) { return c == Constant::PY3 || c == Constant::PY2PZ; }

// ------------------------------------------------------------------------ positional to named

// Whether a fit can vary the constants of a state; the origin counts as one of the upper state.
bool CanVary(FitData data, StateIndex index) {
    return data != (index == kUpper ? FitData::LowerDifferences : FitData::UpperDifferences);
}

NamedState StateOf(const State& from, bool is_complex, bool can_vary) {
    NamedState state;
    state.reduction = from.reduction;
    state.tilt = from.tilt;
    for (int i = 0; i < kNumFileConstants; ++i) {
        const auto c = static_cast<Constant>(i);
        const Term& term = from.terms[c];
        const bool acts = term.on && (is_complex || !IsComplexOnly(c));
        if (c <= Constant::C || acts) state.terms[c] = {term.value, term.fit && can_vary};
    }
    return state;
}

// The sign of a squared magnitude does not matter.
NamedMoment MomentOf(const InputFile& file) {
    NamedMoment moment;
    moment.values = {1.0, 1.0, 1.0};
    if (file.moment_method == kAngles) {
        const auto& angles = file.moment_angles;
        moment.form = MomentForm::Angles;
        moment.values = {std::sqrt(std::fabs(angles[0])), angles[1], angles[2]};
    } else if (file.moment_method == kPercent) {
        moment.form = MomentForm::Percent;
        moment.values = file.moment_percent;
    }
    if (file.moment_frame == kUpper && !file.one_state()) moment.frame = kUpper;
    return moment;
}

double NotNegative(double value) { return value > 0.0 ? value : 0.0; }

LineRules RulesOf(const InputFile& file) {
    LineRules rules = SettingsOf(file).lines;
    rules.energy_per_kelvin = LineRules{}.energy_per_kelvin;
    rules.temperature = NotNegative(rules.temperature);
    rules.temperature2 = NotNegative(rules.temperature2);
    rules.weight2 = NotNegative(rules.weight2);
    if (const auto parity = ParityOf(file)) rules.parity = parity.value();
    return rules;
}

NamedFit FitOf(const InputFile& file) {
    const FitOptions options = SettingsOf(file).fit;
    NamedFit fit;
    fit.lines = file.assignment_file;
    if (options.data == FitData::LowerDifferences) fit.data = NamedData::LowerDifferences;
    if (options.data == FitData::UpperDifferences) fit.data = NamedData::UpperDifferences;
    fit.cycles = std::max(0, options.cycles);
    fit.weights = options.weights;
    const double most = FitOptions{}.reject_above;  // that or more rejects nothing
    if (options.reject_above >= 0.0 && options.reject_above < most) {
        fit.reject_above = options.reject_above;
    }
    return fit;
}

// ------------------------------------------------------------------------ named to positional

InputState OldState(const State& from, bool is_switched_on) {
    InputState state;
    state.angles = from.tilt;
    for (int c = 0; c < kNumFileConstants; ++c) {
        const Term& term = from.terms[c];
        state.status[c] = term.on || (static_cast<Constant>(c) <= Constant::C && is_switched_on);
        state.value[c] = term.value;
        state.fit[c] = term.fit;
    }
    return state;
}

// PY at 0 makes a calculation complex, so that the others act.
void SwitchComplexOn(InputFile& file) {
    const Model model = ModelOf(file);
    if (IsComplexInput(model)) return;
    for (const State& state : model.states) {
        if (!state.terms[Constant::PY3].on && !state.terms[Constant::PY2PZ].on) continue;
        file.states[kLower].status[Constant::PY] = 1;
        if (!file.one_state()) file.states[kUpper].status[Constant::PY] = 1;
    }
}

std::int16_t ReductionStatusOf(const NamedInput& input) {
    const bool lower = input.lower().reduction == Reduction::A;
    const bool upper = input.two_states ? input.upper().reduction == Reduction::A : lower;
    if (lower) return upper ? 1 : 2;
    return upper ? 3 : 0;
}

// The percent intensity that stands for a component, to the last bit if there is one.
double PercentOf(double component) {
    const auto is_exact = [&](double percent) {
        return Moment::FromPercent({percent, 0.0, 0.0}).component[0] == component;
    };
    const double percent = std::copysign(100.0 * (component * component), component);
    const double rounded = std::round(percent * 1e6) / 1e6;
    if (is_exact(rounded)) return rounded;
    double above = percent, below = percent;
    for (int step = 0; step < 4; ++step) {
        if (is_exact(above)) return above;
        if (is_exact(below)) return below;
        above = std::nextafter(above, std::numeric_limits<double>::infinity());
        below = std::nextafter(below, -std::numeric_limits<double>::infinity());
    }
    return percent;
}

void PutMoment(InputFile& file, const NamedMoment& moment) {
    const auto& values = moment.values;
    file.moment_frame = static_cast<std::int16_t>(moment.frame);
    file.moment_method = kPercent;
    if (moment.form == MomentForm::Angles) {
        file.moment_method = kAngles;
        file.moment_angles = {values[0] * values[0], values[1], values[2]};
    } else if (moment.form == MomentForm::Percent) {
        file.moment_percent = values;
    } else {
        std::transform(values.begin(), values.end(), file.moment_percent.begin(), PercentOf);
    }
}

bool IsFit(const NamedInput& input, const Model& model) {
    if (input.fit.lines.empty()) return false;
    return model.origin.fit ||
           std::any_of(model.states.begin(), model.states.end(), [](const State& state) {
               const auto& terms = state.terms.values;
               return std::any_of(terms.begin(), terms.end(),
                                  [](const Term& term) { return term.fit; });
           });
}

// Named inputs have cycles whether there is a fit or not.
void PutFit(InputFile& file, const NamedInput& input, const Model& model) {
    const Settings settings = SettingsOf(input);
    constexpr int kMost = std::numeric_limits<std::int16_t>::max();
    const int cycles = IsFit(input, model) ? std::min(settings.fit.cycles, kMost) : 0;
    file.fit_status = static_cast<std::int16_t>(settings.fit.data);
    file.cycles = static_cast<std::int16_t>(cycles);
    file.uniform = static_cast<std::int16_t>(settings.fit.weights);
    file.reject_above = settings.fit.reject_above;
}

void PutRules(InputFile& file, const LineRules& rules) {
    file.delta_K = rules.delta_K;
    file.min_intensity = rules.min_intensity;
    file.spin_weights = rules.spin_weights;
    file.temperatures = {rules.temperature, rules.temperature2, rules.weight2};
    if (!rules.parity) return;
    file.parity_status = "Y";
    file.ka_parity = rules.parity->ka_odd ? "O" : "E";
    file.kc_parity = rules.parity->kc_odd ? "O" : "E";
}

}  // namespace

static_assert(static_cast<int>(FitWeights::Uncertainties) == 0 &&
              static_cast<int>(FitWeights::Uniform) == 1);

bool IsComplexInput(const Model& model) {
    constexpr Constant kConstants[] = {Constant::PY, Constant::PXPY, Constant::PYPZ,
                                       Constant::PZ2PY};
    return std::any_of(model.states.begin(), model.states.end(), [&](const State& state) {
        return state.tilt.phi != 0.0 || state.tilt.chi != 0.0 ||
               std::any_of(std::begin(kConstants), std::end(kConstants),
                           [&](Constant c) { return state.terms[c].on; });
    });
}

NamedInput NamedOf(const InputFile& file) {
    const Model model = ModelOf(file);
    const bool is_complex = IsComplexInput(model);
    const FitData data = SettingsOf(file).fit.data;
    NamedInput input;
    const std::string_view title = Trimmed(file.comment);
    if (title != kNoComment) input.title = Printable(title);
    input.unit = file.energy_unit == kUnits[0] ? EnergyUnit::MHz : EnergyUnit::Wavenumber;
    input.two_states = !model.one_state;
    input.lower() = StateOf(model.lower(), is_complex, CanVary(data, kLower));
    if (input.two_states) {
        input.upper() = StateOf(model.upper(), is_complex, CanVary(data, kUpper));
        input.origin = {model.origin.value, model.origin.fit && data != FitData::LowerDifferences &&
                                                data != FitData::UpperDifferences};
        input.relative = data == FitData::UpperAsDifference;
    }
    input.moment = MomentOf(file);
    input.spectrum.max_J = file.max_J;
    input.spectrum.rules = RulesOf(file);
    input.fit = FitOf(file);
    return input;
}

InputFile OldOf(const NamedInput& input) {
    const Model model = ModelOf(input);
    InputFile file;
    file.version = kInputVersion;
    file.comment = (input.title.empty() ? std::string(kNoComment) : input.title) + "\n";
    file.states = {OldState(model.lower(), true), OldState(model.upper(), input.two_states)};
    file.origin = model.origin.value;
    file.origin_fit = model.origin.fit;
    file.reduction_status = ReductionStatusOf(input);
    file.energy_unit = kUnits[static_cast<std::size_t>(input.unit)];
    file.max_J = input.spectrum.max_J;
    PutRules(file, input.spectrum.rules);
    if (input.moment) PutMoment(file, *input.moment);
    PutFit(file, input, model);
    MatchMoment(file);
    SwitchComplexOn(file);
    return file;
}

}  // namespace kiv
