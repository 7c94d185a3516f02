#include "plates/fit_likeness.h"

#include <algorithm>
#include <cmath>

#include "engine/bands.h"

namespace kalvetra::plates {

namespace {

// From the picture to the coarse one in which distances are measured.
constexpr float kCoarse = 4.0f;
Plane coarse(const Plane& plane, const Workers* workers) { return halved(halved(plane, workers), workers); }

}  // namespace

Likeness::Likeness(const PaintModel& model, const PaleAxis& axis, const PaintAndLight& parted, float unit,
                   const Workers* workers)
    : pale_(parted.light.width, parted.light.height),
      across_(pale_),
      noisy_(pale_),
      scatter_(model.scatter()),
      unit_(unit),
      workers_(workers) {
  Bands(workers, pale_.height).run([&](int, int first, int end) {
    for (int y = first; y < end; ++y) {
      for (int x = 0; x < pale_.width; ++x) {
        const std::size_t i = pale_.index(x, y);
        const Shares shares{parted.red[i], parted.blue[i]};
        const Shares expected = model.at(static_cast<float>(x), static_cast<float>(y), parted.light[i]);
        const Shift shift = axis.of(expected, shares);
        pale_[i] = shift.pale;
        across_[i] = shift.across;
        const bool possible = parted.light[i] >= kDarkestScreen && parted.light[i] <= kBrightestScreen;
        noisy_[i] = possible ? std::clamp(0.6f - parted.light[i], 1.0f, 3.0f) * axis.admits(shares) : 0.0f;
      }
    }
  });
  calm_ = boxMean(pale_, pixelsOf(3.0f, unit), workers);
}

Plane Likeness::at(const Plane& near, const Plane& glare) const {
  const float tolerance = std::clamp(2.5f * scatter_, 0.010f, 0.020f);
  const float tight = std::min(std::clamp(2.0f * scatter_, 0.005f, 0.020f), tolerance);
  Plane alike(pale_.width, pale_.height);
  const auto within = [](float shift, float reach) { return smoothStep(1.3f, 0.7f, std::abs(shift) / reach); };
  Bands(workers_, pale_.height).run([&](int, int first, int end) {
    for (std::size_t i = alike.index(0, first); i < alike.index(0, end); ++i) {
      if (noisy_[i] <= 0.0f) continue;
      const float reach = noisy_[i] * (tolerance + near[i] * (tight - tolerance));
      const float more = 0.3f * glare[i];  // glare has the lamp's hue, and is as uneven as it is strong
      alike[i] = within(pale_[i] - glare[i], 2.5f * reach + more) * within(across_[i], 2.5f * reach + 2.0f * more) *
                 within(calm_[i] - glare[i], reach + more);
    }
  });
  return alike;
}

Plane Likeness::glare(const Plane& sure, const Plane& clear) const {
  constexpr float kSteepest = 0.001f;  // shares over a 1080th of the height
  constexpr float kUnknown = 0.3f;     // shares: far paler than any screen
  // How far it is to where the screen is sure: next to nothing through what is clear, soon too far through all else.
  constexpr float kThroughClear = 2000.0f, kThroughElse = 25.0f;  // 1080ths of the height
  Plane heights(pale_.width, pale_.height);
  for (std::size_t i = 0; i < heights.values.size(); ++i) {
    heights[i] = -kUnknown + clear[i] * (kUnknown - std::max(calm_[i], 0.0f));
  }
  heights = coarse(heights, workers_);
  const Plane purest = enlarged(envelope(heights, Plane(heights.width, heights.height, kSteepest * kCoarse / unit_)),
                                pale_.width, pale_.height, workers_);
  Plane seeds = coarse(boxMean(sure, pixelsOf(6.0f, unit_), workers_), workers_), slope = coarse(clear, workers_);
  for (float& v : seeds.values) v = smoothStep(0.7f, 0.95f, v);
  for (float& v : slope.values) v = kCoarse / unit_ * ((1.0f - v) / kThroughElse + v / kThroughClear);
  const Plane reached = enlarged(envelope(seeds, slope), pale_.width, pale_.height, workers_);
  Plane grown(pale_.width, pale_.height);
  for (std::size_t i = 0; i < grown.values.size(); ++i) {
    grown[i] = std::max(-purest[i], 0.0f) * clear[i] * smoothStep(0.1f, 0.5f, reached[i]);
  }
  return grown;
}

}  // namespace kalvetra::plates
