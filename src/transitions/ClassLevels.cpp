#include "transitions/ClassLevels.h"

#include <algorithm>

#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

constexpr double kSqrtTwo = 1.41421356237309504880;

int Take(KivArray<double>& arr, std::int64_t num) {
    return ArrAlloc(arr, num) > 0 ? 1 : CoreFail("ClassLevels()/Vectors");
}

}  // namespace

int ClassLevels::Init(int state, std::uint8_t kept) {
    State = state;
    Kept = kept;
    Finer = Kiv.Sym_Kept[state] != kept;
    const std::int64_t n = 2 * std::int64_t{Kiv.Max_J} + 1;
    if (ArrAlloc(Class_Of, n) < 0 || ArrAlloc(Index_Of, n) < 0 ||
        ArrAlloc(Num_Below, (n + 1) * kMaxBlocks) < 0) {
        return CoreFail("ClassLevels()/Levels");
    }
    if (!Finer) return 1;
    const std::int64_t room = n * VecLd(static_cast<int>(n)) + 2 * kVecStep;
    return Take(Full, n * n) && Take(New_Real, room) && (Kiv.Cplx_Ham != 1 || Take(New_Imag, room));
}

void ClassLevels::Load(int J) {
    if (Now == J) return;
    Now = J;
    Classes = BlocksOf(Kept, J);
    SortLevels();
    const int source = VecState(State);
    const KivArray<double>* parts[2] = {&Kiv.HamErgReal_Vector[source],
                                        &Kiv.HamErgImag_Vector[source]};
    KivArray<double>* rewritten[2] = {&New_Real, &New_Imag};
    for (int part = 0; part < (Kiv.Cplx_Ham == 1 ? 2 : 1); ++part) {
        if (Finer) Rewrite(*parts[part], *rewritten[part]);
        Start[part] = Finer ? rewritten[part]->Data() + kVecStep : VecStart(*parts[part], J);
    }
}

void ClassLevels::SortLevels() {
    const int n = 2 * Now + 1;
    const std::uint8_t* odd = &Kiv.Sym_Vector[State][static_cast<std::size_t>(Now) * Now];
    std::uint8_t class_of[SYM_ALL + 1] = {};
    for (int c = 0; c < Classes.Num; ++c) {
        class_of[Classes.Block[c].Odd] = static_cast<std::uint8_t>(c);
        if (c > 0) First_Level[c] = First_Level[c - 1] + Classes.Block[c - 1].N;
    }
    std::int32_t below[kMaxBlocks] = {};
    for (int rank = 0; rank < n; ++rank) {
        std::copy_n(below, kMaxBlocks, &Num_Below[static_cast<std::size_t>(rank) * kMaxBlocks]);
        const std::uint8_t c = class_of[odd[rank] & Kept];
        Class_Of[rank] = c;
        Index_Of[rank] = below[c]++;
    }
    std::copy_n(below, kMaxBlocks, &Num_Below[static_cast<std::size_t>(n) * kMaxBlocks]);
}

// The vectors of the state's own blocks over the functions of the classes.
void ClassLevels::Rewrite(const KivArray<double>& part, KivArray<double>& out) {
    const int n = 2 * Now + 1;
    ExpandVectors(State, Now, part, Full.Data());
    for (int rank = 0; rank < n; ++rank) {
        const int c = Class_Of[rank];
        const SymBlock& block = Classes.Block[c];
        const double* full = Full.Data() + std::int64_t{rank} * n + Now;
        double* v =
            out.Data() + kVecStep + Classes.Vec[c] + std::int64_t{Index_Of[rank]} * VecLd(block.N);
        for (int m = 0; m < block.N; ++m) {
            const int K = block.K(m);
            v[m] = block.Folded && K > 0 ? kSqrtTwo * full[K] : full[K];
        }
        std::fill(v + block.N, v + VecLd(block.N), 0.0);
    }
}
