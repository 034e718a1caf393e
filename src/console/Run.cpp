#include "console/Run.h"

#include <array>
#include <new>
#include <optional>
#include <utility>

#include "console/AssignmentReport.h"
#include "console/CosineListing.h"
#include "console/InputReport.h"
#include "console/Messages.h"
#include "console/PhaseLog.h"
#include "console/Quirks.h"
#include "console/Results.h"
#include "console/RunReport.h"
#include "console/Scan.h"
#include "fit/LeastSquares.h"
#include "lines/Pass.h"

namespace kiv {
namespace {

// Pauses in seconds, so that a message on the console can be read.
constexpr int kUsageWait = 5;
constexpr int kInputWait = 5;
constexpr int kTruncatedWait = 10;
constexpr int kFailWait = 3;

constexpr StateIndex kBothStates[] = {kLower, kUpper};

// One run of an input file that was read.
class Run {
  public:
    Run(Console& console, InputFile& file, const Memory& memory)
        : console_(console),
          file_(file),
          work_(memory),
          model_(ModelOf(file)),
          settings_(SettingsOf(file)),
          is_complex_(IsComplexRun(model_)),
          report_(console, file, given_, is_complex_),
          given_(model_) {}

    bool Go();

  private:
    bool Reserve();
    bool TakeFrames();
    bool ReserveStates();
    bool ReserveLines();
    bool ReserveCosines();
    bool TakeParities();
    bool ReadAssignments();
    bool Calculate();
    bool CalculateLines();
    bool Fit();
    bool ScanAngle();
    FitTask TaskOfFit() const;
    bool WriteResults();
    bool Failed(const Error& error);

    const Memory& memory() const { return work_.memory(); }
    PassTask TaskOfPass() const {
        return {&model_,
                settings_.max_J,
                &settings_.lines,
                &assignments_,
                LineChoice::All,
                is_complex_,
                false,
                true};
    }

