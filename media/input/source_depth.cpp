#include "media/input/source_depth.h"

namespace kalvetra {

int colorDepth(const Reader& clip) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(clip.video().codecpar->format));
  return format == nullptr || (format->flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 8 : format->comp[0].depth;
}

std::string hdrWarning(const std::string& transfer) {
  const char* name = transfer == "smpte2084" ? "PQ" : transfer == "arib-std-b67" ? "HLG" : nullptr;
  if (name == nullptr) return "";
  return std::string("the colours are HDR (") + name +
         "): the keyer takes their code values as they are, and in 8 bits they show steps; convert the clip to BT.709 "
         "first";
}

}  // namespace kalvetra
