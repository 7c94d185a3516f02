#include "media/pixels/float_pixels.h"

#include <cstring>

#include "media/plane_rows.h"

namespace kalvetra {

FramePtr floatPixels(DeepRows rows) {
  FramePtr frame = makePicture(kFloatPixelsStored, 2 * rows.width(), rows.height());
  const std::size_t bytes = sizeof(float) * 4 * static_cast<std::size_t>(rows.width());
  for (int y = 0; y < rows.height(); ++y) std::memcpy(planeRow<unsigned char>(*frame, 0, y), rows.row(y), bytes);
  return frame;
}

FramePtr planarFloats(const AVFrame& pixels) {
  constexpr int kPlaneOf[4] = {2, 0, 1, 3};
  FramePtr frame = makePicture(AV_PIX_FMT_GBRAPF32, pixels.width / 2, pixels.height);
  if (av_frame_copy_props(frame.get(), &pixels) < 0) throw std::bad_alloc();
  frame->color_trc = AVCOL_TRC_IEC61966_2_1;  // code values: they get no curve
  for (int y = 0; y < frame->height; ++y) {
    const std::uint8_t* in = pixels.data[0] + std::ptrdiff_t{y} * pixels.linesize[0];
    for (int c = 0; c < 4; ++c) {
      auto* out = planeRow<float>(*frame, kPlaneOf[c], y);
      for (int x = 0; x < frame->width; ++x) std::memcpy(out + x, in + std::ptrdiff_t{4} * (4 * x + c), sizeof(float));
    }
  }
  return frame;
}

}  // namespace kalvetra
