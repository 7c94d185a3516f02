// The deep lane beside a plain transcription in double precision, and beside the exact lane.
#include "tests/deep/judge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "deep/render.h"
#include "engine/background_plate.h"
#include "parameters/parameter_value.h"
#include "sample/demo_clip.h"
#include "tests/support/look.h"

using namespace kalvetra;
using judge::Picture;

namespace {

constexpr double kRed = 0.17, kGreen = 0.6, kBlue = 0.27;

KeySettings keyOf(bool blue) {
  KeySettings settings = defaultSettings();
  settings.keyColor = {kRed, blue ? kBlue : kGreen, blue ? kGreen : kBlue};
  settings.screen = blue;
  return settings;
}

// Floats, four a pixel, as a frame and in levels.
struct Codes {
  ConstFrame frame() const {
    return packedFrame(reinterpret_cast<const unsigned char*>(values.data()), width, height, PixelFormat::RgbaF32);
  }
  Picture levels() const {
    Picture picture(width, height);
    for (std::size_t i = 0; i < values.size(); ++i) picture.pixels[i / 4][i % 4] = 255.0 * double(values[i]);
    return picture;
  }
  int width, height;
  std::vector<float> values = std::vector<float>(static_cast<std::size_t>(width * height) * 4);
};

Codes deepOf(const KeySettings& settings, const ConstFrame& frame, const RenderOptions& options = {}) {
  Codes out{frame.width, frame.height};
  renderDeep(
      settings, frame,
      packedFrame(reinterpret_cast<unsigned char*>(out.values.data()), frame.width, frame.height, PixelFormat::RgbaF32),
      options);
  return out;
}

double smooth(double x) { return std::pow(std::clamp(x, 0.0, 1.0), 2) * (3 - 2 * std::clamp(x, 0.0, 1.0)); }

// A screen in uneven light with a shadow on it. Before it, unless it is bare, a defocused figure, hair, a lamp up to
// four times as bright as white, a cloth below black, and at the right the frame's alpha falls off. Steps of 1/65535.
Codes scene(int width, int height, bool blue = false, bool bare = false) {
  Codes scene{width, height};
  for (int i = 0; i < width * height; ++i) {
    const double u = (i % width + 0.5) / width, v = (i / width + 0.5) / height;
    double shade = 1 - 0.3 * u * u + 0.1 * v;
    if (!bare) shade *= 1 - 0.5 * smooth((v - 0.6) * 5) * smooth((0.5 - u) * 6);
    std::array<double, 4> color{kRed * shade, kGreen * shade, kBlue * shade,
                                bare ? 1 : std::clamp(6.5 - 6.2 * u, 0., 1.)};
    const auto over = [&](double alpha, double r, double g, double b) {
      alpha = bare ? 0 : alpha;
      color = {color[0] + (r - color[0]) * alpha, color[1] + (g - color[1]) * alpha, color[2] + (b - color[2]) * alpha,
               color[3]};
    };
    const auto disc = [&](double x, double y, double radius, double softness) {
      return smooth((radius - std::hypot((u - x) * 1.6, v - y)) / softness + 0.5);
    };
    over(disc(0.4, 0.5, 0.22, 0.12), 0.8 - 0.3 * v, 0.55 + 0.1 * u, 0.45);
    over(0.8 * std::pow(std::sin(40 * u + 9 * v), 8) * smooth((0.3 - v) * 9), 0.25, 0.14, 0.08);
    over(disc(0.75, 0.3, 0.1, 0.05), 4, 3.5, 2.5 + 6 * (u - 0.75));
    over(disc(0.75, 0.75, 0.1, 0.05), -0.08, 0.02, v - 0.78);
    over(disc(0.55, 0.85, 0.06, 0.05), 0.2, 0.25, 0.7);
    over(disc(0.1, 0.2, 0.05, 0.05), 0.9, 0.9, 0.92);
    if (blue) std::swap(color[1], color[2]);
    for (std::size_t c = 0; c < 4; ++c)
      scene.values[static_cast<std::size_t>(i) * 4 + c] = static_cast<float>(std::round(color[c] * 65535) / 65535);
  }
  return scene;
}

// What was seen in all of a test's frames.
struct Differences {
  void add(const std::string& name, const KeySettings& settings, const Codes& frame, const RenderOptions& options = {},
           const judge::Options& same = {}) {
    const Picture source = frame.levels(), deep = deepOf(settings, frame.frame(), options).levels();
    const judge::Judgement judgement = judge::judged(settings, source, same);
    for (std::size_t i = 0; i < source.pixels.size(); ++i) {
      const judge::Pixel &seen = deep.pixels[i], &expected = judgement.view.pixels[i];
      // Of pixels beyond white in relation to them, since luma and chroma are sums; of colours as much as shows.
      const double unit =
          std::max({1.0, source.pixels[i][0] / 255, source.pixels[i][1] / 255, source.pixels[i][2] / 255});
      bool off = false;
      for (std::size_t c = 0; c < 4; ++c) {
        const double shown = c == 3 ? 1 : std::min(1.0, expected[3]);
        off = off || !(std::abs(seen[c] - expected[c]) * shown <= kBound * unit);
      }
      ++pixels;
      if (!off) continue;
      const judge::Tie& tie = judgement.ties[i];
      ++(tie.distance < 1e-3 ? tied : other);
      which << name << " at " << i << ": " << testing::PrintToString(seen) << " for "
            << testing::PrintToString(expected) << ", " << tie.distance << " from " << tie.choice << '\n';
    }
  }
  // One pixel in 50,000: beyond white, where a chroma's ray runs along the bound that it is cut with. No more at ties.
  void expectFew() const {
    EXPECT_LE(other * 50000, pixels) << which.str().substr(0, 3000);
    EXPECT_LE(tied * 50000, pixels) << which.str().substr(0, 3000);
  }

