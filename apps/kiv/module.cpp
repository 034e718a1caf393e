// The program as a module of a browser or of Node: `kiv FILE` alone, without the commands.
#include "console/Run.h"
#include "kiv/array.h"
#include "system/Process.h"

int main(int argc, char** argv) {
    kiv::PrepareProcess();
    const kiv::Surroundings surroundings = kiv::Surroundings::Real();
    if (argc < 2) return kiv::SayUsage(surroundings);
    return kiv::RunInputFile(argv[1], surroundings, kiv::Memory());
}
