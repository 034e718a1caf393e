// The options of `kiv export` as values.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "commands/LineProducts.h"
#include "commands/Request.h"
#include "job/Job.h"
#include "kiv/error.h"

namespace kiv {

struct ExportOptions {
    LineProductOptions lines;
    std::optional<std::array<double, 2>> range;  // in place of that of the input
    std::vector<double> temperatures;            // beside the usual ones
};

/// Reads the options of csv, cat, egy and q. BadChoice tells of one that the format does not have
/// or whose value it cannot take.
Result<ExportOptions> ReadExportOptions(const Request& request, const Job& job);

}  // namespace kiv
