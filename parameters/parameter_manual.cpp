#include "parameters/parameter_manual.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "parameters/parameter_json.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

std::string fullHelp(const Parameter& p) {
  std::string help(p.help);
  if (p.toggle != 0) help += " Counts while " + std::string(findParameter(p.toggle)->slug) + " is on.";
  return help;
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text + "  ";
}

}  // namespace

std::string groupPath(const Parameter& p) {
  std::string text;
  for (const std::string& name : groupsOf(p)) text += (text.empty() ? "" : ": ") + name;
  return text;
}

std::string valueRange(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Toggle:
      return "on, off";
    case ParameterKind::Color:
      return "#rrggbb, r,g,b (0..255)";
    case ParameterKind::Popup: {
      std::string entries;
      for (int value = parameter.minimum; value <= parameter.maximum; ++value) {
        entries += (entries.empty() ? "" : ", ") + valueText(parameter, value);
      }
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
    if (p.group != group) text += (text.empty() ? "" : "\n") + groupPath(p) + "\n";
    group = p.group;
    text += "  " + padded(std::string(p.slug), slugs) + padded(valueRange(p), ranges) +
            padded(defaultText(p), defaults) + fullHelp(p) + "\n";
  }
  return text;
}

std::string parametersAsJson() { return describeParameters().dump(2) + "\n"; }

}  // namespace kalvetra
