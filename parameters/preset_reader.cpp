// The reading of presets: the JSON parser hands out one token after the other, and each is judged where it stands.
#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <vector>

#include "parameters/line_counter.h"
#include "parameters/parameter_value.h"
#include "parameters/preset.h"
#include "parameters/preset_words.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::size_t kLongestReason = 120;  // characters of the parser's in a message

struct Scalar {
  enum class Kind { Whole, Text, Boolean, Other } kind;
  std::string text;        // as a message shows it, or what the quotes held
  std::int64_t whole = 0;  // also 0 and 1 for booleans
};

std::string shownScalar(const Scalar& scalar) {
  return scalar.kind == Scalar::Kind::Text ? inQuotes(scalar.text) : shown(scalar.text);
}

std::optional<int> valueOf(const Parameter& p, const Scalar& scalar) {
  if (p.kind == ParameterKind::IntSlider) {
    const bool inside = scalar.whole >= p.minimum && scalar.whole <= p.maximum;
    return scalar.kind == Scalar::Kind::Whole && inside ? std::optional(static_cast<int>(scalar.whole)) : std::nullopt;
  }
  if (p.kind == ParameterKind::Toggle && scalar.kind == Scalar::Kind::Boolean) return static_cast<int>(scalar.whole);
  if (p.kind == ParameterKind::Color && !scalar.text.starts_with('#')) return std::nullopt;
  return scalar.kind == Scalar::Kind::Text ? parseValue(p, scalar.text) : std::nullopt;
}

// The parser's own reason, without its prefix; what it read last may be any bytes, and is left out.
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

// Called by the parser. Whatever does not belong where it stands ends the reading with a UserError.
class PresetHandler {
 public:
  PresetHandler(const std::string& name, int engineLook) : name_(name), engineLook_(engineLook) {}

  LineCounter begin(std::string_view text) { return {text.data(), &line_, &behindBreak_}; }
  LineCounter end(std::string_view text) { return {text.data() + text.size(), &line_, &behindBreak_}; }
  Preset& preset() { return preset_; }

  bool null() { return take({Scalar::Kind::Other, "null"}); }
  bool boolean(bool value) { return take({Scalar::Kind::Boolean, value ? "true" : "false", value ? 1 : 0}); }
  bool number_integer(std::int64_t value) { return take({Scalar::Kind::Whole, std::to_string(value), value}); }
  bool number_unsigned(std::uint64_t value) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return take({Scalar::Kind::Whole, std::to_string(value), static_cast<std::int64_t>(std::min(value, kMost))});
  }
  bool number_float(double, const std::string& text) { return take({Scalar::Kind::Other, text}); }
  bool string(const std::string& text) { return take({Scalar::Kind::Text, text}); }
  bool binary(const std::vector<std::uint8_t>&) { return false; }  // JSON has none
  bool key(const std::string& name);
  bool start_object(std::size_t);
  bool end_object();
  bool start_array(std::size_t);
  bool end_array();
  bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) {
    fail("this is no JSON: " + reasonOf(error.what()));
  }

 private:
  enum class Place {
    Start,         // before the first brace
    Top,           // among "look" and "settings"
    Look,          // at the value of "look"
    SettingsName,  // behind "settings"
    Settings,      // among the parameters
    Value,         // at a parameter's value
    Keyframes,     // in the list of pairs
    Frame,         // in a pair, at its frame
    FrameValue,    // in a pair, at its value
    PairEnd,       // in a pair, behind its value
  };

  [[noreturn]] void fail(const std::string& reason) const {
    throw UserError(name_ + ", line " + std::to_string(line_) + ": " + reason);
  }
  [[noreturn]] void failAt(const std::string& found) const;
  bool take(const Scalar& scalar);
  void takeLook(const Scalar& scalar);
  void takeFrame(const Scalar& scalar);
  int takeValue(const Scalar& scalar) const;
  void enter(const Parameter* parameter, const std::string& slug);
  std::string slug() const { return inQuotes(parameter_->slug); }

  const std::string& name_;
  const int engineLook_;
  int line_ = 1;
  bool behindBreak_ = false;
  Place place_ = Place::Start;
  std::set<std::string> topNames_;
  const Parameter* parameter_ = nullptr;  // the one whose value is read
  std::int64_t frame_ = 0;
  Preset preset_;
};

// Told of what stands where something else was to stand.
void PresetHandler::failAt(const std::string& found) const {
  switch (place_) {
    case Place::Look:
      fail("\"look\" cannot be " + found + "; give the look's version, a whole number from 1");
    case Place::SettingsName:
      fail("\"settings\" cannot be " + found + "; give {\"name\": value, ...}");
    case Place::Value:
      fail(slug() + " cannot be " + found + "; give " + expectedInPreset(*parameter_) +
           ", or a list of [frame, value] pairs");
    case Place::FrameValue:
      fail(slug() + " cannot be " + found + "; give " + expectedInPreset(*parameter_));
    case Place::Frame:
      fail("a frame cannot be " + found + "; give a whole number 0.." + std::to_string(kLastKeyframe));
    case Place::Keyframes:
    case Place::PairEnd:
      fail("the keyframes of " + slug() + " are a list of [frame, value] pairs; " + found + " is out of place");
    default:
      fail("a preset is {\"look\": " + std::to_string(engineLook_) + ", \"settings\": {...}}; " + found +
           " is out of place");
  }
}

