#include "deep/render.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "engine/KalvetraFinalCut.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/look.h"
#include "tests/support/rendered.h"

using namespace kalvetra;

namespace {

using test::Bytes;
using Floats = std::vector<float>;

constexpr int kWidth = 403, kHeight = 233;

template <class Float>
auto frameOf(Float* floats, int width = kWidth, int height = kHeight) {
  using Byte = std::conditional_t<std::is_const_v<Float>, const unsigned char, unsigned char>;
  return packedFrame(reinterpret_cast<Byte*>(floats), width, height, PixelFormat::RgbaF32);
}

KeySettings greenKey() {
  KeySettings s = test::lookReference().frames.front().settings;
  s.view = kKalvetraViewResult;
  return s;
}

// The green screen of the other tests with fractions of levels, some light above white, and alpha that falls.
Floats deepScreen() {
  test::Random random(3);
  const Bytes bytes = test::greenScreen(kWidth, kHeight, 4);
  Floats floats;
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    for (std::size_t c = 1; c < 4; ++c) {
      const auto fraction = static_cast<float>(random.within(-500, 500)) / 1000.0f;
      floats.push_back((static_cast<float>(bytes[i + c]) + fraction) / (bytes[i + 1] > 220 ? 180.0f : 255.0f));
    }
    floats.push_back(i / 4 % kWidth < 30 ? static_cast<float>(random.within(0, 1000)) / 1000.0f : 1.0f);
  }
  return floats;
}

Floats rendered(const KeySettings& settings, const ConstFrame& frame, const RenderOptions& options = {}) {
  Floats out(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height) * 4, 77.0f);
  renderDeep(settings, frame, frameOf(out.data(), frame.width, frame.height), options);
  return out;
}

std::string hashOf(const Floats& floats) {
  Bytes bytes;
  for (const float value : floats) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    for (int i = 0; i < 32; i += 8) bytes.push_back(static_cast<unsigned char>(bits >> i));
  }
  return test::lookHash(bytes);
}

Workers threads(int count) {
  return {count, [](int parts, const std::function<void(int)>& work) {
            std::vector<std::thread> running;
            for (int i = 0; i < parts; ++i) running.emplace_back(work, i);
            for (std::thread& thread : running) thread.join();
          }};
}

// Frames that between them take every way through the deep lane.
std::map<std::string, std::function<Floats(const Workers*)>> frames() {
  static const Floats screen = deepScreen();
  static const Bytes small = test::greenScreen(64, 40, 2);
  static const KnownPlate plate{packedFrame(small.data(), 64, 40), true, 2.0f};
  const auto frame = [](KeySettings s, RenderOptions options, bool premultiplied = false) {
    return [=](const Workers* workers) {
      ConstFrame input = frameOf(screen.data());
      input.premultiplied = premultiplied;
      RenderOptions with = options;
      with.workers = workers;
      return rendered(s, input, with);
    };
  };
  const KeySettings plain = greenKey();
  KeySettings color = plain, all = plain, blue = plain, matte = plain;
  color.smoothBG = 0;
  color.shadow = 40;
  all.deBlocking = all.edgeContract = all.edgeBlur = 1;
  blue.screen = 1;
  blue.keyColor = {0.2, 0.3, 0.6};
  matte.view = kKalvetraViewMatte;
  matte.clipBlack = 10;
  matte.clipWhite = 90;
  return {{"plain", frame(plain, {})},
          {"color", frame(color, {})},
          {"all", frame(all, {})},
          {"blue", frame(blue, {}, true)},
          {"matte", frame(matte, {})},
          {"fields", frame(all, {.scan = Scan::Fields})},
          {"shadows", frame(plain, {.plate = &plate})},
          {"all shadows", frame(all, {.scan = Scan::Fields, .plate = &plate})}};
}

TEST(DeepRender, GivesThePinnedFloatsAtEveryLevel) {
  const std::string file = KALVETRA_TEST_DATA "/deep_look.json";
  const auto pinned = nlohmann::json::parse(std::ifstream(file));
  nlohmann::json found;
  for (const auto& [name, keyed] : frames()) {
    SCOPED_TRACE(name);
    const std::string hash = hashOf(keyed(nullptr));
    found[name] = hash;
    test::atEveryLevel(
        [&, &render = keyed](CpuLevel level) { EXPECT_EQ(hashOf(render(nullptr)), hash) << cpuLevelName(level); });
  }
  EXPECT_EQ(pinned, found) << "Where the change is meant, put this into " << file << ":\n" << found.dump(2);
}

