#include "lines/PairChooser.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <numeric>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {

PairChooser::PairChooser(const LineTask& task, LineScratch& scratch, const Memory& memory)
    : task_(task),
      s_(scratch),
      memory_(memory),
      bound_(scratch.bound),
      weights_(*task.rules, task.one_state()) {}

void PairChooser::SetLowerJ(int J) {
    J_lower_ = J;
    for (int rank = 0; rank <= 2 * J; ++rank) {
        s_.lowers[rank] = WeighedOf(MakeLower(task_, J, rank), weights_);
    }
    s_.groups.SetLowerJ(J, bound_);
}

bool PairChooser::SetBranch(int Jl, int Ju, double highest) {
    J_upper_ = Ju;
    num_ = num_taken_ = 0;
    std::fill_n(s_.first_candidate.data(), 2 * Jl + 2, 0);
    bound_.SetBranch(Jl, Ju, highest);
    return s_.groups.HasAny(bound_);
}

Status PairChooser::Choose(std::span<const UpperRange> ranges) {
    const ClassLevels &lower = s_.groups.lower_classes(), &upper = s_.sums.upper_classes();
    for (int from = 0; from < lower.num_classes(); ++from) {
        for (int to = 0; to < upper.num_classes(); ++to) {
            if (!s_.sums.LeadsTo(from, to)) continue;
            for (int index = 0; index < lower.Class(from).N; index += kLowers) {
                KIV_TRY(ChooseFew(from, index, to, ranges));
            }
        }
    }
    if (num_ > 0) Sort();
    return {};
}

// Of levels index, index + 1 .. of the lower class.
Status PairChooser::ChooseFew(int lower_class, int index, int upper_class,
                              std::span<const UpperRange> ranges) {
    const GroupCut::LowerClass lower = s_.groups.LevelsOf(lower_class);
    const ClassLevels& upper = s_.sums.upper_classes();
    const int num_lowers = std::min(kLowers, lower.num - index);
    SelectionRun run{};
    int num_selected = 0;
    std::int32_t rank[kLowers] = {};
    int first = upper.Class(upper_class).N, last = 0;
    for (int l = 0; l < num_lowers; ++l) {
        rank[l] = lower.level[index + l] - static_cast<std::int32_t>(Levels::Index(J_lower_, 0));
        if ((s_.groups.Leads(rank[l]) >> upper_class & 1) == 0) continue;
        const UpperRange& range = ranges[static_cast<std::size_t>(rank[l])];
        const int from = upper.Below(upper_class, range.first),
                  to = upper.Below(upper_class, range.last);
        if (from >= to) continue;
        run.is_wanted[l] = true;
        first = std::min(first, from);
        last = std::max(last, to);
    }
    if (first >= last) return {};
    KIV_TRY(MakeRoom(std::int64_t{num_lowers} * (last - first)));
    ClassSums sums[kLowers];
    s_.sums.SumsOf(lower_class, index, upper_class, first, last, sums);
    run.num = last - first;
    run.is_complex = task_.is_complex();
    run.sums = sums;
    run.projection = task_.projection.data();
    run.energy = upper.EnergiesOf(upper_class) + first;
    run.lower_energy = lower.energy + index;
    run.x1 = lower.x1 + index;
    run.x2 = lower.x2 + index;
    run.bound = &bound_.parts();
    run.selected = s_.selected.data();
    run.num_selected = &num_selected;
    SelectPairs(run);
    AddCandidates(s_.selected.Part(0, static_cast<std::size_t>(num_selected)), rank, ranges, sums,
                  upper.LevelsOf(upper_class) + first);
    return {};
}

// Pairs of lower levels of these ranks with upper levels of a class, which have these indices;
// those outside the range of their lower level are left out.
void PairChooser::AddCandidates(std::span<const SelectedPair> pairs, const std::int32_t* rank,
                                std::span<const UpperRange> ranges, const ClassSums* sums,
                                const std::int32_t* level) {
    const auto level_of_rank0 = static_cast<std::int32_t>(Levels::Index(J_upper_, 0));
    const auto at = [](const double* sum, std::int32_t place) { return sum ? sum[place] : 0.0; };
    for (const SelectedPair& pair : pairs) {
        const std::int32_t upper = level[pair.upper], rank_upper = upper - level_of_rank0;
        const UpperRange& range = ranges[static_cast<std::size_t>(rank[pair.lower])];
        if (rank_upper < range.first || rank_upper >= range.last) continue;
        const ClassSums& of_lower = sums[pair.lower];
        Candidate& candidate = s_.candidates[num_];
        candidate = {rank[pair.lower], upper, {}};
        for (int type = 0; type < kNumBands; ++type) {
            candidate.real[type] = at(of_lower.real[type], pair.upper);
        }
        for (int type = 0; task_.is_complex() && type < kNumBands; ++type) {
            s_.candidate_imag[kNumBands * num_ + type] = at(of_lower.imag[type], pair.upper);
        }
        ++num_;
    }
}

