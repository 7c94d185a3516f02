#include "plates/shift.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "plates/levels.h"
#include "plates/plane.h"

namespace kalvetra::plates {

namespace {

constexpr int kLongest = 320;        // pixels of a texture
constexpr int kFine = 1, kWide = 8;  // radii of the two blurs
constexpr float kSteps = 16.0f;      // a level
constexpr float kLeastCovered = 0.6f;
constexpr float kLimit = 10.0f;  // standard deviations: a shadow's edge shall not outvote the screen
constexpr float kLeastDeviation = 0.1f;
constexpr int kCoarseReach = 8, kFineReach = 2;
constexpr int kLeastCommon = 400;     // pixels
constexpr float kLeastShare = 0.33f;  // of the smaller texture
constexpr float kAlike = 0.3f;        // least correlation of one structure
constexpr float kLeastShift = 0.3f;   // pixels of a texture
constexpr float kDetour =
    30.0f;  // correlation that a shift by the texture's width must gain: .08 for a twentieth of it
constexpr float kLeastGain = 0.003f, kGainOfRest = 0.1f;

std::size_t index(const Texture& texture, int x, int y) {
  return static_cast<std::size_t>(y) * static_cast<std::size_t>(texture.width) + static_cast<std::size_t>(x);
}

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
  if (std::abs(dx) >= first.width || std::abs(dy) >= first.height) return all;
  const int left = std::max(0, -dx), right = std::min(first.width, first.width - dx);
  for (int y = std::max(0, -dy); y < std::min(first.height, first.height - dy); ++y) {
    const std::size_t a = index(first, left, y), b = index(second, left + dx, y + dy);
    const std::int16_t *const av = first.values.data() + a, *const aCounts = first.counted.data() + a;
    const std::int16_t *const bv = second.values.data() + b, *const bCounts = second.counted.data() + b;
    int firsts = 0, seconds = 0, products = 0, count = 0;
    for (int x = 0; x < right - left; ++x) {
      const auto in = static_cast<std::int16_t>(av[x] & bCounts[x]),
                 out = static_cast<std::int16_t>(bv[x] & aCounts[x]);
      firsts += in * in;
      seconds += out * out;
      products += in * out;
      count -= aCounts[x] & bCounts[x];
    }
    all.firsts += firsts;
    all.seconds += seconds;
    all.products += products;
    all.count += count;
  }
  return all;
}

int countOf(const Texture& texture) {
  return static_cast<int>(std::count(texture.counted.begin(), texture.counted.end(), std::int16_t{-1}));
}

Texture emptyTexture(int width, int height, float scale) {
  const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return {width, height, std::vector<std::int16_t>(pixels), std::vector<std::int16_t>(pixels), scale};
}

Texture halfOf(const Texture& texture) {
  Texture half = emptyTexture(texture.width / 2, texture.height / 2, texture.scale * 2.0f);
  for (int y = 0; y < half.height; ++y) {
    for (int x = 0; x < half.width; ++x) {
      int sum = 0, count = 0;
      for (int k = 0; k < 4; ++k) {
        const std::size_t i = index(texture, 2 * x + k % 2, 2 * y + k / 2);
        sum += texture.values[i];
        count -= texture.counted[i];
      }
      if (count < 3) continue;
      half.values[index(half, x, y)] = static_cast<std::int16_t>(sum / count);
      half.counted[index(half, x, y)] = -1;
    }
  }
  return half;
}

struct Place {
  int x, y;
  float likeness;
};

// The likest shift around one, the shortest of those that are about as like: folds tell nothing of a shift along them,
// and repeat. In place where no other overlaps enough.
Place bestAround(const Texture& first, const Texture& second, int aroundX, int aroundY, int reach, int least) {
  const auto worth = [&](int dx, int dy, float likeness) {
    const auto far = static_cast<float>(dx * dx + dy * dy) / static_cast<float>(first.width * first.width);
    return likeness - kDetour * far;
  };
  Place best{0, 0, overlapAt(first, second, 0, 0).likeness()};
  float most = worth(0, 0, best.likeness);
  for (int dy = aroundY - reach; dy <= aroundY + reach; ++dy) {
    for (int dx = aroundX - reach; dx <= aroundX + reach; ++dx) {
      const Overlap overlap = overlapAt(first, second, dx, dy);
      const float value = worth(dx, dy, overlap.likeness());
      if (overlap.count < least || value <= most) continue;
      most = value;
      best = {dx, dy, overlap.likeness()};
    }
  }
  return best;
}

// Where a parabola through three values has its top, from the middle one, -0.5..0.5.
float topOf(float before, float middle, float after) {
  const float bend = before - 2.0f * middle + after;
  return bend < 0.0f ? std::clamp(0.5f * (before - after) / bend, -0.5f, 0.5f) : 0.0f;
}

// In levels: the size that what stands out is cut down to.
float limitOf(const Plane& values, const Plane& weight) {
  std::vector<float> sizes;
  for (std::size_t i = 0; i < values.values.size(); ++i) {
    if (weight[i] > 0.0f) sizes.push_back(std::abs(values[i]));
  }
  if (sizes.empty()) return kLeastDeviation;
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  return std::min(kLimit * std::max(1.4826f * *middle, kLeastDeviation), kMostTexture / kSteps);
}

}  // namespace

