// Options that several subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <thread>

namespace kalvetra {

struct CommonOptions {
  std::string input;
  std::string output;
  bool replace = false;
  int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
};

inline void addReplaceOption(CLI::App& command, CommonOptions& options) {
  command.add_flag("-y,--yes", options.replace, "Replace an output that exists.");
}

inline void addThreadsOption(CLI::App& command, CommonOptions& options) {
  command.add_option("--threads", options.threads, "Frames to work on at the same time; by default one a core.")
      ->check(CLI::Range(1, 256))
      ->type_name("1..256");
}

}  // namespace kalvetra
