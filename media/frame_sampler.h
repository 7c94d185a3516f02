// A few pictures from all over a clip.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "media/picture.h"

namespace kalvetra {

// Shows `see` up to `count` pictures, evenly spread where the file can be searched, otherwise its first ones. Returns
// how many; 0 when none can be read. Throws UserError like Reader.
int sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop,
                 const std::function<void(const Image&)>& see);

// The picture that is shown at that time, in seconds from the start, turned upright. Throws UserError when the clip has
// ended by then. `number`, where given, receives how many pictures come before it.
Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop,
              std::int64_t* number = nullptr);

}  // namespace kalvetra
