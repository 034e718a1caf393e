#include "lines/AssignedLines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/LineKey.h"
#include "base/Trace.h"
#include "lines/LineMatch.h"
#include "lines/LineStore.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

struct Pair {
    int Jl, Ju;
    int lower_rank, upper_rank;

    std::int32_t lower() const { return Jl * Jl + lower_rank; }
    std::int32_t upper() const { return Ju * Ju + upper_rank; }
};

Pair PairOf(std::uint64_t key) {
    return {KeyJLower(key), KeyJUpper(key), KeyTauLower(key), KeyTauUpper(key)};
}

// The pairs of a task.
class Pairs {
  public:
    explicit Pairs(const LineTask& task) : task_(task), rules_(*task.rules) {}

    // True when a search would visit the pair.
    bool IsVisited(const Pair& p) const {
        if (!IsBranch(p.Jl, p.Ju) || p.lower_rank > 2 * p.Jl) return false;
        const UpperRange range = RangeOf(p);
        return p.upper_rank >= range.first && p.upper_rank < range.last && PassesParity(p);
    }

    double Position(const Pair& p) const {
        return task_.origin + task_.upper->energy[p.upper()] - task_.lower->energy[p.lower()];
    }

    // A pair that goes down in energy is no line of one state.
    bool IsLine(const Pair& p) const { return !task_.one_state() || !(Position(p) < 0.0); }

    // Key of the last pair that a search visits; 0 when it visits none.
    std::uint64_t LastKey() const;

    // Pairs whose lower level has a negative energy, which a search with a temperature counts.
    std::int64_t CountNegative() const;

  private:
    bool IsBranch(int Jl, int Ju) const {
        return Jl <= task_.max_J() && Ju <= task_.max_J() && std::abs(Jl - Ju) <= 1 &&
               (Jl > 0 || Ju > 0);
    }
    UpperRange RangeOf(const Pair& p) const {
        return UpperRangeOf(rules_.delta_K, task_.lower->ka[p.lower()], p.Ju);
    }
    bool PassesParity(const Pair& p) const {
        return !rules_.parity ||
               HasParity(*rules_.parity, task_.lower->ka[p.lower()], task_.lower->kc[p.lower()],
                         task_.upper->ka[p.upper()], task_.upper->kc[p.upper()]);
    }
    // Calls visit(pair) for the pairs of one lower level and J' in order, or in reverse order;
    // stops and returns true as soon as it returns true.
    template <class Visit>
    bool VisitUppers(Pair p, bool reverse, const Visit& visit) const {
        const UpperRange range = RangeOf(p);
        for (int i = range.first; i < range.last; ++i) {
            p.upper_rank = reverse ? range.last - 1 - (i - range.first) : i;
            if (PassesParity(p) && visit(p)) return true;
        }
        return false;
    }

    const LineTask& task_;
    const LineRules& rules_;
};

std::uint64_t Pairs::LastKey() const {
    std::uint64_t last = 0;
    const auto note = [&](const Pair& p) {
        last = LineKey(p.Jl, p.Ju, p.lower_rank, p.upper_rank);
        return true;
    };
    for (int Jl = task_.max_J(); Jl >= 0; --Jl) {
        for (int Ju = Jl + 1; Ju >= std::max(0, Jl - 1); --Ju) {
            if (!IsBranch(Jl, Ju)) continue;
            for (int rank = 2 * Jl; rank >= 0; --rank) {
                if (VisitUppers({Jl, Ju, rank, 0}, true, note)) return last;
            }
        }
    }
    return last;
}

std::int64_t Pairs::CountNegative() const {
    std::int64_t num = 0;
    if (!(rules_.temperature > 0.0)) return num;
    const auto count = [&](const Pair&) {
        ++num;
        return false;
    };
    for (int Jl = 0; Jl <= task_.max_J(); ++Jl) {
        for (int rank = 0; rank <= 2 * Jl; ++rank) {
            if (!(task_.lower->Energy(Jl, rank) < 0.0)) continue;
            for (int Ju = std::max(0, Jl - 1); Ju <= Jl + 1; ++Ju) {
                if (IsBranch(Jl, Ju)) VisitUppers({Jl, Ju, rank, 0}, false, count);
            }
        }
    }
    return num;
}

Status PutLine(LineStore& store, const LineTask& task, const Pair& p, double position) {
    constexpr std::int32_t kOnly = 0;
    float none[3] = {};  // a fit needs no intensity
    char band = 'C';
    const std::int32_t upper = p.upper();
    const std::int16_t label[3] = {static_cast<std::int16_t>(p.Ju), task.upper->ka[upper],
                                   task.upper->kc[upper]};
    store.SetLower(MakeLower(task, p.Jl, p.lower_rank));
    return store.Put({&upper, label, {&position, none, &band, none, none}}, {&kOnly, 1});
}

}  // namespace

Result<bool> FindAssigned(const LineTask& task, const Memory& memory, Report& report,
                          LineList& list) {
    Trace* const trace = report.trace();
    if (trace && trace->WantsPairs()) return false;
    const Pairs pairs(task);
    const auto& keys = task.assigned.key;
    const auto has_line = [&](std::uint64_t key) {
        const Pair p = PairOf(key);
        return pairs.IsVisited(p) && pairs.IsLine(p);
    };
    if (std::none_of(keys.begin(), keys.end(), has_line)) return false;
    LineMatch match(task.assigned, list, trace);
    LineStore store(list, memory, trace);
    std::uint64_t previous = 0;
    for (const std::uint64_t key : keys) {
        const Pair p = PairOf(key);
        if (key == previous || !pairs.IsVisited(p))
            continue;  // a repeated key has no line of its own
        previous = key;
        match.Matches(key);
        if (!pairs.IsLine(p)) {
            match.Drop();
            continue;
        }
        match.Keep(list.size);
        KIV_TRY(PutLine(store, task, p, pairs.Position(p)));
    }
    match.TellBefore(pairs.LastKey());
    match.Finish();
    if (trace) trace->LinesDone(list, pairs.CountNegative());
    return true;
}

}  // namespace kiv
