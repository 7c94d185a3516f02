// Hashes of keyed pictures: MurmurHash3 with 128 bits.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "media/picture.h"

struct AVMurMur3;

namespace kalvetra {

using PictureHash = std::array<std::uint8_t, 16>;

// Over the bytes of Image::bytes; of a deep picture over its floats, where -0 counts as 0.
PictureHash hashPicture(const Image& image);

std::string hexadecimal(const PictureHash& hash);
// Nothing for a text that is no hash.
std::optional<PictureHash> parseHash(const std::string& text);

// Of bytes that come piece by piece. A clip's hash is that over the hashes of its pictures, in order.
class Hasher {
 public:
  Hasher();
  void add(std::span<const std::uint8_t> bytes);
  // Of all that was added; the last call.
  PictureHash finish();

 private:
  struct Deleter {
    void operator()(AVMurMur3* hasher) const;
  };
  std::unique_ptr<AVMurMur3, Deleter> hasher_;
};

}  // namespace kalvetra
