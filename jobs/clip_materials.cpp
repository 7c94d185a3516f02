#include "jobs/clip_materials.h"

#include <algorithm>
#include <vector>

#include "analysis/shot_materials.h"
#include "jobs/lent_threads.h"

namespace kalvetra {

namespace {

bool isEverOn(const AnimatedSettings& settings, const char* toggle) {
  const Curve curve = settings.curve(*findParameter(toggle));
  return std::any_of(curve.begin(), curve.end(), [](const Keyframe& k) { return k.value != 0; });
}

}  // namespace

void noteIdleRefine(const AnimatedSettings& settings, FoundPlates& found) {
  if (settings.at(0).refine == 0) return;
  if (!found.plates) {
    found.notes.emplace_back("refine does nothing here: it takes a plate, and each frame has the engine's own");
  } else if (isEverOn(settings, "edge-contract") || isEverOn(settings, "edge-blur")) {
    found.notes.emplace_back("refine does nothing where edge-contract or edge-blur is on");
  }
}

bool goesByMaterials(const AnimatedSettings& settings) { return settings.at(0).despill != 0; }

std::shared_ptr<const ClipPlates> withMaterials(ClipPictures& clip, const AnimatedSettings& settings,
                                                std::shared_ptr<const ClipPlates> plates, const IsStopped& stopped) {
  const std::unique_ptr<ClipPictures> deep = goesByMaterials(settings) ? clip.atFullDepth() : nullptr;
  if (deep == nullptr) return plates;
  const std::vector<std::int64_t> numbers = deep->spread(kMaterialFrames);
  LentThreads threads(clip.threads());
  const Workers* workers = numbers.size() == 1 ? threads.workers() : nullptr;
  std::vector<refine::MaterialGathering> seen(numbers.size());
  const auto look = [&](std::size_t i, const std::shared_ptr<const Image>& picture) {
    seen[i] = {};
    if (!picture) return;
    const std::shared_ptr<const Plate> plate = plates ? plates->at(numbers[i], *picture) : nullptr;
    const KnownPlate known = plate ? plate->known() : KnownPlate{};
    addMaterialsOf(picture->frame(), settings.at(numbers[i]),
                   {.scan = deep->keying().fields() ? Scan::Fields : Scan::Whole,
                    .workers = workers,
                    .plate = plate ? &known : nullptr},
                   seen[i]);
  };
  deep->show(numbers, deep->threads(), look, stopped);
  refine::MaterialGathering gathering;
  for (const refine::MaterialGathering& one : seen) gathering.add(one);
  const ClipPlates bare = plates ? *plates : ClipPlates(std::nullopt, std::nullopt, settings);
  return std::make_shared<const ClipPlates>(bare, std::make_shared<const refine::Materials>(gathering.gather()));
}

}  // namespace kalvetra
