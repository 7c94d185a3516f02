// Background extraction: which pixels of the small frame are plausibly backdrop.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "engine/CKALVETRA.h"
#include "engine/chroma_plane.h"
#include "imaging/numeric.h"

namespace {

constexpr int kTableSize = 256;      // luminances 0..255
constexpr float kUnset = -999.0f;    // no chroma is that low
constexpr int kDarkLimit = 80;       // darker luminances repeat the chroma found here
constexpr float kTolerance = 20.0f;  // chroma distance from the expected key colour

// A camera's logarithmic exposure curve with a linear toe below code value 60.
class ExposureCurve {
 public:
  ExposureCurve() : scale_(255.0 / std::log10(34.33333407839141)), black_(std::log10(kOffset)) {
    const double toe = std::pow(10.0, 60.0 / scale_);
    slope_ = static_cast<double>(static_cast<float>(65.0 / ((toe - 1.0) * kGain)));
  }

  // Light behind code value `code`, 0..255.
  double linear(unsigned char code) const {
    return code >= 60 ? (std::pow(10.0, code / scale_) - 1.0) * kGain : (code + 5) / slope_;
  }

  // Code value of a component of light `light` at exposure t, 0..1. Narrowed before it is tested and truncated: at t =
  // 1 it lands within 1e-5 of the component, so precision decides the byte.
  unsigned char code(double light, double t) const {
    float v = static_cast<float>((std::log10(light * t / 255.0 + kOffset) - black_) * scale_);
    if (v < 60.0f) v = static_cast<float>(t * light * slope_ - 5.0);
    return kalvetra::truncToByte(v);
  }

 private:
  static constexpr double kOffset = 0.029999999329447746;
  static constexpr double kGain = 7.649999618530273;
  double scale_;
  double black_;
  double slope_;
};

void blackOut(unsigned char* pixel) { pixel[0] = pixel[1] = pixel[2] = 0; }

}  // namespace

unsigned int CKALVETRA::MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB, YIQ keyYIQ,
                                      float* tableI, float* tableQ) {
  if (tableI == nullptr || tableQ == nullptr) return 0;
  std::fill_n(tableI, kTableSize, kUnset);
  std::fill_n(tableQ, kTableSize, kUnset);

  CImagingZEP imaging;
  const ExposureCurve curve;
  const double r = curve.linear(keyR), g = curve.linear(keyG), b = curve.linear(keyB);
  for (int i = 0; i < 10000; ++i) {
    const double t = i / 9999.0;
    const YIQ color = imaging.RGBtoYIQ(curve.code(r, t), curve.code(g, t), curve.code(b, t));
    const int index = std::clamp(kalvetra::truncToInt(color.Y), 0, kTableSize - 1);
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
  CImagingZEP imaging;
  // Slopes of the sector's two bounds. Parallel to the Q axis a slope is infinite, and its test fails at I = 0.
  const YIQ bound1 = imaging.HLStoYIQ({static_cast<float>(hue1), 128.0f, 50.0f});
  const YIQ bound2 = imaging.HLStoYIQ({static_cast<float>(hue2), 128.0f, 50.0f});
  const float slope1 = bound1.Q / bound1.I;
  const float slope2 = bound2.Q / bound2.I;

  std::array<float, kTableSize> tableI, tableQ;
  const YIQ key = imaging.RGBtoYIQ(keyR, keyG, keyB);
  if (MakeBCCorrect(keyR, keyG, keyB, key, tableI.data(), tableQ.data()) == 0) return 0;

  const int mapBytes = imaging.Align8(width);
  for (int y = 0; y < height; ++y) {
    unsigned char* pixel = image + std::ptrdiff_t{y} * rowBytes;
    unsigned char* rejected = map + std::ptrdiff_t{y} * mapBytes;
    for (int x = 0; x < width; ++x, pixel += 4, ++rejected) {
      *rejected = 0;
      const YIQ color = imaging.RGBtoYIQ(pixel[2], pixel[1], pixel[0]);
      if (!(slope1 * color.I > color.Q && slope2 * color.I > color.Q)) {
        blackOut(pixel);
        continue;
      }
      const auto expected = static_cast<std::size_t>(color.Y);
      const kalvetra::Chroma off{color.I - tableI[expected], color.Q - tableQ[expected]};
      if (!(kalvetra::length(off) <= kTolerance)) {
        blackOut(pixel);
        *rejected = 255;
      }
    }
  }
  return 1;
}
