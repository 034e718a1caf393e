// What conversions between named and positional inputs cannot carry over.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "job/OldForm.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr const char* kStateNames[kNumStates] = {"lower", "upper"};
constexpr int kMostJ = 32767;                   // of a named input
constexpr std::size_t kMostComment = 498;       // bytes of a positional input that are read
constexpr std::string_view kTitleStart = "# ";  // a comment would lose them

std::string List(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

class LossList {
  public:
    void Note(bool is_so, const std::string& text) {
        if (is_so) losses_.notes.push_back(text);
    }
    void Refuse(bool is_so, const std::string& text) {
        if (is_so) losses_.refusals.push_back(text);
    }
    Losses Take() { return std::move(losses_); }

  private:
    Losses losses_;
};

// ------------------------------------------------------------------------ positional to named

std::string PathOf(const State& state, StateIndex index, int c) {
    return std::string(kStateNames[index]) + "." +
           NameOf(static_cast<Constant>(c), state.reduction);
}

void TellTerms(const Model& model, const NamedInput& named, LossList& losses) {
    const bool is_complex = IsComplexInput(model);
    std::vector<std::string> without_effect, at_zero, not_varied;
    for (const StateIndex index : {kLower, kUpper}) {
        if (index == kUpper && model.one_state) continue;
        const State& state = model.states[index];
        for (int c = 0; c < kNumFileConstants; ++c) {
            const auto constant = static_cast<Constant>(c);
            const Term& term = state.terms[c];
            const NamedTerm& kept = named.states[index].terms[c];
            const std::string path = PathOf(state, index, c);
            const bool is_rotational = constant <= Constant::C;
            losses.Refuse(is_rotational && !(term.value > 0.0),
                          path + " = " + ShortestText(term.value) +
                              ": named inputs need constants A, B, C above 0");
            losses.Refuse(term.on && !is_rotational && !std::isfinite(term.value),
                          path + " is not a finite number");
            if (term.on && !is_rotational) {
                const bool acts = kept.value != 0.0 || kept.fit;
                const bool is_idle =
                    !is_complex && (constant == Constant::PY3 || constant == Constant::PY2PZ);
                if (is_idle && (term.value != 0.0 || term.fit)) without_effect.push_back(path);
                if (!is_idle && !acts) at_zero.push_back(path);
            }
            if (term.fit && !kept.fit) not_varied.push_back(path);
        }
    }
    if (model.origin.fit && !named.origin.fit) not_varied.push_back("upper.origin");
    losses.Note(!at_zero.empty(), "on, but 0 and not varied, so left out: " + List(at_zero));
    losses.Note(!without_effect.empty(),
                "without effect in a calculation that is not complex, so left out: " +
                    List(without_effect));
    losses.Note(!not_varied.empty(),
                "marked for the fit, but nothing that is varied, so left out: " + List(not_varied));
}

void TellRun(const InputFile& file, const Model& model, LossList& losses) {
    const bool is_fit = file.cycles > 0;
    losses.Refuse(file.cycles < 0, "angle scan: " + std::to_string(file.cycles) +
                                       " fit cycles scan an angle, named inputs cannot");
    losses.Refuse(file.old_format != 0,
                  "old-format switch: it scales the frequencies of the line file, named inputs "
                  "have none");
    losses.Refuse(is_fit && (file.fit_status < 0 || file.fit_status > 4),
                  "fit status " + std::to_string(file.fit_status) + " is none of 0 to 4");
    losses.Refuse(is_fit && !(file.reject_above >= 0.0),
                  "rejection level " + ShortestText(file.reject_above) + " is negative");
    losses.Refuse(file.one_state() && model.origin.value != 0.0,
                  "origin = " + ShortestText(model.origin.value) +
                      ": it shifts the lines of one state, named inputs have an origin between "
                      "two states only");
    const auto &lower = model.lower().tilt, &upper = model.upper().tilt;
    const bool same_frame =
        lower.phi == upper.phi && lower.theta == upper.theta && lower.chi == upper.chi;
    losses.Refuse(file.one_state() && file.moment_frame == kUpper && !same_frame,
                  "frame of the moment: it is that of the excited state in a calculation of the "
                  "ground state, named inputs have no such frame");
    losses.Refuse(
        file.max_J < 0 || file.max_J > kMostJ,
        "highest J " + std::to_string(file.max_J) + " is beyond 0 to " + std::to_string(kMostJ));
    losses.Refuse(file.delta_K < 0, "delta-K order " + std::to_string(file.delta_K) +
                                        " leaves no line, named inputs cannot say it");
    const bool any_negative = std::any_of(file.spin_weights.begin(), file.spin_weights.end(),
                                          [](std::int32_t weight) { return weight < 0; });
    losses.Refuse(any_negative, "spin weights: named inputs have no negative ones");
    losses.Refuse(
        file.temperatures[1] > 0.0 && file.temperatures[2] < 0.0,
        "weight of the second temperature " + ShortestText(file.temperatures[2]) + " is negative");
    const auto parity = ParityOf(file);
    if (!parity) losses.Refuse(true, parity.error().text);
    losses.Note(file.uniform != 0 && file.uniform != 1,
                "uniform uncertainties " + std::to_string(file.uniform) +
                    ": standard errors of a named input with uniform weights are always scaled");
    losses.Note(is_fit && (!lower.IsZero() || !upper.IsZero()),
                "turned axes: a fit varies their cross terms by its own rules here");
}

// A limit that leaves out lines of the assignment file.
void TellLimit(const char* name, std::int32_t limit, std::int32_t max_J, LossList& losses) {
    const std::string text = std::string(name) + " limit " + std::to_string(limit);
    losses.Refuse(limit >= 0 && limit < max_J,
                  text +
                      " of assignments: named inputs have none; take the lines beyond it out "
                      "of the line file and set the limit to -1");
    losses.Note(limit >= max_J || limit < -1, text + " of assignments is dropped");
}

void TellDropped(const InputFile& file, LossList& losses) {
    const InputFile usual;
    const auto is_listed = [](const ListedRange& range) {
        return range.last >= 0 && range.first <= range.last;
    };
    losses.Note(is_listed(file.listed_energies) || is_listed(file.listed_vectors),
                "listing ranges of energies and eigenvectors are dropped");
    losses.Note(
        std::any_of(file.debug.begin(), file.debug.end(), [](std::int16_t on) { return on != 0; }),
        "debug switches are dropped");
    losses.Note(file.next_input != usual.next_input,
                "third name " + Quoted(file.next_input) + " (next input) is dropped");
    losses.Note(true, "output base " + Quoted(file.out_base) +
                          " is dropped: results are called like the named input");
    losses.Note(file.energy_scale != usual.energy_scale ||
                    file.intensity_scale != usual.intensity_scale ||
                    file.spectral_range != usual.spectral_range || file.band_split != 0,
                "scalars, FSR and band-label switch are dropped, they have no effect");
}

// ------------------------------------------------------------------------ named to positional

void TellConstants(const NamedInput& input, LossList& losses) {
    for (const StateIndex index : {kLower, kUpper}) {
        if (index == kUpper && !input.two_states) continue;
        const NamedState& state = input.states[index];
        for (const Constant c : kListedConstants) {
            const NamedTerm& term = state.terms[c];
            if (static_cast<int>(c) < kNumFileConstants || (term.value == 0.0 && !term.fit)) {
                continue;
            }
            losses.Refuse(true, std::string(kStateNames[index]) + "." + NameOf(c, state.reduction) +
                                    " = " + ShortestText(term.value) +
                                    ": positional inputs have no sextic and octic constants");
        }
    }
}

}  // namespace

