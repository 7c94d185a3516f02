// The pixels that the page gets are those that the command writes.
#include <random>

#include "parameters/parameter_table.h"
#include "preview/clip/chroma_wheel.h"
#include "preview/clip/reduced_picture.h"
#include "tests/preview/drawn_matte.h"
#include "tests/preview/served_clip.h"
#include "tests/support/command.h"

namespace kalvetra {
namespace {

using test::Json;

constexpr const char* kViews[] = {"source", "matte", "result", "plate", "status", "comp"};
const Json kSettings{{"key-color", "#2da54b"},
                     {"plate", "fit"},
                     {"clip-black", 3},
                     {"edge-blur", true},
                     {"screen-gain", {{0, 33}, {20, 60}}}};

Json withMaterials() {
  Json settings = kSettings;
  settings.update({{"refine", "on"}, {"despill", "material"}});
  return settings;
}

// Every frame of a view as the command writes it: raw pictures, BGRA one behind the other, those of a deep key rounded.
std::string rawPictures(const test::ScratchFolder& folder, const std::string& clip, const std::string& view,
                        const std::string& more, const Json& settings = kSettings) {
  const std::string preset = folder.path("p.json"), raw = folder.path(view + ".raw");
  std::ofstream(preset) << Json{{"look", 1}, {"settings", settings}};
  if (view == "comp") {
    test::need(test::key(clip + " -f null -y --no-dither --preset " + preset + more +
                         " --over '#203040' --also comp=" + raw + " 2>/dev/null"));
  } else {
    test::need(test::key(clip + " " + raw + " -f raw -y --no-dither --preset " + preset + more + " --view " + view +
                         " 2>/dev/null"));
  }
  return test::need("cat " + raw);
}

std::string toRgba(std::string bgra) {
  for (std::size_t i = 0; i + 3 < bgra.size(); i += 4) std::swap(bgra[i], bgra[i + 2]);
  return bgra;
}

Json pictureRequest(int frame, const std::string& view, int scale = 1, const Json& settings = kSettings) {
  return {{"frame", frame}, {"view", view}, {"settings", settings}, {"scale", scale}, {"over", "#203040"}};
}

// `width` x `height` is the size upright.
void expectSameAsCommand(const test::ScratchFolder& folder, const std::string& clip, int width = 160, int height = 90,
                         const CompanionPaths& mattes = {}, const Json& settings = kSettings) {
  const test::ServedClip preview({.input = clip, .mattes = mattes});
  std::string more;
  if (!mattes.garbage.empty()) more += " --garbage " + mattes.garbage;
  if (!mattes.holdout.empty()) more += " --holdout " + mattes.holdout;
  for (const char* view : kViews) {
    const std::string all = toRgba(rawPictures(folder, clip, view, more, settings));
    const std::size_t picture = std::size_t{4} * static_cast<std::size_t>(width * height);
    ASSERT_EQ(30 * picture, all.size()) << view;
    for (const int frame : {17, 3, 29, 0, 18}) {
      const auto answer = preview.post("api/picture", pictureRequest(frame, view, 1, settings));
      ASSERT_EQ(200, answer.status) << answer.body;
      EXPECT_EQ(std::to_string(width), answer.get_header_value("X-Width"));
      EXPECT_EQ(std::to_string(height), answer.get_header_value("X-Height"));
      EXPECT_TRUE(answer.body == all.substr(static_cast<std::size_t>(frame) * picture, picture))
          << view << " of frame " << frame;
    }
  }
}

void expectSameAsCommand(const std::string& name, const std::string& options, const Json& settings = kSettings) {
  const test::ScratchFolder folder;
  expectSameAsCommand(folder, test::makeGreenClip(folder, name, 30, options), 160, 90, {}, settings);
}

// Of 10 bits, and so keyed at full depth.
constexpr const char* kInterlaced =
    "-vf tinterlace=interleave_top,setfield=tff -pix_fmt yuv422p10le -c:v prores_ks -flags +ildct+ilme "
    "-field_order tt";

TEST(PreviewPicture, IsWhatTheCommandWrites) {
  const std::string inEightBits = "-pix_fmt yuv420p -c:v libx264 -preset veryfast -g 12 -bf 3";
  expectSameAsCommand("clip.mp4", inEightBits);
  expectSameAsCommand("clip.mp4", inEightBits, withMaterials());  // at full depth then
}

TEST(PreviewPicture, IsWhatTheCommandWritesOfInterlacedClips) { expectSameAsCommand("clip.mov", kInterlaced); }

TEST(PreviewWheel, ShowsThePlateThatTheCommandKeysWith) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mov", 6, kInterlaced);
  const std::string all = rawPictures(folder, clip, "plate", "");
  const Json shown = test::ServedClip({.input = clip}).json("api/wheel", {{"frame", 4}, {"settings", kSettings}});
  Image plate(160, 90);
  for (std::size_t i = 0; i < plate.bytes.size(); ++i) {  // from BGRA
    plate.bytes[i] = static_cast<unsigned char>(all.at(4 * plate.bytes.size() + (i & ~std::size_t{3}) + 3 - (i & 3)));
  }
  const std::vector<Chroma> expected = sparseChroma(plate);
  ASSERT_EQ(expected.size(), shown["plate"].size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(static_cast<double>(expected[i].I), shown["plate"][i][0].get<double>(), 1e-3) << i;
    EXPECT_NEAR(static_cast<double>(expected[i].Q), shown["plate"][i][1].get<double>(), 1e-3) << i;
  }
}

// What is chosen reaches all that is keyed; a clip of 10 bits is keyed at full depth where nothing is.
TEST(PreviewPicture, IsOfTheChosenDepth) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(
      folder, "clip.mkv", 6, "-vf format=gbrp10le,setparams=color_trc=smpte2084 -pix_fmt gbrp10le -c:v ffv1");
  const test::ServedClip preview({.input = clip});
  const auto pictures = [&](const Json& depth) {
    std::string all;
    for (const char* view : kViews) {
      Json request = pictureRequest(4, view);
      request.update(depth);
      all += preview.post("api/picture", request).body;
    }
    return all;
  };
  const std::string deep = pictures({{"depth", "deep"}}), eight = pictures({{"depth", "8"}});
  EXPECT_TRUE(pictures(Json::object()) == deep);
  EXPECT_FALSE(deep == eight);
  EXPECT_EQ(deep.size(), eight.size());
  double difference = 0.0;
  for (std::size_t i = 0; i < deep.size(); ++i) {
    difference += std::abs(static_cast<unsigned char>(deep[i]) - static_cast<unsigned char>(eight[i]));
  }
  EXPECT_LT(difference / static_cast<double>(deep.size()), 1.0);
  EXPECT_EQ(10, preview.json("api/clip")["bits"]);
  test::expectHas(preview.json("api/clip")["notes"].dump(), "In this clip the colours are HDR (PQ)");
  EXPECT_EQ(400, preview.post("api/picture", Json{{"frame", 0}, {"view", "source"}, {"depth", "12"}}).status);
  Json refused = pictureRequest(4, "result", 1, withMaterials());
  refused["depth"] = "8";
  test::expectHas(preview.post("api/picture", refused).body, "refine on and despill material cannot be done in 8 bits");
}

