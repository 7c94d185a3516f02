#include "analysis/clip_black.h"

#include <algorithm>
#include <array>
#include <vector>

#include "analysis/formatted_text.h"

namespace kalvetra {

namespace {

constexpr double kLeftBare = 0.005;     // share of the bare screen that may keep some opacity
constexpr double kSlowest = 0.8;        // of what is left, that a further percent leaves: noise falls faster,
constexpr double kFewest = 0.02;        // or at least by so much of the bare screen
constexpr double kLeastScreen = 0.005;  // share of the pictures that must be bare
constexpr int kMargin = 1;           // percent more: near the subject the screen is hazier than where it is surely bare
constexpr double kMostEaten = 0.25;  // share of the opacity of thin things
constexpr int kMostClip = 12;
constexpr int kMostUnsure = 4;  // where no plate is sure: what takes the haze off most screens and hardly any hair
constexpr int kMostBesideShadows = 4;  // where shadows are kept: what is bare in the frame may lie in one
constexpr int kThin = 204;             // opacities of 255; what is denser hardly shows a clip

// Pixels of each opacity of the keys.
struct Opacities {
  std::array<double, 256> bare{}, rest{};
  double pixels = 0.0, barePixels = 0.0;

  void add(const ScreenSample& sample, const KeySettings& settings, const Workers* workers) {
    const ConstFrame& frame = sample.frame;
    const FittedPlate& fitted = *sample.fitted;
    const auto width = static_cast<std::size_t>(frame.width), height = static_cast<std::size_t>(frame.height);
    std::vector<unsigned char> key(width * height * kPixelBytes);
    render(settings, frame, packedFrame(key.data(), frame.width, frame.height),
           {.workers = workers, .plate = sample.plate});
    const auto bareWidth = static_cast<std::size_t>(fitted.plate.width);
    const auto bareHeight = static_cast<std::size_t>(fitted.plate.height);
    for (std::size_t y = 0; y < height; ++y) {
      const unsigned char* bareRow = fitted.bare.data() + y * bareHeight / height * bareWidth;
      for (std::size_t x = 0; x < width; ++x) {
        const unsigned char alpha = key[(y * width + x) * kPixelBytes];
        const bool isBare = bareRow[x * bareWidth / width] == 255;
        (isBare ? bare : rest)[alpha] += 1.0;
        barePixels += isBare ? 1.0 : 0.0;
      }
    }
    pixels += static_cast<double>(width * height);
  }

  // Share of the bare screen that a clip level leaves visible.
  double left(int clip) const {
    double sum = 0.0;
    for (std::size_t a = 0; a < bare.size(); ++a) sum += static_cast<double>(a) > clip * 2.55 ? bare[a] : 0.0;
    return sum / std::max(barePixels, 1.0);
  }

  // Whether a level up to `most` clears what is left so fast that it is noise or haze, no light that moves or shadow.
  bool isNoise(int clip, int most) const {
    const double now = left(clip);
    double expected = now;
    for (int next = clip + 1; next <= most; ++next) {
      expected *= kSlowest;
      if (left(next) <= std::max(expected, now - kFewest * (next - clip))) return true;
    }
    return false;
  }

  // Share of its opacity that it takes away from what is thin, denser than the haze, and not surely bare.
  double eaten(int clip) const {
    const double low = clip * 2.55;
    double sum = 0.0, lost = 0.0;
    for (std::size_t a = 0; a <= kThin; ++a) {
      const double alpha = static_cast<double>(a);
      if (alpha <= low) continue;
      sum += rest[a] * alpha;
      lost += rest[a] * (alpha - (alpha - low) * 255.0 / (255.0 - low));
    }
    return lost / std::max(sum, 1.0);
  }
};

}  // namespace

MeasuredClip measureClipBlack(std::span<const ScreenSample> samples, const KeySettings& settings,
                              const Workers* workers) {
  KeySettings plain = settings;
  plain.view = 2;
  plain.clipBlack = 0;
  plain.clipWhite = 100;
  Opacities found;
  int most = kMostClip;
  for (const ScreenSample& sample : samples) {
    if (!sample.fitted->sure) most = std::min(most, kMostUnsure);
    if (sample.plate != nullptr && sample.plate->keepsShadows) most = std::min(most, kMostBesideShadows);
    found.add(sample, plain, workers);
  }
  if (found.barePixels <= kLeastScreen * found.pixels) return {0, false, "hardly any bare screen is seen"};
  int clip = 0;
  while (clip < most && found.left(clip) > kLeftBare && found.isNoise(clip, most)) ++clip;
  if (clip > 0) clip = std::min(clip + kMargin, most);
  while (clip > 0 && found.eaten(clip) > kMostEaten) --clip;
  return {clip, true,
          formattedText("%.1f %% of the bare screen keeps some opacity, %.1f %% at this level", 100.0 * found.left(0),
                        100.0 * found.left(clip))};
}

}  // namespace kalvetra
