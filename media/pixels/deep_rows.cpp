#include "media/pixels/deep_rows.h"

#include <algorithm>

#include "media/pixels/hidden_colors.h"

namespace kalvetra {

namespace {

constexpr std::size_t kKept = 4;  // two neighbours of an interlaced field lie two rows apart

}  // namespace

DeepRows::DeepRows(const Image& image, AlphaMode alpha, const Image* hidden)
    : image_(image), alpha_(alpha), hidden_(hidden) {
  if (alpha != AlphaMode::Straight || hidden != nullptr) made_.resize(kKept * rowFloats());
}

const float* DeepRows::row(int y) {
  const float* in = image_.floats(y);
  if (made_.empty()) return in;
  float* const made = made_.data() + static_cast<std::size_t>(y) % kKept * rowFloats();
  if (hidden_ != nullptr) {
    std::copy_n(in, rowFloats(), made);
    putHiddenColors(hidden_->row(y), made, image_.width);
    if (alpha_ == AlphaMode::Straight) return made;
    in = made;
  }
  float* out = made;
  for (int x = 0; x < image_.width; ++x, in += 4, out += 4) {
    const float factor = alpha_ == AlphaMode::Premultiplied ? in[3] : 1.0f;
    for (int c = 0; c < 3; ++c) out[c] = in[c] * factor;
    out[3] = alpha_ == AlphaMode::None ? 1.0f : in[3];
  }
  return made;
}

}  // namespace kalvetra
