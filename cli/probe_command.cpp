#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "cli/commands.h"
#include "cli/common_options.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/probe_report.h"

namespace kalvetra {

namespace {

struct ProbeCommand {
  std::string input;
  SourceOptions source;
  KeyingChoice keying;
  bool json = false;
};

void run(const ProbeCommand& options) {
  const int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  const ClipDescription clip = describeClip(options.input, options.source, threads, stopRequested());
  throwIfInterrupted();
  const bool deep = keysDeep(options.keying.depth, clip.depth);
  const std::string report = options.json ? reportJson(clip, deep) : reportText(clip, deep);
  std::fputs(report.c_str(), stdout);
}

}  // namespace

void addProbeCommand(CLI::App& program) {
  CLI::App* command =
      program.add_subcommand("probe", "Say what a clip is, what it is taken for, and what endangers its key.");
  auto options = std::make_shared<ProbeCommand>();
  command
      ->add_option("FILE", options->input,
                   "A video, a still, a sequence like shot-%05d.png, or - for the standard input.")
      ->required();
  command->add_flag("--json", options->json, "Report in JSON.");
  addRawOption(*command, options->source);
  addDepthOption(*command, options->keying);
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
