// The kinds of file that can be written. media/output/delivery.h chooses among them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "media/alpha_mode.h"
#include "media/picture.h"

namespace kalvetra {

using CodecOptions = std::vector<std::pair<std::string, std::string>>;

// One codec in one container. A codec that goes into several containers has a row for each.
struct OutputFormat {
  std::string slug;                     // of the codec, on command lines: "prores4444"
  std::string what;                     // for people: "ProRes 4444"
  std::vector<std::string> extensions;  // each with its dot, the usual one first; "-" is the standard output
  const char* muxer;                    // null: one file a picture
  const char* encoder;
  AVPixelFormat pixelFormat;
  AVPixelFormat opaquePixelFormat;  // for pictures without alpha; the same where the codec has no other
  CodecOptions options;             // of the encoder
  std::vector<AlphaMode> alpha;     // what such a file may carry, its default first; empty: it has no alpha
  bool lossy = false;               // colours come back changed
  bool pair = false;                // has no alpha, but a second file beside it holds the matte
  double alphaTolerance = 0.0;      // mean absolute error of the alpha read back, in levels of 255; 0 for exact
  bool bare = false;                // pixels alone: what reads them must be told their size and rate
  bool keepsDisplayMatrix = false;  // otherwise pictures are turned upright before they are written
  bool keepsTimecode = false;
  bool keepsNegativeTimes = false;  // otherwise what ends before the clip begins is left out
  bool startsAtZero = false;        // no packet may even begin before 0
  bool keepsSound = false;
  const char* soundEncoder = nullptr;  // of sound that cannot be copied; set where sound is kept
  bool keepsColorTags = false;
  bool keepsFields = false;  // says that pictures consist of two fields, and which comes first
  CodecOptions muxerOptions{};

  bool isPictures() const { return muxer == nullptr; }
  bool goesInto(const std::string& extension) const;
  const std::string& extension() const { return extensions.front(); }
};

// Every row; of those that share an extension, the default stands first.
const std::vector<OutputFormat>& outputFormats();

// The path's extension in lower case, with its dot; empty when it has none, "-" for the standard output.
std::string extensionOf(const std::string& path);

// The first row with that slug. It must be there.
const OutputFormat& outputFormatNamed(const std::string& slug);

}  // namespace kalvetra
