#include "engine/inspection.h"

#include <algorithm>
#include <cstddef>

#include "engine/background_plate.h"
#include "engine/key_geometry.h"
#include "engine/pipeline.h"
#include "engine/render_record.h"
#include "engine/working_picture.h"

namespace kalvetra {

namespace {

// A line's unit vector from its normal, which was turned by `quarter`.
Chroma alongLine(Chroma normal, double quarter) { return Rotation(-quarter)(normal); }

// A line's unit vector as it lies in the plane of the picture itself, of whose colours green and blue were swapped. The
// swap turns grey into grey, so it maps the plane onto itself: red stays, green and blue change places.
Chroma unswapped(Chroma line) {
  CImagingZEP imaging;
  const Chroma red = chromaOf(imaging.RGBtoYIQ2(255, 0, 0)), green = chromaOf(imaging.RGBtoYIQ2(0, 255, 0)),
               blue = chromaOf(imaging.RGBtoYIQ2(0, 0, 255));
  const float area = red.I * green.Q - red.Q * green.I;
  const Chroma mapped =
      red * ((line.I * green.Q - line.Q * green.I) / area) + blue * ((red.I * line.Q - red.Q * line.I) / area);
  return mapped / length(mapped);
}

KeyLines unswapped(const KeyLines& lines, Chroma key) {
  return {lines.grey,
          key,
          unswapped(lines.skinHue),
          unswapped(lines.blueHue),
          unswapped(lines.skinDespill),
          unswapped(lines.blueDespill)};
}

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

Treatment treatmentAt(const KeySettings& settings, const ConstFrame& frame, const RenderOptions& options, int x,
                      int y) {
  const bool fields = options.scan == Scan::Fields;
  const ConstFrame picture = fields ? fieldOf(frame, y % 2) : frame;
  const WorkingPicture source(picture);
  source.read(picture, keysBlue(settings));
  const KALVETRA_Param param = makeRecord(settings, source.data(), nullptr, picture.width, picture.height);
  if (!keysSomething(settings) || !valuesInRange(param)) return Treatment::Foreground;
  const std::ptrdiff_t at = std::ptrdiff_t{kPixelBytes} * x;
  const int row = fields ? y / 2 : y;
  const WorkingPicture plate(picture);  // and later the deblocking's scratch
  unsigned char backdrop[3]{};
  if (param.bSmoothBG != 0) {
    drawBackdrop(param, WorkingPlate(options, keysBlue(settings)).given(), plate.data());
    std::copy_n(plate.row(row) + at, 3, backdrop);
  }
  if (param.nDeBlock != 0) {
    CImagingZEP().ChromaBlur32bit(picture.width, picture.height, source.data(), plate.data(), param.nDeBlock);
  }
  const unsigned char* pixel = source.row(row) + at;
  return param.bSmoothBG != 0 ? plateKeyTreatment(param, pixel, backdrop) : colorKeyTreatment(param, pixel);
}

namespace {

// In the plane of the picture as it is keyed.
KeyLines linesKeyedBy(const KeySettings& settings) {
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, 0, 0);
  const YIQ key = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]);
  if (param.bSmoothBG != 0) {
    const PlateKeyGeometry geometry(param);
    return linesOf(geometry, chromaOf(key), geometry.skinBound, geometry.blueBound);
  }
  const ColorKeyGeometry geometry(param);
  return linesOf(geometry, chromaOf(key), geometry.skinNormal, geometry.blueNormal);
}

}  // namespace

KeyLines keyLines(const KeySettings& settings) {
  const KeyLines lines = linesKeyedBy(settings);
  if (!keysBlue(settings)) return lines;
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, 0, 0);  // its green and blue are swapped
  const YIQ key = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[2][0], param.keyColor[1][0]);
  return unswapped(lines, chromaOf(key));
}

}  // namespace kalvetra
