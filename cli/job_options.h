// What `kalvetra key` is told besides the key itself: inputs, outputs, ranges and how to work.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/common_options.h"
#include "cli/progress.h"
#include "jobs/key_job.h"

namespace kalvetra {

struct JobOptions : CommonOptions {
  std::vector<std::string> paths;  // inputs, and the output behind them
  KeyJob job;                      // but for its input and outputs
  std::string format;              // -f: null, hash, nut or raw
  std::string purpose, codec;
  std::optional<AlphaMode> alpha;
  std::vector<std::pair<ShownView, std::string>> also;
  ProgressKind progress = usualProgress();
  bool skipExisting = false;

  // Set by splitPaths.
  std::vector<std::string> inputs;
  std::string outputPattern;  // empty: none, with -f null or -f hash
};

void addJobOptions(CLI::App& command, JobOptions& options);

// Tells the inputs from the output and checks that they fit. Throws CLI errors for what cannot be meant, UserError for
// what cannot be done.
void splitPaths(JobOptions& options);

// What the main output shows.
struct MainView {
  ShownView view = ShownView::Result;
  bool animated = false;  // the settings say for each frame
};

// The job for one of the inputs.
KeyJob jobFor(const JobOptions& options, const std::string& input, MainView view);

}  // namespace kalvetra
