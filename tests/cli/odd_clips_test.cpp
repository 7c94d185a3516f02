// Clips that are stored in unusual ways, and what is made of them.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::Image;
using nlohmann::json;
using namespace kalvetra::test;

const std::string kPicture = kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=25:d=0.48 ";  // 12 frames
const std::string kColor = " --key-color 0,255,0 ";

std::string outputOf(const std::string& command, int status) {
  const Outcome outcome = run(command);
  EXPECT_EQ(status, outcome.status) << command << "\n" << outcome.output;
  return outcome.output;
}

json probed(const std::string& file) { return json::parse(need(kKalvetra + " probe --json " + file + " 2>/dev/null")); }

TEST(OddClips, MirroredOnesAreRefused) {
  const ScratchFolder folder;
  const std::string plain = folder.path("plain.mp4"), mirrored = folder.path("mirrored.mp4");
  need(kPicture + "-pix_fmt yuv420p -c:v libx264 " + plain);
  std::ifstream file(plain, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  // The video track's matrix begins with 1 as a number of 16.16 bits, 40 bytes into the content of its header.
  const std::size_t matrix = bytes.find("tkhd") + 4 + 40;
  ASSERT_EQ(std::string({0, 1, 0, 0}), bytes.substr(matrix, 4));
  bytes.replace(matrix, 4, std::string({-1, -1, 0, 0}));
  std::ofstream(mirrored, std::ios::binary) << bytes;
  for (const std::string& command : {key(mirrored + " -f null" + kColor), kKalvetra + " probe " + mirrored}) {
    expectHas(outputOf(command, 1), "mirrored.mp4: its pictures are stored mirrored");
  }
}

// A JPEG file whose camera says in its Exif data that it is to be turned a quarter clockwise.
TEST(OddClips, PhotographsAreTurnedAsTheirCameraSays) {
  const ScratchFolder folder;
  const std::string plain = folder.path("plain.jpg"), photo = folder.path("photo-1.jpg");
  need(kPicture + "-frames:v 1 -update 1 " + plain);
  std::ifstream file(plain, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const char exif[] =
      "\xFF\xE1\x00\x22"
      "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0";
  ASSERT_EQ(0x24u, sizeof exif - 1);
  bytes.insert(2, exif, sizeof exif - 1);
  std::ofstream(photo, std::ios::binary) << bytes;
  EXPECT_EQ(90, probed(photo).at("rotation"));
  EXPECT_EQ(0, probed(plain).at("rotation"));
  for (const std::string& source : {photo, folder.path("photo-%d.jpg")}) {
    const std::string result = folder.path("r-%d.png");
    need(key(source + " " + result + " --view source" + kColor));
    const Image image = readAll(folder.path("r-1.png")).at(0);
    EXPECT_EQ(90, image.width);
    EXPECT_EQ(160, image.height);
    EXPECT_EQ(kalvetra::turned(readAll(plain).at(0), 1).bytes, image.bytes);
    std::filesystem::remove(folder.path("r-1.png"));
  }
}

// FFmpeg's pictures of these formats have 3 bits of red and green and 2 of blue, whatever its description says.
TEST(OddClips, FewBitsAPixelAreReadAsOtherProgramsReadThem) {
  const ScratchFolder folder;
  for (const char* format : {"rgb8", "bgr8", "rgb4_byte", "bgr4_byte"}) {
    const std::string clip = folder.path(std::string(format) + ".nut"), wide = folder.path("wide.png");
    need(kPicture + "-frames:v 1 -pix_fmt " + format + " -c:v rawvideo " + clip);
    need(kFfmpeg + "-i " + clip + " -pix_fmt rgb24 -update 1 " + wide);
    EXPECT_LT(meanDifference(readAll(clip).at(0), readAll(wide).at(0), 1, 1), 1.0) << format;
  }
  for (const char* format : {"uyyvyy411", "rgb4", "bgr4"}) {
    const std::string command = key("/dev/null -f null" + kColor + "--raw 2x2@25:" + format);
    EXPECT_NE(0, run(command).status);
    expectHas(run(command).output, "names a pixel format that cannot be read ('" + std::string(format));
  }
}

// Half of full red, tagged as premultiplied, is full red.
TEST(OddClips, PremultipliedColoursAreDividedByTheirAlpha) {
  const ScratchFolder folder;
  const std::string clip = folder.path("p.mov"), plain = folder.path("s.mov");
  const std::string half = kFfmpeg + "-f lavfi -i color=0x803219@0.5:s=32x32:d=0.08,format=argb -c:v qtrle ";
  need(half + "-movflags use_metadata_tags -metadata kalvetra_alpha=premultiplied " + clip);
  need(half + plain);
  const json alpha = probed(clip).at("alpha");
  EXPECT_EQ("premultiplied", alpha.at("kind"));
  EXPECT_EQ("tagged", alpha.at("reason"));
  const auto pixel = [](const Image& image) { return std::vector<int>(image.bytes.begin(), image.bytes.begin() + 4); };
  const std::string keyed = folder.path("k-%d.png");
  need(key(clip + " " + keyed + " --view source" + kColor));
  const std::vector<int> stored = pixel(readAll(plain).at(0)), straight = pixel(readAll(folder.path("k-1.png")).at(0));
  for (const std::size_t c : {1u, 2u, 3u}) {
    const double exact = 255.0 * stored[c] / stored[0];
    EXPECT_NEAR(std::min(exact, 255.0), straight[c], 0.5) << c;
  }
  EXPECT_EQ(stored, pixel(readAll(clip).at(0))) << "unless asked for, as stored";
  // OpenEXR demands it, which is followed at full depth: half of full light is full light.
  const std::string light = folder.path("p.exr"), seen = folder.path("k.png");
  need(kFfmpeg + "-f lavfi -i color=0x803219@0.5:s=32x32:d=0.04,format=argb,format=gbrapf32le -frames:v 1 " + light);
  need(key(light + " " + seen + " --view source" + kColor));
  EXPECT_NEAR(255, pixel(readAll(seen).at(0))[1], 1);
}

// FFmpeg's decoder leaves what is missing black, and says nothing.
TEST(OddClips, CutOffOpenExrFilesAreDamaged) {
  const ScratchFolder folder;
  const std::string source = folder.path("a-1.exr"), cut = folder.path("a-2.exr"), out = folder.path("o-%d.png");
  for (const char* form : {"gbrpf32le -compression none", "gbrpf32le -compression zip16", "gbrapf32le -format half"}) {
    need(kFfmpeg + "-y -f lavfi -i testsrc2=s=33x40:d=0.04 -pix_fmt " + form + " -frames:v 1 " + source);
    need(key(source + " -f null" + kColor));
    const auto size = fs::file_size(source);
    for (const auto kept : {size - 1, size / 2, size / 4, std::uintmax_t{20}}) {
      fs::copy_file(source, cut, fs::copy_options::overwrite_existing);
      fs::resize_file(cut, kept);
      EXPECT_EQ(1, run(key(cut + " -f null" + kColor)).status) << form << ", " << kept << " of " << size;
    }
    fs::copy_file(source, folder.path("a-3.exr"), fs::copy_options::overwrite_existing);
    const Outcome partly = run(key(folder.path("a-%d.exr") + " -y --keep-partial " + out + kColor));
    EXPECT_EQ(1, partly.status);
    expectHas(partly.output, "1 frame lost");
    EXPECT_TRUE(fs::exists(folder.path("o-3.png")) && !fs::exists(folder.path("o-2.png"))) << partly.output;
  }
}

// A grey picture is what one of three equal colours is, and floats know no limited range.
TEST(OddClips, GreyPicturesHaveTheCurveOfColoredOnes) {
  const ScratchFolder folder;
  for (const auto& [form, name] : {std::pair{"rgb48be", "c.png"}, {"gray16be", "g.png"}, {"grayf32le", "g.exr"}}) {
    const std::string file = folder.path(name), out = folder.path("o.exr");
    need(kFfmpeg + "-f lavfi -i color=0x808080:s=8x8:d=0.04 -frames:v 1 -vf format=rgb24,format=" + form + " " + file);
    const std::string said = need(key(file + " -y " + out + " --view source" + kColor));
    EXPECT_EQ(std::string::npos, said.find("limited range")) << said;
    // What light was is code values of sRGB here.
    EXPECT_NEAR(std::string(name) == "g.exr" ? 188 : 128, readAll(out).at(0).bytes[1], 3) << name;
  }
}

TEST(OddClips, SoundThatBeginsBeforeThePicturesGoesIntoNutInStep) {
  const ScratchFolder folder;
  for (const char* sound : {"libopus s.mkv", "libmp3lame s.mp4"}) {
    const std::string text = sound, codec = text.substr(0, text.find(' ')),
                      clip = folder.path(text.substr(text.find(' ') + 1));
    need(kPicture + "-f lavfi -i sine=d=0.48:r=48000 -pix_fmt yuv420p -c:v libx264 -c:a " + codec + " " + clip);
    const auto soundTimes = [&](const std::string& file) {
      std::istringstream lines(need("ffprobe -v error -select_streams a -show_entries packet=pts_time -of csv=p=0 " +
                                    file + " | grep -oE '^-?[0-9.]+'"));
      std::vector<double> times;
      for (std::string line; std::getline(lines, line);) times.push_back(std::stod(line));
      return times;
    };
    std::vector<double> expected = soundTimes(clip);
    ASSERT_LT(expected.front(), 0) << codec;
    const std::string nut = folder.path("o.nut"), matroska = folder.path("o.mkv");
    need(key(clip + " -" + kColor + "> " + nut));
    need(key(clip + " " + matroska + kColor + "--yes"));
    EXPECT_EQ(12u, readAll(nut).size());
    const std::size_t all = expected.size();
    std::erase_if(expected, [](double time) { return time < 0; });
    const std::vector<double> written = soundTimes(nut);
    ASSERT_EQ(expected.size(), written.size()) << codec;
    for (std::size_t i = 0; i < written.size(); ++i) EXPECT_NEAR(expected[i], written[i], 0.002) << codec;
    EXPECT_GE(soundTimes(matroska).size() + 1, all) << "only what ends before 0 may be missing";
  }
}

TEST(OddClips, SoundThatAContainerRefusesLateIsEncoded) {
  const ScratchFolder folder;
  const std::string clip = folder.path("ima.avi"), output = folder.path("o.mov");
  need(kPicture + "-f lavfi -i sine=d=0.48 -c:v mpeg4 -c:a adpcm_ima_wav " + clip);
  expectHas(need(key(clip + " " + output + kColor)),
            "(adpcm_ima_wav), 44100 Hz, 1 channels, is encoded as pcm_s24le, 44100 Hz, mono");
  for (const char* codec : {"aac", "ac3", "eac3", "alac", "pcm_s24le", "libmp3lame", "flac"}) {
    const std::string other = folder.path("other.mkv");
    need(kPicture + "-f lavfi -i sine=d=0.48:r=48000 -c:v mpeg4 -c:a " + codec + " " + other);
    const std::string told = need(key(other + " " + output + kColor + "--yes"));
    const bool encoded = std::string(codec) == "flac";
    EXPECT_EQ(encoded, told.find("is encoded as") != std::string::npos) << told;
  }
}

TEST(OddClips, TheTiniestPicturesAreArchivedWithoutLoss) {
  const ScratchFolder folder;
  for (const char* size : {"1:1", "1:40", "40:1", "2:40", "40:2", "3:3", "3:5", "4:4"}) {
    const std::string still = folder.path("s.png"), output = folder.path("o.mkv");
    need(kPicture + "-frames:v 1 -update 1 -vf scale=" + size + ",setsar=1,format=rgb24 " + still);
    need(key(still + " " + output + " --view source --yes" + kColor));
    EXPECT_EQ(readAll(still).at(0).bytes, readAll(output).at(0).bytes) << size;
  }
}

// The times of a file's sound by the content of its packets, counted from the first picture.
std::multimap<std::string, double> soundInStep(const std::string& file) {
  const json packets = json::parse(
      need("ffprobe -v error -select_streams a -show_data_hash md5 -show_entries packet=pts_time,data_hash -of json " +
           file));
  const double first = std::stod(pictureTimes(file));
  std::multimap<std::string, double> found;
  for (const json& packet : packets["packets"]) {
    found.emplace(packet["data_hash"], std::stod(packet["pts_time"].get<std::string>()) - first);
  }
  return found;
}

TEST(OddClips, RecordingsJoinedByteByByteGoOnInStep) {
  const ScratchFolder folder;
  const std::string part = folder.path("part.ts"), late = folder.path("late.ts"), joined = folder.path("joined.ts");
  need(kPicture + "-f lavfi -i anoisesrc=d=0.48:r=48000 -pix_fmt yuv420p -c:v libx264 -c:a mp2 " + part);
  need(kFfmpeg + "-i " + part + " -c copy -output_ts_offset 80000 " + late);
  need("cat " + part + " " + late + " " + part + " > " + joined);  // the clock leaps ahead, then back
  const std::string whole = folder.path("whole.mkv"), resumed = folder.path("resumed.mkv"), more = " --view source";
  const std::string told = need(key(joined + " " + whole + kColor + more));
  expectHas(told, "joined.ts: its clock jumps 2 times, first at 0.");
  expectHas(told, "36 pictures, 1.440 s, ");
  std::istringstream times(pictureTimes(whole));
  double first = 0.0, time = 0.0;
  for (int i = 0; i < 36; ++i) {
    ASSERT_TRUE(times >> time);
    if (i == 0) first = time;
    EXPECT_NEAR(0.04 * i, time - first, 0.0015);
  }
  const auto wanted = soundInStep(part), found = soundInStep(whole);
  EXPECT_GE(found.size(), 3 * wanted.size() - 4) << "only what overlaps may be missing";
  for (const auto& [content, at] : found) {
    ASSERT_TRUE(wanted.contains(content));
    EXPECT_NEAR(0.0, std::remainder(at - wanted.find(content)->second, 0.48), 0.002) << at;
  }
  need(key(joined + " " + resumed + kColor + more + " --resume"));
  EXPECT_EQ(pictureTimes(whole), pictureTimes(resumed));
  EXPECT_EQ(found, soundInStep(resumed));
  expectHas(need(key(joined + " " + whole + kColor + more + " --yes --start 0.6 --end 1")), "10 pictures, 0.400 s");
  expectHas(need(kKalvetra + " probe " + joined), "its clock jumps");
}

// A clip that is nothing but screen shows its background alone.
TEST(OddClips, ABackgroundPlaysAtItsOwnRate) {
  const ScratchFolder out;
  need(kFfmpeg + "-f lavfi -i color=0x3cbe50:s=64x36:r=25 -frames:v 20 -c:v ffv1 -pix_fmt bgr0 " + out.path("g.mkv"));
  need(kFfmpeg + "-f lavfi -i testsrc2=s=64x36:r=50 -frames:v 12 -c:v ffv1 -pix_fmt bgr0 " + out.path("b.mkv"));
  const std::vector<Image> background = readAll(out.path("b.mkv"));
  const auto expectShown = [&](const std::string& options, std::size_t frames, bool loop) {
    need(key(out.path("g.mkv") + " -f null -y --clip-black 20 --key-color 60,190,80 --over " + out.path("b.mkv") +
             " --also comp=" + out.path("c.mkv") + options));
    const std::vector<Image> shown = readAll(out.path("c.mkv"));
    ASSERT_EQ(frames, shown.size());
    for (std::size_t i = 0; i < frames; ++i) {
      const std::size_t wanted = loop ? 2 * i % 12 : std::min<std::size_t>(2 * i, 11);
      EXPECT_TRUE(background[wanted].bytes == shown[i].bytes) << options << ", picture " << i;
    }
  };
  expectShown("", 20, false);
  expectShown(" --over-end loop --start 7f", 13, true);
}

}  // namespace
