#include "parameters/parameter_manual.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "parameters/look_version.h"
#include "parameters/parameter_json.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

using Json = nlohmann::ordered_json;

std::string fullHelp(const Parameter& p) {
  std::string help(p.help);
  if (p.toggle != 0) help += " Counts while " + std::string(findParameter(p.toggle)->slug) + " is on.";
  return help;
}

// The names of the groups around a parameter, outermost first.
std::vector<std::string> groupsOf(const Parameter& p) {
  std::vector<std::string> names;
  for (const Parameter* group = findParameter(p.group); group != nullptr; group = findParameter(group->group)) {
    const std::string_view key = group->nameKey;
    names.insert(names.begin(), std::string(key.substr(key.find("::") + 2)));
  }
  return names;
}

// "Basic: Edge Blur Group"
std::string heading(const Parameter& p) {
  std::string text;
  for (const std::string& name : groupsOf(p)) text += (text.empty() ? "" : ": ") + name;
  return text;
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text + "  ";
}

const char* kindName(ParameterKind kind) {
  constexpr const char* names[]{"group", "popup", "color", "toggle", "slider"};
  return names[static_cast<int>(kind)];
}

Json describe(const Parameter& p) {
  Json row{{"id", p.id}, {"slug", p.slug}, {"kind", kindName(p.kind)}, {"group", groupsOf(p)}};
  if (p.kind == ParameterKind::IntSlider) row["range"] = {p.minimum, p.maximum};
  if (p.kind == ParameterKind::Color) row["values"] = "#rrggbb";
  if (p.kind == ParameterKind::Toggle || p.kind == ParameterKind::Popup) {
    row["values"] = Json::array();
    for (int value = p.minimum; value <= p.maximum; ++value) row["values"].push_back(jsonOf(p, value));
  }
  row["default"] = jsonOf(p, p.defaultValue);
  row["depends-on"] = p.toggle != 0 ? Json(findParameter(p.toggle)->slug) : Json();
  row["help"] = p.help;
  return row;
}

}  // namespace

std::string valueRange(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Toggle:
      return "on, off";
    case ParameterKind::Color:
      return "#rrggbb, r,g,b (0..255)";
    case ParameterKind::Popup: {
      std::string entries;
      for (const MenuEntry& entry : kViewEntries) entries += (entries.empty() ? "" : ", ") + std::string(entry.slug);
      return entries;
    }
    default:
      return std::to_string(parameter.minimum) + ".." + std::to_string(parameter.maximum);
  }
}

std::string defaultText(const Parameter& parameter) { return valueText(parameter, parameter.defaultValue); }

std::string parametersAsMarkdown() {
  std::string text = "| parameter | values | default | what it does |\n| --- | --- | --- | --- |\n";
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    text +=
        "| `" + std::string(p.slug) + "` | " + valueRange(p) + " | " + defaultText(p) + " | " + fullHelp(p) + " |\n";
  }
  return text;
}

std::string parametersAsText() {
  std::size_t slugs = 0, ranges = 0, defaults = 0;  // widths
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    slugs = std::max(slugs, p.slug.size());
    ranges = std::max(ranges, valueRange(p).size());
    defaults = std::max(defaults, defaultText(p).size());
  }
  std::string text;
  int group = 0;
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    if (p.group != group) text += (text.empty() ? "" : "\n") + heading(p) + "\n";
    group = p.group;
    text += "  " + padded(std::string(p.slug), slugs) + padded(valueRange(p), ranges) +
            padded(defaultText(p), defaults) + fullHelp(p) + "\n";
  }
  return text;
}

std::string parametersAsJson() {
  Json rows = Json::array();
  for (const Parameter& p : kParameters) {
    if (p.kind != ParameterKind::Group) rows.push_back(describe(p));
  }
  return Json{{"look", kLookVersion}, {"parameters", rows}}.dump(2) + "\n";
}

}  // namespace kalvetra
