// The strip's figures are those of the keyed clip, and it starts over as often as it is told to.
#include "preview/clip/matte_strip.h"

#include <chrono>
#include <fstream>
#include <optional>
#include <random>
#include <thread>

#include "parameters/preset.h"
#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;

AnimatedSettings settingsFor(const Json& values) { return settingsIn(Json{{"settings", values}}); }

KeyJob jobOf(const std::string& clip) {
  KeyJob job;
  job.input = clip;
  job.threads = 2;
  return job;
}

ClipRange range(std::int64_t start, std::int64_t end) {
  ClipRange range;
  range.start = Position{true, 0.0, start};
  range.end = Position{true, 0.0, end};
  return range;
}

StripState ended(const MatteStrip& strip) {
  return waitFor([&] { return strip.state(); },
                 [](const StripState& state) { return state.status != StripStatus::Running; });
}

std::vector<PictureQuality> measured(const std::string& keyed) {
  std::optional<MatteQuality> quality;
  for (const Image& image : readAll(keyed)) {
    if (!quality) quality.emplace(image.width, image.height);
    MattePlane matte;
    for (std::size_t i = 0; i < image.bytes.size(); i += 4) matte.push_back(image.bytes[i]);
    quality->add(std::move(matte));
  }
  return quality->pictures();
}

void expectSame(const std::vector<PictureQuality>& expected, const std::vector<PictureQuality>& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(expected[i].clear, actual[i].clear) << i;
    EXPECT_EQ(expected[i].partial, actual[i].partial) << i;
    EXPECT_EQ(expected[i].solid, actual[i].solid) << i;
    EXPECT_EQ(expected[i].flicker, actual[i].flicker) << i;
  }
}

TEST(Strip, TakesTheMattesOfItsFrames) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14"), keyed = folder.path("keyed.mkv");
  PreviewOptions options = optionsFor(clip);
  options.mattes.garbage = drawMatte(folder.path("g.mkv"), 14);
  need(key("'" + clip + "' " + keyed + " --plain --key-color '#2da54b' --start 5f --end 12f --garbage " +
           options.mattes.garbage));
  RoutedPreview preview(options);
  preview.post("api/strip", {{"settings", {{"key-color", kKeyColor}}}, {"start", 5}, {"end", 12}});
  const Json strip =
      waitFor([&] { return preview.get("api/strip"); }, [](const Json& s) { return s["state"] == "done"; });
  const std::vector<PictureQuality> expected = measured(keyed);
  ASSERT_EQ(expected.size(), strip["frames"].size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(expected[i].clear, strip["frames"][i][1]) << i;
}

TEST(Strip, HasTheFiguresOfTheKeyedClipAndOfItsReport) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14"), keyed = folder.path("keyed.mkv");
  need(key("'" + clip + "' " + keyed + " --key-color '#2da54b' --clip-black 7 --edge-blur on"));
  RoutedPreview preview(optionsFor(clip));
  preview.post("api/strip",
               {{"settings", {{"key-color", kKeyColor}, {"plate", "fit"}, {"clip-black", 7}, {"edge-blur", true}}}});
  const Json strip =
      waitFor([&] { return preview.get("api/strip"); }, [](const Json& s) { return s["state"] == "done"; });
  ASSERT_EQ(14, strip["done"]);
  EXPECT_EQ(14, strip["of"]);
  const std::vector<PictureQuality> expected = measured(keyed);
  double clear = 0.0, partial = 0.0, worst = 0.0;
  int worstFrame = -1;
  for (std::size_t i = 0; i < 14; ++i) {
    const Json& row = strip["frames"][i];
    EXPECT_EQ(i, row[0]);
    EXPECT_EQ(expected[i].clear, row[1]);
    EXPECT_EQ(expected[i].partial, row[2]);
    EXPECT_EQ(expected[i].solid, row[3]);
    EXPECT_EQ(expected[i].flicker.has_value(), !row[4].is_null()) << i;
    clear += row[1].get<double>();
    partial += row[2].get<double>();
    if (!row[4].is_null() && row[4] > worst) {
      worst = row[4];
      worstFrame = row[0].get<int>() + 1;
    }
  }
  EXPECT_GT(partial, 0.1);
  EXPECT_GT(worst, 0.5);
  const Json report = Json::parse(need(kKalvetra + " report --json " + keyed));
  EXPECT_NEAR(report["clear_pixels_percent"].get<double>(), 100 * clear / 14, 1e-9);
  EXPECT_NEAR(report["partial_pixels_percent"].get<double>(), 100 * partial / 14, 1e-9);
  EXPECT_NEAR(report["flicker_levels"]["worst"].get<double>(), worst, 1e-9);
  EXPECT_EQ(report["flicker_levels"]["worst_frame"], worstFrame);
  // What is known already is left out on request.
  const Json rest = preview.get("api/strip", {{"from", "12"}});
  EXPECT_EQ(14, rest["done"]);
  ASSERT_EQ(2u, rest["frames"].size());
  EXPECT_EQ(strip["frames"][12], rest["frames"][0]);
  EXPECT_EQ(0u, preview.get("api/strip", {{"from", "99"}})["frames"].size());
}

