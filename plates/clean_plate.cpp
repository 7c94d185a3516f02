#include "plates/clean_plate.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "plates/clean_plate_checks.h"
#include "plates/plane.h"
#include "plates/resized.h"

namespace kalvetra {

using plates::Plane;
using plates::Planes;
using plates::resized;
using plates::swapGreenAndBlue;

namespace {

void makeOpaque(std::vector<unsigned char>& argb) {
  for (std::size_t i = 0; i < argb.size(); i += kPixelBytes) argb[i] = 255;
}

std::vector<unsigned char> bareOf(const FittedPlate& fitted, int width, int height) {
  std::vector<unsigned char> bare(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  const int fromWidth = fitted.plate.width, fromHeight = fitted.plate.height;
  if (fitted.bare.size() != static_cast<std::size_t>(fromWidth) * static_cast<std::size_t>(fromHeight)) return bare;
  for (int y = 0; y < height; ++y) {
    const auto row =
        static_cast<std::size_t>(std::int64_t{y} * fromHeight / height) * static_cast<std::size_t>(fromWidth);
    for (int x = 0; x < width; ++x) {
      bare[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)] =
          fitted.bare[row + static_cast<std::size_t>(std::int64_t{x} * fromWidth / width)];
    }
  }
  return bare;
}

}  // namespace

void CleanPlateMean::add(const ConstFrame& frame) {
  if (frames_.empty()) {
    width_ = std::max(frame.width, 0);
    height_ = std::max(frame.height, 0);
  }
  if (frame.width != width_ || frame.height != height_)
    throw std::invalid_argument("CleanPlateMean: a frame of another size");
  if (frames_.size() == kMost || width_ < 1 || height_ < 1) return;
  frames_.push_back(resized(frame, width_, height_));
  makeOpaque(frames_.back());
}

std::vector<unsigned char> CleanPlateMean::mean() const {
  if (frames_.empty()) return {};
  std::vector<unsigned char> mean(frames_[0].size());
  const std::size_t count = frames_.size(), outer = count / 3;  // on either side, left out
  std::vector<unsigned char> values(count);
  for (std::size_t i = 0; i < mean.size(); ++i) {
    for (std::size_t k = 0; k < count; ++k) values[k] = frames_[k][i];
    std::sort(values.begin(), values.end());
    std::size_t sum = 0;
    for (std::size_t k = outer; k < count - outer; ++k) sum += values[k];
    const std::size_t inner = count - 2 * outer;
    mean[i] = static_cast<unsigned char>((sum + inner / 2) / inner);
  }
  return mean;
}

CleanPlate correctedPlate(const ConstFrame& clean, const std::vector<ShotSample>& shot) {
  CleanPlate result;
  std::vector<ShotSample> samples;
  for (const ShotSample& sample : shot) {
    if (sample.fitted->sure && sample.frame.width > 0 && sample.frame.height > 0) samples.push_back(sample);
  }
  if (clean.width < 1 || clean.height < 1) {
    result.refusal = "has no pixels";
    return result;
  }
  const ConstFrame* const frame = shot.empty() ? nullptr : &shot[0].frame;
  if (frame != nullptr) result.refusal = plates::wrongSize(clean.width, clean.height, frame->width, frame->height);
  if (!result.refusal.empty()) return result;

  const bool isLarger =
      frame != nullptr && frame->width > 0 && (clean.width > frame->width || clean.height > frame->height);
  Plate& plate = result.plate;
  plate.width = isLarger ? frame->width : clean.width;
  plate.height = isLarger ? frame->height : clean.height;
  plate.argb = resized(clean, plate.width, plate.height);
  makeOpaque(plate.argb);
  if (samples.empty()) {
    // Whose light may be any other: what is darker need be no shadow.
    for (const ShotSample& sample : shot) plate.noise = std::max(plate.noise, sample.fitted->plate.noise);
    result.notes.emplace_back(
        "could not be compared with the shot, where the screen is not seen clearly: used as it is");
    return result;
  }

  // All at the plate's size from here on.
  plate.keepsShadows = true;
  plates::CleanView view{plate, {}, Planes{}, plates::isBlue(samples[0].fitted->plate)};
  if (view.isBlue) swapGreenAndBlue(plate.argb);
  for (const ShotSample& sample : samples) {
    view.samples.push_back({resized(sample.frame, plate.width, plate.height),
                            bareOf(*sample.fitted, plate.width, plate.height), sample.fitted->plate.noise});
    if (view.isBlue) swapGreenAndBlue(view.samples.back().argb);
  }
  const Plate& fitted = samples[0].fitted->plate;
  for (std::size_t c = 0; c < 3; ++c) {
    Plane channel(fitted.width, fitted.height);
    for (std::size_t i = 0; i < channel.values.size(); ++i) channel[i] = fitted.argb[i * kPixelBytes + 1 + c];
    view.fitted[c] = enlarged(channel, plate.width, plate.height);
  }
  if (view.isBlue) std::swap(view.fitted[1], view.fitted[2]);
  plates::correct(view, result);
  if (view.isBlue) {
    swapGreenAndBlue(plate.argb);
    std::swap(result.gain[1], result.gain[2]);
  }
  if (result.refusal.empty()) {
    result.shift *= static_cast<float>(frame->width) / static_cast<float>(plate.width);
  } else {
    result.plate = {};
  }
  return result;
}

}  // namespace kalvetra
