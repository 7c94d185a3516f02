// The pictures of a range of a clip, with the sound that belongs to them.
#pragma once

#include <optional>

#include "jobs/clip_range.h"
#include "media/input/reader.h"

namespace kalvetra {

// Seconds of sound from before a range that come with its first picture, at negative times: decoders need them.
inline constexpr double kSoundRunUp = 1.0;

struct ClipFrame {
  SourceFrame source;       // times counted from the range's first picture, or from the clip's start if that is in it
  std::int64_t number = 0;  // in the clip, from 0
  std::int64_t index = 0;   // in the range, from 0
  int fileNumber = 1;       // in a numbered output
  double seconds = 0.0;     // since the range's first picture
  bool isLast = false;
};

// Reads one picture ahead, so that the last one is known as such.
class ClipReader {
 public:
  // The first `skipped` pictures of the range are decoded, but not delivered: they were worked on before. File numbers
  // are the source's own, or begin with `firstFile` and grow as those do. `reader` must outlive this.
  ClipReader(Reader& reader, const ClipRange& range, std::int64_t skipped = 0, std::optional<int> firstFile = {});

  // False after the range, when `frame` holds the sound that remains.
  bool next(ClipFrame& frame);
  const PictureFormat& format() const { return reader_.format(); }
  // Where the range begins, in the clip's times, once a picture of it was read.
  std::int64_t origin() const { return origin_; }
  // Where the range ends, in seconds of the clip, once a picture after it was read.
  std::optional<double> end() const { return end_; }

  // Why the range holds no picture: a sentence without the clip's name. For when it has been read and does not.
  std::string whyEmpty() const;

  // As Reader counts them, but without those before the range and after it.
  std::int64_t lostFrames() const { return (end_ ? inRange_ : countNow()).lost - before_.lost; }
  std::int64_t damagedFrames() const { return (end_ ? inRange_ : countNow()).damaged - before_.damaged; }

 private:
  struct Damage {
    std::int64_t lost = 0, damaged = 0;
  };

  Damage countNow() const { return {reader_.lostFrames(), reader_.damagedFrames()}; }
  bool read(ClipFrame& frame);
  bool readInRange(ClipFrame& frame);
  void readTrailingSound();
  std::vector<PacketPtr> soundUntil(double seconds);
  bool isOutside(const AVPacket& packet) const;
  double secondsOf(std::int64_t time) const { return static_cast<double>(time) * av_q2d(reader_.format().timeBase); }

  Reader& reader_;
  ClipRange range_;
  std::int64_t toSkip_;
  std::optional<int> firstFile_;
  int fileShift_ = 0;          // from the source's numbers to the files'
  std::int64_t number_ = 0;    // of the next picture in the clip
  std::int64_t index_ = 0;     // of the next picture in the range
  std::int64_t first_ = 0;     // time of the range's first picture
  std::int64_t origin_ = 0;    // what times count from: 0 for a range without a start
  double lastEnd_ = 0.0;       // where the latest picture up to the range's end ends, in seconds of the clip
  std::optional<double> end_;  // where the range ends, once it is known
  Damage before_, inRange_;    // as they were at the latest picture before the range, and in it
  bool started_ = false;
  bool over_ = false;
  std::optional<ClipFrame> ahead_;
  std::vector<PacketPtr> sound_;  // read, and not delivered yet
};

}  // namespace kalvetra
