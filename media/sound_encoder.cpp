#include "media/sound_encoder.h"

#include <algorithm>

#include "support/user_error.h"

namespace kalvetra {

namespace {

void check(int result) {
  if (result < 0) throw UserError("the sound cannot be encoded (" + errorText(result) + "); install a fuller FFmpeg");
}

}  // namespace

SoundEncoder::SoundEncoder(int sampleRate, bool globalHeader) {
  const AVCodec* codec = avcodec_find_encoder_by_name("aac");
  if (codec == nullptr) check(AVERROR_ENCODER_NOT_FOUND);
  context_.reset(avcodec_alloc_context3(codec));
  if (!context_) throw std::bad_alloc();
  context_->sample_rate = sampleRate;
  context_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context_->time_base = {1, sampleRate};
  context_->bit_rate = 96000;
  av_channel_layout_default(&context_->ch_layout, 1);
  if (globalHeader) context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  check(avcodec_open2(context_.get(), codec, nullptr));
}

void SoundEncoder::encode(std::span<const float> samples, const std::function<void(AVPacket&)>& deliver) {
  const auto chunk = static_cast<std::size_t>(context_->frame_size);
  for (std::size_t at = 0; at < samples.size(); at += chunk) {
    const std::span<const float> part = samples.subspan(at, std::min(chunk, samples.size() - at));
    const FramePtr frame = makeFrame();
    frame->format = context_->sample_fmt;
    frame->nb_samples = static_cast<int>(part.size());
    check(av_channel_layout_copy(&frame->ch_layout, &context_->ch_layout));
    check(av_frame_get_buffer(frame.get(), 0));
    std::copy(part.begin(), part.end(), reinterpret_cast<float*>(frame->data[0]));
    frame->pts = static_cast<std::int64_t>(at);
    check(avcodec_send_frame(context_.get(), frame.get()));
    drain(deliver);
  }
  check(avcodec_send_frame(context_.get(), nullptr));
  drain(deliver);
}

void SoundEncoder::drain(const std::function<void(AVPacket&)>& deliver) {
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
