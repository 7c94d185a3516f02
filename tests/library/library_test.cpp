// The shared library, asked through its interface alone.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/library/library_calls.h"

namespace {

using namespace kalvetra::test;

// The numbers that programs were built with; the comparison of interfaces does not see them.
static_assert(KALVETRA_OK == 0 && KALVETRA_BAD_ARGUMENT == -1 && KALVETRA_BAD_FRAME == -2 &&
              KALVETRA_BAD_SETTING == -3);
static_assert(KALVETRA_BAD_PRESET == -4 && KALVETRA_NO_BACKDROP == -5 && KALVETRA_NO_MEMORY == -6);
static_assert(KALVETRA_FAILED == -7 && KALVETRA_BAD_PLATE == -8);
static_assert(KALVETRA_POPUP == 1 && KALVETRA_COLOR == 2 && KALVETRA_TOGGLE == 3 && KALVETRA_SLIDER == 4);
static_assert(KALVETRA_ARGB8 == 1 && KALVETRA_BGRA8 == 2 && KALVETRA_RGBA8 == 3 && KALVETRA_RGBAF32 == 4);
static_assert(KALVETRA_CHROMA_FULL == 0 && KALVETRA_CHROMA_HALF == 1 && KALVETRA_CHROMA_QUARTER == 2);

TEST(Library, HasThePinnedLook) {
  const kalvetra::test::LookReference& reference = kalvetra::test::lookReference();
  EXPECT_EQ(reference.look, kalvetra_look());
  int threads = 0;
  for (const kalvetra::test::LookFrame& frame : reference.frames) {
    const Settings settings(kalvetra_settings_new());
    ASSERT_EQ(KALVETRA_OK, kalvetra_settings_read_preset(settings.get(), frame.preset.c_str()))
        << kalvetra_last_error();
    const kalvetra_options options = withThreads(1 + threads++ % 3);
    const Bytes keyed = rendered(settings, drawn(frame), frame.width, frame.height, options);
    EXPECT_EQ(frame.hash, kalvetra::test::lookHash(keyed)) << frame.line;
  }
  EXPECT_LT(20, threads);
}

// Where a format has its alpha, red, green and blue.
const std::array<std::array<int, 4>, 4> kPlaces{{{}, {0, 1, 2, 3}, {3, 2, 1, 0}, {3, 0, 1, 2}}};

// A frame with a gap after each row and guard bytes all around, upwards or downwards in memory.
struct HeldFrame {
  static constexpr int kWidth = 37, kHeight = 23, kStride = kWidth * 4 + 12;
  static constexpr unsigned char kGuard = 99;

  HeldFrame(int format, bool upwards) : bytes(kStride * (kHeight + 2), kGuard) {
    unsigned char* first = bytes.data() + kStride * (upwards ? kHeight : 1);
    frame = {first, upwards ? -kStride : kStride, kWidth, kHeight, format, 0};
  }
  unsigned char& at(int i, std::size_t part) {
    const int y = i / kWidth, x = i % kWidth;
    return static_cast<unsigned char*>(
        frame.data)[frame.stride * y + 4 * x + kPlaces[static_cast<std::size_t>(frame.format)][part]];
  }
  void fill(const Bytes& argb) {
    for (std::size_t i = 0; i < argb.size(); ++i) at(static_cast<int>(i / 4), i % 4) = argb[i];
  }
  Bytes argb() {
    Bytes all;
    for (int i = 0; i < kWidth * kHeight * 4; ++i) all.push_back(at(i / 4, static_cast<std::size_t>(i % 4)));
    return all;
  }
  long guards() const { return std::count(bytes.begin(), bytes.end(), kGuard); }

  Bytes bytes;
  kalvetra_frame frame;
};

TEST(Library, TakesAndGivesFramesOfEveryFormatAndStride) {
  const Settings settings = keyingGreen();
  const Bytes source = picture(HeldFrame::kWidth, HeldFrame::kHeight);
  const Bytes expected = rendered(settings, source, HeldFrame::kWidth, HeldFrame::kHeight, withThreads(1));
  constexpr long kOutside = HeldFrame::kStride * (HeldFrame::kHeight + 2) - HeldFrame::kWidth * HeldFrame::kHeight * 4;
  for (int from = KALVETRA_ARGB8; from <= KALVETRA_RGBA8; ++from) {
    for (int to = KALVETRA_ARGB8; to <= KALVETRA_RGBA8; ++to) {
      for (int turn = 0; turn < 4; ++turn) {
        HeldFrame input(from, turn % 2 == 1), output(to, turn / 2 == 1);
        input.fill(source);
        ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &output.frame, nullptr));
        EXPECT_EQ(expected, output.argb()) << from << " " << to << " " << turn;
        EXPECT_LE(kOutside, output.guards());
        output.frame.premultiplied = 1;
        ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &output.frame, nullptr));
        const Bytes multiplied = output.argb();
        for (std::size_t i = 0; i < expected.size(); ++i) {
          ASSERT_EQ(i % 4 == 0 ? expected[i] : expected[i] * expected[i / 4 * 4] / 255, multiplied[i]);
        }
        ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &input.frame, nullptr));
        EXPECT_EQ(expected, input.argb()) << "in place";
      }
    }
  }
}