// Code values of 10 bits are levels with decimals; in 8 bits, and in clips of 8, they are whole.
TEST(PreviewPicture, LevelsOfDeepPicturesHaveADecimal) {
  const test::ScratchFolder folder;
  const std::string clip = folder.path("flat.mkv");
  test::need(
      "ffmpeg -nostdin -v error -y -f lavfi -i \"color=s=64x36,format=gbrp10le,geq=r='if(lt(X,32),301,302)'"
      ":g=650:b=1023\" -frames:v 1 -c:v ffv1 " +
      clip);
  const test::ServedClip preview({.input = clip});
  const Json area{{"frame", 0}, {"x", 28}, {"y", 9}, {"width", 8}, {"height", 2}};
  Json request{{"frame", 0}, {"x", 30}, {"y", 9}, {"settings", kSettings}, {"sample", area}};
  const Json deep = preview.json("api/pixel", request);
  EXPECT_EQ((Json{75.0, 162.0, 255.0, 255.0}), deep["source"]);   // 301 / 1023 * 255 = 75.03, 650: 162.02
  EXPECT_EQ((Json{75.2, 162.0, 255.0}), deep["sample"]["mean"]);  // 301.5: 75.15
  EXPECT_EQ(deep["sample"], preview.json("api/sample", {{"samples", {area}}}));
  EXPECT_EQ(1, deep["decimals"]);
  EXPECT_TRUE(deep["alpha"].is_number_float());
  request["depth"] = "8";
  const Json eight = preview.json("api/pixel", request);
  EXPECT_EQ(0, eight["decimals"]);
  for (const Json& level : eight["source"]) EXPECT_TRUE(level.is_number_integer()) << level;
}

