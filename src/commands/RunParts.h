// What `kiv run` and `kiv report` have in common while they calculate.
#pragma once

#include <chrono>
#include <string>

#include "commands/Request.h"
#include "commands/RunOutcome.h"
#include "commands/Terminal.h"
#include "kiv/report.h"
#include "kiv/workspace.h"

namespace kiv {

/// Shows J by J and cycle by cycle what goes on, once a run is not over at once.
class ShownProgress final : public Report {
  public:
    ShownProgress(Terminal& terminal, bool tells_cycles)
        : terminal_(terminal), tells_cycles_(tells_cycles), next_(Now() + kPatience) {}
    ~ShownProgress() override { terminal_.Progress(""); }
    ShownProgress(const ShownProgress&) = delete;
    ShownProgress& operator=(const ShownProgress&) = delete;

    void Progress(Stage stage, int done, int all) override;

  private:
    using Clock = std::chrono::steady_clock;
    static Clock::time_point Now() { return Clock::now(); }
    static constexpr std::chrono::milliseconds kPatience{400}, kStep{100};

    Terminal& terminal_;
    const bool tells_cycles_;
    Clock::time_point next_;
    std::string cycle_;
};

/// A workspace for a job with the threads of -j, by default one for each core where J goes far
/// enough to be worth it.
Workspace WorkspaceFor(const Job& job, const Request& request);

/// Says which files were read, for -v.
void NoteRead(const Job& job, Terminal& terminal);

/// Sums the levels of a calculation that has a result into `outcome`.
void SumLevels(const Calculation& calculation, Workspace& work, RunOutcome& outcome);

/// A fit of an old input does as many cycles as it asks for: says when they were too few.
void TellUnsettled(Terminal& terminal, RunOutcome& outcome);

}  // namespace kiv
