// Presets: what they say, what is refused and where, and any bytes at all.
#include "parameters/preset.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "sample/test_images.h"
#include "support/user_error.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::AnimatedSettings;
using kalvetra::Curve;
using kalvetra::findParameter;
using kalvetra::parsePreset;
using kalvetra::Preset;
using kalvetra::UserError;

const std::string kValid = R"({
  "look": 1,
  "settings": {
    "view": [[0, "result"], [9, "matte"]],
    "key-color": "#2da54b",
    "smooth-bg": true,
    "edge-blur": [[3, "on"], [5, false]],
    "skin-hue": -50,
    "screen-gain": [[0, 33], [120, 45]]
  }
}
)";

std::string refusal(const std::string& text, int engineLook = kalvetra::kLookVersion) {
  try {
    parsePreset(text, "p.json", engineLook);
  } catch (const UserError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Preset, HoldsWhatTheFileSaysAndNoMore) {
  const Preset preset = parsePreset(kValid, "p.json");
  EXPECT_EQ(1, preset.look);
  const std::map<int, Curve> expected{{2, {{0, 2}, {9, 1}}},  {3, {{0, 0x2da54b}}}, {4, {{0, 1}}},
                                      {16, {{3, 1}, {5, 0}}}, {20, {{0, -50}}},     {27, {{0, 33}, {120, 45}}}};
  EXPECT_EQ(expected, preset.curves);
  AnimatedSettings settings;
  settings.set(*findParameter("shadow"), 7);
  kalvetra::applyPreset(preset, settings);
  EXPECT_EQ(7, settings.at(0).shadow);
  EXPECT_EQ(-50, settings.at(0).skinHue);
  EXPECT_EQ(39, settings.at(60).screenGain);
}

TEST(Preset, TextOfSettingsReadsBackTheSame) {
  AnimatedSettings settings;
  kalvetra::applyPreset(parsePreset(kValid, "p.json"), settings);
  const std::string text = kalvetra::presetText(settings);
  AnimatedSettings again;
  kalvetra::applyPreset(parsePreset(text, "q.json"), again);
  EXPECT_EQ(text, kalvetra::presetText(again));
  for (const kalvetra::Parameter& p : kalvetra::kParameters) {
    if (p.kind == kalvetra::ParameterKind::Group) continue;
    EXPECT_EQ(settings.curve(p), again.curve(p)) << p.slug;
  }
  // Every parameter stands on a line of its own, in the table's order.
  std::size_t at = 0;
  for (const kalvetra::Parameter& p : kalvetra::kParameters) {
    if (p.kind == kalvetra::ParameterKind::Group) continue;
    at = text.find("\n    \"" + std::string(p.slug) + "\": ", at);
    ASSERT_NE(std::string::npos, at) << p.slug;
  }
  EXPECT_NE(std::string::npos, text.find("\n    \"edge-blur\": [[3, true], [5, false]],\n"));
  EXPECT_TRUE(text.ends_with("\n}\n"));
}

// `body` stands in the settings, from line 3 on.
std::string inSettings(const std::string& body) { return "{\n \"look\": 1, \"settings\": {\n" + body + "\n}}"; }

TEST(Preset, RefusalsNameTheLineAndTheReason) {
  const std::pair<std::string, std::string> cases[] = {
      // Syntax.
      {"", "line 1: this is no JSON: unexpected end of input"},
      {"{\n\"look\": 1,\n}", "line 3: this is no JSON: "},
      {"{\"look\": 1\n\n\"settings\": {}}", "line 3: this is no JSON: unexpected string literal; expected '}'"},
      {kValid + "\n1", "line 13: this is no JSON: unexpected number literal; expected end of input"},
      {inSettings("\"shadow\": 01"), "line 3: this is no JSON: "},
      {inSettings("\"shadow\": NaN"), "line 3: this is no JSON: "},
      {inSettings("\"shadow\": 1e999"), "line 3: this is no JSON: number overflow"},
      {inSettings("\"sha\xff\": 1"), "line 3: this is no JSON: "},
      {kValid.substr(0, kValid.size() - 3), "this is no JSON: unexpected end of input"},
      // The whole.
      {"[]", "line 1: a preset is {\"look\": 1, \"settings\": {...}}; [] is out of place"},
      {"5", "line 1: a preset is {\"look\""},
      {"{\n}", "line 1: the preset has no \"look\"; it is {\"look\": 1, \"settings\": {...}}"},
      {"{\"look\": 1\n}", "line 1: the preset has no \"settings\""},
      {"{\"settings\": {}}", "line 1: the preset has no \"look\""},
      {"{\"look\": 1,\n\"look\": 1, \"settings\": {}}", "line 2: \"look\" is here twice"},
      {"{\"look\": 1,\n\"setings\": {}}", "line 2: \"setings\" is unknown; give \"look\" and \"settings\""},
      {"{\"look\": 1,\n\"shadow\": 5}", "line 2: \"shadow\" belongs in \"settings\""},
      {"{\"look\": 1,\n\"settings\": []}", "line 2: \"settings\" cannot be []; give {\"name\": value, ...}"},
      {"{\"look\":\n2\n,\"settings\": {}}", "line 2: the preset is for look 2, this program has look 1"},
      {"{\"look\":\n18446744073709551615}", "line 2: the preset is for look 18446744073709551615"},
      {"{\"look\": 0}", "line 1: \"look\" cannot be 0; give the look's version, a whole number from 1"},
      {"{\"look\": \"1\"}", "line 1: \"look\" cannot be \"1\""},
      // Names.
      {inSettings("\"shadow\": 1,\n\"shadows\": 2"), "line 4: \"shadows\" is no setting; the nearest is \"shadow\""},
      {inSettings("\"blur_radius\": 1"), "line 3: \"blur_radius\" is no setting; the nearest is \"blur-radius\""},
      {inSettings("\"shadow\": 1,\n\n\"shadow\": 2"), "line 5: \"shadow\" is here twice"},
      {inSettings("\"\": 1"), "line 3: \"\" is no setting"},
      {inSettings("\"a\\nb\": 1"), "line 3: \"a?b\" is no setting"},
      {inSettings("\"" + std::string(1000000, 'x') + "\": 1"), "xxx...\" is no setting"},
      // Values.
      {inSettings("\"shadow\": 101"), "line 3: \"shadow\" cannot be 101; give a whole number 0..100"},
      {inSettings("\"skin-hue\": -51\n"), "line 3: \"skin-hue\" cannot be -51; give a whole number -50..50"},
      {inSettings("\"shadow\": 18446744073709551615"), "line 3: \"shadow\" cannot be 18446744073709551615"},
      {inSettings("\"shadow\": 99999999999999999999999"), "line 3: \"shadow\" cannot be 9.999999999999999e+22;"},
      {inSettings("\"shadow\": 33.5"), "line 3: \"shadow\" cannot be 33.5; give a whole number 0..100"},
      {inSettings("\"shadow\": \"33\""), "line 3: \"shadow\" cannot be \"33\""},
      {inSettings("\"shadow\": true"), "line 3: \"shadow\" cannot be true"},
      {inSettings("\"shadow\": null"), "line 3: \"shadow\" cannot be null"},
      {inSettings("\"shadow\": {}"), "line 3: \"shadow\" cannot be {}; give"},
      {inSettings("\"shadow\": {\n\"x\": 1}"), "line 3: \"shadow\" cannot be {\"x\":1}; give"},
      {inSettings("\"view\": {\"view\": 1}"), "line 3: \"view\" cannot be {\"view\":1}; give"},
      {"{\"look\": {\"shadow\": 1}, \"settings\": {\"shadow\": 1}}", "line 1: \"look\" cannot be {\"shadow\":1}"},
      {inSettings("\"plate\": [[0, \"fit\"]]"), "\"plate\" is the same for a whole clip; give \"frame\", \"fit\""},
      {inSettings("\"shadow\":\n\n101"), "line 5: \"shadow\" cannot be 101"},
      {inSettings("\"edge-blur\": 1"), "line 3: \"edge-blur\" cannot be 1; give true or false"},
      {inSettings("\"edge-blur\": \"yes\""), "line 3: \"edge-blur\" cannot be \"yes\"; give true or false"},
      {inSettings("\"key-color\": \"auto\""), "line 3: \"key-color\" cannot be \"auto\"; give \"#rrggbb\""},
      {inSettings("\"key-color\": \"1,2,3\""), "line 3: \"key-color\" cannot be \"1,2,3\"; give \"#rrggbb\""},
      {inSettings("\"key-color\": 3"), "line 3: \"key-color\" cannot be 3; give \"#rrggbb\""},
      {inSettings("\"view\": 2"), "line 3: \"view\" cannot be 2; give \"source\", \"matte\", \"result\""},
      {inSettings("\"view\": \"plate\""), "line 3: \"view\" cannot be \"plate\""},
      // Keyframes.
      {inSettings("\"shadow\": []"), "line 3: the keyframes of \"shadow\" are empty; give at least one"},
      {inSettings("\"shadow\": [1, 2]"), "line 3: the keyframes of \"shadow\" are [frame, value] pairs; 1 is none"},
      {inSettings("\"shadow\": [[0, 1],\n[0, 2]]"), "line 4: the keyframes of \"shadow\" must grow, but 0 follows 0"},
      {inSettings("\"shadow\": [[9, 1], [3, 2]]"), "must grow, but 3 follows 9"},
      {inSettings("\"shadow\": [[-1, 1]]"),
       "line 3: a frame of \"shadow\" cannot be -1; give a whole number 0..1000000000"},
      {inSettings("\"shadow\": [[1000000001, 1]]"), "line 3: a frame of \"shadow\" cannot be 1000000001"},
      {inSettings("\"shadow\": [[0.5, 1]]"), "line 3: a frame of \"shadow\" cannot be 0.5"},
      {inSettings("\"shadow\": [[0, 1],\n\n[4, 101]]"),
       "line 5: \"shadow\" at frame 4 cannot be 101; give a whole number 0..100"},
      {inSettings("\"shadow\": [[0, 1], [2, 3],\n[4,\n101]]"), "line 5: \"shadow\" at frame 4 cannot be 101;"},
      {inSettings("\"shadow\": [[0, 1], [\n-2, 3]]"), "line 4: a frame of \"shadow\" cannot be -2;"},
      {inSettings("\"shadow\": [[0, 1],\n[2]]"), "line 4: the keyframes of \"shadow\" are [frame, value] pairs;"},
      {inSettings("\"shadow\": [[0]]"), "line 3: the keyframes of \"shadow\" are [frame, value] pairs; [0] is none"},
      {inSettings("\"shadow\": [[]]"), "[frame, value] pairs; [] is none"},
      {inSettings("\"shadow\": [[0, 1, 2]]"), "[frame, value] pairs; [0,1,2] is none"},
      {inSettings("\"shadow\": [[0,\n[1]]]"), "line 4: this is nested too deeply"},
      {inSettings("\"shadow\": [[0, 1], {}]"), "[frame, value] pairs; {} is none"},
      {std::string(10000000, '['), "line 1: this is nested too deeply; a setting is a value or a list"},
      {inSettings("\"shadow\": " + std::string(1000000, '[')), "line 3: this is nested too deeply"},
  };
  for (const auto& [text, sentence] : cases) {
    SCOPED_TRACE(text.substr(0, 200));
    const std::string said = refusal(text);
    EXPECT_TRUE(said.starts_with("p.json, line ")) << said;
    EXPECT_NE(std::string::npos, said.find(sentence)) << said << "\nshould have: " << sentence;
    EXPECT_LT(said.size(), 300u);
    EXPECT_TRUE(std::all_of(said.begin(), said.end(), [](char c) { return c >= ' ' && c <= '~'; })) << said;
  }
}

TEST(Preset, OlderLooksAreAcceptedNewerOnesAreNot) {
  EXPECT_EQ(1, parsePreset("{\"look\": 1, \"settings\": {}}", "p.json", 3).look);
  EXPECT_EQ("accepted", refusal("{\"settings\": {}, \"look\": 3}", 3));
  EXPECT_NE(std::string::npos, refusal("{\"settings\": {}, \"look\": 4}", 3).find("this program has look 3"));
}

TEST(Preset, SettingsParsedElsewhereAreTakenOrRefusedWithoutALine) {
  const auto json = nlohmann::ordered_json::parse(kValid);
  EXPECT_EQ(parsePreset(kValid, "p.json").curves, kalvetra::presetOf(json.at("settings"), "settings").curves);
  for (const auto& [text, sentence] : {std::pair{"{\"shadow\": 101}", "settings: \"shadow\" cannot be 101; give a"},
                                       std::pair{"{\"shadw\": 1}", "settings: \"shadw\" is no setting; the"},
                                       std::pair{"[]", "settings: \"settings\" cannot be [];"}}) {
    try {
      kalvetra::presetOf(nlohmann::ordered_json::parse(text), "settings");
      ADD_FAILURE() << text;
    } catch (const UserError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(sentence)) << error.what();
    }
  }
}

