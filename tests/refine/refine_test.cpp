#include "refine/refine.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "deep/render.h"
#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_table.h"
#include "sample/test_images.h"
#include "tests/support/cpu_levels.h"

using namespace kalvetra;

namespace {

using Floats = std::vector<float>;
using Color = std::array<float, 3>;

constexpr Color kScreen{45.0f, 180.0f, 70.0f}, kSkin{200.0f, 140.0f, 110.0f};  // levels

struct Shot {
  int width, height;
  Floats pixels;
  Floats plate{kScreen[0] / 255.0f, kScreen[1] / 255.0f, kScreen[2] / 255.0f, 1.0f};  // one pixel of bare screen
  int plateSide = 1;

  template <class T>
  static auto frame(T* floats, int width, int height) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return packedFrame(reinterpret_cast<Byte*>(floats), width, height, PixelFormat::RgbaF32);
  }
  ConstFrame source() const { return frame(pixels.data(), width, height); }
  KnownPlate known() const { return {frame(plate.data(), plateSide, plateSide), false, 1.0f}; }
  const float* at(const Floats& of, int x, int y) const {
    return of.data() +
           4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x));
  }
};

// alphaAt(x, y) of `subject` over the screen, with noise of so many levels.
template <class Alpha>
Shot mixture(int width, int height, const Color& subject, float noise, const Alpha& alphaAt) {
  test::Random random(11);
  Shot shot{width, height, {}};
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float a = alphaAt(x, y);
      for (std::size_t c = 0; c < 3; ++c) {
        const float grain = noise * static_cast<float>(random.within(-1000, 1000)) / 1000.0f;
        shot.pixels.push_back((a * subject[c] + (1.0f - a) * kScreen[c] + grain) / 255.0f);
      }
      shot.pixels.push_back(1.0f);
    }
  }
  return shot;
}

// A subject on the left, the screen on the right, and a soft edge between.
constexpr int kWidth = 200, kHeight = 120, kFrom = 98, kTo = 106;
float rampAt(int x, int) { return std::clamp(static_cast<float>(kTo - x) / (kTo - kFrom), 0.0f, 1.0f); }
Shot ramp(const Color& subject = kSkin) { return mixture(kWidth, kHeight, subject, 1.5f, rampAt); }

KeySettings settings() {
  KeySettings s = defaultSettings();
  s.view = kKalvetraViewResult;
  for (std::size_t c = 0; c < 3; ++c) s.keyColor[c] = static_cast<double>(kScreen[c]) / 255.0;
  s.clipBlack = 3;
  s.refine = 1;
  return s;
}

Floats keyed(const Shot& shot, const KeySettings& s, Scan scan = Scan::Whole) {
  Floats out(shot.pixels.size());
  const KnownPlate known = shot.known();
  renderDeep(s, shot.source(), Shot::frame(out.data(), shot.width, shot.height), {.scan = scan, .plate = &known});
  return out;
}

Floats refined(const Shot& shot, const KeySettings& s, Scan scan = Scan::Whole) {
  Floats out = keyed(shot, s, scan);
  const KnownPlate known = shot.known();
  refine::refineKey({shot.source(), &known, s, scan}, Shot::frame(out.data(), shot.width, shot.height));
  return out;
}

bool sameBits(const Floats& a, const Floats& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

double meanError(const Shot& shot, const Floats& key) {
  double sum = 0.0, count = 0.0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = kFrom; x < kTo; ++x, count += 1.0) {
      sum += std::fabs(static_cast<double>(shot.at(key, x, y)[3] - rampAt(x, y)));
    }
  }
  return sum / count;
}

// Plain colours laid over one another by a known alpha: more of it is found than the engine does, and with it the
// subject's colour.
TEST(Refine, FindsTheAlphaOfAMixture) {
  for (const Color& subject : {kSkin, Color{30, 28, 26}, Color{235, 235, 235}}) {
    SCOPED_TRACE(subject[0]);
    const Shot shot = ramp(subject);
    const Floats before = keyed(shot, settings()), after = refined(shot, settings());
    EXPECT_LT(meanError(shot, after), 0.1);
    EXPECT_LT(meanError(shot, after), 0.75 * meanError(shot, before));
    for (int x = kFrom; x < kFrom + 4; ++x) {
      Color mean{};
      for (int y = 0; y < kHeight; ++y) {
        for (std::size_t c = 0; c < 3; ++c) mean[c] += shot.at(after, x, y)[c] * 255.0f / kHeight;
      }
      for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(subject[c], mean[c], 25.0f) << "column " << x << ", " << c;
    }
  }
}

