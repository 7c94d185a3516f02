// Pictures by number are those that reading from the start delivers.
#include "media/input/frame_access.h"

#include <gtest/gtest.h>

#include <random>

#include "media/pixels/frame_converter.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace kalvetra {
namespace {

const std::atomic<bool> kNever{false};
const bool kQuiet = (av_log_set_level(AV_LOG_QUIET), true);

// Clips in which seeking goes wrong easily.
struct Kind {
  const char* name;
  const char* file;
  const char* options;  // of ffmpeg, after the moving test picture of 90 frames
  bool seeks;           // the index of such a clip is to be used
};

constexpr const char* kUneven = "-vf select='not(eq(mod(n\\,7)\\,3))' -vsync vfr ";

const Kind kKinds[] = {
    {"LongGop", "a.mp4", "-c:v libx264 -preset veryfast -g 45 -bf 3 -x264-params b-pyramid=normal", true},
    {"OpenGop", "a.mp4", "-c:v libx264 -preset veryfast -x264-params keyint=20:min-keyint=20:open-gop=1:bframes=3",
     true},
    {"OpenGopMatroska", "a.mkv", "-c:v libx264 -x264-params keyint=16:min-keyint=16:open-gop=1:bframes=5:scenecut=0",
     true},
    {"OneKey", "a.mp4", "-c:v libx264 -preset veryfast -g 300 -bf 2", true},
    {"IntraRefresh", "a.mp4", "-c:v libx264 -preset veryfast -x264-params intra-refresh=1:keyint=20", true},
    {"ShortGop", "a.mp4", "-c:v libx264 -preset veryfast -g 3 -bf 2", true},
    {"VariableRate", "a.mp4", "UNEVEN -c:v libx264 -preset veryfast -g 20 -bf 3", true},
    {"VariableRateMatroska", "a.mkv", "UNEVEN -c:v libx264 -preset veryfast -g 20 -bf 3", true},
    {"EditList", "cut.mp4", "CUT -c:v libx264 -preset veryfast -g 20 -bf 3", true},
    {"TransportStream", "a.ts", "-c:v libx264 -preset veryfast -g 20 -bf 3", true},
    {"Hevc", "a.mp4", "-c:v libx265 -preset ultrafast -x265-params log-level=none:keyint=20:open-gop=1:bframes=3",
     true},
    {"Mpeg2OpenGop", "a.ts", "-c:v mpeg2video -g 12 -bf 2", true},
    {"Interlaced", "a.mp4", "-c:v libx264 -preset veryfast -g 20 -bf 2 -flags +ildct+ilme -x264-params tff=1", true},
    {"JoinedRecordings", "joined.ts", "JOIN -c:v libx264 -preset veryfast -g 20 -bf 3", false},
    {"Mpeg4InAvi", "a.avi", "-c:v mpeg4 -g 12 -bf 2", false},
    {"BareH264", "a.h264", "-c:v libx264 -preset veryfast -g 20 -bf 2", false},
    {"Vp8", "a.webm", "-c:v libvpx -g 20 -auto-alt-ref 1 -lag-in-frames 10 -b:v 200k", false},
    {"Vp9", "a.webm", "-c:v libvpx-vp9 -g 20 -deadline realtime -cpu-used 8 -lag-in-frames 10", true},
    {"ProRes", "a.mov", "-c:v prores_ks", true},
    {"Ffv1", "a.mkv", "-c:v ffv1 -g 1", true},
    {"Sequence", "s-%03d.png", "-frames:v 30", true},
};

std::string make(const test::ScratchFolder& folder, const Kind& kind) {
  std::string options = kind.options;
  const auto replace = [&](const std::string& word, const std::string& by) {
    if (const std::size_t at = options.find(word); at != std::string::npos)
      options.replace(at, word.size(), by);
    else
      return false;
    return true;
  };
  const std::string file = folder.path(kind.file);
  const bool cut = replace("CUT ", ""), join = replace("JOIN ", "");
  replace("UNEVEN ", kUneven);
  const std::string whole = cut ? folder.path("whole.mp4") : join ? folder.path("part.ts") : file;
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i testsrc=s=96x64:r=25:d=3.6 -f lavfi -i sine=d=3.6 " +
             std::string(kind.seeks ? "" : "-an ") + "-pix_fmt yuv420p " + options + " " + whole);
  if (cut) test::need("ffmpeg -nostdin -v error -y -ss 1.3 -i " + whole + " -c copy " + file);
  if (join) test::need("cat " + whole + " " + whole + " " + whole + " > " + file);
  return file;
}

using Pixels = std::vector<unsigned char>;

Pixels pixelsOf(const AVFrame& frame, const ColorTags& color) { return FrameConverter(color).convert(frame).bytes; }

