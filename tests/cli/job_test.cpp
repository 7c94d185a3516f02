// Ranges, further outputs, batches and what a run reports about itself.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "media/files/numbered_name.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra::test;
using kalvetra::Image;

constexpr int kFrames = 30;
const std::string kColor = " --key-color 60,190,80 ";

// A second of 160 x 90 pictures with timecode and sound, ten pictures a group; green enough for a key.
const std::string& clip() {
  static const ScratchFolder folder;
  static const std::string path = [] {
    const std::string made = folder.path("clip.mov");
    need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=30 -f lavfi -i sine=r=48000 -t 1 -timecode 10:00:00:00 " +
         "-vf colorize=hue=130:saturation=0.6:lightness=0.4 -c:v libx264 -g 10 -bf 2 -pix_fmt yuv420p " +
         "-colorspace smpte170m -color_primaries smpte170m -color_trc smpte170m -color_range tv -c:a pcm_s16le " +
         made);
    return made;
  }();
  return path;
}

std::vector<std::string> hashes(const std::string& arguments) {
  const std::string text = need(key(arguments + kColor + "-f hash 2>/dev/null"));
  std::vector<std::string> all;
  std::istringstream lines(text);
  for (std::string number, time, hash; lines >> number >> time >> hash;) all.push_back(hash);
  return all;
}

double soundSeconds(const std::string& file) {
  const std::string raw = file + ".pcm";
  need(kFfmpeg + "-i " + file + " -f s16le " + raw);
  return static_cast<double>(fs::file_size(raw)) / 2 / 48000;
}

TEST(Range, TheSamePicturesBySecondsAndByNumbers) {
  const std::vector<std::string> all = hashes(clip());
  ASSERT_EQ(kFrames + 1u, all.size());  // the last line is the clip's
  const auto part = [&](const std::string& options, int first, int count) {
    const std::vector<std::string> found = hashes(clip() + " " + options);
    ASSERT_EQ(static_cast<std::size_t>(count) + 1, found.size()) << options;
    EXPECT_TRUE(std::equal(found.begin(), found.end() - 1, all.begin() + first)) << options;
  };
  part("--start 0.5", 15, 15);
  part("--start 7f --end 12f", 7, 5);
  part("--end 0.1", 0, 3);
  part("--start 0:00.9 --frames 2", 27, 2);
}

// Matroska has the pictures 4 and 7 at 0.133 and 0.233 s, a little before their time.
TEST(Range, MatroskasRoundedTimesNeitherAddNorLoseAPicture) {
  const ScratchFolder folder;
  need(kFfmpeg + "-i " + clip() + " -map 0:v -c copy " + folder.path("clip.mkv"));
  const std::string part = " --start 0.133333 --end 0.233333";
  const std::vector<std::string> all = hashes(clip()), found = hashes(folder.path("clip.mkv") + part);
  ASSERT_EQ(4u, found.size());
  EXPECT_TRUE(std::equal(found.begin(), found.end() - 1, all.begin() + 4));
}

TEST(Range, SoundAndTimecodeBeginWithThePictures) {
  const ScratchFolder out;
  need(key(clip() + " " + out.path("o.mov") + kColor + "--start 12f --end 24f"));
  const std::string streams = probe("stream=start_time:stream_tags=timecode", out.path("o.mov"));
  expectHas(streams, "timecode=10:00:00:12");
  EXPECT_NEAR(0.4, soundSeconds(out.path("o.mov")), 0.05);
  expectHas(pictureTimes(out.path("o.mov")), "0.000000\n0.033333\n");
}

TEST(Range, ResumedMoviesKeepTimecodeAndSound) {
  const ScratchFolder out;
  need(key(clip() + " " + out.path("o.mov") + kColor + "--end 22f --resume"));
  EXPECT_EQ(22u, readAll(out.path("o.mov")).size());
  expectHas(probe("stream_tags=timecode", out.path("o.mov")), "timecode=10:00:00:00");
  EXPECT_NEAR(22 / 30.0, soundSeconds(out.path("o.mov")), 0.05);
}

const std::string kOver = " --over '#102030' ";