// A key whose soft edge is wrong up and down in turn.
TEST(Refine, TakesErrorsOutOfAKey) {
  const Shot shot = ramp();
  const KnownPlate known = shot.known();
  const KeySettings s = settings();
  Floats key = keyed(shot, s);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = kFrom + 1; x < kTo; ++x) {
      key[static_cast<std::size_t>(4 * (y * kWidth + x) + 3)] =
          std::clamp(rampAt(x, y) + (y % 2 == 0 ? 0.2f : -0.2f), 0.05f, 0.9f);
    }
  }
  const double before = meanError(shot, key);
  refine::refineKey({shot.source(), &known, s}, Shot::frame(key.data(), kWidth, kHeight));
  EXPECT_LT(meanError(shot, key), 0.6 * before);
}

// Far from any edge the engine's key stays as it is, to the last bit: solids, the screen, and the whole of either.
TEST(Refine, LeavesWhatIsSureAlone) {
  const Shot shot = ramp(), screen = mixture(64, 48, kSkin, 1.5f, [](int, int) { return 0.0f; }),
             subject = mixture(64, 48, kSkin, 1.5f, [](int, int) { return 1.0f; });
  for (const Shot* whole : {&screen, &subject})
    EXPECT_TRUE(sameBits(keyed(*whole, settings()), refined(*whole, settings())));
  const Floats before = keyed(shot, settings()), after = refined(shot, settings());
  for (const int x : {0, 30, 60, 160, 199}) {
    EXPECT_EQ(0, std::memcmp(shot.at(before, x, 60), shot.at(after, x, 60), 4 * sizeof(float))) << x;
  }
}

// A small spot of half the screen's colour within a solid, an iris, becomes no hole.
TEST(Refine, MakesNoHolesInSolids) {
  const auto iris = [](int x, int y) {
    return (x - 100) * (x - 100) + (y - 60) * (y - 60) < 16 ? 0.6f : rampAt(x - 60, y);
  };
  const Shot shot = mixture(kWidth, kHeight, kSkin, 1.5f, iris);
  const Floats before = keyed(shot, settings()), after = refined(shot, settings());
  for (int x = 90; x < 110; ++x) EXPECT_GE(shot.at(after, x, 60)[3], shot.at(before, x, 60)[3] - 0.01f) << x;
}

TEST(Refine, DoesNothingWhereItIsNotAskedFor) {
  const Shot shot = ramp();
  const auto isUntouched = [&](const auto& change) {
    KeySettings s = settings();
    change(s);
    return sameBits(keyed(shot, s), refined(shot, s));
  };
  EXPECT_FALSE(isUntouched([](KeySettings&) {}));
  EXPECT_TRUE(isUntouched([](KeySettings& s) { s.refine = 0; }));
  EXPECT_TRUE(isUntouched([](KeySettings& s) { s.smoothBG = 0; }));
  EXPECT_TRUE(isUntouched([](KeySettings& s) { s.keyColor = {}; }));
  EXPECT_TRUE(isUntouched([](KeySettings& s) { s.edgeContract = 1; }));
  EXPECT_TRUE(isUntouched([](KeySettings& s) { s.edgeBlur = 1; }));
}

// With blue and green in each other's place, and as two fields, it is the same work.
TEST(Refine, KnowsBlueScreensAndFields) {
  const Shot green = ramp();
  Shot blue = green;
  for (Floats* floats : {&blue.pixels, &blue.plate}) {
    for (std::size_t i = 0; i < floats->size(); i += 4) std::swap((*floats)[i + 1], (*floats)[i + 2]);
  }
  KeySettings s = settings();
  const Floats asGreen = refined(green, s), asFields = refined(green, s, Scan::Fields);
  std::swap(s.keyColor[1], s.keyColor[2]);
  s.screen = 1;
  Floats asBlue = refined(blue, s);
  for (std::size_t i = 0; i < asBlue.size(); i += 4) std::swap(asBlue[i + 1], asBlue[i + 2]);
  EXPECT_TRUE(sameBits(asGreen, asBlue));
  EXPECT_LT(meanError(green, asFields), 0.1);
}

