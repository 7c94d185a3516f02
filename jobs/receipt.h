// What was made of a clip, for those who check deliveries.
#pragma once

#include <string>

#include "jobs/key_job.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

// Writes a JSON object: the program, the input, its frames and their hash, the settings, and each output with what was
// found when it was read back. Throws UserError when it cannot be written.
void writeReceipt(const std::string& path, const KeyJob& job, const ClipKeying& keying,
                  const AnimatedSettings& settings, const Reader& source, const JobResult& result);

}  // namespace kalvetra
