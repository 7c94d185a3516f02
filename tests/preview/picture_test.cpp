// The pixels that the page gets are those that the command writes.
#include <random>

#include "media/frame_packer.h"
#include "preview/chroma_wheel.h"
#include "tests/preview/served_clip.h"
#include "tests/support/command.h"

namespace kalvetra {
namespace {

using test::Json;

constexpr const char* kViews[] = {"source", "matte", "result", "plate", "status", "composite"};
const Json kSettings{
    {"key-color", "#2da54b"}, {"clip-black", 3}, {"edge-blur", true}, {"screen-gain", {{0, 33}, {20, 60}}}};

// Every frame of a view as the command writes it: raw pictures, BGRA one behind the other.
std::string rawPictures(const test::ScratchFolder& folder, const std::string& clip, const std::string& view) {
  const std::string preset = folder.path("p.json"), raw = folder.path(view + ".raw");
  std::ofstream(preset) << Json{{"look", 1}, {"settings", kSettings}};
  if (view == "composite") {
    test::need(
        test::key(clip + " -f null --preset " + preset + " --over '#203040' --also comp=" + raw + " 2>/dev/null"));
  } else {
    test::need(test::key(clip + " " + raw + " -f raw --preset " + preset + " --view " + view + " 2>/dev/null"));
  }
  return test::need("cat " + raw);
}

std::string toRgba(std::string bgra) {
  for (std::size_t i = 0; i + 3 < bgra.size(); i += 4) std::swap(bgra[i], bgra[i + 2]);
  return bgra;
}

Json pictureRequest(int frame, const std::string& view, int scale = 1) {
  return {{"frame", frame}, {"view", view}, {"settings", kSettings}, {"scale", scale}, {"over", "#203040"}};
}

void expectSameAsCommand(const std::string& name, const std::string& options) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, name, 30, options);
  const test::ServedClip preview({.input = clip});
  for (const char* view : kViews) {
    const std::string all = toRgba(rawPictures(folder, clip, view));
    constexpr std::size_t kPicture = std::size_t{160} * 90 * 4;
    ASSERT_EQ(30 * kPicture, all.size()) << view;
    for (const int frame : {17, 3, 29, 0, 18}) {
      const auto answer = preview.post("api/picture", pictureRequest(frame, view));
      ASSERT_EQ(200, answer.status) << answer.body;
      EXPECT_EQ("160", answer.get_header_value("X-Width"));
      EXPECT_EQ("90", answer.get_header_value("X-Height"));
      EXPECT_TRUE(answer.body == all.substr(static_cast<std::size_t>(frame) * kPicture, kPicture))
          << view << " of frame " << frame;
    }
  }
}

constexpr const char* kInterlaced =
    "-vf tinterlace=interleave_top,setfield=tff -pix_fmt yuv422p10le -c:v prores_ks -flags +ildct+ilme "
    "-field_order tt";

TEST(PreviewPicture, IsWhatTheCommandWrites) {
  expectSameAsCommand("clip.mp4", "-pix_fmt yuv420p -c:v libx264 -preset veryfast -g 12 -bf 3");
}

TEST(PreviewPicture, IsWhatTheCommandWritesOfInterlacedClips) { expectSameAsCommand("clip.mov", kInterlaced); }

TEST(PreviewWheel, ShowsThePlateThatTheCommandKeysWith) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mov", 6, kInterlaced);
  const std::string all = rawPictures(folder, clip, "plate");
  const Json shown = test::ServedClip({.input = clip}).json("api/wheel", {{"frame", 4}, {"settings", kSettings}});
  Image plate(160, 90);
  for (std::size_t i = 0; i < plate.argb.size(); ++i) {  // from BGRA
    plate.argb[i] = static_cast<unsigned char>(all.at(4 * plate.argb.size() + (i & ~std::size_t{3}) + 3 - (i & 3)));
  }
  const std::vector<Chroma> expected = sparseChroma(plate);
  ASSERT_EQ(expected.size(), shown["plate"].size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(static_cast<double>(expected[i].I), shown["plate"][i][0].get<double>(), 1e-3) << i;
    EXPECT_NEAR(static_cast<double>(expected[i].Q), shown["plate"][i][1].get<double>(), 1e-3) << i;
  }
}

