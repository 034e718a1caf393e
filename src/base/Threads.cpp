#include "kiv/threads.h"

#include <algorithm>
#include <atomic>
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

}  // namespace

// The threads beside the caller's, which sleep between runs.
class Threads::Team {
  public:
    explicit Team(int others) {
        [[maybe_unused]] const SignalsHeldOff held;
        try {
            for (int i = 1; i <= others; ++i) {
                threads_.emplace_back([this, i] { Serve(i); });
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
            busy_ = static_cast<int>(threads_.size());
            failure_ = nullptr;
            ++run_;
        }
        wake_.notify_all();
        Work(0);
        std::unique_lock lock(mutex_);
        done_.wait(lock, [this] { return busy_ == 0; });
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    void Serve(int thread) {
        std::uint64_t last_run = 0;
        while (true) {
            {
                std::unique_lock lock(mutex_);
                wake_.wait(lock, [&] { return is_over_ || run_ != last_run; });
                if (is_over_) return;
                last_run = run_;
            }
            Work(thread);
            const std::lock_guard lock(mutex_);
            if (--busy_ == 0) done_.notify_one();
        }
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
    int busy_ = 0;  // threads that have not finished it
    std::exception_ptr failure_;
    std::uint64_t run_ = 0;
    bool is_over_ = false;
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
