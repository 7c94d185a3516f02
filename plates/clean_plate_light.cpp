#include "plates/clean_plate_light.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "plates/sentence.h"

namespace kalvetra::plates {

namespace {

constexpr float kOtherLight = 0.03f, kUnevenLight = 0.05f, kMostUneven = 0.35f;  // of the light
constexpr float kMostlySame = 0.5f;  // of the cells, for darker ones to lie in a shadow
constexpr float kLeastBare = 0.5f;   // of a cell
constexpr int kSmoothCells = 3;      // radius over which a light's shape is followed

// How much brighter the shot is than the plate at each cell, light aside; 0 and no weight where it is not known.
std::pair<Plane, Plane> ratios(const CleanView& view, const Cells& clean) {
  Plane ratio(kCellColumns, kCellRows), weight(kCellColumns, kCellRows);
  for (const CleanSample& sample : view.samples) {
    const Cells cells = cellsOf(view, sample);
    const Light light = lightOf(cells, clean);
    for (std::size_t i = 0; i < kCells; ++i) {
      if (cells[i].weight < kLeastBare || clean[i].weight < kLeastBare) continue;
      float expected = 0.0f;
      for (std::size_t c = 0; c < 3; ++c) expected += light.tint.of(clean[i].color[c], c);
      ratio[i] += sumOf(cells[i].color) / std::max(expected, 1.0f);
      weight[i] += 1.0f;
    }
  }
  for (std::size_t i = 0; i < kCells; ++i) {
    ratio[i] /= std::max(weight[i], 1.0f);
    weight[i] = std::min(weight[i], 1.0f);
  }
  return {std::move(ratio), std::move(weight)};
}

// Where most of the screen is as the plate shows it and the rest is only darker, a shadow lies on the rest: nothing is
// known of the light there.
void leaveOutShadows(const Plane& ratio, Plane& weight) {
  std::size_t known = 0, same = 0;
  for (std::size_t i = 0; i < kCells; ++i) {
    if (weight[i] <= 0.0f) continue;
    ++known;
    if (std::abs(ratio[i] - 1.0f) <= kUnevenLight) ++same;
  }
  if (static_cast<float>(same) < kMostlySame * static_cast<float>(known)) return;
  for (std::size_t i = 0; i < kCells; ++i) {
    if (ratio[i] < 1.0f - kUnevenLight) weight[i] = 0.0f;
  }
}

}  // namespace

float quantile(std::vector<float>& values, float share) {
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<float>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

// The middle one, channel by channel, of what each sample says of the light.
Light middleLight(const CleanView& view, const Cells& clean) {
  std::vector<Light> lights;
  for (const CleanSample& sample : view.samples) lights.push_back(lightOf(cellsOf(view, sample), clean));
  Light middle = lights[0];
  std::vector<float> values;
  const auto middleOf = [&](auto part) {
    values.clear();
    for (const Light& light : lights) values.push_back(part(light));
    return quantile(values, 0.5f);
  };
  for (std::size_t c = 0; c < 3; ++c) {
    middle.tint.gain[c] = middleOf([&](const Light& light) { return light.tint.gain[c]; });
    middle.tint.offset[c] = middleOf([&](const Light& light) { return light.tint.offset[c]; });
    middle.level[c] = middleOf([&](const Light& light) { return light.level[c]; });
  }
  middle.matched = middleOf([](const Light& light) { return light.matched; });
  return middle;
}

void followLight(const CleanView& view, const Cells& clean, Planes& planes, CleanPlate& result) {
  auto [ratio, weight] = ratios(view, clean);
  leaveOutShadows(ratio, weight);
  std::vector<float> off;
  for (std::size_t i = 0; i < kCells; ++i) {
    if (weight[i] > 0.0f) off.push_back(std::abs(ratio[i] - 1.0f));
  }
  if (off.empty()) return;
  const float uneven = quantile(off, 0.9f);
  if (uneven > kMostUneven) {
    result.refusal = sentence(
        "was taken in another light: it differs from the shot's by up to %.0f %% from place to place; take it again in "
        "the shot's own light, or have the plate fitted",
        100.0 * static_cast<double>(uneven));
  }
  if (uneven <= kUnevenLight || !result.refusal.empty()) return;
  result.notes.push_back(
      sentence("was taken in another light, which differs from the shot's by up to %.0f %% from place "
               "to place: bent to the shot's",
               100.0 * static_cast<double>(uneven)));
  const Planes whole = filled({ratio, ratio, ratio}, weight);
  const Plane bent = enlarged(boxMean(boxMean(whole[0], kSmoothCells), 1), view.plate.width, view.plate.height);
  for (Plane& plane : planes) {
    for (std::size_t i = 0; i < plane.values.size(); ++i) plane[i] *= bent[i];
  }
}

void noteLight(const CleanView& view, const Light& light, CleanPlate& result) {
  const Rgb& gain = result.gain;
  const float whole = std::max(0.299f * gain[0] + 0.587f * gain[1] + 0.114f * gain[2], 0.01f);
  float tint = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) tint = std::max(tint, std::abs(light.tint.gain[c] / whole - 1.0f));
  if (std::abs(whole - 1.0f) > kOtherLight) {
    result.notes.push_back(sentence("is %.0f %% %s than the shot: brought to its light",
                                    100.0 * static_cast<double>(std::abs(1.0f / whole - 1.0f)),
                                    whole > 1.0f ? "darker" : "brighter"));
  }
  if (tint > 2.0f * kOtherLight) {
    result.notes.push_back(sentence("has another white balance than the shot: red times %.2f, green %.2f, blue %.2f",
                                    static_cast<double>(gain[0]), static_cast<double>(gain[view.isBlue ? 2 : 1]),
                                    static_cast<double>(gain[view.isBlue ? 1 : 2])));
  }
}

}  // namespace kalvetra::plates