// A copy that asks to be turned clockwise by so many degrees; ffmpeg counts the other way round.
std::string rotated(const test::ScratchFolder& folder, const std::string& clip, int degrees) {
  const std::string file = folder.path("turned" + std::to_string(degrees) + ".mp4");
  test::need("ffmpeg -nostdin -v error -y -i " + clip +
             " -c copy -metadata:s:v rotate=" + std::to_string(360 - degrees) + " " + file);
  return file;
}

// The command turns such clips in the pixels of its raw pictures.
TEST(PreviewPicture, IsWhatTheCommandWritesOfClipsThatAreTurned) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4");
  expectSameAsCommand(folder, rotated(folder, clip, 90), 90, 160);
  expectSameAsCommand(folder, rotated(folder, clip, 180));
  expectSameAsCommand(folder, rotated(folder, clip, 270), 90, 160);
}

TEST(PreviewPicture, IsWhatTheCommandWritesWithMattes) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4");
  const std::string garbage = test::drawMatte(folder.path("g.mkv"), 12);  // its last picture stays
  const std::string holdout = test::drawMatte(folder.path("h.png"), 1);
  expectSameAsCommand(folder, clip, 160, 90, {garbage, holdout, {}});
  expectSameAsCommand(folder, rotated(folder, clip, 180), 160, 90, {garbage, {}, {}});
}

// Grey, with corners clockwise from the upper left in red, blue, black and white as they are stored.
std::string drawCorners(const test::ScratchFolder& folder) {
  const std::string file = folder.path("corners.mp4"), box = "drawbox=w=20:h=20:t=fill:";
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i color=gray:s=160x90 -frames:v 1 -vf \"" + box + "color=red," +
             box + "x=140:color=blue," + box + "x=140:y=70:color=black," + box +
             "y=70:color=white\" -pix_fmt yuv420p -c:v libx264 " + file);
  return file;
}

// One corner of the upright picture, which is of that colour: its pixel as reported to the page, and an area that is
// not square as `kalvetra pick` averages it.
void expectCorner(const test::ServedClip& preview, int x, int y, const std::array<int, 3>& color) {
  Json area{{"frame", 0}, {"x", x}, {"y", y}};
  const Json pixel = preview.json("api/pixel", area)["source"];
  for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(color[c], pixel[c].get<int>(), 12) << x << ", " << y;
  area.update({{"width", 7}, {"height", 13}});
  const Json mean = preview.json("api/sample", {{"samples", {area}}});
  const std::string at = std::to_string(x) + "," + std::to_string(y) + ",7,13";
  const Json picked = Json::parse(
      test::need(test::kKalvetra + " pick --json --frames 1 " + preview.context.options.input + " --at " + at));
  EXPECT_EQ(picked["rgb"], mean["mean"]) << at;
  EXPECT_EQ(picked["pixels"], mean["pixels"]) << at;
}

