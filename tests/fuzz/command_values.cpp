// The command line: whole commands are parsed and judged, but not run, and the readers of single values get any text.
#include <CLI/CLI.hpp>
#include <cmath>
#include <sstream>

#include "cli/batch.h"
#include "cli/job_options.h"
#include "cli/job_paths.h"
#include "cli/key_options.h"
#include "cli/program.h"
#include "media/files/numbered_name.h"
#include "media/input/raw_pictures.h"
#include "media/output/delivery.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/require.h"
#include "tests/support/cpu_levels.h"

namespace {

using kalvetra::Parameter;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;

constexpr const char* kInside = "fuzz";  // a file's name with no folder in it

// Names of files stay below the current folder. They are at most read.
std::string tame(std::string text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool opens = i == 0 || std::isalnum(static_cast<unsigned char>(text[i - 1])) == 0;
    if (text[i] == '/' && opens) text[i] = '_';
    if (text[i] == '.' && i > 0 && text[i - 1] == '.') text[i] = '_';
    if (text[i] == '\0') text[i] = ' ';
  }
  return text;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

// What a user may be told. Anything else that is thrown ends the target.
template <class Action>
void expectSentence(Action action) {
  try {
    action();
  } catch (const CLI::Error& error) {
    require(error.get_exit_code() == 0 || *error.what() != '\0', "wrong usage without a sentence");
  } catch (const kalvetra::UserError& error) {
    require(*error.what() != '\0', "a refusal without a sentence");
  }
}

void parse(CLI::App& app, const std::vector<std::string>& words) {
  const kalvetra::test::LevelRestorer restorer;  // --cpu takes effect at once
  std::vector<const char*> arguments{"kalvetra"};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  app.parse(static_cast<int>(arguments.size()), arguments.data());
}

// The whole command line is read and judged before the chosen command would run.
void parseProgram(const std::vector<std::string>& words) {
  const std::unique_ptr<CLI::App> program = kalvetra::makeProgram();
  program->parse_complete_callback([] { throw CLI::Success(); });
  parse(*program, words);
}

void checkRange(const kalvetra::ClipRange& range) {
  for (const AVRational rate : {AVRational{25, 1}, {30000, 1001}, {1, 1000}, {1000, 1}}) {
    require(range.firstFrame(rate) >= 0, "a range begins before the clip");
    for (const std::int64_t all : {std::int64_t{0}, std::int64_t{1}, std::int64_t{1} << 40}) {
      const std::int64_t frames = range.expectedFrames(all, rate);
      require(frames >= 0 && (all == 0 || frames <= all), "a range holds more frames than its clip");
    }
  }
}

void parseJob(const std::vector<std::string>& words) {
  CLI::App app;
  kalvetra::JobOptions options;
  kalvetra::KeyChoice choice;
  kalvetra::addKeyOptions(app, choice, true);
  kalvetra::addJobOptions(app, options);
  parse(app, words);
  checkRange(options.job.range);
  kalvetra::splitPaths(options);
  for (const std::string& input : options.inputs) {
    const kalvetra::MainView view{kalvetra::shownView(choice, kalvetra::defaultSettings()), false};
    kalvetra::jobFor(options, input, view);
  }
}

void readValues(const std::string& text) {
  for (const Parameter& p : kalvetra::kParameters) {
    const std::optional<int> value = kalvetra::parseValue(p, text);
    if (p.kind == kalvetra::ParameterKind::Group || !value) continue;
    require(kalvetra::parseValue(p, kalvetra::valueText(p, *value)) == value, "a value is read otherwise than written");
  }
  if (const auto position = kalvetra::parsePosition(text)) {
    require(position->frame >= 0 && position->seconds >= 0.0 && std::isfinite(position->seconds), "no place in a clip");
  }
}

void readRawPictures(const std::string& text) {
  const kalvetra::RawPictures raw = kalvetra::parseRawPictures(text);
  require(raw.width > 0 && raw.height > 0 && av_q2d(raw.rate) > 0.0 && av_get_pix_fmt_name(raw.format) != nullptr,
          "raw pictures of no kind");
}

void readName(const std::string& text) {
  kalvetra::clipStem(text);
  kalvetra::nameFor(text, kInside);
  kalvetra::nameFor("{name}-{name}.mov", text);
  if (!kalvetra::isNumberedName(text)) return;
  const kalvetra::NumberedName name(text);
  for (const int number : {0, 7, 42, 999999999}) {
    const std::string file = kalvetra::numberedName(text, number);
    require(name.covers(file) && name.numberIn(file) == number, "a number is read otherwise than written: " + file);
  }
  require(name.mayMeet(name), "a pattern does not meet itself");
}

void chooseDelivery(const std::string& text) {
  const kalvetra::Delivery delivery = kalvetra::chooseDelivery({text});
  require(delivery.format != nullptr, "an output of no kind");
  kalvetra::matteNameFor(text);
  kalvetra::describe(delivery);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput in(data, size);
  const int what = in.byte() % 4;
  const std::string text = tame(in.rest());
  if (what == 0) {
    expectSentence([&] { parseProgram(lines(text)); });
  } else if (what == 1) {
    expectSentence([&] { parseJob(lines(text)); });
  } else {
    readValues(text);
    readName(text);
    expectSentence([&] { readRawPictures(text); });
    expectSentence([&] { chooseDelivery(text); });
  }
  return 0;
}
