#include "analysis/proposal.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "analysis/at_once.h"
#include "analysis/proposal_reasons.h"
#include "analysis/search.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostPictures = 16;
constexpr int kOwnEstimate = 0, kFit = 1;  // of KeySettings::plate

bool isSure(const TrialPicture& picture) { return picture.fitted.sure; }

}  // namespace

void SettingsProposer::add(const unsigned char* argb, int width, int height, std::shared_ptr<const Plate> plate) {
  finder_.add(argb, width, height);
  if (added_++ % stride_ != 0) return;
  if (pictures_.size() == kMostPictures) {  // from now on half as dense
    for (std::size_t i = 1; i < kMostPictures / 2; ++i) pictures_[i] = std::move(pictures_[2 * i]);
    pictures_.resize(kMostPictures / 2);
    stride_ *= 2;
  }
  pictures_.push_back(trialPicture(argb, width, height, std::move(plate)));
}

// Of the pictures, the one a quarter and the one three quarters through, but for one that shows hardly any screen while
// the other does.
std::vector<TrialPicture> SettingsProposer::choose(const KeySettings& plain, bool blue) const {
  std::vector<TrialPicture> chosen{pictures_[pictures_.size() / 4]};
  if (pictures_.size() > 1) chosen.push_back(pictures_[pictures_.size() * 3 / 4]);
  atOnce(chosen.size(), [&](std::size_t i) {
    TrialPicture& p = chosen[i];
    if (blue) p = withSwappedColors(std::move(p));
    p.fitted = fitPlate(p.frame(), plain);
    if (!p.plate && plain.plate == kFit && p.fitted.sure) p.plate = std::make_shared<Plate>(p.fitted.plate);
  });
  if (std::any_of(chosen.begin(), chosen.end(), isSure)) std::erase_if(chosen, std::not_fn(isSure));
  return chosen;
}

Proposal SettingsProposer::proposeFor(KeySettings plain, const std::string& colorReason) const {
  const bool blue = plain.screen != 0;
  if (blue) plain = withSwappedColors(plain);
  const std::vector<TrialPicture> pictures = choose(plain, blue);
  const bool sure = isSure(pictures.front());
  if (plain.plate == kFit && !sure) plain.plate = kOwnEstimate;
  const MeasuredClip clip = measureClipBlack(pictures, plain);
  Proposal proposal{plain, {}, {}, 0.0, 0.0};
  proposal.settings.clipBlack = clip.clipBlack;
  Grounds grounds{colorReason, clip.why, sampling_, nullptr};
  std::optional<Trials> trials;
  if (clip.sure && sure) {
    trials = makeTrials(pictures, proposal.settings);
    Found found = searchSettings(*trials);
    proposal = {found.settings, {}, std::move(found.leftOut), trials->cost(plain), trials->cost(found.settings)};
    grounds.trials = &*trials;
  } else {
    const std::string kept = clip.sure ? "the key colour and a measured clip-black" : "the key colour";
    proposal.leftOut = {"all but " + kept + " is left out: " + (sure ? clip.why : pictures.front().fitted.why)};
  }
  proposal.reasons = reasonsFor(proposal, grounds);
  if (blue) proposal.settings = withSwappedColors(proposal.settings);
  return proposal;
}

std::optional<Proposal> SettingsProposer::propose(const KeySettings& start, bool named, std::string* missed) const {
  if (pictures_.empty()) return std::nullopt;
  if (named) return proposeFor(start, "it was named");
  const std::optional<BackdropColor> backdrop = finder_.find(missed);
  if (!backdrop) return std::nullopt;
  KeySettings settings = start;
  setValue(settings, *findParameter("key-color"), colorOf({backdrop->red, backdrop->green, backdrop->blue}));
  settings.screen = backdrop->screen;
  return proposeFor(settings, backdrop->reason.substr(0, backdrop->reason.size() - 1));
}

}  // namespace kalvetra
