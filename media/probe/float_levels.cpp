#include "media/probe/float_levels.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "media/pixels/deep_converter.h"

namespace kalvetra {

namespace {

constexpr float kMostLevels = 256.0f, kTooBright = 8.0f;

// Of every component as it is stored.
std::vector<float> colorsOf(const AVFrame& picture) {
  Image image;
  DeepConverter().convert(picture, {}, {.levels = true}, image);
  std::vector<float> colors;
  for (int y = 0; y < image.height; ++y) {
    const float* pixel = image.floats(y);
    for (int x = 0; x < image.width; ++x, pixel += 4) colors.insert(colors.end(), pixel, pixel + 3);
  }
  return colors;
}

}  // namespace

bool holdsLevels(const AVFrame& picture) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (format == nullptr || (format->flags & AV_PIX_FMT_FLAG_FLOAT) == 0 || !DeepConverter::handles(*format))
    return false;
  std::vector<float> colors = colorsOf(picture);
  const auto [least, most] = std::minmax_element(colors.begin(), colors.end());
  if (*least < 0.0f || *most <= 1.0f || *most >= kMostLevels) return false;
  if (std::all_of(colors.begin(), colors.end(), [](float value) { return value == std::floor(value); }))
    return *most > 2.0f;
  const auto middle = colors.begin() + static_cast<std::ptrdiff_t>(colors.size() / 2);
  std::nth_element(colors.begin(), middle, colors.end());
  return *middle > kTooBright;
}

}  // namespace kalvetra
