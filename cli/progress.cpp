#include "cli/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/console.h"

namespace kalvetra {

namespace {

constexpr double kBarInterval = 0.1, kLineInterval = 5.0, kJsonInterval = 0.5;  // seconds
constexpr int kBarWidth = 30;

double interval(ProgressKind kind) {
  return kind == ProgressKind::Bar ? kBarInterval : kind == ProgressKind::Json ? kJsonInterval : kLineInterval;
}

std::string clockTime(double seconds) {
  const long whole = std::lround(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

}  // namespace

ProgressKind usualProgress() { return isatty(STDERR_FILENO) != 0 ? ProgressKind::Bar : ProgressKind::Plain; }

Progress::Progress(std::int64_t expectedFrames, ProgressKind kind, std::int64_t doneBefore)
    : expected_(expectedFrames), doneBefore_(doneBefore), kind_(kind) {}

double Progress::seconds() const {
  return std::chrono::duration<double>((ended_ ? end_ : Clock::now()) - start_).count();
}

void Progress::advance() {
  ++frames_;
  if (doneBefore_ + frames_ > expected_) expected_ = 0;  // the clip holds more than it says
  const auto now = Clock::now();
  if (kind_ == ProgressKind::None || std::chrono::duration<double>(now - lastShown_).count() < interval(kind_)) return;
  lastShown_ = now;
  show();
}

double Progress::secondsLeft(double fps) const {
  return static_cast<double>(std::max<std::int64_t>(expected_ - doneBefore_ - frames_, 0)) / std::max(fps, 1e-3);
}

std::string Progress::text(double fps) const {
  char text[160];
  const auto done = static_cast<long long>(doneBefore_ + frames_);
  if (expected_ > 0) {
    std::snprintf(text, sizeof text, "%lld of %lld frames, %.1f fps, %s left", done, static_cast<long long>(expected_),
                  fps, clockTime(secondsLeft(fps)).c_str());
  } else {
    std::snprintf(text, sizeof text, "%lld frames, %.1f fps", done, fps);
  }
  return text;
}

void Progress::showJson(double fps) const {
  const auto done = static_cast<long long>(doneBefore_ + frames_);
  if (expected_ > 0) {
    std::fprintf(stderr, "{\"frame\":%lld,\"frames\":%lld,\"fps\":%.1f,\"seconds_left\":%.1f}\n", done,
                 static_cast<long long>(expected_), fps, secondsLeft(fps));
  } else {
    std::fprintf(stderr, "{\"frame\":%lld,\"frames\":null,\"fps\":%.1f,\"seconds_left\":null}\n", done, fps);
  }
}

void Progress::show() {
  const double fps = static_cast<double>(frames_) / std::max(seconds(), 1e-3);
  if (kind_ == ProgressKind::Json) {
    showJson(fps);
  } else if (kind_ == ProgressKind::Plain) {
    note(text(fps));
  } else {
    std::string bar;
    if (expected_ > 0) {
      const auto filled = static_cast<std::size_t>(std::min(doneBefore_ + frames_, expected_) * kBarWidth / expected_);
      bar = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] ";
    }
    std::fprintf(stderr, "\r\033[K%s%s", bar.c_str(), text(fps).c_str());
    std::fflush(stderr);
    shown_ = true;
  }
}

void Progress::end() {
  if (ended_) return;
  end_ = Clock::now();
  ended_ = true;
  if (kind_ == ProgressKind::Json && frames_ > 0) show();
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void LookProgress::show(std::size_t done, std::size_t all) {
  if (kind_ != ProgressKind::Bar && kind_ != ProgressKind::Plain) return;
  const auto now = Clock::now();
  if (std::chrono::duration<double>(now - lastShown_).count() < interval(kind_)) return;
  lastShown_ = now;
  const std::string text = "looked at " + std::to_string(done) + " of " + std::to_string(all) + " pictures";
  if (kind_ == ProgressKind::Plain) {
    note(text);
  } else {
    std::fprintf(stderr, "\r\033[K%s", text.c_str());
    std::fflush(stderr);
    shown_ = true;
  }
}

void LookProgress::end() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
  shown_ = false;
}

}  // namespace kalvetra
