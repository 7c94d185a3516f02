#include "analysis/plane.h"

#include <algorithm>

namespace kalvetra {

namespace {

// Means of rows, left to right.
Plane rowMeans(const Plane& plane, int radius) {
  Plane means(plane.width, plane.height);
  for (int y = 0; y < plane.height; ++y) {
    const float* row = plane.values.data() + plane.index(0, y);
    double sum = 0.0;
    for (int x = 0; x < std::min(radius, plane.width); ++x) sum += static_cast<double>(row[x]);
    for (int x = 0; x < plane.width; ++x) {
      if (x + radius < plane.width) sum += static_cast<double>(row[x + radius]);
      if (x - radius > 0) sum -= static_cast<double>(row[x - radius - 1]);
      const int count = std::min(x + radius, plane.width - 1) - std::max(x - radius, 0) + 1;
      means[means.index(x, y)] = static_cast<float>(sum / count);
    }
  }
  return means;
}

}  // namespace

Plane boxMean(const Plane& plane, int radius) {
  const Plane rows = rowMeans(plane, radius);
  Plane means(plane.width, plane.height);
  const auto columns = static_cast<std::size_t>(plane.width);
  std::vector<double> sums(columns, 0.0);
  const auto addRow = [&](int y, double sign) {
    const float* row = rows.values.data() + rows.index(0, y);
    for (std::size_t x = 0; x < columns; ++x) sums[x] += sign * static_cast<double>(row[x]);
  };
  for (int y = 0; y < std::min(radius, plane.height); ++y) addRow(y, 1.0);
  for (int y = 0; y < plane.height; ++y) {
    if (y + radius < plane.height) addRow(y + radius, 1.0);
    if (y - radius > 0) addRow(y - radius - 1, -1.0);
    const int count = std::min(y + radius, plane.height - 1) - std::max(y - radius, 0) + 1;
    float* row = means.values.data() + means.index(0, y);
    for (std::size_t x = 0; x < columns; ++x) row[x] = static_cast<float>(sums[x] / count);
  }
  return means;
}

Plane distanceToSet(const Plane& set) {
  Plane distance(set.width, set.height, kNoDistance);
  const auto at = [&](int x, int y) -> float& { return distance[distance.index(x, y)]; };
  for (int y = 0; y < set.height; ++y) {
    for (int x = 0; x < set.width; ++x) {
      float& here = at(x, y);
      if (set[set.index(x, y)] != 0.0f) here = 0.0f;
      if (x > 0) here = std::min(here, at(x - 1, y) + 1.0f);
      if (y > 0) here = std::min(here, at(x, y - 1) + 1.0f);
    }
  }
  for (int y = set.height - 1; y >= 0; --y) {
    for (int x = set.width - 1; x >= 0; --x) {
      float& here = at(x, y);
      if (x + 1 < set.width) here = std::min(here, at(x + 1, y) + 1.0f);
      if (y + 1 < set.height) here = std::min(here, at(x, y + 1) + 1.0f);
    }
  }
  return distance;
}

}  // namespace kalvetra
