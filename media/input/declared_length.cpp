#include "media/input/declared_length.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <string_view>

namespace kalvetra {

namespace {

bool isA(const AVFormatContext& container, const char* demuxer) {
  return std::string_view(container.iformat->name).find(demuxer) != std::string_view::npos;
}

struct Index {
  std::int64_t packets = 0, shown = 0;
  std::int64_t end = 0;  // in the stream's time base
};

// An edit list leaves some pictures out and marks others, which only serve decoding, as not to be shown.
Index indexOf(const AVStream& video, std::int64_t pictureDuration) {
  auto& stream = const_cast<AVStream&>(video);  // FFmpeg's look at the index changes nothing
  Index index;
  index.packets = avformat_index_get_entries_count(&stream);
  for (int i = 0; i < index.packets; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream, i);
    if ((entry.flags & AVINDEX_DISCARD_FRAME) == 0) ++index.shown;
    index.end = std::max(index.end, entry.timestamp + pictureDuration);
  }
  return index;
}

// A file in fragments has an index for each of them, and they may not all be known before they are read.
bool isWhole(const Index& index, const InputFile& file, const AVStream& video, std::int64_t pictureDuration) {
  if (!file.isFragmented) return true;
  const bool seekable = (file.container->pb->seekable & AVIO_SEEKABLE_NORMAL) != 0;
  return seekable && index.end + pictureDuration >= video.duration;
}

// Matroska says only how long its longest stream is; a tag may say it of each. 0 where the video has none.
std::int64_t taggedDuration(const AVFormatContext& container) {
  std::int64_t longest = 0;
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    const AVDictionaryEntry* tag = av_dict_get(stream.metadata, "DURATION", nullptr, AV_DICT_IGNORE_SUFFIX);
    std::int64_t duration = 0;
    if (stream.discard == AVDISCARD_ALL) continue;
    if (tag == nullptr || av_parse_time(&duration, tag->value, 1) < 0) return 0;
    longest = std::max(longest, duration);
  }
  return longest;
}

}  // namespace

bool leavesOutVideo(const AVFormatContext& container) {
  return std::any_of(container.streams, container.streams + container.nb_streams, [](const AVStream* s) {
    return s->discard == AVDISCARD_ALL && (s->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
  });
}

// Matroska counts from 0, wherever the clip starts.
std::int64_t clipDuration(const AVFormatContext& container) {
  if (!isA(container, "matroska")) return std::max<std::int64_t>(container.duration, 0);
  const std::int64_t tagged = leavesOutVideo(container) ? taggedDuration(container) : 0;
  const std::int64_t end = tagged > 0 ? tagged : std::max<std::int64_t>(container.duration, 0);  // unknown is below 0
  const std::int64_t start = container.start_time == AV_NOPTS_VALUE ? 0 : container.start_time;
  return std::max<std::int64_t>(end - std::max<std::int64_t>(start, 0), 0);
}

// Only MP4 and QuickTime count their pictures reliably.
DeclaredLength declaredLength(const InputFile& file, const AVStream& video, AVRational frameRate) {
  const AVFormatContext& container = *file.container;
  DeclaredLength length;
  const std::int64_t duration = clipDuration(container);
  if (isA(container, "mp4")) {
    const std::int64_t picture = av_rescale_q(1, av_inv_q(frameRate), video.time_base);
    const Index index = indexOf(video, picture);
    if (!isWhole(index, file, video, picture)) return length;
    length.packets = index.packets;
    length.expected = index.shown;
  } else {
    length.expected = video.nb_frames;
    const bool stated = container.duration_estimation_method == AVFMT_DURATION_FROM_STREAM;
    const bool ofOthers = isA(container, "matroska") && leavesOutVideo(container) && taggedDuration(container) == 0;
    if (stated && !ofOthers) length.duration = duration;
  }
  length.isCounted = length.expected > 0;
  if (!length.isCounted) length.expected = av_rescale_q(duration, av_make_q(1, AV_TIME_BASE), av_inv_q(frameRate));
  return length;
}

}  // namespace kalvetra
