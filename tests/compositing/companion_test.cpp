// Files that go along with a clip: backgrounds and mattes.
#include <gtest/gtest.h>

#include <cstring>

#include "compositing/background.h"
#include "support/user_error.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra;
using kalvetra::test::need;
using kalvetra::test::ScratchFolder;
using Fit = CompanionClip::Fit;

const std::atomic<bool> kNever{false};

PictureFormat clipOf(int width, int height, int quarterTurns = 0) {
  PictureFormat format;
  format.width = width;
  format.height = height;
  if (quarterTurns != 0) {
    format.displayMatrix.emplace();
    av_display_rotation_set(format.displayMatrix->data(), 90.0 * quarterTurns);
  }
  return format;
}

// A picture or a clip of solid colours, one a frame and ten a second: "red", "blue" ...
void draw(const std::string& path, const std::vector<std::string>& colors, const std::string& size) {
  std::string inputs, chain;
  for (std::size_t i = 0; i < colors.size(); ++i) {
    inputs += "-f lavfi -i color=" + colors[i] + ":s=" + size + ":r=10:d=0.1,format=rgb24 ";
    chain += "[" + std::to_string(i) + "]";
  }
  need("ffmpeg -nostdin -v error -y " + inputs + "-filter_complex \"" + chain +
       "concat=n=" + std::to_string(colors.size()) + ",settb=1/10,setpts=N\" " +
       (path.ends_with(".mkv") ? "-fps_mode passthrough -c:v ffv1 -pix_fmt bgr0 " : "") + path);
}

std::array<int, 4> pixel(const Image& image, int x, int y) {
  const unsigned char* p = image.row(y) + 4 * x;
  return {p[0], p[1], p[2], p[3]};
}

constexpr std::array<int, 4> kRed{255, 255, 0, 0}, kGreen{255, 0, 255, 0}, kBlue{255, 0, 0, 255};

std::string refusal(const std::function<void()>& action) {
  try {
    action();
    return "not refused";
  } catch (const UserError& error) {
    return error.what();
  }
}

TEST(Companions, AClipIsReadInStepAndHoldsItsLastPicture) {
  const ScratchFolder folder;
  const std::string path = folder.path("rgb.mkv");
  draw(path, {"red", "lime", "blue"}, "32x18");
  CompanionClip companion(path, "garbage matte", Fit::Exact, clipOf(32, 18), 1, kNever);
  const auto first = companion.next();
  for (const auto& color : {kGreen, kBlue, kBlue, kBlue}) EXPECT_EQ(color, pixel(*companion.next(), 5, 5));
  EXPECT_EQ(kRed, pixel(*first, 5, 5)) << "pictures in flight must stay as they are";
  EXPECT_EQ(companion.next(), companion.next()) << "the last one is kept, not made again";
}

// Over black: half of full red, whether it is stored as it is or times its alpha.
TEST(Companions, APremultipliedBackgroundIsNotMultipliedTwice) {
  const ScratchFolder folder;
  for (const auto& [color, tag] : {std::pair{"0xff0000@0.5", "straight"}, {"0x7f0000@0.5", "premultiplied"}}) {
    const std::string path = folder.path(std::string(tag) + ".mkv");
    need("ffmpeg -nostdin -v error -f lavfi -i color=" + std::string(color) +
         ":s=32x18:d=0.04,format=bgra -c:v ffv1 -metadata kalvetra_alpha=" + tag + " " + path);
    CompanionClip companion(path, "background", Fit::Cover, clipOf(32, 18), 1, kNever);
    EXPECT_NEAR(127, pixel(*companion.next(), 5, 5)[1], 1) << tag;
  }
}

TEST(Companions, AStillIsDecodedOnce) {
  const ScratchFolder folder;
  draw(folder.path("r.png"), {"red"}, "32x18");
  CompanionClip companion(folder.path("r.png"), "holdout matte", Fit::Exact, clipOf(32, 18), 1, kNever);
  const auto first = companion.next();
  EXPECT_EQ(kRed, pixel(*first, 31, 17));
  std::filesystem::remove(folder.path("r.png"));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(first, companion.next());
}

