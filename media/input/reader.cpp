// Reader: from packets to pictures with their times.
#include "media/input/reader.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "media/alpha_mode.h"
#include "media/input/exact_start.h"
#include "media/input/exr_file.h"
#include "media/pixels/float_pixels.h"
#include "support/user_error.h"

namespace kalvetra {

std::string Reader::describeGaps() const {
  if (gaps().empty()) return {};
  const int missing = sequence_->missing();
  return path_ + ": " + std::to_string(missing) + (missing == 1 ? " picture is" : " pictures are") + " missing (" +
         describeRanges(gaps()) + ")";
}

const std::vector<NumberRange>& Reader::gaps() const {
  static const std::vector<NumberRange> none;
  return sequence_ ? sequence_->gaps() : none;
}

int Reader::fileNumber(std::int64_t index, std::int64_t time) const {
  return static_cast<int>(sequence_ ? sequence_->numbers().front() + time : index + 1);
}

std::int64_t Reader::expectedFrames() const { return sequence_ ? sequence_->size() : declared_.expected; }

std::string Reader::alphaTag() const {
  const AVDictionaryEntry* tag = av_dict_get(container().metadata, kAlphaTag, nullptr, 0);
  return tag != nullptr ? tag->value : "";
}

bool Reader::isPremultiplied(bool deep) const {
  return alphaTag() == kalvetra::alphaTag(AlphaMode::Premultiplied) ||
         (deep && video().codecpar->codec_id == AV_CODEC_ID_EXR);
}

bool Reader::next(SourceFrame& frame) {
  moved_ = true;
  if (!frame.picture) frame.picture = makeFrame();
  for (;;) {
    const int state = avcodec_receive_frame(decoder_.get(), frame.picture.get());
    if (state == 0) {
      if (holdsFloatPixels()) frame.picture = planarFloats(*frame.picture);
      stamp(frame);
      return true;
    }
    if (state == AVERROR_EOF) {
      frame.picture.reset();
      ended_ = true;
      return false;
    }
    if (state != AVERROR(EAGAIN)) tally_->addUndecodable();
    if (!draining_) feedDecoder(frame);
  }
}

// The next packet of any stream, those read ahead first.
int Reader::readPacket(AVPacket& packet) {
  if (ahead_.empty()) return readSource(packet);
  av_packet_move_ref(&packet, ahead_.front().get());
  ahead_.pop_front();
  return 0;
}

int Reader::readSource(AVPacket& packet) {
  if (!clock_) return readFile(packet);
  for (;;) {
    if (const PacketPtr ready = clock_->next()) {
      av_packet_move_ref(&packet, ready.get());
      return 0;
    }
    if (endState_ < 0) return endState_;
    PacketPtr next = makePacket();
    if (readFile(*next) < 0) {
      clock_->end();
    } else {
      clock_->add(std::move(next));
    }
  }
}

// Once it has failed it goes on failing, but for one file of a sequence.
int Reader::readFile(AVPacket& packet) {
  if (endState_ < 0) return endState_;
  const int state = sequence_ ? sequence_->read(packet) : av_read_frame(input_.container.get(), &packet);
  if (state < 0 && (!sequence_ || state == AVERROR_EOF)) endState_ = state;
  return state;
}

// Reads on until the decoder has something new to work on: a packet, or at the end of the file the request to deliver
// what it still holds.
void Reader::feedDecoder(SourceFrame& frame) {
  for (;;) {
    PacketPtr packet = makePacket();
    const int state = readPacket(*packet);
    if (state < 0 && endState_ == 0) {  // one file of a sequence
      tally_->addUnreadable();
      continue;
    }
    if (state < 0) {
      if (state != AVERROR_EOF) tally_->endEarly();
      draining_ = true;
      avcodec_send_packet(decoder_.get(), nullptr);
      return;
    }
    const int index = packet->stream_index;
    tally_->addPacket(*packet, index == videoIndex_, endOf(*packet));
    if (index == videoIndex_) {
      if (isCutOff(*packet) || avcodec_send_packet(decoder_.get(), packet.get()) < 0) tally_->addUndecodable();
      return;
    }
    if (copied_.contains(index)) {
      countFromStart(*packet);
      frame.copied.push_back(std::move(packet));
    }
  }
}

bool Reader::isCutOff(const AVPacket& packet) const {
  return video().codecpar->codec_id == AV_CODEC_ID_EXR &&
         isCutOffExr({packet.data, static_cast<std::size_t>(packet.size)});
}

bool Reader::nextPacket(PacketPtr& packet) {
  moved_ = true;
  for (packet = makePacket(); readPacket(*packet) >= 0; av_packet_unref(packet.get())) {
    if (!isWanted(packet->stream_index)) continue;
    countFromStart(*packet);
    return true;
  }
  return false;
}

void Reader::countFromStart(AVPacket& packet) const {
  const std::int64_t start = startOf(*input_.container->streams[packet.stream_index]);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= start;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= start;
}

std::int64_t Reader::nominalDuration() const {
  return std::max<std::int64_t>(av_rescale_q(1, av_inv_q(format_.frameRate), format_.timeBase), 1);
}

// Matroska with one video: of a second one the packets are left out, which looks just like a jump.
bool Reader::maySkipSilently() const {
  return !leavesOutVideo(container()) &&
         std::string_view(container().iformat->name).find("matroska") != std::string::npos;
}

// Where the packet ends, from the clip's start, in AV_TIME_BASE units; 0 where it has no time.
std::int64_t Reader::endOf(const AVPacket& packet) const {
  if (packet.pts == AV_NOPTS_VALUE) return 0;
  const AVStream& stream = *input_.container->streams[packet.stream_index];
  return av_rescale_q(packet.pts + packet.duration - startOf(stream), stream.time_base, av_make_q(1, AV_TIME_BASE));
}

// Where the clip begins. A start before 0 is the run-up of a sound track and does not count.
std::int64_t Reader::startOf(const AVStream& stream) const {
  if (input_.container->start_time == AV_NOPTS_VALUE || input_.container->start_time < 0) return 0;
  return av_rescale_q(input_.container->start_time, av_make_q(1, AV_TIME_BASE), stream.time_base);
}

// Times strictly grow, whatever the file says: encoders refuse anything else. Half a picture's duration keeps them
// apart in containers with coarse times too.
void Reader::stamp(SourceFrame& frame) {
  const AVFrame& picture = *frame.picture;
  if (picture.width != format_.width || picture.height != format_.height) {
    throw UserError(name_ + ": its pictures change size from " + std::to_string(format_.width) + " x " +
                    std::to_string(format_.height) + " to " + std::to_string(picture.width) + " x " +
                    std::to_string(picture.height) + " on the way; cut the clip there");
  }
  tally_->addPicture(picture);
  frame.duration = picture.pkt_duration > 0 ? picture.pkt_duration : nominalDuration();
  frame.time =
      picture.best_effort_timestamp == AV_NOPTS_VALUE ? nextTime_ : picture.best_effort_timestamp - startOf(video());
  if (frame.time <= lastTime_) {
    frame.time = lastTime_ < 0 ? 0 : lastTime_ + std::max<std::int64_t>(frame.duration / 2, 1);
  }
  lastTime_ = frame.time;
  nextTime_ = frame.time + frame.duration;
}

bool Reader::seek(double fraction) {
  moved_ = true;
  if (sequence_) {
    sequence_->seek(fraction);
    restart();
    return true;
  }
  const std::int64_t duration = clipDuration(container());
  return duration > 0 && seekTo(static_cast<std::int64_t>(fraction * static_cast<double>(duration)));
}

bool Reader::seekTime(double seconds) {
  return !sequence_ && seekTo(static_cast<std::int64_t>(seconds * AV_TIME_BASE));
}

bool Reader::seekPicture(std::int64_t time) {
  moved_ = true;
  if (sequence_) {
    sequence_->seekNumber(time);
  } else if (av_seek_frame(input_.container.get(), videoIndex_, time + startOf(video()), AVSEEK_FLAG_BACKWARD) < 0) {
    return false;
  }
  restart();
  return true;
}

// A time from the clip's start, in AV_TIME_BASE units.
bool Reader::seekTo(std::int64_t time) {
  moved_ = true;
  const std::int64_t start = input_.container->start_time == AV_NOPTS_VALUE ? 0 : input_.container->start_time;
  const std::int64_t target = start + time;
  if (av_seek_frame(input_.container.get(), -1, target, AVSEEK_FLAG_BACKWARD) < 0) return false;
  restart();
  return true;
}

void Reader::rewind() {
  if (!moved_) return;
  const bool atStart = goToStart();
  restart();
  nextTime_ = 0;
  moved_ = false;
  if (!atStart) return open();
  openDecoder();  // a new one: that which there was may have learnt from the pictures that it has seen
  startTally();
}

bool Reader::goToStart() {
  if (sequence_) sequence_->seek(0.0);
  return sequence_ || goToExactStart(*input_.container);
}

// After a jump: nothing from before it counts.
void Reader::restart() {
  avcodec_flush_buffers(decoder_.get());
  ahead_.clear();
  startClock();
  endState_ = 0;
  draining_ = ended_ = false;
  lastTime_ = -1;
}

std::int64_t Reader::lostFrames() const {
  const std::int64_t gaps = !sequence_ ? 0 : ended_ ? sequence_->missing() : sequence_->missingBefore(lastTime_);
  return tally_->lost(ended_) + gaps;
}

std::string Reader::describeJumps() const {
  if (!jumped()) return {};
  const double first = static_cast<double>(clock_->firstJump() - startOf(video())) * av_q2d(format_.timeBase);
  char place[64];
  std::snprintf(place, sizeof place, " at %.3f s", first);
  const std::string times = clock_->jumps() == 1 ? "" : " " + std::to_string(clock_->jumps()) + " times, first";
  return name_ + ": its clock jumps" + times + place + "; pictures and sound go on there without a gap";
}

std::string Reader::describeDamage(std::int64_t lost, std::int64_t damaged) const {
  if (lost + damaged == 0) return {};
  const std::string gaps = describeGaps();
  return (gaps.empty() ? name_ + ": the file is damaged" : gaps) + ": " + std::to_string(lost) +
         (lost == 1 ? " frame" : " frames") + " lost, " + std::to_string(damaged) + " with errors";
}

}  // namespace kalvetra
