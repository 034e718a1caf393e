#include "job/OldChecks.h"

#include <string>

#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr int kMostJ = 32767;  // quantum numbers of lines are kept in 16 bits
constexpr int kMostFitStatus = 4;
constexpr const char* kTables[kNumStates] = {"lower", "upper"};

class OldChecker {
  public:
    OldChecker(const InputFile& document, const Places& places,
               const std::set<std::string, std::less<>>& unknown, const std::string& file,
               Findings& findings)
        : document_(document),
          places_(places),
          unknown_(unknown),
          file_(file),
          findings_(findings) {}

    void CheckAll() {
        for (const StateIndex state : {kLower, kUpper}) CheckState(state);
        CheckSwitches();
        CheckRanges();
    }

  private:
    bool Has(const std::string& path) const {
        return places_.Has(path) && !unknown_.contains(path);
    }

    void Tell(bool is_wrong, const std::string& path, FindingCode code,
              const std::string& message) {
        if (is_wrong && Has(path)) findings_.Add(code, file_, places_.Of(path), message);
    }

    static bool IsIndicator(int value) { return value == 0 || value == 1; }

    void CheckIndicator(int value, const std::string& path, const std::string& what, const char* on,
                        const char* off) {
        Tell(!IsIndicator(value), path, FindingCode::BadChoice,
             what + " = " + std::to_string(value) + " is neither 0 (" + off + ") nor 1 (" + on +
                 ")");
    }

    void CheckState(StateIndex index) {
        const InputState& state = document_.states[index];
        const std::string table = kTables[index];
        const bool is_used =
            index == kLower || (!document_.one_state() && !unknown_.contains("fit.status") &&
                                document_.fit_status <= kMostFitStatus);
        for (int c = 0; c < kNumFileConstants; ++c) {
            const auto constant = static_cast<Constant>(c);
            const bool is_rigid = constant <= Constant::C;
            const bool is_good = is_rigid ? state.value[c] > 0.0 : IsIndicator(state.status[c]);
            if (is_good && IsIndicator(state.fit[c])) continue;  // no text is needed
            const std::string name = NameOf(constant);
            const std::string path = table + "." + name;
            if (is_rigid) {
                Tell(is_used && !(state.value[c] > 0.0), path, FindingCode::OutOfRange,
                     path + " = " + ShortestText(state.value[c]) + " is not positive");
            } else {
                CheckIndicator(state.status[c], table + ".status." + name, "status of " + path,
                               "on", "off");
            }
            CheckIndicator(state.fit[c], table + ".fit." + name, "fit indicator of " + path,
                           "varied", "fixed");
        }
    }

    void CheckSwitches() {
        const InputFile& f = document_;
        const auto text = [](int value) { return std::to_string(value); };
        const bool is_none = f.fit_status < 0 || f.fit_status > kMostFitStatus;
        Tell(is_none, "fit.status", FindingCode::BadChoice,
             "fit status " + text(f.fit_status) +
                 " is none of 0 (ground state), 1 (excited state), 2 (excited state as "
                 "differences), 3 and 4 (combination differences)");
        CheckIndicator(f.origin_fit, "upper.fit.origin", "fit indicator of the origin", "varied",
                       "fixed");
        Tell(f.reduction_status < 0 || f.reduction_status > 3, "lower.reduction",
             FindingCode::BadChoice,
             "reduction " + text(f.reduction_status) +
                 " is none of 0 (both S), 1 (both A), 2 (ground A), 3 (excited A)");
        Tell(f.moment_method != 0 && f.moment_method != 1, "moment.method", FindingCode::BadChoice,
             "moment method " + text(f.moment_method) +
                 " is neither 0 (magnitude and angles) nor 1 (percent intensities)");
        Tell(f.uniform != 0 && f.uniform != 1, "fit.weights", FindingCode::BadChoice,
             "uniform uncertainty " + text(f.uniform) + " is neither 0 (off) nor 1 (on)");
        Tell(f.cycles < 0, "fit.cycles", FindingCode::BadChoice,
             "fit cycles " + text(f.cycles) + ": this scans an angle, which only `kiv FILE` does");
    }

    void CheckRanges() {
        const InputFile& f = document_;
        const auto negative = [this](double value, const std::string& path, const char* what) {
            Tell(value < 0.0, path, FindingCode::OutOfRange,
                 std::string(what) + " " + ShortestText(value) + " is negative");
        };
        negative(f.max_J, "spectrum.J_max", "highest J");
        Tell(f.max_J > kMostJ, "spectrum.J_max", FindingCode::OutOfRange,
             "highest J " + std::to_string(f.max_J) + " is above " + std::to_string(kMostJ));
        negative(f.delta_K, "spectrum.delta_K", "delta K");
        negative(f.temperatures[0], "spectrum.temperature", "temperature");
        negative(f.temperatures[1], "spectrum.temperature2", "second temperature");
        negative(f.temperatures[2], "spectrum.weight2", "weight of the second temperature");
        for (std::size_t i = 0; i < f.spin_weights.size(); ++i) {
            negative(f.spin_weights[i], "spectrum.spin_weights[" + std::to_string(i) + "]",
                     "spin weight");
        }
    }

    const InputFile& document_;
    const Places& places_;
    const std::set<std::string, std::less<>>& unknown_;
    const std::string& file_;
    Findings& findings_;
};

}  // namespace

void CheckOldValues(const InputFile& document, const Places& places,
                    const std::set<std::string, std::less<>>& unknown, const std::string& file,
                    Findings& findings) {
    OldChecker(document, places, unknown, file, findings).CheckAll();
}

}  // namespace kiv
