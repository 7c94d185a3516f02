#include "media/reader.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "media/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kLargestSide = 65535;                       // the engine's records hold sizes in 16 bits
constexpr std::int64_t kEndTolerance = AV_TIME_BASE / 4;  // declared durations are a little long in many sound files

int stopRequested(void* stop) { return static_cast<const std::atomic<bool>*>(stop)->load() ? 1 : 0; }

// VP8 and VP9 keep alpha in a side stream that only the libvpx decoders read.
const AVCodec* decoderFor(const AVStream& stream, const AVCodec* standard) {
  const AVDictionaryEntry* alpha = av_dict_get(stream.metadata, "alpha_mode", nullptr, 0);
  if (alpha == nullptr || std::string(alpha->value) != "1") return standard;
  const char* name = stream.codecpar->codec_id == AV_CODEC_ID_VP9   ? "libvpx-vp9"
                     : stream.codecpar->codec_id == AV_CODEC_ID_VP8 ? "libvpx"
                                                                    : "";
  const AVCodec* withAlpha = avcodec_find_decoder_by_name(name);
  return withAlpha != nullptr ? withAlpha : standard;
}

AVRational validOr(AVRational value, AVRational fallback) { return value.num > 0 && value.den > 0 ? value : fallback; }

}  // namespace

Reader::Reader(const std::string& path, int threads, const std::atomic<bool>& stop) : path_(path), stop_(stop) {
  openInput();
  openDecoder(threads);
  describePictures();
}

void Reader::openInput() {
  const bool isPattern = path_.find('%') != std::string::npos;
  std::error_code ignored;
  if (!isPattern && !std::filesystem::exists(path_, ignored)) {
    throw UserError(path_ + ": there is no such file; check the name");
  }
  if (std::filesystem::is_directory(path_, ignored)) {
    throw UserError(path_ + ": is a folder; name a file, or a sequence like " + path_ + "/name-%05d.png");
  }
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  context->interrupt_callback = {stopRequested, const_cast<std::atomic<bool>*>(&stop_)};
  const int error = avformat_open_input(&context, path_.c_str(), nullptr, nullptr);  // frees the context on failure
  if (error == AVERROR_INVALIDDATA) {
    throw UserError(path_ + ": is not a video, image or sequence that can be read; check the file or convert it");
  }
  if (error < 0)
    throw UserError(path_ + ": cannot be opened (" + errorText(error) + "); check the name and its permissions");
  input_.reset(context);
  avformat_find_stream_info(context, nullptr);  // what it does not find is missed below
}

void Reader::openDecoder(int threads) {
  const AVCodec* codec = nullptr;
  videoIndex_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (videoIndex_ == AVERROR_DECODER_NOT_FOUND) {
    throw UserError(path_ + ": no decoder for its video is installed; convert it to another format");
  }
  if (videoIndex_ < 0) throw UserError(path_ + ": has no video in it; name a file with pictures");
  AVStream& stream = *input_->streams[videoIndex_];
  codec = decoderFor(stream, codec);
  for (unsigned int i = 0; i < input_->nb_streams; ++i) {
    if (static_cast<int>(i) != videoIndex_ && input_->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      input_->streams[i]->discard = AVDISCARD_ALL;
    }
  }
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) throw std::bad_alloc();
  avcodec_parameters_to_context(decoder_.get(), stream.codecpar);
  decoder_->pkt_timebase = stream.time_base;
  decoder_->thread_count = threads;
  const int error = avcodec_open2(decoder_.get(), codec, nullptr);
  if (error < 0) throw UserError(path_ + ": its video cannot be decoded (" + errorText(error) + "); convert it first");
}

void Reader::describePictures() {
  AVStream& stream = *input_->streams[videoIndex_];
  const AVCodecParameters& p = *stream.codecpar;
  if (p.width < 1 || p.height < 1)
    throw UserError(path_ + ": does not say how large its pictures are; the file is damaged");
  if (p.width > kLargestSide || p.height > kLargestSide) {
    throw UserError(path_ + ": its pictures measure " + std::to_string(p.width) + " x " + std::to_string(p.height) +
                    ", more than 65535 on a side; scale them down first");
  }
  format_.width = p.width;
  format_.height = p.height;
  format_.timeBase = stream.time_base;
  format_.frameRate = validOr(av_guess_frame_rate(input_.get(), &stream, nullptr), {25, 1});
  format_.pixelAspect = validOr(av_guess_sample_aspect_ratio(input_.get(), &stream, nullptr), {1, 1});
  format_.color = resolveColor({p.color_space, p.color_range, p.color_primaries, p.color_trc},
                               static_cast<AVPixelFormat>(p.format), p.height, colorGuess_);
  const std::uint8_t* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
  if (matrix != nullptr) {
    format_.displayMatrix.emplace();
    std::memcpy(format_.displayMatrix->data(), matrix, sizeof *format_.displayMatrix);
  }
}

std::int64_t Reader::expectedFrames() const {
  if (video().nb_frames > 0) return video().nb_frames;
  if (input_->duration <= 0) return 0;
  return av_rescale_q(input_->duration, av_make_q(1, AV_TIME_BASE), av_inv_q(format_.frameRate));
}

