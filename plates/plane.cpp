#include "plates/plane.h"

#include <algorithm>

#include "engine/bands.h"

namespace kalvetra::plates {

namespace {

// Means of one row, left to right.
void meanRow(const float* from, float* to, int width, int radius) {
  double sum = 0.0;
  for (int x = 0; x < std::min(radius, width); ++x) sum += static_cast<double>(from[x]);
  const double whole = 1.0 / (2 * radius + 1);
  for (int x = 0; x < width; ++x) {
    if (x + radius < width) sum += static_cast<double>(from[x + radius]);
    if (x - radius > 0) sum -= static_cast<double>(from[x - radius - 1]);
    const bool inside = x >= radius && x + radius < width;
    const double share = inside ? whole : 1.0 / (std::min(x + radius, width - 1) - std::max(x - radius, 0) + 1);
    to[x] = static_cast<float>(sum * share);
  }
}

// Means of columns first..end - 1. Every column has a sum of its own, 0 at first, so that the bands do not show.
void meanColumns(const Plane& from, Plane& to, int radius, int first, int end, double* sums) {
  const int height = from.height;
  const auto add = [&](int y, double sign) {
    const float* row = from.row(y);
    for (int x = first; x < end; ++x) sums[x] += sign * static_cast<double>(row[x]);
  };
  for (int y = 0; y < std::min(radius, height); ++y) add(y, 1.0);
  for (int y = 0; y < height; ++y) {
    if (y + radius < height) add(y + radius, 1.0);
    if (y - radius > 0) add(y - radius - 1, -1.0);
    const double share = 1.0 / (std::min(y + radius, height - 1) - std::max(y - radius, 0) + 1);
    float* row = to.row(y);
    for (int x = first; x < end; ++x) row[x] = static_cast<float>(sums[x] * share);
  }
}

// Weights 1 3 3 1, about the middle between fine pixels 2x and 2x + 1; beyond the border the border's pixel counts.
template <class At>
float bell(const At& at, int coarse, int fine) {
  const int middle = 2 * coarse;
  const int last = fine - 1;
  const float outer = at(std::max(middle - 1, 0)) + at(std::min(middle + 2, last));
  return 0.125f * outer + 0.375f * (at(middle) + at(std::min(middle + 1, last)));
}

// Where a pixel of `size` lies between the pixels of `coarse`.
struct Between {
  Between(int i, int size, int coarse) {
    const float at = (static_cast<float>(i) + 0.5f) * static_cast<float>(coarse) / static_cast<float>(size) - 0.5f;
    const float clamped = std::clamp(at, 0.0f, static_cast<float>(coarse - 1));
    low = static_cast<int>(clamped);
    high = std::min(low + 1, coarse - 1);
    part = clamped - static_cast<float>(low);
  }
  int low, high;
  float part;
};

}  // namespace

Plane boxMean(const Plane& plane, int radius, const Workers* workers) {
  Plane rows(plane.width, plane.height), means(plane.width, plane.height);
  Bands(workers, plane.height).run([&](int, int first, int end) {
    for (int y = first; y < end; ++y) meanRow(plane.row(y), rows.row(y), plane.width, radius);
  });
  std::vector<double> sums(static_cast<std::size_t>(plane.width), 0.0);
  Bands(workers, plane.width).run([&](int, int first, int end) {
    meanColumns(rows, means, radius, first, end, sums.data());
  });
  return means;
}

Plane halved(const Plane& plane, const Workers* workers) {
  Plane half((plane.width + 1) / 2, (plane.height + 1) / 2);
  Plane columns(plane.width, half.height);
  Bands(workers, half.height).run([&](int, int first, int end) {
    for (int y = first; y < end; ++y) {
      float* column = columns.row(y);
      for (int x = 0; x < plane.width; ++x) {
        column[x] = bell([&](int fy) { return plane.row(fy)[x]; }, y, plane.height);
      }
      float* row = half.row(y);
      for (int x = 0; x < half.width; ++x) row[x] = bell([&](int fx) { return column[fx]; }, x, plane.width);
    }
  });
  return half;
}

Plane enlarged(const Plane& plane, int width, int height, const Workers* workers) {
  std::vector<Between> columns;
  for (int x = 0; x < width; ++x) columns.emplace_back(x, width, plane.width);
  Plane large(width, height);
  Bands(workers, height).run([&](int, int first, int end) {
    for (int y = first; y < end; ++y) {
      const Between v(y, height, plane.height);
      const float *above = plane.row(v.low), *below = plane.row(v.high);
      float* row = large.row(y);
      for (int x = 0; x < width; ++x) {
        const Between& h = columns[static_cast<std::size_t>(x)];
        const float left = above[h.low] + (below[h.low] - above[h.low]) * v.part;
        const float right = above[h.high] + (below[h.high] - above[h.high]) * v.part;
        row[x] = left + (right - left) * h.part;
      }
    }
  });
  return large;
}

Plane envelope(const Plane& heights, const Plane& slope) {
  Plane top = heights;
  const int w = top.width, h = top.height;
  constexpr float kDiagonal = 1.41421356f;
  const auto raise = [&](int x, int y, int nx, int ny, float length) {
    if (nx < 0 || nx >= w || ny < 0 || ny >= h) return;
    const std::size_t i = top.index(x, y);
    top[i] = std::max(top[i], top[top.index(nx, ny)] - slope[i] * length);
  };
  // Two rounds reach round corners; what is left after them is below what the eye sees.
  for (int round = 0; round < 2; ++round) {
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        raise(x, y, x - 1, y, 1.0f);
        raise(x, y, x - 1, y - 1, kDiagonal);
        raise(x, y, x, y - 1, 1.0f);
        raise(x, y, x + 1, y - 1, kDiagonal);
      }
      for (int x = w - 2; x >= 0; --x) raise(x, y, x + 1, y, 1.0f);
    }
    for (int y = h - 1; y >= 0; --y) {
      for (int x = w - 1; x >= 0; --x) {
        raise(x, y, x + 1, y, 1.0f);
        raise(x, y, x + 1, y + 1, kDiagonal);
        raise(x, y, x, y + 1, 1.0f);
        raise(x, y, x - 1, y + 1, kDiagonal);
      }
      for (int x = 1; x < w; ++x) raise(x, y, x - 1, y, 1.0f);
    }
  }
  return top;
}

