// Documents made of every setting a reader accepts, special values preferred, with a few assigned
// lines near the levels: calculated and fitted by calls of the library, and run by the program.
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "kiv/fit.h"

namespace kiv {
namespace {

#ifdef KIV_FUZZ_SCAN
constexpr RunKind kKind = RunKind::Scan;
#else
constexpr RunKind kKind = RunKind::Fit;
#endif

std::int16_t Switch(ByteSource& bytes) {
    constexpr std::int16_t kSwitches[] = {0, 1, 1, 0, 2, -1};
    return kSwitches[bytes.Upto(5)];
}

// A file has one list of switches for both states, unless only the lower state is calculated.
void TakeConstants(ByteSource& bytes, InputFile& file) {
    const int form = bytes.Upto(3);
    for (InputState& state : file.states) {
        for (int c = 0; c < kNumConstants; ++c) {
            const bool rotational = static_cast<Constant>(c) <= Constant::C;
            if (!rotational && form == 0) continue;
            state.value[c] = bytes.Real();
            if (!rotational) state.status[c] = Switch(bytes);
            state.fit[c] = Switch(bytes);
        }
        if (form == 1) {
            state.value[Constant::B] = state.value[Constant::C] = state.value[Constant::A];
        }
        if (form < 2) continue;
        state.angles = {bytes.Real(), bytes.Real(), bytes.Real()};
    }
    if (form != 0) {
        file.origin = bytes.Real();
        file.origin_fit = Switch(bytes);
    }
    for (int c = 0; c < kNumConstants; ++c) {
        std::int16_t &lower = file.states[kLower].status[c], &upper = file.states[kUpper].status[c];
        if (lower == 1 || upper == 1) lower = upper = 1;
    }
}

void TakeSwitches(ByteSource& bytes, InputFile& file) {
    file.max_J = bytes.Byte();
    file.fit_status = static_cast<std::int16_t>(bytes.Upto(7) - 1);
    file.reduction_status = static_cast<std::int16_t>(bytes.Upto(4));
    file.cycles = static_cast<std::int16_t>(bytes.Upto(3));
    file.uniform = static_cast<std::int16_t>(bytes.Upto(2));
    file.reject_above = bytes.Real();
    file.delta_K = bytes.Int32();
    file.min_intensity = bytes.Real();
    for (std::int32_t& weight : file.spin_weights) weight = bytes.Int32();
    for (double& temperature : file.temperatures) temperature = bytes.Real();
    file.old_format = static_cast<std::int16_t>(bytes.Upto(1));
    file.energy_scale = bytes.Real();
    file.assignment_max_Ka = bytes.Upto(4) - 2;
    file.assignment_max_Kc = bytes.Upto(4) - 2;
    if (bytes.Upto(4) == 0) file.parity_status = "Y";
    if (bytes.Upto(1) == 0) file.ka_parity = "O";
    if (bytes.Upto(1) == 0) file.kc_parity = "E";
    for (std::int16_t& debug : file.debug) debug = bytes.Byte() > 240 ? 1 : 0;
    if (bytes.Byte() < 128) return;
    file.listed_energies = {bytes.Int32(), bytes.Int32()};
    file.listed_vectors = {bytes.Int32(), bytes.Int32()};
}

void TakeMoment(ByteSource& bytes, InputFile& file) {
    file.moment_method = static_cast<std::int16_t>(bytes.Upto(2));
    file.moment_frame = static_cast<std::int16_t>(bytes.Upto(1));
    auto& values = file.moment_method == 0 ? file.moment_angles : file.moment_percent;
    for (double& value : values) value = bytes.Real();
    MatchMoment(file);
}

std::string MakeLines(ByteSource& bytes) {
    std::string text;
    for (int num = bytes.Upto(40); num > 0; --num) {
        char line[200];
        int q[6];
        for (int& n : q) n = bytes.Upto(4);
        const double frequency = bytes.Real();
        std::snprintf(line, sizeof line, "A %d %d %d %d %d %d %.17g", q[0], q[1], q[2], q[3], q[4],
                      q[5], frequency);
        text += line;
        if (bytes.Byte() > 127) text += " " + std::to_string(bytes.Upto(3) * 0.1);
        text += bytes.Byte() > 245 ? "\n//\n" : "\n";
    }
    return text;
}

// Ends a calculation after a number of questions.
class Impatient : public Report {
  public:
    explicit Impatient(int patience) : patience_(patience) {}
    bool Cancelled() override { return patience_-- == 0; }

