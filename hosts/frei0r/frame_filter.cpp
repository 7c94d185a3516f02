#include "hosts/frei0r/frame_filter.h"

#include <algorithm>
#include <cstddef>

#include "engine/render.h"

namespace kalvetra {

void FrameFilter::render(const std::uint32_t* input, std::uint32_t* output) const {
  kalvetra::render(settings,
                   packedFrame(reinterpret_cast<const unsigned char*>(input), width_, height_, PixelFormat::Rgba8),
                   packedFrame(reinterpret_cast<unsigned char*>(output), width_, height_, PixelFormat::Rgba8));
}

void FrameFilter::pass(const std::uint32_t* input, std::uint32_t* output) const {
  const auto pixels = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
  if (input != output) std::copy_n(input, pixels, output);
}

}  // namespace kalvetra
