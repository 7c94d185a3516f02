#include "preview/clip/plate_cache.h"

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

PlateCache::Wish PlateCache::wishOf(const AnimatedSettings& settings) {
  Wish wish;
  for (const char* slug : {"key-color", "screen", "plate"}) {
    const Curve curve = settings.curve(*findParameter(slug));
    wish.push_back(static_cast<std::int64_t>(curve.size()));
    for (const Keyframe& k : curve) wish.insert(wish.end(), {k.frame, k.value});
  }
  return wish;
}

PlateCache::Turn PlateCache::takeTurn(const Abandon& abandoned) {
  Turn turn(looking_, std::defer_lock);
  while (!turn.try_lock_for(kGlance)) {
    if (stop_ || (abandoned && abandoned())) throw Interrupted();
  }
  return turn;
}

ClipPictures& PlateCache::pictures() {
  if (!pictures_) pictures_.emplace(job_.input, job_.source, job_.keying, job_.threads, stop_, clip_.index());
  return *pictures_;
}

std::optional<std::shared_ptr<const ClipPlates>> PlateCache::known(const Wish& wish) {
  const std::lock_guard lock(mutex_);
  const auto* plates = plates_.find(wish);
  return plates != nullptr ? std::optional(*plates) : std::nullopt;
}

void PlateCache::keep(const AnimatedSettings& settings, const std::shared_ptr<const ClipPlates>& plates) {
  const std::lock_guard lock(mutex_);
  plates_.add(wishOf(settings), plates);
}

std::shared_ptr<const ClipPlates> PlateCache::of(const AnimatedSettings& settings, const Abandon& abandoned) {
  if (!needsPlates(settings)) return nullptr;
  const Wish wish = wishOf(settings);
  if (const auto plates = known(wish)) return *plates;
  return overtaken(stop_, [&] {
    const Turn turn = takeTurn(abandoned);
    if (const auto plates = known(wish)) return *plates;
    const FoundPlates found = findPlates(pictures(), settings, job_.cleanPlate, abandoned);
    keep(settings, found.plates);
    return found.plates;
  });
}

UsualKey PlateCache::usual(const AnimatedSettings& settings, const UsualChoice& choice, const Abandon& abandoned) {
  return overtaken(stop_, [&] {
    const Turn turn = takeTurn(abandoned);
    UsualKey key = usualKey(pictures(), settings, choice, job_.cleanPlate, abandoned);
    if (needsPlates(key.settings)) keep(key.settings, key.found.plates);
    key.found.samples.clear();
    return key;
  });
}

}  // namespace kalvetra
