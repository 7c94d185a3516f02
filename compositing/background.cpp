#include "compositing/background.h"

#include <filesystem>

#include "media/pixels/picture_depth.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

std::shared_ptr<const Image> uniform(int color, int width, int height) {
  auto image = std::make_shared<Image>(width, height);
  const unsigned char pixel[4]{255, static_cast<unsigned char>(color >> 16), static_cast<unsigned char>(color >> 8),
                               static_cast<unsigned char>(color)};
  for (std::size_t i = 0; i < image->bytes.size(); ++i) image->bytes[i] = pixel[i % 4];
  return image;
}

}  // namespace

Background::Background(const std::string& text, const PictureFormat& clip, OverEnd end, int threads,
                       const std::atomic<bool>& stop, bool deep) {
  const std::optional<int> color = parseHexColor(text);
  if (color) {
    color_ = uniform(*color, clip.width, clip.height);
    if (deep) color_ = std::make_shared<const Image>(widened(*color_));
    return;
  }
  std::error_code ignored;
  if (text.starts_with('#') && !std::filesystem::exists(text, ignored)) {
    throw UserError(text + ": is neither a colour nor a file; write a colour as #rrggbb, in hexadecimal");
  }
  file_.emplace(text, clip, end, threads, stop, deep);
}

}  // namespace kalvetra
