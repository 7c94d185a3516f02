#include "media/input/picture_index.h"

#include <algorithm>

#include "media/input/reader.h"

namespace kalvetra {

namespace {

struct Place {
  std::int64_t time;
  bool key;
};

// Packets of VP8 may hold pictures that are never shown.
bool showsEveryPacket(AVCodecID codec) { return codec != AV_CODEC_ID_VP8; }

bool growStrictly(const std::vector<Place>& places) {
  return std::adjacent_find(places.begin(), places.end(),
                            [](const Place& a, const Place& b) { return a.time >= b.time; }) == places.end();
}

}  // namespace

PictureIndex indexPictures(const std::string& path, const SourceOptions& options, std::int64_t firstTime,
                           const std::atomic<bool>& stop) {
  Reader reader(path, options, 1, stop);
  PictureIndex index;
  std::vector<Place> places;
  bool timed = true;
  const auto add = [&](std::int64_t time, bool key) {
    ++index.pictures;
    if (time >= firstTime) places.push_back({time, key});
  };
  if (const std::vector<int> numbers = reader.sequenceNumbers(); !numbers.empty()) {
    for (const int number : numbers) add(number - numbers.front(), true);
  } else {
    for (PacketPtr packet; !stop && reader.nextPacket(packet);) {
      if ((packet->flags & AV_PKT_FLAG_DISCARD) != 0) continue;  // cut off by an edit list
      timed = timed && packet->pts != AV_NOPTS_VALUE;
      add(packet->pts, (packet->flags & AV_PKT_FLAG_KEY) != 0);
    }
  }
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) { return a.time < b.time; });
  for (const Place& place : places) {
    if (place.key) index.keys.push_back(static_cast<std::int64_t>(index.times.size()));
    index.times.push_back(place.time);
  }
  index.reliable = !stop && !reader.jumped() && timed && growStrictly(places) && !places.empty() &&
                   places.front().time == firstTime && showsEveryPacket(reader.video().codecpar->codec_id);
  return index;
}

}  // namespace kalvetra
