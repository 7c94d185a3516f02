// What the user states about a source, because its files do not.
#pragma once

#include <optional>

#include "media/input/raw_pictures.h"

namespace kalvetra {

struct SourceOptions {
  std::optional<RawPictures> raw;  // the source is bare pictures, one after the other
  AVRational sequenceRate{25, 1};  // pictures a second of an image sequence
};

// The name that stands for the standard input.
inline constexpr const char* kStandardInput = "-";

}  // namespace kalvetra
