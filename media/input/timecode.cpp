#include "media/input/timecode.h"

#include <vector>

namespace kalvetra {

std::string timecodeOf(const AVFormatContext& container, const AVStream& video) {
  std::vector<const AVDictionary*> places{video.metadata, container.metadata};
  for (unsigned int i = 0; i < container.nb_streams; ++i) places.push_back(container.streams[i]->metadata);
  for (const AVDictionary* place : places) {
    const AVDictionaryEntry* entry = av_dict_get(place, "timecode", nullptr, 0);
    if (entry != nullptr) return entry->value;
  }
  return {};
}

}  // namespace kalvetra
