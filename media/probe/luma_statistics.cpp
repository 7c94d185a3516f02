#include "media/probe/luma_statistics.h"

#include <vector>

#include "media/pixels/samples.h"
#include "media/pixels/yuv_converter.h"

namespace kalvetra {

namespace {

constexpr double kPiledUp = 0.002;   // share at one end that is no accident
constexpr double kStray = 0.0002;    // share that ringing and noise may put beyond the ends
constexpr double kManyBelow = 0.01;  // share far below black that no limited picture has
constexpr int kFarBelow = 10, kFarAbove = 246;

}  // namespace

void LumaStatistics::add(const AVFrame& picture) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (format == nullptr || !YuvConverter::handles(*format)) return;
  const int surplus = format->comp[0].depth - 8;
  std::vector<std::uint16_t> line(static_cast<std::size_t>(picture.width));
  for (int y = 0; y < picture.height; ++y) {
    readSamples(picture, *format, 0, y, picture.width, line.data());
    for (const std::uint16_t sample : line) ++levels_[static_cast<std::size_t>(sample >> surplus)];
  }
  total_ += std::int64_t{picture.width} * picture.height;
}

double LumaStatistics::share(int lowest, int highest) const {
  std::int64_t count = 0;
  for (int level = lowest; level <= highest; ++level) count += levels_[static_cast<std::size_t>(level)];
  return total_ == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(total_);
}

RangeDoubt LumaStatistics::doubt(bool takenForFull) const {
  const double farBelow = share(0, kFarBelow), farAbove = share(kFarAbove, 255);
  if (!takenForFull) {
    const bool bothEnds = farBelow > kPiledUp && farAbove > kPiledUp;
    return bothEnds || farBelow > kManyBelow ? RangeDoubt::LooksFull : RangeDoubt::None;
  }
  const bool nothingBeyond = share(0, 14) + share(237, 255) < kStray;
  const bool piledUp = share(15, 18) > kPiledUp && share(233, 236) > kPiledUp;
  return nothingBeyond && piledUp ? RangeDoubt::LooksLimited : RangeDoubt::None;
}

}  // namespace kalvetra
