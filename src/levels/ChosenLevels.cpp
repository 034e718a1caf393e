#include "levels/ChosenLevels.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "levels/Bands.h"
#include "levels/Derivatives.h"
#include "levels/Ranking.h"

namespace kiv {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kMaxSteps = 6;         // of one eigenpair; two are enough when constants hardly move
constexpr double kTieMargin = 0.25;  // by which bounds of what counts as a tie are taken apart

TridiagonalMatrix BlockOf(const BlockScratch& s, int b) {
    const HamOp& ham = s.ham[0];
    return {s.blocks.block[b].N, ham.band[0] + s.first[b], ham.band[1] + s.first[b]};
}

int BlockOfLabel(const LevelBlocks& blocks, std::uint8_t odd) {
    int b = 0;
    while (blocks.block[b].odd != odd) ++b;
    return b;
}

std::uint8_t OddOfRank(int J, int rank) { return LabelOdd(kAllC2, (rank + 1) / 2, J - rank / 2); }

}  // namespace

bool ChosenLevels::CanSolve(const Hamiltonian& H) {
    if (H.is_complex || H.KeptRotations() != kAllC2) return false;
    const auto terms = HamTerms();
    return std::none_of(terms.begin(), terms.end(), [&](const HamTerm& term) {
        return H.Uses(term) && term.keeps == kAllC2 && term.dk > 2;
    });
}

Status ChosenLevels::Fit(const Memory& memory, std::int64_t numbers) {
    const std::int64_t n = 2 * std::int64_t{max_J_} + 1;
    const std::int64_t block = VecLd(max_J_ / 2 + 1);
    if (!vectors_.Take(memory, numbers + kVecStep)) return NoMemory(array_name::kVectors);
    for (Array<double>& all : all_) {
        if (!all.Take(memory, VecOffset(max_J_ + 1) - VecOffset(max_J_) + 3 * kVecStep)) {
            return NoMemory(array_name::kVectors);
        }
    }
    const bool has_room = diagonal_.Take(memory, kMaxBlocks * block) &&
                          square_.Take(memory, kMaxBlocks * block) && pivots_.Take(memory, 2 * n);
    return has_room ? Status() : NoMemory(array_name::kBlocks);
}

Status ChosenLevels::Choose(std::span<const std::size_t> levels, int max_J, const Memory& memory) {
    std::vector<std::size_t> sorted(levels.begin(), levels.end());
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    max_J_ = max_J;
    chosen_.clear();
    std::int64_t numbers = 0;
    auto next = sorted.begin();
    for (int J = 0; J <= max_J && next != sorted.end(); ++J) {
        if (*next >= Levels::Index(J + 1, 0)) continue;
        ChosenJ& of_J = chosen_.emplace_back();
        of_J.J = J;
        const LevelBlocks blocks = BlocksOf(kAllC2, J);
        std::array<int, kMaxBlocks> before{};
        for (int rank = 0; rank <= 2 * J; ++rank) {
            const int b = BlockOfLabel(blocks, OddOfRank(J, rank));
            if (next != sorted.end() && *next == Levels::Index(J, rank)) {
                of_J.levels.push_back({rank, b, before, numbers});
                numbers += VecLd(blocks.block[b].N);
                ++next;
            }
            ++before[static_cast<std::size_t>(b)];
        }
    }
    return Fit(memory, numbers);
}

// The blocks as they are counted, and bounds of their eigenvalues: no element of the diagonal is
// larger than the largest of them, no sum of the sizes of a row less.
ChosenLevels::Bounds ChosenLevels::LayOut(const BlockScratch& s) {
    Bounds bounds;
    counted_.n = 0;
    for (int b = 0; b < s.blocks.num; ++b) counted_.n = std::max(counted_.n, s.blocks.block[b].N);
    for (int b = 0; b < kMaxBlocks; ++b) {
        double* const d = diagonal_.data() + b * counted_.n;
        double* const e2 = square_.data() + b * counted_.n;
        counted_.d[static_cast<std::size_t>(b)] = d;
        counted_.e2[static_cast<std::size_t>(b)] = e2;
        const TridiagonalMatrix matrix = b < s.blocks.num ? BlockOf(s, b) : TridiagonalMatrix{};
        double before = 0.0;  // the element between this row and the last one
        for (int i = 0; i < matrix.n; ++i) {
            const double behind = i + 1 < matrix.n ? matrix.e[i] : 0.0;
            d[i] = matrix.d[i];
            e2[i] = before * before;
            bounds.least = std::max(bounds.least, std::fabs(d[i]));
            bounds.most =
                std::max(bounds.most, std::fabs(d[i]) + std::fabs(before) + std::fabs(behind));
            before = behind;
        }
        std::fill(d + matrix.n, d + counted_.n, kNoRow);
        std::fill(e2 + matrix.n, e2 + counted_.n, 0.0);
    }
    return bounds;
}

