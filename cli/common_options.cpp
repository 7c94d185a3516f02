#include "cli/common_options.h"

#include <optional>

#include "cli/named_choice.h"
#include "cpu/cpu_level.h"
#include "media/input/frame_rate.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// "auto, scalar, sse4": what --cpu can be on this machine.
std::string cpuChoices() {
  std::string choices = "auto";
  for (const CpuLevel level : cpuLevels()) choices += ", " + std::string(cpuLevelName(level));
  return choices;
}

constexpr std::array<Named<FieldChoice>, 3> kFieldChoices{
    {{"auto", FieldChoice::Auto}, {"off", FieldChoice::Off}, {"on", FieldChoice::On}}};
constexpr std::array<Named<DepthChoice>, 3> kDepthChoices{
    {{"auto", DepthChoice::Auto}, {"8", DepthChoice::Eight}, {"deep", DepthChoice::Deep}}};

void chooseCpu(const std::string& name) {
  if (name == "auto") return;
  const std::vector<CpuLevel> levels = cpuLevels();
  const std::optional<CpuLevel> level = cpuLevelNamed(name);
  if (!level) throw CLI::ValidationError("--cpu", "'" + name + "' is not among its values; give " + cpuChoices());
  if (std::find(levels.begin(), levels.end(), *level) == levels.end()) {
    throw CLI::ValidationError("--cpu", "this machine has no " + name + "; give " + cpuChoices());
  }
  setCpuLevel(*level);
}

}  // namespace

void addRawOption(CLI::App& command, SourceOptions& source) {
  const auto takeRaw = [&source](const std::string& text) {
    try {
      source.raw = parseRawPictures(text);
    } catch (const UserError& error) {
      throw CLI::ValidationError("--raw", error.what());
    }
  };
  command
      .add_option_function<std::string>("--raw", takeRaw,
                                        "The input is raw pictures of this size, rate and pixel format.")
      ->type_name("WxH@FPS:FORMAT")
      ->group("Input");
}

void addRateOption(CLI::App& command, SourceOptions& source) {
  const auto takeRate = [&source](const std::string& text) {
    const std::optional<AVRational> rate = parseFrameRate(text);
    if (!rate) {
      throw CLI::ValidationError("--rate", "'" + text + "' is no rate; give pictures a second, " + kFrameRateRange +
                                               ", like 24, 23.976 or 30000/1001");
    }
    source.sequenceRate = *rate;
  };
  command.add_option_function<std::string>("--rate", takeRate, "Pictures a second of an image sequence.")
      ->type_name("FPS")
      ->default_str("25")
      ->group("Input");
}

void addKeyingOptions(CLI::App& command, KeyingChoice& keying) {
  addChoice<FieldChoice>(command, "--fields", kFieldChoices,
                         "Key the two fields of interlaced pictures apart; auto: where the clip is interlaced.",
                         [&keying](FieldChoice choice) { keying.fields = choice; })
      ->default_str("auto")
      ->group("Input");
  command
      .add_flag("--dither,!--no-dither", keying.dither,
                "Dither colours of more than 8 bits, against banding, as is usual; or round them.")
      ->group("Input");
}

void addDepthOption(CLI::App& command, KeyingChoice& keying) {
  keying.depth = DepthChoice::Auto;
  addChoice<DepthChoice>(command, "--depth", kDepthChoices,
                         "Key in 8 bits, or at full depth in floating point; auto: at full depth where the input has "
                         "more than 8 bits.",
                         [&keying](DepthChoice choice) { keying.depth = choice; })
      ->default_str("auto")
      ->group("Input");
}

void addMatteOptions(CLI::App& command, CompanionPaths& mattes) {
  command
      .add_option("--garbage", mattes.garbage,
                  "Picture or clip of the input's size: what is white in it becomes transparent.")
      ->type_name("FILE")
      ->group("Input");
  command
      .add_option("--holdout", mattes.holdout,
                  "Picture or clip of the input's size: what is white in it becomes opaque; garbage overrides it.")
      ->type_name("FILE")
      ->group("Input");
}

void addReplaceOption(CLI::App& command, CommonOptions& options) {
  command.add_flag("-y,--yes", options.replace, "Replace an output that exists.");
}

void addThreadsOption(CLI::App& command, CommonOptions& options) {
  command.add_option("--threads", options.threads, "Frames to work on at the same time; by default one a core.")
      ->check(CLI::Range(1, 1024))
      ->type_name("1..1024");
}

void addCpuOption(CLI::App& command) {
  command.add_option_function<std::string>("--cpu", chooseCpu, "Instruction set to use; the pictures are the same.")
      ->type_name("auto, scalar, sse4, avx2, avx512, neon")  // of every machine: the manual is written on one of them
      ->default_str("auto");
}

}  // namespace kalvetra
