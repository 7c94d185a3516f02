#include "media/output/movie_file.h"

#include <cerrno>
#include <cstring>

#include "media/files/temporary_output.h"
#include "media/files/write_failure.h"

namespace kalvetra {

namespace {

// Some muxers refuse a codec only when its first packet comes. One of zeros does to find that out; that its content is
// nonsense is no matter.
bool takesPackets(AVFormatContext& trial, const AVCodecParameters& parameters) {
  const PacketPtr packet = makePacket();
  const int size = parameters.block_align > 0 ? parameters.block_align : 1024;
  if (av_new_packet(packet.get(), size) < 0) throw std::bad_alloc();
  std::memset(packet->data, 0, static_cast<std::size_t>(size));
  packet->pts = packet->dts = 0;
  packet->duration = 1;
  packet->flags = AV_PKT_FLAG_KEY;
  return av_write_frame(&trial, packet.get()) != AVERROR_PATCHWELCOME;
}

// These are written without what their decoders need to know.
bool isUnreadable(const std::string& muxer, AVCodecID codec) {
  return muxer == "mov" && (codec == AV_CODEC_ID_WMAV1 || codec == AV_CODEC_ID_WMAV2);
}

// An Opus track in Matroska says how long its encoder's run-up is, and every reader subtracts that from all its times.
// Older versions of the library do not add it when they write. In `timeBase`.
std::int64_t delayToAdd(const AVFormatContext& file, const AVStream& stream, AVRational timeBase) {
  constexpr unsigned int kLastWithout = AV_VERSION_INT(59, 30, 100);
  const bool matroska =
      std::strcmp(file.oformat->name, "matroska") == 0 || std::strcmp(file.oformat->name, "webm") == 0;
  const AVCodecParameters& p = *stream.codecpar;
  if (!matroska || p.codec_id != AV_CODEC_ID_OPUS || avformat_version() > kLastWithout) return 0;
  return av_rescale_q(p.initial_padding, {1, 48000}, timeBase);
}

}  // namespace

MovieFile::MovieFile(const char* muxer, const std::string& path, const std::string& shownName) : shownName_(shownName) {
  const std::string address = path == kStandardOutputAddress ? path : fileAddress(path);
  check(avformat_alloc_output_context2(&context_, nullptr, muxer, address.c_str()), "open");
  const int error = avio_open(&context_->pb, address.c_str(), AVIO_FLAG_WRITE);
  if (error < 0) {
    avformat_free_context(context_);
    failWriting(shownName_, errorText(error));
  }
}

MovieFile::~MovieFile() {
  avio_closep(&context_->pb);
  avformat_free_context(context_);
}

void MovieFile::check(int result, const char* what) const {
  if (result == AVERROR(EPIPE)) failWriting(shownName_, EPIPE);
  if (result < 0) failWriting(shownName_, std::string(what) + ": " + errorText(result));
}

AVStream& MovieFile::addStream(const AVCodecParameters& parameters, AVRational timeBase) {
  AVStream* stream = avformat_new_stream(context_, nullptr);
  if (stream == nullptr || avcodec_parameters_copy(stream->codecpar, &parameters) < 0) throw std::bad_alloc();
  stream->time_base = timeBase;
  return *stream;
}

AVStream& MovieFile::addStream(const AVCodecContext& encoder) {
  AVStream* stream = avformat_new_stream(context_, nullptr);
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0) throw std::bad_alloc();
  stream->time_base = encoder.time_base;
  return *stream;
}

bool MovieFile::wantsGlobalHeader() const { return (context_->oformat->flags & AVFMT_GLOBALHEADER) != 0; }

// Tried out in memory: what the libraries say about a codec beforehand is not always true.
bool MovieFile::takes(const AVCodecParameters& parameters) const {
  if (isUnreadable(context_->oformat->name, parameters.codec_id)) return false;
  AVFormatContext* trial = nullptr;
  if (avformat_alloc_output_context2(&trial, context_->oformat, nullptr, nullptr) < 0) throw std::bad_alloc();
  AVStream* stream = avformat_new_stream(trial, nullptr);
  bool taken = stream != nullptr && avcodec_parameters_copy(stream->codecpar, &parameters) >= 0 &&
               avio_open_dyn_buf(&trial->pb) >= 0;
  if (taken) {
    stream->codecpar->codec_tag = 0;
    stream->time_base = {1, parameters.sample_rate};
    taken = avformat_write_header(trial, nullptr) >= 0 && takesPackets(*trial, parameters);
    std::uint8_t* bytes = nullptr;
    avio_close_dyn_buf(trial->pb, &bytes);
    av_free(bytes);
  }
  avformat_free_context(trial);
  return taken;
}

void MovieFile::begin(const CodecOptions& options) {
  context_->avoid_negative_ts =
      AVFMT_AVOID_NEG_TS_DISABLED;  // pictures keep their times, whatever the sound begins with
  AVDictionary* settings = nullptr;
  for (const auto& [name, value] : options) av_dict_set(&settings, name.c_str(), value.c_str(), 0);
  const int error = avformat_write_header(context_, &settings);
  av_dict_free(&settings);
  check(error, "header");
}

void MovieFile::write(AVPacket& packet, AVRational timeBase) {
  const AVStream& stream = *context_->streams[packet.stream_index];
  const std::int64_t delay = delayToAdd(*context_, stream, timeBase);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts += delay;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts += delay;
  av_packet_rescale_ts(&packet, timeBase, stream.time_base);
  packet.pos = -1;
  check(av_interleaved_write_frame(context_, &packet), "data");
  check(context_->pb->error, "data");
}

void MovieFile::finish() {
  check(av_write_trailer(context_), "index");
  avio_flush(context_->pb);
  check(context_->pb->error, "index");
  check(avio_closep(&context_->pb), "close");
}

}  // namespace kalvetra
