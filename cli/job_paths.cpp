#include "cli/job_paths.h"

#include <algorithm>
#include <filesystem>

#include "cli/batch.h"
#include "jobs/output_choice.h"
#include "media/files/numbered_name.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

const std::string kStandardStream = "-";

bool measures(const JobOptions& options) { return options.format == "null" || options.format == "hash"; }

// With -f null and -f hash: one input, perhaps an output after it.
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

void refuseFolder(const std::string& output) {
  std::error_code ignored;
  const std::filesystem::path path(output);
  if (!std::filesystem::is_directory(path, ignored)) return;
  throw UserError(output + ": is a folder; name a file in it, like " +
                  (path / (kNamePlaceholder + std::string(".mov"))).string());
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

bool isAnyNumbered(const JobOptions& options) {
  const auto isNumbered = [](const std::string& path) {
    return isNumberedName(std::filesystem::path(path).filename().string());
  };
  return (!measures(options) && isNumbered(options.paths.back())) ||
         std::any_of(options.also.begin(), options.also.end(),
                     [&](const auto& also) { return isNumbered(also.second); });
}

bool showsBackground(const JobOptions& options, ShownView mainView) {
  const auto isComp = [](const auto& also) { return also.first == ShownView::Composite; };
  return mainView == ShownView::Composite || std::any_of(options.also.begin(), options.also.end(), isComp);
}

DeliveryRequest mainRequest(const JobOptions& options, ShownView view, const std::string& path) {
  DeliveryRequest request = deliveryRequest(view, path);
  request.purpose = options.purpose;
  request.codec = options.format.empty() ? options.codec : options.format;
  request.alpha = options.alpha;
  if (options.hidden != HiddenColors::Auto) request.hidden = options.hidden;
  return request;
}

void addMainOutput(KeyJob& job, const JobOptions& options, const std::string& path) {
  DeliveryRequest request = mainRequest(options, job.mainView, path);
  if (job.animatedView) request.opaque = request.levels = false;
  addOutput(job, job.mainView, request);
}

void addFurtherOutput(KeyJob& job, const JobOptions& options, ShownView view, const std::string& path) {
  DeliveryRequest request = deliveryRequest(view, path);
  if (options.hidden != HiddenColors::Auto) request.hidden = options.hidden;
  addOutput(job, view, request);
}

}  // namespace

void splitPaths(JobOptions& options) {
  if (options.job.resumable && measures(options)) {
    throw CLI::ValidationError("--resume", "-f " + options.format + " keeps nothing; leave one of them out");
  }
  if (options.job.startNumber && !isAnyNumbered(options)) {
    throw CLI::ValidationError("--start-number", "numbers pictures; give an output a name like keyed-%05d.png");
  }
  if (std::find(options.paths.begin(), options.paths.end(), "") != options.paths.end()) {
    throw CLI::ValidationError("INPUT... OUTPUT", "a name is empty; is a variable of the shell not set?");
  }
  const ClipRange& range = options.job.range;
  if (range.isEmpty()) {
    throw CLI::ValidationError("--end", textOf(*range.end) + " is not after --start at " + textOf(*range.start));
  }
  if (measures(options)) {
    splitMeasurePaths(options);
    return;
  }
  if (options.paths.size() < 2) throw CLI::RequiredError("OUTPUT");
  options.outputPattern = options.paths.back();
  refuseFolder(options.outputPattern);
  const std::vector<std::string> named(options.paths.begin(), options.paths.end() - 1);
  options.inputs = expandInputs(named, options.skipExisting ? options.outputPattern : "");
  if (options.inputs.size() > 1) refuseSingleNames(options);
}

std::string impliedComposite(const JobOptions& options, MainView view) {
  const std::string& background = options.job.companions.background;
  const bool isResult = view.view == ShownView::Result && !view.animated;
  if (!isResult || background.empty() || options.outputPattern.empty() || options.alpha) return {};
  const OutputFormat& format =
      *chooseDelivery(mainRequest(options, ShownView::Composite, options.outputPattern)).format;
  if (!format.alpha.empty() || format.pair) return {};
  return options.outputPattern + ": " + format.what + " holds no alpha; it shows the result over " + background;
}

void checkBackground(const JobOptions& options, ShownView mainView) {
  const bool given = !options.job.companions.background.empty(), shown = showsBackground(options, mainView);
  if (shown && !given) {
    throw CLI::ValidationError(mainView == ShownView::Composite ? "--view" : "--also",
                               "comp needs a background; give it with --over");
  }
  if (given && !shown) {
    throw CLI::ValidationError("--over", "shows only in the view comp; give --view comp or --also comp=FILE");
  }
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
  for (const auto& [alsoView, pattern] : options.also) {
    addFurtherOutput(job, options, alsoView, nameFor(pattern, input));
  }
  return job;
}

}  // namespace kalvetra
