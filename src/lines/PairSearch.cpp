#include "lines/PairSearch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "base/Failure.h"
#include "base/LineKey.h"
#include "base/Trace.h"
#include "lines/PairRules.h"
#include "lines/PairSelection.h"

namespace kiv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

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
      bound_(scratch.bound),
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
                       s_.amplitude_real.data(), s_.amplitude_imag.data()};
}

Status PairSearch::Run(int J) {
    if (listening_) trace_->LowerJ(J);
    if (bound_.is_on()) s_.groups.SetLowerJ(J, bound_);
    for (int Ju = J == 0 ? 1 : J - 1; Ju <= std::min(J + 1, task_.max_J()); ++Ju) {
        KIV_TRY(RunBranch(J, Ju));
    }
    return {};
}

Status PairSearch::RunBranch(int Jl, int Ju) {
    sums_are_ready_ = groups_are_marked_ = false;
    FillBounds(Ju);
    const bool is_cut = bound_.is_on() && !listening_;
    if (is_cut) {
        bound_.SetBranch(Jl, Ju, s_.highest[2 * Ju]);
        groups_are_marked_ = s_.groups.HasAny(bound_);
        if (groups_are_marked_) {
            PrepareSums(Jl, Ju);
            s_.groups.MarkBranch(Ju, s_.sums, bound_);
        }
    }
    for (int rank = 0; rank <= 2 * Jl; ++rank) {
        if (is_cut && IsCutOff(Jl, Ju, rank)) continue;
        KIV_TRY(RunLevel(MakeLower(task_, Jl, rank), Ju));
    }
    if (listening_) trace_->Branch(Jl, Ju);
    return {};
}

// True when the cut-off leaves nothing of a level and nobody wants to know of its pairs.
bool PairSearch::IsCutOff(int Jl, int Ju, int rank) const {
    constexpr int kLastUpper = 0xFFFF;
    if (match_.HasUpTo(LineKey(Jl, Ju, rank, kLastUpper))) return false;
    if (trace_ && weights_.IsNegative(task_.lower->energy[Levels::Index(Jl, rank)])) return false;
    return !groups_are_marked_ || s_.groups.Leads(rank) == 0;
}

Status PairSearch::RunLevel(const LowerLevel& lower, int Ju) {
    const UpperRange range = UpperRangeOf(rules_.delta_K, lower.ka, Ju);
    if (range.first >= range.last) return {};
    const bool matched = match_.HasUpTo(LineKey(lower.J, Ju, lower.rank, range.last - 1));
    // pairs that are matched, counted or told are looked at one by one, the dark ones included
    const bool is_counted = trace_ && weights_.IsNegative(lower.energy);
    const bool one_by_one = listening_ || matched || is_counted;
    const bool is_cut = bound_.is_on() && !one_by_one;
    if (is_cut && !groups_are_marked_) return {};
    const int first = std::min(std::max(range.first, FirstUpward(lower, Ju)), range.last);
    Window window{first, range.last, one_by_one};
    if (one_by_one) {
        PassDownward(lower, Ju, range.first, first);
    } else if (rules_.range) {
        KeepInRange(lower, window);
    }
    if (window.first >= window.last) return {};
    PrepareSums(lower.J, Ju);
    return is_cut ? RunCut(lower, Ju, window) : RunAll(lower, Ju, window);
}

// The sums of a branch none of whose levels is looked at are not prepared.
void PairSearch::PrepareSums(int Jl, int Ju) {
    if (sums_are_ready_) return;
    s_.sums.SetBranch(Jl, Ju);
    sums_are_ready_ = true;
}

Status PairSearch::RunAll(const LowerLevel& lower, int Ju, const Window& window) {
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
    EvaluateLevel();
    return window.one_by_one ? KeepOneByOne() : KeepLines();
}

// The pairs that the cut-off may leave, by their amplitudes class by class, are put together and
// then looked at as in RunAll.
Status PairSearch::RunCut(const LowerLevel& lower, int Ju, const Window& window) {
    bound_.SetLower(lower, s_.groups.FactorsOf(lower.rank));
    const int num = Choose(lower.rank, window);
    if (num == 0) return {};
    GatherCandidates(num);
    s_.pairs.J_upper = Ju;
    SetLevel(lower, s_.energy.data(), num);
    values_.lines = scratch_values_;
    batch_ = {s_.upper.data(), s_.label.data(), values_.lines};
    EvaluateLevel();
    return KeepLines();
}

