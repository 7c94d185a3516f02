#include "cli/key_options.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_color_search.h"
#include "jobs/auto_settings.h"
#include "media/files/name_clash.h"
#include "media/files/temporary_output.h"
#include "parameters/clip_levels.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr const char* kGroup = "Key";                  // heading in --help and the manual
constexpr ShownView kFirstOwnView = ShownView::Plate;  // those before it are the setting's

const Parameter& colorParameter() { return *findParameter("key-color"); }
const Parameter& viewParameter() { return *findParameter("view"); }

std::string optionName(const Parameter& p) { return "--" + std::string(p.slug); }

bool takeOwnView(const std::string& text, KeyChoice& choice) {
  const std::optional<ShownView> view = findView(text);
  if (!view || *view < kFirstOwnView) return false;
  choice.ownView = view;
  return true;
}

// What an option takes, and how that is said.
struct Grammar {
  std::string values;
  std::string complaint;
  std::function<bool(const std::string&)> takeMore;  // takes what is none of the table's values
};

Grammar grammarOf(const Parameter& p, KeyChoice& choice, bool withOwnViews) {
  if (p.kind == ParameterKind::Color) {
    const auto takeAuto = [&choice](const std::string& text) { return choice.searchColor = text == "auto"; };
    return {"auto, " + valueRange(p), " is no colour", takeAuto};
  }
  const std::string complaint = " is not among its values";
  if (isView(p) && withOwnViews) {
    return {valueRange(p) + ", " + viewSlugs(kFirstOwnView), complaint,
            [&choice](const std::string& text) { return takeOwnView(text, choice); }};
  }
  return {valueRange(p), complaint, [](const std::string&) { return false; }};
}

void addParameterOption(CLI::App& command, const Parameter& p, KeyChoice& choice, bool withOwnViews) {
  const Grammar grammar = grammarOf(p, choice, withOwnViews);
  const auto take = [&p, &choice, grammar](const std::string& text) {
    if (grammar.takeMore(text)) return;
    const std::optional<int> value = parseValue(p, text);
    if (!value) {
      throw CLI::ValidationError(optionName(p), "'" + text + "'" + grammar.complaint + "; give " + grammar.values);
    }
    choice.options.insert(p.id);
    choice.named[p.id] = {{0, *value}};
  };
  command.add_option_function<std::string>(optionName(p), take, std::string(p.help))
      ->group(kGroup)
      ->type_name(grammar.values)
      ->default_str(p.kind == ParameterKind::Color ? "auto" : defaultText(p));
}

// "shadow 80"
std::string settingText(const Parameter& p, const KeySettings& settings) {
  return std::string(p.slug) + " " + valueText(p, valueIn(settings, p));
}

bool isNamed(const KeyChoice& choice, const Parameter& p) { return choice.named.contains(p.id); }

// What the proposal makes different, in one line.
void noteChanges(const KeyChoice& choice, const std::string& clip, const Proposal& proposal) {
  std::string changes;
  for (const Reason& reason : proposal.reasons) {
    const Parameter& p = *findParameter(reason.slug);
    if (isNamed(choice, p) || valueIn(proposal.settings, p) == p.defaultValue) continue;
    changes += (changes.empty() ? "" : ", ") + settingText(p, proposal.settings);
  }
  std::string line = changes.empty() ? "--auto changes nothing" : changes;
  for (const std::string& sentence : proposal.leftOut) line += "; " + sentence.substr(0, sentence.find(": "));
  note(clip + ": " + line);
}

void noteReasons(const Proposal& proposal) {
  for (const Reason& reason : proposal.reasons) {
    note(settingText(*findParameter(reason.slug), proposal.settings) + ": " + reason.sentence);
  }
  for (const std::string& sentence : proposal.leftOut) note(sentence);
}

template <class Predicate>
bool anyValue(const AnimatedSettings& settings, const Parameter& p, Predicate predicate) {
  const Curve curve = settings.curve(p);
  return std::any_of(curve.begin(), curve.end(), [&](const Keyframe& k) { return predicate(k.value); });
}

void leaveOut(Proposal& proposal, const Parameter& p, const Parameter& named) {
  const std::string found = valueText(p, valueIn(proposal.settings, p));
  proposal.settings.*p.value = p.defaultValue;
  for (Reason& reason : proposal.reasons) {
    if (reason.slug == p.slug) reason.sentence = found + " was found and left out";
  }
  proposal.leftOut.push_back(std::string(p.slug) + " " + found + " is left out: it would cross the " +
                             std::string(named.slug) + " that was named");
}

