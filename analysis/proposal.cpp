#include "analysis/proposal.h"

#include <algorithm>
#include <cmath>

#include "analysis/at_once.h"
#include "analysis/proposal_guard.h"
#include "analysis/proposal_reasons.h"
#include "analysis/search.h"
#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

constexpr std::size_t kMostPictures = 16;
constexpr double kMostPixels = 2'200'000.0;  // of a trial picture

// Levels that smoothing the chroma has to save beyond all doubt where each pixel has a chroma of its own: it is then
// no repair, only a blur.
constexpr double kDeblockPrice = 0.01;

}  // namespace

void SettingsProposer::add(const unsigned char* argb, int width, int height) {
  finder_.add(argb, width, height);
  if (added_++ % stride_ != 0) return;
  if (pictures_.size() == kMostPictures) {  // from now on half as dense
    for (std::size_t i = 1; i < kMostPictures / 2; ++i) pictures_[i] = std::move(pictures_[2 * i]);
    pictures_.resize(kMostPictures / 2);
    stride_ *= 2;
  }
  keep(argb, width, height);
}

// Whole pixels are kept, not means of several: they have the noise that the key will meet.
void SettingsProposer::keep(const unsigned char* argb, int width, int height) {
  const double pixels = static_cast<double>(width) * height;
  const int step = std::max(1, static_cast<int>(std::ceil(std::sqrt(pixels / kMostPixels))));
  Picture picture{{}, (width + step - 1) / step, (height + step - 1) / step};
  picture.argb.reserve(std::size_t{4} * static_cast<std::size_t>(picture.width) *
                       static_cast<std::size_t>(picture.height));
  for (int y = 0; y < height; y += step) {
    for (int x = 0; x < width; x += step) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * width + x) * 4;
      picture.argb.insert(picture.argb.end(), p, p + 4);
    }
  }
  pictures_.push_back(std::move(picture));
}

// Of the pictures, the one a quarter and the one three quarters through.
Trials SettingsProposer::makeTrials(int color) const {
  std::vector<const Picture*> chosen{&pictures_[pictures_.size() / 4]};
  if (pictures_.size() > 1) chosen.push_back(&pictures_[pictures_.size() * 3 / 4]);
  Rgb screen{};
  for (std::size_t c = 0; c < 3; ++c) screen[c] = static_cast<float>(colorParts(color)[c]);
  std::vector<ReferenceMatte> mattes(chosen.size());
  atOnce(chosen.size(), [&](std::size_t i) {
    mattes[i] = makeReferenceMatte(chosen[i]->argb.data(), chosen[i]->width, chosen[i]->height, screen);
  });
  Trials trials;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    trials.add(chosen[i]->argb.data(), chosen[i]->width, chosen[i]->height, std::move(mattes[i]));
  }
  return trials;
}

Proposal SettingsProposer::proposeFor(int color, const std::string& colorReason) const {
  Trials trials = makeTrials(color);
  KeySettings start = defaultSettings();
  setValue(start, *findParameter("key-color"), color);
  const double atDefaults = trials.cost(start);
  const KeySettings found = searchSettings(trials, start, sampling_ == ChromaSampling::Full ? kDeblockPrice : 0.0);
  const Guarded guarded = withoutHarm(trials, found);
  Proposal proposal{guarded.settings, {}, guarded.leftOut, atDefaults, trials.cost(guarded.settings)};
  proposal.reasons = reasonsFor(proposal, {found, colorReason, sampling_}, trials);
  return proposal;
}

std::optional<Proposal> SettingsProposer::propose(std::optional<int> named, std::string* missed) const {
  if (pictures_.empty()) return std::nullopt;
  if (named) return proposeFor(*named, "it was named");
  const std::optional<BackdropColor> backdrop = finder_.find(missed);
  if (!backdrop) return std::nullopt;
  const std::string reason = backdrop->reason.substr(0, backdrop->reason.size() - 1);
  return proposeFor(colorOf({backdrop->red, backdrop->green, backdrop->blue}), reason);
}

}  // namespace kalvetra
