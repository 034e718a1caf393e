#include "console/CosineListing.h"

#include <algorithm>
#include <cstdint>

namespace kiv {
namespace {

void ListBranch(Console& log, const Cosines& cosines, int Jl, int Ju) {
    log.Log("CG %c BRANCH %d %d\n", Ju < Jl ? 'P' : Ju == Jl ? 'Q' : 'R', Jl, Ju);
    for (int Kl = -Jl; Kl <= Jl; ++Kl) {
        for (int Ku = -Ju; Ku <= Ju; ++Ku) log.Log("%10.2le", cosines.At(Jl, Kl, Ju, Ku));
        log.Log("\n");
    }
    log.Log("\n");
    const std::int64_t first = Cosines::BranchOffset(Jl, Ju);
    const std::int64_t end = Ju <= Jl ? Cosines::BranchOffset(Jl, Ju + 1) : CosineOffset(Jl + 1);
    for (std::int64_t i = first; i < end; ++i) {
        log.Log("%10.2le", cosines.factor[static_cast<std::size_t>(i)]);
    }
    log.Log("\n");
}

}  // namespace

void ListCosines(Console& console, const Cosines& cosines) {
    for (int Jl = 0; Jl <= cosines.max_J; ++Jl) {
        for (int Ju = Jl == 0 ? 1 : Jl - 1; Ju <= std::min(Jl + 1, cosines.max_J); ++Ju) {
            ListBranch(console, cosines, Jl, Ju);
        }
    }
}

}  // namespace kiv
