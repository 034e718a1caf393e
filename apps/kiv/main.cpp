// The program: what its first argument asks for.
#include <cstdio>
#include <string_view>

#include "console/Console.h"
#include "console/Process.h"
#include "console/Run.h"
#include "kiv/array.h"
#include "kiv/files.h"

namespace {

constexpr char kHelp[] =
    "Usage: kiv INPUT-FILE\n"
    "       kiv --help | --version\n"
    "\n"
    "Computes and fits the rotational or rovibronic spectrum of an asymmetric-top\n"
    "molecule: levels of a lower (GROUND) and an upper (EXCITED) state, the lines\n"
    "between them and, from measured lines, the constants of both states.\n"
    "\n"
    "INPUT-FILE is a text file of settings; examples/ holds several to start from.\n"
    "It names the base name BASE of the results and the file of measured lines. Its\n"
    "number of least-squares cycles decides what is done:\n"
    "  above 0   the constants are fitted to the measured lines, all lines listed\n"
    "  0         the lines are calculated and listed\n"
    "  below 0   an Euler angle is scanned (table in KivScan.txt)\n"
    "\n"
    "Results, in the current folder unless BASE says otherwise:\n"
    "  BASE.log  settings, levels, fit and statistics (Kiv95_Debug.log to debug)\n"
    "  BASE.asc  line list, ascending frequency\n"
    "  BASE.QZS  line set in binary form, descending frequency\n"
    "  BASE.in   next input file, with the constants after the run\n"
    "Files of these names are overwritten, an input file called BASE.in included.\n"
    "\n"
    "The exit status is 1 when INPUT-FILE cannot be read, else 0, failed runs too;\n"
    "console and log say why a run stopped. README.md and docs/ explain all files,\n"
    "the formulas and the conventions.\n";

int ShowHelp() {
    std::fputs(kHelp, stdout);
    return 0;
}

int ShowVersion() {
    std::printf("kiv %s\n", kiv::kInputVersion);
    return 0;
}

// Words that stand alone; any other first argument is the name of an input file.
struct Command {
    std::string_view name;
    int (*run)();
    const char* line;  // what it does
};

constexpr Command kCommands[] = {
    {"--help", ShowHelp, "say how the program is used"},
    {"-h", ShowHelp, "the same"},
    {"--version", ShowVersion, "say which version it is"},
};

}  // namespace

int main(int argc, char** argv) {
    kiv::PrepareProcess();
    const kiv::Surroundings surroundings = kiv::Surroundings::Real();
    if (argc < 2) return kiv::SayUsage(surroundings);
    for (const Command& command : kCommands) {
        if (argc == 2 && command.name == argv[1]) return command.run();
    }
    return kiv::RunInputFile(argv[1], surroundings, kiv::Memory());
}
