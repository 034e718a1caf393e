#include "lines/LineSearch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/LineKey.h"
#include "base/Trace.h"
#include "lines/Boltzmann.h"
#include "lines/LineMatch.h"
#include "lines/PairRules.h"

namespace kiv {
namespace {

// One run through all pairs of levels.
class Search {
  public:
    Search(const LineTask& task, LineScratch& scratch, const Memory& memory, Report& report,
           LineList& list)
        : task_(task),
          rules_(*task.rules),
          s_(scratch),
          report_(report),
          trace_(report.trace()),
          listening_(trace_ && trace_->WantsPairs()),
          list_(list),
          weights_(rules_, task.one_state()),
          keep_dark_(weights_.is_on() && !(rules_.min_intensity >= 0.0)),
          match_(task.assigned, list, trace_),
          store_(list, memory, trace_) {
        SetValues();
    }

    Status Run();

  private:
    void SetValues();
    Status RunBranch(int J_lower, int J_upper);
    Status RunLevel(const LowerLevel& lower, int J_upper);
    void FillHighest(int J_upper);
    int FirstUpward(const LowerLevel& lower, int J_upper);
    void PassDownward(const LowerLevel& lower, int J_upper, int first, int last);
    void EvaluateLevel(bool one_by_one);
    Status KeepLines();
    Status KeepOneByOne();
    bool HasParityOf(const LowerLevel& lower, std::int32_t upper) const;
    bool IsWeak(int pair) const;
    PairView View(int pair) const;
    Status Finish();

