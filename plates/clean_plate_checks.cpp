#include "plates/clean_plate_checks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include "plates/cells.h"
#include "plates/clean_plate_light.h"
#include "plates/sentence.h"
#include "plates/shift.h"

namespace kalvetra::plates {

namespace {

constexpr int kOtherShape = 100;  // of the width times the other height, the part that may differ
// A screen's pixel in the plate: through a small blur, within these parts of the light expected, and within this
// distance of its paint in shares of the channels' sum.
constexpr float kDarkest = 0.4f, kBrightest = 2.0f, kPaint = 0.06f;
constexpr float kLeastScreen = 0.5f;   // of where the shot shows screen, the plate must
constexpr float kSubject = 0.005f;     // of the picture: more than marks and dirt
constexpr float kLeastMatched = 0.5f;  // of the cells
constexpr float kMostLight = 2.5f;     // times brighter or darker
constexpr float kFarShift = 0.02f;     // of the longer side: folds and marks lie beside their own places
constexpr float kStrong = 1.0f;        // levels of structure, from which a shift shows in the key
constexpr float kUnlike = 0.5f;        // correlation in place
constexpr float kOfNormal = 1.2533f;   // standard deviation over mean deviation

// Under a blur of three pixels: a picture's own noise would be a pattern in every frame keyed against it, while folds
// are wider than that.
Planes planesOf(const Plate& plate) {
  Planes planes;
  for (std::size_t c = 0; c < 3; ++c) {
    planes[c] = Plane(plate.width, plate.height);
    for (std::size_t i = 0; i < planes[c].values.size(); ++i) planes[c][i] = colorOf(plate, i)[c];
    planes[c] = boxMean(planes[c], 1);
  }
  return planes;
}

// 1 where the plate, brought to the shot's light, shows about what was fitted to the shot.
Plane screenOf(const CleanView& view, const Planes& clean, const Tint& tint) {
  Plane screen(view.plate.width, view.plate.height);
  for (std::size_t i = 0; i < screen.values.size(); ++i) {
    Rgb here, there;
    for (std::size_t c = 0; c < 3; ++c) {
      here[c] = tint.of(clean[c][i], c);
      there[c] = view.fitted[c][i];
    }
    const float sum = std::max(sumOf(here), 1.0f), expected = std::max(sumOf(there), 1.0f);
    const bool isScreen =
        sum > kDarkest * expected && sum < kBrightest * expected && paintOff(here, there) < kPaint * kPaint;
    screen[i] = isScreen ? 1.0f : 0.0f;
  }
  return screen;
}

struct Shares {
  float screen;   // of where the shot is bare, how much of it the plate shows as screen
  float subject;  // of the picture: where the shot is bare and the plate shows something else
};

Shares sharesOf(const CleanView& view, const Plane& screen) {
  std::size_t bare = 0, both = 0;
  for (std::size_t i = 0; i < screen.values.size(); ++i) {
    const bool isBare = std::any_of(view.samples.begin(), view.samples.end(),
                                    [&](const auto& sample) { return sample.bare[i] >= 128; });
    if (!isBare) continue;
    ++bare;
    if (screen[i] > 0.0f) ++both;
  }
  return {bare == 0 ? 1.0f : static_cast<float>(both) / static_cast<float>(bare),
          static_cast<float>(bare - both) / static_cast<float>(screen.values.size())};
}

// Where the light is another than can be mended.
std::string otherLight(const CleanView& view, const Light& light) {
  const auto isFarOff = [](float gain) { return gain > kMostLight || gain * kMostLight < 1.0f; };
  Rgb lit;
  for (std::size_t c = 0; c < 3; ++c) lit[c] = light.tint.of(light.level[c], c);
  const float whole = sumOf(lit) / std::max(sumOf(light.level), 1.0f);
  if (isFarOff(whole)) {
    return sentence(
        "was taken in another light, %.1f times as bright as the shot's: take it again in the shot's own light",
        1.0 / static_cast<double>(whole));
  }
  const std::array<const char*, 3> names{"red", view.isBlue ? "blue" : "green", view.isBlue ? "green" : "blue"};
  for (std::size_t c = 0; c < 3; ++c) {
    if (!isFarOff(light.tint.gain[c])) continue;
    return sentence(
        "was taken in another light, with %.1f times as much %s as the shot's: take it again in the shot's own light "
        "and white balance",
        1.0 / static_cast<double>(light.tint.gain[c]), names[c]);
  }
  return {};
}

void checkCamera(const CleanView& view, const Plane& screen, CleanPlate& result) {
  std::vector<unsigned char> counts(screen.values.size());
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = screen[i] > 0.0f ? 255 : 0;
  const Texture clean = textureOf(view.plate.picture(), counts.data());
  ScreenShift best;
  for (const CleanSample& sample : view.samples) {
    const ScreenShift shift = shiftBetween(clean, textureOf(sample.picture, sample.bare.data(), view.isBlue));
    if (shift.likeness > best.likeness) best = shift;
  }
  const float longer = static_cast<float>(std::max(view.plate.width, view.plate.height));
  if (best.isSure) result.shift = best.pixels();
  if (!best.isSure) return;
  const bool isFar = result.shift > kFarShift * longer;
  if (isFar || (best.contrast > kStrong && best.likenessInPlace < kUnlike)) {
    result.refusal = sentence(
        "was taken with the camera elsewhere: the screen's structure lies %.0f pixels beside that of the shot; take it "
        "again from the shot's own place, or have the plate fitted",
        static_cast<double>(result.shift));
  } else {
    result.notes.push_back(
        sentence("was taken with the camera %.1f pixels beside the shot's: what folds and marks the "
                 "screen has may show",
                 static_cast<double>(result.shift)));
  }
}

// Where the plate shows no screen, the fitted one, with a soft border.
void fillSubject(const CleanView& view, const Plane& screen, Planes& planes) {
  const int reach = std::max(2, view.plate.height / 180);
  const Plane inner = boxMean(screen, reach);
  const Plane soft = boxMean(inner, reach);
  for (std::size_t i = 0; i < soft.values.size(); ++i) {
    const float keep = smoothStep(0.6f, 0.95f, soft[i]);
    for (std::size_t c = 0; c < 3; ++c) planes[c][i] = view.fitted[c][i] + keep * (planes[c][i] - view.fitted[c][i]);
  }
}

float noiseOf(const CleanView& view) {
  constexpr std::size_t kStep = 7;  // of the pixels, no divisor of a width that comes up
  std::vector<float> off;
  for (const CleanSample& sample : view.samples) {
    const Light light = lightOf(cellsOf(view, sample), cellsOf(view.plate.picture()));
    LevelRows rows(sample.picture, view.isBlue);
    const auto width = static_cast<std::size_t>(view.plate.width);
    for (std::size_t i = 0; i < sample.bare.size();) {
      const float* const row = rows.row(static_cast<int>(i / width));
      for (const std::size_t end = (i / width + 1) * width; i < end; i += kStep) {
        if (sample.bare[i] < 128) continue;
        const float* const seen = row + i % width * 4 + 1;
        const Rgb plate = colorOf(view.plate, i);
        for (std::size_t c = 0; c < 3; ++c) off.push_back(std::abs(seen[c] - light.tint.of(plate[c], c)));
      }
    }
  }
  if (off.empty()) return view.samples[0].noise;
  // By the mean, as differences of whole levels have a coarse median; without outliers.
  const float most = 4.0f * quantile(off, 0.5f) + 2.0f;
  double sum = 0.0, count = 0.0;
  for (const float d : off) {
    if (d > most) continue;
    sum += static_cast<double>(d);
    count += 1.0;
  }
  return kOfNormal * static_cast<float>(sum / count);
}

}  // namespace

std::string wrongSize(int plateWidth, int plateHeight, int frameWidth, int frameHeight) {
  const std::int64_t one = std::int64_t{plateWidth} * frameHeight, other = std::int64_t{frameWidth} * plateHeight;
  if (std::abs(one - other) * kOtherShape <= std::max(one, other)) return {};
  return sentence(
      "is %d x %d and the clip %d x %d: a clean plate must show the whole picture in the clip's proportions",
      plateWidth, plateHeight, frameWidth, frameHeight);
}

void correct(CleanView& view, CleanPlate& result) {
  Cells clean = cellsOf(view.plate.picture());
  const Light light = middleLight(view, clean);
  Planes planes = planesOf(view.plate);
  const Plane screen = screenOf(view, planes, light.tint);
  const Shares shares = sharesOf(view, screen);
  if (shares.screen < kLeastScreen || light.matched < kLeastMatched) {
    result.refusal = sentence(
        "shows the screen's colour on only %.0f %% of where the shot shows it: it is of another set, in another light "
        "or "
        "white balance, or somebody stands before it",
        100.0 * static_cast<double>(std::min(shares.screen, light.matched)));
    return;
  }
  for (std::size_t c = 0; c < 3; ++c) {
    result.gain[c] = light.level[c] < 1.0f ? light.tint.gain[c] : light.tint.of(light.level[c], c) / light.level[c];
  }
  result.refusal = otherLight(view, light);
  if (!result.refusal.empty()) return;
  std::vector<unsigned char> counts(screen.values.size());
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = screen[i] > 0.0f ? 255 : 0;
  clean = cellsOf(view.plate.picture(), counts.data());
  checkCamera(view, screen, result);
  if (!result.refusal.empty()) return;
  noteLight(view, light, result);
  for (std::size_t c = 0; c < 3; ++c) {
    for (float& v : planes[c].values) v = light.tint.of(v, c);
  }
  followLight(view, clean, planes, result);
  if (!result.refusal.empty()) return;
  if (shares.subject > kSubject) {
    result.notes.push_back(
        sentence("shows something else than the screen on %.1f %% of the picture, where the shot shows "
                 "it bare: the fitted plate stands in there",
                 100.0 * static_cast<double>(shares.subject)));
  }
  fillSubject(view, screen, planes);
  ColorRange range;
  for (const CleanSample& sample : view.samples) range.widen(cellsOf(view, sample));
  for (std::size_t i = 0; i < screen.values.size(); ++i)
    setColor(view.plate, i, {range.of(planes[0][i], 0), range.of(planes[1][i], 1), range.of(planes[2][i], 2)});
  view.plate.noise = noiseOf(view);
}

}  // namespace kalvetra::plates
