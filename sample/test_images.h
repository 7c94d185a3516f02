// Pictures for tests, the same on every machine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace kalvetra::test {

using Bytes = std::vector<unsigned char>;

// A small generator of our own: the standard library's distributions differ between libraries.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 2654435769u + 1) {}
  std::uint32_t next() {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return static_cast<std::uint32_t>(state_ >> 33);
  }
  // lowest..highest
  int within(int lowest, int highest) {
    return lowest + static_cast<int>(next() % static_cast<std::uint32_t>(highest - lowest + 1));
  }

 private:
  std::uint64_t state_;
};

inline Bytes noise(int bytes, std::uint64_t seed) {
  Random random(seed);
  Bytes image(static_cast<std::size_t>(bytes));
  for (unsigned char& b : image) b = static_cast<unsigned char>(random.within(0, 255));
  return image;
}

// One more pixel at the end.
inline void append(Bytes& image, std::initializer_list<unsigned char> pixel) {
  for (const unsigned char b : pixel) image.push_back(b);
}

// An unevenly lit, noisy green screen with a disc of skin, a white and a blue bar in front of it; host order, opaque.
inline Bytes greenScreen(int width, int height, std::uint64_t seed) {
  Random random(seed);
  Bytes image;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      int color[3] = {40 - 12 * x / width, 150 - 45 * x / width + 12 * y / height, 70 - 20 * x / width};
      const int dx = 2 * x - width, dy = 2 * y - height;
      if (dx * dx + dy * dy < width * height / 6) color[0] = 205, color[1] = 150, color[2] = 125;
      if (y > height * 3 / 4 && x > width / 3 && x < width / 2) color[0] = color[1] = color[2] = 235;
      if (y > height * 3 / 4 && x >= width / 2 && x < width * 2 / 3) color[0] = 40, color[1] = 60, color[2] = 150;
      image.push_back(255);
      for (const int c : color)
        image.push_back(static_cast<unsigned char>(std::clamp(c + random.within(-3, 3), 0, 255)));
    }
  }
  return image;
}

// FNV-1a, to pin large results.
inline std::uint64_t hashOf(const Bytes& bytes) {
  std::uint64_t hash = 14695981039346656037u;
  for (const unsigned char b : bytes) hash = (hash ^ b) * 1099511628211u;
  return hash;
}

}  // namespace kalvetra::test
