// Reading of named inputs.
#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "io/TextLines.h"
#include "named/KeyReader.h"
#include "named/LineFile.h"
#include "named/NamedInput.h"
#include "named/Text.h"
#include "named/TomlTree.h"
#include "named/TomlWords.h"

namespace kiv {
namespace {

constexpr int kFormatVersion = 1;
constexpr int kMostJ = 32767;  // quantum numbers of lines are kept in 16 bits
constexpr int kMostWhole = std::numeric_limits<std::int32_t>::max();

// The keys of a named input.
class NamedReader {
  public:
    NamedReader(const std::string& file, const std::vector<WrongWord>& wrong, Findings& findings)
        : keys_(file, wrong, findings) {}

    // Asks for everything; `root` is null when there is no tree.
    void ReadAll(const TomlValue* root) {
        const KeyTable file{"", root};
        ReadHead(file);
        const KeyTable lower = keys_.Table(file, "lower"), upper = keys_.Table(file, "upper");
        if (!file.Find("lower")) {
            keys_.Missing("lower", file.place(), "the table [lower] is missing");
        }
        input_.two_states = file.Find("upper") != nullptr;
        ReadState(lower, kLower);
        ReadState(upper, kUpper);
        keys_.Number(upper, "origin", input_.origin.value);
        keys_.Truth(upper, "relative", input_.relative);
        ReadFitted(lower, kLower);
        ReadFitted(upper, kUpper);
        ReadFit(keys_.Table(file, "fit"));
        ReadMoment(file);
        ReadSpectrum(keys_.Table(file, "spectrum"));
    }

    KeyReader& keys() { return keys_; }

    NamedInput Take() {
        input_.places = std::move(keys_.places);
        return std::move(input_);
    }

  private:
    void ReadHead(const KeyTable& file) {
        const TomlValue* const version = keys_.Take(file, "kiv", KeyKind::Whole);
        if (!file.Find("kiv")) {
            keys_.Missing("kiv", file.place(), "the format is missing, write kiv = 1");
        } else if (version && version->whole != kFormatVersion) {
            keys_.Add(FindingCode::UnknownVersion, version->begin,
                      "format " + std::to_string(version->whole) + " is not known, this is 1");
        }
        keys_.Text(file, "title", input_.title);
        keys_.OneOf(file, "unit", {NameOf(EnergyUnit::MHz), NameOf(EnergyUnit::Wavenumber)},
                    input_.unit, FindingCode::BadUnit);
    }

    void ReadState(const KeyTable& table, StateIndex index) {
        NamedState& state = input_.states[index];
        const bool is_told = keys_.OneOf(table, "reduction", {"A", "S"}, state.reduction);
        has_reduction_[index] = is_told || !table.Find("reduction");
        for (const Constant c : kListedConstants) {
            const char* const name = NameOf(c, state.reduction);
            const bool is_required = c <= Constant::C;
            keys_.Number(table, name, state.terms[c].value,
                         is_required ? Limit::Positive : Limit::None);
            if (is_required && table.node && !table.Find(name)) {
                keys_.Missing(table.Path(name), table.place(), table.Path(name) + " is missing");
            }
            const char* const other = NameOf(c, OtherThan(state.reduction));
            if (ConstantNamed(other, state.reduction)) continue;
            keys_.Take(table, other, KeyKind::Number);
            if (table.Find(other)) TellReduction(table, index, other, table.Find(other)->key_place);
        }
        double tilt[3];
        if (keys_.Numbers(table, "tilt", tilt)) state.tilt = {tilt[0], tilt[1], tilt[2]};
    }

    void TellReduction(const KeyTable& table, StateIndex index, const std::string& name,
                       Place place) {
        if (!has_reduction_[index]) return;
        const bool is_S = input_.states[index].reduction == Reduction::S;
        keys_.Add(FindingCode::WrongReduction, place,
                  name + " is a constant of the " + (is_S ? "A" : "S") + " reduction, [" +
                      table.path + "] is in the " + (is_S ? "S" : "A") + " reduction");
    }

    void ReadFitted(const KeyTable& table, StateIndex index) {
        NamedState& state = input_.states[index];
        const TomlValue* const list = keys_.List(table, "fit", KeyKind::Texts, 0);
        if (!list) return;
        for (const TomlValue& item : list->children) {
            if (item.type != TomlType::Text) continue;
            const std::optional<Constant> constant = ConstantNamed(item.text, state.reduction);
            NamedTerm* term = constant ? &state.terms[*constant] : nullptr;
            if (!constant && ConstantNamed(item.text)) {
                TellReduction(table, index, item.text, item.begin);
                continue;
            }
            if (index == kUpper && item.text == "origin") term = &input_.origin;
            if (!term) {
                keys_.Add(FindingCode::BadChoice, item.begin, NotFitted(table, state, item.text));
            } else if (term->fit) {
                keys_.Add(FindingCode::SurplusValue, item.begin,
                          table.Path("fit") + ": " + Quoted(item.text) + " stands there twice");
            } else {
                term->fit = true;
            }
        }
    }

