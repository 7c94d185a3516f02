#include "plates/follow.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "plates/plane.h"

namespace kalvetra {

using plates::Cell;
using plates::Cells;
using plates::cellsOf;
using plates::colorOf;
using plates::Light;
using plates::mixedPlate;
using plates::Rgb;
using plates::setColor;
using plates::significantTint;
using plates::smoothStep;
using plates::Tint;
using plates::tintedPlate;

namespace {

// Levels that estimates lie apart by: of one screen, at three quarters of the places, as the others may be shadows that
// come and go; of two shots, already at half of them.
constexpr float kAgreement = 2.5f, kAgreeing = 0.75f;
constexpr float kJump = 8.0f, kJumping = 0.5f;
constexpr std::int64_t kNearCut = 8;  // frames from one estimate to the next that leave a cut's place open
constexpr float kLeastBare = 0.25f;   // of a cell, to be compared by
constexpr std::size_t kFewCells = plates::kCells / 50;  // nothing to compare
// From the one on a frame does not fit a plate at all, from the other on it does, and between in part: what is keyed
// against changes with the picture, never at once.
struct Bounds {
  float none, whole;
  float of(float value) const { return smoothStep(none, whole, value); }
};
constexpr Bounds kShaded{0.6f, 0.72f};   // of what looks like screen is the plate, in its light or in a shadow
constexpr Bounds kClose{0.28f, 0.42f};   // of it in the light: elsewhere a shadow and an unevenly lit shot look alike
constexpr Bounds kDrifted{0.2f, 0.06f};  // of the plate's paint lies beside its light, where the plates drift
constexpr Bounds kUnseen{0.08f, 0.04f};  // of a frame is screen: with less nothing can be said of the backdrop
constexpr float kLeastClose = 0.7f;      // of what looks like screen, that no other plate need be tried

Cells bareCells(const FittedPlate& fitted) {
  const auto pixels = static_cast<std::size_t>(fitted.plate.width) * static_cast<std::size_t>(fitted.plate.height);
  return cellsOf(fitted.plate.picture(), fitted.bare.size() == pixels ? fitted.bare.data() : nullptr);
}

// How far two pictures of one screen lie apart, light aside, where both are bare: levels that `share` of the places lie
// within; 0 where too little is bare.
float distanceOf(const Cells& a, const Cells& b, float share) {
  const Light light = lightOf(a, b);
  std::vector<float> off;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (a[i].weight < kLeastBare || b[i].weight < kLeastBare) continue;
    float most = 0.0f;
    for (std::size_t c = 0; c < 3; ++c)
      most = std::max(most, std::abs(a[i].color[c] - light.tint.of(b[i].color[c], c)));
    off.push_back(most);
  }
  if (off.size() < kFewCells) return 0.0f;
  const auto worst = off.begin() + static_cast<std::ptrdiff_t>(share * static_cast<float>(off.size() - 1));
  std::nth_element(off.begin(), worst, off.end());
  return *worst;
}

bool isOneSize(const Plate& a, const Plate& b) { return a.width == b.width && a.height == b.height; }

// How bare each pixel is, softened so that the mean of several estimates has no seams: from `kHidden` to 1.
std::vector<float> bareness(const FittedPlate& fitted) {
  constexpr float kHidden = 0.02f;
  const int width = fitted.plate.width, height = fitted.plate.height;
  plates::Plane bare(width, height, 1.0f);
  if (fitted.bare.size() == bare.values.size()) {
    for (std::size_t i = 0; i < bare.values.size(); ++i) bare[i] = fitted.bare[i] / 255.0f;
  }
  const int reach = std::max(1, std::max(width, height) / 60);
  plates::Plane soft = boxMean(boxMean(bare, reach), reach);
  // Full weight only well inside of what is bare: at its border the mean is half of what lies on either side.
  for (float& v : soft.values) v = kHidden + (1.0f - kHidden) * smoothStep(0.5f, 1.0f, v);
  return std::move(soft.values);
}

// The estimates' mean in the light of `lights`, each where it saw the screen. Robust: an estimate that errs at a place
// by a few levels counts for little there.
Plate meanPlate(const std::vector<const FittedPlate*>& plates, const std::vector<Light>& lights) {
  constexpr float kError = 1.5f;  // levels
  constexpr int kRounds = 3;
  Plate mean = plates[plates.size() / 2]->plate;
  std::vector<std::vector<float>> bare;
  float noise = 0.0f;
  for (const FittedPlate* one : plates) {
    bare.push_back(bareness(*one));
    noise += one->plate.noise;
    mean.keepsShadows = mean.keepsShadows && one->plate.keepsShadows;
  }
  mean.noise = noise / static_cast<float>(plates.size());
  std::vector<Rgb> colors(plates.size());
  for (std::size_t i = 0; i < mean.pixels(); ++i) {
    Rgb middle{};
    for (int round = 0; round < kRounds; ++round) {
      Rgb sum{};
      float weights = 0.0f;
      for (std::size_t k = 0; k < plates.size(); ++k) {
        float square = 0.0f;
        const Rgb seen = round == 0 ? colorOf(plates[k]->plate, i) : Rgb{};
        for (std::size_t c = 0; c < 3; ++c) {
          if (round == 0) colors[k][c] = lights[k].tint.undone(seen[c], c);
          const float d = colors[k][c] - middle[c];
          square += d * d;
        }
        const float weight = round == 0 ? bare[k][i] : bare[k][i] / (1.0f + square / (kError * kError));
        weights += weight;
        for (std::size_t c = 0; c < 3; ++c) sum[c] += weight * colors[k][c];
      }
      for (std::size_t c = 0; c < 3; ++c) middle[c] = sum[c] / weights;
    }
    setColor(mean, i, middle);
  }
  return mean;
}

}  // namespace

