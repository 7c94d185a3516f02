// What the library says of itself: its version, the machine's CPU levels, its parameters.
#include <deque>
#include <string>
#include <vector>

#include "cpu/cpu_level.h"
#include "kalvetra/kalvetra.h"
#include "library/answer.h"
#include "parameters/look_version.h"
#include "parameters/parameter_manual.h"

namespace {

using namespace kalvetra;

int kindOf(const Parameter& parameter) {
  switch (parameter.kind) {
    case ParameterKind::Popup:
      return KALVETRA_POPUP;
    case ParameterKind::Color:
      return KALVETRA_COLOR;
    case ParameterKind::Toggle:
      return KALVETRA_TOGGLE;
    default:
      return KALVETRA_SLIDER;
  }
}

// All rows but the groups, and the texts to which they point.
struct ParameterRows {
  ParameterRows() {
    for (const Parameter& p : kParameters) {
      if (p.kind == ParameterKind::Group) continue;
      const bool slider = p.kind == ParameterKind::IntSlider;
      rows.push_back({p.id, kindOf(p), p.slug.data(), displayName(p.nameKey).data(), kept(groupPath(p)), p.help.data(),
                      kept(valueRange(p)), kept(defaultText(p)), slider ? p.minimum : 0, slider ? p.maximum : 0,
                      p.toggle == 0 ? nullptr : findParameter(p.toggle)->slug.data()});
    }
  }
  const char* kept(std::string text) { return texts.emplace_back(std::move(text)).c_str(); }

  std::vector<kalvetra_parameter> rows;
  std::deque<std::string> texts;  // stay where they are while it grows
};

}  // namespace

const char* kalvetra_last_error() { return lastError(); }

const char* kalvetra_version() { return KALVETRA_VERSION; }

int kalvetra_look() { return kLookVersion; }

int kalvetra_deep_look() { return kDeepLookVersion; }

const char* kalvetra_cpu_level(int index) {
  const char* name = nullptr;
  answered([&] {
    const std::vector<CpuLevel> levels = cpuLevels();
    if (index >= 0 && static_cast<std::size_t>(index) < levels.size()) {
      name = cpuLevelName(levels[static_cast<std::size_t>(index)]).data();
    }
    return KALVETRA_OK;
  });
  return name;
}

const kalvetra_parameter* kalvetra_parameter_at(int index) {
  const kalvetra_parameter* row = nullptr;
  answered([&] {
    static const ParameterRows all;
    if (index >= 0 && static_cast<std::size_t>(index) < all.rows.size())
      row = &all.rows[static_cast<std::size_t>(index)];
    return KALVETRA_OK;
  });
  return row;
}
