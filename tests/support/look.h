// The look: reference frames with settings, and the hashes of what the keyer makes of them. Every way to the keyer is
// held to the same hashes.
#pragma once

#include <string>
#include <vector>

#include "engine/key_settings.h"
#include "sample/test_images.h"

namespace kalvetra::test {

struct LookFrame {
  std::string line;     // as the reference file has it
  std::string picture;  // its name
  int width;
  int height;
  std::string preset;  // the text of a preset with all of its settings
  KeySettings settings;
  std::string hash;  // of the keyed frame in host order
};

struct LookReference {
  int look;  // version
  std::vector<LookFrame> frames;
};

// Read once, from tests/data/look.json.
const LookReference& lookReference();

// The names of all pictures that frames can show.
std::vector<std::string> lookPictures();

// The frame's picture before keying, packed, in host order.
Bytes drawn(const LookFrame& frame);

std::string lookHash(const Bytes& keyed);

// The reference file's text with other hashes, one for each frame, and the engine's own look version.
std::string lookFile(const std::vector<std::string>& hashes);

}  // namespace kalvetra::test
