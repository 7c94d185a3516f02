// Ranges, samples and the journal of unfinished runs.
#include <gtest/gtest.h>

#include <fstream>

#include "jobs/clip_range.h"
#include "jobs/clip_reader.h"
#include "jobs/job_identity.h"
#include "jobs/journal.h"
#include "jobs/picture_numbers.h"
#include "jobs/sample_pictures.h"
#include "support/user_error.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::ClipRange;
using kalvetra::FrameRecord;
using kalvetra::Image;
using kalvetra::Journal;
using kalvetra::parsePosition;
using kalvetra::SamplePictures;
using kalvetra::test::ScratchFolder;

TEST(ClipRange, PlacesAreSecondsClockTimesOrFrames) {
  const std::pair<const char*, double> times[] = {
      {"2.5", 2.5}, {"0", 0}, {"1:02", 62}, {"1:02:03.5", 3723.5}, {"90:00", 5400}};
  for (const auto& [text, seconds] : times) {
    ASSERT_TRUE(parsePosition(text)) << text;
    EXPECT_FALSE(parsePosition(text)->isFrame);
    EXPECT_DOUBLE_EQ(seconds, parsePosition(text)->seconds) << text;
  }
  EXPECT_TRUE(parsePosition("75f")->isFrame);
  EXPECT_EQ(75, parsePosition("75f")->frame);
  for (const char* text : {"", "-1", "1e3", "1:60", "1.5:00", "f", "-3f", "1:2:3:4", "1:", ":1", "nan", "9999999999",
                           "99999999999999999999f", "12 ", "0x10", "1..2"}) {
    EXPECT_FALSE(parsePosition(text)) << text;
  }
}

TEST(ClipRange, SaysWhichFramesItHoldsAndHowMany) {
  const AVRational rate{30, 1};
  ClipRange range;
  EXPECT_TRUE(range.isWhole());
  EXPECT_EQ(90, range.expectedFrames(90, rate));
  range.start = parsePosition("1");
  range.end = parsePosition("75f");
  EXPECT_EQ(30, range.firstFrame(rate));
  EXPECT_EQ(45, range.expectedFrames(90, rate));
  EXPECT_TRUE(range.isBefore(29, 29 / 30.0));
  EXPECT_FALSE(range.isBefore(30, 0.9996));  // a container that rounds times
  EXPECT_FALSE(range.isAfter(74, 74 / 30.0, 44));
  EXPECT_TRUE(range.isAfter(75, 75 / 30.0, 45));
  range.frames = 10;
  EXPECT_EQ(10, range.expectedFrames(90, rate));
  EXPECT_TRUE(range.isAfter(40, 40 / 30.0, 10));
}

// What goes along by time, like a background, must not depend on where a run was interrupted.
TEST(ClipReader, TimesCountFromTheRangesFirstPicture) {
  const ScratchFolder folder;
  kalvetra::test::need(
      "ffmpeg -nostdin -v error -f lavfi -i testsrc=s=16x16:r=25:d=1 -c:v ffv1 -output_ts_offset 0.4 " +
      folder.path("a.nut"));
  const std::atomic<bool> never{false};
  for (const char* start : {"", "5f"}) {
    ClipRange range;
    range.start = parsePosition(start);
    for (const int skipped : {0, 3}) {
      kalvetra::Reader reader(folder.path("a.nut"), 1, never);
      kalvetra::ClipReader clip(reader, range, skipped);
      kalvetra::ClipFrame frame;
      for (int i = skipped; i < skipped + 3; ++i) {
        ASSERT_TRUE(clip.next(frame));
        EXPECT_NEAR(i / 25.0, frame.seconds, 1e-6) << start << " " << skipped;
      }
    }
  }
}

