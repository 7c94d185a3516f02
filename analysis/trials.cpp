#include "analysis/trials.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "analysis/mixture.h"
#include "engine/render.h"

namespace kalvetra {

namespace {

using Pixel = std::array<unsigned char, 4>;

constexpr Rgb kGrey{128.0f, 128.0f, 128.0f}, kMagenta{255.0f, 0.0f, 255.0f};

// Of the regions, in their order. No picture shows whether a shadow is wanted, so it counts less.
constexpr std::array<double, kRegions> kWeights{1.0, 1.0, 1.0, 0.35, 1.0};

constexpr float kTintWeight = 0.3f;                    // of a level of green left, or of violet
constexpr int kBare = 13, kClear = 128, kSolid = 242;  // opacities of 255
constexpr int kDeep = 6;                               // pixels from all that is not solid
constexpr float kScreenHue = 30.0f;                    // degrees; what is of another hue is right to become opaque
constexpr int kChanged = 8;                            // levels
constexpr std::size_t kMostOfPlace = 8000;
constexpr int kRow = 512;  // pixels in a row of a sample

// A mean, of which nothing may have been added.
struct Mean {
  double sum = 0.0, count = 0.0;
  void add(double value) { sum += value, count += 1.0; }
  double value() const { return count > 0.0 ? sum / count : 0.0; }
};

Rgb rgbOf(const Pixel& p) { return {static_cast<float>(p[1]), static_cast<float>(p[2]), static_cast<float>(p[3])}; }
float alphaOf(const Pixel& p) { return static_cast<float>(p[0]) / 255.0f; }

// By how much green stands out of an opaque or half-opaque pixel over black.
float visibleGreen(const Pixel& p) { return greenExcess(rgbOf(p)) * alphaOf(p); }

// By more than noise.
bool differs(const Pixel& a, const Pixel& b) {
  return std::abs(a[1] - b[1]) > kChanged || std::abs(a[2] - b[2]) > kChanged || std::abs(a[3] - b[3]) > kChanged;
}

std::vector<Pixel> pixelsOf(const unsigned char* argb, std::size_t count) {
  std::vector<Pixel> pixels(count);
  if (count > 0) std::memcpy(pixels.data(), argb, count * sizeof(Pixel));
  return pixels;
}

std::vector<Pixel> chosen(const std::vector<Pixel>& pixels, const std::vector<std::size_t>& places) {
  std::vector<Pixel> result;
  for (const std::size_t i : places) result.push_back(pixels[i]);
  // Full rows, for the keyer.
  result.resize((places.size() + kRow - 1) / kRow * kRow);
  return result;
}

ConstFrame frameOf(const std::vector<Pixel>& pixels, int width, int height) {
  return packedFrame(reinterpret_cast<const unsigned char*>(pixels.data()), width, height);
}

// `width` times `height` pixels keyed against the backdrop of each.
std::vector<Pixel> keyedPixels(const KeySettings& settings, const std::vector<Pixel>& source,
                               const std::vector<Pixel>& backdrop, int width, int height) {
  std::vector<Pixel> result(source.size());
  const KnownPlate plate{frameOf(backdrop, width, height)};
  render(settings, frameOf(source, width, height),
         packedFrame(reinterpret_cast<unsigned char*>(result.data()), width, height), {.plate = &plate});
  return result;
}

std::vector<Pixel> keyedSample(const KeySettings& settings, const std::vector<Pixel>& source,
                               const std::vector<Pixel>& backdrop) {
  return keyedPixels(settings, source, backdrop, kRow, static_cast<int>(source.size()) / kRow);
}

// Of each pixel of a plain key.
std::vector<Place> placesOf(const std::vector<Pixel>& key, int width, int height) {
  Plane open(width, height);
  for (std::size_t i = 0; i < key.size(); ++i) open[i] = key[i][0] < kSolid ? 1.0f : 0.0f;
  const Plane depth = distanceToSet(open);
  std::vector<Place> places(key.size());
  for (std::size_t i = 0; i < key.size(); ++i) {
    places[i] = depth[i] > kDeep      ? Place::Deep
                : key[i][0] >= kClear ? Place::Rim
                : key[i][0] >= kBare  ? Place::Thin
                                      : Place::Clear;
  }
  return places;
}

float difference(const Target& target, const Pixel& keyed) {
  const float alpha = alphaOf(keyed), gap = target.alpha - alpha;
  float sum = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const float color = alpha * static_cast<float>(keyed[c + 1]) - target.color[c];
    sum += std::abs(color + kGrey[c] * gap) + std::abs(color + kMagenta[c] * gap);
  }
  return sum / 6.0f;
}

// Levels of colour that stand out: green that the plain key would have taken out, only where it, too, leaves the pixel
// solid; and violet beyond the target's.
float tint(const Target& target, const Pixel& keyed, const Pixel& plain) {
  const float green = visibleGreen(keyed);
  const float violet = std::max(-green, 0.0f) - std::max(-greenExcess(target.color), 0.0f);
  const float left = plain[0] < kSolid ? 0.0f : green - std::max(visibleGreen(plain), 0.0f);
  return std::max({left, violet, 0.0f});
}

}  // namespace

