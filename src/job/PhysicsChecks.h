// The checks of CheckPhysics by subject.
#pragma once

#include <set>
#include <string>

#include "job/Job.h"

namespace kiv {

/// A job with its model and the places that have an error already.
class PhysicsReport {
  public:
    explicit PhysicsReport(Job& of);

    /// False for a word that has an error already.
    bool IsGood(const std::string& path) const;

    /// True when the input file has no error at all.
    bool IsSound() const { return wrong_.empty(); }

    /// Adds a finding at the word of `path`, unless that has an error already.
    void Tell(FindingCode code, const std::string& path, const std::string& message);

    /// Adds a finding about the line file.
    void TellLine(FindingCode code, Place place, const std::string& message);

    /// The states that take part.
    bool Uses(StateIndex state) const { return state == kLower || job.input.two_states; }

    /// A number with the unit of the job: "10317.9 MHz".
    std::string WithUnit(double value) const;

    Job& job;
    Model model;
    Settings settings;
    /// All of A, B and C of the states that take part are positive.
    bool is_rotor = true;
    /// The constants seem to be in another unit than that of the job.
    bool has_foreign_unit = false;

  private:
    std::set<Place> wrong_;
};

/// "lower", "upper".
const char* TableOf(StateIndex state);

/// "lower.DJ", "upper.d1".
std::string PathOf(const NamedInput& input, StateIndex state, Constant constant);

/// Order and size of the constants.
void CheckConstants(PhysicsReport& report);

/// What is varied, and whether it can be.
void CheckFit(PhysicsReport& report);

/// Measured lines against the model.
void CheckLines(PhysicsReport& report);

/// Moment, spin weights, temperature, highest J.
void CheckSpectrum(PhysicsReport& report);

}  // namespace kiv
