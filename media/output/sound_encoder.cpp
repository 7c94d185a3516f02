#include "media/output/sound_encoder.h"

#include <algorithm>
#include <vector>

#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kOpusRate = 48000;  // what its decoders put out, whatever went in
// Bits a second, which the source does not determine: 160000 and 192000 for two channels.
constexpr std::int64_t kOpusChannel = 80000, kAacChannel = 96000, kLeast = 96000;

void check(int result) {
  if (result < 0) throw UserError("the sound cannot be encoded (" + errorText(result) + "); install a fuller FFmpeg");
}

// Where there is one pair beside or behind the listener only, codecs differ in its name.
std::uint64_t withSidesAsBacks(std::uint64_t mask) {
  constexpr std::uint64_t kSides = AV_CH_SIDE_LEFT | AV_CH_SIDE_RIGHT, kBacks = AV_CH_BACK_LEFT | AV_CH_BACK_RIGHT;
  return (mask & kSides) != 0 && (mask & kBacks) == 0 ? (mask & ~kSides) | kBacks : mask;
}

// The channels that the codec takes, smallest sets first; empty: any. Two encoders do not list them.
std::vector<std::uint64_t> layoutsOf(const AVCodec& codec) {
  if (codec.id == AV_CODEC_ID_OPUS) {
    return {AV_CH_LAYOUT_MONO,         AV_CH_LAYOUT_STEREO,       AV_CH_LAYOUT_SURROUND, AV_CH_LAYOUT_QUAD,
            AV_CH_LAYOUT_5POINT0_BACK, AV_CH_LAYOUT_5POINT1_BACK, AV_CH_LAYOUT_6POINT1,  AV_CH_LAYOUT_7POINT1};
  }
  if (codec.id == AV_CODEC_ID_AAC) {
    return {AV_CH_LAYOUT_MONO,         AV_CH_LAYOUT_STEREO,       AV_CH_LAYOUT_SURROUND, AV_CH_LAYOUT_4POINT0,
            AV_CH_LAYOUT_5POINT0_BACK, AV_CH_LAYOUT_5POINT1_BACK, AV_CH_LAYOUT_7POINT1};
  }
  std::vector<std::uint64_t> layouts;
  for (const AVChannelLayout* l = codec.ch_layouts; l != nullptr && l->nb_channels > 0; ++l) {
    layouts.push_back(l->u.mask);
  }
  return layouts;
}

// The first layout that has all of the channels, or the largest.
ChannelLayout fitting(const AVCodec& codec, const ChannelLayout& wanted) {
  const std::vector<std::uint64_t> layouts = layoutsOf(codec);
  if (layouts.empty()) return wanted;
  const bool named = wanted.get().order == AV_CHANNEL_ORDER_NATIVE;
  const std::uint64_t channels = withSidesAsBacks(wanted.get().u.mask);
  for (const std::uint64_t layout : layouts) {
    if (named && (channels & ~withSidesAsBacks(layout)) == 0) return ChannelLayout::ofMask(layout);
  }
  return ChannelLayout::ofMask(layouts.back());
}

// The rate itself, or the next one above it, or the highest.
int fittingRate(const AVCodec& codec, int wanted) {
  if (codec.id == AV_CODEC_ID_OPUS) return kOpusRate;
  if (codec.supported_samplerates == nullptr) return wanted;
  int above = 0, highest = 0;
  for (const int* rate = codec.supported_samplerates; *rate != 0; ++rate) {
    if (*rate >= wanted && (above == 0 || *rate < above)) above = *rate;
    highest = std::max(highest, *rate);
  }
  return above != 0 ? above : highest;
}

// Without loss of precision, and for the Opus encoder without one of its own.
AVSampleFormat fittingFormat(const AVCodec& codec) {
  const auto takes = [&codec](AVSampleFormat format) {
    for (const AVSampleFormat* f = codec.sample_fmts; f != nullptr && *f != AV_SAMPLE_FMT_NONE; ++f) {
      if (*f == format) return true;
    }
    return false;
  };
  for (const AVSampleFormat format : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S32}) {
    if (takes(format)) return format;
  }
  return AV_SAMPLE_FMT_S16;
}

}  // namespace