// One plate that could be that of a frame.
struct PlateRow::Candidate {
  const Known* before;
  const Known* after;  // null, or what to mix in
  float share;         // of `after`
  bool isDrifting;     // one of several that are not alike, and not seen to hold at that frame
  Light light;

  // How well it fits, 0..1. Where the plates of a shot are not alike, what lies beside the plate's light is no shadow
  // but screen that was lit otherwise when the plate was made: the camera or a lamp moves.
  float fit() const {
    const float beside = 1.0f - light.close / std::max({light.shaded, light.matched, light.close, 1e-3f});
    return kShaded.of(light.shaded) * kClose.of(light.close) * (isDrifting ? kDrifted.of(beside) : 1.0f);
  }
  // Share of the frame that it explains.
  float worth() const { return fit() * (1.0f - kUnseen.of(light.screen)) * light.screen * light.close; }
};

PlateRow::PlateRow(std::shared_ptr<const Plate> plate) : isGiven_(true) {
  if (plate == nullptr || plate->empty()) return;
  Cells cells = cellsOf(plate->picture());
  stretches_.push_back({0, 0, {{0, std::move(plate), std::move(cells)}}});
}

PlateRow::PlateRow(std::vector<Estimate> estimates) {
  std::sort(estimates.begin(), estimates.end(), [](const auto& a, const auto& b) { return a.frame < b.frame; });
  const bool anySure = std::any_of(estimates.begin(), estimates.end(), [](const auto& e) { return e.fitted.sure; });
  std::vector<const Estimate*> stretch;
  Cells last;
  for (const Estimate& estimate : estimates) {
    if ((anySure && !estimate.fitted.sure) || estimate.fitted.plate.empty()) continue;
    Cells cells = bareCells(estimate.fitted);
    if (!stretch.empty() && (distanceOf(cells, last, kJumping) > kJump ||
                             !isOneSize(estimate.fitted.plate, stretch.back()->fitted.plate))) {
      // A cut, or a move so fast that it looks like one.
      const std::int64_t before = stretch.back()->frame;
      if (estimate.frame - before > kNearCut) wanted_.push_back(before + (estimate.frame - before) / 2);
      addStretch(stretch);
      stretch.clear();
    }
    stretch.push_back(&estimate);
    last = std::move(cells);
  }
  if (!stretch.empty()) addStretch(stretch);
}

