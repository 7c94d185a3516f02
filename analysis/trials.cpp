#include "analysis/trials.h"

#include <algorithm>
#include <cmath>

#include "analysis/at_once.h"
#include "engine/render.h"
#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

constexpr Rgb kGrey{128.0f, 128.0f, 128.0f}, kMagenta{255.0f, 0.0f, 255.0f};

// Of the regions, in their order. No picture shows whether a shadow is wanted, so it counts less.
constexpr std::array<double, kRegions> kWeights{1.0, 1.0, 1.0, 0.35, 1.0};

constexpr float kSpillWeight = 0.3f;  // of a level of green left
constexpr float kSolid = 0.9f;

KeySettings withoutClip(KeySettings settings) {
  settings.clipBlack = 0;
  settings.clipWhite = 100;
  return settings;
}

// The opacities 0..1 that the clip levels make of a matte's bytes.
std::array<float, 256> clipTable(const KeySettings& settings) {
  const float low = static_cast<float>(settings.clipBlack) * 2.55f,
              high = static_cast<float>(settings.clipWhite) * 2.55f;
  std::array<float, 256> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = std::clamp((static_cast<float>(i) - low) / std::max(high - low, 1.0f), 0.0f, 1.0f);
  }
  return table;
}

float difference(const Target& target, const std::array<unsigned char, 4>& keyed, float alpha) {
  float sum = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const float color = alpha * static_cast<float>(keyed[c + 1]) - target.color[c], gap = target.alpha - alpha;
    sum += std::abs(color + kGrey[c] * gap) + std::abs(color + kMagenta[c] * gap);
  }
  return sum / 6.0f;
}

// By how much green stands out of an opaque or half-opaque pixel over black.
float greenExcess(const std::array<unsigned char, 4>& keyed, float alpha) {
  const float red = keyed[1], green = keyed[2], blue = keyed[3];
  return alpha * (green - 0.5f * (red + blue));
}

// Green that the defaults would have taken out; only where they, too, leave the pixel solid.
float spillLeft(const std::array<unsigned char, 4>& keyed, float alpha, const std::array<unsigned char, 4>& defaults) {
  const float solid = static_cast<float>(defaults[0]) / 255.0f;
  if (solid < kSolid) return 0.0f;
  return std::max(greenExcess(keyed, alpha) - std::max(greenExcess(defaults, solid), 0.0f), 0.0f);
}

}  // namespace

void Trials::add(const unsigned char* argb, int width, int height, ReferenceMatte matte) {
  const std::size_t bytes = std::size_t{4} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  pictures_.push_back(
      {{argb, argb + bytes}, width, height, std::move(matte), std::vector<unsigned char>(bytes), {}, {}});
  keyedWith_ = {};
}

void Trials::key(const KeySettings& settings) {
  atOnce(pictures_.size(), [&](std::size_t i) {
    Picture& p = pictures_[i];
    render(settings, packedFrame(p.argb.data(), p.width, p.height), packedFrame(p.result.data(), p.width, p.height));
    p.keyed.clear();
    for (const Target& t : p.matte.targets) {
      const unsigned char* pixel = p.result.data() + t.pixel * 4;
      p.keyed.push_back({pixel[0], pixel[1], pixel[2], pixel[3]});
    }
  });
  keyedWith_ = settings;
}

int Trials::widestDeblock() const {
  const int width = pictures_.empty() ? 0 : pictures_.front().width;
  return std::clamp(width / 640, 1, 3);
}

std::vector<const ReferenceMatte*> Trials::mattes() const {
  std::vector<const ReferenceMatte*> all;
  for (const Picture& p : pictures_) all.push_back(&p.matte);
  return all;
}

std::vector<Trials::Keyed> Trials::sources() const {
  std::vector<Keyed> all;
  for (const Picture& p : pictures_) all.push_back({p.argb, p.width, p.height});
  return all;
}

std::vector<Trials::Keyed> Trials::keys(const KeySettings& settings) const {
  std::vector<Keyed> all = sources();
  atOnce(all.size(), [&](std::size_t i) {
    const Picture& p = pictures_[i];
    render(settings, packedFrame(p.argb.data(), p.width, p.height), packedFrame(all[i].argb.data(), p.width, p.height));
  });
  return all;
}

// The settings with which they are compared keep the colour and the views.
void Trials::keyDefaults(const KeySettings& settings) {
  KeySettings defaults = defaultSettings();
  defaults.keyColor = settings.keyColor;
  key(defaults);
  for (Picture& p : pictures_) p.defaults = p.keyed;
}

double Trials::cost(const KeySettings& settings) {
  if (!pictures_.empty() && pictures_.front().defaults.empty()) keyDefaults(settings);
  if (withoutClip(settings) != keyedWith_) key(withoutClip(settings));
  const std::array<float, 256> opacity = clipTable(settings);
  double total = 0.0;
  for (const Picture& p : pictures_) {
    std::array<double, kRegions> sums{}, counts{};
    for (std::size_t i = 0; i < p.keyed.size(); ++i) {
      const auto region = static_cast<std::size_t>(p.matte.targets[i].region);
      const float alpha = opacity[p.keyed[i][0]];
      sums[region] += static_cast<double>(difference(p.matte.targets[i], p.keyed[i], alpha) +
                                          kSpillWeight * spillLeft(p.keyed[i], alpha, p.defaults[i]));
      counts[region] += 1.0;
    }
    for (std::size_t r = 0; r < kRegions; ++r) {
      const double share = static_cast<double>(p.matte.area[r]) / static_cast<double>(p.matte.pixels);
      if (counts[r] > 0.0) total += kWeights[r] * share * sums[r] / counts[r];
    }
  }
  return total / static_cast<double>(std::max<std::size_t>(pictures_.size(), 1));
}

}  // namespace kalvetra
