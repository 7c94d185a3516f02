#include "jobs/segment_join.h"

#include <limits>

#include "jobs/clip_reader.h"
#include "media/output/writer.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

[[noreturn]] void failSegment(const std::filesystem::path& path) {
  throw UserError(path.string() + ": is damaged or incomplete; remove " + path.parent_path().string() +
                  " to start again");
}

InputPtr openSegment(const std::filesystem::path& path) {
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, fileAddress(path.string()).c_str(), nullptr, nullptr) < 0) failSegment(path);
  InputPtr input(context);
  if (avformat_find_stream_info(context, nullptr) < 0 || context->nb_streams < 1) failSegment(path);
  return input;
}

// The sound of the clip, in the order of the file.
class SoundFeed {
 public:
  SoundFeed(Reader& source, const JoinedMovie& movie, ClipMovie& output)
      : source_(source), output_(output), origin_(secondsOf(movie.origin)) {
    if (movie.soundEnd) end_ = *movie.soundEnd;
  }

  // Writes what sounds before that time of the clip, in seconds.
  void writeUntil(double seconds) {
    while (!over_ && reached_ < seconds) {
      std::vector<PacketPtr> packets(1);
      over_ = !source_.nextPacket(packets[0]);
      if (over_) return;
      if (packets[0]->stream_index == source_.video().index) continue;
      if (take(*packets[0])) output_.writeCopied(packets);
    }
  }

 private:
  double secondsOf(std::int64_t time) const { return static_cast<double>(time) * av_q2d(source_.format().timeBase); }

  // False for a packet outside the movie; times of the others count from its beginning.
  bool take(AVPacket& packet) {
    if (packet.pts == AV_NOPTS_VALUE) return true;
    const double unit = av_q2d(source_.timeBaseOf(packet.stream_index));
    reached_ = static_cast<double>(packet.pts) * unit;
    if (reached_ >= end_ || (origin_ > 0.0 && reached_ < origin_ - kSoundRunUp)) return false;
    const auto offset = static_cast<std::int64_t>(origin_ / unit + 0.5);
    packet.pts -= offset;
    if (packet.dts != AV_NOPTS_VALUE) packet.dts -= offset;
    return true;
  }

  Reader& source_;
  ClipMovie& output_;
  double origin_;
  double end_ = std::numeric_limits<double>::infinity();
  double reached_ = -std::numeric_limits<double>::infinity();
  bool over_ = false;
};

}  // namespace

SoundOutcome joinSegments(const JoinedMovie& movie, const Delivery& delivery, const std::string& path,
                          const std::string& shownName, Reader& source) {
  ClipMovie output(delivery, path, shownName);
  const PicturePacking packing(delivery, source.format());
  const AVRational unit = source.format().timeBase;
  // What reading a segment says of its pictures is not all that their encoder knows: shape, profile and tag may be
  // lost.
  output.begin(packing.encoder(1, output.wantsGlobalHeader()).context(), packing.pictures(), source, movie.carried);
  SoundFeed sound(source, movie, output);
  std::size_t next = 0;
  for (const std::filesystem::path& segment : movie.segments) {
    const InputPtr input = openSegment(segment);
    const PacketPtr packet = makePacket();
    while (av_read_frame(input.get(), packet.get()) >= 0) {
      if (packet->stream_index != 0) {  // a track of the timecode
        av_packet_unref(packet.get());
        continue;
      }
      if (next == movie.frames.size()) failSegment(segment);
      const FrameRecord& frame = movie.frames[next++];
      sound.writeUntil(static_cast<double>(frame.time + movie.origin) * av_q2d(unit));
      packet->pts = packet->dts = frame.time;
      packet->duration = frame.duration;
      output.writePicture(*packet, unit);
      av_packet_unref(packet.get());
    }
  }
  if (next != movie.frames.size()) failSegment(movie.segments.back());
  sound.writeUntil(std::numeric_limits<double>::infinity());
  output.finish();
  return output.sound();
}

}  // namespace kalvetra
