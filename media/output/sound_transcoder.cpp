#include "media/output/sound_transcoder.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/user_error.h"

namespace kalvetra {

namespace {

// Seconds by which times may differ from the count of the samples: a lost packet is longer in most codecs, and rounded
// times are off by less.
constexpr double kTolerance = 0.015;
// Seconds; a longer gap is a fault of the file's clock.
constexpr double kLongestGap = 3600.0;
constexpr int kStep = 4096;  // samples

void check(int result) {
  if (result < 0) throw UserError("its sound cannot be converted (" + errorText(result) + ")");
}

ChannelLayout layoutOf(const AVChannelLayout& layout) {
  return layout.order == AV_CHANNEL_ORDER_NATIVE ? ChannelLayout(layout) : ChannelLayout(layout.nb_channels);
}

// The frame's planes from that sample on.
std::vector<const std::uint8_t*> planesFrom(const AVFrame& frame, int sample) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int channels = frame.ch_layout.nb_channels;
  const std::ptrdiff_t step = std::ptrdiff_t{av_get_bytes_per_sample(format)} * (planar ? 1 : channels);
  std::vector<const std::uint8_t*> planes;
  for (int i = 0; i < (planar ? channels : 1); ++i) planes.push_back(frame.extended_data[i] + sample * step);
  return planes;
}

FramePtr makeSound(AVSampleFormat format, const AVChannelLayout& channels, int samples) {
  FramePtr frame = makeFrame();
  frame->format = format;
  frame->nb_samples = samples;
  if (av_channel_layout_copy(&frame->ch_layout, &channels) < 0 || av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  return frame;
}

}  // namespace

SoundTranscoder::SoundTranscoder(const AVStream& source, const char* encoder, bool globalHeader)
    : timeBase_(source.time_base) {
  const AVCodecParameters& p = *source.codecpar;
  if (p.sample_rate < 1 || p.ch_layout.nb_channels < 1) throw UserError("the file does not describe it");
  openDecoder(source);
  const ChannelLayout channels = layoutOf(p.ch_layout);
  encoder_.emplace(encoder, p.sample_rate, channels, globalHeader);
  const AVSampleFormat format = decoder_->sample_fmt;
  openResampler(p.sample_rate, format == AV_SAMPLE_FMT_NONE ? AV_SAMPLE_FMT_FLTP : format, channels);
}

void SoundTranscoder::openDecoder(const AVStream& source) {
  const AVCodec* codec = avcodec_find_decoder(source.codecpar->codec_id);
  if (codec == nullptr) throw UserError("no decoder for it is installed");
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) throw std::bad_alloc();
  if (avcodec_parameters_to_context(decoder_.get(), source.codecpar) < 0) throw std::bad_alloc();
  decoder_->pkt_timebase = source.time_base;
  const int error = avcodec_open2(decoder_.get(), codec, nullptr);
  if (error < 0) throw UserError("it cannot be decoded (" + errorText(error) + ")");
}

void SoundTranscoder::openResampler(int rate, AVSampleFormat format, const ChannelLayout& channels) {
  const AVCodecContext& out = encoder_->context();
  SwrContext* made = nullptr;
  // Some versions of the library forget to say that they leave the layouts alone.
  check(swr_alloc_set_opts2(&made, const_cast<AVChannelLayout*>(&out.ch_layout), out.sample_fmt, out.sample_rate,
                            const_cast<AVChannelLayout*>(&channels.get()), format, rate, 0, nullptr));
  resampler_.reset(made);
  check(swr_init(made));
  rate_ = rate;
  format_ = format;
  channels_.reset();
  channels_.emplace(channels);
}

void SoundTranscoder::write(const AVPacket& packet) {
  if (avcodec_send_packet(decoder_.get(), &packet) < 0 && (packet.pts == AV_NOPTS_VALUE || packet.pts >= 0)) {
    ++undecodable_;
  }
  takeDecoded();
}

void SoundTranscoder::takeDecoded() {
  for (FramePtr frame = makeFrame(); avcodec_receive_frame(decoder_.get(), frame.get()) >= 0; frame = makeFrame()) {
    decoded_.push_back(std::move(frame));
  }
}

// Gives the encoder no more than it can take for now: a silence may be long.
void SoundTranscoder::feed(std::int64_t end, const DeliverPacket& deliver) {
  encoder_->encode(deliver, end);
  while (!encoder_->hasFrame() && feedStep()) encoder_->encode(deliver, end);
}

// False when nothing is left.
bool SoundTranscoder::feedStep() {
  if (silence_ > 0) {
    addSilence();
  } else if (decoded_.empty()) {
    return false;
  } else if (place(*decoded_.front())) {
    decoded_.pop_front();
  }
  return true;
}