// No more opaque than the frame itself, and clear where that is.
TEST(Refine, KeepsWithinTheFramesAlpha) {
  Shot shot = ramp();
  for (std::size_t i = 3; i < shot.pixels.size(); i += 4) shot.pixels[i] = i % 8 == 3 ? 0.25f : 0.0f;
  const Floats after = refined(shot, settings());
  for (std::size_t i = 3; i < after.size(); i += 4) ASSERT_LE(after[i], shot.pixels[i]) << i;
}

std::uint64_t hashOf(const Floats& floats) {
  std::uint64_t hash = 14695981039346656037u;
  for (const float value : floats) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (int i = 0; i < 32; i += 8) hash = (hash ^ (bits >> i & 0xFFu)) * 1099511628211u;
  }
  return hash;
}

TEST(Refine, GivesTheSameFloatsEverywhere) {
  const auto alphaAt = [](int x, int y) {
    return x < 200 ? rampAt(x, y) : static_cast<float>(std::abs(x * y % 211 - 105)) / 106.0f;
  };
  Shot shot = mixture(403, 1000, kSkin, 3.0f, alphaAt);
  shot.plateSide = 5;
  shot.plate.clear();
  for (int i = 0; i < 25; ++i) {  // no two rows alike
    for (const float level : kScreen) shot.plate.push_back(level * (0.9f + 0.008f * static_cast<float>(i)) / 255.0f);
    shot.plate.push_back(1.0f);
  }
  Floats key = shot.pixels;  // a poor key, but one that is the same for ever
  for (std::size_t i = 0; i < key.size() / 4; ++i) {
    const int x = static_cast<int>(i % 403), y = static_cast<int>(i / 403);
    key[4 * i + 3] = std::clamp(1.2f * alphaAt(x, y) - 0.1f, 0.0f, 1.0f);
  }
  const KnownPlate known = shot.known();
  const KeySettings s = settings();
  const auto hash = [&](const Workers* workers) {
    Floats out = key;
    refine::refineKey({shot.source(), &known, s}, Shot::frame(out.data(), shot.width, shot.height), workers);
    return hashOf(out);
  };
  const std::uint64_t once = hash(nullptr);
  test::atEveryLevel([&](CpuLevel level) { EXPECT_EQ(once, hash(nullptr)) << cpuLevelName(level); });
  for (const int count : {2, 7}) {
    const Workers threads{count, [](int parts, const std::function<void(int)>& work) {
                            std::vector<std::thread> running;
                            for (int i = 0; i < parts; ++i) running.emplace_back(work, i);
                            for (std::thread& thread : running) thread.join();
                          }};
    EXPECT_EQ(once, hash(&threads)) << count << " threads";
  }
  EXPECT_EQ(once, 8965838714682478975u) << "Where the change is meant, this is the new one";
}

TEST(Refine, TakesAnySizeAndAnyValues) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN(), kInfinity = std::numeric_limits<float>::infinity();
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 700}, {700, 1}, {3, 5}, {17, 2}, {33, 300}}) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    Shot shot =
        mixture(width, height, kSkin, 5.0f, [](int x, int y) { return static_cast<float>((x + y) % 5) / 4.0f; });
    const float odd[] = {kNaN, kInfinity, -kInfinity, 3e38f, -3e38f, 60000.0f, -4.0f, 1e-40f};
    for (std::size_t i = 0; i < shot.pixels.size(); i += 7) shot.pixels[i] = odd[i / 7 % std::size(odd)];
    for (const Scan scan : {Scan::Whole, Scan::Fields}) {
      for (const float value : refined(shot, settings(), scan)) ASSERT_TRUE(std::isfinite(value));
    }
  }
  const KeySettings s = settings();
  const Shot shot = ramp();
  const KnownPlate none{};
  Floats out = keyed(shot, s);
  const Floats before = out;
  const Frame frame = Shot::frame(out.data(), kWidth, kHeight);
  refine::refineKey({shot.source(), nullptr, s}, frame);
  refine::refineKey({shot.source(), &none, s}, frame);
  refine::refineKey({ConstFrame{}, &none, s}, frame);
  EXPECT_TRUE(sameBits(before, out));
}

}  // namespace
