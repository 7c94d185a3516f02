#include "cli/key_options.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/console.h"
#include "jobs/clip_plates.h"
#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr const char* kGroup = "Key";  // heading in --help and the manual
constexpr const char* kPlateHelp =
    "The backdrop that is keyed against: the keyer's own of each frame, one fitted closely to the clip, one gathered "
    "over a locked-off shot, or a clean plate: a picture or clip of the empty set.";
constexpr ShownView kFirstOwnView = ShownView::Plate;  // those before it are the setting's

std::string optionName(const Parameter& p) { return "--" + std::string(p.slug); }

bool takeOwnView(const std::string& text, KeyChoice& choice) {
  const std::optional<ShownView> view = findView(text);
  if (!view || *view < kFirstOwnView) return false;
  choice.ownView = view;
  return true;
}

bool isFile(const std::string& name) {
  std::error_code ignored;
  return std::filesystem::exists(name, ignored) || isNumberedName(std::filesystem::path(name).filename().string());
}

// A clean plate is named by its file alone.
bool takeCleanPlate(const Parameter& plate, const std::string& text, KeyChoice& choice) {
  if (!isFile(text)) return false;
  choice.cleanPlate = text;
  choice.options.insert(plate.id);
  choice.named[plate.id] = {{0, static_cast<int>(PlateKind::Clean)}};
  return true;
}

// The table has a slug for it, but it is named by its file.
bool isCleanPlate(const Parameter& p, int value) {
  return p.value == &KeySettings::plate && value == static_cast<int>(PlateKind::Clean);
}

// What an option takes, and how that is said.
struct Grammar {
  std::string values;
  std::string complaint;
  std::string defaultText;
  std::string help;
  std::function<bool(const std::string&)> takeMore;  // takes what is none of the table's values
};

Grammar grammarOf(const Parameter& p, KeyChoice& choice, bool withOwnViews) {
  const std::string complaint = " is not among its values", help(p.help);
  if (p.kind == ParameterKind::Color) {
    const auto takeAuto = [&choice](const std::string& text) { return choice.searchColor = text == "auto"; };
    return {"auto, " + valueRange(p), " is no colour", "auto", help, takeAuto};
  }
  if (p.value == &KeySettings::screen) {
    const auto takeAuto = [&choice](const std::string& text) { return choice.searchScreen = text == "auto"; };
    return {"auto, " + valueRange(p), complaint, "auto", help, takeAuto};
  }
  if (p.value == &KeySettings::plate) {
    return {"frame, fit, shot, FILE", " is neither of them nor a file that is there", "fit, where it is sure",
            kPlateHelp, [&p, &choice](const std::string& text) { return takeCleanPlate(p, text, choice); }};
  }
  if (isSwitch(p)) {
    return {valueRange(p), complaint, defaultText(p), help + " Without a value: on.",
            [](const std::string&) { return false; }};
  }
  if (isView(p) && withOwnViews) {
    return {valueRange(p) + ", " + viewSlugs(kFirstOwnView), complaint, defaultText(p), help,
            [&choice](const std::string& text) { return takeOwnView(text, choice); }};
  }
  return {valueRange(p), complaint, defaultText(p), help, [](const std::string&) { return false; }};
}

void addParameterOption(CLI::App& command, const Parameter& p, KeyChoice& choice, bool withOwnViews) {
  const Grammar grammar = grammarOf(p, choice, withOwnViews);
  const auto take = [&p, &choice, grammar](const std::string& text) {
    const std::optional<int> value = parseValue(p, text);  // first: a folder may be called "shot"
    if (!value || isCleanPlate(p, *value)) {
      if (grammar.takeMore(text)) return;
      throw CLI::ValidationError(optionName(p), "'" + text + "'" + grammar.complaint + "; give " + grammar.values);
    }
    choice.options.insert(p.id);
    choice.named[p.id] = {{0, *value}};
  };
  command.add_option_function<std::string>(optionName(p), take, grammar.help)
      ->group(kGroup)
      ->type_name(grammar.values)
      ->default_str(grammar.defaultText);
}

void addPlainOption(CLI::App& command, KeyChoice& choice) {
  command
      .add_flag("--plain", choice.plain,
                "Begin with the keyer's own defaults: nothing is fitted or measured, and the screen is green.")
      ->group(kGroup);
}

