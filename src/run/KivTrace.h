// Console lines, log lines, traces and failure messages: one guarded routine each.
//
// The log is on when Log_On is 1 and its stream is open; until then log lines are dropped, but a
// message that explains a failure goes to the console instead, so that the user learns why.
#pragma once

#if defined(__GNUC__)
#define KIV_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define KIV_PRINTF(fmt, args)
#endif

bool LogIsOn();

/// True when switch `idx` (DebugIdx) is exactly 1 and the log is on.
bool DebugIsOn(int idx);

/// printf to the log; nothing when it is off. Not flushed.
void LogPut(const char* format, ...) KIV_PRINTF(1, 2);

/// printf to standard output, flushed at once.
void ConPut(const char* format, ...) KIV_PRINTF(1, 2);

/// The same line to the console and, when it is on, to the log.
void BothPut(const char* format, ...) KIV_PRINTF(1, 2);

/// A failure message for the log; to the console when the log is off. Always 0.
int LogFail(const char* format, ...) KIV_PRINTF(1, 2);

/// A failure message for the console. Always 0.
int ConFail(const char* format, ...) KIV_PRINTF(1, 2);

/// Writes "<what> - CORE ALLOCATION ERROR!\n" to the console. Always 0.
int CoreFail(const char* what);

/// The same to the log (to the console when the log is off). Always 0.
int CoreFailLog(const char* what);

void LogFlush();

/// "ENTER <routine>()\n" to the log when the ALL switch is on, flushed.
void TraceEnter(const char* routine);

/// "EXIT <routine>()\n" likewise. Always 1, the result of a routine that succeeded.
int TraceExit(const char* routine);
