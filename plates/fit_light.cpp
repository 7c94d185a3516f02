#include "plates/fit_light.h"

#include <algorithm>
#include <cmath>

namespace kalvetra::plates {

namespace {

constexpr int kHalvings = 2;          // from the picture to the coarse one in which distances are measured
constexpr float kCoarse = 4.0f;       // pixels a coarse pixel is wide
constexpr float kNearReach = 170.0f;  // 1080ths of the picture's height

Plane coarse(Plane plane, const Workers* workers) {
  for (int i = 0; i < kHalvings; ++i) plane = halved(plane, workers);
  return plane;
}

// Standard deviation of the screen's light about the mean of its surroundings, octaves.
float unevenness(const Plane& light, const Plane& alike, float unit, const Workers* workers) {
  const int radius = pixelsOf(15.0f, unit);
  Plane weighted = light;
  for (std::size_t i = 0; i < weighted.values.size(); ++i) weighted[i] *= alike[i];
  const Plane sums = boxMean(weighted, radius, workers), weights = boxMean(alike, radius, workers);
  double sum = 0.0, total = 0.0;
  for (std::size_t i = 0; i < light.values.size(); ++i) {
    if (weights[i] < 0.9f) continue;  // beside the subject the mean is not the screen's
    sum += static_cast<double>(alike[i] * std::abs(light[i] - sums[i] / weights[i]));
    total += static_cast<double>(alike[i]);
  }
  return total > 0.0 ? static_cast<float>(1.2533 * sum / total) : 1.0f;
}

}  // namespace

Plane calmOf(const Plane& light, const Plane& sure, float unit, const Workers* workers) {
  const int radius = pixelsOf(6.0f, unit);
  Plane calm = boxMean(light, radius, workers);
  for (std::size_t i = 0; i < calm.values.size(); ++i) calm[i] = std::abs(light[i] - calm[i]);
  calm = boxMean(calm, radius, workers);
  double sum = 0.0, total = 0.0;
  for (std::size_t i = 0; i < calm.values.size(); ++i) {
    sum += static_cast<double>(sure[i] * calm[i]);
    total += static_cast<double>(sure[i]);
  }
  const float usual = std::max(total > 0.0 ? static_cast<float>(sum / total) : 0.0f, 0.002f);
  for (float& v : calm.values) v = smoothStep(5.0f * usual, 2.5f * usual, v);
  return calm;
}

Subject subjectOf(const Plane& alike, float unit, const Workers* workers) {
  Plane other(alike.width, alike.height);
  for (std::size_t i = 0; i < other.values.size(); ++i) other[i] = 1.0f - alike[i];
  other = boxMean(other, std::max(1, static_cast<int>(6.0f * unit + 0.5f)), workers);
  for (float& v : other.values) v = smoothStep(0.6f, 0.95f, v);
  const Plane small = coarse(other, workers);
  const Plane near = envelope(small, Plane(small.width, small.height, kCoarse / (kNearReach * unit)));
  return {std::move(other), enlarged(near, alike.width, alike.height, workers)};
}

Plane litShare(const Plane& light, const Plane& alike, const Subject& subject, float unit, const Workers* workers) {
  // Octaves a 1080th of the picture's height.
  constexpr float kFar = 0.03f, kNear = 0.004f, kCore = 0.02f;
  constexpr float kUnknown = 4.0f;      // octaves below its own light that a place without screen begins
  constexpr float kForgivenFar = 1.0f;  // octaves below the surroundings
  const float forgivenNear = std::clamp(4.0f * unevenness(light, alike, unit, workers), 0.03f, 0.10f);
  Plane weighted = light;
  for (std::size_t i = 0; i < weighted.values.size(); ++i) weighted[i] *= alike[i];
  Plane heights = coarse(std::move(weighted), workers);
  const Plane weight = coarse(alike, workers), near = coarse(subject.near, workers),
              core = coarse(subject.core, workers);
  Plane slope(heights.width, heights.height);
  for (std::size_t i = 0; i < heights.values.size(); ++i) {
    heights[i] = heights[i] / std::max(weight[i], 1e-3f) - kUnknown * (1.0f - smoothStep(0.1f, 0.6f, weight[i]));
    const float beside = kFar + (kNear - kFar) * smoothStep(0.0f, 0.5f, near[i]);
    slope[i] = (beside + (kCore - beside) * core[i]) * kCoarse / unit;
  }
  const Plane full = enlarged(envelope(heights, slope), light.width, light.height, workers);
  Plane lit(light.width, light.height);
  for (std::size_t i = 0; i < lit.values.size(); ++i) {
    const float forgiven = kForgivenFar + (forgivenNear - kForgivenFar) * smoothStep(0.0f, 0.4f, subject.near[i]);
    lit[i] = 1.0f - smoothStep(forgiven, 2.0f * forgiven, full[i] - light[i]);
  }
  return lit;
}

}  // namespace kalvetra::plates
