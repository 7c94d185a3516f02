// What is found out about a clip once to key its frames: the backdrop, frame by frame, to key against in place of the
// engine's own estimate, and the materials of what stands before it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jobs/clip_pictures.h"
#include "jobs/frame_keyer.h"
#include "jobs/key_job.h"
#include "parameters/animated_settings.h"
#include "plates/fit.h"
#include "plates/follow.h"

namespace kalvetra {

// The values of KeySettings::plate; Own is what the engine finds in each frame.
enum class PlateKind { Own, Fit, Shot, Clean };

// Not changed once made: from any thread, for frames in any order.
class ClipPlates {
 public:
  // `deep` are the plates of deep pictures; without them they are keyed against the others. No row: the engine's own.
  ClipPlates(std::optional<PlateRow> row, std::optional<PlateRow> deep, AnimatedSettings settings)
      : row_(std::move(row)), deep_(std::move(deep)), settings_(std::move(settings)) {}
  // The same plates, with materials.
  ClipPlates(const ClipPlates& plates, std::shared_ptr<const refine::Materials> materials)
      : row_(plates.row_), deep_(plates.deep_), settings_(plates.settings_), materials_(std::move(materials)) {}

  // What the frame is keyed against; null: the engine's own estimate. `picture` is the whole frame as the keyer gets
  // it. A frame that looks like none of those that the plates were made of gets a fit of its own, where that is sure.
  std::shared_ptr<const Plate> at(std::int64_t number, const Image& picture) const;
  // Null: of each frame those that it shows.
  const std::shared_ptr<const refine::Materials>& materials() const { return materials_; }

 private:
  const std::optional<PlateRow> row_;
  const std::optional<PlateRow> deep_;
  const AnimatedSettings settings_;
  const std::shared_ptr<const refine::Materials> materials_;
};

// For a FrameKeyer: what is known of that frame; of no plates, nothing.
inline ClipKnowledge knownOf(std::shared_ptr<const ClipPlates> plates, std::int64_t number) {
  if (plates == nullptr) return {};
  std::shared_ptr<const refine::Materials> materials = plates->materials();
  return {[plates = std::move(plates), number](const Image& picture) { return plates->at(number, picture); },
          std::move(materials)};
}

// A picture that was looked at, and what was fitted to it.
struct PlateSample {
  std::int64_t number;
  std::shared_ptr<const Image> picture;
  std::shared_ptr<const FittedPlate> fitted;
};

struct FoundPlates {
  std::shared_ptr<const ClipPlates> plates;  // null: the engine's own estimate for every frame
  double covered = 0.0;                      // share of the samples with a sure plate that is bare screen, 0..1
  std::string why;                           // where there are none: a sentence
  std::vector<std::string> notes;            // sentences for the user
  std::vector<PlateSample> samples;          // a few, from all over the clip
};

// A few pictures from all over the clip with their fits, for the key colour and the screen of `settings`.
std::vector<PlateSample> fitSamples(ClipPictures& clip, const AnimatedSettings& settings,
                                    const IsStopped& stopped = {});

// Looks for the plates that `settings` ask for by their plate, key colour and screen, in pictures from all over the
// clip: the same for every part of it that is keyed. `cleanPlate` is the picture, clip or numbered sequence of the bare
// set for PlateKind::Clean; where that is of no use, its refusal is thrown as a UserError. Throws like
// ClipPictures::show.
FoundPlates findPlates(ClipPictures& clip, const AnimatedSettings& settings, const std::string& cleanPlate,
                       const IsStopped& stopped = {});

// True for the standard input, named pipes and the like, which cannot be looked at before they are keyed.
bool isReadOnce(const std::string& input);
// Why such a clip has none.
inline constexpr const char* kReadOnlyOnce =
    "the input can be read only once: each frame is keyed against the plate that the engine finds in it";

// Whether any frame is keyed against a plate at all.
bool keysAgainstPlates(const AnimatedSettings& settings);

// The same for the clip of a job. What can be read only once has none, and a note says
// so.
FoundPlates platesFor(const KeyJob& job, const AnimatedSettings& settings, const std::atomic<bool>& stop);

}  // namespace kalvetra
