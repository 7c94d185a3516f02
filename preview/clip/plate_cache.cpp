#include "preview/clip/plate_cache.h"

#include "jobs/clip_materials.h"
#include "support/interrupted.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::chrono::milliseconds kGlance{20};

// What ends for a newer request is no interruption of the program.
template <class Work>
auto overtaken(const std::atomic<bool>& stop, const Work& work) {
  try {
    return work();
  } catch (const Interrupted&) {
    if (stop) throw;
    throw Conflict("the request was overtaken by a newer one");
  }
}

bool needsPlates(const AnimatedSettings& settings) {
  return static_cast<PlateKind>(settings.at(0).plate) != PlateKind::Own && keysAgainstPlates(settings);
}

}  // namespace

PlateCache::Wish PlateCache::wishOf(const AnimatedSettings& settings, bool deep) {
  Wish wish{deep ? 1 : 0};
  for (const char* slug : {"key-color", "screen", "plate"}) {
    const Curve curve = settings.curve(*findParameter(slug));
    wish.push_back(static_cast<std::int64_t>(curve.size()));
    for (const Keyframe& k : curve) wish.insert(wish.end(), {k.frame, k.value});
  }
  return wish;
}

// Materials depend on all that plates do, and on whether there are any plates.
PlateCache::Wish PlateCache::withMaterialsOf(const AnimatedSettings& settings, Wish wish) {
  for (const Keyframe& k : settings.curve(*findParameter("smooth-bg"))) wish.insert(wish.end(), {k.frame, k.value});
  wish.push_back(-1);  // no frame's number
  return wish;
}

PlateCache::Turn PlateCache::takeTurn(const Abandon& abandoned) {
  Turn turn(looking_, std::defer_lock);
  while (!turn.try_lock_for(kGlance)) {
    if (stop_ || (abandoned && abandoned())) throw Interrupted();
  }
  return turn;
}

ClipPictures& PlateCache::pictures(bool deep) {
  auto& pictures = pictures_[deep ? 1 : 0];
  KeyingChoice choice = job_.keying;
  choice.depth = deep ? DepthChoice::Deep : DepthChoice::Eight;
  if (!pictures) pictures.emplace(job_.input, job_.source, choice, job_.threads, stop_, clip_.index());
  return *pictures;
}

std::optional<std::shared_ptr<const ClipPlates>> PlateCache::known(const Wish& wish) {
  const std::lock_guard lock(mutex_);
  const auto* plates = plates_.find(wish);
  return plates != nullptr ? std::optional(*plates) : std::nullopt;
}

void PlateCache::keep(const Wish& wish, const std::shared_ptr<const ClipPlates>& plates) {
  const std::lock_guard lock(mutex_);
  plates_.add(wish, plates);
}

std::shared_ptr<const ClipPlates> PlateCache::of(const AnimatedSettings& settings, bool deep,
                                                 const Abandon& abandoned) {
  const bool byMaterials = deep && goesByMaterials(settings);
  if (!needsPlates(settings) && !byMaterials) return nullptr;
  const Wish bare = wishOf(settings, deep), wish = byMaterials ? withMaterialsOf(settings, bare) : bare;
  if (const auto plates = known(wish)) return *plates;
  return overtaken(stop_, [&] {
    const Turn turn = takeTurn(abandoned);
    if (const auto plates = known(wish)) return *plates;
    std::shared_ptr<const ClipPlates> plates;
    if (needsPlates(settings)) {
      const auto found = known(bare);
      plates = found ? *found : findPlates(pictures(deep), settings, job_.cleanPlate, abandoned).plates;
      keep(bare, plates);
    }
    if (byMaterials) keep(wish, plates = withMaterials(pictures(deep), settings, plates, abandoned));
    return plates;
  });
}

UsualKey PlateCache::usual(const AnimatedSettings& settings, bool deep, const UsualChoice& choice,
                           const Abandon& abandoned) {
  return overtaken(stop_, [&] {
    const Turn turn = takeTurn(abandoned);
    UsualKey key = usualKey(pictures(deep), settings, choice, job_.cleanPlate, abandoned);
    const Wish bare = wishOf(key.settings, deep);
    if (deep && goesByMaterials(key.settings)) {
      keep(withMaterialsOf(key.settings, bare), key.found.plates);
    } else if (needsPlates(key.settings)) {
      keep(bare, key.found.plates);
    }
    key.found.samples.clear();
    return key;
  });
}

}  // namespace kalvetra
