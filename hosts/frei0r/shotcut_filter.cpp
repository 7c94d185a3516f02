#include <cctype>

#include "hosts/frei0r/effect_descriptions.h"
#include "parameters/parameter_value.h"
#include "parameters/unit_value.h"

namespace kalvetra {

namespace {

// "screenGain" of "screen-gain": the control's name in the panel.
std::string controlOf(const Parameter& parameter) {
  std::string name;
  for (const char c : parameter.slug) {
    if (!name.empty() && name.back() == '-') {
      name.back() = static_cast<char>(std::toupper(c));
    } else {
      name += c;
    }
  }
  return name;
}

std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' || c == '\\' ? std::string{'\\', c} : std::string{c};
  return result + "'";
}

std::string valueOfControl(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Color:
      return controlOf(parameter) + ".value";
    case ParameterKind::Toggle:
      return controlOf(parameter) + ".checked";
    case ParameterKind::Popup:
      return controlOf(parameter) + ".currentIndex";
    default:
      return controlOf(parameter) + ".value";
  }
}

std::string defaultOf(const Parameter& parameter) {
  if (parameter.kind == ParameterKind::Color) return quoted(valueText(parameter, 0));
  if (parameter.kind == ParameterKind::Toggle) return parameter.defaultValue != 0 ? "true" : "false";
  return std::to_string(parameter.defaultValue);
}

// From the panel's value to the filter's, and back.
std::string stored(const Parameter& parameter, const std::string& value) {
  if (parameter.kind == ParameterKind::Color || parameter.kind == ParameterKind::Toggle) return value;
  const std::string range = std::to_string(parameter.maximum - parameter.minimum);
  if (parameter.minimum == 0) return value + " / " + range;
  return "(" + value + " - (" + std::to_string(parameter.minimum) + ")) / " + range;
}

std::string shown(const Parameter& parameter) {
  const std::string name = quoted(parameter.slug);
  if (parameter.kind == ParameterKind::Color) return "filter.get(" + name + ")";
  if (parameter.kind == ParameterKind::Toggle) return "filter.getDouble(" + name + ") >= 0.5";
  const std::string range = std::to_string(parameter.maximum - parameter.minimum);
  return "Math.round(filter.getDouble(" + name + ") * " + range + ") + (" + std::to_string(parameter.minimum) + ")";
}

std::string setStatement(const Parameter& parameter, const std::string& value) {
  return "filter.set(" + quoted(parameter.slug) + ", " + stored(parameter, value) + ")";
}

std::string colorControl(const Parameter& parameter) {
  return "        Shotcut.ColorPicker {\n"
         "            id: " +
         controlOf(parameter) +
         "\n"
         "            onValueChanged: {\n"
         "                if (!panel.ready) return;\n"
         "                " +
         setStatement(parameter, "value") +
         ";\n"
         "                filter.set('disable', 0);\n"
         "            }\n"
         "            onPickStarted: filter.set('disable', 1)\n"
         "            onPickCancelled: filter.set('disable', 0)\n"
         "        }\n";
}

std::string toggleControl(const Parameter& parameter) {
  return "        CheckBox {\n            id: " + controlOf(parameter) +
         "\n            onCheckedChanged: if (panel.ready) " + setStatement(parameter, "checked") + "\n        }\n";
}

std::string popupControl(const Parameter& parameter) {
  std::string entries;
  for (const MenuEntry& entry : parameter.entries)
    entries += (entries.empty() ? "" : ", ") + ("qsTr(" + quoted(displayName(entry.nameKey)) + ")");
  return "        Shotcut.ComboBox {\n            id: " + controlOf(parameter) + "\n            model: [" + entries +
         "]\n            onCurrentIndexChanged: if (panel.ready) " + setStatement(parameter, "currentIndex") +
         "\n        }\n";
}

