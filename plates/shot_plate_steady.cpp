#include "plates/shot_plate_steady.h"

#include <algorithm>
#include <cmath>

#include "plates/sentence.h"

namespace kalvetra::plates {

namespace {

constexpr int kRounds = 3;          // of tints and the middle of what they make
constexpr float kLeastBare = 0.5f;  // of a cell, to count
constexpr float kLeastMatched = 0.5f, kLeastScreen = 0.04f;
constexpr float kSpread = 1.5f, kSpreadShare = 0.01f;  // levels, and of the colour, that a steady cell may vary by
constexpr float kMostUnsteady = 0.15f;                 // of the cells
constexpr std::size_t kLeastViews = 3;                 // to judge a cell by
constexpr float kMostMoved = 0.15f;                    // of the views: fewer are errors of measuring, or a jolt
constexpr float kBareContrast = 0.7f, kUnlike = 0.2f;  // a texture that plainly is there, and found again nowhere

// The median over all views of what they show at each cell, with their tints undone; without weight where none does.
Cells medianCells(const std::vector<ShotView>& views, const std::vector<Tint>& tints) {
  Cells middle(kCells);
  std::vector<float> values;
  for (std::size_t i = 0; i < kCells; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      values.clear();
      for (std::size_t k = 0; k < views.size(); ++k) {
        const Cell& cell = (*views[k].cells)[i];
        if (cell.weight >= kLeastBare) values.push_back(tints[k].undone(cell.color[c], c));
      }
      if (values.empty()) continue;
      middle[i].color[c] = medianOf(values);
      middle[i].weight = 1.0f;
    }
  }
  return middle;
}

// Share of the cells whose light comes and goes by itself, by both more and less; and by how much in the middle.
std::string changingLight(const std::vector<ShotView>& views, const std::vector<Tint>& tints, const Cells& middle) {
  std::vector<float> values, spreads;
  std::size_t judged = 0;
  for (std::size_t i = 0; i < kCells; ++i) {
    values.clear();
    for (std::size_t k = 0; k < views.size(); ++k) {
      const Cell& cell = (*views[k].cells)[i];
      if (cell.weight >= kLeastBare) values.push_back(std::abs(tints[k].undone(cell.color[1], 1) - middle[i].color[1]));
    }
    if (values.size() < kLeastViews) continue;
    ++judged;
    const float spread = 1.4826f * medianOf(values);
    if (spread > kSpread + kSpreadShare * middle[i].color[1]) spreads.push_back(spread);
  }
  if (judged == 0 || static_cast<float>(spreads.size()) <= kMostUnsteady * static_cast<float>(judged)) return {};
  return sentence(
      "the light on the screen does not keep its shape (it varies by about %.0f levels of 255 place by "
      "place), so the camera or a lamp moves",
      static_cast<double>(medianOf(spreads)));
}

std::string movingCamera(const std::vector<ShotView>& views) {
  const auto counted = [](const ShotView& view) {
    return std::count(view.texture->counted.begin(), view.texture->counted.end(), std::int16_t{-1});
  };
  std::size_t reference = 0;
  for (std::size_t k = 1; k < views.size(); ++k) {
    if (counted(views[k]) > counted(views[reference])) reference = k;
  }
  std::vector<float> moves;
  std::size_t unlike = 0;
  for (std::size_t k = 0; k < views.size(); ++k) {
    const ScreenShift shift = shiftBetween(*views[reference].texture, *views[k].texture);
    if (shift.isSure) moves.push_back(shift.pixels());
    if (!shift.isSure && shift.contrast > kBareContrast && shift.likeness < kUnlike) ++unlike;
  }
  const float most = kMostMoved * static_cast<float>(views.size());
  if (static_cast<float>(moves.size()) > most) {
    return sentence("the camera moves: the screen's own structure shifts by up to %.1f pixels",
                    static_cast<double>(*std::max_element(moves.begin(), moves.end())));
  }
  if (static_cast<float>(unlike) > most)
    return "the camera moves: the screen's own structure is not found again in place";
  return {};
}

std::string otherShots(const std::vector<ShotView>& views, const Cells& middle) {
  std::size_t others = 0, judged = 0;
  for (const ShotView& view : views) {
    const Light light = lightOf(*view.cells, middle);
    if (light.screen < kLeastScreen) continue;
    ++judged;
    if (light.matched < kLeastMatched) ++others;
  }
  if (static_cast<float>(others) <= kMostMoved * static_cast<float>(judged)) return {};
  return sentence(
      "the screen looks different in %.0f %% of the frames: the clip has several shots, or the camera moves",
      100.0 * static_cast<double>(others) / static_cast<double>(judged));
}

}  // namespace

Steadiness steadinessOf(const std::vector<ShotView>& views) {
  Steadiness steadiness{std::vector<Tint>(views.size()), {}};
  Cells middle = medianCells(views, steadiness.tints);  // its light is the middle one
  for (int round = 0; round < kRounds; ++round) {
    for (std::size_t k = 0; k < views.size(); ++k) steadiness.tints[k] = lightOf(*views[k].cells, middle).tint;
    middle = medianCells(views, steadiness.tints);
  }
  steadiness.why = otherShots(views, middle);
  if (steadiness.why.empty()) steadiness.why = movingCamera(views);
  if (steadiness.why.empty()) steadiness.why = changingLight(views, steadiness.tints, middle);
  return steadiness;
}

}  // namespace kalvetra::plates
