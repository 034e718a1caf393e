// What the counts and options of a parameter file mean in a named input.
#include <string>

#include "exchange/ParameterFile.h"
#include "exchange/SuiteCodes.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr double kNoRejection = 1e6;  // ERRTST from which nothing is rejected

std::string Said(const char* name, const SuiteNumber& number) {
    return std::string(name) + " = " + ShortestText(number.value);
}

class OptionTaker {
  public:
    OptionTaker(const ParameterFile& from, const LineReport& report, NamedInput& to)
        : from_(from), report_(report), to_(to) {}

    bool Take() {
        TakeCounts();
        return TakeOptions();
    }

  private:
    void Refuse(const SuiteNumber& at, const std::string& message) const {
        report_.Add(FindingCode::NoCounterpart, at.place, message);
    }

    void LeaveOut(const SuiteNumber& at, const std::string& message) const {
        report_.Add(FindingCode::LeftOut, at.place, message);
    }

    void TakeCounts() {
        const SuiteNumber &cycles = from_.count(kNitr), &reject = from_.count(kErrtst);
        if (cycles.whole() > to_.fit.cycles) to_.fit.cycles = cycles.whole();
        if (from_.count(kNxpar).value != 0.0) {
            LeaveOut(from_.count(kNxpar), Said("NXPAR", from_.count(kNxpar)) +
                                              " (constants that special lines do not see) is left "
                                              "out: every line sees all constants");
        }
        if (reject.value <= 0.0) {
            report_.Add(FindingCode::OutOfRange, reject.place,
                        Said("ERRTST", reject) + " would reject every line; write 1e6 for none");
        } else if (reject.value < kNoRejection) {
            to_.fit.reject = reject.value;
            report_.Add(FindingCode::RejectLevel, reject.place,
                        Said("ERRTST", reject) +
                            " became reject in [fit]: lines that are off by more uncertainties are "
                            "rejected, anew in each cycle");
        }
        if (from_.count(kFrac).value != 1.0) {
            LeaveOut(from_.count(kFrac), Said("FRAC", from_.count(kFrac)) +
                                             " scales the errors of constants there; here they are "
                                             "given unscaled and scaled by the fit");
        }
        if (from_.count(kCal).value != 1.0) {
            Refuse(from_.count(kCal), Said("CAL", from_.count(kCal)) +
                                          " scales frequencies in cm-1; multiply them and write 1");
        }
    }

    bool TakeOptions() {
        const SuiteNumber &spins = from_.option(kSpind), &states = from_.option(kNvib);
        if (spins.value == -1.0) {
            LeaveOut(spins,
                     "SPIND = -1: levels have the quantum numbers of a symmetric top there, here "
                     "they have Ka and Kc");
        } else if (spins.value != 1.0) {
            Refuse(spins, Said("SPIND", spins) +
                              ": nuclear or electronic spins have no counterpart here, only 1 has");
        }
        if (states.value < 0.0) {
            Refuse(states, Said("NVIB", states) +
                               ": a negative number means an oblate basis, here it is that of I^r");
        } else if (states.value == 0.0 || states.value > 2.0) {
            Refuse(states, Said("NVIB", states) + ": a named input has one or two states");
        }
        if (from_.option(kVsym).value < 0.0) {
            Refuse(from_.option(kVsym),
                   Said("VSYM", from_.option(kVsym)) +
                       ": further option lines, one for each state, have no counterpart here");
        }
        to_.two_states = states.value == 2.0;
        TakeWeights();
        TakeBasis();
        return states.value >= 1.0 && states.value <= 2.0 && from_.option(kVsym).value >= 0.0;
    }

    void TakeWeights() {
        const SuiteNumber &axis = from_.option(kIax), &even = from_.option(kWtpl),
                          &odd = from_.option(kWtmn);
        for (const SuiteNumber* weight : {&even, &odd}) {
            if (weight->value >= 0.0) continue;
            report_.Add(FindingCode::OutOfRange, weight->place, "a spin weight is negative");
            return;
        }
        const bool is_equal = even.value == odd.value;
        if (!is_equal && from_.option(kVsym).value > 0.0) {
            Refuse(from_.option(kVsym),
                   Said("VSYM", from_.option(kVsym)) +
                       " exchanges the spin weights of some states; a named input has the same "
                       "weights in every state");
        }
        const bool is_known = axis.value >= 1.0 && axis.value <= 3.0;
        if (!is_known && (axis.value != 0.0 || !is_equal)) {
            Refuse(axis, Said("IAX", axis) +
                             " has no counterpart here, only the axes 1 (a), 2 (b) and 3 (c) have");
            return;
        }
        for (int i = 0; i < 4; ++i) {
            const bool is_even =
                !is_known || HasEvenWeight(static_cast<WeightAxis>(axis.whole()), i);
            to_.spectrum.rules.spin_weights[static_cast<std::size_t>(i)] =
                (is_even ? even : odd).whole();
        }
    }

    void TakeBasis() const {
        const SuiteNumber& least = from_.option(kKnmin);
        if (least.value != 0.0) {
            TellAs(Severity::Error, FindingCode::CutBasis, least.place,
                   Said("KNMIN", least) + " leaves out levels of lower K, here they are all there",
                   report_);
        }
        if (from_.option(kIxx).value != 0.0) {
            LeaveOut(from_.option(kIxx), Said("IXX", from_.option(kIxx)) +
                                             " leaves out interactions; it is not looked at");
        }
        if (from_.option(kEwt).value < 0.0 || from_.option(kEwt).value > 1.0) {
            LeaveOut(from_.option(kEwt), Said("EWT", from_.option(kEwt)) +
                                             ", the weight of E levels, is not looked at");
        }
        const SuiteNumber& diagonal = from_.option(kDiag);
        if (diagonal.value < 0.0) {
            Refuse(diagonal, Said("DIAG", diagonal) +
                                 ": levels that are not diagonalised have no counterpart here");
        } else if (diagonal.value > 0.0) {
            LeaveOut(diagonal, Said("DIAG", diagonal) +
                                   ": levels are named by another rule there, here by the order "
                                   "of their energies within a symmetry");
        }
        if (from_.option(kXopt).value != 0.0) {
            Refuse(from_.option(kXopt), Said("the number behind DIAG", from_.option(kXopt)) +
                                            ": other phases and forms of the constants have no "
                                            "counterpart here");
        }
    }

    const ParameterFile& from_;
    const LineReport& report_;
    NamedInput& to_;
};

}  // namespace

bool TakeSettings(const ParameterFile& from, const LineReport& report, NamedInput& to) {
    return OptionTaker(from, report, to).Take();
}

}  // namespace kiv
