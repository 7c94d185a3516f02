#include "preview/clip/backgrounds.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr KeyingChoice kAsShown{FieldChoice::Off, false};  // a background is not keyed
constexpr std::size_t kKept = std::size_t{64} << 20;       // bytes of a background's pictures

// Seconds from the first picture to that one. By the rate as long as the index is not made, and for clips without a
// reliable one.
double secondsOf(std::int64_t number, const ClipFrames& clip) {
  const std::shared_ptr<const PictureIndex> index = clip.index();
  const auto place = static_cast<std::size_t>(number);
  if (!index || !index->reliable || place >= index->times.size()) {
    return static_cast<double>(number) / av_q2d(clip.format().frameRate);
  }
  return static_cast<double>(index->times[place] - index->times.front()) * av_q2d(clip.format().timeBase);
}

// The picture shown so many seconds after the first one; after the last one's end that one.
std::int64_t shownAt(double seconds, ClipFrames& file, const Abandon& abandoned) {
  const std::int64_t count = file.count(abandoned);
  const std::shared_ptr<const PictureIndex> index = file.index();
  const double reached = seconds + kBackgroundSlack;
  if (!index || !index->reliable) {
    return std::min(static_cast<std::int64_t>(reached * av_q2d(file.format().frameRate)), count - 1);
  }
  const auto isAfter = [&](double at, std::int64_t time) {
    return at < static_cast<double>(time - index->times.front()) * av_q2d(file.format().timeBase);
  };
  return std::upper_bound(index->times.begin(), index->times.end(), reached, isAfter) - index->times.begin() - 1;
}

}  // namespace

// Call it with the mutex held.
Backgrounds::Entry& Backgrounds::entry(const OverAndDeep& key) {
  if (Entry* known = entries_.find(key)) return *known;
  const auto& [over, deep] = key;
  Entry fresh;
  SourceOptions options;
  options.sequenceRate = clip_.format().frameRate;
  if (over.starts_with('#')) {
    fresh.picture = Background(over, clip_.format(), OverEnd::Hold, 1, stop_, deep).at(0);
  } else {
    fresh.file = std::make_shared<ClipFrames>(over, options, threads_, stop_, kAsShown, kKept);
  }
  return entries_.add(key, std::move(fresh));
}

std::shared_ptr<const Image> Backgrounds::at(std::int64_t number, const std::string& over, const Abandon& abandoned,
                                             bool deep) {
  std::shared_ptr<ClipFrames> file;
  {
    const std::lock_guard lock(mutex_);
    const Entry& known = entry({over, deep});
    if (!known.file) return known.picture;
    file = known.file;
  }
  const std::int64_t wanted = shownAt(secondsOf(number, clip_), *file, abandoned);
  {
    const std::lock_guard lock(mutex_);
    if (const Entry& known = entry({over, deep}); known.number == wanted) return known.picture;
  }
  auto picture = std::make_shared<const Image>(
      fittedTo(clip_.format(), file->format(), CompanionClip::Fit::Cover, *file->picture(wanted, abandoned, deep)));
  const std::lock_guard lock(mutex_);
  Entry& made = entry({over, deep});
  made.number = wanted;
  return made.picture = picture;
}

}  // namespace kalvetra
