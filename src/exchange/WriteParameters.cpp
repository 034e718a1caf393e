#include "exchange/WriteParameters.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "exchange/SuiteCodes.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr char kFree[] = "1.00000000E+36", kHeld[] = "1.00000000E-37";
constexpr double kNoRejection = 1e6;
constexpr int kOriginCode = 11;

std::string Padded(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

// Which of the four level classes have the one and which the other of two weights.
struct SuiteWeights {
    WeightAxis axis = WeightAxis::A;
    int even = 1, odd = 1;
};

std::optional<SuiteWeights> WeightsOf(const std::array<std::int32_t, 4>& weights) {
    for (const WeightAxis axis : {WeightAxis::A, WeightAxis::B, WeightAxis::C}) {
        SuiteWeights found{axis, weights[0], weights[0]};
        for (int i = 0; i < 4; ++i) {
            if (!HasEvenWeight(axis, i)) found.odd = weights[static_cast<std::size_t>(i)];
        }
        bool fits = true;
        for (int i = 0; i < 4; ++i) {
            const int weight = HasEvenWeight(axis, i) ? found.even : found.odd;
            fits = fits && weights[static_cast<std::size_t>(i)] == weight;
        }
        if (fits) return found;
    }
    return {};
}

class ParameterWriter {
  public:
    explicit ParameterWriter(const NamedInput& input) : input_(input) {}

    WrittenParameters Write(int num_lines, int highest_J) {
        for (const StateIndex state : {kLower, kUpper}) {
            if (state == kLower || input_.two_states) PutState(state);
        }
        if (input_.two_states && (input_.origin.value != 0.0 || input_.origin.fit)) {
            PutRow(kOriginCode, input_.origin, 1.0, "origin");
        }
        CheckFit();
        const std::string options = Options(highest_J);
        made_.text = Printable(input_.title) + "\n" + Counts(num_lines) + options + rows_;
        return std::move(made_);
    }

  private:
    void Refuse(const std::string& text) { made_.refusals.push_back(text); }

    void PutState(StateIndex index) {
        const NamedState& state = input_.states[index];
        const std::string table = index == kLower ? "lower." : "upper.";
        if (!state.tilt.IsZero()) Refuse(table + "tilt: axes are not turned in such files");
        for (const Constant c : kListedConstants) {
            const NamedTerm& term = state.terms[c];
            if (c > Constant::C && term.value == 0.0 && !term.fit) continue;
            const std::string name = NameOf(c, state.reduction);
            const SuiteType* const row = SuiteTypeOf(c, state.reduction);
            if (!row) {
                Refuse(table + name + " has no code that is known here");
                continue;
            }
            PutRow(100 * row->type + 11 * index, term, row->sign,
                   (row->sign < 0.0 ? "-" : "") + name);
        }
    }

    void PutRow(int code, const NamedTerm& term, double sign, const std::string& label) {
        const double scale = input_.unit == EnergyUnit::Wavenumber ? kMHzPerWavenumber : 1.0;
        const double value = term.value == 0.0 ? 0.0 : sign * scale * term.value;
        rows_ += Padded(std::to_string(code), 13) + " " + Padded(RealText(value), 24) + " " +
                 (term.fit ? kFree : kHeld) + " /" + label + "\n";
        ++num_rows_;
    }

    void CheckFit() {
        const NamedFit& fit = input_.fit;
        const auto& lower = input_.lower().terms.values;
        const bool is_lower_varied =
            std::any_of(lower.begin(), lower.end(), [](const NamedTerm& term) { return term.fit; });
        if (input_.two_states && input_.relative && is_lower_varied) {
            Refuse(
                "upper.relative: constants of the upper state that follow those of the lower "
                "one have no code that is known here");
        }
        if (fit.data != NamedData::Lines) Refuse("fit.data: the suite fits lines, no differences");
        if (fit.reject_above) {
            Refuse("fit.reject_above: the suite's limit counts uncertainties, use fit.reject");
        }
        if (fit.weights == FitWeights::Uniform) {
            Refuse("fit.weights: the suite weights every line by its uncertainty");
        }
    }

    std::string Counts(int num_lines) const {
        char text[160];
        std::snprintf(text, sizeof text, "%4d %5d %4d    0     0.0000E+00 %14s     1.0000E+00 %s\n",
                      num_rows_, num_lines, input_.fit.cycles,
                      ShortestText(input_.fit.reject.value_or(kNoRejection)).c_str(),
                      "1.0000000000");
        return text;
    }

    std::string Options(int highest_J) {
        const auto weights = WeightsOf(input_.spectrum.rules.spin_weights);
        if (!weights) {
            Refuse(
                "spectrum.spin_weights: such files have two weights, by the parity of Ka, of Kc "
                "or of their sum");
        }
        const SuiteWeights use = weights.value_or(SuiteWeights{});
        const bool is_S = input_.lower().reduction == Reduction::S;
        char text[120];
        std::snprintf(text, sizeof text, "%c   1 %3d   0 %3d   0   %d %3d %3d   0   1   0\n",
                      is_S ? 's' : 'a', input_.two_states ? 2 : 1,
                      std::max(input_.spectrum.max_J, highest_J), static_cast<int>(use.axis),
                      use.even, use.odd);
        return text;
    }

    const NamedInput& input_;
    WrittenParameters made_;
    std::string rows_;
    int num_rows_ = 0;
};

}  // namespace

WrittenParameters WriteParameters(const NamedInput& input, int num_lines, int highest_J) {
    return ParameterWriter(input).Write(num_lines, highest_J);
}

}  // namespace kiv