TEST(Also, EveryViewComesFromTheOneKey) {
  const ScratchFolder out;
  const std::string more = " --also matte=" + out.path("m.mkv") + " --also plate=" + out.path("p.mkv") +
                           " --also source=" + out.path("s.mkv") + " --also status=" + out.path("t.mkv") +
                           " --also comp=" + out.path("c.mkv") + kOver;
  const std::string said = need(key(clip() + " " + out.path("r.mkv") + kColor + more));
  expectHas(said, "% almost clear");
  const std::pair<const char*, std::string> views[] = {
      {"m", "matte"}, {"p", "plate"}, {"s", "source"}, {"t", "status"}, {"c", "comp" + kOver}};
  for (const auto& [name, view] : views) {
    need(key(clip() + " " + out.path("alone.mkv") + " -y --view " + view + kColor));
    const std::vector<Image> alone = readAll(out.path("alone.mkv")),
                             together = readAll(out.path(name + std::string(".mkv")));
    ASSERT_EQ(alone.size(), together.size());
    for (std::size_t i = 0; i < alone.size(); ++i) ASSERT_EQ(alone[i].bytes, together[i].bytes) << view << " " << i;
  }
  const Image result = readAll(out.path("r.mkv")).at(9), comp = readAll(out.path("c.mkv")).at(9);
  const int background[] = {16, 32, 48};
  for (std::size_t i = 0; i < result.bytes.size(); i += 4) {
    const int a = result.bytes[i];
    ASSERT_EQ(255, comp.bytes[i]);
    for (std::size_t c = 0; c < 3; ++c) {
      ASSERT_EQ((result.bytes[i + 1 + c] * a + background[c] * (255 - a) + 127) / 255, comp.bytes[i + 1 + c]) << i;
    }
  }
}

TEST(Over, AnOutputWithoutAlphaShowsTheComposite) {
  const ScratchFolder out;
  const std::string preset = out.path("p.json"),
                    saved = " --save-preset " + preset + " --also comp=" + out.path("c.mkv");
  const std::string said = need(key(clip() + " " + out.path("o.mp4") + kOver + kColor + saved));
  expectHas(said, "o.mp4: H.264 holds no alpha; it shows the result over #102030\n");
  const std::vector<Image> shown = readAll(out.path("o.mp4")), exact = readAll(out.path("c.mkv"));
  ASSERT_EQ(exact.size(), shown.size());
  for (const std::size_t byte : {0u, 1u, 2u, 3u}) EXPECT_LT(meanDifference(exact[9], shown[9], byte, 4), 4.0) << byte;
  // A saved preset names the view as it names all settings; that is no wish for alpha.
  need("mkdir " + out.path("in") + " && cp " + clip() + " " + out.path("in/a.mov") + " && cp " + clip() + " " +
       out.path("in/b.mov"));
  need(key(out.path("in") + " '" + out.path("{name}.mp4") + "'" + kOver + "--preset " + preset));
  for (const char* name : {"a.mp4", "b.mp4"}) {
    EXPECT_EQ(readAll(out.path(name)).at(9).bytes, shown[9].bytes) << name;
  }
}

TEST(Mattes, ForceTransparentAndOpaque) {
  const ScratchFolder out;
  const std::string half = "-f lavfi -i color=black:s=160x90,format=gray,geq=lum='if(lt(X\\,";
  need(kFfmpeg + half + "80)\\,255\\,0)' -frames:v 1 " + out.path("left.png"));
  need(kFfmpeg + half + "120)\\,255\\,0)' -frames:v 1 " + out.path("most.png"));
  need(key(clip() + " " + out.path("o.mkv") + kColor + "--frames 3 --garbage " + out.path("left.png") + " --holdout " +
           out.path("most.png")));
  const Image image = readAll(out.path("o.mkv")).at(2);
  for (int y = 0; y < 90; ++y) {
    EXPECT_EQ(0, image.row(y)[4 * 40]) << "garbage overrides holdout";
    EXPECT_EQ(255, image.row(y)[4 * 100]);
  }
  need(kFfmpeg + "-f lavfi -i color=white:s=80x90 -frames:v 1 " + out.path("small.png"));
  const Outcome refused = run(key(clip() + " " + out.path("x.mkv") + kColor + "--garbage " + out.path("small.png")));
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "80 x 90");
  EXPECT_FALSE(fs::exists(out.path("x.mkv")));
}

