// The constants that the fit of a job varies, and jobs that vary one more or one less.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "job/Job.h"
#include "kiv/model.h"

namespace kiv {

/// A constant of a state, or the origin of the upper one.
struct JobConstant {
    StateIndex state = kLower;
    std::optional<Constant> constant;  // none: the origin

    bool operator==(const JobConstant&) const = default;
};

/// "lower.DJ", "upper.d1", "upper.origin".
std::string NameOf(const Job& job, const JobConstant& constant);

/// What a fit of this input can vary, in the order in which files list constants, the origin last.
/// Positional inputs have no sextic and octic constants; differences leave out the other state.
std::vector<JobConstant> ConstantsOf(const Job& job);

/// Value that the input gives, and whether its fit varies it.
NamedTerm TermOf(const Job& job, const JobConstant& constant);

/// The same input with a constant varied, from the value that it has, or held there.
Job WithVaried(const Job& job, const JobConstant& constant, bool is_varied);

/// Distortion constants of the reduction that are 0 and not varied, up to the order behind the
/// highest that is in use: quartic ones for a rigid rotor, then sextic, then octic ones.
std::vector<JobConstant> NextConstants(const Job& job);

}  // namespace kiv
