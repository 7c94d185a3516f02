#include "media/input/source_depth.h"

namespace kalvetra {

int colorDepth(const Reader& clip) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(clip.video().codecpar->format));
  return format == nullptr || (format->flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 8 : format->comp[0].depth;
}

int exactDepth(const Reader& clip) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(clip.video().codecpar->format));
  const int depth = colorDepth(clip);
  const bool rgb = format != nullptr && (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  return depth > 16 || (rgb && depth > 8) ? depth : 16;
}

std::string hdrWarning(const std::string& transfer, bool deep) {
  const char* name = transfer == "smpte2084" ? "PQ" : transfer == "arib-std-b67" ? "HLG" : nullptr;
  if (name == nullptr) return "";
  return std::string("the colours are HDR (") + name + "): the keyer takes their code values as they are" +
         (deep ? "" : ", and in 8 bits they show steps; convert the clip to BT.709 first");
}

}  // namespace kalvetra
