#include "plates/shift.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "engine/pixel_formats.h"

namespace kalvetra::plates {

namespace {

constexpr int kLongest = 320;        // pixels of a texture
constexpr int kFine = 1, kWide = 8;  // radii of the two blurs
constexpr float kLeastCovered = 0.6f;
constexpr float kLimit = 10.0f;  // standard deviations: a shadow's edge shall not outvote the screen
constexpr float kLeastDeviation = 0.1f;
constexpr int kCoarseReach = 8, kFineReach = 2;
constexpr int kLeastCommon = 400;     // pixels
constexpr float kLeastShare = 0.33f;  // of the smaller texture
constexpr float kAlike = 0.3f;        // least correlation of one structure
constexpr float kLeastShift = 0.3f;   // pixels of a texture
constexpr float kLeastGain = 0.003f, kGainOfRest = 0.1f;

// Sums of products over what two textures have in common under a shift.
struct Overlap {
  double firsts = 0.0, seconds = 0.0, products = 0.0;
  int count = 0;
  float likeness() const {
    return firsts > 0.0 && seconds > 0.0 ? static_cast<float>(products / std::sqrt(firsts * seconds)) : 0.0f;
  }
};

Overlap overlapAt(const Texture& first, const Texture& second, int dx, int dy) {
  Overlap all;
  const int width = first.value.width, height = first.value.height;
  const int left = std::max(0, -dx), right = std::min(width, width - dx);
  for (int y = std::max(0, -dy); y < std::min(height, height - dy); ++y) {
    const float *const a = first.value.row(y), *const aw = first.weight.row(y);
    const float *const b = second.value.row(y + dy), *const bw = second.weight.row(y + dy);
    float firsts = 0.0f, seconds = 0.0f, products = 0.0f, count = 0.0f;
    for (int x = left; x < right; ++x) {
      const float both = aw[x] * bw[x + dx];
      firsts += both * a[x] * a[x];
      seconds += both * b[x + dx] * b[x + dx];
      products += both * a[x] * b[x + dx];
      count += both;
    }
    all.firsts += static_cast<double>(firsts);
    all.seconds += static_cast<double>(seconds);
    all.products += static_cast<double>(products);
    all.count += static_cast<int>(count);
  }
  return all;
}

float countOf(const Texture& texture) {
  double sum = 0.0;
  for (const float w : texture.weight.values) sum += static_cast<double>(w);
  return static_cast<float>(sum);
}

Texture halfOf(const Texture& texture) {
  Texture half{Plane(texture.value.width / 2, texture.value.height / 2),
               Plane(texture.value.width / 2, texture.value.height / 2), texture.scale * 2.0f};
  for (int y = 0; y < half.value.height; ++y) {
    for (int x = 0; x < half.value.width; ++x) {
      float sum = 0.0f, weight = 0.0f;
      for (int k = 0; k < 4; ++k) {
        const std::size_t i = texture.value.index(2 * x + k % 2, 2 * y + k / 2);
        sum += texture.value[i] * texture.weight[i];
        weight += texture.weight[i];
      }
      if (weight < 2.5f) continue;
      half.value[half.value.index(x, y)] = sum / weight;
      half.weight[half.weight.index(x, y)] = 1.0f;
    }
  }
  return half;
}

struct Place {
  int x, y;
  float likeness;
};

// The likest shift around one; in place where no other overlaps enough.
Place bestAround(const Texture& first, const Texture& second, int aroundX, int aroundY, int reach, int least) {
  Place best{0, 0, overlapAt(first, second, 0, 0).likeness()};
  for (int dy = aroundY - reach; dy <= aroundY + reach; ++dy) {
    for (int dx = aroundX - reach; dx <= aroundX + reach; ++dx) {
      const Overlap overlap = overlapAt(first, second, dx, dy);
      if (overlap.count >= least && overlap.likeness() > best.likeness) best = {dx, dy, overlap.likeness()};
    }
  }
  return best;
}

// Where a parabola through three values has its top, from the middle one, -0.5..0.5.
float topOf(float before, float middle, float after) {
  const float bend = before - 2.0f * middle + after;
  return bend < 0.0f ? std::clamp(0.5f * (before - after) / bend, -0.5f, 0.5f) : 0.0f;
}

void limitOutliers(Texture& texture) {
  std::vector<float> sizes;
  for (std::size_t i = 0; i < texture.value.values.size(); ++i) {
    if (texture.weight[i] > 0.0f) sizes.push_back(std::abs(texture.value[i]));
  }
  if (sizes.empty()) return;
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  const float limit = kLimit * std::max(1.4826f * *middle, kLeastDeviation);
  for (float& v : texture.value.values) v = std::clamp(v, -limit, limit);
}

}  // namespace

float ScreenShift::pixels() const { return std::sqrt(x * x + y * y); }

Texture textureOf(const ConstFrame& picture, const unsigned char* counts) {
  if (picture.width < 1 || picture.height < 1) return {};
  const float scale = std::max(1.0f, static_cast<float>(std::max(picture.width, picture.height)) / kLongest);
  const auto sizeOf = [&](int pixels) {
    return std::max(1, static_cast<int>(static_cast<float>(pixels) / scale + 0.5f));
  };
  const int width = sizeOf(picture.width), height = sizeOf(picture.height);
  Plane sums(width, height), numbers(width, height), pixels(width, height);
  std::vector<unsigned char> argb(static_cast<std::size_t>(picture.width) * kPixelBytes);
  for (int y = 0; y < picture.height; ++y) {
    readRow(picture, y, argb.data());
    const std::size_t row = sums.index(0, static_cast<int>(std::int64_t{y} * height / picture.height));
    const unsigned char* const map = counts + static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width);
    for (int x = 0; x < picture.width; ++x) {
      const std::size_t i = row + static_cast<std::size_t>(std::int64_t{x} * width / picture.width);
      pixels[i] += 1.0f;
      if (map[x] < 128) continue;
      const unsigned char* const p = argb.data() + static_cast<std::ptrdiff_t>(x) * kPixelBytes;
      sums[i] += static_cast<float>(77 * p[1] + 150 * p[2] + 29 * p[3]) / 256.0f;
      numbers[i] += 1.0f;
    }
  }
  Texture texture{Plane(width, height), Plane(width, height), scale};
  for (std::size_t i = 0; i < sums.values.size(); ++i) {
    const bool isCounted = numbers[i] > 0.0f && numbers[i] >= kLeastCovered * pixels[i];
    texture.weight[i] = isCounted ? 1.0f : 0.0f;
    sums[i] = isCounted ? sums[i] / numbers[i] : 0.0f;
  }
  const Plane fine = boxMean(sums, kFine), fineWeight = boxMean(texture.weight, kFine);
  const Plane wide = boxMean(sums, kWide), wideWeight = boxMean(texture.weight, kWide);
  for (std::size_t i = 0; i < sums.values.size(); ++i) {
    if (texture.weight[i] > 0.0f) texture.value[i] = fine[i] / fineWeight[i] - wide[i] / wideWeight[i];
  }
  limitOutliers(texture);
  return texture;
}