// True when the level has its place in its own block, and in every other block as many levels lie
// below it as their labels say; levels that tie with it may lie on either side.
bool ChosenLevels::IsItself(const Chosen& level, double energy, const Bounds& bounds) const {
    const double tie = (1.0 - kTieMargin) * kLevelTie * bounds.least;
    const double open = (1.0 + kTieMargin) * kLevelTie * bounds.most;
    EigenvalueCounts counts;
    CountEigenvalues(counted_, {energy - open, energy - tie, energy + tie, energy + open}, counts);
    for (int b = 0; b < kMaxBlocks; ++b) {
        const auto& below = counts[static_cast<std::size_t>(b)];
        const int expected = level.before[static_cast<std::size_t>(b)];
        const bool is_certain = below[0] == below[1] && below[2] == below[3];
        if (!is_certain || below[0] > expected || below[3] < expected) return false;
        if (b == level.block && (below[0] != expected || below[3] != expected + 1)) return false;
    }
    return true;
}

bool ChosenLevels::Follow(const Hamiltonian& H, const ChosenJ& of_J, BlockScratch& s,
                          Levels& levels) {
    const Bounds bounds = LayOut(s);
    const double small = 2.0 * kEpsilon * bounds.most;
    for (const Chosen& chosen : of_J.levels) {
        const TridiagonalMatrix block = BlockOf(s, chosen.block);
        double* const vector = vectors_.data() + chosen.vector;
        double energy = RayleighQuotient(block, vector);
        bool has_settled = false;
        for (int step = 0; step < kMaxSteps && !has_settled; ++step) {
            const double change = ImproveEigenpair(block, energy, pivots_.data(), vector);
            energy += change;
            has_settled = std::fabs(change) <= small;
        }
        if (!has_settled || !IsItself(chosen, energy, bounds)) return false;
        levels.energy[Levels::Index(of_J.J, chosen.rank)] = energy;
    }
    for (const Chosen& chosen : of_J.levels) {
        FillDerivative(H, of_J.J, chosen.block, vectors_.data() + chosen.vector,
                       Levels::Index(of_J.J, chosen.rank), s, levels);
    }
    return true;
}

// What is chosen of a J that was solved as a whole.
void ChosenLevels::Take(const Hamiltonian& H, const double* vectors, BlockScratch& s, ChosenJ& of_J,
                        Levels& levels) {
    const auto is_regular = [&](const Chosen& chosen) {
        return s.rank_place[static_cast<std::size_t>(chosen.rank)] ==
               s.first[chosen.block] + chosen.before[static_cast<std::size_t>(chosen.block)];
    };
    of_J.has_vectors = std::all_of(of_J.levels.begin(), of_J.levels.end(), is_regular);
    if (!of_J.has_vectors) {
        irregular_.push_back(of_J.J);
        FillDerivatives(H, of_J.J, vectors, nullptr, s, levels);
        return;
    }
    for (const Chosen& chosen : of_J.levels) {
        const int ld = VecLd(s.blocks.block[chosen.block].N);
        const double* const solved = vectors + s.blocks.vec[chosen.block] +
                                     chosen.before[static_cast<std::size_t>(chosen.block)] * ld;
        double* const vector = vectors_.data() + chosen.vector;
        std::copy_n(solved, ld, vector);
        FillDerivative(H, of_J.J, chosen.block, vector, Levels::Index(of_J.J, chosen.rank), s,
                       levels);
    }
}

void ChosenLevels::SolveWhole(const Hamiltonian& H, std::span<ChosenJ* const> wanted,
                              LevelScratch& scratch, Levels& levels) {
    VectorsOfJ vectors[kTogether];
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        vectors[i] = {wanted[i]->J, AlignVec(all_[i].data() + kVecStep)};
    }
    SolveReal(H, {vectors, wanted.size()}, scratch);
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        BlockScratch& s = scratch.of_J[i];
        const int last = s.blocks.num - 1, N = s.blocks.block[last].N;
        std::fill_n(vectors[i].vectors + s.blocks.vec[last] + std::int64_t{N} * VecLd(N), kVecStep,
                    0.0);
        RankLevels(H, wanted[i]->J, s, levels);
        Take(H, vectors[i].vectors, s, *wanted[i], levels);
    }
}

Status ChosenLevels::Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels) {
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels).blocks;
    KIV_TRY(scratch.Fit(work.memory(), max_J_, false));
    ListDerivatives(*task.H.state, levels);
    SetSymmetry(task.H, levels);
    irregular_.clear();
    const Stage stage = task.index == kLower ? Stage::LowerLevels : Stage::UpperLevels;
    std::vector<ChosenJ*> whole;  // waiting to be solved side by side
    for (std::size_t i = 0; i < chosen_.size(); ++i) {
        ChosenJ& of_J = chosen_[i];
        if (of_J.has_vectors) BuildBlocks(task.H, of_J.J, scratch.of_J[0]);
        if (!of_J.has_vectors || !Follow(task.H, of_J, scratch.of_J[0], levels)) {
            whole.push_back(&of_J);
        }
        if (whole.size() == kTogether || (i + 1 == chosen_.size() && !whole.empty())) {
            SolveWhole(task.H, whole, scratch, levels);
            whole.clear();
        }
        KIV_TRY(Tell(report, stage, of_J.J + 1, task.max_J + 1));
    }
    return {};
}

}  // namespace kiv