// The pairs that the cut-off may leave, in the order of the upper levels.
int PairSearch::Choose(int rank, const Window& window) {
    const ClassLevels& upper = s_.sums.upper_classes();
    int num = 0, num_classes = 0;
    for (int c = 0; c < upper.num_classes(); ++c) {
        const int first = upper.Below(c, window.first), last = upper.Below(c, window.last);
        if (first == last || (s_.groups.Leads(rank) >> c & 1) == 0) continue;
        const int before = num;
        num = ChooseOfClass(rank, c, first, last, num);
        num_classes += num > before;
    }
    if (num_classes > 1) {
        std::sort(s_.candidates.begin(), s_.candidates.begin() + num,
                  [](const Candidate& a, const Candidate& b) { return a.upper < b.upper; });
    }
    return num;
}

// Adds those with levels first..last-1 of a class to the `num` that there are.
int PairSearch::ChooseOfClass(int rank, int upper_class, int first, int last, int num) {
    ClassSums& sums = class_sums_[upper_class];
    sums = s_.sums.SumsWith(rank, upper_class, first, last);
    first_of_class_[upper_class] = first;
    const PartnerList& list = s_.sums.ClassList(upper_class);
    int num_chosen = 0;
    SelectPairs({last - first, task_.is_complex(), sums.real, sums.imag, task_.projection.data(),
                 list.energy + first, &bound_.parts(), s_.lines.data(), &num_chosen});
    for (int i = 0; i < num_chosen; ++i) {
        const int place = first + s_.lines[i];
        s_.candidates[num++] = {list.index[place], upper_class, place};
    }
    return num;
}

// Amplitudes and levels of the pairs that were chosen, from the sums that they were chosen by.
void PairSearch::GatherCandidates(int num) {
    Amplitudes& amplitudes = s_.pairs.amplitudes;
    const auto get = [](const double* sum, std::ptrdiff_t at) { return sum ? sum[at] : 0.0; };
    for (int i = 0; i < num; ++i) {
        const Candidate& candidate = s_.candidates[i];
        const int c = candidate.upper_class;
        const PartnerList& list = s_.sums.ClassList(c);
        const ClassSums& sums = class_sums_[c];
        const std::ptrdiff_t at = candidate.place - first_of_class_[c];
        for (int type = 0; type < kNumBands; ++type) {
            amplitudes.real[type][i] = get(sums.real[type], at);
            if (task_.is_complex()) amplitudes.imag[type][i] = get(sums.imag[type], at);
        }
        s_.upper[i] = candidate.upper;
        s_.energy[i] = list.energy[candidate.place];
        std::copy_n(list.label + std::ptrdiff_t{6} * candidate.place, 6, &s_.label[6 * i]);
    }
}

void PairSearch::FillBounds(int Ju) {
    upward_ = 0;
    const bool is_ranged = rules_.range.has_value();
    if ((!task_.one_state() && !bound_.is_on() && !is_ranged) || listening_) return;
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

// Narrows the window to the levels that lie within the range, and others between them. An energy
// that is not a number is above and below nothing: it may be left out, too.
void PairSearch::KeepInRange(const LowerLevel& lower, Window& window) const {
    const auto position = [&](double energy) { return task_.origin + energy - lower.energy; };
    const double* const highest = s_.highest.data();
    const double* const lowest = s_.lowest.data();
    window.first = static_cast<int>(
        std::partition_point(highest + window.first, highest + window.last,
                             [&](double E) { return position(E) < values_.lowest; }) -
        highest);
    window.last = static_cast<int>(
        std::partition_point(lowest + window.first, lowest + window.last,
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
    s_.pairs.lower = lower;
    s_.pairs.num = num;
    values_.num = num;
    values_.energy = energy;
    values_.lower_energy = lower.energy;
    values_.spin_weight = lower.spin_weight;
    values_.spin_root = std::sqrt(static_cast<float>(std::max(0, lower.spin_weight)));
    store_.SetLower(lower);
}

void PairSearch::EvaluateLevel() {
    const PairsOfLevel& pairs = s_.pairs;
    for (int type = 0; type < kNumBands; ++type) {
        values_.re[type] = pairs.amplitudes.real[type].data();
        values_.im[type] = pairs.amplitudes.imag[type].data();
    }
    weights_.SetLower(pairs.lower.energy);
    if (weights_.is_on()) {
        for (int i = 0; i < pairs.num; ++i) s_.factor[i] = weights_.Factor(values_.energy[i]);
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
