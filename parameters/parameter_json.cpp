#include "parameters/parameter_json.h"

#include <nlohmann/json.hpp>

#include "parameters/look_version.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

using Json = nlohmann::ordered_json;

namespace {

const char* kindName(ParameterKind kind) {
  constexpr const char* names[]{"group", "popup", "color", "toggle", "slider"};
  return names[static_cast<int>(kind)];
}

Json describe(const Parameter& p) {
  Json row{{"id", p.id}, {"slug", p.slug}, {"kind", kindName(p.kind)}};
  row["label"] = displayName(p.nameKey);
  row["group"] = groupsOf(p);
  if (p.kind == ParameterKind::IntSlider) row["range"] = {p.minimum, p.maximum};
  if (p.kind == ParameterKind::Color) row["values"] = "#rrggbb";
  if (p.kind == ParameterKind::Toggle || p.kind == ParameterKind::Popup) {
    for (int value = p.minimum; value <= p.maximum; ++value) row["values"].push_back(jsonOf(p, value));
  }
  for (const MenuEntry& entry : p.entries) row["labels"].push_back(displayName(entry.nameKey));
  row["default"] = jsonOf(p, p.defaultValue);
  row["depends-on"] = p.toggle != 0 ? Json(findParameter(p.toggle)->slug) : Json();
  if (p.fullDepth) row["full-depth"] = true;
  row["help"] = p.help;
  return row;
}

}  // namespace

Json jsonOf(const Parameter& p, int value) {
  if (p.kind == ParameterKind::Toggle) return value != 0;
  if (p.kind == ParameterKind::IntSlider) return value;
  return valueText(p, value);
}

std::optional<int> valueOfJson(const Parameter& p, const Json& json) {
  if (p.kind == ParameterKind::IntSlider) {
    const std::optional<std::int64_t> number = wholeNumberIn(json, p.minimum, p.maximum);
    return number ? std::optional(static_cast<int>(*number)) : std::nullopt;
  }
  if (p.kind == ParameterKind::Toggle && json.is_boolean()) return json.get<bool>() ? 1 : 0;
  if (!json.is_string()) return std::nullopt;
  const std::string& text = json.get_ref<const std::string&>();
  const bool decimalColor = p.kind == ParameterKind::Color && !text.starts_with('#');
  return decimalColor ? std::nullopt : parseValue(p, text);
}

std::optional<std::int64_t> wholeNumberIn(const Json& json, std::int64_t lowest, std::int64_t highest) {
  if (!json.is_number_integer()) return std::nullopt;
  // As a signed number one beyond the signed range would come out negative.
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
    return std::nullopt;
  }
  const auto number = json.get<std::int64_t>();
  return number >= lowest && number <= highest ? std::optional(number) : std::nullopt;
}

std::vector<std::string> groupsOf(const Parameter& p) {
  std::vector<std::string> names;
  for (const Parameter* group = findParameter(p.group); group != nullptr; group = findParameter(group->group)) {
    names.insert(names.begin(), std::string(displayName(group->nameKey)));
  }
  return names;
}

Json describeParameters() {
  Json rows = Json::array();
  for (const Parameter& p : kParameters) {
    if (p.kind != ParameterKind::Group) rows.push_back(describe(p));
  }
  return {{"look", kLookVersion}, {"parameters", rows}};
}

}  // namespace kalvetra
