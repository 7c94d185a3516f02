#include "analysis/trial_picture.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "analysis/at_once.h"
#include "engine/render.h"

namespace kalvetra {

namespace {

constexpr double kMostPixels = 2'200'000.0;

void swapColors(std::vector<unsigned char>& argb) {
  for (std::size_t i = 0; i < argb.size(); i += kPixelBytes) std::swap(argb[i + 2], argb[i + 3]);
}

// The backdrop at each pixel: the known plate, or the engine's own estimate.
std::vector<unsigned char> backdropOf(const TrialPicture& p, const KeySettings& settings,
                                      const std::optional<KnownPlate>& known) {
  std::vector<unsigned char> result(p.argb.size());
  renderPlate(settings, p.frame(), packedFrame(result.data(), p.width, p.height), {.plate = known ? &*known : nullptr});
  return result;
}

}  // namespace

TrialPicture trialPicture(const unsigned char* argb, int width, int height, std::shared_ptr<const Plate> plate) {
  const double pixels = static_cast<double>(width) * height;
  const int step = std::max(1, static_cast<int>(std::ceil(std::sqrt(pixels / kMostPixels))));
  TrialPicture picture{{}, (width + step - 1) / step, (height + step - 1) / step, std::move(plate)};
  picture.argb.reserve(std::size_t{kPixelBytes} * static_cast<std::size_t>(picture.width) *
                       static_cast<std::size_t>(picture.height));
  for (int y = 0; y < height; y += step) {
    for (int x = 0; x < width; x += step) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * width + x) * kPixelBytes;
      picture.argb.insert(picture.argb.end(), p, p + kPixelBytes);
    }
  }
  return picture;
}

TrialPicture withSwappedColors(TrialPicture picture) {
  swapColors(picture.argb);
  if (picture.plate) {
    auto plate = std::make_shared<Plate>(*picture.plate);
    swapColors(plate->argb);
    picture.plate = std::move(plate);
  }
  return picture;
}

KeySettings withSwappedColors(KeySettings settings) {
  std::swap(settings.keyColor[1], settings.keyColor[2]);
  settings.screen = 1 - settings.screen;
  return settings;
}

MeasuredClip measureClipBlack(const std::vector<TrialPicture>& pictures, const KeySettings& settings) {
  std::vector<std::optional<KnownPlate>> plates;
  for (const TrialPicture& p : pictures) plates.push_back(p.known());
  std::vector<ScreenSample> samples;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    samples.push_back({pictures[i].frame(), &pictures[i].fitted, plates[i] ? &*plates[i] : nullptr});
  }
  return measureClipBlack(std::span<const ScreenSample>(samples), settings);
}

Trials makeTrials(const std::vector<TrialPicture>& pictures, const KeySettings& plain) {
  std::vector<ReferenceMatte> mattes(pictures.size());
  atOnce(pictures.size(), [&](std::size_t i) {
    const TrialPicture& p = pictures[i];
    const std::vector<unsigned char> screen = backdropOf(p, plain, p.fitted.plate.known());
    mattes[i] = makeReferenceMatte(p.argb.data(), screen.data(), p.width, p.height, p.fitted.plate.noise);
  });
  Trials trials(plain);
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const TrialPicture& p = pictures[i];
    const std::vector<unsigned char> backdrop = backdropOf(p, plain, p.known());
    trials.add(p.argb.data(), backdrop.data(), p.width, p.height, std::move(mattes[i]));
  }
  return trials;
}

}  // namespace kalvetra
