#include "plates/cells.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <utility>

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
constexpr float kDarkLevel = 20.0f;  // of a channel: there its own ratio and that of all count alike
// Relative distances that the search for the ratio narrows down to: the last is that of what matches.
constexpr std::array kReaches{0.3f, 0.15f, 0.08f, 0.05f, 0.05f};
constexpr float kNoisy = 2.0f;  // levels by which the mean of a few samples may err
constexpr float kFewCells = 6.0f, kEnoughCells = 40.0f;

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

// 1 for a pair that is the same colour under `tint`, down to 0 from `reach` on.
float match(const Pair& pair, const Tint& tint, float reach) {
  float off = 0.0f, whole = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const float lit = tint.of(pair.plate[c], c), d = pair.picture[c] - lit;
    off += d * d;
    whole += lit * lit;
  }
  const float outer = reach * reach * whole + kNoisy * kNoisy;
  if (off >= outer) return 0.0f;
  const float t = 1.0f - off / outer;
  return t * t;
}

// Whether a pair is one colour under `tint`, or the same paint with a part of that light.
bool isLitOrShaded(const Pair& pair, const Tint& tint, float reach) {
  constexpr float kDarkest = 0.15f;  // darker ones have no hue to be known by
  if (match(pair, tint, reach) > 0.0f) return true;
  Rgb lit{};
  for (std::size_t c = 0; c < 3; ++c) lit[c] = tint.of(pair.plate[c], c);
  const float part = sumOf(pair.picture) / std::max(sumOf(lit), 1.0f);
  if (part < kDarkest || part > 1.0f) return false;
  Tint shade = tint;
  for (std::size_t c = 0; c < 3; ++c) {
    shade.gain[c] *= part;
    shade.offset[c] *= part;
  }
  return match(pair, shade, reach) > 0.0f;
}

void refineTint(const std::vector<Pair>& pairs, float reach, Light& light, float& cells) {
  Rgb seen{}, expected{};
  cells = 0.0f;
  for (const Pair& pair : pairs) {
    const float weight = pair.weight * match(pair, light.tint, reach);
    cells += weight;
    for (std::size_t c = 0; c < 3; ++c) {
      seen[c] += weight * pair.picture[c];
      expected[c] += weight * pair.plate[c];
    }
  }
  if (cells <= 0.0f) return;
  const float whole = std::clamp(sumOf(seen) / std::max(sumOf(expected), 1.0f), 1.0f / kMostGain, kMostGain);
  for (std::size_t c = 0; c < 3; ++c) {
    const float level = expected[c] / cells, mean = seen[c] / cells;
    const float own = std::clamp(mean / std::max(level, 1.0f), 1.0f / kMostGain, kMostGain);
    const float trust = level * level / (level * level + kDarkLevel * kDarkLevel);
    light.level[c] = level;
    light.tint.gain[c] = whole + trust * (own - whole);
    light.tint.offset[c] = mean - light.tint.gain[c] * level;
  }
}

Plate inFloats(const Plate& plate) {
  Plate floats = blankPlate(PixelFormat::RgbaF32, plate.width, plate.height);
  for (std::size_t i = 0; i < plate.pixels(); ++i) setColor(floats, i, colorOf(plate, i));
  floats.noise = plate.noise;
  floats.keepsShadows = plate.keepsShadows;
  return floats;
}

template <class Value>
void mix(std::vector<Value>& values, const std::vector<Value>& others, float share) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto one = static_cast<float>(values[i]), other = static_cast<float>(others[i]);
    const float mixed = one + (other - one) * share;
    values[i] = static_cast<Value>(std::is_integral_v<Value> ? mixed + 0.5f : mixed);
  }
}

}  // namespace

float paintOff(const Rgb& a, const Rgb& b) {
  const float sum = std::max(sumOf(a), 1.0f), other = std::max(sumOf(b), 1.0f);
  const float red = a[0] / sum - b[0] / other, blue = a[2] / sum - b[2] / other;
  return red * red + blue * blue;
}

