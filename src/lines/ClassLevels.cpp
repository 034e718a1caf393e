#include "lines/ClassLevels.h"

#include <algorithm>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

constexpr double kSqrtTwo = 1.41421356237309504880;

}  // namespace

Status ClassLevels::Begin(const Memory& memory, const Levels& levels, std::uint8_t kept) {
    levels_ = &levels;
    kept_ = kept;
    finer_ = levels.kept != kept;
    J_ = -1;
    const std::int64_t n = 2 * std::int64_t{levels.max_J} + 1;
    if (!class_of_.Fit(memory, n) || !index_of_.Fit(memory, n) ||
        !num_below_.Fit(memory, (n + 1) * kMaxBlocks) || !level_.Fit(memory, n + 2 * kVecStep) ||
        !energy_.Fit(memory, n + 2 * kVecStep)) {
        return NoMemory(array_name::kClassLevels);
    }
    if (!finer_) return {};
    const std::int64_t room = n * VecLd(static_cast<int>(n)) + 2 * kVecStep;
    if (!full_.Fit(memory, n * n) || !rewritten_[0].Fit(memory, room) ||
        (levels.is_complex && !rewritten_[1].Fit(memory, room))) {
        return NoMemory(array_name::kClassVectors);
    }
    return {};
}

void ClassLevels::Load(int J) {
    if (J_ == J) return;
    J_ = J;
    classes_ = BlocksOf(kept_, J);
    SortLevels();
    const Array<double>* const parts[2] = {&levels_->vectors_real, &levels_->vectors_imag};
    for (int part = 0; part < (levels_->is_complex ? 2 : 1); ++part) {
        if (finer_) Rewrite(*parts[part], rewritten_[part]);
        start_[part] =
            finer_ ? rewritten_[part].data() + kVecStep : VecStart(*levels_, *parts[part], J);
    }
}

void ClassLevels::SortLevels() {
    const int n = 2 * J_ + 1;
    const std::size_t level_of_rank0 = Levels::Index(J_, 0);
    const std::uint8_t* odd = &levels_->odd[level_of_rank0];
    const double* energy = &levels_->energy[level_of_rank0];
    std::uint8_t class_of[kAllC2 + 1] = {};
    for (int c = 0; c < classes_.num; ++c) {
        class_of[classes_.block[c].odd] = static_cast<std::uint8_t>(c);
        if (c > 0) first_level_[c] = first_level_[c - 1] + classes_.block[c - 1].N;
    }
    std::int32_t below[kMaxBlocks] = {};
    for (int rank = 0; rank < n; ++rank) {
        std::copy_n(below, kMaxBlocks, &num_below_[static_cast<std::size_t>(rank) * kMaxBlocks]);
        const std::uint8_t c = class_of[odd[rank] & kept_];
        class_of_[rank] = c;
        index_of_[rank] = below[c]++;
        level_[Place(rank)] = static_cast<std::int32_t>(level_of_rank0) + rank;
        energy_[Place(rank)] = energy[rank];
    }
    std::fill_n(&energy_[n], 2 * kVecStep, energy[0]);
    std::copy_n(below, kMaxBlocks, &num_below_[static_cast<std::size_t>(n) * kMaxBlocks]);
}

// The vectors of the state's own blocks over the functions of the classes.
void ClassLevels::Rewrite(const Array<double>& part, Array<double>& out) {
    const int n = 2 * J_ + 1;
    ExpandVectors(*levels_, J_, part, full_.data());
    for (int rank = 0; rank < n; ++rank) {
        const int c = class_of_[rank];
        const SymBlock& block = classes_.block[c];
        const double* full = full_.data() + std::int64_t{rank} * n + J_;
        double* v = out.data() + kVecStep + classes_.vec[c] +
                    std::int64_t{index_of_[rank]} * VecLd(block.N);
        for (int m = 0; m < block.N; ++m) {
            const int K = block.K(m);
            v[m] = block.folded && K > 0 ? kSqrtTwo * full[K] : full[K];
        }
        std::fill(v + block.N, v + VecLd(block.N), 0.0);
    }
    const int last = classes_.num - 1, N = classes_.block[last].N;
    double* const behind = out.data() + kVecStep + classes_.vec[last] + std::int64_t{N} * VecLd(N);
    std::fill_n(behind, kVecStep, 0.0);  // nothing is left of another J
}

}  // namespace kiv
