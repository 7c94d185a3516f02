#include "analysis/backdrop_text.h"

#include <algorithm>
#include <cmath>

#include "analysis/formatted_text.h"

namespace kalvetra {

namespace {

using paint::Kind;
using paint::Look;
using paint::Paint;

constexpr float kYellowGreen = 180.0f;                      // degrees of hue, from which on a yellow is called that
constexpr double kNamedShare = 0.01, kNamedLikeness = 0.1;  // from which on a colour is worth naming
constexpr double kDoubtful = 0.7;                           // of a look's figures: below, it is said

const char* nameOf(const Paint& paint) {
  if (paint.kind == Kind::Green) return "green";
  if (paint.kind == Kind::Blue) return "blue";
  return paint.hue < kYellowGreen ? "yellow" : "yellow-green";
}

std::string hexOf(const Paint& paint) {
  const MeasuredColor color = paint.sums.measured();
  return formattedText("#%02x%02x%02x", color.red, color.green, color.blue);
}

// Cut, not rounded: what is below a bound is not shown as the bound.
double cutPercent(double share) { return std::floor(1000.0 * share) / 10.0; }

// The gravest doubt, or that there is none.
std::string doubt(const Look& look, const char* name, double confidence) {
  const double worst = std::min({look.smooth, look.reaching, look.strong, look.level});
  if (worst < kDoubtful) {
    if (worst == look.smooth) return "it is rough, as leaves and grass are";
    if (worst == look.level) return "it grows paler downwards, as a sky does";
    if (worst == look.strong) return "it is weak in colour for a screen";
    return "little of it reaches the picture's edges";
  }
  if (confidence < kDoubtful) return formattedText("other %ss compete with it or it is small", name);
  return formattedText("no other %s competes with it", name);
}

}  // namespace

std::string backdropText(const Paint& paint, const Look& look, double unevenness, double confidence) {
  const char* light = unevenness < 10 ? "evenly lit" : unevenness < 30 ? "a little unevenly lit" : "unevenly lit";
  const char* name = nameOf(paint);
  return formattedText("%.0f %% of the picture is of about this %s, %s, and ", 100.0 * look.share, name, light) +
         doubt(look, name, confidence) + ".";
}

std::string secondBackdropText(const Paint& paint, const Look& look) {
  return formattedText(" A second backdrop, the %s %s, is %.0f %% of the picture: key it separately or mask it.",
                       nameOf(paint), hexOf(paint).c_str(), 100.0 * look.share);
}

std::string wornBlueText(double share) {
  return formattedText(" Other blues and purples are %.0f %% of the picture: clothes among them are keyed in part.",
                       100.0 * share);
}

std::string noBackdropText(const Paint& paint, const Look& look) {
  if (look.share < kNamedShare || look.likeness() < kNamedLikeness) {
    return "no backdrop found: no smooth green, yellow or blue reaches the picture's edges; name its colour";
  }
  const std::string hex = hexOf(paint);
  const std::string flaw = look.share < kLeastShare ? formattedText("%.0f %% must be", 100.0 * kLeastShare)
                                                    : "but " + doubt(look, nameOf(paint), 0.0);
  return formattedText("no backdrop found: the likeliest, the %s %s, is %.1f %% of the picture, %s; ", nameOf(paint),
                       hex.c_str(), cutPercent(look.share), flaw.c_str()) +
         "if it is the screen, name '" + hex + "'";
}

std::string smallScreenText(double share) {
  if (share < 0.0005) return "nothing in the pictures is of about the key colour: is it the screen's?";
  return formattedText(
      "only %.1f %% of the picture is of about the key colour: its light is guessed from little, look at the edges",
      cutPercent(share));
}

}  // namespace kalvetra
