// The program: `kiv FILE` with an input file of the old form, or a command.
#include "commands/Commands.h"
#include "console/Run.h"
#include "kiv/array.h"
#include "system/Process.h"

int main(int argc, char** argv) {
    kiv::PrepareProcess();
    const kiv::Surroundings surroundings = kiv::Surroundings::Real();
    if (argc < 2) return kiv::SayUsage(surroundings);
    if (kiv::IsCommandLine(argc, argv)) return kiv::RunCommandLine(argc, argv);
    return kiv::RunInputFile(argv[1], surroundings, kiv::Memory());
}
