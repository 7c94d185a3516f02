#include "refine/spill.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "deep/rows.h"
#include "engine/bands.h"
#include "refine/colors.h"

namespace kalvetra::refine {

namespace {

using deep::RowBuffer;
using plates::Plane;
using plates::Planes;
using plates::smoothStep;

constexpr float kMostSpill = 0.6f;

// A slider of 0..100 as a factor of what was found: all of it where the slider stands as delivered, nothing at 0, twice
// as much at 100. One that is delivered as 0 only adds.
float scaleOf(int slider, int delivered) {
  const auto value = static_cast<float>(slider), usual = static_cast<float>(delivered);
  return value < usual ? value / usual : 1.0f + (value - usual) / (100.0f - usual);
}

class SpillFinder {
 public:
  SpillFinder(const Cells& cells, const Materials& materials, const KeySettings& settings)
      : cells_(cells),
        materials_(materials),
        white_(scaleOf(settings.despillWhite, 20)),
        warm_(scaleOf(settings.despillSkin, 20)),
        cold_(scaleOf(settings.despillBlue, 0)) {}

  struct Found {
    float amount;  // in all; below 0 where the alpha is too low
    float light;   // so much of it may be light that fell on the subject
    float weight, meant;
  };

  Found at(std::size_t i) const {
    const float cover = cells_.cover[i];
    if (cover < 0.02f) return {};
    const Color own = colorAt(cells_.own, i), screen = colorAt(cells_.screen, i);
    Explained e = explain(materials_, own, screen, cover);
    e.sure *= smoothStep(0.4f, 0.95f, cover);  // anything explains what is hardly seen
    float amount = std::min(e.amount, kMostSpill / cover);
    // More than usual so deep inside is no spill but a thing's own colour, an eye's: it gets what its surroundings get.
    const float depth = cells_.depth[i], usual = 2.0f * materials_.usual.at(depth) + 0.03f;
    const float unusual = smoothStep(usual, 1.5f * usual, amount) * (1.0f - e.mended) * smoothStep(0.0f, 6.0f, depth);
    amount = e.sure * amount + (1.0f - e.sure) * cells_.engine[i];
    const Color without_ = without(own, amount, screen);
    const float taken = amount * sliders(without_), left = std::max(amount - taken, 0.0f);
    return {taken, std::clamp(taken, 0.0f, 1.5f * materials_.light.at(depth) + 0.02f),
            cover * (1.0f - e.sure * unusual),
            e.sure * std::max(greenExcess(e.color), 0.0f) + left * std::max(greenExcess(screen), 0.0f)};
  }

 private:
  // By the side of grey that a colour lies on.
  float sliders(const Color& own) const {
    const float brightest = std::max({own[0], own[1], own[2], 30.0f});
    const float side = (own[0] - own[2]) / brightest;
    const float warm = smoothStep(0.03f, 0.12f, side), cold = smoothStep(0.03f, 0.12f, -side);
    return warm * warm_ + cold * cold_ + (1.0f - warm - cold) * white_;
  }

