// The command `kalvetra`. Exit status: 0 done, 1 failed, 2 wrong usage, 130 interrupted.
#include <CLI/CLI.hpp>
#include <exception>
#include <new>

#include "cli/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "media/ffmpeg.h"

namespace {

int runProgram(int argc, char** argv) {
  CLI::App program("Kalvetra keys green-screen video.", "kalvetra");
  program.set_version_flag("--version", "kalvetra " KALVETRA_VERSION);
  program.require_subcommand(1);
  kalvetra::addKeyCommand(program);
  kalvetra::addStillCommand(program);
  kalvetra::addPickCommand(program);
  kalvetra::addSampleCommand(program);
  kalvetra::addParametersCommand(program);
  try {
    program.parse(argc, argv);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return program.exit(error);  // help and version
    kalvetra::note(std::string(error.what()) + " (kalvetra --help tells more)");
    return 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);  // failures are told in our own words
  kalvetra::catchInterrupts();
  try {
    return runProgram(argc, argv);
  } catch (const kalvetra::Interrupted& interrupted) {
    kalvetra::note(interrupted.what());
    return 130;
  } catch (const std::bad_alloc&) {
    kalvetra::note("out of memory; try fewer --threads or smaller pictures");
  } catch (const std::exception& error) {
    // A read that was stopped reports a failure of its own.
    if (kalvetra::stopRequested()) {
      kalvetra::note(kalvetra::Interrupted().what());
      return 130;
    }
    kalvetra::note(error.what());
  }
  return 1;
}
