#include "engine/inspection.h"

#include <memory>

#include "engine/background_plate.h"
#include "engine/key_geometry.h"
#include "engine/record_check.h"
#include "engine/render_record.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

// The picture that a pixel is keyed in, in working order.
struct KeyedPicture {
  Bytes pixels;
  int height;
  int row;  // of the pixel in it
};

KeyedPicture pictureAround(const HostFrame& frame, Scan scan, int y) {
  const int first = scan == Scan::Fields ? y % 2 : 0, step = scan == Scan::Fields ? 2 : 1;
  const int height = (frame.height - first + step - 1) / step;
  const auto rowPixels = static_cast<std::size_t>(frame.width);
  KeyedPicture picture{std::make_unique<unsigned char[]>(rowPixels * static_cast<std::size_t>(height) * 4), height,
                       (y - first) / step};
  for (int i = 0; i < height; ++i) {
    reverseBytes(frame.input + (first + i * step) * frame.inputStride,
                 picture.pixels.get() + static_cast<std::size_t>(i) * rowPixels * 4, rowPixels);
  }
  return picture;
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

Treatment treatmentAt(const HostFrame& frame, const RenderValues& values, Scan scan, int x, int y) {
  const KeyedPicture picture = pictureAround(frame, scan, y);
  const KALVETRA_Param param = makeRecord(values, picture.pixels.get(), nullptr, frame.width, picture.height);
  if (!keysSomething(values) || !valuesInRange(param)) return Treatment::Foreground;
  const auto bytes = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(picture.height) * 4;
  const auto at =
      (static_cast<std::size_t>(picture.row) * static_cast<std::size_t>(frame.width) + static_cast<std::size_t>(x)) * 4;
  const auto plate = std::make_unique<unsigned char[]>(bytes);  // later the deblocking's scratch
  unsigned char backdrop[3]{};
  if (param.bSmoothBG != 0) {
    estimatePlate(param, plate.get());
    for (std::size_t c = 0; c < 3; ++c) backdrop[c] = plate[at + c];
  }
  if (param.nDeBlock != 0) {
    CImagingZEP().ChromaBlur32bit(frame.width, picture.height, picture.pixels.get(), plate.get(), param.nDeBlock);
  }
  const unsigned char* pixel = picture.pixels.get() + at;
  return param.bSmoothBG != 0 ? plateKeyTreatment(param, pixel, backdrop) : colorKeyTreatment(param, pixel);
}

KeyLines keyLines(const RenderValues& values) {
  const KALVETRA_Param param = makeRecord(values, nullptr, nullptr, 0, 0);
  const YIQ key = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]);
  if (param.bSmoothBG != 0) {
    const PlateKeyGeometry geometry(param);
    return linesOf(geometry, chromaOf(key), geometry.skinBound, geometry.blueBound);
  }
  const ColorKeyGeometry geometry(param);
  return linesOf(geometry, chromaOf(key), geometry.skinNormal, geometry.blueNormal);
}

}  // namespace kalvetra
