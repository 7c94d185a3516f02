#include "analysis/matte_quality.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace kalvetra {

namespace {

constexpr int kQuiteClear = 5;    // levels; at most this
constexpr int kQuiteSolid = 250;  // at least this
constexpr double kPercent = 100.0;

// Calls see(index, sum, area) for every pixel: the sum over the part of the square box with that radius that lies
// inside the plane, and that part's size. The cost does not depend on the radius.
template <class See>
void slideBox(const MattePlane& plane, int width, int height, int radius, See see) {
  const auto w = static_cast<std::size_t>(width);
  std::vector<std::uint32_t> columns(w, 0);
  const auto addRow = [&](int y, std::uint32_t sign) {
    const unsigned char* row = plane.data() + static_cast<std::size_t>(y) * w;
    for (std::size_t x = 0; x < w; ++x) columns[x] += sign * row[x];
  };
  for (int y = 0; y < std::min(radius, height); ++y) addRow(y, 1);
  std::size_t index = 0;
  for (int y = 0; y < height; ++y) {
    if (y + radius < height) addRow(y + radius, 1);
    if (y - radius - 1 >= 0) addRow(y - radius - 1, ~std::uint32_t{0});  // takes it away, modulo 2^32
    const int rows = std::min(y + radius, height - 1) - std::max(y - radius, 0) + 1;
    std::uint32_t sum = 0;
    for (int x = 0; x < std::min(radius, width); ++x) sum += columns[static_cast<std::size_t>(x)];
    for (int x = 0; x < width; ++x, ++index) {
      if (x + radius < width) sum += columns[static_cast<std::size_t>(x + radius)];
      if (x - radius - 1 >= 0) sum -= columns[static_cast<std::size_t>(x - radius - 1)];
      const int count = std::min(x + radius, width - 1) - std::max(x - radius, 0) + 1;
      see(index, sum, static_cast<std::uint32_t>(rows * count));
    }
  }
}

// What a pixel with these four levels in a row adds to the flicker.
int swing(int a, int b, int c, int d) {
  const int first = b - a, second = c - b, third = d - c;
  const bool turnsTwice = (first < 0) != (second < 0) && (second < 0) != (third < 0);
  return turnsTwice ? std::min({std::abs(first), std::abs(second), std::abs(third)}) : 0;
}

}  // namespace

MatteQuality::MatteQuality(int width, int height)
    : width_(width), height_(height), margin_(std::max(std::min(width, height) / 40, 4)), box_(margin_ / 4) {
  if (width < 1 || height < 1) throw std::invalid_argument("a matte has at least one pixel");
}

std::optional<double> MatteQuality::Average::add(const Sum& picture, double scale, std::int64_t frame) {
  if (picture.pixels == 0) return std::nullopt;
  total_ += picture.value * scale;
  pixels_ += picture.pixels;
  const double mean = picture.value * scale / static_cast<double>(picture.pixels);
  if (figure_.worstFrame == 0 || mean > figure_.worst) {
    figure_.worst = mean;
    figure_.worstFrame = frame;
  }
  return mean;
}

MatteFigure MatteQuality::Average::figure() const {
  MatteFigure figure = figure_;
  if (pixels_ > 0) figure.mean = total_ / static_cast<double>(pixels_);
  return figure;
}

std::vector<MatteQuality::Region> MatteQuality::regionsOf(const MattePlane& matte) const {
  MattePlane subject(matte.size());  // 0 or 1
  slideBox(matte, width_, height_, box_, [&](std::size_t i, std::uint32_t sum, std::uint32_t area) {
    subject[i] = std::uint64_t{2} * sum >= std::uint64_t{255} * area ? 1 : 0;
  });
  std::vector<Region> regions(matte.size());
  slideBox(subject, width_, height_, margin_, [&](std::size_t i, std::uint32_t sum, std::uint32_t area) {
    regions[i] = sum == 0 ? Clear : sum == area ? Solid : Edge;
  });
  return regions;
}

