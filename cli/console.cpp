#include "cli/console.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kalvetra {

namespace {

constexpr double kBarInterval = 0.1, kLineInterval = 5.0;  // seconds
constexpr int kBarWidth = 30;

std::string clockTime(double seconds) {
  const long whole = std::lround(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

}  // namespace

void note(const std::string& sentence) { std::fprintf(stderr, "kalvetra: %s\n", sentence.c_str()); }

std::string counted(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

Progress::Progress(std::int64_t expectedFrames) : expected_(expectedFrames), onTerminal_(isatty(STDERR_FILENO) != 0) {}

double Progress::seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

void Progress::advance() {
  ++frames_;
  const auto now = Clock::now();
  const double interval = onTerminal_ ? kBarInterval : kLineInterval;
  if (std::chrono::duration<double>(now - lastShown_).count() < interval) return;
  lastShown_ = now;
  show();
}

void Progress::show() {
  const double fps = static_cast<double>(frames_) / std::max(seconds(), 1e-3);
  char text[160];
  if (expected_ > 0) {
    const double left = static_cast<double>(std::max<std::int64_t>(expected_ - frames_, 0)) / std::max(fps, 1e-3);
    std::snprintf(text, sizeof text, "%lld of %lld frames, %.1f fps, %s left", static_cast<long long>(frames_),
                  static_cast<long long>(expected_), fps, clockTime(left).c_str());
  } else {
    std::snprintf(text, sizeof text, "%lld frames, %.1f fps", static_cast<long long>(frames_), fps);
  }
  if (!onTerminal_) {
    note(text);
    return;
  }
  std::string bar;
  if (expected_ > 0) {
    const auto filled = static_cast<std::size_t>(std::min(frames_, expected_) * kBarWidth / expected_);
    bar = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] ";
  }
  std::fprintf(stderr, "\r\033[K%s%s", bar.c_str(), text);
  std::fflush(stderr);
  shown_ = true;
}

void Progress::clear() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
  shown_ = false;
}

}  // namespace kalvetra
