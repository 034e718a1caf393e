#include "job/OldRecords.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <utility>

#include "io/InputFile.h"
#include "io/InputLayout.h"
#include "io/RecordReader.h"

namespace kiv {
namespace {

constexpr const char* kTables[kNumStates] = {"lower", "upper"};
constexpr const char* kTitles[kNumStates] = {"GROUND", "EXCITED"};
constexpr const char* kStates[kNumStates] = {"ground state", "excited state"};

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// A value of a document and the word that it comes from.
struct Slot {
    const void* value;
    OldCell cell;
};

struct AddressOf {
    const void* operator()(std::monostate) const { return nullptr; }
    const void* operator()(PassedOver) const { return nullptr; }
    const void* operator()(const std::int16_t* value) const { return value; }
    const void* operator()(const std::int32_t* value) const { return value; }
    const void* operator()(Real real) const { return real.value; }
    const void* operator()(Word word) const { return word.text; }
};

struct KindOf {
    OldKind operator()(std::monostate) const { return OldKind::Real; }
    OldKind operator()(PassedOver) const { return OldKind::Whole16; }
    OldKind operator()(const std::int16_t*) const { return OldKind::Whole16; }
    OldKind operator()(const std::int32_t*) const { return OldKind::Whole32; }
    OldKind operator()(Real) const { return OldKind::Real; }
    OldKind operator()(Word) const { return OldKind::Name; }
};

// Walks through the layout of a version; the rows point into a document of its own.
class RecordLister {
  public:
    explicit RecordLister(const std::string& version) {
        file_.version = version;
        file_.moment_method = 0;
        ListSlots();
    }

    std::vector<OldRecord> List(bool has_tail) {
        const int major = MajorVersion(file_.version);
        if (major == 1) {
            AddVersion1(has_tail);
        } else if (major == 2) {
            AddRows(kOldHeadRows);
            for (StateIndex state : {kLower, kUpper}) AddBlock(state, kOldGroups);
            AddRows(kOriginRows);
            AddRows(kOldRunRows);
            AddRows(kOldEndRows);
        } else {
            AddRows(kNameRows);
            for (StateIndex state : {kLower, kUpper}) {
                if (major == 3) {
                    AddBlock(state, kOldGroups);
                } else {
                    AddBlock(state, kGroups);
                }
            }
            AddRows(kOriginRows);
            AddRows(kRunRows);
        }
        return std::move(records_);
    }

  private:
    void ListSlots() {
        InputFile& f = file_;
        const auto is = [this](const void* value, const char* label,
                               std::vector<std::string> paths) {
            slots_.push_back({value, {OldKind::Real, label, std::move(paths)}});
        };
        is(&f.out_base, "output base", {"out"});
        is(&f.assignment_file, "assignment file", {"fit.lines"});
        is(&f.next_input, "next input file", {"next"});
        is(&f.origin, "origin", {"upper.origin"});
        is(&f.origin_fit, "fit indicator of the origin", {"upper.fit.origin"});
        is(&f.fit_status, "fit status", {"fit.status", "fit.data", "upper.relative"});
        is(&f.reduction_status, "reduction", {"lower.reduction", "upper.reduction"});
        is(&f.max_J, "highest J", {"spectrum.J_max"});
        is(&f.delta_K, "delta K", {"spectrum.delta_K"});
        is(&f.min_intensity, "intensity cut-off", {"spectrum.min_intensity"});
        const char* const weights[] = {"spin weight EE", "EO", "OO", "OE"};
        for (std::size_t i = 0; i < 4; ++i) {
            is(&f.spin_weights[i], weights[i], {"spectrum.spin_weights" + Item(i)});
        }
        is(&f.moment_method, "moment method", {"moment.method"});
        is(&f.moment_frame, "moment frame", {"moment.frame"});
        const char* const angles[] = {"magnitude", "theta", "chi"};
        const char* const moments[] = {"first value of the moment", "second", "third"};
        for (std::size_t i = 0; i < 3; ++i) {
            is(&f.moment_angles[i], moments[i],
               {std::string("moment.") + angles[i], "moment.percent" + Item(i),
                "moment.mu" + Item(i)});
        }
        is(&f.temperatures[0], "T1", {"spectrum.temperature"});
        is(&f.temperatures[1], "T2", {"spectrum.temperature2"});
        is(&f.temperatures[2], "weight of T2", {"spectrum.weight2"});
        is(&f.energy_unit, "unit", {"unit"});
        is(&f.cycles, "fit cycles", {"fit.cycles"});
        is(&f.uniform, "uniform uncertainty", {"fit.weights"});
        is(&f.reject_above, "rejection level", {"fit.reject_above"});
        is(&f.assignment_max_J, "highest J of assignments", {"fit.limit.J"});
        is(&f.assignment_max_Ka, "highest Ka of assignments", {"fit.limit.Ka"});
        is(&f.assignment_max_Kc, "highest Kc of assignments", {"fit.limit.Kc"});
        is(&f.listed_energies.first, "first J of the listed energies", {});
        is(&f.listed_energies.last, "last J", {});
        is(&f.listed_vectors.first, "first J of the listed vectors", {});
        is(&f.listed_vectors.last, "last J", {});
        is(&f.parity_status, "parity selection", {"spectrum.parity"});
        is(&f.ka_parity, "Ka parity", {"spectrum.parity.lower"});
        is(&f.kc_parity, "Kc parity", {"spectrum.parity.upper"});
        is(&f.old_format, "old-format switch", {"old.format"});
        is(&f.energy_scale, "energy scalar", {"old.energy_scale"});
        is(&f.intensity_scale, "intensity scalar", {});
        is(&f.spectral_range, "FSR", {});
        is(&f.band_split, "band-label switch", {});
        const char* const parts[] = {"debug switch ALL", "0", "I", "II", "III", "IV"};
        for (std::size_t i = 0; i < f.debug.size(); ++i) is(&f.debug[i], parts[i], {});
        for (StateIndex state : {kLower, kUpper}) ListState(state);
    }

