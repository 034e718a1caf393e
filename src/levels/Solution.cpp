#include "levels/Solution.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <new>
#include <string>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Trace.h"
#include "levels/Derivatives.h"
#include "levels/OwnAxes.h"
#include "levels/Ranking.h"

namespace kiv {
namespace {

// Levels of J = 0..max_J; -1 when they could not be indexed, which is also the answer to a
// negative max_J. Up to here the number of vector components fits 64 bits.
std::int64_t CountLevels(std::int64_t max_J) {
    const std::int64_t levels = (max_J + 2) * max_J + 1;
    const bool fits = max_J >= 0 && levels <= std::numeric_limits<std::int32_t>::max();
    return fits ? levels : -1;
}

// Energies and labels; `levels` is set to their number.
Status TakeLevels(const Memory& memory, int max_J, Levels& to, std::int64_t& levels) {
    levels = CountLevels(max_J);
    if (levels < 0 || !to.energy.Take(memory, levels)) return NoMemory(array_name::kEnergies);
    if (!to.ka.Take(memory, levels) || !to.kc.Take(memory, levels) ||
        !to.odd.Take(memory, levels)) {
        return NoMemory(array_name::kLabels);
    }
    return {};
}

// From the solved blocks of J to its levels.
void FinishJ(const Hamiltonian& H, int J, BlockScratch& scratch, Levels& levels) {
    if (levels.vectors_real.is_null()) return RankLevels(H, J, scratch, levels);
    ClearRest(levels, scratch.blocks, J, levels.vectors_real);
    if (H.is_complex) ClearRest(levels, scratch.blocks, J, levels.vectors_imag);
    RankLevels(H, J, scratch, levels);
    if (levels.num_derivatives == 0) return;
    FillDerivatives(H, J, VecStart(levels, levels.vectors_real, J),
                    H.is_complex ? VecStart(levels, levels.vectors_imag, J) : nullptr, scratch,
                    levels);
}

bool WantsAny(const LevelTask& task, int first, int last) {
    for (int J = first; J <= last; ++J) {
        if (!task.wanted || (*task.wanted)[static_cast<std::size_t>(J)]) return true;
    }
    return false;
}

// The levels of one task, which may be shared among threads: every J has its own part of them.
class Solver {
  public:
    Solver(const LevelTask& task, const Hamiltonian& H, OwnAxes* own_axes, Levels& levels)
        : task_(task), H_(H), own_axes_(own_axes), levels_(levels) {}

    Status Alone(LevelScratch& scratch, Report& report) {
        for (int first = 0; first <= task_.max_J; first += together()) {
            SolveFrom(first, scratch, report.trace());
            KIV_TRY(Tell(report, stage(), LastFrom(first) + 1, task_.max_J + 1));
        }
        return {};
    }

    // The large J first, so that no thread is left with one while the others have nothing to do.
    Status Shared(Workspace& work, Report& report) {
        const int parts = task_.max_J / together() + 1;
        std::atomic<int> done = 0;
        Status told;  // by the caller's own thread
        work.threads().Share(parts, [&](int part, int thread) {
            const int first = (parts - 1 - part) * together();
            auto& scratch = work.OfThread(thread).Part<SolutionScratch>(Workspace::Slot::Levels);
            if (cancelled_.load(std::memory_order_relaxed)) return;
            SolveFrom(first, scratch.blocks, nullptr);
            done += LastFrom(first) - first + 1;
            if (thread != 0) return;
            told = Tell(report, stage(), done, task_.max_J + 1);
            if (!told) cancelled_ = true;
        });
        return told;
    }

  private:
    int together() const { return H_.is_complex ? 1 : kTogether; }
    int LastFrom(int first) const { return std::min(first + together() - 1, task_.max_J); }
    Stage stage() const { return task_.index == kLower ? Stage::LowerLevels : Stage::UpperLevels; }

    void SolveFrom(int first, LevelScratch& scratch, Trace* trace);

