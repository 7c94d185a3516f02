#include "cli/job_options.h"

#include "cli/batch.h"
#include "cli/named_choice.h"
#include "jobs/output_choice.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::array<Named<AlphaMode>, 2> kAlphaModes{
    {{"straight", AlphaMode::Straight}, {"premultiplied", AlphaMode::Premultiplied}}};
constexpr std::array<Named<HiddenColors>, 3> kHiddenColors{
    {{"auto", HiddenColors::Auto}, {"extend", HiddenColors::Extend}, {"keep", HiddenColors::Keep}}};
constexpr std::array<Named<OverEnd>, 2> kOverEnds{{{"hold", OverEnd::Hold}, {"loop", OverEnd::Loop}}};
constexpr std::array<Named<ProgressKind>, 4> kProgressKinds{{{"bar", ProgressKind::Bar},
                                                             {"plain", ProgressKind::Plain},
                                                             {"json", ProgressKind::Json},
                                                             {"none", ProgressKind::None}}};

void addInputOptions(CLI::App& command, JobOptions& options) {
  addRawOption(command, options.job.source);
  addRateOption(command, options.job.source);
  addKeyingOptions(command, options.job.keying);
  addDepthOption(command, options.job.keying);
  addMatteOptions(command, options.job.companions);
}

void addPositionOption(CLI::App& command, const std::string& name, std::optional<Position>& position,
                       const std::string& help) {
  const auto take = [name, &position](const std::string& text) {
    position = parsePosition(text);
    if (!position) {
      throw CLI::ValidationError(name, "'" + text +
                                           "' is no place in a clip; give seconds (2.5), a time (1:02:03.5) or a "
                                           "frame's number from 0 (75f)");
    }
  };
  command.add_option_function<std::string>(name, take, help)->type_name("TIME")->group("Range");
}

void addRangeOptions(CLI::App& command, JobOptions& options) {
  addPositionOption(command, "--start", options.job.range.start,
                    "Begin there: seconds (2.5), a time (1:02:03.5) or a frame's number (75f).");
  addPositionOption(command, "--end", options.job.range.end, "End before the frame there.");
  command.add_option("--frames", options.job.range.frames, "At most so many frames.")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{1'000'000'000}))
      ->type_name("N")
      ->group("Range");
}

void addAlso(JobOptions& options, const std::string& text) {
  const std::size_t equals = text.find('=');
  const std::optional<ShownView> view = findView(text.substr(0, equals));
  if (!view || equals == std::string::npos || equals + 1 == text.size()) {
    throw CLI::ValidationError(
        "--also", "'" + text + "' names no further output; give VIEW=FILE, the view one of " + viewSlugs());
  }
  options.also.emplace_back(*view, text.substr(equals + 1));
}

void addOutputOptions(CLI::App& command, JobOptions& options) {
  const std::string group = "Output";
  command.add_option("--for", options.purpose, "What the output is for; chooses codec, file and alpha.")
      ->check(CLI::IsMember(purposes()))
      ->group(group);
  command.add_option("--codec", options.codec, "How pictures are coded; by default as OUTPUT's name tells.")
      ->check(CLI::IsMember(codecs()))
      ->group(group);
  addChoice<AlphaMode>(command, "--alpha", kAlphaModes,
                       "Colours as they are, or times alpha; by default as the kind of file has it.",
                       [&options](AlphaMode mode) { options.alpha = mode; })
      ->group(group);
  addChoice<HiddenColors>(command, "--hidden-colors", kHiddenColors,
                          "Colours where straight alpha is 0: those of the edges, extended, or what the keyer left; "
                          "auto: extended for lossy codecs.",
                          [&options](HiddenColors hidden) { options.hidden = hidden; })
      ->default_str("auto")
      ->group(group);
  command
      .add_option("-f,--format", options.format,
                  "null throws the keyed frames away, hash writes a hash of each; nut and raw are for pipes.")
      ->check(CLI::IsMember({"null", "hash", "nut", "raw"}))
      ->group(group);
  command
      .add_option_function<std::vector<std::string>>(
          "--also",
          [&options](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) addAlso(options, text);
          },
          "A further output of the same run: VIEW=FILE; views: " + viewSlugs() + ".")
      ->type_name("VIEW=FILE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->group(group);
  command.add_flag("!--no-sound", options.job.sound, "Leave the sound out.")->group(group);
  CLI::Option* over =
      command
          .add_option(
              "--over", options.job.companions.background,
              "What the view comp shows behind the subject: a picture, a clip or #rrggbb. An output without alpha "
              "then shows comp.")
          ->type_name("FILE|#rrggbb")
          ->group(group);
  addChoice<OverEnd>(command, "--over-end", kOverEnds,
                     "What a clip behind the subject does at its end: stays at its last picture, or begins again.",
                     [&options](OverEnd end) { options.job.companions.backgroundEnd = end; })
      ->default_str("hold")
      ->needs(over)
      ->group(group);
}

void addNumberOption(CLI::App& command, JobOptions& options) {
  constexpr int kLargest = 100'000'000;  // with a day of pictures after it still a number of nine digits
  command
      .add_option("--start-number", options.job.startNumber,
                  "The number of the first picture written to a numbered output; by default that of the source.")
      ->check(CLI::Range(0, kLargest))
      ->type_name("N")
      ->group("Output");
}

void addWorkOptions(CLI::App& command, JobOptions& options) {
  const std::string group = "Work";
  addReplaceOption(command, options);
  command.add_flag("--skip-existing", options.skipExisting, "Leave clips alone whose output exists.")->group(group);
  command
      .add_flag("--resume", options.job.resumable,
                "Keep what is done when the run is interrupted, and go on with what an earlier run has kept.")
      ->group(group);
  command.add_flag("--keep-partial", options.job.keepPartial, "Keep what could be keyed of a damaged input.")
      ->group(group);
  command.add_flag("!--no-verify", options.job.verify, "Do not open and check outputs once they are written.")
      ->group(group);
  command
      .add_option("--receipt", options.job.receipt, "Write what was made, and how it was checked, to this JSON file.")
      ->type_name("FILE")
      ->group(group);
  command.add_flag("--verbose", options.verbose, "With --auto and several clips: every setting with its reason.")
      ->group(group);
  addChoice<ProgressKind>(command, "--progress", kProgressKinds,
                          "How progress is shown; json: one object a line, on stderr.",
                          [&options](ProgressKind kind) { options.progress = kind; })
      ->default_str("bar on a terminal, else plain")
      ->group(group);
}

}  // namespace

void addJobOptions(CLI::App& command, JobOptions& options) {
  command
      .add_option(
          "INPUT... OUTPUT", options.paths,
          "What to key: videos, images, sequences like shot-%05d.png, folders, - for the standard input. Last, "
          "where to: .mov (ProRes 4444), .mkv (FFV1), .webm (VP9), .png, name-%05d.png, .exr and others, or - "
          "for the standard output; several clips need {name} in it. With -f hash a text file; with -f null none.")
      ->required();
  addInputOptions(command, options);
  addRangeOptions(command, options);
  addOutputOptions(command, options);
  addNumberOption(command, options);
  addWorkOptions(command, options);
  addThreadsOption(command, options);
  addCpuOption(command);
}

}  // namespace kalvetra
