#include "cli/matte_reader.h"

#include <algorithm>

#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kGreyTolerance = 8;  // levels between the components; codecs leave a little colour in grey

bool hasAlphaPlane(const AVFrame& picture) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  return format != nullptr && (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

template <class Holds>
bool everyPixel(const Image& image, Holds holds) {
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    if (!holds(&image.bytes[i])) return false;
  }
  return true;
}

bool isGrey(const Image& image) {
  return everyPixel(image, [](const unsigned char* p) {
    const auto [lowest, highest] = std::minmax({p[1], p[2], p[3]});
    return highest - lowest <= kGreyTolerance;
  });
}

bool isOpaque(const Image& image) {
  return everyPixel(image, [](const unsigned char* p) { return p[0] == 255; });
}

bool isUniform(const Image& image) {
  return everyPixel(image, [first = image.bytes.data()](const unsigned char* p) { return p[2] == first[2]; });
}

}  // namespace

MatteReader::MatteReader(const std::string& path, int threads, const std::atomic<bool>& stop)
    : reader_(path, threads, stop),
      converter_(reader_.format().color, {.levels = true, .premultiplied = reader_.isPremultiplied()}) {}

void MatteReader::checkGrey(bool hasAlpha) const {
  const std::string picture = "picture " + std::to_string(frames_);
  if (!isGrey(image_)) {
    throw UserError(path() + ": " + (hasAlpha ? "begins as a matte in grey" : "has no alpha") + ", and " + picture +
                    " is not grey; name a keyed clip with alpha, or its matte");
  }
  if (!isOpaque(image_)) {
    throw UserError(path() + ": begins as an opaque matte in grey, and " + picture +
                    " is not opaque; name a keyed clip with alpha, or its matte");
  }
}

bool MatteReader::next(MattePlane& matte) {
  SourceFrame frame;
  if (!reader_.next(frame)) return false;
  ++frames_;
  const bool hasAlpha = hasAlphaPlane(*frame.picture);
  converter_.convert(*frame.picture, image_);
  if (!takesGrey_) takesGrey_ = !hasAlpha || (isOpaque(image_) && isGrey(image_) && !isUniform(image_));
  if (*takesGrey_) checkGrey(hasAlpha);
  const std::size_t component = *takesGrey_ ? 2 : 0;  // of argb
  matte.resize(image_.bytes.size() / 4);
  for (std::size_t i = 0; i < matte.size(); ++i) matte[i] = image_.bytes[4 * i + component];
  return true;
}

}  // namespace kalvetra
