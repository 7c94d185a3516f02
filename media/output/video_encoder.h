// Encodes packed pictures.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "media/output/output_format.h"

namespace kalvetra {

// Closes an encoder at any moment. SVT-AV1 waits for ever for the end of pictures that it never had, so it gets one.
struct EncoderCloser {
  void operator()(AVCodecContext* context) const;
};

class VideoEncoder {
 public:
  // `pixels` is one of the format's; `color` are the tags that the encoded pictures carry.
  VideoEncoder(const OutputFormat& format, AVPixelFormat pixels, const PictureFormat& pictures, const ColorTags& color,
               int threads, bool globalHeader);

  using Deliver = std::function<void(AVPacket&)>;  // called with each finished packet, times in timeBase()

  // Time and duration in timeBase(); times must grow. Alpha of 16 bits that the frame carries goes into its packet.
  void encode(FramePtr frame, std::int64_t time, std::int64_t duration, const Deliver& deliver);
  void flush(const Deliver& deliver);

  AVRational timeBase() const { return context_->time_base; }
  const AVCodecContext& context() const { return *context_; }

 private:
  void setFields(FieldOrder order, bool codedApart);
  std::string refusalOf(AVPixelFormat pixels, int error) const;
  void drain(const Deliver& deliver);

  std::unique_ptr<AVCodecContext, EncoderCloser> context_;
  bool hasFields_ = false, topFirst_ = false;
  struct InEncoder {
    std::int64_t duration;
    FramePtr wideAlpha;  // a frame that refers to it, null without
  };
  std::map<std::int64_t, InEncoder> pictures_;  // by time, those still in the encoder
};

}  // namespace kalvetra
