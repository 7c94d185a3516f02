// The reading of presets: JSON is parsed, its names checked as they come, its values afterwards.
#include <algorithm>
#include <climits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "parameters/parameter_json.h"
#include "parameters/preset.h"
#include "parameters/quoted_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestReason = 120;  // characters of the parser's in a message

// Objects and lists within one another: the preset, its settings, the keyframes, a pair. What is nested deeper is
// refused while it is read, however deep it goes.
constexpr int kDeepest = 4;

std::string shown(const Json& value) {
  return value.is_string() ? inQuotes(value.get_ref<const std::string&>()) : shownStart(value.dump());
}

// "a whole number 0..100"
std::string expected(const Parameter& p) {
  if (p.kind == ParameterKind::Toggle) return "true or false";
  if (p.kind == ParameterKind::Color) return "\"#rrggbb\"";
  if (p.kind != ParameterKind::Popup) {
    return "a whole number " + std::to_string(p.minimum) + ".." + std::to_string(p.maximum);
  }
  std::string entries;
  for (int value = p.minimum; value <= p.maximum; ++value) {
    entries += (entries.empty() ? "" : ", ") + jsonOf(p, value).dump();
  }
  return entries;
}

constexpr const char* kDeepLook = "deep-look";

// The text under a name of its own, and the lines on which its values stand.
struct Source {
  const std::string& name;
  // By "look", "deep-look", "settings" and the slugs: the lines of the value (index 0) and of all that it holds, as
  // they were read: the keyframe of index i is at 1 + 3 * i, followed by its frame and its value. Empty for what was
  // parsed elsewhere.
  std::map<std::string, std::vector<int>> lines{};
  int firstLine = 0;  // stands for everything else; 0 for none
};

[[noreturn]] void fail(const Source& source, int line, const std::string& reason) {
  throw UserError(source.name + (line > 0 ? ", line " + std::to_string(line) : "") + ": " + reason);
}

// For what is wrong with the value of a name, or with what it holds at that index of Source::lines.
[[noreturn]] void failAt(const Source& source, const std::string& name, std::size_t index, const std::string& reason) {
  const auto found = source.lines.find(name);
  fail(source, found == source.lines.end() ? source.firstLine : found->second.at(index), reason);
}

// The parser's own reason without its place; what it read last may be any bytes, and is left out.
std::string reasonOf(std::string reason) {
  if (const std::size_t bracket = reason.find("] "); bracket != std::string::npos) reason.erase(0, bracket + 2);
  if (const std::size_t dash = reason.find(" - "); dash != std::string::npos) reason.erase(0, dash + 3);
  if (const std::size_t read = reason.find("; last read"); read != std::string::npos) {
    const std::size_t expectation = reason.rfind("; expected");
    const bool keeps = expectation != std::string::npos && expectation > read;
    reason.erase(read, keeps ? expectation - read : std::string::npos);
  }
  for (char& c : reason) c = c < ' ' || c > '~' ? '?' : c;
  return reason.substr(0, kLongestReason);
}

// The setting of that name, which stands on that line.
const Parameter& settingOf(const Source& source, const std::string& name, int line) {
  const Parameter* parameter = findParameter(std::string_view(name));
  if (parameter != nullptr) return *parameter;
  fail(source, line, inQuotes(name) + " is no setting; the nearest is " + inQuotes(nearestSlug(name)));
}

// Takes a name as it is read, in the preset (depth 1) or in its settings. Returns the list of its value's lines.
std::vector<int>* takeName(Source& source, int depth, const std::string& name, int line) {
  if (depth > 1) {
    settingOf(source, name, line);
  } else if (name != "look" && name != kDeepLook && name != "settings") {
    const bool isSetting = findParameter(std::string_view(name)) != nullptr;
    fail(source, line,
         inQuotes(name) + (isSetting ? " belongs in \"settings\"" : " is unknown; give \"look\" and \"settings\""));
  }
  const auto [taken, isNew] = source.lines.try_emplace(name);
  if (!isNew) fail(source, line, inQuotes(name) + " is here twice; remove one");
  return &taken->second;
}

Json parse(std::string_view text, Source& source) {
  std::istringstream in{std::string(text)};
  int lineSoFar = 1;
  std::streamoff counted = 0;  // characters, for lineSoFar
  // The line of the last character that the parser took; after a number it has taken one more, perhaps a line's end.
  const auto line = [&] {
    const std::streamoff taken = in.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in);
    const std::streamoff end = std::max(taken - 1, counted);
    lineSoFar += static_cast<int>(std::count(text.begin() + counted, text.begin() + end, '\n'));
    counted = end;
    return lineSoFar;
  };
  std::vector<int>* lines = nullptr;  // of the value that is being read
  bool inSettings = false;
  const auto check = [&](int depth, Json::parse_event_t event, const Json& parsed) {
    const bool opens = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
    if (opens && depth >= kDeepest) {
      fail(source, line(), "this is nested too deeply; a setting is a value or a list of [frame, value] pairs");
    }
    if (lines != nullptr && (opens || event == Json::parse_event_t::value)) lines->push_back(line());
    // A name further in belongs to a value that is refused later.
    if (event == Json::parse_event_t::key && (depth == 1 || (depth == 2 && inSettings))) {
      const auto& name = parsed.get_ref<const std::string&>();
      lines = takeName(source, depth, name, line());
      if (depth == 1) inSettings = name == "settings";
    }
    return true;
  };
  try {
    return Json::parse(in, check);
  } catch (const Json::exception& error) {
    fail(source, line(), "this is no JSON: " + reasonOf(error.what()));
  }
}

