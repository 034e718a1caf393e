#include "lines/LineSearch.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "base/Failure.h"
#include "base/LineKey.h"
#include "lines/LineStore.h"
#include "lines/OrderedLines.h"
#include "lines/PairSearch.h"

namespace kiv {
namespace {

LineScratch& ScratchOf(Workspace& work) { return work.Part<LineScratch>(Workspace::Slot::Lines); }

Status SearchAlone(const LineTask& task, Workspace& work, Report& report, LineList& list) {
    KIV_TRY(ScratchOf(work).Begin(work.memory(), task));
    Trace* const trace = report.trace();
    PairSearch search(task, task.assigned, ScratchOf(work), work.memory(), trace, list);
    for (int J = 0; J <= task.max_J(); ++J) {
        KIV_TRY(search.Run(J));
        KIV_TRY(Tell(report, Stage::Lines, J + 1, task.max_J() + 1));
    }
    search.Finish();
    if (trace) trace->LinesDone(list, search.num_negative());
    return {};
}

// Lower J that one thread takes at once: each needs the levels of its neighbours, too.
struct Stretch {
    int first, last;
};

// Stretches of about the same work, some for each thread, so that all end at about the same time.
std::vector<Stretch> StretchesOf(int max_J, int threads) {
    constexpr int kForEach = 12;
    const auto work = [](double J) { return J * J * J; };  // up to J
    std::vector<Stretch> stretches;
    for (int first = 0; first <= max_J;) {
        const double end = work(first) + work(max_J + 1) / (kForEach * threads);
        int last = first;
        while (last < max_J && work(last + 2) <= end) ++last;
        stretches.push_back({first, last});
        first = last + 1;
    }
    return stretches;
}

// Room for the lines of a stretch: its pairs of levels on average, but few where a cut-off leaves a
// part of them. Lists grow when they must.
std::int32_t RoomOfStretch(const LineTask& task, std::size_t stretches) {
    constexpr std::int32_t kFewLines = 4096;
    const double J = task.max_J() + 1.0;
    const std::int32_t most = task.rules->min_intensity > 0.0 ? kFewLines : kFirstLines;
    return static_cast<std::int32_t>(
        std::min<double>(4.0 * J * J * J / static_cast<double>(stretches), most));
}

// The assignments of lines from levels of these J.
AssignedSet AssignedOf(const AssignedSet& all, const Stretch& stretch) {
    const auto place = [&](int from_J) {
        const auto at = std::lower_bound(all.key.begin(), all.key.end(), LineKey(from_J, 0, 0, 0));
        return static_cast<std::size_t>(at - all.key.begin());
    };
    const std::size_t begin = place(stretch.first), end = place(stretch.last + 1);
    return {all.key.subspan(begin, end - begin), all.frequency.subspan(begin, end - begin),
            all.first + static_cast<std::int32_t>(begin)};
}

// Every thread takes the next stretch and leaves its lines to be put in order.
class SharedSearch {
  public:
    SharedSearch(const LineTask& task, Workspace& work, Report& report, LineList& list)
        : task_(task),
          work_(work),
          report_(report),
          has_begun_(static_cast<std::size_t>(work.threads().num())),
          stretches_(StretchesOf(task.max_J(), work.threads().num())),
          lines_(list, work.memory(), work.Part<SpareLists>(Workspace::Slot::SpareLists),
                 RoomOfStretch(task, stretches_.size())) {}

    Status Run() {
        work_.PrepareThreads();
        const int num = static_cast<int>(stretches_.size());
        work_.threads().Share(num, [this](int i, int thread) { RunOn(thread, i); });
        for (const int i : left_) RunOn(0, i);
        return std::move(status_);
    }

  private:
    // A thread without memory for its scratch leaves what it should do to the first one.
    void RunOn(int thread, int i) {
        if (failed_.load(std::memory_order_relaxed)) return;
        Status status = Begin(thread);
        if (!status && thread > 0) {
            const std::lock_guard lock(mutex_);
            left_.push_back(i);
            return;
        }
        if (status) status = RunStretch(i, ScratchOf(work_.OfThread(thread)));
        const Stretch& stretch = stretches_[static_cast<std::size_t>(i)];
        const int done = done_ += stretch.last - stretch.first + 1;
        if (status && thread == 0) status = Tell(report_, Stage::Lines, done, task_.max_J() + 1);
        if (!status) Fail(std::move(status));
    }

    // Each thread begins its own scratch, which takes as long as a stretch.
    Status Begin(int thread) {
        std::uint8_t& has_begun = has_begun_[static_cast<std::size_t>(thread)];
        if (has_begun != 0) return {};
        KIV_TRY(ScratchOf(work_.OfThread(thread)).Begin(work_.memory(), task_));
        has_begun = 1;
        return {};
    }

    Status RunStretch(int i, LineScratch& scratch) {
        Result<LineList> lines = lines_.TakeEmpty();
        if (!lines) return lines.error();
        const Stretch& stretch = stretches_[static_cast<std::size_t>(i)];
        const AssignedSet assigned = AssignedOf(task_.assigned, stretch);
        PairSearch search(task_, assigned, scratch, work_.memory(), nullptr, lines.value());
        for (int J = stretch.first; J <= stretch.last; ++J) KIV_TRY(search.Run(J));
        search.Finish();
        return lines_.Put(i, std::move(lines).value());
    }

    void Fail(Status status) {
        const std::lock_guard lock(mutex_);
        if (!failed_) status_ = std::move(status);
        failed_ = true;
    }

    const LineTask& task_;
    Workspace& work_;
    Report& report_;
    std::vector<std::uint8_t> has_begun_;  // 1: the scratch of a thread
    const std::vector<Stretch> stretches_;
    OrderedLines lines_;
    std::atomic<int> done_ = 0;
    std::atomic<bool> failed_ = false;
    std::mutex mutex_;
    std::vector<int> left_;  // stretches
    Status status_;
};

}  // namespace

Status SearchLines(const LineTask& task, Workspace& work, Report& report, LineList& list) {
    const bool shared = work.threads().num() > 1 && task.max_J() > 1 && !report.trace();
    KIV_TRY(shared ? SharedSearch(task, work, report, list).Run()
                   : SearchAlone(task, work, report, list));
    if (list.size > 0) return {};
    return Error{ErrorCode::NoLines, "no pair of levels makes a line", ""};
}

}  // namespace kiv
