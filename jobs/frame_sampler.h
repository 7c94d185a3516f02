// A few pictures from all over a clip, as the keyer gets them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "media/input/source_options.h"
#include "media/picture.h"

namespace kalvetra {

// Throws UserError for the standard input, which could not be read a second time.
void refuseStandardInput(const std::string& path);

// Shows `see` up to `count` pictures, evenly spread where the file can be searched, otherwise its first ones. Returns
// how many; 0 when none can be read. Throws UserError like Reader, and for the standard input.
int sampleFrames(const std::string& path, const SourceOptions& source, int count, int threads,
                 const std::atomic<bool>& stop, const std::function<void(const Image&)>& see);
inline int sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop,
                        const std::function<void(const Image&)>& see) {
  return sampleFrames(path, {}, count, threads, stop, see);
}

}  // namespace kalvetra
