// What a clip is, and what the keyer will take it for.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/input/source_options.h"
#include "media/picture.h"
#include "media/probe/luma_statistics.h"

namespace kalvetra {

// Where a property comes from.
enum class Origin {
  Tagged,   // the file says it
  Guessed,  // the file does not say it
  Implied,  // the pixel format leaves no choice
};

struct Property {
  std::string value;
  Origin origin = Origin::Guessed;
};

enum class AlphaKind { None, Straight, Premultiplied, Unknown };

struct SoundStream {
  std::string codec;
  int channels = 0;
  int sampleRate = 0;  // Hz
};

struct ClipDescription {
  std::string path;
  std::string container;  // FFmpeg's name of the format
  std::string codec;
  int width = 0, height = 0;  // as stored
  std::string pixelFormat;
  int depth = 0;                                // bits a sample
  std::string chroma;                           // "4:2:0" and so on, "RGB" or "grey"
  Property matrix, range, primaries, transfer;  // FFmpeg's names
  std::optional<Property> chromaSiting;         // where chroma has fewer samples than luma
  AlphaKind alpha = AlphaKind::None;
  std::string alphaReason;      // how it is known; empty without alpha
  bool dividedByAlpha = false;  // its colours are made straight when they are read
  FieldOrder fieldOrder = FieldOrder::Unknown;
  int rotation = 0;  // degrees clockwise, 0, 90, 180 or 270
  AVRational pixelAspect{1, 1};
  AVRational frameRate{25, 1};
  bool variableRate = false;
  std::optional<double> seconds;
  std::optional<std::int64_t> frames;
  bool framesCounted = false;  // by the file; else they follow from its duration
  std::string timecode;        // empty without one
  std::vector<SoundStream> sound;
  bool still = false;
  bool intraOnly = false;
  int keyInterval = 0;                 // most pictures from one key picture to the next; 0 when not seen
  std::optional<double> bitsPerPixel;  // of the video, on average
  RangeDoubt rangeDoubt = RangeDoubt::None;
  bool holdsLevels = false;        // floats of 0..255, see float_levels.h
  std::string gaps;                // of an image sequence, as a sentence
  std::string jumps;               // of its clock, as a sentence
  std::int64_t damagedFrames = 0;  // among those looked at
};

// Looks at the headers, at the first pictures and, where the source can be searched, at some from all over. Throws
// UserError like Reader, and when there is no picture to be read.
ClipDescription describeClip(const std::string& path, const SourceOptions& options, int threads,
                             const std::atomic<bool>& stop);

// What of this endangers a key, in 8 bits or at full depth: a sentence each.
std::vector<std::string> keyingRisks(const ClipDescription& clip, bool deep = false);

}  // namespace kalvetra
