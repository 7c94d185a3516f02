#include "analysis/proposal_reasons.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "analysis/formatted_text.h"
#include "analysis/search.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

constexpr double kLeastChroma = 15.0;  // of a subject's colour, for its hue to count
constexpr double kNearest = 0.02;      // share of the subject that may be nearer than what is called the nearest

// What the reference mattes say about the clip. Shares are percentages of the picture.
struct Facts {
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
  Reasoner(const Proposal& proposal, const Grounds& grounds)
      : proposal_(proposal), grounds_(grounds), facts_(factsOf(*grounds.trials, proposal.settings.keyColor)) {}

  std::string sentence(const Parameter& p) const {
    if (p.slug == "shadow") return shadowReason(facts_);
    if (p.slug == "clip-black") return grounds_.clipReason;
    if (p.toggle != 0) {
      const Parameter& toggle = *findParameter(p.toggle);
      if (proposal_.settings.*toggle.value == 0) return "counts only while " + std::string(toggle.slug) + " is on";
    }
    const std::string fact = factFor(p.slug, facts_, grounds_.sampling);
    return fact.empty() ? comparison(p) : fact + "; " + comparison(p);
  }

 private:
  std::string comparison(const Parameter& p) const {
    if (!isTried(p.value)) return "not tried: the default was right more often than trials";
    if (proposal_.settings.*p.value == p.defaultValue) {
      const std::string start = std::string(p.slug) + " ";
      const bool refused = std::any_of(proposal_.leftOut.begin(), proposal_.leftOut.end(),
                                       [&](const std::string& s) { return s.rfind(start, 0) == 0; });
      return refused ? "what was found would do harm" : "no other value brings the trial keys clearly nearer";
    }
    KeySettings without = proposal_.settings;
    without.*p.value = p.defaultValue;
    return formattedText("trial keys are off by %.2f levels, by %.2f at the default", proposal_.error,
                         grounds_.trials->cost(without));
  }

  const Proposal& proposal_;
  const Grounds& grounds_;
  Facts facts_;
};

// Where nothing could be tried.
std::string plainSentence(const Parameter& p, const Grounds& grounds) {
  return p.slug == "clip-black" ? grounds.clipReason : "nothing was tried, as the backdrop is not sure";
}

}  // namespace

std::vector<Reason> reasonsFor(const Proposal& proposal, const Grounds& grounds) {
  std::optional<Reasoner> reasoner;
  if (grounds.trials != nullptr) reasoner.emplace(proposal, grounds);
  std::vector<Reason> reasons;
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group || isView(p) || p.ofClip) continue;
    const std::string sentence = p.kind == ParameterKind::Color ? grounds.colorReason
                                 : reasoner                     ? reasoner->sentence(p)
                                                                : plainSentence(p, grounds);
    reasons.push_back({p.slug, sentence});
  }
  return reasons;
}

}  // namespace kalvetra
