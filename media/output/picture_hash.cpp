#include "media/output/picture_hash.h"

extern "C" {
#include <libavutil/murmur3.h>
}

#include <charconv>
#include <cstdio>

namespace kalvetra {

void ClipHash::Deleter::operator()(AVMurMur3* hasher) const { av_free(hasher); }

ClipHash::ClipHash() : hasher_(av_murmur3_alloc()) {
  if (!hasher_) throw std::bad_alloc();
  av_murmur3_init(hasher_.get());
}

void ClipHash::add(const PictureHash& hash) { av_murmur3_update(hasher_.get(), hash.data(), hash.size()); }

PictureHash ClipHash::finish() {
  PictureHash hash;
  av_murmur3_final(hasher_.get(), hash.data());
  return hash;
}

PictureHash hashPicture(const Image& image) {
  const std::unique_ptr<AVMurMur3, void (*)(void*)> hasher(av_murmur3_alloc(), av_free);
  if (!hasher) throw std::bad_alloc();
  av_murmur3_init(hasher.get());
  av_murmur3_update(hasher.get(), image.argb.data(), image.argb.size());
  PictureHash hash;
  av_murmur3_final(hasher.get(), hash.data());
  return hash;
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
