#include "plates/shot_plate.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "plates/resized.h"
#include "plates/sentence.h"
#include "plates/shot_plate_middle.h"
#include "plates/shot_plate_steady.h"

namespace kalvetra {

using plates::Cells;
using plates::cellsOf;
using plates::colorOf;
using plates::Light;
using plates::lightOf;
using plates::paintOff;
using plates::Plane;
using plates::Planes;
using plates::Rgb;
using plates::setColor;
using plates::swapGreenAndBlue;
using plates::textureOf;
using plates::Tint;

namespace {

constexpr int kLongest = 2048;                              // pixels of what is kept; more is reduced by a whole number
constexpr std::size_t kMostPixels = std::size_t{50} << 20;  // of all that is kept
constexpr std::size_t kLeastFrames = 8;
constexpr std::size_t kLeastToLock = 3;  // frames: of fewer none can be the odd one out

// What is near the fitted plate and of its paint: through a small blur, as fractions of the plate's brightness, and of
// the sum of the channels.
constexpr float kDarkest = 0.75f, kBrightest = 1.33f;
constexpr float kPaint = 0.012f, kPaintNoise = 1.2f;
constexpr int kLinesAPixel = 1080;  // a border of a pixel at that height is left out

constexpr int kBlock = 4;            // pixels a side, by which the fitted plate is matched to what was seen
constexpr double kEnoughSeen = 0.5;  // of the picture, for its darker places to be shadows

int reductionOf(int width, int height) { return std::max(1, (std::max(width, height) + kLongest - 1) / kLongest); }

// As bytes have it, rounded.
bool isOpaque(const Plate& picture, std::size_t pixel) {
  return picture.format() == PixelFormat::RgbaF32 ? picture.rgba[pixel * 4 + 3] >= 254.5f / 255.0f
                                                  : picture.argb[pixel * kPixelBytes] == 255;
}

// 1 where the picture may show the plate's paint, in about the plate's light.
Plane nearPlate(const Plate& picture, const Plate& plate, const Tint& tint) {
  Planes soft{Plane(picture.width, picture.height), Plane(picture.width, picture.height),
              Plane(picture.width, picture.height)};
  for (std::size_t i = 0; i < picture.pixels(); ++i) {
    const Rgb color = colorOf(picture, i);
    for (std::size_t c = 0; c < 3; ++c) soft[c][i] = color[c];
  }
  for (Plane& channel : soft) channel = boxMean(channel, 1);
  Plane close(picture.width, picture.height);
  for (int y = 0; y < picture.height; ++y) {
    const auto row = static_cast<std::size_t>(std::int64_t{y} * plate.height / picture.height) *
                     static_cast<std::size_t>(plate.width);
    for (int x = 0; x < picture.width; ++x) {
      const Rgb known = colorOf(plate, row + static_cast<std::size_t>(std::int64_t{x} * plate.width / picture.width));
      const std::size_t i = close.index(x, y);
      Rgb there{}, here{};
      for (std::size_t c = 0; c < 3; ++c) {
        there[c] = tint.of(known[c], c);
        here[c] = soft[c][i];
      }
      const float sum = std::max(here[0] + here[1] + here[2], 1.0f);
      const float expected = std::max(there[0] + there[1] + there[2], 1.0f);
      const float most = kPaint + kPaintNoise * plate.noise / sum;
      if (sum > kDarkest * expected && sum < kBrightest * expected && paintOff(here, there) < most * most)
        close[i] = 1.0f;
    }
  }
  return close;
}

}  // namespace

std::size_t ShotPlate::capacity(int width, int height) {
  const int reduction = reductionOf(width, height);
  const std::size_t pixels = static_cast<std::size_t>(std::max(width / reduction, 1)) *
                             static_cast<std::size_t>(std::max(height / reduction, 1));
  return std::clamp(kMostPixels / pixels, kLeastFrames, plates::kMostObservations);
}

void ShotPlate::addToFitted(const Plate& plate) {
  const Cells cells = cellsOf(plate.picture());
  if (fittedCount_ == 0.0f) {
    fittedCells_ = cells;
    for (Plane& sum : fitted_) sum = Plane(plate.width, plate.height);
  }
  if (plate.width != fitted_[0].width || plate.height != fitted_[0].height) return;
  const Light light = lightOf(cells, fittedCells_);
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < fitted_[c].values.size(); ++i)
      fitted_[c][i] += light.tint.undone(colorOf(plate, i)[c], c);
  }
  fittedCount_ += 1.0f;
  fittedNoise_ += plate.noise;
}

