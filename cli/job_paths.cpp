#include "cli/job_paths.h"

#include <algorithm>

#include "cli/batch.h"
#include "jobs/output_choice.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

const std::string kStandardStream = "-";

bool measures(const JobOptions& options) { return options.format == "null" || options.format == "hash"; }

// With -f null and -f hash: one input, perhaps an output behind it.
void splitMeasurePaths(JobOptions& options) {
  if (options.paths.size() > 2) {
    throw CLI::ValidationError("OUTPUT", "-f " + options.format + " works on one clip; leave the others out");
  }
  options.inputs = {options.paths.front()};
  if (options.paths.size() == 2 && options.paths.back() != kStandardStream) options.job.hashPath = options.paths.back();
  if (options.format == "null" && !options.job.hashPath.empty()) {
    throw CLI::ValidationError("OUTPUT", "-f null writes nothing; leave " + options.job.hashPath + " out");
  }
}

void refuseSingleNames(const JobOptions& options) {
  const auto check = [](const std::string& pattern, const std::string& what) {
    if (pattern.empty() || hasPlaceholder(pattern)) return;
    throw UserError(pattern + ": several clips need {name} in the name of " + what + ", like keyed/{name}.mov");
  };
  check(options.outputPattern, "the output");
  check(options.job.receipt, "the receipt");
  for (const auto& [view, pattern] : options.also) check(pattern, "every output");
}

void checkTogether(const JobOptions& options) {
  const bool comp = std::any_of(options.also.begin(), options.also.end(),
                                [](const auto& also) { return also.first == ShownView::Composite; });
  if (comp && options.job.companions.background.empty()) {
    throw CLI::ValidationError("--also", "comp needs a background; give it with --over");
  }
  if (!comp && !options.job.companions.background.empty()) {
    throw CLI::ValidationError("--over", "shows only in --also comp=FILE; name that output");
  }
  if (options.job.resumable && measures(options)) {
    throw CLI::ValidationError("--resume", "-f " + options.format + " keeps nothing; leave one of them out");
  }
}

void addMainOutput(KeyJob& job, const JobOptions& options, const std::string& path) {
  DeliveryRequest request = deliveryRequest(job.mainView, path);
  if (job.animatedView) request.opaque = request.levels = false;
  request.purpose = options.purpose;
  request.codec = options.format.empty() ? options.codec : options.format;
  request.alpha = options.alpha;
  addOutput(job, job.mainView, request);
}

}  // namespace

void splitPaths(JobOptions& options) {
  checkTogether(options);
  if (std::find(options.paths.begin(), options.paths.end(), "") != options.paths.end()) {
    throw CLI::ValidationError("INPUT... OUTPUT", "a name is empty; is a variable of the shell not set?");
  }
  if (measures(options)) {
    splitMeasurePaths(options);
    return;
  }
  if (options.paths.size() < 2) throw CLI::RequiredError("OUTPUT");
  options.outputPattern = options.paths.back();
  const std::vector<std::string> named(options.paths.begin(), options.paths.end() - 1);
  options.inputs = expandInputs(named, options.skipExisting ? options.outputPattern : "");
  if (options.inputs.size() > 1) refuseSingleNames(options);
}

KeyJob jobFor(const JobOptions& options, const std::string& input, MainView view) {
  KeyJob job = options.job;
  job.input = input;
  job.threads = options.threads;
  job.replace = options.replace;
  job.receipt = nameFor(options.job.receipt, input);
  job.mainView = view.view;
  job.animatedView = view.animated;
  job.measure = options.format == "null" ? Measure::Null : options.format == "hash" ? Measure::Hash : Measure::None;
  if (!options.outputPattern.empty()) addMainOutput(job, options, nameFor(options.outputPattern, input));
  for (const auto& [alsoView, pattern] : options.also)
    addOutput(job, alsoView, deliveryRequest(alsoView, nameFor(pattern, input)));
  return job;
}

}  // namespace kalvetra
