// Parameters and their values in JSON, as presets, the manual and the preview's page have them.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "parameters/parameter_table.h"

namespace kalvetra {

// A value as presets hold it: a number for sliders, true or false for toggles, otherwise its text.
nlohmann::ordered_json jsonOf(const Parameter& parameter, int value);

// The value that such JSON stands for, nothing when it is none of the parameter's. Toggles may be "on" and "off", too.
std::optional<int> valueOfJson(const Parameter& parameter, const nlohmann::ordered_json& json);

// The whole number in lowest..highest, nothing when it is none.
std::optional<std::int64_t> wholeNumberIn(const nlohmann::ordered_json& json, std::int64_t lowest,
                                          std::int64_t highest);

// The names of the groups around a parameter, outermost first.
std::vector<std::string> groupsOf(const Parameter& parameter);

// The whole table: {"look": the look's version, "parameters": [...]}. A parameter has id, slug, kind (popup, color,
// toggle or slider), label (its name in hosts), group (as groupsOf), range ([lowest, highest] for sliders) or values,
// labels (of a popup's values), default, depends-on (the slug of a toggle, or null) and help; full-depth is true where
// any value but the default takes the key at full depth.
nlohmann::ordered_json describeParameters();

}  // namespace kalvetra
