#include "bench/frames.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "imaging/CImagingZEP.h"
#include "sample/demo_clip.h"
#include "sample/test_images.h"

namespace kalvetra::bench {

namespace {

constexpr int kFirstFrame = 30;
constexpr int kLanczos = 0;

}  // namespace

Bytes floatFrame(const Bytes& image) {
  std::vector<float> floats;
  for (std::size_t i = 0; i < image.size(); i += 4) {
    for (const std::size_t c : {1u, 2u, 3u, 0u}) floats.push_back(static_cast<float>(image[i + c]) / 255.0f);
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(floats.data());
  return Bytes(bytes, bytes + floats.size() * sizeof(float));
}

Bytes reversedPixels(Bytes image) {
  for (std::size_t i = 0; i < image.size(); i += 4) {
    std::swap(image[i], image[i + 3]);
    std::swap(image[i + 1], image[i + 2]);
  }
  return image;
}

Bytes cameraFrame(Size size, int index, int noise) {
  using sample::kHeight, sample::kWidth;
  Bytes drawn = reversedPixels(sample::drawFrame(kFirstFrame + index).argb);
  Bytes image(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4, 255);
  CImagingZEP().DF_WH32bit5_1(drawn.data(), kWidth, kHeight, kWidth * 4, image.data(), size.width, size.height,
                              size.width * 4, kLanczos, 2);
  test::Random random(static_cast<std::uint64_t>(index));
  for (std::size_t i = 0; i < image.size(); ++i) {
    if (i % 4 == 3) continue;
    image[i] = static_cast<unsigned char>(std::clamp(image[i] + random.within(-noise, noise), 0, 255));
  }
  return reversedPixels(image);
}

void dumpFrames(Size size, int count, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  for (int i = 0; i < count; ++i) {
    const Bytes frame = cameraFrame(size, i);
    file.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
  }
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace kalvetra::bench
