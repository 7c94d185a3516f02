#include "media/pixels/hidden_colors.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "media/pixels/picture_depth.h"

namespace kalvetra {

namespace {

// Levels of the pyramid: a cell of the last one covers 16 pixels a side. More of them make files larger (by 6 % each)
// and edges no truer.
constexpr std::size_t kLevels = 4;

// Four pixels into one: colours are averaged with alpha as weight. Alpha becomes the weight of the cell, twice the
// mean: a line one pixel wide keeps its weight from level to level, a speck loses it.
void gather(const unsigned char* const (&pixels)[4], unsigned char* cell) {
  unsigned int weight = 0, sum[3]{};
  for (const unsigned char* pixel : pixels) weight += pixel[0];
  if (weight == 0) {
    std::memset(cell, 0, 4);
    return;
  }
  for (const unsigned char* pixel : pixels) {
    for (int c = 0; c < 3; ++c) sum[c] += static_cast<unsigned int>(pixel[0] * pixel[1 + c]);
  }
  const float share = 1.0f / static_cast<float>(weight);
  for (int c = 0; c < 3; ++c) cell[1 + c] = static_cast<unsigned char>(static_cast<float>(sum[c]) * share + 0.5f);
  cell[0] = static_cast<unsigned char>(std::min(weight / 2, 255u));
}

Image halved(const Image& fine) {
  Image coarse((fine.width + 1) / 2, (fine.height + 1) / 2);
  for (int y = 0; y < coarse.height; ++y) {
    const unsigned char *upper = fine.row(2 * y), *lower = fine.row(std::min(2 * y + 1, fine.height - 1));
    unsigned char* out = coarse.row(y);
    for (int x = 0; x < coarse.width; ++x, out += 4) {
      const int left = 8 * x, right = 4 * std::min(2 * x + 1, fine.width - 1);
      gather({upper + left, upper + right, lower + left, lower + right}, out);
    }
  }
  return coarse;
}

// A picture of half the size, drawn out to the full size between the centres of its pixels.
class Doubled {
 public:
  explicit Doubled(const Image& coarse)
      : coarse_(coarse),
        between_(4 * (static_cast<std::size_t>(coarse.width) + 2)),
        row_(8 * static_cast<std::size_t>(coarse.width)) {}

  // Row y of the full size; valid until the next is asked for.
  const unsigned char* row(int y) {
    const unsigned char* near = coarse_.row(y / 2);
    const unsigned char* far = coarse_.row(std::clamp(y / 2 + (y % 2 == 0 ? -1 : 1), 0, coarse_.height - 1));
    const std::size_t bytes = 4 * static_cast<std::size_t>(coarse_.width);
    std::uint16_t* line = between_.data() + 4;
    for (std::size_t i = 0; i < bytes; ++i) line[i] = static_cast<std::uint16_t>(3 * near[i] + far[i]);
    std::copy_n(line, 4, between_.data());
    std::copy_n(line + bytes - 4, 4, line + bytes);
    unsigned char* out = row_.data();
    for (std::size_t i = 0; i < bytes; i += 4, out += 8) {
      const std::uint16_t *at = line + i, *before = at - 4, *after = at + 4;
      for (int c = 0; c < 4; ++c) {
        out[c] = static_cast<unsigned char>((before[c] + 3 * at[c] + 8) >> 4);
        out[4 + c] = static_cast<unsigned char>((3 * at[c] + after[c] + 8) >> 4);
      }
    }
    return row_.data();
  }

 private:
  const Image& coarse_;
  std::vector<std::uint16_t> between_;  // a row between two of the coarse ones, times 4, a border on each side
  std::vector<unsigned char> row_;
};

// Puts `below` under a pixel in the measure that its weight leaves.
void lay(unsigned char* pixel, const unsigned char* below) {
  const unsigned int weight = pixel[0];
  for (int c = 1; c < 4; ++c) {
    pixel[c] = static_cast<unsigned char>((pixel[c] * weight + below[c] * (255 - weight) + 127) / 255);
  }
}

void layOver(Image& cells, const Image& coarser) {
  Doubled below(coarser);
  for (int y = 0; y < cells.height; ++y) {
    const unsigned char* under = below.row(y);
    unsigned char* pixel = cells.row(y);
    for (int x = 0; x < cells.width; ++x, pixel += 4, under += 4) lay(pixel, under);
  }
}

void layOverBlack(Image& cells) {
  constexpr unsigned char kBlack[4]{};
  for (std::size_t i = 0; i < cells.bytes.size(); i += 4) lay(&cells.bytes[i], kBlack);
}

// A row with the colours of `under` where its alpha is 0. Without branches: clear pixels come as noise does.
void fillClear(const unsigned char* in, const unsigned char* under, int width, unsigned char* out) {
  constexpr auto kAlpha = std::bit_cast<std::uint32_t>(std::array<unsigned char, 4>{255, 0, 0, 0});
  for (int x = 0; x < width; ++x) {
    std::uint32_t pixel, below;
    std::memcpy(&pixel, in + 4 * x, 4);
    std::memcpy(&below, under + 4 * x, 4);
    pixel = (pixel & kAlpha) == 0 ? below & ~kAlpha : pixel;
    std::memcpy(out + 4 * x, &pixel, 4);
  }
}

// `result` may be the picture itself.
void extend(const Image& image, Image& result) {
  std::vector<Image> levels;
  levels.push_back(halved(image));
  while (levels.size() < kLevels) levels.push_back(halved(levels.back()));
  layOverBlack(levels.back());
  for (std::size_t i = levels.size() - 1; i > 0; --i) layOver(levels[i - 1], levels[i]);

  Doubled below(levels.front());
  for (int y = 0; y < image.height; ++y) {
    const unsigned char *in = image.row(y), *under = below.row(y);
    unsigned char* out = result.row(y);
    fillClear(in, under, image.width, out);
  }
}

}  // namespace

Image hiddenColorsOf(const Image& deep) {
  Image colors = narrowed(deep, false);
  extend(colors, colors);
  return colors;
}

void putHiddenColors(const unsigned char* colors, float* row, int width) {
  for (int x = 0; x < width; ++x, row += 4, colors += 4) {
    for (int c = 0; row[3] == 0.0f && c < 3; ++c) row[c] = static_cast<float>(colors[c + 1]) / 255.0f;
  }
}

Image withHiddenColorsExtended(const Image& image) {
  if (!image.isDeep()) {
    Image result(image.width, image.height);
    extend(image, result);
    return result;
  }
  const Image colors = hiddenColorsOf(image);
  Image result = image;
  for (int y = 0; y < image.height; ++y) putHiddenColors(colors.row(y), result.floats(y), image.width);
  return result;
}

}  // namespace kalvetra
