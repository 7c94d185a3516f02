#include "refine/materials.h"

#include <algorithm>
#include <cstddef>

namespace kalvetra::refine {

namespace {

// Of what is known beforehand: standard deviations.
constexpr float kNoise = 4.0f;        // of a cell's colour about its material's, levels
constexpr float kLightSpread = 0.5f;  // of a material's brightness
constexpr float kSpillSpread = 0.25f;

// Colour and shares of a material given, the amounts that fit best.
Spill fitted(const Color& material, const Color& own, const Color& screen, float trust, float lightSpread) {
  const float t = std::max(trust, 0.05f), noise = kNoise / t, spillSpread = kSpillSpread / t;
  const Color off{own[0] - material[0], own[1] - material[1], own[2] - material[2]};
  const float a = noise / lightSpread, b = noise / spillSpread;
  const float mm = dot(material, material) + a * a, ss = dot(screen, screen) + b * b, ms = dot(material, screen);
  const float om = dot(off, material), os = dot(off, screen);
  Spill fit{};
  fit.amount = (mm * os - ms * om) / std::max(mm * ss - ms * ms, 1e-3f);
  fit.amount = std::max(fit.amount, -0.05f);
  fit.light = (om - ms * fit.amount) / mm;
  float misfit = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const float r = off[c] - fit.light * material[c] - fit.amount * screen[c];
    misfit += r * r;
  }
  const float p = fit.light / lightSpread, k = fit.amount / spillSpread;
  fit.misfit = misfit / (noise * noise) + p * p + k * k;
  return fit;
}

}  // namespace

Spill spillOn(const Material& material, const Color& own, const Color& screen, float trust) {
  return fitted(material.color, own, screen, trust, kLightSpread);
}

Spill spillOnGrey(const Color& own, const Color& screen, float trust) {
  constexpr float kAnyLight = 20.0f;
  constexpr float kUnlikely = 2.0f;  // a material that is known goes first
  constexpr Color kGrey{100.0f, 100.0f, 100.0f};
  Spill fit = fitted(kGrey, own, screen, trust, kAnyLight);
  // What is dark is grey in noise, whatever it is.
  fit.misfit += kUnlikely + 6.0f * (1.0f - plates::smoothStep(20.0f, 60.0f, luma(own)));
  return fit;
}

float ByDepth::at(float depth) const {
  if (!(depth > kSpillDepths.front())) return amounts.front();
  for (std::size_t i = 1; i < kSpillDepths.size(); ++i) {
    if (depth < kSpillDepths[i]) {
      const float part = (depth - kSpillDepths[i - 1]) / (kSpillDepths[i] - kSpillDepths[i - 1]);
      return amounts[i - 1] + part * (amounts[i] - amounts[i - 1]);
    }
  }
  return amounts.back();
}

Explained explain(const Materials& materials, const Color& own, const Color& screen, float trust) {
  const Spill grey = spillOnGrey(own, screen, trust);
  float least = grey.misfit;
  for (const Material& m : materials.all) least = std::min(least, spillOn(m, own, screen, trust).misfit);
  Explained sum;
  float weights = 0.0f;
  const auto add = [&](const Spill& fit, float spread, float mended, const Color& color) {
    const float more = 1.0f + (fit.misfit - least), weight = 1.0f / (more * more * more * more);
    weights += weight;
    // What differs as much by itself is no spill.
    sum.amount += weight * std::max(fit.amount - spread, 0.0f);
    sum.mended += weight * mended;
    for (std::size_t c = 0; c < 3; ++c) sum.color[c] += weight * (1.0f + fit.light) * color[c];
  };
  add(grey, 0.0f, 1.0f, {100.0f, 100.0f, 100.0f});
  for (const Material& m : materials.all) {
    add(spillOn(m, own, screen, trust), m.spread, plates::smoothStep(0.0f, 0.04f, m.taken), m.color);
  }
  sum.amount /= weights;
  sum.mended /= weights;
  for (float& v : sum.color) v /= weights;
  const float off = std::max(least - 6.0f, 0.0f) / 6.0f;
  sum.sure = 1.0f / (1.0f + off * off);
  return sum;
}

}  // namespace kalvetra::refine
