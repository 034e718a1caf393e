#include "lines/PairSearch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "base/Failure.h"
#include "base/LineKey.h"
#include "base/Trace.h"
#include "lines/BoltzmannFactors.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kLastRank = 0xFFFF;  // of a LineKey

}  // namespace

PairSearch::PairSearch(const LineTask& task, const AssignedSet& assigned, LineScratch& scratch,
                       const Memory& memory, Trace* trace, LineList& list)
    : task_(task),
      rules_(*task.rules),
      s_(scratch),
      trace_(trace),
      listening_(trace_ && trace_->WantsPairs()),
      list_(list),
      weights_(rules_, task.one_state()),
      chooser_(task, scratch, memory),
      keep_dark_(weights_.is_on() && !(rules_.min_intensity >= 0.0)),
      match_(assigned, list, trace_),
      store_(list, memory, trace_) {
    SetValues();
}

// What the pairs of all levels have in common.
void PairSearch::SetValues() {
    values_.is_complex = task_.is_complex();
    values_.scaled = weights_.is_on();
    values_.skip_dark = !keep_dark_;
    values_.upward_only = task_.one_state();
    values_.cutoff = rules_.min_intensity;
    values_.is_ranged = rules_.range.has_value();
    values_.lowest = rules_.range ? (*rules_.range)[0] : -kInfinity;
    values_.highest = rules_.range ? (*rules_.range)[1] : kInfinity;
    values_.origin = task_.origin;
    std::copy_n(task_.projection.begin(), kNumBands, values_.projection);
    values_.boltzmann = s_.factor.data();
    values_.raw = s_.raw.data();
    values_.strength = s_.strength.data();
    values_.dropped = s_.dropped.data();
    values_.any_dropped = &any_dropped_;
    scratch_values_ = {s_.position.data(), s_.intensity.data(), s_.band.data(),
                       list_.amplitude_real.is_null() ? nullptr : s_.amplitude_real.data(),
                       list_.amplitude_imag.is_null() ? nullptr : s_.amplitude_imag.data()};
}

Status PairSearch::Run(int J) {
    if (listening_) trace_->LowerJ(J);
    if (chooser_.is_on()) chooser_.SetLowerJ(J);
    for (int Ju = J == 0 ? 1 : J - 1; Ju <= std::min(J + 1, task_.max_J()); ++Ju) {
        KIV_TRY(RunBranch(J, Ju));
    }
    return KeepChosen();
}

Status PairSearch::RunBranch(int Jl, int Ju) {
    sums_are_ready_ = false;
    FillBounds(Ju);
    const bool is_cut = chooser_.is_on() && !listening_;
    if (is_cut) KIV_TRY(ChoosePairs(Jl, Ju));
    if (!is_cut || trace_ || match_.HasUpTo(LineKey(Jl, Ju, kLastRank, kLastRank))) {
        for (int rank = 0; rank <= 2 * Jl; ++rank) {
            if (is_cut && !IsWanted(Jl, Ju, rank)) continue;
            KIV_TRY(RunLevel(MakeLower(task_, Jl, rank), Ju));
        }
    }
    if (is_cut) KIV_TRY(KeepBefore(2 * Jl + 1));
    if (listening_) trace_->Branch(Jl, Ju);
    return {};
}

// The pairs of the branch that the cut-off may leave.
Status PairSearch::ChoosePairs(int Jl, int Ju) {
    if (!chooser_.SetBranch(Jl, Ju, s_.highest[2 * Ju])) return {};
    PrepareSums(Jl, Ju);
    chooser_.MarkGroups();
    for (int rank = 0; rank <= 2 * Jl; ++rank) {
        if (chooser_.Leads(rank)) s_.ranges[rank] = RangeOf(s_.lowers[rank].level, Ju);
    }
    return chooser_.Choose(s_.ranges.Part(0, static_cast<std::size_t>(2 * Jl + 1)));
}

// The upper levels that a cut-off may leave lines with.
UpperRange PairSearch::RangeOf(const LowerLevel& lower, int Ju) {
    UpperRange range = UpperRangeOf(rules_.delta_K, lower.ka, Ju);
    range.first = std::min(std::max(range.first, FirstUpward(lower, Ju)), range.last);
    if (rules_.range) KeepInRange(lower, range);
    return range;
}

// True when somebody may want to know of the pairs of a level that the cut-off leaves out.
bool PairSearch::IsWanted(int Jl, int Ju, int rank) const {
    return match_.HasUpTo(LineKey(Jl, Ju, rank, kLastRank)) ||
           (trace_ && weights_.IsNegative(task_.lower->energy[Levels::Index(Jl, rank)]));
}

