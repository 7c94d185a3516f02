// Damage, awkward names and places that are taken meanwhile.
#include <filesystem>
#include <fstream>

#include "jobs/prepared_job.h"
#include "support/user_error.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra::test;

const std::string kOptions = " --key-color 60,190,80 --progress none ";

class JobFaults : public testing::Test {
 protected:
  // 40 pictures of 160 x 90, ten a group, with sound that few containers hold.
  void SetUp() override {
    need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=20 -f lavfi -i sine=r=48000 -t 2 -timecode 10:00:00:00 " +
         "-vf colorize=hue=130:saturation=0.6:lightness=0.4 -c:v libx264 -g 10 -bf 0 -pix_fmt yuv420p " +
         "-colorspace smpte170m -color_range tv -c:a pcm_s16le " + clip_);
  }

  // Overwrites the middle of the video's packet of that number.
  void spoilPacket(int number) const {
    const std::string line = need("ffprobe -v error -select_streams v -show_entries packet=pos,size -of csv=p=0 " +
                                  clip_ + " | sed -n " + std::to_string(number + 1) + "p");
    const std::size_t comma = line.find(',');
    const long size = std::stol(line), place = std::stol(line.substr(comma + 1));
    std::fstream file(clip_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(place + size / 4);
    for (long i = 0; i < size / 2; ++i) file.put(static_cast<char>(91 * i));
  }

  const ScratchFolder out_;
  const std::string clip_ = out_.path("clip.mov");
};

TEST_F(JobFaults, ACompanionThatIsCutOffIsDamage) {
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=20 -t 2 -c:v mpeg4 " + out_.path("whole.mp4"));
  need(kFfmpeg + "-i " + out_.path("whole.mp4") + " -movflags +faststart -c copy " + out_.path("long.mp4"));
  need("head -c $(($(stat -c %s " + out_.path("long.mp4") + ") / 2)) " + out_.path("long.mp4") + " > " +
       out_.path("cut.mp4"));
  for (const char* use : {"--garbage ", "--holdout ", "--also comp=o.mp4 --over "}) {
    const std::string command = "cd " + out_.path("") + " && " + key("clip.mov o.mkv" + kOptions + use);
    need(command + "long.mp4 -y");
    const Outcome refused = run(command + "cut.mp4 -y");
    EXPECT_EQ(1, refused.status) << use;
    expectHas(refused.output, "cut.mp4: the file is damaged: ");
    const Outcome kept = run(command + "cut.mp4 -y --keep-partial");
    EXPECT_EQ(1, kept.status) << use;
    EXPECT_EQ(40u, readAll(out_.path("o.mkv")).size());
  }
}

TEST_F(JobFaults, DamageBeforeTheRangeDoesNotCount) {
  spoilPacket(3);
  expectHas(run(key(clip_ + kOptions + "-f null")).output, "the file is damaged");
  EXPECT_EQ(1, run(key(clip_ + kOptions + "-f null --start 5f")).status);
  EXPECT_EQ(0, run(key(clip_ + kOptions + "-f null --start 10f")).status);
  need(key(clip_ + " " + out_.path("o.mkv") + kOptions + "--start 10f --receipt " + out_.path("r.json")));
  need("grep -q '\"damaged_frames\": 0' " + out_.path("r.json"));
}

// A gap after the range, also right after it, and a float matte that is read as it was written.
TEST_F(JobFaults, OnlyTheRangeOfASequenceCounts) {
  for (const int number : {1, 2, 5}) {
    need(kFfmpeg + "-i " + clip_ + " -frames:v 1 " + out_.path("q-" + std::to_string(number) + ".png"));
  }
  const std::string sequence = out_.path("q-%d.png");
  need(key(sequence + " -f null --frames 2" + kOptions));
  need(key(clip_ + " " + out_.path("o.mkv") + " --frames 1 --garbage " + sequence + kOptions));
  expectHas(run(key(sequence + " -f null --frames 3" + kOptions)).output, "2 frames lost");
}

