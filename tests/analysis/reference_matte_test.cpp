// The estimate that settings are judged by, against drawn truth.
#include "analysis/reference_matte.h"

#include <gtest/gtest.h>

#include "tests/analysis/drawn_scene.h"

namespace {

using namespace kalvetra;
using test::DrawnScene;

ReferenceMatte matteOf(const DrawnScene& scene) {
  const double deviation = scene.noise / std::sqrt(3.0);  // of an even distribution
  return makeReferenceMatte(scene.frame.data(), scene.backdrop.data(), scene.width, scene.height,
                            static_cast<float>(deviation));
}

// Mean error of the alpha in one region; the number of targets goes to `count`.
double alphaError(const DrawnScene& scene, const ReferenceMatte& matte, Region region, int& count) {
  double sum = 0;
  count = 0;
  for (const Target& t : matte.targets) {
    if (t.region != region) continue;
    sum += std::abs(static_cast<double>(t.alpha) - scene.alpha[t.pixel]);
    ++count;
  }
  return sum / std::max(count, 1);
}

TEST(ReferenceMatte, ComesNearTheTruthForColoursNearTheScreens) {
  for (const test::Color& shirt : {test::Color{40, 62, 150}, {20, 128, 132}, {112, 112, 44}, {232, 204, 48}}) {
    DrawnScene scene;
    scene.shirt = shirt;
    scene.noise = 4;
    scene.unevenness = 0.3;
    scene.softness = 3;
    scene.draw();
    const ReferenceMatte matte = matteOf(scene);
    int count = 0;
    EXPECT_EQ(0.0, alphaError(scene, matte, Region::Screen, count)) << shirt[0];
    EXPECT_GT(count, 5000);
    EXPECT_LT(alphaError(scene, matte, Region::Core, count), 1e-3) << shirt[0];
    EXPECT_GT(count, 5000);
    EXPECT_LT(alphaError(scene, matte, Region::Edge, count), 0.06) << shirt[0];
    EXPECT_GT(count, 1000);
    EXPECT_NEAR(30.0, static_cast<double>(matte.unevenness), 4.0);
  }
}

TEST(ReferenceMatte, AVeilIsThinAndAPaleClothIsSolid) {
  DrawnScene veiled;
  veiled.veil = 0.5;
  veiled.draw();
  int count = 0;
  EXPECT_LT(alphaError(veiled, matteOf(veiled), Region::Veil, count), 0.06);
  EXPECT_GT(count, 2000);

  DrawnScene pale;
  pale.shirt = {176, 214, 180};
  pale.draw();
  EXPECT_EQ(0.0, alphaError(pale, matteOf(pale), Region::Core, count));
  EXPECT_GT(count, 6000);
}

TEST(ReferenceMatte, ADarkVeilIsALayer) {
  DrawnScene veiled;
  veiled.veil = 0.5;
  veiled.veilColor = {10, 10, 10};
  veiled.draw();
  int count = 0;
  EXPECT_LT(alphaError(veiled, matteOf(veiled), Region::Shade, count), 0.15);
  EXPECT_GT(count, 2000);
}

TEST(ReferenceMatte, PicturesWithoutSubjectOrScreenAndTinyOnes) {
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {90, 1}, {40, 40}}) {
    for (const auto& pixel : {std::array{255, 45, 165, 75}, {255, 200, 30, 30}, {0, 0, 0, 0}}) {
      test::Bytes frame, backdrop;
      for (int i = 0; i < width * height * 4; ++i) {
        frame.push_back(static_cast<unsigned char>(pixel[static_cast<std::size_t>(i % 4)]));
        backdrop.push_back(std::array<unsigned char, 4>{255, 45, 165, 75}[static_cast<std::size_t>(i % 4)]);
      }
      const ReferenceMatte matte = makeReferenceMatte(frame.data(), backdrop.data(), width, height, 1.0f);
      EXPECT_EQ(static_cast<std::size_t>(width * height), matte.pixels);
      for (const Target& t : matte.targets) EXPECT_LT(t.pixel, matte.pixels);
      if (pixel[1] == 45) {
        EXPECT_EQ(matte.pixels, matte.area[0]) << width;
      }
    }
  }
}

}  // namespace
