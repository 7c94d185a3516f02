#include "jobs/picture_errors.h"

#include <algorithm>
#include <cstdlib>

#include "media/pixels/luma_weights.h"
#include "media/pixels/picture_depth.h"

namespace kalvetra {

namespace {

// Levels by which straight and premultiplied colours must differ: dark ones hardly do, and a lossy codec errs by more.
constexpr int kTellingLevels = 24;

double weighted(double red, double green, double blue) {
  return kBt709Weights.red * red + (1.0 - kBt709Weights.red - kBt709Weights.blue) * green + kBt709Weights.blue * blue;
}

double luma(const unsigned char* argb) { return weighted(argb[1], argb[2], argb[3]); }
double luma(const float* rgba) { return 255.0 * weighted(double{rgba[0]}, double{rgba[1]}, double{rgba[2]}); }
double alpha(const unsigned char* argb) { return argb[0]; }
double alpha(const float* rgba) { return 255.0 * double{rgba[3]}; }

// Mean absolute difference of what `level` makes of each pixel.
template <class Level>
double meanError(const Image& keyed, const Image& read, Level level) {
  double sum = 0.0;
  for (int y = 0; y < keyed.height; ++y) {
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{4} * keyed.width; i += 4) {
      sum += keyed.isDeep() ? std::abs(level(keyed.floats(y) + i) - level(read.floats(y) + i))
                            : std::abs(level(keyed.row(y) + i) - level(read.row(y) + i));
    }
  }
  return sum / (static_cast<double>(keyed.width) * keyed.height);
}

}  // namespace

double brightnessError(const Image& keyed, const Image& read) {
  return meanError(keyed, read, [](const auto* pixel) { return luma(pixel); });
}

double alphaError(const Image& keyed, const Image& read) {
  return meanError(keyed, read, [](const auto* pixel) { return alpha(pixel); });
}

void forgetHiddenColors(Image& keyed, const Image& read) {
  for (int y = 0; y < keyed.height; ++y) {
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{4} * keyed.width; i += 4) {
      if (keyed.isDeep()) {
        if (keyed.floats(y)[i + 3] == 0.0f) std::copy_n(read.floats(y) + i, 3, keyed.floats(y) + i);
      } else if (keyed.row(y)[i] == 0) {
        std::copy_n(read.row(y) + i + 1, 3, keyed.row(y) + i + 1);
      }
    }
  }
}

void addErrors(const Image& keyed, const Image& read, ColorErrors& errors) {
  if (keyed.isDeep()) return addErrors(narrowed(keyed, false), narrowed(read, false), errors);
  for (std::size_t i = 0; i < keyed.bytes.size(); i += 4) {
    const int share = keyed.bytes[i];
    if (share < 32 || share > 192) continue;
    for (std::size_t c = i + 1; c < i + 4; ++c) {
      const int straight = keyed.bytes[c], premultiplied = (straight * share + 127) / 255;
      if (straight - premultiplied < kTellingLevels) continue;
      errors.straight += std::abs(read.bytes[c] - straight);
      errors.premultiplied += std::abs(read.bytes[c] - premultiplied);
      ++errors.values;
    }
  }
}

}  // namespace kalvetra