std::vector<Pixels> readAll(const std::string& path, std::int64_t& firstTime) {
  Reader reader(path, 1, kNever);
  std::vector<Pixels> all;
  for (SourceFrame frame; reader.next(frame);) {
    if (all.empty()) firstTime = frame.time;
    all.push_back(pixelsOf(*frame.picture, reader.format().color));
  }
  return all;
}

class FrameAccessTest : public ::testing::TestWithParam<Kind> {};

TEST_P(FrameAccessTest, GivesTheSamePicturesAsReadingInOrder) {
  const test::ScratchFolder folder;
  const std::string file = make(folder, GetParam());
  std::int64_t firstTime = 0;
  const std::vector<Pixels> expected = readAll(file, firstTime);
  const auto frames = static_cast<std::int64_t>(expected.size());
  ASSERT_GT(frames, 20);
  const auto index = std::make_shared<PictureIndex>(indexPictures(file, {}, firstTime, kNever));
  EXPECT_EQ(GetParam().seeks, index->reliable);
  if (index->reliable) {
    EXPECT_EQ(frames, static_cast<std::int64_t>(index->times.size()));
  }

  constexpr std::size_t kKept = 20000;  // two pictures: what was decoded once has to be decoded again
  std::mt19937 random(7);
  for (const bool indexed : {true, false}) {
    FrameAccess access(file, {}, 2, kNever, kKept);
    EXPECT_EQ(firstTime, access.firstTime());
    if (indexed) access.setIndex(index);
    const auto check = [&](std::int64_t n) {
      const auto frame = access.frame(n);
      ASSERT_NE(nullptr, frame) << n;
      EXPECT_TRUE(pixelsOf(*frame, access.reader().format().color) == expected[static_cast<std::size_t>(n)]) << n;
    };
    for (int i = 0; i < (indexed ? 40 : 8); ++i) {
      check(std::uniform_int_distribution<std::int64_t>(0, frames - 1)(random));
    }
    for (std::int64_t n = frames - 1; n >= frames - 12; --n) check(n);  // stepping back
    for (std::int64_t n = frames / 2; n < frames / 2 + 12; ++n) check(n);
    EXPECT_EQ(nullptr, access.frame(frames));
    EXPECT_EQ(nullptr, access.frame(-1));
    check(0);
    check(frames - 1);
    if (indexed && std::string(GetParam().name) != "IntraRefresh") {
      EXPECT_EQ(0, access.generation()) << "the index was given up";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, FrameAccessTest, ::testing::ValuesIn(kKinds),
                         [](const auto& test) { return test.param.name; });

// Otherwise everything was right, and slow.
TEST(FrameAccess, JumpsSaveDecoding) {
  for (const char* name : {"LongGop", "OpenGop", "OpenGopMatroska", "VariableRate", "EditList", "TransportStream",
                           "Hevc", "Mpeg2OpenGop", "Vp9", "ProRes", "Sequence"}) {
    const test::ScratchFolder folder;
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                          [name](const Kind& k) { return k.name == std::string(name); });
    const std::string file = make(folder, *kind);
    FrameAccess access(file, {}, 2, kNever, 20000);
    access.setIndex(std::make_shared<PictureIndex>(indexPictures(file, {}, access.firstTime(), kNever)));
    const std::int64_t last = kind->file == std::string("s-%03d.png") ? 29 : 49;
    const std::int64_t distance = access.distance(last);
    EXPECT_LT(distance, last) << name;
    std::int64_t decoded = 0;
    EXPECT_NE(nullptr, access.frame(last, [&] { return ++decoded < 0; })) << name;
    EXPECT_LE(decoded, distance + 20) << name << ": one key picture more at most";
    EXPECT_LT(decoded, last) << name;
  }
}

TEST(FrameAccess, AWrongIndexIsDroppedAndTheRightPictureGiven) {
  const test::ScratchFolder folder;
  const std::string file = make(folder, kKinds[0]);
  std::int64_t firstTime = 0;
  const std::vector<Pixels> expected = readAll(file, firstTime);
  auto index = std::make_shared<PictureIndex>(indexPictures(file, {}, firstTime, kNever));
  index->times.erase(index->times.begin() + 50);
  FrameAccess access(file, {}, 2, kNever, 1 << 20);
  access.setIndex(index);
  const auto frame = access.frame(60);
  EXPECT_EQ(1, access.generation());
  EXPECT_TRUE(pixelsOf(*frame, access.reader().format().color) == expected[60]);
}

TEST(FrameAccess, DecodingStopsOnceItIsNotWanted) {
  const test::ScratchFolder folder;
  const std::string file = make(folder, kKinds[0]);
  FrameAccess access(file, {}, 2, kNever, 1 << 20);
  int asked = 0;
  EXPECT_EQ(nullptr, access.frame(80, [&] { return ++asked > 5; }));
  EXPECT_EQ(6, asked);
  EXPECT_NE(nullptr, access.frame(80));
}

}  // namespace
}  // namespace kalvetra
