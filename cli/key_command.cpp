#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_options.h"
#include "cli/key_pipeline.h"
#include "media/temporary_output.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct KeyCommand : CommonOptions {
  KeyChoice choice;
  bool keepPartial = false;
};

std::string speed(const Progress& progress) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f s (%.1f fps)", progress.seconds(),
                static_cast<double>(progress.frames()) / std::max(progress.seconds(), 1e-3));
  return text;
}

// What was lost of a damaged clip, as the beginning of a sentence; empty when it was read whole.
std::string describeDamage(const Reader& source, std::int64_t keyed) {
  const std::int64_t lost = source.lostFrames(), damaged = source.damagedFrames();
  if (lost + damaged == 0) return {};
  return source.path() + ": the file is damaged: " + counted(lost, "frame") + " lost, " + counted(damaged, "frame") +
         " with errors; " + counted(keyed, "frame") + " could be read";
}

void run(const CLI::App& command, const KeyCommand& options) {
  const OutputFormat& format = outputFormatFor(options.output);
  refuseOverwritingInput(options.input, options.output);
  TemporaryOutput output(options.output, options.replace);
  Reader source(options.input, options.threads, stopRequested());
  for (const std::string& sentence : idleOptions(command, options.choice.settings)) note(sentence);
  if (!source.colorGuess().empty()) {
    note(options.input + " does not say how its colours are coded; taken for " + source.colorGuess() +
         ", by its height");
  }
  auto writer = std::make_unique<Writer>(format, output, options.output, source, options.threads);
  for (const std::string& sentence : writer->leftOut()) note(sentence);
  const KeySettings settings = settleKeyColor(options.choice, options.input, options.threads);

  Progress progress(source.expectedFrames());
  keyClip(source, *writer, settings, options.threads, [&] { progress.advance(); });
  progress.clear();
  throwIfInterrupted();
  if (progress.frames() == 0) throw UserError(options.input + ": no picture in it can be read; check the file");
  const std::string damage = describeDamage(source, progress.frames());
  if (!damage.empty() && !options.keepPartial) {
    throw UserError(damage + "; nothing was written, --keep-partial would keep them");
  }
  writer->finish();
  writer.reset();
  output.commit();
  if (!damage.empty()) throw UserError(damage + " and went to " + options.output);
  note("keyed " + counted(progress.frames(), "frame") + " in " + speed(progress) + " to " + options.output);
}

}  // namespace

void addKeyCommand(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("key", "Key a video, a still or an image sequence into a file with alpha.");
  auto options = std::make_shared<KeyCommand>();
  command
      ->add_option("INPUT", options->input, "What to key: any video or image file, or a sequence like shot-%05d.png.")
      ->required();
  command
      ->add_option("OUTPUT", options->output,
                   "Where to: .mov (ProRes 4444), .mkv (FFV1, lossless), .webm (VP9), .png or name-%05d.png.")
      ->required();
  addReplaceOption(*command, *options);
  addThreadsOption(*command, *options);
  command->add_flag("--keep-partial", options->keepPartial, "Keep what could be keyed of a damaged input.");
  addKeyOptions(*command, options->choice);
  command->callback([command, options] { run(*command, *options); });
}

}  // namespace kalvetra
