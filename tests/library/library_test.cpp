// The shared library, asked through its interface alone.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <thread>

#include "kalvetra/kalvetra.h"
#include "library/answer.h"
#include "tests/support/look.h"

namespace {

thread_local long allocationsLeft = -1;  // counts down to the one that fails; negative: none does

void* allocate(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The library's as well.
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using kalvetra::test::Bytes;

struct Free {
  void operator()(kalvetra_settings* settings) const { kalvetra_settings_free(settings); }
};
using Settings = std::unique_ptr<kalvetra_settings, Free>;

Settings keyingGreen() {
  Settings settings(kalvetra_settings_new());
  EXPECT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "key-color", "#289646"));
  return settings;
}

std::string valueOf(const Settings& settings, const char* slug, std::int64_t frame = 0) {
  char text[64];
  EXPECT_LT(0, kalvetra_settings_get(settings.get(), slug, frame, text, sizeof text)) << kalvetra_last_error();
  return text;
}

kalvetra_frame packed(Bytes& bytes, int width, int height, int format = KALVETRA_ARGB8) {
  return {bytes.data(), 4 * std::ptrdiff_t{width}, width, height, format, 0};
}

kalvetra_options withThreads(int threads, const char* cpu = nullptr) {
  kalvetra_options options{};
  options.size = sizeof options;
  options.threads = threads;
  options.cpu = cpu;
  return options;
}

// A green screen with a foreground, its alpha falling from left to right.
Bytes picture(int width, int height) {
  Bytes bytes = kalvetra::test::greenScreen(width, height, 3);
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    bytes[i] = static_cast<unsigned char>(255 - 200 * (static_cast<int>(i / 4) % width) / width);
  }
  return bytes;
}

Bytes rendered(const Settings& settings, Bytes argb, int width, int height, const kalvetra_options& options) {
  Bytes keyed(argb.size());
  const kalvetra_frame input = packed(argb, width, height), output = packed(keyed, width, height);
  EXPECT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input, &output, &options)) << kalvetra_last_error();
  return keyed;
}

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
  EXPECT_EQ(20, count);
  EXPECT_EQ(nullptr, kalvetra_parameter_at(-1));
  const kalvetra_parameter& blur = *kalvetra_parameter_at(13);
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

void expectRefusal(int code, const std::string& sentence, int answer) {
  EXPECT_EQ(code, answer) << sentence;
  EXPECT_EQ(sentence, kalvetra_last_error());
}

TEST(Library, RefusesWrongArgumentsWithACodeAndASentence) {
  const Settings s = keyingGreen();
  expectRefusal(KALVETRA_BAD_ARGUMENT, "settings is a null pointer, and may not be",
                kalvetra_settings_set(nullptr, "view", "matte"));
  expectRefusal(KALVETRA_BAD_ARGUMENT, "value is a null pointer, and may not be",
                kalvetra_settings_set(s.get(), "view", nullptr));
  expectRefusal(KALVETRA_BAD_ARGUMENT, "text is a null pointer, and may not be",
                kalvetra_settings_write_preset(s.get(), nullptr, 9));
  expectRefusal(KALVETRA_BAD_SETTING, "\"screen-gian\" is no parameter; the nearest is \"screen-gain\"",
                kalvetra_settings_get(s.get(), "screen-gian", 0, nullptr, 0));
  expectRefusal(KALVETRA_BAD_SETTING, "\"screen-gain\" cannot be \"101\\n\"; give 0..100",
                kalvetra_settings_set(s.get(), "screen-gain", "101\n"));
  expectRefusal(KALVETRA_BAD_SETTING, "key_color is no colour; give #rrggbb, r,g,b (0..255)",
                kalvetra_propose(nullptr, 0, "green", nullptr, s.get()));
  EXPECT_EQ(KALVETRA_BAD_PRESET, kalvetra_settings_read_preset(s.get(), "{\"look\": 999, \"settings\": {}}"));
  EXPECT_STREQ("#289646", valueOf(s, "key-color").c_str());
  kalvetra_backdrop backdrop{};
  EXPECT_EQ(KALVETRA_BAD_ARGUMENT, kalvetra_pick(nullptr, 1, &backdrop));
  Bytes bytes(4);
  const kalvetra_frame one = packed(bytes, 1, 1);
  expectRefusal(KALVETRA_BAD_ARGUMENT, "there are no frames to look at; give at least one",
                kalvetra_pick(&one, 0, &backdrop));
  EXPECT_EQ(nullptr, kalvetra_settings_copy(nullptr));
}