// Sound may change its rate and its channels on the way.
void SoundTranscoder::adapt(const AVFrame& frame) {
  const ChannelLayout channels = layoutOf(frame.ch_layout);
  const auto format = static_cast<AVSampleFormat>(frame.format);
  if (frame.sample_rate == rate_ && format == format_ &&
      av_channel_layout_compare(&channels.get(), &channels_->get()) == 0) {
    return;
  }
  resample(nullptr, 0);
  position_ = av_rescale(position_, frame.sample_rate, rate_);
  openResampler(frame.sample_rate, format, channels);
}

// False when silence is to come first.
bool SoundTranscoder::place(const AVFrame& frame) {
  adapt(frame);
  const double at = frame.pts == AV_NOPTS_VALUE ? static_cast<double>(position_)
                                                : static_cast<double>(frame.pts) * av_q2d(timeBase_) * rate_;
  if (!begun_ && !hasBegun(at, frame.nb_samples)) return true;
  if (silence_ > 0) return false;
  const double off = at - static_cast<double>(position_);
  const bool astray = std::abs(off) > kTolerance * rate_ && off < kLongestGap * rate_;
  if (astray && off > 0) {
    beginSilence(std::llround(off));
    return false;
  }
  // What lies before time 0, or where there was sound already, is passed over.
  std::int64_t over = position_ < 0 ? -position_ : astray ? std::llround(-off) : 0;
  over = std::min<std::int64_t>(over, frame.nb_samples);
  if (position_ < 0) {
    position_ += over;
  } else {
    repeated_ += static_cast<double>(over) / rate_;
  }
  const int left = frame.nb_samples - static_cast<int>(over);
  if (left == 0) return true;
  resample(planesFrom(frame, static_cast<int>(over)).data(), left);
  position_ += left;
  return true;
}

// Where the first sample lies follows from the times of all frames up to time 0: each may be rounded by half a unit.
// True once a frame reaches beyond that; then the position counts from there.
bool SoundTranscoder::hasBegun(double at, int samples) {
  const double first = at - static_cast<double>(position_), half = 0.5 * av_q2d(timeBase_) * rate_;
  const bool agrees = position_ > 0 && first - half <= latest_ && first + half >= earliest_;
  earliest_ = agrees ? std::max(earliest_, first - half) : first - half;
  latest_ = agrees ? std::min(latest_, first + half) : first + half;
  position_ += samples;
  const double begin = earliest_ <= 0 && latest_ >= 0 ? 0.0 : (earliest_ + latest_) / 2;
  if (begin + static_cast<double>(position_) <= 0) return false;
  begun_ = true;
  position_ += std::llround(begin) - samples;
  if (position_ > 0) {
    const std::int64_t gap = position_;
    position_ = 0;
    beginSilence(gap);
  }
  return true;
}

void SoundTranscoder::beginSilence(std::int64_t samples) {
  position_ += samples;
  silence_ = samples;
}

void SoundTranscoder::addSilence() {
  const int step = static_cast<int>(std::min<std::int64_t>(silence_, kStep));
  const FramePtr frame = makeSound(format_, channels_->get(), step);
  av_samples_set_silence(frame->extended_data, 0, step, channels_->get().nb_channels, format_);
  resample(planesFrom(*frame, 0).data(), step);
  silence_ -= step;
}

// Without planes what the resampler still holds.
void SoundTranscoder::resample(const std::uint8_t* const* planes, int samples) {
  const AVCodecContext& out = encoder_->context();
  for (;;) {
    const int room = std::max(swr_get_out_samples(resampler_.get(), samples), 1);
    const FramePtr made = makeSound(out.sample_fmt, out.ch_layout, room);
    const int count =
        swr_convert(resampler_.get(), made->extended_data, room, const_cast<const std::uint8_t**>(planes), samples);
    check(count);
    if (count > 0) encoder_->add(made->extended_data, count);
    if (planes != nullptr || count < room) return;
  }
}

std::int64_t SoundTranscoder::sampleAt(std::optional<double> seconds) const {
  if (!seconds) return std::numeric_limits<std::int64_t>::max();
  return std::llround(*seconds * encoder_->context().sample_rate);
}

void SoundTranscoder::encode(std::optional<double> end, const DeliverPacket& deliver) { feed(sampleAt(end), deliver); }

void SoundTranscoder::finish(std::optional<double> end, const DeliverPacket& deliver) {
  avcodec_send_packet(decoder_.get(), nullptr);
  takeDecoded();
  feed(sampleAt(end), deliver);
  resample(nullptr, 0);
  encoder_->finish(deliver, sampleAt(end));
}

}  // namespace kalvetra