    void ListState(StateIndex index) {
        InputState& state = file_.states[index];
        const std::string table = kTables[index], prefix = index == kLower ? "" : "upper ";
        const auto is = [this](const void* value, const std::string& label,
                               std::vector<std::string> paths) {
            slots_.push_back({value, {OldKind::Real, label, std::move(paths)}});
        };
        for (int c = 0; c < kNumFileConstants; ++c) {
            const auto constant = static_cast<Constant>(c);
            const std::string name = NameOf(constant), name_S = NameOf(constant, Reduction::S);
            const std::string label = prefix + (name == name_S ? name : name + "/" + name_S);
            const auto paths = [&](const std::string& kind) {
                std::vector<std::string> all{table + kind + name};
                if (name != name_S) all.push_back(table + kind + name_S);
                return all;
            };
            is(&state.value[c], label, paths("."));
            is(&state.status[c], "status of " + label, paths(".status."));
            is(&state.fit[c], "fit indicator of " + label, paths(".fit."));
        }
        is(&state.angles.phi, prefix + "PHI", {table + ".tilt[0]"});
        is(&state.angles.theta, prefix + "THETA", {table + ".tilt[1]"});
        is(&state.angles.chi, prefix + "CHI", {table + ".tilt[2]"});
    }

    static std::string Item(std::size_t i) { return "[" + std::to_string(i) + "]"; }

    // Each value stands in one record.
    OldCell CellOf(const Cell& cell) {
        const void* const address = std::visit(AddressOf{}, cell);
        const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                       [&](const Slot& s) { return s.value == address; });
        OldCell found{OldKind::Real, "second cycle count", {}};
        if (slot != slots_.end()) found = std::move(slot->cell);
        found.kind = std::visit(KindOf{}, cell);
        if (address == &file_.moment_frame) found.kind = OldKind::State;
        if (address == &file_.energy_unit) found.kind = OldKind::Unit;
        if (address == &file_.parity_status) found.kind = OldKind::YesNo;
        if (address == &file_.ka_parity || address == &file_.kc_parity) {
            found.kind = OldKind::EvenOdd;
        }
        return found;
    }

    // With an empty name the record is called by its values.
    void Add(const Cells& cells, std::string name, std::vector<std::string> titles) {
        OldRecord record{std::move(name), std::move(titles), {}};
        for (std::size_t i = 0; i < CountCells(cells); ++i) {
            record.cells.push_back(CellOf(cells[i]));
        }
        AddRecord(std::move(record));
    }

    void AddRecord(OldRecord record) {
        if (record.name.empty()) {
            for (const OldCell& cell : record.cells) {
                record.name += (record.name.empty() ? "" : ", ") + cell.label;
            }
        }
        records_.push_back(std::move(record));
    }

    void AddRows(std::span<const InputRow> rows) {
        for (const InputRow& row : rows) {
            if (row.when && !row.when(file_)) continue;
            std::vector<std::string> titles;
            if (row.title) titles.push_back(TitleOf(row.title));
            Add(row.cells(file_), "", std::move(titles));
        }
    }

