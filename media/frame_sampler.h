// A few pictures from all over a clip.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "media/picture.h"

namespace kalvetra {

// Up to `count` pictures, evenly spread where the file can be searched, otherwise its first ones. Empty when none can
// be read. Throws UserError like Reader.
std::vector<Image> sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop);

// The picture that is shown at that time, in seconds from the start, turned upright. Throws UserError when the clip has
// ended by then.
Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop);

}  // namespace kalvetra
