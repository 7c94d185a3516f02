#include "library/settings.h"

#include <new>

#include "library/answer.h"
#include "parameters/parameter_manual.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "parameters/quoted_text.h"
#include "support/user_error.h"

namespace {

using namespace kalvetra;

const Parameter& parameterNamed(const char* slug) {
  const std::string_view name = &required(slug, "slug");
  if (const Parameter* parameter = findParameter(name)) return *parameter;
  throw Refusal{KALVETRA_BAD_SETTING,
                inQuotes(name) + " is no parameter; the nearest is " + inQuotes(nearestSlug(name))};
}

// A new object, or null where memory ran out.
template <class... From>
kalvetra_settings* made(const From&... from) noexcept {
  try {
    return new kalvetra_settings(from...);
  } catch (...) {
    answerToException();
    return nullptr;
  }
}

}  // namespace

kalvetra_settings* kalvetra_settings_new() { return made(); }

kalvetra_settings* kalvetra_settings_copy(const kalvetra_settings* settings) {
  return settings == nullptr ? nullptr : made(*settings);
}

void kalvetra_settings_free(kalvetra_settings* settings) { delete settings; }

int kalvetra_settings_set(kalvetra_settings* settings, const char* slug, const char* value) {
  return answered([&] {
    kalvetra_settings& target = required(settings, "settings");
    const Parameter& parameter = parameterNamed(slug);
    const std::string_view text = &required(value, "value");
    const std::optional<int> number = parseValue(parameter, text);
    if (!number) {
      throw Refusal{KALVETRA_BAD_SETTING,
                    inQuotes(parameter.slug) + " cannot be " + inQuotes(text) + "; give " + valueRange(parameter)};
    }
    target.values.set(parameter, *number);
    target.reasons.erase(parameter.id);
    return KALVETRA_OK;
  });
}

int kalvetra_settings_get(const kalvetra_settings* settings, const char* slug, int64_t frame, char* text, size_t size) {
  return answered([&] {
    const kalvetra_settings& source = required(settings, "settings");
    const Parameter& parameter = parameterNamed(slug);
    return writeText(valueText(parameter, valueAt(parameter, source.values.curve(parameter), frame)), text, size);
  });
}

int kalvetra_settings_read_preset(kalvetra_settings* settings, const char* json) {
  return answered([&] {
    kalvetra_settings& target = required(settings, "settings");
    const std::string_view text = &required(json, "json");
    kalvetra_settings changed = target;
    try {
      const Preset preset = parsePreset(text, "the preset");
      applyPreset(preset, changed.values);
      for (const auto& [id, curve] : preset.curves) changed.reasons.erase(id);
    } catch (const UserError& error) {
      throw Refusal{KALVETRA_BAD_PRESET, error.what()};
    }
    target = std::move(changed);
    return KALVETRA_OK;
  });
}

int kalvetra_settings_write_preset(const kalvetra_settings* settings, char* text, size_t size) {
  return answered([&] { return writeText(presetText(required(settings, "settings").values), text, size); });
}

int kalvetra_settings_reason(const kalvetra_settings* settings, const char* slug, char* text, size_t size) {
  return answered([&] {
    const kalvetra_settings& source = required(settings, "settings");
    const std::string_view name = &required(slug, "slug");
    if (name == "left-out") return writeText(source.leftOut, text, size);
    const auto reason = source.reasons.find(parameterNamed(slug).id);
    return writeText(reason == source.reasons.end() ? std::string_view() : reason->second, text, size);
  });
}