TEST(Companions, MattesMustHaveTheClipsSize) {
  const ScratchFolder folder;
  const std::string path = folder.path("m.png");
  draw(path, {"white"}, "30x18");
  EXPECT_EQ(
      path + ": its pictures measure 30 x 18, those of the clip 32 x 18; scale the garbage matte to the clip's size",
      refusal([&] { CompanionClip(path, "garbage matte", Fit::Exact, clipOf(32, 18), 1, kNever); }));
  EXPECT_EQ(folder.path("none.png") + ": there is no such file; check the name",
            refusal([&] { CompanionClip(folder.path("none.png"), "x", Fit::Exact, clipOf(32, 18), 1, kNever); }));
}

// A clip that lies on its side is keyed lying; what goes along is drawn upright.
TEST(Companions, TurnWithTheClip) {
  const ScratchFolder folder;
  need("ffmpeg -nostdin -v error -y -f lavfi -i color=red:s=18x16,format=rgb24 -f lavfi -i color=blue:s=18x16," +
       std::string("format=rgb24 -filter_complex vstack -frames:v 1 ") + folder.path("upright.png"));
  for (const Fit fit : {Fit::Exact, Fit::Cover}) {
    CompanionClip companion(folder.path("upright.png"), "background", fit, clipOf(32, 18, 1), 1, kNever);
    const auto image = companion.next();
    ASSERT_EQ(32, image->width);
    ASSERT_EQ(18, image->height);
    EXPECT_EQ(kRed, pixel(*image, 2, 9)) << "turned clockwise, the left becomes the top";
    EXPECT_EQ(kBlue, pixel(*image, 29, 9));
  }
}

TEST(Backgrounds, AreColoursPicturesOrClips) {
  const ScratchFolder folder;
  Background color("#0a64FF", clipOf(4, 3), OverEnd::Loop, 1, kNever);
  EXPECT_EQ((std::array{255, 10, 100, 255}), pixel(*color.at(0), 3, 2));
  EXPECT_EQ(color.at(0), color.at(1));
  EXPECT_EQ(nullptr, color.source());
  draw(folder.path("b.png"), {"blue"}, "100x10");
  Background picture(folder.path("b.png"), clipOf(32, 18), OverEnd::Loop, 1, kNever);
  const auto image = picture.at(0);
  EXPECT_EQ(image, picture.at(100)) << "made once";
  EXPECT_EQ(32, image->width);
  EXPECT_EQ(18, image->height);
  EXPECT_EQ(kBlue, pixel(*image, 0, 17));
}

// Ten pictures a second: red, green, blue.
class MovingBackground : public testing::Test {
 protected:
  MovingBackground() { draw(file_, {"red", "lime", "blue"}, "64x64"); }
  static std::array<int, 4> colorAt(Background& background, double seconds) {
    return pixel(*background.at(seconds), 16, 9);
  }
  Background open(OverEnd end, const std::string& file) const { return {file, clipOf(32, 18), end, 1, kNever}; }

  ScratchFolder folder_;
  std::string file_ = folder_.path("c.mkv");
};

TEST_F(MovingBackground, ShowsThePictureOfItsOwnTime) {
  Background held = open(OverEnd::Hold, file_), looped = open(OverEnd::Loop, file_);
  const auto colors = {kRed, kRed, kRed, kGreen, kGreen, kBlue, kBlue, kBlue, kBlue};
  double seconds = 0;
  for (const auto& color : colors) {
    EXPECT_EQ(color, colorAt(held, seconds)) << seconds;
    seconds += 0.04;
  }
  EXPECT_EQ(held.at(1), held.at(100)) << "its last picture stays, and is not made again";
  for (const auto& [at, color] : {std::pair{0.0, kRed},
                                  {0.1997, kBlue},
                                  {0.2993, kRed},
                                  {0.35, kRed},
                                  {0.4, kGreen},
                                  {0.88, kBlue},
                                  {0.9, kRed},
                                  {300.1, kGreen},
                                  {300.29, kBlue}}) {
    EXPECT_EQ(color, colorAt(looped, at)) << at;
  }
}