TEST_F(JobFaults, FloatMattesComeBackUnchanged) {
  need(kFfmpeg + "-f lavfi -i color=gray:s=160x90 -frames:v 1 " + out_.path("grey.png"));
  const std::string still = key(clip_ + " " + out_.path("k.png") + " -y --frames 1" + kOptions);
  need(still + "--garbage " + out_.path("grey.png") + " --also matte=" + out_.path("m.exr") +
       " --also matte=" + out_.path("m.png"));
  const auto alphas = [&](const std::string& garbage) {
    need(still + "--holdout " + garbage);
    return readAll(out_.path("k.png")).at(0).bytes;
  };
  EXPECT_EQ(alphas(out_.path("m.png")), alphas(out_.path("m.exr")));
}

TEST_F(JobFaults, ATimecodeThatContradictsTheTimesIsReported) {
  need(kFfmpeg + "-i " + clip_ + " -vf \"setpts='if(lt(N,10),N,N+20)/20/TB'\" -vsync vfr -c:v libx264 -timecode " +
       "10:00:00:00 -an " + out_.path("vfr.mov"));
  const std::string range = " " + out_.path("o.mov") + " -y --frames 2 --start ";
  expectHas(need(key(out_.path("vfr.mov") + range + "15f" + kOptions)), "the timecode counts frames");
  EXPECT_EQ(std::string::npos, need(key(out_.path("vfr.mov") + range + "5f" + kOptions)).find("counts frames"));
  EXPECT_EQ(std::string::npos, need(key(clip_ + range + "15f" + kOptions)).find("counts frames"));
}

// What the libraries would take for the address of a server.
TEST_F(JobFaults, ColonsInNamesHaveNoMeaning) {
  fs::create_directory(out_.path("c:d"));
  fs::copy_file(clip_, out_.path("a:b.mov"));
  const auto inFolder = [&](const std::string& arguments) {
    return need("cd " + out_.path("") + " && " + key(arguments + kOptions));
  };
  inFolder("a:b.mov c:d/e:f.mov --frames 3 --garbage a:b.mov");
  inFolder("c:d/e:f.mov 'c:d/g:%03d.png'");
  inFolder("'c:d/g:%03d.png' file:x.mkv");
  inFolder("file:x.mkv pipe:1.mkv --resume");
  EXPECT_EQ(3u, readAll(out_.path("pipe:1.mkv")).size());
}

// Names may hold anything; a terminal would obey it, and a newline would look like a second message.
TEST_F(JobFaults, ControlCharactersInNamesAreQuoted) {
  const std::string name =
      "a\x1b[31m\nkalvetra: b\x7f\xc2\x9b\xff"
      "caf\u00e9 \U0001f3ac.mov";
  const std::string quoted =
      "a\\x1b[31m\\nkalvetra: b\\x7f\\xc2\\x9b\\xff"
      "caf\u00e9 \U0001f3ac.mov";
  fs::copy_file(clip_, out_.path(name));
  fs::create_directory(out_.path("o"));
  const std::string folder = "cd " + out_.path("") + " && ", in = "'" + name + "'";
  for (const std::string& command :
       {key(in + " 'o/{name}.mkv' --frames 2" + kOptions), key("'no " + name + "' x.mkv" + kOptions),
        key(in + " clip.mov 'o/{name}.mkv' --frames 2" + kOptions), kKalvetra + " probe " + in,
        key(in + " x.mkv --preset '" + name + "'"), key(in + " x.mkv '--" + name + "'"),
        kKalvetra + " report 'o/" + name.substr(0, name.size() - 4) + ".mkv'"}) {
    const std::string text = run(folder + command).output;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      ASSERT_TRUE((byte >= ' ' || byte == '\n') && byte != 0x7f && byte != 0xff && byte != 0x9b) << command << text;
      ASSERT_TRUE(byte != '\n' || text.substr(i, 12) != "\nkalvetra: b") << text;
    }
    const std::string stem = quoted.substr(0, quoted.size() - 4);
    EXPECT_NE(std::string::npos, text.find(stem)) << stem << " is missing in " << text;
  }
}

TEST_F(JobFaults, ResumableRunsSayWhatTheyLeaveOut) {
  for (const char* name : {"o.webm", "o-%03d.png"}) {
    const std::string sentence = std::string(name) == "o.webm" ? "mono, is encoded as opus" : "timecode 10:00:00:00";
    for (const char* resume : {"", "--resume"}) {
      const std::string said = need(key(clip_ + " " + out_.path(name) + kOptions + "-y --frames 2 " + resume));
      expectHas(said, sentence);
    }
  }
}

