// What composites are laid over, frame by frame.
#pragma once

#include <filesystem>
#include <mutex>

#include "compositing/background.h"
#include "preview/clip/clip_frames.h"

namespace kalvetra {

class Backgrounds {
 public:
  // For composites with the pictures of `clip`. All must outlive this.
  Backgrounds(const ClipFrames& clip, int threads, const std::atomic<bool>& stop)
      : clip_(clip), threads_(threads), stop_(stop) {}

  // The background of that frame, like kalvetra::Background with `over`, "#rrggbb" or the path of a file, has it for
  // the whole clip; deep, or of 8 bits. Throws UserError, and like ClipFrames::picture.
  std::shared_ptr<const Image> at(std::int64_t number, const std::string& over, const Abandon& abandoned, bool deep);

 private:
  static constexpr std::size_t kMost = 4;  // colours and files at once

  using OverAndDeep = std::pair<std::string, bool>;
  struct Entry {
    std::shared_ptr<ClipFrames> file;      // null for a colour
    std::shared_ptr<const Image> picture;  // the one made last
    std::int64_t number = -1;              // of it
  };
  Entry& entry(const OverAndDeep& key);

  const ClipFrames& clip_;
  int threads_;
  const std::atomic<bool>& stop_;
  std::mutex mutex_;
  RecentlyUsed<OverAndDeep, Entry> entries_{kMost};
};

}  // namespace kalvetra
