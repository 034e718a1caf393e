// What an input file means: its model, its settings, the two forms of its moment.
#include <algorithm>
#include <cmath>

#include "base/Trig.h"
#include "io/InputFile.h"
#include "kiv/files.h"
#include "model/Units.h"

namespace kiv {
namespace {

struct EnergyUnit {
    const char* word;
    double per_kelvin;
};

constexpr EnergyUnit kEnergyUnits[] = {{"MHz", 20836.7381265}, {"CM-1", 0.695038770005}};

enum MomentMethod : std::int16_t { kAngles = 0, kPercent = 1 };

// Reduction statuses that make a state one of the A reduction, beside the one for both.
constexpr std::int16_t kBothA = 1;
constexpr std::int16_t kOneA[] = {2, 3};

void PercentsFromAngles(const std::array<double, 3>& angles, std::array<double, 3>& percent) {
    const double theta = angles[1] * kRadPerDeg;
    const double chi = angles[2] * kRadPerDeg;
    const double u[3] = {Cos(theta), Sin(theta) * Cos(chi), Sin(theta) * Sin(chi)};
    const double sum = u[0] * u[0] + u[1] * u[1] + u[2] * u[2];
    for (std::size_t i = 0; i < 3; ++i) percent[i] = 100.0 * (u[i] * u[i]) / sum;
}

void AnglesFromPercents(const std::array<double, 3>& percent, std::array<double, 3>& angles) {
    const double sum = std::fabs(percent[0]) + std::fabs(percent[1]) + std::fabs(percent[2]);
    angles = {};
    if (sum == 0.0) return;
    double cosine[3];
    for (std::size_t i = 0; i < 3; ++i) {
        cosine[i] = std::copysign(std::sqrt(std::fabs(percent[i]) / sum), percent[i]);
    }
    angles[0] = 0.01 * sum;
    angles[1] = ArcCos(cosine[0]) * kDegPerRad;
    angles[2] = ArcTan(cosine[2], cosine[1]) * kDegPerRad;
}

Moment MomentOf(const InputFile& file) {
    Moment moment;
    const auto& angles = file.moment_angles;
    if (file.moment_method == kAngles) moment = Moment::FromAngles(angles[0], angles[1], angles[2]);
    if (file.moment_method == kPercent) moment = Moment::FromPercent(file.moment_percent);
    moment.frame = file.moment_frame == kUpper ? kUpper : kLower;
    return moment;
}

bool IsOn(const InputFile& file, StateIndex state, Constant c) {
    if (c <= Constant::C) return state == kLower || !file.one_state();
    return file.states[state].status[c] == 1;
}

State StateOf(const InputFile& file, StateIndex index) {
    const InputState& from = file.states[index];
    State state;
    for (int c = 0; c < kNumFileConstants; ++c) {
        Term& term = state.terms[c];
        term.value = from.value[c];
        term.on = IsOn(file, index, static_cast<Constant>(c));
        term.fit = from.fit[c] == 1;
    }
    const bool is_A = file.reduction_status == kBothA || file.reduction_status == kOneA[index];
    state.reduction = is_A ? Reduction::A : Reduction::S;
    state.tilt = from.angles;
    return state;
}

FitWeights WeightsOf(std::int16_t uniform) {
    if (uniform == 0) return FitWeights::Uncertainties;
    return uniform == 1 ? FitWeights::Uniform : FitWeights::Unscaled;
}

Error BadWord(const char* name, const std::string& word) {
    return {ErrorCode::BadInput, std::string("the ") + name + " is none: " + word, name};
}

}  // namespace

std::optional<double> EnergyPerKelvin(const InputFile& file) {
    for (const EnergyUnit& unit : kEnergyUnits) {
        if (file.energy_unit == unit.word) return unit.per_kelvin;
    }
    return {};
}

void MatchMoment(InputFile& file) {
    if (file.moment_method == kAngles) {
        PercentsFromAngles(file.moment_angles, file.moment_percent);
    } else {
        AnglesFromPercents(file.moment_percent, file.moment_angles);
    }
}

Model ModelOf(const InputFile& file) {
    Model model;
    model.states = {StateOf(file, kLower), StateOf(file, kUpper)};
    model.one_state = file.one_state();
    model.origin.value = file.origin;
    model.origin.fit = file.origin_fit == 1;
    model.moment = MomentOf(file);
    return model;
}

Settings SettingsOf(const InputFile& file) {
    Settings settings;
    settings.max_J = file.max_J;
    LineRules& lines = settings.lines;
    lines.delta_K = file.delta_K;
    lines.min_intensity = file.min_intensity;
    lines.temperature = file.temperatures[0];
    lines.temperature2 = file.temperatures[1];
    lines.weight2 = file.temperatures[2];
    lines.energy_per_kelvin = EnergyPerKelvin(file).value_or(kEnergyUnits[0].per_kelvin);
    lines.spin_weights = file.spin_weights;
    FitOptions& fit = settings.fit;
    fit.data = static_cast<FitData>(file.fit_status);
    fit.weights = WeightsOf(file.uniform);
    fit.cycles = file.cycles;
    fit.reject_above = file.reject_above;
    return settings;
}

Result<std::optional<ParityRule>> ParityOf(const InputFile& file) {
    struct Choice {
        const char* name;
        const std::string& word;
        const char *no, *yes;
        bool is_yes;
    };
    Choice choices[] = {{kParityStatusWord, file.parity_status, "N", "Y", false},
                        {kKaParityWord, file.ka_parity, "E", "O", false},
                        {kKcParityWord, file.kc_parity, "E", "O", false}};
    for (Choice& choice : choices) {
        choice.is_yes = choice.word == choice.yes;
        if (!choice.is_yes && choice.word != choice.no) return BadWord(choice.name, choice.word);
    }
    if (!choices[0].is_yes) return std::optional<ParityRule>();
    return std::optional(ParityRule{choices[1].is_yes, choices[2].is_yes});
}

void PutConstants(InputFile& file, const Model& model) {
    for (StateIndex state : {kLower, kUpper}) {
        for (int c = 0; c < kNumFileConstants; ++c) {
            file.states[state].value[c] = model.states[state].terms[c].value;
        }
    }
    file.origin = model.origin.value;
}

Result<Input> ReadInput(std::string_view text) {
    InputListener silent;
    Result<InputFile> file = ReadInputFile(text, silent);
    if (!file.ok()) return file.error();
    const auto parity = ParityOf(file.value());
    if (!parity.ok()) return parity.error();
    Input input{file.value(), ModelOf(file.value()), SettingsOf(file.value())};
    input.settings.lines.parity = parity.value();
    return input;
}

}  // namespace kiv
