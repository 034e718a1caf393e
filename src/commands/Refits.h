// Fits of an input with one constant more or less than it varies.
#pragma once

#include <string>
#include <vector>

#include "commands/Request.h"
#include "commands/RunOutcome.h"
#include "job/Varied.h"
#include "kiv/workspace.h"

namespace kiv {

struct Refit {
    JobConstant constant;
    bool is_added = false;  // varied; else held at the value of the input
};

/// The refits of --omit, --add and --trials, each once. BadChoice for a name that the input does
/// not have, or of a constant that is not varied (--omit), or is already (--add).
Result<std::vector<Refit>> RefitsOf(const Request& request, const Job& job);

/// Fits with each of them from the values of the input and tells wrms, its change against the fit
/// of `outcome` and the constant in question, the largest change first.
std::string RefitsText(const std::vector<Refit>& refits, const RunOutcome& outcome, Workspace& work,
                       Report& report);

}  // namespace kiv
