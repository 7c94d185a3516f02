#include "compositing/cover.h"

#include <algorithm>
#include <cmath>

#include "compositing/float_scaling.h"
#include "media/plane_rows.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// The part of a picture that has the frame's shape. Cropped before scaling, so that memory stays bounded.
PictureArea visiblePart(const Image& picture, double pixelAspect, const Canvas& frame) {
  const double scale = std::max(frame.width * frame.pixelAspect / (picture.width * pixelAspect),
                                static_cast<double>(frame.height) / picture.height);
  const auto side = [](double length, int most) { return std::clamp(static_cast<int>(std::lround(length)), 1, most); };
  const int width = side(std::min(frame.width * frame.pixelAspect / (scale * pixelAspect), 65536.0), picture.width);
  const int height = side(std::min(frame.height / scale, 65536.0), picture.height);
  return {(picture.width - width) / 2, (picture.height - height) / 2, width, height};
}

// Red, green and blue as the three planes of a format that the scaler takes as they are: RGB it would take through
// YUV and back.
FramePtr planesOf(const Image& picture, const PictureArea& area) {
  FramePtr planes = makePicture(AV_PIX_FMT_YUV444P, area.width, area.height);
  for (int y = 0; y < area.height; ++y) {
    const unsigned char* in = picture.row(area.y + y) + std::ptrdiff_t{4} * area.x;
    for (int c = 0; c < 3; ++c) {
      auto* out = planeRow<unsigned char>(*planes, c, y);
      for (int x = 0; x < area.width; ++x) out[x] = in[std::ptrdiff_t{4} * x + c + 1];
    }
  }
  return planes;
}

Image pictureOf(AVFrame& planes) {
  Image picture(planes.width, planes.height);
  for (int y = 0; y < planes.height; ++y) {
    unsigned char* out = picture.row(y);
    for (int x = 0; x < planes.width; ++x, out += 4) {
      out[0] = 255;
      for (int c = 0; c < 3; ++c) out[c + 1] = planeRow<unsigned char>(planes, c, y)[x];
    }
  }
  return picture;
}

Image coveringFloats(const Image& picture, const PictureArea& area, const Canvas& frame) {
  if (area.width != frame.width || area.height != frame.height) {
    return scaledFloats(picture, area, frame.width, frame.height);
  }
  Image cropped(frame.width, frame.height, picture.format);
  for (int y = 0; y < area.height; ++y) {
    float* out = cropped.floats(y);
    std::copy_n(picture.floats(area.y + y) + std::ptrdiff_t{4} * area.x, std::ptrdiff_t{4} * area.width, out);
    for (int x = 0; x < area.width; ++x) out[4 * x + 3] = 1.0f;
  }
  return cropped;
}

}  // namespace

Image covering(const Image& picture, double pixelAspect, const Canvas& frame) {
  const PictureArea area = visiblePart(picture, pixelAspect, frame);
  if (picture.isDeep()) return coveringFloats(picture, area, frame);
  FramePtr planes = planesOf(picture, area);
  if (area.width == frame.width && area.height == frame.height) return pictureOf(*planes);
  const int flags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT;
  const ScalerPtr scaler(sws_getContext(area.width, area.height, AV_PIX_FMT_YUV444P, frame.width, frame.height,
                                        AV_PIX_FMT_YUV444P, flags, nullptr, nullptr, nullptr));
  if (!scaler) {
    throw UserError("a picture of " + std::to_string(area.width) + " x " + std::to_string(area.height) +
                    " cannot be scaled to " + std::to_string(frame.width) + " x " + std::to_string(frame.height) +
                    "; give one of about that size");
  }
  const FramePtr scaled = makePicture(AV_PIX_FMT_YUV444P, frame.width, frame.height);
  sws_scale(scaler.get(), planes->data, planes->linesize, 0, area.height, scaled->data, scaled->linesize);
  return pictureOf(*scaled);
}

}  // namespace kalvetra