  static constexpr double kBound = 0.02;  // levels
  long pixels = 0, tied = 0, other = 0;
  std::ostringstream which;
};

TEST(DeepJudge, AgreesAtTheDefaultAndBothEndsOfEveryParameter) {
  const Codes frame = scene(160, 96);
  for (const int smoothBG : {1, 0}) {
    Differences differences;
    for (const Parameter& p : kParameters) {
      if (p.kind == ParameterKind::Group || p.kind == ParameterKind::Color || p.ofClip) continue;
      for (const int value : {p.minimum, p.defaultValue, p.maximum}) {
        KeySettings settings = keyOf(false);
        if (p.toggle != 0) settings.*findParameter(p.toggle)->value = 1;
        settings.*p.value = value;
        settings.smoothBG = smoothBG;
        differences.add(std::string(p.slug) + ' ' + std::to_string(value), settings, frame);
      }
    }
    differences.expectFew();
  }
}

TEST(DeepJudge, AgreesOnScreensSizesFieldsPlatesAndShadows) {
  Differences differences;
  for (const bool blue : {false, true}) {
    const Codes frame = scene(401, 233, blue), bare = scene(401, 233, blue, true), small = scene(77, 50, blue, true);
    const KeySettings settings = keyOf(blue);
    differences.add("default", settings, frame);
    differences.add("fields", settings, frame, {Scan::Fields}, {Scan::Fields});
    for (const Codes& plate : {bare, small}) {
      const Picture levels = plate.levels();
      for (const bool shadows : {false, true}) {
        const KnownPlate known{plate.frame(), shadows, 1.5f};
        differences.add("plate", settings, frame, {Scan::Whole, nullptr, &known},
                        {Scan::Whole, &levels, shadows, 1.5f});
        KeySettings matte = settings;
        matte.view = 1;
        matte.shadow = 20;
        differences.add("matte", matte, frame, {Scan::Fields, nullptr, &known}, {Scan::Fields, &levels, shadows, 1.5f});
      }
    }
  }
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 9}, {9, 1}, {641, 30}, {31, 650}})
    differences.add("size", keyOf(false), scene(width, height));
  differences.expectFew();
}

// Frames on which the lanes differ by more than that for a reason: a clip, a shadow curve or an edge blur stretches
// what bytes lose; deblocking truncates chroma as well; and the exact lane's box averages leave out the last row of
// pictures no larger than their radius.
bool isComparable(const test::LookFrame& frame) {
  const KeySettings& s = frame.settings;
  const bool stretches = s.clipBlack > 0 || s.clipWhite < 100 || s.shadow < 30 || s.edgeBlur != 0;
  return s.view != 0 && !stretches && s.deBlocking == 0 && std::min(frame.width, frame.height) > kPlateBlur;
}

struct Agreement {
  double pixels = 0, sum = 0, far = 0;  // of alpha's differences in levels; far: beyond 2
};

// Of the two lanes on a frame of bytes. `own`: each against the backdrop that it estimates, or both against that of the
// exact one.
Agreement agreementOn(const KeySettings& settings, const ConstFrame& frame, bool own) {
  const int width = frame.width, height = frame.height;
  test::Bytes exact(static_cast<std::size_t>(width * height) * 4), plate(exact.size());
  render(settings, frame, packedFrame(exact.data(), width, height));
  renderPlate(settings, frame, packedFrame(plate.data(), width, height));
  const KnownPlate known{packedFrame<const unsigned char>(plate.data(), width, height)};
  const Picture deep = deepOf(settings, frame, {Scan::Whole, nullptr, own ? nullptr : &known}).levels();
  const std::size_t matte = settings.view == 1;  // shown in all colours
  Agreement result;
  for (std::size_t i = 0; i < deep.pixels.size(); ++i) {
    const double off = std::abs(deep.pixels[i][matte == 1 ? 0 : 3] - exact[4 * i + matte]);
    result.sum += off;
    result.far += off > 2;
  }
  result.pixels = static_cast<double>(deep.pixels.size());
  return result;
}

// In bytes alpha is truncated: by half a level on the mean where it is neither 0 nor 255. Estimates in bytes are off by
// half a level here and there as well, which a key of little colour shows most.
TEST(DeepLane, AgreesWithTheExactOne) {
  Agreement all[2];
  for (const test::LookFrame& look : test::lookReference().frames) {
    if (!isComparable(look)) continue;
    const test::Bytes picture = drawn(look);
    for (const bool own : {false, true}) {
      const Agreement seen = agreementOn(look.settings, packedFrame(picture.data(), look.width, look.height), own);
      EXPECT_LE(seen.far / seen.pixels, own ? 0.21 : 0.001) << look.line;
      all[own].pixels += seen.pixels, all[own].sum += seen.sum, all[own].far += seen.far;
    }
  }
  EXPECT_LT(all[0].sum / all[0].pixels, 0.3);
  EXPECT_LT(all[1].sum / all[1].pixels, 0.7);
  EXPECT_LT(all[1].far / all[1].pixels, 0.05);

  KeySettings settings = defaultSettings();
  settings.keyColor = {47 / 255.0, 166 / 255.0, 72 / 255.0};
  const std::vector<unsigned char> shot = sample::drawFrame(40).argb;
  const Agreement seen = agreementOn(settings, packedFrame(shot.data(), sample::kWidth, sample::kHeight), true);
  EXPECT_LT(seen.sum / seen.pixels, 0.32);
  EXPECT_LT(seen.far / seen.pixels, 0.02);
}

}  // namespace
