#include "console/Console.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <thread>

namespace kiv {
namespace {

void WaitSeconds(int seconds) { std::this_thread::sleep_for(std::chrono::seconds(seconds)); }

int AskCharOfStdin() { return std::getchar(); }

bool AskNumberOfStdin(double& value) { return std::scanf("%lf", &value) == 1; }

}  // namespace

Surroundings Surroundings::Real() { return {WaitSeconds, AskCharOfStdin, AskNumberOfStdin}; }

bool Console::WantsDebugLog() const {
    constexpr DebugPart kParts[] = {DebugPart::All, DebugPart::Levels, DebugPart::Lines,
                                    DebugPart::LineSet, DebugPart::Fit};
    return std::any_of(std::begin(kParts), std::end(kParts),
                       [this](DebugPart part) { return IsSwitchedOn(part); });
}

bool Console::OpenLog(const std::string& name) {
    log_ = std::fopen(name.c_str(), "w");
    return log_ != nullptr;
}

bool Console::CloseLog() {
    const bool written = std::ferror(log_) == 0;
    const bool closed = std::fclose(log_) == 0;
    log_ = nullptr;
    return written && closed;
}

void Console::Put(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    std::fflush(stdout);
}

void Console::Log(const char* format, ...) {
    if (!log_) return;
    std::va_list args;
    va_start(args, format);
    std::vfprintf(log_, format, args);
    va_end(args);
}

void Console::Both(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    std::fflush(stdout);
    if (!log_) return;
    va_start(args, format);
    std::vfprintf(log_, format, args);
    va_end(args);
}

void Console::LogFail(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::vfprintf(log_ ? log_ : stdout, format, args);
    va_end(args);
    if (!log_) std::fflush(stdout);
}

void Console::FlushLog() {
    if (log_) std::fflush(log_);
}

void Console::Enter(const char* routine) {
    if (!DebugIsOn(DebugPart::All)) return;
    Log("ENTER %s()\n", routine);
    FlushLog();
}

void Console::Exit(const char* routine) {
    if (!DebugIsOn(DebugPart::All)) return;
    Log("EXIT %s()\n", routine);
    FlushLog();
}

}  // namespace kiv
