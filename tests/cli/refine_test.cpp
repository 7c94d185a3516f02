// --refine and --despill material: how they are said, what they are refused with, and the same bytes on every way.
#include <algorithm>
#include <cmath>
#include <fstream>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::Image;
using namespace kalvetra::test;

constexpr int kWidth = 320, kHeight = 180;
const std::string kMaterial = "--despill material ";

// A green screen before which a grey box with much of the screen's light on it comes in from the left, and in the first
// half of the clip a brown one stands.
class Refine : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    const std::string grey = "lte(X,40+60*T)*gte(Y,50)", brown = "between(X,230,290)*gte(Y,70)*lt(T,0.5)";
    const auto channel = [&](int box, int other, int screen) {
      return "'if(" + grey + "," + std::to_string(box) + ",if(" + brown + "," + std::to_string(other) + "," +
             std::to_string(screen) + "))'";
    };
    need(kFfmpeg + "-f lavfi -i \"color=s=320x180:r=24,format=gbrp,geq=r=" + channel(118, 150, 44) +
         ":g=" + channel(140, 120, 180) + ":b=" + channel(122, 70, 70) + ",noise=alls=4:allf=t\" -frames:v 24 " +
         "-pix_fmt yuv420p -c:v libx264 -crf 12 " + clip());
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string clip() { return folder_->path("clip.mkv"); }
  // Of the frames with those numbers, from 1, of what is keyed.
  static std::string hashes(const std::string& more, const std::string& lines = "1,24") {
    return need(key(clip() + " -f hash --progress none --key-color 44,180,70 " + more + " 2>/dev/null") +
                " | sed -n '" + lines + "p' | awk '{print $3}'");
  }

  static inline std::unique_ptr<ScratchFolder> folder_;
  ScratchFolder out_;
};

TEST_F(Refine, IsSaidByItsNameAloneOrWithAValue) {
  const std::string off = hashes(""), on = hashes("--refine");
  EXPECT_NE(off, on) << "at full depth";
  EXPECT_EQ(on, hashes("--refine on"));
  EXPECT_EQ(on, hashes("--refine=on"));
  EXPECT_EQ(off, hashes("--refine off --despill engine"));
  EXPECT_NE(on, hashes(kMaterial + "--refine"));
  need(key("--refine " + clip() + " -f null"));
  expectHas(run(key(clip() + " -f null --despill cloth")).output,
            "'cloth' is not among its values; give engine, material");
}

TEST_F(Refine, OfAnyPartOfTheClipOnAnyThreadsTheSameBytes) {
  const std::string whole = hashes(kMaterial + "--threads 1");
  EXPECT_EQ(whole, hashes(kMaterial + "--threads 4"));
  const std::string part = hashes(kMaterial, "15,20");
  EXPECT_EQ(part, hashes(kMaterial + "--start 14f --frames 6", "1,6"));  // the brown box is out of the picture there
}

TEST_F(Refine, TheMaterialsAreThoseOfTheShotWhereItCanBeReadTwice) {
  const auto piped = [](const std::string& more) {
    return need("cat " + clip() + " | " + key("- -f hash --progress none --plain --key-color 44,180,70 " + more));
  };
  const auto hashOf = [](const std::string& said) { return said.substr(said.rfind("clip 24 ") + 8, 32); };
  const std::string own = piped("--refine " + kMaterial), deep = piped("--depth deep");
  expectHas(own, "the materials to despill by are looked for in each frame by itself");
  expectHas(own, "refine does nothing here: it takes a plate");
  EXPECT_NE(hashOf(own), hashes("--plain --refine " + kMaterial, "25").substr(0, 32));
  EXPECT_EQ(hashOf(deep), hashes("--plain --depth deep", "25").substr(0, 32));
}

// The still's third panel is what is keyed, over squares of two greys.
TEST_F(Refine, AStillShowsWhatIsKeyed) {
  const std::string options = " --key-color 44,180,70 --at 0.76 " + kMaterial;
  need(kKalvetra + " still " + clip() + " " + out_.path("s.png") + options);
  need(key(clip() + " " + out_.path("k.rgbaf32") + " --key-color 44,180,70 --start 18f --frames 1 " + kMaterial));
  std::vector<float> keyed(std::size_t{4} * kWidth * kHeight);
  std::ifstream(out_.path("k.rgbaf32"), std::ios::binary)
      .read(reinterpret_cast<char*>(keyed.data()), static_cast<std::streamsize>(4 * keyed.size()));
  const Image sheet = readAll(out_.path("s.png")).at(0);
  int different = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const float* pixel = &keyed[std::size_t{4} * static_cast<std::size_t>(y * kWidth + x)];
      const int alpha = static_cast<int>(std::lround(255.0f * pixel[3])), grey = (x / 16 + y / 16) % 2 == 0 ? 102 : 153;
      for (int c = 0; c < 3; ++c) {
        const int color = std::clamp(static_cast<int>(std::lround(255.0f * pixel[c])), 0, 255);
        const int shown = (color * alpha + grey * (255 - alpha) + 127) / 255;
        if (std::abs(shown - sheet.row(y)[4 * (x + 2 * kWidth) + c + 1]) > 1) ++different;
      }
    }
  }
  EXPECT_EQ(0, different);
}

TEST_F(Refine, IsRefusedInEightBitsAndLeftOutOfAPresetThere) {
  const std::string preset = out_.path("p.json");
  const std::string before = hashes("--refine " + kMaterial + "--save-preset " + preset);
  EXPECT_EQ(before, hashes("--preset " + preset));
  const Outcome refused = run(key(clip() + " -f null --depth 8 --refine " + kMaterial));
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "refine on and despill material cannot be done in 8 bits");
  EXPECT_EQ(1, run(kKalvetra + " still " + clip() + " " + out_.path("s.png") + " --depth 8 " + kMaterial).status);
  expectHas(need(key(clip() + " -f null --depth 8 --preset " + preset)),
            "p.json: refine on and despill material left out, which --depth 8 cannot do");
  EXPECT_EQ(hashes("--depth 8 --preset " + preset),
            hashes("--depth 8 --preset " + preset + " --refine off --despill engine"));
  EXPECT_EQ(1, run(key(clip() + " -f null --depth 8 --refine --preset " + preset)).status);
}

}  // namespace