  const Cells& cells_;
  const Materials& materials_;
  float white_, warm_, cold_;
};

// Values by their weights over a square, and the weights' mean.
struct Mean {
  Plane values, weight;
};
Mean weightedMean(Plane values, const Plane& weight, int radius, const Workers* workers) {
  for (std::size_t i = 0; i < values.values.size(); ++i) values[i] *= weight[i];
  Mean mean{boxMean(values, radius, workers), boxMean(weight, radius, workers)};
  for (std::size_t i = 0; i < values.values.size(); ++i) mean.values[i] /= std::max(mean.weight[i], 1e-4f);
  return mean;
}

// The spill of solid parts, carried over their edges: from close by, otherwise from farther away.
Plane carried(const Plane& amount, const Plane& weight, const Workers* workers) {
  constexpr int kFar = 6;  // cells
  Mean near = weightedMean(amount, weight, 1, workers), far = weightedMean(amount, weight, kFar, workers);
  for (std::size_t i = 0; i < amount.values.size(); ++i) {
    const float there = std::min(far.weight[i] * 100.0f, 1.0f), here = std::min(near.weight[i] * 10.0f, 1.0f);
    near.values[i] = here * near.values[i] + (1.0f - here) * there * far.values[i];
  }
  return std::move(near.values);
}

// 1 where edges all around are soft: of hair, veils, glass and motion blur, 0 where they are sharp. There the screen is
// seen through what the key takes for solid, rather than that its light falls on it.
Plane softness(const Plane& cover, const Workers* workers) {
  Plane partly = cover;
  for (float& v : partly.values) v *= 4.0f * (1.0f - v);
  constexpr int kAround = 8;  // cells
  Plane soft = boxMean(partly, kAround, workers);
  for (float& v : soft.values) v = smoothStep(0.1f, 0.25f, v);
  return soft;
}

}  // namespace

SpillField spillOf(const Cells& cells, const Materials& materials, const KeySettings& settings,
                   const Workers* workers) {
  SpillField field;
  field.side = cells.side;
  const int width = cells.width(), height = cells.height();
  Plane amount(width, height), light(width, height), weight(width, height);
  field.meant = Plane(width, height);
  const SpillFinder finder(cells, materials, settings);
  Bands(workers, height).run([&](int, int first, int end) {
    for (std::size_t i = cells.cover.index(0, first); i < cells.cover.index(0, end); ++i) {
      const SpillFinder::Found found = finder.at(i);
      amount[i] = found.amount;
      light[i] = found.light;
      weight[i] = found.weight;
      field.meant[i] = found.meant;
    }
  });
  const Plane local = weightedMean(amount, weight, 1, workers).values;
  const Plane soft = softness(cells.cover, workers);
  for (std::size_t i = 0; i < light.values.size(); ++i) light[i] *= 1.0f - soft[i];
  for (std::size_t i = 0; i < weight.values.size(); ++i) weight[i] *= smoothStep(3.0f, 10.0f, cells.depth[i]);
  field.amount = carried(light, weight, workers);
  field.extra = local;
  for (std::size_t i = 0; i < local.values.size(); ++i) field.extra[i] = std::max(local[i] - field.amount[i], 0.0f);
  field.meant = weightedMean(field.meant, cells.cover, 1, workers).values;
  Plane seen = cells.cover;
  for (float& v : seen.values) v *= v;
  // The light of the screen comes from a wide part of it.
  const int wide = std::max(1, static_cast<int>(30.0f * cells.unit));
  for (std::size_t c = 0; c < 3; ++c) {
    field.screen[c] = boxMean(boxMean(cells.screen[c], wide, workers), wide, workers);
    Plane own(width, height);
    for (std::size_t i = 0; i < own.values.size(); ++i) {
      own[i] = std::max(cells.own[c][i] - local[i] * field.screen[c][i], 0.0f);
    }
    field.own[c] = carried(own, seen, workers);
  }
  return field;
}

namespace {

// A row of the coarse planes at the pixels of a row of the frame.
class CoarseRow {
 public:
  CoarseRow(int width, int side) : columns_(static_cast<std::size_t>(width)), side_(side) {}

  void at(const Plane& plane, int y, std::vector<float>& row) const {
    const Place v = place(y, plane.height);
    const float *above = plane.row(v.low), *below = plane.row(v.high);
    row.resize(columns_);
    for (std::size_t x = 0; x < columns_; ++x) {
      const Place h = place(static_cast<int>(x), plane.width);
      const float left = above[h.low] + (below[h.low] - above[h.low]) * v.part;
      const float right = above[h.high] + (below[h.high] - above[h.high]) * v.part;
      row[x] = left + (right - left) * h.part;
    }
  }

 private:
  struct Place {
    int low, high;
    float part;
  };
  Place place(int i, int size) const {
    const float at = (static_cast<float>(i) + 0.5f) / static_cast<float>(side_) - 0.5f;
    const float inside = std::clamp(at, 0.0f, static_cast<float>(size - 1));
    const int low = static_cast<int>(inside);
    return {low, std::min(low + 1, size - 1), inside - static_cast<float>(low)};
  }

