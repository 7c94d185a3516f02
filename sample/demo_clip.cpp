#include "sample/demo_clip.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <utility>

#include "sample/subject.h"

namespace kalvetra::sample {

namespace {

// The subject's shadow: its alpha, averaged over cells of 8 x 8 pixels and blurred.
class Shadow {
 public:
  explicit Shadow(const Layer& subject) : cells_(kColumns * kRows, 0.0F) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) cells_[index(x / kCell, y / kCell)] += subject.at(x, y).alpha / (kCell * kCell);
    }
    for (int pass = 0; pass < 3; ++pass) {
      blur(1, 0);
      blur(0, 1);
    }
  }

  // The share of the light that is left, 0.64..1, at a place of the picture or outside of it.
  float lightAt(float x, float y) const {
    const float column = x / kCell - 0.5F, row = y / kCell - 0.5F;
    const int c = static_cast<int>(std::floor(column)), r = static_cast<int>(std::floor(row));
    const float tx = column - static_cast<float>(c), ty = row - static_cast<float>(r);
    const float density = mix(mix(cells_[index(c, r)], cells_[index(c + 1, r)], tx),
                              mix(cells_[index(c, r + 1)], cells_[index(c + 1, r + 1)], tx), ty);
    return 1 - 0.36F * density;
  }

 private:
  static constexpr int kCell = 8, kColumns = kWidth / kCell, kRows = kHeight / kCell;

  static std::size_t index(int column, int row) {
    return static_cast<std::size_t>(std::clamp(row, 0, kRows - 1) * kColumns + std::clamp(column, 0, kColumns - 1));
  }

  void blur(int dx, int dy) {
    constexpr int kReach = 2;
    std::vector<float> blurred(cells_.size());
    for (int r = 0; r < kRows; ++r) {
      for (int c = 0; c < kColumns; ++c) {
        float sum = 0;
        for (int i = -kReach; i <= kReach; ++i) sum += cells_[index(c + i * dx, r + i * dy)];
        blurred[index(c, r)] = sum / (2 * kReach + 1);
      }
    }
    cells_ = std::move(blurred);
  }

  std::vector<float> cells_;
};

// The lit screen without any shadow: brightest left of the middle, about 60 % of that in the far corners.
Color screen(float x, float y) {
  const float dx = (x - 520) / 760, dy = (y - 300) / 420;
  const float falloff = 1.06F - 0.35F * smoothStep(0, 1.9F, dx * dx + dy * dy) - 0.06F * std::sqrt(dx * dx + dy * dy);
  const float bend = 14 * std::sin(y / 210);
  const auto fold = [&](float at, float width) {
    const float d = (x - at - bend) / width;
    return d * bell(d, 0);
  };
  const float light =
      falloff + 0.022F * fold(1015, 26) - 0.018F * fold(208, 34) + 0.02F * (noise(x / 150, y / 190, 3) - 0.5F);
  // A second lamp with a slightly different colour on the right.
  const float drift = (x - 640) / kWidth;
  return {kScreenGreen.r * light * (1 + 0.10F * drift), kScreenGreen.g * light,
          kScreenGreen.b * light * (1 - 0.08F * drift)};
}

// Sensor noise in levels, bell-shaped with a standard deviation of 2: the sum of four independent bytes.
float sensorNoise(std::uint32_t seed) {
  const std::uint32_t h = hash(seed);
  const auto sum = static_cast<float>((h & 255) + (h >> 8 & 255) + (h >> 16 & 255) + (h >> 24));
  return (sum - 510) * (2 / 147.8F);
}

unsigned char toByte(float level) { return static_cast<unsigned char>(std::clamp(level, 0.0F, 255.0F) + 0.5F); }

}  // namespace

DemoFrame drawFrame(int index) {
  if (index < 0 || index >= kFrameCount) throw std::out_of_range("demo clip: no such frame");
  Layer subject({0, 0, kWidth, kHeight});
  drawSubject(subject, static_cast<float>(index) / kFrameRate);
  const Shadow shadow(subject);

  DemoFrame frame;
  frame.argb.reserve(std::size_t{kWidth} * kHeight * 4);
  frame.alpha.reserve(std::size_t{kWidth} * kHeight);
  std::uint32_t seed = hash(static_cast<std::uint32_t>(index) + 1);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const float px = static_cast<float>(x) + 0.5F, py = static_cast<float>(y) + 0.5F;
      const Pixel& front = subject.at(x, y);
      Color seen = front.color;
      if (front.alpha < 1) seen = seen + screen(px, py) * (shadow.lightAt(px - 190, py - 56) * (1 - front.alpha));
      frame.argb.push_back(255);
      for (const float channel : {seen.r, seen.g, seen.b}) {
        frame.argb.push_back(toByte(255 * channel + sensorNoise(seed++)));
      }
      frame.alpha.push_back(toByte(255 * front.alpha));
    }
  }
  return frame;
}

std::vector<float> drawSound(int sampleRate) {
  if (sampleRate <= 0) throw std::invalid_argument("demo clip: the sample rate must be above 0");
  struct Note {
    float start, pitch;  // seconds, hertz
  };
  static constexpr Note kNotes[] = {{0.05F, 261.63F}, {0.40F, 329.63F}, {0.75F, 392.00F},
                                    {1.10F, 523.25F}, {1.45F, 440.00F}, {1.80F, 392.00F}};
  std::vector<float> sound(static_cast<std::size_t>(sampleRate) * kFrameCount / kFrameRate);
  const float seconds = static_cast<float>(kFrameCount) / kFrameRate;
  for (std::size_t i = 0; i < sound.size(); ++i) {
    const float now = static_cast<float>(i) / static_cast<float>(sampleRate);
    for (const Note& note : kNotes) {
      const float age = now - note.start;
      if (age <= 0) continue;
      const float phase = 2 * std::numbers::pi_v<float> * note.pitch * age;
      const float envelope =
          smoothStep(0, 0.02F, age) * std::exp(-2.6F * age) * smoothStep(seconds, seconds - 0.4F, now);
      sound[i] += 0.11F * envelope * (std::sin(phase) + 0.3F * std::sin(2 * phase) * std::exp(-3 * age));
    }
  }
  return sound;
}

}  // namespace kalvetra::sample
