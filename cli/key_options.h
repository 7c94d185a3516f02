// The table of parameters as command-line options, and what is made of them together with a preset.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "cli/common_options.h"
#include "jobs/clip_keying.h"
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
  bool searchScreen = false;         // --screen auto: whatever a preset names
  std::string cleanPlate;            // --plate FILE, or empty
  int presetDeepLook = 0;            // see Preset
  bool plain = false;                // --plain: the table's defaults are meant where nothing is named
  std::string presetFile;            // --preset, or empty
  std::string savedPreset;           // --save-preset: a file's name, or empty

  bool alwaysKeys = false;  // what is shown besides the view needs the key colour
  bool automatic = false;   // --auto: begin with what is proposed for the clip, not with the table's defaults
  bool briefly = false;     // one line says what --auto proposes, not one a setting with its reason
};

// Adds one option for each parameter (its slug, range, default and help), --preset and --save-preset. `choice` must
// outlive the parsing. With `withOwnViews` the view may be plate, status and comp, too.
void addKeyOptions(CLI::App& command, KeyChoice& choice, bool withOwnViews = false);

// --plate, --screen and --plain, which addKeyOptions adds along with the others.
void addPlateOptions(CLI::App& command, KeyChoice& choice);

// What the user named, over settings that are found otherwise.
AnimatedSettings withNamed(const KeyChoice& choice, const KeySettings& base = defaultSettings());

// Full depth where the settings that are named ask for it. With --depth 8 what a preset has of that is left out, and a
// note says so; throws UserError where single options ask for it.
void settleDepth(KeyChoice& choice, KeyingChoice& keying);

// What to show of a frame with these settings.
ShownView shownView(const KeyChoice& choice, const KeySettings& settings);

// What is to be said of the preset's look where the clip is keyed at full depth. Throws UserError for a newer one.
void checkDeepLook(const KeyChoice& choice);

// Writes a preset file, none for an empty name; `deep` of settings used at full depth. Throws UserError when it exists
// and is not to be replaced, would replace the input, is the output, or cannot be written.
void savePreset(const std::string& file, const AnimatedSettings& settings, const CommonOptions& files,
                bool deep = false);

}  // namespace kalvetra
