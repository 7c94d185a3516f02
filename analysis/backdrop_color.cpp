#include "analysis/backdrop_color.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "analysis/formatted_text.h"
#include "engine/chroma_plane.h"

namespace kalvetra {

namespace {

constexpr double kGridPixels = 100000.0;
// Hues (pure green is 225 degrees) from yellowish to bluish greens; grass and foliage lie below, cyan above.
constexpr float kLowestHue = 198.0f, kHighestHue = 285.0f;
constexpr float kLeastSaturation = 25.0f;
constexpr double kLeastShare = 0.05;
constexpr double kSureShare = 0.25;   // from which on a larger share makes the find no surer
constexpr float kReach = 20.0f;       // chroma distance within which a pixel is taken for backdrop, as in extraction
constexpr int kCells = 128;           // of 4 x 4 units, centred on grey
constexpr int kRegions = 8;           // a side
constexpr double kLeastRegion = 0.1;  // of the pixels of an average region, for its light to count

bool isGreen(const HLS& c) { return c.S >= kLeastSaturation && c.H >= kLowestHue && c.H <= kHighestHue; }

int cellOf(float v) { return std::clamp(static_cast<int>(std::floor(v / 4.0f)) + kCells / 2, 0, kCells - 1); }

float cellCenter(int cell) { return static_cast<float>((cell - kCells / 2) * 4 + 2); }

double deviation(double sum, double squares, double count) {
  return std::sqrt(std::max(squares / count - (sum / count) * (sum / count), 0.0));
}

// The mean of `count` pixels from their sums of colours, and of luminance and chroma with their squares.
MeasuredColor measured(const std::array<double, 3>& rgb, const std::array<double, 3>& yiq,
                       const std::array<double, 3>& squares, std::size_t pixels) {
  const auto count = static_cast<double>(pixels);
  const auto mean = [&](std::size_t c) { return static_cast<unsigned char>(rgb[c] / count + 0.5); };
  const double chroma = std::hypot(deviation(yiq[1], squares[1], count), deviation(yiq[2], squares[2], count));
  return {mean(0), mean(1), mean(2), pixels, deviation(yiq[0], squares[0], count), chroma};
}

std::array<double, 3> asArray(const YIQ& c) {
  return {static_cast<double>(c.Y), static_cast<double>(c.I), static_cast<double>(c.Q)};
}

std::string describe(const BackdropColor& color) {
  const double share = 100.0 * static_cast<double>(color.pixels) / static_cast<double>(color.examined);
  const char* light = color.unevenness < 10   ? "evenly lit"
                      : color.unevenness < 30 ? "a little unevenly lit"
                                              : "unevenly lit";
  const char* others =
      color.confidence < 0.7 ? "other greens compete with it or it is small" : "no other green competes with it";
  char text[200];
  std::snprintf(text, sizeof text, "%.0f %% of the picture is of about this green, %s, and %s.", share, light, others);
  return text;
}

}  // namespace

// The green pixels within reach of one chroma.
struct BackdropFinder::Cluster {
  Chroma center{};
  std::array<double, 3> rgb{}, yiq{}, squares{};
  std::size_t count = 0;
  bool holds(const Pixel& p) const { return length(chromaOf(p.color) - center) <= kReach; }
};

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
      const auto region = static_cast<unsigned char>(std::int64_t{y} * kRegions / height * kRegions +
                                                     std::int64_t{x} * kRegions / width);
      green_.push_back({{p[1], p[2], p[3]}, region, imaging.RGBtoYIQ2(p[1], p[2], p[3])});
    }
  }
}

// Centre of the fullest block of 3 x 3 cells of the chroma plane.
YIQ BackdropFinder::densestChroma() const {
  std::vector<int> cells(std::size_t{kCells} * kCells);
  const auto at = [&](int i, int q) -> int& { return cells[static_cast<std::size_t>(i * kCells + q)]; };
  for (const Pixel& p : green_) ++at(cellOf(p.color.I), cellOf(p.color.Q));
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

// A few steps from the densest place towards the mean around it.
BackdropFinder::Cluster BackdropFinder::settle() const {
  Cluster cluster;
  cluster.center = chromaOf(densestChroma());
  for (int round = 0; round < 3; ++round) {
    Cluster next;
    for (const Pixel& p : green_) {
      if (!cluster.holds(p)) continue;
      const std::array<double, 3> yiq = asArray(p.color);
      for (std::size_t c = 0; c < 3; ++c) {
        next.rgb[c] += p.rgb[c];
        next.yiq[c] += yiq[c];
        next.squares[c] += yiq[c] * yiq[c];
      }
      ++next.count;
    }
    if (next.count == 0) return next;
    const auto count = static_cast<double>(next.count);
    next.center = {static_cast<float>(next.yiq[1] / count), static_cast<float>(next.yiq[2] / count)};
    cluster = next;
  }
  return cluster;
}

double BackdropFinder::unevennessOf(const Cluster& cluster) const {
  std::array<double, kRegions * kRegions> sums{}, counts{};
  for (const Pixel& p : green_) {
    if (!cluster.holds(p)) continue;
    sums[p.region] += static_cast<double>(p.color.Y);
    counts[p.region] += 1.0;
  }
  const double least = kLeastRegion * static_cast<double>(examined_) / (kRegions * kRegions);
  double darkest = 255.0, brightest = 0.0;
  for (std::size_t r = 0; r < sums.size(); ++r) {
    if (counts[r] < std::max(least, 1.0)) continue;
    darkest = std::min(darkest, sums[r] / counts[r]);
    brightest = std::max(brightest, sums[r] / counts[r]);
  }
  return brightest > darkest ? 100.0 * (brightest - darkest) / brightest : 0.0;
}

std::string noBackdropText(double share) {
  return formattedText(
      "no green backdrop found (only %.1f %% of the picture is of one green, %.0f %% must be); name its colour",
      share * 100.0, kLeastShare * 100.0);
}

std::optional<BackdropColor> BackdropFinder::find(double* share) const {
  const Cluster cluster = settle();
  const double found = examined_ == 0 ? 0.0 : static_cast<double>(cluster.count) / static_cast<double>(examined_);
  if (share != nullptr) *share = found;
  if (cluster.count == 0 || found < kLeastShare) return std::nullopt;
  const double agreement = static_cast<double>(cluster.count) / static_cast<double>(green_.size());
  BackdropColor color{measured(cluster.rgb, cluster.yiq, cluster.squares, cluster.count),
                      examined_,
                      agreement * std::min(found / kSureShare, 1.0),
                      unevennessOf(cluster),
                      {}};
  color.reason = describe(color);
  return color;
}

void AreaMean::add(const unsigned char* argb, int frameWidth, const Area& area) {
  CImagingZEP imaging;
  for (int y = area.top; y < area.top + area.height; ++y) {
    for (int x = area.left; x < area.left + area.width; ++x) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * frameWidth + x) * 4;
      const std::array<double, 3> yiq = asArray(imaging.RGBtoYIQ2(p[1], p[2], p[3]));
      for (std::size_t c = 0; c < 3; ++c) {
        sums_[c] += p[c + 1];
        yiqSums_[c] += yiq[c];
        yiqSquares_[c] += yiq[c] * yiq[c];
      }
      ++pixels_;
    }
  }
}

std::optional<MeasuredColor> AreaMean::mean() const {
  if (pixels_ == 0) return std::nullopt;
  return measured(sums_, yiqSums_, yiqSquares_, pixels_);
}

}  // namespace kalvetra
