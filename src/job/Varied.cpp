#include "job/Varied.h"

#include <algorithm>

#include "named/NamedConstants.h"

namespace kiv {
namespace {

enum Order : int { kNotDistortion = 0, kQuartic, kSextic, kOctic };

Order OrderOf(Constant c) {
    if (c >= Constant::DK && c <= Constant::dJ) return kQuartic;
    if (c >= Constant::HJ && c <= Constant::hK) return kSextic;
    return c >= Constant::LJ ? kOctic : kNotDistortion;
}

bool IsInUse(const NamedTerm& term) { return term.fit || term.value != 0.0; }

int HighestOrder(const NamedState& state) {
    int highest = kNotDistortion;
    for (const Constant c : kListedConstants) {
        if (IsInUse(state.terms[c])) highest = std::max<int>(highest, OrderOf(c));
    }
    return highest;
}

}  // namespace

std::string NameOf(const Job& job, const JobConstant& constant) {
    if (!constant.constant) return "upper.origin";
    return std::string(constant.state == kLower ? "lower." : "upper.") +
           NameOf(*constant.constant, job.input.states[constant.state].reduction);
}

std::vector<JobConstant> ConstantsOf(const Job& job) {
    std::vector<JobConstant> constants;
    const NamedData data = job.input.fit.data;
    for (const StateIndex state : {kLower, kUpper}) {
        if (state == kUpper && !job.input.two_states) continue;
        if (data == (state == kLower ? NamedData::UpperDifferences : NamedData::LowerDifferences)) {
            continue;
        }
        for (const Constant c : kListedConstants) {
            const bool is_known =
                job.form == InputForm::Named || static_cast<int>(c) < kNumFileConstants;
            if (is_known) constants.push_back({state, c});
        }
    }
    if (job.input.two_states && data == NamedData::Lines) constants.push_back({kUpper, {}});
    return constants;
}

NamedTerm TermOf(const Job& job, const JobConstant& constant) {
    if (!constant.constant) return job.input.origin;
    return job.input.states[constant.state].terms[*constant.constant];
}

Job WithVaried(const Job& job, const JobConstant& constant, bool is_varied) {
    Job changed = job;
    const auto mark = static_cast<std::int16_t>(is_varied ? 1 : 0);
    if (!constant.constant) {
        changed.input.origin.fit = is_varied;
        if (changed.old) changed.old->origin_fit = mark;
        return changed;
    }
    changed.input.states[constant.state].terms[*constant.constant].fit = is_varied;
    if (!changed.old) return changed;
    InputState& state = changed.old->states[constant.state];
    state.fit[*constant.constant] = mark;
    if (is_varied) state.status[*constant.constant] = 1;
    return changed;
}

std::vector<JobConstant> NextConstants(const Job& job) {
    std::vector<JobConstant> next;
    for (const JobConstant& constant : ConstantsOf(job)) {
        if (!constant.constant || IsInUse(TermOf(job, constant))) continue;
        const int order = OrderOf(*constant.constant);
        const int most = HighestOrder(job.input.states[constant.state]) + 1;
        if (order != kNotDistortion && order <= most) next.push_back(constant);
    }
    return next;
}

}  // namespace kiv
