#include "cli/settled_key.h"

#include <algorithm>

#include "cli/console.h"
#include "cli/interrupt.h"
#include "cli/key_color_search.h"
#include "jobs/auto_settings.h"
#include "jobs/usual_key.h"
#include "parameters/clip_levels.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

const Parameter& colorParameter() { return *findParameter("key-color"); }

std::string optionName(const Parameter& p) { return "--" + std::string(p.slug); }

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

// What a proposal is made for: a gathered or clean plate is like a fitted one.
PlateKind plateWanted(const KeyChoice& choice) {
  const auto plate = choice.named.find(findParameter("plate")->id);
  if (plate != choice.named.end()) return static_cast<PlateKind>(plate->second.front().value);
  return choice.plain ? PlateKind::Own : PlateKind::Fit;
}

KeySettings proposed(const KeyChoice& choice, Reader& clip, std::optional<int> keyColor, int threads) {
  Proposal proposal = proposeSettings(clip, keyColor, threads, stopRequested(), kSampledFrames, plateWanted(choice));
  clip.rewind();
  keepClipLevelsApart(choice, proposal);
  choice.briefly ? noteChanges(choice, clip.path(), proposal) : noteReasons(proposal);
  return proposal.settings;
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
         anyValue(settings, *findParameter("view"), isKeyed);
}

bool isBlack(int color) {
  const std::array<int, 3> parts = colorParts(color);
  return std::all_of(parts.begin(), parts.end(), [](int part) { return part <= 1; });
}

// Without --plain what is not named is found; beside a preset for --auto alone.
UsualChoice toFind(const KeyChoice& choice) {
  UsualChoice wanted;
  if (!choice.plain && (choice.presetFile.empty() || choice.automatic)) wanted = choiceBeside(choice.named);
  wanted.screen = wanted.screen || choice.searchScreen;
  // The proposal has it, unless its plate is not the one that was tried.
  if (choice.automatic && plateWanted(choice) <= PlateKind::Fit) wanted.clipBlack = false;
  return wanted;
}

// The plates, and what is measured against them.
SettledKey withPlates(const KeyChoice& choice, const AnimatedSettings& settings, const KeyJob& job,
                      ProgressKind progress) {
  LookProgress looking(progress);
  const auto looked = [&](std::size_t done, std::size_t all) { looking.show(done, all); };
  UsualKey key = usualKeyFor(job, settings, toFind(choice), stopRequested(), looked);
  looking.end();
  const std::string clip = choice.briefly ? job.input + ": " : std::string();
  for (const std::string& sentence : key.found.notes) note(clip + sentence);
  if (!key.sentence.empty()) note(clip + key.sentence);
  return {std::move(key.settings), std::move(key.found.plates)};
}

}  // namespace

SettledKey settleKey(const KeyChoice& choice, Reader& clip, const KeyJob& job, ProgressKind progress) {
  const std::optional<int> named = namedColor(choice);
  AnimatedSettings settings = withNamed(choice);
  refuseCrossedClipLevels(settings);
  if (choice.automatic) settings = withNamed(choice, proposed(choice, clip, named, job.threads));
  noteIdleOptions(choice, settings);
  const bool keys = needsColor(choice, settings);
  if (keys && (choice.searchColor || (!named && !choice.automatic))) settings.set(colorParameter(), findKeyColor(clip));
  const auto keysSomething = [](int color) { return !isBlack(color); };
  if (!anyValue(settings, colorParameter(), keysSomething)) {
    if (keys) note("a black key colour keys nothing");
    return {settings, {}};
  }
  if (!keys) return {settings, {}};
  return withPlates(choice, settings, job, progress);
}

}  // namespace kalvetra
