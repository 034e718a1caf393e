#include "lines/GroupCut.h"

#include <algorithm>
#include <cstddef>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "lines/PairRules.h"
#include "lines/Spread.h"

namespace kiv {
namespace {

// What marks cost is made up for where a quarter of the groups and more are dropped. After a branch
// of which fewer are, those of the next three J'' are left as they are.
constexpr int kPart = 4, kUnmarked = 9;

}  // namespace

Status GroupCut::Begin(const Memory& memory, const LineTask& task) {
    task_ = &task;
    num_unmarked_ = 0;
    const std::uint8_t kept = task.lower->kept & task.upper->kept;
    KIV_TRY(lower_.Begin(memory, *task.lower, kept));
    for (UpperMatrix& matrix : matrix_) matrix.Begin(memory, task, kept, matrix_scratch_);
    const std::int64_t room = 2 * std::int64_t{task.max_J()} + 1 + 2 * kVecStep;
    if (!x1_.Fit(memory, room) || !x2_.Fit(memory, room) || !marks_.Fit(memory, room) ||
        !leads_.Fit(memory, room)) {
        return NoMemory(array_name::kPairValues);
    }
    return {};
}

void GroupCut::SetLowerJ(int J, const StrengthBound& bound) {
    lower_.Load(J);
    for (int rank = 0; rank <= 2 * J; ++rank) {
        const auto place = static_cast<std::size_t>(lower_.by_class().Place(rank));
        const StrengthBound::Factors factors = bound.FactorsOf(MakeLower(*task_, J, rank));
        x1_[place] = factors.x1;
        x2_[place] = factors.x2;
    }
}

StrengthBound::Factors GroupCut::FactorsOf(int rank) const {
    const auto place = static_cast<std::size_t>(lower_.by_class().Place(rank));
    return {x1_[place], x2_[place]};
}

GroupCut::LowerClass GroupCut::LevelsOf(int c) const {
    const ClassLevels& classes = lower_classes();
    const int first = classes.First(c);
    return {classes.Class(c).N, classes.LevelsOf(c), classes.EnergiesOf(c), x1_.data() + first,
            x2_.data() + first};
}

bool GroupCut::HasAny(const StrengthBound& bound) const {
    const int J = lower_.by_class().J();
    for (int rank = 0; rank <= 2 * J; ++rank) {
        const double energy = task_->lower->energy[Levels::Index(J, rank)];
        if (bound.Leaves(energy, FactorsOf(rank))) return true;
    }
    return false;
}

void GroupCut::MarkBranch(int J_upper, const AmplitudeSums& sums, const StrengthBound& bound) {
    const ClassLevels &lower = lower_.by_class(), &upper = sums.upper_classes();
    UpperMatrix& matrix = matrix_[J_upper % 3];
    const bool is_marked = num_unmarked_ == 0;
    if (is_marked) matrix.Load(J_upper, upper, matrix_scratch_);
    int num = 0, num_dropped = 0;
    std::fill_n(leads_.data(), 2 * lower.J() + 1, std::uint8_t{0});
    const auto level_of_rank0 = static_cast<std::int32_t>(Levels::Index(lower.J(), 0));
    for (int from = 0; from < lower.num_classes(); ++from) {
        const std::int32_t* const level = lower.LevelsOf(from);
        for (int to = 0; to < upper.num_classes(); ++to) {
            if (!sums.LeadsTo(from, to)) continue;
            const bool is_bounded =
                is_marked && matrix.Has(to) && MarkClass(from, to, matrix, sums, bound);
            num += lower.Class(from).N;
            const auto bit = static_cast<std::uint8_t>(1U << to);
            for (std::size_t j = 0; j < static_cast<std::size_t>(lower.Class(from).N); ++j) {
                if (is_bounded && marks_[j] == 0) {
                    ++num_dropped;
                } else {
                    leads_[static_cast<std::size_t>(level[j] - level_of_rank0)] |= bit;
                }
            }
        }
    }
    if (!is_marked) {
        --num_unmarked_;
    } else if (num_dropped * kPart < num) {
        num_unmarked_ = kUnmarked;
    }
}

bool GroupCut::MarkClass(int lower_class, int upper_class, const UpperMatrix& matrix,
                         const AmplitudeSums& sums, const StrengthBound& bound) {
    LevelImage image;
    if (!sums.ImageOf(lower_class, upper_class, image)) return false;
    const ClassLevels& classes = lower_.by_class();
    const std::ptrdiff_t first = classes.First(lower_class);
    const int N = classes.Class(lower_class).N;
    SpreadRun run{};
    run.num_levels = run.num_components = N;
    run.rows = lower_.Real(lower_class);
    run.ld = RowLd(N);
    run.num = image.num;
    run.plus = image.plus;
    run.minus = image.minus;
    run.shift = image.shift;
    run.back = image.back;
    run.diagonal = matrix.Diagonal(upper_class);
    run.beside = matrix.Beside(upper_class);
    run.tolerance = matrix.tolerance();
    run.energy = classes.EnergiesOf(lower_class);
    run.x1 = x1_.data() + first;
    run.x2 = x2_.data() + first;
    run.projection = task_->projection[static_cast<std::size_t>(image.type)];
    run.bound = bound.parts();
    run.marks = marks_.data();
    MarkLevels(run);
    return true;
}

}  // namespace kiv