bool PresetHandler::take(const Scalar& scalar) {
  if (place_ == Place::Look) {
    takeLook(scalar);
  } else if (place_ == Place::Value) {
    preset_.curves[parameter_->id] = {{0, takeValue(scalar)}};
    place_ = Place::Settings;
  } else if (place_ == Place::Frame) {
    takeFrame(scalar);
  } else if (place_ == Place::FrameValue) {
    preset_.curves[parameter_->id].push_back({frame_, takeValue(scalar)});
    place_ = Place::PairEnd;
  } else {
    failAt(shownScalar(scalar));
  }
  return true;
}

void PresetHandler::takeLook(const Scalar& scalar) {
  if (scalar.kind != Scalar::Kind::Whole || scalar.whole < 1) failAt(shownScalar(scalar));
  if (scalar.whole > engineLook_) {
    fail("the preset is for look " + scalar.text + ", this program has look " + std::to_string(engineLook_) +
         "; use a newer program");
  }
  preset_.look = static_cast<int>(scalar.whole);
  place_ = Place::Top;
}

void PresetHandler::takeFrame(const Scalar& scalar) {
  if (scalar.kind != Scalar::Kind::Whole || scalar.whole < 0 || scalar.whole > kLastKeyframe)
    failAt(shownScalar(scalar));
  const Curve& curve = preset_.curves[parameter_->id];
  if (!curve.empty() && scalar.whole <= curve.back().frame) {
    fail("the keyframes of " + slug() + " must grow, but " + scalar.text + " follows " +
         std::to_string(curve.back().frame));
  }
  frame_ = scalar.whole;
  place_ = Place::FrameValue;
}

int PresetHandler::takeValue(const Scalar& scalar) const {
  const std::optional<int> value = valueOf(*parameter_, scalar);
  if (!value) failAt(shownScalar(scalar));
  return *value;
}

bool PresetHandler::key(const std::string& name) {
  if (place_ == Place::Settings) {
    enter(findParameter(std::string_view(name)), name);
    return true;
  }
  if (name != "look" && name != "settings") {
    const bool isSetting = findParameter(std::string_view(name)) != nullptr;
    fail(inQuotes(name) + (isSetting ? " belongs into \"settings\"" : " is unknown; give \"look\" and \"settings\""));
  }
  if (!topNames_.insert(name).second) fail(inQuotes(name) + " is here twice; remove one");
  place_ = name == "look" ? Place::Look : Place::SettingsName;
  return true;
}

void PresetHandler::enter(const Parameter* parameter, const std::string& name) {
  if (parameter == nullptr) {
    fail(inQuotes(name) + " is no setting; the nearest is " + inQuotes(nearestSlug(name)));
  }
  if (preset_.curves.contains(parameter->id)) fail(inQuotes(name) + " is here twice; remove one");
  parameter_ = parameter;
  place_ = Place::Value;
}

bool PresetHandler::start_object(std::size_t) {
  if (place_ != Place::Start && place_ != Place::SettingsName) failAt("{");
  place_ = place_ == Place::Start ? Place::Top : Place::Settings;
  return true;
}

bool PresetHandler::end_object() {
  if (place_ == Place::Settings) {
    place_ = Place::Top;
    return true;
  }
  for (const char* name : {"look", "settings"}) {
    if (!topNames_.contains(name)) {
      fail("the preset has no \"" + std::string(name) + "\"; it is {\"look\": " + std::to_string(engineLook_) +
           ", \"settings\": {...}}");
    }
  }
  return true;
}

bool PresetHandler::start_array(std::size_t) {
  if (place_ != Place::Value && place_ != Place::Keyframes) failAt("[");
  if (place_ == Place::Value) preset_.curves[parameter_->id].clear();
  place_ = place_ == Place::Value ? Place::Keyframes : Place::Frame;
  return true;
}

bool PresetHandler::end_array() {
  if (place_ == Place::PairEnd) {
    place_ = Place::Keyframes;
    return true;
  }
  if (place_ != Place::Keyframes) failAt("]");
  if (preset_.curves[parameter_->id].empty()) {
    fail("the keyframes of " + slug() + " are empty; give at least one [frame, value] pair");
  }
  place_ = Place::Settings;
  return true;
}

}  // namespace

Preset parsePreset(std::string_view text, const std::string& name, int engineLook) {
  PresetHandler handler(name, engineLook);
  nlohmann::json::sax_parse(handler.begin(text), handler.end(text), &handler);
  return std::move(handler.preset());
}

}  // namespace kalvetra