void noteOlderLook(const std::string& file, const std::string& what, int look, int now) {
  if (look >= now) return;
  note(file + " was made with " + what + " " + std::to_string(look) + ", this is " + what + " " + std::to_string(now) +
       "; the pictures may differ");
}

void addPresetOptions(CLI::App& command, KeyChoice& choice) {
  const auto read = [&choice](const std::string& file) {
    const Preset preset = readPreset(file);
    choice.presetFile = file;
    choice.named.insert(preset.curves.begin(), preset.curves.end());  // single options stay
    choice.presetDeepLook = preset.deepLook;
    noteOlderLook(file, "look", preset.look, kLookVersion);
  };
  command.add_option_function<std::string>("--preset", read, "Settings from this file; single options override them.")
      ->group(kGroup)
      ->type_name("FILE");
  command.add_option("--save-preset", choice.savedPreset, "Write the settings that are used into this file.")
      ->group(kGroup)
      ->type_name("FILE");
}

void checkSavedPreset(const std::string& file, const CommonOptions& files) {
  namespace fs = std::filesystem;
  refuseOverwritingInput(files.input, file);
  if (!files.output.empty() && fs::weakly_canonical(file) == fs::weakly_canonical(files.output)) {
    throw UserError(file + ": is to be the output as well as the preset; name two files");
  }
}

// True when the file holds that text and nothing else.
bool holds(const std::string& file, const std::string& text) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored) || std::filesystem::file_size(file, ignored) != text.size()) {
    return false;
  }
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {}) == text;
}

// Of what only the preset names.
void leaveFullDepthOut(KeyChoice& choice) {
  KeySettings left = defaultSettings();
  for (const Parameter& p : kParameters) {
    if (!p.fullDepth || choice.options.contains(p.id) || !choice.named.contains(p.id)) continue;
    left.*p.value = choice.named.at(p.id).front().value;
    choice.named.erase(p.id);
  }
  if (needsFullDepth(left)) {
    note(choice.presetFile + ": " + fullDepthText(left) + " left out, which --depth 8 cannot do");
  }
}

}  // namespace

void addPlateOptions(CLI::App& command, KeyChoice& choice) {
  for (const Parameter& p : kParameters) {
    if (p.ofClip) addParameterOption(command, p, choice, false);
  }
  addPlainOption(command, choice);
}

void addKeyOptions(CLI::App& command, KeyChoice& choice, bool withOwnViews) {
  for (const Parameter& p : kParameters) {
    if (p.kind != ParameterKind::Group) addParameterOption(command, p, choice, withOwnViews);
  }
  addPlainOption(command, choice);
  command
      .add_flag("--auto", choice.automatic,
                "Begin with settings proposed from the clip itself; a preset and single options override them.")
      ->group(kGroup);
  addPresetOptions(command, choice);
}

AnimatedSettings withNamed(const KeyChoice& choice, const KeySettings& base) {
  AnimatedSettings settings(base);
  for (const auto& [id, curve] : choice.named) settings.set(*findParameter(id), curve);
  return settings;
}

void settleDepth(KeyChoice& choice, KeyingChoice& keying) {
  if (keying.depth == DepthChoice::Eight) leaveFullDepthOut(choice);
  keying.depth = settledDepth(keying.depth, withNamed(choice).at(0));
}

ShownView shownView(const KeyChoice& choice, const KeySettings& settings) {
  return choice.ownView ? *choice.ownView : static_cast<ShownView>(settings.view);
}

void checkDeepLook(const KeyChoice& choice) {
  const int look = choice.presetDeepLook;
  if (look == 0) return;
  checkDeepLook(look, choice.presetFile);
  noteOlderLook(choice.presetFile, "look of the key at full depth", look, kDeepLookVersion);
}

void savePreset(const std::string& file, const AnimatedSettings& settings, const CommonOptions& files, bool deep) {
  if (file.empty()) return;
  checkSavedPreset(file, files);
  const std::string text = presetText(settings, deep);
  if (holds(file, text)) return;  // saved by the run that is gone on with
  TemporaryOutput output(file, files.replace);
  noteAll(output.leftParts());
  if (output.isSequence()) throw UserError(file + ": a preset is one file; name it without a %");
  std::ofstream out(output.path(), std::ios::binary);
  out << text << std::flush;
  if (!out) throw UserError(file + ": cannot be written; check the disk");
  output.commit();
}

}  // namespace kalvetra
