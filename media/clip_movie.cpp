#include "media/clip_movie.h"

extern "C" {
#include <libavutil/timecode.h>
}

#include <cstring>
#include <set>

#include "media/timecode.h"

namespace kalvetra {

namespace {

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
                                               "alpha_mode", "ENCODER",     "duration",      kAlphaTag};
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    if (!ofTheFile.contains(entry->key)) av_dict_set(to, entry->key, entry->value, 0);
  }
}

void keepRotation(AVStream& video, const PictureFormat& pictures) {
  if (!pictures.displayMatrix) return;
  std::uint8_t* matrix = av_stream_new_side_data(&video, AV_PKT_DATA_DISPLAYMATRIX, sizeof *pictures.displayMatrix);
  if (matrix == nullptr) throw std::bad_alloc();
  std::memcpy(matrix, pictures.displayMatrix->data(), sizeof *pictures.displayMatrix);
}

}  // namespace

std::string timecodeOf(const Reader& source, std::int64_t frame) {
  const std::string first = timecodeOf(source.container(), source.video());
  AVTimecode timecode;
  if (first.empty() || frame == 0) return first;
  if (av_timecode_init_from_string(&timecode, source.format().frameRate, first.c_str(), nullptr) < 0) return {};
  char text[AV_TIMECODE_STR_SIZE];
  return av_timecode_make_string(&timecode, text, static_cast<int>(frame));
}

std::vector<std::string> whatIsLeftOut(const OutputFormat& format, const Reader& source, const Carried& carried,
                                       const std::map<int, int>& copied) {
  std::vector<std::string> sentences;
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    const bool kept = stream.index == source.video().index || copied.contains(stream.index) || isTimecodeTrack(stream);
    const bool sound = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    if (kept || (sound && !carried.sound)) continue;
    sentences.push_back(
        describe(stream) + " is left out: " +
        (sound ? format.extension() + " cannot hold it" : "only pictures, sound and timecode are copied"));
  }
  const std::string timecode = timecodeOf(source, carried.firstFrame);
  if (!timecode.empty() && !format.keepsTimecode) {
    sentences.push_back("timecode " + timecode + " is left out: " + format.extension() + " cannot hold it");
  }
  return sentences;
}

ClipMovie::ClipMovie(const Delivery& delivery, const std::string& path, const std::string& shownName)
    : delivery_(delivery), movie_(delivery.format->muxer, path, shownName) {}

void ClipMovie::begin(const AVCodecContext& encoder, const PictureFormat& pictures, Reader& source,
                      const Carried& carried) {
  AVStream& video = movie_.addStream(encoder);
  video.sample_aspect_ratio = pictures.pixelAspect;
  video.avg_frame_rate = pictures.frameRate;
  keepRotation(video, pictures);
  copyMetadata(&video.metadata, source.video().metadata);
  copyMetadata(movie_.metadata(), source.container().metadata);
  const std::string timecode = timecodeOf(source, carried.firstFrame);
  if (!timecode.empty() && delivery_.format->keepsTimecode)
    av_dict_set(&video.metadata, "timecode", timecode.c_str(), 0);
  av_dict_set(movie_.metadata(), kAlphaTag, alphaTag(delivery_).c_str(), 0);
  if (carried.sound && delivery_.format->keepsSound) declareSound(source);
  movie_.begin(delivery_.format->muxerOptions);
}

void ClipMovie::declareSound(Reader& source) {
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& from = *container.streams[i];
    if (from.codecpar->codec_type != AVMEDIA_TYPE_AUDIO || !movie_.takes(*from.codecpar)) continue;
    AVStream& to = movie_.addStream(*from.codecpar, from.time_base);
    to.codecpar->codec_tag = 0;  // each container has its own
    to.disposition = from.disposition;
    copyMetadata(&to.metadata, from.metadata);
    copiedTo_[from.index] = to.index;
    copiedBase_[from.index] = from.time_base;
    source.copyStream(from.index);
  }
}

void ClipMovie::writePicture(AVPacket& packet, AVRational timeBase) {
  packet.stream_index = 0;
  movie_.write(packet, timeBase);
}

void ClipMovie::writeCopied(const std::vector<PacketPtr>& packets) {
  for (const PacketPtr& packet : packets) {
    const auto to = copiedTo_.find(packet->stream_index);
    // The encoder's run-up of a sound track ends before the clip begins. Where a container has no negative times, it
    // would push all pictures back.
    const bool runUp = packet->pts != AV_NOPTS_VALUE && packet->pts + packet->duration <= 0;
    const bool early = packet->pts != AV_NOPTS_VALUE && packet->pts < 0;
    if (to == copiedTo_.end() || (runUp && !delivery_.format->keepsNegativeTimes)) continue;
    if (early && delivery_.format->startsAtZero) continue;
    const PacketPtr copy(av_packet_clone(packet.get()));
    if (!copy) throw std::bad_alloc();
    copy->stream_index = to->second;
    movie_.write(*copy, copiedBase_.at(to->first));
  }
}

}  // namespace kalvetra
