// The filter in the hosts themselves: ffmpeg and melt.
#include <filesystem>
#include <fstream>
#include <set>

#include "parameters/parameter_value.h"
#include "parameters/unit_value.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;

const std::string kWithFilter = "FREI0R_PATH=" KALVETRA_FREI0R_FOLDER " ";
const std::string kColor = "#279041";

class Hosts : public testing::Test {
 protected:
  // Frames of the demonstration clip as RGB, so that no host converts them: 12 of 320 x 180, and 3 of 70 x 50.
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    need(kKalvetra + " sample " + folder_->path("sample.mp4"));
    const std::string toRgb = kFfmpeg + "-i " + folder_->path("sample.mp4") + " -an -c:v ffv1 -pix_fmt bgra ";
    need(toRgb + "-vf scale=320:180 -frames:v 12 " + clip());
    need(toRgb + "-vf scale=70:50 -frames:v 3 " + small());
  }
  static void TearDownTestSuite() { folder_.reset(); }
  static std::string clip() { return folder_->path("clip.mkv"); }
  static std::string small() { return folder_->path("small.mkv"); }

  // A hash for each picture, of its bytes as RGBA.
  static std::string pictures(const std::string& file, int count) {
    return need(kFfmpeg + "-i " + file + " -map 0:v -pix_fmt rgba -frames:v " + std::to_string(count) +
                " -f framemd5 - | grep -v '#' | sed 's/.*,//'");
  }
  std::string keyed(const std::string& input, const std::string& options) const {
    const std::string output = out_.path("keyed.mkv");
    need(key(input + " " + output + " -y --progress none --no-verify --plain --key-color '" + kColor + "' " + options));
    return pictures(output, 100);
  }
  // One melt in a hundred on a busy machine, with a filter or without, leaves an empty file and ends with 0.
  std::string throughMelt(const std::string& input, const std::string& settings, int frames) const {
    const std::string output = out_.path("melted.mov");
    need("for attempt in 1 2 3 4 5; do rm -f " + output + "; " + kWithFilter + "melt -silent " + input +
         " out=" + std::to_string(frames - 1) + " -attach frei0r.kalvetra_green key-color='" + kColor + "' " +
         settings + " -consumer avformat:" + output + " vcodec=png pix_fmt=rgba an=1 >/dev/null 2>&1 || exit; [ -s " +
         output + " ] && break; done");
    return pictures(output, frames);
  }

  static inline std::unique_ptr<ScratchFolder> folder_;
  const ScratchFolder out_;
};

TEST_F(Hosts, FfmpegGivesTheCommandsFramesFromAPreset) {
  const std::string options = "--screen-gain 40 --skin-hue -7 --edge-blur on --blur-radius 5 --despill-white 61";
  const std::string wanted = keyed(clip(), options + " --save-preset " + out_.path("p.json"));
  const std::string filter = need(kKalvetra + " preset --as frei0r " + out_.path("p.json"));
  const std::string run = kWithFilter + kFfmpeg + "-i " + clip() + " -vf \"" + filter.substr(0, filter.size() - 1);
  need(run + "\" -c:v png -pix_fmt rgba " + out_.path("o.mov"));
  EXPECT_EQ(wanted, pictures(out_.path("o.mov"), 100));
  EXPECT_NE(wanted, keyed(clip(), ""));
}

// ffmpeg shears frames of other widths than multiples of 16; the documented way round it comes near.
TEST_F(Hosts, FfmpegTakesOddWidthsFilledUp) {
  const std::string odd = out_.path("odd.mkv"), whole = out_.path("whole.mkv"), padded = out_.path("padded.mov");
  need(kFfmpeg + "-i " + clip() + " -frames:v 2 -vf scale=214:120 -c:v ffv1 -pix_fmt bgra " + odd);
  need(key(odd + " " + whole + " --progress none --plain --key-color '" + kColor + "'"));
  need(kWithFilter + kFfmpeg + "-i " + odd + " -vf \"format=rgba,pad=ceil(iw/16)*16:ih:color=0x279041," +
       "frei0r=kalvetra_green:1|0x279041,crop=214:ih:0:0\" -c:v png -pix_fmt rgba " + padded);
  const Image a = readAll(whole).at(1), b = readAll(padded).at(1);
  EXPECT_LT(meanDifference(a, b, 0, 4), 1.0);
}

