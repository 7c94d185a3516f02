// The kinds of file that can be written, chosen by the output's name.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "media/picture.h"

namespace kalvetra {

struct OutputFormat {
  std::string extension;  // with its dot
  std::string what;       // for people
  const char* muxer;      // null: one file a picture
  const char* encoder;
  AVPixelFormat pixelFormat;
  std::vector<std::pair<std::string, std::string>> options;  // of the encoder
  bool keepsDisplayMatrix;  // otherwise pictures are turned upright before they are written
  bool keepsTimecode;
  bool keepsNegativeTimes;
};

// Every kind of keyed output.
const std::vector<OutputFormat>& outputFormats();

// The format for that name. Throws UserError, naming the known ones, when the name fits none.
const OutputFormat& outputFormatFor(const std::string& path);

// H.264 in MP4, without alpha: for the demonstration clip only.
const OutputFormat& demonstrationFormat();

}  // namespace kalvetra
