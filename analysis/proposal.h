// Proposes every key setting for a clip from a few of its pictures.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/backdrop_color.h"
#include "analysis/trial_picture.h"
#include "engine/key_settings.h"

namespace kalvetra {

// How densely a clip's chroma was sampled before it became RGB.
enum class ChromaSampling {
  Full,     // RGB and 4:4:4
  Half,     // 4:2:2
  Quarter,  // 4:2:0, 4:1:1
};

// Why a setting is what it is.
struct Reason {
  std::string_view slug;  // of the parameter table
  std::string sentence;
};

struct Proposal {
  KeySettings settings;
  std::vector<Reason> reasons;       // one for each setting but the view, in the table's order
  std::vector<std::string> leftOut;  // what was found but would do harm, or is not sure, a sentence each
  // Mean error of the trial keys in levels (0..255), see Trials::cost; with the same key colour and plate.
  double errorAtDefaults;
  double error;
};

class SettingsProposer {
 public:
  explicit SettingsProposer(ChromaSampling sampling) : sampling_(sampling) {}

  // A picture in host order (alpha, red, green, blue), packed, and what it will be keyed against; null: its own fitted
  // plate where that is wanted and sure, otherwise the engine's estimate. Up to 16 copies are kept, evenly spread over
  // what was added; see trialPicture.
  void add(const unsigned char* argb, int width, int height, std::shared_ptr<const Plate> plate = nullptr);

  // The plain key: `start` on the plate that it chooses, with a measured clip black; and those further settings that
  // clearly bring the keys of two of the pictures nearer to their reference mattes and do no harm. The same pictures in
  // the same order give the same proposal. For the key colour of `start` where that is `named`, whatever the pictures
  // show; otherwise for the backdrop's, and nothing when they show none. `missed` as in BackdropFinder::find. Runs on
  // all threads that oneTBB has.
  std::optional<Proposal> propose(const KeySettings& start, bool named, std::string* missed = nullptr) const;

 private:
  std::vector<TrialPicture> choose(const KeySettings& plain, bool blue) const;
  Proposal proposeFor(KeySettings plain, const std::string& colorReason) const;

  ChromaSampling sampling_;
  BackdropFinder finder_;
  std::vector<TrialPicture> pictures_;  // every `stride_`th that was added
  std::size_t added_ = 0, stride_ = 1;
};

}  // namespace kalvetra
