#include "media/pixels/light_curves.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "media/pixels/powers.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Where sRGB's line ends: in light, and in code values, where both branches meet.
constexpr double kSrgbLineEnd = 0.0031308, kSrgbCodeEnd = 12.92 * kSrgbLineEnd;
constexpr double kLeast = 0x1p-100;  // keeps logarithms finite where the line is taken anyway

double srgbFromLight(double light) {
  const double curve = 1.055 * powerOf(std::max(light, kLeast), 1 / 2.4) - 0.055;
  return light <= kSrgbLineEnd ? 12.92 * light : curve;
}

double lightFromSrgb(double code) {
  const double curve = powerOf((code + 0.055) / 1.055, 2.4);
  return code <= kSrgbCodeEnd ? code / 12.92 : curve;
}

double lightFromBt709(double code) {
  const double curve = powerOf((code + 0.099) / 1.099, 1 / 0.45);
  return code < 4.5 * 0.018 ? code / 4.5 : curve;
}

// SMPTE ST 2084, in units of 100 cd/m2. The curve has a pole at twice its white.
double lightFromPq(double code) {
  constexpr double kM1 = 2610.0 / 16384, kM2 = 2523.0 / 32, kC1 = 3424.0 / 4096, kC2 = 2413.0 / 128, kC3 = 2392.0 / 128;
  const double p = powerOf(std::max(code, kLeast), 1 / kM2);
  const double share = std::max(p - kC1, 0.0) / std::max(kC2 - kC3 * p, kLeast);
  return std::min(100.0 * powerOf(std::max(share, kLeast), 1 / kM1), static_cast<double>(kLargestHalf));
}

// ITU-R BT.2100, table 5: scene light 0..1. What lies above 2 is beyond the largest half.
double sceneFromHlg(double code) {
  constexpr double kA = 0.17883277, kB = 0.28466892, kC = 0.55991073, kLog2E = 1.4426950408889634074;
  const double curve = (exp2Of(kLog2E * (std::min(code, 4.0) - kC) / kA) + kB) / 12;
  return code <= 0.5 ? code * code / 3 : curve;
}

// Of the value without its sign, which comes back.
template <class Curve>
void bend(float* values, int count, Curve curve) {
  for (int i = 0; i < count; ++i) {
    values[i] = std::copysign(static_cast<float>(curve(static_cast<double>(std::abs(values[i])))), values[i]);
  }
}

// From the scene's light to that of a display of 1000 cd/m2, which depends on the luma of BT.2020.
void applySystemGamma(float* red, float* green, float* blue, int count) {
  for (int i = 0; i < count; ++i) {
    const float luma = 0.2627f * red[i] + 0.6780f * green[i] + 0.0593f * blue[i];
    const auto factor = static_cast<float>(10.0 * powerOf(std::max(static_cast<double>(luma), kLeast), 0.2));
    for (float* values : {red, green, blue}) values[i] = std::clamp(factor * values[i], -kLargestHalf, kLargestHalf);
  }
}

[[noreturn]] void refuse(AVColorTransferCharacteristic transfer) {
  const char* name = av_color_transfer_name(transfer);
  throw UserError("pictures whose transfer is '" +
                  (name != nullptr ? std::string(name) : std::to_string(static_cast<int>(transfer))) +
                  "' cannot be turned into linear light; convert the clip to BT.709 first, or choose png16");
}

}  // namespace

void encodeSrgb(float* values, int count) { bend(values, count, srgbFromLight); }

LightCurve::Shape LightCurve::shapeOf(AVColorTransferCharacteristic transfer) {
  switch (transfer) {
    case AVCOL_TRC_BT709:
    case AVCOL_TRC_SMPTE170M:
    case AVCOL_TRC_BT2020_10:
    case AVCOL_TRC_BT2020_12:
    case AVCOL_TRC_IEC61966_2_4:
      return Shape::Bt709;
    case AVCOL_TRC_IEC61966_2_1:
      return Shape::Srgb;
    case AVCOL_TRC_LINEAR:
      return Shape::Linear;
    case AVCOL_TRC_SMPTE2084:
      return Shape::Pq;
    case AVCOL_TRC_ARIB_STD_B67:
      return Shape::Hlg;
    default:
      refuse(transfer);
  }
}

std::array<float, 256> LightCurve::ofBytes(AVColorTransferCharacteristic transfer) {
  const Shape shape = shapeOf(transfer);
  if (shape == Shape::Pq || shape == Shape::Hlg) refuse(transfer);
  std::array<float, 256> light;
  for (std::size_t level = 0; level < light.size(); ++level) {
    const double code = static_cast<double>(level) / 255.0;
    light[level] = static_cast<float>(shape == Shape::Bt709  ? lightFromBt709(code)
                                      : shape == Shape::Srgb ? lightFromSrgb(code)
                                                             : code);
  }
  return light;
}

void LightCurve::apply(float* red, float* green, float* blue, int count) const {
  if (shape_ == Shape::Linear) return;
  for (float* values : {red, green, blue}) {
    if (shape_ == Shape::Bt709) bend(values, count, lightFromBt709);
    if (shape_ == Shape::Srgb) bend(values, count, lightFromSrgb);
    if (shape_ == Shape::Pq) bend(values, count, lightFromPq);
    if (shape_ == Shape::Hlg) bend(values, count, sceneFromHlg);
  }
  if (shape_ == Shape::Hlg) applySystemGamma(red, green, blue, count);
}

}  // namespace kalvetra
