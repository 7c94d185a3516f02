// Background extraction: which pixels of the small frame are plausibly backdrop.
#include <algorithm>
#include <cstddef>
#include <vector>

#include "cpu/vectors.h"
#include "engine/CKALVETRA.h"
#include "engine/chroma_plane.h"
#include "engine/exposure_curve.h"
#include "engine/simd/kernels.h"
#include "imaging/numeric.h"

using namespace kalvetra;

namespace {

constexpr int kTableSize = ExtractionGeometry::kLuminances;
constexpr float kUnset = -999.0f;  // no chroma is that low
constexpr int kDarkLimit = 80;     // darker luminances repeat the chroma found here

// Code values of one component at every exposure.
std::vector<unsigned char> exposures(const ExposureCurve& curve, unsigned char component) {
  const double light = curve.linear(component);
  std::vector<unsigned char> codes(ExposureCurve::kSteps);
  if (simd::enabled()) {
    simd::exposureCodes(curve, light, codes.data());
  } else {
    for (int i = 0; i < ExposureCurve::kSteps; ++i) {
      codes[static_cast<std::size_t>(i)] = curve.code(light, ExposureCurve::exposure(i));
    }
  }
  return codes;
}

void blackOut(unsigned char* pixel) { pixel[0] = pixel[1] = pixel[2] = 0; }

// Blacks the pixel out where it is not plausibly backdrop; the byte for the map.
unsigned char extractPixel(const ExtractionGeometry& g, unsigned char* pixel) {
  const YIQ color = CImagingZEP().RGBtoYIQ(pixel[2], pixel[1], pixel[0]);
  if (!(g.slope1 * color.I > color.Q && g.slope2 * color.I > color.Q)) {
    blackOut(pixel);
    return 0;
  }
  const auto expected = static_cast<std::size_t>(color.Y);
  const Chroma off{color.I - g.tableI[expected], color.Q - g.tableQ[expected]};
  if (length(off) <= ExtractionGeometry::kTolerance) return 0;
  blackOut(pixel);
  return 255;
}

}  // namespace

unsigned int CKALVETRA::MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB, YIQ keyYIQ,
                                      float* tableI, float* tableQ) {
  if (tableI == nullptr || tableQ == nullptr) return 0;
  std::fill_n(tableI, kTableSize, kUnset);
  std::fill_n(tableQ, kTableSize, kUnset);

  CImagingZEP imaging;
  const ExposureCurve curve;
  const auto r = exposures(curve, keyR), g = exposures(curve, keyG), b = exposures(curve, keyB);
  for (std::size_t i = 0; i < r.size(); ++i) {
    const YIQ color = imaging.RGBtoYIQ(r[i], g[i], b[i]);
    const int index = std::clamp(truncToInt(color.Y), 0, kTableSize - 1);
    tableI[index] = color.I;
    tableQ[index] = color.Q;
  }

  std::fill_n(tableI, kDarkLimit, tableI[kDarkLimit]);
  std::fill_n(tableQ, kDarkLimit, tableQ[kDarkLimit]);
  std::replace(tableI, tableI + kTableSize, kUnset, keyYIQ.I);
  std::replace(tableQ, tableQ + kTableSize, kUnset, keyYIQ.Q);
  return 1;
}

unsigned int CKALVETRA::ExtractBack32bit(unsigned char* image, unsigned char* map, int width, int height, int rowBytes,
                                         unsigned char keyR, unsigned char keyG, unsigned char keyB, int hue1,
                                         int hue2) {
  if (image == nullptr || map == nullptr) return 0;
  if (width < 1 || height < 1) return 1;
  CImagingZEP imaging;
  ExtractionGeometry geometry;
  geometry.slope1 = boundSlope(hue1);
  geometry.slope2 = boundSlope(hue2);
  const YIQ key = imaging.RGBtoYIQ(keyR, keyG, keyB);
  MakeBCCorrect(keyR, keyG, keyB, key, geometry.tableI, geometry.tableQ);

  const int mapBytes = imaging.Align8(width);
  for (int y = 0; y < height; ++y) {
    unsigned char* pixel = image + std::ptrdiff_t{y} * rowBytes;
    unsigned char* rejected = map + std::ptrdiff_t{y} * mapBytes;
    if (simd::enabled()) {
      simd::extract(geometry, pixel, rejected, static_cast<std::size_t>(width));
    } else {
      for (int x = 0; x < width; ++x, pixel += 4, ++rejected) *rejected = extractPixel(geometry, pixel);
    }
  }
  return 1;
}