TEST(PictureNumbers, AHeaderThatDeclaresBillionsCostsNoMemory) {
  const ScratchFolder folder;
  const std::string path = folder.path("a.avi");
  kalvetra::test::need("ffmpeg -nostdin -v error -f lavfi -i testsrc=s=16x16:r=25:d=0.2 -c:v ffv1 " + path);
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  std::string head(512, ' ');
  file.read(head.data(), 512);
  constexpr int kLength = 8 + 32;  // within the stream's header: its pictures
  file.seekp(static_cast<std::streamoff>(head.find("strh")) + kLength).write("\0\0\0\x70", 4);
  file.close();
  const std::atomic<bool> never{false};
  const kalvetra::Reader source(path, 1, never);
  ASSERT_GT(source.expectedFrames(), 1'000'000'000);
  ASSERT_TRUE(source.countsFrames());
  EXPECT_EQ(1'000'000u, expectedNumbers(kalvetra::KeyJob(), source).size());
  kalvetra::KeyJob job;
  for (const char* start : {"2147483647f", "9223372036854775807f"}) {  // one more is no number
    job.range.start = kalvetra::parsePosition(start);
    EXPECT_TRUE(expectedNumbers(job, source).empty()) << start;
  }
  job.range.start = kalvetra::parsePosition("1000f");
  EXPECT_EQ(1001, expectedNumbers(job, source).front());
}

TEST(SamplePictures, HoldsBeginningMiddleAndEndOfAnyClip) {
  const ScratchFolder folder;
  for (std::int64_t count = 1; count <= 300; ++count) {
    SamplePictures samples;
    for (std::int64_t i = 0; i < count; ++i) {
      if (!kalvetra::isSample(i, i + 1 == count)) continue;
      Image image(1, 1);
      image.bytes = {static_cast<unsigned char>(i), 1, 2, 3};
      samples.add(i, std::move(image));
    }
    if (count % 37 == 0) {  // across an interruption
      samples.save(folder.path("samples"), "o.mov");
      samples = SamplePictures();
      samples.load(folder.path("samples"));
    }
    const std::map<std::int64_t, Image> chosen = samples.chosen(count);
    ASSERT_TRUE(chosen.contains(0) && chosen.contains(count - 1)) << count;
    for (const auto& [index, image] : chosen) EXPECT_EQ(static_cast<unsigned char>(index), image.bytes[0]);
    if (count < 3) continue;
    ASSERT_EQ(3u, chosen.size()) << count;
    const std::int64_t middle = std::next(chosen.begin())->first;
    EXPECT_TRUE(3 * middle >= count - 1 && 3 * middle <= 2 * count) << middle << " of " << count;
  }
}

TEST(SamplePictures, AMissingOrCutFileChangesNothing) {
  const ScratchFolder folder;
  SamplePictures samples;
  samples.add(0, Image(2, 2));
  std::ofstream(folder.path("cut"), std::ios::binary) << std::string("\1\0\0\0\0\0\0\0\5\0\0", 11);
  for (const char* name : {"missing", "cut"}) {
    samples.load(folder.path(name));
    EXPECT_EQ(1u, samples.chosen(1).size());
  }
}

// What a resumed run must not mix.
TEST(JobIdentity, HoldsDitherWhereThereIsAnyAndHiddenColors) {
  const ScratchFolder folder;
  const std::atomic<bool> never{false};
  kalvetra::KeyJob job;
  const auto identity = [&](bool dither) {
    return jobIdentity(job, kalvetra::AnimatedSettings(),
                       kalvetra::ClipKeying(kalvetra::Reader(job.input, 1, never), {.dither = dither}));
  };
  for (const auto& [format, deep] : {std::pair{"yuv444p10le", true}, {"gbrp10le", true}, {"yuv444p", false}}) {
    job.input = folder.path(std::string(format) + ".mkv");
    kalvetra::test::need("ffmpeg -nostdin -v error -f lavfi -i color=green:s=16x16:d=0.04 -c:v ffv1 -pix_fmt " +
                         std::string(format) + " " + job.input);
    EXPECT_EQ(deep, identity(true) != identity(false)) << format;
  }
  job.outputs.push_back({kalvetra::ShownView::Result, "o.mov", kalvetra::chooseDelivery({"o.mov"})});
  const std::string extended = identity(true);
  job.outputs.front().delivery.extendsHidden = false;
  EXPECT_NE(extended, identity(true));
}

// The same bytes may be taken for pixels of whole numbers or of floats.
TEST(JobIdentity, HoldsWhatRawPicturesAreTakenFor) {
  const ScratchFolder folder;
  const std::atomic<bool> never{false};
  kalvetra::KeyJob job;
  job.input = folder.path("p.raw");
  std::ofstream(job.input) << std::string(16 * 16 * 16, '\0');
  const auto identity = [&](const std::string& raw) {
    job.source.raw = kalvetra::parseRawPictures("16x16@25:" + raw);
    return jobIdentity(job, kalvetra::AnimatedSettings(),
                       kalvetra::ClipKeying(kalvetra::Reader(job.input, job.source, 1, never), {}));
  };
  EXPECT_NE(identity("rgba64"), identity("rgbaf32"));
  EXPECT_EQ(identity("rgbaf32"), identity("rgbaf32"));
}

class JournalTest : public testing::Test {
 protected:
  static std::string failure(const std::string& job, const fs::path& folder) {
    try {
      const Journal journal(folder, job);
    } catch (const kalvetra::UserError& error) {
      return error.what();
    }
    return "no failure";
  }

  ScratchFolder scratch_;
  fs::path folder_ = scratch_.path("");
  std::string job_ = R"({"input": "a.mp4", "look": 1})";
};

TEST_F(JournalTest, RemembersCompletedSegmentsAndNothingElse) {
  const std::vector<FrameRecord> first{{0, 1, {1, 2}}, {1, 1, {3}}}, second{{2, 5, {255}, 1007}};
  {
    Journal journal(folder_, job_);
    journal.add(first);
    journal.add(second);
  }
  std::ofstream(folder_ / "journal", std::ios::app) << "[[3,1,\"00";  // where a crash cut it off
  {
    Journal journal(folder_, job_);
    ASSERT_EQ(3u, journal.frames().size());
    EXPECT_EQ(2, journal.segments());
    EXPECT_EQ(second[0].hash, journal.frames()[2].hash);
    EXPECT_EQ(5, journal.frames()[2].duration);
    EXPECT_EQ(1007, journal.frames()[2].number);
    journal.add(first);
  }
  EXPECT_EQ(5u, Journal(folder_, job_).frames().size());
}

// Outputs that were interrupted between two journals continue after the segments that all of them have.
TEST_F(JournalTest, ForgetsSegmentsForGood) {
  const std::vector<FrameRecord> segment{{0, 1, {}}, {1, 1, {}}};
  for (const int kept : {2, 1, 0}) {
    {
      Journal journal(folder_, job_);
      while (journal.segments() < 3) journal.add(segment);
      journal.keep(kept);
      EXPECT_EQ(2 * static_cast<std::size_t>(kept), journal.frames().size());
    }
    Journal again(folder_, job_);
    EXPECT_EQ(kept, again.segments());
    EXPECT_EQ(2 * static_cast<std::size_t>(kept), again.frames().size());
  }
}

TEST_F(JournalTest, RefusesOtherJobsOtherRunsAndNonsense) {
  {
    const Journal journal(folder_, job_);
    EXPECT_NE(std::string::npos, failure(job_, folder_).find("another run; wait for it"));
  }
  const std::string other = R"({"input": "b.mp4", "look": 1})";
  EXPECT_EQ("no failure", failure(other, folder_)) << "nothing is lost by beginning anew";
  Journal(folder_, other).add({{0, 1, {}}});
  EXPECT_NE(std::string::npos, failure(job_, folder_).find("differs in its input"));
}

TEST_F(JournalTest, RefusesDamagedSegments) {
  const std::string hash = "\"" + std::string(32, '0') + "\"";
  for (const std::string& segment :
       {std::string(R"([[3,1,"nothex"]])"), "[[1e300,1," + hash + ",1]]", "[[0,1.5," + hash + ",1]]",
        "[[0,1," + hash + ",3000000000]]", std::string("[[3,1]]"), std::string("[7]")}) {
    std::ofstream(folder_ / "journal") << job_ << "\n" << segment << "\n";
    EXPECT_NE(std::string::npos, failure(job_, folder_).find("is damaged; remove")) << segment;
  }
}

}  // namespace
