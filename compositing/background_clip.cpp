#include "compositing/background_clip.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/user_error.h"

namespace kalvetra {

BackgroundClip::BackgroundClip(const std::string& path, const PictureFormat& clip, OverEnd end, int threads,
                               const std::atomic<bool>& stop, bool deep)
    : path_(path), clip_(clip), end_(end), threads_(threads), stop_(stop) {
  if (path == kStandardInput && end == OverEnd::Loop) {
    throw UserError("a background from the standard input cannot be looped; name a file");
  }
  open();
  converter_.emplace(reader_->format().color,
                     ConversionOptions{.deep = deep, .premultiplied = reader_->isPremultiplied(deep)});
}

// From the first picture on.
void BackgroundClip::open() {
  if (reader_) {
    lost_ = std::max(lost_, reader_->lostFrames());
    damaged_ = std::max(damaged_, reader_->damagedFrames());
  }
  SourceOptions options;
  options.sequenceRate = clip_.frameRate;
  reader_ = std::make_unique<Reader>(path_, options, threads_, stop_);
  shown_ = SourceFrame();
  ahead_ = SourceFrame();
  pictures_ = 0;
  if (!reader_->next(ahead_)) throw UserError(path_ + ": no picture in it can be read; check the file");
  first_ = ahead_.time;
  ended_ = false;
  advance();
}

void BackgroundClip::advance() {
  shown_ = std::exchange(ahead_, SourceFrame());
  current_.reset();
  ++pictures_;
  ended_ = !reader_->next(ahead_);
  if (ended_) period_ = secondsOf(shown_.time + shown_.duration);
}

double BackgroundClip::secondsOf(std::int64_t time) const {
  return static_cast<double>(time - first_) * av_q2d(reader_->format().timeBase);
}

// By the time alone: a clip that is read from the middle must come to the same pass, and no rounding may ask for one
// again and again.
double BackgroundClip::passAt(double seconds) const { return std::floor((seconds + kBackgroundSlack) / period_); }

bool BackgroundClip::isOver(double seconds) const {
  return ended_ && end_ == OverEnd::Loop && pictures_ > 1 && passAt(seconds) > pass_;
}

std::shared_ptr<const Image> BackgroundClip::at(double seconds) {
  for (;;) {
    while (!ended_ && secondsOf(ahead_.time) <= seconds - pass_ * period_ + kBackgroundSlack) advance();
    if (!isOver(seconds)) break;
    pass_ = passAt(seconds);
    open();
  }
  if (!current_) {
    current_ = std::make_shared<const Image>(
        fittedTo(clip_, reader_->format(), CompanionClip::Fit::Cover, converter_->convert(*shown_.picture)));
  }
  return current_;
}

std::string BackgroundClip::damage() const {
  return reader_->describeDamage(std::max(lost_, reader_->lostFrames()), std::max(damaged_, reader_->damagedFrames()));
}

}  // namespace kalvetra