TEST(Library, DividesPremultipliedColoursByTheirAlpha) {
  const Settings source(kalvetra_settings_new());
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(source.get(), "view", "source"));
  Bytes pixels{128, 64, 100, 200, 0, 9, 9, 9, 255, 1, 2, 3}, out(12);  // alpha, red, green, blue
  kalvetra_frame input = packed(pixels, 3, 1), output = packed(out, 3, 1);
  input.premultiplied = 1;
  ASSERT_EQ(KALVETRA_OK, kalvetra_render(source.get(), &input, &output, nullptr));
  EXPECT_EQ((Bytes{128, 128, 199, 255, 0, 0, 0, 0, 255, 1, 2, 3}), out);  // 64 * 255 / 128 = 127.5, 199.2, over 255
}

TEST(Library, ManyCallsAtOnceGiveTheSameBytes) {
  const Settings settings = keyingGreen();
  const int width = 320, height = 180;
  const Bytes source = picture(width, height), expected = rendered(settings, source, width, height, withThreads(1));
  std::vector<std::thread> callers;
  std::atomic<int> equal = 0;
  for (int caller = 0; caller < 8; ++caller) {
    callers.emplace_back([&, caller] {
      int levels = 0;
      while (kalvetra_cpu_level(levels) != nullptr) ++levels;
      for (int call = 0; call < 12; ++call) {
        const kalvetra_options options = withThreads((caller + call) % 4, kalvetra_cpu_level((caller + call) % levels));
        equal += rendered(settings, source, width, height, options) == expected ? 1 : 0;
        EXPECT_EQ(KALVETRA_BAD_SETTING, kalvetra_settings_get(settings.get(), "no", 0, nullptr, 0));
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(96, equal);
}

TEST(Library, ParametersHaveWhatAPanelNeeds) {
  const Settings settings(kalvetra_settings_new());
  int count = 0;
  for (const kalvetra_parameter* p; (p = kalvetra_parameter_at(count)) != nullptr; ++count) {
    EXPECT_EQ(p->default_value, valueOf(settings, p->slug));
    EXPECT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), p->slug, p->default_value)) << p->slug;
    EXPECT_EQ(p->kind == KALVETRA_SLIDER, p->minimum < p->maximum);
    EXPECT_TRUE(*p->name != '\0' && *p->group != '\0' && *p->help != '\0' && *p->values != '\0');
  }
  EXPECT_EQ(24, count);
  EXPECT_EQ(nullptr, kalvetra_parameter_at(-1));
  const kalvetra_parameter& blur = *kalvetra_parameter_at(17);
  EXPECT_STREQ("blur-value", blur.slug);
  EXPECT_STREQ("Mask Blur Value", blur.name);
  EXPECT_STREQ("Basic: Edge Blur Group", blur.group);
  EXPECT_STREQ("0..100", blur.values);
  EXPECT_STREQ("edge-blur", blur.depends_on);
  EXPECT_EQ(100, blur.maximum);
}

TEST(Library, SettingsGoThroughPresetsWithTheirKeyframes) {
  const Settings settings = keyingGreen();
  const char* keyframes = R"({"look": 1, "settings": {"screen-gain": [[0, 10], [10, 30]], "smooth-bg": false}})";
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_read_preset(settings.get(), keyframes));
  EXPECT_EQ("20", valueOf(settings, "screen-gain", 5));
  EXPECT_EQ("#289646", valueOf(settings, "key-color"));
  const int length = kalvetra_settings_write_preset(settings.get(), nullptr, 0);
  std::string text(static_cast<std::size_t>(length) + 1, 'x');
  ASSERT_EQ(length, kalvetra_settings_write_preset(settings.get(), text.data(), text.size()));
  EXPECT_EQ("\n}\n", std::string(text.c_str()).substr(static_cast<std::size_t>(length) - 3));
  const Settings read(kalvetra_settings_new()), copied(kalvetra_settings_copy(settings.get()));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_read_preset(read.get(), text.c_str()));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "screen-gain", "20"));
  const Bytes source = picture(64, 36);
  kalvetra_options atFive = withThreads(1);
  atFive.frame = 5;
  const Bytes expected = rendered(settings, source, 64, 36, withThreads(1));
  EXPECT_EQ(expected, rendered(read, source, 64, 36, atFive));
  EXPECT_EQ(expected, rendered(copied, source, 64, 36, atFive));
  EXPECT_NE(expected, rendered(copied, source, 64, 36, withThreads(1)));
  char cut[4];
  EXPECT_EQ(7, kalvetra_settings_get(settings.get(), "key-color", 0, cut, sizeof cut));
  EXPECT_STREQ("#28", cut);
}