// With the clip's colours as they are stored, dark and half transparent, the figures would be others.
TEST(Strip, HasTheFiguresOfAPremultipliedClip) {
  const ScratchFolder folder;
  const std::string clip = folder.path("clip.mov"), keyed = folder.path("keyed.mkv");
  need(kFfmpeg + "-i " + drawClip(folder.path("plain.mkv"), "3") +
       " -vf format=rgba,colorchannelmixer=aa=0.6,premultiply=inplace=1 -pix_fmt argb -c:v qtrle" +
       " -movflags use_metadata_tags -metadata kalvetra_alpha=premultiplied " + clip);
  need(key(clip + " " + keyed + " --plain --key-color '#2da54b'"));
  Precedence precedence;
  MatteStrip strip(jobOf(clip), precedence);
  strip.start(settingsFor({{"key-color", kKeyColor}}), {});
  const std::vector<PictureQuality> expected = measured(keyed);
  EXPECT_GT(expected.at(0).clear, 0.1);
  expectSame(expected, ended(strip).frames);
}

TEST(Strip, KeysARangeWithTheSettingsOfEachFrame) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14"), keyed = folder.path("keyed.mkv");
  const AnimatedSettings settings = settingsFor({{"key-color", kKeyColor}, {"screen-gain", {{0, 5}, {13, 80}}}});
  std::ofstream(folder.path("p.json")) << presetText(settings);
  need(key("'" + clip + "' " + keyed + " --start 3f --end 11f --preset " + folder.path("p.json")));
  Precedence precedence;
  MatteStrip strip(jobOf(clip), precedence);
  strip.start(settings, range(3, 11));
  const StripState state = ended(strip);
  EXPECT_EQ(StripStatus::Done, state.status);
  EXPECT_EQ(3, state.first);
  EXPECT_EQ(8, state.of);
  expectSame(measured(keyed), state.frames);
}

TEST(Strip, BeginsAtTheInPointOfALongClip) {
  const ScratchFolder folder;
  const std::string clip = folder.path("clip.mp4"), keyed = folder.path("keyed.mkv");
  need(kFfmpeg + "-i " + drawClip(folder.path("clip.mkv"), "90") +
       " -c:v libx264 -crf 20 -g 12 -bf 3 -pix_fmt yuv420p -color_range tv -colorspace bt709 " + clip);
  need(key(clip + " " + keyed + " --start 70f --end 82f --plain --key-color '#2da54b'"));
  const RoutedPreview preview(optionsFor(clip));
  EXPECT_EQ(90, preview.get("api/clip")["frames"]);  // the index is there
  EXPECT_EQ(preview.context().clip.index(), preview.context().thumbnails.index()) << "the clip is indexed once";
  preview.post("api/strip", {{"settings", {{"key-color", kKeyColor}}}, {"start", 70}, {"end", 82}});
  const Json strip =
      waitFor([&] { return preview.get("api/strip"); }, [](const Json& state) { return state["state"] != "running"; });
  const std::vector<PictureQuality> expected = measured(keyed);
  ASSERT_EQ(12u, expected.size());
  ASSERT_EQ(12u, strip["frames"].size()) << strip;
  for (std::size_t i = 0; i < 12; ++i) {
    EXPECT_EQ(70 + i, strip["frames"][i][0]);
    EXPECT_EQ(expected[i].partial, strip["frames"][i][2]) << i;
    EXPECT_EQ(expected[i].flicker.value_or(-1.0),
              strip["frames"][i][4].is_null() ? -1.0 : strip["frames"][i][4].get<double>());
  }
}

