#include "jobs/clip_materials.h"

#include <vector>

#include "deep/render.h"
#include "engine/KalvetraFinalCut.h"
#include "refine/despill.h"

namespace kalvetra {

namespace {

constexpr int kLooks = 5;

refine::MaterialGathering seenIn(const Image& picture, const KeySettings& settings, const Plate* plate) {
  Image keyed;
  keyed.resize(picture.width, picture.height, PixelFormat::RgbaF32);
  KnownPlate known{};
  if (plate != nullptr) known = plate->known();
  const KnownPlate* const given = plate != nullptr ? &known : nullptr;
  renderDeep(settings, picture.frame(), keyed.frame(), {.plate = given});
  refine::MaterialGathering seen;
  refine::lookAt({picture.frame(), given, settings}, keyed.frame(), seen);
  return seen;
}

}  // namespace

std::shared_ptr<const refine::Materials> materialsFor(const KeyJob& job, const AnimatedSettings& settings,
                                                      const std::shared_ptr<const ClipPlates>& plates,
                                                      const std::atomic<bool>& stop) {
  if (settings.at(0).despill == 0 || isReadOnce(job.input)) return nullptr;
  ClipPictures bytes(job.input, job.source, job.keying, job.threads, stop);
  const std::unique_ptr<ClipPictures> deep = bytes.atFullDepth();
  ClipPictures& clip = deep ? *deep : bytes;
  const std::vector<std::int64_t> numbers = clip.spread(kLooks);
  std::vector<refine::MaterialGathering> seen(numbers.size());
  const auto see = [&](std::size_t i, const std::shared_ptr<const Image>& picture) {
    seen[i] = {};
    if (!picture) return;
    KeySettings shown = settings.at(numbers[i]);
    shown.view = kKalvetraViewResult;
    const std::shared_ptr<const Plate> plate = plates ? plates->at(numbers[i], *picture) : nullptr;
    seen[i] = seenIn(*picture, shown, plate.get());
  };
  clip.show(numbers, clip.threads(), see, {});
  refine::MaterialGathering all;
  for (const refine::MaterialGathering& one : seen) all.add(one);
  return std::make_shared<const refine::Materials>(all.gather());
}

}  // namespace kalvetra
