#include "plates/fit_reference.h"

#include <algorithm>
#include <cmath>

#include "engine/KalvetraFinalCut.h"
#include "imaging/numeric.h"

namespace kalvetra::plates {

ReducedKey::ReducedKey(const Picture& picture, const std::array<double, 3>& keyColor, const Workers* workers)
    : color_(picture.color), argb_(rounded(0.0f)), workers_(workers) {
  settings_.view = kKalvetraViewResult;
  settings_.keyColor = keyColor;
  settings_.smoothBG = 1;
  settings_.shadow = 100;
  settings_.clipWhite = 100;
  settings_.despillWhite = settings_.despillSkin = 20;
  settings_.screenGain = 33;
}

std::vector<unsigned char> ReducedKey::rounded(float offset) const {
  std::vector<unsigned char> argb(color_[0].values.size() * kPixelBytes, 255);
  for (std::size_t i = 0; i < color_[0].values.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) argb[i * kPixelBytes + c + 1] = truncToByte(color_[c][i] + offset + 0.5f);
  }
  return argb;
}

Plane ReducedKey::alpha(const KnownPlate* plate) const {
  std::vector<unsigned char> keyed(argb_.size());
  Plane alpha(color_[0].width, color_[0].height);
  render(settings_, source(argb_), packedFrame(keyed.data(), alpha.width, alpha.height),
         {.workers = workers_, .plate = plate});
  for (std::size_t i = 0; i < alpha.values.size(); ++i) alpha[i] = static_cast<float>(keyed[i * kPixelBytes]) / 255.0f;
  return alpha;
}

Planes ReducedKey::plateOf(const std::vector<unsigned char>& argb) const {
  const int width = color_[0].width, height = color_[0].height;
  std::vector<unsigned char> plate(argb.size());
  renderPlate(settings_, source(argb), packedFrame(plate.data(), width, height));
  Planes planes;
  for (std::size_t c = 0; c < 3; ++c) {
    planes[c] = Plane(width, height);
    for (std::size_t i = 0; i < planes[c].values.size(); ++i)
      planes[c][i] = static_cast<float>(plate[i * kPixelBytes + c + 1]);
  }
  return planes;
}

Planes ReducedKey::ownPlate() const { return plateOf(argb_); }

Planes ReducedKey::ownSmoothPlate() const {
  constexpr int kSteps = 8;  // of a level
  Planes mean;
  for (Plane& plane : mean) plane = Plane(color_[0].width, color_[0].height);
  for (int step = 0; step < kSteps; ++step) {
    const Planes one = plateOf(rounded((static_cast<float>(step) + 0.5f) / kSteps - 0.5f));
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t i = 0; i < mean[c].values.size(); ++i) mean[c][i] += one[c][i] / kSteps;
    }
  }
  return mean;
}

Plane clearInOwnKey(const Plane& own, const Plane& calm, float unit, const Workers* workers) {
  Plane clear(own.width, own.height), visible(own.width, own.height);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    clear[i] = smoothStep(0.06f + 0.09f * calm[i], 0.015f + 0.045f * calm[i], own[i]);
    visible[i] = smoothStep(0.1f + 0.12f * calm[i], 0.3f + 0.12f * calm[i], own[i]);
  }
  constexpr float kAway = 70.0f;  // 1080ths of the height that what is seen keeps its surroundings
  const Plane small = halved(halved(boxMean(visible, 1, workers), workers), workers);
  const Plane beside = enlarged(envelope(small, Plane(small.width, small.height, 4.0f / (kAway * unit))), own.width,
                                own.height, workers);
  clear = boxMean(clear, pixelsOf(8.0f, unit), workers);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    clear[i] = smoothStep(0.9f, 1.0f, clear[i]) * smoothStep(0.6f, 0.2f, beside[i]);
  }
  return clear;
}

Plane givenWay(const Plane& own, const Plane& fitted, const PaintAndLight& parted, const Planes& screen,
               const PaleAxis& axis, float unit, const Workers* workers) {
  Plane more = fitted, pale(own.width, own.height), across = pale;
  for (std::size_t i = 0; i < more.values.size(); ++i) {
    more[i] -= own[i];
    const float sum = std::max(screen[0][i] + screen[1][i] + screen[2][i], kLeastSum);
    const Shift shift = axis.of({screen[0][i] / sum, screen[2][i] / sum}, {parted.red[i], parted.blue[i]});
    pale[i] = shift.pale;
    across[i] = shift.across;
  }
  // Not for the noise of single pixels.
  const auto calm = [&](const Plane& plane) { return boxMean(plane, pixelsOf(4.0f, unit), workers); };
  more = calm(more), pale = calm(pale), across = calm(across);
  Plane way = calm(own);
  for (std::size_t i = 0; i < way.values.size(); ++i) {
    const float other = std::max(std::abs(across[i]), -pale[i]);
    way[i] = smoothStep(0.25f, 0.12f, way[i]) * smoothStep(0.015f, 0.05f, more[i]) *
             smoothStep(0.012f, 0.004f, pale[i]) * smoothStep(0.005f, 0.012f, other);
  }
  // Only what is broad, up to its borders: hair and edges are not.
  const int breadth = pixelsOf(10.0f, unit);
  Plane broad = boxMean(way, breadth, workers);
  for (float& v : broad.values) v = smoothStep(0.6f, 0.9f, v);
  broad = boxMean(broad, breadth, workers);
  for (std::size_t i = 0; i < way.values.size(); ++i) way[i] *= smoothStep(0.0f, 0.3f, broad[i]);
  return way;
}

Doubts doubtsOf(const Plane& bare, const Plane& own, const Plane& fitted) {
  // Shares of the picture: bare screen, what the engine keys away and what the fit leaves of it, what it keeps and the
  // fit takes though it is no screen.
  double covered = 0.0, clear = 0.0, left = 0.0, solid = 0.0, lost = 0.0;
  for (std::size_t i = 0; i < bare.values.size(); ++i) {
    covered += static_cast<double>(bare[i]);
    if (own[i] < 0.03f) {
      clear += 1.0;
      left += static_cast<double>(fitted[i]);
    } else if (own[i] > 0.9f && bare[i] < 0.05f) {
      solid += 1.0;
      lost += static_cast<double>(1.0f - fitted[i]);
    }
  }
  const auto pixels = static_cast<double>(bare.values.size());
  constexpr double kLeastCovered = 0.03, kMostLeft = 0.04, kMostLost = 0.04;
  covered /= pixels;
  left /= std::max(clear, 0.05 * pixels);
  lost /= std::max(solid, 0.05 * pixels);
  const auto within = [](double value, double most) {
    return smoothStep(static_cast<float>(1.5 * most), static_cast<float>(most), static_cast<float>(value));
  };
  Doubts doubts;
  doubts.trust = smoothStep(static_cast<float>(kLeastCovered / 1.5), static_cast<float>(kLeastCovered),
                            static_cast<float>(covered)) *
                 within(left, kMostLeft) * within(lost, kMostLost);
  if (covered < kLeastCovered) {
    doubts.why = "too little of the bare screen is seen to fit a plate to it";
  } else if (left > kMostLeft) {
    doubts.why = "the backdrop is not of one paint: a fitted plate would leave a part of it in the picture";
  } else if (lost > kMostLost) {
    doubts.why = "the subject is too like the screen: a fitted plate would take a part of it away";
  }
  return doubts;
}

}  // namespace kalvetra::plates