  std::size_t columns_;
  int side_;
};

struct Pixel {
  Color source, screen, engine;
  float alpha;
};
struct Around {
  float amount, extra, meant;
  Color own, light;
};

// How much more of the screen there is in a pixel than spill, where it shows through: as the alpha is never quite right
// there, what gives it the hue of its surroundings.
float leftOver(const Color& clean, float alpha, const Around& around) {
  constexpr float kOff = 0.3f, kNoise = 6.0f, kLight = 0.7f;
  const float noise = kNoise / alpha, spread = kOff * (1.0f - alpha) / alpha;
  const float a = noise / kLight, b = noise / std::max(spread, 1e-3f);
  const Color rest{clean[0] - around.own[0], clean[1] - around.own[1], clean[2] - around.own[2]};
  const float mm = dot(around.own, around.own) + a * a, ss = dot(around.light, around.light) + b * b;
  const float ms = dot(around.own, around.light);
  return (mm * dot(rest, around.light) - ms * dot(rest, around.own)) / std::max(mm * ss - ms * ms, 1e-3f);
}

// Takes as much of the screen's light, and leaves grey that is as bright in its place by that share: what an alpha that
// is too high takes for the subject lacks elsewhere in the composite.
Color greyed(const Color& color, float amount, const Color& light, float kept) {
  Color c = without(color, amount, light);
  const float grey = kept * amount * luma(light);
  for (float& v : c) v += grey;
  return c;
}

Color bounded(const Pixel& p, const Color& clean, const Around& around, float kept) {
  const float brighter = std::clamp(luma(clean) / std::max(luma(p.engine), 8.0f), 0.5f, 2.0f);
  const float allowed = std::max({greenExcess(p.engine) * brighter, around.meant, 0.0f});
  const std::size_t other = clean[0] >= clean[2] ? 0 : 2;
  const float over = std::max(greenExcess(clean) - allowed, 0.0f);
  Color color = greyed(clean, over / std::max(around.light[1] - around.light[other], 15.0f), around.light, kept);
  const float violet = std::max({violetExcess(p.engine), violetExcess(p.source), 0.0f});
  const float lack = std::max(violetExcess(color) - violet, 0.0f);
  color[1] += lack;
  for (float& v : color) v -= kept * 0.587f * lack;
  for (std::size_t c = 0; c < 3; ++c) {
    color[c] = std::clamp(color[c], std::min(p.source[c], 0.0f), std::max(p.source[c], 255.0f));
  }
  return color;
}

// What is hardly seen has its surroundings' colour, as bright as it is itself.
Color steadied(const Color& color, float alpha, const Around& around) {
  const float own = smoothStep(0.0f, 0.35f, alpha);
  const float scale = std::clamp(luma(color) / std::max(luma(around.own), 4.0f), 0.5f, 1.5f);
  Color c;
  for (std::size_t i = 0; i < 3; ++i) c[i] = own * color[i] + (1.0f - own) * scale * around.own[i];
  return c;
}

Color cleanColor(const Pixel& p, const Around& around) {
  const float alpha = std::max(p.alpha, 0.02f), open = 1.0f - p.alpha;
  Color own = p.source;
  for (std::size_t c = 0; c < 3 && open > 0.0f; ++c) own[c] = (p.source[c] - open * p.screen[c]) / alpha;
  Color clean = greyed(without(own, around.amount, around.light), around.extra, around.light, 1.0f);
  if (open <= 0.0f) return bounded(p, clean, around, 0.0f);
  clean = greyed(clean, leftOver(clean, alpha, around), around.light, 1.0f);
  return bounded(p, steadied(clean, alpha, around), around, 1.0f);
}

}  // namespace

void removeSpill(const ConstFrame& source, const deep::Backdrop& backdrop, const SpillField& field, bool blueScreen,
                 const Frame& keyed, const Workers* workers) {
  const int width = keyed.width, height = keyed.height;
  constexpr std::size_t kCoarse = 9;
  const std::array<const Plane*, kCoarse> planes{&field.amount,    &field.extra,     &field.meant,
                                                 &field.own[0],    &field.own[1],    &field.own[2],
                                                 &field.screen[0], &field.screen[1], &field.screen[2]};
  const CoarseRow coarse(width, field.side);
  const Bands bands(workers, height);
  struct Memory {
    RowBuffer rows;
    deep::Backdrop::Rows screen;
    std::array<std::vector<float>, kCoarse> coarse;
  };
  std::vector<Memory> memory;
  for (int band = 0; band < bands.count(); ++band) {
    memory.push_back({RowBuffer(width, 2), {backdrop, bands.first(band), 1}, {}});
    for (auto& row : memory.back().coarse) row.resize(static_cast<std::size_t>(width));
  }
  bands.run([&](int band, int first, int end) {
    Memory& m = memory[static_cast<std::size_t>(band)];
    const deep::Row from = m.rows.row(0), key = m.rows.row(1);
    for (int y = first; y < end; ++y) {
      const deep::ConstRow bare = m.screen.row(y);
      loadRow(keyed, y, blueScreen, key);
      if (std::all_of(key.alpha, key.alpha + width, [](float a) { return a <= 0.0f; })) continue;
      loadRow(source, y, blueScreen, from);
      for (std::size_t i = 0; i < kCoarse; ++i) coarse.at(*planes[i], y, m.coarse[i]);
      auto* const out = reinterpret_cast<float*>(keyed.row(y));
      for (int x = 0; x < width; ++x) {
        if (key.alpha[x] <= 0.0f || from.alpha[x] <= 0.0f) continue;
        const auto at = static_cast<std::size_t>(x);
        const Pixel pixel{{from.red[x], from.green[x], from.blue[x]},
                          {bare.red[x], bare.green[x], bare.blue[x]},
                          {key.red[x], key.green[x], key.blue[x]},
                          coverage(key.alpha[x], from.alpha[x])};
        const auto c = [&](std::size_t i) { return m.coarse[i][at]; };
        const Color clean = cleanColor(pixel, {c(0), c(1), c(2), {c(3), c(4), c(5)}, {c(6), c(7), c(8)}});
        const float scale = (keyed.premultiplied ? key.alpha[x] / 255.0f : 1.0f) / 255.0f;
        float* const to = out + 4 * x;
        to[0] = clean[0] * scale;
        to[1] = clean[blueScreen ? 2 : 1] * scale;
        to[2] = clean[blueScreen ? 1 : 2] * scale;
      }
    }
  });
}

}  // namespace kalvetra::refine
