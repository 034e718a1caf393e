// The files that a run writes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "job/Job.h"
#include "kiv/error.h"

namespace kiv {

enum class Product : std::uint8_t { Asc, Qzs, Csv, Cat, Egy, Count };

/// The products of a list like "asc,qzs,cat", by default "asc,qzs". BadChoice names a word that is
/// none.
Result<std::vector<Product>> ProductsOf(const std::optional<std::string>& list);

/// What the names of the results begin with: `base`, else what an old input names or the stem of
/// `name`, in the folder of `name`.
std::string BaseOf(const Job& job, const std::string& name, const std::optional<std::string>& base);

std::string LogName(const std::string& base);
std::string NameOf(Product product, const std::string& base);

/// The fitted input.
std::string FittedName(const Job& job, const std::string& base);

/// All that a run of `job` would write.
std::vector<std::string> FileNames(const Job& job, const std::string& base,
                                   const std::vector<Product>& products);

/// BadChoice when one of `outputs` is a file that the command reads.
Status CheckOutputs(const std::vector<std::string>& outputs,
                    const std::vector<std::string>& inputs);

/// `name`, which lies in the folder of `from` unless it is absolute, as a file in the folder of
/// `to` names it.
std::string Relocated(const std::string& name, const std::string& from, const std::string& to);

}  // namespace kiv
