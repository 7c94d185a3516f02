#include "engine/kept_shadows.h"

#include <bit>
#include <utility>

#include "engine/key_geometry.h"

namespace kalvetra {

namespace {

std::array<int, 4> bitsOf(PixelFormat format, bool blueScreen) {
  std::array<int, 4> places{1, 2, 3, 0};
  if (format == PixelFormat::Bgra8) places = {2, 1, 0, 3};
  if (format == PixelFormat::Rgba8) places = {0, 1, 2, 3};
  if (blueScreen) std::swap(places[1], places[2]);
  for (int& place : places) place = 8 * (std::endian::native == std::endian::little ? place : 3 - place);
  return places;
}

}  // namespace

KeptShadows::KeptShadows(const KALVETRA_Param& param, float noise, bool matteView, PixelFormat format, bool blueScreen)
    : mix_{matteView, shadowNoise(noise), PlateKeyGeometry(param).curve, bitsOf(format, blueScreen)} {}

void KeptShadows::keep(const unsigned char* source, const unsigned char* plate, unsigned char* finished,
                       std::size_t pixels) const {
  simd::keepShadows(mix_, source, plate, finished, pixels);
}

}  // namespace kalvetra
