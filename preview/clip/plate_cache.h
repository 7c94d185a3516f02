// The plates of the clip, found once for all settings that ask for the same ones.
#pragma once

#include <array>
#include <mutex>
#include <optional>

#include "jobs/usual_key.h"
#include "preview/clip/clip_frames.h"
#include "support/recently_used.h"

namespace kalvetra {

// Whoever asks first looks for them in its own thread, the others wait. All functions may be called from any thread.
class PlateCache {
 public:
  // `job` names the clip, how it is read, and the clean plate. `clip` is the same one, whose index is used. Both and
  // `stop`, which ends all reading, must outlive this.
  PlateCache(const KeyJob& job, const ClipFrames& clip, const std::atomic<bool>& stop)
      : job_(job), clip_(clip), stop_(stop) {}

  // What `kalvetra key` keys against with these settings at that depth, and the materials that it goes by; null: the
  // engine's own estimate, and no materials. Throws
  // UserError for a clean plate that is of no use, Conflict once `abandoned`, asked now and then, returns true.
  std::shared_ptr<const ClipPlates> of(const AnimatedSettings& settings, bool deep, const Abandon& abandoned = {});

  // What `kalvetra key` does by itself; without the samples. Throws likewise.
  UsualKey usual(const AnimatedSettings& settings, bool deep, const UsualChoice& choice, const Abandon& abandoned = {});

 private:
  static constexpr std::size_t kKept = 4;  // sets of plates
  using Wish = std::vector<std::int64_t>;  // all that plates depend on
  using Turn = std::unique_lock<std::timed_mutex>;

  static Wish wishOf(const AnimatedSettings& settings, bool deep);
  static Wish withMaterialsOf(const AnimatedSettings& settings, Wish wish);
  Turn takeTurn(const Abandon& abandoned);
  ClipPictures& pictures(bool deep);
  void keep(const Wish& wish, const std::shared_ptr<const ClipPlates>& plates);
  std::optional<std::shared_ptr<const ClipPlates>> known(const Wish& wish);

  const KeyJob job_;
  const ClipFrames& clip_;
  const std::atomic<bool>& stop_;
  std::timed_mutex looking_;                             // of the pictures
  std::array<std::optional<ClipPictures>, 2> pictures_;  // once they were needed: of 8 bits, deep
  std::mutex mutex_;                                     // of what follows
  RecentlyUsed<Wish, std::shared_ptr<const ClipPlates>> plates_{kKept};
};

}  // namespace kalvetra
