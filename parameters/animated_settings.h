// Settings that may change from frame to frame.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "parameters/parameter_table.h"

namespace kalvetra {

struct Keyframe {
  std::int64_t frame;  // 0 is the clip's first
  int value;           // as in parameter_value.h
  bool operator==(const Keyframe&) const = default;
};

inline constexpr std::int64_t kLastKeyframe = 1'000'000'000;

// One parameter over time: frames grow strictly and lie in 0..kLastKeyframe. Before the first keyframe its value holds,
// after the last one the last's. Between them sliders, and colours in each component, move in a straight line and are
// rounded to the nearest whole number, halves up; toggles and the view keep their value until the next keyframe.
using Curve = std::vector<Keyframe>;

// The value at a frame. The curve may not be empty.
int valueAt(const Parameter& parameter, const Curve& curve, std::int64_t frame);

// All settings over time. Reading it from several threads at once is safe.
class AnimatedSettings {
 public:
  // The same for every frame.
  explicit AnimatedSettings(const KeySettings& constant = defaultSettings()) : constant_(constant) {}

  // Replaces what there was of the parameter. A curve of one keyframe is a constant; it may not be empty, nor the
  // parameter a group.
  void set(const Parameter& parameter, const Curve& curve);
  void set(const Parameter& parameter, int value) { set(parameter, Curve{{0, value}}); }

  KeySettings at(std::int64_t frame) const;
  // True when frames may differ in their settings.
  bool isAnimated() const { return !curves_.empty(); }
  // The parameter over time, one keyframe at 0 for a constant.
  Curve curve(const Parameter& parameter) const;

 private:
  KeySettings constant_;
  std::vector<std::pair<const Parameter*, Curve>> curves_;  // of two keyframes or more
};

}  // namespace kalvetra
