// The one table of user parameters. Hosts create their parameters by walking it, the command line its options, the
// manual its pages: adding a parameter is adding a row, and its field in KeySettings. Its place is free, its id the
// next that no row ever had.
#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "engine/key_settings.h"

namespace kalvetra {

enum class ParameterKind {
  Group,      // holds the parameters whose `group` is its id
  Popup,      // value = index of the menu entry
  Color,      // red, green, blue, each 0..1
  Toggle,     // 0 off, 1 on
  IntSlider,  // minimum..maximum in steps of 1
};

// What a slider's numbers are.
enum class Unit {
  None,     // of what is no slider
  Percent,  // also signed
  Levels,   // of 256
  Pixels,   // a length in the picture: it shrinks along with a smaller picture
};

struct MenuEntry {
  const char* nameKey;
  std::string_view slug;
};

struct Parameter {
  int id;  // fixed for ever, and never given again: hosts save projects by it. It says nothing of the order.
  ParameterKind kind;
  int group;              // id of the enclosing group, 0 at the top level
  const char* nameKey;    // key of the display name in a host's string table; see displayName
  std::string_view slug;  // name on command lines and in presets; empty for groups
  int defaultValue;       // a colour's default is black
  int minimum;
  int maximum;
  Unit unit;
  int toggle;                          // id of the toggle that must be on for this slider to count, 0 for none
  int KeySettings::*value;             // null for groups and the colour
  std::span<const MenuEntry> entries;  // of a popup, in menu order: index = value
  std::string_view help;               // one line
  bool ofClip = false;                 // chosen once for a clip: never in keyframes, nor in plug-in hosts, which show
                                       // single frames
  bool fullDepth = false;              // of the clip, and at full depth alone; its default does nothing
};

// Entries of the View popup.
inline constexpr std::array<MenuEntry, 3> kViewEntries{{
    {"KalvetraGreen::Source", "source"},
    {"KalvetraGreen::Matte", "matte"},
    {"KalvetraGreen::Result", "result"},
}};

// What the backdrop is painted in.
inline constexpr std::array<MenuEntry, 2> kScreenEntries{{
    {"KalvetraGreen::Green", "green"},
    {"KalvetraGreen::Blue", "blue"},
}};

// Where the background plates of a clip come from.
inline constexpr std::array<MenuEntry, 4> kPlateEntries{{
    {"KalvetraGreen::Frame", "frame"},  // the engine's own, of each frame
    {"KalvetraGreen::Fit", "fit"},
    {"KalvetraGreen::Shot", "shot"},
    {"KalvetraGreen::Clean", "clean"},  // a picture that is given besides
}};

// Whether edges, veils and smoke are refined after the key.
inline constexpr std::array<MenuEntry, 2> kRefineEntries{{
    {"KalvetraGreen::Off", "off"},
    {"KalvetraGreen::On", "on"},
}};

// How spill is taken out.
inline constexpr std::array<MenuEntry, 2> kDespillEntries{{
    {"KalvetraGreen::Engine", "engine"}, {"KalvetraGreen::Material", "material"},  // by what it lies on
}};

namespace table {

constexpr Parameter group(int id, int parent, const char* nameKey) {
  return {id, ParameterKind::Group, parent, nameKey, {}, 0, 0, 0, Unit::None, 0, nullptr, {}, {}};
}

constexpr Parameter popup(int id, int parent, const char* nameKey, std::string_view slug, int defaultValue,
                          std::span<const MenuEntry> entries, int KeySettings::*value, std::string_view help) {
  return {id,         ParameterKind::Popup,
          parent,     nameKey,
          slug,       defaultValue,
          0,          static_cast<int>(entries.size()) - 1,
          Unit::None, 0,
          value,      entries,
          help};
}

constexpr Parameter ofClip(Parameter parameter) {
  parameter.ofClip = true;
  return parameter;
}

constexpr Parameter atFullDepth(Parameter parameter) {
  parameter.fullDepth = true;
  return ofClip(parameter);
}

constexpr Parameter color(int id, int parent, const char* nameKey, std::string_view slug, std::string_view help) {
  return {id, ParameterKind::Color, parent, nameKey, slug, 0, 0, 0, Unit::None, 0, nullptr, {}, help};
}

constexpr Parameter toggle(int id, int parent, const char* nameKey, std::string_view slug, int defaultValue,
                           int KeySettings::*value, std::string_view help) {
  return {id, ParameterKind::Toggle, parent, nameKey, slug, defaultValue, 0, 1, Unit::None, 0, value, {}, help};
}

struct Range {
  int minimum;
  int maximum;
  Unit unit;
};

constexpr Parameter slider(int id, int parent, const char* nameKey, std::string_view slug, int defaultValue,
                           Range range, int toggleId, int KeySettings::*value, std::string_view help) {
  return {id,
          ParameterKind::IntSlider,
          parent,
          nameKey,
          slug,
          defaultValue,
          range.minimum,
          range.maximum,
          range.unit,
          toggleId,
          value,
          {},
          help};
}

}  // namespace table

// In the order of creation; a group is followed by all that it holds.
inline constexpr auto kParameters = std::to_array<Parameter>({
    table::group(1, 0, "KalvetraGreen::Basic"),
    table::popup(2, 1, "KalvetraGreen::View", "view", 2, kViewEntries, &KeySettings::view,
                 "What to show: the untouched source, the matte as a grey picture, or the keyed result."),
    table::color(3, 1, "KalvetraGreen::Key Color", "key-color", "Colour of the backdrop; black keys nothing."),
    table::ofClip(
        table::popup(28, 1, "KalvetraGreen::Screen", "screen", 0, kScreenEntries, &KeySettings::screen,
                     "What the backdrop is painted in; for blue, green and blue change places while keying.")),
    table::toggle(4, 1, "KalvetraGreen::Smooth BG", "smooth-bg", 1, &KeySettings::smoothBG,
                  "Key against an estimate of the unevenly lit backdrop instead of the one key colour."),
    table::ofClip(table::popup(29, 1, "KalvetraGreen::Plate", "plate", 0, kPlateEntries, &KeySettings::plate,
                               "Where that estimate comes from: each frame by itself, a closer fit, all frames of a "
                               "locked-off shot, or a clean plate that is given.")),
    table::atFullDepth(
        table::popup(30, 1, "KalvetraGreen::Refine", "refine", 0, kRefineEntries, &KeySettings::refine,
                     "Estimate soft edges, veils and smoke once more, by the colours around them; keys at "
                     "full depth.")),
    table::atFullDepth(
        table::popup(31, 1, "KalvetraGreen::Despill Method", "despill", 0, kDespillEntries, &KeySettings::despill,
                     "How the backdrop's light is taken off the subject: by hue alone, or by the material "
                     "that it falls on; that keys at full depth.")),
    table::slider(5, 1, "KalvetraGreen::Shadow", "shadow", 100, {0, 100, Unit::Percent}, 0, &KeySettings::shadow,
                  "Density of shadows on the backdrop; lower values lighten them."),
    table::slider(6, 1, "KalvetraGreen::Clip Black", "clip-black", 0, {0, 100, Unit::Percent}, 0,
                  &KeySettings::clipBlack, "Matte level, in percent, that becomes fully transparent."),
    table::slider(7, 1, "KalvetraGreen::Clip White", "clip-white", 100, {0, 100, Unit::Percent}, 0,
                  &KeySettings::clipWhite, "Matte level, in percent, that becomes fully opaque."),
    table::group(8, 1, "KalvetraGreen::DeBlocking Group"),
    table::toggle(9, 8, "KalvetraGreen::DeBlocking", "deblocking", 0, &KeySettings::deBlocking,
                  "Smooth the source's colour before keying, against blocky chroma."),
    table::slider(10, 8, "KalvetraGreen::DeBlock Value", "deblock-value", 1, {1, 10, Unit::Pixels}, 9,
                  &KeySettings::deBlockValue, "Radius of that smoothing in pixels."),
    table::group(11, 1, "KalvetraGreen::Edge Contract Group"),
    table::toggle(12, 11, "KalvetraGreen::Edge Contract", "edge-contract", 0, &KeySettings::edgeContract,
                  "Pull the matte's edge in."),
    table::slider(13, 11, "KalvetraGreen::Contract Mask", "contract-mask", 2, {1, 10, Unit::Pixels}, 12,
                  &KeySettings::contractMask, "Steps of one pixel by which the edge is pulled in."),
    table::slider(14, 11, "KalvetraGreen::Contract Threshold", "contract-threshold", 10, {0, 50, Unit::Levels}, 12,
                  &KeySettings::contractThreshold, "Matte levels that each step leaves standing."),
    table::group(15, 1, "KalvetraGreen::Edge Blur Group"),
    table::toggle(16, 15, "KalvetraGreen::Edge Blur", "edge-blur", 0, &KeySettings::edgeBlur,
                  "Soften the matte's edge."),
    table::slider(17, 15, "KalvetraGreen::Mask Blur Radius (pixel)", "blur-radius", 2, {1, 100, Unit::Pixels}, 16,
                  &KeySettings::maskBlurRadius, "Radius of the edge blur in pixels."),
    table::slider(18, 15, "KalvetraGreen::Mask Blur Value", "blur-value", 50, {0, 100, Unit::Percent}, 16,
                  &KeySettings::maskBlurValue, "Strength of the edge blur in percent."),
    table::group(19, 1, "KalvetraGreen::Hue"),
    table::slider(20, 19, "KalvetraGreen::skin, hair color Hue", "skin-hue", 0, {-50, 50, Unit::Percent}, 0,
                  &KeySettings::skinHue, "Moves the hue bound between the backdrop and skin and hair colours."),
    table::slider(21, 19, "KalvetraGreen::blue Hue", "blue-hue", 0, {-50, 50, Unit::Percent}, 0, &KeySettings::blueHue,
                  "Moves the hue bound between the backdrop and blue colours."),
    table::group(22, 0, "KalvetraGreen::Advanced"),
    table::group(23, 22, "KalvetraGreen::Despill"),
    table::slider(24, 23, "KalvetraGreen::white, gray", "despill-white", 20, {0, 100, Unit::Percent}, 0,
                  &KeySettings::despillWhite,
                  "Removes the backdrop's tint from white and grey; also firms up the matte."),
    table::slider(25, 23, "KalvetraGreen::skin, hair color", "despill-skin", 20, {0, 100, Unit::Percent}, 0,
                  &KeySettings::despillSkin, "Removes the backdrop's tint from skin and hair colours."),
    table::slider(26, 23, "KalvetraGreen::blue", "despill-blue", 0, {0, 100, Unit::Percent}, 0,
                  &KeySettings::despillBlue, "Removes the backdrop's tint from blue."),
    table::slider(27, 22, "KalvetraGreen::Screen Gain", "screen-gain", 33, {0, 100, Unit::Percent}, 0,
                  &KeySettings::screenGain, "How far from the key colour a pixel still counts as clear backdrop."),
});

// The rows that plug-in hosts show.
inline constexpr auto kHostParameters = [] {
  constexpr auto isShown = [](const Parameter& p) { return !p.ofClip; };
  std::array<Parameter, static_cast<std::size_t>(std::count_if(kParameters.begin(), kParameters.end(), isShown))>
      shown{};
  std::copy_if(kParameters.begin(), kParameters.end(), shown.begin(), isShown);
  return shown;
}();

// Every setting at its default.
constexpr KeySettings defaultSettings() {
  KeySettings settings{};
  for (const Parameter& p : kParameters) {
    if (p.value != nullptr) settings.*p.value = p.defaultValue;
  }
  return settings;
}

// Off or on, as a popup: its option alone means on.
constexpr bool isSwitch(const Parameter& p) { return p.entries.size() == 2 && p.entries[1].slug == "on"; }

// Whether settings ask for what works at full depth alone: the one rule of it.
constexpr bool needsFullDepth(const KeySettings& settings) {
  return std::ranges::any_of(kParameters,
                             [&](const Parameter& p) { return p.fullDepth && settings.*p.value != p.defaultValue; });
}

// The view, which commands and pages treat apart from other popups.
constexpr bool isView(const Parameter& p) { return p.value == &KeySettings::view; }

// The English display name that a key of string tables stands for: "KalvetraGreen::Key Color" -> "Key Color".
constexpr std::string_view displayName(std::string_view nameKey) { return nameKey.substr(nameKey.find("::") + 2); }

// The row with that id or slug, null when there is none.
constexpr const Parameter* findParameter(int id) {
  for (const Parameter& p : kParameters) {
    if (p.id == id) return &p;
  }
  return nullptr;
}

constexpr const Parameter* findParameter(std::string_view slug) {
  for (const Parameter& p : kParameters) {
    if (!p.slug.empty() && p.slug == slug) return &p;
  }
  return nullptr;
}

}  // namespace kalvetra
