// What the user sees while frames are being worked on.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kalvetra {

enum class ProgressKind {
  Bar,    // one line that is drawn over and over
  Plain,  // a line every few seconds
  Json,   // an object a line, for other programs
  None,
};

// A bar on a terminal, plain lines elsewhere.
ProgressKind usualProgress();

// Frames done, speed and time left, on stderr.
//
// Json: {"frame":120,"frames":900,"fps":31.2,"seconds_left":25.0}; `frames` and `seconds_left` are null where the
// clip's length is not known.
class Progress {
 public:
  // `expectedFrames` is 0 when unknown; `doneBefore` of them were done by an earlier run.
  explicit Progress(std::int64_t expectedFrames, ProgressKind kind = usualProgress(), std::int64_t doneBefore = 0);
  ~Progress() { end(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void advance();
  // Nothing is shown after it.
  void end();
  std::int64_t frames() const { return frames_; }  // by this run
  double seconds() const;                          // until the end

 private:
  using Clock = std::chrono::steady_clock;
  void show();
  void showJson(double fps) const;
  std::string text(double fps) const;
  double secondsLeft(double fps) const;

  std::int64_t expected_, doneBefore_;
  std::int64_t frames_ = 0;
  ProgressKind kind_;
  bool shown_ = false;
  bool ended_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point lastShown_ = start_;
  Clock::time_point end_{};
};

// Pictures of a clip that are looked at before it is keyed. Other programs are told nothing of them.
class LookProgress {
 public:
  explicit LookProgress(ProgressKind kind) : kind_(kind) {}
  ~LookProgress() { end(); }
  LookProgress(const LookProgress&) = delete;
  LookProgress& operator=(const LookProgress&) = delete;

  void show(std::size_t done, std::size_t all);
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  ProgressKind kind_;
  bool shown_ = false;
  Clock::time_point lastShown_ = Clock::now();
};

}  // namespace kalvetra
