// How much spill there is in each cell of a frame.
#include <algorithm>
#include <utility>

#include "engine/bands.h"
#include "refine/colors.h"
#include "refine/spill.h"

namespace kalvetra::refine {

namespace {

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
    float sure;    // 0..1, of all this
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
    // Where not even the engine sees any, a skin's own shades would be taken for it deep inside.
    amount *= std::max(smoothStep(0.0f, 0.03f, cells_.engine[i]), smoothStep(48.0f, 16.0f, depth));
    amount = e.sure * amount + (1.0f - e.sure) * cells_.engine[i];
    const Color without_ = without(own, amount, screen);
    const float taken = amount * sliders(without_), left = std::max(amount - taken, 0.0f);
    const float engine = chromaShare(colorAt(cells_.keyed, i), screen);
    const float meant = engine + e.sure * std::max(chromaShare(e.color, screen) - engine, 0.0f);
    return {taken, std::clamp(taken, 0.0f, 1.5f * materials_.light.at(depth) + 0.02f), e.sure,
            cover * (1.0f - e.sure * unusual), meant + left};
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
  field.meant = field.sure = Plane(width, height);
  const SpillFinder finder(cells, materials, settings);
  Bands(workers, height).run([&](int, int first, int end) {
    for (std::size_t i = cells.cover.index(0, first); i < cells.cover.index(0, end); ++i) {
      const SpillFinder::Found found = finder.at(i);
      amount[i] = found.amount;
      light[i] = found.light;
      field.sure[i] = found.sure;
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
  field.cover = cells.cover;
  Plane seen = cells.cover;
  for (float& v : seen.values) v *= v;
  // The light of the screen comes from a wide part of it.
  const int wide = std::max(1, static_cast<int>(30.0f * cells.unit));
  for (std::size_t c = 0; c < 3; ++c) {
    field.screen[c] = boxMean(boxMean(cells.screen[c], wide, workers), wide, workers);
    Plane own(width, height);
    for (std::size_t i = 0; i < own.values.size(); ++i) {
      const float clean = std::max(cells.own[c][i] - local[i] * field.screen[c][i], 0.0f);
      own[i] = cells.keyed[c][i] + field.sure[i] * (clean - cells.keyed[c][i]);
    }
    field.own[c] = carried(own, seen, workers);
  }
  return field;
}

}  // namespace kalvetra::refine
