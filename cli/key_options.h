// The table of parameters as command-line options, and what is made of them together with a preset.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "cli/common_options.h"
#include "jobs/shown_view.h"
#include "media/input/reader.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

// What the user chose.
struct KeyChoice {
  std::map<int, Curve> named;        // by the parameter's id: what the preset names, and over it single options
  std::set<int> options;             // which of them single options name
  bool searchColor = false;          // --key-color auto: whatever a preset names
  std::optional<ShownView> ownView;  // --view plate, status or comp
  std::string presetFile;            // --preset, or empty
  std::string savedPreset;           // --save-preset: a file's name, or empty

  bool alwaysKeys = false;  // what is shown besides the view needs the key colour
  bool automatic = false;   // --auto: begin with what is proposed for the clip, not with the table's defaults
  bool briefly = false;     // one line says what --auto proposes, not one a setting with its reason
};

// Adds one option for each parameter (its slug, range, default and help), --preset and --save-preset. `choice` must
// outlive the parsing. With `withOwnViews` the view may be plate, status and comp, too.
void addKeyOptions(CLI::App& command, KeyChoice& choice, bool withOwnViews = false);

// What the user named, over settings that are found otherwise.
AnimatedSettings withNamed(const KeyChoice& choice, const KeySettings& base = defaultSettings());

// The settings of every frame of the clip: the table's defaults or the proposal, over them what the user named. Where
// the key colour is not named, and it is needed, it is found in the clip and named on stderr. Notes say which options
// do nothing. Leaves the clip at its start. Throws UserError when it shows no backdrop, and for clip levels that
// cross.
AnimatedSettings settleSettings(const KeyChoice& choice, Reader& clip, int threads);

// What to show of a frame with these settings.
ShownView shownView(const KeyChoice& choice, const KeySettings& settings);

// Writes a preset file, none for an empty name. Throws UserError when it exists and is not to be replaced, would
// replace the input, is the output, or cannot be written.
void savePreset(const std::string& file, const AnimatedSettings& settings, const CommonOptions& files);

}  // namespace kalvetra
