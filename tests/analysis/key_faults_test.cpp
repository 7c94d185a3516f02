// The faults of a key beside its source: each where it is put in, and no other.
#include "analysis/key_faults.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "sample/test_images.h"

namespace {

using kalvetra::FaultReport;
using kalvetra::KeyFaults;
using kalvetra::keyFaults;
using kalvetra::packedFrame;
using namespace kalvetra::test;

constexpr int kWidth = 240, kHeight = 160;
constexpr std::array<double, 3> kScreen{45, 165, 75}, kSkin{205, 150, 120}, kGrey{128, 128, 128};
constexpr double kVeil = 0.4;  // its alpha

bool isSolid(int x, int y) { return x >= 62 && x < 110 && y >= 37; }
bool isVeil(int x, int y) { return x >= 110 && x < 158 && y >= 37; }

// A pixel of a key: alpha 0..1 and colour.
struct Keyed {
  double alpha;
  std::array<double, 3> color;
};

// A subject that is half solid, half a grey veil, before a screen. `truth` is its key.
Keyed truth(int x, int y) {
  if (isSolid(x, y)) return {1.0, kSkin};
  return isVeil(x, y) ? Keyed{kVeil, kGrey} : Keyed{0.0, kGrey};
}

using Picture = std::function<Keyed(int, int)>;

Bytes drawn(const Picture& picture, bool overScreen, bool blue) {
  Bytes argb;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      Keyed k = picture(x, y);
      for (std::size_t c = 0; overScreen && c < 3; ++c) {
        k.color[c] = k.color[c] * k.alpha + kScreen[c] * (1.0 - k.alpha);
      }
      const auto byte = [](double v) { return static_cast<unsigned char>(std::lround(v)); };
      append(argb, {byte(overScreen ? 255.0 : 255.0 * k.alpha), byte(k.color[0]), byte(k.color[blue ? 2 : 1]),
                    byte(k.color[blue ? 1 : 2])});
    }
  }
  return argb;
}

KeyFaults faultsOf(const Picture& key, const Picture& subject = truth, bool blue = false) {
  const Bytes source = drawn(subject, true, blue), keyed = drawn(key, false, blue);
  return keyFaults(packedFrame(source.data(), kWidth, kHeight), packedFrame(keyed.data(), kWidth, kHeight),
                   blue ? 0x2d4ba5 : 0x2da54b, blue ? 1 : 0);
}

TEST(KeyFaults, TheTrueKeyHasNextToNone) {
  const KeyFaults faults = faultsOf(truth);
  EXPECT_LT(faults.total, 0.1);
  EXPECT_NEAR(1.0 - 96.0 * 123.0 / (kWidth * kHeight), faults.bare, 0.08);
}

// Each damage shows as its own figure, of about the size worked out from the areas and levels, and hardly elsewhere.
TEST(KeyFaults, EachIsFoundWhereItIsPutIn) {
  const double half = 0.5;  // the solid and the veil are each half of the subject
  const auto changed = [](bool (*where)(int, int), const std::function<void(Keyed&, int, int)>& change) {
    return [where, change](int x, int y) {
      Keyed k = truth(x, y);
      if (where(x, y)) change(k, x, y);
      return k;
    };
  };
  const auto bare = [](int x, int y) { return !isSolid(x, y) && !isVeil(x, y); };
  const struct {
    const char* name;
    double KeyFaults::*figure;
    double expected;
    Picture key;
  } cases[] = {
      {"haze", &KeyFaults::haze, 0.2 * 128, changed(bare, [](Keyed& k, int, int) { k.alpha = 0.2; })},
      {"filled", &KeyFaults::filled, half * 128 * (1 - kVeil - 0.2),
       changed(isVeil, [](Keyed& k, int, int) { k.alpha = 1.0; })},
      {"eaten", &KeyFaults::eaten, half * 128 * (1.0 - 0.3 - 0.2),
       changed(isSolid, [](Keyed& k, int, int) { k.alpha = 0.3; })},
      // Screen's colour over grey 128 in the veil's share of it: its chroma is 68 levels, .6 of it shows.
      {"spill", &KeyFaults::spillLeft, half * kVeil * 0.6 * 68,
       changed(isVeil,
               [](Keyed& k, int, int) {
                 for (std::size_t c = 0; c < 3; ++c) k.color[c] = 0.4 * kGrey[c] + 0.6 * kScreen[c];
               })},
      // In (I, Q) this is (14, 18): 23 levels along the opposite of the screen's (-43, -53), less the slack of 4.
      {"opposite", &KeyFaults::opposite, half * kVeil * 19,
       changed(isVeil,
               [](Keyed& k, int, int) {
                 k.color = {150, 110, 140};
               })},
      // Skin (39, 5) in (I, Q) turned into (-33, 11): 72 levels, less the slack of 4.
      {"turned", &KeyFaults::turned, half * 68,
       changed(isSolid,
               [](Keyed& k, int, int) {
                 k.color = {120, 150, 205};
               })},
  };
  for (const auto& c : cases) {
    const KeyFaults faults = faultsOf(c.key);
    EXPECT_NEAR(c.expected, faults.*c.figure, 0.3 * c.expected) << c.name;
    for (const auto& row : kalvetra::kFaultRows) {
      const bool own = row.value == c.figure || row.value == &KeyFaults::total;
      const bool nextToIt = c.figure == &KeyFaults::spillLeft && row.value == &KeyFaults::screenLeft;
      if (own || nextToIt) continue;
      EXPECT_LT(faults.*row.value, 0.15 * c.expected) << c.name << ": " << row.name;
    }
    EXPECT_GT(faults.total, 0.2 * c.expected) << c.name;
  }
}

// A veil whose alpha rises along it, smoothly in the source.
TEST(KeyFaults, StepsOnTheBlockGridCountUnlessTheLightHasThem) {
  const auto veil = [](int pixels, double grey = 128) {
    return [pixels, grey](int x, int y) {
      Keyed k = truth(x, y);
      if (isVeil(x, y)) k.color = {grey, grey, grey};
      if (isVeil(x, y)) k.alpha = 0.2 + 0.6 * (x / pixels * pixels - 104) / 54.0;
      return k;
    };
  };
  EXPECT_LT(faultsOf(veil(1), veil(1)).blocks, 0.1);
  EXPECT_GT(faultsOf(veil(8), veil(1)).blocks, 0.5);
  EXPECT_LT(faultsOf(veil(6), veil(1)).blocks, 0.3 * faultsOf(veil(8), veil(1)).blocks) << "not the grid of blocks";
  EXPECT_LT(faultsOf(veil(8, 255), veil(8, 255)).blocks, 0.1) << "the veil has steps itself";
}

TEST(KeyFaults, BlueIsAsGreen) {
  const auto filled = [](int x, int y) { return isVeil(x, y) ? Keyed{1.0, kGrey} : truth(x, y); };
  const KeyFaults green = faultsOf(filled), blue = faultsOf(filled, truth, true);
  for (const auto& row : kalvetra::kFaultRows) EXPECT_DOUBLE_EQ(green.*row.value, blue.*row.value) << row.name;
}

TEST(FaultReport, MeansAndTheWorstPicture) {
  FaultReport report;
  KeyFaults faults;
  for (const double total : {2.0, 7.0, 3.0}) {
    faults.total = total;
    report.add(faults, static_cast<std::int64_t>(10 * total));
  }
  EXPECT_NEAR(4.0, *report.figures()[0].mean, 1e-12);
  EXPECT_EQ(7.0, report.figures()[0].worst);
  EXPECT_EQ(70, report.figures()[0].worstFrame);
}

}  // namespace