// With a part of a clip a matte stays in step with the clip, and a background begins with the part.
TEST(Mattes, FollowTheWholeClipAndBackgroundsItsPart) {
  const ScratchFolder out;
  const std::string turn = "-f lavfi -i color=black:s=160x90:r=30,format=gray,geq=lum=";
  need(kFfmpeg + turn + "'if(lt(N\\,10)\\,0\\,255)' -frames:v 20 -c:v ffv1 " + out.path("late.mkv"));
  need(kFfmpeg + turn + "'if(lt(N\\,1)\\,200\\,0)' -frames:v 20 -c:v ffv1 " + out.path("first.mkv"));
  need(key(clip() + " " + out.path("o.mkv") + kColor + "--start 9f --frames 2 --garbage " + out.path("late.mkv") +
           " --also comp=" + out.path("c.mkv") + " --over " + out.path("first.mkv")));
  const std::vector<Image> keyed = readAll(out.path("o.mkv")), comp = readAll(out.path("c.mkv"));
  const auto clear = [](const Image& image) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < image.bytes.size(); i += 4) count += image.bytes[i] == 0 ? 1 : 0;
    return count;
  };
  EXPECT_LT(clear(keyed.at(0)), std::size_t{160 * 90});
  EXPECT_EQ(std::size_t{160 * 90}, clear(keyed.at(1)));
  ASSERT_GT(clear(keyed.at(0)), 0u) << "no place to see the background";
  int brightest = 0;
  for (std::size_t i = 0; i < comp.at(0).bytes.size(); i += 4) {
    if (keyed[0].bytes[i] == 0) brightest = std::max<int>(brightest, comp[0].bytes[i + 2]);
  }
  EXPECT_NEAR(200, brightest, 20) << "the background's first picture";
  EXPECT_LT(comp.at(1).bytes[2], 20) << "and its second";
}

TEST(Batch, OneBadClipDoesNotStopTheOthers) {
  const ScratchFolder out;
  fs::create_directory(out.path("in"));
  for (const char* name : {"a.mov", "c.mov"}) fs::copy_file(clip(), out.path("in/" + std::string(name)));
  std::ofstream(out.path("in/b.mp4")) << "no clip";
  std::ofstream(out.path("in/notes.txt")) << "nor this";
  const std::string command = key(out.path("in") + " '" + out.path("{name}-k.mkv") + "'" + kColor + "--receipt '" +
                                  out.path("{name}.json") + "'");
  const Outcome outcome = run(command);
  EXPECT_EQ(1, outcome.status);
  expectHas(outcome.output, "b.mp4: is not a video");
  expectHas(outcome.output, "2 of 3 clips keyed, 0 skipped, 1 failed: " + out.path("in/b.mp4"));
  EXPECT_EQ((std::vector<std::string>{"a-k.mkv", "a.json", "c-k.mkv", "c.json", "in"}), out.names());
  fs::remove(out.path("in/b.mp4"));
  fs::copy_file(clip(), out.path("in/a-m.mov"));
  const Outcome clash = run(key(out.path("in") + " '" + out.path("in/{name}-k.mkv") +
                                "' -y --also 'matte=" + out.path("in/{name}-m.mov") + "'" + kColor));
  EXPECT_EQ(1, clash.status);
  expectHas(clash.output, "would overwrite the input");
  fs::remove(out.path("in/a-m.mov"));
  fs::remove(out.path("c-k.mkv"));
  expectHas(need(command + " -y --skip-existing"), "1 of 2 clips keyed, 1 skipped, 0 failed");
  EXPECT_EQ(readAll(out.path("a-k.mkv")).back().bytes, readAll(out.path("c-k.mkv")).back().bytes);
}