    const LineTask& task_;
    const LineRules& rules_;
    LineScratch& s_;
    Report& report_;
    Trace* const trace_;
    const bool listening_;  // every pair is told
    LineList& list_;
    Boltzmann weights_;
    const bool keep_dark_;  // pairs without intensity are lines, too
    LineMatch match_;
    LineStore store_;
    int upward_ = 0;  // one state: the first upper level that lies above the lower one
    LineBatch batch_;
    PairRun values_{};
    LineValues scratch_values_;
    bool any_dropped_ = false;
    std::int64_t num_negative_ = 0;
};

// What the pairs of all levels have in common.
void Search::SetValues() {
    values_.is_complex = task_.is_complex();
    values_.scaled = weights_.is_on();
    values_.skip_dark = !keep_dark_;
    values_.upward_only = task_.one_state();
    values_.cutoff = rules_.min_intensity;
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

Status Search::Run() {
    for (int J = 0; J <= task_.max_J(); ++J) {
        if (listening_) trace_->LowerJ(J);
        for (int Ju = J == 0 ? 1 : J - 1; Ju <= std::min(J + 1, task_.max_J()); ++Ju) {
            KIV_TRY(RunBranch(J, Ju));
        }
        KIV_TRY(Tell(report_, Stage::Lines, J + 1, task_.max_J() + 1));
    }
    return Finish();
}

Status Search::RunBranch(int Jl, int Ju) {
    s_.sums.SetBranch(Jl, Ju);
    FillHighest(Ju);
    for (int rank = 0; rank <= 2 * Jl; ++rank) KIV_TRY(RunLevel(MakeLower(task_, Jl, rank), Ju));
    if (listening_) trace_->Branch(Jl, Ju);
    return {};
}

Status Search::RunLevel(const LowerLevel& lower, int Ju) {
    const UpperRange range = UpperRangeOf(rules_.delta_K, lower.ka, Ju);
    if (range.first >= range.last) return {};
    const int first = std::min(std::max(range.first, FirstUpward(lower, Ju)), range.last);
    const bool matched = match_.HasUpTo(LineKey(lower.J, Ju, lower.rank, range.last - 1));
    // pairs that are matched, counted or told are looked at one by one, the dark ones included
    const bool one_by_one = listening_ || matched || weights_.IsNegative(lower.energy);
    if (one_by_one) PassDownward(lower, Ju, range.first, first);
    const PartnerList& list =
        one_by_one || keep_dark_ ? s_.sums.AllPartners() : s_.sums.Partners(lower.rank);
    PairsOfLevel& pairs = s_.pairs;
    pairs.lower = lower;
    pairs.J_upper = Ju;
    pairs.list = &list;
    pairs.place = list.below[first];
    pairs.num = list.below[range.last] - pairs.place;
    if (pairs.num == 0) return {};
    s_.sums.Compute(lower.rank, list, first, range.last, pairs.amplitudes);
    weights_.SetLower(lower.energy);
    EvaluateLevel(one_by_one);
    store_.SetLower(lower);
    return one_by_one ? KeepOneByOne() : KeepLines();
}

void Search::FillHighest(int Ju) {
    upward_ = 0;
    if (!task_.one_state() || listening_) return;
    const double* energy = &task_.upper->energy[Levels::Index(Ju, 0)];
    double highest = energy[0];
    for (int rank = 0; rank <= 2 * Ju; ++rank) {
        highest = std::max(highest, energy[rank]);
        s_.highest[rank] = highest;
    }
}

// Of one state the pairs that go down in energy, the first of a J', have no line. From one lower
// level to the next the first one that goes up hardly moves.
int Search::FirstUpward(const LowerLevel& lower, int Ju) {
    if (!task_.one_state() || listening_) return 0;
    const auto goes_down = [&](int rank) {
        return task_.origin + s_.highest[rank] - lower.energy < 0.0;
    };
    while (upward_ > 0 && !goes_down(upward_ - 1)) --upward_;
    while (upward_ <= 2 * Ju && goes_down(upward_)) ++upward_;
    return upward_;
}

// Pairs without a line are matched and counted without amplitudes.
void Search::PassDownward(const LowerLevel& lower, int Ju, int first, int last) {
    const std::uint64_t key = LineKey(lower.J, Ju, lower.rank, 0);
    for (int rank = first; rank < last; ++rank) {
        if (!HasParityOf(lower, Ju * Ju + rank)) continue;
        if (match_.Matches(key + static_cast<std::uint64_t>(rank))) match_.Drop();
        num_negative_ += weights_.IsNegative(lower.energy);
    }
}

void Search::EvaluateLevel(bool one_by_one) {
    const PairsOfLevel& pairs = s_.pairs;
    values_.num = pairs.num;
    for (int type = 0; type < kNumBands; ++type) {
        values_.re[type] = pairs.amplitudes.real[type].data();
        values_.im[type] = pairs.amplitudes.imag[type].data();
    }
    values_.energy = pairs.list->energy + pairs.place;
    values_.lower_energy = pairs.lower.energy;
    values_.spin_weight = pairs.lower.spin_weight;
    values_.spin_root = std::sqrt(static_cast<float>(std::max(0, pairs.lower.spin_weight)));
    if (weights_.is_on()) {
        for (int i = 0; i < pairs.num; ++i) s_.factor[i] = weights_.Factor(values_.energy[i]);
    }
    // pairs that are looked at one by one stay out of the list until then
    values_.lines = one_by_one ? scratch_values_ : store_.PlaceFor(pairs.num, scratch_values_);
    Evaluate(values_);
    batch_ = {pairs.list->index + pairs.place, pairs.list->label + std::ptrdiff_t{6} * pairs.place,
              values_.lines};
}

bool Search::IsWeak(int pair) const {
    const double strength = s_.strength[pair];
    return weights_.is_on() ? strength <= rules_.min_intensity : strength == 0.0;
}

// No pair of the level is assigned.
Status Search::KeepLines() {
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
Status Search::KeepOneByOne() {
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
        if (matched) match_.Keep(list_.size);
        KIV_TRY(store_.Put(batch_, {&i, 1}));
        if (listening_) trace_->KeptPair(list_, View(i), task_.origin);
    }
    return {};
}

bool Search::HasParityOf(const LowerLevel& lower, std::int32_t upper) const {
    return !rules_.parity || HasParity(*rules_.parity, lower.ka, lower.kc, task_.upper->ka[upper],
                                       task_.upper->kc[upper]);
}

PairView Search::View(int pair) const {
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

Status Search::Finish() {
    match_.Finish();
    if (trace_) trace_->LinesDone(list_, num_negative_);
    if (list_.size > 0) return {};
    return Error{ErrorCode::NoLines, "no pair of levels makes a line", ""};
}

}  // namespace

Status LineScratch::Begin(const Memory& memory, const LineTask& task) {
    const std::int64_t n = 2 * std::int64_t{task.max_J()} + 1 + kLineGroup;
    KIV_TRY(sums.Begin(memory, task));
    KIV_TRY(pairs.amplitudes.Begin(memory, task.max_J(), task.is_complex()));
    for (Array<double>* array : {&position, &raw, &strength, &factor, &highest}) {
        if (!array->Fit(memory, n)) return NoMemory(array_name::kPairValues);
    }
    if (!amplitude_real.Fit(memory, kNumBands * n) || !amplitude_imag.Fit(memory, kNumBands * n)) {
        return NoMemory(array_name::kStoredAmplitudes);
    }
    if (!intensity.Fit(memory, n) || !band.Fit(memory, n) || !lines.Fit(memory, n) ||
        !dropped.Fit(memory, n)) {
        return NoMemory(array_name::kPairLines);
    }
    std::fill(factor.begin(), factor.end(), 1.0);
    return {};
}

Status SearchLines(const LineTask& task, Workspace& work, Report& report, LineList& list) {
    auto& scratch = work.Part<LineScratch>(Workspace::Slot::Lines);
    KIV_TRY(scratch.Begin(work.memory(), task));
    return Search(task, scratch, work.memory(), report, list).Run();
}

}  // namespace kiv