float medianOf(std::vector<float>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

Cells cellsOf(const ConstFrame& picture, const unsigned char* counts, bool isBlue) {
  if (picture.width < 1 || picture.height < 1) return {};
  std::array<std::size_t, kCellColumns * kSamples> places;
  for (std::size_t i = 0; i < places.size(); ++i)
    places[i] = (2 * i + 1) * static_cast<std::size_t>(picture.width) / (2 * places.size());
  Cells cells(kCells);
  std::vector<Rgb> counted(kCellColumns), all(kCellColumns);
  std::vector<float> numbers(kCellColumns);
  std::vector<unsigned char> converted;
  const bool isFloat = picture.format == PixelFormat::RgbaF32;
  const bool isPlain = isFloat || (picture.format == PixelFormat::Argb8 && !picture.premultiplied);
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
        Rgb color;
        if (isFloat) {
          const auto levels = levelsAt(picture, static_cast<int>(places[i]), y);
          color = {levels[1], levels[2], levels[3]};
        } else {
          const unsigned char* const p = pixels + places[i] * kPixelBytes;
          color = {static_cast<float>(p[1]), static_cast<float>(p[2]), static_cast<float>(p[3])};
        }
        if (isBlue) std::swap(color[1], color[2]);
        const float count = map == nullptr || map[places[i]] >= 128 ? 1.0f : 0.0f;
        const std::size_t cell = i / kSamples;
        numbers[cell] += count;
        for (std::size_t c = 0; c < 3; ++c) {
          all[cell][c] += color[c];
          counted[cell][c] += count * color[c];
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
  std::vector<float> ratios;
  ratios.reserve(pairs.size());
  for (const Pair& pair : pairs) ratios.push_back(sumOf(pair.picture) / sumOf(pair.plate));
  light.tint.gain.fill(std::clamp(medianOf(ratios), 1.0f / kMostGain, kMostGain));
  float cells = 0.0f;
  for (const float reach : kReaches) refineTint(pairs, reach, light, cells);
  const float trust = smoothStep(kFewCells, kEnoughCells, cells);
  float matched = 0.0f, close = 0.0f, shaded = 0.0f, weights = 0.0f;
  for (const Pair& pair : pairs) {
    weights += pair.weight;
    if (match(pair, light.tint, 2.0f * kReaches.back()) > 0.0f) matched += pair.weight;
    if (match(pair, light.tint, kReaches.back()) > 0.0f) close += pair.weight;
    if (isLitOrShaded(pair, light.tint, kReaches.back())) shaded += pair.weight;
  }
  light.matched = matched / weights;
  light.close = close / weights;
  light.shaded = shaded / weights;
  for (float& gain : light.tint.gain) gain = 1.0f + trust * (gain - 1.0f);
  for (float& offset : light.tint.offset) offset *= trust;
  return light;
}

Tint significantTint(const Light& light) {
  Tint tint;
  for (std::size_t c = 0; c < 3; ++c) {
    const float share = smoothStep(0.25f, 0.75f, std::abs(light.tint.of(light.level[c], c) - light.level[c]));
    tint.gain[c] = 1.0f + share * (light.tint.gain[c] - 1.0f);
    tint.offset[c] = share * light.tint.offset[c];
  }
  return tint;
}

Plate mixedPlate(const Plate& a, const Plate& b, float share) {
  if (a.format() != b.format()) return mixedPlate(inFloats(a), inFloats(b), share);
  Plate mixed = a;
  mix(mixed.argb, b.argb, static_cast<float>(static_cast<int>(share * 256.0f + 0.5f)) / 256.0f);
  mix(mixed.rgba, b.rgba, share);
  mixed.noise = a.noise + share * (b.noise - a.noise);
  mixed.keepsShadows = a.keepsShadows && b.keepsShadows;
  return mixed;
}

void ColorRange::widen(const Cells& cells) {
  for (const Cell& cell : cells) {
    for (std::size_t c = 0; c < 3; ++c) {
      least[c] = std::min(least[c], cell.color[c]);
      most[c] = std::max(most[c], cell.color[c]);
    }
  }
}

Plate tintedPlate(const Plate& plate, const Tint& tint, const ColorRange& range) {
  std::array<std::array<unsigned char, 256>, 3> tables;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t v = 0; v < 256; ++v)
      tables[c][v] = static_cast<unsigned char>(std::clamp(tint.of(static_cast<float>(v), c) + 0.5f, 0.0f, 255.0f));
  }
  Plate tinted = plate;
  for (std::size_t i = 0; i + 4 <= tinted.argb.size(); i += 4) {
    for (std::size_t c = 0; c < 3; ++c) tinted.argb[i + 1 + c] = tables[c][plate.argb[i + 1 + c]];
  }
  for (std::size_t i = 0; i + 4 <= tinted.rgba.size(); i += 4) {
    for (std::size_t c = 0; c < 3; ++c)
      tinted.rgba[i + c] = range.of(tint.of(255.0f * plate.rgba[i + c], c), c) / 255.0f;
  }
  return tinted;
}

}  // namespace kalvetra::plates