bool Reader::next(SourceFrame& frame) {
  if (!frame.picture) frame.picture = makeFrame();
  for (;;) {
    const int state = avcodec_receive_frame(decoder_.get(), frame.picture.get());
    if (state == 0) {
      stamp(frame);
      ++delivered_;
      return true;
    }
    if (state == AVERROR_EOF) {
      frame.picture.reset();
      return false;
    }
    if (state != AVERROR(EAGAIN)) ++undecodable_;
    if (!draining_) feedDecoder(frame);
  }
}

// Reads on until the decoder has something new to work on: a packet, or at the end of the file the word to hand out
// what it still holds.
void Reader::feedDecoder(SourceFrame& frame) {
  for (;;) {
    PacketPtr packet = makePacket();
    const int state = av_read_frame(input_.get(), packet.get());
    if (state < 0) {
      cutShort_ = cutShort_ || state != AVERROR_EOF;
      draining_ = true;
      avcodec_send_packet(decoder_.get(), nullptr);
      return;
    }
    const int index = packet->stream_index;
    noteEnd(*packet);
    if (index == videoIndex_) {
      ++packets_;
      if ((packet->flags & AV_PKT_FLAG_DISCARD) != 0) ++discarded_;
      if (avcodec_send_packet(decoder_.get(), packet.get()) < 0) ++undecodable_;
      return;
    }
    if (copied_.contains(index)) {
      const std::int64_t start = startOf(*input_->streams[index]);
      if (packet->pts != AV_NOPTS_VALUE) packet->pts -= start;
      if (packet->dts != AV_NOPTS_VALUE) packet->dts -= start;
      frame.copied.push_back(std::move(packet));
    }
  }
}

// How far into the clip the file's packets reach, whatever their stream.
void Reader::noteEnd(const AVPacket& packet) {
  if (packet.pts == AV_NOPTS_VALUE) return;
  const AVStream& stream = *input_->streams[packet.stream_index];
  const std::int64_t end = packet.pts + packet.duration - startOf(stream);
  reached_ = std::max(reached_, av_rescale_q(end, stream.time_base, av_make_q(1, AV_TIME_BASE)));
}

// Where the clip begins. A start before 0 is the run-up of a sound track and does not count.
std::int64_t Reader::startOf(const AVStream& stream) const {
  if (input_->start_time == AV_NOPTS_VALUE || input_->start_time < 0) return 0;
  return av_rescale_q(input_->start_time, av_make_q(1, AV_TIME_BASE), stream.time_base);
}

// Times strictly grow, whatever the file says: encoders refuse anything else.
void Reader::stamp(SourceFrame& frame) {
  const AVFrame& picture = *frame.picture;
  if (picture.width != format_.width || picture.height != format_.height) {
    throw UserError(path_ + ": its pictures change size from " + std::to_string(format_.width) + " x " +
                    std::to_string(format_.height) + " to " + std::to_string(picture.width) + " x " +
                    std::to_string(picture.height) + " on the way; cut the clip there");
  }
  if (picture.decode_error_flags != 0 || (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0) ++damaged_;
  const std::int64_t nominal =
      std::max<std::int64_t>(av_rescale_q(1, av_inv_q(format_.frameRate), format_.timeBase), 1);
  frame.duration = picture.pkt_duration > 0 ? picture.pkt_duration : nominal;
  frame.time =
      picture.best_effort_timestamp == AV_NOPTS_VALUE ? nextTime_ : picture.best_effort_timestamp - startOf(video());
  lastTime_ = frame.time = std::max(frame.time, lastTime_ + 1);
  nextTime_ = frame.time + frame.duration;
}

bool Reader::seek(double fraction) {
  if (input_->duration <= 0) return false;
  const std::int64_t start = input_->start_time == AV_NOPTS_VALUE ? 0 : input_->start_time;
  const auto target = start + static_cast<std::int64_t>(fraction * static_cast<double>(input_->duration));
  if (av_seek_frame(input_.get(), -1, target, AVSEEK_FLAG_BACKWARD) < 0) return false;
  avcodec_flush_buffers(decoder_.get());
  draining_ = false;
  return true;
}

// A decoder drops pictures silently once it has met damage; some codecs have packets without a picture at any time. So
// the two are compared only when something is known to be wrong.
std::int64_t Reader::lostFrames() const {
  const std::int64_t missing = std::max<std::int64_t>(missingFrames(), cutShort_ ? 1 : 0);
  if (missing + undecodable_ + damaged_ == 0) return 0;
  return missing + std::max(undecodable_, packets_ - discarded_ - delivered_);
}

// Pictures that the file declares and does not hold. Only MP4 and QuickTime count theirs reliably; elsewhere a file
// that ends well before its declared duration is cut off.
std::int64_t Reader::missingFrames() const {
  const bool counted = std::string(input_->iformat->name).find("mp4") != std::string::npos;
  if (counted) return std::max<std::int64_t>(video().nb_frames - packets_, 0);
  if (input_->duration_estimation_method != AVFMT_DURATION_FROM_STREAM || input_->duration <= 0) return 0;
  if (input_->duration - reached_ < kEndTolerance) return 0;
  return std::max<std::int64_t>(expectedFrames() - packets_, 1);
}

}  // namespace kalvetra
