// What the user chooses of `kalvetra key` besides the key itself: inputs, outputs, ranges and how to work.
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
  std::vector<std::string> paths;  // inputs, and the output after them
  KeyJob job;                      // but for its input and outputs
  std::string format;              // -f: null, hash, nut or raw
  std::string purpose, codec;
  std::optional<AlphaMode> alpha;
  HiddenColors hidden = HiddenColors::Auto;
  std::vector<std::pair<ShownView, std::string>> also;
  ProgressKind progress = usualProgress();
  bool skipExisting = false;
  bool verbose = false;

  // Set by splitPaths.
  std::vector<std::string> inputs;
  std::string outputPattern;  // empty: none, with -f null or -f hash
};

void addJobOptions(CLI::App& command, JobOptions& options);

}  // namespace kalvetra
