#include "lines/UpperMatrix.h"

#include <algorithm>
#include <cmath>

#include "levels/Bands.h"
#include "levels/OwnAxes.h"

namespace kiv {
namespace {

// Residuals of the eigenvectors, as a fraction of the largest energy: QL iterations stop at 2e-11,
// and a vector takes part in a few of them.
constexpr double kResidual = 1e-9;
constexpr double kSameMatrix = 1e-9;  // by its trace and norm

}  // namespace

void UpperMatrix::Begin(const Memory& memory, const LineTask& task, std::uint8_t kept,
                        BlockScratch& scratch) {
    task_ = &task;
    kept_ = kept;
    J_ = -1;
    const Hamiltonian& H = task.H_upper;
    ld_ = 2 * task.max_J() + 1;
    is_known_ = H.state && !H.is_complex && H.KeptRotations() == kept && task.lower->kept == kept &&
                task.upper->kept == kept && !IsSolvedInOwnAxes(H) &&
                scratch.Fit(memory, task.max_J(), false, SizeFor(H, false)) &&
                diagonal_.Fit(memory, kMaxBlocks * std::int64_t{ld_}) &&
                beside_.Fit(memory, kMaxBlocks * std::int64_t{ld_});
}

void UpperMatrix::Load(int J, const ClassLevels& classes, BlockScratch& scratch) {
    if (J_ == J) return;
    J_ = J;
    std::fill_n(has_, kMaxBlocks, false);
    if (!is_known_) return;
    BuildBlocks(task_->H_upper, kept_, J, scratch);
    const HamOp& ham = scratch.ham[0];
    if (ham.width > 1) return;
    double largest = 0.0;
    const double* const energy = &task_->upper->energy[Levels::Index(J, 0)];
    for (int rank = 0; rank <= 2 * J; ++rank) largest = std::max(largest, std::fabs(energy[rank]));
    tolerance_ = kResidual * largest;
    for (int c = 0; c < classes.num_classes(); ++c) {
        const int N = classes.Class(c).N;
        double *const d = diagonal_.data() + Place(c), *const e = beside_.data() + Place(c);
        std::copy_n(ham.band[0] + scratch.first[c], N, d);
        std::fill_n(e, N, 0.0);
        if (ham.width == 1) std::copy_n(ham.band[1] + scratch.first[c], N - 1, e);
        has_[c] = IsOf(classes, scratch.blocks, c);
    }
}

// The levels may have been solved from other constants than those at hand.
bool UpperMatrix::IsOf(const ClassLevels& classes, const LevelBlocks& blocks, int c) const {
    const SymBlock &block = blocks.block[c], &of_class = classes.Class(c);
    if (c >= blocks.num || block.N != of_class.N || block.odd != of_class.odd) return false;
    double trace = 0.0, norm2 = 0.0, sum = 0.0, sum2 = 0.0;
    for (int m = 0; m < block.N; ++m) {
        const double d = Diagonal(c)[m], e = Beside(c)[m];
        trace += d;
        norm2 += d * d + 2.0 * e * e;
    }
    for (int rank = 0; rank <= 2 * J_; ++rank) {
        if (classes.ClassOf(rank) != c) continue;
        const double energy = task_->upper->energy[Levels::Index(J_, rank)];
        sum += energy;
        sum2 += energy * energy;
    }
    return std::fabs(trace - sum) <= kSameMatrix * std::sqrt(sum2 * block.N) &&
           std::fabs(norm2 - sum2) <= kSameMatrix * sum2;
}

}  // namespace kiv