    const LevelTask& task_;
    const Hamiltonian& H_;  // of the task, or of its state in the axes of own_axes
    OwnAxes* const own_axes_;
    Levels& levels_;
    std::atomic<bool> cancelled_ = false;
};

void Solver::SolveFrom(int first, LevelScratch& scratch, Trace* trace) {
    const int last = LastFrom(first);
    const bool has_vectors = !levels_.vectors_real.is_null();
    if (!own_axes_ && !WantsAny(task_, first, last)) return;
    if (H_.is_complex) {
        SolveComplex(H_, first, scratch.of_J[0], levels_);
    } else {
        VectorsOfJ wanted[kTogether];
        for (int J = first; J <= last; ++J) {
            wanted[J - first] = {
                J, has_vectors ? VecStart(levels_, levels_.vectors_real, J) : nullptr};
        }
        SolveReal(H_, {wanted, static_cast<std::size_t>(last - first + 1)}, scratch);
    }
    for (int J = first; J <= last; ++J) {
        BlockScratch& of_J = scratch.of_J[J - first];
        FinishJ(H_, J, of_J, levels_);
        if (own_axes_ && has_vectors) own_axes_->TurnLevels(J, of_J, levels_);
        if (trace && trace->WantsLevels()) {
            trace->LevelsOfJ(task_.index, *task_.H.state, levels_, J);
        }
    }
}

// Without vectors a matrix that is not tridiagonal is reduced in the scratch.
Status FitScratch(const LevelTask& task, const OwnAxes* own_axes, const Levels& levels,
                  Workspace& work) {
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels);
    const bool has_vectors = !levels.vectors_real.is_null();
    const ScratchSize size = own_axes ? ScratchSize() : SizeFor(task.H, levels.num_derivatives > 0);
    KIV_TRY(scratch.blocks.Fit(work.memory(), task.max_J, task.H.is_complex && !own_axes, size));
    const int n = 2 * task.max_J + 1;
    for (BlockScratch& of_J : scratch.blocks.of_J) {
        if (!has_vectors && !of_J.matrix_real.Fit(work.memory(), std::int64_t{n} * VecLd(n))) {
            return NoMemory(array_name::kBlocks);
        }
    }
    return {};
}

// Scratch for the other threads; false without memory for it.
bool FitThreads(const LevelTask& task, const Levels& levels, Workspace& work) {
    work.PrepareThreads();
    for (int thread = 1; thread < work.threads().num(); ++thread) {
        if (!FitScratch(task, nullptr, levels, work.OfThread(thread))) return false;
    }
    return true;
}

// Turning the levels of a state in its own axes goes from one J to the next.
bool IsShared(const LevelTask& task, const OwnAxes* own_axes, Workspace& work, Report& report) {
    return work.threads().num() > 1 && task.max_J >= kTogether && !own_axes && !report.trace();
}

}  // namespace

void ListDerivatives(const TurnedState& state, Levels& levels) {
    std::size_t num = 0;
    for (int c = 0; c < kNumConstants; ++c) {
        if (state.on[c]) levels.derivative_of[num++] = static_cast<Constant>(c);
    }
}

Status CheckFinite(const State& state) {
    for (int c = 0; c < kNumConstants; ++c) {
        if (std::isfinite(state.terms[c].value)) continue;
        const char* const name = NameOf(static_cast<Constant>(c));
        return Error{ErrorCode::OutOfRange,
                     std::string("constant ") + name + " is not a finite number", name};
    }
    for (const double angle : {state.tilt.phi, state.tilt.theta, state.tilt.chi}) {
        if (std::isfinite(angle)) continue;
        return Error{ErrorCode::OutOfRange, "an angle of the tilt is not a finite number", "tilt"};
    }
    return {};
}

Status Levels::ReserveFigures(const Memory& memory, int highest_J, int derivatives) {
    max_J = -1;
    std::int64_t levels = 0;
    KIV_TRY(TakeLevels(memory, highest_J, *this, levels));
    if (!derivative.Take(memory, derivatives * levels)) return NoMemory(array_name::kDerivatives);
    max_J = highest_J;
    is_complex = false;
    num_derivatives = derivatives;
    return {};
}

Status Levels::Reserve(const Memory& memory, int highest_J, bool complex, int derivatives) {
    max_J = -1;
    std::int64_t levels = 0;
    KIV_TRY(TakeLevels(memory, highest_J, *this, levels));
    const std::int64_t components = VecLength(highest_J);
    if (!vectors_real.Take(memory, components)) return NoMemory(array_name::kVectors);
    vectors_imag.Clear();
    if (complex && !vectors_imag.Take(memory, components)) {
        return NoMemory(array_name::kImaginaryVectors);
    }
    if (!derivative.Take(memory, derivatives * levels)) return NoMemory(array_name::kDerivatives);
    max_J = highest_J;
    is_complex = complex;
    num_derivatives = derivatives;
    return {};
}

