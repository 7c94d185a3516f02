// Shadows on a backdrop of which there is a picture: the last step of a keyed row.
#pragma once

#include <algorithm>
#include <cstddef>

#include "engine/KALVETRA_Param.h"
#include "engine/render.h"
#include "engine/simd/kernels.h"

namespace kalvetra {

// Whether shadows are kept where a record keys against that plate, which may be null.
inline bool keepsShadows(const KnownPlate* given, const KALVETRA_Param& param) {
  return given != nullptr && given->keepsShadows && param.bSmoothBG != 0;
}

// A plate's noise as kept shadows count it, in levels: at least that of rounding, of the frame and of the plate.
inline float shadowNoise(float noise) {
  constexpr float kLeast = 0.75f;
  return noise > kLeast ? std::min(noise, 255.0f) : kLeast;
}

// What has the plate's paint, but less of its light, becomes black, as opaque as light is missing, in place of what the
// key made of it. Pixel by pixel in single precision, in one text for all CPU levels
// (simd/kept_shadows.cpp). A pixel s over a plate pixel p:
//
//   t = luma(s) / luma(p)                     the light that is left; 1 - t is the shadow's density
//   e = |s - t p|                             how far its paint is from the plate's, in levels
//   n = noise (1 + density / 2)               a little wider in the dark, where cameras are noisier
//   weight = the product of three, each from 0 to 1:
//     as e comes down from 4 n to 2 n;
//     as |t p - grey of its luma| goes from 4 n to 8 n: nearer to grey, any dark cloth has the paint within its noise;
//     as t goes from .1 to .2: of video's levels a fifth is 3 % of the light, less than what any set throws into its
//     shadows. What is darker is a dark thing, and the screen's light on it has the screen's paint.
//   opacity = density, faded in where the missing light goes from 2 to 5 of luma's standard deviations, then shaped by
//             the shadow curve
//   alpha = mix(keyed alpha, opacity, weight), at most the host's; colours likewise, each counting with its alpha
class KeptShadows {
 public:
  // `noise`: of a channel of the frame about the plate, standard deviation in levels.
  KeptShadows(const KALVETRA_Param& param, float noise, bool matteView, PixelFormat format, bool blueScreen);

  // Rows of one format: of the frame, the plate and the finished view, which is changed.
  void keep(const unsigned char* source, const unsigned char* plate, unsigned char* finished, std::size_t pixels) const;

 private:
  simd::ShadowMix mix_;
};

}  // namespace kalvetra
