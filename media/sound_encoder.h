// Encodes mono sound as AAC: for the demonstration clip.
#pragma once

#include <functional>
#include <span>

#include "media/ffmpeg.h"

namespace kalvetra {

class SoundEncoder {
 public:
  SoundEncoder(int sampleRate, bool globalHeader);

  const AVCodecContext& context() const { return *context_; }
  AVRational timeBase() const { return context_->time_base; }

  // Encodes a whole track of samples in -1..1; `deliver` gets each packet, times in timeBase().
  void encode(std::span<const float> samples, const std::function<void(AVPacket&)>& deliver);

 private:
  void drain(const std::function<void(AVPacket&)>& deliver);

  CodecContextPtr context_;
};

}  // namespace kalvetra