TEST(Receipt, SaysWhatWasMadeAndChecked) {
  const ScratchFolder out;
  need(key(clip() + " " + out.path("o.mkv") + kColor + "--receipt " + out.path("r.json")));
  const auto receipt = nlohmann::json::parse(std::ifstream(out.path("r.json")));
  EXPECT_EQ(kFrames, receipt.at("frames"));
  EXPECT_EQ("murmur3:" + hashes(clip()).back(), receipt.at("clip_hash").get<std::string>());
  EXPECT_EQ("#3cbe50", receipt.at("settings").at("key-color").get<std::string>());
  EXPECT_EQ("10:00:00:00", receipt.at("input").at("timecode").get<std::string>());
  const auto& output = receipt.at("outputs").at(0);
  EXPECT_TRUE(output.at("verified"));
  expectHas(output.at("checks").dump(), "30 pictures");
  expectHas(output.at("checks").dump(), "timecode 10:00:00:00");
  EXPECT_EQ("kept", output.at("hidden_colours"));
  need(key(clip() + " " + out.path("o.mkv") + " -y --no-verify --hidden-colors extend" + kColor + "--receipt " +
           out.path("r.json")));
  const auto second = nlohmann::json::parse(std::ifstream(out.path("r.json")));
  EXPECT_FALSE(second.at("outputs").at(0).at("verified"));
  EXPECT_EQ("extended", second.at("outputs").at(0).at("hidden_colours"));
  EXPECT_EQ(receipt.at("clip_hash"), second.at("clip_hash")) << "the hash is of the keyer's own bytes";
}

TEST(ProgressOption, JsonIsOneObjectALine) {
  const std::string text = need(key(clip() + " -f null --progress json" + kColor));
  std::istringstream lines(text);
  std::string line, last;
  while (std::getline(lines, line)) {
    if (line.starts_with('{')) last = line;
  }
  const auto object = nlohmann::json::parse(last);
  EXPECT_EQ(kFrames, object.at("frame"));
  EXPECT_EQ(kFrames, object.at("frames"));
  EXPECT_EQ(0.0, object.at("seconds_left"));
  EXPECT_EQ(std::string::npos, need(key(clip() + " -f null --progress none" + kColor)).find("fps, "));
}

TEST(Interlaced, EachFieldIsKeyedByItselfAndStaysInterlaced) {
  const ScratchFolder out;
  const std::string input = out.path("i.mov");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=50:d=0.4 -vf " +
       "colorize=hue=130:saturation=0.6:lightness=0.4,tinterlace=interleave_top,setfield=tff -c:v prores_ks " +
       "-flags +ildct -top 1 " + input);
  const std::string said = need(key(input + " " + out.path("o.mov") + kColor));
  expectHas(said, "is interlaced: keyed field by field");
  expectHas(probe("stream=field_order", out.path("o.mov")), "field_order=tt");
  EXPECT_NE(hashes(input), hashes(input + " --fields off"));
  EXPECT_EQ(hashes(input), hashes(input + " --fields on"));
}

TEST(Sequence, GapsAreReportedAndKeepTheirPlaceInTime) {
  const ScratchFolder out;
  need(kFfmpeg + "-i " + clip() + " -frames:v 6 -start_number 1001 " + out.path("s.%d.png"));
  fs::remove(out.path("s.1003.png"));
  const std::string command = key(out.path("s.%d.png") + " " + out.path("o.mov") + kColor + "--rate 24000/1001");
  const Outcome refused = run(command);
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "1 picture is missing (1003): 1 frame lost");
  EXPECT_EQ(1, run(command + " --keep-partial --receipt " + out.path("r.json")).status);
  expectHas(pictureTimes(out.path("o.mov")), "0.041708\n0.125125\n");
  const auto input = nlohmann::json::parse(std::ifstream(out.path("r.json"))).at("input");
  EXPECT_EQ(1, input.at("lost_frames"));
  EXPECT_EQ(0, input.at("damaged_frames"));
}

// The numbers of the files that a pattern covers, "1001 1002".
std::string numbersOf(const std::string& pattern) {
  std::vector<int> numbers;
  const fs::path path(pattern);
  for (const fs::path& file : kalvetra::filesCoveredBy(path)) {
    numbers.push_back(*kalvetra::NumberedName(path.filename().string()).numberIn(file.filename().string()));
  }
  std::sort(numbers.begin(), numbers.end());
  std::string text;
  for (const int number : numbers) text += (text.empty() ? "" : " ") + std::to_string(number);
  return text;
}

