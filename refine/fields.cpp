#include "refine/fields.h"

#include <algorithm>
#include <cmath>

namespace kalvetra::refine {

namespace {

using plates::smoothStep;

// All lengths are in cells.
constexpr float kDeepest = 7.5f;  // depth inside the subject counts up to here
constexpr float kShort = 3.5f;    // reach of the solid colours, standard deviation
constexpr float kLong = 11.0f;
constexpr float kClose = 1.25f;  // of unmixed colours
constexpr float kAround = 4.5f;
constexpr float kRimReach = 2.0f;
constexpr float kScreenReach = 8.0f;  // of what is known of the clear screen
constexpr float kLeastNoise = 5.0f;   // levels: what codecs leave at an edge where the screen itself is calm

// Means by running boxes, one after the other: near a gaussian of that standard deviation. Wide ones on half the size.
Plane soft(const Plane& plane, float deviation, const Workers* workers) {
  constexpr float kWide = 4.0f;
  if (deviation > kWide && std::min(plane.width, plane.height) > 1) {
    const Plane small = soft(plates::halved(plane, workers), 0.5f * deviation, workers);
    return plates::enlarged(small, plane.width, plane.height, workers);
  }
  // Three boxes of 2 r + 1 have the variance r (r + 1).
  const int radius = std::max(1, static_cast<int>(std::sqrt(deviation * deviation + 0.25f)));
  Plane mean = plates::boxMean(plane, radius, workers);
  for (int more = 0; more < 2; ++more) mean = plates::boxMean(mean, radius, workers);
  return mean;
}

struct Mean {
  Planes value;
  Plane weight;
};

// Of values about each place by their weights; `sums` are values times weights.
Mean softMean(const Planes& sums, const Plane& weights, float deviation, const Workers* workers) {
  Mean mean{{}, soft(weights, deviation, workers)};
  for (std::size_t c = 0; c < sums.size(); ++c) {
    mean.value[c] = soft(sums[c], deviation, workers);
    for (std::size_t i = 0; i < weights.values.size(); ++i) mean.value[c][i] /= std::max(mean.weight[i], 1e-6f);
  }
  return mean;
}

// How deep each place lies inside what is `solid` (0..1); beyond the picture's border there is as much as at it.
Plane depthIn(const Plane& solid) {
  Plane depth = solid;
  const int w = depth.width, h = depth.height;
  for (float& v : depth.values) v *= kDeepest;
  constexpr float kDiagonal = 1.41421356f;
  const auto lower = [&](int x, int y, int nx, int ny, float length) {
    if (nx < 0 || nx >= w || ny < 0 || ny >= h) return;
    float& here = depth[depth.index(x, y)];
    here = std::min(here, depth[depth.index(nx, ny)] + length);
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      lower(x, y, x - 1, y, 1.0f);
      lower(x, y, x - 1, y - 1, kDiagonal);
      lower(x, y, x, y - 1, 1.0f);
      lower(x, y, x + 1, y - 1, kDiagonal);
    }
  }
  for (int y = h - 1; y >= 0; --y) {
    for (int x = w - 1; x >= 0; --x) {
      lower(x, y, x + 1, y, 1.0f);
      lower(x, y, x + 1, y + 1, kDiagonal);
      lower(x, y, x, y + 1, 1.0f);
      lower(x, y, x - 1, y + 1, kDiagonal);
    }
  }
  return depth;
}

// The colour of what is solid, as it is deep inside, brought outwards: from close by where there is any, otherwise from
// farther away.
void spreadSolid(const CellMeans& cells, const Plane& depth, Fields& fields, const Workers* workers) {
  const std::size_t count = depth.values.size();
  Plane weight(depth.width, depth.height), certain = weight;
  Planes sums{weight, weight, weight};
  for (std::size_t i = 0; i < count; ++i) {
    const float inside = std::max(depth[i] - 1.0f, 0.0f);  // the outermost cells have much of the screen's light
    weight[i] = inside * inside;
    certain[i] = std::min(0.16f * weight[i], 1.0f);
    for (std::size_t c = 0; c < 3; ++c) sums[c][i] = cells.color[c][i] * weight[i];
  }
  const Mean near = softMean(sums, weight, kShort, workers), wide = softMean(sums, weight, kLong, workers);
  const Planes far = plates::filled(cells.color, certain, workers);
  constexpr float kEnough = 32.0f;  // of the weight
  for (std::size_t i = 0; i < count; ++i) {
    const float close = std::min(near.weight[i] * kEnough, 1.0f), around = std::min(wide.weight[i] * kEnough, 1.0f);
    for (std::size_t c = 0; c < 3; ++c) {
      const float wider = around * wide.value[c][i] + (1.0f - around) * far[c][i];
      fields[FieldName::kSolid + c][i] = close * near.value[c][i] + (1.0f - close) * wider;
    }
    fields[FieldName::kReach][i] = close + (1.0f - close) * 0.5f * around;
  }
}

// Colours of what is not solid but shows itself, and of the rim that the engine keys opaque.
void spreadUnmixed(const CellMeans& cells, Fields& fields, const Workers* workers) {
  const Mean near = softMean(cells.unmixed, cells.unmixedWeight, kClose, workers);
  const Mean wide = softMean(cells.unmixed, cells.unmixedWeight, kAround, workers);
  const Mean rim = softMean(cells.opaque, cells.opaqueWeight, kRimReach, workers);
  constexpr float kEnough = 50.0f;
  for (std::size_t i = 0; i < near.weight.values.size(); ++i) {
    const float close = std::min(near.weight[i] * kEnough, 1.0f), opaque = std::min(rim.weight[i] * kEnough, 1.0f);
    for (std::size_t c = 0; c < 3; ++c) {
      fields[FieldName::kWide + c][i] = wide.value[c][i];
      fields[FieldName::kNear + c][i] = close * near.value[c][i] + (1.0f - close) * wide.value[c][i];
      fields[FieldName::kRim + c][i] = opaque * rim.value[c][i] + (1.0f - opaque) * fields[FieldName::kSolid + c][i];
    }
  }
}

// From close by, where anything is opaque there.
void spreadTone(const CellMeans& cells, Plane& tone, const Workers* workers) {
  const Plane tones = soft(cells.opaqueTone, kRimReach, workers), lumas = soft(cells.opaqueLuma, kRimReach, workers);
  const Plane wideTones = soft(cells.opaqueTone, kScreenReach, workers);
  const Plane wideLumas = soft(cells.opaqueLuma, kScreenReach, workers);
  constexpr float kLess = 0.02f;
  for (std::size_t i = 0; i < tone.values.size(); ++i) {
    tone[i] = (tones[i] + kLess * wideTones[i]) / (lumas[i] + kLess * wideLumas[i] + 0.01f);
  }
}

// What is measured about the plate where the screen is seen; never less than codecs leave.
void spreadNoise(const CellMeans& cells, float noise, Plane& out, const Workers* workers) {
  const Plane residual = soft(cells.residual, kScreenReach, workers), clear = soft(cells.clear, kScreenReach, workers);
  constexpr float kSeen = 0.01f;
  const float least = std::max(noise, kLeastNoise);
  for (std::size_t i = 0; i < out.values.size(); ++i) {
    out[i] = std::max(std::sqrt(residual[i] / std::max(clear[i], kSeen)), least);
  }
}

}  // namespace

Fields fieldsOf(const CellMeans& cells, float noise, const Workers* workers) {
  Fields fields;
  for (Plane& plane : fields) plane = Plane(cells.alpha.width, cells.alpha.height);
  Plane solid = cells.least;
  for (float& v : solid.values) v = smoothStep(0.9f, 0.99f, v);
  const Plane depth = depthIn(solid), around = soft(cells.alpha, 4.0f, workers);
  spreadSolid(cells, depth, fields, workers);
  spreadUnmixed(cells, fields, workers);
  spreadTone(cells, fields[FieldName::kTone], workers);
  spreadNoise(cells, noise, fields[FieldName::kNoise], workers);
  for (std::size_t i = 0; i < depth.values.size(); ++i) {
    fields[FieldName::kFree][i] = smoothStep(0.0f, 0.05f, around[i]) * smoothStep(3.0f, 0.0f, depth[i]);
    fields[FieldName::kOpen][i] = smoothStep(0.97f, 0.8f, around[i]);
  }
  return fields;
}

}  // namespace kalvetra::refine