TEST_F(JobFaults, OnlyTheMainOutputFollowsAnAnimatedView) {
  std::ofstream(out_.path("p.json")) << R"({"look": 1, "settings": {"view": [[0, "source"], [2, "matte"]]}})";
  const std::string hashes = clip_ + kOptions + "--preset " + out_.path("p.json") + " --frames 4 -f hash ";
  EXPECT_EQ(need(key(hashes) + " 2>/dev/null"),
            need(key(hashes + "--also result=" + out_.path("o.mkv")) + " 2>/dev/null"));
  need(key(clip_ + kOptions + "--plain --frames 4 -f hash " + out_.path("keyed.txt")));
  need(key(out_.path("o.mkv") + kOptions + "--view source -f hash " + out_.path("read.txt")));
  EXPECT_EQ(need("cut -d' ' -f3 " + out_.path("keyed.txt")), need("cut -d' ' -f3 " + out_.path("read.txt")));
}

// Either all outputs of a run are put in their places or none is.
TEST_F(JobFaults, ANameTakenMeanwhileKeepsAllOutputsBack) {
  kalvetra::KeyJob job;
  job.input = clip_;
  job.range.frames = 2;
  for (const char* name : {"one.mkv", "two.mkv"}) {
    kalvetra::DeliveryRequest request;
    request.path = out_.path(name);
    job.outputs.push_back({kalvetra::ShownView::Result, request.path, chooseDelivery(request)});
  }
  kalvetra::JobListener listener;
  listener.note = [](const std::string&) {};
  listener.begin = [](std::int64_t, std::int64_t) {};
  listener.frameDone = [] {};
  listener.end = [&] { std::ofstream(out_.path("two.mkv")) << "another's"; };
  const std::atomic<bool> never{false};
  EXPECT_THROW(kalvetra::PreparedJob(job, listener, never).run(kalvetra::AnimatedSettings()), kalvetra::UserError);
  EXPECT_EQ((std::vector<std::string>{"clip.mov", "two.mkv"}), out_.names());
}

// Names that are not the same and may still mean the same files.
TEST_F(JobFaults, NoFileThatIsReadIsWritten) {
  fs::create_directory(out_.path("o"));
  need(kFfmpeg + "-i " + clip_ + " -frames:v 3 -start_number 10001 " + out_.path("s-%05d.png"));
  fs::copy_file(clip_, out_.path("a.mov"));
  fs::copy_file(clip_, out_.path("ba.mov"));
  const std::vector<std::string> before = out_.names();
  const std::string folder = "cd " + out_.path("") + " && ";
  const std::pair<std::string, std::string> cases[] = {
      {"s-%d.png s-%05d.png -y", "would overwrite the input"},
      {"s-%05d.png s-%05d.png -y --start-number 7", "would overwrite the input"},
      {"s-%d.png x.mkv -y --also matte=s-%05d.png", "would overwrite the input"},
      {"a.mov 'o/x-%d.png' -y --also 'matte=o/x-%02d.png'", "named for two outputs"},
      {"a.mov ba.mov 'o/{name}.mov' -y --receipt 'b{name}.mov'", "ba.mov would overwrite the input"},
      {"a.mov ba.mov 'o/{name}.mov' -y --save-preset 'b{name}.mov'", "ba.mov would overwrite the input"},
  };
  for (const auto& [arguments, sentence] : cases) {
    const Outcome outcome = run(folder + key(arguments + kOptions));
    EXPECT_EQ(1, outcome.status) << arguments;
    expectHas(outcome.output, sentence);
    EXPECT_EQ(before, out_.names()) << arguments;
  }
  EXPECT_GT(fs::file_size(out_.path("ba.mov")), 4000u);
}