TEST(Sequence, PicturesKeepTheNumbersOfTheirSource) {
  const ScratchFolder out;
  const std::string source = out.path("s.%d.png"), keyed = out.path("k.%04d.png");
  need(kFfmpeg + "-i " + clip() + " -frames:v 9 -start_number 1001 " + source);
  for (const char* lost : {"s.1003.png", "s.1004.png"}) fs::remove(out.path(lost));
  std::ofstream(out.path("s.1007.png")) << "damaged";
  const struct {
    std::string input, options, numbers;
  } cases[] = {
      {source, "", "1001 1002 1005 1006 1008 1009"},
      {source, "--resume", "1001 1002 1005 1006 1008 1009"},
      {source, "--start 1f --frames 3", "1002 1005 1006"},
      {source, "--start 0.16", "1005 1006 1008 1009"},  // 25 a second
      {source, "--start 1f --end 4f --start-number 7", "7 10 11"},
      {source, "--start 1f --end 4f --start-number 7 --resume", "7 10 11"},
      {clip(), "--frames 3", "1 2 3"},
      {clip(), "--start 10f --end 12f", "11 12"},
      {clip(), "--start 0.5 --frames 2", "16 17"},
      {clip(), "--start 10f --frames 2 --start-number 0", "0 1"},
      {"-", "--start 10f --frames 2 < " + clip(), "11 12"},
  };
  for (const auto& c : cases) {
    const Outcome outcome =
        run(key(c.input + " " + keyed + kColor + "--keep-partial -y --receipt " + out.path("r.json ") + c.options));
    EXPECT_EQ(c.numbers, numbersOf(keyed)) << c.options << ": " << outcome.output;
    const auto output = nlohmann::json::parse(std::ifstream(out.path("r.json"))).at("outputs").at(0);
    EXPECT_EQ(c.numbers.substr(0, c.numbers.find(' ')), output.at("first_number").dump());
    EXPECT_EQ(c.numbers.substr(c.numbers.rfind(' ') + 1), output.at("last_number").dump());
    need("rm -f " + out.path("k.*"));
  }
}

TEST(Sequence, OnlyPicturesOfTheRunAreReplacedOrRefused) {
  const ScratchFolder out;
  const std::string keyed = out.path("k.%02d.png"), command = key(clip() + " " + keyed + kColor);
  for (const char* name : {"k.05.png", "k.20.png"}) std::ofstream(out.path(name)) << "another's";
  const auto refused = [&](const std::string& run_, const std::string& picture) {
    const Outcome outcome = run(run_);
    EXPECT_EQ(1, outcome.status) << run_;
    expectHas(outcome.output, out.path(picture) + " exists already; give -y");
  };
  need(command + "--frames 4");
  refused(command + "--end 8f", "k.01.png");
  refused(command + "--start 4f --save-preset " + out.path("p.json"), "k.05.png");
  EXPECT_FALSE(fs::exists(out.path("p.json"))) << "refused only after it had begun";
  refused(kFfmpeg + "-i " + clip() + " -c copy -f matroska - | " + key("- " + keyed + kColor + "--start 17f"),
          "k.20.png");  // of unknown length
  EXPECT_EQ("1 2 3 4 5 20", numbersOf(keyed));
  expectHas(need(command + "--start 3f --end 8f --skip-existing"), "exists already: skipped");
  need(command + "--start 5f --end 8f --skip-existing");
  need(command + "-y --start 4f --end 5f");
  EXPECT_EQ("1 2 3 4 5 6 7 8 20", numbersOf(keyed));
  EXPECT_GT(fs::file_size(out.path("k.05.png")), 1000u);
  EXPECT_LT(fs::file_size(out.path("k.20.png")), 10u);
}