Status PairSearch::RunLevel(const LowerLevel& lower, int Ju) {
    const UpperRange range = UpperRangeOf(rules_.delta_K, lower.ka, Ju);
    if (range.first >= range.last) return {};
    const bool matched = match_.HasUpTo(LineKey(lower.J, Ju, lower.rank, range.last - 1));
    // pairs that are matched, counted or told are looked at one by one, the dark ones included
    const bool is_counted = trace_ && weights_.IsNegative(lower.energy);
    const bool one_by_one = listening_ || matched || is_counted;
    if (chooser_.is_on() && !one_by_one) return {};  // the pairs are chosen already
    Window window{range, one_by_one};
    window.first = std::min(std::max(range.first, FirstUpward(lower, Ju)), range.last);
    if (one_by_one) {
        PassDownward(lower, Ju, range.first, window.first);
    } else if (rules_.range) {
        KeepInRange(lower, window);
    }
    if (window.first >= window.last) return {};
    PrepareSums(lower.J, Ju);
    return RunAll(lower, Ju, window);
}

// The sums of a branch none of whose levels is looked at are not prepared.
void PairSearch::PrepareSums(int Jl, int Ju) {
    if (sums_are_ready_) return;
    s_.sums.SetBranch(Jl, Ju);
    sums_are_ready_ = true;
}

Status PairSearch::RunAll(const LowerLevel& lower, int Ju, const Window& window) {
    if (chooser_.is_on() && !listening_) {
        KIV_TRY(KeepBefore(lower.rank));
        KIV_TRY(KeepChosen());
        chooser_.PassOver(lower.rank);
    }
    const PartnerList& list =
        window.one_by_one || keep_dark_ ? s_.sums.AllPartners() : s_.sums.Partners(lower.rank);
    PairsOfLevel& pairs = s_.pairs;
    pairs.J_upper = Ju;
    pairs.list = &list;
    pairs.place = list.below[window.first];
    SetLevel(lower, list.energy + pairs.place, list.below[window.last] - pairs.place);
    if (pairs.num == 0) return {};
    s_.sums.Compute(lower.rank, list, window.first, window.last, pairs.amplitudes);
    // pairs that are looked at one by one stay out of the list until then
    values_.lines =
        window.one_by_one ? scratch_values_ : store_.PlaceFor(pairs.num, scratch_values_);
    batch_ = {list.index + pairs.place, list.label + std::ptrdiff_t{6} * pairs.place,
              values_.lines};
    for (int type = 0; type < kNumBands; ++type) {
        values_.re[type] = pairs.amplitudes.real[type].data();
        values_.im[type] = pairs.amplitudes.imag[type].data();
    }
    EvaluatePairs(pairs.num, pairs.of_lower());
    return window.one_by_one ? KeepOneByOne() : KeepLines();
}

// Those of the chosen pairs that are left of the levels before `rank`; pairs of many levels are
// looked at together.
Status PairSearch::KeepBefore(int rank) {
    while (chooser_.TakeBefore(rank)) KIV_TRY(KeepChosen());
    return {};
}

void PairSearch::FillBounds(int Ju) {
    upward_ = 0;
    const bool is_ranged = rules_.range.has_value();
    if ((!task_.one_state() && !chooser_.is_on() && !is_ranged) || listening_) return;
    const double* energy = &task_.upper->energy[Levels::Index(Ju, 0)];
    double highest = energy[0];
    for (int rank = 0; rank <= 2 * Ju; ++rank) {
        highest = std::max(highest, energy[rank]);
        s_.highest[rank] = highest;
    }
    if (!is_ranged) return;
    double lowest = energy[2 * Ju];
    for (int rank = 2 * Ju; rank >= 0; --rank) {
        lowest = std::min(lowest, energy[rank]);
        s_.lowest[rank] = lowest;
    }
}

// Of one state the pairs that go down in energy, the first of a J', have no line. From one lower
// level to the next the first one that goes up hardly moves.
int PairSearch::FirstUpward(const LowerLevel& lower, int Ju) {
    if (!task_.one_state() || listening_) return 0;
    const auto goes_down = [&](int rank) {
        return task_.origin + s_.highest[rank] - lower.energy < 0.0;
    };
    while (upward_ > 0 && !goes_down(upward_ - 1)) --upward_;
    while (upward_ <= 2 * Ju && goes_down(upward_)) ++upward_;
    return upward_;
}

// Narrows a range of upper levels to those that lie within the range, and others between them. An
// energy that is not a number is above and below nothing: it may be left out, too.
void PairSearch::KeepInRange(const LowerLevel& lower, UpperRange& range) const {
    const auto position = [&](double energy) { return task_.origin + energy - lower.energy; };
    const double* const highest = s_.highest.data();
    const double* const lowest = s_.lowest.data();
    range.first = static_cast<int>(
        std::partition_point(highest + range.first, highest + range.last,
                             [&](double E) { return position(E) < values_.lowest; }) -
        highest);
    range.last = static_cast<int>(
        std::partition_point(lowest + range.first, lowest + range.last,
                             [&](double E) { return !(position(E) > values_.highest); }) -
        lowest);
}

// Pairs without a line are matched and counted without amplitudes.
void PairSearch::PassDownward(const LowerLevel& lower, int Ju, int first, int last) {
    const std::uint64_t key = LineKey(lower.J, Ju, lower.rank, 0);
    for (int rank = first; rank < last; ++rank) {
        if (!HasParityOf(lower, Ju * Ju + rank)) continue;
        if (match_.Matches(key + static_cast<std::uint64_t>(rank))) match_.Drop();
        num_negative_ += weights_.IsNegative(lower.energy);
    }
}

