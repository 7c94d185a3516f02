#include "engine/backdrop_color.h"

#include <algorithm>
#include <cmath>

#include "engine/chroma_plane.h"

namespace kalvetra {

namespace {

constexpr double kGridPixels = 100000.0;
// Hues (pure green is 225 degrees) from yellowish to bluish greens; grass and foliage lie below, cyan above.
constexpr float kLowestHue = 205.0f, kHighestHue = 275.0f;
constexpr float kLeastSaturation = 25.0f;
constexpr double kLeastShare = 0.05;
constexpr float kReach = 20.0f;  // chroma distance within which a pixel is taken for backdrop, as in extraction
constexpr int kCells = 128;      // of 4 x 4 units, centred on grey

bool isGreen(const HLS& c) { return c.S >= kLeastSaturation && c.H >= kLowestHue && c.H <= kHighestHue; }

int cellOf(float v) { return std::clamp(static_cast<int>(std::floor(v / 4.0f)) + kCells / 2, 0, kCells - 1); }

float cellCenter(int cell) { return static_cast<float>((cell - kCells / 2) * 4 + 2); }

}  // namespace

void BackdropFinder::add(const unsigned char* argb, int width, int height) {
  CImagingZEP imaging;
  const double pixels = static_cast<double>(width) * height;
  const int step = std::max(1, static_cast<int>(std::sqrt(pixels / kGridPixels)));
  for (int y = step / 2; y < height; y += step) {
    for (int x = step / 2; x < width; x += step) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * width + x) * 4;
      if (p[0] < 128) continue;
      ++examined_;
      if (!isGreen(imaging.RGBtoHLS(p[1], p[2], p[3]))) continue;
      const YIQ color = imaging.RGBtoYIQ2(p[1], p[2], p[3]);
      green_.push_back({{p[1], p[2], p[3]}, color.I, color.Q});
    }
  }
}

// Centre of the fullest block of 3 x 3 cells of the chroma plane.
YIQ BackdropFinder::densestChroma() const {
  std::vector<int> cells(std::size_t{kCells} * kCells);
  const auto at = [&](int i, int q) -> int& { return cells[static_cast<std::size_t>(i * kCells + q)]; };
  for (const Pixel& p : green_) ++at(cellOf(p.I), cellOf(p.Q));
  int most = -1;
  YIQ best{};
  for (int i = 1; i < kCells - 1; ++i) {
    for (int q = 1; q < kCells - 1; ++q) {
      int count = 0;
      for (int di = -1; di <= 1; ++di) {
        for (int dq = -1; dq <= 1; ++dq) count += at(i + di, q + dq);
      }
      if (count <= most) continue;
      most = count;
      best = {0.0f, cellCenter(i), cellCenter(q)};
    }
  }
  return best;
}

std::optional<BackdropColor> BackdropFinder::find(double* share) const {
  Chroma center = chromaOf(densestChroma());
  double sums[3] = {};
  std::size_t count = 0;
  for (int round = 0; round < 3; ++round) {  // a few steps towards the mean settle it on the cluster
    double i = 0.0, q = 0.0;
    std::fill_n(sums, 3, 0.0);
    count = 0;
    for (const Pixel& p : green_) {
      if (length(Chroma{p.I, p.Q} - center) > kReach) continue;
      for (int c = 0; c < 3; ++c) sums[c] += p.rgb[c];
      i += static_cast<double>(p.I);
      q += static_cast<double>(p.Q);
      ++count;
    }
    if (count == 0) break;
    center = {static_cast<float>(i / static_cast<double>(count)), static_cast<float>(q / static_cast<double>(count))};
  }
  const double found = examined_ == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(examined_);
  if (share != nullptr) *share = found;
  if (count == 0 || found < kLeastShare) return std::nullopt;
  const auto mean = [&](int c) { return static_cast<unsigned char>(sums[c] / static_cast<double>(count) + 0.5); };
  return BackdropColor{mean(0), mean(1), mean(2), count, examined_};
}

}  // namespace kalvetra