Planes filled(const Planes& values, const Plane& weight, const Workers* workers) {
  std::vector<Planes> sums;  // values times weight, finest first
  std::vector<Plane> weights{weight};
  Planes finest = values;
  for (Plane& plane : finest) {
    for (std::size_t i = 0; i < plane.values.size(); ++i) plane[i] *= weight[i];
  }
  sums.push_back(std::move(finest));
  while (std::max(weights.back().width, weights.back().height) > 1) {
    Planes half;
    for (std::size_t c = 0; c < half.size(); ++c) half[c] = halved(sums.back()[c], workers);
    weights.push_back(halved(weights.back(), workers));
    sums.push_back(std::move(half));
  }
  constexpr float kNone = 1e-6f;  // less weight than this is none
  Planes result;
  // At odd sizes the coarse level reaches half a pixel beyond the picture and is squeezed into it: up to a pixel off at
  // the right and the bottom, nothing to be seen in what is so soft.
  for (std::size_t level = sums.size(); level-- > 0;) {
    const Plane& w = weights[level];
    for (std::size_t c = 0; c < result.size(); ++c) {
      Plane& own = sums[level][c];
      const Plane around =
          level + 1 == sums.size() ? Plane(w.width, w.height) : enlarged(result[c], w.width, w.height, workers);
      for (std::size_t i = 0; i < own.values.size(); ++i) {
        // A quarter of the pixels seen is as good as all; with fewer, the wider surroundings count as well.
        const float known = std::min(4.0f * w[i], 1.0f);
        const float here = w[i] > kNone ? own[i] / w[i] : around[i];
        const bool coarsest = level + 1 == sums.size();
        own[i] = coarsest ? (w[i] > kNone ? here : 0.0f) : known * here + (1.0f - known) * around[i];
      }
      result[c] = std::move(own);
    }
  }
  return result;
}

}  // namespace kalvetra::plates
