// Encodes sound.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>

#include "media/ffmpeg.h"

namespace kalvetra {

using DeliverPacket = std::function<void(AVPacket&)>;

// Owns what libavutil describes channels with.
class ChannelLayout {
 public:
  // In their usual order.
  explicit ChannelLayout(int channels) { av_channel_layout_default(&layout_, channels); }
  explicit ChannelLayout(const AVChannelLayout& from);
  static ChannelLayout ofMask(std::uint64_t mask);
  ~ChannelLayout() { av_channel_layout_uninit(&layout_); }
  ChannelLayout(const ChannelLayout& other) : ChannelLayout(other.layout_) {}
  ChannelLayout& operator=(const ChannelLayout&) = delete;

  const AVChannelLayout& get() const { return layout_; }

 private:
  AVChannelLayout layout_{};
};

class SoundEncoder {
 public:
  // `encoder` is its name in libavcodec. Samples are to be given in context()'s format, rate and layout: those of the
  // source where the codec has them, otherwise the nearest that lose nothing, as far as there are any. Throws UserError
  // when the encoder is not installed or refuses them.
  SoundEncoder(const char* encoder, int sampleRate, const ChannelLayout& channels, bool globalHeader);

  const AVCodecContext& context() const { return *context_; }
  AVRational timeBase() const { return context_->time_base; }

  // Adds samples to the end of the track: a pointer for each plane of the format.
  void add(const std::uint8_t* const* planes, int count);
  // True while samples for a whole frame wait: all that encode() leaves lies beyond its end.
  bool hasFrame() const { return av_audio_fifo_size(waiting_.get()) >= frameSize(); }
  // Encodes what lies before the sample `end` of the track, in whole frames; times of packets in timeBase(), sample 0
  // at 0. Packets of a codec with a delay begin before that.
  void encode(const DeliverPacket& deliver, std::int64_t end = std::numeric_limits<std::int64_t>::max());
  // Ends the track there, or with its last sample.
  void finish(const DeliverPacket& deliver, std::int64_t end = std::numeric_limits<std::int64_t>::max());

 private:
  struct FifoDeleter {
    void operator()(AVAudioFifo* p) const { av_audio_fifo_free(p); }
  };

  void encodeFrame(int count, const DeliverPacket& deliver);
  void drain(const DeliverPacket& deliver);
  int frameSize() const { return context_->frame_size > 0 ? context_->frame_size : 1024; }

  CodecContextPtr context_;
  std::unique_ptr<AVAudioFifo, FifoDeleter> waiting_;
  std::int64_t encoded_ = 0;  // samples
};

}  // namespace kalvetra
