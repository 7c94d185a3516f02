// The garbage and holdout mattes that go along with the clip, frame by frame.
#pragma once

#include <list>
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

  // Those of that frame. Throws like ClipFrames::picture.
  Companions at(std::int64_t number, const Abandon& abandoned = {});

  // What had to be guessed about them, a sentence each.
  const std::vector<std::string>& guesses() const { return guesses_; }

 private:
  // Pictures of one file, turned to lie as the clip's do.
  class File {
   public:
    File(const std::string& path, const PictureFormat& clip, int threads, const std::atomic<bool>& stop);
    std::shared_ptr<const Image> at(std::int64_t number, const Abandon& abandoned);

   private:
    struct Fitted {
      std::int64_t number;
      std::shared_ptr<const Image> picture;
    };
    std::shared_ptr<const Image> known(std::int64_t number);

    const PictureFormat clip_;
    ClipFrames frames_;
    std::mutex mutex_;          // of what follows
    std::list<Fitted> fitted_;  // the latest used first
  };

  std::vector<std::string> guesses_;
  std::unique_ptr<File> garbage_, holdout_;  // null where there is none
};

}  // namespace kalvetra
