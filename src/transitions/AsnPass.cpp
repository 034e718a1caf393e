#include "transitions/AsnPass.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "run/KivKey.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/LineMatch.h"
#include "transitions/LineStore.h"
#include "transitions/PairRules.h"

namespace {

struct Pair {
    int Jl, Ju;
    int Lower_Rank, Upper_Rank;

    std::int32_t Lower() const { return Jl * Jl + Lower_Rank; }
    std::int32_t Upper() const { return Ju * Ju + Upper_Rank; }
};

Pair PairOf(std::uint64_t key) {
    return {KeyJLower(key), KeyJUpper(key), KeyTauLower(key), KeyTauUpper(key)};
}

bool PassesParity(const Pair& p) {
    return Kiv.Parity_On != 1 ||
           HasParity(Kiv.Ka_Vector[ST_GND][p.Lower()], Kiv.Kc_Vector[ST_GND][p.Lower()],
                     Kiv.Ka_Vector[ST_EXC][p.Upper()], Kiv.Kc_Vector[ST_EXC][p.Upper()]);
}

bool IsBranch(int Jl, int Ju) {
    return Jl <= Kiv.Max_J && Ju <= Kiv.Max_J && std::abs(Jl - Ju) <= 1 && (Jl > 0 || Ju > 0);
}

// True when the full calculation would visit the pair.
bool IsVisited(const Pair& p) {
    if (!IsBranch(p.Jl, p.Ju) || p.Lower_Rank > 2 * p.Jl) return false;
    const UpperRange range = UpperRangeOf(Kiv.Ka_Vector[ST_GND][p.Lower()], p.Ju);
    return p.Upper_Rank >= range.First && p.Upper_Rank < range.Last && PassesParity(p);
}

double Position(const Pair& p) {
    return Kiv.Prm_Val[ST_EXC][PRM_ORI] + Kiv.HamErg_Vector[ST_EXC][p.Upper()] -
           Kiv.HamErg_Vector[ST_GND][p.Lower()];
}

// A line that goes down in energy is no line of a ground-only run.
bool IsLine(const Pair& p) { return Kiv.Gnd_Only != 1 || !(Position(p) < 0.0); }

// Calls visit(pair) for the pairs of one lower level and J' in order, or in reverse order; stops
// and returns true as soon as it returns true.
template <class Visit>
bool VisitUppers(Pair p, bool reverse, const Visit& visit) {
    const UpperRange range = UpperRangeOf(Kiv.Ka_Vector[ST_GND][p.Lower()], p.Ju);
    for (int i = range.First; i < range.Last; ++i) {
        p.Upper_Rank = reverse ? range.Last - 1 - (i - range.First) : i;
        if (PassesParity(p) && visit(p)) return true;
    }
    return false;
}

// Key of the last pair that the full calculation visits; 0 when it visits none.
std::uint64_t LastKey() {
    std::uint64_t last = 0;
    const auto note = [&](const Pair& p) {
        last = LineKey(p.Jl, p.Ju, p.Lower_Rank, p.Upper_Rank);
        return true;
    };
    for (int Jl = Kiv.Max_J; Jl >= 0; --Jl) {
        for (int Ju = Jl + 1; Ju >= std::max(0, Jl - 1); --Ju) {
            if (!IsBranch(Jl, Ju)) continue;
            for (int rank = 2 * Jl; rank >= 0; --rank) {
                if (VisitUppers({Jl, Ju, rank, 0}, true, note)) return last;
            }
        }
    }
    return last;
}

// Pairs whose lower level has a negative energy, which a run with a temperature reports.
std::int64_t CountNegative() {
    std::int64_t num = 0;
    if (!(Kiv.Temp[0] > 0.0)) return num;
    const auto count = [&](const Pair&) {
        ++num;
        return false;
    };
    for (int Jl = 0; Jl <= Kiv.Max_J; ++Jl) {
        for (int rank = 0; rank <= 2 * Jl; ++rank) {
            if (!(Kiv.HamErg_Vector[ST_GND][Jl * Jl + rank] < 0.0)) continue;
            for (int Ju = std::max(0, Jl - 1); Ju <= Jl + 1; ++Ju) {
                if (IsBranch(Jl, Ju)) VisitUppers({Jl, Ju, rank, 0}, false, count);
            }
        }
    }
    return num;
}

int PutLine(LineStore& store, const Pair& p) {
    constexpr std::int32_t kOnly = 0;
    double position = Position(p);
    float none[3] = {};  // a fit needs no intensity
    char band = 'C';
    const std::int32_t upper = p.Upper();
    const std::int16_t label[3] = {static_cast<std::int16_t>(p.Ju), Kiv.Ka_Vector[ST_EXC][upper],
                                   Kiv.Kc_Vector[ST_EXC][upper]};
    store.SetLower(p.Jl, p.Lower());
    return store.Put({&upper, label, {&position, none, &band, none, none}}, {&kOnly, 1});
}

bool HasAnyLine(const LineMatch& match) {
    for (std::int32_t k = match.First(); k < match.Last(); ++k) {
        const Pair p = PairOf(Kiv.AsnQN_Vector[k]);
        if (IsVisited(p) && IsLine(p)) return true;
    }
    return false;
}

}  // namespace

AsnPass CalcAssigned() {
    LineMatch match;
    if (DebugIsOn(DBG_II) || !HasAnyLine(match)) return AsnPass::Not_Enough;
    LineStore store;
    std::uint64_t previous = 0;
    for (std::int32_t k = match.First(); k < match.Last(); ++k) {
        const std::uint64_t key = Kiv.AsnQN_Vector[k];
        const Pair p = PairOf(key);
        if (key == previous || !IsVisited(p)) continue;  // a repeated key has no line of its own
        previous = key;
        match.Matches(key);
        if (!IsLine(p)) {
            match.Drop();
            continue;
        }
        match.Keep(Kiv.Num_Trs);
        if (!PutLine(store, p)) return AsnPass::Failed;
    }
    match.ReportBefore(LastKey());
    match.Finish();
    const std::int64_t negative = CountNegative();
    if (negative > 0) ConPut("NEGATIVE ERGS=[%lld]\n", static_cast<long long>(negative));
    return AsnPass::Done;
}
