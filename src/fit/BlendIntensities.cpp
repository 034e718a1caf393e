#include "fit/BlendIntensities.h"

#include <algorithm>
#include <tuple>

#include "lines/Boltzmann.h"
#include "lines/LineScratch.h"
#include "lines/PairRules.h"
#include "model/Frames.h"

namespace kiv {
namespace {

// Squared amplitude of the first pair: of real states, c, whose amplitude is imaginary, adds in
// quadrature; of complex ones all three coherently.
double RawIntensity(const LineTask& task, const Amplitudes& amplitudes) {
    double re[kNumBands], im[kNumBands];
    for (std::size_t type = 0; type < kNumBands; ++type) {
        re[type] = task.projection[type] * amplitudes.real[type][0];
        im[type] = task.is_complex() ? task.projection[type] * amplitudes.imag[type][0] : 0.0;
    }
    const double ab = re[kBandA] + re[kBandB];
    if (!task.is_complex()) return ab * ab + re[kBandC] * re[kBandC];
    const double real = ab + re[kBandC], imag = im[kBandA] + im[kBandB] + im[kBandC];
    return real * real + imag * imag;
}

auto StatesOf(const Component& c) { return std::tuple(c.lower.state, c.upper.state); }
auto BranchOf(const Component& c) { return std::tuple(c.lower.J, c.upper.J); }

// The components of one pair of states, those of a branch side by side.
Status FillStates(const LineTask& task, std::span<Component* const> components, Workspace& work) {
    auto& scratch = work.Part<LineScratch>(Workspace::Slot::Lines);
    KIV_TRY(scratch.Begin(work.memory(), task));
    Boltzmann weights(*task.rules, task.one_state());
    const Component* last = nullptr;
    for (Component* c : components) {
        if (!last || BranchOf(*last) != BranchOf(*c)) {
            scratch.sums.SetBranch(c->lower.J, c->upper.J);
        }
        last = c;
        Amplitudes& amplitudes = scratch.pairs.amplitudes;
        scratch.sums.Compute(c->lower.rank, scratch.sums.AllPartners(), c->upper.rank,
                             c->upper.rank + 1, amplitudes);
        const LowerLevel lower = MakeLower(task, c->lower.J, c->lower.rank);
        weights.SetLower(lower.energy);
        c->weight = RawIntensity(task, amplitudes) * lower.spin_weight *
                    weights.Factor(task.upper->Energy(c->upper.J, c->upper.rank));
    }
    return {};
}

}  // namespace

Status FillIntensities(const Model& model, const LineRules& rules, const StateLevels& levels,
                       std::span<Component*> components, Workspace& work) {
    if (components.empty()) return {};
    std::sort(components.begin(), components.end(), [](const Component* a, const Component* b) {
        return std::tuple(StatesOf(*a), BranchOf(*a), a->lower.rank, a->upper.rank) <
               std::tuple(StatesOf(*b), BranchOf(*b), b->lower.rank, b->upper.rank);
    });
    auto& cosines = work.Part<Cosines>(Workspace::Slot::Pass);
    LineTask task{};
    task.cosines = &cosines;
    task.rules = &rules;
    task.projection = TurnedMoment(model.moment, Turn(model.states[model.moment.frame]));
    for (std::size_t first = 0, next = 0; first < components.size(); first = next) {
        const Component& c = *components[first];
        while (next < components.size() && StatesOf(*components[next]) == StatesOf(c)) ++next;
        task.lower = &levels.of(c.lower.state);
        task.upper = &levels.of(c.upper.state);
        KIV_TRY(cosines.Fill(work.memory(), task.max_J()));
        KIV_TRY(FillStates(task, components.subspan(first, next - first), work));
    }
    return {};
}

}  // namespace kiv
