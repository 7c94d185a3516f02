// The command `kalvetra`. Exit status: 0 done, 1 failed, 2 wrong usage, 130 interrupted.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <new>

#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "media/ffmpeg.h"
#include "support/user_error.h"

namespace {

int runProgram(int argc, char** argv) {
  const std::unique_ptr<CLI::App> program = kalvetra::makeProgram();
  try {
    program->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      kalvetra::note(std::string(error.what()) + " (kalvetra --help tells more)");
      return 2;
    }
    program->exit(error);  // help and version
  }
  if (std::cout.flush() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  throw kalvetra::UserError("the standard output cannot be written to; what it got is not complete");
}

}  // namespace

int main(int argc, char** argv) {
  av_log_set_level(AV_LOG_QUIET);  // failures are told in our own words
  setenv("SVT_LOG", "0", 0);       // so does this encoder, which has a log of its own
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
    kalvetra::note(kalvetra::sentenceOf(error));
  }
  return 1;
}
