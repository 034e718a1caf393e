// Matching of calculated lines against the assigned ones, both in ascending order of their keys.
#pragma once

#include <cstdint>

/// Walks through the assignments of one set while the lines of a pass are calculated.
///
/// A pass sees one set: the second one, pure rotation, when Gnd_Only and Asn_Multi_Set are both 1,
/// otherwise the first. Assignments without a calculated line are reported and counted in Num_Rej;
/// those left after the last line are counted without a message.
class LineMatch {
  public:
    LineMatch();

    /// Reports the assignments that stand before `key`; true when the next one is `key`, which is
    /// then used up. Call with ascending keys.
    bool Matches(std::uint64_t key) { return Cursor < End && MatchesNext(key); }

    /// True when an assignment is left whose key is at most `key`.
    bool HasUpTo(std::uint64_t key) const;

    /// Reports the assignments that stand before `key`.
    void ReportBefore(std::uint64_t key);

    /// First and one past the last assignment of the set.
    std::int32_t First() const { return Begin; }
    std::int32_t Last() const { return End; }

    /// Notes that the match just found is line `line` of the store.
    void Keep(std::int32_t line);

    /// The match just found has no line after all: it is reported as missing.
    void Drop();

    /// Counts what is left and sets Num_Asn, the number of matched lines.
    void Finish();

  private:
    bool MatchesNext(std::uint64_t key);
    void ReportMissing(std::int32_t assignment);

    std::int32_t Begin;
    std::int32_t End;
    std::int32_t Cursor;
    std::int32_t Num_Matched = 0;
};
