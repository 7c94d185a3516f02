#include "media/output/clip_movie.h"

extern "C" {
#include <libavutil/timecode.h>
}

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

#include "media/input/timecode.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

std::string describe(const AVStream& stream) {
  const char* kind = av_get_media_type_string(stream.codecpar->codec_type);
  return std::string(kind != nullptr ? kind : "unknown") + " stream " + std::to_string(stream.index) + " (" +
         avcodec_get_name(stream.codecpar->codec_id) + ")";
}

// "44100 Hz, 5.1"
std::string shape(int rate, const AVChannelLayout& channels) {
  char layout[64] = "";
  av_channel_layout_describe(&channels, layout, sizeof layout);
  return std::to_string(rate) + " Hz, " + layout;
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

// QuickTime knows only some of the languages' codes.
void useQuickTimeLanguage(AVDictionary** metadata) {
  static const std::map<std::string, const char*> codes{{"deu", "ger"}, {"nld", "dut"}, {"swe", "sve"}, {"fre", "fra"},
                                                        {"ell", "gre"}, {"isl", "ice"}, {"zho", "chi"}, {"cze", "ces"},
                                                        {"slo", "slk"}, {"rum", "ron"}, {"sqi", "alb"}, {"hye", "arm"},
                                                        {"kat", "geo"}, {"cym", "wel"}, {"eus", "baq"}};
  const AVDictionaryEntry* language = av_dict_get(*metadata, "language", nullptr, 0);
  const auto known = language != nullptr ? codes.find(language->value) : codes.end();
  if (known != codes.end()) av_dict_set(metadata, "language", known->second, 0);
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

std::vector<std::string> whatIsLeftOut(const OutputFormat& format, const Reader& source, const Carried& carried) {
  std::vector<std::string> sentences;
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    const bool sound = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    if (stream.index == source.video().index || sound || isTimecodeTrack(stream)) continue;
    sentences.push_back(describe(stream) + " is left out: only pictures, sound and timecode are copied");
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
  carried_ = carried;
  if (carried.sound && delivery_.format->keepsSound()) declareSound(source);
  movie_.begin(delivery_.format->muxerOptions);
}

void ClipMovie::declareSound(Reader& source) {
  const AVFormatContext& container = source.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& from = *container.streams[i];
    if (from.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const bool copied = movie_.takes(*from.codecpar);
    std::unique_ptr<SoundTranscoder> transcoder = copied ? nullptr : transcoderFor(from);
    if (!copied && !transcoder) continue;
    AVStream& to = copied ? movie_.addStream(*from.codecpar, from.time_base) : movie_.addStream(transcoder->encoder());
    to.codecpar->codec_tag = 0;  // each container has its own
    to.disposition = from.disposition;
    copyMetadata(&to.metadata, from.metadata);
    if (delivery_.format->quickTimeLanguages) useQuickTimeLanguage(&to.metadata);
    tracks_.emplace(from.index,
                    Track{to.index, from.codecpar->codec_id, from.time_base, describe(from), std::move(transcoder)});
    source.copyStream(from.index);
  }
  sound_.tracks = static_cast<int>(tracks_.size());
}

// Null, with a note, where the track cannot be encoded.
std::unique_ptr<SoundTranscoder> ClipMovie::transcoderFor(const AVStream& from) {
  const OutputFormat& format = *delivery_.format;
  const std::string cannot = format.extension() + " cannot hold it";
  try {
    auto transcoder = std::make_unique<SoundTranscoder>(from, format.soundEncoder, wantsGlobalHeader());
    const AVCodecContext& to = transcoder->encoder();
    sound_.notes.push_back(describe(from) + ", " + shape(from.codecpar->sample_rate, from.codecpar->ch_layout) +
                           ", is encoded as " + avcodec_get_name(to.codec_id) + ", " +
                           shape(to.sample_rate, to.ch_layout) + ": " + cannot);
    return transcoder;
  } catch (const UserError& error) {
    sound_.notes.push_back(describe(from) + " is left out: " + cannot + ", and " + error.what());
    return nullptr;
  }
}

void ClipMovie::writePicture(AVPacket& packet, AVRational timeBase) {
  packet.stream_index = 0;
  picturesEnd_ = std::max(picturesEnd_, static_cast<double>(packet.pts + packet.duration) * av_q2d(timeBase));
  movie_.write(packet, timeBase);
}

void ClipMovie::writeCopied(const std::vector<PacketPtr>& packets) {
  for (const PacketPtr& packet : packets) {
    const auto found = tracks_.find(packet->stream_index);
    if (found == tracks_.end()) continue;
    const Track& track = found->second;
    if (track.transcoder) {
      track.transcoder->write(*packet);
      track.transcoder->encode(soundEnd(), writerOf(track));
    } else {
      copy(track, *packet);
    }
  }
}

void ClipMovie::copy(const Track& track, const AVPacket& packet) {
  // The encoder's run-up of a sound track ends before the clip begins. Where a container has no negative times, it
  // would push all pictures back; but for Opus, whose run-up has a place of its own.
  const bool early = packet.pts != AV_NOPTS_VALUE && packet.pts < 0;
  const bool runUp = early && packet.pts + packet.duration <= 0;
  if (runUp && !delivery_.format->keepsNegativeTimes && track.codec != AV_CODEC_ID_OPUS) return;
  if (early && (carried_.fromInside || delivery_.format->startsAtZero)) return;
  const PacketPtr copy(av_packet_clone(&packet));
  if (!copy) throw std::bad_alloc();
  copy->stream_index = track.index;
  movie_.write(*copy, track.timeBase);
}

DeliverPacket ClipMovie::writerOf(const Track& track) {
  return [this, &track](AVPacket& packet) {
    packet.stream_index = track.index;
    movie_.write(packet, track.transcoder->timeBase());
  };
}

void ClipMovie::finish() {
  for (const auto& [stream, track] : tracks_) {
    if (!track.transcoder) continue;
    track.transcoder->finish(soundEnd(), writerOf(track));
    noteDamage(track);
  }
  movie_.finish();
}

void ClipMovie::noteDamage(const Track& track) {
  const std::int64_t lost = track.transcoder->undecodable();
  if (lost > 0) {
    sound_.notes.push_back(track.name + " is damaged: " + std::to_string(lost) + (lost == 1 ? " packet" : " packets") +
                           " could not be decoded and became silence");
  }
  if (track.transcoder->repeated() > 0) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f", track.transcoder->repeated());
    sound_.notes.push_back(track.name + " is damaged: its times jump back, and " + seconds +
                           " s that would sound twice at once are left out");
  }
}

}  // namespace kalvetra