void ShotPlate::add(const ConstFrame& frame, const FittedPlate& fitted, bool isOfThisFrame) {
  if (width_ == 0) {
    width_ = frame.width;
    height_ = frame.height;
    const int reduction = reductionOf(width_, height_);
    columns_ = width_ > 0 ? std::max(width_ / reduction, 1) : 0;
    rows_ = height_ > 0 ? std::max(height_ / reduction, 1) : 0;
  }
  if (frame.width != width_ || frame.height != height_)
    throw std::invalid_argument("ShotPlate: a frame of another size");
  if (columns_ < 1 || rows_ < 1 || !fitted.sure || fitted.plate.empty()) return;
  if (kept_.size() == capacity(width_, height_)) return;

  if (kept_.empty()) {
    isBlue_ = plates::isBlue(fitted.plate);
    format_ = plates::plateFormat(frame.format);
  }
  Plate picture = plates::resized(frame, columns_, rows_, format_);
  Plate plate = fitted.plate;
  if (isBlue_) {
    swapGreenAndBlue(picture);
    swapGreenAndBlue(plate);
  }
  Tint tint;
  if (!isOfThisFrame) tint = lightOf(cellsOf(picture.picture()), cellsOf(plate.picture())).tint;
  const Plane close = nearPlate(picture, plate, tint);
  const int border = std::max(1, 2 * rows_ / kLinesAPixel);
  const Plane inner = boxMean(close, border);
  const bool hasMap = isOfThisFrame && fitted.bare.size() == plate.pixels();
  std::vector<unsigned char> bare(close.values.size());
  for (int y = 0; y < rows_; ++y) {
    const auto mapRow =
        static_cast<std::size_t>(std::int64_t{y} * plate.height / rows_) * static_cast<std::size_t>(plate.width);
    for (int x = 0; x < columns_; ++x) {
      const std::size_t i = close.index(x, y);
      const std::size_t at = mapRow + static_cast<std::size_t>(std::int64_t{x} * plate.width / columns_);
      const bool isBare = inner[i] > 0.999f && (!hasMap || fitted.bare[at] >= 128) && isOpaque(picture, i);
      bare[i] = isBare ? 255 : 0;
    }
  }
  Kept kept{{}, {}, cellsOf(picture.picture(), bare.data()), textureOf(picture.picture(), bare.data())};
  if (format_ == PixelFormat::RgbaF32) {
    kept.fine = plates::fineColors(picture, bare.data());
  } else {
    for (std::size_t i = 0; i < bare.size(); ++i) picture.argb[i * kPixelBytes] = bare[i];
    kept.argb = std::move(picture.argb);
  }
  addToFitted(plate);
  kept_.push_back(std::move(kept));
}

// The whole picture: what was seen, and elsewhere the fitted plate, shifted by what it lacks at the border.
Planes ShotPlate::joined(const std::vector<float>& colors, const std::vector<unsigned char>& seen,
                         const Workers* workers) const {
  const int across = (columns_ + kBlock - 1) / kBlock, down = (rows_ + kBlock - 1) / kBlock;
  Planes whole, lacks{Plane(across, down), Plane(across, down), Plane(across, down)};
  Plane weight(across, down);
  for (std::size_t c = 0; c < 3; ++c) {
    whole[c] = enlarged(fitted_[c], columns_, rows_, workers);
    for (float& v : whole[c].values) v /= fittedCount_;
  }
  for (std::size_t i = 0; i < seen.size(); ++i) {
    if (seen[i] == 0) continue;
    const auto x = static_cast<int>(i % static_cast<std::size_t>(columns_));
    const auto y = static_cast<int>(i / static_cast<std::size_t>(columns_));
    const std::size_t block = weight.index(x / kBlock, y / kBlock);
    weight[block] += 1.0f;
    for (std::size_t c = 0; c < 3; ++c) lacks[c][block] += colors[i * 3 + c] - whole[c][i];
  }
  for (std::size_t b = 0; b < weight.values.size(); ++b) {
    for (Plane& lack : lacks) lack[b] /= std::max(weight[b], 1.0f);
    weight[b] = std::min(1.0f, weight[b] / (kBlock * kBlock / 2));
  }
  lacks = filled(lacks, weight, workers);
  for (std::size_t c = 0; c < 3; ++c) {
    // Blocks at the right and the bottom may reach beyond the picture, so the enlarged plane may, too.
    const Plane lack = enlarged(lacks[c], across * kBlock, down * kBlock, workers);
    for (int y = 0; y < rows_; ++y) {
      for (int x = 0; x < columns_; ++x) {
        const std::size_t i = whole[c].index(x, y);
        whole[c][i] = seen[i] != 0 ? colors[i * 3 + c] : whole[c][i] + lack[lack.index(x, y)];
      }
    }
  }
  return whole;
}

GatheredPlate ShotPlate::gather(const Workers* workers) const {
  GatheredPlate gathered;
  if (kept_.empty()) {
    gathered.why = "the screen is not seen clearly enough in any of the frames looked at";
    return gathered;
  }
  std::vector<plates::ShotView> views;
  for (const Kept& kept : kept_)
    views.push_back({kept.argb.data(), &kept.cells, &kept.texture, kept.fine.empty() ? nullptr : kept.fine.data()});
  const plates::Steadiness steadiness = plates::steadinessOf(views);
  gathered.why = steadiness.why;
  if (kept_.size() < kLeastToLock) {
    gathered.why = plates::sentence(
        "the screen is seen clearly in only %zu of the frames looked at, too few to gather it", kept_.size());
  }
  gathered.locked = gathered.why.empty();

  const plates::Middle middle =
      plates::middleOf(views, steadiness.tints, columns_, rows_, fittedNoise_ / fittedCount_, workers);
  std::size_t seen = 0;
  for (const unsigned char s : middle.seen) seen += s != 0 ? 1 : 0;
  gathered.seen = static_cast<double>(seen) / static_cast<double>(middle.seen.size());

  const Planes whole = joined(middle.colors, middle.seen, workers);
  Plate& plate = gathered.plate;
  plate = plates::blankPlate(format_, columns_, rows_);
  plate.noise = middle.noise;
  plate.keepsShadows = gathered.locked && gathered.seen >= kEnoughSeen;
  for (std::size_t i = 0; i < plate.pixels(); ++i) setColor(plate, i, {whole[0][i], whole[1][i], whole[2][i]});
  if (isBlue_) swapGreenAndBlue(plate);
  return gathered;
}

}  // namespace kalvetra
