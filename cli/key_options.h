// The table of parameters as command-line options, and what is made of them together with a preset.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>

#include "cli/common_options.h"
#include "jobs/shown_view.h"
#include "media/input/source_options.h"
#include "parameters/animated_settings.h"
#include "parameters/preset.h"

namespace kalvetra {

// What the user chose.
struct KeyChoice {
  std::map<int, int> options;        // by the parameter's id: what single options named, as in parameter_value.h
  bool searchColor = false;          // --key-color auto: whatever a preset names
  std::optional<ShownView> ownView;  // --view plate, status or comp
  std::optional<Preset> preset;      // --preset, read
  std::string presetFile;            // its name
  std::string savedPreset;           // --save-preset: a file's name, or empty

  bool alwaysKeys = false;  // what is shown besides the view needs the key colour
  bool automatic = false;   // --auto: begin with what is proposed for the clip, not with the table's defaults
  bool briefly = false;     // one line says what --auto proposes, not one a setting with its reason
};

// Adds one option for each parameter (its slug, range, default and help), --preset and --save-preset. `choice` must
// outlive the parsing. With `withOwnViews` the view may be plate, status and comp, too.
void addKeyOptions(CLI::App& command, KeyChoice& choice, bool withOwnViews = false);

// The settings of every frame of `input`: the table's defaults or the proposal, over them the preset, over it the
// single options. Where none of them names the key colour, and it is needed, it is found in the clip and named on
// stderr. Notes say which options do nothing. Throws UserError when the clip shows no green backdrop, and
// for clip levels that cross.
AnimatedSettings settleSettings(const KeyChoice& choice, const std::string& input, const SourceOptions& source,
                                int threads);

// What to show of a frame with these settings.
ShownView shownView(const KeyChoice& choice, const KeySettings& settings);

// Writes a preset file, none for an empty name. Throws UserError when it exists and is not to be replaced, would
// replace the input, is the output, or cannot be written.
void savePreset(const std::string& file, const AnimatedSettings& settings, const CommonOptions& files);

}  // namespace kalvetra