float ScreenShift::pixels() const { return std::sqrt(x * x + y * y); }

Texture textureOf(const ConstFrame& picture, const unsigned char* counts, bool isBlue) {
  if (picture.width < 1 || picture.height < 1) return {};
  const float scale = std::max(1.0f, static_cast<float>(std::max(picture.width, picture.height)) / kLongest);
  const auto sizeOf = [&](int pixels) {
    return std::max(1, static_cast<int>(static_cast<float>(pixels) / scale + 0.5f));
  };
  const int width = sizeOf(picture.width), height = sizeOf(picture.height);
  Plane sums(width, height), numbers(width, height), pixels(width, height);
  LevelRows rows(picture, isBlue);
  for (int y = 0; y < picture.height; ++y) {
    const float* p = rows.row(y);
    const std::size_t row = sums.index(0, static_cast<int>(std::int64_t{y} * height / picture.height));
    const unsigned char* const map = counts + static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width);
    for (int x = 0; x < picture.width; ++x, p += 4) {
      const std::size_t i = row + static_cast<std::size_t>(std::int64_t{x} * width / picture.width);
      pixels[i] += 1.0f;
      if (map[x] < 128) continue;
      sums[i] += (77.0f * p[1] + 150.0f * p[2] + 29.0f * p[3]) / 256.0f;
      numbers[i] += 1.0f;
    }
  }
  Plane weight(width, height);
  for (std::size_t i = 0; i < sums.values.size(); ++i) {
    const bool isCounted = numbers[i] > 0.0f && numbers[i] >= kLeastCovered * pixels[i];
    weight[i] = isCounted ? 1.0f : 0.0f;
    sums[i] = isCounted ? sums[i] / numbers[i] : 0.0f;
  }
  const Plane fine = boxMean(sums, kFine), fineWeight = boxMean(weight, kFine);
  const Plane wide = boxMean(sums, kWide), wideWeight = boxMean(weight, kWide);
  for (std::size_t i = 0; i < sums.values.size(); ++i)
    sums[i] = weight[i] > 0.0f ? fine[i] / fineWeight[i] - wide[i] / wideWeight[i] : 0.0f;
  const float limit = limitOf(sums, weight);
  Texture texture = emptyTexture(width, height, scale);
  for (std::size_t i = 0; i < sums.values.size(); ++i) {
    texture.values[i] = static_cast<std::int16_t>(std::clamp(sums[i], -limit, limit) * kSteps);
    texture.counted[i] = weight[i] > 0.0f ? -1 : 0;
  }
  return texture;
}

ScreenShift shiftBetween(const Texture& first, const Texture& second) {
  ScreenShift shift;
  if (first.width != second.width || first.height != second.height) return shift;
  const auto smaller = static_cast<float>(std::min(countOf(first), countOf(second)));
  const int least = std::max(kLeastCommon, static_cast<int>(kLeastShare * smaller));
  const Overlap inPlace = overlapAt(first, second, 0, 0);
  if (inPlace.count < least) return shift;
  shift.likenessInPlace = inPlace.likeness();
  shift.contrast = static_cast<float>(std::sqrt(std::min(inPlace.firsts, inPlace.seconds) / inPlace.count)) / kSteps;
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