ScreenShift shiftBetween(const Texture& first, const Texture& second) {
  ScreenShift shift;
  if (first.value.width != second.value.width || first.value.height != second.value.height) return shift;
  const float smaller = std::min(countOf(first), countOf(second));
  const int least = std::max(kLeastCommon, static_cast<int>(kLeastShare * smaller));
  const Overlap inPlace = overlapAt(first, second, 0, 0);
  if (inPlace.count < least) return shift;
  shift.likenessInPlace = inPlace.likeness();
  shift.contrast = static_cast<float>(std::sqrt(std::min(inPlace.firsts, inPlace.seconds) / inPlace.count));
  const Place coarse = bestAround(halfOf(first), halfOf(second), 0, 0, kCoarseReach, least / 4);
  const Place best = bestAround(first, second, 2 * coarse.x, 2 * coarse.y, kFineReach, least);
  const auto likenessAt = [&](int dx, int dy) { return overlapAt(first, second, dx, dy).likeness(); };
  const float x =
      static_cast<float>(best.x) + topOf(likenessAt(best.x - 1, best.y), best.likeness, likenessAt(best.x + 1, best.y));
  const float y =
      static_cast<float>(best.y) + topOf(likenessAt(best.x, best.y - 1), best.likeness, likenessAt(best.x, best.y + 1));
  shift.x = x * first.scale;
  shift.y = y * first.scale;
  shift.likeness = best.likeness;
  const float gain = best.likeness - shift.likenessInPlace;
  const bool isWhole = best.x != 0 || best.y != 0;
  shift.isSure = best.likeness >= kAlike && std::sqrt(x * x + y * y) >= kLeastShift &&
                 (isWhole ? gain > kLeastGain + kGainOfRest * (1.0f - best.likeness) : best.likeness > 0.8f);
  return shift;
}

}  // namespace kalvetra::plates
