#include "preview/clip/chroma_wheel.h"

#include <algorithm>
#include <cmath>

namespace kalvetra {

namespace {

constexpr double kMostPixels = 200000;
constexpr int kColumns = 16, kRows = 9;

// In host order.
Chroma chromaAt(const unsigned char* argb) { return chromaOf(CImagingZEP().RGBtoYIQ2(argb[1], argb[2], argb[3])); }

int binOf(float value) {
  const double place = (static_cast<double>(value) / ChromaBins::kReach + 1.0) / 2.0 * ChromaBins::kSide;
  return std::clamp(static_cast<int>(place), 0, ChromaBins::kSide - 1);
}

}  // namespace

ChromaBins binChroma(const Image& picture) {
  ChromaBins all;
  const double pixels = static_cast<double>(picture.width) * picture.height;
  const int step = std::max(1, static_cast<int>(std::lround(std::sqrt(pixels / kMostPixels))));
  for (int y = step / 2; y < picture.height; y += step) {
    for (int x = step / 2; x < picture.width; x += step) {
      const unsigned char* pixel = picture.row(y) + std::ptrdiff_t{4} * x;
      if (pixel[0] == 0) continue;
      const Chroma c = chromaAt(pixel);
      const int row = ChromaBins::kSide - 1 - binOf(c.Q);
      ChromaBins::Bin& bin = all.bins[static_cast<std::size_t>(row * ChromaBins::kSide + binOf(c.I))];
      ++bin.pixels;
      bin.red += pixel[1];
      bin.green += pixel[2];
      bin.blue += pixel[3];
    }
  }
  return all;
}

std::vector<Chroma> sparseChroma(const Image& plate) {
  std::vector<Chroma> all;
  for (int row = 0; row < kRows; ++row) {
    for (int column = 0; column < kColumns; ++column) {
      const int x = (2 * column + 1) * plate.width / (2 * kColumns), y = (2 * row + 1) * plate.height / (2 * kRows);
      all.push_back(chromaAt(plate.row(y) + std::ptrdiff_t{4} * x));
    }
  }
  return all;
}

}  // namespace kalvetra
