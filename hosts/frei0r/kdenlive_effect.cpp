#include <cstdio>

#include "hosts/frei0r/effect_descriptions.h"
#include "parameters/unit_value.h"

namespace kalvetra {

namespace {

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '"') {
      result += "&quot;";
    } else {
      result += c;
    }
  }
  return result;
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

// A popup's entries and the values that stand for them.
std::string listAttributes(const Parameter& parameter) {
  std::string list;
  for (std::size_t i = 0; i < parameter.entries.size(); ++i) {
    list += (i == 0 ? "" : ";") + number(unitOf(parameter, static_cast<int>(i)));
  }
  return " default=\"" + number(unitOf(parameter, parameter.defaultValue)) + "\" paramlist=\"" + list + "\"";
}

std::string entryNames(const Parameter& parameter) {
  std::string names;
  for (const MenuEntry& entry : parameter.entries)
    names += (names.empty() ? "" : ",") + std::string(displayName(entry.nameKey));
  return "    <paramlistdisplay>" + names + "</paramlistdisplay>\n";
}

// Shown is the host's value times the factor, plus the offset. Only sliders without an offset can have keyframes there.
std::string sliderAttributes(const Parameter& parameter) {
  const int factor = parameter.maximum - parameter.minimum;
  std::string text = " default=\"" + number(unitOf(parameter, parameter.defaultValue)) + "\" min=\"" +
                     std::to_string(parameter.minimum) + "\" max=\"" + std::to_string(parameter.maximum) +
                     "\" factor=\"" + std::to_string(factor) + "\" decimals=\"0\"";
  if (parameter.minimum != 0) text += " offset=\"" + std::to_string(parameter.minimum) + "\"";
  return text;
}

std::string typeAndAttributes(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Color:
      return "type=\"color\" default=\"0x000000ff\"";
    case ParameterKind::Toggle:
      return "type=\"bool\" default=\"" + std::to_string(parameter.defaultValue) + "\"";
    case ParameterKind::Popup:
      return "type=\"list\"" + listAttributes(parameter);
    default:
      return (parameter.minimum == 0 ? "type=\"animated\"" : "type=\"constant\"") + sliderAttributes(parameter);
  }
}

// Kdenlive shows no groups: a name that says nothing alone gets its group's before it.
std::string nameOf(const Parameter& parameter) {
  const std::string_view label = displayName(parameter.nameKey);
  const Parameter& group = *findParameter(parameter.group);
  const bool ambiguous = label[0] >= 'a' && label[0] <= 'z';
  return ambiguous ? std::string(displayName(group.nameKey)) + ": " + std::string(label) : std::string(label);
}

}  // namespace

std::string kdenliveEffect() {
  std::string xml =
      "<?xml version=\"1.0\"?>\n"
      "<!DOCTYPE kpartgui>\n"
      "<effect LC_NUMERIC=\"C\" tag=\"frei0r.kalvetra_green\" id=\"frei0r.kalvetra_green\">\n"
      "  <name>Kalvetra Green</name>\n"
      "  <description>Keys a green screen: pick the backdrop with Key Color, then tune the matte.</description>\n"
      "  <author>Kalvetra</author>\n";
  for (const Parameter& parameter : kHostParameters) {
    if (parameter.kind == ParameterKind::Group) continue;
    xml += "  <parameter " + typeAndAttributes(parameter) + " name=\"" + std::string(parameter.slug) + "\">\n";
    if (parameter.kind == ParameterKind::Popup) xml += entryNames(parameter);
    xml += "    <name>" + escaped(nameOf(parameter)) + "</name>\n";
    xml += "    <comment>" + escaped(parameter.help) + "</comment>\n";
    xml += "  </parameter>\n";
  }
  return xml + "</effect>\n";
}

}  // namespace kalvetra
