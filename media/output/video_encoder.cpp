#include "media/output/video_encoder.h"

#include <algorithm>
#include <string_view>

#include "media/output/prores_alpha.h"
#include "media/pixels/deep_packer.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// No encoder takes more; several refuse to open then. What they write does not depend on the number.
constexpr int kMostThreads = 64;

constexpr int kTiny = 4;  // pixels on a side

// The first of the format's encoders that is installed; of those missing, the last.
const Encoder& installedEncoder(const OutputFormat& format) {
  for (const Encoder& encoder : format.encoders) {
    if (avcodec_find_encoder_by_name(encoder.name) != nullptr) return encoder;
  }
  return format.encoders.back();
}

// Where that fails, the alpha that the encoder has widened stays.
void widenAlpha(AVPacket& packet, const AVFrame& frame) {
  replaceProresAlpha(packet, wideAlphaOf(frame), frame.width, frame.height);
}

}  // namespace

void EncoderCloser::operator()(AVCodecContext* context) const {
  const bool open = avcodec_is_open(context) != 0;
  if (open && context->frame_number == 0 && std::string_view(context->codec->name) == "libsvtav1") {
    const FramePtr blank = makePicture(context->pix_fmt, context->width, context->height);
    avcodec_send_frame(context, blank.get());
  }
  if (open) avcodec_send_frame(context, nullptr);
  avcodec_free_context(&context);
}

VideoEncoder::VideoEncoder(const OutputFormat& format, AVPixelFormat pixels, const PictureFormat& pictures,
                           const ColorTags& color, int threads, bool globalHeader) {
  const Encoder& encoder = installedEncoder(format);
  const AVCodec* codec = avcodec_find_encoder_by_name(encoder.name);
  if (codec == nullptr) {
    throw UserError(std::string("the encoder ") + encoder.name + " for " + format.what +
                    " is not installed; install a fuller FFmpeg or choose another kind of output");
  }
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_) throw std::bad_alloc();
  context_->width = pictures.width;
  context_->height = pictures.height;
  context_->time_base = pictures.timeBase;
  context_->framerate = pictures.frameRate;
  context_->sample_aspect_ratio = pictures.pixelAspect;
  context_->pix_fmt = pixels;
  context_->colorspace = color.matrix;
  context_->color_range = color.range;
  context_->color_primaries = color.primaries;
  context_->color_trc = color.transfer;
  if ((av_pix_fmt_desc_get(pixels)->flags & AV_PIX_FMT_FLAG_RGB) == 0) {
    context_->chroma_sample_location = AVCHROMA_LOC_LEFT;
  }
  if (format.keepsFields) setFields(pictures.fieldOrder, format.codesFieldsApart);
  context_->thread_count = std::min(threads, kMostThreads);
  if (globalHeader) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

  AVDictionary* options = nullptr;
  const bool tiny = format.tinyOptions && std::min(pictures.width, pictures.height) < kTiny;
  for (const auto& [name, value] : tiny ? *format.tinyOptions : encoder.options) {
    av_dict_set(&options, name.c_str(), value.c_str(), 0);
  }
  const int error = avcodec_open2(context_.get(), codec, &options);
  av_dict_free(&options);
  if (error < 0) {
    throw UserError("pictures of " + std::to_string(pictures.width) + " x " + std::to_string(pictures.height) +
                    " cannot be encoded as " + format.what + " (" + refusalOf(pixels, error) +
                    "); choose another kind of output");
  }
}

// Why the encoder did not open: its own error says little of sizes.
std::string VideoEncoder::refusalOf(AVPixelFormat pixels, int error) const {
  const bool halvedChroma = av_pix_fmt_desc_get(pixels)->log2_chroma_w > 0;
  if (halvedChroma && (context_->width % 2 != 0 || context_->height % 2 != 0)) {
    return "it needs an even width and height";
  }
  if (halvedChroma && hasFields_ && context_->height % 4 != 0) {
    return "for interlaced pictures it needs a height that is a multiple of 4";
  }
  return errorText(error);
}

void VideoEncoder::setFields(FieldOrder order, bool codedApart) {
  if (!isInterlaced(order)) return;
  hasFields_ = true;
  topFirst_ = order == FieldOrder::TopFirst;
  context_->field_order = topFirst_ ? AV_FIELD_TT : AV_FIELD_BB;
  // FFmpeg's ProRes encoder reads before its buffer where the shorter field ends with a macroblock and the longer one
  // has a row more.
  const bool oneRowMore = context_->height % 32 == 1;
  if (codedApart && !oneRowMore) context_->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
}

void VideoEncoder::encode(FramePtr frame, std::int64_t time, std::int64_t duration, const Deliver& deliver) {
  frame->pts = time;
  frame->sample_aspect_ratio = context_->sample_aspect_ratio;
  frame->colorspace = context_->colorspace;
  frame->color_range = context_->color_range;
  frame->color_primaries = context_->color_primaries;
  frame->color_trc = context_->color_trc;
  frame->interlaced_frame = hasFields_ ? 1 : 0;
  frame->top_field_first = topFirst_ ? 1 : 0;
  pictures_[time] = {duration, wideAlphaOf(*frame) == nullptr ? nullptr : FramePtr(av_frame_clone(frame.get()))};
  const int error = avcodec_send_frame(context_.get(), frame.get());
  if (error < 0)
    throw UserError("a picture could not be encoded (" + errorText(error) + "); choose another kind of output");
  drain(deliver);
}

void VideoEncoder::flush(const Deliver& deliver) {
  avcodec_send_frame(context_.get(), nullptr);
  drain(deliver);
}

void VideoEncoder::drain(const Deliver& deliver) {
  const PacketPtr packet = makePacket();
  for (;;) {
    const int state = avcodec_receive_packet(context_.get(), packet.get());
    if (state == AVERROR(EAGAIN) || state == AVERROR_EOF) return;
    if (state < 0)
      throw UserError("a picture could not be encoded (" + errorText(state) + "); choose another kind of output");
    const auto known = pictures_.find(packet->pts);
    if (known != pictures_.end()) {
      packet->duration = known->second.duration;
      if (known->second.wideAlpha) widenAlpha(*packet, *known->second.wideAlpha);
      pictures_.erase(known);
    }
    deliver(*packet);
    av_packet_unref(packet.get());
  }
}

}  // namespace kalvetra
