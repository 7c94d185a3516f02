#include "media/writer.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "media/timecode.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Pictures as they are written: upright where the container cannot say how to turn them.
PictureFormat writtenPictures(const PictureFormat& source, const OutputFormat& format) {
  PictureFormat pictures = source;
  if (format.keepsDisplayMatrix) return pictures;
  pictures.displayMatrix.reset();
  if (source.quarterTurns() % 2 != 0) {
    std::swap(pictures.width, pictures.height);
    pictures.pixelAspect = av_inv_q(source.pixelAspect);
  }
  return pictures;
}

// The source's colours; its matrix too where the output is YUV and the source was.
ColorTags writtenColor(ColorTags color, AVPixelFormat format) {
  const bool rgb = (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  color.range = rgb ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  if (rgb) {
    color.matrix = AVCOL_SPC_RGB;
  } else if (color.matrix == AVCOL_SPC_RGB) {
    color.matrix = AVCOL_SPC_BT709;
  }
  return color;
}

std::string describe(const AVStream& stream) {
  const char* kind = av_get_media_type_string(stream.codecpar->codec_type);
  return std::string(kind != nullptr ? kind : "unknown") + " stream " + std::to_string(stream.index) + " (" +
         avcodec_get_name(stream.codecpar->codec_id) + ")";
}

bool isTimecodeTrack(const AVStream& stream) { return stream.codecpar->codec_tag == MKTAG('t', 'm', 'c', 'd'); }

// Tags that describe the source's file, not its content.
void copyMetadata(AVDictionary** to, const AVDictionary* from) {
  static const std::set<std::string> ofTheFile{"encoder",    "major_brand", "minor_version", "compatible_brands",
                                               "DURATION",   "timecode",    "handler_name",  "vendor_id",
                                               "alpha_mode", "ENCODER",     "duration"};
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    if (!ofTheFile.contains(entry->key)) av_dict_set(to, entry->key, entry->value, 0);
  }
}

}  // namespace

Writer::Writer(const OutputFormat& format, const TemporaryOutput& output, const std::string& shownName, Reader& source,
               int threads)
    : shownName_(shownName),
      quarterTurns_(format.keepsDisplayMatrix ? 0 : source.format().quarterTurns()),
      pictures_(writtenPictures(source.format(), format)),
      color_(writtenColor(pictures_.color, format.pixelFormat)),
      packer_(format.pixelFormat, color_.matrix),
      keepsNegativeTimes_(format.keepsNegativeTimes) {
  if (format.muxer != nullptr) {
    if (output.isSequence()) throw UserError(shownName + ": only .png files are numbered; name one file without a %");
    openMovie(format, output, source, threads);
  } else {
    encoder_ = std::make_unique<VideoEncoder>(format, pictures_, color_, threads, false);
    sink_ = std::make_unique<PictureFiles>(output, shownName);
  }
  noteLeftOut(source, format);
}

void Writer::openMovie(const OutputFormat& format, const TemporaryOutput& output, Reader& source, int threads) {
  auto movie = std::make_unique<MovieFile>(format.muxer, output.path(), shownName_);
  encoder_ = std::make_unique<VideoEncoder>(format, pictures_, color_, threads, movie->wantsGlobalHeader());

  AVStream& video = movie->addStream(encoder_->context());
  video.sample_aspect_ratio = pictures_.pixelAspect;
  video.avg_frame_rate = pictures_.frameRate;
  if (pictures_.displayMatrix) {
    std::uint8_t* matrix = av_stream_new_side_data(&video, AV_PKT_DATA_DISPLAYMATRIX, sizeof *pictures_.displayMatrix);
    if (matrix == nullptr) throw std::bad_alloc();
    std::memcpy(matrix, pictures_.displayMatrix->data(), sizeof *pictures_.displayMatrix);
  }
  copyMetadata(&video.metadata, source.video().metadata);
  copyMetadata(movie->metadata(), source.container().metadata);
  keepTimecode(source, video, format);
  declareCopiedStreams(*movie, source);
  movie->begin();
  sink_ = std::move(movie);
}

void Writer::keepTimecode(const Reader& source, AVStream& video, const OutputFormat& format) {
  const std::string timecode = timecodeOf(source.container(), source.video());
  if (!timecode.empty() && format.keepsTimecode) av_dict_set(&video.metadata, "timecode", timecode.c_str(), 0);
}

void Writer::declareCopiedStreams(MovieFile& movie, Reader& source) {
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& from = *container.streams[i];
    if (from.codecpar->codec_type != AVMEDIA_TYPE_AUDIO || !movie.takes(*from.codecpar)) continue;
    AVStream& to = movie.addStream(*from.codecpar, from.time_base);
    to.codecpar->codec_tag = 0;  // each container has its own
    to.disposition = from.disposition;
    copyMetadata(&to.metadata, from.metadata);
    copiedTo_[from.index] = to.index;
    copiedBase_[from.index] = from.time_base;
    source.copyStream(from.index);
  }
}

void Writer::noteLeftOut(const Reader& source, const OutputFormat& format) {
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    const bool kept =
        stream.index == source.video().index || copiedTo_.contains(stream.index) || isTimecodeTrack(stream);
    if (kept) continue;
    const bool sound = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    leftOut_.push_back(describe(stream) + " is left out: " +
                       (sound ? format.extension + " cannot hold it" : "only pictures, sound and timecode are copied"));
  }
  const std::string timecode = timecodeOf(source.container(), source.video());
  if (!timecode.empty() && !format.keepsTimecode) {
    leftOut_.push_back("timecode " + timecode + " is left out: " + format.extension + " cannot hold it");
  }
}

PackedPicture Writer::pack(const Image& image) const {
  return quarterTurns_ == 0 ? packer_.pack(image) : packer_.pack(turned(image, quarterTurns_));
}

void Writer::write(PackedPicture picture, std::int64_t time, std::int64_t duration) {
  encoder_->encode(std::get<FramePtr>(std::move(picture)), time, duration,
                   [this](AVPacket& packet) { deliver(packet); });
}

void Writer::deliver(AVPacket& packet) {
  packet.stream_index = 0;
  sink_->write(packet, encoder_->timeBase());
}

void Writer::writeCopied(std::vector<PacketPtr>& packets) {
  for (const PacketPtr& packet : packets) {
    const int from = packet->stream_index;
    // The encoder's run-up of a sound track ends before the clip begins. Where a container has no negative times, it
    // would push all pictures back.
    const bool runUp = packet->pts != AV_NOPTS_VALUE && packet->pts + packet->duration <= 0;
    if (runUp && !keepsNegativeTimes_) continue;
    packet->stream_index = copiedTo_.at(from);
    sink_->write(*packet, copiedBase_.at(from));
  }
  packets.clear();
}

void Writer::finish() {
  encoder_->flush([this](AVPacket& packet) { deliver(packet); });
  sink_->finish();
}

}  // namespace kalvetra