TEST(Strip, AWrongIndexIsNoticedAndTheStripStillRight) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  const auto wrong = std::make_shared<PictureIndex>();
  for (int i = 0; i < 14; ++i) {
    if (i == 2 || i == 12) continue;  // so that numbers are one too low from the third on, which shows at the end only
    wrong->keys.push_back(static_cast<std::int64_t>(wrong->times.size()));
    wrong->times.push_back(40 * i);  // ms
  }
  wrong->pictures = 12;
  wrong->reliable = true;
  Precedence precedence;
  MatteStrip misled(jobOf(clip), precedence, [&] { return wrong; }), plain(jobOf(clip), precedence);
  for (MatteStrip* strip : {&misled, &plain}) strip->start(settingsFor({{"key-color", kKeyColor}}), range(3, 14));
  expectSame(ended(plain).frames, ended(misled).frames);
  EXPECT_EQ(11u, misled.state().frames.size());
}

TEST(Strip, ReportsAFrameOnlyOnceItsFlickerIsKnown) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "40", "320x180");
  Precedence precedence;
  MatteStrip strip(jobOf(clip), precedence);
  strip.start(settingsFor({{"key-color", kKeyColor}}), {});
  std::vector<PictureQuality> seen;  // as a page gathers them
  for (bool done = false; !done; std::this_thread::yield()) {
    const StripState state = strip.state(static_cast<std::int64_t>(seen.size()));
    seen.insert(seen.end(), state.frames.begin(), state.frames.end());
    done = state.status != StripStatus::Running;
  }
  expectSame(strip.state().frames, seen);
  ASSERT_EQ(40u, seen.size());
  for (std::size_t i = 1; i + 2 < seen.size(); ++i) EXPECT_TRUE(seen[i].flicker) << i;
}

TEST(Strip, TheNewestSettingsWinHoweverQuicklyTheyCome) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  Precedence precedence;
  MatteStrip strip(jobOf(clip), precedence);
  std::mt19937 random(5);
  std::int64_t last = 0;
  for (int i = 0; i < 400; ++i) {
    const int gain = static_cast<int>(random() % 100);
    const std::int64_t job = strip.start(settingsFor({{"key-color", kKeyColor}, {"screen-gain", gain}}), {});
    ASSERT_EQ(last + 1, job);
    last = job;
    EXPECT_EQ(job, strip.state().job);
    if (i % 7 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    if (i % 11 == 0) strip.stop();
  }
  strip.start(settingsFor({{"key-color", kKeyColor}, {"clip-black", 40}}), {});
  const StripState state = ended(strip);
  MatteStrip alone(jobOf(clip), precedence);
  alone.start(settingsFor({{"key-color", kKeyColor}, {"clip-black", 40}}), {});
  expectSame(ended(alone).frames, state.frames);
  EXPECT_EQ(14u, state.frames.size());
}

TEST(Strip, PausesWhileTheUserWaitsForAPicture) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  Precedence precedence;
  MatteStrip strip(jobOf(clip), precedence);
  {
    const Precedence::Urgent urgent(precedence);
    strip.start(settingsFor({{"key-color", kKeyColor}}), {});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(0u, strip.state().frames.size());
    EXPECT_EQ(StripStatus::Running, strip.state().status);
  }
  EXPECT_EQ(14u, ended(strip).frames.size());
}

TEST(Strip, StopsAndEndsAtOnceEvenWhilePaused) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  Precedence precedence;
  const Precedence::Urgent urgent(precedence);
  const auto begun = std::chrono::steady_clock::now();
  {
    MatteStrip strip(jobOf(clip), precedence);
    strip.stop();
    EXPECT_EQ(StripStatus::Idle, strip.state().status);
    strip.start(settingsFor({{"key-color", kKeyColor}}), {});
    strip.stop();
    EXPECT_EQ(StripStatus::Stopped, strip.state().status);
    strip.start(settingsFor({{"key-color", kKeyColor}}), {});
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
}

TEST(Strip, AClipThatCannotBeReadIsReportedInASentence) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "3");
  RoutedPreview preview(optionsFor(clip));
  std::filesystem::remove(clip);
  preview.post("api/strip", {{"settings", {{"key-color", kKeyColor}}}});
  const Json strip =
      waitFor([&] { return preview.get("api/strip"); }, [](const Json& s) { return s["state"] != "running"; });
  EXPECT_EQ("failed", strip["state"]);
  expectHas(strip["error"], clip);
  for (const auto& [body, part] :
       std::vector<std::pair<Json, std::string>>{{{{"start", 5}, {"end", 5}}, "the range is empty"},
                                                 {{{"start", -1}}, "\"start\" is no whole number"},
                                                 {{{"settings", {{"shadow", 101}}}}, "\"shadow\" cannot be 101"}}) {
    expectHas(preview.refusal(400, "api/strip", body), part);
  }
}

}  // namespace