TEST_F(Hosts, TwoFiltersInOneGraphKeepTheirOwnSettings) {
  const std::string first = "frei0r=kalvetra_green:1|0x279041", second = "frei0r=kalvetra_green:0.5|0x279041|n";
  need(kWithFilter + kFfmpeg + "-i " + clip() + " -filter_complex \"[0:v]split[a][b];[a]" + first + "[x];[b]" + second +
       "[y]\" -map '[x]' -c:v png -pix_fmt rgba " + out_.path("x.mov") + " -map '[y]' -c:v png -pix_fmt rgba " +
       out_.path("y.mov"));
  EXPECT_EQ(keyed(clip(), ""), pictures(out_.path("x.mov"), 100));
  EXPECT_EQ(keyed(clip(), "--view matte --smooth-bg off"), pictures(out_.path("y.mov"), 100));
}

TEST_F(Hosts, MeltGivesTheCommandsFramesWithTheirAlpha) {
  EXPECT_EQ(keyed(clip(), ""), throughMelt(clip(), "", 12));
  EXPECT_EQ(keyed(small(), ""), throughMelt(small(), "", 3));
  expectHas(probe("stream=pix_fmt", out_.path("melted.mov")), "rgba");
  std::set<int> alphas;
  const Image frame = readAll(out_.path("melted.mov")).at(0);
  for (std::size_t i = 0; i < frame.bytes.size(); i += 4) alphas.insert(frame.bytes[i]);
  EXPECT_TRUE(alphas.contains(0) && alphas.contains(255) && alphas.size() > 20);
}

TEST_F(Hosts, MeltSetsEveryParameterByItsName) {
  // Their toggles on, so that every slider shows.
  const std::string on = " --deblocking on --edge-contract on --edge-blur on";
  const std::string meltOn = " deblocking=1 edge-contract=1 edge-blur=1";
  for (const Parameter& parameter : kHostParameters) {
    if (parameter.kind == ParameterKind::Group || parameter.kind == ParameterKind::Color) continue;
    const bool toggle = parameter.kind == ParameterKind::Toggle;
    const int value = toggle ? 1 - parameter.defaultValue
                             : (parameter.defaultValue == parameter.minimum ? parameter.maximum : parameter.minimum);
    const std::string slug(parameter.slug);
    const std::string unit = std::to_string(unitOf(parameter, value));
    EXPECT_EQ(keyed(small(), (toggle ? "" : on) + " --" + slug + " " + valueText(parameter, value)),
              throughMelt(small(), (toggle ? "" : meltOn) + " " + slug + "=" + unit, 3))
        << slug;
  }
}

TEST_F(Hosts, PresetsThatNoFilterStringCanHoldAreRefused) {
  const std::pair<std::string, std::string> cases[] = {
      {R"({"look": 1, "settings": {"key-color": "#00ff00", "shadow": [[0, 10], [9, 20]]}})", "shadow changes"},
      {R"({"look": 1, "settings": {"shadows": 1}})", "is no setting"},
  };
  for (const auto& [text, sentence] : cases) {
    std::ofstream(out_.path("bad.json")) << text;
    const Outcome outcome = run(kKalvetra + " preset --as frei0r " + out_.path("bad.json"));
    EXPECT_EQ(1, outcome.status);
    expectHas(outcome.output, sentence);
  }
  EXPECT_EQ(2, run(kKalvetra + " preset " + out_.path("bad.json")).status);
  std::ofstream(out_.path("none.json")) << R"({"look": 1, "settings": {}})";
  expectHas(run(kKalvetra + " preset --as frei0r " + out_.path("none.json")).output, "names no key colour");
}

// What the editors read holds the table's ranges and defaults.
TEST_F(Hosts, DescriptionsHoldEveryParameter) {
  const std::string folder = KALVETRA_DESCRIPTIONS;
  const std::string kdenlive = need("cat " + folder + "/kdenlive/frei0r_kalvetra_green.xml");
  const std::string panel = need("cat " + folder + "/shotcut/ui.qml");
  need("xmllint --noout " + folder + "/kdenlive/frei0r_kalvetra_green.xml");
  for (const Parameter& parameter : kHostParameters) {
    if (parameter.kind == ParameterKind::Group) continue;
    expectHas(kdenlive, "name=\"" + std::string(parameter.slug) + "\"");
    expectHas(panel, "filter.set('" + std::string(parameter.slug) + "', ");
  }
  expectHas(kdenlive, "type=\"color\"");
  expectHas(
      kdenlive,
      R"(type="constant" default="0.5" min="-50" max="50" factor="100" decimals="0" offset="-50" name="skin-hue")");
  expectHas(panel, "minimumValue: -50");
  expectHas(panel, "filter.set('blur-radius', (value - (1)) / 99)");
  expectHas(panel, "enabled: edgeBlur.checked");
  expectHas(panel, "Shotcut.ColorPicker");
}

}  // namespace
