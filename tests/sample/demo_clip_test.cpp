#include "sample/demo_clip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <future>
#include <numeric>
#include <stdexcept>

namespace kalvetra::sample {
namespace {

// In the wave, the hand stands still in frame 0 on the right and in frame 9 on the left, and is fastest in frame 5.
constexpr int kSlow = 0, kFast = 5, kOtherEnd = 9;

const DemoFrame& frame(int index) {
  static const DemoFrame slow = drawFrame(kSlow), fast = drawFrame(kFast), otherEnd = drawFrame(kOtherEnd);
  return index == kSlow ? slow : index == kFast ? fast : otherEnd;
}

struct Area {
  int left, top, right, bottom;
};
constexpr Area kPicture{0, 0, kWidth, kHeight};
constexpr Area kHand{740, 130, 1050, 300};  // where only the waving hand comes, at both ends of its way

template <typename Condition>
int count(const Area& area, const Condition& condition) {
  int found = 0;
  for (int y = area.top; y < area.bottom; ++y) {
    for (int x = area.left; x < area.right; ++x) found += condition(static_cast<std::size_t>(y * kWidth + x)) ? 1 : 0;
  }
  return found;
}

int countPartial(const DemoFrame& f, const Area& area) {
  return count(area, [&](std::size_t i) { return f.alpha[i] > 0 && f.alpha[i] < 255; });
}

double meanGreen(const DemoFrame& f, const Area& area) {
  double sum = 0;
  const int pixels = count(area, [&](std::size_t i) { return sum += f.argb[i * 4 + 2], true; });
  return sum / pixels;
}

TEST(DemoClip, FramesHaveTheirSizesAndOpaqueAlphaBytes) {
  EXPECT_EQ(frame(kSlow).alpha.size(), std::size_t{kWidth} * kHeight);
  ASSERT_EQ(frame(kSlow).argb.size(), std::size_t{kWidth} * kHeight * 4);
  EXPECT_EQ(count(kPicture, [](std::size_t i) { return frame(kSlow).argb[i * 4] != 255; }), 0);
  EXPECT_THROW(drawFrame(-1), std::out_of_range);
  EXPECT_THROW(drawFrame(kFrameCount), std::out_of_range);
}

TEST(DemoClip, SameFrameOnAnotherThreadHasTheSameBytes) {
  auto elsewhere = std::async(std::launch::async, [] { return drawFrame(kFast); });
  const DemoFrame other = drawFrame(kSlow);  // a different frame at the same time must not disturb it
  const DemoFrame again = elsewhere.get();
  EXPECT_TRUE(again.argb == frame(kFast).argb && again.alpha == frame(kFast).alpha);
  EXPECT_TRUE(other.argb == frame(kSlow).argb && other.alpha == frame(kSlow).alpha);
}

TEST(DemoClip, AlphaTellsSubjectFromScreen) {
  for (const int index : {kSlow, kFast}) {
    const DemoFrame& f = frame(index);
    const auto greenness = [&f](std::size_t i) {
      return f.argb[i * 4 + 2] - std::max(f.argb[i * 4 + 1], f.argb[i * 4 + 3]);
    };
    EXPECT_EQ(count({540, 380, 600, 480}, [&](std::size_t i) { return f.alpha[i] != 255; }), 0) << "torso";
    for (const Area corner :
         {Area{0, 0, 40, 40}, Area{1240, 0, 1280, 40}, Area{0, 680, 40, 720}, Area{1240, 680, 1280, 720}}) {
      EXPECT_EQ(count(corner, [&](std::size_t i) { return f.alpha[i] != 0 || greenness(i) < 25; }), 0);
    }
    EXPECT_EQ(count(kPicture, [&](std::size_t i) { return f.alpha[i] == 0 && greenness(i) < 20; }), 0);
    EXPECT_EQ(count(kPicture, [&](std::size_t i) { return f.alpha[i] == 255 && greenness(i) > 12; }), 0);
  }
}

TEST(DemoClip, ShareOfPartlyTransparentPixels) {
  for (const int index : {kSlow, kFast}) {
    const double share = countPartial(frame(index), kPicture) / static_cast<double>(kWidth * kHeight);
    EXPECT_GT(share, 0.012) << index;
    EXPECT_LT(share, 0.035) << index;
  }
  const Area hair{430, 30, 740, 240};
  EXPECT_GT(countPartial(frame(kSlow), hair), 6500);
}

TEST(DemoClip, SubjectMovesAndItsFastHandIsBlurred) {
  const DemoFrame later = drawFrame(45);
  const int moved =
      count(kPicture, [&](std::size_t i) { return std::abs(frame(kSlow).alpha[i] - later.alpha[i]) > 128; });
  EXPECT_GT(moved, 30000);
  EXPECT_GT(countPartial(frame(kFast), kHand), 3 * countPartial(frame(kSlow), kHand));
}

TEST(DemoClip, ShadowDarkensTheScreenButIsNotInTheAlpha) {
  // Screen that the forearm's shadow reaches at one end of the wave only.
  const Area behindArm{970, 380, 990, 420};
  for (const int index : {kSlow, kOtherEnd}) {
    EXPECT_EQ(count(behindArm, [&](std::size_t i) { return frame(index).alpha[i] != 0; }), 0) << index;
  }
  const double ratio = meanGreen(frame(kOtherEnd), behindArm) / meanGreen(frame(kSlow), behindArm);
  EXPECT_GT(ratio, 0.6);
  EXPECT_LT(ratio, 0.85);
}

TEST(DemoClip, SensorNoiseDiffersFromFrameToFrame) {
  const Area screen{20, 200, 220, 400};  // far from the subject: only the noise changes there
  double squares = 0;
  const int pixels = count(screen, [&](std::size_t i) {
    const double difference = frame(kSlow).argb[i * 4 + 2] - frame(kFast).argb[i * 4 + 2];
    return squares += difference * difference, true;
  });
  EXPECT_NEAR(std::sqrt(squares / pixels / 2), 2.0, 0.2);
}

TEST(DemoClip, SoundLastsAsLongAsThePicturesAndIsQuietButNotSilent) {
  EXPECT_EQ(drawSound(44100).size(), 132300U);
  const std::vector<float> sound = drawSound(48000);
  ASSERT_EQ(sound.size(), 144000U);
  const auto [low, high] = std::ranges::minmax(sound);
  EXPECT_GT(low, -0.5F);
  EXPECT_LT(high, 0.5F);
  const double energy = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
  EXPECT_GT(std::sqrt(energy / 144000), 0.01);
  EXPECT_NEAR(sound.front(), 0, 1e-3);  // neither end clicks
  EXPECT_NEAR(sound.back(), 0, 1e-3);
  EXPECT_THROW(drawSound(0), std::invalid_argument);
}

}  // namespace
}  // namespace kalvetra::sample
