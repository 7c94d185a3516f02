// The clip's pictures as the keyer gets them, by their numbers, in any order and from any thread.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "jobs/clip_keying.h"
#include "media/input/frame_access.h"

namespace kalvetra {

using Abandon = std::function<bool()>;

class ClipFrames {
 public:
  static constexpr std::size_t kUsuallyKept = std::size_t{256} << 20;

  // Opens the clip and begins to index it. Throws UserError when there is no picture to be read. `stop`, once true,
  // ends all reading; it must outlive this. Up to `keptBytes` of decoded pictures are kept, and half as many of
  // converted ones.
  ClipFrames(const std::string& path, const SourceOptions& options, int threads, const std::atomic<bool>& stop,
             const KeyingChoice& choice = {}, std::size_t keptBytes = kUsuallyKept);
  ~ClipFrames();

  // Of the clip; its reader may not be moved.
  const Reader& reader() const { return description_; }
  const PictureFormat& format() const { return description_.format(); }
  const ClipKeying& keying() const { return keying_; }

  // How many pictures there are. Waits a few seconds for the index of a large clip, then answers what the file
  // declares.
  std::int64_t count();

  // That number, or the last picture's where the clip ends before it. Waits and throws like picture.
  std::int64_t numberWithin(std::int64_t number, const Abandon& abandoned);

  // Of the clip, once it is made; null before.
  std::shared_ptr<const PictureIndex> index() const;

  // That picture, converted like FrameKeyer does it. Throws UserError when the clip has none of that number, Conflict
  // once `abandoned`, asked now and then, answers true, and Interrupted when the program ends.
  std::shared_ptr<const Image> picture(std::int64_t number, const Abandon& abandoned = {});

 private:
  struct Converted {
    std::int64_t number;
    std::shared_ptr<const Image> image;
  };

  std::shared_ptr<const Image> known(std::int64_t number);
  void remember(std::int64_t number, const std::shared_ptr<const Image>& image);
  std::shared_ptr<const AVFrame> decoded(std::int64_t number, const Abandon& abandoned);
  void awaitIndexFor(std::int64_t number, const Abandon& abandoned);
  bool takeIndex(std::chrono::milliseconds patience);
  std::optional<std::int64_t> knownCount() const;
  std::unique_ptr<FrameConverter> takeConverter();
  [[noreturn]] void refuse(std::int64_t number, const Abandon& abandoned) const;

  const std::atomic<bool>& stop_;
  std::atomic<bool> closing_{false};
  const std::size_t keptConverted_;  // bytes
  const Reader description_;
  const ClipKeying keying_;
  std::mutex decoding_;  // of access_
  FrameAccess access_;
  int generation_ = 0;  // of the numbers in use
  std::shared_future<std::shared_ptr<const PictureIndex>> index_;
  std::mutex mutex_;                                         // of what follows
  std::list<Converted> converted_;                           // the latest used first
  std::vector<std::unique_ptr<FrameConverter>> converters_;  // those at rest
};

}  // namespace kalvetra
