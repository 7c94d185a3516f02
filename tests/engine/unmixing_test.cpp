// Powers by vectors: certain to be the library's, and decided by the plain form where they are not.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/chroma_plane.h"
#include "engine/simd/kernels.h"
#include "sample/test_images.h"
#include "tests/support/bits.h"
#include "tests/support/cpu_levels.h"

namespace {

using kalvetra::Unmixed;

struct Pixels {
  std::vector<float> y, backdropY, amount;
  void add(float pixel, float backdrop, float share) {
    y.push_back(pixel);
    backdropY.push_back(backdrop);
    amount.push_back(share);
  }
};

// Luminances of 8-bit colours, and amounts from a trace of foreground to nearly all.
Pixels ordinary() {
  kalvetra::test::Random random(7);
  const auto luminance = [&] { return static_cast<float>(random.within(0, 255000)) / 1000.0f; };
  Pixels pixels;
  for (int i = 0; i < 1 << 18; ++i) {
    pixels.add(luminance(), luminance() + 1.5f, static_cast<float>(random.within(1, 999999)) / 1e6f);
  }
  return pixels;
}

// Traces of foreground hardly darker than the backdrop: the last power multiplies every error by up to a million.
Pixels treacherous() {
  kalvetra::test::Random random(8);
  Pixels pixels;
  for (int i = 0; i < 1 << 16; ++i) {
    const float backdrop = static_cast<float>(random.within(20000, 240000)) / 1000.0f;
    const float amount = std::ldexp(1.0f + static_cast<float>(random.within(0, 999)) / 1000.0f, -random.within(8, 20));
    const float darker = static_cast<float>(random.within(0, 2000)) / 1000.0f * amount * (backdrop + 100.0f);
    pixels.add(backdrop - darker, backdrop, amount);
  }
  return pixels;
}

bool same(const Unmixed& a, const Unmixed& b) {
  return kalvetra::test::bitsAs<std::uint32_t>(a.luminance) == kalvetra::test::bitsAs<std::uint32_t>(b.luminance) &&
         kalvetra::test::bitsAs<std::uint32_t>(a.opacity) == kalvetra::test::bitsAs<std::uint32_t>(b.opacity);
}

struct Outcome {
  std::size_t wrong = 0;    // that are not the plain form's, to the bit
  std::size_t decided = 0;  // by the plain form
};

Outcome unmix(const Pixels& pixels, double widening) {
  Outcome outcome;
  std::vector<Unmixed> found(pixels.y.size());
  outcome.decided = kalvetra::simd::unmixLuminances(pixels.y.data(), pixels.backdropY.data(), pixels.amount.data(),
                                                    found.data(), found.size(), widening);
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Unmixed plain = kalvetra::unmixLuminance(pixels.y[i], pixels.backdropY[i], pixels.amount[i]);
    outcome.wrong += same(plain, found[i]) ? 0 : 1;
  }
  return outcome;
}

std::size_t mixed(const Pixels& pixels) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < pixels.y.size(); ++i) count += pixels.y[i] <= pixels.backdropY[i] ? 1 : 0;
  return count;
}

TEST(Powers, VectorsGiveThePlainBytesWithAndWithoutFallingBack) {
  const Pixels easy = ordinary(), hard = treacherous();
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    if (level == kalvetra::CpuLevel::Scalar) return;
    SCOPED_TRACE(kalvetra::cpuLevelName(level));
    // Hardly ever is the plain form needed, and where errors are multiplied it is.
    const Outcome usual = unmix(easy, 1), multiplied = unmix(hard, 1);
    EXPECT_EQ(0u, usual.wrong);
    EXPECT_LT(usual.decided, easy.y.size() / 1000);
    EXPECT_EQ(0u, multiplied.wrong);
    EXPECT_GT(multiplied.decided, hard.y.size() / 1000);
    // The bound holds with room to spare, and without any the results would be wrong.
    EXPECT_EQ(0u, unmix(hard, 0.25).wrong);
    EXPECT_GT(unmix(hard, 0).wrong, 0u);
    // A bound so wide that nothing is certain: the plain form decides every power.
    const Outcome forced = unmix(easy, 1e15);
    EXPECT_EQ(0u, forced.wrong);
    EXPECT_EQ(mixed(easy), forced.decided);
  });
}

}  // namespace