PictureQuality MatteQuality::measurePixels(const MattePlane& matte) {
  std::int64_t clear = 0, solid = 0;
  for (const unsigned char level : matte) {
    clear += level <= kQuiteClear ? 1 : 0;
    solid += level >= kQuiteSolid ? 1 : 0;
  }
  const auto all = static_cast<std::int64_t>(matte.size());
  const auto share = [all](std::int64_t pixels) { return static_cast<double>(pixels) / static_cast<double>(all); };
  return {share(clear), share(all - clear - solid), share(solid), std::nullopt};
}

void MatteQuality::measureRegions(const MattePlane& matte, const std::vector<Region>& regions) {
  std::int64_t pixels[3] = {}, levels[3] = {}, hazy = 0;
  for (std::size_t i = 0; i < matte.size(); ++i) {
    ++pixels[regions[i]];
    levels[regions[i]] += matte[i];
    hazy += regions[i] == Clear && matte[i] > kQuiteClear ? 1 : 0;
  }
  for (const Region region : {Clear, Edge, Solid}) regionPixels_[region] += pixels[region];
  haze_.add({static_cast<double>(levels[Clear]), pixels[Clear]}, kPercent / 255.0, frames_);
  hazyPixels_.add({static_cast<double>(hazy), pixels[Clear]}, kPercent, frames_);
  holes_.add({static_cast<double>(255 * pixels[Solid] - levels[Solid]), pixels[Solid]}, kPercent / 255.0, frames_);
}

// Of the picture before the newest but one; the four lie around it.
void MatteQuality::measureFlicker(const MattePlane& newest) {
  std::int64_t sum = 0, pixels = 0;
  const auto& [first, second, third] = last_;
  for (std::size_t i = 0; i < newest.size(); ++i) {
    if (second.regions[i] != Edge) continue;
    const auto [lowest, highest] = std::minmax({first.matte[i], second.matte[i], third.matte[i], newest[i]});
    if (highest <= kQuiteClear || lowest >= kQuiteSolid) continue;
    ++pixels;
    sum += swing(first.matte[i], second.matte[i], third.matte[i], newest[i]);
  }
  const std::int64_t frame = frames_ - 2;
  pictures_[static_cast<std::size_t>(frame - 1)].flicker = flicker_.add({static_cast<double>(sum), pixels}, 1.0, frame);
}

void MatteQuality::add(MattePlane matte) {
  if (matte.size() != static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_)) {
    throw std::invalid_argument("a matte of another size than the clip's");
  }
  ++frames_;
  pictures_.push_back(measurePixels(matte));
  std::vector<Region> regions = regionsOf(matte);
  measureRegions(matte, regions);
  if (!last_[0].matte.empty()) measureFlicker(matte);
  last_[0] = std::move(last_[1]);
  last_[1] = std::move(last_[2]);
  last_[2] = {std::move(matte), std::move(regions)};
}

MatteReport MatteQuality::report() const {
  MatteReport report;
  report.frames = frames_;
  report.flicker = flicker_.figure();
  report.haze = haze_.figure();
  report.hazyPixels = hazyPixels_.figure();
  report.holes = holes_.figure();
  const auto all =
      static_cast<double>(std::max<std::int64_t>(regionPixels_[Clear] + regionPixels_[Edge] + regionPixels_[Solid], 1));
  report.clearArea = kPercent * static_cast<double>(regionPixels_[Clear]) / all;
  report.edgeBand = kPercent * static_cast<double>(regionPixels_[Edge]) / all;
  report.solidArea = kPercent * static_cast<double>(regionPixels_[Solid]) / all;
  const double each = kPercent / static_cast<double>(std::max<std::size_t>(pictures_.size(), 1));
  for (const PictureQuality& picture : pictures_) {
    report.clearPixels += each * picture.clear;
    report.partialPixels += each * picture.partial;
    report.solidPixels += each * picture.solid;
  }
  return report;
}

}  // namespace kalvetra