// As a resumed run and one from the middle need it, even where a pass ends to the last digit, as after 1.001 s.
TEST_F(MovingBackground, IsTheSameWhereverReadingBegins) {
  const std::string ntsc = folder_.path("ntsc.avi");
  need("ffmpeg -nostdin -v error -stream_loop 4 -r 30000/1001 -i " + file_ + " -frames:v 10 -c:v ffv1 " + ntsc);
  for (const std::string& file : {file_, ntsc}) {
    for (const OverEnd end : {OverEnd::Hold, OverEnd::Loop}) {
      Background all = open(end, file);
      for (int i = 0; i <= 50; ++i) {
        Background here = open(end, file);
        EXPECT_EQ(colorAt(all, i / 50.0), colorAt(here, i / 50.0)) << file << " " << i;
      }
    }
  }
}

TEST_F(MovingBackground, TakesPicturesWithAnyTimes) {
  need("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=0.2 -i " + file_ +
       " -vf \"settb=1/1000,setpts='400+gt(N\\,0)*500+gt(N\\,1)*100'\" " + "-fps_mode passthrough -c:v ffv1 " +
       folder_.path("odd.mkv"));
  Background odd = open(OverEnd::Hold, folder_.path("odd.mkv"));
  for (const auto& [at, color] : {std::pair{0.0, kRed}, {0.49, kRed}, {0.5, kGreen}, {0.59, kGreen}, {0.6, kBlue}}) {
    EXPECT_EQ(color, colorAt(odd, at)) << at;
  }
  need("ffmpeg -nostdin -v error -y -i " + file_ + " " + folder_.path("s-%d.png"));
  PictureFormat fast = clipOf(32, 18);
  fast.frameRate = {50, 1};
  Background sequence(folder_.path("s-%d.png"), fast, OverEnd::Loop, 1, kNever);
  for (const auto& [at, color] : {std::pair{0.0, kRed}, {0.02, kGreen}, {0.04, kBlue}, {0.06, kRed}}) {
    EXPECT_EQ(color, colorAt(sequence, at)) << at;
  }
}

TEST(Backgrounds, WithAlphaLieOverBlack) {
  const ScratchFolder folder;
  need("ffmpeg -nostdin -v error -y -f lavfi -i color=red@0.5:s=32x18,format=rgba -frames:v 1 " + folder.path("h.png"));
  Background half(folder.path("h.png"), clipOf(32, 18), OverEnd::Hold, 1, kNever);
  const auto image = half.at(0);
  EXPECT_EQ(255, pixel(*image, 3, 3)[0]);
  EXPECT_NEAR(127, pixel(*image, 3, 3)[1], 1);
}

TEST(Backgrounds, BadOnesGetOneSentence) {
  for (const char* text : {"#12345", "#12345g", "#"}) {
    EXPECT_EQ(std::string(text) + ": is neither a colour nor a file; write a colour as #rrggbb, in hexadecimal",
              refusal([&] { Background(text, clipOf(4, 3), OverEnd::Hold, 1, kNever); }));
  }
  EXPECT_EQ("green: there is no such file; check the name",
            refusal([&] { Background("green", clipOf(4, 3), OverEnd::Hold, 1, kNever); }));
  const ScratchFolder folder;
  need("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=0.1 " + folder.path("s.wav"));
  EXPECT_EQ(folder.path("s.wav") + ": has no video in it; name a file with pictures",
            refusal([&] { Background(folder.path("s.wav"), clipOf(4, 3), OverEnd::Hold, 1, kNever); }));
}

}  // namespace
