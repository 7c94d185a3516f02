#include "media/input/raw_pictures.h"

#include <cstdio>
#include <cstdlib>

#include "media/input/frame_rate.h"
#include "media/pixels/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kLargestSide = 65535;

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
  char width[6], height[6], fps[33], name[33];
  int end = 0;
  std::sscanf(text.c_str(), "%5[0-9]x%5[0-9]@%32[0-9./]:%32[a-z0-9_]%n", width, height, fps, name, &end);
  if (end == 0 || static_cast<std::size_t>(end) != text.size()) refuse(text, "does not describe raw pictures");
  RawPictures raw;
  raw.width = std::atoi(width);
  raw.height = std::atoi(height);
  if (raw.width < 1 || raw.height < 1 || raw.width > kLargestSide || raw.height > kLargestSide) {
    refuse(text, "names a size outside 1..65535");
  }
  const std::optional<AVRational> rate = parseFrameRate(fps);
  if (!rate) refuse(text, std::string("names no frame rate ") + kFrameRateRange);
  raw.rate = *rate;
  const std::string format = name;
  raw.format = av_get_pix_fmt(name);
  if (!isPlain(raw.format)) {
    refuse(text, "names no pixel format of bare samples ('" + format + "'; ffmpeg -pix_fmts lists them)");
  }
  if (!FrameConverter::canRead(raw.format)) {
    refuse(text,
           "names a pixel format that cannot be read ('" + format + "'; take one like bgra, rgb24 or yuv422p10le)");
  }
  if (av_image_get_buffer_size(raw.format, raw.width, raw.height, 1) < 1) refuse(text, "names pictures of over 2 GiB");
  return raw;
}

}  // namespace kalvetra
