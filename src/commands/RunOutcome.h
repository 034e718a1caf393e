// What `kiv run` and `kiv report` have to tell: to a person, to a script, and in the log.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "job/Calculation.h"
#include "job/Job.h"
#include "kiv/partition.h"

namespace kiv {

struct RunOutcome {
    explicit RunOutcome(const Job& of) : job(of) {}

    const Job& job;
    const Calculation* calculation = nullptr;  // null: the input was not usable
    Status status;                             // of the calculation
    Findings findings;                         // of the job and of the calculation
    std::optional<Partition> partition;
    double temperature = 0.0;        // of the partition function
    std::vector<std::string> files;  // that were written

    bool has_result() const { return calculation && status && calculation->has_lines(); }
};

/// Indices of the parameters in the order in which inputs list constants, the origin last.
std::vector<std::size_t> ListedOrder(const FeatureFit& fit);

/// Why a constant was held, and with which others it is tied.
std::string HeldText(const FeatureParameter& varied);

/// Why there are no lines, one sentence.
std::string WhyNoResult(const RunOutcome& outcome);

/// The summary that a person reads.
std::string SummaryText(const RunOutcome& outcome);

/// All measured lines of a fit with observed minus calculated.
std::string ResidualsText(const RunOutcome& outcome);

/// The summary as one JSON object and a line end; results are null where there are none.
std::string SummaryJson(const RunOutcome& outcome);

}  // namespace kiv