    static std::string StateTitle(StateIndex state, const char* title) {
        return TitleOf(std::string("# ") + kTitles[state] + " " + title);
    }

    // The record of a group: "ground state DJ, DJK, DK" with a word in front of the constants.
    template <class T>
    void AddGroup(StateIndex state, PerConstant<T>& values, const ConstantGroup& group,
                  const char* what, std::vector<std::string> titles) {
        std::string name = std::string(kStates[state]) + " " + what;
        for (std::size_t i = 0; i < group.size; ++i) {
            const Constant c = group.constants[i];
            const std::string one = NameOf(c), other = NameOf(c, Reduction::S);
            name += (i > 0 ? ", " : "") + (one == other ? one : one + "/" + other);
        }
        Add(CellsOf(values, group), name, std::move(titles));
    }

    void AddValues(StateIndex state, const ConstantGroup& group) {
        std::vector<std::string> titles;
        for (const char* title : {group.title, group.title_S}) {
            if (title) titles.push_back(StateTitle(state, title));
        }
        AddGroup(state, file_.states[state].value, group, "", std::move(titles));
    }

    void AddFits(StateIndex state, const ConstantGroup& group) {
        AddGroup(state, file_.states[state].fit, group, "fit indicators of ",
                 {StateTitle(state, kFitTitle)});
    }

    void AddFrame(StateIndex state, const ConstantGroup& group) {
        Add(CellsOf(file_.states[state].angles),
            std::string(kStates[state]) + " angles PHI, THETA, CHI",
            {StateTitle(state, kAnglesTitle)});
        AddFits(state, group);
    }

    void AddGroups(StateIndex state, std::span<const ConstantGroup> groups) {
        for (const ConstantGroup& group : groups) {
            AddGroup(state, file_.states[state].status, group, "status of ",
                     {StateTitle(state, kStatusTitle)});
            AddValues(state, group);
            AddFits(state, group);
        }
    }

    void AddBlock(StateIndex state, std::span<const ConstantGroup> groups) {
        AddValues(state, groups[0]);
        AddFrame(state, groups[0]);
        AddGroups(state, groups.subspan(1));
    }

    void AddTail(StateIndex state) {
        constexpr ConstantGroup kTail{2, {Constant::DJ, Constant::PZ3}, nullptr, nullptr};
        AddGroups(state, {&kTail, 1});
    }

    void AddVersion1(bool has_tail) {
        constexpr ConstantGroup kOnlyA{1, {Constant::A}, nullptr, nullptr};
        constexpr ConstantGroup kBC{2, {Constant::B, Constant::C}, nullptr, nullptr};
        const auto groups = std::span(kOldGroups).first(3);
        AddRows(kOldHeadRows);
        AddBlock(kLower, groups);
        if (has_tail) {
            AddTail(kLower);
            AddBlock(kUpper, groups);
            AddTail(kUpper);
        } else {
            AddValues(kUpper, kOnlyA);
            AddValues(kUpper, kBC);
            AddFrame(kUpper, groups[0]);
            AddGroups(kUpper, groups.subspan(1));
        }
        Add({&file_.origin, &file_.origin_fit}, "", {});
        Add({Word{&band_, kMaxSwitch}, &file_.delta_K, &file_.band_split},
            "band type, delta K, band-label switch", {});
        records_.back().cells[0] = {OldKind::BandType, "band type", {"moment.method"}};
        AddRecord({"", {}, {{OldKind::Real, "magnitude of the moment", {}}}});
        Add({&file_.temperatures[0], &file_.min_intensity}, "", {});
        Add({&file_.energy_scale, &file_.spectral_range}, "", {});
        AddRows(kOldEndRows);
    }

    InputFile file_;
    std::string band_;
    std::vector<Slot> slots_;
    std::vector<OldRecord> records_;
};

}  // namespace

std::string TitleOf(std::string_view line) {
    std::string title(line);  // which is no shorter
    std::size_t size = 0;
    bool ends_word = false;
    for (const char c : line) {
        if (IsBlank(c)) {
            ends_word = size > 0;
            continue;
        }
        if (ends_word) title[size++] = ' ';
        title[size++] = c;
        ends_word = false;
    }
    title.resize(size);
    return title;
}

std::vector<OldRecord> RecordsOf(const std::string& version, bool has_tail) {
    return RecordLister(version).List(has_tail);
}

}  // namespace kiv
