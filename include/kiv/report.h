// What a caller hears while a calculation goes on.
#pragma once

#include <cstdint>

namespace kiv {

class Trace;

enum class Stage : std::uint8_t { LowerLevels, UpperLevels, Lines, FitCycle };

/// Passed in beside every call and silent by default. A calculation on several threads has a
/// report for each.
class Report {
  public:
    virtual ~Report() = default;

    /// `done` of `all` units of a stage are done: J, or cycles.
    virtual void Progress(Stage, int /*done*/, int /*all*/) {}

    /// True to end the call with ErrorCode::Cancelled; asked as often as Progress is told.
    virtual bool Cancelled() { return false; }

    /// What the program itself hears of the inside of a calculation; null for nothing.
    virtual Trace* trace() { return nullptr; }
};

}  // namespace kiv
