#include "tests/equality/pictures.h"

namespace kalvetra::test {

namespace {

Bytes fromLevels(int lowest, int highest, std::size_t bytes, std::uint64_t seed) {
  Random random(seed);
  Bytes image(bytes);
  for (unsigned char& b : image) b = static_cast<unsigned char>(random.within(lowest, highest));
  return image;
}

Bytes ramps(bench::Size size) {
  Bytes image;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const auto red = static_cast<unsigned char>(255 * x / size.width);
      const auto green = static_cast<unsigned char>(255 * y / size.height);
      const auto blue = static_cast<unsigned char>((red + green) / 2);
      append(image, {static_cast<unsigned char>(255 - red), red, green, blue});
    }
  }
  return image;
}

Bytes cutout(bench::Size size, std::uint64_t seed) {
  Bytes image = greenScreen(size.width, size.height, seed);
  unsigned char* pixel = image.data();
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x, pixel += 4) {
      const int dx = 2 * x - size.width, dy = 2 * y - size.height;
      const int alpha = (dx * dx + dy * dy) * 6 * 255 / (size.width * size.height) - 255;
      pixel[0] = static_cast<unsigned char>(std::clamp(alpha, 0, 255));
      if (alpha <= 0) std::fill_n(pixel + 1, 3, static_cast<unsigned char>(0));
    }
  }
  return image;
}

Bytes uniform(bench::Size size) {
  Bytes image;
  for (int i = 0; i < size.width * size.height; ++i) {
    append(image, {255, bench::kScreenGreen[0], bench::kScreenGreen[1], bench::kScreenGreen[2]});
  }
  return image;
}

// An odd factor permutes the 24-bit numbers: every colour comes once, and neighbours are far apart.
Bytes colors(std::uint64_t slice) {
  constexpr std::uint32_t kPixels = kColorSlice.width * kColorSlice.height;
  Bytes image;
  image.reserve(kPixels * std::size_t{4});
  for (std::uint32_t i = 0; i < kPixels; ++i) {
    const std::uint32_t color = (static_cast<std::uint32_t>(slice) * kPixels + i) * 2654435769u;
    append(image, {255, static_cast<unsigned char>(color >> 16), static_cast<unsigned char>(color >> 8),
                   static_cast<unsigned char>(color)});
  }
  return image;
}

Bytes hostFrame(Picture picture, bench::Size size, std::uint64_t seed) {
  const std::size_t bytes = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4;
  switch (picture) {
    case Picture::Dark:
      return fromLevels(0, 3, bytes, seed);
    case Picture::Bright:
      return fromLevels(252, 255, bytes, seed);
    case Picture::Noise:
      return fromLevels(0, 255, bytes, seed);
    case Picture::Screen:
      return greenScreen(size.width, size.height, seed);
    case Picture::Ramps:
      return ramps(size);
    case Picture::Cutout:
      return cutout(size, seed);
    case Picture::Uniform:
      return uniform(size);
    case Picture::Colors:
      return colors(seed);
  }
  return {};
}

}  // namespace

std::string nameOf(Picture picture) {
  constexpr const char* names[]{"dark", "bright", "noise", "screen", "ramps", "cutout", "uniform", "all colours"};
  return names[static_cast<int>(picture)];
}

Bytes draw(Picture picture, bench::Source kind, bench::Size size, std::uint64_t seed) {
  Bytes frame = hostFrame(picture, size, seed);
  if (kind == bench::Source::HostFrame) return frame;
  if (kind == bench::Source::Plane) {
    Bytes plane;
    for (std::size_t i = 0; i < frame.size(); i += 4) plane.push_back(frame[i]);
    return plane;
  }
  for (std::size_t i = 0; i < frame.size(); i += 4) {
    std::swap(frame[i], frame[i + 3]);
    std::swap(frame[i + 1], frame[i + 2]);
  }
  return frame;
}

}  // namespace kalvetra::test
