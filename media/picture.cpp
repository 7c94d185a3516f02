#include "media/picture.h"

#include <cmath>
#include <cstring>

namespace kalvetra {

namespace {

template <std::size_t kPixel>
void turn(const Image& image, int quarterTurns, Image& result) {
  const int right = image.width - 1, bottom = image.height - 1;
  for (int y = 0; y < result.height; ++y) {
    unsigned char* out = result.row(y);
    for (int x = 0; x < result.width; ++x, out += kPixel) {
      const int fromX = quarterTurns == 1 ? y : quarterTurns == 2 ? right - x : quarterTurns == 3 ? right - y : x;
      const int fromY = quarterTurns == 1 ? bottom - x : quarterTurns == 2 ? bottom - y : quarterTurns == 3 ? x : y;
      std::memcpy(out, image.row(fromY) + static_cast<std::ptrdiff_t>(kPixel) * fromX, kPixel);
    }
  }
}

}  // namespace

Image turned(const Image& image, int quarterTurns) {
  const bool sideways = quarterTurns % 2 != 0;
  Image result(sideways ? image.height : image.width, sideways ? image.width : image.height, image.format);
  image.isDeep() ? turn<16>(image, quarterTurns, result) : turn<4>(image, quarterTurns, result);
  return result;
}

int PictureFormat::quarterTurns() const {
  if (!displayMatrix) return 0;
  const double counterClockwise = av_display_rotation_get(displayMatrix->data());
  if (std::isnan(counterClockwise)) return 0;
  const int turns = static_cast<int>(std::lround(-counterClockwise / 90.0)) % 4;
  return turns < 0 ? turns + 4 : turns;
}

bool PictureFormat::isMirrored() const {
  if (!displayMatrix) return false;
  const auto at = [this](std::size_t i) { return static_cast<double>((*displayMatrix)[i]); };
  return at(0) * at(4) - at(1) * at(3) < 0;
}

std::optional<DisplayMatrix> displayMatrixFrom(const std::uint8_t* bytes) {
  if (bytes == nullptr) return std::nullopt;
  DisplayMatrix matrix;
  std::memcpy(matrix.data(), bytes, sizeof matrix);
  return matrix;
}

}  // namespace kalvetra
