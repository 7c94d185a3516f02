// The clip's pictures as the keyer gets them, by their numbers, in any order and from any thread.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "jobs/clip_keying.h"
#include "media/input/frame_access.h"
#include "parameters/animated_settings.h"
#include "support/recently_used.h"

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
  // The same clip, decoded apart from `other`, so that the one does not disturb the other. They share the index.
  ClipFrames(const ClipFrames& other, std::size_t keptBytes);

  // Of the clip; its reader may not be moved.
  const Reader& reader() const;
  const PictureFormat& format() const { return reader().format(); }
  // How its pictures are keyed: at full depth, or in 8 bits.
  const ClipKeying& keying(bool deep = false) const;
  // Whether that choice keys this clip at full depth with such settings. Throws like settledDepth.
  bool keysDeep(DepthChoice choice, const AnimatedSettings& settings) const;

  // How many pictures there are. Waits a few seconds for the index of a large clip, unless `abandoned`, asked now and
  // then, returns true, and otherwise takes what the file declares.
  std::int64_t count(const Abandon& abandoned = {});

  // That number, or the last picture's where the clip ends before it. Waits and throws like picture.
  std::int64_t numberWithin(std::int64_t number, const Abandon& abandoned);

  // Of the clip, once it is made; null before.
  std::shared_ptr<const PictureIndex> index() const;

  // That picture, converted like FrameKeyer does it; deep, or of 8 bits. Throws UserError when the clip has none of
  // that number, Conflict once `abandoned`, asked now and then, returns true, and Interrupted when the program ends.
  std::shared_ptr<const Image> picture(std::int64_t number, const Abandon& abandoned = {}, bool deep = false);

 private:
  // What those that share a clip have in common.
  class Clip;
  using Picture = std::pair<std::int64_t, bool>;  // its number, and whether it is deep

  void remember(const Picture& which, const std::shared_ptr<const Image>& image);
  std::shared_ptr<const Image> known(const Picture& which);
  std::shared_ptr<const AVFrame> decoded(std::int64_t number, const Abandon& abandoned);
  void awaitIndexFor(std::int64_t number, const Abandon& abandoned);
  bool takeIndex(std::chrono::milliseconds patience);
  std::optional<std::int64_t> knownCount() const;
  std::unique_ptr<FrameConverter> takeConverter(bool deep);
  [[noreturn]] void refuse(std::int64_t number, const Abandon& abandoned) const;

  std::shared_ptr<Clip> clip_;
  std::mutex decoding_;  // of access_
  FrameAccess access_;
  int generation_ = 0;  // of the numbers in use
  std::mutex mutex_;    // of what follows
  RecentlyUsed<Picture, std::shared_ptr<const Image>> converted_;
  std::array<std::vector<std::unique_ptr<FrameConverter>>, 2> converters_;  // those at rest: of 8 bits, deep
};

}  // namespace kalvetra
