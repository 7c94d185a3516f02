#include "preview/api/request_json.h"

#include <charconv>

#include "parameters/parameter_json.h"
#include "parameters/preset.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongestText = 4096;

std::string quoted(const char* name) { return "\"" + std::string(name) + "\""; }

const Json* find(const Json& body, const char* name) {
  const auto found = body.find(name);
  return found == body.end() || found->is_null() ? nullptr : &*found;
}

const Json& require(const Json& body, const char* name) {
  const Json* value = find(body, name);
  if (value == nullptr) throw UserError("the request lacks " + quoted(name));
  return *value;
}

std::string textOf(const Json& value, const char* name) {
  if (!value.is_string() || value.get_ref<const std::string&>().size() > kLongestText) {
    throw UserError(quoted(name) + " is no text of at most " + std::to_string(kLongestText) + " bytes");
  }
  return value.get<std::string>();
}

}  // namespace

Json parseBody(const std::string& body) {
  // Deep nests are refused while they are read: later stages walk them recursively.
  const auto check = [](int depth, Json::parse_event_t, Json&) {
    if (depth > kDeepestJson) throw UserError("the request is nested too deeply");
    return true;
  };
  try {
    Json json = Json::parse(body, check);
    if (!json.is_object()) throw UserError("the request is no JSON object");
    return json;
  } catch (const Json::exception&) {
    throw UserError("the request is no JSON");
  }
}

std::int64_t wholeNumber(const Json& body, const char* name, std::int64_t lowest, std::int64_t highest) {
  if (const auto number = wholeNumberIn(require(body, name), lowest, highest)) return *number;
  throw UserError(quoted(name) + " is no whole number " + std::to_string(lowest) + ".." + std::to_string(highest));
}

std::int64_t wholeNumber(const Json& body, const char* name, std::int64_t lowest, std::int64_t highest,
                         std::int64_t fallback) {
  return find(body, name) == nullptr ? fallback : wholeNumber(body, name, lowest, highest);
}

std::int64_t wholeNumberIn(const Request& request, const std::string& name, std::int64_t lowest, std::int64_t highest) {
  const auto given = request.query.find(name);
  const std::string text = given == request.query.end() ? std::string() : given->second;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || number < lowest || number > highest) {
    throw UserError(quoted(name.c_str()) + " is no whole number " + std::to_string(lowest) + ".." +
                    std::to_string(highest));
  }
  return number;
}

bool flag(const Json& body, const char* name, bool fallback) {
  const Json* value = find(body, name);
  if (value == nullptr) return fallback;
  if (!value->is_boolean()) throw UserError(quoted(name) + " is neither true nor false");
  return value->get<bool>();
}

std::string text(const Json& body, const char* name) { return textOf(require(body, name), name); }

std::string text(const Json& body, const char* name, const std::string& fallback) {
  const Json* value = find(body, name);
  return value == nullptr ? fallback : textOf(*value, name);
}

AnimatedSettings settingsIn(const Json& body) {
  AnimatedSettings settings;
  if (const Json* given = find(body, "settings")) {
    applyPreset(presetOf(*given, "settings"), settings);
  }
  return settings;
}

Json settingsAsJson(const AnimatedSettings& settings) {
  Json json = Json::object();
  for (const Parameter& p : kParameters) {
    if (p.kind == ParameterKind::Group) continue;
    const Curve curve = settings.curve(p);
    Json& value = json[std::string(p.slug)];
    if (curve.size() == 1) {
      value = jsonOf(p, curve.front().value);
      continue;
    }
    for (const Keyframe& k : curve) value.push_back({k.frame, jsonOf(p, k.value)});
  }
  return json;
}

}  // namespace kalvetra
