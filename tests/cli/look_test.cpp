// The look through the command, on any number of threads: raw pictures and PNG in, the same bytes out.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>

#include "tests/support/command.h"
#include "tests/support/look.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra::test;

void writeFile(const std::string& path, const char* bytes, std::size_t size) {
  std::ofstream(path, std::ios::binary).write(bytes, static_cast<std::streamsize>(size));
}

Bytes readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeInputs(const LookFrame& frame, int copies, const std::string& pictures, const std::string& preset) {
  const Bytes picture = drawn(frame);
  Bytes all;
  for (int i = 0; i < copies; ++i) all.insert(all.end(), picture.begin(), picture.end());
  writeFile(pictures, reinterpret_cast<const char*>(all.data()), all.size());
  writeFile(preset, frame.preset.data(), frame.preset.size());
}

std::string sizeOf(const LookFrame& frame) { return std::to_string(frame.width) + "x" + std::to_string(frame.height); }

// Picture `number` of a raw output, BGRA, in host order.
Bytes hostOrder(const Bytes& raw, int number, const LookFrame& frame) {
  const auto size = static_cast<std::ptrdiff_t>(frame.width) * frame.height * 4;
  Bytes picture(raw.begin() + number * size, raw.begin() + (number + 1) * size);
  for (auto pixel = picture.begin(); pixel != picture.end(); pixel += 4) std::reverse(pixel, pixel + 4);
  return picture;
}

class CommandsLook : public testing::TestWithParam<int> {};

// As many copies of each frame as the most threads, so that each has one to work on.
TEST_P(CommandsLook, IsTheLibrarysOnThisManyThreads) {
  constexpr int kCopies = 7;
  const ScratchFolder folder;
  const std::string in = folder.path("in.argb"), preset = folder.path("p.json"), out = folder.path("out.raw");
  int compared = 0, refused = 0;
  for (const LookFrame& frame : lookReference().frames) {
    writeInputs(frame, kCopies, in, preset);
    const Outcome outcome = run(key("--yes --no-verify --progress none --raw " + sizeOf(frame) + "@25:argb --preset " +
                                    preset + " --threads " + std::to_string(GetParam()) + " " + in + " " + out));
    if (frame.settings.clipBlack > frame.settings.clipWhite) {  // for the library alone
      expectHas(outcome.output, " lies above clip-white ");
      ++refused;
      continue;
    }
    ASSERT_EQ(0, outcome.status) << outcome.output;
    const Bytes raw = readFile(out);
    ASSERT_EQ(std::size_t{kCopies} * 4 * static_cast<std::size_t>(frame.width * frame.height), raw.size());
    for (int i = 0; i < kCopies; ++i, ++compared) {
      EXPECT_EQ(frame.hash, lookHash(hostOrder(raw, i, frame))) << frame.line << ", copy " << i;
    }
  }
  EXPECT_EQ(kCopies * (static_cast<int>(lookReference().frames.size()) - refused), compared);
  EXPECT_EQ(2, refused);
}

INSTANTIATE_TEST_SUITE_P(Threads, CommandsLook, testing::Values(1, 2, 7), testing::PrintToStringParamName());

// One frame of each picture.
TEST(CommandsLook, IsTheLibrarysThroughPngFiles) {
  const ScratchFolder folder;
  const std::string raw = folder.path("in.argb"), preset = folder.path("p.json");
  const std::string in = folder.path("in.png"), out = folder.path("out.png");
  std::set<std::string> compared;
  for (const LookFrame& frame : lookReference().frames) {
    if (!compared.insert(frame.picture).second) continue;
    writeInputs(frame, 1, raw, preset);
    need(kFfmpeg + "-f rawvideo -pix_fmt argb -s " + sizeOf(frame) + " -i " + raw + " -pix_fmt rgba " + in);
    need(key("--yes --progress none --preset " + preset + " " + in + " " + out));
    const std::vector<kalvetra::Image> images = readAll(out);
    ASSERT_EQ(1u, images.size());
    EXPECT_EQ(frame.hash, lookHash(images[0].bytes)) << frame.line;
  }
  EXPECT_EQ(lookPictures().size(), compared.size());
}

}  // namespace
