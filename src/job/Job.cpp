#include "job/Job.h"

#include <algorithm>

namespace kiv {

bool Job::IsSound(std::string_view path) const {
    const Place place = input.places.Of(path);
    return std::none_of(findings.begin(), findings.end(), [&](const Finding& finding) {
        return finding.severity == Severity::Error && finding.file == file &&
               finding.line == place.line && finding.column == place.column;
    });
}

bool Job::is_fit() const {
    if (!lines || input.fit.cycles == 0) return false;
    const auto varied = [](const NamedState& state) {
        return std::any_of(state.terms.values.begin(), state.terms.values.end(),
                           [](const NamedTerm& term) { return term.fit; });
    };
    return varied(input.lower()) ||
           (input.two_states && (varied(input.upper()) || input.origin.fit));
}

}  // namespace kiv
