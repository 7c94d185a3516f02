// A track of sound on its way from one codec to another.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "media/output/sound_encoder.h"

namespace kalvetra {

// Keeps every sound at its time, to the sample: silence stands where the source has none, and what lies before time 0
// is only decoded, as the start of what follows may need it. Where the source's times are rounded, like the
// milliseconds of Matroska, samples are counted instead.
class SoundTranscoder {
 public:
  // Throws UserError, a few words, where the source cannot be decoded or encoded.
  SoundTranscoder(const AVStream& source, const char* encoder, bool globalHeader);

  const AVCodecContext& encoder() const { return encoder_->context(); }
  AVRational timeBase() const { return encoder_->timeBase(); }

  // Takes a packet of the source, whose times are in the source's time base and count from the movie's start; they stay
  // the caller's.
  void write(const AVPacket& packet);
  // Encodes what is known, a long silence in small steps; with `end`, in seconds, only what lies before it.
  void encode(std::optional<double> end, const DeliverPacket& deliver);
  // Ends the track there, or where the source ends.
  void finish(std::optional<double> end, const DeliverPacket& deliver);
  // Packets that could not be decoded.
  std::int64_t undecodable() const { return undecodable_; }
  // Seconds of sound left out because the source's times jump back to where there was sound already.
  double repeated() const { return repeated_; }

 private:
  struct ResamplerDeleter {
    void operator()(SwrContext* p) const { swr_free(&p); }
  };

  void openDecoder(const AVStream& source);
  void openResampler(int rate, AVSampleFormat format, const ChannelLayout& channels);
  void takeDecoded();
  void adapt(const AVFrame& frame);
  void feed(std::int64_t end, const DeliverPacket& deliver);
  bool feedStep();
  bool place(const AVFrame& frame);
  bool hasBegun(double at, int samples);
  void beginSilence(std::int64_t samples);
  void addSilence();
  void resample(const std::uint8_t* const* planes, int samples);
  std::int64_t sampleAt(std::optional<double> seconds) const;

  AVRational timeBase_;
  CodecContextPtr decoder_;
  std::unique_ptr<SwrContext, ResamplerDeleter> resampler_;
  std::optional<SoundEncoder> encoder_;
  // What the resampler takes.
  int rate_ = 0;
  AVSampleFormat format_ = AV_SAMPLE_FMT_NONE;
  std::optional<ChannelLayout> channels_;

  bool begun_ = false;         // the first sample at time 0 or later has come
  std::int64_t position_ = 0;  // of the next sample from time 0; before that is known, from the first one decoded
  double earliest_ = 0, latest_ = 0;  // where the first one decoded lies, as far as the times show
  std::deque<FramePtr> decoded_;      // still to be placed
  std::int64_t silence_ = 0;          // samples still to come before those; counted in the position
  std::int64_t undecodable_ = 0;
  double repeated_ = 0;  // seconds
};

}  // namespace kalvetra
