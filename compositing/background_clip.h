// A clip behind the clip being keyed, which plays at its own rate.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "compositing/companion_clip.h"

namespace kalvetra {

// What is shown once a background has ended.
enum class OverEnd {
  Hold,  // its last picture
  Loop,  // the clip again, from its first picture on
};

// Seconds by which a picture may come late: files may round times to milliseconds, and rates that are the same must
// stay in step.
inline constexpr double kBackgroundSlack = 0.001;

// Scaled to cover the frame, like CompanionClip's. Holds two pictures, however long it is. For one thread.
class BackgroundClip {
 public:
  // Throws UserError when it cannot be read. A sequence of pictures has no rate of its own: it plays at the clip's.
  BackgroundClip(const std::string& path, const PictureFormat& clip, OverEnd end, int threads,
                 const std::atomic<bool>& stop, bool deep);

  // The picture shown that many seconds after the first one; times may only grow. The same object as long as it is the
  // same picture; frames in flight may keep it.
  std::shared_ptr<const Image> at(double seconds);

  const Reader& source() const { return *reader_; }
  // A sentence about what could not be read, as far as it was; empty without any.
  std::string damage() const;

 private:
  void open();
  void advance();
  double passAt(double seconds) const;
  bool isOver(double seconds) const;
  double secondsOf(std::int64_t time) const;

  std::string path_;
  PictureFormat clip_;
  OverEnd end_;
  int threads_;
  const std::atomic<bool>& stop_;
  std::unique_ptr<Reader> reader_;
  std::optional<FrameConverter> converter_;
  SourceFrame shown_, ahead_;             // the current picture, and the next one
  bool ended_ = false;                    // there is no next one
  std::int64_t pictures_ = 0;             // of this pass so far
  std::int64_t first_ = 0;                // time of its first picture
  double pass_ = 0.0;                     // from 0, a whole number
  double period_ = 0.0;                   // of a pass, once one was read
  std::shared_ptr<const Image> current_;  // made of the current picture; null until it is asked for
  std::int64_t lost_ = 0, damaged_ = 0;   // in earlier passes, at most
};

}  // namespace kalvetra
