#include "analysis/harm.h"

#include <algorithm>

#include "analysis/formatted_text.h"

namespace kalvetra {

namespace {

// Found on photographs: keys that were worse to look at lay beyond one of these, keys that were as good or better
// below.
constexpr double kMostHaze = 0.2;     // percent of opacity of the bare screen; half a level of 255
constexpr double kMostFilled = 2.5;   // of what is thin, percent of opacity
constexpr double kMostThinned = 7.0;  // rims are often too dense in the plain key, so that this may be larger
constexpr double kMostOpened = 0.5;   // of deep solids
constexpr double kMostLight = 1.0;    // levels of green that are likelier the screen's light than the subject's own

// From here to there the shares of green and red of cloth are its own doubt: skin, hair and wool in the screen's light
// seldom have more green than red.
constexpr double kLitGreen = 1.0, kOwnGreen = 1.1;

// Solids that are kept from being keyed away outweigh denser outlines, and green there; percent of their opacity.
constexpr double kHardlySaved = 0.5, kSurelySaved = 2.0;

double fade(double value, double from, double to) { return std::clamp((value - from) / (to - from), 0.0, 1.0); }

// Levels of green that are added at outlines beyond those in solids, where the light is weaker, and in solids that are
// not greener than red.
double thrownLight(const Change& c) {
  const double atRim = c.greenAtRim - std::max(c.greenInSolids, 0.0);
  const double inSolids = c.greenInSolids * (1.0 - fade(c.ownGreen, kLitGreen, kOwnGreen));
  return std::max(atRim, inSolids);
}

}  // namespace

Harm harmOf(const Change& c) {
  const double unsaved = 1.0 - fade(c.saved, kHardlySaved, kSurelySaved);
  const double filled = unsaved * c.filled, light = unsaved * thrownLight(c);
  Harm worst{1.0, {}};
  const auto judge = [&](double value, double limit, const std::string& reason) {
    const double allowed = 1.0 - fade(value, limit / 2.0, limit);
    if (allowed < worst.allowed) worst = {allowed, reason};
  };
  judge(c.haze, kMostHaze, formattedText("bare screen would become %.1f %% more opaque", c.haze));
  judge(filled, kMostFilled, formattedText("what lets the screen through would become %.1f %% more opaque", c.filled));
  judge(c.thinned, kMostThinned, formattedText("what is thin would become %.1f %% more transparent", c.thinned));
  judge(c.opened, kMostOpened, formattedText("what is solid would become %.1f %% more transparent", c.opened));
  judge(light, kMostLight,
        formattedText("it would keep %.1f levels of green that look like the screen's light", light));
  return worst;
}

Harm worstHarm(const std::vector<Change>& changes) {
  Harm worst{1.0, {}};
  for (const Change& change : changes) {
    const Harm harm = harmOf(change);
    if (harm.allowed < worst.allowed) worst = harm;
  }
  return worst;
}

}  // namespace kalvetra
