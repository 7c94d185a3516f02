// The sound of a clip in every kind of movie, measured by clicks: sounds of a few milliseconds, 0.3 s after the start
// in the first channel and 0.1 s later in each further one.
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "media/output/sound_transcoder.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra::test;

const std::string kGreen = "-f lavfi -i color=0x40b050:s=64x48:r=25:d=2 ";
const std::string kVideo = "-c:v libx264 -pix_fmt yuv420p ";

class Sound : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return folder_.path(name); }

  // Two seconds of green and of clicks; `coding` may say how often they are sampled first.
  std::string clip(const std::string& name, const std::string& layout, int channels, const std::string& coding) const {
    std::string expressions;
    for (int c = 0; c < channels; ++c) {
      const std::string since = "(t-" + std::to_string(0.3 + 0.1 * c) + ")";
      expressions += (c == 0 ? "" : "|") + ("0.9*exp(-pow(" + since + "*1000\\,2))*cos(2*PI*1000*" + since + ")");
    }
    need(kFfmpeg + kGreen + "-f lavfi -i \"aevalsrc=" + expressions + ":c=" + layout + ":d=2:s=" + coding + " " +
         kVideo + path(name));
    return path(name);
  }

  std::string keyed(const std::string& input, const std::string& output, const std::string& more = "") const {
    const std::string matte = output.ends_with(".mp4") ? " --view matte " : " ";
    return need(key(input + " " + path(output) + matte + "-y --key-color 60,180,80 " + more));
  }

  // The time of the middle of the click in that channel as ffmpeg decodes it, by the time of the first frame and the
  // number of the sample; -1 without a click.
  double click(const std::string& file, int channel, int track = 0) const {
    const std::string which = " -select_streams a:" + std::to_string(track) + " ", raw = file + ".raw";
    const std::string name = path(file);
    const double start = std::stod(
        need("ffprobe -v error" + which + "-show_entries " + "frame=pts_time -of csv=p=0 " + name + " | head -1"));
    const double rate =
        std::stod(need("ffprobe -v error" + which + "-show_entries stream=sample_rate -of csv=p=0 " + name));
    need(kFfmpeg + "-i " + name + " -map 0:a:" + std::to_string(track) + " -af pan=mono\\|c0=c" +
         std::to_string(channel) + " -f f32le " + path(raw));
    std::vector<float> samples(std::filesystem::file_size(path(raw)) / sizeof(float));
    std::ifstream(path(raw), std::ios::binary)
        .read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size() * sizeof(float)));
    const auto loudest =
        std::max_element(samples.begin(), samples.end(), [](float a, float b) { return std::abs(a) < std::abs(b); });
    if (loudest == samples.end() || std::abs(*loudest) < 0.3F) return -1;
    const auto reach = static_cast<std::ptrdiff_t>(0.005 * rate);
    double sum = 0, moment = 0;
    for (auto s = std::max(samples.begin(), loudest - reach); s < std::min(samples.end(), loudest + reach); ++s) {
      sum += std::pow(*s, 2);
      moment += std::pow(*s, 2) * static_cast<double>(s - samples.begin());
    }
    return start + moment / sum / rate;
  }

  // All channels' clicks lie where they should, to two samples of 48000 a second; a channel of low sounds has none.
  void expectClicks(const std::string& file, int channels, double from, int without = -1) const {
    for (int c = 0; c < channels; ++c) {
      if (c == without) continue;
      EXPECT_NEAR(0.3 + 0.1 * c - from, click(file, c), 2 / 48000.0) << file << ", channel " << c;
    }
  }

  static std::string codecs(const std::string& file) {
    return need("ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 " + file);
  }

  ScratchFolder folder_;
};

