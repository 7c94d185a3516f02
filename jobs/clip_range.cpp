#include "jobs/clip_range.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace kalvetra {

namespace {

constexpr double kSlack = 0.001;  // seconds: Matroska rounds times to milliseconds
constexpr double kLongest = 3.6e6;

// Digits with an optional fraction, no sign and no exponent.
std::optional<double> parseDecimal(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) return std::nullopt;
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<double> parseTime(const std::string& text) {
  double total = 0.0;
  std::size_t from = 0;
  for (int part = 0; part < 3; ++part) {
    const std::size_t colon = text.find(':', from);
    const bool last = colon == std::string::npos;
    const std::optional<double> value = parseDecimal(text.substr(from, last ? colon : colon - from));
    if (!value || (part > 0 && *value >= 60.0) || (!last && *value != std::floor(*value))) return std::nullopt;
    total = total * 60.0 + *value;
    if (last) return total;
    from = colon + 1;
  }
  return std::nullopt;
}

std::int64_t frameAt(const Position& position, AVRational rate) {
  if (position.isFrame) return position.frame;
  return static_cast<std::int64_t>(std::ceil((position.seconds - kSlack) * av_q2d(rate)));
}

}  // namespace

std::optional<Position> parsePosition(const std::string& text) {
  Position position;
  if (text.ends_with('f')) {
    const char* end = text.data() + text.size() - 1;
    const auto [stop, error] = std::from_chars(text.data(), end, position.frame);
    position.isFrame = true;
    if (error != std::errc() || stop != end || position.frame < 0) return std::nullopt;
    return position;
  }
  const std::optional<double> seconds = parseTime(text);
  if (!seconds || *seconds > kLongest) return std::nullopt;
  position.seconds = *seconds;
  return position;
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g s", seconds);
  return text;
}

std::string textOf(const Position& position) {
  return position.isFrame ? "frame " + std::to_string(position.frame) : secondsText(position.seconds);
}

bool ClipRange::isEmpty() const {
  if (!start || !end || start->isFrame != end->isFrame) return false;
  return start->isFrame ? start->frame >= end->frame : start->seconds >= end->seconds;
}

bool ClipRange::isBefore(std::int64_t number, double seconds) const {
  if (!start) return false;
  return start->isFrame ? number < start->frame : seconds < start->seconds - kSlack;
}

bool ClipRange::isAfter(std::int64_t number, double seconds, std::int64_t taken) const {
  if (frames > 0 && taken >= frames) return true;
  if (!end) return false;
  return end->isFrame ? number >= end->frame : seconds >= end->seconds - kSlack;
}

std::int64_t ClipRange::firstFrame(AVRational rate) const {
  return start ? std::max<std::int64_t>(frameAt(*start, rate), 0) : 0;
}

std::int64_t ClipRange::expectedFrames(std::int64_t all, AVRational rate) const {
  if (all <= 0) return frames;
  std::int64_t count = (end ? std::min(frameAt(*end, rate), all) : all) - firstFrame(rate);
  if (frames > 0) count = std::min(count, frames);
  return std::max<std::int64_t>(count, 0);
}

}  // namespace kalvetra
