#include "plates/fit.h"

#include <algorithm>
#include <utility>

#include "imaging/numeric.h"
#include "plates/fit_fill.h"
#include "plates/fit_light.h"
#include "plates/fit_likeness.h"
#include "plates/fit_paint.h"
#include "plates/fit_picture.h"
#include "plates/fit_reference.h"
#include "plates/levels.h"

namespace kalvetra {

using namespace plates;

namespace {

Plate plateOf(const Planes& planes, PixelFormat format) {
  Plate plate = blankPlate(format, planes[0].width, planes[0].height);
  for (std::size_t i = 0; i < plate.pixels(); ++i) setColor(plate, i, {planes[0][i], planes[1][i], planes[2][i]});
  return plate;
}

// One pixel of the key colour.
FittedPlate withoutFit(const std::string& why, const std::array<double, 3>& keyColor, PixelFormat format) {
  FittedPlate fitted;
  Planes color;
  for (std::size_t c = 0; c < 3; ++c) color[c] = Plane(1, 1, static_cast<float>(keyColor[c] * 255.0));
  fitted.plate = plateOf(color, format);
  fitted.bare = {0};
  fitted.why = why;
  return fitted;
}

struct Screen {
  Plane bare;    // how surely a pixel is bare, lit screen, 0..1
  Plane weight;  // what it counts for its surroundings: less where only the engine takes it for screen
};

Screen screenOf(const Picture& picture, const PaintAndLight& parted, const PaintModel& paint, const PaleAxis& axis,
                const Plane& own, const Workers* workers) {
  const float unit = picture.unit;
  const Plane nothing(own.width, own.height), everything(own.width, own.height, 1.0f);
  Likeness likeness(paint, axis, parted, unit, workers);
  likeness.settle(likeness.at(nothing, nothing));
  const Plane sure = likeness.at(everything, nothing);
  const Plane calm = calmOf(parted.light, sure, unit, workers);
  const Plane trusted = likeness.trusted(sure, clearInOwnKey(own, calm, unit, workers));
  Subject subject = subjectOf(likeness.at(nothing, trusted), unit, workers);
  Plane bare = likeness.at(subject.near, trusted);
  for (std::size_t i = 0; i < bare.values.size(); ++i) subject.near[i] *= 1.0f - trusted[i];
  const Plane lit = litShare(parted.light, bare, subject, unit, workers);
  for (std::size_t i = 0; i < bare.values.size(); ++i) bare[i] *= lit[i] * picture.seen[i];
  // Not beside what is not bare: edges mix.
  const Plane around = boxMean(bare, pixelsOf(2.0f, unit), workers);
  for (std::size_t i = 0; i < bare.values.size(); ++i) bare[i] *= smoothStep(0.7f, 0.95f, around[i]);
  // A quarter is enough for the pixel itself, see filled().
  constexpr float kOfEngine = 0.25f;
  Plane weight = boxMean(sure, pixelsOf(4.0f, unit), workers);
  for (std::size_t i = 0; i < bare.values.size(); ++i)
    weight[i] = bare[i] * (kOfEngine + (1.0f - kOfEngine) * weight[i]);
  return {std::move(bare), std::move(weight)};
}

void giveWay(Planes& screen, const Plane& way, const ReducedKey& key, PixelFormat format) {
  if (std::all_of(way.values.begin(), way.values.end(), [](float v) { return v <= 0.0f; })) return;
  const Planes own = format == PixelFormat::RgbaF32 ? key.ownSmoothPlate() : key.ownPlate();
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < way.values.size(); ++i) screen[c][i] += way[i] * (own[c][i] - screen[c][i]);
  }
}

// `fades`: see fadedFit.
FittedPlate fitted(const ConstFrame& frame, const KeySettings& settings, const Workers* workers, bool fades) {
  // A blue screen is fitted as a green one, as it is keyed.
  const bool blue = settings.screen == 1;
  std::array<double, 3> keyColor = settings.keyColor;
  if (blue) std::swap(keyColor[1], keyColor[2]);
  const PaleAxis axis(keyColor);
  constexpr float kLeastColor = 0.08f;  // shares between the key and grey; a screen has more than .2
  const PixelFormat format = plateFormat(frame.format);
  if (frame.width < 1 || frame.height < 1) return withoutFit("the frame has no pixels", settings.keyColor, format);
  if (axis.length() < kLeastColor)
    return withoutFit("the key colour is too grey to be a screen's", settings.keyColor, format);
  const float keySum = std::max(static_cast<float>(255.0 * (keyColor[0] + keyColor[1] + keyColor[2])), 1.0f);

  Picture picture = reducedPicture(frame, kLongestFit, workers);
  if (blue) std::swap(picture.color[1], picture.color[2]);
  const Planes soft = softened(picture.color, pixelsOf(1.5f, picture.unit), workers);
  const PaintAndLight parted = partedPicture(soft, keySum, workers);
  const PaintModel paint(picture, parted, axis);
  const ReducedKey key(picture, keyColor, workers);
  const Plane own = key.alpha(nullptr);
  const auto [bare, weight] = screenOf(picture, parted, paint, axis, own, workers);
  Planes screen = filledScreen(soft, parted, paint, weight, keySum, picture.unit, workers);

  FittedPlate fit;
  const Plate rounded = plateOf(screen, PixelFormat::Argb8);
  const KnownPlate known = rounded.known();
  const Plane keyed = key.alpha(&known);
  Doubts doubts = doubtsOf(bare, own, keyed);
  fit.sure = doubts.why.empty();
  fit.why = std::move(doubts.why);
  fit.trust = doubts.trust;
  Plane way = givenWay(own, keyed, parted, screen, axis, picture.unit, workers);
  if (fades) {
    for (float& v : way.values) v = 1.0f - doubts.trust * (1.0f - v);
  }
  giveWay(screen, way, key, format);
  if (blue) std::swap(screen[1], screen[2]);
  fit.plate = plateOf(screen, format);
  fit.plate.noise = noiseOf(frame, bare);
  double sum = 0.0;
  for (const float v : bare.values) {
    sum += static_cast<double>(v);
    fit.bare.push_back(truncToByte(255.0f * v + 0.5f));
  }
  fit.covered = sum / static_cast<double>(bare.values.size());
  return fit;
}

}  // namespace

FittedPlate fitPlate(const ConstFrame& frame, const KeySettings& settings, const Workers* workers) {
  return fitted(frame, settings, workers, false);
}

FittedPlate fadedFit(const ConstFrame& frame, const KeySettings& settings, const Workers* workers) {
  return fitted(frame, settings, workers, true);
}

}  // namespace kalvetra
