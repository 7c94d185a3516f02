// Reader: from a name to a decoder that knows what it reads.
#include "media/input/reader.h"

#include <string_view>

#include "media/input/field_order.h"
#include "media/pixels/frame_converter.h"
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
    : path_(path),
      name_(path == kStandardInput ? "the standard input" : path),
      options_(options),
      threads_(threads),
      stop_(stop),
      decoding_(decoding) {
  open();
}

void Reader::open() {
  openSource();
  openDecoder();
  describePictures();
  startClock();
  lookAtFirstPicture();
  refuseMirrored();
  if (!sequence_) declared_ = declaredLength(input_, video(), format_.frameRate);
  startTally();
}

void Reader::openSource() {
  if (ImageSequence::isPattern(path_)) {
    if (options_.raw) throw UserError(name_ + ": raw pictures come from one file, not from a sequence; name a file");
    sequence_.emplace(path_);
  }
  input_ = openInput(sequence_ ? sequence_->firstFile() : path_, name_, options_, stop_);
}

void Reader::openDecoder() {
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
  // With a picture a thread this decoder sometimes fails to report damage, with a slice a thread always.
  decoder_->thread_count = codec->id == AV_CODEC_ID_H264 && decoding_ == Decoding::Strict ? 1 : threads_;
  const int error = avcodec_open2(decoder_.get(), codec, nullptr);
  if (error < 0) throw UserError(name_ + ": its video cannot be decoded (" + errorText(error) + "); convert it first");
}

void Reader::describePictures() {
  AVStream& stream = *input_.container->streams[videoIndex_];
  const AVCodecParameters& p = *stream.codecpar;
  if (p.width < 1 || p.height < 1) {
    const bool exr = p.codec_id == AV_CODEC_ID_EXR;
    throw UserError(name_ + (exr ? ": is damaged, or has no channels R, G and B, or Y; write those, outside of layers"
                                 : ": does not say how large its pictures are; the file is damaged"));
  }
  if ((p.width > kLargestSide && !holdsFloatPixels()) || p.height > kLargestSide) {
    throw UserError(name_ + ": its pictures measure " + std::to_string(p.width) + " x " + std::to_string(p.height) +
                    ", more than 65535 on a side; scale them down first");
  }
  format_.width = holdsFloatPixels() ? options_.raw->width : p.width;
  format_.height = p.height;
  format_.timeBase = stream.time_base;
  format_.frameRate = validOr(av_guess_frame_rate(input_.container.get(), &stream, nullptr), {25, 1});
  format_.pixelAspect = validOr(av_guess_sample_aspect_ratio(input_.container.get(), &stream, nullptr), {1, 1});
  format_.color = resolveColor({p.color_space, p.color_range, p.color_primaries, p.color_trc},
                               static_cast<AVPixelFormat>(p.format), p.height, colorGuess_);
  format_.displayMatrix = displayMatrixFrom(av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
}

// The times of a sequence are its numbers; those of MP4 and QuickTime come from an index of the whole file.
void Reader::startClock() {
  const bool indexed = std::string_view(container().iformat->name).find("mp4") != std::string_view::npos;
  if (!sequence_ && !indexed) clock_.emplace(container(), videoIndex_, nominalDuration());
}

void Reader::startTally() { tally_.emplace(declared_, nominalDuration(), maySkipSilently()); }

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

}  // namespace kalvetra
