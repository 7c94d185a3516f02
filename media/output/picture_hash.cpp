#include "media/output/picture_hash.h"

extern "C" {
#include <libavutil/murmur3.h>
}

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <vector>

namespace kalvetra {

void Hasher::Deleter::operator()(AVMurMur3* hasher) const { av_free(hasher); }

Hasher::Hasher() : hasher_(av_murmur3_alloc()) {
  if (!hasher_) throw std::bad_alloc();
  av_murmur3_init(hasher_.get());
}

void Hasher::add(std::span<const std::uint8_t> bytes) { av_murmur3_update(hasher_.get(), bytes.data(), bytes.size()); }

PictureHash Hasher::finish() {
  PictureHash hash;
  av_murmur3_final(hasher_.get(), hash.data());
  return hash;
}

PictureHash hashPicture(const Image& image) {
  Hasher hasher;
  if (!image.isDeep()) {
    hasher.add(image.bytes);
    return hasher.finish();
  }
  std::vector<float> row(std::size_t{4} * static_cast<std::size_t>(image.width));
  for (int y = 0; y < image.height; ++y) {
    const float* values = image.floats(y);
    std::transform(values, values + row.size(), row.begin(), [](float value) { return value + 0.0f; });
    hasher.add({reinterpret_cast<const std::uint8_t*>(row.data()), row.size() * sizeof(float)});
  }
  return hasher.finish();
}

std::string hexadecimal(const PictureHash& hash) {
  std::string text;
  char byte[3];
  for (const unsigned int b : hash) {
    std::snprintf(byte, sizeof byte, "%02x", b);
    text += byte;
  }
  return text;
}

std::optional<PictureHash> parseHash(const std::string& text) {
  PictureHash hash;
  if (text.size() != 2 * hash.size()) return std::nullopt;
  for (std::size_t i = 0; i < hash.size(); ++i) {
    const char* digits = text.data() + 2 * i;
    const auto [end, error] = std::from_chars(digits, digits + 2, hash[i], 16);
    if (error != std::errc() || end != digits + 2) return std::nullopt;
  }
  return hash;
}

}  // namespace kalvetra
