// The commands of the program.
#pragma once

#include <string>
#include <string_view>

#include "commands/Request.h"
#include "commands/Terminal.h"

namespace kiv {

// Each does what a request asks for and returns the exit status.
int Check(const Request& request, Terminal& terminal);
int Run(const Request& request, Terminal& terminal);
int MakeReport(const Request& request, Terminal& terminal);
int Import(const Request& request, Terminal& terminal);
int Convert(const Request& request, Terminal& terminal);
int New(const Request& request, Terminal& terminal);
int ExportProduct(const Request& request, Terminal& terminal);
int ViewSpectrum(const Request& request, Terminal& terminal);
int Help(const Request& request, Terminal& terminal);
int Version(const Request& request, Terminal& terminal);

/// A command as users know it.
struct CommandInfo {
    CommandName command;
    const char* name;
    const char* arguments;  // how they are written behind it
    const char* summary;
    int (*run)(const Request& request, Terminal& terminal);  // null: not in this version
    const char* help;                                        // what `kiv help COMMAND` adds
};

const CommandInfo& InfoOf(CommandName command);

/// The command of a word; null when it is none.
const CommandInfo* CommandNamed(std::string_view word);

/// False for `kiv FILE` with an input file of the old form: one argument that is no command, no
/// option and no named input.
bool IsCommandLine(int argc, const char* const* argv);

/// Runs a whole command line and returns the exit status.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace kiv
