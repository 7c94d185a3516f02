// A picture of a clip that settings are tried on, with what is known of its backdrop.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "analysis/clip_black.h"
#include "analysis/trials.h"
#include "engine/key_settings.h"
#include "plates/fit.h"

namespace kalvetra {

struct TrialPicture {
  std::vector<unsigned char> argb;  // host order, packed
  int width, height;
  std::shared_ptr<const Plate> plate;  // that it is keyed against; null: the engine's own estimate
  FittedPlate fitted{};

  ConstFrame frame() const { return packedFrame(argb.data(), width, height); }
  std::optional<KnownPlate> known() const { return plate ? std::optional(plate->known()) : std::nullopt; }
};

// Of a packed picture in host order; of one with more than 2,200,000 pixels only every second or third pixel of every
// second or third row. Whole pixels are kept, not means of several: they have the noise that the key will meet.
TrialPicture trialPicture(const unsigned char* argb, int width, int height, std::shared_ptr<const Plate> plate);

// Green and blue swapped: a blue screen is judged as a green one.
TrialPicture withSwappedColors(TrialPicture picture);
KeySettings withSwappedColors(KeySettings settings);

MeasuredClip measureClipBlack(const std::vector<TrialPicture>& pictures, const KeySettings& settings);

// `plain` is the key that a proposal has to beat. Runs on all threads that oneTBB has.
Trials makeTrials(const std::vector<TrialPicture>& pictures, const KeySettings& plain);

}  // namespace kalvetra
