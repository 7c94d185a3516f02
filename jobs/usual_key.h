// What is done with a clip of which nothing is said but its key colour: what is sure to help.
#pragma once

#include <atomic>
#include <map>
#include <string>

#include "jobs/clip_plates.h"

namespace kalvetra {

// What is to be found; all else is as the settings say.
struct UsualChoice {
  bool screen = false;     // blue where the blue of the key colour is larger than its green and red
  bool plate = false;      // a fitted plate, where one can be fitted surely
  bool clipBlack = false;  // as measured on the bare screen
};

// All that is not named, by the parameters' ids.
UsualChoice choiceBeside(const std::map<int, Curve>& named);

struct UsualKey {
  AnimatedSettings settings;
  FoundPlates found;     // the plates of these settings
  std::string sentence;  // what became of the plate and of what was to be found; empty where there is nothing to say
};

// `settings` hold the key colour and all that is named. Throws like findPlates.
UsualKey usualKey(ClipPictures& clip, const AnimatedSettings& settings, const UsualChoice& choice,
                  const std::string& cleanPlate, const IsStopped& stopped = {});

// The same for the clip of a job. Nothing is found in what can be read only once. `looked`: see ClipPictures::report().
UsualKey usualKeyFor(const KeyJob& job, const AnimatedSettings& settings, const UsualChoice& choice,
                     const std::atomic<bool>& stop, const ClipPictures::Looked& looked = {});

}  // namespace kalvetra