    static std::string NotFitted(const KeyTable& table, const NamedState& state,
                                 const std::string& name) {
        const std::string what = table.Path("fit") + ": ";
        if (name == "origin") return what + "the origin belongs to [upper]";
        std::vector<std::string> names;
        for (const Constant c : kListedConstants) names.push_back(NameOf(c, state.reduction));
        return what + Quoted(name) + " is no constant, the nearest one is " +
               Quoted(Nearest(name, names));
    }

    void ReadMoment(const KeyTable& file) {
        const KeyTable table = keys_.Table(file, "moment");
        NamedMoment moment;
        const bool has_mu = keys_.Numbers(table, "mu", moment.values);
        const bool has_percent = keys_.Numbers(table, "percent", moment.values);
        const bool has_angles = ReadAngles(table, moment);
        keys_.OneOf(table, "frame", {"lower", "upper"}, moment.frame);
        if (moment.frame == kUpper && !input_.two_states) {
            keys_.Add(FindingCode::BadChoice, table.Find("frame")->begin,
                      "moment.frame: there is no [upper]");
        }
        if (has_percent) moment.form = MomentForm::Percent;
        if (has_angles) moment.form = MomentForm::Angles;
        if (table.node) CheckForms(table);
        if (has_mu || has_percent || has_angles) input_.moment = moment;
        const TomlValue* const fit = file.Find("fit");
        const bool has_lines = fit && fit->Find("lines");
        if (!file.Find("moment") && !has_lines) {
            keys_.Missing("moment", file.place(),
                          "the table [moment] is missing, intensities need it");
        }
    }

    bool ReadAngles(const KeyTable& table, NamedMoment& moment) {
        bool good = keys_.Number(table, "magnitude", moment.values[0], Limit::NotNegative);
        good &= keys_.Number(table, "theta", moment.values[1]);
        good &= keys_.Number(table, "chi", moment.values[2]);
        return good;
    }

    // A moment has exactly one of its forms, and all of it.
    void CheckForms(const KeyTable& table) {
        constexpr const char* kAngles[] = {"magnitude", "theta", "chi"};
        std::vector<const TomlValue*> first_keys;  // one for each form that is there
        for (const char* key : {"mu", "percent"}) {
            if (table.Find(key)) first_keys.push_back(table.Find(key));
        }
        const auto angle = std::find_if(std::begin(kAngles), std::end(kAngles),
                                        [&](const char* key) { return table.Find(key); });
        if (angle != std::end(kAngles)) {
            first_keys.push_back(table.Find(*angle));
            for (const char* key : kAngles) {
                if (table.Find(key)) continue;
                keys_.Missing(table.Path(key), table.place(),
                              table.Path(key) + " is missing, it belongs to magnitude, theta, chi");
            }
        }
        if (first_keys.empty()) {
            keys_.Missing("moment.mu", table.place(),
                          "[moment] says nothing: mu, percent or magnitude, theta, chi");
        }
        if (first_keys.size() > 1) {
            std::sort(first_keys.begin(), first_keys.end(),
                      [](const auto* a, const auto* b) { return a->key_place < b->key_place; });
            keys_.Add(FindingCode::SurplusValue, first_keys[1]->key_place,
                      "the moment stands there twice, as " + first_keys[0]->key + " and as " +
                          first_keys[1]->key);
        }
    }

    void ReadSpectrum(const KeyTable& table) {
        NamedSpectrum& spectrum = input_.spectrum;
        LineRules& rules = spectrum.rules;
        keys_.Whole(table, "J_max", kMostJ, spectrum.max_J);
        ReadDeltaK(table, rules.delta_K);
        keys_.Number(table, "temperature", rules.temperature, Limit::NotNegative);
        keys_.Number(table, "temperature2", rules.temperature2, Limit::NotNegative);
        keys_.Number(table, "weight2", rules.weight2, Limit::NotNegative);
        keys_.Number(table, "min_intensity", rules.min_intensity);
        ReadRange(table, spectrum);
        if (const TomlValue* const list = keys_.List(table, "spin_weights", KeyKind::Wholes, 4)) {
            for (std::size_t i = 0; i < 4; ++i) {
                keys_.WholeOf(list->children[i], ItemPath(table.Path("spin_weights"), i),
                              kMostWhole, rules.spin_weights[i]);
            }
        }
        ReadParity(keys_.Table(table, "parity"), rules);
    }

