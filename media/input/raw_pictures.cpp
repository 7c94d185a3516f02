#include "media/input/raw_pictures.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>

#include "media/input/frame_rate.h"
#include "media/pixels/float_pixels.h"
#include "media/pixels/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kLargestSide = 65535;
constexpr std::size_t kLongestSize = 11;  // characters; longer numbers overflow in the library

[[noreturn]] void refuse(const std::string& text, const std::string& reason) {
  throw UserError("'" + text + "' " + reason + "; give WIDTHxHEIGHT@RATE:FORMAT, like 1920x1080@30000/1001:bgra");
}

// Pictures of these formats are nothing but their samples.
bool isPlain(AVPixelFormat format) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  return d != nullptr && (d->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL)) == 0;
}

}  // namespace

RawPictures parseRawPictures(const std::string& text) {
  const std::size_t at = text.find('@'), colon = text.find(':', at);
  const std::string size = text.substr(0, at);
  if (colon == std::string::npos || size.find_first_not_of("0123456789x") != std::string::npos) {
    refuse(text, "does not describe raw pictures");
  }
  RawPictures raw;
  const bool isSize = size.size() <= kLongestSize && av_parse_video_size(&raw.width, &raw.height, size.c_str()) >= 0;
  if (!isSize || std::max(raw.width, raw.height) > kLargestSide) refuse(text, "names no size within 1..65535");
  const std::optional<AVRational> rate = parseFrameRate(text.substr(at + 1, colon - at - 1));
  if (!rate) refuse(text, std::string("names no frame rate ") + kFrameRateRange);
  raw.rate = *rate;
  const std::string format = text.substr(colon + 1);
  raw.floats = format == kFloatPixels;
  raw.format = raw.floats ? kFloatPixelsStored : av_get_pix_fmt(format.c_str());
  if (!isPlain(raw.format)) {
    refuse(text, "names no pixel format of bare samples ('" + format + "'; ffmpeg -pix_fmts lists them)");
  }
  if (!FrameConverter::canRead(raw.format)) {
    refuse(text,
           "names a pixel format that cannot be read ('" + format + "'; take one like bgra, rgb24 or yuv422p10le)");
  }
  if (av_image_get_buffer_size(raw.format, raw.storedWidth(), raw.height, 1) < 1)
    refuse(text, "names pictures of over 2 GiB");
  return raw;
}

}  // namespace kalvetra