// `index` is the pair's in Source::lines.
Keyframe keyframeOf(const Source& source, const Parameter& p, const Json& pair, std::size_t index) {
  const std::string slug(p.slug);
  if (!pair.is_array() || pair.size() != 2) {
    failAt(source, slug, index,
           "the keyframes of " + inQuotes(slug) + " are [frame, value] pairs; " + shown(pair) + " is none");
  }
  const std::optional<std::int64_t> frame = wholeNumberIn(pair[0], 0, kLastKeyframe);
  if (!frame) {
    failAt(source, slug, index + 1,
           "a frame of " + inQuotes(slug) + " cannot be " + shown(pair[0]) + "; give a whole number 0.." +
               std::to_string(kLastKeyframe));
  }
  const std::optional<int> value = valueOfJson(p, pair[1]);
  if (!value) {
    failAt(source, slug, index + 2,
           inQuotes(slug) + " at frame " + std::to_string(*frame) + " cannot be " + shown(pair[1]) + "; give " +
               expected(p));
  }
  return {*frame, *value};
}

Curve curveOf(const Source& source, const Parameter& p, const Json& given) {
  const std::string slug(p.slug);
  if (!given.is_array()) {
    if (const std::optional<int> value = valueOfJson(p, given)) return {{0, *value}};
    failAt(source, slug, 0,
           inQuotes(slug) + " cannot be " + shown(given) + "; give " + expected(p) +
               (p.ofClip ? "" : ", or a list of [frame, value] pairs"));
  }
  if (p.ofClip) failAt(source, slug, 0, inQuotes(slug) + " is the same for a whole clip; give " + expected(p));
  if (given.empty()) {
    failAt(source, slug, 0, "the keyframes of " + inQuotes(slug) + " are empty; give at least one [frame, value] pair");
  }
  Curve curve;
  for (const Json& pair : given) {
    const std::size_t index = 1 + 3 * curve.size();
    const Keyframe next = keyframeOf(source, p, pair, index);
    if (!curve.empty() && next.frame <= curve.back().frame) {
      failAt(source, slug, index + 1,
             "the keyframes of " + inQuotes(slug) + " must grow, but " + std::to_string(next.frame) + " follows " +
                 std::to_string(curve.back().frame));
    }
    curve.push_back(next);
  }
  return curve;
}

std::map<int, Curve> curvesOf(const Source& source, const Json& settings) {
  if (!settings.is_object()) {
    failAt(source, "settings", 0, "\"settings\" cannot be " + shown(settings) + "; give {\"name\": value, ...}");
  }
  std::map<int, Curve> curves;
  for (const auto& [name, value] : settings.items()) {
    const Parameter& p = settingOf(source, name, source.firstLine);
    curves[p.id] = curveOf(source, p, value);
  }
  return curves;
}

int lookOf(const Source& source, const Json& given, int engineLook) {
  const std::optional<std::int64_t> look = wholeNumberIn(given, 1, INT64_MAX);
  if (look && *look <= engineLook) return static_cast<int>(*look);
  // A positive number beyond every range is a newer look, too.
  if (look || (given.is_number_unsigned() && given != 0)) {
    failAt(source, "look", 0,
           "the preset is for look " + shown(given) + ", this program has look " + std::to_string(engineLook) +
               "; use a newer program");
  }
  failAt(source, "look", 0, "\"look\" cannot be " + shown(given) + "; give the look's version, a whole number from 1");
}

// Of what is newer, too: whether it matters is known once a clip is to be keyed. 0 where there is none.
int deepLookOf(const Source& source, const Json& preset) {
  if (!preset.contains(kDeepLook)) return 0;
  const Json& given = preset.at(kDeepLook);
  if (const std::optional<std::int64_t> look = wholeNumberIn(given, 1, INT_MAX)) return static_cast<int>(*look);
  failAt(source, kDeepLook, 0,
         inQuotes(kDeepLook) + " cannot be " + shown(given) + "; give the look's version, a whole number from 1");
}

}  // namespace

Preset parsePreset(std::string_view text, const std::string& name, int engineLook) {
  Source source{name, {}, 1};
  const Json json = parse(text, source);
  const std::string shape = "{\"look\": " + std::to_string(engineLook) + ", \"settings\": {...}}";
  if (!json.is_object()) fail(source, 1, "a preset is " + shape + "; " + shown(json) + " is out of place");
  const auto member = [&](const char* wanted) -> const Json& {
    const auto found = json.find(wanted);
    if (found != json.end()) return *found;
    fail(source, 1, "the preset has no " + inQuotes(wanted) + "; it is " + shape);
  };
  const int look = lookOf(source, member("look"), engineLook);
  return {look, curvesOf(source, member("settings")), deepLookOf(source, json)};
}

Preset presetOf(const nlohmann::ordered_json& settings, const std::string& name) {
  return {.curves = curvesOf(Source{name}, settings)};
}

}  // namespace kalvetra
