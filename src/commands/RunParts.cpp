#include "commands/RunParts.h"

namespace kiv {
namespace {

constexpr double kRoomTemperature = 300.0;  // of Q where lines have strengths
constexpr int kFewJ = 30;                   // take less time than to start a thread

}  // namespace

void ShownProgress::Progress(Stage stage, int done, int all) {
    if (stage == Stage::FitCycle) {
        cycle_ = "cycle " + std::to_string(done) + " done, ";
        if (tells_cycles_) terminal_.Note("fit: cycle " + std::to_string(done) + " is done");
    }
    if (!terminal_.shows_progress() || Now() < next_) return;
    next_ = Now() + kStep;
    static constexpr const char* kStages[] = {"lower levels: J ", "upper levels: J ", "lines: J ",
                                              "fit: cycle "};
    terminal_.Progress("kiv: " + cycle_ + kStages[static_cast<int>(stage)] + std::to_string(done) +
                       " of " + std::to_string(all));
}

Workspace WorkspaceFor(const Job& job, const Request& request) {
    if (!job.usable()) return Workspace();  // its input may not even have been read
    if (request.threads) return Workspace(Memory(), *request.threads);
    const bool is_named = job.form == InputForm::Named;
    const Settings settings = is_named ? SettingsOf(job.input) : SettingsOf(*job.old);
    return Workspace(Memory(), settings.max_J < kFewJ ? 1 : UsableCores());
}

void NoteRead(const Job& job, Terminal& terminal) {
    terminal.Note("read: " + job.file);
    if (job.lines && job.lines->is_there) terminal.Note("read: " + job.lines->file);
}

void SumLevels(const Calculation& calculation, Workspace& work, RunOutcome& outcome) {
    Settings settings = calculation.settings;
    if (settings.lines.temperature <= 0.0) settings.lines.temperature = kRoomTemperature;
    outcome.temperature = settings.lines.temperature;
    const PassRoom& room = calculation.room;
    const Result<Partition> sum =
        PartitionOf(calculation.model, settings, room.lower(), room.upper(), work);
    if (sum) outcome.partition = sum.value();
}

void TellUnsettled(Terminal& terminal, RunOutcome& outcome) {
    const Calculation& calculation = *outcome.calculation;
    const Job& job = outcome.job;
    if (job.form == InputForm::Named || !calculation.fit || calculation.settled) return;
    Findings late;
    late.Add(FindingCode::NotConverged, job.file, job.input.places.Of("fit.cycles"),
             "the constants still change in the last of " +
                 std::to_string(calculation.fit->cycles) +
                 " cycles, ask for more or run the fitted input once more");
    terminal.Show(late);
    outcome.findings.Append(late);
}

}  // namespace kiv