TEST(Library, ShowsThePlateAndTheStatusOfAFrame) {
  const Settings settings = keyingGreen();
  Bytes source = kalvetra::test::greenScreen(96, 64, 3), out(source.size());
  const kalvetra_frame input = packed(source, 96, 64), output = packed(out, 96, 64);
  EXPECT_EQ(1, kalvetra_render_plate(settings.get(), &input, &output, nullptr));
  EXPECT_NEAR(90, out[4 * (96 * 32 + 48) + 2], 60);  // green, where the subject stands
  kalvetra_status status{};
  ASSERT_EQ(KALVETRA_OK, kalvetra_render_status(settings.get(), &input, &output, nullptr, &status));
  const Bytes keyed = rendered(settings, source, 96, 64, withThreads(1));
  std::array<std::int64_t, 256> levels{};
  for (std::size_t i = 0; i < keyed.size(); i += 4) ++levels[keyed[i]];
  EXPECT_EQ(levels[0], status.clear);
  EXPECT_EQ(levels[255], status.opaque);
  EXPECT_EQ(96 * 64, status.clear + status.almost_clear + status.partial + status.almost_opaque + status.opaque);
  Bytes multiplied(source.size());
  kalvetra_frame premultiplied = packed(multiplied, 96, 64);
  premultiplied.premultiplied = 1;
  kalvetra_status same{};
  ASSERT_EQ(KALVETRA_OK, kalvetra_render_status(settings.get(), &input, &premultiplied, nullptr, &same));
  EXPECT_EQ(out, multiplied);  // opaque
  EXPECT_EQ(status.partial, same.partial);
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "smooth-bg", "off"));
  EXPECT_EQ(0, kalvetra_render_plate(settings.get(), &input, &output, nullptr));
  EXPECT_EQ((Bytes{255, 0x28, 0x96, 0x46}), Bytes(out.begin(), out.begin() + 4));
}

TEST(Library, FindsTheScreensColourAndSettingsForIt) {
  Bytes source = kalvetra::test::greenScreen(160, 90, 3), grey(4 * 160 * 90, 128);
  const kalvetra_frame frames[]{packed(source, 160, 90), packed(source, 160, 90)};
  kalvetra_backdrop backdrop{};
  ASSERT_EQ(KALVETRA_OK, kalvetra_pick(frames, 2, &backdrop)) << kalvetra_last_error();
  EXPECT_NEAR(34, backdrop.red, 6);
  EXPECT_NEAR(134, backdrop.green, 12);
  EXPECT_LT(0.9, backdrop.confidence);
  EXPECT_NE('\0', backdrop.reason[0]);
  const Settings found = keyingGreen(), named = keyingGreen();
  ASSERT_EQ(KALVETRA_OK, kalvetra_propose(frames, 2, nullptr, nullptr, found.get())) << kalvetra_last_error();
  char color[8];
  std::snprintf(color, sizeof color, "#%02x%02x%02x", backdrop.red, backdrop.green, backdrop.blue);
  EXPECT_EQ(color, valueOf(found, "key-color"));
  EXPECT_LT(10, kalvetra_settings_reason(found.get(), "screen-gain", nullptr, 0));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(found.get(), "screen-gain", "50"));
  EXPECT_EQ(0, kalvetra_settings_reason(found.get(), "screen-gain", nullptr, 0));
  const kalvetra_options plain = withThreads(2, "scalar");
  ASSERT_EQ(KALVETRA_OK, kalvetra_propose(frames, 2, "40,150,70", &plain, named.get()));
  EXPECT_EQ("#289646", valueOf(named, "key-color"));
  const kalvetra_frame noScreen = packed(grey, 160, 90);
  EXPECT_EQ(KALVETRA_NO_BACKDROP, kalvetra_pick(&noScreen, 1, &backdrop));
  EXPECT_EQ(KALVETRA_NO_BACKDROP, kalvetra_propose(&noScreen, 1, nullptr, nullptr, found.get()));
  EXPECT_EQ("50", valueOf(found, "screen-gain"));
}

