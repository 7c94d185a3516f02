#include "deep/deblocked_rows.h"

#include <algorithm>
#include <cstdint>

#include "deep/matte_kernels.h"
#include "imaging/sliding_box.h"

namespace kalvetra::deep {

namespace {

constexpr float kMostChroma = 16384.0f;  // 64 times white

// Averaged colour differences on the luma of a dark or bright pixel may lead below black or above white, where a dark
// hair would look like the screen round it. Cut off, as in bytes, but not below or above the source.
void keepWithin(const float* source, float* row, int width) {
  for (int x = 0; x < width; ++x) {
    row[x] = std::clamp(row[x], std::min(source[x], 0.0f), std::max(source[x], 255.0f));
  }
}

}  // namespace

DeblockedRows::DeblockedRows(const ConstFrame& frame, bool blueScreen, int radius, int firstRow, int kept)
    : frame_(frame),
      blueScreen_(blueScreen),
      radius_(effectiveRadius(frame.width, frame.height, radius)),
      ringRows_(std::min(2 * radius_ + 2, frame.height)),
      kept_(kept),
      split_(std::max(firstRow - radius_ - 1, 0)),
      ring_(frame.width, ringRows_),
      rows_(frame.width, kept),
      blurred_(frame.width, 1),
      blue_(frame.width, frame.height, radius_, kMostChroma),
      red_(blue_) {}

ConstRow DeblockedRows::row(int y) {
  for (; split_ <= std::min(y + radius_, frame_.height - 1); ++split_) {
    const Row loaded = ring_.row(split_ % ringRows_);
    loadRow(frame_, split_, blueScreen_, loaded);
    splitChroma(loaded, frame_.width);
  }
  const Row blurred = blurred_.row(0), out = rows_.row(y % kept_);
  blue_.average(
      y, [this](int i) { return ring_.row(i % ringRows_).green; }, blurred.green);
  red_.average(
      y, [this](int i) { return ring_.row(i % ringRows_).blue; }, blurred.blue);
  joinChroma(ring_.row(y % ringRows_), blurred.green, blurred.blue, out, frame_.width);
  loadRow(frame_, y, blueScreen_, blurred);
  keepWithin(blurred.red, out.red, frame_.width);
  keepWithin(blurred.green, out.green, frame_.width);
  keepWithin(blurred.blue, out.blue, frame_.width);
  return out;
}

}  // namespace kalvetra::deep