TEST_F(Sound, IsEncodedWhereItCannotBeCopiedAndStaysInItsPlace) {
  const std::string flac = clip("f.mkv", "stereo", 2, "48000\" -c:a flac");
  const std::string aac = clip("a.mp4", "stereo", 2, "44100\" -c:a aac");
  const std::string telephone = clip("t.avi", "mono", 1, "8000\" -c:a pcm_mulaw");
  const std::string studio = clip("s.mkv", "7.1", 8, "96000\" -c:a flac");
  const std::string side = clip("e.mkv", "5.1\\(side\\)", 6, "44100\" -c:a ac3 -b:a 640k");
  for (const char* late : {"0.5", "0.01"}) {
    need(kFfmpeg + "-i " + flac + " -itsoffset " + late + " -i " + flac + " -map 0:v -map 1:a -c copy " +
         path("late" + std::string(late) + ".mkv"));
  }
  struct Case {
    std::string input, output, options, codec;
    int channels;
    double from;
    int without = -1;
  };
  const std::vector<Case> cases{{flac, "o.webm", "", "opus", 2, 0},
                                {flac, "o.mp4", "", "aac", 2, 0},
                                {flac, "o.mov", "", "pcm_s24le", 2, 0},
                                {aac, "o.webm", "", "opus", 2, 0},
                                {telephone, "o.webm", "", "opus", 1, 0},
                                {telephone, "o.mp4", "", "aac", 1, 0},
                                {studio, "o.webm", "", "opus", 8, 0},
                                {studio, "o.mp4", "", "aac", 8, 0, 3},
                                {studio, "o.mov", "", "pcm_s24le", 8, 0},
                                {path("late0.5.mkv"), "o.webm", "", "opus", 2, -0.5},
                                {path("late0.01.mkv"), "o.mov", "", "pcm_s24le", 2, -0.01},
                                {path("late0.5.mkv"), "o.mp4", "--start 0.6", "aac", 2, 0.1},
                                {flac, "o.webm", "--start 5f --end 20f", "opus", 2, 0.2},
                                {flac, "o.mov", "--start 0.2 --frames 20", "pcm_s24le", 2, 0.2},
                                {flac, "o.mkv", "--start 0.2", "flac", 2, 0.2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.input + " to " + c.output + " " + c.options);
    const std::string said = keyed(c.input, c.output, c.options);
    EXPECT_EQ(c.output != "o.mkv", said.find("is encoded as " + c.codec) != std::string::npos) << said;
    EXPECT_EQ(c.codec + "\n", codecs(path(c.output)));
    expectClicks(c.output, c.channels, c.from, c.without);
  }
  keyed(aac, "o.mov", "--start 0.2");
  EXPECT_NEAR(0.1, click("o.mov", 0), 1.1e-3) << "it is copied, and the file tells in milliseconds where it begins";
  EXPECT_LE(0.0, std::stod(need("ffprobe -v error -select_streams a -show_entries packet=pts_time -of csv=p=0 " +
                                path("o.mov") + " | head -1")))
      << "nothing of what sounds before";
  expectHas(keyed(side, "o.webm"), "audio stream 1 (ac3), 44100 Hz, 5.1(side), is encoded as opus, 48000 Hz, 5.1");
  keyed(flac, "o.mov", "--start 5f --end 20f");
  EXPECT_EQ("28800\n",
            need("ffprobe -v error -select_streams a -show_entries stream=duration_ts -of csv=p=0 " + path("o.mov")))
      << "it ends with the pictures";
}

TEST_F(Sound, OpusStaysInItsPlaceFromFileToFile) {
  clip("a.mkv", "stereo", 2, "48000\" -c:a flac");
  keyed(path("a.mkv"), "b.webm");
  keyed(path("b.webm"), "c.webm");
  expectClicks("c.webm", 2, 0);
  // A long run-up takes several packets.
  need(kFfmpeg + kGreen + "-f lavfi -i \"aevalsrc=0.9*exp(-pow((t-0.5)*1000\\,2)):d=2\" " + kVideo +
       "-c:a libopus -frame_duration 2.5 -f mp4 " + path("short.mp4"));
  keyed(path("short.mp4"), "d.webm");
  EXPECT_NEAR(click("short.mp4", 0), click("d.webm", 0), 1e-3);
}

TEST_F(Sound, TracksKeepLanguageTitleAndDisposition) {
  const std::string one = clip("one.mkv", "stereo", 2, "48000\" -c:a pcm_s16le");
  need(kFfmpeg + "-i " + one + " -map 0:v -map 0:a -map 0:a -c:v copy -c:a:0 pcm_s16le -c:a:1 flac " +
       "-metadata:s:a:0 language=deu -metadata:s:a:1 language=fra -metadata:s:a:1 title=Director " +
       "-disposition:a:0 0 -disposition:a:1 default " + path("two.mkv"));
  keyed(path("two.mkv"), "o.mkv");
  keyed(path("two.mkv"), "o.mov");
  const std::string entries = "stream=index:stream_tags=language:stream_disposition=default";
  for (const char* file : {"o.mkv", "o.mov"}) {
    const std::string streams = probe(entries + " -select_streams a", path(file));
    const bool mov = std::string(file) == "o.mov";  // which knows German by its other code
    expectHas(streams, std::string("index=1|disposition:default=0|tag:language=") + (mov ? "ger" : "deu"));
    expectHas(streams, "index=2|disposition:default=1|tag:language=fra");
    EXPECT_NEAR(0.4, click(file, 1, 1), 1e-4);
  }
  EXPECT_EQ("pcm_s16le\npcm_s24le\n", codecs(path("o.mov")));
  expectHas(probe("stream_tags=title", path("o.mkv")), "title=Director");
  EXPECT_NE("", need("grep -ac Director " + path("o.mov")));
  keyed(path("two.mkv"), "o.mov", "--no-sound");
  EXPECT_EQ("", codecs(path("o.mov")));
}