// A screen much darker on its left, and a subject that walks over it from picture to picture; alpha, red, green, blue.
Bytes walk(int step, bool shadow = false) {
  constexpr int kWidth = 320, kHeight = 180;
  Bytes picture = kalvetra::test::noise(4 * kWidth * kHeight, static_cast<std::uint64_t>(step));
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double light = (0.45 + 0.55 * x / kWidth) * (shadow && y > 150 ? 0.6 : 1.0);
      const bool subject = step >= 0 && y > 30 && y < 140 && std::abs(x - 60 - 50 * step) < 25;
      const double color[]{subject ? 205.0 : 45 * light, subject ? 150.0 : 175 * light, subject ? 125.0 : 75 * light};
      unsigned char* pixel = picture.data() + 4 * (y * kWidth + x);
      for (int c = 0; c < 3; ++c) pixel[c + 1] = static_cast<unsigned char>(color[c] + pixel[c + 1] % 4);
      pixel[0] = 255;
    }
  }
  return picture;
}

kalvetra_frame walkFrame(Bytes& picture) { return packed(picture, 320, 180); }

// Of the rows of bare floor.
double meanAlpha(const Bytes& key) {
  double sum = 0;
  for (std::size_t i = 4 * 320 * 160; i < key.size(); i += 4) sum += key[i] / 255.0;
  return sum / (320 * 20);
}

TEST(Library, KeysAgainstPlatesOfEveryKind) {
  const Settings settings = keyingGreen();
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "key-color", "#2daf4b"));
  std::vector<Bytes> pictures;
  for (int step = 0; step < 5; ++step) pictures.push_back(walk(step));
  std::vector<kalvetra_frame> frames;
  for (Bytes& picture : pictures) frames.push_back(walkFrame(picture));
  const double own = meanAlpha(rendered(settings, pictures[2], 320, 180, withThreads(1)));

  kalvetra_plate* made = nullptr;
  ASSERT_EQ(KALVETRA_OK, kalvetra_plate_fit(settings.get(), frames.data(), nullptr, 5, nullptr, &made));
  const PlateObject fitted(made);
  const kalvetra_plate_facts& facts = *kalvetra_plate_facts_of(fitted.get());
  EXPECT_TRUE(facts.sure) << facts.why;
  EXPECT_LT(0.5, facts.covered);
  kalvetra_options options = withThreads(1, "scalar");
  options.plate = fitted.get();
  options.frame = 2;
  const Bytes key = rendered(settings, pictures[2], 320, 180, options);
  EXPECT_LT(meanAlpha(key), 0.02);
  EXPECT_LT(meanAlpha(key), own);
  kalvetra_options fast = withThreads(3);
  fast.plate = fitted.get();
  fast.frame = 2;
  EXPECT_EQ(key, rendered(settings, pictures[2], 320, 180, fast));
  const Settings fit(kalvetra_settings_copy(settings.get()));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(fit.get(), "plate", "fit"));
  EXPECT_LT(meanAlpha(rendered(fit, pictures[2], 320, 180, withThreads(2))), 0.02);

  std::vector<kalvetra_frame> many(60, frames[0]);  // as many as are kept, before the subject moves
  for (int i = 0; i < 20; ++i) many.push_back(frames[static_cast<std::size_t>(1 + i / 5)]);
  ASSERT_EQ(KALVETRA_OK, kalvetra_plate_shot(settings.get(), many.data(), nullptr, many.size(), nullptr, &made));
  const PlateObject shot(made);
  EXPECT_TRUE(kalvetra_plate_facts_of(shot.get())->locked) << kalvetra_plate_facts_of(shot.get())->why;
  EXPECT_LT(0.85, kalvetra_plate_facts_of(shot.get())->covered);

  Bytes empty = walk(-1), shaded = walk(2, true);
  const kalvetra_frame clean = walkFrame(empty), frame = walkFrame(shaded);
  ASSERT_EQ(KALVETRA_OK, kalvetra_plate_clean(settings.get(), &clean, 1, &frames[2], 1, nullptr, &made))
      << kalvetra_last_error();
  const PlateObject bare(made);
  for (const PlateObject* plate : {&shot, &bare}) {
    options.plate = plate->get();
    EXPECT_NEAR(0.4, meanAlpha(rendered(settings, shaded, 320, 180, options)), 0.015) << "the cast shadow";
  }
  Bytes shown(shaded.size());
  const kalvetra_frame output = walkFrame(shown);
  EXPECT_EQ(1, kalvetra_render_plate(settings.get(), &frame, &output, &options));
  EXPECT_NEAR(45 * 0.86, shown[4 * (80 * 320 + 240) + 1], 4);  // as if nobody stood there
}

}  // namespace
