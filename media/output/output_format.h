// The kinds of file that can be written, as a table: codecs, containers, and which goes into which.
// media/output/delivery.h chooses among them.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/alpha_mode.h"
#include "media/picture.h"

namespace kalvetra {

using CodecOptions = std::vector<std::pair<std::string, std::string>>;

struct Encoder {
  const char* name;  // in libavcodec
  CodecOptions options{};
};

// How a codec holds deep pictures.
struct DeepSamples {
  int bits;                   // of a component
  AVPixelFormat pixelFormat;  // as of Codec
  AVPixelFormat opaquePixelFormat;
};

struct Codec {
  std::string slug;                 // on command lines: "prores4444"
  std::string what;                 // for people: "ProRes 4444"
  std::vector<Encoder> encoders;    // the first that is installed is used
  const char* decoder;              // that reads it back, alpha included
  AVPixelFormat pixelFormat;        // one that FramePacker makes
  AVPixelFormat opaquePixelFormat;  // for pictures without alpha; the same where the codec has no other
  std::vector<DeepSamples> deep{};  // other formats for deep pictures, bits ascending; none: the same
  bool floatPixels = false;         // bare floats, see media/pixels/float_pixels.h; the formats say how they are stored
  bool wholeFloats = false;         // samples in floating point are no halves
  std::vector<AlphaMode> alpha{};   // what such a file may carry, its default first; empty: it has no alpha
  std::vector<std::string> purposes{};  // it serves; the first codec of the table that serves one is its default
  bool usual = false;                   // endings or purposes choose it, so every installation should have it
  bool lossy = false;                   // colours come back changed
  bool pair = false;                    // has no alpha, but a second file beside it holds the matte
  double alphaTolerance = 0.0;          // mean absolute error of the alpha read back, in levels of 255; 0 for exact
  bool joins = true;                    // files that were encoded apart can be joined without encoding again
  bool wideAlpha = false;               // alpha of deep pictures is put into the packets in 16 bits
  bool keepsFields = false;             // says that pictures consist of two fields, and which comes first
  bool codesFieldsApart = false;        // needs to know of fields when it encodes
  int keyFrames = 128, keySeconds = 0;  // from one picture that stands alone to the next, in frames or in seconds
                                        // where these are set; for encoders that do not say
  std::optional<CodecOptions> tinyOptions{};  // the encoder's instead, for pictures below 4 pixels on a side
};

struct Container {
  std::vector<std::string> extensions;  // each with its dot, the usual one first; "-" is the standard output
  const char* muxer = nullptr;          // null: one file a picture
  const char* soundEncoder = nullptr;   // of sound that cannot be copied; null: keeps no sound
  bool bare = false;                    // pixels alone: what reads them has to be given their size and rate
  bool keepsDisplayMatrix = false;      // otherwise pictures are turned upright before they are written
  bool keepsTimecode = false;
  bool keepsNegativeTimes = false;  // otherwise what ends before the clip begins is left out
  bool startsAtZero = false;        // no packet may even begin before 0
  bool keepsColorTags = false;
  bool quickTimeLanguages = false;  // knows languages by QuickTime's codes alone
  CodecOptions muxerOptions{};
};

// A row of the table. A codec that goes into several containers has a row for each.
struct OutputFormat : Codec, Container {
  bool isPictures() const { return muxer == nullptr; }
  bool keepsSound() const { return soundEncoder != nullptr; }
  bool goesInto(const std::string& extension) const;
  const std::string& extension() const { return extensions.front(); }
};

// Every row; of those that share an extension, the default stands first.
const std::vector<OutputFormat>& outputFormats();

// The first row with that slug. It must be there.
const OutputFormat& outputFormatNamed(const std::string& slug);

}  // namespace kalvetra
