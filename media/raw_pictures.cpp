#include "media/raw_pictures.h"

#include <regex>

#include "media/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kLargestSide = 65535, kLargestRate = 1000;

[[noreturn]] void refuse(const std::string& text, const std::string& reason) {
  throw UserError("'" + text + "' " + reason + "; give WIDTHxHEIGHT@RATE:FORMAT, like 1920x1080@30000/1001:bgra");
}

// Whole, decimal or fraction; 0 / 0 when it is none of them.
AVRational parseRate(const std::string& text) {
  std::smatch m;
  if (std::regex_match(text, m, std::regex("([0-9]{1,9})/([0-9]{1,9})"))) {
    AVRational rate{};
    av_reduce(&rate.num, &rate.den, std::stoi(m[1]), std::stoi(m[2]), 1 << 30);
    return rate;
  }
  if (!std::regex_match(text, m, std::regex("([0-9]{1,5})(?:\\.([0-9]{1,4}))?"))) return {0, 0};
  AVRational rate{};
  std::string decimals = m[2];
  decimals.resize(4, '0');
  av_reduce(&rate.num, &rate.den, std::stoi(m[1]) * 10000LL + std::stoi(decimals), 10000, 1 << 30);
  return rate;
}

// Pictures of these formats are nothing but their samples.
bool isPlain(AVPixelFormat format) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  return d != nullptr && (d->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL)) == 0;
}

}  // namespace

RawPictures parseRawPictures(const std::string& text) {
  std::smatch m;  // with bounds throughout: the library's matcher recurses once for each character
  if (!std::regex_match(text, m, std::regex("([0-9]{1,5})x([0-9]{1,5})@([0-9./]{1,32}):([a-z0-9_]{1,32})"))) {
    refuse(text, "does not describe raw pictures");
  }
  RawPictures raw;
  raw.width = std::stoi(m[1]);
  raw.height = std::stoi(m[2]);
  if (raw.width < 1 || raw.height < 1 || raw.width > kLargestSide || raw.height > kLargestSide) {
    refuse(text, "names a size outside 1..65535");
  }
  raw.rate = parseRate(m[3]);
  if (raw.rate.num < 1 || raw.rate.den < 1 || av_q2d(raw.rate) > kLargestRate) {
    refuse(text, "names no frame rate between 0 and " + std::to_string(kLargestRate));
  }
  const std::string format = m[4];
  raw.format = av_get_pix_fmt(format.c_str());
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