Losses LossesOf(const InputFile& file) {
    LossList losses;
    const Model model = ModelOf(file);
    TellTerms(model, NamedOf(file), losses);
    TellRun(file, model, losses);
    TellLimit("Ka", file.assignment_max_Ka, file.max_J, losses);
    TellLimit("Kc", file.assignment_max_Kc, file.max_J, losses);
    TellDropped(file, losses);
    return losses.Take();
}

Losses LossesOf(const NamedInput& input) {
    LossList losses;
    TellConstants(input, losses);
    const auto& range = input.spectrum.range;
    if (range) {
        losses.Refuse(true, "spectrum.range = [" + ShortestText((*range)[0]) + ", " +
                                ShortestText((*range)[1]) + "]: positional inputs have none");
    }
    if (input.fit.reject) {
        losses.Refuse(true, "fit.reject = " + ShortestText(*input.fit.reject) +
                                ": positional inputs reject above an absolute limit only, see "
                                "reject_above");
    }
    constexpr int kMostCycles = std::numeric_limits<std::int16_t>::max();
    losses.Refuse(input.fit.cycles > kMostCycles,
                  "fit.cycles = " + std::to_string(input.fit.cycles) + ": at most " +
                      std::to_string(kMostCycles) + " in positional inputs");
    const bool starts_well = input.title.find_first_of(kTitleStart) != 0;
    losses.Note(!starts_well || input.title.size() > kMostComment,
                "title: the comment of a positional input begins without blanks and '#' and has " +
                    std::to_string(kMostComment) + " bytes");
    const bool is_tilted =
        !input.lower().tilt.IsZero() || (input.two_states && !input.upper().tilt.IsZero());
    losses.Note(is_tilted && input.fit.cycles > 0 && !input.fit.lines.empty(),
                "turned axes: a fit varies their cross terms by its own rules there");
    return losses.Take();
}

}  // namespace kiv