  private:
    int patience_;
};

void CheckLines(const LineList& lines, const Assignments& assignments) {
    Require(lines.size > 0 && lines.size <= lines.capacity, "lines");
    Require(lines.matched >= 0 && lines.missing >= 0 &&
                lines.matched + lines.missing <= assignments.size,
            "matches");
    for (std::size_t k = 0; k < static_cast<std::size_t>(lines.matched); ++k) {
        Require(lines.match_line[k] >= 0 && lines.match_line[k] < lines.size, "line of a match");
        Require(lines.match_assignment[k] >= 0 && lines.match_assignment[k] < assignments.size,
                "assignment of a match");
    }
}

void CheckFit(const FitResult& fit, const Assignments& assignments) {
    Require(fit.used >= 0 && fit.rejected >= 0, "counts of a fit");
    Require(fit.parameters.size() < fit.covariance.rows(), "covariance of a fit");
    for (const FitResidual& residual : fit.residuals) {
        Require(residual.assignment >= 0 && residual.assignment < assignments.size, "residual");
        Require(residual.derivatives.size() == fit.parameters.size(), "derivatives of a line");
    }
    CheckLines(fit.lines, assignments);
}

// What a caller does who has read the files.
void CallLibrary(const InputFile& file, std::string_view lines, int patience) {
    const Model model = ModelOf(file);
    Settings settings = SettingsOf(file);
    if (const auto rule = ParityOf(file)) settings.lines.parity = rule.value();
    Workspace work(SmallMemory());
    Impatient report(patience);
    const auto assigned = ReadAssignmentFile(lines, LimitsOf(file), work.memory());
    const Assignments none;
    const Assignments& assignments = assigned ? assigned.value() : none;
    const auto fit = RunFit(model, settings, assignments, LineChoice::All, work, report);
    if (fit) CheckFit(fit.value(), assignments);

    const bool is_complex = NeedsComplex(model.lower()) || NeedsComplex(model.upper());
    const auto lower = SolveLevels(model.lower(), settings.max_J, is_complex, work, report);
    const auto upper = SolveLevels(model.upper(), settings.max_J, is_complex, work, report);
    if (!lower || !upper) return;
    const Levels& partner = model.one_state ? lower.value() : upper.value();
    auto list = ComputeLines(model, lower.value(), partner, settings.lines, &assignments,
                             LineChoice::All, work, report);
    if (!list) return;
    CheckLines(list.value(), assignments);
    const LineSetHeader header = HeaderOf(file, model, list.value(), &assignments);
    StringSink binary, text;
    const auto sorted = WriteLineSet(binary, header, std::move(list).value(),
                                     {lower.value(), partner, &assignments}, work.memory());
    if (sorted) WriteLineList(text, header, sorted.value(), lower.value(), work.memory());
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    static MemFile assigned("asn");
    BeginFuzz();
    ByteSource bytes(data, size);
    InputFile file;
    TakeSwitches(bytes, file);
    TakeConstants(bytes, file);
    TakeMoment(bytes, file);
    const std::string lines = MakeLines(bytes);
    assigned.Set(lines);
    MakeSmall(file, kKind);
    if (kKind == RunKind::Fit) CallLibrary(file, lines, bytes.Upto(60) - 1);
    RunDocument(std::move(file), assigned.name());
    return 0;
}
