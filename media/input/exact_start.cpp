#include "media/input/exact_start.h"

#include <optional>
#include <string_view>

namespace kalvetra {

namespace {

// Looks at the boxes of the file's top level: those of a fragment are named moof.
bool hasFragments(AVIOContext* file) {
  const std::int64_t size = avio_size(file);
  constexpr std::int64_t kHeader = 8;
  for (std::int64_t at = 0; at + kHeader <= size;) {
    if (avio_seek(file, at, SEEK_SET) < 0) return true;
    std::int64_t length = avio_rb32(file);
    if (avio_rl32(file) == MKTAG('m', 'o', 'o', 'f')) return true;
    if (length == 1) length = static_cast<std::int64_t>(avio_rb64(file));
    if (length < kHeader || length > size - at) return false;  // 0: the box goes on to the file's end
    at += length;
  }
  return false;
}

}  // namespace

bool goToExactStart(AVFormatContext& container) {
  const bool isIndexed = std::string_view(container.iformat->name).find("mp4") != std::string_view::npos;
  if (!isIndexed || (container.pb->seekable & AVIO_SEEKABLE_NORMAL) == 0 || hasFragments(container.pb)) return false;
  // The other streams are sought by what is found in one: in the one that begins first.
  const AVStream* first = nullptr;
  std::int64_t start = 0;
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    const AVIndexEntry* entry = avformat_index_get_entry(container.streams[i], 0);
    if (entry == nullptr) continue;
    if (first == nullptr || av_compare_ts(entry->timestamp, stream.time_base, start, first->time_base) < 0) {
      first = &stream;
      start = entry->timestamp;
    }
  }
  // One before it: then its first packet is found, be it a key or not.
  return first != nullptr && av_seek_frame(&container, first->index, start - 1, AVSEEK_FLAG_BACKWARD) >= 0;
}

}  // namespace kalvetra