    void ReadDeltaK(const KeyTable& table, int& delta_K) {
        const TomlValue* const value = keys_.Take(table, "delta_K", KeyKind::WholeOrAll);
        if (!value) return;
        if (value->type == TomlType::Whole) {
            keys_.WholeOf(*value, table.Path("delta_K"), kMostWhole, delta_K);
        } else if (value->text != "all") {
            keys_.Add(FindingCode::BadChoice, value->begin,
                      table.Path("delta_K") + ": " + Quoted(value->text) +
                          " is not \"all\" or a whole number");
        }
    }

    void ReadRange(const KeyTable& table, NamedSpectrum& spectrum) {
        std::array<double, 2> range{};
        if (!keys_.Numbers(table, "range", range)) return;
        if (range[0] <= range[1]) {
            spectrum.range = range;
        } else {
            keys_.Add(FindingCode::OutOfRange, keys_.places.Of("spectrum.range[1]"),
                      "spectrum.range ends before it begins");
        }
    }

    // The two words are those of the record of older files: the first one is for Ka, the second
    // for Kc.
    void ReadParity(const KeyTable& table, LineRules& rules) {
        ParityRule rule;
        const bool has_ka = keys_.OneOf(table, "lower", {"E", "O"}, rule.ka_odd);
        const bool has_kc = keys_.OneOf(table, "upper", {"E", "O"}, rule.kc_odd);
        if (has_ka && has_kc) rules.parity = rule;
        for (const char* key : {"lower", "upper"}) {
            if (!table.node || table.Find(key)) continue;
            keys_.Missing(table.Path(key), table.place(), table.Path(key) + " is missing");
        }
    }

    void ReadFit(const KeyTable& table) {
        NamedFit& fit = input_.fit;
        keys_.Text(table, "lines", fit.lines);
        if (!fit.lines.empty() && !LineFormatOf(fit.lines)) {
            keys_.Add(FindingCode::BadChoice, keys_.places.Of("fit.lines"),
                      "fit.lines: " + Quoted(fit.lines) + " is no .csv, .asn or .lin file");
        }
        keys_.OneOf(table, "data", {"lines", "lower differences", "upper differences"}, fit.data);
        if (fit.data != NamedData::Lines && !input_.two_states) {
            keys_.Add(FindingCode::BadChoice, keys_.places.Of("fit.data"),
                      "fit.data: differences are those of lines between two states, there is no "
                      "[upper]");
        }
        keys_.Whole(table, "cycles", kMostWhole, fit.cycles);
        keys_.Number(table, "reject", fit.reject, Limit::Positive);
        keys_.Number(table, "reject_above", fit.reject_above, Limit::NotNegative);
        const TomlValue *const reject = table.Find("reject"), *const above =
                                                                  table.Find("reject_above");
        if (reject && above) {
            keys_.Add(FindingCode::SurplusValue, std::max(reject->key_place, above->key_place),
                      "reject and reject_above stand there both, one limit is enough");
        }
        bool uniform = false;
        keys_.OneOf(table, "weights", {"uncertainties", "uniform"}, uniform);
        fit.weights = uniform ? FitWeights::Uniform : FitWeights::Uncertainties;
    }

    KeyReader keys_;
    NamedInput input_;
    bool has_reduction_[kNumStates] = {};  // whether it is known which one
};

// A fault of the parser; of a name that is given again, it is that name.
void TellFault(const TomlReading& toml, std::string_view text, const std::string& file,
               Findings& findings) {
    Place place = toml.fault_place;
    std::string message = "not TOML: " + toml.fault;
    if (toml.fault.find("cannot redefine") != std::string::npos) {
        for (int line = 1; line < place.line; ++line) text.remove_prefix(text.find('\n') + 1);
        text = text.substr(0, text.find('\n'));
        const std::size_t first = std::min(text.find_first_not_of(" \t"), text.size());
        place.column = CountCharacters(text.substr(0, first)) + 1;
        text = Trimmed(text.substr(first, text.find('=') - first));
        message = Quoted(text) + " stands there twice";
    }
    findings.Add(FindingCode::BadToml, file, place, message);
}

}  // namespace

std::optional<NamedInput> ReadNamed(std::string_view text, const std::string& file,
                                    Findings& findings) {
    text = WithoutMark(text);
    const CleanToml clean = CleanUp(text);
    TomlReading toml;
    if (clean.bad_header) {
        toml.fault_place = *clean.bad_header;
        toml.fault = "the name of a table is missing";
    } else {
        toml = ReadToml(clean.text);
    }
    NamedReader reader(file, clean.wrong, findings);
    reader.keys().TellSpurious();
    if (!toml.root) {
        reader.ReadAll(nullptr);  // to know the keys
        reader.keys().TellWrong();
        TellFault(toml, text, file, findings);
        return {};
    }
    reader.ReadAll(&*toml.root);
    reader.keys().TellUnknown(*toml.root);
    return reader.Take();
}

}  // namespace kiv
