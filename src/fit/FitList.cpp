#include "fit/FitList.h"

#include <cmath>

namespace kiv {
namespace {

constexpr StateIndex kBothStates[] = {kLower, kUpper};

// The lower state has no origin.
int LastConstant(StateIndex state) { return state == kLower ? kNumConstants - 1 : kOrigin; }

bool IsExcluded(const Model& model, FitData data, StateIndex state, int constant) {
    if (state == kUpper && (model.one_state || data == FitData::LowerDifferences)) return true;
    return data == FitData::UpperDifferences && (state == kLower || constant == kOrigin);
}

bool IsDifference(FitData data, StateIndex state, int constant) {
    return data == FitData::UpperAsDifference && state == kUpper && constant != kOrigin;
}

bool IsRotational(int constant) { return constant <= static_cast<int>(Constant::C); }

}  // namespace

const Term& TermOf(const Model& model, StateIndex state, int constant) {
    return constant == kOrigin ? model.origin : model.states[state].terms[constant];
}

Term& TermOf(Model& model, StateIndex state, int constant) {
    return constant == kOrigin ? model.origin : model.states[state].terms[constant];
}

int CountMarked(const Model& model, FitData data) {
    int count = 0;
    for (const StateIndex state : kBothStates) {
        for (int c = 0; c <= LastConstant(state); ++c) {
            if (!IsExcluded(model, data, state, c) && TermOf(model, state, c).fit) ++count;
        }
    }
    return count;
}

FitList MakeFitList(const Model& model, FitData data) {
    FitList list;
    for (const StateIndex state : kBothStates) {
        for (int c = 0; c <= LastConstant(state); ++c) {
            const Term& term = TermOf(model, state, c);
            if (IsExcluded(model, data, state, c) || !(term.on || IsRotational(c))) continue;
            const int slot = ++list.num;
            list.state[slot] = state;
            list.constant[slot] = c;
            if (term.fit) list.order[++list.num_varied] = slot;
        }
    }
    int position = list.num_varied;
    for (int slot = 1; slot <= list.num; ++slot) {
        if (!TermOf(model, list.state[slot], list.constant[slot]).fit)
            list.order[++position] = slot;
    }
    return list;
}

void GetFitValues(const FitList& list, const Model& model, FitData data, double* values) {
    for (int slot = 1; slot <= list.num; ++slot) {
        const StateIndex state = list.state[slot];
        const int c = list.constant[slot];
        values[slot] = TermOf(model, state, c).value;
        if (IsDifference(data, state, c)) values[slot] -= model.lower().terms[c].value;
    }
}

int SetFitValues(const FitList& list, const double* values, FitData data, Model& model) {
    for (int slot = 1; slot <= list.num; ++slot) {
        const StateIndex state = list.state[slot];
        const int c = list.constant[slot];
        const bool difference = IsDifference(data, state, c);
        Term& term = TermOf(model, state, c);
        if (!term.fit && !difference) continue;
        term.value = values[slot] + (difference ? model.lower().terms[c].value : 0.0);
        if (IsRotational(c) && !(term.value >= 0.0)) return slot;
    }
    return 0;
}

void SetFitDeviations(const FitList& list, const Table<double>& covariance, Model& model) {
    for (int m = 1; m <= list.num_varied; ++m) {
        const int slot = list.order[m];
        const auto at = static_cast<std::size_t>(m);
        TermOf(model, list.state[slot], list.constant[slot]).sd =
            std::sqrt(std::fabs(covariance(at, at)));
    }
}

}  // namespace kiv
