// The garbage and holdout mattes that go along with the clip, frame by frame.
#pragma once

#include <memory>
#include <mutex>

#include "jobs/companions.h"
#include "preview/clip/clip_frames.h"

namespace kalvetra {

// In any order and from any thread, what `kalvetra key` takes in step with the clip.
class ClipMattes {
 public:
  // The background of `paths` does not count. Throws UserError, as a CompanionFiles does, for a matte that cannot be
  // read or does not fit the clip. `stop` must outlive this.
  ClipMattes(const CompanionPaths& paths, const PictureFormat& clip, int threads, const std::atomic<bool>& stop);

  // The same mattes, decoded apart from `other`, so that the one does not disturb the other. They share their indices.
  explicit ClipMattes(const ClipMattes& other);

  // Those of that frame, deep where it is keyed so. Throws like ClipFrames::picture.
  Companions at(std::int64_t number, const Abandon& abandoned = {}, bool deep = false);

  // What had to be guessed about them, a sentence each.
  const std::vector<std::string>& guesses() const { return guesses_; }

 private:
  // Pictures of one file, turned to lie as the clip's do.
  class File {
   public:
    File(const std::string& path, const PictureFormat& clip, int threads, const std::atomic<bool>& stop);
    explicit File(const File& other);
    std::shared_ptr<const Image> at(std::int64_t number, const Abandon& abandoned, bool deep);

   private:
    const PictureFormat clip_;
    ClipFrames frames_;
    std::mutex mutex_;                                                                  // of what follows
    RecentlyUsed<std::pair<std::int64_t, bool>, std::shared_ptr<const Image>> fitted_;  // by number and depth
  };

  std::vector<std::string> guesses_;
  std::unique_ptr<File> garbage_, holdout_;  // null where there is none
};

}  // namespace kalvetra
