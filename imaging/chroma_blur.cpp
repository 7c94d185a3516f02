// Chroma blur: softens colour, keeps luma, against the blocky chroma of subsampled video.
#include <cstring>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/passes.h"
#include "imaging/sliding_box.h"

using kalvetra::truncToByte;

namespace {

// Bytes 0, 1, 2 become Y, Cb, Cr. Only Y is rounded; the colour differences are truncated.
void toYCbCr(unsigned char* pixel) {
  const float b = pixel[0], g = pixel[1], r = pixel[2];
  pixel[0] = truncToByte(r * 0.299f + g * 0.587f + b * 0.114f + 0.5f);
  pixel[1] = truncToByte(r * -0.1687f + g * -0.3313f + b * 0.5f + 128.0f);
  pixel[2] = truncToByte(r * 0.5f + g * -0.4187f + b * -0.0813f + 128.0f);
}

// The way back is centred on 127.5 and scaled by 255/256: part of the result that keys are tuned to.
void toBGR(unsigned char* pixel) {
  constexpr float scale = 0.99609375f;
  const float y = pixel[0], cb = pixel[1] - 127.5f, cr = pixel[2] - 127.5f;
  pixel[0] = truncToByte((y + 1.772f * cb) * scale + 0.5f);
  pixel[1] = truncToByte((y - 0.34414f * cb - 0.71414f * cr) * scale + 0.5f);
  pixel[2] = truncToByte((y + 1.402f * cr) * scale + 0.5f);
}

}  // namespace

int CImagingZEP::ChromaBlur32bit(int width, int height, unsigned char* image, unsigned char* scratch, int radius) {
  if (image == nullptr || scratch == nullptr) return 0;
  const std::size_t bytes = kalvetra::byteCount(width, height) * 4;
  if (kalvetra::simd::enabled() && bytes != 0 && kalvetra::simd::chromaBlur(image, width, height, radius)) return 1;
  for (std::size_t i = 0; i < bytes; i += 4) toYCbCr(image + i);
  ChromaBlurCore3_32bit(width, height, image, scratch, radius);
  for (std::size_t i = 0; i < bytes; i += 4) toBGR(image + i);
  return 1;
}

int CImagingZEP::ChromaBlurCore3_32bit(int width, int height, unsigned char* image, unsigned char* scratch,
                                       int radius) {
  if (image == nullptr || scratch == nullptr || radius < 0) return 0;
  if (radius < 1 || width < 1 || height < 1) return 1;
  radius = kalvetra::effectiveRadius(width, height, radius);
  const std::vector<int> columnCounts = kalvetra::windowCounts(width, radius);
  const std::vector<int> rowCounts = kalvetra::windowCounts(height, radius);

  const unsigned char* in = image;
  unsigned char* out = scratch;
  const kalvetra::BoxSource chroma{image + 1, width, height, std::ptrdiff_t{4} * width, 4};
  kalvetra::slideBox<2>(chroma, radius, [&](int x, int y, const auto& sums) {
    const std::int64_t count =
        std::int64_t{columnCounts[static_cast<std::size_t>(x)]} * rowCounts[static_cast<std::size_t>(y)];
    out[0] = in[0];
    out[1] = static_cast<unsigned char>(sums[0] / count);
    out[2] = static_cast<unsigned char>(sums[1] / count);
    out[3] = in[3];
    in += 4;
    out += 4;
  });
  std::memcpy(image, scratch, kalvetra::byteCount(width, height) * 4);
  return 1;
}
