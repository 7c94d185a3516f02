#include "jobs/clip_reader.h"

#include <iterator>
#include <limits>
#include <utility>

namespace kalvetra {

namespace {

constexpr double kInterleaving = 2.0;  // seconds by which a file's sound may come after its pictures

void append(std::vector<PacketPtr>& to, std::vector<PacketPtr>& from) {
  to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
  from.clear();
}

}  // namespace

ClipReader::ClipReader(Reader& reader, const ClipRange& range, std::int64_t skipped, std::optional<int> firstFile)
    : reader_(reader), range_(range), toSkip_(skipped), firstFile_(firstFile) {}

bool ClipReader::next(ClipFrame& frame) {
  if (!started_) {
    started_ = true;
    ahead_.emplace();
    if (!read(*ahead_)) ahead_.reset();
  }
  if (!ahead_) {
    frame.source.copied = soundUntil(std::numeric_limits<double>::infinity());
    return false;
  }
  frame = std::move(*ahead_);
  ahead_.emplace();
  if (!read(*ahead_)) ahead_.reset();
  frame.isLast = !ahead_;
  return true;
}

bool ClipReader::read(ClipFrame& frame) {
  while (readInRange(frame)) {
    if (toSkip_ == 0) return true;
    --toSkip_;
  }
  return false;
}

// The next picture of the range, with the sound up to its end.
bool ClipReader::readInRange(ClipFrame& frame) {
  SourceFrame& source = frame.source;
  while (!over_ && reader_.next(source)) {
    append(sound_, source.copied);
    const double seconds = secondsOf(source.time);
    const std::int64_t number = number_++;
    if (range_.isBefore(number, seconds)) {
      lastEnd_ = secondsOf(source.time + source.duration);
      soundUntil(seconds - kSoundRunUp);
      before_ = countNow();
      continue;
    }
    if (range_.isAfter(number, seconds, index_)) {
      end_ = index_ > 0 ? lastEnd_ : seconds;
      readTrailingSound();
      break;
    }
    inRange_ = countNow();
    frame.number = number;
    const int ownNumber = reader_.fileNumber(number, source.time);
    if (index_ == 0 && firstFile_) fileShift_ = *firstFile_ - ownNumber;
    frame.fileNumber = ownNumber + fileShift_;
    if (index_ == 0) first_ = source.time;
    if (index_ == 0 && range_.start) origin_ = source.time;
    frame.seconds = secondsOf(source.time - first_);
    frame.index = index_++;
    lastEnd_ = secondsOf(source.time + source.duration);
    source.copied = soundUntil(lastEnd_);
    source.time -= origin_;
    return true;
  }
  append(sound_, source.copied);
  over_ = true;
  return false;
}

std::string ClipReader::whyEmpty() const {
  if (number_ == 0) return "no picture in it can be read; check the file";
  if (end_ || !range_.start) return "no picture of it lies in the range; name a later --end";
  return "ends after " + std::to_string(number_) + (number_ == 1 ? " frame" : " frames") + " (" +
         secondsText(lastEnd_) + "), before --start at " + textOf(*range_.start) + "; name an earlier one";
}

// Sound that belongs in the range may come after pictures that do not.
void ClipReader::readTrailingSound() {
  SourceFrame after;
  while (reader_.copiesStreams() && reader_.next(after)) {
    append(sound_, after.copied);
    if (secondsOf(after.time) > *end_ + kInterleaving) return;
  }
  append(sound_, after.copied);
}

// Takes out the sound up to that time of the clip; what lies outside the range is dropped, and the times of the rest
// count from the range's start.
std::vector<PacketPtr> ClipReader::soundUntil(double seconds) {
  std::vector<PacketPtr> now, later;
  for (PacketPtr& packet : sound_) {
    const AVRational unit = reader_.timeBaseOf(packet->stream_index);
    if (!range_.isWhole() && packet->pts != AV_NOPTS_VALUE &&
        static_cast<double>(packet->pts) * av_q2d(unit) > seconds) {
      later.push_back(std::move(packet));
      continue;
    }
    if (isOutside(*packet)) continue;
    const std::int64_t offset = av_rescale_q(origin_, reader_.format().timeBase, unit);
    if (packet->pts != AV_NOPTS_VALUE) packet->pts -= offset;
    if (packet->dts != AV_NOPTS_VALUE) packet->dts -= offset;
    now.push_back(std::move(packet));
  }
  sound_ = std::move(later);
  return now;
}

bool ClipReader::isOutside(const AVPacket& packet) const {
  if (packet.pts == AV_NOPTS_VALUE) return false;
  const double seconds = static_cast<double>(packet.pts) * av_q2d(reader_.timeBaseOf(packet.stream_index));
  const bool early = range_.start && seconds < secondsOf(origin_) - kSoundRunUp;
  return early || (end_ && seconds >= *end_);
}

}  // namespace kalvetra
