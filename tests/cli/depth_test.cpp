// Clips of more than 8 bits at full depth, from the file to the file.
#include <cmath>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra::test;

constexpr int kLevels = 126, kCell = 8, kWidth = kLevels * kCell;
const std::string kColor = " --key-color 60,190,80 ";

class Depth : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    // A grey ramp of 10 bits without noise, and greens that are keyed.
    need(kFfmpeg +
         "-f lavfi -i \"color=black:s=1008x8:r=25:d=0.04,format=yuv422p10le,geq=lum='400+floor(X/8)':cb=512:" +
         "cr=512\" " + kTags + ramp());
    need(kFfmpeg + "-f lavfi -i gradients=s=160x90:d=0.4:c0=0x20a040:c1=0xc0b850:seed=3 " + kTags + greens());
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string ramp() { return folder_->path("ramp.mkv"); }
  static std::string greens() { return folder_->path("greens.mkv"); }
  static std::string hashes(const std::string& arguments) {
    return need(key(arguments + kColor + "-f hash 2>/dev/null"));
  }
  // How many means the cells of the ramp's rows have in a plane that ffmpeg takes out of a file, white being 1.
  std::size_t levelsIn(const std::string& file, const std::string& plane) const {
    const std::string raw = out_.path("plane");
    need(kFfmpeg + "-i " + file + " -vf extractplanes=" + plane + ",format=grayf32le -f rawvideo " + raw);
    const std::vector<float> values = floatsIn(raw, kWidth * kCell);
    std::set<long> means;
    for (std::size_t cell = 0; cell < kLevels; ++cell) {
      double sum = 0.0;
      for (std::size_t i = 0; i < kCell * kCell; ++i)
        sum += double{values[i / kCell * kWidth + cell * kCell + i % kCell]};
      means.insert(std::lround(sum / (kCell * kCell) * 2048));
    }
    return means.size();
  }

  // Of the ramp's view.
  std::vector<float> floats(const std::string& view) const {
    const std::string raw = out_.path("view.rgbaf32");
    need(key(ramp() + " -y " + raw + " " + view + kColor));
    return floatsIn(raw, kWidth * kCell * 4);
  }
  static std::vector<float> floatsIn(const std::string& file, std::size_t count) {
    std::vector<float> values(count);
    std::ifstream(file, std::ios::binary)
        .read(reinterpret_cast<char*>(values.data()), static_cast<std::streamsize>(4 * count));
    return values;
  }

  static inline const std::string kTags =
      "-pix_fmt yuv422p10le -c:v ffv1 -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv ";
  static inline std::unique_ptr<ScratchFolder> folder_;
  ScratchFolder out_;
};

TEST_F(Depth, EveryLevelOfARampComesBackAndNoColorIsTouched) {
  for (const auto& [name, plane] : {std::pair{"o.mov", "y"}, {"o.png", "g"}, {"o.exr", "g"}, {"o.mkv", "g"}}) {
    const std::string said = need(key(ramp() + " " + out_.path(name) + " --no-dither" + kColor));
    EXPECT_EQ(std::string::npos, said.find("8 bits")) << said;
    EXPECT_EQ(static_cast<std::size_t>(kLevels), levelsIn(out_.path(name), plane)) << name;
  }
  EXPECT_EQ("pix_fmt=rgba64be\n", probe("stream=pix_fmt", out_.path("o.png")));
  const std::vector<float> source = floats("--view source"), keyed = floats("--view result");
  EXPECT_EQ(source, keyed);  // to the bit
  // 8 bits hold 37 of them.
  need(key(ramp() + " " + out_.path("8.png") + " --depth 8 --no-dither" + kColor));
  EXPECT_EQ(37u, levelsIn(out_.path("8.png"), "g"));
}

TEST_F(Depth, TheSameFloatsOnAnyThreadsAndOtherPicturesInEightBits) {
  const std::string one = hashes(greens() + " --threads 1");
  EXPECT_EQ(one, hashes(greens() + " --threads 2"));
  EXPECT_EQ(one, hashes(greens() + " --threads 7"));
  EXPECT_NE(one, hashes(greens() + " --depth 8"));
  // There the key is that of the pictures dithered to 8 bits.
  const std::string bytes = need(key(greens() + " - -f raw --depth 8 --plain --view source 2>/dev/null") + " | " +
                                 key("- -f hash --plain --raw 160x90@25:bgra" + kColor + "2>/dev/null"));
  EXPECT_EQ(hashes(greens() + " --depth 8 --plain"), bytes);
}

TEST_F(Depth, BackgroundsAndMattesAreReadDeep) {
  const std::string green = out_.path("green.mkv");
  need(kFfmpeg + "-f lavfi -i color=0x3cbe50:s=1008x8:d=0.04:r=25 " + kTags + green);
  EXPECT_EQ(hashes(ramp() + " --view source"), hashes(green + " --view comp --over " + ramp()));
  EXPECT_EQ(hashes(green + " --view source"),
            hashes(green + " --holdout " + ramp() + " --garbage " + ramp() + " --view source"));
  need(key(green + " " + out_.path("m.mkv") + " --view matte --holdout " + ramp() + kColor));
  EXPECT_EQ(static_cast<std::size_t>(kLevels), levelsIn(out_.path("m.mkv"), "g"));
}

TEST_F(Depth, WhatIsNoNumberIsCountedAndSaid) {
  std::vector<float> pixels(16 * 16 * 4, 0.5f);
  pixels[0] = pixels[41] = std::numeric_limits<float>::quiet_NaN();
  pixels[82] = std::numeric_limits<float>::infinity();
  std::ofstream(out_.path("p.raw"), std::ios::binary)
      .write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(4 * pixels.size()));
  const std::string said =
      need(key(out_.path("p.raw") + " " + out_.path("o.exr") + " --raw 16x16@25:rgbaf32" + kColor));
  expectHas(said, "p.raw: 2 values are no numbers (NaN) and count as 0, 1 value is infinite");
}

TEST_F(Depth, ProbeReceiptAndPresetSayTheLane) {
  expectHas(need(kKalvetra + " probe " + ramp()), "at full depth (10 bits)");
  expectHas(need(kKalvetra + " probe --depth 8 " + ramp()), "in 8 bits");
  const std::string preset = out_.path("p.json");
  need(key(greens() + " " + out_.path("o.mov") + " --save-preset " + preset + " --receipt " + out_.path("r.json") +
           kColor));
  const auto read = [](const std::string& file) { return nlohmann::json::parse(std::ifstream(file)); };
  EXPECT_EQ("deep", read(out_.path("r.json")).at("depth"));
  nlohmann::json newer = read(preset);
  ASSERT_EQ(1, newer.at("deep-look"));
  newer["deep-look"] = 7;
  std::ofstream(preset) << newer;
  const std::string with = key(greens() + " -f null --preset " + preset);
  expectHas(run(with).output, "the preset is for look 7 of the key at full depth");
  need(with + " --depth 8");
}

}  // namespace