TEST(PresetFile, WhatCannotBeReadIsNamed) {
  const kalvetra::test::ScratchFolder folder;
  const auto said = [](const std::string& file) -> std::string {
    try {
      kalvetra::readPreset(file);
    } catch (const UserError& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(folder.path("none") + ": cannot be opened; check the preset's name", said(folder.path("none")));
  EXPECT_EQ(folder.path("") + ": cannot be read; name a preset file", said(folder.path("")));
  EXPECT_EQ("/dev/zero: is larger than 16 MiB, which no preset is", said("/dev/zero"));
  EXPECT_EQ(0u, said("/dev/null").find("/dev/null, line 1: this is no JSON"));
  std::ofstream(folder.path("p.json")) << kValid;
  EXPECT_EQ("accepted", said(folder.path("p.json")));
}

// Changed, removed, repeated and swapped bytes of a valid preset: it loads, or one sentence refuses it.
TEST(Preset, AnyBytesLoadOrAreRefused) {
  kalvetra::test::Random random(7);
  const std::string pieces[] = {"[", "]", "{", "}", ",", "\"", "-", "1e99", "\\u0000", "\n", "null", "\xff", "[[0,1]]"};
  int loaded = 0, refused = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text = kValid;
    for (int change = random.within(1, 2); change > 0 && !text.empty(); --change) {
      const auto at = static_cast<std::size_t>(random.within(0, static_cast<int>(text.size()) - 1));
      const auto length = static_cast<std::size_t>(random.within(1, 6));
      switch (random.within(0, 3)) {
        case 0:
          text[at] = static_cast<char>(random.within(0, 255));
          break;
        case 1:
          text.erase(at, length);
          break;
        case 2:
          text.insert(at, pieces[random.within(0, static_cast<int>(std::size(pieces)) - 1)]);
          break;
        default:
          text.insert(at, text.substr(text.size() - std::min(at, text.size()), length));
      }
    }
    try {
      AnimatedSettings settings;
      kalvetra::applyPreset(parsePreset(text, "p.json"), settings);
      for (const kalvetra::Parameter& p : kalvetra::kParameters) {
        if (p.value == nullptr) continue;
        const int value = settings.at(random.within(0, 200)).*p.value;
        ASSERT_TRUE(value >= p.minimum && value <= p.maximum) << p.slug << " of " << text;
      }
      ++loaded;
    } catch (const UserError& error) {
      ASSERT_EQ(0u, std::string(error.what()).find("p.json, line ")) << error.what();
      ++refused;
    }
  }
  EXPECT_GT(loaded, 300);
  EXPECT_GT(refused, 5000);
}

}  // namespace