// Makes `lower` the lower level of `num` pairs with upper levels of these energies.
void PairSearch::SetLevel(const LowerLevel& lower, const double* energy, int num) {
    s_.pairs.SetLower(WeighedOf(lower, weights_), num);
    values_.energy = energy;
    store_.SetLower(lower);
}

// Of pairs whose amplitudes and upper energies are known.
void PairSearch::EvaluatePairs(int num, const LowerValues& lower) {
    values_.num = num;
    values_.lower_energy = lower.energy;
    values_.spin_weight = lower.spin_weight;
    values_.spin_root = lower.spin_root;
    if (weights_.is_on()) {
        FillFactors(
            {weights_, num, values_.energy, lower.energy, lower.x1, lower.x2, s_.factor.data()});
    }
    Evaluate(values_);
}

bool PairSearch::IsWeak(int pair) const {
    const double strength = s_.strength[pair];
    return weights_.is_on() ? strength <= rules_.min_intensity : strength == 0.0;
}

// No pair of the level is assigned.
Status PairSearch::KeepLines() {
    const PairsOfLevel& pairs = s_.pairs;
    if (!any_dropped_ && !rules_.parity) return store_.PutAll(batch_, pairs.num);
    std::size_t kept = 0;
    for (std::int32_t i = 0; i < pairs.num; ++i) {
        s_.lines[kept] = i;
        kept += s_.dropped[i] == 0 && HasParityOf(pairs.lower, batch_.upper[i]);
    }
    return store_.Put(batch_, {s_.lines.data(), kept});
}

// The pairs that a cut-off may leave, of all levels since the last time.
Status PairSearch::KeepChosen() {
    const int num = s_.chosen ? std::exchange(s_.chosen->num, 0) : 0;
    if (num == 0) return {};
    const ChosenPairs& chosen = *s_.chosen;
    for (int type = 0; type < kNumBands; ++type) {
        values_.re[type] = chosen.real[type];
        values_.im[type] = chosen.imag[type];
    }
    values_.energy = chosen.upper_energy;
    values_.lines = store_.PlaceFor(num, scratch_values_);
    batch_ = {chosen.upper, chosen.label, values_.lines, chosen.lower};
    EvaluatePairs(num, chosen.of_lower());
    if (!any_dropped_) return store_.PutAll(batch_, num);
    std::size_t kept = 0;
    for (std::int32_t i = 0; i < num; ++i) {
        s_.lines[kept] = i;
        kept += s_.dropped[i] == 0;
    }
    return store_.Put(batch_, {s_.lines.data(), kept});
}

// All upper levels of the range, one after the other; places are energy ranks.
Status PairSearch::KeepOneByOne() {
    const PairsOfLevel& pairs = s_.pairs;
    const std::uint64_t key = LineKey(pairs.lower.J, pairs.J_upper, pairs.lower.rank, pairs.place);
    for (std::int32_t i = 0; i < pairs.num; ++i) {
        if (!HasParityOf(pairs.lower, batch_.upper[i])) continue;
        const bool matched = match_.Matches(key + static_cast<std::uint64_t>(i));
        num_negative_ += weights_.IsNegative(pairs.lower.energy);
        const bool dark = s_.raw[i] == 0.0 && !keep_dark_;
        if (listening_) trace_->Pair(View(i));
        if ((dark || IsWeak(i)) && !matched) continue;
        if (task_.one_state() && s_.position[i] < 0.0) {
            if (matched) match_.Drop();
            continue;
        }
        if (IsOutOfRange(s_.position[i])) continue;
        if (matched) match_.Keep(list_.size);
        KIV_TRY(store_.Put(batch_, {&i, 1}));
        if (listening_) trace_->KeptPair(list_, View(i), task_.origin);
    }
    return {};
}

bool PairSearch::HasParityOf(const LowerLevel& lower, std::int32_t upper) const {
    return !rules_.parity || HasParity(*rules_.parity, lower.ka, lower.kc, task_.upper->ka[upper],
                                       task_.upper->kc[upper]);
}

PairView PairSearch::View(int pair) const {
    const PairsOfLevel& pairs = s_.pairs;
    PairView view{};
    view.J_lower = pairs.lower.J;
    view.rank_lower = pairs.lower.rank;
    view.J_upper = pairs.J_upper;
    view.rank_upper = pairs.place + pair;
    view.lower = task_.lower;
    view.upper = task_.upper;
    for (std::size_t type = 0; type < kNumBands; ++type) {
        view.amplitude_real[type] = pairs.amplitudes.real[type][pair];
        if (task_.is_complex()) view.amplitude_imag[type] = pairs.amplitudes.imag[type][pair];
    }
    view.projection = task_.projection;
    view.strength = s_.strength[pair];
    return view;
}

}  // namespace kiv
