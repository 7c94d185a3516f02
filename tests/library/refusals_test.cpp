// What the shared library refuses, and what it answers where memory runs out.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <new>

#include "library/answer.h"
#include "tests/library/library_calls.h"

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

using namespace kalvetra::test;

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
  expectRefusal(KALVETRA_BAD_SETTING, "\"screen-gain\" cannot be \"101?\"; give 0..100",
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
  for (const int height : {1, 2}) {
    for (const std::ptrdiff_t stride : {kMost, -kMost - 1}) {
      refused(
          [=](kalvetra_frame& f) {
            f.height = height;
            f.stride = stride;
          },
          "input: a stride of " + std::to_string(stride) + " bytes for " + std::to_string(height) +
              " rows is more than memory has addresses");
    }
  }
  refused([](kalvetra_frame& f) { f.format = 0; },
          "input: there is no format 0; give KALVETRA_ARGB8, _BGRA8, _RGBA8 or _RGBAF32");
  kalvetra_frame narrow = good, nowhere = good;
  narrow.width = 1;
  nowhere.data = nullptr;
  expectRefusal(KALVETRA_BAD_FRAME, "output: 1 x 2 pixels are not the input's 2 x 2; give frames of one size",
                kalvetra_render_plate(s.get(), &good, &narrow, nullptr));
  expectRefusal(KALVETRA_BAD_ARGUMENT, "output's data is a null pointer, and may not be",
                kalvetra_render_status(s.get(), &good, &nowhere, nullptr, nullptr));
}

TEST(Library, RefusesPlatesThatCannotBe) {
  const Settings s = keyingGreen();
  Bytes screen = kalvetra::test::greenScreen(160, 90, 3), grey(screen.size(), 128), small(16);
  const kalvetra_frame frames[]{packed(screen, 160, 90), packed(small, 2, 2)}, bare = packed(grey, 160, 90);
  const std::int64_t numbers[]{7, 7};
  kalvetra_plate* plate = nullptr;
  expectRefusal(KALVETRA_BAD_FRAME, "frames[1]: 2 x 2 pixels are not the first's 160 x 90; give frames of one size",
                kalvetra_plate_fit(s.get(), frames, nullptr, 2, nullptr, &plate));
  expectRefusal(KALVETRA_BAD_ARGUMENT, "there are no frames; give at least one",
                kalvetra_plate_shot(s.get(), frames, nullptr, 0, nullptr, &plate));
  const kalvetra_frame twice[]{frames[0], frames[0]};
  expectRefusal(KALVETRA_BAD_ARGUMENT, "numbers: 7 is there twice",
                kalvetra_plate_fit(s.get(), twice, numbers, 2, nullptr, &plate));
  EXPECT_EQ(KALVETRA_BAD_PLATE, kalvetra_plate_clean(s.get(), &bare, 1, frames, 1, nullptr, &plate));
  EXPECT_EQ(0u, std::string(kalvetra_last_error()).find("the clean plate "));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(s.get(), "plate", "clean"));
  expectRefusal(KALVETRA_BAD_ARGUMENT,
                "options: the settings key against a shot's or a clean plate, and plate is NULL; make one with "
                "kalvetra_plate_shot or kalvetra_plate_clean",
                kalvetra_render(s.get(), frames, frames, nullptr));
  EXPECT_EQ(nullptr, kalvetra_plate_facts_of(nullptr));
  kalvetra_plate_free(nullptr);
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
  std::vector<float> floats(source.size(), 0.25f);
  const kalvetra_frame input = packed(source, 16, 9), output = packed(out, 16, 9, KALVETRA_RGBA8),
                       deep{floats.data(), 16 * 16, 16, 9, KALVETRA_RGBAF32, 0};
  const kalvetra_options options = withThreads(1);
  const std::vector<std::function<int()>> calls{
      [&] { return kalvetra_render(settings.get(), &input, &output, &options); },
      [&] { return kalvetra_render(settings.get(), &deep, &output, &options); },
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
