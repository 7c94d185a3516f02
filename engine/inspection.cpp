#include "engine/inspection.h"

#include <memory>

#include "engine/background_plate.h"
#include "engine/key_geometry.h"
#include "engine/pixel_formats.h"
#include "engine/record_check.h"
#include "engine/render_record.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

// A picture in working order.
Bytes workingCopy(const ConstFrame& picture) {
  const auto rowBytes = static_cast<std::size_t>(picture.width) * kPixelBytes;
  Bytes copy = std::make_unique<unsigned char[]>(rowBytes * static_cast<std::size_t>(picture.height));
  const Bytes argb = std::make_unique<unsigned char[]>(rowBytes);
  for (int y = 0; y < picture.height; ++y) {
    readRow(picture, y, argb.get());
    reverseBytes(argb.get(), copy.get() + static_cast<std::size_t>(y) * rowBytes,
                 static_cast<std::size_t>(picture.width));
  }
  return copy;
}

// A line's unit vector from its normal, which was turned by `quarter`.
Chroma alongLine(Chroma normal, double quarter) { return Rotation(-quarter)(normal); }

template <class Geometry>
KeyLines linesOf(const Geometry& g, Chroma key, Chroma skin, Chroma blue) {
  return {g.grey,
          key,
          alongLine(skin, -kQuarterTurn),
          alongLine(blue, kQuarterTurn),
          alongLine(g.skinDespill, -kQuarterTurn),
          alongLine(g.blueDespill, kQuarterTurn)};
}

}  // namespace

Treatment treatmentAt(const KeySettings& settings, const ConstFrame& frame, Scan scan, int x, int y) {
  const bool fields = scan == Scan::Fields;
  const ConstFrame picture = fields ? fieldOf(frame, y % 2) : frame;
  const int row = fields ? y / 2 : y;
  const Bytes pixels = workingCopy(picture);
  const KALVETRA_Param param = makeRecord(settings, pixels.get(), nullptr, picture.width, picture.height);
  if (!keysSomething(settings) || !valuesInRange(param)) return Treatment::Foreground;
  const auto rowBytes = static_cast<std::size_t>(picture.width) * kPixelBytes;
  const std::size_t at = static_cast<std::size_t>(row) * rowBytes + static_cast<std::size_t>(x) * kPixelBytes;
  // The plate, and later the deblocking's scratch.
  const auto plate = std::make_unique<unsigned char[]>(rowBytes * static_cast<std::size_t>(picture.height));
  unsigned char backdrop[3]{};
  if (param.bSmoothBG != 0) {
    estimatePlate(param, plate.get());
    for (std::size_t c = 0; c < 3; ++c) backdrop[c] = plate[at + c];
  }
  if (param.nDeBlock != 0) {
    CImagingZEP().ChromaBlur32bit(picture.width, picture.height, pixels.get(), plate.get(), param.nDeBlock);
  }
  const unsigned char* pixel = pixels.get() + at;
  return param.bSmoothBG != 0 ? plateKeyTreatment(param, pixel, backdrop) : colorKeyTreatment(param, pixel);
}

KeyLines keyLines(const KeySettings& settings) {
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, 0, 0);
  const YIQ key = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]);
  if (param.bSmoothBG != 0) {
    const PlateKeyGeometry geometry(param);
    return linesOf(geometry, chromaOf(key), geometry.skinBound, geometry.blueBound);
  }
  const ColorKeyGeometry geometry(param);
  return linesOf(geometry, chromaOf(key), geometry.skinNormal, geometry.blueNormal);
}

}  // namespace kalvetra