    Console& console_;
    InputFile& file_;
    Workspace work_;
    Model model_;  // with the constants as the run leaves them
    Settings settings_;
    const bool is_complex_;
    RunReport report_;
    const Model given_;
    std::array<TurnedState, kNumStates> turned_;
    Assignments assignments_;
    PassRoom room_;
    FitResult fit_;
};

bool Run::Failed(const Error& error) {
    report_.SayFailed(error);
    return false;
}

bool Run::TakeFrames() {
    for (const StateIndex index : kBothStates) {
        turned_[index] = Turn(model_.states[index]);
        report_.TellTurned(index, model_.states[index], turned_[index]);
        EnterCrossTerms(model_.states[index], turned_[index]);
    }
    return true;
}

bool Run::ReserveStates() {
    const bool listed = console_.DebugIsOn(DebugPart::Input);
    for (const StateIndex index : kBothStates) {
        const StateIndex source = model_.one_state ? kLower : index;
        if (index == source) {
            const Status reserved = room_.ReserveLevels(TaskOfPass(), memory(), index);
            if (!reserved) return Failed(reserved.error());
        }
        if (!listed) continue;
        const Levels& levels = room_.levels[source];
        console_.Log("DEV[%d]=%d SZ=%ld\n", static_cast<int>(index), levels.num_derivatives,
                     static_cast<long>(levels.num_derivatives * levels.size()));
    }
    return true;
}

bool Run::ReserveLines() {
    console_.Enter("TrsOut");
    const Status reserved = room_.ReserveLines(TaskOfPass(), memory());
    if (!reserved) return Failed(reserved.error());
    if (console_.DebugIsOn(DebugPart::Lines)) {
        const std::int64_t derivatives =
            room_.levels[kLower].num_derivatives +
            room_.levels[model_.one_state ? kLower : kUpper].num_derivatives;
        console_.Log("SIM DEV NO=%lld\n",
                     static_cast<long long>(derivatives * room_.lines.capacity));
        console_.FlushLog();
    }
    console_.Exit("TrsOut");
    return true;
}

bool Run::ReserveCosines() {
    console_.Enter("CgMakeFile");
    const Status filled = room_.cosines.Fill(memory(), settings_.max_J);
    if (!filled) return Failed(filled.error());
    if (console_.DebugIsOn(DebugPart::Levels)) ListCosines(console_, room_.cosines);
    console_.Exit("CgMakeFile");
    return true;
}

bool Run::TakeParities() {
    const Result<std::optional<ParityRule>> rule = ParityOf(file_);
    if (rule) {
        settings_.lines.parity = rule.value();
        return true;
    }
    const std::string& word = rule.error().subject;
    if (word == kParityStatusWord) {
        console_.LogFail("PARITY SELECTION STATUS '%s' INCORRECT -> Y OR N ONLY !\n",
                         file_.parity_status.c_str());
    } else if (word == kKaParityWord) {
        console_.LogFail("IMPROPER OVERALL KA PARITY '%s' !\n", file_.ka_parity.c_str());
    } else {
        console_.LogFail("IMPROPER OVERALL KC PARITY '%s' !\n", file_.kc_parity.c_str());
    }
    return false;
}

// The memory of the run, so that one that does not fit into the machine ends at once.
bool Run::Reserve() {
    console_.Enter("KivCoreAlloc");
    if (!TakeFrames() || !ReserveStates() || !ReserveLines() || !ReserveCosines() ||
        !TakeParities()) {
        return false;
    }
    console_.Exit("KivCoreAlloc");
    return true;
}

bool Run::ReadAssignments() {
    console_.Enter("RdAsnLines");
    Result<AssignmentReading> reading = ReadAssignmentsOf(console_, file_, memory());
    if (!reading) return Failed(reading.error());
    assignments_ = std::move(reading.value().assignments);
    if (reading.value().uniform != file_.uniform) {
        file_.uniform = reading.value().uniform;
        settings_.fit.weights = SettingsOf(file_).fit.weights;
    }
    console_.Exit("RdAsnLines");
    return true;
}

bool Run::CalculateLines() {
    const Status passed = RunPass(TaskOfPass(), work_, report_, room_);
    if (!passed) return Failed(passed.error());
    LeaveTurned(model_, room_);
    return true;
}

FitTask Run::TaskOfFit() const {
    FitTask task{&model_, &settings_, &assignments_};
    task.is_complex = is_complex_;
    task.after_pass = LeaveTurned;
    task.exchanges_axes = true;
    return task;
}

bool Run::Fit() {
    const Status fitted = RunFit(TaskOfFit(), work_, report_, room_, fit_);
    if (!fitted) return Failed(fitted.error());
    model_ = fit_.model;
    return true;
}

bool Run::ScanAngle() {
    settings_.fit.cycles = ScanCycles(settings_.fit.cycles);
    file_.cycles = static_cast<std::int16_t>(settings_.fit.cycles);
    if (!RunScan(console_, file_, TaskOfFit(), work_, report_, room_, fit_)) return false;
    model_ = fit_.model;
    return true;
}

// By the sign of the number of cycles.
bool Run::Calculate() {
    if (settings_.fit.cycles > 0) return Fit();
    if (settings_.fit.cycles < 0) return ScanAngle();
    return CalculateLines();
}

bool Run::WriteResults() {
    PutConstants(file_, model_);
    LineSetHeader header = HeaderOf(file_, model_, room_.lines, &assignments_);
    header.missing = report_.num_missing();
    header.rms = fit_.rms;
    header.num_fitted = fit_.marked;
    header.covariance = &fit_.covariance;
    const LineSetReport report{room_.lines.size, room_.lines.matched, header.missing,
                               report_.active_bands()};
    return WriteLines(console_, file_,
                      {std::move(header), std::move(room_.lines),
                       LineSource{room_.lower(), room_.upper(), &assignments_}, report},
                      memory()) &&
           WriteNextInput(console_, file_);
}

bool Run::Go() {
    console_.Enter("KivRun");
    if (!Reserve()) return false;
    ReportFrames(console_, model_, turned_);
    if (!ReadAssignments() || !Calculate() || !WriteResults()) return false;
    console_.Exit("KivRun");
    return true;
}

int StopAtInputError(Console& console, const std::string& name) {
    console.Put("ERROR ON INPUT FILE [%s]!\n", name.c_str());
    console.surroundings().wait(kInputWait);
    return 1;
}

// Status 0 is meant: a file that ends early is the user's work in progress.
int StopAtEndOfInput(Console& console, const std::string& last_words) {
    console.Put("INPUT FILE HAS INCORRECT FORMAT - LAST LINE = %s\n", last_words.c_str());
    console.surroundings().wait(kTruncatedWait);
    return 0;
}

// The end of a run, failed ones included.
void Finish(Console& console, const InputFile& file, bool done) {
    if (!done) console.surroundings().wait(kFailWait);
    console.Enter("KivCoreFree");
    console.Exit("KivCoreFree");
    if (console.log_is_on()) CloseLog(console, file);
}

}  // namespace

int RunInputFile(const std::string& name, const Surroundings& surroundings, const Memory& memory) {
    Console console(surroundings);
    InputFile file;
    try {  // strings of the standard library report a lack of memory in no other way
        Result<InputFile> read = ReadInputOf(console, name, memory);
        if (!read && read.error().code == ErrorCode::Truncated) {
            return StopAtEndOfInput(console, read.error().subject);
        }
        if (!read) return StopAtInputError(console, name);
        file = std::move(read).value();
        ReportInput(console, file, ModelOf(file));
        const bool done = Run(console, file, memory).Go();
        Finish(console, file, done);
    } catch (const std::bad_alloc&) {
        SayNoMemory(console, "KivMain()/name");
        Finish(console, file, false);
    }
    return 0;
}

int SayUsage(const Surroundings& surroundings) {
    Console(surroundings).Put("USAGE: Kiv95.exe 'INPUT FILENAME (*.in)' : ABORTED!\n");
    surroundings.wait(kUsageWait);
    return 0;
}

}  // namespace kiv
