#include "media/input/frame_rate.h"

extern "C" {
#include <libavutil/parseutils.h>
}

namespace kalvetra {

namespace {

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// The library takes names, signs and whole formulas as well, which would surprise here.
bool isPlain(const std::string& text) {
  const std::size_t mark = text.find_first_of("./");
  return isNumber(text.substr(0, mark)) && (mark == std::string::npos || isNumber(text.substr(mark + 1)));
}

}  // namespace

std::optional<AVRational> parseFrameRate(const std::string& text) {
  AVRational rate;
  if (!isPlain(text) || av_parse_video_rate(&rate, text.c_str()) < 0) return std::nullopt;
  if (av_q2d(rate) < kSmallestFrameRate || av_q2d(rate) > kLargestFrameRate) return std::nullopt;
  return rate;
}

}  // namespace kalvetra
