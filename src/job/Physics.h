// What is doubtful or impossible about the physics of a job, whatever form its input has.
#pragma once

#include "job/Job.h"

namespace kiv {

/// Adds what is doubtful about constants, moment, spectrum, fit and lines to the findings of the
/// job, at the words that say it. Words that have an error already are not looked at again.
///
/// It calculates for some ten milliseconds at most: levels up to a moderate J.
void CheckPhysics(Job& job);

}  // namespace kiv
