#include "levels/Solution.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <string>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Trace.h"
#include "levels/Derivatives.h"
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

void ListDerivatives(const TurnedState& state, Levels& levels) {
    std::size_t num = 0;
    for (int c = 0; c < kNumConstants; ++c) {
        if (state.on[c]) levels.derivative_of[num++] = static_cast<Constant>(c);
    }
}

// The place of J is filled by one block alone. Of the rest of it a vector can be read behind the
// last one, and before the first one of the next J: nothing is left there of other blocks.
void ClearRest(const LevelBlocks& blocks, int J, Array<double>& vectors) {
    const int last = blocks.num - 1, N = blocks.block[last].N;
    const std::int64_t used = blocks.vec[last] + std::int64_t{N} * VecLd(N);
    const std::int64_t room = VecOffset(J + 1) - VecOffset(J);
    if (used == room) return;
    double* const start = VecStart(vectors, J);
    std::fill_n(start + used, kVecStep, 0.0);
    std::fill_n(start + room - kVecStep, kVecStep, 0.0);
}

// From the solved blocks of J to its levels.
void FinishJ(const LevelTask& task, int J, BlockScratch& scratch, Trace* trace, Levels& levels) {
    ClearRest(scratch.blocks, J, levels.vectors_real);
    if (task.H.is_complex) ClearRest(scratch.blocks, J, levels.vectors_imag);
    RankLevels(task.H, J, scratch, levels);
    FillDerivatives(task.H, J, scratch, levels);
    if (trace && trace->WantsLevels()) trace->LevelsOfJ(task.index, *task.H.state, levels, J);
}

Status SolveAll(const LevelTask& task, LevelScratch& scratch, Report& report, Levels& levels) {
    Trace* const trace = report.trace();
    const Stage stage = task.index == kLower ? Stage::LowerLevels : Stage::UpperLevels;
    const int together = task.H.is_complex ? 1 : kTogether;
    for (int first = 0; first <= task.max_J; first += together) {
        const int last = std::min(first + together - 1, task.max_J);
        if (task.H.is_complex) {
            SolveComplex(task.H, first, scratch.of_J[0], levels);
        } else {
            SolveReal(task.H, first, last, scratch, levels);
        }
        for (int J = first; J <= last; ++J) {
            FinishJ(task, J, scratch.of_J[J - first], trace, levels);
        }
        KIV_TRY(Tell(report, stage, last + 1, task.max_J + 1));
    }
    return {};
}

}  // namespace

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

Status Levels::Reserve(const Memory& memory, int highest_J, bool complex, int derivatives) {
    max_J = -1;
    const std::int64_t levels = CountLevels(highest_J);
    if (levels < 0 || !energy.Take(memory, levels)) return NoMemory(array_name::kEnergies);
    if (!ka.Take(memory, levels) || !kc.Take(memory, levels) || !odd.Take(memory, levels)) {
        return NoMemory(array_name::kLabels);
    }
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
    auto& scratch = work.Part<LevelScratch>(Workspace::Slot::Levels);
    if (trace) trace->Enter(Step::SolveLevels, task.index);
    if (trace) trace->Enter(Step::LevelScratch, task.index);
    KIV_TRY(scratch.Fit(work.memory(), task.max_J, task.H.is_complex));
    if (trace) trace->Leave(Step::LevelScratch, task.index);
    ListDerivatives(*task.H.state, levels);
    KIV_TRY(SolveAll(task, scratch, report, levels));
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

Result<Levels> SolveLevels(const State& state, int max_J, Workspace& work) {
    Report silent;
    return SolveLevels(state, max_J, NeedsComplex(state), work, silent);
}

}  // namespace kiv
