// Frames through the keyer on all cores, in order.
#pragma once

#include <atomic>
#include <functional>
#include <vector>

#include "jobs/clip_plates.h"
#include "jobs/clip_reader.h"
#include "jobs/companions.h"
#include "jobs/frame_keyer.h"
#include "jobs/journal.h"
#include "jobs/sample_pictures.h"
#include "media/output/picture_sink.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

// One way out of the keyer.
struct Route {
  ShownView view = ShownView::Result;
  bool followsSettings = false;  // the settings' view is shown instead
  PictureSink* sink = nullptr;
  SamplePictures* samples = nullptr;  // null: none are wanted
};

struct Keying {
  AnimatedSettings settings;                 // by the number of the frame in the clip
  bool hashes = false;                       // of the first route's pictures
  std::shared_ptr<const ClipPlates> plates;  // null: the engine's own
};

// What became of a frame; reported in the clip's order, after it was written to every route.
struct WrittenFrame {
  FrameRecord record;  // in the times of the routes; without `hashes` no hash
  MatteStatus status;  // where a route shows it
  OddValues odd;       // of the source
};

// Reads every frame of `clip`, keys it once and writes it to each of the routes: decoding, keying and encoding overlap,
// several frames are keyed at once, and the outputs keep the source's order. Memory holds a few frames a thread,
// however long the clip. Once `stop` is true no further frame is read; those under way are still written.
void keyFrames(ClipReader& clip, const ClipKeying& clipKeying, const Keying& keying, CompanionFiles& companions,
               const std::vector<Route>& routes, int threads, const std::atomic<bool>& stop,
               const std::function<void(const WrittenFrame&)>& written);

}  // namespace kalvetra
