// What distinguishes one job from another.
#pragma once

#include <string>

#include "jobs/key_job.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

// A JSON object with everything that the written pictures depend on, and the clip's size and time of change; not how
// the job is worked on, like its number of threads.
std::string jobIdentity(const KeyJob& job, const AnimatedSettings& settings, const ClipKeying& keying);

}  // namespace kalvetra
