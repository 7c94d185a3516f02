// After a look at other places a reader delivers from the start what a new one does.
#include <gtest/gtest.h>

#include "media/input/reader.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace kalvetra {
namespace {

const std::atomic<bool> kNever{false};

struct Clip {
  const char* file;
  const char* make;  // ffmpeg's options after pictures and sound, 3 seconds of each
  bool staysOpen;    // it is rewound without being opened again
  const char* after = "true";
};

constexpr const char* kDamage = "dd if=/dev/zero of=damaged.mov bs=1 seek=9000 count=600 conv=notrunc status=none";

const Clip kClips[] = {
    {"a.mp4", "-c:v libx264 -x264-params keyint=20:min-keyint=20:open-gop=1:bframes=3 -c:a aac", true},
    {"a.mov", "-c:v prores_ks -c:a pcm_s16le -timecode 01:00:00:10", true},
    {"cut.mov", "-c:v libx264 -bf 2 -c:a aac whole.mov", true, "ffmpeg -v error -ss 1.3 -i whole.mov -c copy cut.mov"},
    {"late.mp4", "-c:v libx264 -bf 2 -c:a aac whole.mov", true,
     "ffmpeg -v error -itsoffset 0.7 -i whole.mov -i whole.mov -map 0:v -map 1:a -c copy late.mp4"},
    {"early.mp4", "-c:v libx264 -bf 2 -c:a aac whole.mov", true,
     "ffmpeg -v error -i whole.mov -itsoffset 0.7 -i whole.mov -map 0:v -map 1:a -c copy early.mp4"},
    {"damaged.mov", "-c:v libx264 -g 20 -qp 4 -an", true, kDamage},
    {"s-%03d.png", "-an -frames:v 12", true},
    {"a.mp4", "-c:v libx264 -g 20 -c:a aac -movflags frag_keyframe+empty_moov", false},
    {"a.mp4", "-c:v libx264 -g 20 -c:a aac -movflags frag_keyframe", false},
    {"a.mp4", "-c:v libx264 -g 20 -c:a aac -movflags +dash", false},
    {"a.mkv", "-c:v libx264 -bf 2 -c:a libopus", false},
    {"a.ts", "-c:v mpeg2video -bf 2 -c:a mp2", false},
    {"joined.ts", "-c:v mpeg2video -bf 2 -c:a mp2 a.ts", false, "cat a.ts a.ts > joined.ts"},
    {"a.avi", "-c:v mpeg4 -bf 2 -c:a mp3", false},
    {"a.y4m", "-an", false},
    {"a.png", "-an -frames:v 1", false},
};

std::string make(const test::ScratchFolder& folder, const Clip& clip) {
  const std::string options = clip.make, last = options.substr(options.rfind(' ') + 1);
  const bool isNamed = last.find('.') != std::string::npos;
  test::need("cd " + folder.path("") +
             " && ffmpeg -nostdin -v error -y -f lavfi -i testsrc=s=96x64:r=25:d=3 -f lavfi " +
             "-i sine=d=3 -pix_fmt yuv420p " + options + " " + (isNamed ? "" : clip.file) + " && " + clip.after);
  return folder.path(clip.file);
}

std::string bytesOf(const std::uint8_t* data, std::size_t size) {
  return std::to_string(std::hash<std::string_view>()({reinterpret_cast<const char*>(data), size}));
}

std::string textOf(const AVPacket& packet) {
  std::string text = "packet " + std::to_string(packet.stream_index) + " " + std::to_string(packet.pts) + " " +
                     std::to_string(packet.dts) + " " + std::to_string(packet.duration) + " " +
                     bytesOf(packet.data, static_cast<std::size_t>(packet.size));
  for (int i = 0; i < packet.side_data_elems; ++i) {
    const AVPacketSideData& side = packet.side_data[i];
    text += " side " + std::to_string(side.type) + " " + bytesOf(side.data, side.size);
  }
  return text;
}

// All that is delivered and counted, a line each.
std::vector<std::string> everythingOf(Reader& reader) {
  for (unsigned int i = 0; i < reader.container().nb_streams; ++i) {
    if (reader.container().streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
      reader.copyStream(static_cast<int>(i));
  }
  std::vector<std::string> lines;
  SourceFrame frame;
  for (bool more = true; more; frame = {}) {
    more = reader.next(frame);
    for (const PacketPtr& packet : frame.copied) lines.push_back(textOf(*packet));
    if (!more) break;
    const AVFrame& p = *frame.picture;
    lines.push_back("picture " + std::to_string(frame.time) + " " + std::to_string(frame.duration) + " " +
                    bytesOf(p.data[0], static_cast<std::size_t>(p.linesize[0]) * static_cast<std::size_t>(p.height)));
    lines.push_back("lost " + std::to_string(reader.lostFrames()) + ", damaged " +
                    std::to_string(reader.damagedFrames()));
  }
  lines.push_back("at the end lost " + std::to_string(reader.lostFrames()));
  lines.push_back(reader.describeJumps());
  return lines;
}

TEST(Rewind, DeliversAndCountsAllThatANewReaderDoes) {
  av_log_set_level(AV_LOG_QUIET);
  for (const Clip& clip : kClips) {
    SCOPED_TRACE(std::string(clip.file) + " " + clip.make);
    const test::ScratchFolder folder;
    const std::string file = make(folder, clip);
    Reader fresh(file, 2, kNever);
    const std::vector<std::string> expected = everythingOf(fresh);
    Reader reader(file, 2, kNever);
    const AVFormatContext* const opened = &reader.container();
    SourceFrame frame;
    for (const double place : {0.7, 0.2}) {
      reader.seek(place);
      reader.next(frame);
    }
    reader.rewind();
    EXPECT_EQ(clip.staysOpen, opened == &reader.container());
    EXPECT_EQ(expected, everythingOf(reader));
    reader.rewind();  // from the end
    EXPECT_EQ(expected, everythingOf(reader));
  }
}

}  // namespace
}  // namespace kalvetra
