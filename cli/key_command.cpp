#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli/batch.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/job_options.h"
#include "cli/job_paths.h"
#include "cli/key_options.h"
#include "cli/settled_key.h"
#include "jobs/picture_numbers.h"
#include "jobs/prepared_job.h"
#include "media/files/name_clash.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct KeyCommand {
  KeyChoice choice;
  JobOptions options;
};

MainView mainView(const KeyChoice& choice) {
  const AnimatedSettings settings = withNamed(choice);
  const bool animated = !choice.ownView && settings.curve(*findParameter("view")).size() > 1;
  return {shownView(choice, settings.at(0)), animated};
}

std::string speed(const Progress& progress) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f s (%.1f fps)", progress.seconds(),
                static_cast<double>(progress.frames()) / std::max(progress.seconds(), 1e-3));
  return text;
}

// "a.mov and b.mov"; empty where no file was written.
std::string written(const KeyJob& job) {
  std::string names = job.hashPath;
  for (const OutputRequest& output : job.outputs) {
    names += (names.empty() ? "" : " and ") + (output.path == "-" ? "the standard output" : output.path);
  }
  return names;
}

void reportStatus(const MatteStatus& status) {
  const std::int64_t all = status.pixels();
  if (all == 0) return;
  const auto percent = [all](std::int64_t count) {
    return 100.0 * static_cast<double>(count) / static_cast<double>(all);
  };
  char text[200];
  std::snprintf(text, sizeof text,
                "matte: %.2f %% clear, %.2f %% almost clear, %.2f %% partial, %.2f %% almost opaque, %.2f %% opaque",
                percent(status.clear), percent(status.almostClear), percent(status.partial),
                percent(status.almostOpaque), percent(status.opaque));
  note(text);
}

void reportOutputs(const JobResult& result) {
  for (const WrittenOutput& output : result.outputs) {
    std::string line = output.request.path + ": " + describe(output.request.delivery);
    for (const std::string& check : output.proof.checks) line += ", " + check;
    if (!output.proof.checks.empty()) note(line + ": checked");
  }
}

// Throws where frames were lost.
void report(const JobResult& result, const KeyJob& job, const Progress& progress) {
  reportOutputs(result);
  reportStatus(result.status);
  const std::string files = written(job);
  if (!result.damage.empty()) throw UserError(result.damage + (files.empty() ? "" : " and went to " + files));
  note("keyed " + counted(result.keyedNow, "frame") + " in " + speed(progress) + (files.empty() ? "" : " to " + files));
}

void keyOne(const KeyCommand& options, const std::string& input) {
  KeyJob job = jobFor(options.options, input, mainView(options.choice));
  job.cleanPlate = options.choice.cleanPlate;
  job.settingsRead = options.choice.presetFile;
  job.settingsWritten = nameFor(options.choice.savedPreset, input);
  std::unique_ptr<Progress> progress;
  JobListener listener;
  listener.note = note;
  listener.begin = [&](std::int64_t expected, std::int64_t before) {
    progress = std::make_unique<Progress>(expected, options.options.progress, before);
  };
  listener.frameDone = [&] { progress->advance(); };
  listener.end = [&] { progress->end(); };
  PreparedJob prepared(job, listener, stopRequested());
  if (prepared.keying().deep()) checkDeepLook(options.choice);
  const SettledKey key = settleKey(options.choice, prepared.source(), job, options.options.progress);
  CommonOptions files = options.options;
  files.input = input;
  if (!job.outputs.empty()) files.output = job.outputs.front().path;
  savePreset(job.settingsWritten, key.settings, files, prepared.keying().deep());
  const JobResult result = prepared.run(key.settings, key.plates);
  report(result, job, *progress);
}

// The output that --skip-existing asks for; empty without one.
std::string mainOutput(const JobOptions& options, const std::string& input) {
  return options.outputPattern.empty() ? options.job.hashPath : nameFor(options.outputPattern, input);
}

