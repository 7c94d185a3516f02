#include "plates/clean_plate.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "plates/clean_plate_checks.h"
#include "plates/plane.h"
#include "plates/resized.h"

namespace kalvetra {

using plates::colorOf;
using plates::Plane;
using plates::Planes;
using plates::resized;
using plates::swapGreenAndBlue;

namespace {

void makeOpaque(Plate& picture) {
  for (std::size_t i = 0; i < picture.argb.size(); i += kPixelBytes) picture.argb[i] = 255;
  for (std::size_t i = 3; i < picture.rgba.size(); i += 4) picture.rgba[i] = 1.0f;
}

// Calls set(i, sum, count) for each value of pictures: of those that a third of them lie below and a third above.
template <class Value, class Set>
void sumMiddle(const std::vector<std::vector<Value>>& pictures, const Set& set) {
  const std::size_t outer = pictures.size() / 3, inner = pictures.size() - 2 * outer;
  std::vector<Value> values(pictures.size());
  for (std::size_t i = 0; i < pictures[0].size(); ++i) {
    for (std::size_t k = 0; k < pictures.size(); ++k) values[k] = pictures[k][i];
    std::sort(values.begin(), values.end());
    int sum = 0;
    for (std::size_t k = outer; k < outer + inner; ++k) sum += values[k];
    set(i, sum, static_cast<int>(inner));
  }
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
  const std::size_t count = frames_.size() + fineFrames_.size();
  if (count == 0) {
    width_ = std::max(frame.width, 0);
    height_ = std::max(frame.height, 0);
    format_ = plates::plateFormat(frame.format);
  }
  if (frame.width != width_ || frame.height != height_)
    throw std::invalid_argument("CleanPlateMean: a frame of another size");
  if (count == kMost || width_ < 1 || height_ < 1) return;
  Plate picture = resized(frame, width_, height_, format_);
  makeOpaque(picture);
  if (format_ == PixelFormat::RgbaF32) {
    fineFrames_.push_back(plates::fineColors(picture));
  } else {
    frames_.push_back(std::move(picture.argb));
  }
}

std::vector<unsigned char> CleanPlateMean::mean() const {
  std::vector<unsigned char> bytes;
  if (!frames_.empty()) {
    bytes.resize(frames_[0].size());
    sumMiddle(frames_, [&](std::size_t i, int sum, int count) {
      bytes[i] = static_cast<unsigned char>((sum + count / 2) / count);
    });
  }
  if (!fineFrames_.empty()) {
    const std::size_t pixels = fineFrames_[0].size() / 3;
    bytes.resize(pixels * 4 * sizeof(float));
    const auto set = [&](std::size_t value, float v) { std::memcpy(&bytes[value * sizeof v], &v, sizeof v); };
    sumMiddle(fineFrames_, [&](std::size_t i, int sum, int count) {
      set(i / 3 * 4 + i % 3, static_cast<float>(sum) / (255.0f * plates::kFineSteps * static_cast<float>(count)));
    });
    for (std::size_t i = 0; i < pixels; ++i) set(i * 4 + 3, 1.0f);
  }
  return bytes;
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
  plate = resized(clean, isLarger ? frame->width : clean.width, isLarger ? frame->height : clean.height,
                  plates::plateFormat(frame != nullptr ? frame->format : clean.format));
  makeOpaque(plate);
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
  if (view.isBlue) swapGreenAndBlue(plate);
  for (const ShotSample& sample : samples) {
    view.samples.push_back(
        {sample.frame, {}, bareOf(*sample.fitted, plate.width, plate.height), sample.fitted->plate.noise});
    if (sample.frame.width == plate.width && sample.frame.height == plate.height) continue;
    plates::CleanSample& smaller = view.samples.back();
    smaller.own = resized(sample.frame, plate.width, plate.height, plates::plateFormat(sample.frame.format));
    smaller.picture = smaller.own.picture();
  }
  const Plate& fitted = samples[0].fitted->plate;
  for (std::size_t c = 0; c < 3; ++c) {
    Plane channel(fitted.width, fitted.height);
    for (std::size_t i = 0; i < channel.values.size(); ++i) channel[i] = colorOf(fitted, i)[c];
    view.fitted[c] = enlarged(channel, plate.width, plate.height);
  }
  if (view.isBlue) std::swap(view.fitted[1], view.fitted[2]);
  plates::correct(view, result);
  if (view.isBlue) {
    swapGreenAndBlue(plate);
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
