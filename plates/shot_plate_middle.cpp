#include "plates/shot_plate_middle.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "engine/bands.h"
#include "plates/levels.h"

namespace kalvetra::plates {

namespace {

constexpr float kWindow = 5.0f;       // standard deviations of luma that one colour may spread over
constexpr float kLeastWindow = 3.0f;  // levels
constexpr std::size_t kLeastSeen = 2;
constexpr std::size_t kPartOfAll = 5;  // at least every fifth view agrees on a colour
constexpr int kBins = 1024;            // of deviations
constexpr float kBinsALevel = 16.0f;
constexpr float kLeastNoise = 0.5f;  // levels: what rounding leaves of none

// Whether a view is bare at a pixel, and its colour there.
bool isBareAt(const ShotView& view, std::size_t pixel, Rgb& color) {
  if (view.fine != nullptr) {
    const std::int16_t* const p = view.fine + pixel * 3;
    for (std::size_t c = 0; c < 3; ++c) color[c] = static_cast<float>(p[c]) / kFineSteps;
    return p[0] != kNoColor;
  }
  const unsigned char* const p = view.argb + pixel * kPixelBytes;
  for (std::size_t c = 0; c < 3; ++c) color[c] = p[c + 1];
  return p[0] != 0;
}

struct Observations {
  std::array<Rgb, kMostObservations> colors;
  std::array<float, kMostObservations> lumas;
  std::size_t count = 0;

  void add(const Rgb& color) {
    // Kept in order, brightest first.
    const float luma = 0.299f * color[0] + 0.587f * color[1] + 0.114f * color[2];
    std::size_t at = count++;
    for (; at > 0 && lumas[at - 1] < luma; --at) {
      lumas[at] = lumas[at - 1];
      colors[at] = colors[at - 1];
    }
    lumas[at] = luma;
    colors[at] = color;
  }

  // How many lie within `window` below observation `first`, with it.
  std::size_t within(std::size_t first, float window) const {
    std::size_t end = first;
    while (end < count && lumas[first] - lumas[end] <= window) ++end;
    return end - first;
  }
};

struct Range {
  std::size_t first, end;
};

// The brightest observations that enough agree on; none where nowhere enough do.
Range brightestAgreed(const Observations& all, float window) {
  const std::size_t least = std::max(kLeastSeen, (all.count + kPartOfAll - 1) / kPartOfAll);
  for (std::size_t first = 0; first + least <= all.count; ++first) {
    std::size_t number = all.within(first, window);
    if (number < least) continue;
    // Centred on their median, so that the outermost ones on both sides are left out alike.
    const float middle = all.lumas[first + number / 2];
    Range range{first, first + number};
    while (range.first < range.end && all.lumas[range.first] > middle + window / 2) ++range.first;
    while (range.end < all.count && all.lumas[range.end] >= middle - window / 2) ++range.end;
    while (range.end > range.first && all.lumas[range.end - 1] < middle - window / 2) --range.end;
    if (range.end - range.first >= least) return range;
  }
  return {0, 0};
}

Rgb meanOf(const Observations& all, const Range& range) {
  Rgb mean{};
  for (std::size_t i = range.first; i < range.end; ++i) {
    for (std::size_t c = 0; c < 3; ++c) mean[c] += all.colors[i][c];
  }
  for (float& v : mean) v /= static_cast<float>(range.end - range.first);
  return mean;
}

using Histogram = std::array<std::size_t, kBins>;

// Levels that `part` of ten deviations lie within.
float tenths(const Histogram& deviations, std::size_t part) {
  std::size_t all = 0, sum = 0;
  for (const std::size_t n : deviations) all += n;
  std::size_t bin = 0;
  while (bin + 1 < deviations.size() && 10 * (sum += deviations[bin]) < part * all) ++bin;
  return all == 0 ? 0.0f : (static_cast<float>(bin) + 0.5f) / kBinsALevel;
}

// Of normal noise, half lie within .674 standard deviations and nine tenths within 1.645. Codecs leave most pixels as
// they were and shift whole blocks now and then, which the wider one knows of.
float deviationOf(const Histogram& deviations) {
  return std::max(tenths(deviations, 5) / 0.674f, tenths(deviations, 9) / 1.645f);
}

}  // namespace

Middle middleOf(const std::vector<ShotView>& views, const std::vector<Tint>& tints, int width, int height, float noise,
                const Workers* workers) {
  const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  Middle middle{std::vector<float>(pixels * 3), std::vector<unsigned char>(pixels), noise};
  const float window = std::max(kWindow * noise, kLeastWindow);
  const std::size_t least = std::min(kLeastSeen, views.size());
  const Bands bands(workers, height);
  std::vector<Histogram> deviations(static_cast<std::size_t>(bands.count()), Histogram{});
  bands.run([&](int band, int firstRow, int endRow) {
    Histogram& histogram = deviations[static_cast<std::size_t>(band)];
    Observations all;
    const auto firstPixel = static_cast<std::size_t>(firstRow) * static_cast<std::size_t>(width);
    const auto endPixel = static_cast<std::size_t>(endRow) * static_cast<std::size_t>(width);
    for (std::size_t i = firstPixel; i < endPixel; ++i) {
      all.count = 0;
      for (std::size_t k = 0; k < views.size() && k < kMostObservations; ++k) {
        Rgb color;
        if (isBareAt(views[k], i, color)) {
          for (std::size_t c = 0; c < 3; ++c) color[c] = tints[k].undone(color[c], c);
          all.add(color);
        }
      }
      const Range range = all.count == 1 && least == 1 ? Range{0, 1} : brightestAgreed(all, window);
      const std::size_t number = range.end - range.first;
      if (number < least) continue;
      middle.seen[i] = 1;
      const Rgb mean = meanOf(all, range);
      for (std::size_t c = 0; c < 3; ++c) middle.colors[i * 3 + c] = mean[c];
      if (number < 4) continue;
      // The mean has followed its observations by one part in `number`.
      const auto n = static_cast<float>(number);
      const float scale = kBinsALevel * std::sqrt(n / (n - 1.0f));
      for (std::size_t k = range.first; k < range.end; ++k) {
        for (std::size_t c = 0; c < 3; ++c) {
          const float bin = std::min(std::abs(all.colors[k][c] - mean[c]) * scale, static_cast<float>(kBins - 1));
          ++histogram[static_cast<std::size_t>(bin)];
        }
      }
    }
  });
  Histogram total{};
  for (const Histogram& one : deviations) {
    for (std::size_t b = 0; b < total.size(); ++b) total[b] += one[b];
  }
  const float measured = deviationOf(total);
  if (measured > 0.0f) middle.noise = std::max(measured, kLeastNoise);
  return middle;
}

}  // namespace kalvetra::plates
