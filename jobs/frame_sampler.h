// A few pictures from all over a clip, as the keyer gets them.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "media/input/reader.h"
#include "media/picture.h"

namespace kalvetra {

// Opens a clip that is to be looked at. Throws UserError like Reader, and for the standard input, which could not be
// read a second time.
Reader openForSamples(const std::string& path, const SourceOptions& source, int threads, const std::atomic<bool>& stop);

// Shows `see` up to `count` pictures, evenly spread where the file can be searched, otherwise its first ones. They are
// converted as the clip says, whatever the user chooses of its keying, so that the same is found in it for every key.
// Returns how many; 0 when none can be read. Leaves the clip anywhere; rewind() takes it back to its start. Throws
// UserError like Reader, and for the standard input.
int sampleFrames(Reader& clip, int count, const std::atomic<bool>& stop, const std::function<void(const Image&)>& see);

}  // namespace kalvetra
