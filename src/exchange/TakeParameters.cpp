// What the constants of a parameter file mean in a named input.
#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>

#include "exchange/ParameterFile.h"
#include "exchange/SuiteCodes.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

class Taker {
  public:
    Taker(const ParameterFile& from, const LineReport& report, NamedInput& to)
        : from_(from), report_(report), to_(to) {}

    void Take() {
        for (const StateIndex state : {kLower, kUpper}) {
            to_.states[state].reduction = ReductionOf(state);
        }
        for (const SuiteParameter& parameter : from_.parameters) TakeParameter(parameter);
        if (!report_.findings.has_errors()) CheckRotors();  // a wrong row may be that of A
    }

  private:
    void Tell(Severity severity, FindingCode code, const SuiteNumber& at,
              const std::string& message) const {
        TellAs(severity, code, at.place, message, report_);
    }

    void Refuse(const SuiteNumber& at, const std::string& message) const {
        report_.Add(FindingCode::NoCounterpart, at.place, message);
    }

    void LeaveOut(const SuiteNumber& at, const std::string& message) const {
        report_.Add(FindingCode::LeftOut, at.place, message);
    }

    // The states of a code that differ from zero or are varied.
    struct Code {
        int type, upper, lower;  // states V2, V1

        bool IsOf(int state) const { return (upper == state && lower == state) || IsEvery(); }
        bool IsEvery() const { return 10 * upper + lower == kEveryState; }
    };

    static Code CodeOf(const SuiteParameter& parameter) {
        const double code = std::fabs(parameter.code.value), hundred = std::floor(code / 100.0);
        const int states = static_cast<int>(code - 100.0 * hundred);
        return {hundred < 1e9 ? static_cast<int>(hundred) : -1, states / 10, states % 10};
    }

    static bool IsHeld(const SuiteParameter& parameter) {
        return parameter.error.value <= kHeldError;
    }

    static bool Acts(const SuiteParameter& parameter) {
        return parameter.value.value != 0.0 || !IsHeld(parameter);
    }

    // The codes decide; where they leave it open, the letter of the option line does.
    Reduction ReductionOf(int state) const {
        for (const SuiteParameter& parameter : from_.parameters) {
            const Code code = CodeOf(parameter);
            if (!Acts(parameter) || !code.IsOf(state)) continue;
            const SuiteType* const in_A = SuiteTypeOf(code.type, Reduction::A);
            const SuiteType* const in_S = SuiteTypeOf(code.type, Reduction::S);
            if (in_A && !in_S) return Reduction::A;
            if (in_S && !in_A) return Reduction::S;
        }
        return from_.says_S ? Reduction::S : Reduction::A;
    }

    static std::string Named(const SuiteParameter& parameter) {
        return "code " + ShortestText(parameter.code.value);
    }

    // What cannot be said is an error unless it is 0 and held.
    void TellUnknown(const SuiteParameter& parameter, const std::string& what) const {
        if (Acts(parameter)) return Refuse(parameter.code, Named(parameter) + " " + what);
        LeaveOut(parameter.code, Named(parameter) + " is 0 and held; it is left out");
    }

    void TakeParameter(const SuiteParameter& parameter) {
        const Code code = CodeOf(parameter);
        const int num_states = to_.two_states ? 2 : 1;
        const bool is_every = code.IsEvery();
        if (!is_every && code.upper != code.lower && code.type >= 0 && code.upper < num_states &&
            code.lower < num_states) {
            return TellUnknown(parameter, "couples the states " + std::to_string(code.lower) +
                                              " and " + std::to_string(code.upper) +
                                              ", which a named input cannot");
        }
        if (!is_every && std::max(code.upper, code.lower) >= num_states) {
            return TellUnknown(parameter, "is one of a state that NVIB = " +
                                              std::to_string(num_states) + " does not declare");
        }
        if (!CheckLink(parameter)) return;
        const bool is_held = IsHeld(parameter) || parameter.code.value < 0.0;
        if (is_every && to_.two_states && !is_held) {
            return Tell(Severity::Error, FindingCode::LinkedConstant, parameter.code,
                        Named(parameter) +
                            " is one constant of both states that is varied; give each state its "
                            "own, or hold it");
        }
        for (int state = 0; state < num_states; ++state) {
            if (code.IsOf(state)) TakeTerm(parameter, code.type, static_cast<StateIndex>(state));
        }
    }

