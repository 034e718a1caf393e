#include "run/KivTrace.h"

#include <cstdarg>
#include <cstdio>

#include "run/KivRecord.h"

namespace {

KIV_PRINTF(2, 0)
void PutList(std::FILE* stream, const char* format, std::va_list args) {
    std::vfprintf(stream, format, args);
}

KIV_PRINTF(1, 0)
void PutConsole(const char* format, std::va_list args) {
    PutList(stdout, format, args);
    std::fflush(stdout);
}

}  // namespace

bool LogIsOn() { return Kiv.Log_On == 1 && Kiv.Log_Fp != nullptr; }

bool DebugIsOn(int idx) { return Kiv.Debug_Stat[idx] == 1 && LogIsOn(); }

void LogPut(const char* format, ...) {
    if (!LogIsOn()) return;
    std::va_list args;
    va_start(args, format);
    PutList(Kiv.Log_Fp, format, args);
    va_end(args);
}

void ConPut(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    PutConsole(format, args);
    va_end(args);
}

void BothPut(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    PutConsole(format, args);
    va_end(args);
    if (!LogIsOn()) return;
    va_start(args, format);
    PutList(Kiv.Log_Fp, format, args);
    va_end(args);
}

int LogFail(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    if (LogIsOn()) {
        PutList(Kiv.Log_Fp, format, args);
    } else {
        PutConsole(format, args);
    }
    va_end(args);
    return 0;
}

int ConFail(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    PutConsole(format, args);
    va_end(args);
    return 0;
}

int CoreFail(const char* what) { return ConFail("%s - CORE ALLOCATION ERROR!\n", what); }

int CoreFailLog(const char* what) { return LogFail("%s - CORE ALLOCATION ERROR!\n", what); }

void LogFlush() {
    if (LogIsOn()) std::fflush(Kiv.Log_Fp);
}

void TraceEnter(const char* routine) {
    if (!DebugIsOn(DBG_ALL)) return;
    LogPut("ENTER %s()\n", routine);
    LogFlush();
}

int TraceExit(const char* routine) {
    if (DebugIsOn(DBG_ALL)) {
        LogPut("EXIT %s()\n", routine);
        LogFlush();
    }
    return 1;
}
