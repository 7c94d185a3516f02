#include "plates/cells.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "engine/pixel_formats.h"
#include "plates/plane.h"

namespace kalvetra::plates {

namespace {

constexpr int kSamples = 4;         // a side of a cell
constexpr float kLeastSum = 24.0f;  // of the three channels: darker colours have no hue worth the name
// Colours as the shares of red and blue in their sum: at least half as far from grey as the screen, and on its side.
constexpr float kLeastKind = 0.5f, kMostKind = 2.0f;
constexpr float kLeastColor = 0.04f;  // of the screen itself, from grey
constexpr float kMostGain = 16.0f;
constexpr float kLeastLevel = 2.0f;  // mean of a channel that has a ratio
// Relative distances that the search for the ratio narrows down to: the last is that of what matches.
constexpr std::array kReaches{0.3f, 0.15f, 0.08f, 0.05f, 0.05f};
constexpr float kNoisy = 2.0f;  // levels by which the mean of a few samples may err
constexpr float kFewCells = 6.0f, kEnoughCells = 40.0f;

float sumOf(const Rgb& c) { return c[0] + c[1] + c[2]; }

// Whether `c` is of the hue of `screen`, whatever its light.
bool isOfKind(const Rgb& c, const Rgb& screen) {
  const float sum = sumOf(c), screenSum = sumOf(screen);
  if (sum < kLeastSum || screenSum < kLeastSum) return false;
  constexpr float kGrey = 1.0f / 3.0f;
  const float red = screen[0] / screenSum - kGrey, blue = screen[2] / screenSum - kGrey;
  const float square = red * red + blue * blue;
  if (square < kLeastColor * kLeastColor) return false;
  const float along = ((c[0] / sum - kGrey) * red + (c[2] / sum - kGrey) * blue) / square;
  return along > kLeastKind && along < kMostKind;
}

float medianOf(std::vector<float>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Pair {
  Rgb picture, plate;
  float weight;
};

std::vector<Pair> screenPairs(const Cells& picture, const Cells& plate) {
  std::vector<Pair> pairs;
  pairs.reserve(picture.size());
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const float weight = picture[i].weight * plate[i].weight;
    if (weight > 0.0f && isOfKind(picture[i].color, plate[i].color))
      pairs.push_back({picture[i].color, plate[i].color, weight});
  }
  return pairs;
}

// 1 for a pair that is the same colour under `gain`, down to 0 from `reach` on.
float match(const Pair& pair, const Rgb& gain, float reach) {
  float off = 0.0f, whole = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const float lit = gain[c] * pair.plate[c], d = pair.picture[c] - lit;
    off += d * d;
    whole += lit * lit;
  }
  const float outer = reach * reach * whole + kNoisy * kNoisy;
  if (off >= outer) return 0.0f;
  const float t = 1.0f - off / outer;
  return t * t;
}

void refineGain(const std::vector<Pair>& pairs, float reach, Light& light, float& cells) {
  Rgb seen{}, expected{};
  cells = 0.0f;
  for (const Pair& pair : pairs) {
    const float weight = pair.weight * match(pair, light.gain, reach);
    cells += weight;
    for (std::size_t c = 0; c < 3; ++c) {
      seen[c] += weight * pair.picture[c];
      expected[c] += weight * pair.plate[c];
    }
  }
  for (std::size_t c = 0; c < 3 && cells > 0.0f; ++c) {
    light.level[c] = expected[c] / cells;
    light.gain[c] =
        light.level[c] < kLeastLevel ? 1.0f : std::clamp(seen[c] / expected[c], 1.0f / kMostGain, kMostGain);
  }
}

}  // namespace

