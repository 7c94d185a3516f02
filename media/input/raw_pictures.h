// Bare pictures without any header, as programs hand them to each other through a pipe.
#pragma once

#include <string>

#include "media/ffmpeg.h"

namespace kalvetra {

struct RawPictures {
  int width = 0;  // 1..65535, as the height
  int height = 0;
  AVRational rate{25, 1};  // pictures a second, above 0
  AVPixelFormat format = AV_PIX_FMT_NONE;
  bool floats = false;  // see media/pixels/float_pixels.h, which says what the format is then

  int storedWidth() const { return floats ? 2 * width : width; }
};

// Reads WxH@FPS:FORMAT, as in 1920x1080@30000/1001:bgra. FPS is a whole number, a decimal or a fraction; FORMAT is the
// name of an FFmpeg pixel format whose pictures all have one size in bytes, or "rgbaf32". Throws UserError for anything
// else.
RawPictures parseRawPictures(const std::string& text);

}  // namespace kalvetra