int Levels::JOf(std::size_t index) {
    auto J = static_cast<int>(std::sqrt(static_cast<double>(index)));
    while (Index(J, 0) > index) --J;
    while (Index(J + 1, 0) <= index) ++J;
    return J;
}

std::vector<std::complex<double>> Levels::Vector(int J, int rank) const {
    const auto n = static_cast<std::size_t>(2 * J + 1);
    std::vector<double> real(n * n), imag(n * n);
    ExpandVectors(*this, J, vectors_real, real.data());
    if (is_complex) ExpandVectors(*this, J, vectors_imag, imag.data());
    std::vector<std::complex<double>> vector(n);
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t at = static_cast<std::size_t>(rank) * n + k;
        vector[k] = {real[at], imag[at]};
    }
    return vector;
}

Status Reserve(const LevelTask& task, const Memory& memory, Levels& levels) {
    return levels.Reserve(memory, task.max_J, task.H.is_complex, task.H.state->NumOn());
}

Status Solve(const LevelTask& task, Workspace& work, Report& report, Levels& levels) {
    Trace* const trace = report.trace();
    auto& scratch = work.Part<SolutionScratch>(Workspace::Slot::Levels);
    OwnAxes* const own_axes = IsSolvedInOwnAxes(task.H) ? &scratch.own_axes : nullptr;
    if (trace) trace->Enter(Step::SolveLevels, task.index);
    if (trace) trace->Enter(Step::LevelScratch, task.index);
    KIV_TRY(FitScratch(task, own_axes, levels, work));
    const bool shared = IsShared(task, own_axes, work, report) && FitThreads(task, levels, work);
    if (own_axes) {
        KIV_TRY(own_axes->Fit(work.memory(), task.max_J));
        own_axes->Begin(task.H, task.max_J);
    }
    if (trace) trace->Leave(Step::LevelScratch, task.index);
    ListDerivatives(*task.H.state, levels);
    const Hamiltonian H = own_axes ? own_axes->own() : task.H;
    SetSymmetry(H, levels);
    levels.placed_by = own_axes ? 0 : levels.kept;  // which a turn changes
    Solver solver(task, H, own_axes, levels);
    KIV_TRY(shared ? solver.Shared(work, report) : solver.Alone(scratch.blocks, report));
    if (trace) trace->Leave(Step::SolveLevels, task.index);
    return {};
}

bool NeedsComplex(const State& state) {
    constexpr Constant kComplexConstants[] = {Constant::PY,  Constant::PXPY,  Constant::PYPZ,
                                              Constant::PY3, Constant::PZ2PY, Constant::PY2PZ};
    if (state.tilt.phi != 0.0 || state.tilt.chi != 0.0) return true;
    return std::any_of(std::begin(kComplexConstants), std::end(kComplexConstants),
                       [&](Constant c) { return state.terms[c].on; });
}

Result<Levels> SolveLevels(const State& state, int max_J, bool is_complex, Workspace& work,
                           Report& report) try {
    KIV_TRY(CheckFinite(state));
    if (max_J < 0) return Error{ErrorCode::OutOfRange, "the highest J is negative", "max_J"};
    const TurnedState turned = Turn(state);
    const LevelTask task{{&turned, is_complex}, max_J, kLower};
    Levels levels;
    KIV_TRY(Reserve(task, work.memory(), levels));
    KIV_TRY(Solve(task, work, report, levels));
    return levels;
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

// Eigenvectors of complex matrices are left where they are made.
Result<Levels> SolveEnergies(const State& state, int max_J, Workspace& work) try {
    KIV_TRY(CheckFinite(state));
    if (max_J < 0) return Error{ErrorCode::OutOfRange, "the highest J is negative", "max_J"};
    Report silent;
    const TurnedState turned = Turn(state);
    const LevelTask task{{&turned, NeedsComplex(state)}, max_J, kLower};
    Levels levels;
    if (task.H.is_complex && !IsSolvedInOwnAxes(task.H)) {
        KIV_TRY(levels.Reserve(work.memory(), max_J, true, 0));
    } else {
        KIV_TRY(levels.ReserveFigures(work.memory(), max_J, 0));
    }
    KIV_TRY(Solve(task, work, silent, levels));
    levels.vectors_real.Clear();
    levels.vectors_imag.Clear();
    return levels;
} catch (const std::bad_alloc&) {
    return NoMemory("");
}

Result<Levels> SolveLevels(const State& state, int max_J, Workspace& work) {
    Report silent;
    return SolveLevels(state, max_J, NeedsComplex(state), work, silent);
}

}  // namespace kiv