TEST(Library, RefusesFramesThatCannotBe) {
  const Settings s = keyingGreen();
  Bytes bytes(16);
  const kalvetra_frame good = packed(bytes, 2, 2);
  const auto refused = [&](const std::function<void(kalvetra_frame&)>& spoil, const std::string& sentence) {
    kalvetra_frame bad = good;
    spoil(bad);
    expectRefusal(KALVETRA_BAD_FRAME, sentence, kalvetra_render(s.get(), &bad, &good, nullptr));
  };
  constexpr std::ptrdiff_t kMost = std::numeric_limits<std::ptrdiff_t>::max();
  refused([](kalvetra_frame& f) { f.width = 0; }, "input: 0 x 2 pixels are no size; give 1 to 65535 on each side");
  refused([](kalvetra_frame& f) { f.height = 65536; },
          "input: 2 x 65536 pixels are no size; give 1 to 65535 on each side");
  refused([](kalvetra_frame& f) { f.stride = -7; },
          "input: a stride of -7 bytes is less than a row's 8; rows may not overlap");
  for (const std::ptrdiff_t stride : {kMost, -kMost - 1}) {
    refused([=](kalvetra_frame& f) { f.stride = stride; },
            "input: a stride of " + std::to_string(stride) + " bytes for 2 rows is more than memory has addresses");
  }
  refused([](kalvetra_frame& f) { f.format = 0; },
          "input: there is no format 0; give KALVETRA_ARGB8, _BGRA8 or _RGBA8");
  kalvetra_frame narrow = good, nowhere = good;
  narrow.width = 1;
  nowhere.data = nullptr;
  expectRefusal(KALVETRA_BAD_FRAME, "output: 1 x 2 pixels are not the input's 2 x 2; give frames of one size",
                kalvetra_render_plate(s.get(), &good, &narrow, nullptr));
  expectRefusal(KALVETRA_BAD_ARGUMENT, "output's data is a null pointer, and may not be",
                kalvetra_render_status(s.get(), &good, &nowhere, nullptr, nullptr));
}

TEST(Library, RefusesOptionsThatCannotBe) {
  const Settings s = keyingGreen();
  Bytes bytes(16);
  const kalvetra_frame frame = packed(bytes, 2, 2);
  const auto refused = [&](const std::function<void(kalvetra_options&)>& spoil, const std::string& part) {
    struct Later {  // a later version's
      kalvetra_options known = withThreads(1);
      long more = 0;
    } options;
    spoil(options.known);
    if (options.known.size > sizeof options.known) options.more = 1;
    EXPECT_EQ(KALVETRA_BAD_ARGUMENT, kalvetra_render(s.get(), &frame, &frame, &options.known));
    EXPECT_NE(std::string::npos, std::string(kalvetra_last_error()).find(part)) << kalvetra_last_error();
  };
  refused([](kalvetra_options& o) { o.size = 0; }, "sizeof(kalvetra_options)");
  refused([](kalvetra_options& o) { o.size += sizeof(long); }, "does not know");
  refused([](kalvetra_options& o) { o.threads = -1; }, "-1 threads");
  refused([](kalvetra_options& o) { o.frame = -1; }, "frames are counted from 0");
  refused([](kalvetra_options& o) { o.chroma = 3; }, "no chroma sampling 3");
  refused([](kalvetra_options& o) { o.cpu = "fast"; }, "scalar");
  kalvetra_options early = withThreads(1);
  early.size = sizeof early.size;  // of a caller who knows no more
  early.threads = -1;
  EXPECT_EQ(KALVETRA_OK, kalvetra_render(s.get(), &frame, &frame, &early));
}

TEST(Library, AnswersACodeWhereverMemoryRunsOut) {
  const Settings settings = keyingGreen();
  Bytes source = picture(16, 9), out(source.size());
  const kalvetra_frame input = packed(source, 16, 9), output = packed(out, 16, 9, KALVETRA_RGBA8);
  const kalvetra_options options = withThreads(1);
  const std::vector<std::function<int()>> calls{
      [&] { return kalvetra_render(settings.get(), &input, &output, &options); },
      [&] { return kalvetra_settings_set(settings.get(), "screen-gain", "30"); },
      [&] { return kalvetra_settings_write_preset(settings.get(), nullptr, 0) > 0 ? KALVETRA_OK : KALVETRA_NO_MEMORY; },
      [&] {
        const Settings copy(kalvetra_settings_copy(settings.get()));
        return copy == nullptr ? KALVETRA_NO_MEMORY : KALVETRA_OK;
      }};
  for (const auto& call : calls) {
    int answer = KALVETRA_NO_MEMORY, failures = 0;
    for (; answer == KALVETRA_NO_MEMORY; ++failures) {
      allocationsLeft = failures;
      answer = call();
      allocationsLeft = -1;
    }
    EXPECT_EQ(KALVETRA_OK, answer) << kalvetra_last_error();
    EXPECT_LT(1, failures);
    EXPECT_STREQ("memory ran out; give smaller frames or fewer of them", kalvetra_last_error());
  }
}

TEST(LibraryAnswers, CarryTheSentenceOfWhateverIsThrown) {
  using kalvetra::answered;
  EXPECT_EQ(KALVETRA_FAILED, answered([]() -> int { throw std::runtime_error(std::string(600, 'x')); }));
  EXPECT_EQ(std::string(511, 'x'), kalvetra::lastError());
  EXPECT_EQ(KALVETRA_FAILED, answered([]() -> int { throw 1; }));
  EXPECT_STREQ("something failed that has no name", kalvetra::lastError());
}

}  // namespace
