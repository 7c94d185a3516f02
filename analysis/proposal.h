// Proposes every key setting for a clip from a few of its pictures.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/backdrop_color.h"
#include "analysis/trials.h"
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
  std::vector<std::string> leftOut;  // what was found but would do harm, a sentence each; see proposal_guard.h
  // Mean error of the trial keys in levels (0..255), see Trials::cost; with the same key colour.
  double errorAtDefaults;
  double error;
};

class SettingsProposer {
 public:
  explicit SettingsProposer(ChromaSampling sampling) : sampling_(sampling) {}

  // A picture in host order (alpha, red, green, blue), packed. Up to 16 copies are kept, evenly spread over what was
  // added; of a picture with more than 2,200,000 pixels only every second or third pixel of every second or third row.
  void add(const unsigned char* argb, int width, int height);

  // The settings under which the engine's keys of two of the pictures come nearest to their reference mattes, without
  // what would do harm; the same pictures in the same order give the same proposal. For the key colour `named`,
  // 0xrrggbb, whatever the pictures show; without it for the backdrop's, and nothing when they show none.
  // `missed` as in BackdropFinder::find. Runs on all threads that oneTBB has.
  std::optional<Proposal> propose(std::optional<int> named = {}, std::string* missed = nullptr) const;

 private:
  struct Picture {
    std::vector<unsigned char> argb;
    int width, height;
  };
  void keep(const unsigned char* argb, int width, int height);
  Trials makeTrials(int color) const;
  Proposal proposeFor(int color, const std::string& colorReason) const;

  ChromaSampling sampling_;
  BackdropFinder finder_;
  std::vector<Picture> pictures_;  // every `stride_`th that was added
  std::size_t added_ = 0, stride_ = 1;
};

}  // namespace kalvetra
