#include "analysis/proposal_reasons.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "analysis/formatted_text.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

constexpr double kLeastChroma = 15.0;  // of a subject's colour, for its hue to count
constexpr double kNearest = 0.02;      // share of the subject that may be nearer than what is called the nearest

// What the reference mattes say about the clip. Shares are percentages of the picture.
struct Facts {
  double noise = 0.0;
  double unevenness = 0.0;
  std::array<double, kRegions> share{};
  double skinAngle = 180.0;  // degrees from the screen's hue to the nearest solid colour on the yellow and red side
  double blueAngle = 180.0;  // on the cyan and blue side
};

struct ChromaVector {
  double i, q;
};
ChromaVector chromaOf(double r, double g, double b) {
  return {0.596 * r - 0.275 * g - 0.321 * b, 0.212 * r - 0.523 * g + 0.311 * b};
}

// The angle that all but a few lie beyond.
double nearest(std::vector<double> angles, std::size_t of) {
  const auto skipped = static_cast<std::size_t>(kNearest * static_cast<double>(of));
  if (angles.size() <= skipped) return 180.0;
  const auto place = angles.begin() + static_cast<std::ptrdiff_t>(skipped);
  std::nth_element(angles.begin(), place, angles.end());
  return *place;
}

void takeAngles(const std::vector<const ReferenceMatte*>& mattes, const std::array<double, 3>& color, Facts& facts) {
  const ChromaVector screen = chromaOf(color[0], color[1], color[2]);
  std::vector<double> skin, blue;
  std::size_t solid = 0;
  for (const ReferenceMatte* matte : mattes) {
    for (const Target& t : matte->targets) {
      if (t.region != Region::Core) continue;
      ++solid;
      const ChromaVector c =
          chromaOf(static_cast<double>(t.color[0]), static_cast<double>(t.color[1]), static_cast<double>(t.color[2]));
      if (std::hypot(c.i, c.q) < kLeastChroma) continue;
      // Positive towards the red end.
      const double turn = std::atan2(screen.i * c.q - screen.q * c.i, screen.i * c.i + screen.q * c.q);
      const double degrees = turn * 180.0 / std::numbers::pi;
      (degrees > 0.0 ? skin : blue).push_back(std::abs(degrees));
    }
  }
  facts.skinAngle = nearest(std::move(skin), solid);
  facts.blueAngle = nearest(std::move(blue), solid);
}

Facts factsOf(const Trials& trials, const std::array<double, 3>& color) {
  const std::vector<const ReferenceMatte*> mattes = trials.mattes();
  Facts facts;
  for (const ReferenceMatte* matte : mattes) {
    const double part = 1.0 / static_cast<double>(mattes.size());
    facts.noise += part * static_cast<double>(matte->noise);
    facts.unevenness += part * static_cast<double>(matte->unevenness);
    for (std::size_t r = 0; r < facts.share.size(); ++r) {
      facts.share[r] += part * 100.0 * static_cast<double>(matte->area[r]) / static_cast<double>(matte->pixels);
    }
  }
  takeAngles(mattes, color, facts);
  return facts;
}

double shareOf(const Facts& facts, Region region) { return facts.share[static_cast<std::size_t>(region)]; }

std::string angleFact(double angle, const char* side) {
  if (angle >= 180.0) return formattedText("no solid colour lies on the screen's %s side", side);
  return formattedText("solid colours come within %.0f degrees of the screen's hue on its %s side", angle, side);
}

const char* samplingName(ChromaSampling sampling) {
  switch (sampling) {
    case ChromaSampling::Quarter:
      return "four pixels share one chroma sample";
    case ChromaSampling::Half:
      return "two pixels share one chroma sample";
    default:
      return "each pixel has a chroma sample of its own";
  }
}

// What was seen that bears on a setting; empty where nothing is looked at.
std::string factFor(std::string_view slug, const Facts& facts, ChromaSampling sampling) {
  if (slug == "smooth-bg") return formattedText("the screen's light varies by %.0f %%", facts.unevenness);
  if (slug == "clip-black") return formattedText("the screen's noise is %.1f levels", facts.noise);
  if (slug == "clip-white") {
    return formattedText("solid subject fills %.0f %% and outlines %.1f %% of the picture",
                         shareOf(facts, Region::Core), shareOf(facts, Region::Edge));
  }
  if (slug == "despill-white") {
    return formattedText("what shines through or is pale green fills %.1f %% of the picture",
                         shareOf(facts, Region::Veil));
  }
  if (slug == "deblocking") return samplingName(sampling);
  if (slug == "skin-hue" || slug == "despill-skin") return angleFact(facts.skinAngle, "yellow");
  if (slug == "blue-hue" || slug == "despill-blue") return angleFact(facts.blueAngle, "blue");
  if (slug == "screen-gain")
    return formattedText("the screen fills %.0f %% of the picture", shareOf(facts, Region::Screen));
  if (slug == "edge-contract" || slug == "edge-blur") {
    return formattedText("outlines fill %.1f %% of the picture", shareOf(facts, Region::Edge));
  }
  return {};
}

std::string shadowReason(const Facts& facts) {
  const double share = shareOf(facts, Region::Shade);
  if (share < 0.1) return "no shadow on the screen was seen";
  return formattedText("%.1f %% of the picture is screen under less light, kept as a shadow; lower values lighten it",
                       share);
}

class Reasoner {
 public:
  Reasoner(const Proposal& proposal, const Grounds& grounds, Trials& trials)
      : proposal_(proposal), grounds_(grounds), trials_(trials), facts_(factsOf(trials, proposal.settings.keyColor)) {}

  std::string sentence(const Parameter& p) const {
    if (p.kind == ParameterKind::Color) return grounds_.colorReason;
    if (p.slug == "shadow") return shadowReason(facts_);
    if (p.toggle != 0) return sliderSentence(p);
    const std::string fact = factFor(p.slug, facts_, grounds_.sampling);
    return fact.empty() ? comparison(p) : fact + "; " + comparison(p);
  }

 private:
  std::string sliderSentence(const Parameter& p) const {
    const Parameter& toggle = *findParameter(p.toggle);
    if (proposal_.settings.*toggle.value == 0) return "counts only while " + std::string(toggle.slug) + " is on";
    return comparison(p);
  }
  std::string comparison(const Parameter& p) const {
    if (proposal_.settings.*p.value == p.defaultValue) {
      const int found = grounds_.found.*p.value;
      return found == p.defaultValue ? "no other value brings the trial keys nearer"
                                     : valueText(p, found) + " was found and left out";
    }
    KeySettings without = proposal_.settings;
    without.*p.value = p.defaultValue;
    return formattedText("trial keys are off by %.2f levels, by %.2f at the default", proposal_.error,
                         trials_.cost(without));
  }

  const Proposal& proposal_;
  const Grounds& grounds_;
  Trials& trials_;
  Facts facts_;
};

}  // namespace

std::vector<Reason> reasonsFor(const Proposal& proposal, const Grounds& grounds, Trials& trials) {
  const Reasoner reasoner(proposal, grounds, trials);
  std::vector<Reason> reasons;
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group || isView(p) || p.ofClip) continue;
    reasons.push_back({p.slug, reasoner.sentence(p)});
  }
  return reasons;
}

}  // namespace kalvetra