std::string sliderControl(const Parameter& parameter) {
  std::string text = "        Shotcut.SliderSpinner {\n            id: " + controlOf(parameter) +
                     "\n            minimumValue: " + std::to_string(parameter.minimum) +
                     "\n            maximumValue: " + std::to_string(parameter.maximum) + "\n            decimals: 0\n";
  if (parameter.toggle != 0) {
    text += "            enabled: " + controlOf(*findParameter(parameter.toggle)) + ".checked\n";
  }
  return text + "            onValueChanged: if (panel.ready) " + setStatement(parameter, "value") + "\n        }\n";
}

std::string controlText(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Color:
      return colorControl(parameter);
    case ParameterKind::Toggle:
      return toggleControl(parameter);
    case ParameterKind::Popup:
      return popupControl(parameter);
    default:
      return sliderControl(parameter);
  }
}

std::string row(const Parameter& parameter) {
  const std::string help = quoted(parameter.help);
  return "\n        Label {\n            text: qsTr(" + quoted(displayName(parameter.nameKey)) +
         ")\n            Layout.alignment: Qt.AlignRight\n            Shotcut.HoverTip { text: qsTr(" + help +
         ") }\n        }\n" + controlText(parameter) +
         "        Shotcut.UndoButton {\n            onClicked: " + valueOfControl(parameter) + " = " +
         defaultOf(parameter) + "\n        }\n";
}

std::string heading(const Parameter& group) {
  return "\n        Label {\n            text: qsTr(" + quoted(displayName(group.nameKey)) +
         ")\n            font.bold: true\n            Layout.columnSpan: 3\n        }\n";
}

std::string setters() {
  std::string text = "    function setControls() {\n        ready = false;\n";
  for (const Parameter* parameter : parametersByPlace()) {
    text += "        " + valueOfControl(*parameter) + " = " + shown(*parameter) + ";\n";
  }
  return text + "        ready = true;\n    }\n";
}

std::string start() {
  std::string text = "    Component.onCompleted: {\n        if (filter.isNew) {\n", names;
  for (const Parameter* parameter : parametersByPlace()) {
    text += "            " + setStatement(*parameter, defaultOf(*parameter)) + ";\n";
  }
  return text + "            filter.savePreset(names);\n        }\n        setControls();\n    }\n";
}

std::string nameList() {
  std::string names;
  for (const Parameter* parameter : parametersByPlace()) {
    names += (names.empty() ? "" : ", ") + quoted(parameter->slug);
  }
  return "    property var names: [" + names + "]\n";
}

}  // namespace

std::string shotcutFilter() {
  return "import QtQuick 2.0\n"
         "import org.shotcut.qml 1.0\n"
         "\n"
         "Metadata {\n"
         "    type: Metadata.Filter\n"
         "    name: qsTr('Kalvetra Green')\n"
         "    keywords: qsTr('green screen chroma key matte spill')\n"
         "    mlt_service: 'frei0r.kalvetra_green'\n"
         "    qml: 'ui.qml'\n"
         "}\n";
}

std::string shotcutPanel() {
  std::string panel =
      "import QtQuick 2.12\n"
      "import QtQuick.Controls 2.12\n"
      "import QtQuick.Layouts 1.12\n"
      "import Shotcut.Controls 1.0 as Shotcut\n"
      "\n"
      "Item {\n"
      "    id: panel\n\n"
      "    property bool ready: false\n";
  panel += nameList() + "\n" + setters() + "\n    width: 400\n    height: grid.implicitHeight\n" + start();
  panel +=
      "\n    GridLayout {\n        id: grid\n        columns: 3\n        anchors.fill: parent\n"
      "        anchors.margins: 8\n\n"
      "        Label {\n            text: qsTr('Preset')\n            Layout.alignment: Qt.AlignRight\n        }\n"
      "        Shotcut.Preset {\n            parameters: names\n            Layout.columnSpan: 2\n"
      "            onPresetSelected: setControls()\n        }\n";
  for (const Parameter& parameter : kHostParameters) {
    panel += parameter.kind == ParameterKind::Group ? heading(parameter) : row(parameter);
  }
  return panel + "        Item { Layout.fillHeight: true }\n    }\n}\n";
}

}  // namespace kalvetra
