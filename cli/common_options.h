// Options that several subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <thread>

#include "jobs/clip_keying.h"
#include "jobs/companions.h"
#include "media/input/source_options.h"

namespace kalvetra {

struct CommonOptions {
  std::string input;
  std::string output;
  bool replace = false;
  int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
};

// The options that say what files do not. The source is written while the command line is parsed.
void addRawOption(CLI::App& command, SourceOptions& source);
void addRateOption(CLI::App& command, SourceOptions& source);
// How the clip's pictures are keyed. In the group Input, as the next.
void addKeyingOptions(CLI::App& command, KeyingChoice& keying);
// Of those that can key at full depth; without it, all is keyed in 8 bits.
void addDepthOption(CLI::App& command, KeyingChoice& keying);
void addMatteOptions(CLI::App& command, CompanionPaths& mattes);
void addReplaceOption(CLI::App& command, CommonOptions& options);
void addThreadsOption(CLI::App& command, CommonOptions& options);
// Takes effect while the command line is parsed.
void addCpuOption(CLI::App& command);

}  // namespace kalvetra
