// The one table of parameters: its invariants, and the pages made from it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_table.h"

namespace {

using kalvetra::kParameters;
using kalvetra::Parameter;
using kalvetra::ParameterKind;

TEST(ParameterTable, IdsGroupsAndRangesHoldTogether) {
  std::set<std::string_view> slugs, nameKeys;
  std::vector<int> open{0};  // the groups that are open at this row
  for (std::size_t i = 0; i < kParameters.size(); ++i) {
    const Parameter& p = kParameters[i];
    SCOPED_TRACE(p.nameKey);
    EXPECT_EQ(static_cast<int>(i) + 1, p.id);
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
  }
  EXPECT_EQ(20u, slugs.size());
}

TEST(ParameterTable, MenuEntriesLandOnTheEnginesViews) {
  EXPECT_EQ("source", kalvetra::kViewEntries[kKalvetraViewSource].slug);
  EXPECT_EQ("matte", kalvetra::kViewEntries[kKalvetraViewMatte].slug);
  EXPECT_EQ("result", kalvetra::kViewEntries[kKalvetraViewResult].slug);
}

TEST(ParameterTable, SlidersDependOnTheToggleOfTheirGroup) {
  const std::set<std::pair<int, int>> expected{{9, 10}, {12, 13}, {12, 14}, {16, 17}, {16, 18}};
  std::set<std::pair<int, int>> found;
  for (const Parameter& p : kParameters) {
    if (p.toggle == 0) continue;
    found.insert({p.toggle, p.id});
    EXPECT_EQ(ParameterKind::Toggle, kalvetra::findParameter(p.toggle)->kind);
    EXPECT_EQ(p.group, kalvetra::findParameter(p.toggle)->group);
  }
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
