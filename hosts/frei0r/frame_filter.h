// One filter in one place of a host's graph.
#pragma once

#include <cstdint>

#include "parameters/parameter_table.h"

namespace kalvetra {

// For one thread at a time; any number of them may work side by side.
class FrameFilter {
 public:
  // The size of every frame, 1..65535 on a side.
  FrameFilter(int width, int height) : width_(width), height_(height) {}

  KeySettings settings = defaultSettings();

  // Frames are packed, bytes red, green, blue, alpha, straight alpha; they may be one and the same. Throws
  // std::bad_alloc, and then has written nothing.
  void render(const std::uint32_t* input, std::uint32_t* output) const;
  // Hands the frame on as it is.
  void pass(const std::uint32_t* input, std::uint32_t* output) const;

 private:
  int width_, height_;
};

}  // namespace kalvetra
