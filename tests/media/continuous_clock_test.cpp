// Packets of files whose clocks jump, and the times that they get.
#include "media/input/continuous_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

namespace kalvetra {
namespace {

constexpr int kPictures = 0, kSound = 1;

// Pictures of 40 ms, and sound in packets of 20 ms.
class ContinuousClockTest : public ::testing::Test {
 protected:
  ContinuousClockTest() { use("mpegts"); }

  void use(const char* demuxer) {
    container_.reset(avformat_alloc_context());
    container_->iformat = av_find_input_format(demuxer);
    for (const AVMediaType type : {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO}) {
      AVStream* stream = avformat_new_stream(container_.get(), nullptr);
      stream->codecpar->codec_type = type;
      stream->time_base = {1, 1000};
    }
    clock_.emplace(*container_, kPictures, 40);
    pictures_ = sound_ = "";
  }

  void add(int stream, std::int64_t time, bool key = true) {
    PacketPtr packet = makePacket();
    packet->stream_index = stream;
    packet->pts = packet->dts = time;
    packet->duration = stream == kPictures ? 40 : 20;
    packet->flags = key ? AV_PKT_FLAG_KEY : 0;
    clock_->add(std::move(packet));
    collect();
  }
  // A key picture and those that follow in the file.
  void addPictures(const std::vector<std::int64_t>& times) {
    for (const std::int64_t time : times) add(kPictures, time, time == times.front());
  }
  void addSound(std::int64_t from, std::int64_t to) {
    for (std::int64_t time = from; time < to; time += 20) add(kSound, time);
  }
  void end() {
    clock_->end();
    collect();
  }
  void collect() {
    while (const PacketPtr packet = clock_->next()) {
      std::string& times = packet->stream_index == kPictures ? pictures_ : sound_;
      times += (packet->pts == AV_NOPTS_VALUE ? "-" : std::to_string(packet->pts)) + " ";
    }
  }

  std::unique_ptr<AVFormatContext, decltype(&avformat_free_context)> container_{nullptr, avformat_free_context};
  std::optional<ContinuousClock> clock_;
  std::string pictures_, sound_;  // their times, in the order in which they came
};

TEST_F(ContinuousClockTest, OnlyWhatGoesBackIsAJump) {
  addPictures({0, 80, 40, 120, 160});
  addPictures({520, 560, 600});  // after a gap
  addPictures({30, 70, 110});
  end();
  EXPECT_EQ("0 80 40 120 160 520 560 600 640 680 720 ", pictures_);
  EXPECT_EQ(1, clock_->jumps());
}

TEST_F(ContinuousClockTest, PausesAmongReorderedPicturesAreNoJumps) {
  for (const char* demuxer : {"matroska", "mpegts"}) {
    use(demuxer);
    addPictures({0, 160, 80, 40, 120, 9000, 200, 8960, 9160});
    end();
    EXPECT_EQ("0 160 80 40 120 9000 200 8960 9160 ", pictures_) << demuxer;
    EXPECT_EQ(0, clock_->jumps()) << demuxer;
  }
}

TEST_F(ContinuousClockTest, AJoinedPartMayBeginWithoutAKeyPicture) {
  for (std::int64_t time = 0; time < 1600; time += 40) add(kPictures, time, time == 0);
  for (const std::int64_t time : {80, 40, 160, 120}) add(kPictures, time, false);
  end();
  EXPECT_EQ("1520 1560 1640 1600 1720 1680 ", pictures_.substr(pictures_.find("1520")));
  EXPECT_EQ(1, clock_->jumps());
}

TEST_F(ContinuousClockTest, ALeapMayFallAmongReorderedPictures) {
  addPictures({0, 160, 80, 40, 120, 30160, 30080, 200, 30120, 30320, 30240});
  end();
  EXPECT_EQ("0 160 80 40 120 320 240 200 280 480 400 ", pictures_);
  EXPECT_EQ(240, clock_->firstJump());
}

TEST_F(ContinuousClockTest, SoundThatJumpsFirstWaitsForItsPictures) {
  addPictures({1000, 1040, 1080});
  addSound(1000, 1140);
  addSound(992, 1032);  // the next part's begins 8 ms before its pictures
  EXPECT_EQ("1000 1020 1040 1060 1080 1100 1120 ", sound_);
  addPictures({1000, 1040, 1080});
  EXPECT_EQ("1000 1040 1080 1120 1160 1200 ", pictures_);
  addSound(1032, 1072);
  // Shifted by 120: 1112 lies over what came until 1140, 1132 hardly does.
  EXPECT_EQ("1000 1020 1040 1060 1080 1100 1120 1132 1152 1172 ", sound_);
  EXPECT_EQ(1120, clock_->firstJump());
}

TEST_F(ContinuousClockTest, AJoinedPartBeginsWithItsFirstShownPicture) {
  addPictures({200, 240, 280});
  addPictures({80, 0, 40, 160});  // the key picture is shown third
  EXPECT_EQ("200 240 280 400 320 360 480 ", pictures_);
}

TEST_F(ContinuousClockTest, ASinglePictureWithAStrayTimeIsNoJump) {
  for (const std::int64_t wrong : {20, 95000000}) {
    use("mpegts");
    addPictures({200, 240, wrong, 320, 360});
    add(kPictures, wrong);
    addPictures({440, 480});
    end();
    EXPECT_EQ(0, clock_->jumps());
    EXPECT_EQ(wrong == 20 ? "200 240 20 320 360 - 440 480 " : "200 240 - 320 360 - 440 480 ", pictures_);
  }
}

TEST_F(ContinuousClockTest, ALeapIsAnotherClockOnlyInStreamsThatMayHaveThem) {
  for (const auto& [demuxer, expected] :
       {std::pair{"mpegts", "0 40 80 120 160 "}, {"matroska", "0 40 80 30000 30040 "}}) {
    use(demuxer);
    addPictures({0, 40, 80});
    addPictures({30000, 30040});
    end();
    EXPECT_EQ(expected, pictures_) << demuxer;
  }
  use("mpegts");  // pictures fail while the sound continues: the times are right
  addPictures({0, 40, 80});
  addSound(0, 25000);
  addPictures({25000, 25040});
  end();
  EXPECT_EQ("0 40 80 25000 25040 ", pictures_);
}

TEST_F(ContinuousClockTest, SoundWhoseTimesJumpAloneContinuesAtItsEnd) {
  addPictures({0, 40, 80});
  addSound(5000, 5060);
  addSound(0, 40);
  for (std::int64_t time = 120; time < 2300; time += 40) add(kPictures, time, false);
  addSound(40, 60);
  EXPECT_EQ("5000 5020 5040 5060 5080 5100 ", sound_);
  EXPECT_EQ(0, clock_->jumps());
}

TEST_F(ContinuousClockTest, NonsenseDoesNoHarm) {
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t time : {most, most / 2, -most, most / 300, -most / 300, std::int64_t{0}}) {
    for (int i = 0; i < 3; ++i) {
      add(kPictures, time + (time > 0 ? -i : i));
      add(kSound, time);
    }
  }
  end();
  EXPECT_EQ(18, std::count(pictures_.begin(), pictures_.end(), ' '));
}

}  // namespace
}  // namespace kalvetra