TEST_F(Sound, OfAResumableRunEqualsThatOfAPlainOne) {
  const std::string aac = path("a.mp4");  // sounds all the time, so that each sample counts
  need(kFfmpeg + kGreen + "-f lavfi -i anoisesrc=d=2:r=44100 " + kVideo + "-ac 6 -c:a aac " + aac);
  for (const char* options : {"", "--start 5f --end 20f", "--start 1.2"}) {
    std::string packets[2];
    for (const bool resumable : {false, true}) {
      keyed(aac, "o.webm", std::string(options) + (resumable ? " --resume" : ""));
      packets[resumable ? 1 : 0] = need("ffprobe -v error -select_streams a -show_entries " +
                                        std::string("packet=pts,size -of csv ") + path("o.webm")) +
                                   need(kFfmpeg + "-i " + path("o.webm") + " -map 0:a -f md5 -");
    }
    EXPECT_EQ(packets[0], packets[1]) << options;
  }
}

TEST_F(Sound, WhatCannotBeDecodedBecomesSilence) {
  const std::string whole = clip("a.mkv", "stereo", 2, "48000\" -c:a aac");
  need(kFfmpeg + "-i " + whole + " -c copy -bsf:a 'noise=drop=between(n\\,3\\,9)' " + path("gap.mkv"));
  need(kFfmpeg + "-i " + whole + " -c copy -bsf:a 'noise=amount=1' " + path("bad.mkv"));
  keyed(path("gap.mkv"), "o.webm");
  EXPECT_NEAR(click("a.mkv", 0), click("o.webm", 0), 1e-3) << "the file's times are in milliseconds";
  expectHas(keyed(path("bad.mkv"), "o.webm"), "packets could not be decoded and became silence");
}

// By less than what the reader takes for another clock.
TEST_F(Sound, WhoseTimesJumpBackSaysWhatIsLeftOut) {
  const std::string whole = clip("a.mkv", "stereo", 2, "48000\" -c:a pcm_s16le");
  need(kFfmpeg + "-i " + whole +
       " -c copy -bsf:a 'setts=pts=if(gte(PTS\\,1000)\\,PTS-80\\,PTS):dts=if(gte(N\\,5)\\,N\\,DTS)' " +
       path("back.mkv"));
  expectHas(keyed(path("back.mkv"), "o.webm"), "its times jump back, and 0.08 s that would sound twice");
  EXPECT_NEAR(0.3, click("o.webm", 0), 1e-3);
}

// The encoder asks for one second first, as while a range is keyed, then for all.
TEST_F(Sound, ALongSilenceIsNeverHeldInMemory) {
  constexpr int kRate = 48000, kLate = 2000;  // seconds: 768 MB of samples
  need(kFfmpeg + "-f lavfi -i anoisesrc=d=1:r=48000 -ac 2 -c:a pcm_s16le " + path("n.mkv"));
  AVFormatContext* opened = nullptr;
  ASSERT_EQ(0, avformat_open_input(&opened, path("n.mkv").c_str(), nullptr, nullptr));
  const kalvetra::InputPtr input(opened);
  const AVStream& stream = *input->streams[0];
  kalvetra::SoundTranscoder transcoder(stream, "pcm_s24le", false);
  std::int64_t samples = 0;
  const kalvetra::DeliverPacket count = [&](AVPacket& packet) { samples += packet.duration; };
  const auto peak = [] {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;  // KiB
  };
  const long before = peak();
  const kalvetra::PacketPtr packet = kalvetra::makePacket();
  while (av_read_frame(input.get(), packet.get()) >= 0) {
    packet->pts += av_rescale_q(kLate, {1, 1}, stream.time_base);
    transcoder.write(*packet);
    transcoder.encode(1.0, count);
    av_packet_unref(packet.get());
  }
  EXPECT_LE(samples, kRate);
  transcoder.encode(std::nullopt, count);
  transcoder.finish(std::nullopt, count);
  EXPECT_EQ(std::int64_t{kLate + 1} * kRate, samples);
  EXPECT_LT(peak() - before, 400L * 1024);
}

}  // namespace
