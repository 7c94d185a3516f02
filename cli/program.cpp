#include "cli/program.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>

#include "cli/commands.h"
#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/overview.h"
#include "media/ffmpeg.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {
namespace {

constexpr std::string_view kOutOfMemory = "out of memory; try fewer --threads or smaller pictures";

// Libraries promise here and there not to throw and then ask for memory: such a failure cannot be caught.
[[noreturn]] void endWithASentence() {
  // Where GCC 12 inlined such a promise, the exception counts as uncaught, and its type is unknown (GCC's bug 97720).
  bool isMemory = std::uncaught_exceptions() > 0;
  try {
    if (const std::exception_ptr failure = std::current_exception()) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    isMemory = true;
  } catch (const std::exception& error) {
    note(error.what());
    std::abort();
  } catch (...) {
    std::abort();
  }
  if (!isMemory) std::abort();
  note(kOutOfMemory);
  std::fflush(stderr);
  std::_Exit(1);
}

// The arguments, with the value of each switch that stands without one: a value is never a file's name.
std::vector<std::string> withSwitchesOn(int argc, char** argv) {
  std::vector<std::string> words(argv, argv + argc);
  for (std::size_t i = 1; i < words.size() && words[i] != "--"; ++i) {
    const Parameter* p = words[i].starts_with("--") ? findParameter(std::string_view(words[i]).substr(2)) : nullptr;
    if (p == nullptr || !isSwitch(*p)) continue;
    if (i + 1 == words.size() || !parseValue(*p, words[i + 1])) words[i] += "=on";
  }
  return words;
}

int parseAndRun(int argc, char** argv) {
  const std::unique_ptr<CLI::App> program = makeProgram();
  if (argc < 2) {
    std::fputs(overview(*program).c_str(), stderr);
    return 2;
  }
  try {
    const std::vector<std::string> words = withSwitchesOn(argc, argv);
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    program->parse(argc, pointers.data());
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      note(usageSentence(*program, error));
      return 2;
    }
    program->exit(error);  // help and version
  }
  if (std::cout.flush() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
  throw UserError("the standard output cannot be written to; what it got is not complete");
}

}  // namespace

std::unique_ptr<CLI::App> makeProgram() {
  auto program = std::make_unique<CLI::App>("Kalvetra keys green-screen video.", "kalvetra");
  program->set_version_flag("--version", "kalvetra " KALVETRA_VERSION);
  program->require_subcommand(1);
  addKeyCommand(*program);
  addStillCommand(*program);
#ifdef KALVETRA_PREVIEW
  addPreviewCommand(*program);
#endif
  addProbeCommand(*program);
  addPickCommand(*program);
  addReportCommand(*program);
  addPresetCommand(*program);
  addSampleCommand(*program);
  addParametersCommand(*program);
  addDoctorCommand(*program);
  addManualCommand(*program);
  return program;
}

int runProgram(int argc, char** argv) {
  std::set_terminate(endWithASentence);
  av_log_set_level(AV_LOG_QUIET);  // failures are reported in our own words
  setenv("SVT_LOG", "0", 0);       // so does this encoder, which has a log of its own
  catchInterrupts();
  try {
    return parseAndRun(argc, argv);
  } catch (const Interrupted& interrupted) {
    note(interrupted.what());
    return 130;
  } catch (const std::bad_alloc&) {
    note(kOutOfMemory);
  } catch (const std::exception& error) {
    // A read that was stopped reports a failure of its own.
    if (stopRequested()) {
      note(Interrupted().what());
      return 130;
    }
    note(sentenceOf(error));
  }
  return 1;
}

}  // namespace kalvetra
