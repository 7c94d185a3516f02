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
      admitted_(pale_),
      scatter_(model.scatter()),
      unit_(unit),
      workers_(workers) {
  Bands(workers, pale_.height).run([&](int, int first, int end) {
    for (int y = first; y < end; ++y) {
      const PaintModel::Row row = model.rowAt(static_cast<float>(y));
      for (int x = 0; x < pale_.width; ++x) {
        const std::size_t i = pale_.index(x, y);
        const Shares shares{parted.red[i], parted.blue[i]};
        const Shares expected = row.at(static_cast<float>(x), parted.light[i]);
        const Shift shift = axis.of(expected, shares);
        pale_[i] = shift.pale;
        across_[i] = shift.across;
        const bool possible = parted.light[i] >= kDarkestScreen && parted.light[i] <= kBrightestScreen;
        noisy_[i] = possible ? std::clamp(0.6f - parted.light[i], 1.0f, 3.0f) : 0.0f;
        admitted_[i] = axis.admits(shares);
      }
    }
  });
  calm_ = boxMean(pale_, pixelsOf(3.0f, unit), workers);
  calmAcross_ = boxMean(across_, pixelsOf(3.0f, unit), workers);
}

void Likeness::settle(const Plane& alike) {
  constexpr float kSurroundings = 150.0f;  // 1080ths of the height
  const Plane weight = coarse(alike, workers_);
  Planes drift{coarse(calm_, workers_), coarse(calmAcross_, workers_), weight};
  const auto wide = [&](const Plane& plane) {
    return boxMean(plane, pixelsOf(kSurroundings / kCoarse, unit_), workers_);
  };
  for (Plane& plane : drift) {
    for (std::size_t i = 0; i < plane.values.size(); ++i) plane[i] *= weight[i];
    plane = wide(plane);
  }
  const Plane known = wide(weight);
  for (Plane& plane : drift) {
    for (std::size_t i = 0; i < plane.values.size(); ++i) plane[i] /= std::max(known[i], 1e-3f);
  }
  drift = filled(drift, known, workers_);
  const Plane pale = enlarged(drift[0], pale_.width, pale_.height, workers_);
  const Plane across = enlarged(drift[1], pale_.width, pale_.height, workers_);
  double sum = 0.0, total = 0.0;
  for (std::size_t i = 0; i < pale_.values.size(); ++i) {
    pale_[i] -= pale[i];
    calm_[i] -= pale[i];
    across_[i] -= across[i];
    calmAcross_[i] -= across[i];
    sum += static_cast<double>(alike[i] * std::abs(calm_[i]));
    total += static_cast<double>(alike[i]);
  }
  constexpr double kNormal = 1.2533;  // standard deviation to mean distance
  if (total > 0.0) scatter_ = std::clamp(static_cast<float>(kNormal * sum / total), 0.002f, scatter_);
}

// How far the screen has grown from the model, as `shift` (0 or more, in shares) says, step by step: as far as it lies
// above 0 everywhere around.
Plane Likeness::grown(const Plane& shift, const Plane& trusted) const {
  constexpr float kSteepest = 0.001f;  // shares over a 1080th of the height
  constexpr float kUnknown = 0.3f;     // shares: farther than any screen
  Plane heights(shift.width, shift.height);
  for (std::size_t i = 0; i < heights.values.size(); ++i) heights[i] = -kUnknown + trusted[i] * (kUnknown - shift[i]);
  heights = coarse(heights, workers_);
  Plane least = enlarged(envelope(heights, Plane(heights.width, heights.height, kSteepest * kCoarse / unit_)),
                         shift.width, shift.height, workers_);
  for (std::size_t i = 0; i < least.values.size(); ++i) least[i] = std::max(-least[i], 0.0f) * trusted[i];
  return least;
}

Plane Likeness::trusted(const Plane& sure, const Plane& clear) const {
  // How far it is to where the screen is sure: next to nothing through what is clear, soon too far through all else.
  constexpr float kThroughClear = 2000.0f, kThroughElse = 25.0f;  // 1080ths of the height
  Plane seeds = coarse(boxMean(sure, pixelsOf(6.0f, unit_), workers_), workers_), slope = coarse(clear, workers_);
  for (float& v : seeds.values) v = smoothStep(0.7f, 0.95f, v);
  for (float& v : slope.values) v = kCoarse / unit_ * ((1.0f - v) / kThroughElse + v / kThroughClear);
  Plane reached = enlarged(envelope(seeds, slope), pale_.width, pale_.height, workers_);
  for (std::size_t i = 0; i < reached.values.size(); ++i) {
    reached[i] = clear[i] * smoothStep(0.1f, 0.5f, reached[i]);
  }
  return reached;
}

Plane Likeness::at(const Plane& near, const Plane& trusted) const {
  const float tolerance = std::clamp(2.5f * scatter_, 0.010f, 0.020f);
  const float tight = std::min(std::clamp(2.0f * scatter_, 0.005f, 0.020f), tolerance);
  Plane glare = trusted, drift = trusted;  // how much paler, and how far across, the screen has grown
  const auto isTrusted = [](float v) { return v > 0.0f; };
  if (std::any_of(trusted.values.begin(), trusted.values.end(), isTrusted)) {
    for (std::size_t i = 0; i < glare.values.size(); ++i) {
      glare[i] = std::max(calm_[i], 0.0f);
      drift[i] = std::abs(calmAcross_[i]);
    }
    glare = grown(glare, trusted);
    drift = grown(drift, trusted);
  }
  Plane alike(pale_.width, pale_.height);
  const auto within = [](float shift, float reach) { return smoothStep(1.3f, 0.7f, shift / reach); };
  Bands(workers_, pale_.height).run([&](int, int first, int end) {
    for (std::size_t i = alike.index(0, first); i < alike.index(0, end); ++i) {
      if (noisy_[i] <= 0.0f) continue;
      const float reach = noisy_[i] * (tolerance + near[i] * (1.0f - trusted[i]) * (tight - tolerance));
      // What is trusted may be as uneven as it is strong, and more saturated than the model, which no veil is.
      const float more = 0.3f * (glare[i] + drift[i]), saturated = 0.03f * trusted[i];
      const float pale = pale_[i] - glare[i], calm = calm_[i] - glare[i], across = std::abs(across_[i]) - drift[i];
      alike[i] = within(std::abs(pale), 2.5f * reach + more + (pale < 0.0f ? saturated : 0.0f)) *
                 within(std::abs(calm), reach + more + (calm < 0.0f ? saturated : 0.0f)) *
                 within(across, 2.5f * reach + more + saturated) * std::max(admitted_[i], trusted[i]);
    }
  });
  return alike;
}

}  // namespace kalvetra::plates
