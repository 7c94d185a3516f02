#pragma once

#include <string>

#include "media/ffmpeg.h"

namespace kalvetra {

// The timecode of a clip's first picture, as its file has it: a tag of the picture stream, of the file, or of a stream
// of its own. Empty without one.
std::string timecodeOf(const AVFormatContext& container, const AVStream& video);

}  // namespace kalvetra
