// The whole keyer once more, plainly: in double precision, with the standard library's functions, nothing rounded on
// the way. What the deep lane is held to. Of the engine it has the records alone: settings, geometry, weights.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "engine/key_settings.h"
#include "engine/render.h"

namespace kalvetra::judge {

// Red, green, blue, alpha: straight, in levels. 0 is black or clear, 255 nominal white or opaque; colours may lie
// outside.
using Pixel = std::array<double, 4>;

struct Picture {
  Picture(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
  Pixel& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + x]; }
  const Pixel& at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }
  // Calls visit(x, y, pixel), row by row.
  template <class Visit>
  void forEach(const Visit& visit) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) visit(x, y, at(x, y));
    }
  }

  int width, height;
  std::vector<Pixel> pixels;
};

struct Options {
  Scan scan = Scan::Whole;
  const Picture* plate = nullptr;  // as RenderOptions has it
  bool keepsShadows = false;
  float noise = 0;  // of the plate, where shadows are kept
};

// Of all choices that the key made for a pixel, the one that came nearest to being made otherwise.
struct Tie {
  const char* choice;
  double distance;  // levels
};

struct Judgement {
  Picture view;           // settings.view
  std::vector<Tie> ties;  // one a pixel
};

// Of a frame of at least one pixel.
Judgement judged(const KeySettings& settings, const Picture& frame, const Options& options = {});

}  // namespace kalvetra::judge
