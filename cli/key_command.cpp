#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_options.h"
#include "cli/key_pipeline.h"
#include "media/hash_sink.h"
#include "media/temporary_output.h"
#include "media/writer.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

const std::string kNull = "null", kHash = "hash", kStandardOutput = "-";

struct KeyCommand : CommonOptions {
  KeyChoice choice;
  std::string format;  // kNull, kHash, or empty: the output's name tells
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

bool writesFile(const KeyCommand& options) {
  return options.format.empty() ||
         (options.format == kHash && !options.output.empty() && options.output != kStandardOutput);
}

void checkOutput(const KeyCommand& options) {
  if (options.format.empty() && options.output.empty()) throw CLI::RequiredError("OUTPUT");
  if (options.format == kNull && !options.output.empty() && options.output != kStandardOutput) {
    throw CLI::ValidationError("OUTPUT", "-f null writes nothing; leave " + options.output + " out");
  }
}

// The output's place; none where no file is written.
std::unique_ptr<TemporaryOutput> openOutput(const KeyCommand& options) {
  if (!writesFile(options)) return nullptr;
  if (options.format.empty()) outputFormatFor(options.output);  // throws for a name that fits none
  refuseOverwritingInput(options.input, options.output);
  auto output = std::make_unique<TemporaryOutput>(options.output, options.replace);
  if (options.format == kHash && output->isSequence()) {
    throw UserError(options.output + ": the hashes go to one file; name it without a %");
  }
  return output;
}

std::unique_ptr<PictureSink> openSink(const KeyCommand& options, const TemporaryOutput* output, Reader& source) {
  if (options.format == kNull) return std::make_unique<NullSink>();
  if (options.format == kHash) {
    return std::make_unique<HashSink>(output != nullptr ? output->path() : std::string(), options.output,
                                      source.format().timeBase);
  }
  auto writer =
      std::make_unique<Writer>(outputFormatFor(options.output), *output, options.output, source, options.threads);
  for (const std::string& sentence : writer->leftOut()) note(sentence);
  return writer;
}

void run(const CLI::App& command, const KeyCommand& options) {
  checkOutput(options);
  const std::unique_ptr<TemporaryOutput> output = openOutput(options);
  Reader source(options.input, options.threads, stopRequested());
  if (!source.colorGuess().empty()) {
    note(options.input + " does not say how its colours are coded; taken for " + source.colorGuess() +
         ", by its height");
  }
  std::unique_ptr<PictureSink> sink = openSink(options, output.get(), source);
  const AnimatedSettings settings = settleSettings(command, options.choice, options.input, options.threads);
  savePreset(options.choice, settings, options);

  Progress progress(source.expectedFrames());
  keyClip(source, *sink, settings, options.threads, [&] { progress.advance(); });
  progress.clear();
  throwIfInterrupted();
  if (progress.frames() == 0) throw UserError(options.input + ": no picture in it can be read; check the file");
  const std::string damage = describeDamage(source, progress.frames());
  if (!damage.empty() && !options.keepPartial) {
    throw UserError(damage + "; nothing was written, --keep-partial would keep them");
  }
  sink->finish();
  sink.reset();
  if (output) output->commit();
  const std::string target = output ? " to " + options.output : "";
  if (!damage.empty()) throw UserError(damage + (output ? " and went" + target : ""));
  note("keyed " + counted(progress.frames(), "frame") + " in " + speed(progress) + target);
}

}  // namespace

void addKeyCommand(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("key", "Key a video, a still or an image sequence into a file with alpha.");
  auto options = std::make_shared<KeyCommand>();
  command
      ->add_option("INPUT", options->input, "What to key: any video or image file, or a sequence like shot-%05d.png.")
      ->required();
  command->add_option(
      "OUTPUT", options->output,
      "Where to: .mov (ProRes 4444), .mkv (FFV1, lossless), .webm (VP9), .png or name-%05d.png. With -f "
      "hash a text file, or - for the standard output; with -f null nothing.");
  command
      ->add_option("-f,--format", options->format,
                   "null throws the keyed frames away, hash writes a hash of each; else OUTPUT's name tells the kind.")
      ->check(CLI::IsMember({kNull, kHash}));
  addReplaceOption(*command, *options);
  addThreadsOption(*command, *options);
  addCpuOption(*command);
  command->add_flag("--keep-partial", options->keepPartial, "Keep what could be keyed of a damaged input.");
  addKeyOptions(*command, options->choice);
  command->callback([command, options] { run(*command, *options); });
}

}  // namespace kalvetra
