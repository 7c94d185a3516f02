#include "compositing/background.h"

#include <charconv>
#include <filesystem>

#include "support/user_error.h"

namespace kalvetra {

namespace {

// 0xrrggbb of "#rrggbb".
std::optional<unsigned int> colorOf(const std::string& text) {
  if (text.size() != 7 || text[0] != '#') return std::nullopt;
  unsigned int value = 0;
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, value, 16);
  if (error != std::errc() || end != text.data() + 7) return std::nullopt;
  return value;
}

std::shared_ptr<const Image> uniform(unsigned int color, int width, int height) {
  auto image = std::make_shared<Image>(width, height);
  const unsigned char pixel[4]{255, static_cast<unsigned char>(color >> 16), static_cast<unsigned char>(color >> 8),
                               static_cast<unsigned char>(color)};
  for (std::size_t i = 0; i < image->argb.size(); ++i) image->argb[i] = pixel[i % 4];
  return image;
}

}  // namespace

Background::Background(const std::string& text, const PictureFormat& clip, OverEnd end, int threads,
                       const std::atomic<bool>& stop) {
  const std::optional<unsigned int> color = colorOf(text);
  if (color) {
    color_ = uniform(*color, clip.width, clip.height);
    return;
  }
  std::error_code ignored;
  if (text.starts_with('#') && !std::filesystem::exists(text, ignored)) {
    throw UserError(text + ": is neither a colour nor a file; write a colour as #rrggbb, in hexadecimal");
  }
  file_.emplace(text, clip, end, threads, stop);
}

}  // namespace kalvetra
