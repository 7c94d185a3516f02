// When the pictures of a clip are shown, and from which of them decoding can begin.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "media/input/source_options.h"

namespace kalvetra {

struct PictureIndex {
  std::vector<std::int64_t> times;  // as SourceFrame has them, by number: they grow strictly
  std::vector<std::int64_t> keys;   // numbers of the key pictures, ascending
  std::int64_t pictures = 0;        // packets of pictures; an estimate where the index is not reliable
  // Every picture has a time of its own, which the file can be searched by, and every packet is one picture. Damaged
  // clips, of which pictures cannot be decoded, may still be numbered otherwise.
  bool reliable = false;
};

// Reads the whole file, without decoding it. `firstTime` is that of the first picture that the decoder delivers: what
// lies before it cannot be shown. Once `stop` is true the index comes back unreliable. Throws UserError like Reader.
PictureIndex indexPictures(const std::string& path, const SourceOptions& options, std::int64_t firstTime,
                           const std::atomic<bool>& stop);

}  // namespace kalvetra
