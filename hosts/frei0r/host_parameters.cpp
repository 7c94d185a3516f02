#include "hosts/frei0r/host_parameters.h"

#include <cmath>

namespace kalvetra {

namespace {

double byteStep(float component) {
  if (!(component > 0.0f)) return 0.0;
  return component < 1.0f ? std::round(static_cast<double>(component) * 255.0) / 255.0 : 1.0;
}

}  // namespace

const std::vector<const Parameter*>& hostParameters() {
  static const std::vector<const Parameter*> parameters = [] {
    std::vector<const Parameter*> all;
    for (const Parameter& parameter : kParameters) {
      if (parameter.kind != ParameterKind::Group) all.push_back(&parameter);
    }
    return all;
  }();
  return parameters;
}

void setHostColor(KeySettings& settings, float red, float green, float blue) {
  settings.keyColor = {byteStep(red), byteStep(green), byteStep(blue)};
}

}  // namespace kalvetra
