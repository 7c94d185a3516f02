// How keyed pictures become planes, where a pixel format leaves a choice.
#pragma once

namespace kalvetra {

struct PackingOptions {
  bool deep = false;   // the pictures are deep, and so are the planes where the format is
  bool halves = true;  // floats are written as half floats
  bool dither = true;  // colours of deep pictures are spread over the fixed pattern in formats of 8 bits
};

}  // namespace kalvetra