ChannelLayout::ChannelLayout(const AVChannelLayout& from) {
  if (av_channel_layout_copy(&layout_, &from) < 0) throw std::bad_alloc();
}

ChannelLayout ChannelLayout::ofMask(std::uint64_t mask) {
  AVChannelLayout layout{};
  check(av_channel_layout_from_mask(&layout, mask));
  return ChannelLayout(layout);
}

SoundEncoder::SoundEncoder(const char* encoder, int sampleRate, const ChannelLayout& channels, bool globalHeader) {
  const AVCodec* codec = avcodec_find_encoder_by_name(encoder);
  if (codec == nullptr) check(AVERROR_ENCODER_NOT_FOUND);
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_) throw std::bad_alloc();
  context_->sample_rate = fittingRate(*codec, sampleRate);
  context_->sample_fmt = fittingFormat(*codec);
  context_->time_base = {1, context_->sample_rate};
  const ChannelLayout layout = fitting(*codec, channels);
  check(av_channel_layout_copy(&context_->ch_layout, &layout.get()));
  if (codec->id == AV_CODEC_ID_OPUS || codec->id == AV_CODEC_ID_AAC) {
    const std::int64_t channel = codec->id == AV_CODEC_ID_OPUS ? kOpusChannel : kAacChannel;
    context_->bit_rate = std::max(kLeast, channel * layout.get().nb_channels);
  }
  if (context_->sample_fmt == AV_SAMPLE_FMT_S32) context_->bits_per_raw_sample = 24;
  if (globalHeader) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  check(avcodec_open2(context_.get(), codec, nullptr));
  waiting_.reset(av_audio_fifo_alloc(context_->sample_fmt, layout.get().nb_channels, frameSize()));
  if (!waiting_) throw std::bad_alloc();
}

void SoundEncoder::add(const std::uint8_t* const* planes, int count) {
  std::vector<void*> samples;
  const int channels = context_->ch_layout.nb_channels;
  const int number = av_sample_fmt_is_planar(context_->sample_fmt) != 0 ? channels : 1;
  for (int i = 0; i < number; ++i) samples.push_back(const_cast<std::uint8_t*>(planes[i]));
  if (av_audio_fifo_write(waiting_.get(), samples.data(), count) < count) throw std::bad_alloc();
}

void SoundEncoder::encode(const DeliverPacket& deliver, std::int64_t end) {
  while (hasFrame() && end - encoded_ >= frameSize()) {
    encodeFrame(frameSize(), deliver);
  }
}

void SoundEncoder::finish(const DeliverPacket& deliver, std::int64_t end) {
  encode(deliver, end);
  const std::int64_t rest = std::min<std::int64_t>(av_audio_fifo_size(waiting_.get()), end - encoded_);
  if (rest > 0) encodeFrame(static_cast<int>(rest), deliver);
  check(avcodec_send_frame(context_.get(), nullptr));
  drain(deliver);
}

void SoundEncoder::encodeFrame(int count, const DeliverPacket& deliver) {
  const FramePtr frame = makeFrame();
  frame->format = context_->sample_fmt;
  frame->sample_rate = context_->sample_rate;
  frame->nb_samples = count;
  check(av_channel_layout_copy(&frame->ch_layout, &context_->ch_layout));
  check(av_frame_get_buffer(frame.get(), 0));
  check(av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame->extended_data), count));
  frame->pts = encoded_;
  encoded_ += count;
  check(avcodec_send_frame(context_.get(), frame.get()));
  drain(deliver);
}

void SoundEncoder::drain(const DeliverPacket& deliver) {
  const PacketPtr packet = makePacket();
  for (;;) {
    const int state = avcodec_receive_packet(context_.get(), packet.get());
    if (state == AVERROR(EAGAIN) || state == AVERROR_EOF) return;
    check(state);
    deliver(*packet);
    av_packet_unref(packet.get());
  }
}

}  // namespace kalvetra