TEST(PreviewPicture, ReducedPicturesAreMeans) {
  const test::ScratchFolder folder;
  const test::ServedClip preview({.input = test::makeGreenClip(folder, "clip.mp4")});
  const std::string full = preview.post("api/picture", pictureRequest(5, "source")).body;
  for (const int scale : {2, 4}) {
    const auto answer = preview.post("api/picture", pictureRequest(5, "source", scale));
    const auto width = static_cast<std::size_t>(160 / scale),
               height = static_cast<std::size_t>((90 + scale - 1) / scale);
    EXPECT_EQ(std::to_string(width), answer.get_header_value("X-Width"));
    EXPECT_EQ(std::to_string(height), answer.get_header_value("X-Height"));
    ASSERT_EQ(width * height * 4, answer.body.size());
    int sum = 0;
    for (int y = 0; y < scale; ++y) {
      for (int x = 0; x < scale; ++x)
        sum += static_cast<unsigned char>(full[static_cast<std::size_t>((y * 160 + x) * 4 + 1)]);
    }
    EXPECT_EQ((sum + scale * scale / 2) / (scale * scale), static_cast<unsigned char>(answer.body[1]));
  }
  // A small key is about the large one: a blur of 20 pixels becomes one of 10.
  Json request = pictureRequest(5, "matte");
  request["settings"]["blur-radius"] = 20;
  const std::string matte = preview.post("api/picture", request).body;
  request["scale"] = 2;
  const std::string small = preview.post("api/picture", request).body;
  double difference = 0;
  for (std::size_t y = 0; y < 45; ++y) {
    for (std::size_t x = 0; x < 80; ++x) {
      difference += std::abs(static_cast<unsigned char>(small[(y * 80 + x) * 4]) -
                             static_cast<unsigned char>(matte[(2 * y * 160 + 2 * x) * 4]));
    }
  }
  EXPECT_LT(difference / (80 * 45), 6.0);
}

TEST(PreviewPicture, StatusCountsItsPixels) {
  const test::ScratchFolder folder;
  const test::ServedClip preview({.input = test::makeGreenClip(folder, "clip.mp4")});
  const Json status =
      Json::parse(preview.post("api/picture", pictureRequest(0, "status")).get_header_value("X-Status"));
  int sum = 0;
  for (const auto& [name, count] : status.items()) sum += count.get<int>();
  EXPECT_EQ(160 * 90, sum);
  EXPECT_GT(status["opaque"].get<int>(), 1000);
}

// Backgrounds are those of the command, whatever frame comes first.
TEST(PreviewPicture, LiesOverFiles) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4");
  const std::string sky = folder.path("sky.mkv"), raw = folder.path("c.raw");
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=200x100:r=25 -frames:v 9 -c:v ffv1 " + sky);
  test::need("cp " + sky + " " + folder.path("other.mkv"));
  std::filesystem::create_directory(folder.path("named"));
  test::need("mv " + folder.path("other.mkv") + " " + folder.path("named"));
  test::need(test::key(clip + " -f null --key-color '#2da54b' --over " + sky + " --also comp=" + raw + " 2>/dev/null"));
  const std::string all = toRgba(test::need("cat " + raw));
  const test::ServedClip preview({.input = clip, .folders = {folder.path("named")}, .background = sky});
  Json request{{"view", "composite"}, {"settings", {{"key-color", "#2da54b"}}}};
  for (const char* name : {"sky.mkv", "other.mkv"}) {
    request["over"] = {{"file", name}};
    for (const int frame : {20, 4, 8, 0}) {
      request["frame"] = frame;
      const auto answer = preview.post("api/picture", request);
      ASSERT_EQ(200, answer.status) << answer.body;
      EXPECT_TRUE(answer.body == all.substr(static_cast<std::size_t>(frame) * 160 * 90 * 4, 160 * 90 * 4)) << frame;
    }
  }
  std::filesystem::create_symlink(clip, folder.path("named/link.mp4"));
  for (const char* name : {"", ".", "..", "none.png", "../sky.mkv", "/etc/passwd", "named/../../sky.mkv", "link.mp4"}) {
    request["over"] = {{"file", name}};
    EXPECT_EQ(400, preview.post("api/picture", request).status) << name;
  }
}

}  // namespace
}  // namespace kalvetra
