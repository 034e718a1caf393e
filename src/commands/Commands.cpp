#include "commands/Commands.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>

#include "system/TextFile.h"

namespace kiv {

namespace {

bool IsNamedInput(std::string_view word) {
    return word.ends_with(".toml") && !word.starts_with('-');
}

// By itself a named input might be calculated or only be checked.
int PointToRun(const std::string& file) {
    Terminal({}).Fail(file + " is a named input; to calculate it: kiv run " + file);
    return kWrongUse;
}

}  // namespace

bool IsCommandLine(int argc, const char* const* argv) {
    const std::string_view word = argv[1];
    return argc > 2 || word.starts_with('-') || CommandNamed(word) || IsNamedInput(word);
}

int RunCommandLine(int argc, const char* const* argv) {
    signal(SIGPIPE, SIG_DFL);  // nobody reads on: the program ends, as every command does
    if (argc == 2 && IsNamedInput(argv[1])) return PointToRun(argv[1]);
    Terminal::Options options;
    try {
        const Result<Request> read = ReadCommandLine(argc, argv);
        if (!read) {
            Terminal(options).Fail(read.error().text);
            return kWrongUse;
        }
        const Request& request = read.value();
        options.quiet = request.quiet;
        options.no_color = request.no_color;
        Terminal terminal(options);
        const CommandInfo& info = InfoOf(request.command);
        if (!info.run) {
            terminal.Fail(std::string("this version does not have kiv ") + info.name + " yet.");
            return kWrongUse;
        }
        if (!request.folder.empty() && chdir(request.folder.c_str()) != 0) {
            terminal.Fail("-C " + request.folder + ": " + ReasonText(errno));
            return kFileFailed;
        }
        return info.run(request, terminal);
    } catch (const std::bad_alloc&) {
        Terminal(options).Fail("there is not enough memory.");
        return kNoResult;
    } catch (const std::exception& fault) {
        Terminal(options).Fail(std::string("a fault of the program, please report it: ") +
                               fault.what());
        return kProgramFault;
    }
}

}  // namespace kiv
