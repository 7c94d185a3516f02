#include "parameters/parameter_manual.h"

namespace kalvetra {

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

std::string defaultText(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Toggle:
      return parameter.defaultValue != 0 ? "on" : "off";
    case ParameterKind::Color:
      return "#000000";
    case ParameterKind::Popup:
      return std::string(kViewEntries[static_cast<std::size_t>(parameter.defaultValue)].slug);
    default:
      return std::to_string(parameter.defaultValue);
  }
}

std::string parametersAsMarkdown() {
  std::string text = "| parameter | values | default | what it does |\n| --- | --- | --- | --- |\n";
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    std::string help(p.help);
    if (p.toggle != 0) help += " Counts while " + std::string(findParameter(p.toggle)->slug) + " is on.";
    text += "| `" + std::string(p.slug) + "` | " + valueRange(p) + " | " + defaultText(p) + " | " + help + " |\n";
  }
  return text;
}

}  // namespace kalvetra
