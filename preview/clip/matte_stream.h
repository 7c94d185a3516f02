// The mattes of a range of a clip, keyed on several threads and handed over in order.
#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "analysis/matte_quality.h"
#include "jobs/clip_plates.h"
#include "jobs/key_job.h"
#include "media/input/picture_index.h"
#include "parameters/animated_settings.h"
#include "preview/clip/precedence.h"

namespace kalvetra {

struct MatteStream {
  // What the frames are keyed against; null: the engine's own.
  std::shared_ptr<const ClipPlates> plates;
  // The mattes that go along with the frame of that number; asked in the order of the clip.
  std::function<Companions(std::int64_t number)> companions;
  std::function<void(const Reader& source)> begin;
  // One at a time, in the order of the clip.
  std::function<void(MattePlane matte)> matte;
};

// Returns after the range's last frame, or soon after `stop` is true. Keys on job.threads threads of low priority, the
// calling one among them, which keeps it; they rest between frames while something else is urgent. Only the job's
// input, range, whose ends are frames, and ways of reading and keying count. With an index, which may be null, nothing
// long before the range is decoded; false when it turned out to be wrong, and with it the numbers of the frames so far.
// Throws what reading and keying throw; of several threads' exceptions the first.
bool streamMattes(const KeyJob& job, const AnimatedSettings& settings, std::shared_ptr<const PictureIndex> index,
                  Precedence& precedence, const std::atomic<bool>& stop, const MatteStream& stream);

}  // namespace kalvetra