TEST_F(JobFaults, PipesFoldersAndLinksStayWhatTheyAre) {
  need("mkfifo " + out_.path("pipe.nut"));
  const Outcome pipe = run(key(clip_ + " " + out_.path("pipe.nut") + " -y" + kOptions));
  EXPECT_EQ(1, pipe.status);
  expectHas(pipe.output, "no file that can be replaced; give - ");
  EXPECT_TRUE(fs::is_fifo(out_.path("pipe.nut")));
  fs::create_directory(out_.path("real"));
  fs::create_symlink("real/o.mkv", out_.path("link.mkv"));
  need(key(clip_ + " " + out_.path("link.mkv") + " --frames 2" + kOptions));
  EXPECT_TRUE(fs::is_symlink(out_.path("link.mkv")));
  EXPECT_EQ(2u, readAll(out_.path("real/o.mkv")).size());
  const Outcome twice = run(key(clip_ + " " + out_.path("link.mkv") + " --frames 2" + kOptions));
  expectHas(twice.output, "exists already");
}

TEST_F(JobFaults, WhatTheSystemRefusesIsSaidInWords) {
  const std::string folder = "cd " + out_.path("") + " && ", name(230, 'n');
  const std::pair<std::string, std::string> cases[] = {
      {key("clip.mov ''" + kOptions), "a name is empty"},
      {key("clip.mov " + name + "nnnnnnnnnnnn.mkv --resume" + kOptions), "cannot be used (File name too long)"},
      {key("loop.mov x.mkv" + kOptions), "loop.mov"},
      {key("odd.mkv x.mov --also matte=x.mp4" + kOptions), "161 x 91 cannot be encoded as H.264 (it needs an even"},
      {kKalvetra + " --version > /dev/full", "the standard output cannot be written to"},
      {kKalvetra + " pick clip.mov > /dev/full", "the standard output cannot be written to"},
  };
  fs::create_symlink("loop.mov", out_.path("loop.mov"));
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90,scale=161:91 -frames:v 1 -c:v ffv1 -pix_fmt bgr0 " +
       out_.path("odd.mkv"));
  for (const auto& [command, sentence] : cases) {
    const Outcome outcome = run("{ " + folder + command + "; } 2>&1");
    EXPECT_NE(0, outcome.status) << command;
    expectHas(outcome.output, sentence);
    EXPECT_EQ(std::string::npos, outcome.output.find("filesystem error")) << outcome.output;
  }
}

TEST_F(JobFaults, AFolderKeyedIntoItselfIsDoneOnce) {
  fs::create_directory(out_.path("f"));
  fs::copy_file(clip_, out_.path("f/a.mov"));
  const std::string command =
      key(out_.path("f") + " '" + out_.path("f/{name}-keyed.mov") + "' --skip-existing --frames 2");
  expectHas(need(command + kOptions), "keyed 2 frames");
  expectHas(need(command + kOptions), "exists already: skipped");
  EXPECT_EQ(1, run(key(out_.path("f") + " '" + out_.path("f/{name}-keyed.mov") + "' -y" + kOptions)).status);
  const std::string hashes = key(clip_ + " -f hash " + out_.path("h.txt") + " --skip-existing" + kOptions);
  need(hashes);
  expectHas(need(hashes), "exists already: skipped");
}

// A run that was resumed after an interruption, or could have been, equals the run without it.
TEST_F(JobFaults, ResumableRunsTakeTheSameSoundAndLeaveNothingUndone) {
  need(kFfmpeg + "-i " + clip_ + " -f lavfi -i sine=r=48000 -map 0:v -map 1:a -t 5 -c:v copy -c:a pcm_s16le " +
       out_.path("long.mkv"));
  for (const char* range : {"--start 0", "--start 0.5", "--end 60", "--end 20f"}) {
    const auto sound = [&](const std::string& resume) {
      need(key(out_.path("long.mkv") + " " + out_.path("o.mkv") + " -y " + range + resume + kOptions));
      return need(kFfmpeg + "-i " + out_.path("o.mkv") + " -map 0:a -c copy -f framemd5 - | grep -v '#'");
    };
    EXPECT_EQ(sound(""), sound(" --resume")) << range;
  }
  const std::string resumed = key(clip_ + " " + out_.path("r.mkv") + " --resume" + kOptions);
  EXPECT_EQ(1, run(resumed + " --start 100").status);
  EXPECT_FALSE(fs::exists(out_.path(".r.mkv.unfinished")));
  need(resumed + " --save-preset " + out_.path("p.json"));
  fs::remove(out_.path("r.mkv"));
  need(resumed + " --save-preset " + out_.path("p.json"));  // as after an interruption
}

}  // namespace