// What a click on the upright picture means, in each of the four turns.
TEST(PreviewPicture, PixelsAndAreasAreThoseOfTheUprightPicture) {
  const test::ScratchFolder folder;
  const std::string corners = drawCorners(folder);
  std::array<std::array<int, 3>, 4> colors{{{255, 0, 0}, {0, 0, 255}, {0, 0, 0}, {255, 255, 255}}};
  for (const int degrees : {0, 90, 180, 270}) {
    const test::ServedClip preview({.input = rotated(folder, corners, degrees)});
    const Json clip = preview.json("api/clip");
    const int width = clip["width"], height = clip["height"];
    EXPECT_EQ(degrees % 180 == 0 ? 160 : 90, width);
    EXPECT_EQ(250 - width, height);
    expectCorner(preview, 2, 1, colors[0]);
    expectCorner(preview, width - 8, 2, colors[1]);
    expectCorner(preview, width - 7, height - 13, colors[2]);
    expectCorner(preview, 0, height - 14, colors[3]);
    const Json small{{"frame", 0}, {"view", "source"}, {"scale", 2}};
    const auto thumbnail = preview.get("api/thumbnail?frame=0&height=" + std::to_string(height / 2));
    EXPECT_TRUE(preview.post("api/picture", small).body == thumbnail.body) << degrees;
    std::rotate(colors.begin(), colors.begin() + 3, colors.end());  // a quarter clockwise
  }
}

// Of an interlaced clip, whose chroma rows belong to one field each.
TEST(PreviewPicture, IsSampledAsTheCommandDoes) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(
      folder, "clip.mov", 2,
      "-vf crop=160:88:0:0,tinterlace=interleave_top,format=yuv420p -c:v libx264 -flags +ildct+ilme");
  const Json picked = Json::parse(test::need(test::kKalvetra + " pick " + clip + " --at 60,19,1,2 --json"));
  const Json area{{"frame", 0}, {"x", 60}, {"y", 19}, {"width", 1}, {"height", 2}};
  const Json sampled = test::ServedClip({.input = clip}).json("api/sample", {{"samples", {area}}});
  EXPECT_EQ(picked["rgb"], sampled["mean"]);
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

TEST(PreviewPicture, LengthsAreRoundedToTheReducedPicturesPixels) {
  const auto reduced = [](int length, int scale) {
    KeySettings settings = defaultSettings();
    settings.deBlockValue = settings.contractMask = settings.maskBlurRadius = length;
    const KeySettings small = reducedSettings(settings, scale);
    EXPECT_EQ(small.maskBlurRadius, small.deBlockValue);
    EXPECT_EQ(small.maskBlurRadius, small.contractMask);
    EXPECT_EQ(settings.clipWhite, small.clipWhite) << "is no length";
    return small.maskBlurRadius;
  };
  for (const auto& [length, half, quarter] : std::vector<std::array<int, 3>>{
           {1, 1, 1}, {2, 1, 1}, {3, 2, 1}, {5, 3, 1}, {6, 3, 2}, {7, 4, 2}, {9, 5, 2}, {10, 5, 3}, {99, 50, 25}}) {
    EXPECT_EQ(half, reduced(length, 2)) << length;
    EXPECT_EQ(quarter, reduced(length, 4)) << length;
  }
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
TEST(PreviewPicture, ShowsTheResultOverFiles) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4");
  const std::string sky = folder.path("sky.mkv"), raw = folder.path("c.raw");
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=200x100:r=60 -frames:v 30 -c:v ffv1 " + sky);
  test::need("cp " + sky + " " + folder.path("other.mkv"));
  std::filesystem::create_directory(folder.path("named"));
  test::need("mv " + folder.path("other.mkv") + " " + folder.path("named"));
  test::need(test::key(clip + " -f null --plain --key-color '#2da54b' --over " + sky + " --also comp=" + raw +
                       " 2>/dev/null"));
  const std::string all = toRgba(test::need("cat " + raw));
  const test::ServedClip preview({.input = clip, .folders = {folder.path("named")}, .background = sky});
  Json request{{"view", "comp"}, {"settings", {{"key-color", "#2da54b"}}}};
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
