// The filter as hosts load it: functions with C names, through which no exception may pass.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "hosts/frei0r/frame_filter.h"
#include "parameters/parameter_value.h"
#include "parameters/unit_value.h"

// The header declares them for C; only they are to be seen from outside.
#pragma GCC visibility push(default)
extern "C" {
#include <frei0r.h>
}
#pragma GCC visibility pop

using namespace kalvetra;

namespace {

constexpr unsigned int kLargestSide = 65535;  // the engine's records hold sizes in 16 bits

int typeOf(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Color:
      return F0R_PARAM_COLOR;
    case ParameterKind::Toggle:
      return F0R_PARAM_BOOL;
    default:
      return F0R_PARAM_DOUBLE;
  }
}

// What 0 and 1 stand for, which a host that knows only the scale could not tell.
std::string scaleOf(const Parameter& parameter) {
  if (parameter.kind == ParameterKind::IntSlider) {
    return " 0..1 stands for " + std::to_string(parameter.minimum) + ".." + std::to_string(parameter.maximum) + ".";
  }
  if (parameter.kind != ParameterKind::Popup) return {};
  std::string text;
  for (std::size_t i = 0; i < parameter.entries.size(); ++i) {
    std::string unit = std::to_string(unitOf(parameter, static_cast<int>(i)));
    unit.resize(3);
    text += (i == 0 ? " " : ", ") + unit + " " + std::string(parameter.entries[i].slug);
  }
  return text + ".";
}

// Names and explanations must outlive every instance.
struct ParameterText {
  std::string name, explanation;
};

const std::vector<ParameterText>& parameterTexts() {
  static const std::vector<ParameterText> texts = [] {
    std::vector<ParameterText> all;
    for (const Parameter* parameter : parametersByPlace()) {
      all.push_back({std::string(parameter->slug), std::string(parameter->help) + scaleOf(*parameter)});
    }
    return all;
  }();
  return texts;
}

const Parameter* parameterAt(int index) {
  const auto& all = parametersByPlace();
  return index >= 0 && static_cast<std::size_t>(index) < all.size() ? all[static_cast<std::size_t>(index)] : nullptr;
}

// 8 bits each: what is keyed is then exactly the colour that was picked. What lies outside 0..1 counts as the nearer
// end, what is no number as 0.
double byteStep(float component) {
  if (!(component > 0.0f)) return 0.0;
  return component < 1.0f ? std::round(static_cast<double>(component) * 255.0) / 255.0 : 1.0;
}

FrameFilter& filterOf(f0r_instance_t instance) { return *static_cast<FrameFilter*>(instance); }

}  // namespace

int f0r_init() {
  try {
    return parameterTexts().empty() ? 0 : 1;
  } catch (const std::exception&) {
    return 0;
  }
}

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  *info = {"Kalvetra Green",
           "Kalvetra",
           F0R_PLUGIN_TYPE_FILTER,
           F0R_COLOR_MODEL_RGBA8888,
           FREI0R_MAJOR_VERSION,
           KALVETRA_VERSION_MAJOR,
           KALVETRA_VERSION_MINOR,
           static_cast<int>(parametersByPlace().size()),
           "Keys a green screen: computes a matte, removes the backdrop's spill and returns the subject with alpha."};
}

void f0r_get_param_info(f0r_param_info_t* info, int index) {
  const Parameter* parameter = parameterAt(index);
  if (parameter == nullptr) return;
  const ParameterText& text = parameterTexts()[static_cast<std::size_t>(index)];
  *info = {text.name.c_str(), typeOf(*parameter), text.explanation.c_str()};
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide) return nullptr;
  try {
    return new FrameFilter(static_cast<int>(width), static_cast<int>(height));
  } catch (const std::exception&) {
    return nullptr;
  }
}

void f0r_destruct(f0r_instance_t instance) { delete static_cast<FrameFilter*>(instance); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
  const Parameter* parameter = parameterAt(index);
  if (parameter == nullptr) return;
  KeySettings& settings = filterOf(instance).settings;
  if (parameter->kind == ParameterKind::Color) {
    const auto& color = *static_cast<const f0r_param_color_t*>(value);
    settings.keyColor = {byteStep(color.r), byteStep(color.g), byteStep(color.b)};
  } else {
    setValue(settings, *parameter, valueOfUnit(*parameter, *static_cast<const double*>(value)));
  }
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
  const Parameter* parameter = parameterAt(index);
  if (parameter == nullptr) return;
  const KeySettings& settings = filterOf(instance).settings;
  if (parameter->kind == ParameterKind::Color) {
    const auto& color = settings.keyColor;
    *static_cast<f0r_param_color_t*>(value) = {static_cast<float>(color[0]), static_cast<float>(color[1]),
                                               static_cast<float>(color[2])};
  } else {
    *static_cast<double*>(value) = unitOf(*parameter, valueIn(settings, *parameter));
  }
}

// The time is not used: some hosts pass nonsense with their first frame. Without memory for the key the frame passes
// unkeyed, as there is no way to say so.
void f0r_update(f0r_instance_t instance, double, const uint32_t* input, uint32_t* output) {
  FrameFilter& filter = filterOf(instance);
  try {
    filter.render(input, output);
  } catch (const std::exception&) {
    filter.pass(input, output);
  }
}