void Trials::add(const unsigned char* argb, const unsigned char* backdrop, int width, int height,
                 ReferenceMatte matte) {
  const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const std::vector<Pixel> source = pixelsOf(argb, size), behind = pixelsOf(backdrop, size);
  Picture picture{};
  picture.matte = std::move(matte);
  choosePixels(picture, keyedPixels(plain_, source, behind, width, height), width, height);
  picture.source = chosen(source, picture.pixels);
  picture.backdrop = chosen(behind, picture.pixels);
  picture.plain = keyedSample(plain_, picture.source, picture.backdrop);
  pictures_.push_back(std::move(picture));
}

// An even sample of each place, after the targets.
void Trials::choosePixels(Picture& picture, const std::vector<Pixel>& plainKey, int width, int height) const {
  for (const Target& t : picture.matte.targets) picture.pixels.push_back(t.pixel);
  const std::vector<Place> places = placesOf(plainKey, width, height);
  std::array<std::size_t, kPlaces> area{}, seen{};
  for (const Place place : places) ++area[static_cast<std::size_t>(place)];
  for (std::size_t i = 0; i < places.size(); ++i) {
    const auto place = static_cast<std::size_t>(places[i]);
    if (seen[place]++ % (area[place] / kMostOfPlace + 1) != 0) continue;
    picture.pixels.push_back(i);
    picture.places.push_back(places[i]);
  }
}

double Trials::cost(const Picture& picture, const KeySettings& settings) const {
  const std::vector<Pixel> key = keyedSample(settings, picture.source, picture.backdrop);
  const ReferenceMatte& matte = picture.matte;
  std::array<Mean, kRegions> errors;
  for (std::size_t i = 0; i < matte.targets.size(); ++i) {
    const Target& target = matte.targets[i];
    errors[static_cast<std::size_t>(target.region)].add(
        static_cast<double>(difference(target, key[i]) + kTintWeight * tint(target, key[i], picture.plain[i])));
  }
  double total = 0.0;
  for (std::size_t r = 0; r < kRegions; ++r) {
    total += kWeights[r] * errors[r].value() * static_cast<double>(matte.area[r]) / static_cast<double>(matte.pixels);
  }
  return total;
}

double Trials::cost(const KeySettings& settings) const {
  Mean mean;
  for (const Picture& picture : pictures_) mean.add(cost(picture, settings));
  return mean.value();
}

Change Trials::change(const Picture& picture, const KeySettings& settings) const {
  const std::vector<Pixel> key = keyedSample(settings, picture.source, picture.backdrop);
  Rgb screen{};
  for (std::size_t c = 0; c < 3; ++c) screen[c] = static_cast<float>(255.0 * plain_.keyColor[c]);
  const auto rise = [&](std::size_t i) { return (key[i][0] - picture.plain[i][0]) / 2.55; };
  const auto isOfScreen = [&](std::size_t i) { return hueDistance(rgbOf(picture.source[i]), screen) <= kScreenHue; };
  Mean haze, filled, thinned, opened, saved, rim, solids;
  double red = 0.0, green = 0.0;
  const std::vector<Target>& targets = picture.matte.targets;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (targets[i].region == Region::Core) saved.add(isOfScreen(i) ? 0.0 : rise(i));
  }
  for (std::size_t k = 0; k < picture.places.size(); ++k) {
    const std::size_t i = targets.size() + k;
    const Pixel &after = key[i], &before = picture.plain[i];
    const double greener = static_cast<double>(visibleGreen(after) - visibleGreen(before));
    switch (picture.places[k]) {
      case Place::Clear:
        haze.add(isOfScreen(i) ? rise(i) : 0.0);
        continue;
      case Place::Thin:
        filled.add(isOfScreen(i) ? std::max(rise(i), 0.0) : 0.0);
        thinned.add(std::max(-rise(i), 0.0));
        continue;
      case Place::Rim:
        rim.add(greener);
        break;
      case Place::Deep:
        opened.add(std::max(-rise(i), 0.0));
        solids.add(greener);
        break;
    }
    if (after[0] < kClear || !differs(after, before)) continue;
    red += picture.source[i][1];
    green += picture.source[i][2];
  }
  return {haze.value(),  filled.value(), thinned.value(), opened.value(),
          saved.value(), rim.value(),    solids.value(),  green / std::max(red, 1.0)};
}

std::vector<Change> Trials::changes(const KeySettings& settings) const {
  std::vector<Change> all;
  for (const Picture& picture : pictures_) all.push_back(change(picture, settings));
  return all;
}

std::vector<const ReferenceMatte*> Trials::mattes() const {
  std::vector<const ReferenceMatte*> all;
  for (const Picture& p : pictures_) all.push_back(&p.matte);
  return all;
}

}  // namespace kalvetra
