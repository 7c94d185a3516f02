#include "preview/backgrounds.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr KeyingChoice kAsShown{FieldChoice::Off, false};  // a background is not keyed
constexpr std::size_t kKept = std::size_t{64} << 20;       // bytes of a background's pictures

}  // namespace

// Call it with the mutex held.
Backgrounds::Entry& Backgrounds::entry(const std::string& over) {
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.over == over; });
  if (found != entries_.end()) {
    entries_.splice(entries_.begin(), entries_, found);
    return entries_.front();
  }
  Entry fresh{over, nullptr, -1, nullptr};
  if (over.starts_with('#')) {
    fresh.picture = Background(over, clip_.format(), 1, stop_).next();
  } else {
    fresh.file = std::make_shared<ClipFrames>(over, SourceOptions(), threads_, stop_, kAsShown, kKept);
  }
  entries_.push_front(std::move(fresh));
  if (entries_.size() > kMost) entries_.pop_back();
  return entries_.front();
}

std::shared_ptr<const Image> Backgrounds::at(std::int64_t number, const std::string& over, const Abandon& abandoned) {
  std::shared_ptr<ClipFrames> file;
  std::int64_t wanted = 0;
  {
    const std::lock_guard lock(mutex_);
    const Entry& known = entry(over);
    if (known.file) wanted = std::min(number, known.file->count() - 1);  // behind its end its last picture stays
    if (!known.file || known.number == wanted) return known.picture;
    file = known.file;
  }
  auto picture = std::make_shared<const Image>(
      fittedTo(clip_.format(), file->format(), CompanionClip::Fit::Cover, *file->picture(wanted, abandoned)));
  const std::lock_guard lock(mutex_);
  Entry& made = entry(over);
  made.number = wanted;
  made.picture = picture;
  return picture;
}

}  // namespace kalvetra
