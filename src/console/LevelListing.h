// What the log shows of the levels of one J: matrix, derivatives, energies, eigenvectors.
#pragma once

#include "console/Console.h"
#include "kiv/levels.h"
#include "model/Frames.h"

namespace kiv {

struct ListedState {
    StateIndex index;
    const TurnedState* turned;
    bool is_complex;
};

/// Lists the levels of `J`, as far as switches and ranges of the run ask for it.
void ListLevels(Console& console, const InputFile& file, const ListedState& state,
                const Levels& levels, int J);

}  // namespace kiv
