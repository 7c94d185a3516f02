// How good the matte of every frame is, measured in the background.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "analysis/matte_quality.h"
#include "jobs/clip_plates.h"
#include "jobs/key_job.h"
#include "media/input/picture_index.h"
#include "parameters/animated_settings.h"
#include "preview/clip/precedence.h"

namespace kalvetra {

enum class StripStatus { Idle, Running, Done, Stopped, Failed };

struct StripState {
  std::int64_t job = 0;  // grows with every start; 0: none yet
  StripStatus status = StripStatus::Idle;
  std::int64_t of = 0;                   // frames expected; 0: not known
  std::int64_t first = 0;                // number in the clip of the range's first frame
  std::int64_t from = 0;                 // how many frames of the range are left out of `frames`
  std::vector<PictureQuality> frames{};  // in order, each with all its figures
  std::string error{};                   // a sentence, where it failed
};

// Keys the frames of a range in order, one after the other, and measures their mattes just as `kalvetra report` does
// with the keyed clip. Works with the lowest priority, and not at all while the user waits for a picture.
//
// start() and stop() take effect at once, though frames under way may still be worked on for some milliseconds; what
// they give is discarded. All functions may be called from any thread.
class MatteStrip {
 public:
  // `clip` names the input and how it is read; its range, depth, companions and outputs do not count. `index` returns
  // what is known of the clip's pictures by then, or null; `mattes` what goes along with the frame of a number, asked
  // mostly in the order of the clip; `plates` what goes with the settings; both for the depth of the key. They and
  // `precedence` must outlive this.
  using Index = std::function<std::shared_ptr<const PictureIndex>()>;
  using Mattes = std::function<Companions(std::int64_t number, DepthChoice depth, const std::atomic<bool>& stop)>;
  using Plates = std::function<std::shared_ptr<const ClipPlates>(const AnimatedSettings& settings, DepthChoice depth,
                                                                 const std::atomic<bool>& stop)>;
  MatteStrip(
      const KeyJob& clip, Precedence& precedence, Index index = [] { return nullptr; },
      Mattes mattes = [](std::int64_t, DepthChoice, const std::atomic<bool>&) { return Companions(); },
      Plates plates = [](const AnimatedSettings&, DepthChoice, const std::atomic<bool>&) { return nullptr; });
  // Stops and waits.
  ~MatteStrip();
  MatteStrip(const MatteStrip&) = delete;
  MatteStrip& operator=(const MatteStrip&) = delete;

  // Replaces what is under way. Returns the new job's number.
  std::int64_t start(const AnimatedSettings& settings, const ClipRange& range, DepthChoice depth = DepthChoice::Auto);
  // What was measured so far remains.
  void stop();
  // A frame is listed only when its flicker is known too, that is, once the two after it are done or there are none.
  StripState state(std::int64_t from = 0) const;

 private:
  struct Wanted {
    std::int64_t job;
    AnimatedSettings settings;
    ClipRange range;
    DepthChoice depth;
    std::shared_ptr<std::atomic<bool>> stop;
  };
  void work();
  void run(const Wanted& wanted);
  bool measure(const Wanted& wanted, std::shared_ptr<const PictureIndex> index);
  template <class Change>
  void update(const Wanted& wanted, Change change);

  const KeyJob clip_;
  Precedence& precedence_;
  const Index index_;
  const Mattes mattes_;
  const Plates plates_;
  mutable std::mutex mutex_;  // of all below
  std::condition_variable changed_;
  std::optional<Wanted> next_;
  std::shared_ptr<std::atomic<bool>> stop_;  // of the newest job
  bool ending_ = false;
  StripState state_;
  std::thread thread_;
};

}  // namespace kalvetra
