#include <cstdio>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/console.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "parameters/unit_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

struct PresetOptions {
  std::string file, target;
};

// A parameter as FFmpeg's frei0r filter wants it.
std::string frei0rValue(const Parameter& parameter, int value) {
  char text[32];
  switch (parameter.kind) {
    case ParameterKind::Color:
      std::snprintf(text, sizeof text, "0x%06x", static_cast<unsigned int>(value));
      return text;
    case ParameterKind::Toggle:
      return value != 0 ? "y" : "n";
    default:
      std::snprintf(text, sizeof text, "%.6g", unitOf(parameter, value));
      return text;
  }
}

// Parameters go by their place there, so all of them have to be named.
std::string frei0rFilter(const AnimatedSettings& settings) {
  std::string values;
  for (const Parameter* parameter : parametersByPlace()) {
    values += (values.empty() ? "" : "|") + frei0rValue(*parameter, valueIn(settings.at(0), *parameter));
  }
  return "frei0r=filter_name=kalvetra_green:filter_params=" + values;
}

void refuseAnimation(const std::string& file, const AnimatedSettings& settings) {
  for (const Parameter& parameter : kParameters) {
    if (parameter.kind == ParameterKind::Group || settings.curve(parameter).size() < 2) continue;
    throw UserError(file + ": " + std::string(parameter.slug) +
                    " changes from frame to frame, which a filter string cannot hold; give it one value");
  }
}

// What is the clip's is none of the filter's parameters.
void noteWhatIsLost(const std::string& file, const KeySettings& settings) {
  for (const Parameter& parameter : kParameters) {
    const int value = parameter.ofClip ? valueIn(settings, parameter) : parameter.defaultValue;
    if (value == parameter.defaultValue) continue;
    const std::string slug(parameter.slug);
    note(file + " names " + slug + " " + valueText(parameter, value) +
         ", which the filter does not know: it keys with " + slug + " " + valueText(parameter, parameter.defaultValue));
  }
}

void run(const PresetOptions& options) {
  AnimatedSettings settings;
  applyPreset(readPreset(options.file), settings);
  refuseAnimation(options.file, settings);
  if (valueIn(settings.at(0), *findParameter("key-color")) == 0) {
    note(options.file + " names no key colour: the filter will key nothing");
  }
  noteWhatIsLost(options.file, settings.at(0));
  if (std::puts(frei0rFilter(settings).c_str()) < 0 || std::fflush(stdout) != 0) {
    throw UserError("the standard output: cannot be written; check where it goes");
  }
}

}  // namespace

void addPresetCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("preset", "Print a preset in the form that another program takes.");
  auto options = std::make_shared<PresetOptions>();
  command->add_option("FILE", options->file, "The preset.")->required();
  command->add_option("--as", options->target, "frei0r: a filter string for ffmpeg.")
      ->required()
      ->check(CLI::IsMember({"frei0r"}));
  command->callback([options] { run(*options); });
}

}  // namespace kalvetra
