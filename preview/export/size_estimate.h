// How large an export becomes, estimated from a few of its frames.
#pragma once

#include <memory>
#include <mutex>

#include "preview/clip/backgrounds.h"
#include "preview/clip/clip_frames.h"
#include "preview/clip/clip_mattes.h"
#include "preview/clip/plate_cache.h"
#include "preview/clip/precedence.h"
#include "preview/export/key_request.h"

namespace kalvetra {

// What an estimate is made from, as the page looks at it.
struct EstimateSources {
  ClipFrames& clip;
  ClipMattes& mattes;
  PlateCache& plates;
  Backgrounds& backgrounds;
  Precedence& precedence;
};

class SizeEstimator {
 public:
  // `clip` says how it is keyed. The sources must outlive this, and `stop`, which, once true, ends all estimates.
  SizeEstimator(const KeyJob& clip, const EstimateSources& sources, const std::atomic<bool>& stop)
      : clip_(clip), sources_(sources), stopAll_(stop) {}

  // Bytes of all files together. Keys and encodes some frames from over the range, with low priority and never while
  // the user waits for a picture, and writes nothing. Waits for it. Throws UserError for what cannot be exported, and
  // Conflict once a newer estimate is asked for, or cancel() is called.
  double estimate(const KeyRequest& request);
  void cancel();

 private:
  using Stop = std::shared_ptr<std::atomic<bool>>;

  Stop takeTurn();

  const KeyJob clip_;
  const EstimateSources sources_;
  const std::atomic<bool>& stopAll_;
  std::mutex mutex_;  // of what follows
  Stop stop_;         // of the newest
};

}  // namespace kalvetra