TEST(DeepRender, GivesTheSameFloatsOnAnyNumberOfThreads) {
  for (const auto& [name, keyed] : frames()) {
    SCOPED_TRACE(name);
    const std::string hash = hashOf(keyed(nullptr));
    for (const int count : {2, 7}) {
      const Workers workers = threads(count);
      EXPECT_EQ(hashOf(keyed(&workers)), hash) << count << " threads";
    }
  }
}

// The last bit of what came in, also beyond black and white, from any memory and for any kind of screen.
TEST(DeepRender, LeavesForegroundAsItCame) {
  Floats screen = deepScreen();
  const std::array<float, 3> kept[]{
      {0.801234f, 0.5f, 0.3f}, {4.25f, 3.5f, 3.1f}, {0.9f, -0.25f, -0.0625f}, {0, 0, 1e6f}};
  const auto at = [](std::size_t i) { return (std::size_t{100} * kWidth + 150 + i * 9) * 4; };
  for (std::size_t i = 0; i < std::size(kept); ++i)
    std::copy_n(kept[i].data(), 3, screen.begin() + static_cast<std::ptrdiff_t>(at(i)));
  for (const int options : {0, 1}) {
    KeySettings s = greenKey();
    s.edgeContract = options;
    Floats out = screen;  // in place
    renderDeep(s, frameOf(out.data()), frameOf(out.data()));
    EXPECT_EQ(out, rendered(s, frameOf(std::as_const(screen).data())));
    for (std::size_t i = 0; i < std::size(kept); ++i) {
      for (std::size_t c = 0; c < 3; ++c) EXPECT_EQ(kept[i][c], out[at(i) + c]) << i;
      if (options == 0) {
        EXPECT_EQ(1.0f, out[at(i) + 3]) << i;
      }
    }
  }
}

TEST(DeepRender, KeysAnEvenFrameEvenly) {
  for (const int option : {0, 1}) {
    KeySettings s = greenKey();
    s.deBlocking = s.edgeContract = s.edgeBlur = option;
    Floats even;
    for (int i = 0; i < kWidth * kHeight; ++i) even.insert(even.end(), {0.31415f, 0.562345f, 0.2345f, 1.0f});
    const Floats out = rendered(s, frameOf(std::as_const(even).data()));
    // Rows and columns whose windows reach over the border may differ in a last bit.
    for (std::size_t i = 4; i < out.size(); ++i) ASSERT_NEAR(out[i], out[i - 4], 1e-5f) << i;
  }
}

// The pinned frames that neither plate nor deblocking has a share in: what remains is the truncation of bytes.
TEST(DeepRender, AgreesWithTheExactKey) {
  double sum = 0.0, pixels = 0.0, apart = 0.0;
  for (const test::LookFrame& frame : test::lookReference().frames) {
    if (frame.settings.smoothBG != 0 || frame.settings.deBlocking != 0) continue;
    const Bytes source = drawn(frame), exact = test::rendered(frame.settings, source, frame.width, frame.height);
    const Floats deep = rendered(frame.settings, packedFrame(source.data(), frame.width, frame.height));
    const bool matte = frame.settings.view == kKalvetraViewMatte;
    for (std::size_t i = 0; i < exact.size(); i += 4) {
      const double off = static_cast<double>(deep[i + (matte ? 0 : 3)]) * 255.0 - exact[i + (matte ? 1 : 0)];
      sum += off;
      apart += std::abs(off) > 2.0 ? 1.0 : 0.0;
      pixels += 1.0;
    }
  }
  ASSERT_GT(pixels, 100000.0);
  EXPECT_LT(std::abs(sum) / pixels, 0.3);
  EXPECT_LT(apart / pixels, 0.005);  // clipped, a level counts for up to five
}

TEST(DeepRender, LeavesASourceAsItCameAndRefusesWhatIsTooWide) {
  KeySettings s = greenKey();
  s.view = kKalvetraViewSource;
  const Floats screen = deepScreen();  // with an alpha of thousandths
  EXPECT_EQ(screen, rendered(s, frameOf(screen.data())));
  Floats wide(70000 * 4, 0.5f);
  EXPECT_THROW(renderDeep(greenKey(), frameOf(wide.data(), 70000, 1), frameOf(wide.data(), 70000, 1)),
               std::invalid_argument);
}

TEST(DeepRender, ShowsInBytes) {
  const Floats codes{0.5f, -1.0f, 2.0f, 1.0f, std::nanf(""), 100.4f / 255.0f, 100.6f / 255.0f, 0.25f};
  Bytes bytes(8);
  toEightBits(frameOf(codes.data(), 2, 1), packedFrame(bytes.data(), 2, 1));
  EXPECT_EQ(bytes, (Bytes{255, 128, 0, 255, 64, 0, 100, 101}));
}

}  // namespace
