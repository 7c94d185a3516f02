// One clip from its file to all outputs that are wanted of it, in two steps: what is found out in the clip may settle
// how it is keyed.
#pragma once

#include <atomic>
#include <optional>

#include "jobs/clip_keying.h"
#include "jobs/clip_plates.h"
#include "jobs/companions.h"
#include "jobs/job_places.h"
#include "jobs/key_job.h"
#include "media/input/reader.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

class PreparedJob {
 public:
  // Settles the outputs' places, then opens the clip and what goes along with it. Nothing is written yet. Throws
  // UserError for all that can be refused by then. The arguments must outlive this; once `stop` is true, it ends soon.
  PreparedJob(const KeyJob& job, const JobListener& listener, const std::atomic<bool>& stop);

  // The clip at its start, where it has to be again for run().
  Reader& source() { return source_; }
  const ClipKeying& keying() const { return keying_; }

  // Keys the clip; called once. `plates` are those that findPlates finds for the settings, null where there are none;
  // without that argument they are looked for first. Throws UserError, and Interrupted once `stop` is true; then
  // nothing stands under a final name that is not complete.
  JobResult run(const AnimatedSettings& settings, std::shared_ptr<const ClipPlates> plates);
  JobResult run(const AnimatedSettings& settings);

 private:
  friend class KeyRun;

  void noteGuesses() const;
  void noteDepth() const;

  const KeyJob& job_;
  const JobListener& listener_;
  const std::atomic<bool>& stop_;
  JobPlaces places_;
  Reader source_;
  ClipKeying keying_;
  std::optional<CompanionFiles> companions_;
};

}  // namespace kalvetra