// The arrays of the candidates grow with what is chosen.
Status PairChooser::MakeRoom(std::int64_t more) {
    constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max() / kNumBands;
    const std::int64_t needed = num_ + more;
    if (needed > kMost) return NoMemory(array_name::kPairValues);
    const auto grow = [&](auto& array, int width) {
        const auto size = static_cast<std::int64_t>(array.size());
        return size >= width * needed || array.Resize(memory_, std::max(width * needed, 2 * size));
    };
    if (grow(s_.candidates, 1) && grow(s_.candidate_order, 1) && grow(s_.candidate_scratch, 1) &&
        (!task_.is_complex() || grow(s_.candidate_imag, kNumBands))) {
        return {};
    }
    return NoMemory(array_name::kPairValues);
}

// By lower and upper level, from the last key to the first one.
void PairChooser::Sort() {
    const auto num = static_cast<std::size_t>(num_);
    const std::span<std::int32_t> by_upper = s_.candidate_scratch.Part(0, num),
                                  order = s_.candidate_order.Part(0, num);
    const auto level_of_rank0 = static_cast<std::int32_t>(Levels::Index(J_upper_, 0));
    std::iota(order.begin(), order.end(), 0);
    CountingSort(
        2 * J_upper_ + 1, [&](const Candidate& c) { return c.upper - level_of_rank0; }, order,
        by_upper);
    CountingSort(
        2 * J_lower_ + 1, [](const Candidate& c) { return c.lower_rank; }, by_upper, order);
}

// Leaves in first_candidate where each bin begins, the end behind the last one.
template <class BinOf>
void PairChooser::CountingSort(int bins, const BinOf& bin_of, std::span<const std::int32_t> from,
                               std::span<std::int32_t> to) {
    std::int32_t* const first = s_.first_candidate.data();
    std::fill_n(first, bins + 2, 0);
    for (const std::int32_t k : from) ++first[bin_of(s_.candidates[k]) + 2];
    std::partial_sum(first, first + bins + 2, first);
    for (const std::int32_t k : from) {
        to[static_cast<std::size_t>(first[bin_of(s_.candidates[k]) + 1]++)] = k;
    }
}

bool PairChooser::TakeBefore(int end) {
    const auto& parity = task_.rules->parity;
    const bool is_complex = task_.is_complex();
    const Levels& upper = *task_.upper;
    const auto J_upper = static_cast<std::int16_t>(J_upper_),
               J_lower = static_cast<std::int16_t>(J_lower_);
    ChosenPairs& chosen = *s_.chosen;
    int n = chosen.num;
    std::int32_t i = num_taken_;
    for (const std::int32_t last = s_.first_candidate[end]; i < last && n < ChosenPairs::kMost;
         ++i) {
        const std::int32_t k = s_.candidate_order[i];
        const Candidate& candidate = s_.candidates[k];
        const WeighedLevel& lower = s_.lowers[candidate.lower_rank];
        const std::int16_t ka = upper.ka[candidate.upper], kc = upper.kc[candidate.upper];
        if (parity && !HasParity(*parity, lower.level.ka, lower.level.kc, ka, kc)) continue;
        for (int type = 0; type < kNumBands; ++type) chosen.real[type][n] = candidate.real[type];
        for (int type = 0; is_complex && type < kNumBands; ++type) {
            chosen.imag[type][n] = s_.candidate_imag[kNumBands * k + type];
        }
        chosen.upper_energy[n] = upper.energy[candidate.upper];
        chosen.lower_energy[n] = lower.level.energy;
        chosen.spin_weight[n] = lower.level.spin_weight;
        chosen.x1[n] = lower.x1;
        chosen.x2[n] = lower.x2;
        chosen.spin_root[n] = lower.spin_root;
        chosen.lower[n] = lower.level.index;
        chosen.upper[n] = candidate.upper;
        std::int16_t* const label = &chosen.label[6 * n];
        label[0] = J_upper;
        label[1] = ka;
        label[2] = kc;
        label[3] = J_lower;
        label[4] = static_cast<std::int16_t>(lower.level.ka);
        label[5] = static_cast<std::int16_t>(lower.level.kc);
        ++n;
    }
    num_taken_ = i;
    chosen.num = n;
    return n == ChosenPairs::kMost;
}

}  // namespace kiv
