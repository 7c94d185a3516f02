// A camera's logarithmic exposure curve with a linear toe below code value 60.
#pragma once

#include "imaging/maths.h"
#include "imaging/numeric.h"

namespace kalvetra {

class ExposureCurve {
 public:
  static constexpr int kSteps = 10000;  // exposures 0..1 that a table is made from
  static constexpr double kOffset = 0.029999999329447746;
  static constexpr double kGain = 7.649999618530273;

  ExposureCurve() : scale_(255.0 / maths::log10(34.33333407839141)), black_(maths::log10(kOffset)) {
    const double toe = maths::pow(10.0, 60.0 / scale_);
    slope_ = static_cast<double>(static_cast<float>(65.0 / ((toe - 1.0) * kGain)));
  }

  // Exposure of step i.
  static double exposure(int i) { return i / (kSteps - 1.0); }

  // Light behind code value `code`, 0..255.
  double linear(unsigned char code) const {
    return code >= 60 ? (maths::pow(10.0, code / scale_) - 1.0) * kGain : (code + 5) / slope_;
  }

  // Level of a component of light `light` at exposure t, 0..1: from -5 on. Narrowed before it is tested.
  float level(double light, double t) const {
    const float v = static_cast<float>((maths::log10(light * t / 255.0 + kOffset) - black_) * scale_);
    return v < 60.0f ? static_cast<float>(t * light * slope_ - 5.0) : v;
  }

  // That level as a code value. At t = 1 the level lands within 1e-5 of the component, so precision decides the byte.
  unsigned char code(double light, double t) const { return truncToByte(level(light, t)); }

  double scale() const { return scale_; }
  double black() const { return black_; }
  double slope() const { return slope_; }

 private:
  double scale_;
  double black_;
  double slope_;
};

}  // namespace kalvetra
