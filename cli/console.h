// What the command says while it works. All of it goes to stderr.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kalvetra {

// One line, headed by the program's name.
void note(const std::string& sentence);

// "1 frame", "2 frames".
std::string counted(std::int64_t number, const std::string& noun);

// Frames done, speed and time left: a bar on a terminal, a plain line every few seconds elsewhere.
class Progress {
 public:
  explicit Progress(std::int64_t expectedFrames);  // 0 when unknown
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void advance();
  void clear();
  std::int64_t frames() const { return frames_; }
  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;
  void show();

  std::int64_t expected_;
  std::int64_t frames_ = 0;
  bool onTerminal_;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point lastShown_ = start_;
};

}  // namespace kalvetra