void PlateRow::addStretch(const std::vector<const Estimate*>& estimates) {
  const Cells middle = bareCells(estimates[estimates.size() / 2]->fitted);
  std::vector<const FittedPlate*> fitted;
  std::vector<Light> lights;
  for (const Estimate* estimate : estimates) {
    fitted.push_back(&estimate->fitted);
    lights.push_back(lightOf(bareCells(estimate->fitted), middle));
  }
  auto mean = std::make_shared<const Plate>(meanPlate(fitted, lights));
  const Cells meanCells = cellsOf(mean->picture());
  float spread = 0.0f;
  for (const FittedPlate* one : fitted) spread = std::max(spread, distanceOf(bareCells(*one), meanCells, kAgreeing));
  Stretch stretch{estimates.front()->frame, estimates.back()->frame, {}};
  if (spread <= kAgreement) {
    stretch.plates.push_back({stretch.first, std::move(mean), meanCells});
  } else {
    for (const Estimate* estimate : estimates) {
      auto plate = std::make_shared<const Plate>(estimate->fitted.plate);
      Cells cells = cellsOf(plate->picture());
      stretch.plates.push_back({estimate->frame, std::move(plate), std::move(cells)});
    }
    for (std::size_t k = 1; k < estimates.size(); ++k) {
      const std::int64_t before = estimates[k - 1]->frame, after = estimates[k]->frame;
      const float drift = distanceOf(bareCells(*fitted[k - 1]), bareCells(*fitted[k]), kAgreeing);
      if (drift > kAgreement && after - before > 1) wanted_.push_back(before + (after - before) / 2);
    }
  }
  stretches_.push_back(std::move(stretch));
}

PlateRow::Candidate PlateRow::tried(const Stretch& stretch, std::int64_t frame, const Cells& cells) const {
  const auto next = std::upper_bound(stretch.plates.begin(), stretch.plates.end(), frame,
                                     [](std::int64_t f, const Known& known) { return f < known.frame; });
  const bool isOutside = frame < stretch.first || frame > stretch.last;
  const bool isDrifting = stretch.plates.size() > 1 || (stretches_.size() > 1 && isOutside);
  const Known& before = next == stretch.plates.begin() ? *next : *(next - 1);
  if (next == stretch.plates.begin() || next == stretch.plates.end() || before.frame == frame)
    return {&before, nullptr, 0.0f, isDrifting, lightOf(cells, before.cells)};
  const float share = static_cast<float>(frame - before.frame) / static_cast<float>(next->frame - before.frame);
  Cells mixed = before.cells;
  for (std::size_t i = 0; i < mixed.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) mixed[i].color[c] += share * (next->cells[i].color[c] - mixed[i].color[c]);
  }
  return {&before, &*next, share, true, lightOf(cells, mixed)};
}

FollowedPlate PlateRow::at(std::int64_t frame, const ConstFrame& picture) const {
  if (stretches_.empty()) return {};
  const Cells cells = cellsOf(picture);
  // The frame's own stretch, or those on either side of the gap that it lies in; any other where these explain little.
  auto later = std::find_if(stretches_.begin(), stretches_.end(), [&](const Stretch& s) { return frame <= s.last; });
  if (later == stretches_.end()) --later;
  Candidate best = tried(*later, frame, cells);
  const float unseen = kUnseen.of(best.light.screen);
  const auto consider = [&](const Stretch& stretch) {
    const Candidate other = tried(stretch, frame, cells);
    if (other.worth() > best.worth()) best = other;
  };
  if (!isGiven_) {
    if (frame < later->first && later != stretches_.begin()) consider(*(later - 1));
    if (best.worth() <= 0.0f || best.light.close < kLeastClose) {
      for (const Stretch& stretch : stretches_) consider(stretch);
    }
  }
  const float fit = isGiven_ ? 1.0f : std::max(unseen, best.fit());
  if (fit <= 0.0f) return {};

  FollowedPlate followed{best.before->plate, fit, significantTint(best.light)};
  if (best.after != nullptr)
    followed.plate = std::make_shared<const Plate>(mixedPlate(*best.before->plate, *best.after->plate, best.share));
  if (followed.tint != Tint{}) {
    plates::ColorRange range;
    range.widen(cells);
    followed.plate = std::make_shared<const Plate>(tintedPlate(*followed.plate, followed.tint, range));
  }
  return followed;
}

}  // namespace kalvetra
