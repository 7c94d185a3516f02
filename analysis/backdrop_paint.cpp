#include "analysis/backdrop_paint.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace kalvetra::paint {

namespace {

constexpr double kGridPixels = 100000.0;
constexpr int kRimParts = 50;    // the rim is as wide as one of them of the picture's shorter side
constexpr int kBlack = 24;       // a level that no channel of a bar lies above
constexpr int kNearParts = 100;  // the pixels that roughness is measured to lie as far as one of them
constexpr int kNoiseLevels = 4;  // between two pixels, not counted as roughness
constexpr float kLeastSaturation = 25.0f;
constexpr float kReach = 20.0f;  // chroma distance within which a pixel is taken for backdrop, as in extraction
constexpr int kCells = 128;      // of 4 x 4 units, centred on grey

int cellOf(float v) { return std::clamp(static_cast<int>(std::floor(v / 4.0f)) + kCells / 2, 0, kCells - 1); }

float cellCenter(int cell) { return static_cast<float>((cell - kCells / 2) * 4 + 2); }

int lumaOf(const unsigned char* argb) { return (argb[1] * 77 + argb[2] * 150 + argb[3] * 29) >> 8; }

unsigned char roughness(const unsigned char* pixel, const unsigned char* left, const unsigned char* above) {
  const int luma = lumaOf(pixel);
  const int step = std::max(std::abs(luma - lumaOf(left)), std::abs(luma - lumaOf(above))) - kNoiseLevels;
  return static_cast<unsigned char>(std::clamp(100 * step / std::max(luma, 32), 0, 255));
}

// The picture without black bars around it, in steps of the grid; the whole of a black picture.
Area withoutBars(const unsigned char* argb, int width, int height, int step) {
  int left = width, right = 0, top = height, bottom = 0;
  for (int y = step / 2; y < height; y += step) {
    for (int x = step / 2; x < width; x += step) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * width + x) * 4;
      if (std::max({p[1], p[2], p[3]}) <= kBlack) continue;
      left = std::min(left, x - step / 2);
      right = std::max(right, std::min(x - step / 2 + step, width));
      top = std::min(top, y - step / 2);
      bottom = std::max(bottom, std::min(y - step / 2 + step, height));
    }
  }
  if (right == 0) return {0, 0, width, height};
  return {left, top, right - left, bottom - top};
}

// Centre of the fullest block of 3 x 3 cells of the chroma plane.
Chroma densestChroma(const std::vector<const Point*>& points) {
  std::vector<int> cells(std::size_t{kCells} * kCells);
  const auto at = [&](int i, int q) -> int& { return cells[static_cast<std::size_t>(i * kCells + q)]; };
  for (const Point* p : points) ++at(cellOf(p->color.I), cellOf(p->color.Q));
  int most = -1;
  Chroma best{};
  for (int i = 1; i < kCells - 1; ++i) {
    for (int q = 1; q < kCells - 1; ++q) {
      int count = 0;
      for (int di = -1; di <= 1; ++di) {
        for (int dq = -1; dq <= 1; ++dq) count += at(i + di, q + dq);
      }
      if (count <= most) continue;
      most = count;
      best = {cellCenter(i), cellCenter(q)};
    }
  }
  return best;
}

float hueOf(const MeasuredColor& color) { return CImagingZEP().RGBtoHLS(color.red, color.green, color.blue).H; }

}  // namespace

void addPoints(const unsigned char* argb, int width, int height, Points& points) {
  CImagingZEP imaging;
  const double pixels = static_cast<double>(width) * height;
  const int step = std::max(1, static_cast<int>(std::sqrt(pixels / kGridPixels)));
  const Area shown = withoutBars(argb, width, height, step);
  const int near = std::max(step, std::min(width, height) / kNearParts);
  const int rim = std::max(step, std::min(shown.width, shown.height) / kRimParts);
  const auto pixelAt = [&](int x, int y) { return argb + (std::ptrdiff_t{y} * width + x) * 4; };
  for (int y = step / 2; y < height; y += step) {
    for (int x = step / 2; x < width; x += step) {
      const unsigned char* p = pixelAt(x, y);
      if (p[0] < 128) continue;
      const auto region = static_cast<unsigned char>(std::int64_t{y} * kRegions / height * kRegions +
                                                     std::int64_t{x} * kRegions / width);
      const int fromTop = y - shown.top, fromLeft = x - shown.left, fromRight = shown.left + shown.width - 1 - x;
      const bool outside = fromTop < 0 || fromLeft < 0 || fromRight < 0;
      const bool atSide = !outside && std::min(fromLeft, fromRight) < rim;
      const bool atRim = !outside && (fromTop < rim || (atSide && fromTop < shown.height / 2));
      const HLS hls = imaging.RGBtoHLS(p[1], p[2], p[3]);
      points.all.push_back({{p[1], p[2], p[3]},
                            region,
                            roughness(p, pixelAt(std::max(x - near, 0), y), pixelAt(x, std::max(y - near, 0))),
                            atRim,
                            atSide,
                            hls.H,
                            hls.S,
                            imaging.RGBtoYIQ2(p[1], p[2], p[3])});
      points.rim += atRim ? 1 : 0;
      points.side += atSide ? 1 : 0;
    }
  }
}

bool isOf(Kind kind, const Point& p) {
  if (p.saturation < kLeastSaturation) return false;
  switch (kind) {
    case Kind::Green:
      return p.hue >= 198.0f && p.hue <= 285.0f;
    case Kind::Yellow:
      return p.hue >= 164.0f && p.hue <= 204.0f;
    case Kind::Blue:
      return p.hue >= 310.0f || p.hue <= 3.0f;
  }
  return false;
}

float hueDistance(float a, float b) {
  const float apart = std::abs(a - b);
  return std::min(apart, 360.0f - apart);
}

bool withinReach(Chroma a, Chroma b) { return length(a - b) <= kReach; }

bool holds(const Paint& paint, const Point& point) {
  return isOf(paint.kind, point) && withinReach(chromaOf(point.color), paint.center);
}

// A few steps from the densest place towards the mean around it.
Paint fullest(const Points& points, Kind kind, const Paint* from, float apart) {
  std::vector<const Point*> ofKind;
  for (const Point& p : points.all) {
    if (isOf(kind, p) && (from == nullptr || hueDistance(p.hue, from->hue) >= apart)) ofKind.push_back(&p);
  }
  Paint paint{kind, densestChroma(ofKind), {}};
  for (int round = 0; round < 3; ++round) {
    Paint next{kind, {}, {}};
    for (const Point* p : ofKind) {
      if (!holds(paint, *p)) continue;
      next.sums.add(p->rgb, p->color);
      next.rim += p->rim ? 1 : 0;
      next.side += p->side ? 1 : 0;
    }
    if (next.sums.count() == 0) return next;
    next.center = {static_cast<float>(next.sums.meanI()), static_cast<float>(next.sums.meanQ())};
    paint = next;
  }
  paint.hue = hueOf(paint.sums.measured());
  return paint;
}

}  // namespace kalvetra::paint