TEST(Dither, IsForDeepSourcesAlone) {
  const ScratchFolder out;
  const std::string deep = out.path("deep.mkv");
  need(kFfmpeg + "-f lavfi -i gradients=s=160x90:d=0.2:c0=0x20a040:c1=0x30b850 -pix_fmt yuv420p10le -c:v ffv1 " + deep);
  const std::string source = deep + " --depth 8 --view source";
  EXPECT_NE(hashes(source), hashes(source + " --no-dither"));
  EXPECT_EQ(hashes(source), hashes(source + " --dither"));
  EXPECT_EQ(hashes(clip() + " --view source --no-dither"), hashes(clip() + " --view source --dither"));
  const auto receipt = [&](const std::string& arguments) {
    const std::string said =
        need(key(arguments + " " + out.path("o.mkv") + " -y --depth 8 --receipt " + out.path("r.json") + kColor));
    const auto input = nlohmann::json::parse(std::ifstream(out.path("r.json"))).at("input");
    return std::tuple(input.at("depth").get<int>(), input.at("dithered").get<bool>(),
                      said.find("deep.mkv: the keyer works in 8 bits; the clip's 10 are ") != std::string::npos);
  };
  EXPECT_EQ(std::tuple(10, true, true), receipt(deep));
  EXPECT_EQ(std::tuple(10, false, true), receipt(deep + " --no-dither"));
  EXPECT_EQ(std::tuple(8, false, false), receipt(clip() + " --frames 3"));
  // At full depth the key is not dithered, but an output of 8 bits is.
  need(key(deep + " " + out.path("o.mov") + " --also result=" + out.path("o.webm") + " -y --receipt " +
           out.path("r.json") + kColor));
  const auto whole = nlohmann::json::parse(std::ifstream(out.path("r.json")));
  EXPECT_FALSE(whole.at("input").at("dithered").get<bool>());
  EXPECT_FALSE(whole.at("outputs").at(0).contains("dithered"));
  EXPECT_TRUE(whole.at("outputs").at(1).at("dithered").get<bool>());
}

// Each 10-bit level of a ramp without noise comes back as a mean of its own, in code values and in light.
TEST(Dither, KeepsEveryLevelOfAGradient) {
  const ScratchFolder out;
  need(kFfmpeg + "-f lavfi -i \"color=black:s=1008x8:r=25:d=0.04,format=yuv444p10le,geq=lum='400+floor(X/8)':cb=512:" +
       "cr=512\" -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv -c:v ffv1 " +
       out.path("ramp.mkv"));
  const auto levels = [&](const std::string& name, const std::string& option) {
    need(key(out.path("ramp.mkv") + " " + out.path(name) + " -y --depth 8 --view source --key-color 60,190,80 " +
             option));
    need(kFfmpeg + "-i " + out.path(name) + " -vf format=" + (name.ends_with("exr") ? "gbrpf32le" : "gbrp") +
         ",extractplanes=g,format=grayf32le -f rawvideo " + out.path("plane"));
    std::vector<float> plane(1008 * 8);
    std::ifstream(out.path("plane"), std::ios::binary).read(reinterpret_cast<char*>(plane.data()), 4 * 1008 * 8);
    std::set<int> means;
    for (std::size_t cell = 0; cell < 126; ++cell) {
      double sum = 0;
      for (std::size_t i = 0; i < 64; ++i) sum += plane[i / 8 * 1008 + cell * 8 + i % 8];
      means.insert(static_cast<int>(std::lround(sum / 64 * 4096)));
    }
    return means.size();
  };
  for (const char* name : {"ramp.exr", "back.mkv"}) {
    EXPECT_EQ(126u, levels(name, "")) << name;
    EXPECT_EQ(37u, levels(name, "--no-dither")) << "what 8 bits hold";
  }
}

TEST(Pipe, RawPicturesGoInAndOut) {
  const std::string raw = "--raw 160x90@30:bgra";
  const std::string straight = need(key(clip() + " -f hash --plain" + kColor + "2>/dev/null"));
  const std::string piped =
      need(kFfmpeg + "-i " + clip() + " -f null - ; " + key(clip() + " - -f raw --view source 2>/dev/null") + " | " +
           key("- -f hash " + raw + kColor + "2>/dev/null"));
  EXPECT_EQ(straight.substr(straight.find("clip")), piped.substr(piped.find("clip")));
}

