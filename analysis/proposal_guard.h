// Takes out of a proposal what would do harm. The trials' cost does not see it all: it rests on an estimated matte,
// which may take a veil or a dark part of the screen for something solid, and the screen's light for the subject's own
// green. So the proposal's keys are compared with plain ones of the same pictures.
#pragma once

#include <string>
#include <vector>

#include "analysis/trials.h"

namespace kalvetra {

struct Guarded {
  KeySettings settings;
  std::vector<std::string> leftOut;  // a sentence each; empty where all of it is harmless
};

// Sets the skin hue back to 0 where it keeps the screen's light in the subject. Where the rest fills what is clear in
// the plain key, or opens holes deep inside of solids, or the pictures show hardly any screen, the plain key is all
// that remains: the defaults with the key colour and a clip black of 4, which takes the haze off bare screen and leaves
// hair and veils as they are.
Guarded withoutHarm(Trials& trials, const KeySettings& found);

}  // namespace kalvetra
