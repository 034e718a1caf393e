// Matching of calculated lines against the assigned ones, both in ascending order of their keys.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Trace.h"
#include "kiv/lines.h"
#include "lines/LineTask.h"

namespace kiv {

/// Walks through the assignments of a set while the lines of a pass are calculated, and notes the
/// matches in the list. Assignments without a calculated line are told and counted as missing;
/// those left after the last line are counted without being told.
class LineMatch {
  public:
    LineMatch(const AssignedSet& set, LineList& list, Trace* trace);

    /// Tells the assignments that stand before `key`; true when the next one is `key`, which is
    /// then used up. Call with ascending keys.
    bool Matches(std::uint64_t key) { return cursor_ < set_.key.size() && MatchesNext(key); }

    /// True when an assignment is left whose key is at most `key`.
    bool HasUpTo(std::uint64_t key) const;

    /// Tells the assignments that stand before `key`.
    void TellBefore(std::uint64_t key);

    /// Notes that the match just found is line `line` of the list.
    void Keep(std::int32_t line);

    /// The match just found has no line after all: it is missing.
    void Drop() { TellMissing(cursor_ - 1); }

    /// Counts what is left.
    void Finish();

  private:
    bool MatchesNext(std::uint64_t key);
    void TellMissing(std::size_t place);
    std::int32_t NumberOf(std::size_t place) const {
        return set_.first + static_cast<std::int32_t>(place);
    }

    const AssignedSet& set_;
    LineList& list_;
    Trace* trace_;
    std::size_t cursor_ = 0;
};

}  // namespace kiv