TEST(JobOptions, BadUseGetsOneSentence) {
  const ScratchFolder out;
  fs::create_directory(out.path("empty"));
  fs::create_directory(out.path("two"));
  fs::copy_file(clip(), out.path("two/clip.mov"));
  const std::string there = " " + out.path("o.mkv") + kColor;
  const struct {
    std::string arguments;
    int status;
    std::string sentence;
  } cases[] = {
      {clip() + there + "--start soon", 2, "'soon' is no place in a clip; give seconds (2.5)"},
      {clip() + there + "--frames 0", 2, "--frames"},
      {clip() + there + "--start-number 5", 2, "numbers pictures; give an output a name like keyed-%05d.png"},
      {clip() + there + "--raw 160@bgra", 2, "--raw"},
      {clip() + there + "--rate fast", 2, "'fast' is no rate; give pictures a second"},
      {clip() + there + "--rate 1001", 2, "'1001' is no rate; give pictures a second, from 0.001 to 1000"},
      {clip() + there + "--rate 1/2000000", 2, "is no rate"},
      {clip() + there + "--also matte", 2, "names no further output; give VIEW=FILE"},
      {clip() + there + "--also ghost=x.mkv", 2, "names no further output"},
      {clip() + there + "--also comp=" + out.path("c.mp4"), 2, "comp needs a background; give it with --over"},
      {clip() + there + "--over '#fff'", 2, "shows only in the view comp; give --view comp or --also comp=FILE"},
      {clip() + there + "--view comp", 2, "--view: comp needs a background; give it with --over"},
      {clip() + " " + out.path("o.mp4") + kColor + kOver + "--view result", 2, "shows only in the view comp"},
      {clip() + " " + out.path("o.mp4") + kColor + kOver + "--alpha straight", 2, "shows only in the view comp"},
      {clip() + " " + out.path("o.mp4") + kColor + kOver + "--codec av1", 2, "shows only in the view comp"},
      {clip() + there + "--start 5", 1, "ends after 30 frames (1 s), before --start at 5 s; name an earlier one"},
      {clip() + there + "--start 30f", 1, "ends after 30 frames (1 s), before --start at frame 30"},
      {clip() + there + "--start 0.5 --end 0.5", 2, "--end: 0.5 s is not after --start at 0.5 s"},
      {clip() + there + "--start 9f --end 8f", 2, "--end: frame 8 is not after --start at frame 9"},
      {clip() + there + "--start 0.5 --end 5f", 1, "no picture of it lies in the range; name a later --end"},
      {clip() + there + "--clip-black 50 --clip-white 40", 1,
       "clip-black 50 lies above clip-white 40; lower clip-black or raise clip-white"},
      {clip() + there + "--for fun", 2, "--for"},
      {clip() + there + "--for web", 1, ".webm"},
      {clip() + there + "--codec prores4444", 1, ".mov"},
      {clip() + there + "--progress loud", 2, "--progress"},
      {clip() + there + "--also matte=" + out.path("missing/m.mkv"), 1, "does not exist; create it"},
      {clip() + there + "--also matte=" + out.path("o.mkv"), 1, "named for two outputs"},
      {clip() + there + "-y --receipt " + out.path("o.mkv"), 1, "named for two outputs"},
      {clip() + there + "-y --receipt " + clip(), 1, "would overwrite the input"},
      {clip() + there + "--receipt -", 1, "a receipt or a preset is one file"},
      {clip() + " " + out.path("p-00001.png") + kColor + "--frames 1 --also matte=" + out.path("p-%05d.png"), 1,
       "named for two outputs"},
      {clip() + " -f hash --also matte=-" + kColor, 1, "named for two outputs"},
      {clip() + there + "-y --garbage " + out.path("two/clip.mov") + " --also source=" + out.path("two/clip.mov"), 1,
       "would overwrite the input"},
      {clip() + there + "-y --save-preset " + out.path("p.json") + " --receipt " + out.path("p.json"), 1,
       "named for two outputs"},
      {clip() + there + "--receipt " + out.path("missing/r.json"), 1, "does not exist; create it"},
      {clip() + there + "--garbage " + out.path("none.png"), 1, "there is no such file"},
      {out.path("empty") + there, 1, "is a folder without a video in it"},
      {clip() + " " + out.path("empty"), 1, "is a folder; name a file in it, like " + out.path("empty/{name}.mov")},
      {clip() + " " + out.path("two/clip.mov") + " '" + out.path("{name}.mkv") + "'", 1, "would both become"},
      {clip() + " " + clip() + there, 1, "several clips need {name}"},
      {"-" + there, 1, "is not a video"},
  };
  const std::vector<std::string> before = out.names();
  for (const auto& c : cases) {
    const Outcome outcome = run(key(c.arguments));
    EXPECT_EQ(c.status, outcome.status) << c.arguments << ": " << outcome.output;
    expectHas(outcome.output, c.sentence);
    EXPECT_EQ(before, out.names()) << c.arguments;
  }
}

}  // namespace
