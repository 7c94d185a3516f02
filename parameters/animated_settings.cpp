#include "parameters/animated_settings.h"

#include <algorithm>
#include <iterator>

#include "parameters/parameter_value.h"

namespace kalvetra {

namespace {

// The nearest whole number to the line from `a` to `b` at `step` of `steps`, halves up; 0 < step < steps.
int between(int a, int b, std::int64_t step, std::int64_t steps) {
  const std::int64_t low = std::min(a, b);  // keeps the division's operands positive
  const std::int64_t sum = (a - low) * (steps - step) + (b - low) * step;
  return static_cast<int>(low + (2 * sum + steps) / (2 * steps));
}

}  // namespace

int valueAt(const Parameter& parameter, const Curve& curve, std::int64_t frame) {
  const auto next = std::upper_bound(curve.begin(), curve.end(), frame,
                                     [](std::int64_t f, const Keyframe& k) { return f < k.frame; });
  if (next == curve.begin()) return next->value;
  const Keyframe& last = *std::prev(next);
  const bool moves = parameter.kind == ParameterKind::IntSlider || parameter.kind == ParameterKind::Color;
  if (next == curve.end() || frame == last.frame || !moves) return last.value;
  const std::int64_t step = frame - last.frame, steps = next->frame - last.frame;
  if (parameter.kind == ParameterKind::IntSlider) return between(last.value, next->value, step, steps);
  std::array<int, 3> parts = colorParts(last.value);
  for (std::size_t i = 0; i < 3; ++i) parts[i] = between(parts[i], colorParts(next->value)[i], step, steps);
  return colorOf(parts);
}

void AnimatedSettings::set(const Parameter& parameter, const Curve& curve) {
  std::erase_if(curves_, [&](const auto& entry) { return entry.first->id == parameter.id; });
  setValue(constant_, parameter, curve.front().value);
  if (curve.size() > 1) curves_.emplace_back(&parameter, curve);
}

KeySettings AnimatedSettings::at(std::int64_t frame) const {
  KeySettings settings = constant_;
  for (const auto& [parameter, curve] : curves_) setValue(settings, *parameter, valueAt(*parameter, curve, frame));
  return settings;
}

Curve AnimatedSettings::curve(const Parameter& parameter) const {
  for (const auto& [animated, curve] : curves_) {
    if (animated->id == parameter.id) return curve;
  }
  return {{0, valueIn(constant_, parameter)}};
}

}  // namespace kalvetra