    // A negative code ties a constant to the last one with a positive code; when that is held both
    // are. False when it is not.
    bool CheckLink(const SuiteParameter& parameter) {
        if (parameter.code.value >= 0.0) {
            head_ = &parameter;
            return true;
        }
        if (head_ && IsHeld(*head_)) {
            Tell(Severity::Warning, FindingCode::LinkedConstant, parameter.code,
                 Named(parameter) + " is tied to " + Named(*head_) +
                     ", which is held; both are held at their values");
            return true;
        }
        Tell(Severity::Error, FindingCode::LinkedConstant, parameter.code,
             Named(parameter) + " (negative) ties its constant to the one before it, which " +
                 (head_ ? "is varied" : "is missing") +
                 "; a named input cannot tie constants. Write the code without the sign, or hold "
                 "both");
        return false;
    }

    void TakeTerm(const SuiteParameter& parameter, int type, StateIndex state) {
        if (type == 0) return TakeOrigin(parameter, state);
        NamedState& to = to_.states[state];
        const SuiteType* const row = SuiteTypeOf(type, to.reduction);
        if (!row && SuiteTypeOf(type, OtherThan(to.reduction))) {
            if (!Acts(parameter)) return TellUnknown(parameter, "");
            return report_.Add(FindingCode::WrongReduction, parameter.code.place,
                               Named(parameter) + " belongs to the " +
                                   (to.reduction == Reduction::A ? "S" : "A") +
                                   " reduction, codes before it to the other one");
        }
        if (!row) {
            return TellUnknown(parameter,
                               "is no rotational constant up to the octic ones of an asymmetric "
                               "top, only these have a counterpart");
        }
        const std::string name = NameOf(row->constant, to.reduction);
        Add(parameter, row->sign * parameter.value.value, name, state, to.terms[row->constant]);
    }

    void TakeOrigin(const SuiteParameter& parameter, StateIndex state) {
        if (state == kUpper)
            return Add(parameter, parameter.value.value, "origin", state, to_.origin);
        if (!IsHeld(parameter)) {
            return Refuse(parameter.code,
                          Named(parameter) +
                              ", the energy of the lower state, is varied; energies count from "
                              "there, vary that of the upper state (code 11)");
        }
        if (parameter.value.value == 0.0) return;
        to_.origin.value -= parameter.value.value;
        LeaveOut(parameter.code,
                 Named(parameter) + ", the energy of the lower state, is not 0: here energies " +
                     (to_.two_states ? "count from there, the origin is the difference"
                                     : "count from the lowest level"));
    }

    void Add(const SuiteParameter& parameter, double value, const std::string& name,
             StateIndex state, NamedTerm& term) {
        const int line = parameter.code.place.line;
        const auto [known, is_new] = first_lines_.try_emplace({state, name}, line);
        if (!is_new) {
            report_.Add(FindingCode::DoubledConstant, parameter.code.place,
                        Named(parameter) + ": " + name + " stands in line " +
                            std::to_string(known->second) + ", too; it is the sum of both");
        }
        term.value += parameter.value.value == 0.0 ? 0.0 : value;
        if (!std::isfinite(term.value)) {
            report_.Add(FindingCode::OutOfRange, parameter.value.place,
                        name + ": the sum is beyond the numbers that can be held");
            term.value = 0.0;
        }
        if (IsHeld(parameter) || parameter.code.value < 0.0) return;
        term.fit = true;
        if (from_.is_var || parameter.error.value >= kFreeError) return;
        report_.Add(FindingCode::APriori, parameter.error.place,
                    name + ": the a-priori error " + ShortestText(parameter.error.value) +
                        " ties it to its value there; here it is varied freely, hold it by taking "
                        "it out of fit = [...]");
    }

    void CheckRotors() {
        for (int state = 0; state < (to_.two_states ? 2 : 1); ++state) {
            for (const Constant c : {Constant::A, Constant::B, Constant::C}) {
                const std::string name = NameOf(c);
                const auto known = first_lines_.find({state, name});
                const SuiteNumber& num = from_.count(kNpar);
                if (known == first_lines_.end()) {
                    const int type = SuiteTypeOf(c, Reduction::A)->type;
                    report_.Add(FindingCode::MissingValue, num.place,
                                name + " of state " + std::to_string(state) + " (code " +
                                    std::to_string(100 * type + 11 * state) + ") is missing");
                } else if (!(to_.states[state].terms[c].value > 0.0)) {
                    report_.Add(FindingCode::OutOfRange, {known->second, 1},
                                name + " of state " + std::to_string(state) + " is not positive");
                }
            }
        }
    }

    const ParameterFile& from_;
    const LineReport& report_;
    NamedInput& to_;
    const SuiteParameter* head_ = nullptr;                    // with the last positive code
    std::map<std::pair<int, std::string>, int> first_lines_;  // of constants, by state and name
};

}  // namespace

void TakeParameters(const ParameterFile& from, const LineReport& report, NamedInput& to) {
    to.title = from.title;
    if (TakeSettings(from, report, to)) Taker(from, report, to).Take();
}

}  // namespace kiv