bool isThere(const JobOptions& options, const std::string& input) {
  const std::string output = mainOutput(options, input);
  if (!options.skipExisting || output.empty()) return false;
  KeyJob job = options.job;
  job.input = input;
  return isOutputThere(job, output);
}

// All that is written for one of the clips.
std::vector<std::string> filesWritten(const KeyCommand& options, const std::string& input) {
  const KeyJob job = jobFor(options.options, input, mainView(options.choice));
  std::vector<std::string> files;
  for (const OutputRequest& output : job.outputs) files.push_back(output.path);
  for (const std::string& file : {job.receipt, nameFor(options.choice.savedPreset, input)}) {
    if (!file.empty()) files.push_back(file);
  }
  return files;
}

// No clip's output may take the name of another clip, or of another's output.
void refuseClashes(const KeyCommand& options) {
  if (!options.choice.savedPreset.empty() && !hasPlaceholder(options.choice.savedPreset)) {
    throw UserError(options.choice.savedPreset + ": several clips need {name} in the name of the preset");
  }
  const std::vector<std::string>& clips = options.options.inputs;
  std::vector<std::pair<std::string, std::string>> written;  // by the clips before, and which
  for (const std::string& input : clips) {
    const std::vector<std::string> files = filesWritten(options, input);
    for (const std::string& file : files) {
      for (const std::string& clip : clips) refuseOverwritingInput(clip, file);
      for (const auto& [other, clip] : written) {
        if (!isSameFile(other, file)) continue;
        throw UserError(clip + " and " + input + " would both become " + file + "; rename one or key them apart");
      }
    }
    for (const std::string& file : files) written.emplace_back(file, input);
  }
}

// One bad clip does not stop the others.
void keyAll(const KeyCommand& options) {
  const std::vector<std::string>& inputs = options.options.inputs;
  refuseClashes(options);
  int skipped = 0;
  std::vector<std::string> failed;
  for (const std::string& input : inputs) {
    if (isThere(options.options, input)) {
      ++skipped;
      continue;
    }
    try {
      keyOne(options, input);
    } catch (const Interrupted&) {
      throw;
    } catch (const std::exception& error) {
      throwIfInterrupted();
      note(sentenceOf(error));
      failed.push_back(input);
    }
  }
  const auto keyed = inputs.size() - static_cast<std::size_t>(skipped) - failed.size();
  const std::string report = std::to_string(keyed) + " of " +
                             counted(static_cast<std::int64_t>(inputs.size()), "clip") + " keyed, " +
                             std::to_string(skipped) + " skipped, " + std::to_string(failed.size()) + " failed";
  if (failed.empty()) {
    note(report);
    return;
  }
  std::string names;
  for (const std::string& name : failed) names += (names.empty() ? ": " : ", ") + name;
  throw UserError(report + names);
}

// A view that the command line names stays. One in a preset that is the result may be there because all settings are.
void settleView(KeyCommand& options) {
  if (!options.choice.options.contains(findParameter("view")->id)) {
    const std::string sentence = impliedComposite(options.options, mainView(options.choice));
    if (!sentence.empty()) {
      note(sentence);
      options.choice.ownView = ShownView::Composite;
    }
  }
  checkBackground(options.options, mainView(options.choice).view);
}

void run(KeyCommand& options) {
  JobOptions& job = options.options;
  splitPaths(job);
  settleDepth(options.choice, job.job.keying);
  settleView(options);
  options.choice.alwaysKeys = !job.also.empty();
  options.choice.briefly = job.inputs.size() > 1 && !job.verbose;
  if (job.inputs.size() > 1) {
    keyAll(options);
  } else if (isThere(job, job.inputs.front())) {
    note(mainOutput(job, job.inputs.front()) + " exists already: skipped");
  } else {
    keyOne(options, job.inputs.front());
  }
}

}  // namespace

void addKeyCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("key", "Key videos, stills or image sequences into files with alpha.");
  auto options = std::make_shared<KeyCommand>();
  addJobOptions(*command, options->options);
  addKeyOptions(*command, options->choice, true);
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
