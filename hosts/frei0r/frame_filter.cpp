#include "hosts/frei0r/frame_filter.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace kalvetra {

namespace {

// By how many bits a pixel, read as a whole, has to be turned so that its last byte in memory comes first.
constexpr int kAlphaFirst = std::endian::native == std::endian::little ? 8 : -8;

}  // namespace

FrameFilter::FrameFilter(int width, int height)
    : width_(width),
      height_(height),
      source_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
      result_(source_.size()) {}

void FrameFilter::render(const std::uint32_t* input, std::uint32_t* output) {
  std::transform(input, input + source_.size(), source_.begin(),
                 [](std::uint32_t pixel) { return std::rotl(pixel, kAlphaFirst); });
  renderFrame(settings, reinterpret_cast<const unsigned char*>(source_.data()),
              reinterpret_cast<unsigned char*>(result_.data()), width_, height_);
  std::transform(result_.begin(), result_.end(), output,
                 [](std::uint32_t pixel) { return std::rotr(pixel, kAlphaFirst); });
}

void FrameFilter::pass(const std::uint32_t* input, std::uint32_t* output) const {
  if (input != output) std::copy_n(input, source_.size(), output);
}

}  // namespace kalvetra
