// Console lines, log lines, traces and failure messages of a run: one guarded routine each.
//
// Until the log is open its lines are dropped, but a message that explains a failure goes to the
// console instead, so that the user learns why.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "kiv/files.h"

#if defined(__GNUC__)
// The first argument of a member is its object.
#define KIV_PRINTF_MEMBER __attribute__((format(printf, 2, 3)))
#else
#define KIV_PRINTF_MEMBER
#endif

namespace kiv {

/// What a run asks of its surroundings: pauses and answers. A test or a front end replaces them.
struct Surroundings {
    void (*wait)(int seconds);  // so that a message on the console can be read
    int (*ask_char)();          // one character of the user's answer, EOF when there is none
    bool (*ask_number)(double& value);  // one number, false when there is none

    /// Real pauses and standard input.
    static Surroundings Real();
};

/// Words by which users know the states.
inline constexpr const char* kStateLabels[kNumStates] = {"GROUND", "EXCITED"};

class Console {
  public:
    explicit Console(const Surroundings& surroundings) : surroundings_(surroundings) {}
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console() {
        if (log_) std::fclose(log_);
    }

    /// The switches in force; none before they are known.
    void SetDebug(const decltype(InputFile::debug)& switches) { debug_ = switches; }

    const Surroundings& surroundings() const { return surroundings_; }
    bool log_is_on() const { return log_ != nullptr; }

    /// True when a switch is exactly 1, whether or not there is a log.
    bool IsSwitchedOn(DebugPart part) const { return debug_[static_cast<std::size_t>(part)] == 1; }

    /// True when a switch is exactly 1 and the log is on.
    bool DebugIsOn(DebugPart part) const { return IsSwitchedOn(part) && log_is_on(); }

    /// True when a switch other than that of the input is on: the log is then the debug log.
    bool WantsDebugLog() const;

    /// Creates the log file; false when it cannot be created.
    bool OpenLog(const std::string& name);

    /// Closes the log; false when some line of it was not written.
    bool CloseLog();

    /// printf to standard output, flushed at once.
    void Put(const char* format, ...) KIV_PRINTF_MEMBER;

    /// printf to the log; nothing when it is off. Not flushed.
    void Log(const char* format, ...) KIV_PRINTF_MEMBER;

    /// The same line to the console and, when it is on, to the log.
    void Both(const char* format, ...) KIV_PRINTF_MEMBER;

    /// A failure message for the log; to the console when the log is off.
    void LogFail(const char* format, ...) KIV_PRINTF_MEMBER;

    void FlushLog();

    /// "ENTER <routine>()\n" and "EXIT <routine>()\n" to the log when the switch of all parts is
    /// on, flushed.
    void Enter(const char* routine);
    void Exit(const char* routine);

  private:
    const Surroundings surroundings_;
    std::FILE* log_ = nullptr;
    decltype(InputFile::debug) debug_{};
};

}  // namespace kiv
