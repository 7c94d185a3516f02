// The one table of parameters: its invariants, and the pages made from it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_table.h"
#include "parameters/parameter_value.h"
#include "parameters/unit_value.h"

namespace {

using kalvetra::kParameters;
using kalvetra::Parameter;
using kalvetra::ParameterKind;

TEST(ParameterTable, IdsGroupsAndRangesHoldTogether) {
  std::set<int> ids;
  std::set<std::string_view> slugs, nameKeys;
  std::vector<int> open{0};  // the groups that are open at this row
  for (const Parameter& p : kParameters) {
    SCOPED_TRACE(p.nameKey);
    EXPECT_TRUE(p.id > 0 && ids.insert(p.id).second);
    while (!open.empty() && open.back() != p.group) open.pop_back();
    ASSERT_FALSE(open.empty()) << "its group is not open any more";
    EXPECT_TRUE(nameKeys.insert(p.nameKey).second);
    EXPECT_TRUE(std::string_view(p.nameKey).starts_with("KalvetraGreen::"));
    if (p.kind == ParameterKind::Group) {
      open.push_back(p.id);
      continue;
    }
    EXPECT_TRUE(slugs.insert(p.slug).second);
    EXPECT_FALSE(p.help.empty());
    EXPECT_LE(p.minimum, p.defaultValue);
    EXPECT_GE(p.maximum, p.defaultValue);
    EXPECT_EQ(p.value == nullptr, p.kind == ParameterKind::Color);
    EXPECT_EQ(p.unit != kalvetra::Unit::None, p.kind == ParameterKind::IntSlider);
    EXPECT_EQ(p.kind == ParameterKind::Popup ? p.maximum + 1 : 0, static_cast<int>(p.entries.size()));
  }
}

// Hosts save projects by ids, or by the place in the order of ids; presets and scripts name slugs.
TEST(ParameterTable, IdsSlugsAndPlacesAreThoseOfTheFirstRelease) {
  const std::pair<int, std::string_view> expected[] = {
      {2, "view"},           {3, "key-color"},      {4, "smooth-bg"},           {5, "shadow"},
      {6, "clip-black"},     {7, "clip-white"},     {9, "deblocking"},          {10, "deblock-value"},
      {12, "edge-contract"}, {13, "contract-mask"}, {14, "contract-threshold"}, {16, "edge-blur"},
      {17, "blur-radius"},   {18, "blur-value"},    {20, "skin-hue"},           {21, "blue-hue"},
      {24, "despill-white"}, {25, "despill-skin"},  {26, "despill-blue"},       {27, "screen-gain"}};
  const auto& places = kalvetra::parametersByPlace();
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(expected[i], std::pair(places.at(i)->id, places.at(i)->slug));
  }
}

TEST(ParameterTable, MenuEntriesLandOnTheEnginesViews) {
  EXPECT_EQ("source", kalvetra::kViewEntries[kKalvetraViewSource].slug);
  EXPECT_EQ("matte", kalvetra::kViewEntries[kKalvetraViewMatte].slug);
  EXPECT_EQ("result", kalvetra::kViewEntries[kKalvetraViewResult].slug);
}

TEST(ParameterTable, APopupHasEntriesOfItsOwn) {
  constexpr kalvetra::MenuEntry entries[] = {{"KalvetraGreen::Soft", "soft"}, {"KalvetraGreen::Hard", "hard"}};
  const Parameter popup =
      kalvetra::table::popup(99, 1, "KalvetraGreen::Edge", "edge", 0, entries, &kalvetra::KeySettings::view, "Edge.");
  EXPECT_EQ("soft, hard", kalvetra::valueRange(popup));
  EXPECT_EQ("hard", kalvetra::valueText(popup, 1));
  EXPECT_EQ(std::optional(1), kalvetra::parseValue(popup, "hard"));
  EXPECT_EQ(std::nullopt, kalvetra::parseValue(popup, "matte"));
  EXPECT_EQ(1.0, kalvetra::unitOf(popup, 1));
}

TEST(ParameterTable, SlidersDependOnTheToggleOfTheirGroup) {
  std::set<std::pair<std::string_view, std::string_view>> found;
  for (const Parameter& p : kParameters) {
    if (p.toggle == 0) continue;
    const Parameter& toggle = *kalvetra::findParameter(p.toggle);
    EXPECT_EQ(ParameterKind::Toggle, toggle.kind);
    EXPECT_EQ(p.group, toggle.group);
    found.emplace(p.slug, toggle.slug);
  }
  const std::set<std::pair<std::string_view, std::string_view>> expected{{"deblock-value", "deblocking"},
                                                                         {"contract-mask", "edge-contract"},
                                                                         {"contract-threshold", "edge-contract"},
                                                                         {"blur-radius", "edge-blur"},
                                                                         {"blur-value", "edge-blur"}};
  EXPECT_EQ(expected, found);
}

TEST(ParameterTable, EveryFieldHasItsOwnRow) {
  kalvetra::KeySettings marked = kalvetra::defaultSettings();
  int mark = 1000;
  for (const Parameter& p : kParameters) {
    if (p.value != nullptr) marked.*p.value = mark++;
  }
  mark = 1000;
  for (const Parameter& p : kParameters) {  // two rows on one field would have overwritten each other
    if (p.value == nullptr) continue;
    EXPECT_EQ(mark++, marked.*p.value) << p.slug;
  }
  const kalvetra::KeySettings defaults = kalvetra::defaultSettings();
  EXPECT_EQ(2, defaults.view);
  EXPECT_EQ(1, defaults.smoothBG);
  EXPECT_EQ(33, defaults.screenGain);
  EXPECT_EQ(20, defaults.despillSkin);
}

std::string textOf(const std::string& name) {
  std::ifstream file(std::string(KALVETRA_SOURCE) + "/" + name);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(ParameterManual, ThePageOfParametersHoldsTheGeneratedTable) {
  const char* page = "docs/parameters.md";
  EXPECT_NE(std::string::npos, textOf(page).find(kalvetra::parametersAsMarkdown()))
      << page << " is out of date: put the output of 'kalvetra parameters' into it";
}

}  // namespace
