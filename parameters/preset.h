// Presets: settings in a JSON file that people read and edit.
//
//   {
//     "look": 1,
//     "deep-look": 1,
//     "settings": {
//       "key-color": "#2da54b",
//       "smooth-bg": true,
//       "screen-gain": [[0, 33], [120, 45]]
//     }
//   }
//
// "deep-look" is there where the settings were used at full depth. The names are the table's slugs. A value is a number
// for sliders, true or false (or "on", "off") for toggles, "#rrggbb" for the colour and the entry's slug for popups;
// or, but for what holds for the whole clip, a list of [frame, value] pairs, see Curve.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "parameters/animated_settings.h"
#include "parameters/look_version.h"

namespace kalvetra {

struct Preset {
  int look = kLookVersion;      // the look that it was made with
  std::map<int, Curve> curves;  // by the parameter's id; what the preset does not name is not in it
  int deepLook = 0;             // of the key at full depth that it was made with, of any number; 0: in 8 bits
};

// Reads a preset from its text, any bytes. `name` is the file's, for messages. Throws UserError with that name, the
// line of the name or value at fault and the reason for what is no JSON, unknown or repeated names, values of a wrong
// type or out of range, and a look newer than `engineLook`.
Preset parsePreset(std::string_view text, const std::string& name, int engineLook = kLookVersion);

// The preset of this look whose member "settings" was parsed elsewhere. Throws UserError like parsePreset, without
// lines.
Preset presetOf(const nlohmann::ordered_json& settings, const std::string& name);

// Reads it from a file. Throws UserError like parsePreset, and for a file that cannot be read or is too large.
Preset readPreset(const std::string& file);

// Throws UserError with that name where the preset's deep look is newer than this program's. For pictures that are
// keyed at full depth with it: in 8 bits it does not matter.
void checkDeepLook(int deepLook, const std::string& name);

// Sets what the preset sets, leaves the rest.
void applyPreset(const Preset& preset, AnimatedSettings& settings);

// The text of a preset with every parameter, one a line in the table's order; `deep` of settings used at full depth.
std::string presetText(const AnimatedSettings& settings, bool deep = false);

}  // namespace kalvetra
