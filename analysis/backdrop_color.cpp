#include "analysis/backdrop_color.h"

#include <algorithm>
#include <cmath>

#include "analysis/backdrop_text.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

using paint::Kind;
using paint::Look;
using paint::Paint;

constexpr double kSureShare = 0.25;      // from which on a larger share makes the find no surer
constexpr double kLeastLikeness = 0.25;  // of yellow and blue, so that a shirt in a room is none; see Look
constexpr double kGreenFirst = 4.0;      // a green outweighs this much more of another colour
constexpr float kOtherPaint = 20.0f;     // degrees of hue between two backdrops
constexpr float kCloseHue = 55.0f;       // within which it may be a floor; beyond, clothes reach the sides below too
constexpr float kOtherChroma = 30.0f;    // and their chromas, so that noise is no paint
constexpr double kOtherLikeness = 0.4;   // that a second backdrop needs, so that shirts and plants are none
constexpr double kWornBlue = 0.015;      // of the picture

struct Candidate {
  Paint paint;
  Look look;
  double score() const { return look.share * look.likeness() * (paint.kind == Kind::Green ? kGreenFirst : 1.0); }
};

Candidate candidate(const Paint& paint, const paint::Points& points, bool besideOther = false) {
  return {paint, lookOf(paint, points, besideOther)};
}

Candidate likeliest(const paint::Points& points) {
  Candidate best = candidate(fullest(points, Kind::Green), points);
  for (const Kind kind : {Kind::Yellow, Kind::Blue}) {
    const Candidate other = candidate(fullest(points, kind), points);
    if (other.score() > best.score()) best = other;
  }
  return best;
}

// Another backdrop beside the first; nothing where there is none.
std::optional<Candidate> secondBackdrop(const paint::Points& points, const Paint& first) {
  std::optional<Candidate> best;
  for (const Kind kind : {Kind::Green, Kind::Yellow, Kind::Blue}) {
    const Paint found = fullest(points, kind, &first, kOtherPaint);
    if (length(found.center - first.center) < kOtherChroma) continue;
    const Candidate other = candidate(found, points, paint::hueDistance(found.hue, first.hue) < kCloseHue);
    if (other.look.share < kLeastShare || other.look.likeness() < kOtherLikeness) continue;
    if (!best || other.score() > best->score()) best = other;
  }
  return best;
}

// As for a key colour that a user names.
int screenOf(const MeasuredColor& color) {
  KeySettings settings = defaultSettings();
  setValue(settings, *findParameter("key-color"), colorOf({color.red, color.green, color.blue}));
  return screenForColor(settings);
}

}  // namespace

void BackdropFinder::add(const unsigned char* argb, int width, int height) { addPoints(argb, width, height, points_); }

std::optional<BackdropColor> BackdropFinder::find(std::string* missed) const {
  const auto [paint, look] = likeliest(points_);
  if (look.share < kLeastShare || (paint.kind != Kind::Green && look.likeness() < kLeastLikeness)) {
    if (missed != nullptr) *missed = noBackdropText(paint, look);
    return std::nullopt;
  }
  BackdropColor color{paint.sums.measured(),
                      points_.all.size(),
                      0,
                      look.alone * std::min(look.share / kSureShare, 1.0) * look.likeness(),
                      unevennessOf(paint, points_),
                      {}};
  color.screen = screenOf(color);
  color.reason = backdropText(paint, look, color.unevenness, color.confidence);
  if (const auto other = secondBackdrop(points_, paint)) {
    color.reason += secondBackdropText(other->paint, other->look);
  } else if (const double worn = color.screen == 1 ? otherBlues(paint, points_) : 0.0; worn >= kWornBlue) {
    color.reason += wornBlueText(worn);
  }
  return color;
}

std::string BackdropFinder::noteOnNamed(int red, int green, int blue) const {
  const auto byte = [](int v) { return static_cast<unsigned char>(v); };
  const Chroma named = chromaOf(CImagingZEP().RGBtoYIQ2(byte(red), byte(green), byte(blue)));
  const auto near = std::count_if(points_.all.begin(), points_.all.end(),
                                  [&](const paint::Point& p) { return paint::withinReach(chromaOf(p.color), named); });
  const double share = points_.all.empty() ? 0.0 : static_cast<double>(near) / static_cast<double>(points_.all.size());
  return share < kLeastShare ? smallScreenText(share) : std::string();
}

}  // namespace kalvetra