Cells cellsOf(const ConstFrame& picture, const unsigned char* counts) {
  if (picture.width < 1 || picture.height < 1) return {};
  std::array<std::size_t, kCellColumns * kSamples> places;
  for (std::size_t i = 0; i < places.size(); ++i)
    places[i] = (2 * i + 1) * static_cast<std::size_t>(picture.width) / (2 * places.size());
  Cells cells(kCells);
  std::vector<Rgb> counted(kCellColumns), all(kCellColumns);
  std::vector<float> numbers(kCellColumns);
  std::vector<unsigned char> converted;
  const bool isPlain = picture.format == PixelFormat::Argb8 && !picture.premultiplied;
  if (!isPlain) converted.resize(static_cast<std::size_t>(picture.width) * kPixelBytes);
  for (int row = 0; row < kCellRows; ++row) {
    std::fill(counted.begin(), counted.end(), Rgb{});
    std::fill(all.begin(), all.end(), Rgb{});
    std::fill(numbers.begin(), numbers.end(), 0.0f);
    for (int sample = 0; sample < kSamples; ++sample) {
      const int y = static_cast<int>(std::int64_t{2 * (row * kSamples + sample) + 1} * picture.height /
                                     (2 * kCellRows * kSamples));
      if (!isPlain) readRow(picture, y, converted.data());
      const unsigned char* const pixels = isPlain ? picture.row(y) : converted.data();
      const unsigned char* const map =
          counts == nullptr ? nullptr : counts + static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width);
      for (std::size_t i = 0; i < places.size(); ++i) {
        const unsigned char* const p = pixels + places[i] * kPixelBytes;
        const float count = map == nullptr || map[places[i]] >= 128 ? 1.0f : 0.0f;
        const std::size_t cell = i / kSamples;
        numbers[cell] += count;
        for (std::size_t c = 0; c < 3; ++c) {
          const float v = p[c + 1];
          all[cell][c] += v;
          counted[cell][c] += count * v;
        }
      }
    }
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      Cell& cell = cells[static_cast<std::size_t>(row) * kCellColumns + i];
      constexpr float kAll = kSamples * kSamples;
      cell.weight = numbers[i] / kAll;
      for (std::size_t c = 0; c < 3; ++c)
        cell.color[c] = numbers[i] > 0.0f ? counted[i][c] / numbers[i] : all[i][c] / kAll;
    }
  }
  return cells;
}

Light lightOf(const Cells& picture, const Cells& plate) {
  Light light;
  if (picture.size() != kCells || plate.size() != kCells) return light;
  const std::vector<Pair> pairs = screenPairs(picture, plate);
  light.screen = static_cast<float>(pairs.size()) / static_cast<float>(kCells);
  if (pairs.empty()) return light;
  std::vector<float> ratios(pairs.size());
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < pairs.size(); ++i)
      ratios[i] = pairs[i].picture[c] / std::max(pairs[i].plate[c], kLeastLevel);
    light.gain[c] = medianOf(ratios);
  }
  float cells = 0.0f;
  for (const float reach : kReaches) refineGain(pairs, reach, light, cells);
  const float trust = smoothStep(kFewCells, kEnoughCells, cells);
  float matched = 0.0f, weights = 0.0f;
  for (const Pair& pair : pairs) {
    weights += pair.weight;
    if (match(pair, light.gain, 2.0f * kReaches.back()) > 0.0f) matched += pair.weight;
  }
  light.matched = matched / weights;
  for (float& gain : light.gain) gain = 1.0f + trust * (gain - 1.0f);
  return light;
}

Rgb significantGain(const Light& light) {
  Rgb gain;
  for (std::size_t c = 0; c < 3; ++c) {
    const float excess = light.gain[c] - 1.0f;
    gain[c] = 1.0f + excess * smoothStep(0.25f, 0.75f, std::abs(excess) * light.level[c]);
  }
  return gain;
}

Plate litPlate(const Plate& plate, const Rgb& gain) {
  // Gains as fractions of 16 bits, and colours with 8 bits more, so that whole registers of them are multiplied.
  const float most = std::max({gain[0], gain[1], gain[2]});
  int bits = 15;
  while (bits > 8 && most * static_cast<float>(1 << bits) > 65535.0f) --bits;
  std::array<std::uint16_t, 16> factors;
  for (std::size_t i = 0; i < factors.size(); ++i) {
    const float factor = i % 4 == 0 ? 1.0f : gain[i % 4 - 1];
    factors[i] = static_cast<std::uint16_t>(std::clamp(factor * static_cast<float>(1 << bits) + 0.5f, 0.0f, 65535.0f));
  }
  const int drop = bits - 8;
  const auto half = static_cast<std::uint16_t>((1 << drop) / 2);
  Plate lit = plate;
  const auto scaled = [&](unsigned char v, std::size_t i) {
    const auto wide = static_cast<std::uint16_t>((static_cast<std::uint32_t>(v << 8) * factors[i]) >> 16);
    return static_cast<unsigned char>(std::min((wide + half) >> drop, 255));
  };
  std::size_t i = 0;
  for (; i + factors.size() <= lit.argb.size(); i += factors.size()) {
    for (std::size_t k = 0; k < factors.size(); ++k) lit.argb[i + k] = scaled(lit.argb[i + k], k);
  }
  for (std::size_t k = 0; i < lit.argb.size(); ++i, ++k) lit.argb[i] = scaled(lit.argb[i], k);
  return lit;
}

}  // namespace kalvetra::plates
