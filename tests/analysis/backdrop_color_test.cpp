// The backdrop's colour, and what is reported about it.
#include "analysis/backdrop_color.h"

#include <gtest/gtest.h>

#include "sample/test_images.h"

namespace {

using kalvetra::BackdropColor;
using kalvetra::BackdropFinder;
using namespace kalvetra::test;

Bytes uniform(int width, int height, int red, int green, int blue) {
  Bytes picture;
  for (int i = 0; i < width * height; ++i) {
    append(picture,
           {255, static_cast<unsigned char>(red), static_cast<unsigned char>(green), static_cast<unsigned char>(blue)});
  }
  return picture;
}

using Color = std::array<int, 3>;

// A picture of 160 x 90 of one colour, and colours in rectangles of it, each over those before.
struct Drawn {
  explicit Drawn(Color c) : picture(uniform(160, 90, c[0], c[1], c[2])) {}
  Drawn& box(int left, int top, int right, int bottom, Color c) {
    for (int y = top; y < bottom; ++y) {
      for (int x = left; x < right; ++x) {
        for (std::size_t k = 0; k < 3; ++k)
          picture[static_cast<std::size_t>((y * 160 + x) * 4 + 1) + k] = static_cast<unsigned char>(c[k]);
      }
    }
    return *this;
  }
  // From top to bottom, over all.
  Drawn& fade(Color from, Color to) {
    for (int y = 0; y < 90; ++y) {
      const auto at = [&](std::size_t k) { return from[k] + (to[k] - from[k]) * y / 90; };
      box(0, y, 160, y + 1, {at(0), at(1), at(2)});
    }
    return *this;
  }
  Drawn& grain(int amount) {
    Random random(3);
    for (std::size_t i = 0; i < picture.size(); i += 4) {
      const int step = random.within(-amount, amount);
      for (std::size_t k = 1; k < 4; ++k)
        picture[i + k] = static_cast<unsigned char>(std::clamp(picture[i + k] + step, 0, 255));
    }
    return *this;
  }
  Bytes picture;
};

constexpr Color kGreen{45, 165, 75}, kBlue{20, 70, 200}, kRoom{190, 185, 175};

std::optional<BackdropColor> findIn(const Bytes& picture, int width, int height, std::string* missed = nullptr) {
  BackdropFinder finder;
  finder.add(picture.data(), width, height);
  return finder.find(missed);
}

std::optional<BackdropColor> findIn(const Drawn& drawn, std::string* missed = nullptr) {
  return findIn(drawn.picture, 160, 90, missed);
}

TEST(BackdropFinder, FindsAUniformScreenExactly) {
  const Color greens[] = {{45, 165, 75}, {0, 177, 64}, {20, 150, 120}, {100, 180, 50}, {196, 200, 19}, {170, 250, 42}};
  const Color blues[] = {{6, 78, 219}, {53, 82, 255}, {0, 71, 187}};
  const auto expectFound = [](const Color& c, int screen) {
    const auto found = findIn(uniform(64, 48, c[0], c[1], c[2]), 64, 48);
    ASSERT_TRUE(found.has_value()) << c[1];
    EXPECT_EQ(c, (Color{found->red, found->green, found->blue}));
    EXPECT_EQ(screen, found->screen);
    EXPECT_NEAR(0.0, found->lumaSpread, 0.01);
    EXPECT_NEAR(0.0, found->chromaSpread, 0.01);
    EXPECT_EQ(0.0, found->unevenness);
    EXPECT_EQ(1.0, found->confidence) << c[1];
    EXPECT_EQ(64u * 48u, found->pixels);
  };
  for (const Color& c : greens) expectFound(c, 0);
  for (const Color& c : blues) expectFound(c, 1);
}

TEST(BackdropFinder, FindsTheScreenAndRefusesOtherPictures) {
  const auto found = findIn(greenScreen(200, 120, 3), 200, 120);
  ASSERT_TRUE(found.has_value());
  EXPECT_NEAR(34, found->red, 8);
  EXPECT_NEAR(134, found->green, 14);
  EXPECT_NEAR(60, found->blue, 8);
  EXPECT_GT(found->pixels, found->examined / 2);
  // Grey, cyan, sand, wood, a wall in warm light, a pale sky.
  for (const Color& c :
       {Color{128, 130, 128}, {60, 160, 165}, {210, 180, 140}, {165, 115, 65}, {235, 190, 110}, {135, 190, 235}}) {
    EXPECT_FALSE(findIn(Drawn(c))) << c[0];
  }
  EXPECT_FALSE(findIn(Drawn(kRoom).box(50, 30, 110, 90, {30, 60, 190}))) << "a shirt";
  EXPECT_FALSE(BackdropFinder().find().has_value());
}

TEST(BackdropFinder, IsUnsureOfWhatMayBeNoScreen) {
  const Drawn doubtful[] = {Drawn({130, 150, 40}),                              // dry grass
                            Drawn({60, 150, 60}).grain(40),                     // a lawn
                            Drawn(kBlue).fade({25, 70, 160}, {90, 140, 205}),   // a deep sky
                            Drawn(kRoom).box(40, 30, 120, 90, {30, 150, 60})};  // a shirt
  for (const Drawn& drawn : doubtful) {
    const auto found = findIn(drawn);
    EXPECT_LT(found ? found->confidence : 0.0, 0.6) << found->reason;
  }
}

TEST(BackdropFinder, TellsTheScreenFromClothes) {
  const auto screenOf = [](const Color& screen, const Color& shirt) {
    const auto found = findIn(Drawn(screen).box(10, 40, 150, 90, shirt));
    return found ? Color{found->red, found->green, found->blue} : Color{};
  };
  for (const Color& shirt : {Color{120, 180, 235}, {30, 70, 200}, {60, 82, 125}, {235, 205, 40}, {225, 190, 95}}) {
    EXPECT_EQ(kGreen, screenOf(kGreen, shirt)) << shirt[0];
  }
  EXPECT_EQ(kBlue, screenOf(kBlue, {50, 160, 70}));
  EXPECT_EQ((Color{200, 195, 25}), screenOf({200, 195, 25}, {50, 160, 70}));
}

TEST(BackdropFinder, ReportsASecondBackdropAndBlueClothes) {
  const auto reasonOf = [](const Drawn& drawn) { return findIn(drawn).value_or(BackdropColor{}).reason; };
  const std::string halves = reasonOf(Drawn(kGreen).box(80, 0, 160, 90, kBlue));
  EXPECT_NE(std::string::npos, halves.find("A second backdrop, the blue #1446c8, is 50 %")) << halves;
  EXPECT_LT(halves.size(), 256u) << "what the library has room for";
  const std::string floor = reasonOf(Drawn(kGreen).box(0, 60, 160, 90, {120, 200, 40}));
  EXPECT_NE(std::string::npos, floor.find("the yellow-green #78c828, is 33 %")) << floor;
  // The same paint in shadow is none, nor is a subject.
  EXPECT_EQ(std::string::npos, reasonOf(Drawn(kGreen).box(0, 60, 160, 90, {27, 99, 45})).find("second"));
  EXPECT_EQ(std::string::npos, reasonOf(Drawn(kGreen).box(50, 40, 110, 90, kBlue)).find("second"));
  const std::string denim = reasonOf(Drawn(kBlue).box(60, 40, 100, 90, {60, 82, 125}));
  EXPECT_NE(std::string::npos, denim.find("Other blues and purples are 14 %")) << denim;
  EXPECT_EQ(std::string::npos, reasonOf(Drawn(kBlue).box(60, 40, 100, 90, {225, 225, 225})).find("Other"));
}

TEST(BackdropFinder, SmallScreensAreNamedAndBarsAreNoPicture) {
  const Drawn small = Drawn(kRoom).box(130, 0, 160, 18, kGreen);  // 3.75 %
  std::string missed;
  EXPECT_FALSE(findIn(small, &missed));
  EXPECT_NE(std::string::npos, missed.find("the green #2da54b, is 3.7 % of the picture, 5 % must be")) << missed;
  EXPECT_NE(std::string::npos, missed.find("name '#2da54b'")) << missed;
  BackdropFinder finder;
  finder.add(small.picture.data(), 160, 90);
  EXPECT_NE(std::string::npos, finder.noteOnNamed(45, 165, 75).find("only 3.7 %"));
  EXPECT_NE(std::string::npos, finder.noteOnNamed(10, 20, 250).find("nothing"));
  EXPECT_EQ("", finder.noteOnNamed(190, 185, 175));

  Drawn bars = Drawn(kGreen).box(0, 0, 160, 12, {16, 16, 16}).box(0, 78, 160, 90, {16, 16, 16});
  bars.box(0, 0, 20, 90, {16, 16, 16}).box(140, 0, 160, 90, {16, 16, 16});
  const auto found = findIn(bars);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(1.0, found->confidence);
}

// A backdrop that was keyed already is still green under its alpha.
TEST(BackdropFinder, LeavesTransparentPixelsOut) {
  Bytes picture = uniform(64, 64, 30, 200, 60);
  const Bytes opaque = uniform(64, 32, 45, 165, 75);
  std::copy(opaque.begin(), opaque.end(), picture.begin());
  for (std::size_t i = opaque.size(); i < picture.size(); i += 4) picture[i] = 127;
  const auto found = findIn(picture, 64, 64);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(45, found->red);
  EXPECT_EQ(64u * 32u, found->examined);
  EXPECT_EQ(1.0, found->confidence);
}

// By hand: half of the picture at luminance 124.3, half a fifth darker.
TEST(BackdropFinder, MeasuresSpreadAndLight) {
  Bytes halves = uniform(64, 32, 50, 160, 80);
  const Bytes dark = uniform(64, 32, 40, 128, 64);
  halves.insert(halves.end(), dark.begin(), dark.end());
  const auto found = findIn(halves, 64, 64);
  ASSERT_TRUE(found.has_value());
  EXPECT_NEAR(20.0, found->unevenness, 0.1);
  EXPECT_NEAR((0.299 * 10 + 0.587 * 32 + 0.114 * 16) / 2, found->lumaSpread, 0.01);
  EXPECT_EQ(45, found->red);
  EXPECT_EQ(144, found->green);
}

TEST(BackdropFinder, NoiseWidensTheSpread) {
  double last = 0.0;
  for (const int noise : {2, 6, 15}) {
    Random random(5);
    Bytes picture = uniform(64, 64, 45, 165, 75);
    for (unsigned char& b : picture)
      b = static_cast<unsigned char>(std::clamp(b + random.within(-noise, noise), 0, 255));
    const auto found = findIn(picture, 64, 64);
    ASSERT_TRUE(found.has_value());
    EXPECT_GT(found->chromaSpread, last + 0.5);
    last = found->chromaSpread;
  }
}

TEST(BackdropFinder, AnotherGreenOrASmallScreenLowersTheConfidence) {
  Bytes mixed = uniform(64, 40, 45, 165, 75);
  const Bytes other = uniform(64, 24, 120, 240, 40);
  mixed.insert(mixed.end(), other.begin(), other.end());
  const auto competing = findIn(mixed, 64, 64);
  ASSERT_TRUE(competing.has_value());
  EXPECT_NEAR(40.0 / 64.0, competing->confidence, 0.01);
  EXPECT_EQ(165, competing->green);

  Bytes small = uniform(64, 8, 45, 165, 75);
  const Bytes grey = uniform(64, 56, 128, 128, 128);
  small.insert(small.end(), grey.begin(), grey.end());
  const auto rare = findIn(small, 64, 64);
  ASSERT_TRUE(rare.has_value());
  EXPECT_NEAR(0.5, rare->confidence, 0.01);  // an eighth of the picture, half of what it takes to be sure
  EXPECT_NE(std::string::npos, rare->reason.find("12 % of the picture")) << rare->reason;
}

TEST(AreaMean, AveragesItsAreaAlone) {
  Bytes picture = uniform(8, 8, 10, 20, 30);
  picture[(2 * 8 + 3) * 4 + 1] = 90;  // red of pixel 3,2
  kalvetra::AreaMean mean;
  EXPECT_FALSE(mean.mean().has_value());
  mean.add(picture.data(), 8, {2, 2, 2, 2});
  const auto color = mean.mean();
  ASSERT_TRUE(color.has_value());
  EXPECT_EQ(30, color->red);  // (10 + 90 + 10 + 10) / 4
  EXPECT_EQ(20, color->green);
  EXPECT_EQ(30, color->blue);
  EXPECT_EQ(4u, color->pixels);
}

}  // namespace
