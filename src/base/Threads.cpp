#include "kiv/threads.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#ifdef __unix__
#include <pthread.h>
#include <signal.h>
#endif

#include "base/MachineCores.h"

namespace kiv {
namespace {

// Holds signals off while threads are started, which inherit that: what ends the program finds the
// thread that knows which files are half-written. Faults and failed writes still meet their thread.
class SignalsHeldOff {
  public:
#ifdef __unix__
    SignalsHeldOff() {
        sigset_t held;
        sigfillset(&held);
        for (const int own :
             {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGPIPE, SIGXFSZ}) {
            sigdelset(&held, own);
        }
        pthread_sigmask(SIG_BLOCK, &held, &before_);
    }
    ~SignalsHeldOff() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeldOff(const SignalsHeldOff&) = delete;
    SignalsHeldOff& operator=(const SignalsHeldOff&) = delete;

  private:
    sigset_t before_;
#endif
};

// Tells the core that a loop waits for another one.
void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// Waits a while for what is about to happen, without sleep: waking a thread takes longer than many
// a run.
template <class Condition>
void SpinUntil(const Condition& happened) {
    constexpr int kFew = 64;  // looks in a row before another thread may have the core
    constexpr std::chrono::microseconds kSoon{1000};
    const auto end = std::chrono::steady_clock::now() + kSoon;
    do {
        for (int i = 0; i < kFew; ++i) {
            if (happened()) return;
            Pause();
        }
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() < end);
}

}  // namespace

// The threads beside the caller's, which sleep between runs. A thread that wakes when the others
// have done everything is not waited for.
class Threads::Team {
  public:
    explicit Team(int others) {
        [[maybe_unused]] const SignalsHeldOff held;
        try {
            for (int i = 1; i <= others; ++i) {
                BeginElsewhere(threads_.emplace_back([this, i] { Serve(i); }));
            }
        } catch (const std::system_error&) {  // no more threads: those that there are do it all
        }
    }

    ~Team() {
        {
            const std::lock_guard lock(mutex_);
            is_over_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }

    Team(const Team&) = delete;
    Team& operator=(const Team&) = delete;

    void Share(int parts, const std::function<void(int, int)>& part) {
        {
            const std::lock_guard lock(mutex_);
            part_ = &part;
            parts_ = parts;
            next_.store(0);
            failure_ = nullptr;
            is_open_ = true;
            ++run_;
        }
        wake_.notify_all();
        Work(0);
        {
            const std::lock_guard lock(mutex_);
            is_open_ = false;
        }
        SpinUntil([this] { return busy_.load() == 0; });
        std::unique_lock lock(mutex_);
        done_.wait(lock, [this] { return busy_ == 0; });
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    void Serve(int thread) {
        for (std::uint64_t last_run = 0; Enter(last_run);) {
            Work(thread);
            const std::lock_guard lock(mutex_);
            if (--busy_ == 0) done_.notify_one();
        }
    }

    // Waits for a run after `last_run` that still has parts. False when the team is over.
    bool Enter(std::uint64_t& last_run) {
        const auto is_called = [&] { return is_over_ || (is_open_ && run_ != last_run); };
        SpinUntil(is_called);
        std::unique_lock lock(mutex_);
        wake_.wait(lock, is_called);
        if (is_over_) return false;
        last_run = run_;
        ++busy_;
        return true;
    }

    void Work(int thread) {
        try {
            for (int i = next_++; i < parts_; i = next_++) (*part_)(i, thread);
        } catch (...) {
            const std::lock_guard lock(mutex_);
            next_.store(parts_);
            if (!failure_) failure_ = std::current_exception();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_, done_;
    // of the run at hand
    const std::function<void(int, int)>* part_ = nullptr;
    int parts_ = 0;
    std::atomic<int> next_{0};
    std::atomic<int> busy_{0};          // threads that work on it, beside the caller's
    std::atomic<bool> is_open_{false};  // for more of them
    std::exception_ptr failure_;
    std::atomic<std::uint64_t> run_{0};
    std::atomic<bool> is_over_{false};
    std::vector<std::thread> threads_;
};

#ifdef __EMSCRIPTEN__
Threads::Threads(int) {}
#else
Threads::Threads(int num) : num_(std::max(1, num)) {}
#endif

Threads::~Threads() = default;
Threads::Threads(Threads&&) noexcept = default;
Threads& Threads::operator=(Threads&&) noexcept = default;

void Threads::Share(int parts, const std::function<void(int, int)>& part) {
    if (num_ == 1 || parts <= 1) {
        for (int i = 0; i < parts; ++i) part(i, 0);
        return;
    }
    if (!team_) team_ = std::make_unique<Team>(num_ - 1);
    team_->Share(parts, part);
}

}  // namespace kiv
