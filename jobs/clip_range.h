// Which part of a clip is worked on.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/picture.h"

namespace kalvetra {

// A place in a clip: a time in seconds, or the number of a picture, from 0.
struct Position {
  bool isFrame = false;
  double seconds = 0.0;
  std::int64_t frame = 0;
};

// Reads "2.5" and "1:02:03.5" as times, "75f" as a picture. Nothing for any other text, and beyond 1000 hours.
std::optional<Position> parsePosition(const std::string& text);

// For people: "2.5 s", "frame 75".
std::string textOf(const Position& position);
std::string secondsText(double seconds);

struct ClipRange {
  std::optional<Position> start;  // the first picture shown at that time or later
  std::optional<Position> end;    // the first picture not worked on any more
  std::int64_t frames = 0;        // at most so many pictures; 0: all

  // True when it holds nothing, whatever the clip.
  bool isEmpty() const;
  bool isWhole() const { return !start && !end && frames == 0; }
  // True when a picture of that number and time, in seconds, lies before the range, or after it.
  bool isBefore(std::int64_t number, double seconds) const;
  bool isAfter(std::int64_t number, double seconds, std::int64_t taken) const;
  // How many of a clip's pictures the range holds, by its nominal rate; 0 when `all`, the clip's number, is 0.
  std::int64_t expectedFrames(std::int64_t all, AVRational rate) const;
  // Number of the first picture by the clip's nominal rate.
  std::int64_t firstFrame(AVRational rate) const;
};

}  // namespace kalvetra
