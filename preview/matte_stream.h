// The mattes of a range of a clip, keyed on several threads and handed over in order.
#pragma once

#include <atomic>
#include <functional>

#include "analysis/matte_quality.h"
#include "jobs/key_job.h"
#include "preview/precedence.h"

namespace kalvetra {

struct MatteStream {
  std::function<void(const Reader& source)> begin;
  // One at a time, in the order of the clip.
  std::function<void(MattePlane matte)> matte;
};

// Returns behind the range's last frame, or soon after `stop` is true. Keys on job.threads threads of the lowest
// priority, which pause between frames while `precedence` is claimed. Only the job's input, range and way of reading
// count. Throws what reading and keying throw; of several threads' exceptions the first.
void streamMattes(const KeyJob& job, const AnimatedSettings& settings, Precedence& precedence,
                  const std::atomic<bool>& stop, const MatteStream& stream);

}  // namespace kalvetra