// A clip level that would cross the other one, which the user named, gives way to it.
void keepClipLevelsApart(const KeyChoice& choice, Proposal& proposal) {
  const AnimatedSettings used = withNamed(choice, proposal.settings);
  const KeySettings found = proposal.settings;
  const Parameter &black = *findParameter("clip-black"), &white = *findParameter("clip-white");
  if (!isNamed(choice, white) && anyValue(used, black, [&](int value) { return value > found.clipWhite; })) {
    leaveOut(proposal, white, black);
  }
  if (!isNamed(choice, black) && anyValue(used, white, [&](int value) { return value < found.clipBlack; })) {
    leaveOut(proposal, black, white);
  }
}

KeySettings proposed(const KeyChoice& choice, Reader& clip, std::optional<int> keyColor, int threads) {
  Proposal proposal = proposeSettings(clip, keyColor, threads, stopRequested());
  clip.rewind();
  keepClipLevelsApart(choice, proposal);
  choice.briefly ? noteChanges(choice, clip.path(), proposal) : noteReasons(proposal);
  return proposal.settings;
}

void addPresetOptions(CLI::App& command, KeyChoice& choice) {
  const auto read = [&choice](const std::string& file) {
    const Preset preset = readPreset(file);
    choice.presetFile = file;
    choice.named.insert(preset.curves.begin(), preset.curves.end());  // single options stay
    const int look = preset.look;
    if (look < kLookVersion) {
      note(file + " was made with look " + std::to_string(look) + ", this is look " + std::to_string(kLookVersion) +
           "; the pictures may differ");
    }
  };
  command.add_option_function<std::string>("--preset", read, "Settings from this file; single options override them.")
      ->group(kGroup)
      ->type_name("FILE");
  command.add_option("--save-preset", choice.savedPreset, "Write the settings that are used into this file.")
      ->group(kGroup)
      ->type_name("FILE");
}

// A sentence for each slider that was given while the toggle it depends on is off, or is left off by the preset.
void noteIdleOptions(const KeyChoice& choice, const AnimatedSettings& settings) {
  for (const Parameter& p : kParameters) {
    if (p.toggle == 0 || !choice.options.contains(p.id)) continue;
    const Parameter& toggle = *findParameter(p.toggle);
    if (anyValue(settings, toggle, [](int value) { return value != 0; })) continue;
    note(optionName(p) + " does nothing without " + optionName(toggle) + " on");
  }
}

// The key colour; of an animated one the first.
std::optional<int> namedColor(const KeyChoice& choice) {
  const auto color = choice.named.find(colorParameter().id);
  if (choice.searchColor || color == choice.named.end()) return std::nullopt;
  return color->second.front().value;
}

// The source alone can do without. A saved preset holds the colour in any case.
bool needsColor(const KeyChoice& choice, const AnimatedSettings& settings) {
  const auto isKeyed = [](int view) { return static_cast<ShownView>(view) != ShownView::Source; };
  return choice.alwaysKeys || choice.ownView || !choice.savedPreset.empty() ||
         anyValue(settings, viewParameter(), isKeyed);
}

bool isBlack(int color) {
  const std::array<int, 3> parts = colorParts(color);
  return std::all_of(parts.begin(), parts.end(), [](int part) { return part <= 1; });
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

}  // namespace

void addKeyOptions(CLI::App& command, KeyChoice& choice, bool withOwnViews) {
  for (const Parameter& p : kParameters) {
    if (p.kind != ParameterKind::Group) addParameterOption(command, p, choice, withOwnViews);
  }
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

AnimatedSettings settleSettings(const KeyChoice& choice, Reader& clip, int threads) {
  const std::optional<int> named = namedColor(choice);
  AnimatedSettings settings = withNamed(choice);
  refuseCrossedClipLevels(settings);
  if (choice.automatic) settings = withNamed(choice, proposed(choice, clip, named, threads));
  noteIdleOptions(choice, settings);
  if (choice.searchColor || (!named && !choice.automatic)) {
    if (!needsColor(choice, settings)) return settings;
    settings.set(colorParameter(), findKeyColor(clip));
  }
  const auto keysSomething = [](int color) { return !isBlack(color); };
  if (!anyValue(settings, colorParameter(), keysSomething)) note("a black key colour keys nothing");
  return settings;
}

ShownView shownView(const KeyChoice& choice, const KeySettings& settings) {
  return choice.ownView ? *choice.ownView : static_cast<ShownView>(settings.view);
}

void savePreset(const std::string& file, const AnimatedSettings& settings, const CommonOptions& files) {
  if (file.empty()) return;
  checkSavedPreset(file, files);
  const std::string text = presetText(settings);
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
