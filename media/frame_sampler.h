// A few pictures from all over a clip.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "media/picture.h"
#include "media/reader.h"

namespace kalvetra {

// Shows `see` up to `count` pictures, evenly spread where the file can be searched, otherwise its first ones. Returns
// how many; 0 when none can be read. Throws UserError like Reader, and for the standard input, which could not be read
// a second time.
int sampleFrames(const std::string& path, const SourceOptions& source, int count, int threads,
                 const std::atomic<bool>& stop, const std::function<void(const Image&)>& see);
inline int sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop,
                        const std::function<void(const Image&)>& see) {
  return sampleFrames(path, {}, count, threads, stop, see);
}

// The picture that is shown at that time, in seconds from the start. Throws UserError when the clip has ended by then.
// `number`, where given, receives how many pictures come before it.
SourceFrame frameShownAt(Reader& reader, double seconds, const std::atomic<bool>& stop, std::int64_t* number = nullptr);

// Likewise, converted and turned upright.
Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop);

}  // namespace kalvetra
