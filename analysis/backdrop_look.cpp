// How far a paint looks like a screen.
#include <algorithm>
#include <vector>

#include "analysis/backdrop_paint.h"

namespace kalvetra::paint {

namespace {

constexpr float kSameHue = 14.0f;                         // degrees within which light and dark are one paint
constexpr float kGrassHue = 180.0f, kScreenHue = 201.0f;  // between them are dry grass and leaves in the sun
constexpr double kLeastRegion = 0.1;                      // of the points of an average region, for its light to count
constexpr double kSureRim = 0.15;                         // part of the rim, from which on more makes the find no surer
constexpr double kSmooth = 6.0, kRough = 20.0;            // median roughness, percent
constexpr double kOpenSky = 0.12;                         // fall of the saturation from the top to the bottom
constexpr double kLighterSky = 1.12;                      // rise of the luminance

// 0 below `none`, 1 above `full`.
double rising(double value, double none, double full) { return std::clamp((value - none) / (full - none), 0.0, 1.0); }

double part(std::size_t some, std::size_t all) {
  return all == 0 ? 0.0 : static_cast<double>(some) / static_cast<double>(all);
}

struct Extremes {
  double most, middle, least;
};

Extremes channels(const unsigned char* rgb) {
  double v[3] = {static_cast<double>(rgb[0]), static_cast<double>(rgb[1]), static_cast<double>(rgb[2])};
  std::sort(v, v + 3);
  return {v[2], v[1], v[0]};
}

// Greens are taken as they come unless they are grass in the sun. A yellow is told from sand and wood by its blue, from
// dry grass by its light; a blue from sky and cloth by how far it lies above the next channel.
double strengthOf(Kind kind, float hue, const MeasuredColor& color) {
  const unsigned char rgb[3] = {color.red, color.green, color.blue};
  const Extremes c = channels(rgb);
  const bool grassy = hue > kGrassHue && hue < kScreenHue;
  const double light = grassy ? rising(c.most, 90.0, 200.0) : rising(c.most, 60.0, 150.0);
  if (kind == Kind::Yellow) {
    return light * rising((c.most - c.least) / c.most, 0.5, 0.75);
  }
  if (kind == Kind::Blue) return rising((c.most - c.middle) / c.most, 0.2, 0.5) * rising(c.most, 40.0, 110.0);
  return grassy ? light : 1.0;
}

double smoothnessOf(const Paint& paint, const Points& points) {
  std::vector<unsigned char> rough;
  for (const Point& p : points.all) {
    if (holds(paint, p)) rough.push_back(p.rough);
  }
  const auto median = rough.begin() + static_cast<std::ptrdiff_t>(rough.size() / 2);
  std::nth_element(rough.begin(), median, rough.end());
  return std::max(1.0 - rising(*median, kSmooth, kRough), 0.1);
}

// Points of the paint's kind in the highest and the lowest third of the regions that have any.
bool growsPalerDownwards(const Paint& paint, const Points& points) {
  double luma[kRegions] = {}, saturation[kRegions] = {}, count[kRegions] = {};
  for (const Point& p : points.all) {
    if (!isOf(paint.kind, p) || hueDistance(p.hue, paint.hue) > 2 * kSameHue) continue;
    const Extremes c = channels(p.rgb);
    const int row = p.region / kRegions;
    luma[row] += static_cast<double>(p.color.Y);
    saturation[row] += (c.most - c.least) / c.most;
    count[row] += 1.0;
  }
  const double least = kLeastRegion * static_cast<double>(points.all.size()) / kRegions;
  int top = 0, bottom = kRegions - 1;
  while (top < bottom && count[top] <= least) ++top;
  while (bottom > top && count[bottom] <= least) --bottom;
  if (top == bottom) return false;
  return luma[bottom] / count[bottom] > kLighterSky * luma[top] / count[top] &&
         saturation[bottom] / count[bottom] < (1.0 - kOpenSky) * saturation[top] / count[top];
}

}  // namespace

Look lookOf(const Paint& paint, const Points& points, bool besideOther) {
  const auto count = static_cast<double>(paint.sums.count());
  if (paint.sums.count() == 0) return {};
  double ofKind = 0.0, ofHue = 0.0;
  for (const Point& p : points.all) {
    if (!isOf(paint.kind, p)) continue;
    ofKind += 1.0;
    if (hueDistance(p.hue, paint.hue) <= kSameHue || holds(paint, p)) ofHue += 1.0;
  }
  const double rim = part(paint.rim, points.rim), side = besideOther ? part(paint.side, points.side) : 0.0;
  return {count / static_cast<double>(points.all.size()),
          ofHue / ofKind,
          smoothnessOf(paint, points),
          0.2 + 0.8 * rising(std::max(rim, side), 0.0, kSureRim),
          strengthOf(paint.kind, paint.hue, paint.sums.measured()),
          paint.kind == Kind::Blue && growsPalerDownwards(paint, points) ? 0.5 : 1.0};
}

double unevennessOf(const Paint& paint, const Points& points) {
  std::array<double, kRegions * kRegions> sums{}, counts{};
  for (const Point& p : points.all) {
    if (!holds(paint, p)) continue;
    sums[p.region] += static_cast<double>(p.color.Y);
    counts[p.region] += 1.0;
  }
  const double least = kLeastRegion * static_cast<double>(points.all.size()) / (kRegions * kRegions);
  double darkest = 255.0, brightest = 0.0;
  for (std::size_t r = 0; r < sums.size(); ++r) {
    if (counts[r] < std::max(least, 1.0)) continue;
    darkest = std::min(darkest, sums[r] / counts[r]);
    brightest = std::max(brightest, sums[r] / counts[r]);
  }
  return brightest > darkest ? 100.0 * (brightest - darkest) / brightest : 0.0;
}

double otherBlues(const Paint& paint, const Points& points) {
  const MeasuredColor mean = paint.sums.measured();
  const double full = static_cast<double>(mean.blue - std::min(mean.red, mean.green)) / mean.blue;
  std::size_t others = 0;
  for (const Point& p : points.all) {
    if (p.saturation < 15.0f || p.rough > kRough / 2 || (p.hue < 315.0f && p.hue > 35.0f) || holds(paint, p)) continue;
    const Extremes c = channels(p.rgb);
    const bool shadow = hueDistance(p.hue, paint.hue) <= kSameHue && (c.most - c.least) / c.most > 0.75 * full;
    if (!shadow) ++others;
  }
  return static_cast<double>(others) / static_cast<double>(points.all.size());
}

}  // namespace kalvetra::paint
