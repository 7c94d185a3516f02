#include "media/reader.h"

#include <algorithm>
#include <string_view>

#include "media/delivery.h"
#include "media/field_order.h"
#include "media/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kLargestSide = 65535;             // the engine's records hold sizes in 16 bits
constexpr std::size_t kMostPacketsAhead = 600;  // read at most to find a first picture

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

Reader::Reader(const std::string& path, const SourceOptions& options, int threads, const std::atomic<bool>& stop,
               Decoding decoding)
    : path_(path), name_(path == kStandardInput ? "the standard input" : path), options_(options), stop_(stop) {
  openSource();
  openDecoder(threads, decoding);
  describePictures();
  lookAtFirstPicture();
  refuseMirrored();
  if (!sequence_) declared_ = declaredLength(input_, video(), format_.frameRate);
  tally_.emplace(declared_, nominalDuration(), mayJumpInSilence());
}

void Reader::openSource() {
  if (ImageSequence::isPattern(path_)) {
    if (options_.raw) throw UserError(name_ + ": raw pictures come from one file, not from a sequence; name a file");
    sequence_.emplace(path_);
  }
  input_ = openInput(sequence_ ? sequence_->firstFile() : path_, name_, options_, stop_);
}

void Reader::openDecoder(int threads, Decoding decoding) {
  const AVCodec* codec = nullptr;
  videoIndex_ = av_find_best_stream(input_.container.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (videoIndex_ == AVERROR_DECODER_NOT_FOUND) {
    throw UserError(name_ + ": no decoder for its video is installed; convert it to another format");
  }
  if (videoIndex_ < 0) throw UserError(name_ + ": has no video in it; name a file with pictures");
  AVStream& stream = *input_.container->streams[videoIndex_];
  codec = decoderFor(stream, codec);
  for (unsigned int i = 0; i < input_.container->nb_streams; ++i) {
    if (static_cast<int>(i) != videoIndex_ &&
        input_.container->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      input_.container->streams[i]->discard = AVDISCARD_ALL;
    }
  }
  decoder_.reset(avcodec_alloc_context3(codec));
  if (!decoder_) throw std::bad_alloc();
  avcodec_parameters_to_context(decoder_.get(), stream.codecpar);
  decoder_->pkt_timebase = stream.time_base;
  // With a picture a thread this decoder now and then forgets to tell of damage, with a slice a thread always.
  decoder_->thread_count = codec->id == AV_CODEC_ID_H264 && decoding == Decoding::Watchful ? 1 : threads;
  const int error = avcodec_open2(decoder_.get(), codec, nullptr);
  if (error < 0) throw UserError(name_ + ": its video cannot be decoded (" + errorText(error) + "); convert it first");
}

void Reader::describePictures() {
  AVStream& stream = *input_.container->streams[videoIndex_];
  const AVCodecParameters& p = *stream.codecpar;
  if (p.width < 1 || p.height < 1)
    throw UserError(name_ + ": does not say how large its pictures are; the file is damaged");
  if (p.width > kLargestSide || p.height > kLargestSide) {
    throw UserError(name_ + ": its pictures measure " + std::to_string(p.width) + " x " + std::to_string(p.height) +
                    ", more than 65535 on a side; scale them down first");
  }
  format_.width = p.width;
  format_.height = p.height;
  format_.timeBase = stream.time_base;
  format_.frameRate = validOr(av_guess_frame_rate(input_.container.get(), &stream, nullptr), {25, 1});
  format_.pixelAspect = validOr(av_guess_sample_aspect_ratio(input_.container.get(), &stream, nullptr), {1, 1});
  format_.color = resolveColor({p.color_space, p.color_range, p.color_primaries, p.color_trc},
                               static_cast<AVPixelFormat>(p.format), p.height, colorGuess_);
  format_.displayMatrix = displayMatrixFrom(av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
}

// Where the file does not say how its pictures lie, the first one may.
void Reader::lookAtFirstPicture() {
  const AVCodecParameters& p = *video().codecpar;
  format_.fieldOrder = shownOrder(p.field_order);
  const bool fields = format_.fieldOrder == FieldOrder::Unknown && canTellFields(p.codec_id, container());
  const bool turn = !format_.displayMatrix && p.codec_id == AV_CODEC_ID_MJPEG && isPictureFile(container());
  if (!fields && !turn) return;
  const FramePtr picture = firstPicture();
  if (!picture) return;
  if (fields) format_.fieldOrder = shownOrder(*picture);
  const AVFrameSideData* matrix = av_frame_get_side_data(picture.get(), AV_FRAME_DATA_DISPLAYMATRIX);
  if (turn && matrix != nullptr) format_.displayMatrix = displayMatrixFrom(matrix->data);
}

void Reader::refuseMirrored() const {
  if (!format_.isMirrored()) return;
  throw UserError(name_ + ": its pictures are stored mirrored, to be flipped when they are shown; convert it first " +
                  "with a program that flips them, like ffmpeg");
}

// Null when it cannot be decoded. The packets read for it are kept and decoded once more.
FramePtr Reader::firstPicture() {
  FramePtr picture = makeFrame();
  int state = AVERROR(EAGAIN);
  while (state == AVERROR(EAGAIN) && ahead_.size() < kMostPacketsAhead) {
    PacketPtr packet = makePacket();
    const bool atEnd = readSource(*packet) < 0;
    if (atEnd) avcodec_send_packet(decoder_.get(), nullptr);
    if (!atEnd && packet->stream_index == videoIndex_) avcodec_send_packet(decoder_.get(), packet.get());
    if (!atEnd) ahead_.push_back(std::move(packet));
    state = avcodec_receive_frame(decoder_.get(), picture.get());
    if (atEnd) break;
  }
  avcodec_flush_buffers(decoder_.get());
  return state < 0 ? nullptr : std::move(picture);
}

std::string Reader::describeGaps() const {
  if (gaps().empty()) return {};
  const int missing = sequence_->missing();
  return path_ + ": " + std::to_string(missing) + (missing == 1 ? " picture is" : " pictures are") + " missing (" +
         describeRanges(gaps()) + ")";
}

const std::vector<NumberRange>& Reader::gaps() const {
  static const std::vector<NumberRange> none;
  return sequence_ ? sequence_->gaps() : none;
}

std::int64_t Reader::expectedFrames() const { return sequence_ ? sequence_->size() : declared_.expected; }

std::string Reader::alphaTag() const {
  const AVDictionaryEntry* tag = av_dict_get(container().metadata, kAlphaTag, nullptr, 0);
  return tag != nullptr ? tag->value : "";
}

bool Reader::isPremultiplied() const { return alphaTag() == kalvetra::alphaTag(AlphaMode::Premultiplied); }

bool Reader::next(SourceFrame& frame) {
  if (!frame.picture) frame.picture = makeFrame();
  for (;;) {
    const int state = avcodec_receive_frame(decoder_.get(), frame.picture.get());
    if (state == 0) {
      stamp(frame);
      return true;
    }
    if (state == AVERROR_EOF) {
      frame.picture.reset();
      ended_ = true;
      return false;
    }
    if (state != AVERROR(EAGAIN)) tally_->addUndecodable();
    if (!draining_) feedDecoder(frame);
  }
}

// The next packet of any stream, those read ahead first.
int Reader::readPacket(AVPacket& packet) {
  if (ahead_.empty()) return readSource(packet);
  av_packet_move_ref(&packet, ahead_.front().get());
  ahead_.pop_front();
  return 0;
}

// Once it has failed it goes on failing, but for one file of a sequence.
int Reader::readSource(AVPacket& packet) {
  if (endState_ < 0) return endState_;
  const int state = sequence_ ? sequence_->read(packet) : av_read_frame(input_.container.get(), &packet);
  if (state < 0 && (!sequence_ || state == AVERROR_EOF)) endState_ = state;
  return state;
}

// Reads on until the decoder has something new to work on: a packet, or at the end of the file the word to hand out
// what it still holds.
void Reader::feedDecoder(SourceFrame& frame) {
  for (;;) {
    PacketPtr packet = makePacket();
    const int state = readPacket(*packet);
    if (state < 0 && endState_ == 0) {  // one file of a sequence
      tally_->addUnreadable();
      continue;
    }
    if (state < 0) {
      if (state != AVERROR_EOF) tally_->endEarly();
      draining_ = true;
      avcodec_send_packet(decoder_.get(), nullptr);
      return;
    }
    const int index = packet->stream_index;
    tally_->addPacket(*packet, index == videoIndex_, endOf(*packet));
    if (index == videoIndex_) {
      if (avcodec_send_packet(decoder_.get(), packet.get()) < 0) tally_->addUndecodable();
      return;
    }
    if (copied_.contains(index)) {
      countFromStart(*packet);
      frame.copied.push_back(std::move(packet));
    }
  }
}

bool Reader::nextPacket(PacketPtr& packet) {
  for (packet = makePacket(); readPacket(*packet) >= 0; av_packet_unref(packet.get())) {
    if (!isWanted(packet->stream_index)) continue;
    countFromStart(*packet);
    return true;
  }
  return false;
}

void Reader::countFromStart(AVPacket& packet) const {
  const std::int64_t start = startOf(*input_.container->streams[packet.stream_index]);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= start;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= start;
}

std::int64_t Reader::nominalDuration() const {
  return std::max<std::int64_t>(av_rescale_q(1, av_inv_q(format_.frameRate), format_.timeBase), 1);
}

// Matroska with one video: of a second one the packets are left out, which looks just like a jump.
bool Reader::mayJumpInSilence() const {
  return !leavesOutVideo(container()) &&
         std::string_view(container().iformat->name).find("matroska") != std::string::npos;
}

// Where the packet ends, from the clip's start, in AV_TIME_BASE units; 0 where it has no time.
std::int64_t Reader::endOf(const AVPacket& packet) const {
  if (packet.pts == AV_NOPTS_VALUE) return 0;
  const AVStream& stream = *input_.container->streams[packet.stream_index];
  return av_rescale_q(packet.pts + packet.duration - startOf(stream), stream.time_base, av_make_q(1, AV_TIME_BASE));
}

// Where the clip begins. A start before 0 is the run-up of a sound track and does not count.
std::int64_t Reader::startOf(const AVStream& stream) const {
  if (input_.container->start_time == AV_NOPTS_VALUE || input_.container->start_time < 0) return 0;
  return av_rescale_q(input_.container->start_time, av_make_q(1, AV_TIME_BASE), stream.time_base);
}

// Times strictly grow, whatever the file says: encoders refuse anything else.
void Reader::stamp(SourceFrame& frame) {
  const AVFrame& picture = *frame.picture;
  if (picture.width != format_.width || picture.height != format_.height) {
    throw UserError(name_ + ": its pictures change size from " + std::to_string(format_.width) + " x " +
                    std::to_string(format_.height) + " to " + std::to_string(picture.width) + " x " +
                    std::to_string(picture.height) + " on the way; cut the clip there");
  }
  tally_->addPicture(picture);
  frame.duration = picture.pkt_duration > 0 ? picture.pkt_duration : nominalDuration();
  frame.time =
      picture.best_effort_timestamp == AV_NOPTS_VALUE ? nextTime_ : picture.best_effort_timestamp - startOf(video());
  lastTime_ = frame.time = std::max(frame.time, lastTime_ + 1);
  nextTime_ = frame.time + frame.duration;
}

bool Reader::seek(double fraction) {
  if (sequence_) {
    sequence_->seek(fraction);
    restart();
    return true;
  }
  const std::int64_t duration = clipDuration(container());
  return duration > 0 && seekTo(static_cast<std::int64_t>(fraction * static_cast<double>(duration)));
}

bool Reader::seekTime(double seconds) {
  return !sequence_ && seekTo(static_cast<std::int64_t>(seconds * AV_TIME_BASE));
}

bool Reader::seekPicture(std::int64_t time) {
  if (sequence_) {
    sequence_->seekNumber(time);
  } else if (av_seek_frame(input_.container.get(), videoIndex_, time + startOf(video()), AVSEEK_FLAG_BACKWARD) < 0) {
    return false;
  }
  restart();
  return true;
}

// A time from the clip's start, in AV_TIME_BASE units.
bool Reader::seekTo(std::int64_t time) {
  const std::int64_t start = input_.container->start_time == AV_NOPTS_VALUE ? 0 : input_.container->start_time;
  const std::int64_t target = start + time;
  if (av_seek_frame(input_.container.get(), -1, target, AVSEEK_FLAG_BACKWARD) < 0) return false;
  restart();
  return true;
}

// After a jump: nothing from before it counts.
void Reader::restart() {
  avcodec_flush_buffers(decoder_.get());
  ahead_.clear();
  endState_ = 0;
  draining_ = ended_ = false;
  lastTime_ = -1;
}

std::int64_t Reader::lostFrames() const {
  const std::int64_t gaps = !sequence_ ? 0 : ended_ ? sequence_->missing() : sequence_->missingBefore(lastTime_);
  return tally_->lost(ended_) + gaps;
}

std::string Reader::describeDamage(std::int64_t lost, std::int64_t damaged) const {
  if (lost + damaged == 0) return {};
  const std::string gaps = describeGaps();
  return (gaps.empty() ? name_ + ": the file is damaged" : gaps) + ": " + std::to_string(lost) +
         (lost == 1 ? " frame" : " frames") + " lost, " + std::to_string(damaged) + " with errors";
}

}  // namespace kalvetra
